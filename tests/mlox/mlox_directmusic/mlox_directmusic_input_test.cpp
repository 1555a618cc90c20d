// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_input.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_utils.h"
#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "tests/support/fake_studio.h"
#include "tests/support/model_studio.h"

namespace {

using testing::ElementsAre;
using Input = Cmn_AliasedRefCountPtr<Mlox_DirectMusic_Input>;

constexpr int kServiceIndex = 2;
constexpr Mlox_InputID kNone{-1, -1};

std::vector<std::string>& LoggedLines() {
  static std::vector<std::string>& sLines = *new std::vector<std::string>;
  return sLines;
}

// A studio with two ports that are sources, and a user-defined device that isn't wired.
class Mlox_DirectMusic_InputTest : public ::testing::Test {
 protected:
  Mlox_DirectMusic_InputTest() {
    ClearRegisteredIDs();
    SetDirectMusicServiceIndex(kServiceIndex);
    LoggedLines().clear();
    mStudio->PlugIn(Port("P1", "Keys"));
    mStudio->PlugIn(Port("P2", "Pads"));
    Test_ModelDevice user;
    user.mUniqueID = "U";
    user.mName = "Entity";
    user.mUserName = "My synth";
    user.mHasSource = true;
    mStudio->AddUserDefined(user);
    // Literals, so that no test leans on the hash.
    SetNumber("P1", 0, 101);
    SetNumber("P1", 1, 111);
    SetNumber("P1", 2, 121);
    SetNumber("P2", 0, 102);
    SetNumber("U", 0, 103);
  }
  ~Mlox_DirectMusic_InputTest() override {
    Sys_Utils::SetLoggerForTest(nullptr);
    ClearRegisteredIDs();
    SetDirectMusicServiceIndex(-1);
  }

  static Test_ModelDevice Port(const std::string& iUniqueID, const std::string& iName) {
    Test_ModelDevice port;
    port.mUniqueID = iUniqueID;
    port.mName = iName;
    port.mHasSource = true;
    return port;
  }
  void SetNumber(const std::string& iUniqueID, int iLevel, int iNumber) {
    mStudio->SetRow(iUniqueID, [&](Test_ModelDevice& ioRow) {
      ioRow.mMloxIDs[{iLevel, iLevel == 0 ? 1 : 0}] = iNumber;
    });
  }
  Input New(const std::string& iUniqueID) {
    return Input(new Mlox_DirectMusic_Input(mStudio->Device(iUniqueID), mStudio->Entity(iUniqueID),
                                            mStudio->Endpoint(iUniqueID, true)));
  }
  static Mlox_InputID ID(int iNumber) { return {kServiceIndex, iNumber}; }

  std::shared_ptr<Test_ModelStudio> mStudio = std::make_shared<Test_ModelStudio>();
};

// ---- the table ----

TEST_F(Mlox_DirectMusic_InputTest, ARealPortIsPhysicalAndNeitherUserDefinedNorAPlugInNorASyncSource) {
  const Input input = New("P1");
  EXPECT_TRUE(input->IsPhysical());
  EXPECT_FALSE(input->IsVirtual());
  EXPECT_FALSE(input->IsUserDefined());
  EXPECT_FALSE(input->IsPlugIn());
  EXPECT_FALSE(input->IsSyncSource());
  EXPECT_EQ(input->GetTrackPtr(), 0u);
}

TEST_F(Mlox_DirectMusic_InputTest, AVirtualPortIsNotPhysical) {
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mIsVirtual = true; });
  const Input input = New("P1");
  EXPECT_TRUE(input->IsVirtual());
  EXPECT_FALSE(input->IsPhysical());
}

TEST_F(Mlox_DirectMusic_InputTest, AVirtualPortIsNeitherAPlugInNorASyncSourceAndHasNoTrack) {
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mIsVirtual = true; });
  const Input input = New("P1");
  EXPECT_FALSE(input->IsPlugIn());
  EXPECT_FALSE(input->IsSyncSource());
  EXPECT_EQ(input->GetTrackPtr(), 0u);
}

