// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/endpointidentity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "tests/mlox/mlox_directmusic/client_fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Hashes of identity strings, from a second computation written after the published algorithm.
constexpr int kHashOfDEV = -343347372;      // "DEV"
constexpr int kHashOfDEV1 = 1713967750;     // "DEV+++1"
constexpr int kHashOfDEV10 = -425942893;    // "DEV+++1+++0"
constexpr int kHashOfTwo = 1079277338;      // "DEV50560+++1+++0" and "DEV59617+++1+++0"
constexpr int kHashOfPortCaps = 793032307;  // "{11223344-5566-7788-99AA-BBCCDDEEFF00}+++1+++0"

class EndpointIdentity : public Test_ClientFixture {
 protected:
  Test_StudioNode& AddSource(const std::string& iUniqueID) {
    return mStudio->AddPort(iUniqueID, "Name", true);
  }
  static std::string MloxKey() { return Test_KeyText(getter_wrapper::Get_PROPID_MLOXID()); }
  static void GiveMloxID(Test_StudioNode& ioNode, LONG iID) { ioNode.mIDInts[MloxKey()] = iID; }
  static void GiveOMSID(Test_StudioNode& ioNode) {
    ioNode.mIDInts[Test_KeyText(getter_wrapper::Get_PROPID_OMSUniqueID())] = 77;
  }
  // Which node a record of the table was made of.
  bool IsOf(const RegisteredIDs& iRecord, Test_StudioNode& ioNode) {
    return iRecord.mIDs->CompareIDs(mStudio->IDsOf(ioNode)) == S_OK;
  }
};

// ---- the text ----

TEST_F(EndpointIdentity, TextOfNothingIsEmpty) { EXPECT_EQ(BuildIDString(nullptr), ""); }

TEST_F(EndpointIdentity, TextOfADeviceIsItsIdAlone) {
  EXPECT_EQ(BuildIDString(mStudio->IDsOf(mStudio->AddDevice("DEV"))), "DEV");
}

TEST_F(EndpointIdentity, TextOfAnEntityAddsItsNumber) {
  Test_StudioNode& entity = mStudio->AddEntity(mStudio->AddDevice("DEV"), "Name", 12);
  EXPECT_EQ(BuildIDString(mStudio->IDsOf(entity)), "DEV+++12");
}

TEST_F(EndpointIdentity, TextOfAnEndpointAddsBothNumbers) {
  EXPECT_EQ(BuildIDString(mStudio->IDsOf(AddSource("DEV"))), "DEV+++1+++0");
}

TEST_F(EndpointIdentity, NumbersAreSignedDecimals) {
  Test_StudioNode& node = AddSource("DEV");
  node.mInts[Test_KeyText(getter_wrapper::Get_PROPID_EndpointUniqueID())] = -5;
  EXPECT_EQ(BuildIDString(mStudio->IDsOf(node)), "DEV+++1+++-5");
}

TEST_F(EndpointIdentity, TextIsEmptyWhenTheDevicesIdCannotBeRead) {
  mStudio->Calls().Fail("GetStringProperty", S_FALSE);
  EXPECT_EQ(BuildIDString(mStudio->IDsOf(AddSource("DEV"))), "");
}

TEST_F(EndpointIdentity, TextThatDoesNotConvertIsEmpty) {
  mStudio->Calls().Fail("GetStringProperty", S_OK);  // a success without a text
  EXPECT_EQ(BuildIDString(mStudio->IDsOf(AddSource("DEV"))), "");
}

TEST_F(EndpointIdentity, EndpointsNumberIsNotAskedForWithoutTheEntitys) {
  Test_StudioNode& node = AddSource("DEV");
  node.mParentP->mInts.clear();
  EXPECT_EQ(BuildIDString(mStudio->IDsOf(node)), "DEV");
  EXPECT_EQ(mStudio->Calls().CountBeginning("GetIntProperty"), 1);
}

// ---- the number ----

TEST_F(EndpointIdentity, NothingHasTheInvalidIdentity) {
  EXPECT_EQ(GetMloxIDFromIDs(nullptr), Mlox_InputID(-1, -1));
  EXPECT_THAT(GetRegisteredIDs(), IsEmpty());
}

TEST_F(EndpointIdentity, NewIdentityIsTheHashOfTheTextUnderTheServicesIndex) {
  Test_StudioNode& node = AddSource("DEV");
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(node)), Mlox_InputID(3, kHashOfDEV10));
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(*node.mParentP)), Mlox_InputID(3, kHashOfDEV1));
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(*node.mParentP->mParentP)), Mlox_InputID(3, kHashOfDEV));
}

