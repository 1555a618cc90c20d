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
  mMessages.push_back(std::move(message));
  mChanged.notify_one();
  return 0;
}

bool ReceivedQueue::Take(ReceivedMessage& oMessage, std::chrono::microseconds iTime) {
  std::unique_lock lock(mMutex);
  mChanged.wait_for(lock, iTime, [this] { return !mMessages.empty() || mHasEnded; });
  if (mMessages.empty()) return false;
  oMessage = std::move(mMessages.front());
  mMessages.pop_front();
  return true;
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
