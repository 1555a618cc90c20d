// SPDX-License-Identifier: MIT
/// \file
/// From the bytes of a song to the events that a workstation writes.
#pragma once

#include <cstdint>
#include <span>

#include "mdid/mdie_event.h"
#include "tools/mlox/song/song.h"

namespace tool {

/// The event for a message of a song. It turns into exactly one message of the same bytes.
///
/// - Note-on with velocity 0 was a note-off already when a song was read. Anybody else's is a packet of its
///   three bytes, since a note-on event has a velocity of at least 1.
/// - Controllers 120 to 127 are channel modes and no controllers: they travel as packets of their three
/// bytes, but all
///   notes off with value 0 has an event of its own.
/// - A program change carries no bank: controllers 0 and 32 are messages of their own and come first in the
/// song.
/// - Raw bytes are a packet; more than a packet holds travel as a system exclusive event, which keeps any
/// bytes.
Mdie_Event MakeEvent(SongMessageKind iKind, std::span<const std::uint8_t> iBytes);

}  // namespace tool
