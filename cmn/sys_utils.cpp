// SPDX-License-Identifier: MIT
#include "cmn/sys_utils.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace {
constinit std::atomic<Sys_Utils::Sleeper> sSleeper{nullptr};
constinit std::atomic<Sys_Utils::Logger> sLogger{nullptr};

// One write a line, so that lines of several threads don't mix; the file is opened anew each time, since the
// log is for people who look into a problem, and they may move or delete it meanwhile.
void AppendToLog(const std::string& iLine) {
  const char* nameP = std::getenv("MLOX_DEBUG_LOG");
  if (nameP == nullptr || *nameP == '\0') return;
  const bool isStandardError = std::string_view(nameP) == "-";
  std::FILE* fileP = isStandardError ? stderr : std::fopen(nameP, "a");
  if (fileP == nullptr) return;
  const std::string text = iLine + '\n';
  std::fwrite(text.data(), 1, text.size(), fileP);
  if (!isStandardError) std::fclose(fileP);
}
}  // namespace

void Sys_Utils::Sleep(std::int64_t iMilliseconds) {
  if (iMilliseconds <= 0) return;
  if (const Sleeper sleeper = sSleeper.load(std::memory_order_acquire)) return sleeper(iMilliseconds);
  std::this_thread::sleep_for(std::chrono::milliseconds(iMilliseconds));
}

void Sys_Utils::DebugString(const std::string& iText) {
  std::string line = iText;
  if (!line.empty() && line.back() == '\n') line.pop_back();
  if (const Logger logger = sLogger.load(std::memory_order_acquire)) return logger(line);
  AppendToLog(line);
}

void Sys_Utils::SetSleeperForTest(Sleeper iSleeper) noexcept {
  sSleeper.store(iSleeper, std::memory_order_release);
}

void Sys_Utils::SetLoggerForTest(Logger iLogger) noexcept {
  sLogger.store(iLogger, std::memory_order_release);
}
