// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/monitor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "tests/support/test_files.h"
#include "tests/tools/ports/heard_device.h"
#include "tests/tools/ports/redirected_output.h"

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::EndsWith;
using testing::Ge;
using testing::Le;
using testing::MatchesRegex;

constexpr std::array<std::uint8_t, 3> kFirst{0x90, 60, 100};

std::vector<std::string> LinesOf(const std::string& iText) {
  std::istringstream text(iText);
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line) && !text.eof();) lines.push_back(line);
  return lines;
}

/// The time that a line begins with, from seconds to microseconds.
std::int64_t TimeOf(const std::string& iLine) { return std::llround(std::stod(iLine) * 1e6); }

class MonitorTest : public Test_HeardDevice {
 protected:
  static tool::MonitorRequest Request() {
    tool::MonitorRequest request;
    request.mInputs = {kPort};
    request.mSeconds = 60;
    return request;
  }
};

TEST_F(MonitorTest, EndsAtOnceWithTheReasonWhenNobodyTakesItsOutput) {
  for (const bool isJson : {false, true}) {
    const Test_RedirectedOutput full("/dev/full");
    tool::MonitorRequest request = Request();
    request.mJson = isJson;
    const auto start = std::chrono::steady_clock::now();
    auto fault = FaultOf([&] { tool::Monitor(request); });
    const std::unique_ptr<Platform_DriverOutput> output = OpenOutput(kPort);
    // Until it listens.
    while (fault.wait_for(20ms) == std::future_status::timeout) {
      output->Send(0, kFirst.data(), kFirst.size());
    }
    EXPECT_EQ(fault.get(), "standard output: cannot write: No space left on device");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 50s);
  }
}

TEST_F(MonitorTest, PrintsTheTimeTheInputAndTheMessage) {
  const Test_RedirectedOutput printed(mFolder / "printed");
  const auto lines = [&] { return LinesOf(Test_ReadFile(mFolder / "printed")); };
  auto fault = FaultOf([] { tool::Monitor(Request()); });
  const std::unique_ptr<Platform_DriverOutput> output = OpenOutput(kPort);
  ASSERT_TRUE(WaitUntil([&] {
    output->Send(0, kFirst.data(), kFirst.size());
    return !lines().empty();
  })) << "it doesn't listen";
  const std::int64_t before = Sys_Clock::Microseconds();
  constexpr std::array<std::uint8_t, 3> kLast{0xB2, 7, 90};
  output->Send(0, kLast.data(), kLast.size());
  const std::string end = "  device                    controller 7 = 90 channel 3";
  EXPECT_TRUE(WaitUntil([&] { return lines().back().ends_with(end); })) << lines().back();
  const std::int64_t after = Sys_Clock::Microseconds();
  Interrupt();
  EXPECT_EQ(fault.get(), "");
  EXPECT_THAT(lines().front(),
              EndsWith("  device                    note on C4 (60) velocity 100 channel 1"));
  EXPECT_THAT(TimeOf(lines().back()), AllOf(Ge(before), Le(after)));
}

/// Takes what a pipe holds, as it comes.
class PipeReader {
 public:
  explicit PipeReader(int iDescriptor) : mDescriptor(iDescriptor) {
    EXPECT_EQ(::fcntl(mDescriptor, F_SETFL, O_NONBLOCK), 0);
  }
  PipeReader(const PipeReader&) = delete;
  PipeReader& operator=(const PipeReader&) = delete;
  ~PipeReader() { ::close(mDescriptor); }

  /// All that has come so far.
  const std::string& Text() {
    std::array<char, 4096> piece{};
    for (ssize_t got = 0; (got = ::read(mDescriptor, piece.data(), piece.size())) > 0;) {
      mText.append(piece.data(), static_cast<std::size_t>(got));
    }
    return mText;
  }

 private:
  const int mDescriptor;
  std::string mText;
};

TEST_F(MonitorTest, ReceivesInTimeWhileItsOutputStandsStill) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  // What it prints of 500 messages is some ten times as long.
  ASSERT_GE(::fcntl(ends[1], F_SETPIPE_SZ, 4096), 0);
  PipeReader reader(ends[0]);
  const Test_RedirectedOutput printed(ends[1]);
  auto fault = FaultOf([] { tool::Monitor(Request()); });
  const std::unique_ptr<Platform_DriverOutput> output = OpenOutput(kPort);
  ASSERT_TRUE(WaitUntil([&] {
    output->Send(0, kFirst.data(), kFirst.size());
    return !reader.Text().empty();
  })) << "it doesn't listen";
  for (int i = 0; i < 500; ++i) output->Send(0, kFirst.data(), kFirst.size());
  constexpr std::array<std::uint8_t, 2> kLast{0xC0, 5};
  output->Send(0, kLast.data(), kLast.size());
  // Long enough for a busy machine to receive them all.
  std::this_thread::sleep_for(2s);
  const std::int64_t beforeReading = Sys_Clock::Microseconds();
  EXPECT_TRUE(WaitUntil([&] { return reader.Text().ends_with("program 5 channel 1\n"); }));
  Interrupt();
  EXPECT_EQ(fault.get(), "");
  const std::vector<std::string> lines = LinesOf(reader.Text());
  EXPECT_GT(lines.size(), 500u);
  EXPECT_LE(TimeOf(lines.back()), beforeReading) << "received only when what came before it was printed";
}

TEST_F(MonitorTest, TellsAtTheirPlaceHowManyMessagesWereDroppedWhileItsOutputStoodStill) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  ASSERT_GE(::fcntl(ends[1], F_SETPIPE_SZ, 4096), 0);
  PipeReader reader(ends[0]);
  const Test_RedirectedOutput printed(ends[1]);
  tool::MonitorRequest request = Request();
  request.mMostWaiting = 10;
  testing::internal::CaptureStderr();
  auto fault = FaultOf([&] { tool::Monitor(request); });
  const std::unique_ptr<Platform_DriverOutput> output = OpenOutput(kPort);
  ASSERT_TRUE(WaitUntil([&] {
    output->Send(0, kFirst.data(), kFirst.size());
    return !reader.Text().empty();
  })) << "it doesn't listen";
  constexpr std::array<std::uint8_t, 2> kMany{0xC0, 5};
  for (int i = 0; i < 500; ++i) output->Send(0, kMany.data(), kMany.size());
  // Long enough for a busy machine to receive them all.
  std::this_thread::sleep_for(2s);
  std::size_t lastSent = 0;
  EXPECT_TRUE(WaitUntil([&] {
    constexpr std::array<std::uint8_t, 2> kLast{0xC0, 6};
    output->Send(0, kLast.data(), kLast.size());
    ++lastSent;
    return reader.Text().ends_with("program 6 channel 1\n");
  }));
  const std::string told = testing::internal::GetCapturedStderr();
  Interrupt();
  EXPECT_EQ(fault.get(), "");
  const std::vector<std::string> lines = LinesOf(reader.Text());
  const auto many = static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(), [](const auto& iLine) { return iLine.ends_with("program 5 channel 1"); }));
  std::size_t dropped = 0;
  for (const std::string& line : LinesOf(told)) {
    EXPECT_THAT(line, MatchesRegex("mlox: [0-9]+ messages dropped here: nobody read what came before them"));
    dropped += std::stoul(line.substr(line.find(' ')));
  }
  EXPECT_GT(dropped, 0u);
  EXPECT_THAT(dropped, AllOf(Ge(500 - many), Le(500 - many + lastSent)));
}

}  // namespace
