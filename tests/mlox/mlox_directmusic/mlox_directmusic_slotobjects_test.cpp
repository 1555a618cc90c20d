// SPDX-License-Identifier: MIT
// Makes the objects whose slots mlox_directmusic_slots_test.cpp calls: that file must include no header of
// the library.
#include "tests/mlox/mlox_directmusic/mlox_directmusic_slotobjects.h"

#include <fmt/format.h>

#include "cmn/sys_fileloc.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_outputdescriptor.h"
#include "tests/midixml/name_documents.h"
#include "tests/mlox/mlox_directmusic/device_fixture.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

namespace {

const char* const kDocument =
    "<MasterDeviceNames><Manufacturer>Maker</Manufacturer><Model>Model</Model><CustomDeviceMode Name='M'>"
    "<ChannelNameSetAssignments><ChannelNameSetAssign Channel='4' NameSet='Pianos'/>"
    "</ChannelNameSetAssignments></CustomDeviceMode><ChannelNameSet Name='Pianos'><PatchBank Name='Bank'>"
    "<UsesPatchNameList Name='List'/></PatchBank></ChannelNameSet><PatchNameList Name='List'>"
    "<Patch Number='1' Name='Grand' ProgramChange='5'/></PatchNameList></MasterDeviceNames>";

class CountedDevice final : public Mlox_DirectMusic_Device {
 public:
  explicit CountedDevice(int& ioEnded)
      : Mlox_DirectMusic_Device(nullptr, nullptr, nullptr, nullptr, nullptr), mEnded(ioEnded) {}
  CountedDevice(const CountedDevice&) = delete;
  CountedDevice& operator=(const CountedDevice&) = delete;
  ~CountedDevice() override { ++mEnded; }

 private:
  int& mEnded;
};

}  // namespace

struct Test_HardwareSlotObjects::Impl : Test_DeviceFixture {
  Impl() {
    SetNumber(mEndpoint, kNumber);
    IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 0x000F;
    mDocument = mFolder.MakeFile("Maker Model.midnam", Test_Document(kDocument));
    mProgram.SetProgramEnable(true);
    mProgram.SetProgram(5);
    mOwnDevice = NewDevice(mEndpoint);
  }
  void TestBody() override {}

  using Test_DeviceFixture::mDevice;
  using Test_DeviceFixture::mPort;

  Test_TempFolder mFolder;
  Test_Environment mBase{"MLOX_PATCH_NAMES_DIR", mFolder.Path()};
  std::string mDocument;
  std::unique_ptr<Mlox_DirectMusic_Device> mOwnDevice;
  Mdie_Timestamp mStamp;
  Mdie_NoteOnEvent mNote{60, 100};
  Mdie_ProgramEvent mProgram;
  Sys_FileLoc mLocation;
  int mEnded = 0;
};

Test_HardwareSlotObjects::Test_HardwareSlotObjects() : mImplP(std::make_unique<Impl>()) {
  mDeviceP = static_cast<Mlox_Device*>(mImplP->mOwnDevice.get());
  Mlox_Output* outputP = mImplP->mOwnDevice->GetOutputForChannel(3);
  mOutputP = outputP;
  mWriteP = static_cast<Mlox_AWrite*>(outputP);
  mCommonOutputP = mImplP->mOwnDevice->GetCommonOutput();
  mStampP = &mImplP->mStamp;
  mNoteP = static_cast<const Mdie_Event*>(&mImplP->mNote);
  mProgramP = static_cast<const Mdie_Event*>(&mImplP->mProgram);
}

Test_HardwareSlotObjects::~Test_HardwareSlotObjects() = default;

void* Test_HardwareSlotObjects::NewDevice() {
  return static_cast<Mlox_Device*>(new CountedDevice(mImplP->mEnded));
}
int Test_HardwareSlotObjects::EndedDevices() const { return mImplP->mEnded; }

std::vector<std::string> Test_HardwareSlotObjects::TakePlayed() {
  std::vector<std::string> lines;
  for (const Test_FakeEvent& event : Test_EventsOn(mImplP->mPort))
    lines.push_back(fmt::format("{:02X}", fmt::join(event.mBytes, " ")));
  mImplP->mPort.ClearPlayed();
  return lines;
}

void Test_HardwareSlotObjects::DropReference(const void* iCountedP) {
  static_cast<const Cmn_RefCountObject*>(iCountedP)->RemoveReference();
}
int Test_HardwareSlotObjects::ChannelOf(const void* iOutputDescriptorP) {
  return static_cast<const Mlox_OutputDescriptor*>(iOutputDescriptorP)->GetChannel();
}
std::string Test_HardwareSlotObjects::BankOf(const void* iPatchInfoP) {
  return static_cast<const Mlox_PatchInfo*>(iPatchInfoP)->GetBankName();
}
int Test_HardwareSlotObjects::NumberOf(const void* iDeviceDescriptorP) {
  return static_cast<const Mlox_DeviceDescriptor*>(iDeviceDescriptorP)->GetHashValue();
}
void* Test_HardwareSlotObjects::Location() { return &mImplP->mLocation; }
std::string Test_HardwareSlotObjects::PathOfLocation() const { return mImplP->mLocation.GetFullPath(); }
std::string Test_HardwareSlotObjects::DocumentPath() const { return mImplP->mDocument; }
std::string Test_HardwareSlotObjects::StoredMode() const {
  return mImplP->mDevice.mArrays[Test_KeyText(getter_wrapper::Get_PROPID_DeviceChannelModes())].at(4);
}
int Test_HardwareSlotObjects::OffsetOfCommonOutput() const {
  return static_cast<int>(mImplP->mOwnDevice->GetCommonOutput()->GetUserBeatClockOffset().AsInt64());
}
