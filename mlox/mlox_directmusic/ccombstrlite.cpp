// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/ccombstrlite.h"

#include <utility>

#include "cmn/i18n_stutf16buffer.h"
#include "cmn/i18n_stutf8buffer.h"
#include "midixml/asciicase.h"

namespace {
constexpr int kGuidTextSize = 64;
}

CComBSTRLite::CComBSTRLite(const _GUID& iGuid) {
  OLECHAR text[kGuidTextSize] = {};
  StringFromGUID2(iGuid, text, kGuidTextSize);
  mText = SysAllocString(text);
}

CComBSTRLite::CComBSTRLite(const std::string& iText) { StringToBSTR(iText, &mText); }

CComBSTRLite::CComBSTRLite(const char* iTextP) {
  if (iTextP != nullptr) StringToBSTR(iTextP, &mText);
}

CComBSTRLite::CComBSTRLite(const OLECHAR* iTextP) {
  if (iTextP != nullptr) mText = SysAllocString(iTextP);
}

CComBSTRLite::~CComBSTRLite() { SysFreeString(mText); }

BSTR* CComBSTRLite::Reset() {
  SysFreeString(mText);
  mText = nullptr;
  return &mText;
}

std::string CComBSTRLite::AsString() const { return std::string(I18N_StUTF8Buffer(mText).get()); }

HRESULT CComBSTRLite::BSTRToString(const OLECHAR* iTextP, std::string* oTextP) {
  if (iTextP == nullptr || oTextP == nullptr) return E_INVALIDARG;
  *oTextP = I18N_StUTF8Buffer(iTextP).get();
  return S_OK;
}

HRESULT CComBSTRLite::StringToBSTR(std::string iText, OLECHAR** oTextP) {
  const std::string text = std::move(iText);
  if (oTextP == nullptr || IsLengthNegative(text.size())) return E_INVALIDARG;
  *oTextP = SysAllocString(I18N_StUTF16Buffer(text.c_str()).get());
  return S_OK;
}

VARIANT_BOOL CComBSTRLite::VBTF(const bool& iFlag) { return iFlag ? VARIANT_TRUE : VARIANT_FALSE; }

int CComBSTRLite::Compare(const OLECHAR* iWideP, const std::string& iText) {
  const std::string text = I18N_StUTF8Buffer(iWideP).get();
  return midixml::EqualsIgnoringCase(text, iText) ? 0 : 1;
}
