// SPDX-License-Identifier: MIT
/// \file
/// A song with what real ones lack.
#pragma once

#include "tests/support/song_builder.h"

/// A song of format 1, three tracks and some seconds: short and long system exclusive messages, whole and in
/// pieces, raw bytes, poly pressure, dense equal times on all channels, every controller from 0 to 127 on
/// every channel, both forms of all notes off, the ends of all value ranges. Tempo changes stand on the
/// second track.
Test_Bytes Test_GeneratedSong();
