// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/receivedqueue.h"

#include <utility>

namespace tool {

int ReceivedQueue::ReceiveRawMidi(Mlox_MidiData* iDataP) {
  ReceivedMessage message;
  message.mBytes.assign(iDataP->mData, iDataP->mData + iDataP->mLength);
  message.mInput = iDataP->mInputID;
  message.mTime = iDataP->mTime;
  message.mSysexState = iDataP->mSysexState;
  const std::lock_guard lock(mMutex);
  mIsDropping = mIsDropping || mMessages.size() >= mMostMessages;
  if (mIsDropping) {
    ++mDropped;
    return 0;
  }
  mMessages.push_back({std::move(message), std::exchange(mDropped, 0)});
  mChanged.notify_one();
  return 0;
}

bool ReceivedQueue::Take(ReceivedMessage& oMessage, std::chrono::microseconds iTime) {
  std::unique_lock lock(mMutex);
  mChanged.wait_for(lock, iTime, [this] { return !mMessages.empty() || mHasEnded; });
  if (mMessages.empty()) return false;
  oMessage = std::move(mMessages.front().mMessage);
  mMessages.pop_front();
  if (mMessages.size() <= mMostMessages / 2) mIsDropping = false;
  return true;
}

std::size_t ReceivedQueue::TakeDropped() {
  const std::lock_guard lock(mMutex);
  return std::exchange(mMessages.empty() ? mDropped : mMessages.front().mDroppedBefore, 0);
}

bool ReceivedQueue::HasEnded() {
  const std::lock_guard lock(mMutex);
  return mHasEnded && mMessages.empty();
}

void ReceivedQueue::End() {
  const std::lock_guard lock(mMutex);
  mHasEnded = true;
  mChanged.notify_all();
}

}  // namespace tool
