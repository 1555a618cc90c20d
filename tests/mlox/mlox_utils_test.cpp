// SPDX-License-Identifier: MIT
#include "mlox/mlox_utils.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_directmidi/mlox_dm_plugininstdict.h"
#include "mlox/mlox_genericdevdescriptor.h"
#include "mlox/mlox_outputdescriptor.h"
#include "tests/support/dm_fixture.h"
#include "tests/support/fake_service.h"

namespace {

// Its id as two 64-bit words, as they lie in the memory of a little-endian machine: 0x0000000200000001 and
// 0x0000000400000003.
const Mlox_DM_PlugInLocator kLocator{Sys_UUID(1, 2, 3, 4), 7};
const Mlox_DM_PlugInLocator kDefaultLocator;
constexpr std::int32_t kPluginID = 5;

using DescriptorP = std::shared_ptr<const Mlox_DeviceDescriptor>;

class Mlox_UtilsTest : public Test_DM_Fixture {
 protected:
  Mlox_UtilsTest() {
    Mlox_DM_PlugInInstDict::Singleton().AddEntry(Mlox_DM_PlugInInstDict_Spec(mSpec), kLocator);
  }
  ~Mlox_UtilsTest() override {
    Mlox_DM_PlugInInstDict::Singleton().RemoveEntry(Mlox_DM_PlugInInstDict_Spec(mSpec));
  }

  // A node whose instance has a locator.
  Mlox_DM_Device* NewIdentifiedDevice(const char* iNameP) {
    Mlox_DM_Device* deviceP = NewDevice(iNameP);
    deviceP->SetPluginIdentification(&mSpec, kPluginID);
    return deviceP;
  }

  static DescriptorP Tagged(const char* iNameP) {
    return Mlox_DM_DeviceDescriptor::NewOutput(iNameP, kLocator, kPluginID);
  }

  // A service whose find operations answer for descriptors of its own kind.
  Test_FakeService* AddFakeService() {
    auto* serviceP = new Test_FakeService("other");
    Manager().AddService(serviceP, 16);
    return serviceP;
  }

  SFicPlugInSpec mSpec{1, 100, 200};
};

// ---- DmDeviceMatchesPlugInSpec ----

TEST_F(Mlox_UtilsTest, ANullSpecMatchesNoDevice) {
  EXPECT_FALSE(Mlox_Utils::DmDeviceMatchesPlugInSpec(*NewDevice("Synth"), nullptr));
}

TEST_F(Mlox_UtilsTest, ASpecMatchesADeviceIfAllThreeWordsEqualItsLocator) {
  const Mlox_DM_Device* deviceP = NewIdentifiedDevice("Synth");
  const SFicPlugInSpec equal{7, 0x0000000200000001, 0x0000000400000003};
  for (const int changed : {-1, 0, 1, 2}) {
    SFicPlugInSpec spec = equal;
    if (changed == 0) ++spec.mTag;
    if (changed == 1) spec.mIdHigh ^= 0x8000000000000000;
    if (changed == 2) spec.mIdLow ^= 1;
    EXPECT_EQ(Mlox_Utils::DmDeviceMatchesPlugInSpec(*deviceP, &spec), changed == -1) << changed;
  }
}

TEST_F(Mlox_UtilsTest, ANegativeLocatorValueIsComparedByItsBits) {
  SFicPlugInSpec key{2, 100, 200};
  Mlox_DM_PlugInInstDict::Singleton().AddEntry(Mlox_DM_PlugInInstDict_Spec(key), {Sys_UUID(), -1});
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(&key, kPluginID);
  SFicPlugInSpec spec{0xFFFFFFFF, 0, 0};
  EXPECT_TRUE(Mlox_Utils::DmDeviceMatchesPlugInSpec(*deviceP, &spec));
  Mlox_DM_PlugInInstDict::Singleton().RemoveEntry(Mlox_DM_PlugInInstDict_Spec(key));
}

TEST_F(Mlox_UtilsTest, ADeviceWithoutALocatorMatchesTheSpecOfZerosOnly) {
  const Mlox_DM_Device* deviceP = NewDevice("Synth");
  SFicPlugInSpec zeros;
  EXPECT_TRUE(Mlox_Utils::DmDeviceMatchesPlugInSpec(*deviceP, &zeros));
  EXPECT_FALSE(Mlox_Utils::DmDeviceMatchesPlugInSpec(*deviceP, &mSpec));
}

// ---- GetDeviceDescriptorFromOutput ----

TEST_F(Mlox_UtilsTest, TheDeviceDescriptorComesFromInsideTheOutputsDescriptor) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  EXPECT_EQ(Mlox_Utils::GetDeviceDescriptorFromOutput(*deviceP->GetOutputForChannel(3)),
            deviceP->GetDeviceDescriptor());
}

