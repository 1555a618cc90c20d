// SPDX-License-Identifier: MIT
#include "cmn/mem2_masterallocator.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <mutex>
#include <new>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_threadlocal.h"
#include "cmn/ps_util.h"

namespace {

constexpr char kAssertSource[] = "cmn/mem2_masterallocator";

constexpr std::size_t kLine = 64;
constexpr std::size_t kBitsPerWord = 64;
constexpr std::uint32_t kMagic = 0x6D6C6F78;
// Threads that allocate at once look in different places; more places than cores would only spread the
// blocks.
constexpr std::size_t kHints = 8;
// What waits for a reader that has stopped for good must not take a machine's memory: a class may have this
// part of it out, and these blocks in any case.
constexpr std::size_t kShareOfMemory = 4;
constexpr std::size_t kMostBytes = std::size_t{512} * 1024 * 1024;
constexpr std::size_t kLeastMaxBlocks = 4;
// A chunk has at least a sixteenth of the blocks that its class has already: a class that grows comes to its
// end before it is out of places.
constexpr std::size_t kMaxChunks = 128;
constexpr std::size_t kLeastShare = 16;
// Small enough that an allocation which has to grow the pool isn't late by more than it must be.
constexpr std::size_t kInPlaceChunkBytes = std::size_t{256} * 1024;
constexpr std::size_t kAheadChunkBytes = std::size_t{16} * 1024 * 1024;

struct Chunk;

// Stands in front of each block and is written once, when the chunk is made.
struct alignas(16) BlockHeader {
  Chunk* mChunkP;
  std::uint32_t mIndex;
  std::uint32_t mMagic;
};
static_assert(sizeof(BlockHeader) == 16);

// 64 blocks; a bit is set while its block is free. A line each: writers take from one word while the reader
// gives back to another.
struct alignas(kLine) Word {
  std::atomic<std::uint64_t> mFree;
};

struct alignas(kLine) Hint {
  std::atomic<std::uint32_t> mWord;
};

// A piece of mapped memory: this record, the words, the blocks.
struct Chunk {
  std::size_t mBytes;
  std::size_t mStride;
  std::uint32_t mBlocks;
  std::uint32_t mWords;
  bool mIsLocked;
  Word* mWordP;
  std::byte* mBlockP;
  Hint mHints[kHints];

  BlockHeader* HeaderOf(std::size_t iIndex) noexcept {
    return reinterpret_cast<BlockHeader*>(mBlockP + iIndex * mStride);
  }

  // How many blocks are free; the count ends early once there are enough.
  std::uint64_t FreeCount(std::uint64_t iEnough = std::numeric_limits<std::uint64_t>::max()) const noexcept {
    std::uint64_t count = 0;
    for (std::uint32_t word = 0; word < mWords && count < iEnough; ++word) {
      const std::uint64_t free = mWordP[word].mFree.load(std::memory_order_relaxed);
      // Nearly every word is a full one, and counting bits is no single instruction everywhere.
      count += free == ~std::uint64_t{0} ? kBitsPerWord : static_cast<std::uint64_t>(std::popcount(free));
    }
    return count;
  }
};

constexpr std::size_t RoundUp(std::size_t iValue, std::size_t iStep) {
  return (iValue + iStep - 1) / iStep * iStep;
}

// Classes: every multiple of a line up to 1 kB, then four to the octave. A class is known by its stride,
// block header included.
constexpr std::size_t kFineLimit = 1024;
constexpr std::size_t kFineClasses = kFineLimit / kLine;
constexpr std::size_t kClasses = kFineClasses + std::size_t{4} * (28 - 10);

struct SizeClass {
  std::size_t mIndex;
  std::size_t mStride;
};

SizeClass ClassOf(int iSize) noexcept {
  const std::size_t total = static_cast<std::size_t>(std::max(iSize, 1)) + sizeof(BlockHeader);
  if (total <= kFineLimit) {
    const std::size_t stride = RoundUp(total, kLine);
    return {stride / kLine - 1, stride};
  }
  const int octave = static_cast<int>(std::bit_width(total - 1)) - 1;  // total lies above 2^octave
  const std::size_t base = std::size_t{1} << octave;
  const std::size_t step = base / 4;
  const std::size_t quarter = (total - base + step - 1) / step;  // 1 to 4
  return {kFineClasses + static_cast<std::size_t>(octave - 10) * 4 + quarter - 1, base + quarter * step};
}

CMN_THREAD_LOCAL char sThreadMark = 0;

std::size_t HintOfThread() noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(&sThreadMark);
  return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15ULL) >> 61);
}
static_assert(kHints == 8, "the hash above keeps three bits");

