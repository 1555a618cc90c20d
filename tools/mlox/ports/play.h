// SPDX-License-Identifier: MIT
/// \file
/// `mlox play`: a song to an output, in time.
#pragma once

#include <string>

namespace tool {

struct PlayRequest {
  std::string mSong;
  std::string mOutput;
  double mSeconds = 0;  ///< only so much of the song; 0: all of it
  std::string mBack;    ///< an input on which everything is expected to come back; empty: nothing is
};

/// Throws ToolError; also after an interrupt, when what was written has gone out and every note is off, and
/// when something didn't come back.
void Play(const PlayRequest& iRequest);

}  // namespace tool
