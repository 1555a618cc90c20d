// SPDX-License-Identifier: MIT
// What an application's receivers may do on the receive thread, and what they cost each other: through its
// input ports, as it connects and closes them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_directmusic/directmusicreceivers.h"
#include "mlox/mlox_directmusic/directmusicreceivetask.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_output.h"
#include "tests/mlox/mlox_directmusic/ports_fixture.h"
#include "tests/mlox/mlox_directmusic/receive_support.h"
#include "tests/support/assert_recorder.h"

namespace {

using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;
using Port = std::unique_ptr<Mlox_InputPort>;

// What the receive thread delivers from one reading of a port, at most.
constexpr std::size_t kBatch = 39;

class Mlox_DirectMusic_ServiceReceiversTest : public Test_PortsFixture {
 protected:
  // A port of the application on the input of this index.
  static Port Connect(Mlox_RawMidiReceiver& ioReceiver, int iInput) {
    Port port(Manager().CreateInputPort(&ioReceiver));
    port->ConnectToInputs({Service().GetInput(iInput)});
    return port;
  }
  static void Sleep(int iMilliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(iMilliseconds));
  }

  Test_WaitableReceiver mReceiver;
  Test_WaitableReceiver mOther;
};

// ---- a slow one ----

TEST_F(Mlox_DirectMusic_ServiceReceiversTest, ASlowReceiverKeepsOtherPortsForOneBatchAtMostAndLosesNothing) {
  constexpr std::size_t kNotes = 20;
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Test_FakePort& pads = PlugInput(2, "Pads", 0);
  Live();
  // Its port never runs dry: each piece brings another one, until the other port's notes are through.
  std::vector<Bytes> pieces;
  std::atomic<std::size_t> fed{0};
  const auto feedNext = [&] {
    const std::size_t number = pieces.size();
    pieces.push_back(
        {0xE0, static_cast<std::uint8_t>(number % 128), static_cast<std::uint8_t>(number / 128 % 128)});
    ++fed;
    keys.Feed(pieces.back());
  };
  std::atomic<bool> isOver{false};
  std::atomic<std::size_t> slowCalls{0};
  mReceiver.mOnReceive = [&](Mlox_MidiData&) {
    if (!isOver) feedNext();
    Sleep(1);
    ++slowCalls;
    return 0;
  };
  std::atomic<std::size_t> slowCallsAtNote{0};
  std::atomic<std::size_t> noteCalls{0};
  mOther.mOnReceive = [&](Mlox_MidiData&) {
    slowCallsAtNote = slowCalls.load();
    ++noteCalls;
    return 0;
  };
  for (std::size_t i = 0; i < 3 * kBatch; ++i) feedNext();
  const Port quick = Connect(mOther, 1);
  const Port slow = Connect(mReceiver, 0);
  ASSERT_TRUE(mReceiver.WaitFor(1));
  std::vector<Bytes> notes;
  for (std::size_t i = 0; i < kNotes; ++i) {
    notes.push_back({0x90, static_cast<std::uint8_t>(i), 100});
    pads.Feed(notes.back());
    // Read behind the feeding: what comes before the note from here on is what it waits for.
    const std::size_t before = slowCalls;
    ASSERT_TRUE(Test_WaitUntil([&] { return noteCalls == notes.size(); }));
    EXPECT_LE(slowCallsAtNote, before + kBatch) << i;
    // Into another place of the batch.
    Sleep(static_cast<int>(i));
  }
  isOver = true;
  ASSERT_TRUE(Test_WaitUntil([&] { return slowCalls == fed; }));
  slow->CloseCurrentConnections();
  quick->CloseCurrentConnections();
  EXPECT_EQ(mReceiver.Bytes(), pieces);
  EXPECT_EQ(mOther.Bytes(), notes);
}

// ---- one that wants a record again ----

