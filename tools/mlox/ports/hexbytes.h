// SPDX-License-Identifier: MIT
/// \file
/// MIDI messages as hexadecimal numbers on a command line.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tool {

/// The bytes that texts such as "90 3c 64", "903C64" or "0xF0" stand for. Throws UsageError for anything
/// else.
std::vector<std::uint8_t> ParseHexBytes(const std::vector<std::string>& iTexts);

/// The bytes as "90 3c 64".
std::string HexText(std::span<const std::uint8_t> iBytes);

/// Cuts bytes into whole messages, each with its own status byte: running status has no place in what a user
/// types. Throws UsageError that names the byte at fault: a data byte where a status belongs, a message that
/// is cut short, a status that doesn't exist, a system exclusive message without its end or with a status
/// byte inside.
std::vector<std::vector<std::uint8_t>> SplitMessages(std::span<const std::uint8_t> iBytes);

}  // namespace tool
