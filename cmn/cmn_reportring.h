// SPDX-License-Identifier: MIT
/// \file
/// The ring in which real-time threads leave records for others to fetch.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

/// A bounded store of records with any number of writers and one reader at a time. A record that finds no
/// room is dropped and counted, nothing is overwritten.
///
/// A slot is empty, being written, or full. A writer claims an empty slot near the place that its ticket
/// gives it, in at most kProbes tries, so a writer that is stopped halfway costs the others one slot and
/// never holds them up. The reader sorts what it finds by ticket.
///
/// A: mState release by the writer, acquire by the reader: who sees kFull sees the record.
/// B: mState release by the reader, acquire by the writer: who sees kEmpty may write, the reader is done.
template <class Record, std::size_t kCapacity>
class Cmn_ReportRing {
  static_assert((kCapacity & (kCapacity - 1)) == 0, "a mask finds the slot");

 public:
  constexpr Cmn_ReportRing() = default;
  Cmn_ReportRing(const Cmn_ReportRing&) = delete;
  Cmn_ReportRing& operator=(const Cmn_ReportRing&) = delete;

  /// Leaves a record; false if there was no room. [any, several at once] Wait-free.
  bool Push(const Record& iRecord) noexcept {
    const std::uint64_t ticket = mTickets.fetch_add(1, std::memory_order_relaxed);
    for (std::size_t probe = 0; probe < kProbes; ++probe) {
      Slot& slot = mSlots[(ticket + probe) & (kCapacity - 1)];
      EState expected = kEmpty;
      if (!slot.mState.compare_exchange_strong(expected, kWriting, std::memory_order_acquire,  // B
                                               std::memory_order_relaxed)) {
        continue;
      }
      slot.mTicket = ticket;
      slot.mRecord = iRecord;
      // Counted before it is full: what is full is never more than what is counted, so equal counts of filled
      // and taken prove that nothing is there, also while another writer is stopped at this very place.
      mFilled.fetch_add(1, std::memory_order_relaxed);
      slot.mState.store(kFull, std::memory_order_release);  // A
      return true;
    }
    mDropped.fetch_add(1, std::memory_order_relaxed);
    return false;
  }

  /// Takes out all finished records, oldest ticket first. [one thread at a time]
  std::vector<Record> TakeAll() {
    std::vector<Record> records;
    if (mFilled.load(std::memory_order_relaxed) == mTaken) return records;
    std::vector<std::pair<std::uint64_t, Record>> found;
    for (Slot& slot : mSlots) {
      if (slot.mState.load(std::memory_order_acquire) != kFull) continue;  // A
      found.emplace_back(slot.mTicket, slot.mRecord);
      slot.mState.store(kEmpty, std::memory_order_release);  // B
    }
    mTaken += found.size();
    std::sort(found.begin(), found.end(), [](const auto& iA, const auto& iB) { return iA.first < iB.first; });
    records.reserve(found.size());
    for (const auto& entry : found) records.push_back(entry.second);
    return records;
  }

  /// Records that found no room. [any]
  std::uint64_t DroppedCount() const noexcept { return mDropped.load(std::memory_order_relaxed); }

 private:
  // Enough to get past a few writers that are stopped side by side; when the ring is full it bounds the
  // search.
  static constexpr std::size_t kProbes = 8;

  enum EState : std::uint32_t { kEmpty, kWriting, kFull };
  struct Slot {
    std::atomic<EState> mState{kEmpty};
    std::uint64_t mTicket = 0;
    Record mRecord{};
  };

  std::atomic<std::uint64_t> mTickets{0};
  std::atomic<std::uint64_t> mFilled{0};  // records that are, or are just becoming, full
  std::atomic<std::uint64_t> mDropped{0};
  std::uint64_t mTaken = 0;  // the reader's
  std::array<Slot, kCapacity> mSlots{};
};
