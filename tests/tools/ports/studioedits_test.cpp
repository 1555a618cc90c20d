// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/studioedits.h"

#include <gtest/gtest.h>

#include "tools/mlox/tool_error.h"

namespace {

TEST(ParseChannelMask, TakesChannelsRunsAllAndNone) {
  EXPECT_EQ(tool::ParseChannelMask("1"), 1);
  EXPECT_EQ(tool::ParseChannelMask("16"), 0x8000);
  EXPECT_EQ(tool::ParseChannelMask("1-4,10"), 0x020F);
  EXPECT_EQ(tool::ParseChannelMask(" 2 - 3 , 5"), 0x0016);
  EXPECT_EQ(tool::ParseChannelMask("all"), 0xFFFF);
  EXPECT_EQ(tool::ParseChannelMask("none"), 0);
}

TEST(ParseChannelMask, RefusesEverythingElse) {
  for (const char* const text : {"", "0", "17", "1,", ",1", "4-1", "1-", "-4", "a", "1;2", "1-2-3", "1,,2"}) {
    EXPECT_THROW(tool::ParseChannelMask(text), tool::UsageError) << text;
  }
}

}  // namespace
