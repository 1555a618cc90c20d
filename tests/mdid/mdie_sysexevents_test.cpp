// SPDX-License-Identifier: MIT
// Short and long sysex, packets, and the life of a long sysex's block.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "tests/support/assert_recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A whole sysex of a length of at least 2; iFill tells one from another.
std::vector<unsigned char> Sysex(int iLength, unsigned char iFill = 0x11) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(iLength), iFill);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

Mdie_SysexEvent Event(const std::vector<unsigned char>& iBytes) {
  return Mdie_SysexEvent(static_cast<int>(iBytes.size()), iBytes.data());
}

std::vector<unsigned char> Held(const Mdie_Event& iEvent) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(iEvent.GetMessageLength(0)));
  iEvent.GetMessageData(reinterpret_cast<signed char*>(bytes.data()), 0);
  return bytes;
}

std::uint64_t BlocksInUse() { return Mem2_MasterAllocator::Shared().GetCounters().mBlocksInUse; }

// Each test ends with as many blocks out as it began with, and none freed twice.
class Mdie_LongSysex : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(mBlocksAtStart, BlocksInUse());
    EXPECT_EQ(mBadFreesAtStart, Mem2_MasterAllocator::Shared().GetCounters().mBadFrees);
  }

  const std::uint64_t mBlocksAtStart = BlocksInUse();
  const std::uint64_t mBadFreesAtStart = Mem2_MasterAllocator::Shared().GetCounters().mBadFrees;
};

using Mdie_SysexEventTest = Mdie_LongSysex;
using Mdie_SysexPacketEventTest = Mdie_LongSysex;

// A long sysex whose length says more than a block can have: a copy of it finds no block.
struct Test_UncopyableSysex : Mdie_SysexEvent {
  using Mdie_SysexEvent::Mdie_SysexEvent;
  void ClaimLength(int iLength) { mU.mLongSysex.mLength = iLength; }
};

// ---- SetData ----

TEST_F(Mdie_SysexEventTest, UpTo78BytesLieInTheRecordAndMoreInABlock) {
  for (const int length : {2, 77, 78}) {
    const Mdie_SysexEvent event = Event(Sysex(length));
    EXPECT_EQ(Mdie_Event::kShortSysex, event.GetType()) << length;
    EXPECT_EQ(length, event.GetLength());
    EXPECT_EQ(mBlocksAtStart, BlocksInUse()) << length;
    EXPECT_EQ(Sysex(length), Held(event)) << length;
    EXPECT_GE(event.GetData(), reinterpret_cast<const unsigned char*>(&event));
    EXPECT_LE(event.GetData() + length, reinterpret_cast<const unsigned char*>(&event + 1));
  }
  for (const int length : {79, 80, 1000, 100000}) {
    const Mdie_SysexEvent event = Event(Sysex(length));
    EXPECT_EQ(Mdie_Event::kLongSysex, event.GetType()) << length;
    EXPECT_EQ(length, event.GetLength());
    EXPECT_EQ(mBlocksAtStart + 1, BlocksInUse()) << length;
    EXPECT_EQ(Sysex(length), Held(event)) << length;
  }
}

TEST_F(Mdie_SysexEventTest, StoresACopy) {
  std::vector<unsigned char> bytes = Sysex(200);
  const Mdie_SysexEvent event = Event(bytes);
  bytes.assign(200, 0);
  EXPECT_EQ(Sysex(200), Held(event));
}

TEST_F(Mdie_SysexEventTest, SetDataFreesTheBlockHeldBefore) {
  Mdie_SysexEvent event = Event(Sysex(200));
  event.SetData(300, Sysex(300, 0x22).data());
  EXPECT_EQ(mBlocksAtStart + 1, BlocksInUse());
  EXPECT_EQ(Sysex(300, 0x22), Held(event));
  event.SetData(4, Sysex(4).data());
  EXPECT_EQ(mBlocksAtStart, BlocksInUse());
  EXPECT_EQ(Mdie_Event::kShortSysex, event.GetType());
  EXPECT_EQ(Sysex(4), Held(event));
}

TEST_F(Mdie_SysexEventTest, SetDataTakesBytesThatLieInTheEventItself) {
  Mdie_SysexEvent event = Event(Sysex(300));
  event.SetData(299, event.GetData() + 1);
  EXPECT_EQ(299, event.GetLength());
  EXPECT_EQ(0x11, Held(event).front());
  event.SetData(10, event.GetData() + 289);
  EXPECT_EQ((std::vector<unsigned char>{0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0xF7}),
            Held(event));
  event.SetData(2, event.GetData() + 8);
  EXPECT_EQ((std::vector<unsigned char>{0x11, 0xF7}), Held(event));
}

