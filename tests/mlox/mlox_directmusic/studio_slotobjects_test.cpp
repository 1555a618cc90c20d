// SPDX-License-Identifier: MIT
// Makes the objects whose slots studio_slots_test.cpp calls: that file must include no header of the library.
#include "tests/mlox/mlox_directmusic/studio_slotobjects.h"

#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "tests/support/fake_studio.h"

namespace {

class Callback final : public IDirectMusicNotificationCallback {
 public:
  void Notify(std::shared_ptr<IDirectMusicNotificationList>) override {}
  HRESULT GetID(BSTR* oID) override {
    *oID = SysAllocString(u"{id}");
    return S_OK;
  }
};

}  // namespace

struct Test_StudioSlotObjects::Impl {
  Impl() {
    Test_StudioNode& entity = *mNode.mParentP;
    Test_StudioNode& device = *entity.mParentP;
    Test_FakeStudio::Wire(mNode, mStudio->AddPort("{other}", "Other", false, true));
    device.mArrays[Test_KeyText(getter_wrapper::Get_PROPID_DeviceChannelModes())] = {"Row"};
    device.mDoubles[Test_KeyText(getter_wrapper::Get_PROPID_DeviceScheduleAheadMuSec())] = 123.5;
    device.mStrings[Test_KeyText(getter_wrapper::Get_PROPID_EntityName())] = "Keys";
    device.mInts[Test_KeyText(getter_wrapper::Get_PROPID_MLOXID())] = 42;
    device.mBanks = {{"Bank", "/file", "List"}};
    mNode.mIDInts[Test_KeyText(getter_wrapper::Get_PROPID_MLOXID())] = 43;
    mDevice = mStudio->DeviceOf(device);
    mEntity = mStudio->EntityOf(entity);
    mEndpoint = mStudio->EndpointOf(mNode);
    mIDs = mStudio->IDsOf(mNode);
    mDevice->GetPatchBank(0, &mBank);
    mStudio->Calls().Clear();
  }

  std::shared_ptr<Test_FakeStudio> mStudio = std::make_shared<Test_FakeStudio>();
  Test_StudioNode& mNode = mStudio->AddPort("{port}", "Keys", false);
  std::shared_ptr<IDeviceProperties> mDevice;
  std::shared_ptr<IEntityProperties> mEntity;
  std::shared_ptr<IEndpointProperties> mEndpoint;
  std::shared_ptr<IEndpointIDs> mIDs;
  std::shared_ptr<IStudioPatchBank> mBank;
  std::shared_ptr<IDirectMusicNotificationCallback> mCallback = std::make_shared<Callback>();
  std::shared_ptr<IDeviceProperties> mResultDevice;
  std::shared_ptr<IEntityProperties> mResultEntity;
  std::shared_ptr<IEndpointProperties> mResultEndpoint;
  std::shared_ptr<IEndpointIDs> mResultIDs;
  std::shared_ptr<IStudioPatchBank> mResultBank;
  CComBSTRLite mModesKey{getter_wrapper::Get_PROPID_DeviceChannelModes()};
  CComBSTRLite mNameKey{getter_wrapper::Get_PROPID_EntityName()};
  CComBSTRLite mMloxKey{getter_wrapper::Get_PROPID_MLOXID()};
  CComBSTRLite mFlagKey{getter_wrapper::Get_PROPID_DeviceExternal()};
  CComBSTRLite mDoubleKey{getter_wrapper::Get_PROPID_DeviceScheduleAheadMuSec()};
};

Test_StudioSlotObjects::Test_StudioSlotObjects() : mImplP(std::make_unique<Impl>()) {
  mStudioP = static_cast<IDirectMusicStudio*>(mImplP->mStudio.get());
  mDeviceP = mImplP->mDevice.get();
  mEntityP = mImplP->mEntity.get();
  mEndpointP = mImplP->mEndpoint.get();
  mIDsP = mImplP->mIDs.get();
  mBankP = mImplP->mBank.get();
  mDeviceSPP = &mImplP->mDevice;
  mEntitySPP = &mImplP->mEntity;
  mEndpointSPP = &mImplP->mEndpoint;
  mIDsSPP = &mImplP->mIDs;
  mCallbackSPP = &mImplP->mCallback;
  mResultDeviceSPP = &mImplP->mResultDevice;
  mResultEntitySPP = &mImplP->mResultEntity;
  mResultEndpointSPP = &mImplP->mResultEndpoint;
  mResultIDsSPP = &mImplP->mResultIDs;
  mResultBankSPP = &mImplP->mResultBank;
  mModesKeyP = mImplP->mModesKey;
  mNameKeyP = mImplP->mNameKey;
  mMloxKeyP = mImplP->mMloxKey;
  mFlagKeyP = mImplP->mFlagKey;
  mDoubleKeyP = mImplP->mDoubleKey;
}

Test_StudioSlotObjects::~Test_StudioSlotObjects() = default;

std::vector<std::string> Test_StudioSlotObjects::TakeCalls() {
  std::vector<std::string> lines = mImplP->mStudio->Calls().Lines();
  mImplP->mStudio->Calls().Clear();
  return lines;
}

std::string Test_StudioSlotObjects::TakeText(char16_t* iTextP) {
  std::string text;
  CComBSTRLite::BSTRToString(iTextP, &text);
  SysFreeString(iTextP);
  return text;
}
