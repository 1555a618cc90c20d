// SPDX-License-Identifier: MIT
#include "tools/mlox/assertions/assertiontable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/assert_recorder.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using tool::AssertionTable;

constexpr char kAssertSource[] = "tests/tools/assertions/assertiontable_test";

TEST(AssertionTable, HasARowForEachSiteBySourceAndLine) {
  EXPECT_EQ(AssertionTable({{"b != 0", "mlox/late", 7, 12345678901},
                            {"index < size", "mlox/early", 20, 3},
                            {"index >= 0", "mlox/early", 3, 1}},
                           0),
            "site           text               count\n"
            "mlox/early:3   index >= 0             1\n"
            "mlox/early:20  index < size           3\n"
            "mlox/late:7    b != 0        12345678901\n");
}

TEST(AssertionTable, SaysSoWhereNothingFailed) { EXPECT_EQ(AssertionTable({}, 0), "no check failed\n"); }

TEST(AssertionTable, TellsWhatTheListHasNoRoomFor) {
  EXPECT_EQ(AssertionTable({{"a", "s", 1, 1}}, 41),
            "site  text       count\n"
            "s:1   a              1\n"
            "and 41 of sites beyond what the list has room for\n");
  EXPECT_THAT(AssertionTable({}, 41), Not(HasSubstr("no check failed")));
}

TEST(AssertionTable, LetsNoTextCommandTheTerminalAndMarksASourceThatIsntKnown) {
  const std::string table = AssertionTable({{"a\x1B[31m\nb", "", 1, 1}}, 0);
  EXPECT_EQ(table,
            "site  text           count\n"
            "?:1   a [31m b           1\n");
}

TEST(AssertionTable, OfARunWithReportsListsTheirSites) {
  const Test_AssertRecorder recorder;
  const int line = __LINE__ + 1;
  for (int i = 0; i < 3; ++i) CMN_ASSERT_FROM(kAssertSource, false, "a check of this test");
  EXPECT_THAT(tool::AssertionTableOfThisRun(),
              HasSubstr(std::string(kAssertSource) + ":" + std::to_string(line) + "  a check of this test"));
}

}  // namespace
