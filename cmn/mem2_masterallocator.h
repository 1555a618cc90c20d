// SPDX-License-Identifier: MIT
/// \file
/// The pool that real-time threads take memory from and give it back to.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "cmn/cmn_export.h"

/// A pool of memory blocks in size classes, made ahead, filled and pinned.
///
/// Alloc and Free take no lock. Free is one atomic operation and never fails. Alloc looks through a bounded
/// number of words and takes a block with one atomic operation; only if every block of the class is out does
/// it map more memory in place, which is counted: GrowAhead exists so that this doesn't happen. Memory is
/// never given back to the system before the pool ends, so no Free is a system call. Of one size 512 MB or a
/// quarter of the machine's memory can be out at most, so that a reader which has stopped for good doesn't
/// take all of it.
///
/// Which blocks are free stands in words beside the blocks, one bit a block, never in the blocks: there are
/// no links that a late reader could follow, and none that need a tag.
class MLOX_EXPORT Mem2_MasterAllocator {
 public:
  /// A record that callers hand through; the pool doesn't look at it. Its fields are free for its owner.
  struct Statistics {
    const char* mNameP = nullptr;  ///< Whose blocks these are.
    std::uint64_t mUser[3] = {};   ///< Free for the owner.
  };

  /// How many blocks of a size to have from the start.
  struct Presize {
    int mSize = 0;    ///< Bytes a block, > 0.
    int mBlocks = 0;  ///< Blocks, > 0.
  };

  /// What the pool has met. All counts are since its making.
  struct Counters {
    std::uint64_t mGrownAhead = 0;    ///< Chunks added by GrowAhead.
    std::uint64_t mGrownInPlace = 0;  ///< Chunks that an Alloc had to add.
    std::uint64_t mRefused = 0;       ///< Allocs that returned null.
    std::uint64_t mLockFailures = 0;  ///< Chunks that could not be pinned.
    std::uint64_t mAbandoned = 0;  ///< Blocks that their owner dropped and will never free (CountAbandoned).
    std::uint64_t mBadFrees = 0;   ///< Frees of a block that was free already.
    std::uint64_t mBlocks = 0;     ///< Blocks there are, free or not.
    std::uint64_t mBlocksInUse = 0;  ///< Blocks that are out now.
    std::uint64_t mBytes = 0;        ///< Bytes mapped.
  };

  /// The largest block there is, in bytes.
  static constexpr int kMaxBlockSize = 256 * 1024 * 1024 - 16;

  /// A pool with a few thousand blocks for events and a few of other sizes. [main]
  Mem2_MasterAllocator();
  /// A pool with just these blocks at first. [main]
  explicit Mem2_MasterAllocator(std::span<const Presize> iPresizes);
  /// The same with another end: about iMostBytes bytes of blocks of a size, 4 blocks at least. Abandoned ones
  /// don't count. [main]
  Mem2_MasterAllocator(std::span<const Presize> iPresizes, std::size_t iMostBytes);
  Mem2_MasterAllocator(const Mem2_MasterAllocator&) = delete;
  Mem2_MasterAllocator& operator=(const Mem2_MasterAllocator&) = delete;
  /// Gives all memory back. Blocks that are out are gone with it. [main]
  ~Mem2_MasterAllocator();

  /// A block of at least iSize bytes, aligned to 16, or null if iSize is below 0 or above kMaxBlockSize, if
  /// as many of this size are out as may be, or if there is no memory. iStatisticsP: passed through
  /// untouched. [any] Lock-free and bounded while the class has free blocks.
  void* Alloc(int iSize, Statistics* iStatisticsP);

  /// Gives a block of this pool back; null is ignored, a second Free of the same block is reported and
  /// ignored. [any] Wait-free.
  void Free(void* iBlockP, Statistics* iStatisticsP);

  /// Adds blocks to each class that is in use, until at least half of them are free or the class has all it
  /// may have. [main]
  void GrowAhead();
  /// GrowAhead for each pool of the process. [main]
  static void GrowAllAhead();

  /// Notes iBlocks blocks that were asked for with iSize as dropped by their owner: they stay out for ever.
  /// [any] Wait-free.
  void CountAbandoned(std::uint64_t iBlocks, int iSize) noexcept;

  /// What the pool has met so far. [any but real-time]
  Counters GetCounters() const;

  /// The pool of the blocks of long system exclusive messages. Made at load, never ended. [any]
  static Mem2_MasterAllocator& Shared();

 private:
  struct Impl;
  std::unique_ptr<Impl> mImplP;
};
