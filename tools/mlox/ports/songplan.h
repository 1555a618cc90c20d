// SPDX-License-Identifier: MIT
/// \file
/// A song as it goes out through a port: its messages in order of time.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/mlox/song/song.h"

namespace tool {

/// One message and when it is due.
struct PlannedMessage {
  std::int64_t mTime = 0;  ///< microseconds from the start of the song
  SongMessage mMessage;
};

/// The messages that are due before so many seconds, 0 for all, in order of time; those of one time in the
/// order of the file. The song must outlive the use of their bytes.
std::vector<PlannedMessage> PlanSong(const Song& iSong, double iSeconds);

}  // namespace tool
