// SPDX-License-Identifier: MIT
#include "mlox/mlox_device.h"

#include <gtest/gtest.h>

#include <limits>

#include "cmn/sys_fileloc.h"
#include "cmn/sys_filelocutils.h"
#include "tests/support/fake_service.h"

namespace {

class DeviceOfTrack : public Mlox_Device {
 public:
  explicit DeviceOfTrack(std::uint64_t iTrackPtr, Mdi_AppCallback* iAppCallbackP = nullptr)
      : Mlox_Device(iAppCallbackP, iTrackPtr) {}
  using Mlox_Device::GetAppCallback;
  std::string GetName() override { return "Piano"; }
  Mlox_Output* GetCommonOutput() override { return nullptr; }
  Mlox_Output* GetOutputForChannel(short) override { return nullptr; }
  bool IsMidiChannelAvailable(short) const override { return false; }
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() override { return nullptr; }
};

TEST(Mlox_Device, KeepsTheTrackPointerOfItsConstructor) {
  EXPECT_EQ(DeviceOfTrack(0xFEDCBA9876543210u).GetTrackPtr(), 0xFEDCBA9876543210u);
}

TEST(Mlox_Device, KeepsTheAppCallbackOfItsConstructor) {
  Test_FakeAppCallback appCallback;
  EXPECT_EQ(DeviceOfTrack(0, &appCallback).GetAppCallback(), &appCallback);
}

TEST(Mlox_Device, FactoryPatchFileIsNoneAndYetTheDefault) {
  Test_FakeDevice device("Piano");
  Sys_FileLoc file;
  bool isDefault = false;
  EXPECT_FALSE(device.GetFactoryPatchFileName(&file, &isDefault));
  EXPECT_TRUE(isDefault);
  EXPECT_FALSE(static_cast<bool>(file));
}

TEST(Mlox_Device, FactoryPatchFileThatIsNoneLeavesTheCallersPlaceAlone) {
  Test_FakeDevice device("Piano");
  Sys_FileLoc file = Sys_FileLocUtils::GetApplicationFolderLoc();
  const std::string path = file.GetFullPath();
  ASSERT_NE(path, "");
  bool isDefault = false;
  EXPECT_FALSE(device.GetFactoryPatchFileName(&file, &isDefault));
  EXPECT_EQ(file.GetFullPath(), path);
}

TEST(Mlox_Device, FactoryPatchFileIsNoneForACallerThatDoesntAskForTheDefault) {
  Test_FakeDevice device("Piano");
  EXPECT_FALSE(device.GetFactoryPatchFileName(nullptr, nullptr));
}

TEST(Mlox_Device, IsUserDefinedAndReceivesBeatClock) {
  const DeviceOfTrack device(0);
  EXPECT_TRUE(device.IsUserDefined());
  EXPECT_TRUE(device.GetReceivesMBC());
}

TEST(Mlox_Device, BeatClockOffsetStartsAt0) {
  EXPECT_EQ(Test_FakeDevice("Piano").GetBeatClockOffsetSamples(), 0);
}

TEST(Mlox_Device, SetBeatClockOffsetHandsANegativeValueToTheCommonOutputAs64Bits) {
  Test_FakeDevice device("Piano");
  device.SetBeatClockOffsetSamples(-100);
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), -100);
  EXPECT_EQ(device.mCommonOutput->GetUserBeatClockOffset().AsInt64(), -100);
}

TEST(Mlox_Device, SetBeatClockOffsetTouchesNoOutputOfAChannel) {
  Test_FakeDevice device("Piano");
  device.SetBeatClockOffsetSamples(-100);
  for (const auto& output : device.mChannelOutputs) {
    EXPECT_EQ(output->GetTotalBeatClockOffset().AsInt64(), 0) << output->mName;
  }
}

TEST(Mlox_Device, SetBeatClockOffsetKeepsAndHandsOnAll32Bits) {
  Test_FakeDevice device("Piano");
  for (const int samples : {480000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    device.SetBeatClockOffsetSamples(samples);
    EXPECT_EQ(device.GetBeatClockOffsetSamples(), samples);
    EXPECT_EQ(device.mCommonOutput->GetUserBeatClockOffset().AsInt64(), samples);
  }
}

// The common output may be a new one, which doesn't know the offset yet.
TEST(Mlox_Device, SetBeatClockOffsetHandsAnUnchangedValueToTheCommonOutputAgain) {
  Test_FakeDevice device("Piano");
  device.SetBeatClockOffsetSamples(25);
  device.mCommonOutput = new Test_FakeOutput(&device, device.mDescriptorP, -1);
  device.SetBeatClockOffsetSamples(25);
  EXPECT_EQ(device.mCommonOutput->GetUserBeatClockOffset().AsInt64(), 25);
}

TEST(Mlox_Device, SetBeatClockOffsetWithoutBeatClockStores0AndTouchesNoOutput) {
  Test_FakeDevice device("Piano");
  device.SetBeatClockOffsetSamples(25);
  device.mReceivesMBC = false;
  device.SetBeatClockOffsetSamples(50);
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 0);
  EXPECT_EQ(device.mCommonOutput->GetUserBeatClockOffset().AsInt64(), 25);
  // What was stored is 0, not the value before.
  device.mReceivesMBC = true;
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 0);
}

TEST(Mlox_Device, GetBeatClockOffsetWithoutBeatClockIs0WhateverIsStored) {
  Test_FakeDevice device("Piano");
  device.SetBeatClockOffsetSamples(25);
  device.mReceivesMBC = false;
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 0);
  device.mReceivesMBC = true;
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 25);
}

TEST(Mlox_Device, SetBeatClockOffsetOfADeviceWithoutACommonOutputOnlyStoresIt) {
  Test_FakeDevice device("Piano");
  device.mCommonOutput = nullptr;
  device.SetBeatClockOffsetSamples(25);
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 25);
}

}  // namespace
