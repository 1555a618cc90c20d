// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/cgenericmidireceiver.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/mlox_directmusic_midireceivecallback.h"
#include "tests/mlox/mlox_directmusic/client_fixture.h"

namespace {

class GenericMIDIReceiver : public Test_ClientFixture {
 protected:
  std::shared_ptr<IEndpointIDs> NewSource(LONG iNumber) {
    Test_StudioNode& node = mStudio->AddPort("DEV" + std::to_string(iNumber), "Name", true);
    node.mIDInts[Test_KeyText(getter_wrapper::Get_PROPID_MLOXID())] = iNumber;
    return mStudio->IDsOf(node);
  }
  int SourceCount() {
    int count = -1;
    EXPECT_EQ(mReceiver.GetSourceCount(&count), 0);
    return count;
  }

  CGenericMIDIReceiver mReceiver;
};

TEST_F(GenericMIDIReceiver, NewOneWantsNothing) {
  EXPECT_EQ(SourceCount(), 0);
  EXPECT_EQ(mReceiver.IsSelective(), 1);
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(3, 1)), 1);
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(-1, -1)), 1);
  EXPECT_EQ(mReceiver.IsListeningTo(NewSource(1)), 1);
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback;
  EXPECT_EQ(mReceiver.GetCallback(&callback), 0);
  EXPECT_EQ(callback, nullptr);
}

TEST_F(GenericMIDIReceiver, NullArgumentsAreInvalid) {
  EXPECT_EQ(mReceiver.GetSourceCount(nullptr), E_INVALIDARG);
  mReceiver.AddSource(NewSource(1));
  EXPECT_EQ(mReceiver.GetSource(0, nullptr), E_INVALIDARG);
  EXPECT_EQ(mReceiver.GetCallback(nullptr), E_INVALIDARG);
  EXPECT_EQ(mReceiver.IsListeningTo(nullptr), E_INVALIDARG);
  EXPECT_EQ(mReceiver.AddSource(nullptr), E_INVALIDARG);
  EXPECT_EQ(SourceCount(), 1);
}

TEST_F(GenericMIDIReceiver, SourcesAreKeptInTheirOrder) {
  const auto first = NewSource(1);
  const auto second = NewSource(2);
  EXPECT_EQ(mReceiver.AddSource(second), 0);
  EXPECT_EQ(mReceiver.AddSource(first), 0);
  std::shared_ptr<IEndpointIDs> source;
  EXPECT_EQ(mReceiver.GetSource(0, &source), 0);
  EXPECT_EQ(source, second);
  EXPECT_EQ(mReceiver.GetSource(1, &source), 0);
  EXPECT_EQ(source, first);
}

TEST_F(GenericMIDIReceiver, IndexOutsideTheSourcesIsInvalidAndLeavesTheValueAlone) {
  const auto only = NewSource(1);
  mReceiver.AddSource(only);
  std::shared_ptr<IEndpointIDs> source = only;
  EXPECT_EQ(mReceiver.GetSource(1, &source), E_INVALIDARG);
  EXPECT_EQ(mReceiver.GetSource(-1, &source), E_INVALIDARG);
  EXPECT_EQ(source, only);
}

TEST_F(GenericMIDIReceiver, SameEndpointTwiceLeavesOneEntry) {
  Test_StudioNode& node = mStudio->AddPort("DEV", "Name", true);
  EXPECT_EQ(mReceiver.AddSource(mStudio->IDsOf(node)), 0);
  EXPECT_EQ(mReceiver.AddSource(mStudio->IDsOf(node)), 0);
  EXPECT_EQ(SourceCount(), 1);
}

TEST_F(GenericMIDIReceiver, EndpointIsComparedWithEverySourceAndNotTheLastAlone) {
  Test_StudioNode& node = mStudio->AddPort("DEV", "Name", true);
  mReceiver.AddSource(mStudio->IDsOf(node));
  mReceiver.AddSource(NewSource(2));
  mReceiver.AddSource(NewSource(3));
  EXPECT_EQ(mReceiver.AddSource(mStudio->IDsOf(node)), 0);
  EXPECT_EQ(SourceCount(), 3);
}

