// SPDX-License-Identifier: MIT
/// \file
/// MIDI messages in words.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tool {

/// What a message, or a piece of a system exclusive one, says: "note on C4 (60) velocity 100 channel 1".
/// Channels count from 1 here, as people do. Middle C, 60, is C4. What is no message is told as its bytes.
std::string MessageText(std::span<const std::uint8_t> iBytes);

}  // namespace tool
