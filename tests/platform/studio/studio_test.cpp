// SPDX-License-Identifier: MIT
#include "platform/studio/studio.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/studio/studiocore.h"
#include "tests/support/studio_fixture.h"
#include "tests/support/test_environment.h"

namespace {

using Result = Platform_StudioResult;
using Lines = std::vector<std::string>;

// Holds each call of a subscriber's until it is let go.
class HeldCall {
 public:
  explicit HeldCall(Test_Subscriber& ioSubscriber) {
    ioSubscriber.mWhileTold = [this] {
      mHasBegun = true;
      Test_Eventually([&] { return mMayEnd.load(); });
      mHasEnded = true;
    };
  }
  ~HeldCall() {
    if (mLeaver.joinable()) mLeaver.join();
  }
  HeldCall(const HeldCall&) = delete;
  HeldCall& operator=(const HeldCall&) = delete;

  bool HasBegun() {
    return Test_Eventually([&] { return mHasBegun.load(); });
  }
  void LetGoIn(std::chrono::milliseconds iTime) {
    mLeaver = std::thread([this, iTime] {
      std::this_thread::sleep_for(iTime);
      mMayEnd = true;
    });
  }
  bool HasEnded() const { return mHasEnded.load(); }

 private:
  std::atomic<bool> mHasBegun{false};
  std::atomic<bool> mMayEnd{false};
  std::atomic<bool> mHasEnded{false};
  std::thread mLeaver;
};

class StudioTest : public Test_StudioFixture {
 protected:
  static int CountOf(IDirectMusicStudio& iStudio, VARIANT_BOOL iGroup) {
    int count = -1;
    EXPECT_EQ(iStudio.GetDeviceCount(iGroup, &count), S_OK);
    return count;
  }
  static int ConnectionsOf(IEndpointProperties& iEndpoint) {
    int count = -1;
    EXPECT_EQ(iEndpoint.GetNumConnections(&count), S_OK);
    return count;
  }
  static std::shared_ptr<IEndpointIDs> IDsOf(IEndpointProperties& iEndpoint) {
    std::shared_ptr<IEndpointIDs> ids;
    EXPECT_EQ(iEndpoint.GetIDs(&ids), S_OK);
    return ids;
  }
  HRESULT FindRaw(const std::shared_ptr<IEndpointIDs>& iIDs) {
    return Studio().FindRawProperties(iIDs, &mDevice, &mEntity, &mEndpoint);
  }