TEST_F(Mlox_UtilsTest, AnOutputWithoutADescriptorGivesAnEmptyOne) {
  Test_FakeDevice device("Synth");
  device.mCommonOutput->mDescriptorP = nullptr;
  EXPECT_EQ(Mlox_Utils::GetDeviceDescriptorFromOutput(*device.mCommonOutput), nullptr);
}

// ---- GetDmDeviceFromDeviceDescriptor ----

TEST_F(Mlox_UtilsTest, NoDescriptorAndOneThatNamesNoPlugInGiveNoDevice) {
  Test_FakeService* serviceP = AddFakeService();
  Test_FakeDevice& device = serviceP->AddDevice("Port");
  Manager().ServiceOutputListChanged(serviceP, true);
  EXPECT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(nullptr), nullptr);
  EXPECT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(device.GetDeviceDescriptor()), nullptr);
}

// It finds a plug-in by the name, but doesn't say that it means one.
TEST_F(Mlox_UtilsTest, AGenericDescriptorGivesNoDeviceAlsoWhereItsBestMatchIsAPlugIn) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const DescriptorP generic = Mlox_GenericDevDescriptor::New("Synth");
  ASSERT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(generic.get()), deviceP);
  EXPECT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(generic), nullptr);
}

TEST_F(Mlox_UtilsTest, ADescriptorOfAPlugInGivesItsDeviceAlsoByTheNameAlone) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  EXPECT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(deviceP->GetDeviceDescriptor()), deviceP);
  EXPECT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(Mlox_DM_DeviceDescriptor::NewOutput("Synth", 0)),
            deviceP);
  EXPECT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(Mlox_DM_DeviceDescriptor::NewOutput("Other", 0)),
            nullptr);
}

// Fits whatever descriptor it is asked for.
class WillingService : public Test_FakeService {
 public:
  Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(const Mlox_DeviceDescriptor*) override {
    return mDevices.front().get();
  }
};

TEST_F(Mlox_UtilsTest, ABestMatchOfAnotherClassGivesNoDevice) {
  auto* serviceP = new WillingService;
  Manager().AddService(serviceP, 16);
  serviceP->AddDevice("Synth");
  EXPECT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(Mlox_DM_DeviceDescriptor::NewOutput("Synth", 0)),
            nullptr);
  EXPECT_EQ(Mlox_Utils::GetMloxOutputFromPluginDeviceDescriptor(Tagged("Synth")), nullptr);
}

// ---- GetMloxOutputFromPluginDeviceDescriptor ----

TEST_F(Mlox_UtilsTest, TheVeryDescriptorOfAnIdentifiedPlugInGivesItsCommonOutput) {
  Mlox_DM_Device* deviceP = NewIdentifiedDevice("Synth");
  EXPECT_EQ(Mlox_Utils::GetMloxOutputFromPluginDeviceDescriptor(Tagged("Synth")), deviceP->GetCommonOutput());
}

TEST_F(Mlox_UtilsTest, NoDescriptorGivesNoOutput) {
  EXPECT_EQ(Mlox_Utils::GetMloxOutputFromPluginDeviceDescriptor(nullptr), nullptr);
}

