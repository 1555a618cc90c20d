// SPDX-License-Identifier: MIT
#include "platform/directmusic/windows_com.h"

#if !defined(_WIN32)

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/directmusic_root.h"

namespace {

std::atomic<Platform_ClassFactory> sFactory{nullptr};
std::atomic<Platform_ComInitializer> sInitializer{nullptr};
std::atomic<Platform_ComUninitializer> sUninitializer{nullptr};

constexpr char kHex[] = "0123456789ABCDEF";

// Appends iBytes bytes of iValue, the highest first, as upper-case hexadecimal digits.
void AppendHex(std::u16string& ioText, std::uint32_t iValue, int iBytes) {
  for (int shift = iBytes * 8 - 4; shift >= 0; shift -= 4) {
    ioText.push_back(static_cast<char16_t>(kHex[(iValue >> shift) & 0xF]));
  }
}

std::u16string GuidText(REFGUID iGuid) {
  std::u16string text = u"{";
  AppendHex(text, iGuid.Data1, 4);
  text.push_back(u'-');
  AppendHex(text, iGuid.Data2, 2);
  text.push_back(u'-');
  AppendHex(text, iGuid.Data3, 2);
  text.push_back(u'-');
  for (int i = 0; i < 8; ++i) {
    if (i == 2) {
      text.push_back(u'-');
    }
    AppendHex(text, iGuid.Data4[i], 1);
  }
  text.push_back(u'}');
  return text;
}

// A BSTR points behind its length, which is counted in bytes.
struct BstrHeader {
  std::uint32_t mPadding;
  std::uint32_t mBytes;
};

}  // namespace

HRESULT CoInitialize(void* iReserved) { return CoInitializeEx(iReserved, COINIT_APARTMENTTHREADED); }
HRESULT CoInitializeEx(void* /*iReserved*/, DWORD iFlags) {
  const Platform_ComInitializer initializer = sInitializer.load();
  return initializer != nullptr ? initializer(iFlags) : S_OK;
}
void CoUninitialize() {
  const Platform_ComUninitializer uninitializer = sUninitializer.load();
  if (uninitializer != nullptr) {
    uninitializer();
  }
}

void Platform_SetComInitializer(Platform_ComInitializer iInitializer,
                                Platform_ComUninitializer iUninitializer) {
  sInitializer.store(iInitializer);
  sUninitializer.store(iUninitializer);
}

HRESULT CoCreateInstance(REFCLSID iClass, IUnknown* iOuterP, DWORD /*iContext*/, REFIID iID,
                         void** oObjectP) {
  if (oObjectP == nullptr) {
    return E_POINTER;
  }
  *oObjectP = nullptr;
  if (!(iClass == CLSID_DirectMusic) || iOuterP != nullptr) {
    return REGDB_E_CLASSNOTREG;
  }
  const Platform_ClassFactory factory = sFactory.load();
  return factory != nullptr ? factory(iID, oObjectP) : Platform_DirectMusicRoot(iID, oObjectP);
}

void Platform_SetDirectMusicFactory(Platform_ClassFactory iFactory) { sFactory.store(iFactory); }

int StringFromGUID2(REFGUID iGuid, OLECHAR* oText, int iSize) {
  const std::u16string text = GuidText(iGuid);
  const int needed = static_cast<int>(text.size()) + 1;
  if (oText == nullptr || iSize < needed) {
    return 0;
  }
  std::memcpy(oText, text.c_str(), static_cast<std::size_t>(needed) * sizeof(OLECHAR));
  return needed;
}

BSTR SysAllocString(const OLECHAR* iText) {
  if (iText == nullptr) {
    return nullptr;
  }
  return SysAllocStringLen(iText, static_cast<UINT>(std::char_traits<OLECHAR>::length(iText)));
}

BSTR SysAllocStringLen(const OLECHAR* iText, UINT iLength) {
  const std::size_t bytes = std::size_t{iLength} * sizeof(OLECHAR);
  void* const block = std::calloc(1, sizeof(BstrHeader) + bytes + sizeof(OLECHAR));
  if (block == nullptr) {
    return nullptr;
  }
  BstrHeader* const header = new (block) BstrHeader{0, static_cast<std::uint32_t>(bytes)};
  BSTR const text = reinterpret_cast<BSTR>(header + 1);
  if (iText != nullptr && bytes > 0) {
    std::memcpy(text, iText, bytes);
  }
  return text;
}

void SysFreeString(BSTR iText) {
  if (iText != nullptr) {
    std::free(reinterpret_cast<BstrHeader*>(iText) - 1);
  }
}

UINT SysStringLen(BSTR iText) {
  return iText == nullptr ? 0
                          : (reinterpret_cast<const BstrHeader*>(iText) - 1)->mBytes / UINT{sizeof(OLECHAR)};
}

#endif