  std::shared_ptr<IDeviceProperties> mDevice;
  std::shared_ptr<IEntityProperties> mEntity;
  std::shared_ptr<IEndpointProperties> mEndpoint;
};

// ---- groups ----

TEST_F(StudioTest, OnlineHoldsHardwareThatIsThereAndUserDevicesWiredToIt) {
  const std::string port = Plug("P", false);
  const std::string user = Add("U");
  EXPECT_EQ(Manage().Wire(user, port), Result::kDone);
  EXPECT_NE(Find(port), nullptr);
  EXPECT_NE(Find(user), nullptr);
  EXPECT_EQ(CountOf(Studio(), VARIANT_TRUE), 2);
  EXPECT_EQ(CountOf(Studio(), VARIANT_FALSE), 0);
}

TEST_F(StudioTest, OfflineHoldsUserDevicesWiredToNothingThatIsThere) {
  const std::string port = Plug("P", false);
  const std::string wired = Add("wired");
  const std::string loose = Add("loose");
  EXPECT_EQ(Manage().Wire(wired, port), Result::kDone);
  Unplug("P", false);
  EXPECT_EQ(CountOf(Studio(), VARIANT_TRUE), 0);
  EXPECT_NE(Find(wired, VARIANT_FALSE), nullptr);
  EXPECT_NE(Find(loose, VARIANT_FALSE), nullptr);
  EXPECT_EQ(CountOf(Studio(), VARIANT_FALSE), 2);
}

TEST_F(StudioTest, AbsentHardwareKeepsItsRowIsInNoGroupAndIsNotFound) {
  const std::string port = Plug("P", true);
  const std::shared_ptr<IEndpointIDs> ids = IDsOf(*FindEndpoint(port, true));
  EXPECT_EQ(FindRaw(ids), S_OK);
  Unplug("P", true);
  EXPECT_EQ(CountOf(Studio(), VARIANT_TRUE), 0);
  EXPECT_EQ(CountOf(Studio(), VARIANT_FALSE), 0);
  EXPECT_LT(FindRaw(ids), 0);
  EXPECT_EQ(mDevice, nullptr);
  Reopen();
  ASSERT_EQ(Manage().Entries().size(), 1u);
  EXPECT_EQ(Manage().Entries()[0].mGuid, port);
  EXPECT_FALSE(Manage().Entries()[0].mIsOnline);
}

TEST_F(StudioTest, RawObjectsAreFoundDownToTheLevelOfAnIdentifierAndThoseBelowStayEmpty) {
  const std::string port = Plug("P", false);
  std::shared_ptr<IEndpointIDs> ids;
  ASSERT_EQ(Find(port)->GetIDs(&ids), S_OK);
  ASSERT_EQ(FindRaw(ids), S_OK);
  EXPECT_EQ(mDevice->CompareRaw(Find(port)), S_OK);
  EXPECT_EQ(mEntity, nullptr);
  EXPECT_EQ(mEndpoint, nullptr);
  ASSERT_EQ(FindEntity(port)->GetIDs(&ids), S_OK);
  ASSERT_EQ(FindRaw(ids), S_OK);
  EXPECT_NE(mDevice, nullptr);
  EXPECT_EQ(mEntity->CompareRaw(FindEntity(port)), S_OK);
  EXPECT_EQ(mEndpoint, nullptr);
  ASSERT_EQ(FindRaw(IDsOf(*FindEndpoint(port, false))), S_OK);
  EXPECT_NE(mDevice, nullptr);
  EXPECT_NE(mEntity, nullptr);
  EXPECT_EQ(mEndpoint->CompareRaw(FindEndpoint(port, false)), S_OK);
}

TEST_F(StudioTest, AUserDeviceIsFoundThoughItIsWiredToNothing) {
  const std::string user = Add("U");
  const std::shared_ptr<IEndpointProperties> endpoint = FindEndpoint(user, true, VARIANT_FALSE);
  ASSERT_EQ(FindRaw(IDsOf(*endpoint)), S_OK);
  EXPECT_EQ(mEndpoint->CompareRaw(endpoint), S_OK);
}

TEST_F(StudioTest, ProhibitedPortsOfBothDirectionsAreInNoGroup) {
  const Test_Environment environment("MLOX_APP_DIR", mFolder.Path());
  mFolder.MakeFile("ExcludedMIDIPorts.txt", "Hidden\r\n\r\nOther");
  Reopen();
  const std::string in = Plug("Hidden one", true);
  const std::string out = Plug("Hidden one", false);
  const std::string shown = Plug("Shown", false);
  EXPECT_EQ(Find(in), nullptr);
  EXPECT_EQ(Find(out), nullptr);
  EXPECT_NE(Find(shown), nullptr);
  Plug("MIDIIN2 (Fishman TriplePlay)", true);
  EXPECT_EQ(CountOf(Studio(), VARIANT_TRUE), 1);
}

TEST_F(StudioTest, AnIndexOutsideAGroupFailsAndGivesNothing) {
  Plug("P", false);
  for (const int index : {-1, 1, 1000000}) {
    EXPECT_LT(Studio().GetDevice(VARIANT_TRUE, index, &mDevice), 0) << index;
    EXPECT_EQ(mDevice, nullptr);
  }
}

TEST_F(StudioTest, NullResultsAreRefused) {
  EXPECT_EQ(Studio().GetDeviceCount(VARIANT_TRUE, nullptr), E_POINTER);
  EXPECT_EQ(Studio().GetDevice(VARIANT_TRUE, 0, nullptr), E_POINTER);
  EXPECT_EQ(Studio().FindRawProperties(nullptr, nullptr, &mEntity, &mEndpoint), E_POINTER);
  EXPECT_EQ(Studio().FindRawProperties(nullptr, &mDevice, &mEntity, &mEndpoint), E_INVALIDARG);
  EXPECT_EQ(Studio().RegisterNotification(nullptr), E_INVALIDARG);
  EXPECT_EQ(Studio().UnregisterNotification(nullptr), E_INVALIDARG);
}

// ---- identities ----

TEST_F(StudioTest, TheDevicesUniqueIdIsThePortsGuidTextTheEntityHas1) {
  const std::string port = Plug("P", true);
  const std::shared_ptr<IEntityProperties> entity = FindEntity(port);
  EXPECT_EQ(Test_TextOf(*entity, kStudio_DeviceUniqueID), "0:" + port);
  EXPECT_EQ(Test_NumberOf(*entity, kStudio_EntityUniqueID), "0:1");
}

TEST_F(StudioTest, ASourceEndpointHas0AndADestinationTheChannelGroup1) {
  const std::string in = Plug("P", true);
  const std::string out = Plug("P", false);
  EXPECT_NE(in, out);
  const std::shared_ptr<IEndpointIDs> source = IDsOf(*FindEndpoint(in, true));
  const std::shared_ptr<IEndpointIDs> destination = IDsOf(*FindEndpoint(out, false));
  EXPECT_EQ(Test_NumberOf(*source, kStudio_EndpointUniqueID), "0:0");
  EXPECT_EQ(Test_NumberOf(*destination, kStudio_EndpointUniqueID), "0:1");
  EXPECT_EQ(Test_NumberOf(*source, kStudio_EndpointIsSource), "0:1");
  EXPECT_EQ(Test_NumberOf(*destination, kStudio_EndpointIsSource), "0:0");
}

TEST_F(StudioTest, UniqueIdsOfTheLevelAndAboveAnswerThoseBelowGive1) {
  const std::string port = Plug("P", false);
  std::shared_ptr<IEndpointIDs> device;
  std::shared_ptr<IEndpointIDs> entity;
  EXPECT_EQ(Find(port)->GetIDs(&device), S_OK);
  EXPECT_EQ(FindEntity(port)->GetIDs(&entity), S_OK);
  const std::shared_ptr<IEndpointIDs> endpoint = IDsOf(*FindEndpoint(port, false));
  for (const auto& ids : {device, entity, endpoint}) {
    EXPECT_EQ(Test_TextOf(*ids, kStudio_DeviceUniqueID), "0:" + port);
  }
  EXPECT_EQ(Test_NumberOf(*device, kStudio_EntityUniqueID), "1:0");
  EXPECT_EQ(Test_NumberOf(*device, kStudio_EndpointUniqueID), "1:0");
  EXPECT_EQ(Test_NumberOf(*entity, kStudio_EntityUniqueID), "0:1");
  EXPECT_EQ(Test_NumberOf(*entity, kStudio_EndpointUniqueID), "1:0");
  EXPECT_EQ(Test_NumberOf(*endpoint, kStudio_EntityUniqueID), "0:1");
  EXPECT_EQ(Test_NumberOf(*device, kStudio_EndpointCollectionLevel), "0:2");
  EXPECT_EQ(Test_NumberOf(*entity, kStudio_EndpointCollectionLevel), "0:1");
  EXPECT_EQ(Test_NumberOf(*endpoint, kStudio_EndpointCollectionLevel), "0:0");
}

TEST_F(StudioTest, AnIdentifierAnswersLevelAndIdsAfterItsThingIsGone) {
  const std::string user = Add("U");
  const std::shared_ptr<IEndpointIDs> ids = IDsOf(*FindEndpoint(user, true, VARIANT_FALSE));
  EXPECT_EQ(ids->SetIntProperty(Test_Key(kStudio_MloxID).c_str(), u"mloxID", 1, 42), S_OK);
  EXPECT_EQ(Manage().Remove(user), Result::kDone);
  ASSERT_TRUE(Manage().Flush(Test_kPatience));
  const auto expectAnswers = [&] {
    EXPECT_EQ(Test_NumberOf(*ids, kStudio_EndpointCollectionLevel), "0:0");
    EXPECT_EQ(Test_TextOf(*ids, kStudio_DeviceUniqueID), "0:" + user);
    EXPECT_EQ(Test_NumberOf(*ids, kStudio_EntityUniqueID), "0:1");
    EXPECT_EQ(Test_NumberOf(*ids, kStudio_EndpointUniqueID), "0:0");
    EXPECT_EQ(Test_NumberOf(*ids, kStudio_EndpointIsSource), "0:1");
    EXPECT_EQ(Test_NumberOf(*ids, kStudio_MloxID), "0:42");
  };
  expectAnswers();
  EXPECT_LT(FindRaw(ids), 0);
  Close();
  expectAnswers();
}

TEST_F(StudioTest, RawObjectsStayUsableAfterAReplugAndAfterTheStudio) {
  const std::string port = Plug("P", false);
  const std::shared_ptr<IDeviceProperties> device = Find(port);
  const std::shared_ptr<IEntityProperties> entity = FindEntity(port);
  const std::shared_ptr<IEndpointProperties> endpoint = FindEndpoint(port, false);
  Unplug("P", false);
  EXPECT_EQ(Test_FlagOf(*device, kStudio_DeviceOffline), "0:1");
  Plug("P", false);
  EXPECT_EQ(Test_FlagOf(*device, kStudio_DeviceOffline), "0:0");
  EXPECT_EQ(device->CompareRaw(Find(port)), S_OK);
  Close();
  EXPECT_EQ(Test_TextOf(*entity, kStudio_EntityName), "0:P");
  EXPECT_EQ(ConnectionsOf(*endpoint), 0);
}

TEST_F(StudioTest, CompareGoesByRowLevelAndDirectionNeverByContents) {
  const std::string user = Add("same");
  const std::string other = Add("same");
  const auto group = VARIANT_FALSE;
  const std::shared_ptr<IDeviceProperties> before = Find(user, group);
  const std::shared_ptr<IEndpointProperties> source = FindEndpoint(user, true, group);
  EXPECT_EQ(Manage().Rename(user, "another"), Result::kDone);
  EXPECT_EQ(before->CompareRaw(Find(user, group)), S_OK);
  EXPECT_NE(before->CompareRaw(Find(other, group)), S_OK);
  EXPECT_NE(before->CompareRaw(nullptr), S_OK);
  EXPECT_EQ(FindEntity(user, group)->CompareRaw(FindEntity(user, group)), S_OK);
  EXPECT_NE(FindEntity(user, group)->CompareRaw(FindEntity(other, group)), S_OK);
  EXPECT_EQ(source->CompareRaw(FindEndpoint(user, true, group)), S_OK);
  EXPECT_NE(source->CompareRaw(FindEndpoint(user, false, group)), S_OK);
  const std::shared_ptr<IEndpointIDs> ids = IDsOf(*source);
  std::shared_ptr<IEndpointIDs> device;
  EXPECT_EQ(before->GetIDs(&device), S_OK);
  EXPECT_EQ(ids->CompareIDs(IDsOf(*FindEndpoint(user, true, group))), S_OK);
  EXPECT_NE(ids->CompareIDs(IDsOf(*FindEndpoint(user, false, group))), S_OK);
  EXPECT_NE(ids->CompareIDs(device), S_OK);
  EXPECT_NE(ids->CompareIDs(nullptr), S_OK);
}

TEST_F(StudioTest, ANumberOfAnIdentifierIsKeptForItsPlaceAlone) {
  const std::string user = Add("U");
  const std::u16string key = Test_Key(kStudio_MloxID);
  const auto group = VARIANT_FALSE;
  EXPECT_EQ(IDsOf(*FindEndpoint(user, true, group))->SetIntProperty(key.c_str(), u"mloxID", 1, -7), S_OK);
  EXPECT_EQ(IDsOf(*FindEndpoint(user, false, group))->SetIntProperty(key.c_str(), u"mloxID", 0, 8), S_OK);
  EXPECT_EQ(Test_NumberOf(*IDsOf(*FindEndpoint(user, false, group)), kStudio_MloxID), "0:8");
  Reopen();
  EXPECT_EQ(Test_NumberOf(*IDsOf(*FindEndpoint(user, true, group)), kStudio_MloxID), "0:-7");
  // The second was not to persist; the level above has one of its own.
  EXPECT_EQ(Test_NumberOf(*IDsOf(*FindEndpoint(user, false, group)), kStudio_MloxID), "1:0");
  std::shared_ptr<IEndpointIDs> entity;
  EXPECT_EQ(FindEntity(user, group)->GetIDs(&entity), S_OK);
  EXPECT_EQ(Test_NumberOf(*entity, kStudio_MloxID), "1:0");
}

TEST_F(StudioTest, ANewRowNeverTakesOverAnothersNumber) {
  const std::string first = Plug("P", true);
  EXPECT_EQ(
      IDsOf(*FindEndpoint(first, true))->SetIntProperty(Test_Key(kStudio_MloxID).c_str(), u"mloxID", 1, 77),
      S_OK);
  Unplug("P", true);
  const std::string second = Plug("P again", true);
  EXPECT_EQ(Test_NumberOf(*IDsOf(*FindEndpoint(second, true)), kStudio_MloxID), "1:0");
}

TEST_F(StudioTest, WhatTheStudioItselfAnswersCantBeSet) {
  const std::string user = Add("U");
  const std::shared_ptr<IEndpointIDs> ids = IDsOf(*FindEndpoint(user, true, VARIANT_FALSE));
  EXPECT_EQ(ids->SetIntProperty(Test_Key(kStudio_EndpointUniqueID).c_str(), u"uniqueID", 1, 5),
            E_ACCESSDENIED);
  EXPECT_EQ(Test_NumberOf(*ids, kStudio_EndpointUniqueID), "0:0");
  EXPECT_EQ(Find(user, VARIANT_FALSE)
                ->SetStringProperty(Test_Key(kStudio_DeviceUniqueID).c_str(), u"uniqueID", u"other", -1),
            E_ACCESSDENIED);
  EXPECT_NE(Find(user, VARIANT_FALSE), nullptr);
}

// ---- properties ----

TEST_F(StudioTest, ExternalVirtualOfflineAndNameAreNeverAbsent) {
  Platform_PresentPort info = Test_Port("V", false);
  info.mInfo.mIsVirtual = true;
  mRoot.Plug(info);
  const std::string port = Test_PortGuid("V", false);
  const std::string user = Add("U");
  const std::shared_ptr<IDeviceProperties> hardware = Find(port);
  const std::shared_ptr<IDeviceProperties> external = Find(user, VARIANT_FALSE);
  EXPECT_EQ(Test_FlagOf(*hardware, kStudio_DeviceExternal), "0:0");
  EXPECT_EQ(Test_FlagOf(*hardware, kStudio_DeviceVirtual), "0:1");
  EXPECT_EQ(Test_FlagOf(*hardware, kStudio_DeviceOffline), "0:0");
  EXPECT_EQ(Test_FlagOf(*external, kStudio_DeviceExternal), "0:1");
  EXPECT_EQ(Test_FlagOf(*external, kStudio_DeviceVirtual), "0:0");
  EXPECT_EQ(Test_FlagOf(*external, kStudio_DeviceOffline), "0:1");
  EXPECT_EQ(Test_TextOf(*FindEntity(port), kStudio_EntityName), "0:V");
  EXPECT_EQ(Test_TextOf(*FindEntity(user, VARIANT_FALSE), kStudio_EntityName), "0:U");
}

TEST_F(StudioTest, UserNameMasksMasterModesAndOmsIdAreAbsentUntilSet) {
  const std::string user = Add("U");
  const auto group = VARIANT_FALSE;
  const std::shared_ptr<IDeviceProperties> device = Find(user, group);
  const std::shared_ptr<IEntityProperties> entity = FindEntity(user, group);
  const std::shared_ptr<IEndpointIDs> ids = IDsOf(*FindEndpoint(user, false, group));
  int count = -1;
  EXPECT_EQ(Test_TextOf(*entity, kStudio_EntityUserName), "1:");
  EXPECT_EQ(Test_NumberOf(*entity, kStudio_EntityReceiveChannels), "1:0");
  EXPECT_EQ(Test_NumberOf(*entity, kStudio_EntityTransmitChannels), "1:0");
  EXPECT_EQ(Test_TextOf(*device, kStudio_DeviceMasterNamesFileLoc), "1:");
  EXPECT_EQ(device->GetArrayCount(Test_Key(kStudio_DeviceChannelModes).c_str(), &count), 1);
  EXPECT_EQ(Test_NumberOf(*ids, kStudio_OMSUniqueID), "1:0");
  EXPECT_EQ(Manage().Rename(user, "mine"), Result::kDone);
  EXPECT_EQ(Manage().SetChannels(user, 3, 65535), Result::kDone);
  EXPECT_EQ(Manage().SetMaster(user, "/a/b.midnam"), Result::kDone);
  EXPECT_EQ(Manage().SetMode(user, 15, "Multi"), Result::kDone);
  EXPECT_EQ(ids->SetIntProperty(Test_Key(kStudio_OMSUniqueID).c_str(), u"", 1, 9), S_OK);
  const auto expectSet = [&](IDeviceProperties& iDevice, IEntityProperties& iEntity, IEndpointIDs& iIDs) {
    EXPECT_EQ(Test_TextOf(iEntity, kStudio_EntityUserName), "0:mine");
    EXPECT_EQ(Test_TextOf(iEntity, kStudio_EntityName), "0:U");
    EXPECT_EQ(Test_NumberOf(iEntity, kStudio_EntityReceiveChannels), "0:3");
    EXPECT_EQ(Test_NumberOf(iEntity, kStudio_EntityTransmitChannels), "0:65535");
    EXPECT_EQ(Test_TextOf(iDevice, kStudio_DeviceMasterNamesFileLoc), "0:/a/b.midnam");
    EXPECT_EQ(iDevice.GetArrayCount(Test_Key(kStudio_DeviceChannelModes).c_str(), &count), 0);
    EXPECT_EQ(count, 17);
    EXPECT_EQ(Test_NumberOf(iIDs, kStudio_OMSUniqueID), "0:9");
  };
  expectSet(*device, *entity, *ids);
  Reopen();
  expectSet(*Find(user, group), *FindEntity(user, group), *IDsOf(*FindEndpoint(user, false, group)));
  EXPECT_EQ(Manage().SetMaster(user, std::nullopt), Result::kDone);
  EXPECT_EQ(Test_TextOf(*Find(user, group), kStudio_DeviceMasterNamesFileLoc), "1:");
}

TEST_F(StudioTest, PatchBankCountWithoutBanksIsSuccessAnd0) {
  const std::string user = Add("U");
  const std::shared_ptr<IDeviceProperties> device = Find(user, VARIANT_FALSE);
  int count = -1;
  EXPECT_EQ(device->GetPatchBankCount(&count), S_OK);
  EXPECT_EQ(count, 0);
  std::shared_ptr<IStudioPatchBank> bank;
  EXPECT_LT(device->GetPatchBank(0, &bank), 0);
  EXPECT_EQ(Manage().SetBanks(user, {{"A", "/x.midnam", "list a"}, {"B", "", "list b"}}), Result::kDone);
  Reopen();
  const std::string text = Test_DescribeStudio(Studio());
  EXPECT_NE(text.find(" 'A' '/x.midnam' 'list a' 'B' '' 'list b'"), std::string::npos) << text;
}

TEST_F(StudioTest, ManufacturerAndModelOfHardwareComeFromItsDriver) {
  const std::string port = Plug("P", false);
  EXPECT_EQ(Test_TextOf(*Find(port), kStudio_DeviceManufacturerName), "0:Maker");
  EXPECT_EQ(Test_TextOf(*Find(port), kStudio_DeviceModelName), "0:Box");
}

TEST_F(StudioTest, ModesAreWrittenThroughRawObjectsAsTheServiceDoes) {
  const std::string port = Plug("P", false);
  const std::shared_ptr<IDeviceProperties> device = Find(port);
  const std::u16string key = Test_Key(kStudio_DeviceChannelModes);
  EXPECT_EQ(device->SetArrayItem(key.c_str(), 0, u"none yet"), 1);
  for (int i = 0; i < 17; ++i)
    EXPECT_EQ(device->AppendArrayItem(key.c_str(), u"currentModes", -1, u""), S_OK);
  EXPECT_EQ(device->SetArrayItem(key.c_str(), 16, u"Mode 1"), S_OK);
  EXPECT_LT(device->SetArrayItem(key.c_str(), 17, u"beyond"), 0);
  BSTR value = nullptr;
  EXPECT_LT(device->GetArrayItem(key.c_str(), 17, &value), 0);
  EXPECT_LT(device->GetArrayItem(key.c_str(), -1, &value), 0);
  Reopen();
  ASSERT_EQ(Find(port)->GetArrayItem(key.c_str(), 16, &value), S_OK);
  EXPECT_EQ(Platform_StudioToUtf8(value), "Mode 1");
  SysFreeString(value);
}

TEST_F(StudioTest, AShortNameComesWithAValueAndTheWordIs0) {
  const std::string port = Plug("P", false);
  BSTR name = nullptr;
  BSTR value = nullptr;
  DWORD word = 5;
  EXPECT_EQ(FindEntity(port)->GetStringProperty(Test_Key(kStudio_EntityName).c_str(), &name, &word, &value),
            0);
  EXPECT_EQ(Platform_StudioToUtf8(name), "name");
  EXPECT_EQ(word, 0u);
  SysFreeString(name);
  SysFreeString(value);
  double number = 1;
  EXPECT_EQ(Find(port)->GetDoubleProperty(Test_Key(kStudio_DeviceScheduleAheadMuSec).c_str(), &name, &word,
                                          &number),
            1);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(number, 0.0);
}

TEST_F(StudioTest, AKeyOfOtherLetterCaseIsTheSameAndAnUnknownOneIsAbsent) {
  const std::string port = Plug("P", false);
  EXPECT_EQ(Test_TextOf(*FindEntity(port), "{0600ed5a-fe4b-459d-9661-550ab8bee7a8}"), "0:P");
  EXPECT_EQ(Test_TextOf(*FindEntity(port), "{00000000-0000-0000-0000-000000000000}"), "1:");
  EXPECT_EQ(Test_NumberOf(*FindEntity(port), "no key"), "1:0");
  EXPECT_EQ(Test_FlagOf(*Find(port), "no key"), "1:0");
}

// ---- wiring ----

TEST_F(StudioTest, WiringIsSeenFromBothEnds) {
  const std::string port = Plug("P", true);
  const std::string user = Add("U");
  EXPECT_EQ(Manage().Wire(user, port), Result::kDone);
  std::shared_ptr<IEndpointIDs> other;
  const std::shared_ptr<IEndpointProperties> portEnd = FindEndpoint(port, true);
  const std::shared_ptr<IEndpointProperties> userEnd = FindEndpoint(user, true);
  ASSERT_EQ(ConnectionsOf(*portEnd), 1);
  ASSERT_EQ(ConnectionsOf(*userEnd), 1);
  EXPECT_EQ(portEnd->GetConnection(0, &other), S_OK);
  EXPECT_EQ(other->CompareIDs(IDsOf(*userEnd)), S_OK);
  EXPECT_EQ(userEnd->GetConnection(0, &other), S_OK);
  EXPECT_EQ(other->CompareIDs(IDsOf(*portEnd)), S_OK);
  // The port is an input: the device's other endpoint isn't wired.
  EXPECT_EQ(ConnectionsOf(*FindEndpoint(user, false)), 0);
  EXPECT_LT(userEnd->GetConnection(1, &other), 0);
  EXPECT_LT(userEnd->GetConnection(-1, &other), 0);
}

TEST_F(StudioTest, OnlyLiveEndsCount) {
  const std::string first = Plug("first", false);
  const std::string second = Plug("second", false);
  const std::string user = Add("U");
  EXPECT_EQ(Manage().Wire(user, first), Result::kDone);
  EXPECT_EQ(Manage().Wire(user, second), Result::kDone);
  EXPECT_EQ(ConnectionsOf(*FindEndpoint(user, false)), 2);
  Unplug("first", false);
  const std::shared_ptr<IEndpointProperties> end = FindEndpoint(user, false);
  ASSERT_EQ(ConnectionsOf(*end), 1);
  std::shared_ptr<IEndpointIDs> other;
  EXPECT_EQ(end->GetConnection(0, &other), S_OK);
  EXPECT_EQ(Test_TextOf(*other, kStudio_DeviceUniqueID), "0:" + second);
}

TEST_F(StudioTest, WiresKeepTheOrderInWhichTheyWereMade) {
  const std::string first = Plug("first", false);
  const std::string second = Plug("second", false);
  const std::string user = Add("U");
  EXPECT_EQ(Manage().Wire(user, second), Result::kDone);
  EXPECT_EQ(Manage().Wire(user, first), Result::kDone);
  Reopen();
  std::shared_ptr<IEndpointIDs> other;
  EXPECT_EQ(FindEndpoint(user, false)->GetConnection(0, &other), S_OK);
  EXPECT_EQ(Test_TextOf(*other, kStudio_DeviceUniqueID), "0:" + second);
}

TEST_F(StudioTest, WiringThatMakesNoSenseIsRefused) {
  const std::string port = Plug("P", false);
  const std::string user = Add("U");
  const std::string other = Add("V");
  EXPECT_EQ(Manage().Wire("nobody", port), Result::kUnknown);
  EXPECT_EQ(Manage().Wire(user, "nothing"), Result::kUnknown);
  EXPECT_EQ(Manage().Wire(port, port), Result::kNotUserDefined);
  EXPECT_EQ(Manage().Wire(user, other), Result::kNotAPort);
  EXPECT_EQ(Manage().Unwire(user, port), Result::kAlready);
  EXPECT_EQ(Manage().Wire(user, port), Result::kDone);
  EXPECT_EQ(Manage().Wire(user, port), Result::kAlready);
  EXPECT_EQ(Manage().Unwire(user, port), Result::kDone);
}

TEST_F(StudioTest, ManagementRefusesWhatIsNoDeviceNoNameNoMaskAndNoChannel) {
  const std::string port = Plug("P", false);
  const std::string user = Add("U");
  std::string guid;
  EXPECT_EQ(Manage().Add("", "", "", guid), Result::kBadValue);
  EXPECT_EQ(Manage().Rename(user, ""), Result::kBadValue);
  EXPECT_EQ(Manage().Rename(port, "x"), Result::kNotUserDefined);
  EXPECT_EQ(Manage().Rename("nobody", "x"), Result::kUnknown);
  EXPECT_EQ(Manage().Remove(port), Result::kNotUserDefined);
  EXPECT_EQ(Manage().Remove("nobody"), Result::kUnknown);
  EXPECT_EQ(Manage().SetChannels(user, 65536, 0), Result::kBadValue);
  EXPECT_EQ(Manage().SetChannels(user, 0, -1), Result::kBadValue);
  EXPECT_EQ(Manage().SetChannels("nobody", 0, 0), Result::kUnknown);
  EXPECT_EQ(Manage().SetMode(user, 16, "m"), Result::kBadValue);
  EXPECT_EQ(Manage().SetMode(user, -1, "m"), Result::kBadValue);
  EXPECT_EQ(Manage().SetMode("nobody", 0, "m"), Result::kUnknown);
  EXPECT_EQ(Manage().SetBanks("nobody", {}), Result::kUnknown);
  EXPECT_EQ(Manage().SetMaster("nobody", "m"), Result::kUnknown);
}

TEST_F(StudioTest, TextThatIsNoUtf8IsMendedBeforeItIsKept) {
  std::string guid;
  EXPECT_EQ(Manage().Add(std::string("a\xFF") + "b", "", "", guid), Result::kDone);
  Reopen();
  EXPECT_EQ(Manage().Entries()[0].mName,
            "a\xEF\xBF\xBD"
            "b");
}

// ---- notifications ----

TEST_F(StudioTest, APortThatComesIsToldBeforeTheDevicesWiredToIt) {
  const std::string port = Plug("P", false);
  const std::string user = Add("U");
  const std::string other = Add("V");
  Manage().Wire(user, port);
  Manage().Wire(other, port);
  Unplug("P", false);
  const auto subscriber = Subscribe();
  Plug("P", false);
  EXPECT_EQ(subscriber->Take(3), (Lines{"1 " + port + " destination", "4 " + user + " destination",
                                        "4 " + other + " destination"}));
}

TEST_F(StudioTest, APortThatGoesIsToldAfterTheDevicesWiredToIt) {
  const std::string port = Plug("P", true);
  const std::string user = Add("U");
  Manage().Wire(user, port);
  const auto subscriber = Subscribe();
  Unplug("P", true);
  EXPECT_EQ(subscriber->Take(2), (Lines{"4 " + user + " source", "2 " + port + " source"}));
}

TEST_F(StudioTest, AWireIsToldAtThePortFirst) {
  const std::string port = Plug("P", true);
  const std::string user = Add("U");
  const auto subscriber = Subscribe();
  Manage().Wire(user, port);
  EXPECT_EQ(subscriber->Take(2), (Lines{"4 " + port + " source", "4 " + user + " source"}));
}

TEST_F(StudioTest, AWireTakenAwayIsToldAtTheDeviceFirst) {
  const std::string port = Plug("P", false);
  const std::string user = Add("U");
  Manage().Wire(user, port);
  const auto subscriber = Subscribe();
  Manage().Unwire(user, port);
  EXPECT_EQ(subscriber->Take(2), (Lines{"4 " + user + " destination", "4 " + port + " destination"}));
}

TEST_F(StudioTest, ADeviceRemovedIsToldBeforeItsPorts) {
  const std::string in = Plug("P", true);
  const std::string out = Plug("P", false);
  const std::string user = Add("U");
  Manage().Wire(user, in);
  Manage().Wire(user, out);
  const auto subscriber = Subscribe();
  Manage().Remove(user);
  EXPECT_EQ(subscriber->Take(4), (Lines{"2 " + user + " destination", "2 " + user + " source",
                                        "4 " + out + " destination", "4 " + in + " source"}));
}

TEST_F(StudioTest, RenameChannelsBanksAndModesTellEachEndpoint) {
  const std::string user = Add("U");
  const auto subscriber = Subscribe();
  const Lines both{"4 " + user + " destination", "4 " + user + " source"};
  Manage().Rename(user, "V");
  EXPECT_EQ(subscriber->Take(2), both);
  Manage().SetChannels(user, 1, 2);
  EXPECT_EQ(subscriber->Take(2), both);
  Manage().SetBanks(user, {{"A", "", ""}});
  EXPECT_EQ(subscriber->Take(2), both);
  Manage().SetMode(user, 0, "m");
  EXPECT_EQ(subscriber->Take(2), both);
}

TEST_F(StudioTest, AMasterDocumentAndANewDeviceAreNotTold) {
  const std::string port = Plug("P", false);
  const auto subscriber = Subscribe();
  const std::string user = Add("U");
  Manage().SetMaster(user, "/x");
  EXPECT_EQ(
      Find(port)->SetStringProperty(Test_Key(kStudio_DeviceMasterNamesFileLoc).c_str(), u"master", u"/y", -1),
      S_OK);
  Manage().Wire(user, port);
  // The first thing told is the wire.
  EXPECT_EQ(subscriber->Take(2)[0], "4 " + port + " destination");
}

TEST_F(StudioTest, TheDatabaseHasChangedBeforeASubscriberIsTold) {
  const std::string user = Add("U");
  const auto subscriber = Subscribe();
  std::atomic<int> seen{0};
  subscriber->mWhileTold = [&] {
    const std::shared_ptr<IEntityProperties> entity = FindEntity(user, VARIANT_FALSE);
    seen += Test_TextOf(*entity, kStudio_EntityUserName) == "0:V" ? 1 : 100;
  };
  Manage().Rename(user, "V");
  EXPECT_TRUE(Test_Eventually([&] { return seen.load() != 0; }));
  EXPECT_EQ(seen.load(), 1);
  Studio().UnregisterNotification(u"{test}");
}

TEST_F(StudioTest, NotifyRunsWithNoLockHeld) {
  const std::string user = Add("U");
  const auto subscriber = Subscribe();
  std::atomic<bool> isDone{false};
  subscriber->mWhileTold = [&] {
    if (isDone.load()) return;
    // Another thread gets everything while this one is inside.
    std::thread other([&] {
      EXPECT_EQ(Manage().Rename(user, "W"), Result::kDone);
      EXPECT_EQ(CountOf(Studio(), VARIANT_FALSE), 1);
      EXPECT_EQ(Studio().RegisterNotification(std::make_shared<Test_Subscriber>("{other}")), S_OK);
      EXPECT_EQ(Studio().UnregisterNotification(u"{other}"), S_OK);
    });
    other.join();
    isDone = true;
  };
  Manage().Rename(user, "V");
  EXPECT_TRUE(Test_Eventually([&] { return isDone.load(); }));
}

TEST_F(StudioTest, UnregisterReturnsOnlyWhenNoNotifyRuns) {
  const std::string user = Add("U");
  const auto subscriber = Subscribe();
  HeldCall call(*subscriber);
  Manage().Rename(user, "V");
  ASSERT_TRUE(call.HasBegun());
  call.LetGoIn(std::chrono::milliseconds(30));
  EXPECT_EQ(Studio().UnregisterNotification(u"{test}"), S_OK);
  EXPECT_TRUE(call.HasEnded());
  const std::size_t before = subscriber->Lines().size();
  Manage().Rename(user, "W");
  ASSERT_TRUE(Manage().Flush(Test_kPatience));
  EXPECT_EQ(subscriber->Lines().size(), before);
  EXPECT_EQ(Studio().UnregisterNotification(u"{test}"), S_FALSE);
}

TEST_F(StudioTest, NobodyIsToldAnythingOnceTheStudioIsGone) {
  const std::string user = Add("U");
  const auto subscriber = Subscribe();
  HeldCall call(*subscriber);
  Manage().Rename(user, "V");
  ASSERT_TRUE(call.HasBegun());
  Manage().Rename(user, "W");
  call.LetGoIn(std::chrono::milliseconds(300));
  Close();
  EXPECT_TRUE(call.HasEnded());
  EXPECT_EQ(subscriber->Lines().size(), 2u) << "what came behind the first name is told to nobody";
}

TEST_F(StudioTest, ASubscriberMayUnregisterItselfWhileItIsTold) {
  const std::string user = Add("U");
  const auto subscriber = Subscribe();
  std::atomic<bool> isDone{false};
  subscriber->mWhileTold = [&] {
    EXPECT_EQ(Studio().UnregisterNotification(u"{test}"), S_OK);
    isDone = true;
  };
  Manage().Rename(user, "V");
  EXPECT_TRUE(Test_Eventually([&] { return isDone.load(); }));
}

TEST_F(StudioTest, ASubscriberMayLetGoOfTheStudioWhileItIsTold) {
  const std::string user = Add("U");
  const auto subscriber = Subscribe();
  std::atomic<bool> isDone{false};
  subscriber->mWhileTold = [&] {
    mFaces = {};
    isDone = true;
  };
  // The last owner is the subscriber's call.
  Platform_StudioManagement* const management = mFaces.mManagement.get();
  management->Rename(user, "V");
  EXPECT_TRUE(Test_Eventually([&] { return isDone.load(); }));
}

TEST_F(StudioTest, NothingIsToldOfWhatWasBeforeRegistration) {
  const std::string user = Add("U");
  Manage().Rename(user, "early");
  const auto subscriber = Subscribe();
  Manage().SetChannels(user, 1, 1);
  Manage().Rename(user, "late");
  EXPECT_EQ(subscriber->Take(4).size(), 4u);
}

// ---- two studios, polling, the seam ----

TEST_F(StudioTest, WhatAnotherStudioOnTheFileChangesIsToldAndSeen) {
  const std::string port = Plug("P", false);
  ASSERT_TRUE(Manage().Flush(Test_kPatience));
  const auto subscriber = Subscribe();
  const Platform_StudioFaces other = Platform_OpenStudio(nullptr, mPath);
  std::string user;
  ASSERT_EQ(other.mManagement->Add("theirs", "", "", user), Result::kDone);
  ASSERT_EQ(other.mManagement->Wire(user, port), Result::kDone);
  EXPECT_EQ(subscriber->Take(2), (Lines{"4 " + port + " destination", "4 " + user + " destination"}));
  EXPECT_NE(Find(user), nullptr);
  ASSERT_EQ(other.mManagement->Remove(user), Result::kDone);
  EXPECT_EQ(subscriber->Take(3),
            (Lines{"2 " + user + " destination", "2 " + user + " source", "4 " + port + " destination"}));
  EXPECT_EQ(Find(user), nullptr);
}

TEST_F(StudioTest, ARootThatDoesNotTellPresenceIsPolled) {
  Close();
  Test_StudioRoot root(false);
  root.Plug(Test_Port("in", true));
  const Platform_StudioFaces faces = Platform_OpenStudio(&root, mPath);
  EXPECT_EQ(CountOf(*faces.mStudio, VARIANT_TRUE), 1);
  const auto subscriber = std::make_shared<Test_Subscriber>();
  EXPECT_EQ(faces.mStudio->RegisterNotification(subscriber), S_OK);
  root.Plug(Test_Port("out", false));
  EXPECT_EQ(subscriber->Take(1), (Lines{"1 " + Test_PortGuid("out", false) + " destination"}));
  root.Unplug(Test_Port("in", true).mGuid);
  EXPECT_EQ(subscriber->Take(1), (Lines{"2 " + Test_PortGuid("in", true) + " source"}));
}

TEST_F(StudioTest, AnEmulatedPortOfAPolledRootIsProhibitedByItsSuffix) {
  Close();
  Test_StudioRoot root(false);
  root.Plug(Test_Port("Microsoft GS Wavetable Synth", false));
  const Platform_StudioFaces plain = Platform_OpenStudio(&root, mPath);
  EXPECT_EQ(CountOf(*plain.mStudio, VARIANT_TRUE), 1);
  root.Plug(Test_Port("Microsoft GS Wavetable Synth [Emulated]", false));
  const Platform_StudioFaces marked = Platform_OpenStudio(&root, mPath);
  EXPECT_EQ(CountOf(*marked.mStudio, VARIANT_TRUE), 1);
}

TEST_F(StudioTest, AnEnumerationThatOnlyFailsEnds) {
  Close();
  Test_StudioRoot root(false);
  root.Plug(Test_Port("in", true));
  root.FailFirst(4095);
  const Platform_StudioFaces found = Platform_OpenStudio(&root, mPath);
  EXPECT_EQ(CountOf(*found.mStudio, VARIANT_TRUE), 1);
  root.FailFirst(4096);
  const Platform_StudioFaces none = Platform_OpenStudio(&root, mPath);
  EXPECT_EQ(CountOf(*none.mStudio, VARIANT_TRUE), 0);
}

TEST_F(StudioTest, WithoutARootThereIsNoHardware) {
  Close();
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  EXPECT_EQ(CountOf(*faces.mStudio, VARIANT_TRUE), 0);
}

TEST_F(StudioTest, CreateMakesTheStudioOfThisMachineOverTheFileThatTheEnvironmentNames) {
  const std::string user = Add("U");
  ASSERT_TRUE(Manage().Flush(Test_kPatience));
  Close();
  const Test_Environment environment("MLOX_STUDIO_DB", mPath);
  const std::shared_ptr<IDirectMusicStudio> studio = IDirectMusicStudio::Create(nullptr);
  ASSERT_NE(studio, nullptr);
  EXPECT_TRUE(Test_Eventually([&] { return CountOf(*studio, VARIANT_FALSE) == 1; }));
}

TEST_F(StudioTest, CreateGivesWhatAFactoryMakesUntilItIsTakenAway) {
  const Test_Environment environment("MLOX_STUDIO_DB", mFolder / "other.db");
  IDirectMusicStudio::SetFactory([](IDirectMusic8*) { return std::shared_ptr<IDirectMusicStudio>(); });
  EXPECT_EQ(IDirectMusicStudio::Create(nullptr), nullptr);
  IDirectMusicStudio::SetFactory(nullptr);
  EXPECT_NE(IDirectMusicStudio::Create(nullptr), nullptr);
}

// ---- identities of cards ----

TEST_F(StudioTest, TheRootGetsTheTableOfCardsBeforeAnythingIsEnumeratedAndItLasts) {
  ASSERT_NE(mRoot.Table(), nullptr);
  mRoot.Table()->Put({"{A}", "1235:8010", "serial", "path one"});
  mRoot.Table()->Put({"{A}", "1235:8010", "serial", "path two"});
  Reopen();
  const std::vector<Platform_IdentityRow> rows = mRoot.Table()->Rows();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].mGuid, "{A}");
  EXPECT_EQ(rows[0].mProduct, "1235:8010");
  EXPECT_EQ(rows[0].mSerial, "serial");
  EXPECT_EQ(rows[0].mPath, "path two");
}