TEST_F(Mlox_DirectMusic_InputTest, AUserDefinedInputIsPhysicalUnlessItIsVirtual) {
  const Input input = New("U");
  EXPECT_TRUE(input->IsUserDefined());
  EXPECT_TRUE(input->IsPhysical());
}

TEST_F(Mlox_DirectMusic_InputTest, AFailedReadOfAFlagLeavesTheOldValue) {
  const Input input = New("U");
  ASSERT_TRUE(input->IsUserDefined());
  mStudio->Fail("external", E_FAIL);
  mStudio->SetRow("U", [](Test_ModelDevice& ioRow) { ioRow.mIsUserDefined = false; });
  EXPECT_TRUE(input->ReadInIsUserDefined());
  mStudio->Fail("external", S_OK);
  EXPECT_FALSE(input->ReadInIsUserDefined());
  EXPECT_FALSE(input->IsUserDefined());
}

TEST_F(Mlox_DirectMusic_InputTest, AFailedReadOfTheVirtualFlagLeavesTheOldValue) {
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mIsVirtual = true; });
  const Input input = New("P1");
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mIsVirtual = false; });
  mStudio->Fail("virtual", E_FAIL);
  EXPECT_TRUE(input->ReadInIsVirtual());
  mStudio->Fail("virtual", S_OK);
  EXPECT_FALSE(input->ReadInIsVirtual());
}

// ---- the id ----

TEST_F(Mlox_DirectMusic_InputTest, TheIDIsTheServicesIndexAndTheStoredNumber) {
  EXPECT_EQ(New("P1")->GetInputID(), ID(101));
}

TEST_F(Mlox_DirectMusic_InputTest, TheIDIsReadOnce) {
  const Input input = New("P1");
  EXPECT_EQ(input->GetInputID(), ID(101));
  SetNumber("P1", 0, 555);
  EXPECT_EQ(input->GetInputID(), ID(101));
}

TEST_F(Mlox_DirectMusic_InputTest, AnIDThatCannotBeReadIsMinusOneTwiceAndIsTriedAgain) {
  const Input input = New("P1");
  mStudio->Fail("GetIDs", E_FAIL);
  EXPECT_EQ(input->GetInputID(), kNone);
  mStudio->Fail("GetIDs", S_OK);
  EXPECT_EQ(input->GetInputID(), ID(101));
}

TEST_F(Mlox_DirectMusic_InputTest, BeforeTheServiceHasAnIndexAnInputHasNoID) {
  SetDirectMusicServiceIndex(-1);
  const Input input = New("P1");
  EXPECT_EQ(input->GetInputID(), kNone);
  SetDirectMusicServiceIndex(kServiceIndex);
  EXPECT_EQ(input->GetInputID(), ID(101));
}

TEST_F(Mlox_DirectMusic_InputTest, ReadingTheIDWritesOneLineToTheDebugLog) {
  Sys_Utils::SetLoggerForTest([](const std::string& iLine) { LoggedLines().push_back(iLine); });
  const Input input = New("P1");
  input->GetInputID();
  input->GetInputID();
  EXPECT_THAT(LoggedLines(), ElementsAre("Port Keys P1+++1+++0 101"));
}

// ---- the name and the descriptor ----

TEST_F(Mlox_DirectMusic_InputTest, ARealInputHasTheEntitysNameEvenIfThereIsAUserName) {
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mUserName = "Mine"; });
  EXPECT_EQ(New("P1")->GetName(), "Keys");
}

TEST_F(Mlox_DirectMusic_InputTest, AUserDefinedInputHasTheUsersName) {
  EXPECT_EQ(New("U")->GetName(), "My synth");
}

TEST_F(Mlox_DirectMusic_InputTest, AUserDefinedInputWithoutAUserNameHasTheEntitysName) {
  mStudio->SetRow("U", [](Test_ModelDevice& ioRow) { ioRow.mUserName.reset(); });
  EXPECT_EQ(New("U")->GetName(), "Entity");
}

TEST_F(Mlox_DirectMusic_InputTest, AFailedReadOfTheUserNameGivesTheEmptyNameAndNotTheEntitys) {
  mStudio->Fail("userName", E_FAIL);
  EXPECT_EQ(New("U")->GetName(), "");
}

