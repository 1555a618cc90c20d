// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_directdelivery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"
#include "tests/mlox/mlox_directmidi/direct_client.h"
#include "tests/mlox/mlox_directmidi/uncopyable_sysex.h"
#include "tests/support/assert_recorder.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kStillHeld[] = "Message.GetInterfaceRefCount() == 0";

TEST(Mlox_DM_DirectDeliveryTest, AnEventOfThreeMessagesCallsTheClientThreeTimesInOrder) {
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  delivery.WriteEvent(Test_At(77), Test_BankAndProgram(1, 2, 3), 4, Mlox_OutputContextRef());
  EXPECT_THAT(client.mPulled, ElementsAre(Test_Pulled{77, {0xB4, 0, 1}}, Test_Pulled{77, {0xB4, 0x20, 2}},
                                          Test_Pulled{77, {0xC4, 3}}));
}

TEST(Mlox_DM_DirectDeliveryTest, AnEventWithNoMessagesDoesNotCallTheClient) {
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  delivery.WriteEvent(Test_At(77), Mdie_Event(), 4, Mlox_OutputContextRef());
  EXPECT_THAT(client.mPulled, IsEmpty());
}

TEST(Mlox_DM_DirectDeliveryTest, WithoutAClientAWriteDoesNothing) {
  Mlox_DM_DirectDelivery delivery(nullptr);
  Test_AssertRecorder recorder;
  delivery.WriteEvent(Test_At(77), Mdie_NoteOnEvent(60, 100), 4, Mlox_OutputContextRef());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mlox_DM_DirectDeliveryTest, TheMessageComesAtOnceOnTheWritersThreadWithTheStampAsWritten) {
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  std::thread::id called;
  client.mOnCall = [&](IDirectMIDIMessage*) { called = std::this_thread::get_id(); };
  std::thread writer([&] {
    delivery.WriteEvent(Test_At(1000000), Mdie_NoteOnEvent(60, 100), -1, Mlox_OutputContextRef());
    EXPECT_EQ(called, std::this_thread::get_id());
  });
  writer.join();
  EXPECT_THAT(client.mPulled, ElementsAre(Test_Pulled{1000000, {0x90, 60, 100}}));
}

TEST(Mlox_DM_DirectDeliveryTest, TheSampleTimeOfAnImmediateStampIsMinus1) {
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  delivery.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), 2, Mlox_OutputContextRef());
  EXPECT_THAT(client.mPulled, ElementsAre(Test_Pulled{-1, {0x92, 60, 100}}));
}

TEST(Mlox_DM_DirectDeliveryTest, TheLowEightBitsOfTheChannelAreImposed) {
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  delivery.WriteEvent(Test_At(1), Mdie_NoteOnEvent(60, 100), 0x0103, Mlox_OutputContextRef());
  EXPECT_THAT(client.mPulled, ElementsAre(Test_Pulled{1, {0x93, 60, 100}}));
}

TEST(Mlox_DM_DirectDeliveryTest, TheContextIsIgnored) {
  Test_AssertRecorder recorder;
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  delivery.WriteEvent(Test_At(1), Mdie_NoteOnEvent(60, 100), 0,
                      Mlox_Manager::Singleton()->GetDefaultOutputContext());
  EXPECT_THAT(client.mPulled, ElementsAre(Test_Pulled{1, {0x90, 60, 100}}));
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mlox_DM_DirectDeliveryTest, AClientThatForgetsReleaseCausesAReportForEachMessage) {
  Test_AssertRecorder recorder;
  Test_DirectClient client;
  client.mReleases = 0;
  Mlox_DM_DirectDelivery delivery(&client);
  delivery.WriteEvent(Test_At(5), Test_BankAndProgram(1, 2, 3), 0, Mlox_OutputContextRef());
  EXPECT_THAT(recorder.Texts(), ElementsAre(kStillHeld, kStillHeld, kStillHeld));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_directdelivery");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  EXPECT_EQ(client.mPulled.size(), 3u) << "the loop goes on with the same message";
}

TEST(Mlox_DM_DirectDeliveryTest, ALongSysexIsCopiedForTheCallAndItsBlockGivenBack) {
  const auto inUse = [] { return Mem2_MasterAllocator::Shared().GetCounters().mBlocksInUse; };
  const auto before = inUse();
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  uint64_t duringCall = 0;
  client.mOnCall = [&](IDirectMIDIMessage*) { duringCall = inUse(); };
  {
    Mdie_SysexEvent sysex = Test_Sysex(400);
    delivery.WriteEvent(Test_At(5), sysex, 3, Mlox_OutputContextRef());
    EXPECT_EQ(duringCall, before + 2) << "the writer's and the copy";
    EXPECT_EQ(inUse(), before + 1);
  }
  EXPECT_THAT(client.mPulled, ElementsAre(Test_Pulled{5, Test_SysexBytes(400)}));
}

TEST(Mlox_DM_DirectDeliveryTest, ALongSysexWhoseCopyFindsNoBlockReportsAndCallsNobody) {
  Test_AssertRecorder recorder;
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  Test_UncopyableSysex sysex;
  delivery.WriteEvent(Test_At(5), sysex, 0, Mlox_OutputContextRef());
  EXPECT_THAT(recorder.Texts(), ElementsAre("blockP != nullptr"));
  EXPECT_THAT(client.mPulled, IsEmpty());
}

TEST(Mlox_DM_DirectDeliveryTest, TheClientReadsWhatWasWrittenWhateverTheWriterDoesToItsEvent) {
  Test_DirectClient client;
  Mlox_DM_DirectDelivery delivery(&client);
  Mdie_NoteOnEvent note(60, 100);
  client.mOnCall = [&](IDirectMIDIMessage*) { note.SetPitch(61); };
  delivery.WriteEvent(Test_At(5), note, 0, Mlox_OutputContextRef());
  EXPECT_THAT(client.mPulled, ElementsAre(Test_Pulled{5, {0x90, 60, 100}}));
}

TEST(Mlox_DM_DirectDeliveryTest, TheClientIsReadOnceSoThatTheDeliveryMayGoInsideItsCall) {
  Test_DirectClient client;
  auto deliveryP = std::make_unique<Mlox_DM_DirectDelivery>(&client);
  client.mOnCall = [&](IDirectMIDIMessage*) { deliveryP.reset(); };
  deliveryP->WriteEvent(Test_At(5), Test_BankAndProgram(1, 2, 3), 0, Mlox_OutputContextRef());
  EXPECT_EQ(client.mPulled.size(), 3u) << "the event is finished with the client that it began with";
}

TEST(Mlox_DM_DirectDeliveryTest, TheClientIsCalledFromSeveralThreadsAtOnce) {
  // Each call waits for the other thread's: were the calls made one by one, this would not end.
  Test_DirectClient client;
  std::atomic<int> inside{0};
  client.mKeepsWhatItReads = false;
  client.mOnCall = [&](IDirectMIDIMessage*) {
    ++inside;
    while (inside < 2) std::this_thread::yield();
  };
  Mlox_DM_DirectDelivery delivery(&client);
  const auto write = [&] {
    delivery.WriteEvent(Test_At(5), Mdie_NoteOnEvent(60, 100), 0, Mlox_OutputContextRef());
  };
  std::thread other(write);
  write();
  other.join();
  EXPECT_EQ(inside, 2);
}

}  // namespace