// Opening waits for the file for 45 ms only, so this looks at an opening that took less, behind a closing
// that did.
TEST_F(StudioTest, TheTableOfCardsHoldsTheFilesRowsWhenAnythingIsEnumerated) {
  mRoot.Table()->Put({"{A}", "1235:8010", "serial", "path"});
  bool hasSeenOne = false;
  const auto end = std::chrono::steady_clock::now() + Test_kPatience;
  while (!hasSeenOne && std::chrono::steady_clock::now() < end) {
    ASSERT_TRUE(Manage().Flush(Test_kPatience));
    const auto start = std::chrono::steady_clock::now();
    Close();
    mFaces = Platform_OpenStudio(&mRoot, mPath);
    hasSeenOne = std::chrono::steady_clock::now() - start < std::chrono::milliseconds(45);
    if (hasSeenOne) {
      ASSERT_EQ(mRoot.RowsAtWatch().size(), 1u);
      EXPECT_EQ(mRoot.RowsAtWatch()[0].mGuid, "{A}");
      EXPECT_EQ(mRoot.RowsAtWatch()[0].mPath, "path");
    }
  }
  EXPECT_TRUE(hasSeenOne);
}

TEST_F(StudioTest, TheTableStaysWhenASecondStudioGoes) {
  mRoot.Table()->Put({"{A}", "p", "s", "x"});
  { const Platform_StudioFaces second = Platform_OpenStudio(&mRoot, mPath); }
  ASSERT_NE(mRoot.Table(), nullptr);
  EXPECT_EQ(mRoot.Table()->Rows().size(), 1u);
  Close();
  EXPECT_EQ(mRoot.Table()->Rows().size(), 1u);
}

