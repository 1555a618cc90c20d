// SPDX-License-Identifier: MIT
#include "cmn/ps_atomicfifo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace {

struct Item : SPSAtomicElementBase {
  explicit Item(int iNumber = 0) : mNumber(iNumber) {}
  int mNumber;
};

// A seam that runs a hook on the calling thread. A push or pop that the hook makes in the middle of a push is
// what another thread would do while this writer is stopped there.
struct HookSeam {
  static inline std::function<void(PSFifoPoint)> sHook;
  static void At(PSFifoPoint iPoint) {
    const auto hook = sHook;  // a copy: hooks replace themselves while they run
    if (hook) hook(iPoint);
  }
};

using HookFifo = PSAtomicFifo<HookSeam>;

int NumberOf(SPSAtomicElementBase* iElementP) {
  return iElementP == nullptr ? -1 : static_cast<Item*>(iElementP)->mNumber;
}

template <class Fifo>
std::vector<int> PopAll(Fifo& ioFifo) {
  std::vector<int> numbers;
  while (SPSAtomicElementBase* elementP = ioFifo.Pop()) numbers.push_back(NumberOf(elementP));
  return numbers;
}

std::vector<int> NumbersOfChain(SPSAtomicElementBase* iElementP) {
  std::vector<int> numbers;
  for (; iElementP != nullptr; iElementP = iElementP->GetNextInChain())
    numbers.push_back(NumberOf(iElementP));
  return numbers;
}

class PSAtomicFifoTest : public testing::Test {
 protected:
  PSAtomicFifoTest() {
    for (int number = 0; number < 2000; ++number) mItems.emplace_back(number);
  }
  ~PSAtomicFifoTest() override { HookSeam::sHook = nullptr; }

  // Pushes mItems[iNumber] and makes every attempt at the head fail, by a push of the next spare item (1000
  // and up) in each; iInside runs at every later point of that push.
  void PushPastHead(int iNumber, const std::function<void(PSFifoPoint)>& iInside = nullptr) {
    auto outerHook = HookSeam::sHook;
    HookSeam::sHook = [this, iInside](PSFifoPoint iPoint) {
      auto hook = HookSeam::sHook;
      HookSeam::sHook = nullptr;
      if (iPoint == PSFifoPoint::kBeforeHead) {
        mFifo.Push(&mItems[static_cast<std::size_t>(mNextSpare++)]);
      } else if (iInside) {
        iInside(iPoint);
      }
      HookSeam::sHook = hook;
    };
    mFifo.Push(&mItems[static_cast<std::size_t>(iNumber)]);
    HookSeam::sHook = outerHook;
  }

  void Push(int iNumber) { mFifo.Push(&mItems[static_cast<std::size_t>(iNumber)]); }

  // The popped numbers without the spare ones.
  std::vector<int> PopAllNumbered() {
    std::vector<int> numbers = PopAll(mFifo);
    numbers.erase(std::remove_if(numbers.begin(), numbers.end(), [](int iNumber) { return iNumber >= 1000; }),
                  numbers.end());
    return numbers;
  }

  std::vector<Item> mItems;
  HookFifo mFifo;
  int mNextSpare = 1000;
};

TEST_F(PSAtomicFifoTest, AnElementIs16Bytes) { EXPECT_EQ(sizeof(SPSAtomicElementBase), 16u); }

TEST_F(PSAtomicFifoTest, EmptyQueueGivesNull) {
  EXPECT_EQ(mFifo.Pop(), nullptr);
  EXPECT_EQ(mFifo.TakeAll(), nullptr);
  mFifo.TakeIn();
  EXPECT_EQ(mFifo.Pop(), nullptr);
}

TEST_F(PSAtomicFifoTest, PopsInOrderOfPush) {
  for (int number : {4, 2, 9}) Push(number);
  EXPECT_EQ(PopAll(mFifo), (std::vector<int>{4, 2, 9}));
}

TEST_F(PSAtomicFifoTest, PushesBetweenPopsKeepTheirOrder) {
  Push(1);
  Push(2);
  EXPECT_EQ(NumberOf(mFifo.Pop()), 1);
  Push(3);
  mFifo.TakeIn();
  Push(4);
  EXPECT_EQ(PopAll(mFifo), (std::vector<int>{2, 3, 4}));
}

TEST_F(PSAtomicFifoTest, APoppedElementCanBePushedAgain) {
  Push(1);
  Push(2);
  EXPECT_EQ(NumberOf(mFifo.Pop()), 1);
  Push(1);
  EXPECT_EQ(PopAll(mFifo), (std::vector<int>{2, 1}));
}

