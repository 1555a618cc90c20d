// SPDX-License-Identifier: MIT
#include "platform/studio/studiorawdevice.h"

#include <utility>

#include "platform/studio/studioentity.h"

namespace {

HRESULT Give(const std::string& iText, BSTR* oText) {
  if (oText == nullptr) {
    return E_POINTER;
  }
  *oText = Platform_StudioToBstr(iText);
  return S_OK;
}

// A copy of a bank.
class PatchBank final : public IStudioPatchBank {
 public:
  explicit PatchBank(Platform_StudioBank iBank) : mBank(std::move(iBank)) {}

  HRESULT GetName(BSTR* oName) override { return Give(mBank.mName, oName); }
  HRESULT GetFile(BSTR* oPath) override { return Give(mBank.mFile, oPath); }
  HRESULT GetPatchNameList(BSTR* oName) override { return Give(mBank.mPatchNameList, oName); }

 private:
  const Platform_StudioBank mBank;
};

}  // namespace

HRESULT Platform_StudioRawDevice::GetPatchBankCount(int* oCount) {
  if (oCount == nullptr) {
    return E_POINTER;
  }
  *oCount = static_cast<int>(Row()->mBanks.size());
  return S_OK;
}

HRESULT Platform_StudioRawDevice::GetPatchBank(int iIndex, std::shared_ptr<IStudioPatchBank>* oBank) {
  if (oBank == nullptr) {
    return E_POINTER;
  }
  oBank->reset();
  const Platform_StudioDeviceP row = Row();
  if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= row->mBanks.size()) {
    return E_INVALIDARG;
  }
  *oBank = std::make_shared<PatchBank>(row->mBanks[static_cast<std::size_t>(iIndex)]);
  return S_OK;
}

HRESULT Platform_StudioRawDevice::GetEntityCount(int* oCount) {
  if (oCount == nullptr) {
    return E_POINTER;
  }
  *oCount = 1;
  return S_OK;
}

HRESULT Platform_StudioRawDevice::GetEntity(int iIndex, std::shared_ptr<IEntityProperties>* oEntity) {
  if (oEntity == nullptr) {
    return E_POINTER;
  }
  oEntity->reset();
  if (iIndex != 0) {
    return E_INVALIDARG;
  }
  *oEntity = std::make_shared<Platform_StudioEntity>(
      mCore, Row(), Platform_StudioPlace{mPlace.mGuid, kStudio_EntityLevel, false});
  return S_OK;
}
