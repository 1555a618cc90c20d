// SPDX-License-Identifier: MIT
#include "tools/mlox/render/writerpool.h"

namespace tool {

WriterPool::WriterPool(const Timeline& iTimeline, Way& iWay, Schedule& iSchedule, int iWriters)
    : mTimeline(iTimeline), mWay(iWay), mSchedule(iSchedule) {
  const auto& messages = mTimeline.Messages();
  for (std::size_t i = 0; i < messages.size(); ++i) {
    mShares[static_cast<std::size_t>(WriterOf(messages[i].mChannel, iWriters))].push_back(i);
  }
  mThreads.reserve(static_cast<std::size_t>(iWriters));
  for (int writer = 0; writer < iWriters; ++writer) {
    mThreads.emplace_back([this, writer] { Run(writer); });
  }
}

WriterPool::~WriterPool() {
  if (mThreads.empty()) {
    return;
  }
  mSchedule.Cancel();
  for (std::thread& thread : mThreads) {
    thread.join();
  }
}

void WriterPool::Join() {
  for (std::thread& thread : mThreads) {
    thread.join();
  }
  mThreads.clear();
  for (const std::exception_ptr& fault : mFaults) {
    if (fault) {
      std::rethrow_exception(fault);
    }
  }
}

WriterCounters WriterPool::Counters() const {
  WriterCounters sum;
  for (const WriterCounters& counters : mCounters) {
    sum.mWritten += counters.mWritten;
    sum.mWrittenAfterFirstPull += counters.mWrittenAfterFirstPull;
    sum.mWrittenDuringPull += counters.mWrittenDuringPull;
  }
  return sum;
}

void WriterPool::Run(int iWriter) {
  try {
    WriteAll(iWriter);
  } catch (...) {
    mFaults[static_cast<std::size_t>(iWriter)] = std::current_exception();
    mSchedule.Cancel();
  }
  mSchedule.PublishWritten(iWriter, Schedule::kEverything);
}

void WriterPool::WriteAll(int iWriter) {
  WriterCounters& counters = mCounters[static_cast<std::size_t>(iWriter)];
  std::int64_t published = 0;
  for (const std::size_t index : mShares[static_cast<std::size_t>(iWriter)]) {
    const TimedMessage& message = mTimeline.Messages()[index];
    if (message.mSample > published) {
      published = message.mSample;
      mSchedule.PublishWritten(iWriter, published);
    }
    if (!mSchedule.WaitToWrite(message.mSample)) {
      return;
    }
    const std::uint64_t before = mSchedule.PullMark();
    mWay.Write(iWriter, message, mTimeline.BytesOf(message));
    const std::uint64_t after = mSchedule.PullMark();
    ++counters.mWritten;
    counters.mWrittenAfterFirstPull += before != 0 ? 1 : 0;
    const bool hasMetPull = before != after || (before & 1) != 0;
    counters.mWrittenDuringPull += hasMetPull ? 1 : 0;
  }
}

}  // namespace tool
