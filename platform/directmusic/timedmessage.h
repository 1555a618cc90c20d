// SPDX-License-Identifier: MIT
/// \file
/// A message with the time at which it is to be played, in pool memory, and the two orders it waits in.
#pragma once

#include <cstddef>
#include <cstdint>

/// One message, or one piece of a system exclusive message, that waits. Made by New, ended by Delete; the
/// bytes lie behind the record in one block of the shared pool, so that neither calls malloc.
struct Platform_TimedMessage {
  /// Null when the pool has no block. iLength may be 0.
  static Platform_TimedMessage* New(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength);
  /// Gives the block back; null does nothing.
  static void Delete(Platform_TimedMessage* iMessageP);

  const std::uint8_t* Bytes() const { return reinterpret_cast<const std::uint8_t*>(this + 1); }

  std::int64_t mTime;  ///< microseconds of Sys_Clock
  std::uint64_t mOrder;
  Platform_TimedMessage* mNextP;   ///< the next sibling in a heap, the next in a list
  Platform_TimedMessage* mChildP;  ///< the first child in a heap
  std::size_t mLength;             ///< bytes
};

/// Messages by time, and by order of arrival among equal times. A pairing heap: pushing is one comparison and
/// allocates nothing, popping is logarithmic on average. It owns what it holds. Not for two threads at once.
class Platform_TimedQueue {
 public:
  Platform_TimedQueue() = default;
  ~Platform_TimedQueue() { Clear(); }
  Platform_TimedQueue(const Platform_TimedQueue&) = delete;
  Platform_TimedQueue& operator=(const Platform_TimedQueue&) = delete;

  void Push(Platform_TimedMessage* iMessageP);
  /// The earliest message; null when there is none.
  Platform_TimedMessage* Peek() const { return mRootP; }
  /// Takes the earliest message out; the caller owns it then.
  Platform_TimedMessage* Pop();
  bool IsEmpty() const { return mRootP == nullptr; }
  std::size_t Size() const { return mSize; }
  /// Deletes all. \returns how many there were.
  std::size_t Clear();

 private:
  Platform_TimedMessage* mRootP = nullptr;
  std::size_t mSize = 0;
  std::uint64_t mNextOrder = 0;
};

/// Messages in order of arrival. It owns what it holds. Not for two threads at once.
class Platform_MessageList {
 public:
  Platform_MessageList() = default;
  ~Platform_MessageList() { Clear(); }
  Platform_MessageList(const Platform_MessageList&) = delete;
  Platform_MessageList& operator=(const Platform_MessageList&) = delete;

  void Append(Platform_TimedMessage* iMessageP);
  Platform_TimedMessage* Peek() const { return mFirstP; }
  Platform_TimedMessage* Pop();
  bool IsEmpty() const { return mFirstP == nullptr; }
  std::size_t Size() const { return mSize; }
  std::size_t Clear();

 private:
  Platform_TimedMessage* mFirstP = nullptr;
  Platform_TimedMessage* mLastP = nullptr;
  std::size_t mSize = 0;
};