TEST_F(PSAtomicFifoTest, TakeAllGivesTheChainOldestFirstAndLeavesNothing) {
  Push(1);
  Push(2);
  Push(3);
  EXPECT_EQ(NumberOf(mFifo.Pop()), 1);
  Push(4);
  EXPECT_EQ(NumbersOfChain(mFifo.TakeAll()), (std::vector<int>{2, 3, 4}));
  EXPECT_EQ(mFifo.Pop(), nullptr);
  Push(5);
  EXPECT_EQ(PopAll(mFifo), (std::vector<int>{5}));
}

TEST_F(PSAtomicFifoTest, TakeAllTakesWhatTakeInHasPutInOrder) {
  Push(1);
  Push(2);
  mFifo.TakeIn();
  EXPECT_EQ(NumbersOfChain(mFifo.TakeAll()), (std::vector<int>{1, 2}));
  Push(3);
  mFifo.TakeIn();
  EXPECT_EQ(PopAll(mFifo), (std::vector<int>{3}));
}

TEST_F(PSAtomicFifoTest, AWriterStoppedBeforeTheHeadHidesNoFinishedPush) {
  int attempts = 0;
  HookSeam::sHook = [&](PSFifoPoint) {
    if (attempts++ != 0) return;
    Push(2);
    EXPECT_EQ(NumberOf(mFifo.Pop()), 2);
    EXPECT_EQ(mFifo.Pop(), nullptr);
  };
  Push(1);
  EXPECT_GT(attempts, 0);
  HookSeam::sHook = nullptr;
  EXPECT_EQ(PopAll(mFifo), (std::vector<int>{1}));
}

TEST_F(PSAtomicFifoTest, EightLostAttemptsLeadIntoALane) {
  std::vector<PSFifoPoint> points;
  PushPastHead(1, [&](PSFifoPoint iPoint) { points.push_back(iPoint); });
  EXPECT_EQ(mNextSpare, 1008);
  EXPECT_EQ(points, (std::vector<PSFifoPoint>{PSFifoPoint::kInsideLane, PSFifoPoint::kBeforeMark}));
  EXPECT_EQ(PopAll(mFifo), (std::vector<int>{1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007, 1}));
}

TEST_F(PSAtomicFifoTest, AWriterStoppedInsideALaneHidesNoFinishedPush) {
  PushPastHead(1, [&](PSFifoPoint iPoint) {
    if (iPoint != PSFifoPoint::kInsideLane) return;
    Push(2);
    PushPastHead(3);
    Push(4);
    EXPECT_EQ(PopAllNumbered(), (std::vector<int>{2, 3, 4}));
  });
  EXPECT_EQ(PopAllNumbered(), (std::vector<int>{1}));
}

TEST_F(PSAtomicFifoTest, AWriterStoppedBeforeItsMarkHidesNoFinishedPush) {
  PushPastHead(1, [&](PSFifoPoint iPoint) {
    if (iPoint != PSFifoPoint::kBeforeMark) return;
    PushPastHead(2);
    Push(3);
    EXPECT_EQ(PopAllNumbered(), (std::vector<int>{2, 3}));
  });
  EXPECT_EQ(PopAllNumbered(), (std::vector<int>{1}));
}

TEST_F(PSAtomicFifoTest, ATakerThatEmptiesTheLaneUnderItsWriterLosesNothing) {
  PushPastHead(1);
  PushPastHead(2, [&](PSFifoPoint iPoint) {
    if (iPoint != PSFifoPoint::kInsideLane) return;
    EXPECT_EQ(PopAllNumbered(), (std::vector<int>{1}));
  });
  EXPECT_EQ(PopAllNumbered(), (std::vector<int>{2}));
}

TEST_F(PSAtomicFifoTest, FinishedLanePushComesBeforeLaterHeadPush) {
  PushPastHead(1);
  Push(2);
  EXPECT_EQ(PopAllNumbered(), (std::vector<int>{1, 2}));
}