TEST_F(Mlox_DirectMusic_ServiceReceiversTest, AReceiverGetsARecordAgainAThousandTimesAndTheOthersWaitForIt) {
  constexpr int kAgain = 1'000;
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Test_FakePort& pads = PlugInput(2, "Pads", 0);
  Live();
  int left = kAgain;  // on the receive thread alone
  std::atomic<std::size_t> othersMeanwhile{0};
  mReceiver.mOnReceive = [&](Mlox_MidiData&) {
    if (left == kAgain) pads.Feed({0x91, 1, 1});
    if (left == 0) return 0;
    othersMeanwhile += mOther.Count();
    --left;
    return 2;
  };
  const Port asking = Connect(mReceiver, 0);
  const Port waiting = Connect(mOther, 1);
  keys.FeedAll({{0x90, 60, 100}, {0x80, 60, 64}});
  ASSERT_TRUE(mOther.WaitFor(1));
  const std::vector<Test_Received> received = mReceiver.Received();
  ASSERT_EQ(received.size(), std::size_t{kAgain + 2});
  for (std::size_t i = 0; i <= kAgain; ++i) {
    ASSERT_EQ(received[i].mBytes, (Bytes{0x90, 60, 100})) << i;
    ASSERT_EQ(received[i].mRecordP, received[0].mRecordP) << i;
    ASSERT_EQ(received[i].mTime, received[0].mTime) << i;
  }
  EXPECT_EQ(received.back().mBytes, (Bytes{0x80, 60, 64}));
  EXPECT_EQ(othersMeanwhile, 0u);
  EXPECT_EQ(mOther.Bytes(), (std::vector<Bytes>{{0x91, 1, 1}}));
  asking->CloseCurrentConnections();
  waiting->CloseCurrentConnections();
}

TEST_F(Mlox_DirectMusic_ServiceReceiversTest, AReceiverThatNeverTakesARecordDoesNotKeepItsPortOpen) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Live();
  mReceiver.mOnReceive = [](Mlox_MidiData&) { return 2; };
  // Alone, so that the thread ends, and beside one that goes on listening.
  for (const bool isAlone : {true, false}) {
    const std::size_t before = mReceiver.Count();
    const Port other = isAlone ? nullptr : Connect(mOther, 0);
    const Port port = Connect(mReceiver, 0);
    keys.Feed({0xF8});
    ASSERT_TRUE(mReceiver.WaitFor(before + 1'000));
    port->CloseCurrentConnections();
    const std::size_t after = mReceiver.Count();
    if (isAlone) continue;
    const std::size_t heard = mOther.Count();
    keys.Feed({0xFA});
    ASSERT_TRUE(mOther.WaitFor(heard + 1));
    EXPECT_EQ(mReceiver.Count(), after);
    other->CloseCurrentConnections();
  }
}

// ---- one that calls back ----

TEST_F(Mlox_DirectMusic_ServiceReceiversTest, AReceiverMayWriteAndAskForNamesAndIDsOnTheReceiveThread) {
  constexpr std::size_t kPieces = 200;
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Test_FakePort& synth = PlugOutput(2, "Synth", 0);
  Live();
  const Mlox_InputRef input = Service().GetInput(0);
  const Mlox_InputID id = input->GetInputID();
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(Device(0)->GetOutputForChannel(3));
  std::atomic<int> wrong{0};
  mReceiver.mOnReceive = [&](Mlox_MidiData& ioData) {
    const bool isRight = input->GetName() == "Keys" && input->GetInputID() == id && ioData.mInputID == id &&
                         input->GetDeviceDescriptor()->GetName() == "Keys" &&
                         Device(0)->GetName() == "Synth" && Service().GetInput(0)->GetInputID() == id;
    if (!isRight) ++wrong;
    const auto key = static_cast<signed char>(ioData.mData[1]);
    const auto velocity = static_cast<signed char>(ioData.mData[2]);
    output->WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(key, velocity),
                       Manager().GetDefaultOutputContext());
    return 0;
  };
  const Port port = Connect(mReceiver, 0);
  std::vector<Bytes> pieces;
  std::vector<Bytes> expected;
  for (std::size_t i = 0; i < kPieces; ++i) {
    const auto key = static_cast<std::uint8_t>(i % 128);
    pieces.push_back({0x90, key, 100});
    expected.push_back({0x93, key, 100});
  }
  keys.FeedAll(pieces);
  // The main thread asks meanwhile, under the lock that the answers need.
  while (mReceiver.Count() < kPieces) ASSERT_EQ(input->GetName(), "Keys");
  port->CloseCurrentConnections();
  std::vector<Bytes> played;
  for (const Test_FakePlayed& one : synth.Played()) {
    for (const Test_FakeEvent& event : one.mEvents)
      played.push_back({event.mBytes.begin(), event.mBytes.begin() + 3});
  }
  EXPECT_EQ(played, expected);
  EXPECT_EQ(wrong, 0);
}