TEST_F(Mlox_DirectMusic_InputTest, AFailedReadOfTheEntitysNameGivesTheEmptyName) {
  mStudio->Fail("name", E_FAIL);
  EXPECT_EQ(New("P1")->GetName(), "");
}

TEST_F(Mlox_DirectMusic_InputTest, TheDescriptorIsAnInputsWithTheNameAndTheSecondNumberOfTheID) {
  const auto descriptorP = New("P1")->GetDeviceDescriptor();
  ASSERT_NE(descriptorP, nullptr);
  EXPECT_TRUE(descriptorP->IsInput());
  EXPECT_EQ(descriptorP->GetName(), "Keys");
  EXPECT_EQ(descriptorP->GetHashValue(), 101);
}

TEST_F(Mlox_DirectMusic_InputTest, TheDescriptorIsBuiltOnceAndAgainOnlyAfterAnUpdate) {
  const Input input = New("P1");
  const auto firstP = input->GetDeviceDescriptor();
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mName = "New"; });
  EXPECT_EQ(input->GetDeviceDescriptor(), firstP);
  input->UpdateWithRawProperties(mStudio->Device("P1"), mStudio->Entity("P1"), mStudio->Endpoint("P1", true));
  EXPECT_EQ(input->GetDeviceDescriptor()->GetName(), "New");
}

// ---- channels ----

TEST_F(Mlox_DirectMusic_InputTest, TheWholeInputIsAvailableAndChannelSixteenIsNotWhateverTheMask) {
  for (const int mask : {0, 1, 65535, 0x7FFFFFFF}) {
    mStudio->SetRow("P1", [&](Test_ModelDevice& ioRow) { ioRow.mTransmitChannels = mask; });
    const Input input = New("P1");
    EXPECT_TRUE(input->IsMidiChannelAvailable(static_cast<short>(65535))) << mask;
    EXPECT_FALSE(input->IsMidiChannelAvailable(16)) << mask;
    EXPECT_FALSE(input->IsMidiChannelAvailable(-2)) << mask;
  }
}

TEST_F(Mlox_DirectMusic_InputTest, WithThePropertyAbsentEveryChannelIsAvailable) {
  const Input input = New("P1");
  for (short channel = 0; channel < 16; ++channel)
    EXPECT_TRUE(input->IsMidiChannelAvailable(channel)) << channel;
}

TEST_F(Mlox_DirectMusic_InputTest, AMaskOfOneGivesChannelZeroAlone) {
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mTransmitChannels = 1; });
  const Input input = New("P1");
  EXPECT_TRUE(input->IsMidiChannelAvailable(0));
  EXPECT_FALSE(input->IsMidiChannelAvailable(1));
}

TEST_F(Mlox_DirectMusic_InputTest, AMaskThatReadsAsZeroIsReadAgainAtEachCall) {
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mTransmitChannels = 0; });
  const Input input = New("P1");
  EXPECT_FALSE(input->IsMidiChannelAvailable(3));
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mTransmitChannels = 8; });
  EXPECT_TRUE(input->IsMidiChannelAvailable(3));
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mTransmitChannels = 1; });
  EXPECT_TRUE(input->IsMidiChannelAvailable(3)) << "a mask with bits is kept";
  EXPECT_EQ(input->ReadInChannelMask(), 1u);
  EXPECT_FALSE(input->IsMidiChannelAvailable(3));
}

TEST_F(Mlox_DirectMusic_InputTest, AMaskThatCannotBeReadIsAllChannels) {
  mStudio->Fail("transmitChannels", E_FAIL);
  EXPECT_EQ(New("P1")->ReadInChannelMask(), 65535u);
}

// ---- connections ----

TEST_F(Mlox_DirectMusic_InputTest, ARealInputsIOIDIsItsOwn) { EXPECT_EQ(New("P1")->GetIOMloxID(), ID(101)); }

TEST_F(Mlox_DirectMusic_InputTest, AUserDefinedInputWithNoConnectionHasAnIOIDOfMinusOneTwice) {
  EXPECT_EQ(New("U")->GetIOMloxID(), kNone);
}

