// SPDX-License-Identifier: MIT
// What MIDI to a plug-in costs: our way from Mlox_DM_Output to the plug-in's pull beside three ways to build
// the same from parts.
//
// Rows. "write": one thread writes a note at a time through its output. "pull and read": one thread pulls the
// notes of a block and reads length, bytes and time of each. "block, n due": three writers on one core write
// notes, each in order of time, and run ahead of the reader by 4 to 16 blocks of 64 samples; the reader, on
// the other core, pulls 100,000 blocks to their ends, each of which has n notes. It begins a block when all
// writers are past its end, and waits for that outside the time that is taken. Notes for "0 due" lie in every
// other block, which is pulled without being timed. "empty pull": the same clock around a pull of a delivery
// that nobody writes to.
//
// Equal times come out in order of the writers, everywhere.
#include <concurrentqueue/concurrentqueue.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <memory_resource>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "bench/support/bench_report.h"
#include "bench/support/mlox_way.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int64_t kBlocks = 100000;
constexpr int64_t kAheadBlocks = 16;
// Notes that can be on their way at once, with room.
constexpr std::size_t kCapacity = 16384;

// ---- peers ----

struct Note {
  int64_t mTime;
  uint32_t mWriter;
  std::array<signed char, 3> mBytes;

  bool operator<(const Note& iOther) const {
    return std::tie(mTime, mWriter) < std::tie(iOther.mTime, iOther.mWriter);
  }
};

Note MakeNote(std::size_t iWriter, int64_t iTime, int iPitch) {
  return {iTime,
          static_cast<uint32_t>(iWriter),
          {static_cast<signed char>(0x90), static_cast<signed char>(iPitch), 100}};
}

// Nodes come from a pool that lies ready.
class MutexMultimap {
 public:
  void Write(std::size_t iWriter, int64_t iTime, int iPitch) {
    const Note note = MakeNote(iWriter, iTime, iPitch);
    const std::lock_guard lock(mMutex);
    mNotes.emplace(std::pair(iTime, iWriter), note);
  }
  void PullBlock(int64_t iStart, Bench_Read& ioRead) {
    const std::lock_guard lock(mMutex);
    while (!mNotes.empty() && mNotes.begin()->first.first < iStart + kBench_BlockSamples) {
      ioRead.Add(mNotes.begin()->first.first, mNotes.begin()->second.mBytes.data());
      mNotes.erase(mNotes.begin());
    }
  }

 private:
  std::mutex mMutex;
  std::vector<std::byte> mMemory{kCapacity * 256};
  std::pmr::monotonic_buffer_resource mBuffer{mMemory.data(), mMemory.size()};
  std::pmr::unsynchronized_pool_resource mPool{&mBuffer};
  std::pmr::multimap<std::pair<int64_t, std::size_t>, Note> mNotes{&mPool};
};

// In order of time; nearly all writes go to the end, and a block's notes are taken off the front at once.
class MutexSortedVector {
 public:
  MutexSortedVector() { mNotes.reserve(kCapacity); }
  void Write(std::size_t iWriter, int64_t iTime, int iPitch) {
    const Note note = MakeNote(iWriter, iTime, iPitch);
    const std::lock_guard lock(mMutex);
    mNotes.insert(std::upper_bound(mNotes.begin(), mNotes.end(), note), note);
  }
  void PullBlock(int64_t iStart, Bench_Read& ioRead) {
    const std::lock_guard lock(mMutex);
    auto note = mNotes.begin();
    for (; note != mNotes.end() && note->mTime < iStart + kBench_BlockSamples; ++note) {
      ioRead.Add(note->mTime, note->mBytes.data());
    }
    mNotes.erase(mNotes.begin(), note);
  }

 private:
  std::mutex mMutex;
  std::vector<Note> mNotes;
};

// With a token for each writer and the reader; drained in bulk into a heap of the reader's.
class MoodycamelHeap {
 public:
  MoodycamelHeap() { mHeap.reserve(kCapacity); }
  void Write(std::size_t iWriter, int64_t iTime, int iPitch) {
    mQueue.enqueue(mProducers[iWriter], MakeNote(iWriter, iTime, iPitch));
  }
  void PullBlock(int64_t iStart, Bench_Read& ioRead) {
    std::array<Note, 64> arrived;
    while (const std::size_t count = mQueue.try_dequeue_bulk(mConsumer, arrived.begin(), arrived.size())) {
      for (std::size_t i = 0; i < count; ++i) {
        mHeap.push_back(arrived[i]);
        std::push_heap(mHeap.begin(), mHeap.end(), IsLater);
      }
    }
    while (!mHeap.empty() && mHeap.front().mTime < iStart + kBench_BlockSamples) {
      ioRead.Add(mHeap.front().mTime, mHeap.front().mBytes.data());
      std::pop_heap(mHeap.begin(), mHeap.end(), IsLater);
      mHeap.pop_back();
    }
  }

