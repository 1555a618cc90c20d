// SPDX-License-Identifier: MIT
#include "tools/mlox/render/fluidlog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::ElementsAre;
using testing::SizeIs;
using tool::FluidLog;

TEST(FluidLog, KeepsEachTextOnce) {
  FluidLog log;
  log.Add("one");
  log.Add("two");
  log.Add("one");
  EXPECT_THAT(log.Texts(), ElementsAre("one", "two"));
}

TEST(FluidLog, KeepsNoMoreThanAHundred) {
  FluidLog log;
  for (int i = 0; i < 200; ++i) {
    log.Add(std::to_string(i).c_str());
  }
  EXPECT_THAT(log.Texts(), SizeIs(100));
  EXPECT_EQ(log.Texts().back(), "99");
}

}  // namespace