// ---- walks ----

TEST_F(StudioTest, AGroupThatWasCountedStaysAsItWasUntilItsLastDeviceWasAskedFor) {
  const std::vector<std::string> guids = {Plug("A", false), Plug("B", false), Plug("C", false)};
  ASSERT_EQ(CountOf(Studio(), VARIANT_TRUE), 3);
  Unplug("A", false);
  std::thread([this] {
    EXPECT_EQ(CountOf(Studio(), VARIANT_TRUE), 2) << "each thread has its own walk";
  }).join();
  EXPECT_EQ(CountOf(Studio(), VARIANT_FALSE), 0) << "and each group";
  std::shared_ptr<IDeviceProperties> device;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(Studio().GetDevice(VARIANT_TRUE, i, &device), S_OK) << i;
    EXPECT_EQ(Test_TextOf(*device, kStudio_DeviceUniqueID), "0:" + guids[static_cast<std::size_t>(i)]);
  }
  EXPECT_EQ(Studio().GetDevice(VARIANT_TRUE, 2, &device), E_INVALIDARG) << "the walk is over";
}

TEST_F(StudioTest, AWalkOverOneStudioIsNoneOverAnother) {
  Plug("A", false);
  ASSERT_EQ(CountOf(Studio(), VARIANT_TRUE), 1);
  Unplug("A", false);
  const Platform_StudioFaces second = Platform_OpenStudio(&mRoot, mPath);
  std::shared_ptr<IDeviceProperties> device;
  EXPECT_EQ(second.mStudio->GetDevice(VARIANT_TRUE, 0, &device), E_INVALIDARG);
}