TEST_F(Mlox_DirectMusic_InputTest, AUserDefinedInputWithTwoConnectionsTakesItsIOIDFromTheFirst) {
  mStudio->Wire("U", "P2");
  mStudio->Wire("U", "P1");
  EXPECT_EQ(New("U")->GetIOMloxID(), ID(102));
}

TEST_F(Mlox_DirectMusic_InputTest, TheIOIDIsReadOnceAndWithNoConnectionTriedAgain) {
  const Input input = New("U");
  EXPECT_EQ(input->GetIOMloxID(), kNone);
  mStudio->Wire("U", "P1");
  EXPECT_EQ(input->GetIOMloxID(), ID(101));
  mStudio->Unwire("U", "P1");
  EXPECT_EQ(input->GetIOMloxID(), ID(101));
}

TEST_F(Mlox_DirectMusic_InputTest, AConnectionThatCannotBeReadGivesNoIOID) {
  mStudio->Wire("U", "P1");
  mStudio->Fail("GetConnection", E_FAIL);
  EXPECT_EQ(New("U")->GetIOMloxID(), kNone);
}

// Says how many connections there are, as a studio out of its mind might.
class CountingEndpoint : public IEndpointProperties {
 public:
  explicit CountingEndpoint(int iCount) : mCount(iCount) {}
  HRESULT GetNumConnections(int* oCount) override {
    *oCount = mCount;
    return S_OK;
  }
  HRESULT GetConnection(int, std::shared_ptr<IEndpointIDs>*) override {
    ++mAsked;
    return E_FAIL;
  }
  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>*) override { return E_FAIL; }
  HRESULT CompareRaw(std::shared_ptr<IEndpointProperties>) override { return 1; }

  int mAsked = 0;

 private:
  int mCount;
};

TEST_F(Mlox_DirectMusic_InputTest, TheNumberOfConnectionsIsZeroWithoutAnEndpointOnFailureAndWhenNegative) {
  mStudio->Wire("U", "P1");
  mStudio->Wire("U", "P2");
  const Input input = New("U");
  EXPECT_EQ(input->GetNumConnections(), 2);
  mStudio->Fail("GetNumConnections", E_FAIL);
  EXPECT_EQ(input->GetNumConnections(), 0);
  const Input empty(new Mlox_DirectMusic_Input(nullptr, nullptr, nullptr));
  EXPECT_EQ(empty->GetNumConnections(), 0);
  const Input negative(new Mlox_DirectMusic_Input(nullptr, nullptr, std::make_shared<CountingEndpoint>(-3)));
  EXPECT_EQ(negative->GetNumConnections(), 0);
}

TEST_F(Mlox_DirectMusic_InputTest, IsConnectedToAnyEndpointThatItIsWiredToOnceItsIDHasBeenHandedOut) {
  mStudio->Wire("U", "P1");
  mStudio->Wire("U", "P2");
  const Input input = New("U");
  EXPECT_FALSE(input->IsConnectedTo(ID(102))) << "nobody has asked for this id yet";
  New("P2")->GetInputID();
  EXPECT_TRUE(input->IsConnectedTo(ID(102))) << "the second connection";
  EXPECT_FALSE(input->IsConnectedTo(ID(999)));
  mStudio->Unwire("U", "P2");
  EXPECT_FALSE(input->IsConnectedTo(ID(102)));
}

TEST_F(Mlox_DirectMusic_InputTest, ACountOfConnectionsOutOfAllMeasureKeepsNobodyForEver) {
  New("P1")->GetInputID();
  const auto endpoint = std::make_shared<CountingEndpoint>(2000000000);
  const Input input(new Mlox_DirectMusic_Input(nullptr, nullptr, endpoint));
  EXPECT_FALSE(input->IsConnectedTo(ID(101)));
  EXPECT_EQ(endpoint->mAsked, 4096);
}

