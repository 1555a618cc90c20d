// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/options.h"

#include <algorithm>

#include "cmn/i18n_utils.h"

namespace tool {

namespace {

constexpr std::string_view kPrefix = "MLOX_";

std::string_view Trimmed(std::string_view iText) {
  while (!iText.empty() && I18N_Utils::IsSpace(iText.front())) iText.remove_prefix(1);
  while (!iText.empty() && I18N_Utils::IsSpace(iText.back())) iText.remove_suffix(1);
  return iText;
}

}  // namespace

const std::vector<std::string>& StartupOptions() {
  static const std::vector<std::string> sNames = {"DisableBatchDelivery"};
  return sNames;
}

bool IsSwitch(std::string_view iValue) {
  std::string text(Trimmed(iValue));
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
  static const std::vector<std::string> sWords = {"1", "true", "yes", "on", "0", "false", "no", "off"};
  return std::find(sWords.begin(), sWords.end(), text) != sWords.end();
}

SettingsLine ReadSettingsLine(std::string_view iLine) {
  SettingsLine line;
  const std::size_t equals = iLine.find('=');
  if (equals == std::string_view::npos) return line;
  std::string_view name = Trimmed(iLine.substr(0, equals));
  if (name.starts_with(kPrefix)) name.remove_prefix(kPrefix.size());
  line.mName = name;
  line.mValue = Trimmed(iLine.substr(equals + 1));
  line.mIsOption =
      std::find(StartupOptions().begin(), StartupOptions().end(), line.mName) != StartupOptions().end();
  line.mIsUnderstood = line.mIsOption && IsSwitch(line.mValue);
  return line;
}

}  // namespace tool
