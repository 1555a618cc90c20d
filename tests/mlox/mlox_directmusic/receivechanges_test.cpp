// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/receivechanges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mlox/mlox_directmusic/cgenericmidireceiver.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/mlox_directmusic_midireceivecallback.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "tests/mlox/mlox_directmusic/client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Receiver = std::shared_ptr<CGenericMIDIReceiver>;
using Groups = std::vector<std::vector<int>>;

class SilentReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData*) override { return 0; }
};

// Inputs and ports by small numbers: input 11 lies on port 1, input 21 on port 2, and so on.
class ReceiveChangesTest : public Test_ClientFixture {
 protected:
  ReceiveChangesTest() {
    mWorld.mEveryEndpoint = [this] {
      ++mWalks;
      return mEveryEndpoint;
    };
  }

  void AddInput(int iNumber, int iPort, bool iIsUserDefined = false) {
    mWorld.mInputs.push_back({{3, iNumber}, {3, iPort}, iIsUserDefined});
    mEveryEndpoint.push_back(Endpoint(iNumber));
    GetMloxIDFromIDs(Endpoint(iNumber));
  }
  std::shared_ptr<IEndpointIDs> Endpoint(int iNumber) {
    Test_StudioNode*& nodeP = mNodes[iNumber];
    if (nodeP == nullptr) {
      nodeP = &mStudio->AddPort("DEV" + std::to_string(iNumber), "Name", true);
      nodeP->mIDInts[Test_KeyText(getter_wrapper::Get_PROPID_MLOXID())] = iNumber;
    }
    return mStudio->IDsOf(*nodeP);
  }

  // A receiver for one of the application's ports.
  Receiver NewReceiver(int iApplicationPort, const std::vector<int>& iInputs) {
    auto callback = std::make_shared<Mlox_DirectMusic_MIDIReceiveCallback>();
    callback->SetRawReceiver(&mRawReceivers[iApplicationPort]);
    auto receiver = std::make_shared<CGenericMIDIReceiver>();
    receiver->SetCallback(callback);
    for (int input : iInputs) receiver->AddSource(Endpoint(input));
    return receiver;
  }
  Receiver NewReceiverOfAll(int iApplicationPort) {
    Receiver receiver = NewReceiver(iApplicationPort, {});
    receiver->SetReceiveAll();
    return receiver;
  }

  // What Compute gives: whether anything changed, and whether a restart is needed.
  std::pair<bool, bool> Compute(const std::shared_ptr<IDirectMusicMIDIReceiver>& iReceiver) {
    bool restart = true;
    const bool changed = ReceiveChanges(mWorld, mReceivers, mGroups).Compute(iReceiver, &restart);
    return {changed, restart};
  }
  Groups GroupNumbers() const {
    Groups groups;
    for (const auto& group : mGroups) {
      groups.emplace_back();
      for (const Mlox_InputID& id : *group) groups.back().push_back(id.mInputNumber);
    }
    return groups;
  }

  static constexpr std::pair<bool, bool> kNothing{false, false};
  static constexpr std::pair<bool, bool> kChanged{true, false};
  static constexpr std::pair<bool, bool> kRestart{true, true};

  std::map<int, Test_StudioNode*> mNodes;
  SilentReceiver mRawReceivers[4];
  ReceiveChangesWorld mWorld;
  EndpointIDsList mEveryEndpoint;
  int mWalks = 0;
  DirectMusicReceiverList mReceivers;
  PortInputGroupList mGroups;
};

// ---- nobody ----

TEST_F(ReceiveChangesTest, NoReceiverAndNoCallbackChangeNothing) {
  AddInput(11, 1);
  EXPECT_EQ(Compute(nullptr), kNothing);
  const auto receiver = NewReceiver(0, {11});
  receiver->SetCallback(nullptr);
  EXPECT_EQ(Compute(receiver), kNothing);
  EXPECT_THAT(mReceivers, IsEmpty());
  EXPECT_THAT(GroupNumbers(), IsEmpty());
}

TEST_F(ReceiveChangesTest, ReceiverWithoutSourcesDoesNotJoin) {
  EXPECT_EQ(Compute(NewReceiver(0, {})), kNothing);
  EXPECT_THAT(mReceivers, IsEmpty());
}

// ---- adding ----

TEST_F(ReceiveChangesTest, FirstInputOfAPortMakesAGroupAndRestarts) {
  AddInput(11, 1);
  const auto receiver = NewReceiver(0, {11});
  EXPECT_EQ(Compute(receiver), kRestart);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11}}));
  EXPECT_THAT(mReceivers, ElementsAre(receiver));
}

