// SPDX-License-Identifier: MIT
#include "mlox/mlox_device.h"

#include <gtest/gtest.h>

#include "cmn/sys_fileloc.h"
#include "tests/support/fake_service.h"

namespace {

class DeviceOfTrack : public Mlox_Device {
 public:
  explicit DeviceOfTrack(std::uint64_t iTrackPtr) : Mlox_Device(nullptr, iTrackPtr) {}
  std::string GetName() override { return "Piano"; }
  Mlox_Output* GetCommonOutput() override { return nullptr; }
  Mlox_Output* GetOutputForChannel(short) override { return nullptr; }
  bool IsMidiChannelAvailable(short) const override { return false; }
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() override { return nullptr; }
};

TEST(Mlox_Device, KeepsTheTrackPointerOfItsConstructor) {
  EXPECT_EQ(DeviceOfTrack(0xFEDCBA9876543210u).GetTrackPtr(), 0xFEDCBA9876543210u);
}

TEST(Mlox_Device, FactoryPatchFileIsNoneAndYetTheDefault) {
  Test_FakeDevice device("Piano");
  Sys_FileLoc file;
  bool isDefault = false;
  EXPECT_FALSE(device.GetFactoryPatchFileName(&file, &isDefault));
  EXPECT_TRUE(isDefault);
  EXPECT_FALSE(static_cast<bool>(file));
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
  EXPECT_EQ(device.mChannelOutputs[0]->GetUserBeatClockOffset().AsInt64(), 0);
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
