// SPDX-License-Identifier: MIT
#include "cmn/cmn_assert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cmn/cmn_realtimescope.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/test_environment.h"

namespace {

constexpr char kAssertSource[] = "tests/source_of_this_test";

class Cmn_AssertTest : public testing::Test {
 protected:
  Cmn_AssertTest() : mModeBefore(Cmn_Assert::GetMode()) {
    Cmn_Assert::Drain();
    Cmn_Assert::SetMode(Cmn_Assert::kReport);
  }
  ~Cmn_AssertTest() override { Cmn_Assert::SetMode(mModeBefore); }

  static std::uint64_t CountOfSite(const std::string& iText) {
    for (const Cmn_AssertSite& site : Cmn_Assert::Sites()) {
      if (site.mText == iText && site.mSource == "tests/source_of_this_test") return site.mCount;
    }
    return 0;
  }

  Cmn_Assert::EMode mModeBefore;
};

TEST_F(Cmn_AssertTest, TheStringIsConditionSeparatorAndSource) {
  EXPECT_STREQ(CMN_ASSERT_STRING(kAssertSource, "a != b"), "a != b@$^$@tests/source_of_this_test");
}

TEST_F(Cmn_AssertTest, ACheckThatHoldsReportsNothingAndIsTrue) {
  Test_AssertRecorder recorder;
  int value = 1;
  EXPECT_TRUE(CMN_ASSERT_FROM(kAssertSource, value == 1, "value == 1"));
  EXPECT_TRUE(CMN_ASSERT_FROM(kAssertSource, &value, "&value"));
  EXPECT_TRUE(CMN_ASSERT_THROWING_FROM(kAssertSource, value == 1, "value == 1"));
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Cmn_AssertTest, AFailedCheckReportsConditionSourceAndLineAndIsFalse) {
  Test_AssertRecorder recorder;
  const int line = __LINE__ + 1;
  EXPECT_FALSE(CMN_ASSERT_FROM(kAssertSource, 1 > 2, "1 > 2"));
  const auto reports = recorder.Reports();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].mText, "1 > 2");
  EXPECT_EQ(reports[0].mSource, "tests/source_of_this_test");
  EXPECT_EQ(reports[0].mLine, line);
  EXPECT_TRUE(reports[0].mFlag);
  EXPECT_FALSE(reports[0].mThrowing);
  EXPECT_FALSE(reports[0].mRealTime);
}

TEST_F(Cmn_AssertTest, TheThrowingFormPassesFalseAndReturnsWhenTheModeIsReport) {
  Test_AssertRecorder recorder;
  EXPECT_FALSE(CMN_ASSERT_THROWING_FROM(kAssertSource, false, "throwing"));
  const auto reports = recorder.Reports();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_FALSE(reports[0].mFlag);
  EXPECT_TRUE(reports[0].mThrowing);
}

TEST_F(Cmn_AssertTest, TheConditionIsEvaluatedOnce) {
  Test_AssertRecorder recorder;
  int evaluations = 0;
  CMN_ASSERT_FROM(kAssertSource, ++evaluations == 7, "once");
  EXPECT_EQ(evaluations, 1);
}

TEST_F(Cmn_AssertTest, ModeThrowThrowsFromTheThrowingFormAfterReporting) {
  Cmn_Assert::SetMode(Cmn_Assert::kThrow);
  Test_AssertRecorder recorder;
  try {
    CMN_ASSERT_THROWING_FROM(kAssertSource, false, "it throws");
    FAIL() << "nothing was thrown";
  } catch (const Cmn_AssertException& exception) {
    EXPECT_THAT(exception.what(), testing::HasSubstr("it throws"));
    EXPECT_THAT(exception.what(), testing::HasSubstr("tests/source_of_this_test"));
    EXPECT_EQ(exception.mDataP, nullptr);
  }
  EXPECT_EQ(recorder.Count("it throws"), 1);
}