TEST_F(EndpointIdentity, NewIdentityIsStoredInTheObjectForGood) {
  Test_StudioNode& node = AddSource("DEV");
  GetMloxIDFromIDs(mStudio->IDsOf(node));
  EXPECT_THAT(mStudio->Calls().LinesBeginning("SetIntProperty"),
              ElementsAre("SetIntProperty mloxID 1 -425942893"));
  EXPECT_EQ(node.mIDInts[MloxKey()], kHashOfDEV10);
}

TEST_F(EndpointIdentity, StoredIdentityWinsWhateverTheUniqueIdsSayNow) {
  Test_StudioNode& node = AddSource("DEV");
  GetMloxIDFromIDs(mStudio->IDsOf(node));
  node.mParentP->mParentP->mStrings[Test_KeyText(getter_wrapper::Get_PROPID_DeviceUniqueID())] = "OTHER";
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(node)), Mlox_InputID(3, kHashOfDEV10));
  GiveMloxID(node, -99);
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(node)), Mlox_InputID(3, -99));
}

TEST_F(EndpointIdentity, StoredNumberWinsEvenIfItIsZeroOrMinusOne) {
  Test_StudioNode& node = AddSource("DEV");
  for (const LONG number : {0, -1}) {
    GiveMloxID(node, number);
    EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(node)), Mlox_InputID(3, number));
  }
  EXPECT_THAT(mStudio->Calls().Lines(), Not(Contains(StartsWith("SetIntProperty"))));
}

TEST_F(EndpointIdentity, ObjectWithoutATextHasNumberMinusOneAndNothingIsStored) {
  mStudio->Calls().Fail("GetStringProperty", E_FAIL);
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(AddSource("DEV"))), Mlox_InputID(3, -1));
  EXPECT_THAT(mStudio->Calls().Lines(), Not(Contains(StartsWith("SetIntProperty"))));
}

TEST_F(EndpointIdentity, IdentityThatCannotBeStoredIsGivenAllTheSame) {
  mStudio->Calls().Fail("SetIntProperty", E_ACCESSDENIED);
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(AddSource("DEV"))), Mlox_InputID(3, kHashOfDEV10));
}

TEST_F(EndpointIdentity, BeforeTheServiceHasAnIndexTheFirstHalfIsMinusOne) {
  SetDirectMusicServiceIndex(-1);
  EXPECT_EQ(GetDirectMusicServiceIndex(), -1);
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(AddSource("DEV"))), Mlox_InputID(-1, kHashOfDEV10));
}

TEST_F(EndpointIdentity, InvalidIdentityIsInvalidWhateverItIsGiven) {
  EXPECT_EQ(GetInvalidMloxID(nullptr), Mlox_InputID(-1, -1));
  EXPECT_EQ(GetInvalidMloxID(mStudio->IDsOf(AddSource("DEV"))), Mlox_InputID(-1, -1));
  EXPECT_THAT(GetRegisteredIDs(), IsEmpty());
}

TEST_F(EndpointIdentity, PortWithoutAStudioHashesItsGuidAndIsNotedNowhere) {
  DMUS_PORTCAPS caps{};
  caps.guidPort = {0x11223344, 0x5566, 0x7788, {0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x00}};
  EXPECT_EQ(GetMloxIDFromPortCaps(caps), Mlox_InputID(3, kHashOfPortCaps));
  EXPECT_THAT(GetRegisteredIDs(), IsEmpty());
}

TEST_F(EndpointIdentity, PortsIdentityIsThatOfTheEndpointThatTheStudioMakesOfIt) {
  Test_FakePort& port = mRoot.AddInput(7, "In");
  Test_StudioNode& node = AddSource(port.GuidText());
  EXPECT_EQ(GetMloxIDFromPortCaps(port.Caps()), GetMloxIDFromIDs(mStudio->IDsOf(node)));
}

// ---- the table ----

TEST_F(EndpointIdentity, ObjectIsFoundAgainByItsIdentity) {
  Test_StudioNode& node = AddSource("DEV");
  const Mlox_InputID id = GetMloxIDFromIDs(mStudio->IDsOf(node));
  std::shared_ptr<IEndpointIDs> found;
  ASSERT_TRUE(FindRegisteredIDs(id, &found));
  EXPECT_EQ(found->CompareIDs(mStudio->IDsOf(node)), S_OK);
}

