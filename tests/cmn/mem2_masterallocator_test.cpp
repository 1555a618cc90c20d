// SPDX-License-Identifier: MIT
#include "cmn/mem2_masterallocator.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <span>
#include <thread>
#include <utility>
#include <vector>

#include "cmn/ps_util.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/sanitizers.h"

namespace {

using Counters = Mem2_MasterAllocator::Counters;
using Presize = Mem2_MasterAllocator::Presize;

// How often the shared pool had to grow for one block of each of these sizes, before any test has made it
// grow for one of its own.
uint64_t GrowthOfTheSharedPool() {
  Mem2_MasterAllocator& pool = Mem2_MasterAllocator::Shared();
  for (const int size : {112, 240, 496, 1024, 4096, 16384, 65536})
    pool.Free(pool.Alloc(size, nullptr), nullptr);
  return pool.GetCounters().mGrownInPlace;
}
const uint64_t sGrowthOfTheSharedPoolAtLoad = GrowthOfTheSharedPool();

bool IsAligned(const void* iBlockP) { return reinterpret_cast<std::uintptr_t>(iBlockP) % 16 == 0; }

TEST(Mem2_MasterAllocatorTest, ABlockHoldsWhatWasAskedForAndIsAlignedTo16) {
  Mem2_MasterAllocator pool;
  for (const int size : {0, 1, 47, 48, 49, 112, 136, 1008, 1009, 1025, 4096, 100000}) {
    SCOPED_TRACE(size);
    void* blockP = pool.Alloc(size, nullptr);
    ASSERT_NE(blockP, nullptr);
    EXPECT_TRUE(IsAligned(blockP));
    std::memset(blockP, 0x5A, static_cast<std::size_t>(size));
    pool.Free(blockP, nullptr);
  }
  EXPECT_EQ(pool.GetCounters().mBlocksInUse, 0u);
  EXPECT_EQ(pool.GetCounters().mRefused, 0u);
}

TEST(Mem2_MasterAllocatorTest, BlocksOfAllSizesDontOverlap) {
  Mem2_MasterAllocator pool;
  std::vector<std::pair<unsigned char*, std::size_t>> blocks;
  unsigned char mark = 0;
  for (int size = 1; size < 300000; size = size * 5 / 4 + 1) {
    auto* blockP = static_cast<unsigned char*>(pool.Alloc(size, nullptr));
    ASSERT_NE(blockP, nullptr);
    std::memset(blockP, ++mark, static_cast<std::size_t>(size));
    blocks.emplace_back(blockP, static_cast<std::size_t>(size));
  }
  mark = 0;
  for (const auto& [blockP, size] : blocks) {
    ++mark;
    EXPECT_EQ(blockP[0], mark);
    EXPECT_EQ(blockP[size - 1], mark);
    pool.Free(blockP, nullptr);
  }
  EXPECT_EQ(pool.GetCounters().mBlocksInUse, 0u);
}

TEST(Mem2_MasterAllocatorTest, BlocksOfSeveralMegabytesComeAndGo) {
  const Presize presize[] = {{64, 64}};
  Mem2_MasterAllocator pool(presize);
  constexpr int kSize = 5 * 1024 * 1024;
  auto* blockP = static_cast<char*>(pool.Alloc(kSize, nullptr));
  ASSERT_NE(blockP, nullptr);
  blockP[0] = 1;
  blockP[kSize - 1] = 2;
  pool.Free(blockP, nullptr);
  const std::uint64_t bytes = pool.GetCounters().mBytes;
  EXPECT_EQ(pool.Alloc(kSize, nullptr), blockP) << "the pool kept the block";
  EXPECT_EQ(pool.GetCounters().mBytes, bytes);
  pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, SizesThatCantBeAreRefusedWithNullAndCounted) {
  Mem2_MasterAllocator pool;
  EXPECT_EQ(pool.Alloc(-1, nullptr), nullptr);
  EXPECT_EQ(pool.Alloc(INT_MIN, nullptr), nullptr);
  EXPECT_EQ(pool.Alloc(INT_MAX, nullptr), nullptr);
  EXPECT_EQ(pool.Alloc(Mem2_MasterAllocator::kMaxBlockSize + 1, nullptr), nullptr);
  EXPECT_EQ(pool.GetCounters().mRefused, 4u);
}

TEST(Mem2_MasterAllocatorTest, WithoutMemoryInTheSystemTheAnswerIsNull) {
  const Presize presize[] = {{64, 64}};
  Mem2_MasterAllocator pool(presize);
  // Every block of the largest size must be mapped; the address space that the process may have ends first.
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_DATA, &before), 0);
  rlimit tight = before;
  tight.rlim_cur = 64 * 1024 * 1024;
  ASSERT_EQ(setrlimit(RLIMIT_DATA, &tight), 0);
  void* blockP = pool.Alloc(200 * 1024 * 1024, nullptr);
  ASSERT_EQ(setrlimit(RLIMIT_DATA, &before), 0);
  EXPECT_EQ(blockP, nullptr);
  EXPECT_EQ(pool.GetCounters().mRefused, 1u);
  EXPECT_EQ(pool.GetCounters().mGrownInPlace, 0u);
}