TEST_F(Cmn_AssertTest, ModeThrowDoesntConcernTheOtherForm) {
  Cmn_Assert::SetMode(Cmn_Assert::kThrow);
  Test_AssertRecorder recorder;
  EXPECT_NO_THROW(CMN_ASSERT_FROM(kAssertSource, false, "it doesn't throw"));
  EXPECT_EQ(recorder.Count("it doesn't throw"), 1);
}

TEST_F(Cmn_AssertTest, ModeThrowNeverThrowsOnARealTimeThread) {
  Cmn_Assert::SetMode(Cmn_Assert::kThrow);
  Test_AssertRecorder recorder;
  {
    const Cmn_RealTimeScope scope;
    EXPECT_NO_THROW(CMN_ASSERT_THROWING_FROM(kAssertSource, false, "real-time"));
  }
  EXPECT_EQ(recorder.Count("real-time"), 1);
}

TEST_F(Cmn_AssertTest, ModeThrowNeverThrowsInsideANoThrowScope) {
  Cmn_Assert::SetMode(Cmn_Assert::kThrow);
  Test_AssertRecorder recorder;
  {
    const Cmn_NoThrowScope outer;
    { const Cmn_NoThrowScope inner; }
    EXPECT_NO_THROW(CMN_ASSERT_THROWING_FROM(kAssertSource, false, "no throw"));
  }
  EXPECT_EQ(recorder.Count("no throw"), 1);
  EXPECT_THROW(CMN_ASSERT_THROWING_FROM(kAssertSource, false, "again"), Cmn_AssertException);
}

struct ChecksInDestructor {
  ~ChecksInDestructor() { CMN_ASSERT_THROWING_FROM(kAssertSource, false, "unwinding"); }
};

TEST_F(Cmn_AssertTest, ModeThrowNeverThrowsWhileAnExceptionUnwinds) {
  Cmn_Assert::SetMode(Cmn_Assert::kThrow);
  Test_AssertRecorder recorder;
  try {
    const ChecksInDestructor local;
    throw 1;
  } catch (int) {
  }
  EXPECT_EQ(recorder.Count("unwinding"), 1);
}

TEST_F(Cmn_AssertTest, ModeAbortPrintsAndAborts) {
  EXPECT_DEATH(
      {
        Cmn_Assert::SetMode(Cmn_Assert::kAbort);
        CMN_ASSERT_FROM(kAssertSource, false, "the last check");
      },
      "check failed: the last check \\(tests/source_of_this_test, line");
}

TEST_F(Cmn_AssertTest, ModeAbortActsAtOnceOnARealTimeThreadToo) {
  EXPECT_DEATH(
      {
        Cmn_Assert::SetMode(Cmn_Assert::kAbort);
        const Cmn_RealTimeScope scope;
        CMN_ASSERT_FROM(kAssertSource, false, "the last audio check");
      },
      "the last audio check");
}

TEST_F(Cmn_AssertTest, TheFirstReportOfASiteIsPrintedAndLaterOnesAreCounted) {
  testing::internal::CaptureStderr();
  for (int i = 0; i < 5; ++i) CMN_ASSERT_FROM(kAssertSource, false, "printed once");
  const std::string printed = testing::internal::GetCapturedStderr();
  EXPECT_EQ(printed.substr(0, printed.find(", line")),
            "mlox: check failed: printed once (tests/source_of_this_test");
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1);
  EXPECT_EQ(CountOfSite("printed once"), 5u);
}

TEST_F(Cmn_AssertTest, ModeCountPrintsNothingAndCounts) {
  Cmn_Assert::SetMode(Cmn_Assert::kCount);
  const std::uint64_t before = Cmn_Assert::ReportCount();
  testing::internal::CaptureStderr();
  for (int i = 0; i < 3; ++i) CMN_ASSERT_FROM(kAssertSource, false, "never printed");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(CountOfSite("never printed"), 3u);
  EXPECT_EQ(Cmn_Assert::ReportCount(), before + 3);
}

