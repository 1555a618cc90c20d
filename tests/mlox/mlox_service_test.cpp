// SPDX-License-Identifier: MIT
#include "mlox/mlox_service.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "mlox/mlox_genericdevdescriptor.h"
#include "tests/support/fake_service.h"

namespace {

// Reaches what a service's own kind sees of the base.
class OpenService : public Test_FakeService {
 public:
  explicit OpenService(Mdi_AppCallback* iAppCallbackP) : Test_FakeService("open", nullptr, iAppCallbackP) {}
  using Mlox_Service::GetAppCallback;
};

// Copyable, unlike the fake with its lists.
class CopyableService : public Mlox_Service {
 public:
  explicit CopyableService(Mdi_AppCallback* iAppCallbackP) : Mlox_Service(iAppCallbackP) {}
  explicit CopyableService(std::atomic<bool>& ioIsSuspended) : Mlox_Service(nullptr, ioIsSuspended) {}
  using Mlox_Service::GetAppCallback;
  void SetServiceIndex(int) override {}
  int GetNumberOfOutputDevices() override { return 0; }
  Mlox_Device* GetOutputDevice(int) override { return nullptr; }
  int GetNumberOfInputs() override { return 0; }
  Mlox_InputRef GetInput(int) override { return nullptr; }
  Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(const Mlox_DeviceDescriptor*) override {
    return nullptr;
  }
  Mlox_Device* FindOutputDeviceMatchingDescriptorExceptForName(const Mlox_DeviceDescriptor*) override {
    return nullptr;
  }
  Mlox_Output* FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor*) override { return nullptr; }
  Mlox_Output* FindOutputMatchingDescriptorExceptForName(const Mlox_OutputDescriptor*) override {
    return nullptr;
  }
  Mlox_InputRef FindInputExactlyMatchingDescriptor(std::shared_ptr<const Mlox_DeviceDescriptor>) override {
    return nullptr;
  }
  Mlox_InputRef FindInputMatchingDescriptorExceptForName(
      std::shared_ptr<const Mlox_DeviceDescriptor>) override {
    return nullptr;
  }
  void CreateOutputContext(Mlox_OutputContext*) override {}
  void AddInputsToList(Mlox_InputList*, Mlox_EInputVirtualSelection, Mlox_EInputSyncSelection) override {}
  void CreateInputPort(Mlox_InputPort*) override {}
  void ConnectInputsToInputPort(const Mlox_InputList&, Mlox_InputPort*) override {}
  void InputPortBlockInput(const Mlox_Input&, bool, Mlox_InputPort*) override {}
  void InputPortCloseConnections(Mlox_InputPort*) override {}
};

TEST(Mlox_Service, KeepsTheAppCallback) {
  Test_FakeAppCallback appCallback;
  EXPECT_EQ(OpenService(&appCallback).GetAppCallback(), &appCallback);
}

TEST(Mlox_Service, FindByNameWithANullDescriptorReturnsNullAndCallsNothing) {
  Test_FakeService service;
  service.AddDevice("");
  service.AddInput("");
  EXPECT_EQ(service.Mlox_Service::FindOutputDeviceMatchingName(nullptr), nullptr);
  EXPECT_FALSE(service.Mlox_Service::FindInputMatchingName(nullptr));
  EXPECT_EQ(service.mCounts, 0);
  EXPECT_EQ(service.mLastDeviceIndex, -1);
  EXPECT_EQ(service.mLastInputIndex, -1);
}

TEST(Mlox_Service, NamesMatchCaseSensitivelyAndWhole) {
  Test_FakeService service;
  service.AddDevice("Piano");
  service.AddInput("Keys");
  for (const char* name : {"piano", "Piano ", " Piano", "Pian", ""}) {
    EXPECT_EQ(service.FindOutputDeviceMatchingName(Test_MakeDescriptor(name, 0).get()), nullptr) << name;
  }
  for (const char* name : {"keys", "Keys ", "Key", ""}) {
    EXPECT_FALSE(service.FindInputMatchingName(Test_MakeDescriptor(name, 0))) << name;
  }
}

TEST(Mlox_Service, ZeroBytesOfANameCountInAMatch) {
  Test_FakeService service;
  service.AddDevice("Piano");
  service.AddInput("Piano");
  const auto longer = Test_MakeDescriptor(std::string("Piano\0A", 7), 0);
  EXPECT_EQ(service.FindOutputDeviceMatchingName(longer.get()), nullptr);
  EXPECT_FALSE(service.FindInputMatchingName(longer));
  Test_FakeDevice& device = service.AddDevice(longer->GetName());
  const auto input = service.AddInput(longer->GetName());
  EXPECT_EQ(service.FindOutputDeviceMatchingName(longer.get()), &device);
  EXPECT_EQ(service.FindInputMatchingName(longer).get(), input.get());
}

// A list can lose members between the count and the fetch.
TEST(Mlox_Service, AnIndexThatGivesNullIsPassedOverInAMatchByName) {
  class ShrinkingService : public Test_FakeService {
   public:
    int GetNumberOfOutputDevices() override { return 2; }
    Mlox_Device* GetOutputDevice(int iIndex) override {
      return iIndex == 0 ? nullptr : Test_FakeService::GetOutputDevice(0);
    }
    int GetNumberOfInputs() override { return 2; }
    Mlox_InputRef GetInput(int iIndex) override {
      return iIndex == 0 ? Mlox_InputRef() : Test_FakeService::GetInput(0);
    }
  };
  ShrinkingService service;
  Test_FakeDevice& device = service.AddDevice("Piano");
  const auto input = service.AddInput("Keys");
  EXPECT_EQ(service.FindOutputDeviceMatchingName(Test_MakeDescriptor("Piano", 0).get()), &device);
  EXPECT_EQ(service.FindInputMatchingName(Test_MakeDescriptor("Keys", 0)).get(), input.get());
}

