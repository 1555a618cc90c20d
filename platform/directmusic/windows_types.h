// SPDX-License-Identifier: MIT
/// \file
/// The few types of Windows that DirectMusic's interfaces are written in. On Windows they are the system's
/// own; elsewhere they are declared here with the same names and widths, so that the code above reads alike
/// on both.
///
/// Widths hold on every platform: `DWORD`, `LONG`, `BOOL` and `HRESULT` are 32 bits (a `long` of Linux is
/// 64), `OLECHAR` and `WCHAR` are 16 bits, `VARIANT_BOOL` is 16 bits and is compared with 0xFFFF only as
/// unsigned.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(_WIN32)
#include <objbase.h>
#include <oleauto.h>
#include <windows.h>
#else

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using BOOL = std::int32_t;
using UINT = std::uint32_t;
using HRESULT = std::int32_t;
using LONGLONG = std::int64_t;
using VARIANT_BOOL = std::int16_t;
using WCHAR = char16_t;
using OLECHAR = char16_t;
/// A literal of wide text.
#define OLESTR(text) u##text
/// Wide text with its length in front, made by SysAllocString, freed by SysFreeString.
using BSTR = OLECHAR*;
/// A kernel object; here an event of events.h. Null is no object.
using HANDLE = void*;
using HWND = void*;
using LPVOID = void*;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);

constexpr bool SUCCEEDED(HRESULT iResult) { return iResult >= 0; }
constexpr bool FAILED(HRESULT iResult) { return iResult < 0; }

/// A 16-byte identifier in the layout of Windows. (Its name there is `_GUID`; `GUID` is the usual alias.)
struct _GUID {  // NOLINT(bugprone-reserved-identifier): Windows' own name
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using GUID = _GUID;
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
static_assert(sizeof(GUID) == 16);

inline bool operator==(const GUID& iLeft, const GUID& iRight) {
  return std::memcmp(&iLeft, &iRight, sizeof(GUID)) == 0;
}

/// COM's root interface: three operations in this order, no destructor in the table.
struct IUnknown {
  /// Gives the interface of iID with a reference added, or null and E_NOINTERFACE.
  virtual HRESULT QueryInterface(REFIID iID, void** oResult) = 0;
  /// Adds a reference; returns the new count.
  virtual ULONG AddRef() = 0;
  /// Drops a reference; returns the new count. The object goes with the last.
  virtual ULONG Release() = 0;

 protected:
  ~IUnknown() = default;
};
inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(BOOL) == 4 && sizeof(HRESULT) == 4);
static_assert(sizeof(OLECHAR) == 2 && sizeof(WCHAR) == 2 && sizeof(VARIANT_BOOL) == 2);

#endif