TEST_F(Mlox_DirectMusic_ServiceReceiversTest, ConnectingAndClosingOnTheReceiveThreadIsReportedAndRefused) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Test_FakePort& pads = PlugInput(2, "Pads", 0);
  Live();
  const Mlox_InputList others = {Service().GetInput(1)};
  const Test_AssertRecorder recorder;
  Mlox_InputPort* portP = nullptr;
  std::atomic<int> rounds{0};
  mReceiver.mOnReceive = [&](Mlox_MidiData&) {
    portP->ConnectToInputs(others);
    portP->CloseCurrentConnections();
    ++rounds;
    return 0;
  };
  const Port port(Manager().CreateInputPort(&mReceiver));
  portP = port.get();
  port->ConnectToInputs({Service().GetInput(0)});
  keys.Feed({0x90, 60, 100});
  ASSERT_TRUE(Test_WaitUntil([&] { return rounds == 1; }));
  keys.Feed({0x80, 60, 64});
  ASSERT_TRUE(Test_WaitUntil([&] { return rounds == 2; }));
  EXPECT_EQ(recorder.Count("!isReceiveThread"), 4);
  EXPECT_EQ(recorder.Count(), 4);
  EXPECT_THAT(mReceiver.Bytes(), ElementsAre(Bytes{0x90, 60, 100}, Bytes{0x80, 60, 64}));
  EXPECT_TRUE(keys.IsArmed()) << "the connection stays as it was";
  EXPECT_FALSE(pads.IsArmed());
  // And goes when the application says so.
  port->CloseCurrentConnections();
  EXPECT_FALSE(keys.IsArmed());
  EXPECT_EQ(recorder.Count(), 4);
}

// ---- one whose port is closed ----

// Says when it is called after the closing.
class ClosedReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData*) override {
    ++mInside;
    if (mIsClosed) ++mLateCalls;
    ++mCalls;
    // Long enough for the closing to fall into it.
    std::this_thread::sleep_for(std::chrono::microseconds(300));
    if (mIsClosed) ++mLateCalls;
    --mInside;
    return 0;
  }
  std::atomic<int> mCalls{0};
  std::atomic<int> mInside{0};
  std::atomic<bool> mIsClosed{false};
  std::atomic<int> mLateCalls{0};
};

TEST_F(Mlox_DirectMusic_ServiceReceiversTest, AReceiverIsNeverCalledOnceItsPortIsClosed) {
  constexpr int kRounds = 60;
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Live();
  std::atomic<bool> isOver{false};
  std::thread player([&] {
    while (!isOver) {
      if (keys.Waiting() < 100) keys.Feed({0xF8});
      std::this_thread::yield();
    }
  });
  int caughtInside = 0;
  // Alone, so that the thread ends with it, and beside one that goes on listening.
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE(round);
    const Port other = round % 2 == 0 ? nullptr : Connect(mOther, 0);
    ClosedReceiver receiver;
    {
      const Port port = Connect(receiver, 0);
      EXPECT_TRUE(Test_WaitUntil([&] { return receiver.mCalls >= 1 + round % 3; }));
      if (receiver.mInside > 0) ++caughtInside;
      port->CloseCurrentConnections();
      receiver.mIsClosed = true;
      EXPECT_EQ(receiver.mInside, 0);
    }
    const int calls = receiver.mCalls;
    if (other != nullptr) {
      EXPECT_TRUE(mOther.WaitFor(mOther.Count() + 50)) << "bytes go on coming";
      other->CloseCurrentConnections();
    }
    EXPECT_EQ(receiver.mCalls, calls);
    EXPECT_EQ(receiver.mLateCalls, 0);
  }
  isOver = true;
  player.join();
  EXPECT_GT(caughtInside, 0) << "no port was closed while its receiver ran";
}

