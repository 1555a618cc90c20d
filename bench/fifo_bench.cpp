// SPDX-License-Identifier: MIT
// What an element costs from Push to Pop: our FIFO beside three peers that carry pointers to the same
// elements.
//
// Rows. "n writers": n writers, all on one core, push as fast as they can what they have ready, each into its
// share of 262,144 elements of 64 bytes; the reader, on the other core, pops and adds up what the writers
// wrote, until all have come. "one thread": push one, pop one. Eight rounds a run; nanoseconds an element of
// wall time, and its inverse.
#include <concurrentqueue/concurrentqueue.h>

#include <atomic>
#include <boost/lockfree/queue.hpp>
#include <boost/version.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <memory_resource>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/bench_report.h"
#include "cmn/ps_atomicstructures.h"

namespace {

constexpr std::size_t kElements = std::size_t{1} << 18;
constexpr int kRounds = 8;

struct alignas(64) Element : SPSAtomicElementBase {
  std::uint64_t mPayload = 0;
};

class Mlox {
 public:
  class Writer {
   public:
    explicit Writer(Mlox& iQueue) : mQueueP(iQueue.mQueueP.get()) {}
    void Push(Element* iElementP) { mQueueP->Push(iElementP); }

   private:
    SPSAtomicQueue* mQueueP;
  };
  Element* Pop() { return static_cast<Element*>(mQueueP->Pop()); }

 private:
  std::unique_ptr<SPSAtomicQueue> mQueueP{gPSAtomicStructures->NewFifoQueue(0, 0)};
};

// With a token for each writer and for the reader, its fastest way; blocks for all elements from the start.
class Moodycamel {
 public:
  class Writer {
   public:
    explicit Writer(Moodycamel& iQueue) : mQueue(iQueue.mQueue), mToken(iQueue.mQueue) {}
    void Push(Element* iElementP) { mQueue.enqueue(mToken, iElementP); }

   private:
    moodycamel::ConcurrentQueue<Element*>& mQueue;
    moodycamel::ProducerToken mToken;
  };
  Element* Pop() {
    Element* elementP = nullptr;
    return mQueue.try_dequeue(mToken, elementP) ? elementP : nullptr;
  }

 private:
  moodycamel::ConcurrentQueue<Element*> mQueue{2 * kElements};
  moodycamel::ConsumerToken mToken{mQueue};
};

// Nodes for all elements from the start.
class Boost {
 public:
  class Writer {
   public:
    explicit Writer(Boost& iQueue) : mQueue(iQueue.mQueue) {}
    void Push(Element* iElementP) { mQueue.push(iElementP); }

   private:
    boost::lockfree::queue<Element*>& mQueue;
  };
  Element* Pop() {
    Element* elementP = nullptr;
    return mQueue.pop(elementP) ? elementP : nullptr;
  }

 private:
  boost::lockfree::queue<Element*> mQueue{kElements + 1};
};

// Its blocks come from a pool that has grown to its size before the first round: an emptied deque gives
// nearly all of them back.
class MutexDeque {
 public:
  MutexDeque() {
    mQueue.resize(kElements);
    mQueue.clear();
  }
  class Writer {
   public:
    explicit Writer(MutexDeque& iQueue) : mQueue(iQueue) {}
    void Push(Element* iElementP) {
      const std::lock_guard lock(mQueue.mMutex);
      mQueue.mQueue.push_back(iElementP);
    }

   private:
    MutexDeque& mQueue;
  };
  Element* Pop() {
    const std::lock_guard lock(mMutex);
    if (mQueue.empty()) return nullptr;
    Element* elementP = mQueue.front();
    mQueue.pop_front();
    return elementP;
  }

