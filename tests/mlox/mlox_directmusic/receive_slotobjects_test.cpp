// SPDX-License-Identifier: MIT
// Makes the objects whose slots receive_slots_test.cpp calls: that file must include no header of the
// library.
#include "tests/mlox/mlox_directmusic/receive_slotobjects.h"

#include <memory>
#include <vector>

#include "mlox/mlox_directmusic/cgenericmidireceiver.h"
#include "mlox/mlox_directmusic/directmusicreceivetask.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "tests/mlox/mlox_directmusic/receive_support.h"
#include "tests/support/fake_studio.h"

struct Test_ReceiveSlotObjects::Impl {
  Test_AttachedService mService;
  std::shared_ptr<Test_FakeStudio> mStudio = std::make_shared<Test_FakeStudio>();
  Test_WaitableReceiver mRaw;
  std::uint8_t mByte = 0xF8;
  Mlox_MidiData mRecord;
  IDirectMusicMIDIReceiver* mReceiverP = new CGenericMIDIReceiver;
  IDirectMusicMIDIReceiveCallback* mCallbackP = new Mlox_DirectMusic_MIDIReceiveCallback;
  DirectMusicReceiveTask* mTaskP = new DirectMusicReceiveTask(std::vector<HANDLE>{}, PortInputGroupList{},
                                                              std::vector<IDirectMusicPort*>{});
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> mOther =
      std::make_shared<Mlox_DirectMusic_MIDIReceiveCallback>();
  const IDirectMusicMIDIReceiveCallback* mOtherP = mOther.get();
  std::shared_ptr<IEndpointIDs> mSource;
  std::weak_ptr<IEndpointIDs> mSourceObserver;
  const IEndpointIDs* mSourceP = nullptr;
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> mResultCallback;
  std::shared_ptr<IEndpointIDs> mResultSource;
};

Test_ReceiveSlotObjects::Test_ReceiveSlotObjects() : mImplP(new Impl) {
  SetDirectMusicServiceIndex(3);
  Test_StudioNode& node = mImplP->mStudio->AddPort("DEV", "Name", true);
  node.mIDInts[Test_KeyText(getter_wrapper::Get_PROPID_MLOXID())] = 7;
  mImplP->mSource = mImplP->mStudio->IDsOf(node);
  mImplP->mSourceObserver = mImplP->mSource;
  mImplP->mSourceP = mImplP->mSource.get();
  mImplP->mRecord.mData = &mImplP->mByte;
  mImplP->mRecord.mLength = 1;
  mImplP->mOther->SetRawReceiver(&mImplP->mRaw);
  mReceiverP = mImplP->mReceiverP;
  mCallbackP = mImplP->mCallbackP;
  mRawReceiverP = static_cast<Mlox_RawMidiReceiver*>(&mImplP->mRaw);
  mRecordP = &mImplP->mRecord;
  mOtherCallbackSPP = &mImplP->mOther;
  mSourceSPP = &mImplP->mSource;
  mResultCallbackSPP = &mImplP->mResultCallback;
  mResultSourceSPP = &mImplP->mResultSource;
  mTaskP = mImplP->mTaskP;
}

Test_ReceiveSlotObjects::~Test_ReceiveSlotObjects() {
  delete mImplP->mReceiverP;
  delete mImplP->mCallbackP;
  delete mImplP->mTaskP;
  delete mImplP;
  ClearRegisteredIDs();
  SetDirectMusicServiceIndex(-1);
}

int Test_ReceiveSlotObjects::RawCalls() const { return static_cast<int>(mImplP->mRaw.Count()); }
long Test_ReceiveSlotObjects::SourceUses() const { return mImplP->mSourceObserver.use_count(); }
bool Test_ReceiveSlotObjects::ResultCallbackIsTheOther() const {
  return mImplP->mResultCallback != nullptr && mImplP->mResultCallback.get() == mImplP->mOtherP;
}
bool Test_ReceiveSlotObjects::ResultSourceIsTheSource() const {
  return mImplP->mResultSource != nullptr && mImplP->mResultSource.get() == mImplP->mSourceP;
}
bool Test_ReceiveSlotObjects::TaskHasEnded() const { return mImplP->mTaskP->HasEnded(); }
unsigned Test_ReceiveSlotObjects::TaskKillTimeout() const { return mImplP->mTaskP->GetKillTimeout(); }
void Test_ReceiveSlotObjects::ForgetDestroyed() {
  mImplP->mReceiverP = nullptr;
  mImplP->mCallbackP = nullptr;
  mImplP->mTaskP = nullptr;
}
