// SPDX-License-Identifier: MIT
/// \file
/// Reading and writing single properties of the studio's objects. Each call makes the key's text, frees what
/// comes along unread, and gives the studio's result: 0 success, 1 absent, anything else a failure. The value
/// is touched on success alone.
#pragma once

#include <string>

#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"

/// The text of a key, for the length of a call.
class StudioPropertyKey {
 public:
  explicit StudioPropertyKey(const _GUID& iKey) : mTextP(getter_wrapper::TextOfKey(iKey)) {
    if (mTextP == nullptr) {
      StringFromGUID2(iKey, mOwn, kTextSize);
      mTextP = mOwn;
    }
  }
  StudioPropertyKey(const StudioPropertyKey&) = delete;
  StudioPropertyKey& operator=(const StudioPropertyKey&) = delete;
  ~StudioPropertyKey() = default;

  operator const OLECHAR*() const { return mTextP; }  // NOLINT(google-explicit-constructor): passed on so

 private:
  static constexpr int kTextSize = 39;  // with braces and the final zero

  const OLECHAR* mTextP;
  OLECHAR mOwn[kTextSize];
};

/// Reads a number from identifiers, a device or an entity.
template <class Object>
HRESULT StudioProperty_ReadInt(Object& iObject, const _GUID& iKey, LONG* oValue) {
  const StudioPropertyKey key(iKey);
  CComBSTRLite name;
  DWORD word = 0;
  LONG value = 0;
  const HRESULT result = iObject.GetIntProperty(key, name.Reset(), &word, &value);
  if (result == S_OK) *oValue = value;
  return result;
}

/// Reads a text as UTF-8 from identifiers, a device or an entity. A success without a text gives
/// E_INVALIDARG.
template <class Object>
HRESULT StudioProperty_ReadString(Object& iObject, const _GUID& iKey, std::string* oValue) {
  const StudioPropertyKey key(iKey);
  CComBSTRLite name;
  CComBSTRLite value;
  DWORD word = 0;
  const HRESULT result = iObject.GetStringProperty(key, name.Reset(), &word, value.Reset());
  return result == S_OK ? CComBSTRLite::BSTRToString(value, oValue) : result;
}

/// Reads a flag of a device or an entity: true only for 0xFFFF.
template <class Object>
HRESULT StudioProperty_ReadFlag(Object& iObject, const _GUID& iKey, bool* oValue) {
  const StudioPropertyKey key(iKey);
  CComBSTRLite name;
  DWORD word = 0;
  VARIANT_BOOL value = VARIANT_FALSE;
  const HRESULT result = iObject.GetFlagProperty(key, name.Reset(), &word, &value);
  if (result == S_OK) *oValue = static_cast<std::uint16_t>(value) == 0xFFFF;
  return result;
}

/// Reads a floating-point number of a device or an entity.
template <class Object>
HRESULT StudioProperty_ReadDouble(Object& iObject, const _GUID& iKey, double* oValue) {
  const StudioPropertyKey key(iKey);
  CComBSTRLite name;
  DWORD word = 0;
  double value = 0.0;
  const HRESULT result = iObject.GetDoubleProperty(key, name.Reset(), &word, &value);
  if (result == S_OK) *oValue = value;
  return result;
}
