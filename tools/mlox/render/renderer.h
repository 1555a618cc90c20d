// SPDX-License-Identifier: MIT
/// \file
/// Renders a timeline: writers on their threads, the audio thread on its own, the caller looks on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "tools/mlox/render/blockmessages.h"
#include "tools/mlox/render/deliveredlist.h"
#include "tools/mlox/render/pulltimes.h"
#include "tools/mlox/render/renderfigures.h"
#include "tools/mlox/render/schedule.h"
#include "tools/mlox/render/synthesizer.h"
#include "tools/mlox/render/timeline.h"
#include "tools/mlox/render/wavfile.h"
#include "tools/mlox/render/way.h"

namespace tool {

/// What is rendered with what. Everything must outlive the renderer.
struct RenderParts {
  const Timeline& mTimeline;
  Way& mWay;
  Synthesizer& mSynthesizer;
  WavFile& mWav;
};

/// One rendering.
class Renderer {
 public:
  /// \param iBlock    frames a block, at least 1.
  /// \param iWriters  1 to kMaxWriters.
  Renderer(const RenderParts& iParts, std::int64_t iBlock, int iWriters);

  /// Renders all of it, and returns the figures. Meanwhile calls `iLookOn` on this thread some twenty times a
  /// second with the part that is done, 0 to 1; what it throws ends the rendering. Throws what a writer or
  /// the audio thread threw.
  RenderFigures Run(const std::function<void(double)>& iLookOn);

  /// What was fed to the synthesizer, after Run.
  const DeliveredList& Delivered() const { return mDelivered; }

 private:
  void RenderAll();
  void PullBlock(std::int64_t iFirst);
  void RenderBlock(std::int64_t iFirst);
  void RenderFrames(std::int64_t iFirst, std::int64_t iFrom, std::int64_t iTo);
  void MeasurePeak(std::int64_t iFrames);
  RenderFigures Summarize(const WriterCounters& iWriters);

  RenderParts mParts;
  std::int64_t mBlock;
  int mWriters;
  Schedule mSchedule;

  // The audio thread's, until it has ended.
  BlockMessages mMessages;
  std::vector<float> mBuffer;
  DeliveredList mDelivered;
  PullTimes mPullTimes;
  RenderFigures mFigures;
  float mPeak = 0;
};

}  // namespace tool
