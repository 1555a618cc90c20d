// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <cstring>
#include <string>
#include <vector>

#include "cmn/cmn_validateutf8string.h"
#include "tools/mlox/doctor/file_checks.h"
#include "tools/mlox/doctor/mending.h"
#include "tools/mlox/doctor/options.h"

namespace tool {

namespace {

// ---- documents ----

struct Documents {
  const char* mName;
  const char* mVariable;
  const char* mFolderName;
  const char* mExtension;
};
constexpr Documents kPatchNames = {"patch_names", "MLOX_PATCH_NAMES_DIR", "patchnames", ".midnam"};
constexpr Documents kDeviceTypes = {"device_types", "MLOX_DEVICE_TYPES_DIR", "devicetypes", ".middev"};

Lines MakeFolderMend(const Machine& iMachine, const Documents& iWhich, const DocumentFacts& iFacts) {
  const bool isChosen = !iMachine.Variable(iWhich.mVariable).empty();
  if (isChosen) return {"mkdir -p " + ShellWord(iFacts.mFolder.mPath)};
  if (iMachine.mOwnDocuments.empty()) return {};
  return {"mkdir -p " + ShellWord(iMachine.mOwnDocuments + "/" + iWhich.mFolderName)};
}

Finding NoFolder(const Machine& iMachine, const Documents& iWhich, const DocumentFacts& iFacts) {
  const PathFacts& folder = iFacts.mFolder;
  const std::string seen = folder.mKind == PathKind::kNothing
                               ? fmt::format("{}: {}", folder.mPath,
                                             folder.mFault != 0 ? std::strerror(folder.mFault) : "not there")
                               : folder.mPath + ": it is no folder";
  if (iMachine.Variable(iWhich.mVariable).empty()) {
    return Note(iWhich.mName, seen + "; there are no documents", MakeFolderMend(iMachine, iWhich, iFacts));
  }
  const bool canBeMade = folder.mKind == PathKind::kNothing && folder.mFault == 0;
  return Wrong(iWhich.mName, fmt::format("{} ({})", seen, iWhich.mVariable),
               canBeMade ? MakeFolderMend(iMachine, iWhich, iFacts)
                         : Lines{fmt::format("unset {}", iWhich.mVariable)});
}

Finding CheckDocuments(const Machine& iMachine, const Documents& iWhich, const DocumentFacts& iFacts) {
  const PathFacts& folder = iFacts.mFolder;
  if (iFacts.mEnd == LookEnd::kNotHad) return NotLooked(iMachine, iWhich.mName, folder.mPath, iFacts.mEnd);
  if (iFacts.mEnd != LookEnd::kDone) {
    const std::string what = iFacts.mEnd == LookEnd::kTooLong
                                 ? fmt::format("takes longer than {} s", kLookSeconds)
                                 : std::string("ends a process");
    return Wrong(iWhich.mName, fmt::format("{}: looking for documents {}", folder.mPath, what),
                 {fmt::format("export {}=/a/folder/of/documents/only", iWhich.mVariable)});
  }
  if (folder.mKind != PathKind::kFolder) return NoFolder(iMachine, iWhich, iFacts);
  if (!folder.mIsReadable) {
    return Wrong(iWhich.mName, folder.mPath + ": no permission", PathMend(iMachine, folder, false));
  }
  if (iFacts.mCount == 0) {
    return Note(iWhich.mName, fmt::format("{}: no documents ({})", folder.mPath, iWhich.mExtension));
  }
  return Ok(iWhich.mName,
            fmt::format("{}: {} document{}", folder.mPath, iFacts.mCount, iFacts.mCount == 1 ? "" : "s"));
}

// ---- small files ----

// What keeps a small file from being read; true where it can be, or isn't there.
bool CanBeRead(const Machine& iMachine, const char* iName, const TextFacts& iText, Finding& oFinding) {
  const PathFacts& file = iText.mFile;
  const std::string path = ShellWord(file.mPath);
  if (iText.mEnd == LookEnd::kNotHad) {
    oFinding = NotLooked(iMachine, iName, file.mPath, iText.mEnd);
    return false;
  }
  if (iText.mEnd != LookEnd::kDone) {
    const std::string what = iText.mEnd == LookEnd::kTooLong
                                 ? fmt::format("its disk does not answer within {} s", kLookSeconds)
                                 : std::string("reading it ends a process");
    oFinding =
        Wrong(iName, fmt::format("{}: {}", file.mPath, what), {"export MLOX_APP_DIR=/a/better/folder"});
    return false;
  }
  if (file.mKind == PathKind::kNothing && file.mFault == 0) return true;
  if (file.mKind == PathKind::kNothing) {
    oFinding = Wrong(iName, fmt::format("{}: {}", file.mPath, std::strerror(file.mFault)),
                     {fmt::format("namei -l {}  # shows which part of the way is closed", path)});
  } else if (file.mKind != PathKind::kFile) {
    oFinding = Wrong(iName, file.mPath + ": it is no file", {fmt::format("mv {0} {0}.aside", path)});
  } else if (!file.mIsReadable) {
    oFinding = Wrong(iName, file.mPath + ": no permission", PathMend(iMachine, file, false));
  } else {
    return true;
  }
  return false;
}

std::vector<std::string> LinesOf(const std::string& iText) {
  std::vector<std::string> lines(1);
  for (const char character : iText) {
    if (character == '\n') {
      lines.emplace_back();
    } else if (character != '\r') {
      lines.back() += character;
    }
  }
  if (lines.back().empty()) lines.pop_back();
  return lines;
}

bool IsBlank(char iCharacter) { return iCharacter == ' ' || iCharacter == '\t'; }

// The number of the first line that is meant otherwise than it is taken, counted from 1; 0 when there is
// none.
std::size_t OddLine(const std::vector<std::string>& iLines) {
  for (std::size_t index = 0; index < iLines.size(); ++index) {
    const std::string& line = iLines[index];
    if (!line.empty() && (IsBlank(line.front()) || IsBlank(line.back()) || line.front() == '#')) {
      return index + 1;
    }
  }
  return 0;
}

std::size_t CountNames(const std::vector<std::string>& iLines) {
  std::size_t count = 0;
  for (const std::string& line : iLines) count += line.empty() ? 0 : 1;
  return count;
}

Finding ReadExcludedPorts(const TextFacts& iFacts) {
  constexpr const char* kName = "excluded_ports";
  const std::string& path = iFacts.mFile.mPath;
  const std::string word = ShellWord(path);
  if (iFacts.mText.starts_with("\xEF\xBB\xBF")) {
    return Wrong(kName, path + ": it begins with a byte order mark, which becomes part of the first name",
                 {fmt::format("sed -i '1s/^\\xEF\\xBB\\xBF//' {}", word)});
  }
  const bool isUtf8 =
      Cmn_ValidateUTF8String(iFacts.mText) == iFacts.mText && iFacts.mText.find('\0') == std::string::npos;
  if (!isUtf8) {
    const bool isUtf16 = iFacts.mText.find('\0') != std::string::npos;
    return Wrong(kName, path + ": it is no UTF-8, so its names are never found",
                 {fmt::format("iconv -f {0} -t UTF-8 {1} >{1}.new && mv {1}.new {1}",
                              isUtf16 ? "UTF-16" : "ISO-8859-1", word)});
  }
  const std::vector<std::string> lines = LinesOf(iFacts.mText);
  const std::size_t count = CountNames(lines);
  const std::string seen =
      fmt::format("{}: ports that begin with {} name{} are hidden", path, count, count == 1 ? "" : "s");
  if (const std::size_t odd = OddLine(lines)) {
    return Note(kName,
                fmt::format("{}; line {} is taken as it stands, with its blanks or its \"#\"", seen, odd),
                {fmt::format("sed -i -e 's/[[:blank:]]*$//' -e 's/^[[:blank:]]*//' -e '/^#/d' {}", word)});
  }
  return Ok(kName, seen);
}

}  // namespace

Finding CheckPatchNames(const Machine& iMachine) {
  return CheckDocuments(iMachine, kPatchNames, iMachine.mPatchNames);
}

Finding CheckDeviceTypes(const Machine& iMachine) {
  return CheckDocuments(iMachine, kDeviceTypes, iMachine.mDeviceTypes);
}

Finding CheckExcludedPorts(const Machine& iMachine) {
  constexpr const char* kName = "excluded_ports";
  const TextFacts& facts = iMachine.mExcludedPorts;
  Finding finding;
  if (!CanBeRead(iMachine, kName, facts, finding)) return finding;
  if (facts.mFile.mKind == PathKind::kNothing) {
    return Ok(kName, fmt::format("no {}: the user hides no ports", facts.mFile.mPath));
  }
  return ReadExcludedPorts(facts);
}

Finding CheckSettings(const Machine& iMachine) {
  constexpr const char* kName = "settings";
  const TextFacts& facts = iMachine.mSettings;
  Finding finding;
  if (!CanBeRead(iMachine, kName, facts, finding)) return finding;
  if (facts.mFile.mKind == PathKind::kNothing) return Ok(kName, fmt::format("no {}", facts.mFile.mPath));
  for (const std::string& line : LinesOf(facts.mText)) {
    const SettingsLine setting = ReadSettingsLine(line);
    if (!setting.mIsOption || setting.mIsUnderstood) continue;
    return Wrong(kName,
                 fmt::format("{}: {} has a value that is neither on nor off: \"{}\"", facts.mFile.mPath,
                             setting.mName, setting.mValue),
                 {fmt::format("sed -i 's/^\\([^=]*{}[^=]*\\)=.*/\\1=1/' {}", setting.mName,
                              ShellWord(facts.mFile.mPath))});
  }
  return Ok(kName, facts.mFile.mPath + " is understood");
}

}  // namespace tool
