// SPDX-License-Identifier: MIT
/// \file
/// A look at the studio's file that changes nothing: for those who want to know what is wrong with it.
#pragma once

#include <cstdint>
#include <string>

#include "cmn/cmn_export.h"

/// What a look at the file has found.
enum class Platform_StudioLookResult : std::uint8_t {
  kNoPath,         ///< nothing says where it lies
  kAbsent,         ///< there is no file
  kGood,           ///< it opens and all of it reads
  kEmpty,          ///< no bytes yet: the next studio makes its tables
  kUnfinished,     ///< a log lies beside it that only who may write folds in, as in a copy; not looked into
  kHeld,           ///< somebody has held it for a second
  kNoPermission,   ///< it can't be opened
  kFutureVersion,  ///< a newer library's
  kNotOurs,        ///< a database of something else
  kDamaged,        ///< it doesn't read: the next studio sets it aside
  kDisordered,     ///< it reads, and its pages are not in order: the next change may find it damaged
  kFailed,         ///< anything else
};

/// What is known of the file after a look.
struct Platform_StudioLook {
  Platform_StudioLookResult mResult = Platform_StudioLookResult::kNoPath;
  std::string mPath;              ///< absolute, links followed; empty for kNoPath
  std::string mReason;            ///< what went wrong, for people
  std::int64_t mVersion = 0;      ///< of the tables
  std::int64_t mPorts = 0;        ///< ports of hardware that were ever seen
  std::int64_t mUserDefined = 0;  ///< devices of the user's
  std::int64_t mWires = 0;
  std::int64_t mHolder = 0;  ///< kHeld: the process that holds it; 0 when that isn't known
};

/// Looks at a studio's file. Makes, changes and removes nothing: no file, no folder, no log, no index. Waits
/// a second for who holds it, and as long as the disk takes. (Where this very process has the file open, the
/// look is one more reader, and marked as such in the index.) [any but real-time]
MLOX_EXPORT Platform_StudioLook Platform_LookAtStudio(const std::string& iPath);