TEST_F(Mlox_DirectMusic_InputTest, IsPartOfItsEndpointItsEntityAndItsDeviceByLevel) {
  const Input input = New("P1");
  EXPECT_TRUE(input->IsPartOf(ID(101), 0));
  EXPECT_TRUE(input->IsPartOf(ID(111), 1));
  EXPECT_TRUE(input->IsPartOf(ID(121), 2));
  EXPECT_FALSE(input->IsPartOf(ID(121), 3));
  EXPECT_FALSE(input->IsPartOf(ID(101), -1));
}

TEST_F(Mlox_DirectMusic_InputTest, IsPartOfWithLevelOneComparesTheEntitysIDAndNotTheInputsOwn) {
  const Input input = New("P1");
  EXPECT_FALSE(input->IsPartOf(ID(101), 1));
  EXPECT_FALSE(input->IsPartOf(ID(121), 1));
  EXPECT_FALSE(input->IsPartOf(ID(101), 2));
}

TEST_F(Mlox_DirectMusic_InputTest, BothNumbersMustBeEqualForBeingAPart) {
  EXPECT_FALSE(New("P1")->IsPartOf({kServiceIndex + 1, 101}, 0));
}

TEST_F(Mlox_DirectMusic_InputTest, WithoutARawObjectItIsPartOfNothing) {
  const Input input(new Mlox_DirectMusic_Input(nullptr, nullptr, nullptr));
  for (const int level : {0, 1, 2}) EXPECT_FALSE(input->IsPartOf(kNone, level)) << level;
  EXPECT_EQ(input->GetName(), "");
  EXPECT_EQ(input->GetInputID(), kNone);
  EXPECT_TRUE(input->IsMidiChannelAvailable(5));
}

// ---- matching and updating ----

TEST_F(Mlox_DirectMusic_InputTest, MatchesOtherObjectsOfTheSameThingsAndLosesTheMark) {
  const Input input = New("P1");
  input->SetNeedsVerification();
  EXPECT_TRUE(input->MatchWithRawProperties(mStudio->Device("P1"), mStudio->Entity("P1"),
                                            mStudio->Endpoint("P1", true)));
  EXPECT_FALSE(input->IsNeedsVerification());
}

TEST_F(Mlox_DirectMusic_InputTest, AnyDifferenceIsNoMatchAndKeepsTheMark) {
  const Input input = New("P1");
  input->SetNeedsVerification();
  EXPECT_FALSE(input->MatchWithRawProperties(mStudio->Device("P2"), mStudio->Entity("P1"),
                                             mStudio->Endpoint("P1", true)));
  EXPECT_FALSE(input->MatchWithRawProperties(mStudio->Device("P1"), mStudio->Entity("P2"),
                                             mStudio->Endpoint("P1", true)));
  EXPECT_FALSE(input->MatchWithRawProperties(mStudio->Device("P1"), mStudio->Entity("P1"),
                                             mStudio->Endpoint("P2", true)));
  EXPECT_TRUE(input->IsNeedsVerification());
}

TEST_F(Mlox_DirectMusic_InputTest, AnUnmarkedInputStaysUnmarkedWhenNothingMatches) {
  const Input input = New("P1");
  EXPECT_FALSE(input->MatchWithRawProperties(nullptr, nullptr, nullptr));
  EXPECT_FALSE(input->IsNeedsVerification());
}

TEST_F(Mlox_DirectMusic_InputTest, AfterAnUpdateWithANewEndpointTheIDIsReadAnew) {
  const Input input = New("P1");
  EXPECT_EQ(input->GetInputID(), ID(101));
  SetNumber("P1", 0, 555);
  EXPECT_TRUE(input->UpdateWithRawProperties(mStudio->Device("P1"), mStudio->Entity("P1"),
                                             mStudio->Endpoint("P1", true)));
  EXPECT_EQ(input->GetInputID(), ID(555));
}

