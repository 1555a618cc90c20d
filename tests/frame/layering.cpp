// SPDX-License-Identifier: MIT
#include "tests/frame/layering.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

// A folder and those that it may include beside itself. The first row whose folder a path begins with holds
// for it, so that inner folders come before outer ones. Arrows point down; folders of one level don't know
// each other.
struct Row {
  std::string mFolder;
  std::vector<std::string> mMayInclude;
};

const std::vector<std::string> kEverything = {"cmn",
                                              "diagnostics",
                                              "mdid",
                                              "mdi",
                                              "mlox",
                                              "mlox/mlox_directmidi",
                                              "mlox/mlox_directmusic",
                                              "midixml",
                                              "platform",
                                              "platform/studio",
                                              "tools",
                                              "bench",
                                              "fuzz",
                                              "tests"};

const std::vector<Row>& Rows() {
  static const std::vector<Row> sRows = {
      {"cmn", {}},
      {"diagnostics", {"cmn"}},
      {"mdid", {"cmn"}},
      {"mdi", {"cmn"}},
      {"midixml", {"cmn", "mdid"}},
      {"mlox/mlox_directmidi", {"mlox", "diagnostics", "mdid", "mdi", "cmn"}},
      {"mlox/mlox_directmusic", {"mlox", "midixml", "diagnostics", "mdid", "mdi", "cmn"}},
      {"mlox", {"diagnostics", "mdid", "mdi", "cmn"}},
      {"platform/studio", {"platform", "cmn"}},
      {"platform", {"mdi", "cmn"}},
      {"tools",
       {"mlox", "mlox/mlox_directmidi", "mlox/mlox_directmusic", "midixml", "diagnostics", "mdid", "mdi",
        "cmn", "platform", "platform/studio"}},
      {"bench",
       {"tools", "mlox", "mlox/mlox_directmidi", "mlox/mlox_directmusic", "midixml", "diagnostics", "mdid",
        "mdi", "cmn", "platform", "platform/studio"}},
      {"fuzz",
       {"tools", "mlox", "mlox/mlox_directmidi", "mlox/mlox_directmusic", "midixml", "diagnostics", "mdid",
        "mdi", "cmn", "platform", "platform/studio"}},
      {"examples",
       {"mlox", "mlox/mlox_directmidi", "mlox/mlox_directmusic", "midixml", "mdid", "mdi", "cmn"}},
      {"tests", kEverything},
  };
  return sRows;
}

// One include that the table forbids and that stays. `mFrom` and `mTo` are beginnings of paths.
struct Exception {
  std::string mFrom;
  std::string mTo;
  std::string mReason;
};

const std::vector<Exception>& Exceptions() {
  static const std::vector<Exception> sExceptions = {
      {"mlox/mlox_directmusic/", "platform/directmusic/directmusic.h",
       "DirectMusic's interfaces: on Windows the system's own header stands in this one's place"},
      {"mlox/mlox_manager_hardware.cpp", "mlox/mlox_directmusic/",
       "the one file in which the core makes a service: the hardware service, on activation"},
      {"mlox/mlox_utils.", "mlox/mlox_directmidi/",
       "conversions between the core's descriptors and the devices of plug-ins"},
      {"platform/studio/", "mlox/mlox_directmusic/idirectmusicstudio.h",
       "the interfaces that the studio of this machine implements"},
      {"platform/studio/", "mlox/mlox_directmusic/portnamerules.h",
       "the pure rules by which a port's name hides it, the same for the studio as for the service"},
      {"platform/studio/", "mlox/mlox_directmusic/excludedportnames.h", "the user's list for those rules"},
      {"examples/", "platform/directmusic/loopback/loopbackports.h",
       "installed: pairs of ports for tests and first steps"},
      {"examples/", "platform/studio/studiomanagement.h", "installed: how a user manages the studio"},
      {"bench/readerspath_bench.cpp", "tests/support/realtime/realtime_traps.h",
       "the traps of the reader's path, which the tests arm too"},
      {"bench/jack_bench.cpp", "tests/platform/directmusic/jack/jack_test_server.h",
       "a JACK server of its own, as the tests start it"},
  };
  return sExceptions;
}

// Headers of drivers and databases, which only platform/ may know. Beginnings of what stands in the brackets.
const std::vector<std::string> kDriverHeaders = {"alsa/", "sound/", "jack/", "sqlite3", "SQLiteCpp/"};

// Drivers that a tree may come without, included only where the build has found them. What isn't there can't
// point up.
const std::vector<std::string> kOptionalDrivers = {"platform/directmusic/alsa/",
                                                   "platform/directmusic/jack/"};

bool IsOptional(const std::string& iTarget) {
  return std::any_of(kOptionalDrivers.begin(), kOptionalDrivers.end(),
                     [&](const std::string& iFolder) { return iTarget.starts_with(iFolder); });
}

bool BeginsWithFolder(const std::string& iPath, const std::string& iFolder) {
  return iPath.starts_with(iFolder) && iPath.size() > iFolder.size() && iPath[iFolder.size()] == '/';
}

const Row* FindRow(const std::string& iPath) {
  for (const Row& row : Rows())
    if (BeginsWithFolder(iPath, row.mFolder)) return &row;
  return nullptr;
}