TEST_F(Cmn_AssertTest, ARealTimeReportWaitsInTheRingUntilItIsDrained) {
  Test_AssertRecorder recorder;
  std::vector<std::string> heard;
  Cmn_Assert::SetHandler(
      [](void* iHeardP, const Cmn_AssertReport& iReport) {
        static_cast<std::vector<std::string>*>(iHeardP)->push_back(iReport.mStringP);
      },
      &heard);
  std::thread([] {
    const Cmn_RealTimeScope scope;
    CMN_ASSERT_FROM(kAssertSource, false, "audio");
    Cmn_Assert::Drain();  // refused: still on the real-time thread
  }).join();
  EXPECT_TRUE(heard.empty());
  EXPECT_EQ(CountOfSite("audio"), 1u) << "counted at once";
  Cmn_Assert::Drain();
  EXPECT_EQ(heard, (std::vector<std::string>{"audio@$^$@tests/source_of_this_test"}));
  Cmn_Assert::SetHandler(nullptr, nullptr);
}

TEST_F(Cmn_AssertTest, TheNextReportOffARealTimeThreadDrainsTheRingFirst) {
  Test_AssertRecorder recorder;
  {
    const Cmn_RealTimeScope scope;
    CMN_ASSERT_FROM(kAssertSource, false, "first");
  }
  CMN_ASSERT_FROM(kAssertSource, false, "second");
  EXPECT_EQ(recorder.Texts(), (std::vector<std::string>{"first", "second"}));
  EXPECT_TRUE(recorder.Reports()[0].mRealTime);
  EXPECT_FALSE(recorder.Reports()[1].mRealTime);
}

TEST_F(Cmn_AssertTest, ANewHandlerDoesntGetOldRecordsTheyGoToTheOneBefore) {
  using Heard = std::vector<std::string>;
  const Cmn_Assert::Handler hear = [](void* iHeardP, const Cmn_AssertReport& iReport) {
    static_cast<Heard*>(iHeardP)->push_back(iReport.mStringP);
  };
  Heard before, after;
  Cmn_Assert::SetHandler(hear, &before);
  {
    const Cmn_RealTimeScope scope;
    CMN_ASSERT_FROM(kAssertSource, false, "for the one before");
  }
  EXPECT_TRUE(before.empty()) << "it waits in the ring";
  Cmn_Assert::SetHandler(hear, &after);
  EXPECT_EQ(before, (Heard{"for the one before@$^$@tests/source_of_this_test"}));
  CMN_ASSERT_FROM(kAssertSource, false, "for the new one");
  EXPECT_EQ(after, (Heard{"for the new one@$^$@tests/source_of_this_test"}));
  Cmn_Assert::SetHandler(nullptr, nullptr);
}

TEST_F(Cmn_AssertTest, RecordersNestAndTheInnerOneGetsTheReports) {
  {
    Test_AssertRecorder outer;
    CMN_ASSERT_FROM(kAssertSource, false, "for the outer one");
    {
      Test_AssertRecorder inner;
      CMN_ASSERT_FROM(kAssertSource, false, "for the inner one");
      EXPECT_EQ(inner.Texts(), (std::vector<std::string>{"for the inner one"}));
    }
    EXPECT_EQ(outer.Texts(), (std::vector<std::string>{"for the outer one"}));
  }
  EXPECT_EQ(Cmn_Assert::GetHandler(nullptr), nullptr);
}

TEST_F(Cmn_AssertTest, AHandlerMayFailACheckItself) {
  static int sCalls;
  sCalls = 0;
  Cmn_Assert::SetHandler(
      [](void*, const Cmn_AssertReport&) {
        if (++sCalls == 1) CMN_ASSERT_FROM(kAssertSource, false, "from the handler");
      },
      nullptr);
  CMN_ASSERT_FROM(kAssertSource, false, "to the handler");
  Cmn_Assert::SetHandler(nullptr, nullptr);
  EXPECT_EQ(sCalls, 2);
}