TEST_F(PSAtomicFifoTest, FinishedHeadPushComesBeforeLaterLanePush) {
  Push(1);
  PushPastHead(2);
  Push(3);
  PushPastHead(4);
  EXPECT_EQ(PopAllNumbered(), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(PSAtomicFifoTest, ALanePushThatOvertakesTheHeadLookIsHeldBackUntilTheHeadPushBeforeItIsThere) {
  // While the reader has the second head and not yet the lanes, one push finishes on the head, then one in a
  // lane: the lane's is in this look, the head's is not, and must still come first.
  PushPastHead(1);
  bool hasRun = false;
  HookSeam::sHook = [&](PSFifoPoint iPoint) {
    if (iPoint != PSFifoPoint::kSecondHeadTaken || hasRun) return;
    hasRun = true;
    auto hook = HookSeam::sHook;
    HookSeam::sHook = nullptr;
    Push(2);
    PushPastHead(3);
    HookSeam::sHook = hook;
  };
  EXPECT_EQ(PopAllNumbered(), (std::vector<int>{1, 2, 3}));
  EXPECT_TRUE(hasRun);
}

TEST_F(PSAtomicFifoTest, TakeAllTakesHeldBackElementsToo) {
  PushPastHead(1);
  HookSeam::sHook = [&](PSFifoPoint iPoint) {
    if (iPoint != PSFifoPoint::kSecondHeadTaken) return;
    HookSeam::sHook = nullptr;
    Push(2);
    PushPastHead(3);
  };
  std::vector<int> numbers;
  for (int i = 0; i < 9; ++i) numbers.push_back(NumberOf(mFifo.Pop()));  // eight spare ones and number 1
  EXPECT_EQ(numbers.back(), 1);
  const std::vector<int> chain = NumbersOfChain(mFifo.TakeAll());
  EXPECT_EQ(chain.size(), 10u);
  EXPECT_EQ(chain.front(), 2);
  EXPECT_EQ(chain.back(), 3);
  EXPECT_EQ(mFifo.Pop(), nullptr);
  Push(4);
  EXPECT_EQ(PopAll(mFifo), (std::vector<int>{4}));
}

// Stops iDepth writers, each in a lane of its own, then runs iAction.
class PSAtomicFifoCrowdTest : public PSAtomicFifoTest {
 protected:
  void StopWritersInLanes(int iDepth, const std::function<void()>& iAction) {
    if (iDepth == 0) return iAction();
    PushPastHead(500 + iDepth, [this, iDepth, iAction](PSFifoPoint iPoint) {
      if (iPoint == PSFifoPoint::kInsideLane) StopWritersInLanes(iDepth - 1, iAction);
    });
  }

  int mFoundEarly = 0;
};

TEST_F(PSAtomicFifoCrowdTest, WithAllLanesButOneClaimedAPushStillFindsItsLane) {
  StopWritersInLanes(62, [this] {
    std::vector<PSFifoPoint> points;
    PushPastHead(1, [&](PSFifoPoint iPoint) { points.push_back(iPoint); });
    EXPECT_EQ(points, (std::vector<PSFifoPoint>{PSFifoPoint::kInsideLane, PSFifoPoint::kBeforeMark}));
    EXPECT_EQ(PopAllNumbered(), (std::vector<int>{1}));
  });
  EXPECT_EQ(PopAllNumbered().size(), 62u);
}

TEST_F(PSAtomicFifoCrowdTest, WithAllLanesClaimedAPushOverflowsAndIsFoundByTheNextPop) {
  StopWritersInLanes(63, [this] {
    std::vector<PSFifoPoint> points;
    PushPastHead(1, [&](PSFifoPoint iPoint) { points.push_back(iPoint); });
    EXPECT_EQ(points, (std::vector<PSFifoPoint>{PSFifoPoint::kInsideOverflow}));
    PushPastHead(2);
    Push(3);
    EXPECT_EQ(PopAllNumbered(), (std::vector<int>{1, 2, 3}));
    PushPastHead(4);
    EXPECT_EQ(NumbersOfChain(mFifo.TakeAll()).back(), 4);
  });
  EXPECT_EQ(PopAllNumbered().size(), 63u);
}

TEST_F(PSAtomicFifoCrowdTest, AWriterStoppedInTheOverflowLosesNothing) {
  StopWritersInLanes(63, [this] {
    PushPastHead(1, [&](PSFifoPoint) {
      PushPastHead(2);
      Push(3);
      // Number 3 went over the head: it is found whatever the overflow does.
      const std::vector<int> found = PopAllNumbered();
      EXPECT_EQ(std::count(found.begin(), found.end(), 3), 1);
      EXPECT_EQ(std::count(found.begin(), found.end(), 1), 0);
      mFoundEarly = static_cast<int>(found.size());
    });
    const std::vector<int> rest = PopAllNumbered();
    EXPECT_EQ(std::count(rest.begin(), rest.end(), 1), 1);
    EXPECT_EQ(mFoundEarly + static_cast<int>(rest.size()), 3);
  });
  EXPECT_EQ(PopAllNumbered().size(), 63u);
}

// ---- random schedules ----

// Plays random schedules on one thread: at each point of an operation, other writers push (and may be stopped
// in turn), the reader reads, somebody takes all. Notes when each push began and ended, by a step counter,
// and checks what comes out against that.
class Schedule {
 public:
  explicit Schedule(std::uint32_t iSeed) : mRandom(iSeed), mItems(kItems) {
    for (std::size_t i = 0; i < kItems; ++i) mItems[i].mNumber = static_cast<int>(i);
  }
  ~Schedule() { HookSeam::sHook = nullptr; }

  void Run() {
    HookSeam::sHook = [this](PSFifoPoint iPoint) { Interfere(iPoint); };
    while (mNextItem < kItems) RandomOperation(false);
    HookSeam::sHook = nullptr;
    while (Read()) {
    }
    CheckPopped();
    EXPECT_EQ(mPopped.size() + mTakenCount, kItems);
  }

  std::size_t mLanePushes = 0;

 private:
  static constexpr std::size_t kItems = 300;
  static constexpr int kMaxDepth = 6;

  struct Note {
    int mBegan = 0;
    int mEnded = std::numeric_limits<int>::max();
    bool mIsOut = false;
  };

  bool Chance(unsigned iOneIn) { return mRandom() % iOneIn == 0; }

  void RandomOperation(bool iOnlyWriters) {
    const unsigned choice = mRandom() % 16;
    if (choice < 9 || (iOnlyWriters && choice < 15)) return Push();
    if (choice == 15 && Chance(4)) return TakeAll();
    if (iOnlyWriters) return;
    if (choice == 9) {
      mIsReading = true;
      mFifo.TakeIn();
      mIsReading = false;
    } else {
      Read();
    }
  }

  void Interfere(PSFifoPoint iPoint) {
    if (iPoint == PSFifoPoint::kInsideLane) ++mLanePushes;
    if (mDepth >= kMaxDepth) return;
    // A push that has met one rival at the head meets more of them, else lanes would stay rare.
    const bool isRival = iPoint == PSFifoPoint::kBeforeHead && mIsCrowded;
    if (!isRival && !Chance(3)) return;
    const bool wasCrowded = mIsCrowded;
    mIsCrowded = false;
    ++mDepth;
    if (isRival) {
      Push();
    } else {
      RandomOperation(mIsReading);
    }
    --mDepth;
    mIsCrowded = wasCrowded;
  }

  void Push() {
    if (mNextItem == kItems) return;
    const std::size_t index = mNextItem++;
    const bool wasCrowded = mIsCrowded;
    mIsCrowded = Chance(3);
    mNotes[index].mBegan = ++mStep;
    mFifo.Push(&mItems[index]);
    mNotes[index].mEnded = ++mStep;
    mIsCrowded = wasCrowded;
  }

  bool Read() {
    const int began = ++mStep;
    mIsReading = true;
    SPSAtomicElementBase* elementP = mFifo.Pop();
    mIsReading = false;
    if (elementP != nullptr) {
      TakeOut(elementP);
      mPopped.push_back(NumberOf(elementP));
      return true;
    }
    for (std::size_t i = 0; i < mNextItem; ++i) {
      EXPECT_FALSE(mNotes[i].mEnded < began && !mNotes[i].mIsOut) << "finished push " << i << " not found";
    }
    return false;
  }

  void TakeAll() {
    SPSAtomicElementBase* elementP = mFifo.TakeAll();
    while (elementP != nullptr) {
      SPSAtomicElementBase* nextP = elementP->GetNextInChain();
      TakeOut(elementP);
      ++mTakenCount;
      elementP = nextP;
    }
  }

  void TakeOut(SPSAtomicElementBase* iElementP) {
    Note& note = mNotes[static_cast<std::size_t>(NumberOf(iElementP))];
    EXPECT_FALSE(note.mIsOut) << "an element came twice";
    note.mIsOut = true;
  }

  // None that had been finished before another began comes behind it.
  void CheckPopped() {
    int earliestEnd = std::numeric_limits<int>::max();
    for (auto number = mPopped.rbegin(); number != mPopped.rend(); ++number) {
      const Note& note = mNotes[static_cast<std::size_t>(*number)];
      EXPECT_GT(earliestEnd, note.mBegan) << "element " << *number << " came too early";
      earliestEnd = std::min(earliestEnd, note.mEnded);
    }
  }

  std::mt19937 mRandom;
  HookFifo mFifo;
  std::vector<Item> mItems;
  std::vector<Note> mNotes{kItems};
  std::vector<int> mPopped;
  std::size_t mNextItem = 0;
  std::size_t mTakenCount = 0;
  int mStep = 0;
  int mDepth = 0;
  bool mIsCrowded = false;
  bool mIsReading = false;
};

TEST(PSAtomicFifoScheduleTest, OrderAndVisibilityHoldInRandomSchedules) {
  std::size_t lanePushes = 0;
  for (std::uint32_t seed = 1; seed <= 3000; ++seed) {
    SCOPED_TRACE(seed);
    Schedule schedule(seed);
    schedule.Run();
    lanePushes += schedule.mLanePushes;
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(lanePushes, 3000u) << "the schedules don't reach the lanes any more";
}

// ---- threads ----

struct Ticketed : SPSAtomicElementBase {
  int mWriter = 0;
  int mNumber = 0;
};

// Now and then a push gives way at each of its points, so that it loses the head to others and ends up in a
// lane.
struct YieldSeam {
  static inline std::atomic<std::uint64_t> sLanePushes{0};
  static inline thread_local std::uint32_t sState = 1;
  static inline thread_local int sYields = 0;
  static void At(PSFifoPoint iPoint) {
    if (iPoint == PSFifoPoint::kInsideLane) sLanePushes.fetch_add(1, std::memory_order_relaxed);
    sState = sState * 1664525u + 1013904223u;
    if (sYields == 0 && sState >> 26 == 0) sYields = 10;
    if (sYields == 0) return;
    --sYields;
    std::this_thread::yield();
  }
};

constexpr int kWriters = 4;
constexpr int kPerWriter = 20000;
constexpr int kMostRounds = 50;  // until threads have met

template <class Fifo>
class Stress {
 public:
  Stress() : mElements(kWriters * kPerWriter) {
    for (int writer = 0; writer < kWriters; ++writer) {
      for (int number = 0; number < kPerWriter; ++number) {
        Ticketed& element = mElements[static_cast<std::size_t>(writer * kPerWriter + number)];
        element.mWriter = writer;
        element.mNumber = number;
      }
      mWriters.emplace_back([this, writer] {
        for (int number = 0; number < kPerWriter; ++number) {
          mFifo.Push(&mElements[static_cast<std::size_t>(writer * kPerWriter + number)]);
        }
        mFinished.fetch_add(1);
      });
    }
  }
  ~Stress() {
    for (std::thread& writer : mWriters) writer.join();
  }
  bool IsFinished() const { return mFinished.load() == kWriters; }

  std::vector<Ticketed> mElements;
  Fifo mFifo;
  std::vector<std::thread> mWriters;
  std::atomic<int> mFinished{0};
};

template <class Fifo>
void ReadAllInOrder() {
  Stress<Fifo> stress;
  std::vector<int> next(kWriters, 0);
  int count = 0;
  while (count < kWriters * kPerWriter) {
    auto* elementP = static_cast<Ticketed*>(stress.mFifo.Pop());
    if (elementP == nullptr) {
      std::this_thread::yield();
      continue;
    }
    ASSERT_EQ(elementP->mNumber, next[static_cast<std::size_t>(elementP->mWriter)]++);
    if (++count % 100 == 0) stress.mFifo.TakeIn();
  }
  EXPECT_EQ(stress.mFifo.Pop(), nullptr);
}

TEST(PSAtomicFifoStressTest, EachWritersElementsComeOnceAndInOrder) { ReadAllInOrder<PSAtomicFifo<>>(); }

TEST(PSAtomicFifoStressTest, EachWritersElementsComeOnceAndInOrderWhileWritersAreHeldUp) {
  YieldSeam::sLanePushes = 0;
  // On a loaded machine the writers may run one after the other, and then none meets another.
  for (int round = 0; round < kMostRounds && YieldSeam::sLanePushes == 0; ++round) {
    ASSERT_NO_FATAL_FAILURE(ReadAllInOrder<PSAtomicFifo<YieldSeam>>());
  }
  EXPECT_GT(YieldSeam::sLanePushes.load(), 0u) << "no push met enough others";
}

// What one round gave to each of the two readers.
struct Shares {
  int mPopped = 0;
  int mTaken = 0;
};

Shares PopAndTakeAll() {
  Stress<PSAtomicFifo<YieldSeam>> stress;
  std::vector<std::atomic<int>> seen(stress.mElements.size());
  auto note = [&](SPSAtomicElementBase* iElementP) {
    auto* elementP = static_cast<Ticketed*>(iElementP);
    seen[static_cast<std::size_t>(elementP->mWriter * kPerWriter + elementP->mNumber)].fetch_add(1);
  };
  std::atomic<int> taken{0};
  std::thread taker([&] {
    while (!stress.IsFinished()) {
      for (SPSAtomicElementBase* elementP = stress.mFifo.TakeAll(); elementP != nullptr; ++taken) {
        SPSAtomicElementBase* nextP = elementP->GetNextInChain();
        note(elementP);
        elementP = nextP;
      }
      std::this_thread::yield();
    }
  });
  int popped = 0;
  while (!stress.IsFinished()) {
    if (SPSAtomicElementBase* elementP = stress.mFifo.Pop()) {
      note(elementP);
      ++popped;
    } else {
      std::this_thread::yield();
    }
  }
  taker.join();
  while (SPSAtomicElementBase* elementP = stress.mFifo.Pop()) {
    note(elementP);
    ++popped;
  }
  EXPECT_EQ(popped + taken.load(), kWriters * kPerWriter);
  EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](const auto& iCount) { return iCount.load() == 1; }));
  return {popped, taken.load()};
}