TEST(Mlox_Service, OfTwoDevicesWithOneNameTheLowerIndexWins) {
  Test_FakeService service;
  service.AddDevice("Organ", 1);
  Test_FakeDevice& lower = service.AddDevice("Piano", 2);
  service.AddDevice("Piano", 3);
  EXPECT_EQ(service.FindOutputDeviceMatchingName(Test_MakeDescriptor("Piano", 3).get()), &lower);
}

TEST(Mlox_Service, OfTwoInputsWithOneNameTheLowerIndexWinsAndIsReferenced) {
  Test_FakeService service;
  const auto lower = service.AddInput("Keys", 1);
  service.AddInput("Keys", 2);
  const Mlox_InputRef found = service.FindInputMatchingName(Test_MakeDescriptor("Keys", 2));
  EXPECT_EQ(found.get(), lower.get());
  service.mInputs.clear();
  EXPECT_EQ(found->GetName(), "Keys");
}

TEST(Mlox_Service, ADescriptorOfAnyKindFindsByName) {
  Test_FakeService service;
  Test_FakeDevice& device = service.AddDevice("Piano", 2);
  const auto input = service.AddInput("Keys", 3);
  EXPECT_EQ(service.FindOutputDeviceMatchingName(Mlox_GenericDevDescriptor::New("Piano").get()), &device);
  EXPECT_EQ(service.FindInputMatchingName(Mlox_GenericDevDescriptor::New("Keys")).get(), input.get());
}

TEST(Mlox_Service, SuspendRaisesTheFlagAndResumeTakesItDown) {
  Test_FakeService service;
  EXPECT_FALSE(service.IsSuspended());
  service.Suspend();
  EXPECT_TRUE(service.IsSuspended());
  service.Suspend();
  EXPECT_TRUE(service.IsSuspended());
  service.Resume();
  EXPECT_FALSE(service.IsSuspended());
}

TEST(Mlox_Service, ResumeOfAServiceThatIsntSuspendedChangesNothing) {
  Test_FakeService service;
  service.Resume();
  EXPECT_FALSE(service.IsSuspended());
}

TEST(Mlox_Service, BaseBodiesAreEmptyAndNoInputIsAPlugInSource) {
  CopyableService service(nullptr);
  for (const bool isSuspended : {false, true}) {
    if (isSuspended) service.Suspend();
    service.SetZeroJitterDelay(100);
    service.DoneUpdatingOldDeviceReferences();
    service.StopPlayback();
    EXPECT_EQ(service.IsSuspended(), isSuspended);
  }
  EXPECT_FALSE(service.IsPlugInSource(Mlox_InputID(1, 1)));
}

TEST(Mlox_Service, ACopyHasCallbackAndFlag) {
  Test_FakeAppCallback appCallback;
  CopyableService service(&appCallback);
  service.Suspend();
  CopyableService copy(service);
  EXPECT_TRUE(copy.IsSuspended());
  EXPECT_EQ(copy.GetAppCallback(), &appCallback);
  CopyableService assigned(nullptr);
  assigned = service;
  EXPECT_TRUE(assigned.IsSuspended());
  EXPECT_EQ(assigned.GetAppCallback(), &appCallback);
  service.Resume();
  EXPECT_TRUE(copy.IsSuspended() && assigned.IsSuspended()) << "each has a flag of its own";
  assigned = service;
  EXPECT_FALSE(assigned.IsSuspended());
}

TEST(Mlox_Service, ACopyOfAServiceWhoseFlagStandsElsewhereHasAFlagOfItsOwn) {
  std::atomic<bool> isSuspended{false};
  CopyableService service(isSuspended);
  service.Suspend();
  EXPECT_TRUE(isSuspended);
  CopyableService copy(service);
  CopyableService assigned(nullptr);
  assigned = service;
  EXPECT_TRUE(copy.IsSuspended() && assigned.IsSuspended());
  copy.Resume();
  assigned.Resume();
  EXPECT_TRUE(isSuspended);
  assigned.Suspend();
  service = copy;
  EXPECT_FALSE(isSuspended) << "assigning writes where the flag stands";
  EXPECT_TRUE(assigned.IsSuspended());
}

TEST(Mlox_Service, FiltersHaveTheValuesThatServicesRead) {
  EXPECT_EQ(static_cast<int>(kMlox_NonVirtualInputs), 0);
  EXPECT_EQ(static_cast<int>(kMlox_VirtualInputs), 1);
  EXPECT_EQ(static_cast<int>(kMlox_VirtualAndNonVirtualInputs), 2);
  EXPECT_EQ(static_cast<int>(kMlox_NonSyncInputs), 0);
  EXPECT_EQ(static_cast<int>(kMlox_SyncInputs), 1);
  EXPECT_EQ(static_cast<int>(kMlox_SyncAndNonSyncInputs), 2);
}

}  // namespace