TEST_F(ReceiveChangesTest, FurtherInputOfAPortJoinsItsGroupWithoutARestart) {
  AddInput(11, 1);
  AddInput(12, 1);
  Compute(NewReceiver(0, {11}));
  EXPECT_EQ(Compute(NewReceiver(1, {12})), kChanged);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11, 12}}));
}

TEST_F(ReceiveChangesTest, InputThatIsItsOwnPortStandsTwiceInTheGroup) {
  AddInput(1, 1);
  EXPECT_EQ(Compute(NewReceiver(0, {1})), kRestart);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 1}}));
}

TEST_F(ReceiveChangesTest, EndpointWithoutAnInputIsCountedButJoinsNoGroup) {
  EXPECT_EQ(Compute(NewReceiver(0, {11})), kChanged);
  EXPECT_THAT(GroupNumbers(), IsEmpty());
  EXPECT_EQ(mReceivers.size(), 1u);
}

TEST_F(ReceiveChangesTest, SourceThatAnotherReceiverHasAddsNothing) {
  AddInput(11, 1);
  const auto first = NewReceiver(0, {11});
  const auto second = NewReceiver(1, {11});
  Compute(first);
  EXPECT_EQ(Compute(second), kNothing);
  EXPECT_THAT(mReceivers, ElementsAre(first, second));
}

// ---- replacing ----

TEST_F(ReceiveChangesTest, SameSourcesAgainChangeNothing) {
  AddInput(11, 1);
  Compute(NewReceiver(0, {11}));
  const auto again = NewReceiver(0, {11});
  EXPECT_EQ(Compute(again), kNothing);
  EXPECT_THAT(mReceivers, ElementsAre(again));
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11}}));
}

TEST_F(ReceiveChangesTest, ReplacementGoesToTheEndAndTheOthersKeepTheirOrder) {
  AddInput(11, 1);
  const auto second = NewReceiver(1, {11});
  const auto third = NewReceiver(2, {11});
  const auto again = NewReceiver(0, {11});
  Compute(NewReceiver(0, {11}));
  Compute(second);
  Compute(third);
  Compute(again);
  EXPECT_THAT(mReceivers, ElementsAre(second, third, again));
}

TEST_F(ReceiveChangesTest, ReceiverWithoutSourcesTakesTheOldOneAway) {
  AddInput(11, 1);
  Compute(NewReceiver(0, {11}));
  EXPECT_EQ(Compute(NewReceiver(0, {})), kRestart);
  EXPECT_THAT(mReceivers, IsEmpty());
  EXPECT_THAT(GroupNumbers(), IsEmpty());
}

TEST_F(ReceiveChangesTest, InputThatSomebodyElseWantsStays) {
  AddInput(11, 1);
  AddInput(12, 1);
  Compute(NewReceiver(0, {11, 12}));
  Compute(NewReceiver(1, {11}));
  EXPECT_EQ(Compute(NewReceiver(0, {})), kChanged);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11}}));
}

TEST_F(ReceiveChangesTest, LastInputThatMovesToAnotherPortRestarts) {
  AddInput(11, 1);
  AddInput(21, 2);
  Compute(NewReceiver(0, {11}));
  EXPECT_EQ(Compute(NewReceiver(0, {21})), kRestart);
  EXPECT_EQ(GroupNumbers(), (Groups{{2, 21}}));
}

TEST_F(ReceiveChangesTest, PortThatGoesAndComesInOneStepNeedsNoRestart) {
  AddInput(11, 1);
  AddInput(12, 1);
  Compute(NewReceiver(0, {11}));
  EXPECT_EQ(Compute(NewReceiver(0, {12})), kChanged);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 12}}));
}

TEST_F(ReceiveChangesTest, OnePortThatGoesAndComesAndAnotherThatComesRestart) {
  AddInput(11, 1);
  AddInput(12, 1);
  AddInput(21, 2);
  Compute(NewReceiver(0, {11}));
  EXPECT_EQ(Compute(NewReceiver(0, {21, 12})), kRestart);
  EXPECT_EQ(GroupNumbers(), (Groups{{2, 21}, {1, 12}}));
}

TEST_F(ReceiveChangesTest, TwoPortsThatGoAndComeInAnotherOrderNeedNoRestart) {
  AddInput(11, 1);
  AddInput(12, 1);
  AddInput(21, 2);
  AddInput(22, 2);
  Compute(NewReceiver(0, {11, 21}));
  EXPECT_EQ(Compute(NewReceiver(0, {22, 12})), kChanged);
  EXPECT_EQ(GroupNumbers(), (Groups{{2, 22}, {1, 12}}));
}

// ---- everything ----

