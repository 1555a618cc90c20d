// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <string>

#include "platform/studio/studioschema.h"
#include "tools/mlox/doctor/file_checks.h"
#include "tools/mlox/doctor/mending.h"

namespace tool {

namespace {

using Result = Platform_StudioLookResult;

constexpr const char* kName = "studio";

// A database with its log and index is far smaller; below this nothing can be relied on.
constexpr std::int64_t kLeastRoom = std::int64_t{256} * 1024;

std::string WithReason(const std::string& iText, const std::string& iReason) {
  return iReason.empty() ? iText : iText + ": " + iReason;
}

Finding ElsewhereIsBetter(const std::string& iSeen) {
  return Wrong(kName, iSeen, {"export MLOX_STUDIO_DB=/a/better/place/studio.db"});
}

// What a path that leads to no studio is mended by.
Finding NoStudioThere(const Machine& iMachine, const std::string& iSeen) {
  if (!iMachine.Variable("MLOX_STUDIO_DB").empty()) return Wrong(kName, iSeen, {"unset MLOX_STUDIO_DB"});
  const std::string path = ShellWord(iMachine.mStudio.mLook.mPath);
  return Wrong(kName, iSeen, {fmt::format("mv {0} {0}.aside", path)});
}

Finding Held(const StudioFacts& iStudio) {
  const Platform_StudioLook& look = iStudio.mLook;
  if (look.mHolder <= 0) {
    return Wrong(kName, look.mPath + ": another process holds it",
                 {fmt::format("fuser -v {}  # shows who", ShellWord(look.mPath))});
  }
  const std::string program = iStudio.mHolder.empty() ? "" : fmt::format(" ({})", iStudio.mHolder);
  return Wrong(kName, fmt::format("{}: process {}{} holds it", look.mPath, look.mHolder, program),
               {fmt::format("kill {}  # or wait until it is done", look.mHolder)});
}

Finding Unreachable(const Machine& iMachine) {
  const StudioFacts& studio = iMachine.mStudio;
  const std::string seen = WithReason(studio.mLook.mPath, studio.mLook.mReason);
  if (studio.mFile.mKind == PathKind::kNothing || studio.mFile.mIsReadable) {
    return Wrong(
        kName, seen,
        {fmt::format("namei -l {}  # shows which part of the way is closed", ShellWord(studio.mLook.mPath))});
  }
  return Wrong(kName, seen, PathMend(iMachine, studio.mFile, true));
}

// Changes would stay in memory, whatever else is well.
bool FindWritingTrouble(const Machine& iMachine, Finding& oFinding) {
  const StudioFacts& studio = iMachine.mStudio;
  const std::string& path = studio.mLook.mPath;
  if (studio.mIsOfKernel) {
    const std::string seen = fmt::format("{}: no files can be made in {}, where the kernel shows itself",
                                         path, studio.mFolder.mPath);
    const bool isChosen = !iMachine.Variable("MLOX_STUDIO_DB").empty();
    oFinding = isChosen ? Wrong(kName, seen, {"unset MLOX_STUDIO_DB"}) : ElsewhereIsBetter(seen);
  } else if (studio.mIsDiskReadOnly) {
    oFinding = ElsewhereIsBetter(path + ": its disk takes no writes");
  } else if (studio.mLook.mResult != Result::kAbsent && !studio.mFile.mIsWritable) {
    oFinding =
        Wrong(kName, path + ": it can be read and not written", PathMend(iMachine, studio.mFile, true));
  } else if (!studio.mFolder.mIsWritable) {
    oFinding = Wrong(kName, fmt::format("{}: no files can be made in {}", path, studio.mFolder.mPath),
                     PathMend(iMachine, studio.mFolder, true));
  } else if (studio.mFreeBytes < kLeastRoom) {
    oFinding = Wrong(kName, fmt::format("{}: its disk is full", path),
                     {fmt::format("df -h {}  # shows it; make room there", ShellWord(studio.mFolder.mPath))});
  } else {
    return false;
  }
  return true;
}

Finding Usable(const Machine& iMachine) {
  Finding finding;
  if (FindWritingTrouble(iMachine, finding)) return finding;
  const StudioFacts& studio = iMachine.mStudio;
  const Platform_StudioLook& look = studio.mLook;
  if (look.mResult == Result::kAbsent) {
    return Ok(kName, look.mPath + ": not there yet; the first application makes it");
  }
  if (look.mResult == Result::kUnfinished) {
    return Note(kName, look.mPath + ": a log lies beside it that the next application folds in",
                {"mlox studio show  # does it now"});
  }
  const std::string seen =
      look.mResult == Result::kEmpty
          ? look.mPath + ": empty"
          : fmt::format("{}: version {}, {} ports seen, {} devices of the user's, {} wires", look.mPath,
                        look.mVersion, look.mPorts, look.mUserDefined, look.mWires);
  if (studio.mDamaged.empty()) return Ok(kName, seen);
  return Note(kName, fmt::format("{}; an earlier one was damaged and was set aside as {}", seen,
                                 studio.mDamaged.back()));
}

Finding NoPath() {
  return Wrong(kName, "nothing says where it lies, so it is kept in memory and lost",
               {"export MLOX_STUDIO_DB=\"$PWD/studio.db\"  # or set HOME"});
}

}  // namespace

Finding CheckStudio(const Machine& iMachine) {
  const StudioFacts& studio = iMachine.mStudio;
  const Platform_StudioLook& look = studio.mLook;
  if (studio.mEnd == LookEnd::kNotHad) return NotLooked(iMachine, kName, look.mPath, studio.mEnd);
  if (studio.mEnd == LookEnd::kTooLong) {
    return ElsewhereIsBetter(
        fmt::format("{}: its disk does not answer within {} s", look.mPath, kLookSeconds));
  }
  if (studio.mEnd == LookEnd::kDied)
    return NoStudioThere(iMachine, look.mPath + ": reading it ends a process");
  switch (look.mResult) {
    case Result::kNoPath:
      return NoPath();
    case Result::kHeld:
      return Held(studio);
    case Result::kNoPermission:
      return Unreachable(iMachine);
    case Result::kFutureVersion:
      return Wrong(kName,
                   fmt::format("{}: version {}, made by a newer library; this one knows version {}",
                               look.mPath, look.mVersion, kStudio_SchemaVersion),
                   {"sudo apt install libmlox1  # a newer one"});
    case Result::kNotOurs:
      return NoStudioThere(iMachine, look.mPath + ": it is another program's database");
    case Result::kDamaged:
      return Wrong(kName, WithReason(look.mPath + ": it is damaged", look.mReason),
                   {"mlox studio show  # sets it aside and begins a new one"});
    case Result::kDisordered:
      return Wrong(kName, WithReason(look.mPath + ": its pages are not in order", look.mReason),
                   {fmt::format("sqlite3 {} VACUUM  # with every application that uses it closed",
                                ShellWord(look.mPath))});
    case Result::kFailed:
      return NoStudioThere(iMachine, WithReason(look.mPath, look.mReason));
    default:
      return Usable(iMachine);
  }
}

}  // namespace tool
