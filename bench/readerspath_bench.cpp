// SPDX-License-Identifier: MIT
// What a plug-in's reader does to its thread in a block of 64 samples: memory taken or given back, locks,
// system calls. It pulls 100,000 blocks with 0, 16 and 256 notes due, on a thread where each of these is
// caught, while three writers write. The traps stand in front of the C library, which slows it: they have a
// program of their own, which measures no time. They are first shown a planted violation of each kind.
//
// The exit status is 1 if a trap lets its planted violation through, or catches anything else.
#include <fmt/format.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>

#include "bench/support/bench_report.h"
#include "bench/support/mlox_way.h"
#include "tests/support/realtime/realtime_traps.h"

namespace {

constexpr int64_t kBlocks = 100000;
// How many blocks writers may be ahead of the reader.
constexpr int64_t kAheadBlocks = 16;

struct Progress {
  std::vector<std::atomic<int64_t>> mWritten = std::vector<std::atomic<int64_t>>(kBench_Writers);
  std::atomic<int64_t> mPulled{0};
};

void WriteBlocks(Bench_MloxWay& ioWay, Progress& ioProgress, std::size_t iWriter, int64_t iDue) {
  Bench_PinThread(1);
  for (int64_t block = 0; block < kBlocks; ++block) {
    while (block >= ioProgress.mPulled.load(std::memory_order_acquire) + kAheadBlocks)
      std::this_thread::yield();
    for (int64_t note = static_cast<int64_t>(iWriter); note < iDue;
         note += static_cast<int64_t>(kBench_Writers)) {
      ioWay.Write(iWriter, block * kBench_BlockSamples + note * kBench_BlockSamples / iDue,
                  static_cast<int>(note & 0x7F));
    }
    ioProgress.mWritten[iWriter].store(block + 1, std::memory_order_release);
  }
}

bool AllArePast(const Progress& iProgress, int64_t iBlock) {
  for (const std::atomic<int64_t>& written : iProgress.mWritten) {
    if (written.load(std::memory_order_acquire) <= iBlock) return false;
  }
  return true;
}

// The reader waits without a system call, which would be caught.
void PullBlocks(Bench_MloxWay& ioWay, Progress& ioProgress, Bench_Read& ioRead) {
  for (int64_t block = 0; block < kBlocks; ++block) {
    while (!AllArePast(ioProgress, block)) {
    }
    ioWay.PullBlock(block * kBench_BlockSamples, ioRead);
    ioProgress.mPulled.store(block + 1, std::memory_order_release);
  }
}

void PrintRow(const char* iRow, const Test_TrapCounts& iCaught, int64_t iBlocks) {
  const auto each = [iBlocks](uint64_t iCount) {
    return static_cast<double>(iCount) / static_cast<double>(iBlocks);
  };
  fmt::print("{:<28} {:>12g} {:>12g} {:>12g}\n", iRow, each(iCaught.mAllocations), each(iCaught.mLocks),
             each(iCaught.mSystemCalls));
}

bool PlantedViolationsAreCaught() {
  const Test_TrapCounts caught = Test_RunTrapped([] {
    void* volatile blockP = std::malloc(1);
    std::free(blockP);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
    syscall(SYS_getpid);
  });
  PrintRow("planted: 2, 2 and 1", caught, 1);
  return caught.mAllocations == 2 && caught.mLocks == 2 && caught.mSystemCalls == 1;
}

bool RunBlocks(int64_t iDue) {
  Bench_MloxWay way;
  Progress progress;
  Bench_Read read;
  std::vector<std::thread> writers;
  for (std::size_t writer = 0; writer < kBench_Writers; ++writer)
    writers.emplace_back([&, writer] { WriteBlocks(way, progress, writer, iDue); });
  const Test_TrapCounts caught = Test_RunTrapped([&] { PullBlocks(way, progress, read); });
  for (std::thread& writer : writers) writer.join();
  PrintRow(fmt::format("block, {} due", iDue).c_str(), caught, kBlocks);
  const bool isComplete = read.mCount == static_cast<uint64_t>(iDue * kBlocks);
  if (!isComplete) fmt::print("notes were lost or came twice\n");
  return isComplete && caught.mAllocations == 0 && caught.mLocks == 0 && caught.mSystemCalls == 0;
}

}  // namespace

int main() {
  fmt::print("readerspath_bench: what pulling one block of 64 samples does, while three writers write\n\n");
  fmt::print("{:<28} {:>12} {:>12} {:>12}\n", "", "allocations", "locks", "system calls");
  bool isClean = PlantedViolationsAreCaught();
  for (const int64_t due : {0, 16, 256}) isClean = RunBlocks(due) && isClean;
  return isClean ? EXIT_SUCCESS : EXIT_FAILURE;
}
