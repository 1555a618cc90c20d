// SPDX-License-Identifier: MIT
/// \file
/// The hardware service over a studio in memory and a fake of DirectMusic.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"
#include "mlox/mlox_directmusic/mlox_directmusic_input.h"
#include "mlox/mlox_directmusic/mlox_directmusic_service.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "tests/support/delayed_deletions.h"
#include "tests/support/fake_directmusic.h"
#include "tests/support/manager_fixture.h"
#include "tests/support/model_studio.h"

/// Reaches what only the service itself does.
struct Test_DirectMusic_ServiceAccess {
  static void Rebuild(Mlox_DirectMusic_Service& ioService) {
    const DirectMusicSubsystemLock lock;
    ioService.Rebuild();
  }
  static bool NeedsRebuild(const Mlox_DirectMusic_Service& iService) { return iService.mNeedsRebuild; }
  static bool DevicesChanged(const Mlox_DirectMusic_Service& iService) { return iService.mDevicesChanged; }
  static bool InputsChanged(const Mlox_DirectMusic_Service& iService) { return iService.mInputsChanged; }
};

/// A studio and a root that outlive the services of the test.
class Test_DirectMusic_ServiceFixture : public Test_ManagerFixture {
 protected:
  using Access = Test_DirectMusic_ServiceAccess;

  Test_DirectMusic_ServiceFixture() {
    Test_ModelStudio::Install(mStudio);
    ClearRegisteredIDs();
    SetDirectMusicServiceIndex(-1);
  }
  ~Test_DirectMusic_ServiceFixture() override {
    Manager().RemoveAllServices();
    // One that was made but never installed belongs to nobody.
    delete Mlox_DirectMusic_ServiceHandle::Singleton().GetService();
    SetDirectMusicServiceIndex(-1);
    Test_ModelStudio::Install(nullptr);
    IDirectMusicStudio::SetFactory(nullptr);
    // Outputs hold on to ports of the root until they are deleted.
    Test_RunDelayedDeletions();
  }

  bool Activate(int iServices = Mlox_Manager::kDirectMusicService) {
    return Manager().ActivateService(iServices, &mAllocator, &mAppCallback);
  }
  /// The service, activated and counted.
  Mlox_DirectMusic_Service& Live() {
    EXPECT_TRUE(Activate());
    Count();
    return Service();
  }
  static void Count() {
    Manager().GetNumberOfOutputDevices();
    Manager().GetNumberOfInputs();
  }
  static Mlox_DirectMusic_Service& Service() {
    return *Mlox_DirectMusic_ServiceHandle::Singleton().GetService();
  }

  static Test_ModelDevice Output(const std::string& iUniqueID, const std::string& iName) {
    Test_ModelDevice device;
    device.mUniqueID = iUniqueID;
    device.mName = iName;
    device.mHasDestination = true;
    return device;
  }
  static Test_ModelDevice Input(const std::string& iUniqueID, const std::string& iName) {
    Test_ModelDevice device;
    device.mUniqueID = iUniqueID;
    device.mName = iName;
    device.mHasSource = true;
    return device;
  }
  static Test_ModelDevice UserDefined(const std::string& iUniqueID, const std::string& iName) {
    Test_ModelDevice device;
    device.mUniqueID = iUniqueID;
    device.mName = iName;
    device.mHasSource = device.mHasDestination = true;
    return device;
  }

  /// The names of what is listed, in order.
  static std::vector<std::string> Devices() {
    std::vector<std::string> names;
    const int count = Service().GetNumberOfOutputDevices();
    for (int i = 0; i < count; ++i) names.push_back(Service().GetOutputDevice(i)->GetName());
    return names;
  }
  static std::vector<std::string> Inputs() {
    std::vector<std::string> names;
    const int count = Service().GetNumberOfInputs();
    for (int i = 0; i < count; ++i) names.push_back(Service().GetInput(i)->GetName());
    return names;
  }
  static Mlox_DirectMusic_Device* Device(int iIndex) {
    return static_cast<Mlox_DirectMusic_Device*>(Service().GetOutputDevice(iIndex));
  }
  static const Mlox_DirectMusic_Input* InputAt(int iIndex) {
    return static_cast<const Mlox_DirectMusic_Input*>(Service().GetInput(iIndex).get());
  }

  Test_FakeDirectMusic mRoot;
  std::shared_ptr<Test_ModelStudio> mStudio = std::make_shared<Test_ModelStudio>();
  Mem2_MasterAllocator mAllocator;
  Test_FakeAppCallback mAppCallback;
};