TEST(PSAtomicFifoStressTest, TakeAllMayMeetPopAndNothingIsLost) {
  Shares shares;
  // On a loaded machine all may be over before one of the readers has its turn.
  for (int round = 0; round < kMostRounds && (shares.mPopped == 0 || shares.mTaken == 0); ++round) {
    shares = PopAndTakeAll();
  }
  EXPECT_GT(shares.mPopped, 0);
  EXPECT_GT(shares.mTaken, 0);
}

// Stops one thread at a chosen point of its push until it is let go.
struct StopSeam {
  static inline std::atomic<int> sStopAt{-1};
  static inline std::atomic<bool> sIsStopped{false};
  static inline std::atomic<bool> sMayGo{false};
  static inline thread_local std::function<void()> sRival;
  static inline thread_local bool sIsVictim = false;
  static void At(PSFifoPoint iPoint) {
    if (!sIsVictim) return;
    if (static_cast<int>(iPoint) == sStopAt.load()) {
      sIsStopped.store(true);
      while (!sMayGo.load()) std::this_thread::yield();
    } else if (iPoint == PSFifoPoint::kBeforeHead) {
      sIsVictim = false;
      sRival();
      sIsVictim = true;
    }
  }
};

class PSAtomicFifoStoppedWriterTest : public testing::TestWithParam<PSFifoPoint> {};

