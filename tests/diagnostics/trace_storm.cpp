// SPDX-License-Identifier: MIT
/// \file
/// Threads that trace as fast as they can: each line is "storm <thread> <number>", numbers from 0 on.
///
///     trace_storm THREADS LINES        each thread traces so many lines, then the process ends
///     trace_storm THREADS LINES leave  the process ends when each has traced so many, in the midst of them
///     trace_storm 1 LINES fork         before and after the child, which traces lines of its own
///     trace_storm 1 LINES signal       and waits for a signal that it blocks itself and sends to the process
///     trace_storm 1 LINES stuck FD     then forks when the pipe FD of the lines is full and nobody reads
///     trace_storm THREADS FORKS forks  forks so often while the threads trace
///     trace_storm 1 LINES look FILE    traces each line when the one before stands in the file of the lines,
///                                      and prints after how many microseconds that was, a line each
///
/// The two with forks print how long fork() took at the longest, in milliseconds, and what became of the
/// children.
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/quiltracelibrary.h"

namespace {

constexpr std::uint32_t kCategory = 0x0200000E;

void Trace(int iThread, int iNumber) { QUIL_TRACE(kCategory, "storm %d %d", iThread, iNumber); }

bool sIsForkedChild = false;

void TraceAll(int iThreads, int iLines) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < iThreads; ++thread) {
    threads.emplace_back([=] {
      for (int number = 0; number < iLines; ++number) Trace(thread, number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void LeaveInTheMidst(int iThreads, int iLines) {
  // Never ended: the threads outlive main.
  auto& counts = *new std::vector<std::atomic<int>>(static_cast<std::size_t>(iThreads));
  for (int thread = 0; thread < iThreads; ++thread) {
    std::thread([thread, &counts] {
      for (int number = 0;; ++number) {
        Trace(thread, number);
        counts[static_cast<std::size_t>(thread)].store(number);
      }
    }).detach();
  }
  for (const std::atomic<int>& count : counts) {
    while (count.load() < iLines) std::this_thread::yield();
  }
}

int TraceAroundAFork(int iLines) {
  for (int number = 0; number < iLines; ++number) Trace(0, number);
  const pid_t child = fork();
  if (child < 0) return 1;
  if (child == 0) {
    for (int number = 0; number < iLines; ++number) Trace(1, number);
    std::exit(0);
  }
  int status = -1;
  if (waitpid(child, &status, 0) != child) return 1;
  for (int number = iLines; number < 2 * iLines; ++number) Trace(0, number);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int WaitForASignal(int iLines) {
  for (int number = 0; number < iLines; ++number) Trace(0, number);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  kill(getpid(), SIGUSR1);
  int got = 0;
  if (sigwait(&signals, &got) != 0 || got != SIGUSR1) return 1;
  std::printf("waited for and got\n");
  return 0;
}

// What a child does: it traces, forks off one of its own, and ends as programs do.
[[noreturn]] void LiveAsAChild() {
  for (int number = 0; number < 10; ++number) Trace(1, number);
  const pid_t grandchild = fork();
  if (grandchild == 0) std::exit(0);
  int status = -1;
  if (grandchild < 0 || waitpid(grandchild, &status, 0) != grandchild) std::exit(1);
  std::exit(status == 0 ? 0 : 1);
}

// Whether a child has ended well. One that hangs is ended after a while.
bool EndsWell(pid_t iChild) {
  int status = -1;
  for (int moment = 0; moment < 3000; ++moment) {
    if (waitpid(iChild, &status, WNOHANG) == iChild) return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  kill(iChild, SIGKILL);
  waitpid(iChild, &status, 0);
  return false;
}

// Forks so often, and prints what that was like. The exit status.
int ForkAndTell(int iForks) {
  using Clock = std::chrono::steady_clock;
  Clock::duration longest{};
  bool isWell = true;
  for (int i = 0; i < iForks; ++i) {
    const Clock::time_point before = Clock::now();
    const pid_t child = fork();
    if (child < 0) return 1;
    if (child == 0) LiveAsAChild();
    longest = std::max(longest, Clock::now() - before);
    isWell = EndsWell(child) && isWell;
  }
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(longest).count();
  std::printf("fork took %lld ms, children %s\n", static_cast<long long>(milliseconds),
              isWell ? "ended well" : "hung or failed");
  std::fflush(stdout);
  return 0;
}

// A pipe that has stayed full for a while: who writes to it waits.
void WaitUntilFull(int iPipe) {
  for (int full = 0; full < 50; ++full) {
    pollfd pipe{iPipe, POLLOUT, 0};
    if (poll(&pipe, 1, 0) != 0) full = 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

int ForkWhileTheWriterIsStuck(int iLines, int iPipe) {
  for (int number = 0; number < iLines; ++number) Trace(0, number);
  WaitUntilFull(iPipe);
  return ForkAndTell(1);
}

int ForkInTheMidst(int iThreads, int iForks) {
  std::atomic<bool> isEnding{false};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < iThreads; ++thread) {
    threads.emplace_back([thread, &isEnding] {
      for (int number = 0; !isEnding.load(); ++number) Trace(thread, number);
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // for the writer to be busy
  const int status = ForkAndTell(iForks);
  isEnding.store(true);
  for (std::thread& thread : threads) thread.join();
  return status;
}

// The bytes of the file when it has more than before; as before if that doesn't come within a minute.
std::uintmax_t SizeAbove(std::uintmax_t iBefore, const char* iFileP) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  std::uintmax_t size = iBefore;
  while (size == iBefore && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    size = std::filesystem::file_size(iFileP);
  }
  return size;
}

// Wakes nobody: what is traced reaches the file by itself.
int TraceAndLook(int iLines, const char* iFileP) {
  std::uintmax_t size = std::filesystem::file_size(iFileP);
  for (int number = 0; number < iLines; ++number) {
    const auto before = std::chrono::steady_clock::now();
    Trace(0, number);
    const std::uintmax_t grown = SizeAbove(size, iFileP);
    if (grown == size) return 1;
    size = grown;
    const auto took =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - before);
    std::printf("%lld\n", static_cast<long long>(took.count()));
  }
  return 0;
}

}  // namespace

// Asked by a checker of leaks at the end: in a child the parent's threads are gone, and what they held looks
// lost.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() { return sIsForkedChild ? 1 : 0; }

int main(int iCount, char** iArguments) {
  pthread_atfork(nullptr, nullptr, [] { sIsForkedChild = true; });
  if (iCount < 3) return 2;
  const int threads = std::atoi(iArguments[1]);
  const int lines = std::atoi(iArguments[2]);
  const std::string how = iCount > 3 ? iArguments[3] : "";
  if (how == "fork") return TraceAroundAFork(lines);
  if (how == "signal") return WaitForASignal(lines);
  if (how == "stuck" && iCount > 4) return ForkWhileTheWriterIsStuck(lines, std::atoi(iArguments[4]));
  if (how == "look" && iCount > 4) return TraceAndLook(lines, iArguments[4]);
  if (how == "forks") return ForkInTheMidst(threads, lines);
  if (how == "leave") {
    LeaveInTheMidst(threads, lines);
  } else {
    TraceAll(threads, lines);
  }
  return 0;
}