TEST(Mem2_MasterAllocatorTest, FreeOfNullIsIgnored) {
  Test_AssertRecorder recorder;
  Mem2_MasterAllocator pool;
  pool.Free(nullptr, nullptr);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST(Mem2_MasterAllocatorTest, ASecondFreeIsReportedAndIgnored) {
  Mem2_MasterAllocator pool;
  void* blockP = pool.Alloc(136, nullptr);
  void* otherP = pool.Alloc(136, nullptr);
  pool.Free(blockP, nullptr);
  Test_AssertRecorder recorder;
  pool.Free(blockP, nullptr);
  EXPECT_EQ(recorder.Count("(before & mask) == 0"), 1);
  EXPECT_EQ(pool.GetCounters().mBadFrees, 1u);
  EXPECT_EQ(pool.GetCounters().mBlocksInUse, 1u);
  pool.Free(otherP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, ABlockFromElsewhereIsReportedAndIgnored) {
  Mem2_MasterAllocator pool;
  Test_AssertRecorder recorder;
  alignas(16) unsigned char memory[64] = {};
  pool.Free(memory + 32, nullptr);
  EXPECT_EQ(recorder.Count("headerP->mMagic == kMagic"), 1);
}

TEST(Mem2_MasterAllocatorTest, StatisticsArePassedThroughUntouched) {
  Mem2_MasterAllocator pool;
  Mem2_MasterAllocator::Statistics statistics;
  statistics.mNameP = "name";
  statistics.mUser[0] = 1;
  statistics.mUser[1] = 2;
  statistics.mUser[2] = 3;
  const Mem2_MasterAllocator::Statistics before = statistics;
  pool.Free(pool.Alloc(136, &statistics), &statistics);
  EXPECT_EQ(std::memcmp(&statistics, &before, sizeof before), 0);
}

TEST(Mem2_MasterAllocatorTest, PresizedBlocksAreAllThereWithoutGrowth) {
  const Presize presize[] = {{136, 100}};
  Mem2_MasterAllocator pool(presize);
  EXPECT_EQ(pool.GetCounters().mBlocks, 100u);
  std::set<void*> blocks;
  for (int i = 0; i < 100; ++i) blocks.insert(pool.Alloc(136, nullptr));
  EXPECT_EQ(blocks.size(), 100u);
  EXPECT_EQ(blocks.count(nullptr), 0u);
  EXPECT_EQ(pool.GetCounters().mGrownInPlace, 0u);
  EXPECT_EQ(pool.GetCounters().mBlocksInUse, 100u);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, GrowthInPlaceIsTheLastResortAndCounted) {
  const Presize presize[] = {{136, 10}};
  Mem2_MasterAllocator pool(presize);
  std::vector<void*> blocks;
  for (int i = 0; i < 10; ++i) blocks.push_back(pool.Alloc(136, nullptr));
  EXPECT_EQ(pool.GetCounters().mGrownInPlace, 0u);
  blocks.push_back(pool.Alloc(136, nullptr));
  ASSERT_NE(blocks.back(), nullptr);
  EXPECT_EQ(pool.GetCounters().mGrownInPlace, 1u);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, GrowthInPlaceGoesOnHoweverManyBlocksAreOut) {
  constexpr std::size_t kMany = 1'000'000;
  const Presize presize[] = {{16, 10}};
  Mem2_MasterAllocator pool(presize);
  std::vector<void*> blocks;
  blocks.reserve(kMany);
  while (blocks.size() < kMany) blocks.push_back(pool.Alloc(16, nullptr));
  EXPECT_EQ(std::count(blocks.begin(), blocks.end(), nullptr), 0);
  EXPECT_EQ(pool.GetCounters().mRefused, 0u);
  pool.GrowAhead();
  EXPECT_EQ(pool.GetCounters().mBlocksInUse, kMany);
  EXPECT_GE(pool.GetCounters().mBlocks, 2 * kMany) << "and growth ahead goes on behind it";
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

constexpr std::size_t kMostBytes = 4 * 1024 * 1024;
constexpr int kBlockSize = 64 * 1024 - 16;
constexpr std::size_t kMostBlocks = kMostBytes / (64 * 1024);

TEST(Mem2_MasterAllocatorTest, ASizeOfWhichAsMuchIsOutAsMayBeIsRefused) {
  Mem2_MasterAllocator pool(std::span<const Presize>{}, kMostBytes);
  std::vector<void*> blocks;
  while (void* blockP = pool.Alloc(kBlockSize, nullptr)) blocks.push_back(blockP);
  EXPECT_GE(blocks.size(), kMostBlocks);
  EXPECT_LT(blocks.size(), kMostBlocks + 8) << "a chunk more at most";
  EXPECT_EQ(pool.GetCounters().mRefused, 1u);
  const std::uint64_t bytes = pool.GetCounters().mBytes;
  pool.GrowAhead();
  EXPECT_EQ(pool.GetCounters().mBytes, bytes);
  void* otherP = pool.Alloc(136, nullptr);
  EXPECT_NE(otherP, nullptr) << "other sizes have their own";
  pool.Free(otherP, nullptr);
  pool.Free(blocks.back(), nullptr);
  blocks.back() = pool.Alloc(kBlockSize, nullptr);
  EXPECT_NE(blocks.back(), nullptr) << "what comes back can be had again";
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, AQuarterOfTheMemoryIsTheEndWhereNoneIsGiven) {
  // Too much to be taken: that more is there than the small ends of these tests must do.
  EXPECT_GT(PSUtil_MemoryOfMachine(), std::size_t{512} * 1024 * 1024);
  Mem2_MasterAllocator pool(std::span<const Presize>{});
  std::vector<void*> blocks;
  while (blocks.size() < 2 * kMostBlocks) blocks.push_back(pool.Alloc(kBlockSize, nullptr));
  EXPECT_EQ(std::count(blocks.begin(), blocks.end(), nullptr), 0);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, AbandonedBlocksDontCountAgainstTheEndOfTheirSize) {
  Mem2_MasterAllocator pool(std::span<const Presize>{}, kMostBytes);
  constexpr int kRounds = 10;
  for (int round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < kMostBlocks; ++i)
      ASSERT_NE(pool.Alloc(kBlockSize, nullptr), nullptr) << round;
    pool.CountAbandoned(kMostBlocks, kBlockSize);
  }
  EXPECT_EQ(pool.GetCounters().mAbandoned, kRounds * kMostBlocks);
  std::vector<void*> blocks;
  while (void* blockP = pool.Alloc(kBlockSize, nullptr)) blocks.push_back(blockP);
  EXPECT_GE(blocks.size(), kMostBlocks);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, GrowAheadNeedsNothingFreeBesideAbandonedBlocks) {
  const Presize presize[] = {{136, 100}};
  Mem2_MasterAllocator pool(presize);
  std::vector<void*> blocks;
  for (int i = 0; i < 80; ++i) blocks.push_back(pool.Alloc(136, nullptr));
  pool.CountAbandoned(60, 136);
  pool.GrowAhead();
  EXPECT_EQ(pool.GetCounters().mBlocks, 100u) << "20 of the 40 that come back are free";
  blocks.push_back(pool.Alloc(136, nullptr));
  pool.GrowAhead();
  EXPECT_GT(pool.GetCounters().mBlocks, 100u);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, FourBlocksOfTheLargestSizesCanBeHad) {
  constexpr int kSize = 100 * 1024 * 1024;
  Mem2_MasterAllocator pool(std::span<const Presize>{}, kMostBytes);
  std::vector<void*> blocks;
  for (int i = 0; i < 4; ++i) blocks.push_back(pool.Alloc(kSize, nullptr));
  EXPECT_EQ(std::count(blocks.begin(), blocks.end(), nullptr), 0);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

// Pages that this thread has come by.
long FaultsOfThread() {
  rusage usage{};
  EXPECT_EQ(getrusage(RUSAGE_THREAD, &usage), 0);
  return usage.ru_minflt;
}

TEST(Mem2_MasterAllocatorTest, AClassWithoutAPlaceForMoreChunksRefusesAndMapsNothing) {
  const std::vector<Presize> presizes(1000, Presize{136, 1});
  Mem2_MasterAllocator pool(presizes);
  const Mem2_MasterAllocator::Counters before = pool.GetCounters();
  ASSERT_LT(before.mBlocks, 1000u) << "there is a place for each";
  std::vector<void*> blocks;
  while (blocks.size() < before.mBlocks) blocks.push_back(pool.Alloc(136, nullptr));
  EXPECT_EQ(std::count(blocks.begin(), blocks.end(), nullptr), 0);
  constexpr int kTries = 100;
  const long faults = FaultsOfThread();
  for (int i = 0; i < kTries; ++i) {
    EXPECT_EQ(pool.Alloc(136, nullptr), nullptr);
    pool.GrowAhead();
  }
  EXPECT_LT(FaultsOfThread() - faults, kTries) << "one chunk would be more than 60 pages";
  EXPECT_EQ(pool.GetCounters().mRefused, static_cast<std::uint64_t>(kTries));
  EXPECT_EQ(pool.GetCounters().mBytes, before.mBytes);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, GrowAheadKeepsHalfOfTheBlocksFree) {
  const Presize presize[] = {{136, 100}};
  Mem2_MasterAllocator pool(presize);
  std::vector<void*> blocks;
  for (int i = 0; i < 50; ++i) blocks.push_back(pool.Alloc(136, nullptr));
  pool.GrowAhead();
  EXPECT_EQ(pool.GetCounters().mBlocks, 100u) << "half of them are free already";
  blocks.push_back(pool.Alloc(136, nullptr));
  pool.GrowAhead();
  EXPECT_EQ(pool.GetCounters().mBlocks, 200u);
  EXPECT_EQ(pool.GetCounters().mGrownAhead, 1u);
  for (int i = 0; i < 149; ++i) blocks.push_back(pool.Alloc(136, nullptr));
  EXPECT_EQ(pool.GetCounters().mGrownInPlace, 0u) << "what was grown ahead is used";
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, GrowAheadAddsAsManyChunksAsItTakes) {
  constexpr int kSize = 1024 * 1024;
  const Presize presize[] = {{kSize, 20}};
  Mem2_MasterAllocator pool(presize);
  std::vector<void*> blocks;
  for (int i = 0; i < 20; ++i) blocks.push_back(pool.Alloc(kSize, nullptr));
  pool.GrowAhead();
  EXPECT_GT(pool.GetCounters().mGrownAhead, 1u) << "a chunk is 16 MB at most";
  EXPECT_GE(pool.GetCounters().mBlocks, 40u) << "half of them are free";
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, GrowAheadCountsTheFreeBlocksOfAllChunks) {
  const Presize presize[] = {{136, 100}};
  Mem2_MasterAllocator pool(presize);
  std::vector<void*> blocks;
  const auto takeUntilThereAre = [&](std::size_t iCount) {
    while (blocks.size() < iCount) blocks.push_back(pool.Alloc(136, nullptr));
    pool.GrowAhead();
    return pool.GetCounters().mBlocks;
  };
  EXPECT_EQ(takeUntilThereAre(51), 200u);
  EXPECT_EQ(takeUntilThereAre(100), 200u) << "the first chunk is used up, the second one untouched";
  EXPECT_EQ(takeUntilThereAre(101), 400u);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, GrowAheadReachesBlocksOfAnySizeHoweverTheFirstOnesCame) {
  for (const int size : {16, 136, 3000, 100000, 5 * 1024 * 1024}) {
    Mem2_MasterAllocator pool(std::span<const Presize>{});
    std::vector<void*> blocks{pool.Alloc(size, nullptr)};
    const std::uint64_t grownInPlace = pool.GetCounters().mBlocks;
    while (blocks.size() < grownInPlace) blocks.push_back(pool.Alloc(size, nullptr));
    pool.GrowAhead();
    EXPECT_EQ(pool.GetCounters().mGrownAhead, 1u) << size;
    EXPECT_EQ(pool.GetCounters().mBlocks, 2 * grownInPlace) << size;
    for (void* blockP : blocks) pool.Free(blockP, nullptr);
  }
}

TEST(Mem2_MasterAllocatorTest, GrowAllAheadReachesEveryLivingPool) {
  const Presize presize[] = {{136, 4}};
  Mem2_MasterAllocator first(presize);
  Mem2_MasterAllocator second(presize);
  { const Mem2_MasterAllocator ended(presize); }
  std::vector<std::pair<Mem2_MasterAllocator*, void*>> blocks;
  for (int i = 0; i < 3; ++i) {
    blocks.emplace_back(&first, first.Alloc(136, nullptr));
    blocks.emplace_back(&second, second.Alloc(136, nullptr));
  }
  Mem2_MasterAllocator::GrowAllAhead();
  EXPECT_EQ(first.GetCounters().mBlocks, 8u);
  EXPECT_EQ(second.GetCounters().mBlocks, 8u);
  for (const auto& [poolP, blockP] : blocks) poolP->Free(blockP, nullptr);
}

// Takes from the calling thread, for good, the right to pin memory beyond the limit, which root would have.
bool DropRightToPin() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  if (syscall(SYS_capget, &header, data) != 0) return false;
  data[0].effective &= ~(1u << CAP_IPC_LOCK);
  return syscall(SYS_capset, &header, data) == 0;
}

// Calls a function on a thread of its own that is refused to pin anything.
void WherePinningIsRefused(void (*iCall)()) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_MEMLOCK, &before), 0);
  rlimit none = before;
  none.rlim_cur = 0;
  ASSERT_EQ(setrlimit(RLIMIT_MEMLOCK, &none), 0);
  std::thread([iCall] {
    ASSERT_TRUE(DropRightToPin());
    iCall();
  }).join();
  ASSERT_EQ(setrlimit(RLIMIT_MEMLOCK, &before), 0);
}

