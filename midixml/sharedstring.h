// SPDX-License-Identifier: MIT
/// \file
/// The text of the name model: a handle of one word to text that is never freed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "midixml/sharedobject.h"

namespace midixml {

/// The text behind a SharedString: a header with the bytes and their terminator directly behind it, in one
/// allocation.
class SharedStringImpl final : public SharedObject {
 public:
  /// Makes a copy of the text, with a count of 1. The memory is never given back: see SharedString.
  static SharedStringImpl* Make(std::string_view iText);

  const char* GetText() const { return reinterpret_cast<const char*>(this + 1); }
  size_t GetLength() const { return mLength; }

  /// The text lies in the arena of all name texts, which takes nothing back.
  static void operator delete(void*) noexcept {}

 private:
  explicit SharedStringImpl(std::string_view iText);
  ~SharedStringImpl() override = default;

  uint32_t mLength;
};

/// A handle to one text; null for the empty text.
///
/// Copies share the text. A text made from characters begins with a count of 1, and storing it adds another
/// that no handle ever drops, so that it stays for the life of the process. That is settled: name documents
/// are few and small, and names may be kept as plain pointers. The memory stays reachable from a list of the
/// process.
class SharedString {
 public:
  SharedString() = default;
  /// A new text with these characters.
  explicit SharedString(std::string_view iText) { Store(iText); }
  SharedString(const SharedString& iOther) : mImplP(iOther.mImplP) {
    if (mImplP) mImplP->AddReference();
  }
  SharedString(SharedString&& iOther) noexcept : mImplP(std::exchange(iOther.mImplP, nullptr)) {}
  ~SharedString() { Release(); }

  SharedString& operator=(const SharedString& iOther) {
    if (iOther.mImplP) iOther.mImplP->AddReference();
    Release();
    mImplP = iOther.mImplP;
    return *this;
  }
  SharedString& operator=(SharedString&& iOther) noexcept {
    std::swap(mImplP, iOther.mImplP);
    return *this;
  }
  /// Stores a new text made of the characters up to the terminator.
  SharedString& operator=(const char* iTextP) {
    Assign(iTextP);
    return *this;
  }

  /// Stores a new text with these characters.
  void Assign(std::string_view iText) {
    Release();
    Store(iText);
  }

  /// The text, with a terminator; "" for the null handle. Lives as long as the process.
  const char* c_str() const { return mImplP ? mImplP->GetText() : ""; }
  /// The text as a view, which lives as long as the process.
  std::string_view View() const {
    return mImplP ? std::string_view(mImplP->GetText(), mImplP->GetLength()) : std::string_view();
  }
  std::string AsString() const { return std::string(View()); }
  /// True for the null handle and for an empty text.
  bool IsEmpty() const { return !mImplP || mImplP->GetLength() == 0; }
  /// What stands behind the handle, or null.
  const SharedStringImpl* GetImpl() const { return mImplP; }

 private:
  void Release() {
    if (mImplP) mImplP->RemoveReference();
  }
  void Store(std::string_view iText) {
    mImplP = iText.empty() ? nullptr : SharedStringImpl::Make(iText);
    if (mImplP) mImplP->AddReference();
  }

  SharedStringImpl* mImplP = nullptr;
};

static_assert(sizeof(SharedString) == sizeof(void*), "the model counts on a handle of one word");

}  // namespace midixml