 private:
  static bool IsLater(const Note& iLeft, const Note& iRight) { return iRight < iLeft; }

  moodycamel::ConcurrentQueue<Note> mQueue{2 * kCapacity};
  std::array<moodycamel::ProducerToken, kBench_Writers> mProducers{moodycamel::ProducerToken(mQueue),
                                                                   moodycamel::ProducerToken(mQueue),
                                                                   moodycamel::ProducerToken(mQueue)};
  moodycamel::ConsumerToken mConsumer{mQueue};
  std::vector<Note> mHeap;
};

// ---- one thread ----

constexpr int64_t kNotesOfARound = 2048;
constexpr int kRounds = 200;

double NanosecondsEach(Clock::duration iTime, int64_t iCount) {
  return static_cast<double>(std::chrono::nanoseconds(iTime).count()) / static_cast<double>(iCount);
}

// Note i of n that a writer writes to a block.
int64_t TimeOf(int64_t iBlock, int64_t i, int64_t iCount) {
  return iBlock * kBench_BlockSamples + i * kBench_BlockSamples / iCount;
}
int PitchOf(int64_t i) { return static_cast<int>(i & 0x7F); }

void AddWritten(int64_t iBlock, int64_t iCount, Bench_Read& ioWritten) {
  for (int64_t i = 0; i < iCount; ++i)
    ioWritten.Add(TimeOf(iBlock, i, iCount), static_cast<unsigned char>(PitchOf(i)));
}

// Writes and pulls in turn; one of the two is timed.
template <class Way>
void OneThread(benchmark::State& ioState, bool iIsWriteTimed) {
  Bench_PinThread(0);
  const auto wayP = std::make_unique<Way>();
  Bench_Read read, written;
  Clock::duration time{0};
  int64_t block = 0;
  for (int round = 0; round < kRounds; ++round, ++block) {
    AddWritten(block, kNotesOfARound, written);
    const auto start = Clock::now();
    for (int64_t i = 0; i < kNotesOfARound; ++i) {
      wayP->Write(0, TimeOf(block, i, kNotesOfARound), PitchOf(i));
    }
    const auto middle = Clock::now();
    wayP->PullBlock(block * kBench_BlockSamples, read);
    time += iIsWriteTimed ? middle - start : Clock::now() - middle;
  }
  if (!read.IsAllOf(written)) return ioState.SkipWithError("other notes were read than written");
  ioState.counters["ns"] = NanosecondsEach(time, kNotesOfARound * kRounds);
}

// ---- three writers and a reader ----

// How many of n notes writer w writes to a block.
int64_t ShareOf(std::size_t iWriter, int64_t iDue) {
  const auto writer = static_cast<int64_t>(iWriter);
  return iDue * (writer + 1) / static_cast<int64_t>(kBench_Writers) -
         iDue * writer / static_cast<int64_t>(kBench_Writers);
}

template <class Way>
class Blocks {
 public:
  // Every mStep-th block has notes, the others are empty; blocks with iIsTimedFull are timed, else the empty
  // ones.
  Blocks(int64_t iDue, int64_t iStep, bool iIsTimedFull)
      : mWayP(std::make_unique<Way>()), mDue(iDue), mStep(iStep), mIsTimedFull(iIsTimedFull) {}

  void Run(benchmark::State& ioState) {
    std::vector<std::thread> writers;
    for (std::size_t writer = 0; writer < kBench_Writers; ++writer)
      writers.emplace_back([this, writer] { Write(writer); });
    std::vector<double> times = ReadBlocks();
    for (std::thread& writer : writers) writer.join();
    if (!mRead.IsAllOf(Written())) return ioState.SkipWithError("other notes were read than written");
    ioState.counters["p50"] = Bench_Quantile(times, 0.5);
    ioState.counters["p99"] = Bench_Quantile(times, 0.99);
    ioState.counters["p999"] = Bench_Quantile(times, 0.999);
    ioState.counters["max"] = times.back();
  }

 private:
  int64_t AllBlocks() const { return kBlocks * mStep; }
  bool IsFull(int64_t iBlock) const { return iBlock % mStep == mStep - 1; }

  Bench_Read Written() const {
    Bench_Read written;
    for (int64_t block = mStep - 1; block < AllBlocks(); block += mStep) {
      for (std::size_t writer = 0; writer < kBench_Writers; ++writer)
        AddWritten(block, ShareOf(writer, mDue), written);
    }
    return written;
  }

