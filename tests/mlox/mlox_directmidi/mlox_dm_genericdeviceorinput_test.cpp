// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_genericdeviceorinput.h"

#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "tests/support/dm_fixture.h"

namespace {

const Mlox_DM_PlugInLocator kLocator{Sys_UUID(1, 2, 3, 4), 7};
const Mlox_DM_PlugInLocator kOtherLocator{Sys_UUID(1, 2, 3, 5), 7};

using DescriptorP = std::shared_ptr<const Mlox_DeviceDescriptor>;

const Mlox_DM_DeviceDescriptor* AsNode(const DescriptorP& iDescriptorP) {
  return dynamic_cast<const Mlox_DM_DeviceDescriptor*>(iDescriptorP.get());
}

/// Enters a plug-in instance into the dictionary for a test's lifetime.
class Entry {
 public:
  explicit Entry(uint32_t iTag, const Mlox_DM_PlugInLocator& iLocator = kLocator) : mSpec{iTag, 100, 200} {
    Mlox_DM_PlugInInstDict::Singleton().AddEntry(Mlox_DM_PlugInInstDict_Spec(mSpec), iLocator);
  }
  ~Entry() { Mlox_DM_PlugInInstDict::Singleton().RemoveEntry(Mlox_DM_PlugInInstDict_Spec(mSpec)); }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  SFicPlugInSpec mSpec;
};

class Mlox_DM_GenericDeviceOrInputTest : public Test_DM_Fixture {
 protected:
  static int32_t UniqueIDOf(Mlox_DM_Device& ioDevice) {
    return AsNode(ioDevice.GetDeviceDescriptor())->GetUniqueID();
  }

  bool Matches(const Mlox_DM_Device& iDevice, const DescriptorP& iDescriptorP, bool iCompareName) {
    return iDevice.MatchesDescriptor(AsNode(iDescriptorP), iCompareName);
  }
};

// ---- names and channels ----

TEST_F(Mlox_DM_GenericDeviceOrInputTest, ANewNodeHasAllChannels) {
  const Mlox_DM_Device* deviceP = NewDevice("Synth");
  for (short channel = 0; channel < 16; ++channel)
    EXPECT_TRUE(deviceP->IsMidiChannelAvailable(channel)) << channel;
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, AMaskOfFiveGivesChannelsZeroAndTwo) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetChannelMask(0x0005);
  for (short channel = 0; channel < 16; ++channel) {
    EXPECT_EQ(deviceP->IsMidiChannelAvailable(channel), channel == 0 || channel == 2) << channel;
  }
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, BitFifteenIsChannelFifteen) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetChannelMask(0x8000);
  EXPECT_TRUE(deviceP->IsMidiChannelAvailable(15));
  EXPECT_FALSE(deviceP->IsMidiChannelAvailable(14));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, ChannelsOutOfRangeAreNotAvailable) {
  const Mlox_DM_Device* deviceP = NewDevice("Synth");
  EXPECT_FALSE(deviceP->IsMidiChannelAvailable(-1));
  EXPECT_FALSE(deviceP->IsMidiChannelAvailable(16));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, ANewNodeHasNoPluginTag) {
  EXPECT_FALSE(NewDevice("Synth")->HasPluginTag());
  EXPECT_FALSE(NewInput("Keys")->HasPluginTag());
}

// ---- unique ids ----

TEST_F(Mlox_DM_GenericDeviceOrInputTest, EachNewNodeTakesTheNextValueOfOneCounterForDevicesAndInputs) {
  const int32_t first = UniqueIDOf(*NewDevice("A"));
  const Mlox_DM_Input* inputP = NewInput("B");
  EXPECT_EQ(inputP->GetInputID().mInputNumber, first + 1);
  EXPECT_EQ(UniqueIDOf(*NewDevice("C")), first + 2);
}

TEST(Mlox_DM_GenericDeviceOrInputDeathTest, TheFirstNodeOfAProcessGetsOne) {
  // The counter belongs to the process, so this needs one in which no other test has run.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        auto* serviceP = new Mlox_DM_Service(nullptr, nullptr, nullptr);
        auto* deviceP = static_cast<Mlox_DM_Device*>(
            static_cast<IDirectMIDIClientOutput4*>(serviceP->CreateClientOutput("First")));
        std::_Exit(AsNode(deviceP->GetDeviceDescriptor())->GetUniqueID());
      },
      testing::ExitedWithCode(1), "");
}

// ---- identification ----

