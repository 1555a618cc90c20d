// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/messagetext.h"

#include <fmt/format.h>

#include <array>

#include "tools/mlox/ports/hexbytes.h"

namespace tool {

namespace {

std::string NoteText(std::uint8_t iNote) {
  static constexpr std::array<const char*, 12> kNames{"C",  "C#", "D",  "D#", "E",  "F",
                                                      "F#", "G",  "G#", "A",  "A#", "B"};
  return fmt::format("{}{} ({})", kNames[iNote % 12], iNote / 12 - 1, iNote);
}

std::string ModeText(std::uint8_t iController, std::uint8_t iValue) {
  static constexpr std::array<const char*, 8> kModes{"all sound off", "reset all controllers",
                                                     "local control", "all notes off",
                                                     "omni off",      "omni on",
                                                     "mono",          "poly"};
  return fmt::format("{} ({} = {})", kModes[iController - 120u], iController, iValue);
}

std::string ChannelText(std::span<const std::uint8_t> iBytes) {
  const std::uint8_t first = iBytes[1];
  const std::uint8_t second = iBytes.size() > 2 ? iBytes[2] : std::uint8_t{0};
  switch (iBytes[0] & 0xF0) {
    case 0x80:
      return fmt::format("note off {} velocity {}", NoteText(first), second);
    case 0x90:
      return fmt::format("note on {} velocity {}", NoteText(first), second);
    case 0xA0:
      return fmt::format("poly pressure {} = {}", NoteText(first), second);
    case 0xB0:
      return first >= 120 ? ModeText(first, second) : fmt::format("controller {} = {}", first, second);
    case 0xC0:
      return fmt::format("program {}", first);
    case 0xD0:
      return fmt::format("channel pressure {}", first);
    default:
      return fmt::format("pitch bend {}", (second << 7 | first) - 8192);
  }
}

std::string SystemText(std::span<const std::uint8_t> iBytes) {
  switch (iBytes[0]) {
    case 0xF1:
      return iBytes.size() == 2 ? fmt::format("quarter frame {:02x}", iBytes[1]) : std::string();
    case 0xF2:
      return iBytes.size() == 3 ? fmt::format("song position {}", iBytes[2] << 7 | iBytes[1]) : std::string();
    case 0xF3:
      return iBytes.size() == 2 ? fmt::format("song {}", iBytes[1]) : std::string();
    case 0xF6:
      return "tune request";
    case 0xF8:
      return "clock";
    case 0xFA:
      return "start";
    case 0xFB:
      return "continue";
    case 0xFC:
      return "stop";
    case 0xFE:
      return "active sensing";
    case 0xFF:
      return "reset";
    default:
      return {};
  }
}

std::string SysexText(std::span<const std::uint8_t> iBytes) {
  constexpr std::size_t kShown = 12;
  const bool isLong = iBytes.size() > kShown;
  return fmt::format("system exclusive, {} bytes: {}{}", iBytes.size(),
                     HexText(iBytes.first(isLong ? kShown : iBytes.size())), isLong ? " ..." : "");
}

bool IsChannelMessage(std::span<const std::uint8_t> iBytes) {
  if (iBytes[0] < 0x80 || iBytes[0] >= 0xF0) return false;
  const bool hasOneDataByte = iBytes[0] >= 0xC0 && iBytes[0] < 0xE0;
  if (iBytes.size() != (hasOneDataByte ? 2u : 3u)) return false;
  return iBytes[1] < 0x80 && iBytes.back() < 0x80;
}

}  // namespace

std::string MessageText(std::span<const std::uint8_t> iBytes) {
  if (iBytes.empty()) return "nothing";
  if (IsChannelMessage(iBytes)) {
    return fmt::format("{} channel {}", ChannelText(iBytes), (iBytes[0] & 0x0F) + 1);
  }
  if (iBytes[0] == 0xF0 || iBytes[0] == 0xF7 || iBytes[0] < 0x80) return SysexText(iBytes);
  std::string text = SystemText(iBytes);
  return text.empty() ? "bytes " + HexText(iBytes) : text;
}

}  // namespace tool
