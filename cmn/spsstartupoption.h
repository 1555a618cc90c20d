// SPDX-License-Identifier: MIT
/// \file
/// Options that are read once, when the library is loaded.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_export.h"

/// Whom an option is meant for. It is stored and nothing more.
enum SPSStartupOptionVisibility : std::int32_t {
  SPSStartupOption_cHidden = 0,  ///< For tests and support.
  SPSStartupOption_cVisible = 1  ///< For the people who run the application.
};

/// An option that is on or off.
///
/// Its value is the environment variable `MLOX_<name>`, else the line `MLOX_<name>=<value>`, or
/// `<name>=<value>`, in the file `mlox.ini` in the application folder
/// (`Sys_FileLocUtils::GetApplicationFolderLoc`), else the default. 1, true, yes
/// and on are true, 0, false, no and off are false, in any letter case; anything else counts as not there.
///
/// Objects of this class have static storage: construction uses nothing that another file's static
/// initialisation makes.
class MLOX_EXPORT SPSStartupOptionBool {
 public:
  /// Looks the value up. `iNameP` must stay valid for the object's life: it is a literal.
  SPSStartupOptionBool(const char* iNameP, bool iDefault, SPSStartupOptionVisibility iVisibility);

  /// The value. Reads one atomic and nothing else. [any]
  operator bool() const { return mValue.load(std::memory_order_relaxed); }

  /// Looks the value up again. [main]
  void Reload();

  /// The name without the prefix of the environment variable.
  [[nodiscard]] const char* GetName() const { return mNameP; }
  /// Whom it is meant for.
  [[nodiscard]] SPSStartupOptionVisibility GetVisibility() const { return mVisibility; }

 private:
  const char* mNameP;
  bool mDefault;
  SPSStartupOptionVisibility mVisibility;
  std::atomic<bool> mValue;
};