constexpr std::uint64_t kOneFailedPin = Test_kPinningIsFaked ? 0 : 1;

TEST(Mem2_MasterAllocatorTest, AFailedPinIsCountedAndThePoolWorks) {
  WherePinningIsRefused([] {
    const Presize presize[] = {{136, 10}};
    Mem2_MasterAllocator pool(presize);
    EXPECT_EQ(pool.GetCounters().mLockFailures, kOneFailedPin);
    void* blockP = pool.Alloc(136, nullptr);
    ASSERT_NE(blockP, nullptr);
    std::memset(blockP, 1, 136);
    pool.Free(blockP, nullptr);
  });
}

// Most pages of a block this large hold nothing of the pool's own that would have touched them.
TEST(Mem2_MasterAllocatorTest, WhoWritesToABlockThatCouldntBePinnedFindsItsPagesThere) {
  WherePinningIsRefused([] {
    constexpr int kSize = 1024 * 1024;
    constexpr long kPages = kSize / 4096;
    const Presize presize[] = {{kSize, 1}};
    Mem2_MasterAllocator pool(presize);
    ASSERT_EQ(pool.GetCounters().mLockFailures, kOneFailedPin);
    void* blockP = pool.Alloc(kSize, nullptr);
    ASSERT_NE(blockP, nullptr);
    const long before = FaultsOfThread();
    std::memset(blockP, 1, kSize);
    const long faults = FaultsOfThread() - before;
    // What is said to be pinned isn't touched, so where that is faked the pages come with the writing.
    EXPECT_TRUE(Test_kPinningIsFaked || faults < kPages / 16) << faults << " of " << kPages << " pages";
    pool.Free(blockP, nullptr);
  });
}

