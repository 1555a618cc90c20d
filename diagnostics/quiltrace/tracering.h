// SPDX-License-Identifier: MIT
/// \file
/// The ring in which threads leave trace lines for the one that writes them.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

/// A bounded queue with any number of callers that push and one thread that pops. A record that finds no room
/// is dropped and counted, nothing is overwritten. Records come out in the order in which their places were
/// claimed, so those of one thread in the order in which it pushed them.
///
/// Owner: mTail is the callers', each place between mHead and mTail belongs to the caller that claimed it
/// until it is full, then to the thread that pops. mHead is that thread's alone.
///
/// Progress: Push is wait-free. It tries for a place at most kAttempts times, and each failure means that
/// another caller got one; then it drops. A caller that is stopped between claiming a place and filling it
/// holds back what comes out behind it, and never another caller: at worst the ring runs full, and drops.
///
/// A place tells by its turn whose it is. In lap n (counted from 0) it is free at 2n, full at 2n + 1, and
/// taken, which is free for the next lap, at 2n + 2.
/// A: mTurn release by the caller, acquire by Pop: who sees "full" sees the record.
/// B: mTurn release by Pop, acquire by a caller: who sees "free" may write, the record before has been read.
///
/// Closing is a bit of mTail. It is set once; a caller claims its place before or never. So what is to be
/// written has an end, and no record is accepted that nobody reads.
///
/// An object of static storage is constant-initialised and all zeros. Capacity: a power of two. Another
/// Atomic than the standard's lets a test step in between two operations of a caller.
template <class Record, std::size_t kCapacity, template <class> class Atomic = std::atomic>
class QuilTrace_Ring {
  static_assert(kCapacity > 0 && (kCapacity & (kCapacity - 1)) == 0,
                "laps and places are told apart by bits");

 public:
  constexpr QuilTrace_Ring() = default;
  QuilTrace_Ring(const QuilTrace_Ring&) = delete;
  QuilTrace_Ring& operator=(const QuilTrace_Ring&) = delete;

  /// Writes to every place, so that the system has memory for it before callers come. [before them]
  void Touch() {
    for (Slot& slot : mSlots) slot.mRecord = Record{};
  }

  /// Leaves a record. Whether it was accepted: then a Pop gives it out. [any, several at once] Wait-free.
  bool Push(const Record& iRecord) noexcept {
    std::uint64_t place = 0;
    if (!Claim(place)) return false;
    Slot& slot = SlotOf(place);
    slot.mRecord = iRecord;
    // Exchanged and not stored: a closed ring may have given up waiting for this record.
    std::uint64_t turn = FreeTurn(place);
    return slot.mTurn.compare_exchange_strong(turn, turn + 1, std::memory_order_acq_rel);  // A
  }

  /// Takes out the oldest record; false if there is none, or if its caller hasn't finished it.
  /// [the one thread that pops]
  bool Pop(Record& oRecord) noexcept {
    Slot& slot = SlotOf(mHead);
    if (slot.mTurn.load(std::memory_order_acquire) != FreeTurn(mHead) + 1) return false;  // A
    oRecord = slot.mRecord;
    slot.mTurn.store(FreeTurn(mHead) + 2, std::memory_order_release);  // B
    ++mHead;
    return true;
  }

  /// Whether all records whose places were claimed have been taken out. [the one thread that pops]
  bool IsEmpty() const noexcept { return mHead == (mTail.load(std::memory_order_acquire) & ~kClosed); }

  /// From now on nothing is accepted. What was accepted can still be popped. [any]
  void Close() noexcept { mTail.fetch_or(kClosed, std::memory_order_acq_rel); }

  /// In a closed ring: gives up the oldest record, whose caller hasn't finished it. It counts as dropped, and
  /// its Push returns false. Does nothing if it has been finished meanwhile, or if there is none. [the one
  /// thread that pops]
  void GiveUpOldest() noexcept {
    if (IsEmpty()) return;
    std::uint64_t turn = FreeTurn(mHead);
    if (!SlotOf(mHead).mTurn.compare_exchange_strong(turn, turn + 2, std::memory_order_acq_rel)) return;
    mDropped.fetch_add(1, std::memory_order_acq_rel);
    ++mHead;
  }

  /// Records that found no room. [any] Wait-free.
  std::uint64_t DroppedCount() const noexcept { return mDropped.load(std::memory_order_acquire); }

 private:
  static constexpr int kAttempts = 64;
  static constexpr std::uint64_t kClosed = std::uint64_t{1} << 63;

  struct Slot {
    Atomic<std::uint64_t> mTurn{0};
    Record mRecord{};
  };

  static constexpr std::uint64_t FreeTurn(std::uint64_t iPlace) { return iPlace / kCapacity * 2; }
  Slot& SlotOf(std::uint64_t iPlace) { return mSlots[iPlace % kCapacity]; }

  bool Claim(std::uint64_t& oPlace) noexcept {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      std::uint64_t place = mTail.load(std::memory_order_acquire);
      if ((place & kClosed) != 0) return false;
      const std::uint64_t turn = SlotOf(place).mTurn.load(std::memory_order_acquire);  // B
      if (turn < FreeTurn(place)) break;     // the record of the lap before is still there: full
      if (turn > FreeTurn(place)) continue;  // somebody else's by now
      if (mTail.compare_exchange_strong(place, place + 1, std::memory_order_acq_rel)) {
        oPlace = place;
        return true;
      }
    }
    mDropped.fetch_add(1, std::memory_order_acq_rel);
    return false;
  }

  Atomic<std::uint64_t> mTail{0};
  Atomic<std::uint64_t> mDropped{0};
  std::uint64_t mHead = 0;
  std::array<Slot, kCapacity> mSlots{};
};