TEST_F(Cmn_AssertTest, ANullStringIsAnEmptyOne) {
  Test_AssertRecorder recorder;
  Cmn_Assert::HandleMagicAssertNoThrow(true, nullptr, 3);
  EXPECT_EQ(recorder.Texts(), (std::vector<std::string>{""}));
}

TEST_F(Cmn_AssertTest, AStringWithoutTheSeparatorIsAllCondition) {
  Test_AssertRecorder recorder;
  Cmn_Assert::HandleMagicAssertNoThrow(true, "bare", 3);
  const auto reports = recorder.Reports();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].mText, "bare");
  EXPECT_EQ(reports[0].mSource, "");
}

TEST_F(Cmn_AssertTest, SitesListsTextSourceLineAndCount) {
  Test_AssertRecorder recorder;
  const int line = __LINE__ + 1;
  for (int i = 0; i < 4; ++i) CMN_ASSERT_FROM(kAssertSource, false, "a listed site");
  const auto sites = Cmn_Assert::Sites();
  const auto site = std::find_if(sites.begin(), sites.end(),
                                 [](const Cmn_AssertSite& iSite) { return iSite.mText == "a listed site"; });
  ASSERT_NE(site, sites.end());
  EXPECT_EQ(site->mSource, "tests/source_of_this_test");
  EXPECT_EQ(site->mLine, line);
  EXPECT_EQ(site->mCount, 4u);
}

TEST_F(Cmn_AssertTest, MoreRecordsThanTheRingHoldsAreCountedAsDropped) {
  Test_AssertRecorder recorder;
  const std::uint64_t dropped = Cmn_Assert::DroppedRecords();
  {
    const Cmn_RealTimeScope scope;
    for (int i = 0; i < 1500; ++i) CMN_ASSERT_FROM(kAssertSource, false, "dense");
  }
  EXPECT_EQ(recorder.Count("dense"), 1024);
  EXPECT_EQ(Cmn_Assert::DroppedRecords(), dropped + 476);
  EXPECT_EQ(CountOfSite("dense"), 1500u) << "the count is exact all the same";
}

// More reports of one site than the ring holds, then some of two others, whose checks pass what they pass.
void FillTheRingAndFailElsewhere(const char* iDenseP, const char* iQuietP, const char* iThrowingP) {
  const Cmn_RealTimeScope scope;
  for (int i = 0; i < 1100; ++i) Cmn_Assert::HandleMagicAssertNoThrow(true, iDenseP, 11);
  for (int i = 0; i < 5; ++i) Cmn_Assert::HandleMagicAssertNoThrow(true, iQuietP, 12);
  for (int i = 0; i < 5; ++i) Cmn_Assert::HandleMagicAssert(false, iThrowingP, 13);
}

TEST_F(Cmn_AssertTest, ASiteWhoseReportsFoundTheRingFullReachesTheHandlerOnce) {
  Test_AssertRecorder recorder;
  FillTheRingAndFailElsewhere("full, dense@$^$@tests", "full, quiet@$^$@tests", "full, throwing@$^$@tests");
  const auto reports = recorder.Reports();
  ASSERT_EQ(reports.size(), 1026u);
  EXPECT_EQ(recorder.Count("full, dense"), 1024) << "it has been told, so none is added";
  ASSERT_EQ(recorder.Count("full, quiet"), 1);
  ASSERT_EQ(recorder.Count("full, throwing"), 1);
  const bool isQuietFirst = reports[1024].mText == "full, quiet";
  const auto& quiet = reports[isQuietFirst ? 1024 : 1025];
  EXPECT_EQ(quiet.mSource, "tests");
  EXPECT_EQ(quiet.mLine, 12);
  EXPECT_TRUE(quiet.mFlag);
  EXPECT_FALSE(quiet.mThrowing);
  EXPECT_TRUE(quiet.mRealTime);
  const auto& throwing = reports[isQuietFirst ? 1025 : 1024];
  EXPECT_EQ(throwing.mLine, 13);
  EXPECT_FALSE(throwing.mFlag);
  EXPECT_TRUE(throwing.mThrowing);
  Cmn_Assert::Drain();
  EXPECT_EQ(recorder.Count(), 1026) << "once";
}