TEST(Mem2_MasterAllocatorTest, AbandonedBlocksAreCountedAndStayOut) {
  const Presize presize[] = {{136, 10}};
  Mem2_MasterAllocator pool(presize);
  pool.Alloc(136, nullptr);
  pool.Alloc(136, nullptr);
  pool.CountAbandoned(2, 136);
  EXPECT_EQ(pool.GetCounters().mAbandoned, 2u);
  EXPECT_EQ(pool.GetCounters().mBlocksInUse, 2u);
}

TEST(Mem2_MasterAllocatorTest, TheSharedPoolIsOneAndServesLongMessages) {
  Mem2_MasterAllocator& pool = Mem2_MasterAllocator::Shared();
  EXPECT_EQ(&pool, &Mem2_MasterAllocator::Shared());
  void* blockP = pool.Alloc(3000, nullptr);
  ASSERT_NE(blockP, nullptr);
  pool.Free(blockP, nullptr);
}

TEST(Mem2_MasterAllocatorTest, TheSharedPoolHasBlocksForShortMessagesAndForPatchDumpsFromTheStart) {
  EXPECT_EQ(sGrowthOfTheSharedPoolAtLoad, 0u);
}

TEST(Mem2_MasterAllocatorTest, AnApplicationsPoolHasThousandsOfBlocksForEventsAndSomeOthersFromTheStart) {
  Mem2_MasterAllocator pool;
  for (const int size : {48, 256, 1024}) EXPECT_NE(pool.Alloc(size, nullptr), nullptr);
  EXPECT_EQ(pool.GetCounters().mGrownInPlace, 0u);
  for (int i = 0; i < 4000; ++i) ASSERT_NE(pool.Alloc(128, nullptr), nullptr);
  EXPECT_EQ(pool.GetCounters().mGrownInPlace, 0u);
  EXPECT_EQ(pool.GetCounters().mGrownAhead, 0u);
}

