// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_outputlane.h"

#include <algorithm>

#include "cmn/sys_clock.h"

Platform_JackOutputLane::Platform_JackOutputLane() : mRing(kRingBytes), mHeap(new Waiting[kMostWaiting]) {}

bool Platform_JackOutputLane::IsLater(const Waiting& iLeft, const Waiting& iRight) {
  if (iLeft.mRecord.mTime != iRight.mRecord.mTime) {
    return iLeft.mRecord.mTime > iRight.mRecord.mTime;
  }
  return iLeft.mOrder > iRight.mOrder;
}

// ---- the sender ----

bool Platform_JackOutputLane::Send(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) {
  return SendNow(Sys_Clock::Microseconds(), iTime, iBytes, iLength);
}

bool Platform_JackOutputLane::SendNow(std::int64_t iNow, std::int64_t iTime, const std::uint8_t* iBytes,
                                      std::size_t iLength) {
  if (!mRing.Push(std::max(iTime, iNow), iBytes, iLength)) {
    return false;
  }
  mSent.store(mSent.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  return true;
}

void Platform_JackOutputLane::Drop() {
  mDropBelow.store(mSent.load(std::memory_order_relaxed), std::memory_order_release);
}

std::uint64_t Platform_JackOutputLane::Unplayed() const {
  const std::uint64_t dropBelow = mDropBelow.load(std::memory_order_acquire);
  // A drop that the callback never saw: it played nothing that was sent after it.
  const bool isSeen = mSeenDrop.load(std::memory_order_acquire) == dropBelow;
  const std::uint64_t played = isSeen ? mPlayedSinceDrop.load(std::memory_order_acquire) : 0;
  return mSent.load(std::memory_order_acquire) - dropBelow - played;
}

// ---- the process callback ----

void Platform_JackOutputLane::TakeIn() noexcept {
  Platform_JackRing::Record record;
  while (mHeapSize < kMostWaiting && mRing.Take(record)) {
    mHeap[mHeapSize] = {record, mNextOrder++};
    ++mHeapSize;
    std::push_heap(mHeap.get(), mHeap.get() + mHeapSize, IsLater);
  }
}

void Platform_JackOutputLane::FinishFirst() noexcept {
  std::pop_heap(mHeap.get(), mHeap.get() + mHeapSize, IsLater);
  --mHeapSize;
  mRing.Done(mHeap[mHeapSize].mRecord);
}

// False when the cycle is done: what comes first belongs to a later one, or nothing more has room.
bool Platform_JackOutputLane::PlayFirst(const Platform_JackCycle& iCycle, WriteEvent iWrite,
                                        void* iBufferP) noexcept {
  const Platform_JackRing::Record& record = mHeap[0].mRecord;
  const std::int64_t frame = iCycle.FrameOf(record.mTime);
  if (frame >= iCycle.mFrames || mEventsInCycle == kMostEvents ||
      mBytesInCycle + record.mLength > kMostBytes) {
    return false;
  }
  if (!iWrite(iBufferP, static_cast<std::uint32_t>(frame), record.mBytes, record.mLength)) {
    return false;
  }
  ++mEventsInCycle;
  mBytesInCycle += record.mLength;
  mPlayedSinceDrop.store(mPlayedSinceDrop.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  FinishFirst();
  return true;
}

void Platform_JackOutputLane::Process(const Platform_JackCycle& iCycle, WriteEvent iWrite,
                                      void* iBufferP) noexcept {
  TakeIn();
  // After the ring was read: whoever sees a message that was sent behind a drop sees the drop.
  const std::uint64_t dropBelow = mDropBelow.load(std::memory_order_acquire);
  if (dropBelow != mSeenDrop.load(std::memory_order_relaxed)) {
    mPlayedSinceDrop.store(0, std::memory_order_release);
    mSeenDrop.store(dropBelow, std::memory_order_release);
  }
  mEventsInCycle = 0;
  mBytesInCycle = 0;
  while (mHeapSize != 0) {
    if (mHeap[0].mOrder < dropBelow) {
      FinishFirst();
    } else if (!PlayFirst(iCycle, iWrite, iBufferP)) {
      return;
    }
  }
}
