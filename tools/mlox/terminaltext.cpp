// SPDX-License-Identifier: MIT
#include "tools/mlox/terminaltext.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace tool {

namespace {

constexpr size_t kUsualColumns = 80;
constexpr const char* kEllipsis = "\u2026";

// Bytes of UTF-8 that go on with a character.
bool IsContinuation(char iByte) { return (static_cast<unsigned char>(iByte) & 0xC0) == 0x80; }

bool IsControl(unsigned char iByte) { return iByte < 0x20 || iByte == 0x7F; }

}  // namespace

std::string ForTerminal(std::string_view iText) {
  std::string text;
  text.reserve(iText.size());
  for (size_t at = 0; at < iText.size(); ++at) {
    const auto byte = static_cast<unsigned char>(iText[at]);
    // U+0080 to U+009F command terminals as well: 0xC2 and a byte below 0xA0.
    const bool isC1 =
        byte == 0xC2 && at + 1 < iText.size() && static_cast<unsigned char>(iText[at + 1]) < 0xA0;
    text += isC1 || IsControl(byte) ? ' ' : iText[at];
    if (isC1) ++at;
  }
  return text;
}

size_t ColumnsOf(std::string_view iText) {
  size_t columns = 0;
  for (const char byte : iText) columns += IsContinuation(byte) ? 0 : 1;
  return columns;
}

std::string FitColumns(std::string_view iText, size_t iColumns) {
  const size_t columns = ColumnsOf(iText);
  if (columns <= iColumns) return std::string(iText) + std::string(iColumns - columns, ' ');
  std::string text;
  size_t taken = 0;
  for (const char byte : iText) {
    if (!IsContinuation(byte) && ++taken >= iColumns) break;
    text += byte;
  }
  return text + kEllipsis;
}

std::vector<std::string> WrapColumns(std::string_view iText, size_t iColumns) {
  std::vector<std::string> lines(1);
  while (!iText.empty()) {
    const size_t end = std::min(iText.find(' '), iText.size());
    const std::string_view word = iText.substr(0, end);
    iText.remove_prefix(std::min(end + 1, iText.size()));
    if (word.empty()) continue;
    std::string& line = lines.back();
    if (line.empty()) {
      line = word;
    } else if (ColumnsOf(line) + 1 + ColumnsOf(word) <= iColumns) {
      line += ' ';
      line += word;
    } else {
      lines.emplace_back(word);
    }
  }
  return lines;
}

std::string ChannelsText(const std::vector<int>& iChannels) {
  std::string text;
  for (size_t from = 0; from < iChannels.size();) {
    size_t to = from;
    while (to + 1 < iChannels.size() && iChannels[to + 1] == iChannels[to] + 1) ++to;
    text += text.empty() ? "" : ", ";
    text += from == to ? fmt::format("{}", iChannels[from])
                       : fmt::format("{}-{}", iChannels[from], iChannels[to]);
    from = to + 1;
  }
  return text;
}

size_t TerminalColumns() {
  if (const char* textP = std::getenv("COLUMNS")) {
    const long columns = std::strtol(textP, nullptr, 10);
    if (columns > 0) return static_cast<size_t>(columns);
  }
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return kUsualColumns;
}

}  // namespace tool
