// SPDX-License-Identifier: MIT
#include "tools/mlox/render/synthesizer.h"

#include <dlfcn.h>
#include <fluidsynth.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

/// FluidSynth's own words about a file that isn't there are two lines of log; these are one.
void CheckReadable(const std::string& iPath) {
  std::FILE* const file = std::fopen(iPath.c_str(), "rb");
  if (file == nullptr) {
    throw ToolError(fmt::format("{}: cannot open the sound font: {}", iPath, std::strerror(errno)));
  }
  char first = 0;
  const bool isReadable = std::fread(&first, 1, 1, file) == 1;
  const int fault = errno;
  const bool hasFailed = std::ferror(file) != 0;
  std::fclose(file);
  if (!isReadable) {
    throw ToolError(fmt::format("{}: byte 0: cannot read the sound font: {}", iPath,
                                hasFailed ? std::strerror(fault) : "the file is empty"));
  }
}

/// FluidSynth loads sound fonts on as many threads as there are processors, through OpenMP, which then keeps
/// them for the life of the process. Loading takes a moment on one; and threads that nobody can join are none
/// of ours to start. OpenMP is FluidSynth's and not ours, so it is asked only if FluidSynth has brought it
/// along.
void LoadOnThisThread() {
  using SetThreads = void (*)(int);
  const auto setThreads = reinterpret_cast<SetThreads>(::dlsym(RTLD_DEFAULT, "omp_set_num_threads"));
  if (setThreads != nullptr) {
    setThreads(1);
  }
}

bool IsStatus(std::uint8_t iByte) { return iByte >= 0x80; }

std::string Trimmed(std::string iText) {
  while (!iText.empty() && (iText.back() == '\n' || iText.back() == ' ')) {
    iText.pop_back();
  }
  std::replace(iText.begin(), iText.end(), '\n', ' ');
  return iText;
}

}  // namespace

void Synthesizer::DeleteSettings::operator()(fluid_settings_t* iP) const { delete_fluid_settings(iP); }

void Synthesizer::DeleteSynth::operator()(fluid_synth_t* iP) const { delete_fluid_synth(iP); }

Synthesizer::Synthesizer(const std::string& iSoundFont, std::uint32_t iSampleRate) {
  CheckReadable(iSoundFont);
  mSettings.reset(new_fluid_settings());
  if (!mSettings) {
    throw ToolError("FluidSynth cannot be set up");
  }
  fluid_settings_setnum(mSettings.get(), "synth.sample-rate", iSampleRate);
  // One thread: more of them would sum voices in an order that changes from run to run.
  fluid_settings_setint(mSettings.get(), "synth.cpu-cores", 1);
  mSynth.reset(new_fluid_synth(mSettings.get()));
  if (!mSynth) {
    throw ToolError("FluidSynth cannot be set up");
  }
  LoadOnThisThread();
  if (fluid_is_soundfont(iSoundFont.c_str()) == 0 ||
      fluid_synth_sfload(mSynth.get(), iSoundFont.c_str(), 1) == FLUID_FAILED) {
    const auto texts = mLog.Texts();
    throw ToolError(fmt::format("{}: not a sound font that FluidSynth can load: {}", iSoundFont,
                                texts.empty() ? "it is of another kind" : Trimmed(texts.front())));
  }
}

void Synthesizer::Feed(std::span<const std::uint8_t> iBytes) {
  while (!iBytes.empty()) {
    iBytes = iBytes.subspan(FeedOne(iBytes));
  }
}

void Synthesizer::Render(float* oFrames, std::int64_t iFrames) {
  while (iFrames > 0) {
    const std::int64_t count = std::min(iFrames, kGrid - mPosition % kGrid);
    fluid_synth_write_float(mSynth.get(), static_cast<int>(count), oFrames, 0, 2, oFrames, 1, 2);
    oFrames += 2 * count;
    mPosition += count;
    iFrames -= count;
  }
}

/// Plays the first message of the bytes; returns how many of them it took, at least 1.
std::size_t Synthesizer::FeedOne(std::span<const std::uint8_t> iBytes) {
  const std::uint8_t status = iBytes[0];
  if (status == 0xF0) {
    return FeedSysex(iBytes);
  }
  if (status == 0xFF) {
    fluid_synth_system_reset(mSynth.get());
    return 1;
  }
  if (status < 0x80 || status > 0xEF) {
    return 1;  // nothing that sounds; its data bytes pass the same way
  }
  const std::size_t length = (status & 0xE0) == 0xC0 ? 2 : 3;
  for (std::size_t i = 1; i < length; ++i) {
    if (i >= iBytes.size() || IsStatus(iBytes[i])) {
      return i;  // cut short
    }
  }
  FeedChannelMessage(status, iBytes[1], length == 3 ? iBytes[2] : 0);
  return length;
}

std::size_t Synthesizer::FeedSysex(std::span<const std::uint8_t> iBytes) {
  const auto end = std::find(iBytes.begin(), iBytes.end(), std::uint8_t{0xF7});
  if (end == iBytes.end()) {
    return iBytes.size();
  }
  const auto length = static_cast<std::size_t>(end - iBytes.begin());
  const auto data = iBytes.subspan(1, length - 1);
  fluid_synth_sysex(mSynth.get(), reinterpret_cast<const char*>(data.data()), static_cast<int>(data.size()),
                    nullptr, nullptr, nullptr, 0);
  return length + 1;
}

/// FluidSynth answers "failed" also for a note-off without a note; none of its answers is a fault of ours.
void Synthesizer::FeedChannelMessage(int iStatus, int iData1, int iData2) {
  fluid_synth_t* const synth = mSynth.get();
  const int channel = iStatus & 0x0F;
  switch (iStatus & 0xF0) {
    case 0x80:
      fluid_synth_noteoff(synth, channel, iData1);
      break;
    case 0x90:
      fluid_synth_noteon(synth, channel, iData1, iData2);
      break;
    case 0xA0:
      fluid_synth_key_pressure(synth, channel, iData1, iData2);
      break;
    case 0xB0:
      fluid_synth_cc(synth, channel, iData1, iData2);
      break;
    case 0xC0:
      fluid_synth_program_change(synth, channel, iData1);
      break;
    case 0xD0:
      fluid_synth_channel_pressure(synth, channel, iData1);
      break;
    default:
      fluid_synth_pitch_bend(synth, channel, iData1 | (iData2 << 7));
      break;
  }
}

}  // namespace tool
