// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/hexbytes.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

constexpr std::uint8_t kSysexStart = 0xF0;
constexpr std::uint8_t kSysexEnd = 0xF7;

int DigitOf(char iCharacter) {
  if (iCharacter >= '0' && iCharacter <= '9') return iCharacter - '0';
  if (iCharacter >= 'a' && iCharacter <= 'f') return iCharacter - 'a' + 10;
  if (iCharacter >= 'A' && iCharacter <= 'F') return iCharacter - 'A' + 10;
  return -1;
}

void AddWord(std::string_view iWord, std::vector<std::uint8_t>& ioBytes) {
  const std::string_view whole = iWord;
  if (iWord.starts_with("0x") || iWord.starts_with("0X")) iWord.remove_prefix(2);
  const bool areDigits = std::all_of(iWord.begin(), iWord.end(), [](char c) { return DigitOf(c) >= 0; });
  if (iWord.empty() || !areDigits || (iWord.size() > 1 && iWord.size() % 2 != 0)) {
    throw UsageError(fmt::format("'{}' is no hexadecimal byte: two digits each, such as 90 3c 64", whole));
  }
  if (iWord.size() == 1) {
    ioBytes.push_back(static_cast<std::uint8_t>(DigitOf(iWord[0])));
    return;
  }
  for (std::size_t i = 0; i < iWord.size(); i += 2) {
    ioBytes.push_back(static_cast<std::uint8_t>(DigitOf(iWord[i]) * 16 + DigitOf(iWord[i + 1])));
  }
}

/// How many bytes follow a status; -1 for one that doesn't exist. Not for the start of a system exclusive
/// message.
int DataBytesAfter(std::uint8_t iStatus) {
  if (iStatus < 0xC0 || (iStatus >= 0xE0 && iStatus < 0xF0)) return 2;
  if (iStatus < 0xE0) return 1;
  switch (iStatus) {
    case 0xF1:
    case 0xF3:
      return 1;
    case 0xF2:
      return 2;
    case 0xF4:
    case 0xF5:
    case 0xF9:
    case 0xFD:
    case kSysexEnd:
      return -1;
    default:
      return 0;
  }
}

[[noreturn]] void Fail(std::size_t iIndex, std::uint8_t iByte, const char* iReason) {
  throw UsageError(fmt::format("byte {} ({:02x}): {}", iIndex + 1, iByte, iReason));
}

std::size_t LengthOfSysex(std::span<const std::uint8_t> iBytes, std::size_t iStart) {
  for (std::size_t i = iStart + 1; i < iBytes.size(); ++i) {
    if (iBytes[i] == kSysexEnd) return i - iStart + 1;
    if (iBytes[i] >= 0x80) Fail(i, iBytes[i], "a status byte inside a system exclusive message");
  }
  Fail(iStart, kSysexStart, "this system exclusive message has no f7 at its end");
}

std::size_t LengthOfMessage(std::span<const std::uint8_t> iBytes, std::size_t iStart) {
  const std::uint8_t status = iBytes[iStart];
  if (status < 0x80) Fail(iStart, status, "a status byte, 80 or above, belongs here");
  if (status == kSysexStart) return LengthOfSysex(iBytes, iStart);
  const int dataBytes = DataBytesAfter(status);
  if (dataBytes < 0) Fail(iStart, status, "no message begins with this status");
  for (std::size_t i = iStart + 1; i <= iStart + static_cast<std::size_t>(dataBytes); ++i) {
    if (i >= iBytes.size()) Fail(iStart, status, "this message is cut short");
    if (iBytes[i] >= 0x80) Fail(i, iBytes[i], "a data byte, below 80, belongs here");
  }
  return static_cast<std::size_t>(dataBytes) + 1;
}

}  // namespace

std::vector<std::uint8_t> ParseHexBytes(const std::vector<std::string>& iTexts) {
  std::vector<std::uint8_t> bytes;
  for (const std::string& text : iTexts) {
    std::string_view rest = text;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find_first_of(" ,\t"), rest.size());
      if (end > 0) AddWord(rest.substr(0, end), bytes);
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  return bytes;
}

std::string HexText(std::span<const std::uint8_t> iBytes) {
  std::string text;
  for (const std::uint8_t byte : iBytes) {
    if (!text.empty()) text += ' ';
    text += fmt::format("{:02x}", byte);
  }
  return text;
}

std::vector<std::vector<std::uint8_t>> SplitMessages(std::span<const std::uint8_t> iBytes) {
  std::vector<std::vector<std::uint8_t>> messages;
  for (std::size_t start = 0; start < iBytes.size();) {
    const std::size_t length = LengthOfMessage(iBytes, start);
    const auto message = iBytes.subspan(start, length);
    messages.emplace_back(message.begin(), message.end());
    start += length;
  }
  return messages;
}

}  // namespace tool
