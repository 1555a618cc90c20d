// SPDX-License-Identifier: MIT
#include "tools/mlox/render/wavfile.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/mlox/tool_error.h"

namespace tool {

WavFile::WavFile(const std::string& iPath, std::uint32_t iSampleRate) : mFile(iPath) {
  SF_INFO info{};
  info.samplerate = static_cast<int>(iSampleRate);
  info.channels = 2;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  mSoundP = sf_open_fd(mFile.TakeDescriptor(), SFM_WRITE, &info, SF_TRUE);
  if (mSoundP == nullptr) {
    Fail(sf_strerror(nullptr));
  }
  // The chunk with the peak holds the time of day, and would make each rendering another file.
  sf_command(mSoundP, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
}

WavFile::~WavFile() {
  if (mSoundP != nullptr) {
    sf_close(mSoundP);
  }
}

void WavFile::Write(const float* iFrames, std::int64_t iCount) {
  errno = 0;
  const sf_count_t written = sf_writef_float(mSoundP, iFrames, iCount);
  const int fault = errno;
  mFrames += written;
  if (written != iCount) {
    Fail(fault != 0 ? std::strerror(fault) : sf_strerror(mSoundP));
  }
}

void WavFile::TakeName() {
  errno = 0;
  if (sf_close(std::exchange(mSoundP, nullptr)) != 0) {
    Fail(errno != 0 ? std::strerror(errno) : "it could not be completed");
  }
  mFile.TakeName();
}

void WavFile::Fail(const std::string& iReason) const {
  throw ToolError(fmt::format("{}: frame {}: cannot write: {}", mFile.Path(), mFrames, iReason));
}

}  // namespace tool
