// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"

#include <gtest/gtest.h>

#include "mlox/mlox_genericdevdescriptor.h"
#include "tests/support/assert_recorder.h"

namespace {

const Mlox_DM_PlugInLocator kLocator{Sys_UUID(0x11223344, 2, 0x0F0F0F0F, 4), 7};

const Mlox_DM_DeviceDescriptor& AsNode(const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorP) {
  return dynamic_cast<const Mlox_DM_DeviceDescriptor&>(*iDescriptorP);
}

TEST(Mlox_DM_DeviceDescriptor, MakerNewOutputWithLocatorIsTaggedWithUniqueIdZeroAndTypeOutput) {
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewOutput("Synth", kLocator, 5);
  EXPECT_TRUE(AsNode(descriptorP).HasPluginTag());
  EXPECT_EQ(AsNode(descriptorP).GetPluginLocator(), kLocator);
  EXPECT_EQ(AsNode(descriptorP).GetPluginID(), 5);
  EXPECT_EQ(AsNode(descriptorP).GetUniqueID(), 0);
  EXPECT_TRUE(descriptorP->IsOutput());
  EXPECT_EQ(descriptorP->GetName(), "Synth");
}

TEST(Mlox_DM_DeviceDescriptor,
     MakerNewOutputWithUniqueIdIsUntaggedWithNilLocatorReadUnderReportAndTypeOutput) {
  Test_AssertRecorder recorder;
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewOutput("Synth", 9);
  EXPECT_FALSE(AsNode(descriptorP).HasPluginTag());
  EXPECT_EQ(AsNode(descriptorP).GetPluginLocator(), (Mlox_DM_PlugInLocator{Sys_UUID::NoID(), 0}));
  EXPECT_EQ(AsNode(descriptorP).GetPluginID(), 0);
  EXPECT_EQ(AsNode(descriptorP).GetUniqueID(), 9);
  EXPECT_TRUE(descriptorP->IsOutput());
}

TEST(Mlox_DM_DeviceDescriptor, MakerNewInputWithLocatorIsTaggedWithUniqueIdZeroAndTypeInput) {
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewInput("Keys", kLocator, -3);
  EXPECT_TRUE(AsNode(descriptorP).HasPluginTag());
  EXPECT_EQ(AsNode(descriptorP).GetPluginLocator(), kLocator);
  EXPECT_EQ(AsNode(descriptorP).GetPluginID(), -3);
  EXPECT_EQ(AsNode(descriptorP).GetUniqueID(), 0);
  EXPECT_TRUE(descriptorP->IsInput());
}

TEST(Mlox_DM_DeviceDescriptor, MakerNewInputWithUniqueIdIsUntaggedWithNilLocatorReadUnderReportAndTypeInput) {
  Test_AssertRecorder recorder;
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewInput("Keys", 12);
  EXPECT_FALSE(AsNode(descriptorP).HasPluginTag());
  EXPECT_EQ(AsNode(descriptorP).GetPluginLocator(), (Mlox_DM_PlugInLocator{Sys_UUID::NoID(), 0}));
  EXPECT_EQ(AsNode(descriptorP).GetPluginID(), 0);
  EXPECT_EQ(AsNode(descriptorP).GetUniqueID(), 12);
  EXPECT_TRUE(descriptorP->IsInput());
}

TEST(Mlox_DM_DeviceDescriptor, GetHashValueIsTheFirstWordXorTheThird) {
  // 0x11223344 XOR 0x0F0F0F0F
  EXPECT_EQ(Mlox_DM_DeviceDescriptor::NewOutput("Synth", kLocator, 5)->GetHashValue(), 0x1E2D3C4B);
}

TEST(Mlox_DM_DeviceDescriptor, GetHashValueWithTheHighBitIsNegative) {
  const Mlox_DM_PlugInLocator locator{Sys_UUID(0x80000000, 0, 0x00000001, 0), 0};
  EXPECT_EQ(Mlox_DM_DeviceDescriptor::NewOutput("Synth", locator, 0)->GetHashValue(), -2147483647);
}

TEST(Mlox_DM_DeviceDescriptor, GetHashValueOfAnUntaggedDescriptorIsZero) {
  EXPECT_EQ(Mlox_DM_DeviceDescriptor::NewOutput("Synth", 9)->GetHashValue(), 0);
}

TEST(Mlox_DM_DeviceDescriptor, GetMatchTypeIsOneWhenTaggedAndZeroWhenNot) {
  EXPECT_EQ(static_cast<int>(Mlox_DM_DeviceDescriptor::NewOutput("Synth", kLocator, 5)->GetMatchType()), 1);
  EXPECT_EQ(static_cast<int>(Mlox_DM_DeviceDescriptor::NewOutput("Synth", 9)->GetMatchType()), 0);
}

TEST(Mlox_DM_DeviceDescriptor, IsPlugInAndNeverIAC) {
  EXPECT_TRUE(Mlox_DM_DeviceDescriptor::NewOutput("Synth", 9)->IsPlugIn());
  EXPECT_TRUE(Mlox_DM_DeviceDescriptor::NewInput("Keys", kLocator, 1)->IsPlugIn());
  EXPECT_FALSE(Mlox_DM_DeviceDescriptor::NewOutput("Synth", 9)->IsIACDevice());
}

TEST(Mlox_DM_DeviceDescriptor, TwoUntaggedWithEqualNamesAndDifferentUniqueIdsAreEqual) {
  const auto oneP = Mlox_DM_DeviceDescriptor::NewOutput("Synth", 1);
  const auto otherP = Mlox_DM_DeviceDescriptor::NewOutput("Synth", 2);
  EXPECT_TRUE(oneP->Equals(otherP.get()));
  EXPECT_TRUE(otherP->Equals(oneP.get()));
}

TEST(Mlox_DM_DeviceDescriptor, EqualsTakesNoAccountOfTheDeviceType) {
  EXPECT_TRUE(
      Mlox_DM_DeviceDescriptor::NewOutput("A", 1)->Equals(Mlox_DM_DeviceDescriptor::NewInput("A", 1).get()));
}

TEST(Mlox_DM_DeviceDescriptor, EqualsNeedsEqualNamesInAllCases) {
  EXPECT_FALSE(
      Mlox_DM_DeviceDescriptor::NewOutput("A", 1)->Equals(Mlox_DM_DeviceDescriptor::NewOutput("B", 1).get()));
  EXPECT_FALSE(Mlox_DM_DeviceDescriptor::NewOutput("A", kLocator, 1)
                   ->Equals(Mlox_DM_DeviceDescriptor::NewOutput("a", kLocator, 1).get()));
}

TEST(Mlox_DM_DeviceDescriptor, EqualsNeedsTheSameTagLocatorAndPluginId) {
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewOutput("A", kLocator, 1);
  EXPECT_TRUE(descriptorP->Equals(Mlox_DM_DeviceDescriptor::NewOutput("A", kLocator, 1).get()));
  EXPECT_FALSE(descriptorP->Equals(Mlox_DM_DeviceDescriptor::NewOutput("A", kLocator, 2).get()));
  const Mlox_DM_PlugInLocator otherValue{kLocator.mUUID, 8};
  EXPECT_FALSE(descriptorP->Equals(Mlox_DM_DeviceDescriptor::NewOutput("A", otherValue, 1).get()));
  const Mlox_DM_PlugInLocator otherWord{Sys_UUID(0x11223344, 2, 0x0F0F0F0F, 5), 7};
  EXPECT_FALSE(descriptorP->Equals(Mlox_DM_DeviceDescriptor::NewOutput("A", otherWord, 1).get()));
  EXPECT_FALSE(descriptorP->Equals(Mlox_DM_DeviceDescriptor::NewOutput("A", 1).get()));
  EXPECT_FALSE(Mlox_DM_DeviceDescriptor::NewOutput("A", 1)->Equals(descriptorP.get()));
}

TEST(Mlox_DM_DeviceDescriptor, EqualsOfAnotherClassOrNullIsFalse) {
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewOutput("A", 1);
  EXPECT_FALSE(descriptorP->Equals(nullptr));
  EXPECT_FALSE(descriptorP->Equals(Mlox_GenericDevDescriptor::New("A").get()));
}

TEST(Mlox_DM_DeviceDescriptor, MatchesPlugInLooksAtTheLocatorAlone) {
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewOutput("A", kLocator, 1);
  EXPECT_TRUE(AsNode(descriptorP).MatchesPlugIn(Mlox_DM_DeviceDescriptor::NewInput("B", kLocator, 2).get()));
  const Mlox_DM_PlugInLocator otherValue{kLocator.mUUID, 8};
  EXPECT_FALSE(
      AsNode(descriptorP).MatchesPlugIn(Mlox_DM_DeviceDescriptor::NewOutput("A", otherValue, 1).get()));
}

TEST(Mlox_DM_DeviceDescriptor, MatchesPlugInNeedsATagInTheOtherOnly) {
  // An untagged one has the nil locator, and that is compared like any other.
  const auto untaggedP = Mlox_DM_DeviceDescriptor::NewOutput("A", 1);
  const Mlox_DM_PlugInLocator nil{Sys_UUID::NoID(), 0};
  EXPECT_TRUE(AsNode(untaggedP).MatchesPlugIn(Mlox_DM_DeviceDescriptor::NewOutput("B", nil, 1).get()));
  EXPECT_FALSE(AsNode(untaggedP).MatchesPlugIn(untaggedP.get()));
  EXPECT_FALSE(AsNode(untaggedP).MatchesPlugIn(nullptr));
  EXPECT_FALSE(AsNode(untaggedP).MatchesPlugIn(Mlox_GenericDevDescriptor::New("A").get()));
}

TEST(Mlox_DM_DeviceDescriptor, GetPluginIDWithoutATagReportsAndReturnsTheField) {
  Test_AssertRecorder recorder;
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewOutput("A", 1);
  EXPECT_EQ(AsNode(descriptorP).GetPluginID(), 0);
  ASSERT_EQ(recorder.Count("mHasPluginTag"), 1);
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_devicedescriptor");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST(Mlox_DM_DeviceDescriptor, GetPluginLocatorWithoutATagReportsAndReturnsTheField) {
  Test_AssertRecorder recorder;
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewOutput("A", 1);
  EXPECT_EQ(AsNode(descriptorP).GetPluginLocator().mValue, 0);
  EXPECT_EQ(recorder.Count("mHasPluginTag"), 1);
}

TEST(Mlox_DM_DeviceDescriptor, TaggedDescriptorsAnswerWithoutAReport) {
  Test_AssertRecorder recorder;
  const auto descriptorP = Mlox_DM_DeviceDescriptor::NewOutput("A", kLocator, 3);
  EXPECT_EQ(AsNode(descriptorP).GetPluginID(), 3);
  EXPECT_EQ(AsNode(descriptorP).GetPluginLocator(), kLocator);
  EXPECT_EQ(recorder.Count(), 0);
}

}  // namespace
