// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/monitor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "tests/tools/ports/heard_device.h"

namespace {

using namespace std::chrono_literals;

/// Standard output goes to a device that is always full.
class FullOutput {
 public:
  FullOutput() : mBefore(::dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    EXPECT_GE(::dup2(full, STDOUT_FILENO), 0);
    ::close(full);
  }
  FullOutput(const FullOutput&) = delete;
  FullOutput& operator=(const FullOutput&) = delete;
  ~FullOutput() {
    ::dup2(mBefore, STDOUT_FILENO);
    ::close(mBefore);
    std::clearerr(stdout);
  }

 private:
  const int mBefore;
};

class MonitorTest : public Test_HeardDevice {};

TEST_F(MonitorTest, EndsAtOnceWithTheReasonWhenNobodyTakesItsOutput) {
  for (const bool isJson : {false, true}) {
    const FullOutput full;
    tool::MonitorRequest request;
    request.mInputs = {kPort};
    request.mSeconds = 60;
    request.mJson = isJson;
    const auto start = std::chrono::steady_clock::now();
    auto fault = FaultOf([&] { tool::Monitor(request); });
    const std::unique_ptr<Platform_DriverOutput> output = OpenOutput(kPort);
    constexpr std::array<std::uint8_t, 3> kNote{0x90, 60, 100};
    // Until it listens.
    while (fault.wait_for(20ms) == std::future_status::timeout) output->Send(0, kNote.data(), kNote.size());
    EXPECT_EQ(fault.get(), "standard output: cannot write: No space left on device");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 50s);
  }
}

}  // namespace