TEST_F(Mdie_SysexEventTest, LengthsBelow1AndNullLeaveAnEmptyShortSysexWithoutMessages) {
  const std::vector<unsigned char> bytes = Sysex(200);
  const std::pair<int, const unsigned char*> kCases[] = {{0, bytes.data()},       {-1, bytes.data()},
                                                         {INT_MIN, bytes.data()}, {0, nullptr},
                                                         {200, nullptr},          {4, nullptr}};
  for (const auto& [length, dataP] : kCases) {
    SCOPED_TRACE(length);
    Test_AssertRecorder recorder;
    Mdie_SysexEvent event(length, dataP);
    EXPECT_EQ(Mdie_Event::kShortSysex, event.GetType());
    EXPECT_EQ(0, event.GetLength());
    EXPECT_EQ(nullptr, event.GetData());
    EXPECT_EQ(0, event.GetNumMessages());
    EXPECT_EQ(0, event.GetMessageLength(0));
    EXPECT_THAT(recorder.Texts(), IsEmpty());
    event.SetData(200, bytes.data());
    event.SetData(length, dataP);
    EXPECT_EQ(Mdie_Event::kShortSysex, event.GetType());
    EXPECT_EQ(mBlocksAtStart, BlocksInUse());
  }
}

TEST_F(Mdie_SysexEventTest, ConstructorReportsATagThatIsNeither14Nor15) {
  const unsigned char byte = 0xF0;
  Test_AssertRecorder recorder;
  const Mdie_SysexEvent event(Mem2_MasterAllocator::kMaxBlockSize + 1, &byte);
  EXPECT_THAT(recorder.Texts(), ElementsAre("blockP != nullptr",
                                            "mU.mBase.mType == kShortSysex || mU.mBase.mType == kLongSysex"));
  EXPECT_EQ("mdid/mdie_event", recorder.Reports().at(1).mSource);
  EXPECT_EQ(Mdie_Event::kNoEvent, event.GetType());
  EXPECT_EQ(0, event.GetNumMessages());
}

TEST_F(Mdie_SysexEventTest, SetDataWithoutABlockToBeHadFreesTheOldOneAndHoldsNothing) {
  Mdie_SysexEvent event = Event(Sysex(200));
  const unsigned char byte = 0xF0;
  Test_AssertRecorder recorder;
  event.SetData(Mem2_MasterAllocator::kMaxBlockSize + 1, &byte);
  EXPECT_THAT(recorder.Texts(), ElementsAre("blockP != nullptr"));
  EXPECT_EQ(Mdie_Event::kNoEvent, event.GetType());
  EXPECT_EQ(0, event.GetLength());
  EXPECT_EQ(mBlocksAtStart, BlocksInUse());
}

// ---- IsCompleteLongSysex ----

TEST_F(Mdie_SysexEventTest, IsCompleteLongSysexIsTrueForOneWholeMessageFromF0ToF7) {
  EXPECT_TRUE(Event(Sysex(79)).IsCompleteLongSysex());
  EXPECT_TRUE(Event(Sysex(5000)).IsCompleteLongSysex());
}

TEST_F(Mdie_SysexEventTest, IsCompleteLongSysexIsFalseForAnythingElse) {
  EXPECT_FALSE(Event(Sysex(78)).IsCompleteLongSysex()) << "a short one has tag 14";
  std::vector<unsigned char> bytes = Sysex(200);
  bytes.back() = 0x11;
  EXPECT_FALSE(Event(bytes).IsCompleteLongSysex()) << "no end";
  bytes = Sysex(200);
  bytes.front() = 0x11;
  EXPECT_FALSE(Event(bytes).IsCompleteLongSysex()) << "no start";
  bytes = Sysex(200);
  bytes[100] = 0xF7;
  bytes[101] = 0xF0;
  EXPECT_FALSE(Event(bytes).IsCompleteLongSysex()) << "two messages";
  EXPECT_FALSE(Mdie_Event().IsCompleteLongSysex());
  EXPECT_FALSE(Mdie_NoteOnEvent(60, 100).IsCompleteLongSysex());
}

// ---- the block's life ----

TEST_F(Mdie_LongSysex, ACopyHasABlockOfItsOwn) {
  const Mdie_SysexEvent source = Event(Sysex(200));
  const Mdie_SysexEvent copy(source);
  EXPECT_EQ(mBlocksAtStart + 2, BlocksInUse());
  EXPECT_NE(source.GetData(), copy.GetData());
  EXPECT_EQ(Sysex(200), Held(copy));
}

