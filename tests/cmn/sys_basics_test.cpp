// SPDX-License-Identifier: MIT
// The small ones: Sys_AtomicInt32, Sys_Clock, Sys_Utils, page-aligned memory.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "cmn/ps_util.h"
#include "cmn/sys_atomicint32.h"
#include "cmn/sys_clock.h"
#include "cmn/sys_utils.h"
#include "tests/support/sanitizers.h"

namespace {

TEST(Sys_AtomicInt32Test, IncrementAndDecrementReturnTheNewValue) {
  Sys_AtomicInt32 count;
  EXPECT_EQ(count.Get(), 0);
  EXPECT_EQ(count.Increment(), 1);
  EXPECT_EQ(count.Increment(), 2);
  EXPECT_EQ(count.Decrement(), 1);
  EXPECT_EQ(count.Decrement(), 0);
  EXPECT_EQ(count.Decrement(), -1);
  EXPECT_EQ(Sys_AtomicInt32(5).Get(), 5);
}

// The gate of the system: writers count themselves in and test the flag, the closer raises the flag and tests
// the count. With anything weaker than one total order both could pass.
TEST(Sys_AtomicInt32Test, CountAndFlagFormAGate) {
  for (int round = 0; round < 2000; ++round) {
    Sys_AtomicInt32 inside;
    std::atomic<bool> isClosed{false};
    std::atomic<bool> isGone{false};
    std::atomic<int> faults{0};
    std::thread writer([&] {
      inside.Increment();
      if (!isClosed.load() && isGone.load()) faults.fetch_add(1);
      inside.Decrement();
    });
    isClosed.store(true);
    while (inside.Get() != 0) std::this_thread::yield();
    isGone.store(true);
    writer.join();
    ASSERT_EQ(faults, 0);
  }
}

TEST(Sys_ClockTest, NeverRunsBackwardsAndCountsMicroseconds) {
  const std::int64_t first = Sys_Clock::Microseconds();
  std::int64_t last = first;
  while (last - first < 2000) {
    const std::int64_t now = Sys_Clock::Microseconds();
    ASSERT_GE(now, last);
    last = now;
  }
  const auto steady = [] {
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
  };
  const std::int64_t before = steady();
  const std::int64_t between = Sys_Clock::Microseconds();
  EXPECT_GE(between, before);
  EXPECT_LE(between, steady());
}

TEST(Sys_ClockTest, TheSeamReplacesTheClockAndGivesItBack) {
  Sys_Clock::SetSourceForTest([]() -> std::int64_t { return -7; });
  EXPECT_EQ(Sys_Clock::Microseconds(), -7);
  Sys_Clock::SetSourceForTest(nullptr);
  EXPECT_GT(Sys_Clock::Microseconds(), 0);
}

std::vector<std::int64_t> sSlept;
std::vector<std::string> sLogged;

TEST(Sys_UtilsTest, SleepLastsAtLeastAsLongAsAsked) {
  const std::int64_t before = Sys_Clock::Microseconds();
  Sys_Utils::Sleep(3);
  EXPECT_GE(Sys_Clock::Microseconds() - before, 3000);
}

TEST(Sys_UtilsTest, SleepOfNothingOrLessReturnsAtOnceAndDoesntReachTheSeam) {
  sSlept.clear();
  Sys_Utils::SetSleeperForTest([](std::int64_t iMilliseconds) { sSlept.push_back(iMilliseconds); });
  Sys_Utils::Sleep(0);
  Sys_Utils::Sleep(-5);
  Sys_Utils::Sleep(INT64_MAX);
  Sys_Utils::SetSleeperForTest(nullptr);
  EXPECT_EQ(sSlept, (std::vector<std::int64_t>{INT64_MAX}));
}

TEST(Sys_UtilsTest, DebugStringGivesTheSeamOneLine) {
  sLogged.clear();
  Sys_Utils::SetLoggerForTest([](const std::string& iLine) { sLogged.push_back(iLine); });
  Sys_Utils::DebugString("without end");
  Sys_Utils::DebugString("with end\n");
  Sys_Utils::DebugString("");
  Sys_Utils::SetLoggerForTest(nullptr);
  EXPECT_EQ(sLogged, (std::vector<std::string>{"without end", "with end", ""}));
}

std::string ContentsOf(const std::string& iPath) {
  std::ifstream file(iPath);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(Sys_UtilsTest, DebugStringAppendsToTheFileThatTheEnvironmentNames) {
  const std::string path = testing::TempDir() + "mlox_debug_log_test.txt";
  std::filesystem::remove(path);
  setenv("MLOX_DEBUG_LOG", path.c_str(), 1);
  Sys_Utils::DebugString("one");
  Sys_Utils::DebugString("two\n");
  unsetenv("MLOX_DEBUG_LOG");
  Sys_Utils::DebugString("three");
  EXPECT_EQ(ContentsOf(path), "one\ntwo\n");
  std::filesystem::remove(path);
}

TEST(Sys_UtilsTest, DebugStringToStandardErrorAndToAFileThatCantBeOpened) {
  setenv("MLOX_DEBUG_LOG", "-", 1);
  testing::internal::CaptureStderr();
  Sys_Utils::DebugString("to the terminal");
  setenv("MLOX_DEBUG_LOG", "/nonexistent/folder/log", 1);
  Sys_Utils::DebugString("nowhere");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "to the terminal\n");
  unsetenv("MLOX_DEBUG_LOG");
}

TEST(PSUtilTest, BlocksBeginOnAPageAndAreZero) {
  for (const std::size_t size :
       {std::size_t{1}, std::size_t{4096}, std::size_t{65536}, std::size_t{100001}}) {
    SCOPED_TRACE(size);
    auto* blockP = static_cast<unsigned char*>(PSUtil_PageAlignedAlloc(size));
    ASSERT_NE(blockP, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(blockP) % 4096, 0u);
    EXPECT_EQ(blockP[0], 0);
    EXPECT_EQ(blockP[size - 1], 0);
    std::memset(blockP, 0xFF, size);
    PSUtil_PageAlignedFree(blockP);
  }
}

TEST(PSUtilTest, SizesThatCantBeGiveNullAndFreeOfNullIsIgnored) {
  EXPECT_EQ(PSUtil_PageAlignedAlloc(0), nullptr);
  EXPECT_EQ(PSUtil_PageAlignedAlloc(SIZE_MAX), nullptr);
  EXPECT_EQ(PSUtil_PageAlignedAlloc(SIZE_MAX / 4), nullptr);
  PSUtil_PageAlignedFree(nullptr);
}

TEST(PSUtilTest, LockAndUnlockOfABlockWorkAndOfNothingMappedFail) {
  void* blockP = PSUtil_PageAlignedAlloc(8192);
  ASSERT_NE(blockP, nullptr);
  EXPECT_TRUE(PSUtil_VMLock(blockP, 8192));
  EXPECT_TRUE(PSUtil_VMUnlock(blockP, 8192));
  PSUtil_PageAlignedFree(blockP);
  // Memory checkers pin nothing and say that they did.
  EXPECT_EQ(PSUtil_VMLock(nullptr, 4096), Test_kPinningIsFaked);
  EXPECT_EQ(PSUtil_VMUnlock(nullptr, 4096), Test_kPinningIsFaked);
}

}  // namespace