// What couldn't be pinned is at least there: a page that is first touched by a writer costs it a fault.
void TouchPages(std::byte* iFirstP, std::size_t iBytes) noexcept {
  constexpr std::size_t kSmallestPage = 4096;
  for (std::size_t at = 0; at < iBytes; at += kSmallestPage)
    *const_cast<volatile std::byte*>(iFirstP + at) = {};
}

Chunk* MakeChunk(std::size_t iStride, std::size_t iBlocks) noexcept {
  const std::size_t words = (iBlocks + kBitsPerWord - 1) / kBitsPerWord;
  const std::size_t wordsAt = RoundUp(sizeof(Chunk), kLine);
  const std::size_t blocksAt = wordsAt + words * sizeof(Word);
  const std::size_t bytes = blocksAt + iBlocks * iStride;
  auto* baseP = static_cast<std::byte*>(PSUtil_PageAlignedAlloc(bytes));
  if (baseP == nullptr) return nullptr;
  const bool isLocked = PSUtil_VMLock(baseP, bytes);
  if (!isLocked) TouchPages(baseP, bytes);
  auto* chunkP = new (baseP) Chunk;
  chunkP->mBytes = bytes;
  chunkP->mStride = iStride;
  chunkP->mBlocks = static_cast<std::uint32_t>(iBlocks);
  chunkP->mWords = static_cast<std::uint32_t>(words);
  chunkP->mIsLocked = isLocked;
  chunkP->mWordP = reinterpret_cast<Word*>(baseP + wordsAt);
  chunkP->mBlockP = baseP + blocksAt;
  for (std::size_t word = 0; word < words; ++word) {
    const std::size_t blocks = std::min(kBitsPerWord, iBlocks - word * kBitsPerWord);
    auto* wordP = new (baseP + wordsAt + word * sizeof(Word)) Word;
    wordP->mFree.store(blocks == kBitsPerWord ? ~std::uint64_t{0} : (std::uint64_t{1} << blocks) - 1);
  }
  for (std::size_t hint = 0; hint < kHints; ++hint) {
    chunkP->mHints[hint].mWord.store(static_cast<std::uint32_t>(hint * words / kHints));
  }
  for (std::size_t index = 0; index < iBlocks; ++index) {
    new (chunkP->HeaderOf(index)) BlockHeader{chunkP, static_cast<std::uint32_t>(index), kMagic};
  }
  return chunkP;
}

void EndChunk(Chunk* iChunkP) noexcept {
  if (iChunkP->mIsLocked) PSUtil_VMUnlock(iChunkP, iChunkP->mBytes);
  PSUtil_PageAlignedFree(iChunkP);
}

// Takes one of the word's blocks: each failed try has lost its bit to another thread, so 64 tries are enough.
int TakeBit(Word& ioWord) noexcept {
  std::uint64_t free = ioWord.mFree.load(std::memory_order_relaxed);
  for (std::size_t attempt = 0; attempt < kBitsPerWord && free != 0; ++attempt) {
    const int bit = std::countr_zero(free);
    const std::uint64_t mask = std::uint64_t{1} << bit;
    const std::uint64_t before = ioWord.mFree.fetch_and(~mask, std::memory_order_acquire);
    if ((before & mask) != 0) return bit;
    free = before;
  }
  return -1;
}

void* TakeBlock(Chunk& ioChunk) noexcept {
  std::atomic<std::uint32_t>& hint = ioChunk.mHints[HintOfThread()].mWord;
  const std::uint32_t first = hint.load(std::memory_order_relaxed);
  std::uint32_t word = first;
  do {
    const int bit = TakeBit(ioChunk.mWordP[word]);
    if (bit >= 0) {
      if (word != first) hint.store(word, std::memory_order_relaxed);
      return ioChunk.HeaderOf(word * kBitsPerWord + static_cast<std::size_t>(bit)) + 1;
    }
    if (++word == ioChunk.mWords) word = 0;
  } while (word != first);
  return nullptr;
}

}  // namespace

