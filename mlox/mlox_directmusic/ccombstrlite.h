// SPDX-License-Identifier: MIT
/// \file
/// An owner of one wide text, and the way between wide text and UTF-8.
#pragma once

#include <cstddef>
#include <string>

#include "platform/directmusic/directmusic.h"

/// Owns one BSTR, null when empty. Wide text is `OLECHAR` on every platform. One thread at a time for each
/// object.
class CComBSTRLite {
 public:
  /// Null.
  CComBSTRLite() = default;
  /// The GUID's text, braces included.
  explicit CComBSTRLite(const _GUID& iGuid);
  /// The UTF-16 form of a UTF-8 text; the empty text is an allocated empty BSTR.
  explicit CComBSTRLite(const std::string& iText);
  /// The same; null leaves the BSTR null.
  explicit CComBSTRLite(const char* iTextP);
  /// A copy; null leaves the BSTR null.
  explicit CComBSTRLite(const OLECHAR* iTextP);
  CComBSTRLite(const CComBSTRLite&) = delete;
  CComBSTRLite& operator=(const CComBSTRLite&) = delete;
  ~CComBSTRLite();

  /// The BSTR; it stays this object's.
  operator OLECHAR*() const { return mText; }  // NOLINT(google-explicit-constructor): texts are passed on so

  /// Frees what is held and gives the place of the BSTR, for a call that fills it. The text it then holds
  /// is this object's.
  BSTR* Reset();
  /// What is held, as UTF-8; empty for null.
  [[nodiscard]] std::string AsString() const;

  /// UTF-16 to UTF-8. An empty text clears `oTextP`. E_INVALIDARG when either pointer is null, else 0.
  static HRESULT BSTRToString(const OLECHAR* iTextP, std::string* oTextP);
  /// UTF-8 to UTF-16; the caller frees the result. An empty text gives an allocated empty BSTR. E_INVALIDARG
  /// when `oTextP` is null or IsLengthNegative, else 0.
  static HRESULT StringToBSTR(std::string iText, OLECHAR** oTextP);
  /// Whether a length, read as a signed 32-bit number, is below zero: a text that no BSTR can hold.
  static constexpr bool IsLengthNegative(std::size_t iLength) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(iLength)) < 0;
  }
  /// -1 for true, 0 for false.
  static VARIANT_BOOL VBTF(const bool& iFlag);
  /// 0 when the two texts are the same but for the case of the letters A to Z, else 1. Null counts as empty.
  static int Compare(const OLECHAR* iWideP, const std::string& iText);

 private:
  BSTR mText = nullptr;
};