 private:
  std::mutex mMutex;
  std::pmr::unsynchronized_pool_resource mPool;
  std::pmr::deque<Element*> mQueue{&mPool};
};

std::vector<Element>& Elements() {
  static std::vector<Element> sElements(kElements);
  return sElements;
}

void Report(benchmark::State& ioState, std::chrono::nanoseconds iTime, std::uint64_t iSum) {
  constexpr std::uint64_t kExpected = kElements * (kElements + 1) / 2 * kRounds;
  if (iSum != kExpected) return ioState.SkipWithError("elements were lost or came twice");
  const double perElement = static_cast<double>(iTime.count()) / static_cast<double>(kElements * kRounds);
  ioState.counters["ns_per_element"] = perElement;
  ioState.counters["millions_per_second"] = 1000.0 / perElement;
}

template <class Queue>
void OneThread(benchmark::State& ioState) {
  Bench_PinThread(0);
  Queue queue;
  typename Queue::Writer writer(queue);
  std::uint64_t sum = 0;
  const auto start = std::chrono::steady_clock::now();
  for (int round = 0; round < kRounds; ++round) {
    std::uint64_t payload = 0;
    for (Element& element : Elements()) {
      element.mPayload = ++payload;
      writer.Push(&element);
      sum += queue.Pop()->mPayload;
    }
  }
  Report(ioState, std::chrono::steady_clock::now() - start, sum);
}

// One round: the writers wait at the gate, so that starting them isn't measured.
template <class Queue>
std::chrono::nanoseconds RunRound(Queue& ioQueue, std::size_t iWriters, std::uint64_t& ioSum) {
  std::atomic<std::size_t> ready{0};
  std::atomic<bool> isOpen{false};
  std::vector<std::thread> writers;
  for (std::size_t writer = 0; writer < iWriters; ++writer) {
    writers.emplace_back([&, writer] {
      Bench_PinThread(1);
      typename Queue::Writer pusher(ioQueue);
      const std::size_t first = kElements * writer / iWriters;
      const std::size_t end = kElements * (writer + 1) / iWriters;
      ready.fetch_add(1);
      while (!isOpen.load()) std::this_thread::yield();
      for (std::size_t i = first; i < end; ++i) {
        Element& element = Elements()[i];
        element.mPayload = i + 1;
        pusher.Push(&element);
      }
    });
  }
  while (ready.load() != iWriters) std::this_thread::yield();
  const auto start = std::chrono::steady_clock::now();
  isOpen.store(true);
  for (std::size_t popped = 0; popped < kElements;) {
    const Element* elementP = ioQueue.Pop();
    if (elementP == nullptr) continue;
    ioSum += elementP->mPayload;
    ++popped;
  }
  const auto time = std::chrono::steady_clock::now() - start;
  for (std::thread& writer : writers) writer.join();
  return time;
}

template <class Queue>
void Writers(benchmark::State& ioState, std::size_t iWriters) {
  Bench_PinThread(0);
  Queue queue;
  std::chrono::nanoseconds time{0};
  std::uint64_t sum = 0;
  for (int round = 0; round < kRounds; ++round) time += RunRound(queue, iWriters, sum);
  Report(ioState, time, sum);
}

template <class Queue>
void AddContender(const std::string& iName) {
  for (const std::size_t writers : {std::size_t{1}, std::size_t{2}, std::size_t{4}}) {
    Bench_Add(std::to_string(writers) + (writers == 1 ? " writer" : " writers"), iName,
              [writers](benchmark::State& ioState) { Writers<Queue>(ioState, writers); });
  }
  Bench_Add("one thread", iName, OneThread<Queue>);
}

}  // namespace

int main(int iArgumentCount, char** iArgumentsPP) {
  AddContender<Mlox>(kBenchOurs);
  AddContender<Moodycamel>("moodycamel");
  AddContender<Boost>("boost");
  AddContender<MutexDeque>("mutex+deque");
  Bench_Report report;
  report.mProgram = "fifo_bench";
  report.mMetrics = {{"ns_per_element", "ns", false}, {"millions_per_second", "M/s", true}};
  report.mGoals = {{"1 writer", "ns_per_element", "best", 1.0},
                   {"2 writers", "ns_per_element", "best", 1.0},
                   {"4 writers", "ns_per_element", "best", 1.0},
                   {"2 writers", "millions_per_second", "boost", 3.0},
                   {"4 writers", "millions_per_second", "boost", 3.0}};
  report.mHead = {"reader on one core, writers on the other",
                  "peers: moodycamel::ConcurrentQueue " MLOX_BENCH_CONCURRENTQUEUE
                  " (Debian), boost::lockfree::queue " BOOST_LIB_VERSION ", std::mutex with std::deque"};
  return Bench_Main(iArgumentCount, iArgumentsPP, report);
}