TEST_F(Mlox_UtilsTest, ADescriptorThatFitsNothingGivesNoOutput) {
  EXPECT_EQ(Mlox_Utils::GetMloxOutputFromPluginDeviceDescriptor(Tagged("Synth")), nullptr);
}

TEST_F(Mlox_UtilsTest, APlugInWithoutATagGivesNoOutputThoughItsDescriptorIsEqual) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const DescriptorP descriptor = deviceP->GetDeviceDescriptor();
  ASSERT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(descriptor), deviceP);
  EXPECT_EQ(Mlox_Utils::GetMloxOutputFromPluginDeviceDescriptor(descriptor), nullptr);
}

TEST_F(Mlox_UtilsTest, ABestMatchByLocatorWithAnotherNameGivesNoOutput) {
  Mlox_DM_Device* deviceP = NewIdentifiedDevice("Renamed");
  ASSERT_EQ(Mlox_Utils::GetDmDeviceFromDeviceDescriptor(Tagged("Synth")), deviceP);
  EXPECT_EQ(Mlox_Utils::GetMloxOutputFromPluginDeviceDescriptor(Tagged("Synth")), nullptr);
}

// Says of every descriptor that it is equal, which no other says of it, and doesn't say that it means a
// plug-in.
class AgreeableDescriptor : public Test_FakeDescriptor {
 public:
  using Test_FakeDescriptor::Test_FakeDescriptor;
  bool Equals(const Mlox_DeviceDescriptor*) const override { return true; }
};

TEST_F(Mlox_UtilsTest, ForTheOutputTheDescriptorItselfSaysWhetherItIsEqualAndNeedNotNameAPlugIn) {
  Mlox_DM_Device* deviceP = NewIdentifiedDevice("Synth");
  const auto descriptor = std::make_shared<AgreeableDescriptor>("Synth", 1);
  ASSERT_FALSE(descriptor->IsPlugIn());
  ASSERT_FALSE(deviceP->GetDeviceDescriptor()->Equals(descriptor.get()));
  EXPECT_EQ(Mlox_Utils::GetMloxOutputFromPluginDeviceDescriptor(descriptor), deviceP->GetCommonOutput());
}

// ---- GetPlugInLocator ----

TEST_F(Mlox_UtilsTest, NullGivesTheDefaultLocator) {
  EXPECT_EQ(Mlox_Utils::GetPlugInLocator(Mlox_InputRef()), kDefaultLocator);
  EXPECT_EQ(Mlox_Utils::GetPlugInLocator(static_cast<Mlox_Device*>(nullptr)), kDefaultLocator);
  EXPECT_EQ(Mlox_Utils::GetPlugInLocator(DescriptorP()), kDefaultLocator);
}

TEST_F(Mlox_UtilsTest, AnIdentifiedPlugInGivesItsLocator) {
  Mlox_DM_Input* inputP = NewInput("Arpeggiator");
  inputP->SetPluginIdentification(&mSpec, kPluginID);
  EXPECT_EQ(Mlox_Utils::GetPlugInLocator(Mlox_InputRef(inputP)), kLocator);
  EXPECT_EQ(Mlox_Utils::GetPlugInLocator(NewIdentifiedDevice("Synth")), kLocator);
  EXPECT_EQ(Mlox_Utils::GetPlugInLocator(Tagged("Synth")), kLocator);
}

TEST_F(Mlox_UtilsTest, ADescriptorWithoutATagAndOneOfAnotherKindGiveTheDefaultLocatorWithoutAReport) {
  const Test_AssertRecorder recorder;
  EXPECT_EQ(Mlox_Utils::GetPlugInLocator(NewDevice("Synth")), kDefaultLocator);
  EXPECT_EQ(Mlox_Utils::GetPlugInLocator(Test_MakeDescriptor("Port", 1)), kDefaultLocator);
  EXPECT_EQ(recorder.Count(), 0);
}

}  // namespace
