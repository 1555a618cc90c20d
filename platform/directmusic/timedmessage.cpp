// SPDX-License-Identifier: MIT
#include "platform/directmusic/timedmessage.h"

#include <cstring>
#include <limits>
#include <new>

#include "cmn/mem2_masterallocator.h"

namespace {

bool IsBefore(const Platform_TimedMessage& iLeft, const Platform_TimedMessage& iRight) {
  return iLeft.mTime != iRight.mTime ? iLeft.mTime < iRight.mTime : iLeft.mOrder < iRight.mOrder;
}

// Joins two heaps; either may be null. The later root becomes the first child of the earlier one.
Platform_TimedMessage* Meld(Platform_TimedMessage* iLeftP, Platform_TimedMessage* iRightP) {
  if (iLeftP == nullptr || iRightP == nullptr) {
    return iLeftP != nullptr ? iLeftP : iRightP;
  }
  if (IsBefore(*iRightP, *iLeftP)) {
    return Meld(iRightP, iLeftP);
  }
  iRightP->mNextP = iLeftP->mChildP;
  iLeftP->mChildP = iRightP;
  return iLeftP;
}

// The children of a root that has gone: melded in pairs from the first on, then all pairs from the last back.
// Both passes are loops, since an hour of music written in one go makes thousands of siblings.
Platform_TimedMessage* MeldSiblings(Platform_TimedMessage* iFirstP) {
  Platform_TimedMessage* pairs = nullptr;
  while (iFirstP != nullptr) {
    Platform_TimedMessage* const left = iFirstP;
    Platform_TimedMessage* const right = left->mNextP;
    iFirstP = right != nullptr ? right->mNextP : nullptr;
    left->mNextP = nullptr;
    if (right != nullptr) {
      right->mNextP = nullptr;
    }
    Platform_TimedMessage* const pair = Meld(left, right);
    pair->mNextP = pairs;
    pairs = pair;
  }
  Platform_TimedMessage* root = nullptr;
  while (pairs != nullptr) {
    Platform_TimedMessage* const next = pairs->mNextP;
    pairs->mNextP = nullptr;
    root = Meld(root, pairs);
    pairs = next;
  }
  return root;
}

}  // namespace

Platform_TimedMessage* Platform_TimedMessage::New(std::int64_t iTime, const std::uint8_t* iBytes,
                                                  std::size_t iLength) {
  if (iLength > static_cast<std::size_t>(std::numeric_limits<int>::max()) - sizeof(Platform_TimedMessage)) {
    return nullptr;
  }
  const int size = static_cast<int>(sizeof(Platform_TimedMessage) + iLength);
  void* const block = Mem2_MasterAllocator::Shared().Alloc(size, nullptr);
  if (block == nullptr) {
    return nullptr;
  }
  auto* const message = new (block) Platform_TimedMessage{iTime, 0, nullptr, nullptr, iLength};
  if (iLength > 0) {
    std::memcpy(message + 1, iBytes, iLength);
  }
  return message;
}

void Platform_TimedMessage::Delete(Platform_TimedMessage* iMessageP) {
  Mem2_MasterAllocator::Shared().Free(iMessageP, nullptr);
}

void Platform_TimedQueue::Push(Platform_TimedMessage* iMessageP) {
  iMessageP->mOrder = mNextOrder++;
  iMessageP->mNextP = nullptr;
  iMessageP->mChildP = nullptr;
  mRootP = Meld(mRootP, iMessageP);
  ++mSize;
}

Platform_TimedMessage* Platform_TimedQueue::Pop() {
  Platform_TimedMessage* const message = mRootP;
  if (message == nullptr) {
    return nullptr;
  }
  mRootP = MeldSiblings(message->mChildP);
  message->mChildP = nullptr;
  --mSize;
  return message;
}

std::size_t Platform_TimedQueue::Clear() {
  std::size_t count = 0;
  while (Platform_TimedMessage* const message = Pop()) {
    Platform_TimedMessage::Delete(message);
    ++count;
  }
  return count;
}

void Platform_MessageList::Append(Platform_TimedMessage* iMessageP) {
  iMessageP->mNextP = nullptr;
  if (mLastP != nullptr) {
    mLastP->mNextP = iMessageP;
  } else {
    mFirstP = iMessageP;
  }
  mLastP = iMessageP;
  ++mSize;
}

Platform_TimedMessage* Platform_MessageList::Pop() {
  Platform_TimedMessage* const message = mFirstP;
  if (message == nullptr) {
    return nullptr;
  }
  mFirstP = message->mNextP;
  if (mFirstP == nullptr) {
    mLastP = nullptr;
  }
  message->mNextP = nullptr;
  --mSize;
  return message;
}

std::size_t Platform_MessageList::Clear() {
  std::size_t count = 0;
  while (Platform_TimedMessage* const message = Pop()) {
    Platform_TimedMessage::Delete(message);
    ++count;
  }
  return count;
}