// Two user-defined inputs on one port, so that the thread goes on when one of them is closed.
class Mlox_DirectMusic_SharedPortTest : public Mlox_DirectMusic_ServiceReceiversTest {
 protected:
  static constexpr std::uint8_t kHeld = 0x90;

  Mlox_DirectMusic_SharedPortTest() {
    for (const char* const id : {"Low", "High"}) {
      mStudio->AddUserDefined(Input(id, id));
      mStudio->Wire(id, Test_FakeDirectMusic::GuidTextOf(1));
    }
    Live();
    EXPECT_THAT(Inputs(), ElementsAre("Low", "High"));
  }

  // A receiver's call by a note lasts until one of the two ports is being closed, and 200 ms longer if the
  // closing waits for it.
  int HoldNote(const Mlox_MidiData& iData) {
    if (iData.mData[0] != kHeld) return 0;
    EXPECT_TRUE(Test_WaitUntil([] { return GetDirectMusicReceivers()->size() == 1; }));
    for (int i = 0; i < 200 && !mIsClosed; ++i) Sleep(1);
    mWasClosedInside = mIsClosed.load();
    return 0;
  }
  // By the first byte the thread learns of the second input.
  void FeedUntilHeld(const Test_WaitableReceiver& iHeld) {
    mKeys.Feed({0xF8});
    ASSERT_TRUE(iHeld.WaitFor(1));
    mKeys.FeedAll({{kHeld, 60, 100}, {0x80, 60, 64}});
    ASSERT_TRUE(iHeld.WaitFor(2));
  }
  void Close(Mlox_InputPort& ioPort) {
    const DirectMusicReceiveTask* const taskP = sReceiveTask.load();
    ioPort.CloseCurrentConnections();
    mIsClosed = true;
    EXPECT_EQ(sReceiveTask.load(), taskP) << "the port of the machine stays open";
  }

  Test_FakePort& mKeys = PlugInput(1, "Keys", 0);
  std::atomic<bool> mIsClosed{false};
  std::atomic<bool> mWasClosedInside{false};
};

TEST_F(Mlox_DirectMusic_SharedPortTest, ClosingOneInputWaitsForItsReceiverWhichIsNotCalledAfterwards) {
  mReceiver.mOnReceive = [&](Mlox_MidiData& ioData) { return HoldNote(ioData); };
  const Port low = Connect(mReceiver, 0);
  const Port high = Connect(mOther, 1);
  ASSERT_NO_FATAL_FAILURE(FeedUntilHeld(mReceiver));
  Close(*low);
  mKeys.Feed({0xFA});
  ASSERT_TRUE(mOther.WaitFor(3)) << "the other input is heard as before";
  EXPECT_FALSE(mWasClosedInside);
  EXPECT_THAT(mReceiver.Bytes(), ElementsAre(Bytes{0xF8}, Bytes{kHeld, 60, 100}));
  EXPECT_THAT(mOther.Bytes(), ElementsAre(Bytes{kHeld, 60, 100}, Bytes{0x80, 60, 64}, Bytes{0xFA}));
  high->CloseCurrentConnections();
}

// Who is to get the record is settled before the first gets it: the closing waits for both.
TEST_F(Mlox_DirectMusic_SharedPortTest, ClosingWaitsForACallThatIsStillToComeInTheDeliveryInProgress) {
  std::atomic<int> lateCalls{0};
  mOther.mOnReceive = [&](Mlox_MidiData& ioData) { return HoldNote(ioData); };
  mReceiver.mOnReceive = [&](Mlox_MidiData&) {
    if (mIsClosed) ++lateCalls;
    return 0;
  };
  const Port first = Connect(mOther, 0);
  const Port both(Manager().CreateInputPort(&mReceiver));
  both->ConnectToInputs({Service().GetInput(0), Service().GetInput(1)});
  ASSERT_NO_FATAL_FAILURE(FeedUntilHeld(mOther));
  Close(*both);
  mKeys.Feed({0xFA});
  ASSERT_TRUE(mOther.WaitFor(4));
  EXPECT_FALSE(mWasClosedInside);
  EXPECT_EQ(lateCalls, 0);
  EXPECT_THAT(mReceiver.Bytes(), ElementsAre(Bytes{0xF8}, Bytes{kHeld, 60, 100}));
  first->CloseCurrentConnections();
}

}  // namespace
