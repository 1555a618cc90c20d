// SPDX-License-Identifier: MIT
/// \file
/// Threads that trace as fast as they can: each line is "storm <thread> <number>", numbers from 0 on.
///
///     trace_storm THREADS LINES        each thread traces so many lines, then the process ends
///     trace_storm THREADS LINES leave  the process ends when each has traced so many, in the midst of them
///     trace_storm 1 LINES fork         before and after the child, which traces lines of its own
///     trace_storm 1 LINES signal       and waits for a signal that it blocks itself and sends to the process
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/quiltracelibrary.h"

namespace {

constexpr std::uint32_t kCategory = 0x0200000E;

void Trace(int iThread, int iNumber) { QUIL_TRACE(kCategory, "storm %d %d", iThread, iNumber); }

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

}  // namespace

int main(int iCount, char** iArguments) {
  if (iCount < 3) return 2;
  const int threads = std::atoi(iArguments[1]);
  const int lines = std::atoi(iArguments[2]);
  const std::string how = iCount > 3 ? iArguments[3] : "";
  if (how == "fork") return TraceAroundAFork(lines);
  if (how == "signal") return WaitForASignal(lines);
  if (how == "leave") {
    LeaveInTheMidst(threads, lines);
  } else {
    TraceAll(threads, lines);
  }
  return 0;
}