TEST_F(Mlox_DirectMusic_InputTest, AfterAnUpdateWithTheSameEndpointTheIDIsKeptAndTheRestReadAnew) {
  const auto device = mStudio->Device("U");
  const auto entity = mStudio->Entity("U");
  const auto endpoint = mStudio->Endpoint("U", true);
  mStudio->Wire("U", "P1");
  const Input input(new Mlox_DirectMusic_Input(device, entity, endpoint));
  EXPECT_EQ(input->GetInputID(), ID(103));
  EXPECT_EQ(input->GetIOMloxID(), ID(101));
  EXPECT_TRUE(input->IsMidiChannelAvailable(1));
  EXPECT_EQ(input->GetDeviceDescriptor()->GetName(), "My synth");
  SetNumber("U", 0, 555);
  mStudio->Unwire("U", "P1");
  mStudio->Wire("U", "P2");
  mStudio->SetRow("U", [](Test_ModelDevice& ioRow) {
    ioRow.mUserName = "Renamed";
    ioRow.mTransmitChannels = 1;
  });
  EXPECT_TRUE(input->UpdateWithRawProperties(device, entity, endpoint));
  EXPECT_EQ(input->GetInputID(), ID(103)) << "kept";
  EXPECT_EQ(input->GetIOMloxID(), ID(102));
  EXPECT_FALSE(input->IsMidiChannelAvailable(1));
  EXPECT_EQ(input->GetDeviceDescriptor()->GetName(), "Renamed");
}

TEST_F(Mlox_DirectMusic_InputTest, AnUpdateReadsTheFlagsAnew) {
  const Input input = New("P1");
  mStudio->SetRow("P1", [](Test_ModelDevice& ioRow) { ioRow.mIsVirtual = ioRow.mIsUserDefined = true; });
  input->UpdateWithRawProperties(mStudio->Device("P1"), mStudio->Entity("P1"), mStudio->Endpoint("P1", true));
  EXPECT_TRUE(input->IsVirtual());
  EXPECT_TRUE(input->IsUserDefined());
}

TEST_F(Mlox_DirectMusic_InputTest, AnUpdateToOtherThingsTakesTheirIDs) {
  const Input input = New("P1");
  SetNumber("P2", 1, 112);
  SetNumber("P2", 2, 122);
  input->UpdateWithRawProperties(mStudio->Device("P2"), mStudio->Entity("P2"), mStudio->Endpoint("P2", true));
  EXPECT_TRUE(input->IsPartOf(ID(102), 0));
  EXPECT_TRUE(input->IsPartOf(ID(112), 1));
  EXPECT_TRUE(input->IsPartOf(ID(122), 2));
}

// ---- its end ----

TEST_F(Mlox_DirectMusic_InputTest, AReleasedInputGoesOnAnsweringFromItsRawObjects) {
  const Input input = New("P1");
  EXPECT_FALSE(input->IsServiceReleased());
  input->SetServiceReleased();
  EXPECT_TRUE(input->IsServiceReleased());
  mStudio->Unplug("P1");
  EXPECT_EQ(input->GetName(), "Keys");
  EXPECT_EQ(input->GetInputID(), ID(101));
}

TEST_F(Mlox_DirectMusic_InputTest, ThreadsReadItWhileAnotherUpdatesIt) {
  const Input input = New("P1");
  std::thread updater([&] {
    for (int round = 0; round < 300; ++round) {
      input->UpdateWithRawProperties(mStudio->Device("P1"), mStudio->Entity("P1"),
                                     mStudio->Endpoint("P1", true));
    }
  });
  for (int round = 0; round < 300; ++round) {
    EXPECT_EQ(input->GetInputID(), ID(101));
    EXPECT_EQ(input->GetDeviceDescriptor()->GetName(), "Keys");
    EXPECT_EQ(input->GetIOMloxID(), ID(101));
    EXPECT_TRUE(input->IsMidiChannelAvailable(0));
  }
  updater.join();
}

// ---- what is asked of the studio ----

// A port in a studio that keeps a record of what it is asked.
class Mlox_DirectMusic_InputAsksTest : public ::testing::Test {
 protected:
  Mlox_DirectMusic_InputAsksTest() {
    ClearRegisteredIDs();
    SetDirectMusicServiceIndex(kServiceIndex);
  }
  ~Mlox_DirectMusic_InputAsksTest() override {
    ClearRegisteredIDs();
    SetDirectMusicServiceIndex(-1);
  }

