// SPDX-License-Identifier: MIT
#include "tools/mlox/render/schedule.h"

namespace tool {

Schedule::Schedule(int iWriters, std::int64_t iRunAhead) : mWriters(iWriters), mRunAhead(iRunAhead) {}

// ---- [writer] ----

bool Schedule::WaitToWrite(std::int64_t iSample) {
  for (;;) {
    const std::int64_t position = mPosition.load(std::memory_order_acquire);  // B
    if (IsCancelled()) {
      return false;
    }
    // Before the first block the position is -1: nobody writes until the audio thread runs.
    if (position >= 0 && iSample - position < mRunAhead) {
      return true;
    }
    mPosition.wait(position, std::memory_order_acquire);
  }
}

void Schedule::PublishWritten(int iWriter, std::int64_t iBelow) {
  auto& below = mWrittenBelow[static_cast<std::size_t>(iWriter)].mBelow;
  below.store(iBelow, std::memory_order_release);  // A
  below.notify_one();
}

// ---- [audio] ----

void Schedule::PublishPosition(std::int64_t iPosition) {
  mPosition.store(iPosition, std::memory_order_release);  // B
  mPosition.notify_all();
}

bool Schedule::WaitForWriters(std::int64_t iLast) {
  for (int i = 0; i < mWriters; ++i) {
    const auto& written = mWrittenBelow[static_cast<std::size_t>(i)].mBelow;
    std::int64_t below = written.load(std::memory_order_acquire);  // A
    while (below <= iLast) {
      written.wait(below, std::memory_order_acquire);
      below = written.load(std::memory_order_acquire);
    }
  }
  // A writer that gives up publishes kEverything, so nobody is waited for in vain; but then not all is
  // written.
  return !IsCancelled();
}

bool Schedule::IsAllWritten() const {
  for (int i = 0; i < mWriters; ++i) {
    if (mWrittenBelow[static_cast<std::size_t>(i)].mBelow.load(std::memory_order_acquire) != kEverything) {
      return false;
    }
  }
  return true;
}

// ---- [any] ----

void Schedule::Cancel() {
  // The flag first: whoever is woken by the new position must find it set. Should the audio thread publish a
  // position of its own in between, that wakes the writers just as well.
  mIsCancelled.store(true, std::memory_order_release);
  mPosition.store(kEverything, std::memory_order_release);
  mPosition.notify_all();
}

}  // namespace tool
