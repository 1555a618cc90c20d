// SPDX-License-Identifier: MIT
/// \file
/// The list of all receivers.
#pragma once

#include <memory>
#include <vector>

#include "mlox/mlox_directmusic/idirectmusicmidireceiver.h"

/// Receivers in the order in which they came, at most one for each callback.
using DirectMusicReceiverList = std::vector<std::shared_ptr<IDirectMusicMIDIReceiver>>;

/// The process's receivers, as a list that never changes: a new set of receivers is a new list in its place.
/// So the receive thread takes a copy of the pointer and calls receivers without a lock, whatever goes on
/// meanwhile. [any but real-time]
std::shared_ptr<const DirectMusicReceiverList> GetDirectMusicReceivers();
void SetDirectMusicReceivers(DirectMusicReceiverList iReceivers);
