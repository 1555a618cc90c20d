// SPDX-License-Identifier: MIT
/// \file
/// The startup options of the library, and how their values are written.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// The names of all startup options, without the prefix of the environment.
const std::vector<std::string>& StartupOptions();

/// Whether a value says on or off: 1, true, yes, on, 0, false, no, off in any letter case, blanks around it.
/// Any other counts as not there.
bool IsSwitch(std::string_view iValue);

/// One line of the settings file.
struct SettingsLine {
  bool mIsOption = false;      ///< it names a startup option
  bool mIsUnderstood = false;  ///< with a value that counts
  std::string mName;
  std::string mValue;
};

SettingsLine ReadSettingsLine(std::string_view iLine);

}  // namespace tool