TEST_F(GenericMIDIReceiver, ComparisonThatFailsIsNoMatch) {
  mReceiver.AddSource(NewSource(1));
  mStudio->Calls().Fail("CompareIDs", E_FAIL);
  EXPECT_EQ(mReceiver.AddSource(NewSource(2)), 0);
  EXPECT_EQ(SourceCount(), 2);
}

TEST_F(GenericMIDIReceiver, TwoEndpointsOfOneNumberAreTwoSources) {
  EXPECT_EQ(mReceiver.AddSource(NewSource(1)), 0);
  EXPECT_EQ(mReceiver.AddSource(NewSource(1)), 0);
  EXPECT_EQ(SourceCount(), 2);
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(3, 1)), 0);
}

TEST_F(GenericMIDIReceiver, BothNumbersOfAnIdCount) {
  mReceiver.AddSource(NewSource(1));
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(3, 1)), 0);
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(3, 2)), 1);
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(2, 1)), 1);
}

TEST_F(GenericMIDIReceiver, ListensToAnEndpointByItsIdentity) {
  mReceiver.AddSource(NewSource(1));
  EXPECT_EQ(mReceiver.IsListeningTo(NewSource(1)), 0);
  EXPECT_EQ(mReceiver.IsListeningTo(NewSource(2)), 1);
}

TEST_F(GenericMIDIReceiver, AskingForAnIdDoesNotAskTheStudio) {
  mReceiver.AddSource(NewSource(1));
  mStudio->Calls().Clear();
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(3, 1)), 0);
  EXPECT_TRUE(mStudio->Calls().Lines().empty());
}

TEST_F(GenericMIDIReceiver, ReceiveAllAnswersYesToEverythingAndKeepsTheList) {
  mReceiver.AddSource(NewSource(1));
  EXPECT_EQ(mReceiver.SetReceiveAll(), 0);
  EXPECT_EQ(mReceiver.IsSelective(), 0);
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(9, 9)), 0);
  EXPECT_EQ(mReceiver.IsListeningTo(NewSource(2)), 0);
  EXPECT_EQ(mReceiver.IsListeningTo(nullptr), 0);
  EXPECT_EQ(SourceCount(), 1);
}

TEST_F(GenericMIDIReceiver, ClearMakesItSelectiveAndEmptyAndKeepsTheCallback) {
  const auto callback = std::make_shared<Mlox_DirectMusic_MIDIReceiveCallback>();
  const auto source = NewSource(1);
  mReceiver.SetCallback(callback);
  mReceiver.AddSource(source);
  mReceiver.SetReceiveAll();
  const long held = source.use_count();
  EXPECT_EQ(mReceiver.Clear(), 0);
  EXPECT_EQ(source.use_count(), held - 1);
  EXPECT_EQ(SourceCount(), 0);
  EXPECT_EQ(mReceiver.IsSelective(), 1);
  EXPECT_EQ(mReceiver.IsListeningToID(Mlox_InputID(3, 1)), 1);
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> kept;
  EXPECT_EQ(mReceiver.GetCallback(&kept), 0);
  EXPECT_EQ(kept, callback);
}

TEST_F(GenericMIDIReceiver, CallbackIsReplaced) {
  const auto callback = std::make_shared<Mlox_DirectMusic_MIDIReceiveCallback>();
  EXPECT_EQ(mReceiver.SetCallback(callback), 0);
  EXPECT_EQ(mReceiver.SetCallback(nullptr), 0);
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> kept = callback;
  EXPECT_EQ(mReceiver.GetCallback(&kept), 0);
  EXPECT_EQ(kept, nullptr);
}

}  // namespace
