// SPDX-License-Identifier: MIT
/// \file
/// A pointer that holds one reference to a counted object.
#pragma once

#include <utility>

namespace midixml {

/// Holds one reference to a SharedObject, or none.
template <class T>
class CountedPtr {
 public:
  CountedPtr() = default;
  CountedPtr(const CountedPtr& iOther) : mObjectP(iOther.mObjectP) {
    if (mObjectP) mObjectP->AddReference();
  }
  CountedPtr(CountedPtr&& iOther) noexcept : mObjectP(std::exchange(iOther.mObjectP, nullptr)) {}
  ~CountedPtr() {
    if (mObjectP) mObjectP->RemoveReference();
  }
  CountedPtr& operator=(CountedPtr iOther) noexcept {
    std::swap(mObjectP, iOther.mObjectP);
    return *this;
  }

  /// A new object, whose first reference is this one.
  static CountedPtr Make() {
    CountedPtr result;
    result.mObjectP = new T;
    return result;
  }

  T* get() const { return mObjectP; }
  T* operator->() const { return mObjectP; }
  explicit operator bool() const { return mObjectP != nullptr; }

 private:
  T* mObjectP = nullptr;
};

}  // namespace midixml
