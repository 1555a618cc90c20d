// SPDX-License-Identifier: MIT
#include "tools/mlox/render/renderer.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>

#include "tools/mlox/render/writerpool.h"

namespace tool {

namespace {

using Clock = std::chrono::steady_clock;

/// What a workstation does now and then, it does this often.
constexpr auto kLookOnEvery = std::chrono::milliseconds(50);

}  // namespace

Renderer::Renderer(const RenderParts& iParts, std::int64_t iBlock, int iWriters)
    : mParts(iParts),
      mBlock(iBlock),
      mWriters(iWriters),
      mSchedule(iWriters, Schedule::RunAheadFor(iBlock)),
      mBuffer(static_cast<std::size_t>(2 * iBlock)) {
  mPullTimes.Reserve(static_cast<std::size_t>(iParts.mTimeline.Frames() / iBlock + 1));
}

RenderFigures Renderer::Run(const std::function<void(double)>& iLookOn) {
  const auto start = Clock::now();
  WriterPool writers(mParts.mTimeline, mParts.mWay, mSchedule, mWriters);
  auto audio = std::async(std::launch::async, [this] { RenderAll(); });
  try {
    while (audio.wait_for(kLookOnEvery) == std::future_status::timeout) {
      mParts.mWay.Idle();
      iLookOn(static_cast<double>(std::max<std::int64_t>(mSchedule.Position(), 0)) /
              static_cast<double>(std::max<std::int64_t>(mParts.mTimeline.Frames(), 1)));
    }
  } catch (...) {
    mSchedule.Cancel();
    audio.wait();
    throw;
  }
  // A writer's fault comes first: the audio thread then only gave up.
  writers.Join();
  audio.get();
  mFigures.mRealTimeFactor = static_cast<double>(mParts.mTimeline.Frames()) / mParts.mTimeline.SampleRate() /
                             std::chrono::duration<double>(Clock::now() - start).count();
  return Summarize(writers.Counters());
}

// ---- [audio] ----

void Renderer::RenderAll() {
  try {
    for (std::int64_t first = 0; first < mParts.mTimeline.Frames(); first += mBlock) {
      mSchedule.PublishPosition(first);
      if (!mSchedule.WaitForWriters(first + mBlock - 1)) {
        return;
      }
      PullBlock(first);
      RenderBlock(first);
    }
  } catch (...) {
    mSchedule.Cancel();
    throw;
  }
}

void Renderer::PullBlock(std::int64_t iFirst) {
  mMessages.Clear();
  mFigures.mBlocksPulledWhileWriting += mSchedule.IsAllWritten() ? 0 : 1;
  ++mFigures.mBlocks;
  mSchedule.BeginPull();
  const auto start = Clock::now();
  mParts.mWay.Pull(iFirst, iFirst + mBlock - 1, mMessages);
  mPullTimes.Add(Clock::now() - start);
  mSchedule.EndPull();
}

/// A message that came too late, with a time before the block, plays at the block's first frame.
void Renderer::RenderBlock(std::int64_t iFirst) {
  const std::int64_t end = std::min(iFirst + mBlock, mParts.mTimeline.Frames());
  std::int64_t position = iFirst;
  for (const BlockMessages::Item& item : mMessages.Items()) {
    const std::int64_t sample = std::clamp(item.mSample, position, end);
    RenderFrames(iFirst, position, sample);
    position = sample;
    mParts.mSynthesizer.Feed(mMessages.BytesOf(item));
    mDelivered.Add(sample, mMessages.BytesOf(item));
  }
  RenderFrames(iFirst, position, end);
  MeasurePeak(end - iFirst);
  mParts.mWav.Write(mBuffer.data(), end - iFirst);
}

void Renderer::RenderFrames(std::int64_t iFirst, std::int64_t iFrom, std::int64_t iTo) {
  mParts.mSynthesizer.Render(mBuffer.data() + 2 * (iFrom - iFirst), iTo - iFrom);
}

void Renderer::MeasurePeak(std::int64_t iFrames) {
  for (std::int64_t i = 0; i < 2 * iFrames; ++i) {
    mPeak = std::max(mPeak, std::fabs(mBuffer[static_cast<std::size_t>(i)]));
  }
}

// ---- [main] ----

RenderFigures Renderer::Summarize(const WriterCounters& iWriters) {
  mFigures.mWriters = iWriters;
  mFigures.mEventsWritten = iWriters.mWritten;
  mFigures.mMessagesDelivered = mDelivered.Items().size();
  mFigures.mLate = mDelivered.CountLate(mParts.mTimeline);
  mFigures.mDropped = static_cast<std::int64_t>(mFigures.mEventsWritten) -
                      static_cast<std::int64_t>(mFigures.mMessagesDelivered);
  mFigures.mPullMaxUs = mPullTimes.Microseconds(1000);
  mFigures.mPullP999Us = mPullTimes.Microseconds(999);
  mFigures.mFrames = mParts.mTimeline.Frames();
  mFigures.mPeak = mPeak;
  mFigures.mWay = mParts.mWay.Counters();
  return mFigures;
}

}  // namespace tool