TEST_F(Cmn_AssertTest, TheFirstReportOfASiteIsPrintedAlsoIfItFoundTheRingFull) {
  testing::internal::CaptureStderr();
  FillTheRingAndFailElsewhere("crammed, dense@$^$@tests", "crammed, quiet@$^$@tests",
                              "crammed, last@$^$@tests");
  Cmn_Assert::Drain();
  const std::string printed = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 3) << printed;
  EXPECT_THAT(printed, testing::HasSubstr("mlox: check failed: crammed, dense (tests, line 11)\n"));
  EXPECT_THAT(printed, testing::HasSubstr("mlox: check failed: crammed, quiet (tests, line 12)\n"));
  EXPECT_THAT(printed, testing::HasSubstr("mlox: check failed: crammed, last (tests, line 13)\n"));
}

TEST_F(Cmn_AssertTest, ModeCountPrintsNoReportThatFoundTheRingFullNeitherThenNorLater) {
  Cmn_Assert::SetMode(Cmn_Assert::kCount);
  testing::internal::CaptureStderr();
  FillTheRingAndFailElsewhere("hushed, dense@$^$@tests", "hushed, quiet@$^$@tests", "hushed, last@$^$@tests");
  Cmn_Assert::Drain();
  Cmn_Assert::SetMode(Cmn_Assert::kReport);
  Cmn_Assert::Drain();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Cmn_AssertTest, WithoutAHandlerReportsOfAPrintedSiteDontFillTheRing) {
  testing::internal::CaptureStderr();
  Cmn_Assert::HandleMagicAssertNoThrow(true, "printed, dense@$^$@tests", 11);
  const std::uint64_t dropped = Cmn_Assert::DroppedRecords();
  FillTheRingAndFailElsewhere("printed, dense@$^$@tests", "printed, quiet@$^$@tests",
                              "printed, last@$^$@tests");
  EXPECT_EQ(Cmn_Assert::DroppedRecords(), dropped);
  Cmn_Assert::Drain();
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("printed, quiet"));
  Test_AssertRecorder recorder;
  {
    const Cmn_RealTimeScope scope;
    Cmn_Assert::HandleMagicAssertNoThrow(true, "printed, dense@$^$@tests", 11);
  }
  EXPECT_EQ(recorder.Count("printed, dense"), 1) << "a handler gets each";
}

