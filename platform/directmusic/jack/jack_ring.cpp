// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_ring.h"

#include <cstring>

Platform_JackRing::Platform_JackRing(std::size_t iBytes) : mSize(iBytes), mBytes(new std::uint8_t[iBytes]) {
  std::memset(mBytes.get(), 0, iBytes);
}

Platform_JackRing::Header* Platform_JackRing::At(std::size_t iPlace) const noexcept {
  return reinterpret_cast<Header*>(mBytes.get() + (iPlace & (mSize - 1)));
}

bool Platform_JackRing::Push(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) noexcept {
  const std::size_t cell = CellSize(iLength);
  std::size_t tail = mTail.load(std::memory_order_relaxed);
  const std::size_t toEnd = mSize - (tail & (mSize - 1));
  const std::size_t filler = cell > toEnd ? toEnd : 0;
  // B
  if (cell > mSize || tail + filler + cell - mHead.load(std::memory_order_acquire) > mSize) {
    return false;
  }
  if (filler != 0) {
    *At(tail) = Header{0, static_cast<std::uint32_t>(filler - sizeof(Header)), 1, 1};
    tail += filler;
  }
  *At(tail) = Header{iTime, static_cast<std::uint32_t>(iLength), 0, 0};
  std::memcpy(At(tail) + 1, iBytes, iLength);
  mTail.store(tail + cell, std::memory_order_release);  // A
  return true;
}

void Platform_JackRing::SkipFiller() noexcept {
  const Header* const header = At(mTaken);
  if (header->mIsFiller != 0) {
    mTaken += CellSize(header->mLength);
  }
}

bool Platform_JackRing::Take(Record& oRecord) noexcept {
  if (IsEmpty()) {  // A
    return false;
  }
  // A filler is never the last: the record that it made room for was published with it.
  SkipFiller();
  const Header* const header = At(mTaken);
  oRecord.mTime = header->mTime;
  oRecord.mBytes = reinterpret_cast<const std::uint8_t*>(header + 1);
  oRecord.mLength = header->mLength;
  oRecord.mPlace = mTaken;
  mTaken += CellSize(header->mLength);
  return true;
}

void Platform_JackRing::Done(const Record& iRecord) noexcept {
  At(iRecord.mPlace)->mIsDone = 1;
  GiveRoomBack();
}

void Platform_JackRing::GiveRoomBack() noexcept {
  std::size_t head = mHead.load(std::memory_order_relaxed);
  const std::size_t before = head;
  while (head != mTaken && At(head)->mIsDone != 0) {
    head += CellSize(At(head)->mLength);
  }
  if (head != before) {
    mHead.store(head, std::memory_order_release);  // B
  }
}