  void Write(std::size_t iWriter) {
    Bench_PinThread(1);
    const int64_t share = ShareOf(iWriter, mDue);
    for (int64_t block = 0; block < AllBlocks(); ++block) {
      while (block >= mPulled.load(std::memory_order_acquire) + kAheadBlocks) std::this_thread::yield();
      for (int64_t i = 0; IsFull(block) && i < share; ++i) {
        mWayP->Write(iWriter, TimeOf(block, i, share), PitchOf(i));
      }
      mWritten[iWriter].mBlocks.store(block + 1, std::memory_order_release);
    }
  }

  // All writers are past the block, and still ahead by some: they write while it is pulled.
  bool IsReady(int64_t iBlock) const {
    const int64_t needed = std::min(iBlock + 4, AllBlocks());
    return std::all_of(mWritten.begin(), mWritten.end(), [needed](const Progress& iProgress) {
      return iProgress.mBlocks.load(std::memory_order_acquire) >= needed;
    });
  }

  std::vector<double> ReadBlocks() {
    Bench_PinThread(0);
    std::vector<double> times;
    times.reserve(kBlocks);
    for (int64_t block = 0; block < AllBlocks(); ++block) {
      while (!IsReady(block)) std::this_thread::yield();
      const auto start = Clock::now();
      mWayP->PullBlock(block * kBench_BlockSamples, mRead);
      const auto end = Clock::now();
      const bool isTimed = mStep == 1 || IsFull(block) == mIsTimedFull;
      if (isTimed && times.size() < kBlocks) times.push_back(NanosecondsEach(end - start, 1) / 1000.0);
      mPulled.store(block + 1, std::memory_order_release);
    }
    return times;
  }

  struct alignas(64) Progress {
    std::atomic<int64_t> mBlocks{0};
  };

  std::unique_ptr<Way> mWayP;
  const int64_t mDue;
  const int64_t mStep;
  const bool mIsTimedFull;
  Bench_Read mRead;
  std::array<Progress, kBench_Writers> mWritten;
  alignas(64) std::atomic<int64_t> mPulled{0};
};

template <class Way>
void EmptyPulls(benchmark::State& ioState) {
  Bench_PinThread(0);
  const auto wayP = std::make_unique<Way>();
  Bench_Read read;
  std::vector<double> times;
  times.reserve(kBlocks);
  for (int64_t block = 0; block < kBlocks; ++block) {
    const auto start = Clock::now();
    wayP->PullBlock(block * kBench_BlockSamples, read);
    times.push_back(NanosecondsEach(Clock::now() - start, 1) / 1000.0);
  }
  ioState.counters["p50"] = Bench_Quantile(times, 0.5);
  ioState.counters["p99"] = Bench_Quantile(times, 0.99);
  ioState.counters["p999"] = Bench_Quantile(times, 0.999);
  ioState.counters["max"] = times.back();
}

template <class Way>
void AddContender(const std::string& iName) {
  Bench_Add("write", iName, [](benchmark::State& ioState) { OneThread<Way>(ioState, true); });
  Bench_Add("pull and read", iName, [](benchmark::State& ioState) { OneThread<Way>(ioState, false); });
  Bench_Add("empty pull", iName, EmptyPulls<Way>);
  Bench_Add("block, 0 due", iName, [](benchmark::State& ioState) { Blocks<Way>(16, 2, false).Run(ioState); });
  for (const int64_t due : {16, 256}) {
    Bench_Add("block, " + std::to_string(due) + " due", iName,
              [due](benchmark::State& ioState) { Blocks<Way>(due, 1, true).Run(ioState); });
  }
}

}  // namespace

int main(int iArgumentCount, char** iArgumentsPP) {
  AddContender<Bench_MloxWay>(kBenchOurs);
  AddContender<MutexMultimap>("mutex+multimap");
  AddContender<MutexSortedVector>("mutex+vector");
  AddContender<MoodycamelHeap>("moodycamel+heap");
  Bench_Report report;
  report.mProgram = "delivery_bench";
  report.mMetrics = {{"ns", "ns", false},
                     {"p50", "us", false},
                     {"p99", "us", false},
                     {"p999", "us", false},
                     {"max", "us", false}};
  report.mGoals = {{"write", "ns", "", 150.0},
                   {"pull and read", "ns", "", 150.0},
                   {"block, 0 due", "p999", "best", 0.5},
                   {"block, 16 due", "p999", "best", 0.5},
                   {"block, 256 due", "p999", "best", 0.5}};
  report.mHead = {"blocks of 64 samples; reader on one core, three writers on the other",
                  "peers: std::mutex with std::pmr::multimap, std::mutex with a sorted std::vector, "
                  "moodycamel::ConcurrentQueue " MLOX_BENCH_CONCURRENTQUEUE " (Debian) drained into a heap"};
  return Bench_Main(iArgumentCount, iArgumentsPP, report);
}