struct Mem2_MasterAllocator::Impl {
  // The blocks of one size. Chunks are only ever added, each to the first empty place.
  struct Class {
    std::atomic<Chunk*> mChunks[kMaxChunks] = {};
    std::atomic<std::uint32_t> mCurrent{0};  // where the last block came from
    std::atomic<std::uint64_t> mAbandoned{0};

    std::size_t Blocks() const noexcept {
      std::size_t blocks = 0;
      for (const std::atomic<Chunk*>& place : mChunks) {
        const Chunk* chunkP = place.load(std::memory_order_acquire);
        if (chunkP == nullptr) break;
        blocks += chunkP->mBlocks;
      }
      return blocks;
    }

    std::size_t Abandoned() const noexcept { return mAbandoned.load(std::memory_order_relaxed); }

    // How many blocks a new chunk has that is to be about so many bytes. 0: the class has all it may have,
    // not counted what never comes back.
    std::size_t BlocksOfChunk(std::size_t iBytes, std::size_t iStride,
                              std::size_t iMostBytes) const noexcept {
      if (mChunks[kMaxChunks - 1].load(std::memory_order_acquire) != nullptr) return 0;
      const std::size_t blocks = Blocks();
      if (blocks >= Abandoned() + std::max(kLeastMaxBlocks, iMostBytes / iStride)) return 0;
      return std::max({std::size_t{1}, iBytes / iStride, blocks / kLeastShare});
    }
  };

  explicit Impl(std::size_t iMostBytes);
  ~Impl();

  void* Take(const SizeClass& iClass) noexcept;
  Chunk* Grow(const SizeClass& iClass, std::size_t iBlocks, std::atomic<std::uint64_t>& ioCounter) noexcept;
  void GrowAhead() noexcept;
  void GrowClassAhead(std::size_t iIndex) noexcept;

  const std::size_t mMostBytes;  // of a class
  std::array<Class, kClasses> mClasses;
  // A bit for each class that has a chunk: few have, and their records lie far from each other.
  std::array<std::atomic<std::uint64_t>, (kClasses + 63) / 64> mUsedClasses{};
  std::atomic<std::uint64_t> mGrownAtStart{0};
  std::atomic<std::uint64_t> mGrownAhead{0};
  std::atomic<std::uint64_t> mGrownInPlace{0};
  std::atomic<std::uint64_t> mRefused{0};
  std::atomic<std::uint64_t> mLockFailures{0};
  std::atomic<std::uint64_t> mBadFrees{0};
  Impl* mNextP = nullptr;  // in the registry
};

namespace {

// All pools of the process, for GrowAllAhead. Touched on the main thread, where pools are made and ended.
constinit std::mutex sRegistryMutex;
constinit void* sFirstPoolP = nullptr;

// Half a block's traffic of sixteen dense channels is a few hundred events: this holds seconds of them.
constexpr Mem2_MasterAllocator::Presize kDefaultPresizes[] = {{48, 256}, {136, 8192}, {256, 256}, {1024, 64}};
// Long system exclusive messages: many short ones, some patch dumps.
constexpr Mem2_MasterAllocator::Presize kSharedPresizes[] = {{112, 64},  {240, 64},  {496, 64}, {1024, 32},
                                                             {4096, 16}, {16384, 8}, {65536, 4}};

// Made at load, so that no real-time thread is the first to ask for it.
[[maybe_unused]] const Mem2_MasterAllocator* const sMadeAtLoadP = &Mem2_MasterAllocator::Shared();

}  // namespace

Mem2_MasterAllocator::Impl::Impl(std::size_t iMostBytes) : mMostBytes(iMostBytes) {
  const std::lock_guard lock(sRegistryMutex);
  mNextP = static_cast<Impl*>(sFirstPoolP);
  sFirstPoolP = this;
}

Mem2_MasterAllocator::Impl::~Impl() {
  {
    const std::lock_guard lock(sRegistryMutex);
    auto* firstP = static_cast<Impl*>(sFirstPoolP);
    Impl** linkP = &firstP;
    while (*linkP != this) linkP = &(*linkP)->mNextP;
    *linkP = mNextP;
    sFirstPoolP = firstP;
  }
  for (Class& sizeClass : mClasses) {
    for (std::atomic<Chunk*>& chunkP : sizeClass.mChunks) {
      if (Chunk* endedP = chunkP.load()) EndChunk(endedP);
    }
  }
}

