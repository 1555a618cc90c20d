// SPDX-License-Identifier: MIT
/// \file
/// The calls of COM and of its text type that the hardware service makes. On Windows they are the system's;
/// elsewhere they are defined in windows_com.cpp with the same names and results. All may be called from any
/// thread.
#pragma once

#include "platform/directmusic/windows_types.h"

#if !defined(_WIN32)

inline constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
inline constexpr DWORD COINIT_MULTITHREADED = 0x0;
inline constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;

/// There are no apartments outside Windows: S_OK, paired with CoUninitialize by convention only.
HRESULT CoInitialize(void* iReserved);
HRESULT CoInitializeEx(void* iReserved, DWORD iFlags);
void CoUninitialize();

/// What CoInitialize and CoInitializeEx do with their flags, and CoUninitialize; null restores S_OK and
/// nothing. A seam for tests. [main]
using Platform_ComInitializer = HRESULT (*)(DWORD iFlags);
using Platform_ComUninitializer = void (*)();
void Platform_SetComInitializer(Platform_ComInitializer iInitializer,
                                Platform_ComUninitializer iUninitializer = nullptr);

/// Makes an object of a registered class. REGDB_E_CLASSNOTREG for an unknown class.
HRESULT CoCreateInstance(REFCLSID iClass, IUnknown* iOuterP, DWORD iContext, REFIID iID, void** oObjectP);

/// Writes the GUID as "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper case, and a final zero.
/// \returns the characters written with the zero (39), or 0 when iSize is too small.
int StringFromGUID2(REFGUID iGuid, OLECHAR* oText, int iSize);

/// A copy with its length in front; null for null. The caller frees it with SysFreeString.
BSTR SysAllocString(const OLECHAR* iText);
/// The same with a length in characters; iText may be null.
BSTR SysAllocStringLen(const OLECHAR* iText, UINT iLength);
/// Frees a text; null does nothing.
void SysFreeString(BSTR iText);
/// The length in characters; 0 for null.
UINT SysStringLen(BSTR iText);

/// What stands behind CoCreateInstance for CLSID_DirectMusic; null restores the library's own. A seam for
/// fakes: the function fills *oObjectP with a reference added and returns the result. [main]
using Platform_ClassFactory = HRESULT (*)(REFIID iID, void** oObjectP);
void Platform_SetDirectMusicFactory(Platform_ClassFactory iFactory);

#endif