TEST(Mem2_MasterAllocatorTest, AgreesWithAModelOverRandomOperations) {
  for (std::uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const Presize presize[] = {{136, 70}, {500, 3}};
    Mem2_MasterAllocator pool(presize);
    struct Block {
      unsigned char* mBlockP;
      std::size_t mSize;
      unsigned char mMark;
    };
    std::vector<Block> model;
    for (int step = 0; step < 3000; ++step) {
      if (random() % 2 == 0 || model.empty()) {
        const int size = 1 + static_cast<int>(random() % (random() % 8 == 0 ? 20000u : 600u));
        const auto mark = static_cast<unsigned char>(random());
        auto* blockP = static_cast<unsigned char*>(pool.Alloc(size, nullptr));
        ASSERT_NE(blockP, nullptr);
        std::memset(blockP, mark, static_cast<std::size_t>(size));
        model.push_back({blockP, static_cast<std::size_t>(size), mark});
      } else {
        std::swap(model[random() % model.size()], model.back());
        const Block block = model.back();
        model.pop_back();
        for (std::size_t i = 0; i < block.mSize; ++i) ASSERT_EQ(block.mBlockP[i], block.mMark);
        pool.Free(block.mBlockP, nullptr);
      }
      if (step % 500 == 0) pool.GrowAhead();
    }
    EXPECT_EQ(pool.GetCounters().mBlocksInUse, model.size());
    for (const Block& block : model) pool.Free(block.mBlockP, nullptr);
    EXPECT_EQ(pool.GetCounters().mBlocksInUse, 0u);
  }
}