void* Mem2_MasterAllocator::Impl::Take(const SizeClass& iClass) noexcept {
  Class& sizeClass = mClasses[iClass.mIndex];
  const std::uint32_t first = sizeClass.mCurrent.load(std::memory_order_relaxed);
  std::uint32_t place = first;
  do {
    Chunk* chunkP = sizeClass.mChunks[place].load(std::memory_order_acquire);
    void* blockP = chunkP != nullptr ? TakeBlock(*chunkP) : nullptr;
    if (blockP != nullptr) {
      if (place != first) sizeClass.mCurrent.store(place, std::memory_order_relaxed);
      return blockP;
    }
    place = chunkP == nullptr || place + 1 == kMaxChunks ? 0 : place + 1;
  } while (place != first);
  return nullptr;
}

Chunk* Mem2_MasterAllocator::Impl::Grow(const SizeClass& iClass, std::size_t iBlocks,
                                        std::atomic<std::uint64_t>& ioCounter) noexcept {
  if (iBlocks == 0) return nullptr;
  Chunk* newP = MakeChunk(iClass.mStride, iBlocks);
  if (newP == nullptr) return nullptr;
  for (std::atomic<Chunk*>& chunkP : mClasses[iClass.mIndex].mChunks) {
    Chunk* expectedP = nullptr;
    if (!chunkP.compare_exchange_strong(expectedP, newP, std::memory_order_acq_rel)) continue;
    mUsedClasses[iClass.mIndex / 64].fetch_or(std::uint64_t{1} << (iClass.mIndex % 64),
                                              std::memory_order_release);
    ioCounter.fetch_add(1, std::memory_order_relaxed);
    if (!newP->mIsLocked) mLockFailures.fetch_add(1, std::memory_order_relaxed);
    return newP;
  }
  EndChunk(newP);
  return nullptr;
}

void Mem2_MasterAllocator::Impl::GrowAhead() noexcept {
  for (std::size_t word = 0; word < mUsedClasses.size(); ++word) {
    std::uint64_t used = mUsedClasses[word].load(std::memory_order_acquire);
    for (; used != 0; used &= used - 1) {
      GrowClassAhead(word * 64 + static_cast<std::size_t>(std::countr_zero(used)));
    }
  }
}

void Mem2_MasterAllocator::Impl::GrowClassAhead(std::size_t iIndex) noexcept {
  std::uint64_t total = 0;
  std::size_t stride = 0;
  const auto& places = mClasses[iIndex].mChunks;
  std::size_t chunks = 0;
  while (chunks < kMaxChunks) {
    const Chunk* chunkP = places[chunks].load(std::memory_order_acquire);
    if (chunkP == nullptr) break;
    stride = chunkP->mStride;
    total += chunkP->mBlocks;
    ++chunks;
  }
  // What never comes back needs nothing free beside it.
  total -= std::min<std::uint64_t>(total, mClasses[iIndex].Abandoned());
  // This runs often, and each word that is read is fetched from the thread that takes blocks from it. So no
  // more are read than it takes to see that half of the blocks are free.
  const std::uint64_t enough = total - total / 2;
  std::uint64_t free = 0;
  for (std::size_t i = 0; i < chunks && free < enough; ++i) {
    free += places[i].load(std::memory_order_acquire)->FreeCount(enough - free);
  }
  if (free >= enough) return;
  // n more blocks make at least half of them free when free + n is at least used.
  while (free < total - free) {
    const std::size_t perChunk = mClasses[iIndex].BlocksOfChunk(kAheadChunkBytes, stride, mMostBytes);
    const std::size_t missing = static_cast<std::size_t>(total - 2 * free);
    const std::size_t blocks = std::min(perChunk, std::max<std::size_t>(missing, total));
    if (Grow({iIndex, stride}, blocks, mGrownAhead) == nullptr) return;
    total += blocks;
    free += blocks;
  }
}

Mem2_MasterAllocator::Mem2_MasterAllocator() : Mem2_MasterAllocator(kDefaultPresizes) {}

Mem2_MasterAllocator::Mem2_MasterAllocator(std::span<const Presize> iPresizes)
    : Mem2_MasterAllocator(iPresizes, std::min(kMostBytes, PSUtil_MemoryOfMachine() / kShareOfMemory)) {}

