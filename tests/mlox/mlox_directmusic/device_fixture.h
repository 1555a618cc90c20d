// SPDX-License-Identifier: MIT
/// \file
/// A fake studio with one hardware device, "Keys", on a fake port of the same name.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"
#include "tests/mlox/mlox_directmusic/hardware_fixture.h"
#include "tests/support/fake_service.h"
#include "tests/support/fake_studio.h"

/// Each test's endpoint has a number of its own: activators are kept for the life of the process.
class Test_DeviceFixture : public Test_HardwareFixture {
 protected:
  static constexpr int kServiceIndex = 5;
  /// References on an opened port beside those of devices and outputs.
  static constexpr int kCacheAndActivator = 2;

  Test_DeviceFixture() {
    SetDirectMusicServiceIndex(kServiceIndex);
    Handle().SetStudio(mStudio);
    SetNumber(mEndpoint, mNumber);
    StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceManufacturerName()) = "Maker";
    StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceModelName()) = "Model";
    Calls().Clear();
  }
  ~Test_DeviceFixture() override {
    DeleteReleasedOutputs();
    SetDirectMusicServiceIndex(-1);
  }

  /// A device over the raw objects of an endpoint.
  std::unique_ptr<Mlox_DirectMusic_Device> NewDevice(Test_StudioNode& ioEndpoint) {
    return std::make_unique<Mlox_DirectMusic_Device>(
        &mAppCallback, mStudio->DeviceOf(*ioEndpoint.mParentP->mParentP),
        mStudio->EntityOf(*ioEndpoint.mParentP), mStudio->EndpointOf(ioEndpoint), nullptr);
  }
  bool Match(Mlox_DirectMusic_Device& ioDevice, Test_StudioNode& ioEndpoint) {
    return ioDevice.MatchWithRawProperties(mStudio->DeviceOf(*ioEndpoint.mParentP->mParentP),
                                           mStudio->EntityOf(*ioEndpoint.mParentP),
                                           mStudio->EndpointOf(ioEndpoint));
  }
  bool Update(Mlox_DirectMusic_Device& ioDevice, Test_StudioNode& ioEndpoint) {
    return ioDevice.UpdateWithRawProperties(mStudio->DeviceOf(*ioEndpoint.mParentP->mParentP),
                                            mStudio->EntityOf(*ioEndpoint.mParentP),
                                            mStudio->EndpointOf(ioEndpoint));
  }

  static int NextNumber() {
    static int sNumber = 1000;
    return ++sNumber;
  }
  static void SetNumber(Test_StudioNode& ioNode, int iNumber) {
    ioNode.mIDInts[Test_KeyText(getter_wrapper::Get_PROPID_MLOXID())] = iNumber;
  }
  static void MakeUserDefined(Test_StudioNode& ioDevice) {
    ioDevice.mFlags[Test_KeyText(getter_wrapper::Get_PROPID_DeviceExternal())] = VARIANT_TRUE;
  }
  /// A user-defined device with one destination; returns its endpoint.
  Test_StudioNode& AddUserDevice(const std::string& iName) {
    return mStudio->AddPort("{" + iName + "}", iName, false, true);
  }
  static std::string& StringOf(Test_StudioNode& ioNode, const _GUID& iKey) {
    return ioNode.mStrings[Test_KeyText(iKey)];
  }
  static LONG& IntOf(Test_StudioNode& ioNode, const _GUID& iKey) { return ioNode.mInts[Test_KeyText(iKey)]; }
  static double& DoubleOf(Test_StudioNode& ioNode, const _GUID& iKey) {
    return ioNode.mDoubles[Test_KeyText(iKey)];
  }
  /// Lets the port's latency clock stand so far ahead of the master clock, in 100 ns units.
  void AheadOfMaster(REFERENCE_TIME iAhead) {
    mPort.LatencyClock().mTime = ReferenceTimeOf(Test_FakeTime::Now()) + iAhead;
  }

  Test_FakeAppCallback mAppCallback;
  Test_FakePort& mPort = mRoot.AddOutput(1, "Keys");
  std::shared_ptr<Test_FakeStudio> mStudio = std::make_shared<Test_FakeStudio>();
  const int mNumber = NextNumber();
  Test_StudioNode& mEndpoint = mStudio->AddPort(mPort.GuidText(), "Keys", false);
  Test_StudioNode& mEntity = *mEndpoint.mParentP;
  Test_StudioNode& mDevice = *mEntity.mParentP;
};
