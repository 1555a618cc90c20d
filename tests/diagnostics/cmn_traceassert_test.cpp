// SPDX-License-Identifier: MIT
#include "diagnostics/cmn_traceassert.h"

#include <gtest/gtest.h>

#include "cmn/cmn_realtimescope.h"
#include "tests/support/assert_recorder.h"

namespace {

constexpr char kAssertSource[] = "mlox/some_file";

TEST(Cmn_TraceAssert, ConditionThatHoldsYieldsTrueAndReportsNothing) {
  const Test_AssertRecorder recorder;
  int evaluations = 0;
  EXPECT_TRUE(CMN_TRACEASSERT(kAssertSource, ++evaluations == 1, "evaluations == 1"));
  EXPECT_EQ(evaluations, 1);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST(Cmn_TraceAssert, FailedConditionYieldsFalseAndReachesTheThrowingFormWithTrue) {
  const Test_AssertRecorder recorder;
  int evaluations = 0;
  const int line = __LINE__ + 1;
  const bool held = CMN_TRACEASSERT(kAssertSource, ++evaluations == 7, "it != end(mQueueHeads)");
  EXPECT_FALSE(held);
  EXPECT_EQ(evaluations, 1);
  ASSERT_EQ(recorder.Count(), 1);
  const Test_AssertRecorder::Report report = recorder.Reports().front();
  EXPECT_EQ(report.mText, "it != end(mQueueHeads)");
  EXPECT_EQ(report.mSource, "mlox/some_file");
  EXPECT_EQ(report.mLine, line);
  EXPECT_TRUE(report.mFlag);
  EXPECT_TRUE(report.mThrowing);
}

TEST(Cmn_TraceAssert, ReportsFromARealTimeThreadAsWell) {
  const Test_AssertRecorder recorder;
  {
    const Cmn_RealTimeScope realTime;
    EXPECT_FALSE(CMN_TRACEASSERT(kAssertSource, false, "real-time"));
  }
  EXPECT_EQ(recorder.Count("real-time"), 1);
}

TEST(Cmn_TraceAssert, CategoryOfItsLinesIsFixed) { EXPECT_EQ(kCmn_TraceAssertCategory, 0x4000E0FU); }

}  // namespace
