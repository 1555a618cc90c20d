// SPDX-License-Identifier: MIT
#include "tools/mlox/render/mergedqueues.h"

#include <algorithm>

namespace tool {

void MergedQueues::Push(int iWriter, std::int64_t iSample, std::span<const std::uint8_t> iBytes) {
  mQueues[static_cast<std::size_t>(iWriter)].Push(iSample, iBytes);
}

void MergedQueues::TakeUntil(std::int64_t iLast, BlockMessages& oMessages) {
  while (HandoverQueue* const queue = EarliestQueue(iLast)) {
    const HandoverQueue::Message& message = *queue->Front();
    std::copy(message.mBytes.begin(), message.mBytes.end(),
              oMessages.Add(message.mSample, message.mBytes.size()));
    queue->PopFront();
    ++mTaken;
  }
}

HandoverQueue* MergedQueues::EarliestQueue(std::int64_t iLast) {
  HandoverQueue* earliest = nullptr;
  std::int64_t earliestSample = 0;
  for (HandoverQueue& queue : mQueues) {
    const HandoverQueue::Message* const front = queue.Front();
    if (front == nullptr || front->mSample > iLast) {
      continue;
    }
    // Strictly earlier: the lower writer wins a draw.
    if (earliest == nullptr || front->mSample < earliestSample) {
      earliest = &queue;
      earliestSample = front->mSample;
    }
  }
  return earliest;
}

}  // namespace tool