TEST_F(Mdie_LongSysex, ACopyAsPlainEventOwnsItsBlockToo) {
  const Mdie_SysexEvent source = Event(Sysex(200));
  {
    const Mdie_Event copy(source);
    EXPECT_EQ(mBlocksAtStart + 2, BlocksInUse());
    EXPECT_EQ(Sysex(200), Held(copy));
  }
  EXPECT_EQ(mBlocksAtStart + 1, BlocksInUse());
  EXPECT_EQ(Sysex(200), Held(source));
}

TEST_F(Mdie_LongSysex, MovingCopies) {
  Mdie_SysexEvent source = Event(Sysex(200));
  const Mdie_SysexEvent moved(std::move(source));
  EXPECT_EQ(Sysex(200), Held(moved));
  EXPECT_EQ(Sysex(200), Held(source));  // NOLINT: that the source keeps its bytes is the point
  Mdie_SysexEvent assigned(0, nullptr);
  assigned = std::move(source);
  EXPECT_EQ(Sysex(200), Held(source));  // NOLINT
  EXPECT_EQ(mBlocksAtStart + 3, BlocksInUse());
}

TEST_F(Mdie_LongSysex, AssigningItToItselfDoesNothing) {
  Mdie_SysexEvent event = Event(Sysex(200));
  const unsigned char* const dataP = event.GetData();
  const Mdie_SysexEvent& same = event;
  event = same;
  EXPECT_EQ(dataP, event.GetData());
  EXPECT_EQ(Sysex(200), Held(event));
  EXPECT_EQ(mBlocksAtStart + 1, BlocksInUse());
}

// With a length that no block has, any attempt to copy the bytes would end in kNoEvent.
TEST_F(Mdie_LongSysex, AssigningItToItselfDoesNotEvenCopyItsBytes) {
  Test_UncopyableSysex event(200, Sysex(200).data());
  event.ClaimLength(Mem2_MasterAllocator::kMaxBlockSize + 1);
  Test_AssertRecorder recorder;
  const Test_UncopyableSysex& same = event;
  event = same;
  EXPECT_EQ(Mdie_Event::kLongSysex, event.GetType());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
  event.ClaimLength(200);
  EXPECT_EQ(Sysex(200), Held(event));
}

TEST_F(Mdie_LongSysex, AssigningAShortSysexOverALongOneFreesTheBlock) {
  Mdie_SysexEvent event = Event(Sysex(200));
  event = Event(Sysex(4));
  EXPECT_EQ(mBlocksAtStart, BlocksInUse());
  EXPECT_EQ(Mdie_Event::kShortSysex, event.GetType());
  EXPECT_EQ(Sysex(4), Held(event));
}

TEST_F(Mdie_LongSysex, AssigningANoteOverALongOneFreesTheBlock) {
  Mdie_Event event = Event(Sysex(200));
  event = Mdie_NoteOnEvent(60, 100);
  EXPECT_EQ(mBlocksAtStart, BlocksInUse());
  EXPECT_EQ(60, event.AsNoteOn().GetPitch());
}

TEST_F(Mdie_LongSysex, AssigningALongOneOverAShortOneMakesABlock) {
  const Mdie_SysexEvent source = Event(Sysex(200));
  Mdie_SysexEvent event = Event(Sysex(4));
  event = source;
  EXPECT_EQ(mBlocksAtStart + 2, BlocksInUse());
  EXPECT_NE(source.GetData(), event.GetData());
  EXPECT_EQ(Sysex(200), Held(event));
}

TEST_F(Mdie_LongSysex, AssigningALongOneOverANoteMakesABlock) {
  Mdie_Event event = Mdie_NoteOnEvent(60, 100);
  event = Event(Sysex(200));
  EXPECT_EQ(mBlocksAtStart + 1, BlocksInUse());
  EXPECT_EQ(Sysex(200), Held(event));
}

TEST_F(Mdie_LongSysex, AssigningALongOneOverALongOneReplacesTheBlock) {
  const Mdie_SysexEvent source = Event(Sysex(5000, 0x22));
  Mdie_SysexEvent event = Event(Sysex(200));
  event = source;
  EXPECT_EQ(mBlocksAtStart + 2, BlocksInUse());
  EXPECT_EQ(Sysex(5000, 0x22), Held(event));
  EXPECT_EQ(Sysex(5000, 0x22), Held(source));
}

TEST_F(Mdie_LongSysex, ManyCopiesInAVectorLeakNothing) {
  std::vector<Mdie_Event> events;
  for (int i = 0; i < 100; ++i) {
    events.push_back(Event(Sysex(79 + i)));
    events.push_back(Mdie_NoteOnEvent(60, 100));
  }
  EXPECT_EQ(mBlocksAtStart + 100, BlocksInUse());
  events.erase(events.begin(), events.begin() + 50);
  EXPECT_EQ(mBlocksAtStart + 75, BlocksInUse());
  EXPECT_EQ(Sysex(178), Held(events[events.size() - 2]));
}