Mem2_MasterAllocator::Mem2_MasterAllocator(std::span<const Presize> iPresizes, std::size_t iMostBytes)
    : mImplP(std::make_unique<Impl>(iMostBytes)) {
  for (const Presize& presize : iPresizes) {
    if (presize.mSize <= 0 || presize.mBlocks <= 0 || presize.mSize > kMaxBlockSize) continue;
    mImplP->Grow(ClassOf(presize.mSize), static_cast<std::size_t>(presize.mBlocks), mImplP->mGrownAtStart);
  }
}

Mem2_MasterAllocator::~Mem2_MasterAllocator() = default;

void* Mem2_MasterAllocator::Alloc(int iSize, Statistics*) {
  if (iSize >= 0 && iSize <= kMaxBlockSize) {
    const SizeClass sizeClass = ClassOf(iSize);
    if (void* blockP = mImplP->Take(sizeClass)) return blockP;
    // The new chunk is open to all, so others may empty it before this thread comes to it; two rounds are
    // fair.
    for (int round = 0; round < 2; ++round) {
      const std::size_t blocks = mImplP->mClasses[sizeClass.mIndex].BlocksOfChunk(
          kInPlaceChunkBytes, sizeClass.mStride, mImplP->mMostBytes);
      if (mImplP->Grow(sizeClass, blocks, mImplP->mGrownInPlace) == nullptr) break;
      if (void* blockP = mImplP->Take(sizeClass)) return blockP;
    }
  }
  mImplP->mRefused.fetch_add(1, std::memory_order_relaxed);
  return nullptr;
}

void Mem2_MasterAllocator::Free(void* iBlockP, Statistics*) {
  if (iBlockP == nullptr) return;
  const BlockHeader* headerP = static_cast<const BlockHeader*>(iBlockP) - 1;
  if (!CMN_ASSERT_FROM(kAssertSource, headerP->mMagic == kMagic, "headerP->mMagic == kMagic")) return;
  Word& word = headerP->mChunkP->mWordP[headerP->mIndex / kBitsPerWord];
  const std::uint64_t mask = std::uint64_t{1} << (headerP->mIndex % kBitsPerWord);
  const std::uint64_t before = word.mFree.fetch_or(mask, std::memory_order_release);
  if (CMN_ASSERT_FROM(kAssertSource, (before & mask) == 0, "(before & mask) == 0")) return;
  mImplP->mBadFrees.fetch_add(1, std::memory_order_relaxed);
}

void Mem2_MasterAllocator::GrowAhead() { mImplP->GrowAhead(); }

void Mem2_MasterAllocator::GrowAllAhead() {
  const std::lock_guard lock(sRegistryMutex);
  for (auto* implP = static_cast<Impl*>(sFirstPoolP); implP != nullptr; implP = implP->mNextP) {
    implP->GrowAhead();
  }
}

void Mem2_MasterAllocator::CountAbandoned(std::uint64_t iBlocks, int iSize) noexcept {
  mImplP->mClasses[ClassOf(iSize).mIndex].mAbandoned.fetch_add(iBlocks, std::memory_order_relaxed);
}

Mem2_MasterAllocator::Counters Mem2_MasterAllocator::GetCounters() const {
  Counters counters;
  counters.mGrownAhead = mImplP->mGrownAhead.load();
  counters.mGrownInPlace = mImplP->mGrownInPlace.load();
  counters.mRefused = mImplP->mRefused.load();
  counters.mLockFailures = mImplP->mLockFailures.load();
  counters.mBadFrees = mImplP->mBadFrees.load();
  for (const Impl::Class& sizeClass : mImplP->mClasses) {
    counters.mAbandoned += sizeClass.Abandoned();
    for (const std::atomic<Chunk*>& place : sizeClass.mChunks) {
      const Chunk* chunkP = place.load(std::memory_order_acquire);
      if (chunkP == nullptr) break;
      counters.mBlocks += chunkP->mBlocks;
      counters.mBlocksInUse += chunkP->mBlocks - chunkP->FreeCount();
      counters.mBytes += chunkP->mBytes;
    }
  }
  return counters;
}

Mem2_MasterAllocator& Mem2_MasterAllocator::Shared() {
  static Mem2_MasterAllocator& sShared = *new Mem2_MasterAllocator(kSharedPresizes);
  return sShared;
}
