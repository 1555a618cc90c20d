// SPDX-License-Identifier: MIT
#include "cmn/spsstartupoption.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "cmn/i18n_utils.h"
#include "cmn/sys_file.h"
#include "cmn/sys_filelocutils.h"

namespace {

// What stands in front of an option's name in the environment, and may in the settings file.
constexpr std::string_view kPrefix = "MLOX_";

// Nothing here reads more than this of the settings file: it is made by hand, and has a few lines.
constexpr std::int64_t kLongestSettings = 65536;

std::string_view Trimmed(std::string_view iText) {
  while (!iText.empty() && I18N_Utils::IsSpace(iText.front())) iText.remove_prefix(1);
  while (!iText.empty() && I18N_Utils::IsSpace(iText.back())) iText.remove_suffix(1);
  return iText;
}

std::string InLowerCase(std::string_view iText) {
  std::string text(iText);
  for (char& character : text)
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  return text;
}

std::optional<bool> AsBool(std::string_view iText) {
  const std::string text = InLowerCase(Trimmed(iText));
  if (text == "1" || text == "true" || text == "yes" || text == "on") return true;
  if (text == "0" || text == "false" || text == "no" || text == "off") return false;
  return std::nullopt;
}

std::optional<bool> FromEnvironment(const std::string& iName) {
  const char* valueP = std::getenv((std::string(kPrefix) + iName).c_str());
  return valueP == nullptr ? std::nullopt : AsBool(valueP);
}

std::string ReadSettings() {
  Sys_File file(Sys_FileLoc(Sys_FileLocUtils::GetApplicationFolderLoc(), "mlox.ini", Sys_FileType::cUnknown));
  const Sys_StFileOpener opener(file, Sys_File::cReadExisting);
  std::string text(static_cast<std::size_t>(kLongestSettings), '\0');
  text.resize(static_cast<std::size_t>(file.Read(text.data(), kLongestSettings)));
  return text;
}

// The value on one line, if the line is about this option. Comments and section names never are.
std::optional<bool> FromLine(std::string_view iLine, std::string_view iName) {
  const std::size_t equals = iLine.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  std::string_view name = Trimmed(iLine.substr(0, equals));
  if (name.starts_with(kPrefix)) name.remove_prefix(kPrefix.size());
  return name == iName ? AsBool(iLine.substr(equals + 1)) : std::nullopt;
}

std::optional<bool> FromSettings(const std::string& iName) {
  const std::string settings = ReadSettings();
  std::string_view rest = settings;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    const std::optional<bool> value = FromLine(rest.substr(0, end), iName);
    if (value) return value;
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  return std::nullopt;
}

bool LookUp(const std::string& iName, bool iDefault) {
  if (const std::optional<bool> value = FromEnvironment(iName)) return *value;
  return FromSettings(iName).value_or(iDefault);
}

}  // namespace

SPSStartupOptionBool::SPSStartupOptionBool(const char* iNameP, bool iDefault,
                                           SPSStartupOptionVisibility iVisibility)
    : mNameP(iNameP), mDefault(iDefault), mVisibility(iVisibility), mValue(LookUp(iNameP, iDefault)) {}

void SPSStartupOptionBool::Reload() { mValue.store(LookUp(mNameP, mDefault), std::memory_order_relaxed); }