// Threads take blocks, hand them to each other and give back what they got; each checks that a block it holds
// is held by nobody else.
TEST(Mem2_MasterAllocatorStressTest, NoBlockIsOutTwice) {
  const Presize presize[] = {{136, 40}};
  Mem2_MasterAllocator pool(presize);
  constexpr std::size_t kPlaces = 32;
  constexpr int kThreads = 4;
  std::atomic<std::atomic<int>*> places[kPlaces] = {};
  std::atomic<int> clashes{0};
  std::atomic<int> handedOver{0};
  auto work = [&](std::uint32_t iSeed) {
    std::mt19937 random(iSeed);
    for (int step = 0; step < 20000; ++step) {
      auto* blockP = new (pool.Alloc(136, nullptr)) std::atomic<int>(0);
      if (blockP->fetch_add(1) != 0) ++clashes;
      std::atomic<int>* otherP = places[random() % kPlaces].exchange(blockP);
      if (otherP == nullptr) continue;
      ++handedOver;
      if (otherP->fetch_add(1) != 1) ++clashes;
      pool.Free(otherP, nullptr);
    }
  };
  std::vector<std::thread> threads;
  for (std::uint32_t seed = 0; seed < kThreads; ++seed) threads.emplace_back(work, seed);
  for (int i = 0; i < 20; ++i) {
    pool.GrowAhead();
    std::this_thread::yield();
  }
  for (std::thread& thread : threads) thread.join();
  for (auto& place : places) pool.Free(place.load(), nullptr);
  EXPECT_EQ(clashes.load(), 0);
  EXPECT_GT(handedOver.load(), kThreads * 20000 / 2);
  const Counters counters = pool.GetCounters();
  EXPECT_EQ(counters.mBlocksInUse, 0u);
  EXPECT_EQ(counters.mBadFrees, 0u);
  EXPECT_EQ(counters.mRefused, 0u);
}

// Thread after thread takes the last blocks of a pool and grows it in place.
TEST(Mem2_MasterAllocatorStressTest, GrowthInPlaceByManyThreadsLosesNothing) {
  const Presize presize[] = {{136, 1}};
  Mem2_MasterAllocator pool(presize);
  constexpr int kThreads = 4;
  constexpr int kEach = 3000;
  std::vector<std::vector<void*>> blocks(kThreads);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < kEach; ++i)
        blocks[static_cast<std::size_t>(thread)].push_back(pool.Alloc(136, nullptr));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<void*> all;
  for (const auto& list : blocks) all.insert(list.begin(), list.end());
  EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads * kEach));
  EXPECT_EQ(all.count(nullptr), 0u);
  EXPECT_GT(pool.GetCounters().mGrownInPlace, 0u);
  for (void* blockP : all) pool.Free(blockP, nullptr);
  EXPECT_EQ(pool.GetCounters().mBlocksInUse, 0u);
}

}  // namespace