TEST_F(EndpointIdentity, ObjectIsNotedWithoutANumberAndBeforeTheServiceHasAnIndexToo) {
  std::shared_ptr<IEndpointIDs> found;
  SetDirectMusicServiceIndex(-1);
  EXPECT_TRUE(FindRegisteredIDs(GetMloxIDFromIDs(mStudio->IDsOf(AddSource("DEV"))), &found));
  SetDirectMusicServiceIndex(3);
  mStudio->Calls().Fail("GetStringProperty", E_FAIL);
  EXPECT_TRUE(FindRegisteredIDs(GetMloxIDFromIDs(mStudio->IDsOf(AddSource("OTHER"))), &found));
  EXPECT_EQ(GetRegisteredIDs().size(), 2u);
}

TEST_F(EndpointIdentity, NothingIsFoundForANullOutputOrAnUnknownIdentity) {
  const Mlox_InputID id = GetMloxIDFromIDs(mStudio->IDsOf(AddSource("DEV")));
  EXPECT_FALSE(FindRegisteredIDs(id, nullptr));
  std::shared_ptr<IEndpointIDs> found;
  EXPECT_FALSE(FindRegisteredIDs(Mlox_InputID(4, id.mInputNumber), &found));
  EXPECT_FALSE(FindRegisteredIDs(Mlox_InputID(3, id.mInputNumber + 1), &found));
  EXPECT_EQ(found, nullptr);
}

TEST_F(EndpointIdentity, ObjectsWhoseTextsHashAlikeHaveOneIdentityAndShareTheRecordOfTheFirst) {
  Test_StudioNode& first = AddSource("DEV50560");
  Test_StudioNode& second = AddSource("DEV59617");
  const Mlox_InputID id = GetMloxIDFromIDs(mStudio->IDsOf(first));
  EXPECT_EQ(id, Mlox_InputID(3, kHashOfTwo));
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(second)), id);
  ASSERT_EQ(GetRegisteredIDs().size(), 1u);
  EXPECT_TRUE(IsOf(GetRegisteredIDs()[0], first));
}

TEST_F(EndpointIdentity, EqualNumbersShareTheFirstRecord) {
  Test_StudioNode& first = AddSource("A");
  Test_StudioNode& second = AddSource("B");
  GiveMloxID(first, 5);
  GiveMloxID(second, 5);
  const Mlox_InputID id = GetMloxIDFromIDs(mStudio->IDsOf(first));
  EXPECT_EQ(GetMloxIDFromIDs(mStudio->IDsOf(second)), id);
  ASSERT_EQ(GetRegisteredIDs().size(), 1u);
  EXPECT_TRUE(IsOf(GetRegisteredIDs()[0], first));
}

TEST_F(EndpointIdentity, ObjectWithAnOlderIdentityTakesTheRecordOfOneWithout) {
  Test_StudioNode& first = AddSource("A");
  Test_StudioNode& between = AddSource("B");
  Test_StudioNode& second = AddSource("C");
  GiveMloxID(first, 5);
  GiveMloxID(between, 6);
  GiveMloxID(second, 5);
  GiveOMSID(second);
  for (Test_StudioNode* nodeP : {&first, &between, &second}) GetMloxIDFromIDs(mStudio->IDsOf(*nodeP));
  const std::vector<RegisteredIDs> table = GetRegisteredIDs();
  ASSERT_EQ(table.size(), 2u);
  EXPECT_TRUE(IsOf(table[0], between));
  EXPECT_TRUE(IsOf(table[1], second));
}

TEST_F(EndpointIdentity, RecordWithAnOlderIdentityKeepsItsPlace) {
  Test_StudioNode& first = AddSource("A");
  Test_StudioNode& second = AddSource("B");
  Test_StudioNode& third = AddSource("C");
  for (Test_StudioNode* nodeP : {&first, &second, &third}) GiveMloxID(*nodeP, 5);
  GiveOMSID(first);
  GiveOMSID(second);
  for (Test_StudioNode* nodeP : {&first, &second, &third}) GetMloxIDFromIDs(mStudio->IDsOf(*nodeP));
  const std::vector<RegisteredIDs> table = GetRegisteredIDs();
  ASSERT_EQ(table.size(), 1u);
  EXPECT_TRUE(IsOf(table[0], first));
}

TEST_F(EndpointIdentity, TableIsEmptiedWithTheService) {
  const Mlox_InputID id = GetMloxIDFromIDs(mStudio->IDsOf(AddSource("DEV")));
  ClearRegisteredIDs();
  std::shared_ptr<IEndpointIDs> found;
  EXPECT_FALSE(FindRegisteredIDs(id, &found));
}

}  // namespace
