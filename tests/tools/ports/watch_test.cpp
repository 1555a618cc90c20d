// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "cmn/sys_clock.h"
#include "tests/support/test_files.h"
#include "tests/tools/ports/heard_device.h"
#include "tests/tools/ports/redirected_output.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::Le;
using testing::UnorderedElementsAre;

class WatchTest : public Test_HeardDevice {
 protected:
  WatchTest() {
    for (const std::string& name : Platform_LoopbackPorts::Names()) {
      if (name != kPort) Platform_LoopbackPorts::Unplug(name);
    }
    const tool::PortSession session;
    mOutput = "output  device  " + tool::IdText(tool::IdOf(*session.Outputs().at(0)));
    mInput = "input   device  " + tool::IdText(session.Inputs().at(0)->GetInputID());
  }

  /// What was printed behind the times, from a line on; the times go into mTimes.
  std::vector<std::string> ChangesFrom(std::size_t iLine) {
    std::istringstream text(Test_ReadFile(mPath));
    std::vector<std::string> changes;
    mTimes.clear();
    for (std::string line; std::getline(text, line) && !text.eof();) {
      std::size_t timeEnd = 0;
      mTimes.push_back(std::llround(std::stod(line, &timeEnd) * 1e6));
      if (mTimes.size() > iLine) changes.push_back(line.substr(timeEnd));
    }
    return changes;
  }
  bool WaitForLines(std::size_t iCount) {
    return WaitUntil([&] { return ChangesFrom(0).size() >= iCount; });
  }

  const std::string mPath = mFolder / "printed";
  std::string mOutput;
  std::string mInput;
  std::vector<std::int64_t> mTimes;
};

TEST_F(WatchTest, TellsOfOutputsAndInputsThatComeAndGoAndOfAFollowedInputThatIsLostAndFound) {
  const std::int64_t before = Sys_Clock::Microseconds();
  const Test_RedirectedOutput printed(mPath);
  tool::WatchRequest request;
  // The output has 1 to 16; the input has one more, for the whole of it.
  request.mFollow = {"id:17"};
  request.mSeconds = 60;
  auto fault = FaultOf([&] { tool::Watch(request); });
  ASSERT_TRUE(WaitForLines(3));
  EXPECT_THAT(ChangesFrom(0), UnorderedElementsAre("  came     " + mOutput, "  came     " + mInput,
                                                   "  found    input   device"));
  Platform_LoopbackPorts::Unplug(kPort);
  EXPECT_TRUE(WaitForLines(6));
  EXPECT_THAT(ChangesFrom(3), UnorderedElementsAre("  gone     " + mOutput, "  gone     " + mInput,
                                                   "  lost     input   device"));
  Platform_LoopbackPorts::Plug(kPort);
  EXPECT_TRUE(WaitForLines(9));
  Interrupt();
  EXPECT_EQ(fault.get(), "");
  EXPECT_THAT(ChangesFrom(6), UnorderedElementsAre("  came     " + mOutput, "  came     " + mInput,
                                                   "  found    input   device"));
  EXPECT_THAT(mTimes, Each(AllOf(Ge(before), Le(Sys_Clock::Microseconds()))));
}

}  // namespace
