// SPDX-License-Identifier: MIT
/// \file
/// The plug-in's sound: FluidSynth behind two operations.
#pragma once

#include <fluidsynth/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "tools/mlox/render/fluidlog.h"

namespace tool {

/// A synthesizer with one sound font. Made on one thread, then used on one other. What it plays depends on
/// the messages and the frames before which they came, and on nothing else.
class Synthesizer {
 public:
  /// FluidSynth's range of sample rates, Hz.
  static constexpr std::uint32_t kMinSampleRate = 8000;
  static constexpr std::uint32_t kMaxSampleRate = 96000;

  /// Loads the sound font. Throws ToolError, with the file and the reason, when it can't.
  Synthesizer(const std::string& iSoundFont, std::uint32_t iSampleRate);

  /// Plays a message: a channel message, a system exclusive one, or raw bytes that may hold several messages.
  /// What a synthesizer has no use for is passed over.
  void Feed(std::span<const std::uint8_t> iBytes);

  /// Renders the next `iFrames` frames to `oFrames`, left and right in turn.
  void Render(float* oFrames, std::int64_t iFrames);

  /// What FluidSynth had to say.
  const FluidLog& Log() const { return mLog; }

 private:
  /// FluidSynth computes in blocks of 64 frames, and hears of messages only between them. Asked for more at
  /// once, it may compute several blocks in a row before the messages that lie between them.
  static constexpr std::int64_t kGrid = 64;

  struct DeleteSettings {
    void operator()(fluid_settings_t* iP) const;
  };
  struct DeleteSynth {
    void operator()(fluid_synth_t* iP) const;
  };

  std::size_t FeedOne(std::span<const std::uint8_t> iBytes);
  std::size_t FeedSysex(std::span<const std::uint8_t> iBytes);
  void FeedChannelMessage(int iStatus, int iData1, int iData2);

  FluidLog mLog;
  std::unique_ptr<fluid_settings_t, DeleteSettings> mSettings;
  std::unique_ptr<fluid_synth_t, DeleteSynth> mSynth;
  std::int64_t mPosition = 0;
};

}  // namespace tool