bool IsSource(const fs::path& iPath) {
  const std::string extension = iPath.extension().string();
  return extension == ".h" || extension == ".cpp" || extension == ".hpp" || extension == ".c";
}

bool SkipBlanks(const std::string& iText, std::size_t& ioAt) {
  while (ioAt < iText.size() && (iText[ioAt] == ' ' || iText[ioAt] == '\t')) ++ioAt;
  return ioAt < iText.size();
}

bool Skip(const std::string& iText, std::size_t& ioAt, const std::string& iWord) {
  if (!SkipBlanks(iText, ioAt) || iText.compare(ioAt, iWord.size(), iWord) != 0) return false;
  ioAt += iWord.size();
  return true;
}

// Whether a line is an include, and of what.
bool ParseInclude(const std::string& iText, std::string& oTarget, bool& oIsQuoted) {
  std::size_t at = 0;
  if (!Skip(iText, at, "#") || !Skip(iText, at, "include") || !SkipBlanks(iText, at)) return false;
  oIsQuoted = iText[at] == '"';
  if (!oIsQuoted && iText[at] != '<') return false;
  const std::size_t end = iText.find(oIsQuoted ? '"' : '>', at + 1);
  if (end == std::string::npos) return false;
  oTarget = iText.substr(at + 1, end - at - 1);
  return true;
}

void ReadFile(const fs::path& iRoot, const fs::path& iFile, std::vector<Test_Include>& ioIncludes) {
  const std::string name = fs::relative(iFile, iRoot).generic_string();
  std::ifstream stream(iFile);
  std::string text;
  for (int line = 1; std::getline(stream, text); ++line) {
    Test_Include include{name, line, "", false};
    if (ParseInclude(text, include.mTarget, include.mIsQuoted)) ioIncludes.push_back(include);
  }
}

class Checker {
 public:
  explicit Checker(const std::string& iRoot) : mRoot(iRoot) {}

  void Check(const Test_Include& iInclude) {
    CheckDriverHeader(iInclude);
    const Row* toP = FindRow(iInclude.mTarget);
    // Brackets reach the tree too, once its root is on the path; what isn't there belongs to the system.
    if (!fs::exists(mRoot + "/" + iInclude.mTarget)) {
      if (iInclude.mIsQuoted && !IsOptional(iInclude.mTarget))
        Report(iInclude, "is no path from the tree's root");
      return;
    }
    const Row* fromP = FindRow(iInclude.mFile);
    if (fromP == nullptr || toP == nullptr) {
      Report(iInclude, "lies in, or leads to, a folder that the layering doesn't name");
      return;
    }
    if (fromP == toP || Contains(fromP->mMayInclude, toP->mFolder) || IsException(iInclude)) return;
    Report(iInclude, fromP->mFolder + " may not include " + toP->mFolder);
  }

  Test_LayeringResult mResult;

 private:
  static bool Contains(const std::vector<std::string>& iFolders, const std::string& iFolder) {
    return std::find(iFolders.begin(), iFolders.end(), iFolder) != iFolders.end();
  }

  void CheckDriverHeader(const Test_Include& iInclude) {
    // Benchmarks put bare drivers beside ours, and fuzz targets make databases that ours never would.
    for (const std::string folder : {"platform/", "tests/", "bench/", "fuzz/"})
      if (iInclude.mFile.starts_with(folder)) return;
    for (const std::string& header : kDriverHeaders)
      if (iInclude.mTarget.starts_with(header))
        Report(iInclude, "only platform/ may know drivers and databases");
  }

  bool IsException(const Test_Include& iInclude) {
    for (const Exception& exception : Exceptions()) {
      if (!iInclude.mFile.starts_with(exception.mFrom) || !iInclude.mTarget.starts_with(exception.mTo))
        continue;
      mResult.mUsedExceptions.insert(exception.mFrom + " -> " + exception.mTo);
      return true;
    }
    return false;
  }

  void Report(const Test_Include& iInclude, const std::string& iReason) {
    mResult.mViolations.push_back(iInclude.mFile + ":" + std::to_string(iInclude.mLine) + ": " +
                                  iInclude.mTarget + ": " + iReason);
  }

  std::string mRoot;
};

}  // namespace

std::vector<Test_Include> Test_ReadIncludes(const std::string& iRoot) {
  std::vector<Test_Include> includes;
  for (fs::recursive_directory_iterator entry(iRoot), end; entry != end; ++entry) {
    const std::string name = entry->path().filename().string();
    if (entry->is_directory() && (name.starts_with(".") || name == "build"))
      entry.disable_recursion_pending();
    if (entry->is_regular_file() && IsSource(entry->path())) ReadFile(iRoot, entry->path(), includes);
  }
  std::sort(includes.begin(), includes.end(), [](const Test_Include& iLeft, const Test_Include& iRight) {
    return iLeft.mFile != iRight.mFile ? iLeft.mFile < iRight.mFile : iLeft.mLine < iRight.mLine;
  });
  return includes;
}

Test_LayeringResult Test_CheckLayering(const std::string& iRoot) {
  Checker checker(iRoot);
  for (const Test_Include& include : Test_ReadIncludes(iRoot)) checker.Check(include);
  return checker.mResult;
}

std::set<std::string> Test_LayeringExceptions() {
  std::set<std::string> texts;
  for (const Exception& exception : Exceptions()) texts.insert(exception.mFrom + " -> " + exception.mTo);
  return texts;
}