TEST_F(Mlox_DM_GenericDeviceOrInputTest, SetPluginIdentificationStoresTagAndSpecAndTellsEveryListener) {
  Test_DM_Listener second;
  Manager().AddListener(&second);
  SFicPlugInSpec spec{11, 22, 33};
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(&spec, 4);
  EXPECT_TRUE(deviceP->HasPluginTag());
  EXPECT_EQ(deviceP->GetPlugInSpec().GetTag(), 11u);
  EXPECT_EQ(deviceP->GetPlugInSpec().GetIdHigh(), 22u);
  EXPECT_EQ(deviceP->GetPlugInSpec().GetIdLow(), 33u);
  EXPECT_EQ(mListener.mRegistered, std::vector<SFicPlugInSpec*>{&spec});
  EXPECT_EQ(second.mRegistered, std::vector<SFicPlugInSpec*>{&spec});
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, AListenerThatIsToldOfANodeFindsItIdentified) {
  Entry entry(12);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  class Asking : public Mlox_Manager_Listener {
   public:
    void Mlox_Manager_PlugInNodeRegistered(SFicPlugInSpec*) override {
      mHadTag = mDeviceP->HasPluginTag();
      mDescriptorP = mDeviceP->GetDeviceDescriptor();
    }
    Mlox_DM_Device* mDeviceP = nullptr;
    bool mHadTag = false;
    DescriptorP mDescriptorP;
  };
  Asking asking;
  asking.mDeviceP = deviceP;
  Manager().AddListener(&asking);
  deviceP->SetPluginIdentification(&entry.mSpec, 42);
  EXPECT_TRUE(asking.mHadTag);
  ASSERT_NE(asking.mDescriptorP, nullptr);
  ASSERT_TRUE(AsNode(asking.mDescriptorP)->HasPluginTag());
  EXPECT_EQ(AsNode(asking.mDescriptorP)->GetPluginID(), 42);
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, SetPluginIdentificationWithANullSpecReportsAndChangesNothing) {
  Test_AssertRecorder recorder;
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(nullptr, 4);
  ASSERT_EQ(recorder.Count("iFicPlugInSpecP"), 1);
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_genericdeviceorinput");
  EXPECT_FALSE(deviceP->HasPluginTag());
  EXPECT_TRUE(mListener.mRegistered.empty());
}

// ---- descriptors ----

TEST_F(Mlox_DM_GenericDeviceOrInputTest, WithoutALocatorTheDescriptorHasNameAndUniqueId) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const DescriptorP descriptorP = deviceP->GetDeviceDescriptor();
  EXPECT_FALSE(AsNode(descriptorP)->HasPluginTag());
  EXPECT_TRUE(descriptorP->IsOutput());
  EXPECT_EQ(descriptorP->GetName(), "Synth");
  EXPECT_NE(AsNode(descriptorP)->GetUniqueID(), 0);
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, WithALocatorTheDescriptorHasLocatorAndPluginId) {
  Entry entry(1);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(&entry.mSpec, 42);
  const DescriptorP descriptorP = deviceP->GetDeviceDescriptor();
  ASSERT_TRUE(AsNode(descriptorP)->HasPluginTag());
  EXPECT_EQ(AsNode(descriptorP)->GetPluginLocator(), kLocator);
  EXPECT_EQ(AsNode(descriptorP)->GetPluginID(), 42);
  EXPECT_TRUE(descriptorP->IsOutput());
  EXPECT_EQ(descriptorP->GetName(), "Synth");
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, TheDescriptorIsCached) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  EXPECT_EQ(deviceP->GetDeviceDescriptor(), deviceP->GetDeviceDescriptor());
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest,
       ADescriptorMadeBeforeTheLocatorIsKnownStaysUntaggedUntilTheNameChanges) {
  SFicPlugInSpec spec{77, 1, 1};
  const Mlox_DM_PlugInInstDict_Spec key(spec);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(&spec, 1);
  EXPECT_FALSE(AsNode(deviceP->GetDeviceDescriptor())->HasPluginTag());

  Mlox_DM_PlugInInstDict::Singleton().AddEntry(key, kLocator);
  EXPECT_FALSE(AsNode(deviceP->GetDeviceDescriptor())->HasPluginTag());
  deviceP->SetName("Synth");  // the same name: no change
  EXPECT_FALSE(AsNode(deviceP->GetDeviceDescriptor())->HasPluginTag());
  deviceP->SetName("Other");
  EXPECT_TRUE(AsNode(deviceP->GetDeviceDescriptor())->HasPluginTag());
  Mlox_DM_PlugInInstDict::Singleton().RemoveEntry(key);
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, IdentificationAfterTheDescriptorDoesNotDropTheCache) {
  Entry entry(78);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const DescriptorP beforeP = deviceP->GetDeviceDescriptor();
  deviceP->SetPluginIdentification(&entry.mSpec, 1);
  EXPECT_EQ(deviceP->GetDeviceDescriptor(), beforeP);
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, AFailedLookUpIsTriedAgain) {
  SFicPlugInSpec spec{79, 1, 1};
  const Mlox_DM_PlugInInstDict_Spec key(spec);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(&spec, 1);
  const DescriptorP taggedP = Mlox_DM_DeviceDescriptor::NewOutput("Synth", kLocator, 1);
  EXPECT_FALSE(Matches(*deviceP, taggedP, true));
  Mlox_DM_PlugInInstDict::Singleton().AddEntry(key, kLocator);
  EXPECT_TRUE(Matches(*deviceP, taggedP, true));
  Mlox_DM_PlugInInstDict::Singleton().RemoveEntry(key);
  EXPECT_TRUE(Matches(*deviceP, taggedP, true)) << "a locator that was found is kept";
  deviceP->SetName("Other");
  EXPECT_FALSE(Matches(*deviceP, taggedP, true)) << "a new name has it looked up anew";
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest,
       AnotherIdentificationKeepsTheLocatorThatWasFoundUntilTheNameChanges) {
  Entry first(82);
  Entry second(83, kOtherLocator);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const auto fits = [&](const Mlox_DM_PlugInLocator& iLocator, int32_t iPluginID) {
    return Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", iLocator, iPluginID), true);
  };
  deviceP->SetPluginIdentification(&first.mSpec, 5);
  EXPECT_TRUE(fits(kLocator, 5));
  deviceP->SetPluginIdentification(&second.mSpec, 6);
  EXPECT_TRUE(fits(kLocator, 6));
  EXPECT_FALSE(fits(kOtherLocator, 6));
  deviceP->SetName("Other");
  EXPECT_TRUE(fits(kOtherLocator, 6));
  EXPECT_FALSE(fits(kLocator, 6));
}

