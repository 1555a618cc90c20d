// SPDX-License-Identifier: MIT
#include "mlox/mlox_basicoutput.h"

#include <gtest/gtest.h>

#include <limits>

#include "cmn/sys_delayeddeletion.h"
#include "tests/support/fake_service.h"

namespace {

class Mlox_BasicOutputTest : public ::testing::Test {
 protected:
  Cmn_AliasedRefCountPtr<Test_FakeOutput> mOutput =
      new Test_FakeOutput(nullptr, Test_MakeDescriptor("Piano", 1), 0);
};

TEST_F(Mlox_BasicOutputTest, TotalOffsetIsTheSumOfBothAndUserOffsetOnlyTheUsers) {
  mOutput->SetMDCBeatClockOffset(Time_SampleLength(100));
  mOutput->SetUserBeatClockOffset(Time_SampleLength(-30));
  EXPECT_EQ(mOutput->GetTotalBeatClockOffset().AsInt64(), 70);
  EXPECT_EQ(mOutput->GetUserBeatClockOffset().AsInt64(), -30);
}

TEST_F(Mlox_BasicOutputTest, OffsetsStartAt0) {
  EXPECT_EQ(mOutput->GetTotalBeatClockOffset().AsInt64(), 0);
  EXPECT_EQ(mOutput->GetUserBeatClockOffset().AsInt64(), 0);
  EXPECT_EQ(mOutput->GetDelayOffset(), 0);
}

TEST_F(Mlox_BasicOutputTest, SumOfTwoExtremesWraps) {
  mOutput->SetMDCBeatClockOffset(Time_SampleLength(std::numeric_limits<std::int64_t>::max()));
  mOutput->SetUserBeatClockOffset(Time_SampleLength(1));
  EXPECT_EQ(mOutput->GetTotalBeatClockOffset().AsInt64(), std::numeric_limits<std::int64_t>::min());
}

TEST_F(Mlox_BasicOutputTest, DelayOffsetIsStoredAndGivenBack) {
  mOutput->SetDelayOffset(-441);
  EXPECT_EQ(mOutput->GetDelayOffset(), -441);
}

TEST_F(Mlox_BasicOutputTest, IsNotTimestampedAndWantsNoPreSendAtAnySampleRate) {
  EXPECT_FALSE(mOutput->IsTimestamped());
  for (const double rate : {0.0, 8000.0, 44100.0, 48000.0, 192000.0}) {
    EXPECT_EQ(mOutput->GetTimestampedPreSendSamples(rate), 0) << rate;
    EXPECT_EQ(mOutput->GetZeroJitterDelay(rate).AsInt64(), 0) << rate;
  }
}

TEST_F(Mlox_BasicOutputTest, HasNoControllerScreen) { EXPECT_EQ(mOutput->GetControllerScreen(), nullptr); }

TEST_F(Mlox_BasicOutputTest, LastReleaseHandsTheOutputToDelayedDeletion) {
  const auto pendingBefore = Sys_DelayedDeletion::PendingCount();
  Test_FakeOutput* outputP = mOutput.get();
  mOutput = nullptr;
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), pendingBefore + 1);
  // Still there for whoever is inside a call.
  EXPECT_EQ(outputP->GetDelayOffset(), 0);
}

}  // namespace
