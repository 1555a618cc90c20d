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

TEST_F(Mlox_BasicOutputTest, SettingOneOffsetLeavesTheOtherAlone) {
  mOutput->SetUserBeatClockOffset(Time_SampleLength(7));
  mOutput->SetMDCBeatClockOffset(Time_SampleLength(100));
  EXPECT_EQ(mOutput->GetUserBeatClockOffset().AsInt64(), 7);
  mOutput->SetUserBeatClockOffset(Time_SampleLength(8));
  EXPECT_EQ(mOutput->GetTotalBeatClockOffset().AsInt64(), 108);
}

TEST_F(Mlox_BasicOutputTest, OffsetsHave64Bits) {
  mOutput->SetUserBeatClockOffset(Time_SampleLength(-5000000000));
  EXPECT_EQ(mOutput->GetUserBeatClockOffset().AsInt64(), -5000000000);
  mOutput->SetMDCBeatClockOffset(Time_SampleLength(12000000000));
  EXPECT_EQ(mOutput->GetTotalBeatClockOffset().AsInt64(), 7000000000);
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
  for (const int samples : {-441, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    mOutput->SetDelayOffset(samples);
    EXPECT_EQ(mOutput->GetDelayOffset(), samples);
  }
}

TEST_F(Mlox_BasicOutputTest, IsNotTimestampedAndWantsNoPreSendAtAnySampleRate) {
  EXPECT_FALSE(mOutput->IsTimestamped());
  for (const double rate : {0.0, 8000.0, 44100.0, 48000.0, 192000.0}) {
    EXPECT_EQ(mOutput->GetTimestampedPreSendSamples(rate), 0) << rate;
    EXPECT_EQ(mOutput->GetZeroJitterDelay(rate).AsInt64(), 0) << rate;
  }
}

TEST_F(Mlox_BasicOutputTest, KeepsTheAppCallbackOfItsConstructor) {
  class OpenOutput : public Test_FakeOutput {
   public:
    using Mlox_BasicOutput::GetAppCallback;
    using Test_FakeOutput::Test_FakeOutput;
  };
  Test_FakeAppCallback appCallback;
  const Cmn_AliasedRefCountPtr<OpenOutput> output(
      new OpenOutput(nullptr, Test_MakeDescriptor("Piano", 1), 0, &appCallback));
  EXPECT_EQ(output->GetAppCallback(), &appCallback);
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