// ---- matching ----

TEST_F(Mlox_DM_GenericDeviceOrInputTest, MatchesDescriptorWithNullReportsAndFitsNothing) {
  Test_AssertRecorder recorder;
  EXPECT_FALSE(NewDevice("Synth")->MatchesDescriptor(nullptr, true));
  ASSERT_EQ(recorder.Count("iDescriptorP"), 1);
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_genericdeviceorinput");
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, TaggedAndUnresolvedIsFalseWhateverTheNames) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const DescriptorP taggedP = Mlox_DM_DeviceDescriptor::NewOutput("Synth", kLocator, 0);
  EXPECT_FALSE(Matches(*deviceP, taggedP, true));
  EXPECT_FALSE(Matches(*deviceP, taggedP, false));
  // Identified, but unknown to the dictionary.
  SFicPlugInSpec spec{80, 1, 1};
  deviceP->SetPluginIdentification(&spec, 0);
  EXPECT_FALSE(Matches(*deviceP, taggedP, true));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, TaggedAndResolvedComparesLocatorAndPluginIdAndNeverTheName) {
  Entry entry(2);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(&entry.mSpec, 6);
  const DescriptorP renamedP = Mlox_DM_DeviceDescriptor::NewOutput("Another name", kLocator, 6);
  EXPECT_TRUE(Matches(*deviceP, renamedP, true));
  EXPECT_TRUE(Matches(*deviceP, renamedP, false));
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", kOtherLocator, 6), true));
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", kLocator, 5), true));
  const Mlox_DM_PlugInLocator otherValue{kLocator.mUUID, 8};
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", otherValue, 6), true));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, UntaggedWithUniqueIdAndNameNeedsBoth) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const int32_t uid = UniqueIDOf(*deviceP);
  EXPECT_TRUE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", uid), true));
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Other", uid), true));
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", uid + 1000), true));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, UntaggedWithUniqueIdWithoutNameNeedsTheSameNode) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const int32_t uid = UniqueIDOf(*deviceP);
  EXPECT_TRUE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Other", uid), false));
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", uid + 1000), false));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, UntaggedWithUniqueIdNeverFitsANodeWithLocator) {
  Entry entry(3);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const int32_t uid = UniqueIDOf(*deviceP);
  deviceP->SetPluginIdentification(&entry.mSpec, 6);
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", uid), true));
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", uid), false));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, UntaggedWithUniqueIdZeroMatchesByNameAlone) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  EXPECT_TRUE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", 0), true));
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("synth", 0), true));
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", 0), false));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, UntaggedWithUniqueIdZeroNeverFitsANodeWithLocator) {
  Entry entry(4);
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(&entry.mSpec, 6);
  EXPECT_FALSE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", 0), true));
}

TEST_F(Mlox_DM_GenericDeviceOrInputTest, AnIdentifiedNodeWithoutALocatorIsStillFoundByNameAndUniqueId) {
  SFicPlugInSpec spec{81, 1, 1};
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetPluginIdentification(&spec, 6);
  EXPECT_TRUE(Matches(*deviceP, Mlox_DM_DeviceDescriptor::NewOutput("Synth", UniqueIDOf(*deviceP)), true));
}

}  // namespace
