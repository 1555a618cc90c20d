// SPDX-License-Identifier: MIT
// Makes the objects whose slots mlox_dm_slots_test.cpp calls: that file must include no header of the
// library.
#include "tests/mlox/mlox_directmidi/mlox_dm_slotobjects.h"
#include "mlox/mlox_directmidi/mlox_datasource.h"
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "tests/support/dm_fixture.h"

struct Test_DM_SlotObjects::Impl {
  Mlox_DM_Service* mServiceP;
  Mlox_DM_Device* mDeviceP;
  Mlox_DM_Input* mInputP;
  Mlox_DM_GlobalOutput* mGlobalOutputP;
  std::shared_ptr<const Mlox_DeviceDescriptor> mDescriptorP;
};

Test_DM_SlotObjects::Test_DM_SlotObjects() : mImplP(new Impl) {
  static auto* allocatorP = new Mem2_MasterAllocator;
  mImplP->mServiceP = new Mlox_DM_Service(nullptr, allocatorP, nullptr);
  Mlox_Manager::Singleton()->AddService(mImplP->mServiceP, 1);
  IDirectMIDI3* factoryP = mImplP->mServiceP;
  auto* outputP = static_cast<IDirectMIDIClientOutput4*>(factoryP->CreateClientOutput("Output"));
  IDirectMIDIClientInput* inputP = factoryP->CreateClientInput("Input");
  IDirectMIDIGlobalOutput* globalP = factoryP->CreateGlobalOutput();
  mImplP->mDeviceP = static_cast<Mlox_DM_Device*>(outputP);
  mImplP->mInputP = static_cast<Mlox_DM_Input*>(inputP);
  mImplP->mGlobalOutputP = static_cast<Mlox_DM_GlobalOutput*>(globalP);
  mImplP->mDescriptorP = Mlox_DM_DeviceDescriptor::NewOutput("Tagged", {Sys_UUID(1, 2, 3, 4), 5}, 6);
  mFactoryP = factoryP;
  mClientOutputP = outputP;
  mDeviceNodeP = static_cast<Mlox_DM_GenericDeviceOrInput*>(mImplP->mDeviceP);
  mDeliverySetupP = static_cast<IDirectMIDIOutputDeliverySetup*>(mImplP->mDeviceP);
  mClientInputP = inputP;
  mReceiveP = static_cast<IDirectMIDIInputReceiveMIDI*>(mImplP->mInputP);
  mGlobalOutputP = globalP;
  mBasicOutputP = static_cast<Mlox_BasicOutput*>(mImplP->mGlobalOutputP);
  mDescriptorP = mImplP->mDescriptorP.get();
}

Test_DM_SlotObjects::~Test_DM_SlotObjects() {
  static_cast<IDirectMIDIClientOutput4*>(mImplP->mDeviceP)->Release();
  static_cast<IDirectMIDIClientInput*>(mImplP->mInputP)->Release();
  static_cast<IDirectMIDIGlobalOutput*>(mImplP->mGlobalOutputP)->Release();
  Mlox_Manager::Singleton()->RemoveAllServices();
  delete mImplP;
}

int Test_DM_SlotObjects::CountOutputs() const { return mImplP->mServiceP->GetNumberOfOutputDevices(); }
int Test_DM_SlotObjects::CountInputs() const { return mImplP->mServiceP->GetNumberOfInputs(); }
std::string Test_DM_SlotObjects::LastOutputName() const {
  return mImplP->mServiceP->GetOutputDevice(CountOutputs() - 1)->GetName();
}
uint64_t Test_DM_SlotObjects::LastOutputTrack() const {
  return mImplP->mServiceP->GetOutputDevice(CountOutputs() - 1)->GetTrackPtr();
}
std::string Test_DM_SlotObjects::LastInputName() const {
  return mImplP->mServiceP->GetInput(CountInputs() - 1)->GetName();
}
uint64_t Test_DM_SlotObjects::LastInputTrack() const {
  return mImplP->mServiceP->GetInput(CountInputs() - 1)->GetTrackPtr();
}
std::string Test_DM_SlotObjects::OutputName() const { return mImplP->mDeviceP->GetName(); }
bool Test_DM_SlotObjects::OutputHasChannel(int iChannel) const {
  return mImplP->mDeviceP->IsMidiChannelAvailable(static_cast<short>(iChannel));
}
bool Test_DM_SlotObjects::OutputReceivesMBC() const { return mImplP->mDeviceP->GetReceivesMBC(); }
bool Test_DM_SlotObjects::OutputHasTag() const { return mImplP->mDeviceP->HasPluginTag(); }
void Test_DM_SlotObjects::SetOutputLive(bool iIsLive) { mImplP->mDeviceP->SetMidiSourceIsLive(iIsLive); }
std::string Test_DM_SlotObjects::InputName() const { return mImplP->mInputP->GetName(); }
bool Test_DM_SlotObjects::InputHasChannel(int iChannel) const {
  return mImplP->mInputP->IsMidiChannelAvailable(static_cast<short>(iChannel));
}
bool Test_DM_SlotObjects::InputHasTag() const { return mImplP->mInputP->HasPluginTag(); }
void Test_DM_SlotObjects::SetSources(void* iClickP, void* iBeatClockP, void* iMTCP) {
  mImplP->mServiceP->SetClickSource(static_cast<Mlox_DataSource*>(iClickP));
  mImplP->mServiceP->SetMidiBeatClockSource(static_cast<Mlox_DataSource*>(iBeatClockP));
  mImplP->mServiceP->SetMTCSource(static_cast<Mlox_DataSource*>(iMTCP));
}
void Test_DM_SlotObjects::ReleaseNode(void* iInterfaceP) {
  static_cast<IQCFUnknown*>(iInterfaceP)->Release();
}