TEST_F(Mdie_LongSysex, ACopyWhoseBlockCannotBeHadIsNoEventAndIsReported) {
  const std::vector<unsigned char> bytes = Sysex(200);
  Test_UncopyableSysex source(200, bytes.data());
  source.ClaimLength(Mem2_MasterAllocator::kMaxBlockSize + 1);
  Test_AssertRecorder recorder;
  {
    const Mdie_Event copy(source);
    EXPECT_EQ(Mdie_Event::kNoEvent, copy.GetType());
    EXPECT_EQ(0, copy.GetNumMessages());
  }
  EXPECT_THAT(recorder.Texts(), ElementsAre("blockP != nullptr"));
  EXPECT_EQ("mdid/mdie_event", recorder.Reports().at(0).mSource);
  source.ClaimLength(200);
  EXPECT_EQ(bytes, Held(source)) << "the source keeps its block";
}

TEST_F(Mdie_LongSysex, AnAssignmentWhoseBlockCannotBeHadIsNoEventAndIsReported) {
  const std::vector<unsigned char> bytes = Sysex(200);
  Test_UncopyableSysex source(200, bytes.data());
  source.ClaimLength(Mem2_MasterAllocator::kMaxBlockSize + 1);
  Mdie_Event target = Event(Sysex(300));
  Test_AssertRecorder recorder;
  target = source;
  EXPECT_EQ(Mdie_Event::kNoEvent, target.GetType());
  EXPECT_EQ(mBlocksAtStart + 1, BlocksInUse()) << "the target's own block is gone";
  EXPECT_THAT(recorder.Texts(), ElementsAre("blockP != nullptr"));
  source.ClaimLength(200);
}

TEST_F(Mdie_LongSysex, DestructionFreesTheBlock) {
  { const Mdie_SysexEvent event = Event(Sysex(200)); }
  EXPECT_EQ(mBlocksAtStart, BlocksInUse());
}

// ---- packets ----

TEST_F(Mdie_SysexPacketEventTest, HoldsUpTo78BytesInTheRecord) {
  const std::vector<unsigned char> bytes = Sysex(78);
  const Mdie_SysexPacketEvent event(78, bytes.data());
  EXPECT_EQ(78, Mdie_SysexPacketEvent::kMaxLength);
  EXPECT_EQ(Mdie_Event::kSysexPacket, event.GetType());
  EXPECT_EQ(78, event.GetLength());
  EXPECT_EQ(bytes, Held(event));
  EXPECT_EQ(bytes, Held(Mdie_Event(event)));
  EXPECT_EQ(mBlocksAtStart, BlocksInUse());
}

TEST_F(Mdie_SysexPacketEventTest, ALengthThatDoesNotFitIsReportedAndLeavesNoBytes) {
  const std::vector<unsigned char> bytes = Sysex(79);
  for (const int length : {79, -1, INT_MAX, INT_MIN}) {
    Test_AssertRecorder recorder;
    const Mdie_SysexPacketEvent event(length, bytes.data());
    EXPECT_THAT(recorder.Texts(), ElementsAre("iLength >= 0 && iLength <= kMaxLength"));
    EXPECT_EQ(Mdie_Event::kSysexPacket, event.GetType());
    EXPECT_EQ(0, event.GetLength());
    EXPECT_EQ(0, event.GetNumMessages());
  }
}

TEST_F(Mdie_SysexPacketEventTest, NoBytesAreNoMessage) {
  const unsigned char byte = 0xF8;
  Test_AssertRecorder recorder;
  EXPECT_EQ(0, Mdie_SysexPacketEvent(0, &byte).GetNumMessages());
  EXPECT_EQ(0, Mdie_SysexPacketEvent(3, nullptr).GetNumMessages());
  EXPECT_EQ(nullptr, Mdie_SysexPacketEvent(3, nullptr).GetData());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST_F(Mdie_SysexPacketEventTest, ReadsTheBytesOfShortAndLongSysexToo) {
  const Mdie_Event shortOne = Event(Sysex(4));
  EXPECT_EQ(4, shortOne.AsSysexPacket().GetLength());
  EXPECT_EQ(0xF7, shortOne.AsSysexPacket().GetData()[3]);
  const Mdie_Event longOne = Event(Sysex(200));
  EXPECT_EQ(200, longOne.AsSysexPacket().GetLength());
  EXPECT_EQ(0xF7, longOne.AsSysexPacket().GetData()[199]);
}

}  // namespace