TEST_F(Cmn_AssertTest, ManyThreadsReportAtOnceAndEveryReportIsCounted) {
  Test_AssertRecorder recorder;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread] {
      for (int i = 0; i < 2000; ++i) {
        if (thread % 2 == 0) {
          const Cmn_RealTimeScope scope;
          CMN_ASSERT_FROM(kAssertSource, false, "crowd");
        } else {
          CMN_ASSERT_FROM(kAssertSource, false, "crowd");
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::uint64_t counted = 0;
  for (const Cmn_AssertSite& site : Cmn_Assert::Sites()) {
    if (site.mText == "crowd") counted += site.mCount;
  }
  EXPECT_EQ(counted, 8000u);
  EXPECT_GE(recorder.Count("crowd"), 4000);
}

// In a process of its own: the table stays full.
TEST(Cmn_AssertExitTest, ReportsBeyondTheTableOfSitesAreCountedAsUnlistedAndStillReachTheHandler) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        static int sHeard = 0;
        Cmn_Assert::SetMode(Cmn_Assert::kReport);
        Cmn_Assert::SetHandler([](void*, const Cmn_AssertReport&) { ++sHeard; }, nullptr);
        const std::uint64_t before = Cmn_Assert::ReportCount();
        const std::size_t listedBefore = Cmn_Assert::Sites().size();
        for (int line = 1; line <= 5000; ++line) {
          Cmn_Assert::HandleMagicAssertNoThrow(true, "one of many@$^$@tests", line);
        }
        const std::size_t listed = Cmn_Assert::Sites().size() - listedBefore;
        const bool isRight = sHeard == 5000 && Cmn_Assert::ReportCount() == before + 5000 && listed > 1000 &&
                             listed <= 2048 && listed + Cmn_Assert::UnlistedReports() == 5000;
        std::exit(isRight ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST(Cmn_AssertExitTest, TheVariableIsReadAtLoadAndNotByTheFirstReport) {
  const Test_Environment unset("MLOX_ASSERT", std::nullopt);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        setenv("MLOX_ASSERT", "abort", 1);
        const Cmn_RealTimeScope scope;
        CMN_ASSERT_FROM(kAssertSource, false, "an audio thread must not search the environment");
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

// Programs of their own: what the environment says, and what is left in the ring when main has returned.
int ReportOnceAndExit() {
  {
    const Cmn_RealTimeScope scope;
    CMN_ASSERT_FROM(kAssertSource, false, "left in the ring");
  }
  std::exit(0);
}

TEST(Cmn_AssertExitTest, TheRingIsDrainedAtExit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        Cmn_Assert::SetMode(Cmn_Assert::kReport);
        ReportOnceAndExit();
      },
      testing::ExitedWithCode(0), "check failed: left in the ring");
}

class Cmn_AssertEnvironmentTest : public testing::TestWithParam<std::pair<const char*, Cmn_Assert::EMode>> {};

TEST_P(Cmn_AssertEnvironmentTest, TheVariableChoosesTheMode) {
  // In a process that is started anew: the variable is read once.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const Test_Environment chosen("MLOX_ASSERT", GetParam().first);
  EXPECT_EXIT(std::exit(Cmn_Assert::GetMode()), testing::ExitedWithCode(GetParam().second), "");
}

INSTANTIATE_TEST_SUITE_P(Values, Cmn_AssertEnvironmentTest,
                         testing::Values(std::pair("report", Cmn_Assert::kReport),
                                         std::pair("count", Cmn_Assert::kCount),
                                         std::pair("throw", Cmn_Assert::kThrow),
                                         std::pair("abort", Cmn_Assert::kAbort),
                                         std::pair("anything else", Cmn_Assert::kReport)));

TEST(Cmn_AssertExceptionTest, CopiesAndMovesCarryTheField) {
  int data = 0;
  Cmn_AssertException original("text");
  EXPECT_EQ(original.mDataP, nullptr);
  original.mDataP = &data;
  const Cmn_AssertException copy(original);
  EXPECT_EQ(copy.mDataP, &data);
  EXPECT_STREQ(copy.what(), "text");
  Cmn_AssertException assigned("other");
  assigned = copy;
  EXPECT_EQ(assigned.mDataP, &data);
  const Cmn_AssertException moved(std::move(original));
  EXPECT_EQ(moved.mDataP, &data);
  EXPECT_STREQ(moved.what(), "text");
}

TEST(Cmn_RealTimeScopeTest, ScopesNestAndBelongToTheirThread) {
  EXPECT_FALSE(Cmn_RealTimeScope::IsActive());
  {
    const Cmn_RealTimeScope outer;
    { const Cmn_RealTimeScope inner; }
    EXPECT_TRUE(Cmn_RealTimeScope::IsActive());
    std::thread([] { EXPECT_FALSE(Cmn_RealTimeScope::IsActive()); }).join();
  }
  EXPECT_FALSE(Cmn_RealTimeScope::IsActive());
}

}  // namespace