TEST_F(StudioTest, WiresThatWereCountedStayAsTheyWereUntilTheLastWasAskedFor) {
  const std::string user = Add("U");
  for (const char* const name : {"A", "B"}) {
    ASSERT_EQ(Manage().Wire(user, Plug(name, false)), Result::kDone);
  }
  const auto end = FindEndpoint(user, false);
  ASSERT_NE(end, nullptr);
  ASSERT_EQ(ConnectionsOf(*end), 2);
  Unplug("A", false);
  std::shared_ptr<IEndpointIDs> other;
  ASSERT_EQ(end->GetConnection(0, &other), S_OK);
  EXPECT_EQ(Test_TextOf(*other, kStudio_DeviceUniqueID), "0:" + Test_PortGuid("A", false));
  ASSERT_EQ(end->GetConnection(1, &other), S_OK);
  EXPECT_EQ(Test_TextOf(*other, kStudio_DeviceUniqueID), "0:" + Test_PortGuid("B", false));
  EXPECT_EQ(end->GetConnection(1, &other), E_INVALIDARG) << "the walk is over";
}

// ---- many ports that can't be written ----

TEST(StudioCoreTest, PortsThatComeOneByOneWaitTogetherSoThatAReadingTakesThemInOneGo) {
  Platform_StudioCore core;
  std::vector<Platform_StudioDeviceP> ports;
  constexpr int kPorts = 2000;
  for (int i = 0; i < kPorts; ++i) {
    auto port = std::make_shared<Platform_StudioDevice>();
    port->mGuid = "{" + std::to_string(i) + "}";
    port->mName = "port";
    core.SetPresent({port});
    Platform_StudioNumberKey key;
    key.mPlace.mGuid = port->mGuid;
    key.mKey = kStudio_MloxID;
    core.SetNumber(key, {}, true);
  }
  std::set<std::string> written;
  int portChanges = 0;
  while (core.HasChanges()) {
    const auto front = core.FrontChanges(1);
    if (const auto* const changeP = std::get_if<Platform_StudioPutPorts>(&front.front())) {
      ++portChanges;
      for (const Platform_StudioDeviceP& port : changeP->mPorts) written.insert(port->mGuid);
    }
    core.PopChanges(1);
  }
  EXPECT_EQ(written.size(), static_cast<std::size_t>(kPorts));
  EXPECT_LE(portChanges, kPorts / 50);
}

}  // namespace
