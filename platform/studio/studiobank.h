// SPDX-License-Identifier: MIT
/// \file
/// A patch bank of an instrument that a user has described.
#pragma once

#include <string>

/// A patch bank: its name, the full path of a name document, the name of a patch name list.
struct Platform_StudioBank {
  std::string mName;
  std::string mFile;
  std::string mPatchNameList;
  bool operator==(const Platform_StudioBank&) const = default;
};