TEST_P(PSAtomicFifoStoppedWriterTest, OthersFinishedPushesArePoppedWhileItStands) {
  using Fifo = PSAtomicFifo<StopSeam>;
  Fifo fifo;
  std::vector<Ticketed> elements(2000);
  for (int i = 0; i < 2000; ++i) elements[static_cast<std::size_t>(i)].mNumber = i;
  StopSeam::sStopAt = static_cast<int>(GetParam());
  StopSeam::sIsStopped = false;
  StopSeam::sMayGo = false;
  std::thread victim([&] {
    std::size_t rival = 1000;
    StopSeam::sRival = [&] { fifo.Push(&elements[rival++]); };
    StopSeam::sIsVictim = true;
    fifo.Push(&elements[0]);
    StopSeam::sIsVictim = false;
  });
  while (!StopSeam::sIsStopped.load()) std::this_thread::yield();
  while (fifo.Pop() != nullptr) {  // the rivals that led the writer where it stands
  }
  for (std::size_t i = 1; i < 900; ++i) {
    fifo.Push(&elements[i]);
    auto* elementP = static_cast<Ticketed*>(fifo.Pop());
    ASSERT_NE(elementP, nullptr);
    EXPECT_EQ(elementP->mNumber, static_cast<int>(i));
  }
  EXPECT_EQ(fifo.Pop(), nullptr);
  StopSeam::sMayGo = true;
  victim.join();
  if (GetParam() != PSFifoPoint::kBeforeMark) {
    auto* elementP = static_cast<Ticketed*>(fifo.Pop());
    ASSERT_NE(elementP, nullptr);
    EXPECT_EQ(elementP->mNumber, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Points, PSAtomicFifoStoppedWriterTest,
                         testing::Values(PSFifoPoint::kBeforeHead, PSFifoPoint::kInsideLane));

}  // namespace
