// SPDX-License-Identifier: MIT
/// \file
/// Records of bytes from one thread to another, one of which is real-time.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

/// A ring of records of any length. One writer, one reader; both wait-free. The reader takes records in
/// order, may keep some for later, and gives their room back in order too: a record that is kept holds the
/// room of those behind it. Full: refused, nothing is overwritten.
class Platform_JackRing {
 public:
  /// One record as the reader sees it, and its place.
  struct Record {
    std::int64_t mTime = 0;
    const std::uint8_t* mBytes = nullptr;  ///< alive until Done
    std::size_t mLength = 0;
    std::size_t mPlace = 0;
  };

  /// \param iBytes room, a power of two, at least 64. All of it is touched here, so that no thread meets a
  /// page that is not there yet.
  explicit Platform_JackRing(std::size_t iBytes);

  /// How many records there can be at most, the shortest ones.
  static constexpr std::size_t MostRecords(std::size_t iBytes) { return iBytes / (2 * kAlignment); }

  /// [writer] False when there is no room.
  bool Push(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) noexcept;

  /// [reader] The next record that has not been taken; false when there is none.
  bool Take(Record& oRecord) noexcept;
  /// [reader] Ends a record that was taken.
  void Done(const Record& iRecord) noexcept;
  /// [reader] Whether no record is left to take.
  bool IsEmpty() const noexcept { return mTaken == mTail.load(std::memory_order_acquire); }

 private:
  static constexpr std::size_t kAlignment = 16;

  // Stands in front of the bytes. A filler covers the ring's end when a record did not fit there.
  struct Header {
    std::int64_t mTime;
    std::uint32_t mLength;
    std::uint16_t mIsFiller;
    std::uint16_t mIsDone;
  };
  static_assert(sizeof(Header) == kAlignment);

  static std::size_t CellSize(std::size_t iLength) {
    return (sizeof(Header) + iLength + kAlignment - 1) & ~(kAlignment - 1);
  }
  Header* At(std::size_t iPlace) const noexcept;
  void SkipFiller() noexcept;
  void GiveRoomBack() noexcept;

  const std::size_t mSize;
  // Aligned for headers by operator new.
  const std::unique_ptr<std::uint8_t[]> mBytes;
  // Places only grow; a place modulo the size is an offset. Room in use: from mHead to mTail.
  // A: mTail release in Push / acquire in Take: who sees the new tail sees the record.
  // B: mHead release in Done / acquire in Push: who sees the new head may reuse the room.
  alignas(64) std::atomic<std::size_t> mTail{0};
  alignas(64) std::atomic<std::size_t> mHead{0};
  std::size_t mTaken = 0;  // the reader's: the next to take
};
