// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracesettings.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>

namespace {

std::string_view Variable(const char* iNameP) {
  const char* const valueP = std::getenv(iNameP);
  return valueP != nullptr ? valueP : "";
}

template <class Number>
std::optional<Number> NumberOf(std::string_view iDigits, int iBase) {
  Number number = 0;
  const char* const endP = iDigits.data() + iDigits.size();
  const std::from_chars_result result = std::from_chars(iDigits.data(), endP, number, iBase);
  if (result.ec != std::errc() || result.ptr != endP) return std::nullopt;
  return number;
}

std::string Quoted(std::string_view iText) {
  std::string quoted = "\"";
  quoted += iText;  // "+" in front of a string is warned of by g++ 12 at -O3
  return quoted + "\"";
}

void ReadCategory(std::string_view iWord, QuilTrace_Settings& ioSettings) {
  if (iWord == "all") {
    ioSettings.mIsAll = true;
    return;
  }
  std::string_view digits = iWord;
  if (digits.starts_with("0x") || digits.starts_with("0X")) digits.remove_prefix(2);
  if (const auto category = NumberOf<std::uint32_t>(digits, 16)) {
    ioSettings.mCategories.push_back(*category);
  } else {
    ioSettings.mFaults.push_back("no trace category: " + Quoted(iWord));
  }
}

// How many bits a number of bytes is shifted by, as its last letter says, which is cut off.
int ShiftOf(std::string_view& ioText) {
  constexpr std::string_view kLetters = "kMG";
  if (ioText.empty()) return 0;
  const std::size_t at = kLetters.find(ioText.back());
  if (at == std::string_view::npos) return 0;
  ioText.remove_suffix(1);
  return 10 * (static_cast<int>(at) + 1);
}

void ReadFileSize(std::string_view iText, QuilTrace_Settings& ioSettings) {
  if (iText.empty()) return;
  std::string_view digits = iText;
  const int shift = ShiftOf(digits);
  const auto number = NumberOf<std::size_t>(digits, 10);
  if (!number || *number > std::numeric_limits<std::size_t>::max() >> shift) {
    ioSettings.mFaults.push_back("no size of a trace file: " + Quoted(iText));
    return;
  }
  const std::size_t bytes = *number << shift;
  ioSettings.mFileBytes = bytes == 0 ? 0 : std::max(bytes, QuilTrace_Settings::kLeastFileBytes);
}

void ReadOlderFiles(std::string_view iText, QuilTrace_Settings& ioSettings) {
  if (iText.empty()) return;
  const auto number = NumberOf<std::uint32_t>(iText, 10);
  if (!number) {
    ioSettings.mFaults.push_back("no number of trace files: " + Quoted(iText));
    return;
  }
  ioSettings.mOlderFiles = std::min<std::size_t>(*number, QuilTrace_Settings::kMostOlderFiles);
}

}  // namespace

QuilTrace_Settings QuilTrace_Settings::Read() {
  QuilTrace_Settings settings;
  std::string_view rest = Variable("MLOX_TRACE");
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(','), rest.size());
    ReadCategory(rest.substr(0, end), settings);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  settings.mFile = Variable("MLOX_TRACE_FILE");
  ReadFileSize(Variable("MLOX_TRACE_FILE_SIZE"), settings);
  ReadOlderFiles(Variable("MLOX_TRACE_FILES"), settings);
  return settings;
}
