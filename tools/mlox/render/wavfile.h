// SPDX-License-Identifier: MIT
/// \file
/// Writes what was rendered.
#pragma once

#include <cstdint>
#include <string>

#include "tools/mlox/outputfile.h"

// libsndfile's own name; its header stays out of ours.
typedef struct sf_private_tag SNDFILE;

namespace tool {

/// A WAV file of two channels of 32-bit floats. The same frames give the same bytes: it holds no time of day.
class WavFile {
 public:
  /// Makes the file. Throws ToolError.
  WavFile(const std::string& iPath, std::uint32_t iSampleRate);
  WavFile(const WavFile&) = delete;
  WavFile& operator=(const WavFile&) = delete;
  ~WavFile();

  /// Adds frames, left and right in turn. Throws ToolError when the disk is full.
  void Write(const float* iFrames, std::int64_t iCount);

  /// Completes the file and gives it its name, which it has for good after Keep. Throws ToolError.
  void TakeName();
  void Keep() noexcept { mFile.Keep(); }

 private:
  [[noreturn]] void Fail(const std::string& iReason) const;

  OutputFile mFile;
  SNDFILE* mSoundP = nullptr;
  std::int64_t mFrames = 0;
};

}  // namespace tool