TEST_F(ReceiveChangesTest, ReceiveAllTakesEveryEndpointOfTheStudio) {
  AddInput(11, 1);
  AddInput(21, 2);
  const auto all = NewReceiverOfAll(0);
  EXPECT_EQ(Compute(all), kRestart);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11}, {2, 21}}));
  EXPECT_THAT(mReceivers, ElementsAre(all));
}

TEST_F(ReceiveChangesTest, SelectiveReceiverBesideOneOfAllIsNotKept) {
  AddInput(11, 1);
  const auto all = NewReceiverOfAll(0);
  Compute(all);
  EXPECT_EQ(Compute(NewReceiver(1, {11})), kChanged);
  EXPECT_THAT(mReceivers, ElementsAre(all));
}

TEST_F(ReceiveChangesTest, SelectiveReceiverBesideOneOfAllTakesItsPredecessorAwayAllTheSame) {
  AddInput(11, 1);
  const auto selective = NewReceiver(1, {11});
  const auto all = NewReceiverOfAll(0);
  Compute(selective);
  Compute(all);
  EXPECT_THAT(mReceivers, ElementsAre(selective, all));
  Compute(NewReceiver(1, {11}));
  EXPECT_THAT(mReceivers, ElementsAre(all));
}

TEST_F(ReceiveChangesTest, OneOfAllThatGoesTakesWhatNobodyElseWants) {
  AddInput(11, 1);
  AddInput(21, 2);
  Compute(NewReceiver(1, {11}));
  Compute(NewReceiverOfAll(0));
  EXPECT_EQ(Compute(NewReceiver(0, {})), kRestart);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11}}));
  EXPECT_EQ(mReceivers.size(), 1u);
}

TEST_F(ReceiveChangesTest, SelectiveReceiverInThePlaceOfOneOfAllAddsNothingThatTheOldOneListenedTo) {
  AddInput(11, 1);
  Compute(NewReceiverOfAll(0));
  const auto selective = NewReceiver(0, {11});
  EXPECT_EQ(Compute(selective), kRestart);
  EXPECT_THAT(GroupNumbers(), IsEmpty());
  EXPECT_THAT(mReceivers, ElementsAre(selective));
}

TEST_F(ReceiveChangesTest, StudioIsWalkedOnlyWhenEverythingIsWanted) {
  AddInput(11, 1);
  Compute(NewReceiver(0, {11}));
  Compute(NewReceiver(0, {}));
  EXPECT_EQ(mWalks, 0);
  Compute(NewReceiverOfAll(0));
  EXPECT_EQ(mWalks, 1);
}

// ---- rewiring ----

TEST_F(ReceiveChangesTest, RewiredInputMovesToTheOtherGroupAtTheNextCallOfAnyReceiver) {
  AddInput(11, 1);
  AddInput(21, 2);
  AddInput(90, 1, true);
  Compute(NewReceiver(0, {11, 21, 90}));
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11, 90}, {2, 21}}));
  mWorld.mInputs[2].mPort = {3, 2};
  EXPECT_EQ(Compute(NewReceiver(1, {11})), kChanged);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11}, {2, 21, 90}}));
}

TEST_F(ReceiveChangesTest, RewiredInputMovesToAPortThatNobodyHadOpen) {
  AddInput(90, 1, true);
  Compute(NewReceiver(0, {90}));
  mWorld.mInputs[0].mPort = {3, 2};
  EXPECT_EQ(Compute(NewReceiver(1, {})), kRestart);
  EXPECT_EQ(GroupNumbers(), (Groups{{2, 90}}));
}

TEST_F(ReceiveChangesTest, UserDefinedInputJoinsTheGroupOfItsPort) {
  AddInput(11, 1);
  AddInput(90, 1, true);
  EXPECT_EQ(Compute(NewReceiver(0, {11})), kRestart);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11}}));
  EXPECT_EQ(Compute(NewReceiver(0, {11})), kChanged);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11, 90}}));
}

TEST_F(ReceiveChangesTest, OnlyUserDefinedInputsAreReconciled) {
  AddInput(11, 1);
  AddInput(12, 1);
  Compute(NewReceiver(0, {11}));
  mWorld.mInputs[0].mPort = {3, 2};
  EXPECT_EQ(Compute(NewReceiver(0, {11})), kNothing);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 11}}));
}

TEST_F(ReceiveChangesTest, RewiredInputWithoutAnIdentifierObjectStays) {
  AddInput(90, 1, true);
  Compute(NewReceiver(0, {90}));
  mWorld.mInputs[0].mPort = {3, 2};
  ClearRegisteredIDs();
  const auto other = NewReceiver(1, {});
  EXPECT_EQ(Compute(other), kNothing);
  EXPECT_EQ(GroupNumbers(), (Groups{{1, 90}}));
}

}  // namespace