  Input New() {
    return Input(new Mlox_DirectMusic_Input(mStudio->DeviceOf(mDevice), mStudio->EntityOf(mEntity),
                                            mStudio->EndpointOf(mEndpoint)));
  }
  bool Match(Mlox_DirectMusic_Input& ioInput) {
    mStudio->Calls().Clear();
    return ioInput.MatchWithRawProperties(mStudio->DeviceOf(mDevice), mStudio->EntityOf(mEntity),
                                          mStudio->EndpointOf(mEndpoint));
  }
  bool Update(Mlox_DirectMusic_Input& ioInput) {
    mStudio->Calls().Clear();
    return ioInput.UpdateWithRawProperties(mStudio->DeviceOf(mDevice), mStudio->EntityOf(mEntity),
                                           mStudio->EndpointOf(mEndpoint));
  }
  void SetFlag(const _GUID& iKey, VARIANT_BOOL iValue) { mDevice.mFlags[Test_KeyText(iKey)] = iValue; }

  std::shared_ptr<Test_FakeStudio> mStudio = std::make_shared<Test_FakeStudio>();
  Test_StudioNode& mEndpoint = mStudio->AddPort("{port}", "Keys", true);
  Test_StudioNode& mEntity = *mEndpoint.mParentP;
  Test_StudioNode& mDevice = *mEntity.mParentP;
};

TEST_F(Mlox_DirectMusic_InputAsksTest, MatchComparesDeviceEntityAndEndpointInThisOrder) {
  EXPECT_TRUE(Match(*New()));
  EXPECT_THAT(mStudio->Calls().Lines(), ElementsAre("CompareRaw 2", "CompareRaw 1", "CompareRaw 0"));
}

TEST_F(Mlox_DirectMusic_InputAsksTest, MatchStopsAtTheFirstThatDiffersWhateverTheResult) {
  const Input input = New();
  const std::vector<std::string> calls{"CompareRaw 2", "CompareRaw 1", "CompareRaw 0"};
  for (std::size_t at = 0; at < calls.size(); ++at) {
    for (const HRESULT result : {S_FALSE, E_FAIL}) {
      mStudio->Calls().Fail(calls[at], result, 1);
      EXPECT_FALSE(Match(*input));
      EXPECT_EQ(mStudio->Calls().Lines(),
                std::vector<std::string>(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(at) + 1));
    }
  }
}

TEST_F(Mlox_DirectMusic_InputAsksTest, TheIDsOfDeviceAndEntityAreReadAnewOnlyForOtherObjects) {
  mStudio->SetKeepsObjects(true);
  const Input input = New();
  EXPECT_TRUE(Update(*input));
  EXPECT_EQ(mStudio->Calls().CountBeginning("GetIDs"), 0);
  mStudio->SetKeepsObjects(false);
  EXPECT_TRUE(Update(*input));
  EXPECT_EQ(mStudio->Calls().LinesBeginning("GetIDs"), (std::vector<std::string>{"GetIDs 2", "GetIDs 1"}));
}

TEST_F(Mlox_DirectMusic_InputAsksTest, BeforeTheServiceHasAnIndexItsDeviceAndItsEntityHaveNoID) {
  SetDirectMusicServiceIndex(-1);
  const Input input = New();
  EXPECT_TRUE(input->IsPartOf(kNone, 1));
  EXPECT_TRUE(input->IsPartOf(kNone, 2));
}

TEST_F(Mlox_DirectMusic_InputAsksTest, AFlagIsTrueOnlyWhenItReadsAsAllOnes) {
  for (const int value : {0, 1, 0x7FFF, 0xFFFF}) {
    SetFlag(getter_wrapper::Get_PROPID_DeviceExternal(), static_cast<VARIANT_BOOL>(value));
    SetFlag(getter_wrapper::Get_PROPID_DeviceVirtual(), static_cast<VARIANT_BOOL>(value));
    const Input input = New();
    EXPECT_EQ(input->IsUserDefined(), value == 0xFFFF) << value;
    EXPECT_EQ(input->IsVirtual(), value == 0xFFFF) << value;
  }
}

}  // namespace
