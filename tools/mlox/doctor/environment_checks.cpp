// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/environment_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <sstream>
#include <string_view>
#include <utility>

#include "diagnostics/quiltrace/tracesettings.h"
#include "tools/mlox/doctor/driver_checks.h"
#include "tools/mlox/doctor/mending.h"
#include "tools/mlox/doctor/options.h"

namespace tool {

namespace {

constexpr const char* kName = "environment";
constexpr const char* kTracing = "tracing";
constexpr const char* kPrefix = "MLOX_";
constexpr const char* kMendOfCategories = "export MLOX_TRACE=all";
// A name that differs from ours by so many letters is meant to be ours.
constexpr std::size_t kNear = 2;

using Findings = std::vector<Finding>;

std::vector<std::string> Split(const std::string& iText) {
  std::vector<std::string> words;
  std::istringstream text(iText);
  for (std::string word; std::getline(text, word, ',');) words.push_back(word);
  return words;
}

std::string Setting(const std::string& iName, const std::string& iValue) {
  return fmt::format("{}={}", iName, iValue);
}

// ---- values ----

std::string WithoutBlanks(std::string iText) {
  std::erase(iText, ' ');
  return iText;
}

void CheckDriverChoice(const Machine& iMachine, Findings& ioFindings) {
  constexpr const char* kVariable = "MLOX_MIDI_DRIVERS";
  const std::vector<std::string>& known = DriverNames();
  const auto isKnown = [&](const std::string& iName) {
    return std::find(known.begin(), known.end(), iName) != known.end();
  };
  std::string unknown;
  std::string meant;
  for (const std::string& name : ChosenDrivers(iMachine)) {
    if (!isKnown(name)) unknown = name;
    const std::string plain = WithoutBlanks(name);
    if (isKnown(plain)) meant += (meant.empty() ? "" : ",") + plain;
  }
  if (unknown.empty()) return;
  ioFindings.push_back(Wrong(
      kName,
      fmt::format("{}: \"{}\" is no driver; there are alsa, jack and loopback, comma between, no blanks",
                  Setting(kVariable, iMachine.Variable(kVariable)), unknown),
      {meant.empty() ? fmt::format("unset {}", kVariable) : fmt::format("export {}={}", kVariable, meant)}));
}

void CheckAssertMode(const Machine& iMachine, Findings& ioFindings) {
  const std::string value = iMachine.Variable("MLOX_ASSERT");
  static const std::vector<std::string> sModes = {"report", "count", "throw", "abort"};
  if (value.empty() || std::find(sModes.begin(), sModes.end(), value) != sModes.end()) return;
  ioFindings.push_back(Wrong(kName,
                             fmt::format("{}: counts as \"report\"; there are report, count, throw and abort",
                                         Setting("MLOX_ASSERT", value)),
                             {"export MLOX_ASSERT=report"}));
}

bool IsTraceCategory(std::string_view iWord) {
  if (iWord == "all") return true;
  if (iWord.starts_with("0x") || iWord.starts_with("0X")) iWord.remove_prefix(2);
  std::uint32_t category = 0;
  const char* const endP = iWord.data() + iWord.size();
  const std::from_chars_result result = std::from_chars(iWord.data(), endP, category, 16);
  return result.ec == std::errc() && result.ptr == endP;
}

// Whether some of the categories that are asked for are not on.
bool HasTooManyCategories(const std::string& iAsked) {
  const std::vector<std::string> words = Split(iAsked);
  if (std::find(words.begin(), words.end(), "all") != words.end()) return false;
  const auto categories = std::count_if(words.begin(), words.end(), IsTraceCategory);
  return static_cast<std::size_t>(categories) > QuilTrace_Settings::kMostCategories;
}

void CheckTraceCategories(const Machine& iMachine, Findings& ioFindings) {
  const std::string value = iMachine.Variable("MLOX_TRACE");
  for (const std::string& word : Split(value)) {
    if (IsTraceCategory(word)) continue;
    ioFindings.push_back(Wrong(
        kName,
        fmt::format("{}: \"{}\" is neither all nor a hexadecimal number", Setting("MLOX_TRACE", value), word),
        {kMendOfCategories}));
    return;
  }
  if (!HasTooManyCategories(value)) return;
  ioFindings.push_back(Wrong(kName,
                             fmt::format("{}: of so many categories only the first {} are on",
                                         Setting("MLOX_TRACE", value), QuilTrace_Settings::kMostCategories),
                             {kMendOfCategories}));
}

bool IsCount(std::string_view iText) {
  std::uint32_t number = 0;
  const char* const endP = iText.data() + iText.size();
  const std::from_chars_result result = std::from_chars(iText.data(), endP, number);
  return result.ec == std::errc() && result.ptr == endP;
}

// A number of bytes that a machine counts, or of kilobytes and so on by the letter behind it.
bool IsFileSize(std::string_view iText) {
  constexpr std::string_view kLetters = "kMG";
  int shift = 0;
  if (const std::size_t at = kLetters.find(iText.back()); at != std::string_view::npos) {
    shift = 10 * (static_cast<int>(at) + 1);
    iText.remove_suffix(1);
  }
  std::size_t number = 0;
  const char* const endP = iText.data() + iText.size();
  const std::from_chars_result result = std::from_chars(iText.data(), endP, number);
  return result.ec == std::errc() && result.ptr == endP &&
         number <= std::numeric_limits<std::size_t>::max() >> shift;
}

void CheckTraceNumbers(const Machine& iMachine, Findings& ioFindings) {
  const std::string size = iMachine.Variable("MLOX_TRACE_FILE_SIZE");
  if (!size.empty() && !IsFileSize(size)) {
    ioFindings.push_back(Wrong(kName,
                               fmt::format("{}: no number of bytes, with k, M or G behind it or nothing",
                                           Setting("MLOX_TRACE_FILE_SIZE", size)),
                               {"export MLOX_TRACE_FILE_SIZE=10M"}));
  }
  const std::string files = iMachine.Variable("MLOX_TRACE_FILES");
  if (!files.empty() && !IsCount(files)) {
    ioFindings.push_back(Wrong(kName,
                               fmt::format("{}: no number of files", Setting("MLOX_TRACE_FILES", files)),
                               {"export MLOX_TRACE_FILES=3"}));
  }
}

void CheckSwitches(const Machine& iMachine, Findings& ioFindings) {
  for (const std::string& option : StartupOptions()) {
    const std::string name = kPrefix + option;
    const std::string value = iMachine.Variable(name);
    if (iMachine.mEnvironment.count(name) == 0 || IsSwitch(value)) continue;
    ioFindings.push_back(
        Wrong(kName, fmt::format("{}: neither on nor off, so it counts for nothing", Setting(name, value)),
              {fmt::format("export {}=1  # or 0", name)}));
  }
}

// ---- paths ----

// A log of the library, and what becomes of one that can't be opened.
struct Log {
  const char* mVariable;
  std::string_view mNoFile;  // a value that names none
  bool mMakesFolder;         // the folders on the way are made
  const char* mOtherwise;    // where its lines go then
};
constexpr Log kDebugLog = {"MLOX_DEBUG_LOG", "-", false, "nothing is logged"};
constexpr Log kTraceFile = {"MLOX_TRACE_FILE", "", true, "trace lines go to standard error"};

// What keeps a log from being opened; empty when nothing does.
std::string FaultOfLog(const LogFacts& iFacts, const std::string& iValue, bool iMakesFolder) {
  if (iFacts.mFile.mKind == PathKind::kFolder || iValue.back() == '/') return "it is a folder";
  if (iFacts.mFile.mKind != PathKind::kNothing) return iFacts.mFile.mIsWritable ? "" : "no permission";
  const bool isFolderThere = iFacts.mFolder.mKind == PathKind::kFolder;
  if (!isFolderThere && !iMakesFolder) return "its folder is not there";
  if (!isFolderThere && (iFacts.mNearest.mKind != PathKind::kFolder || iFacts.mIsOfKernel)) {
    return "its folder can't be made";
  }
  if (iFacts.mIsOfKernel) return "no file can be made there";
  if (!iFacts.mNearest.mIsWritable) return "no permission";
  return "";
}

void CheckLog(const Machine& iMachine, const Log& iLog, const LogFacts& iFacts, Findings& ioFindings) {
  const std::string value = iMachine.Variable(iLog.mVariable);
  if (value.empty() || value == iLog.mNoFile) return;
  const std::string setting = Setting(iLog.mVariable, value);
  if (iFacts.mEnd != LookEnd::kDone) {
    ioFindings.push_back(NotLooked(iMachine, kName, setting, iFacts.mEnd));
    return;
  }
  const std::string fault = FaultOfLog(iFacts, value, iLog.mMakesFolder);
  if (fault.empty()) return;
  ioFindings.push_back(Wrong(kName, fmt::format("{}: {}, so {}", setting, fault, iLog.mOtherwise),
                             {fmt::format("export {}=/tmp/mlox.log", iLog.mVariable)}));
}

void CheckApplicationFolder(const Machine& iMachine, Findings& ioFindings) {
  const std::string value = iMachine.Variable("MLOX_APP_DIR");
  const FolderFacts& facts = iMachine.mApplicationFolder;
  if (value.empty() || (facts.mEnd == LookEnd::kDone && facts.mFolder.mKind == PathKind::kFolder)) return;
  if (facts.mEnd != LookEnd::kDone) {
    ioFindings.push_back(NotLooked(iMachine, kName, Setting("MLOX_APP_DIR", value), facts.mEnd));
    return;
  }
  ioFindings.push_back(Wrong(kName,
                             fmt::format("{}: there is no such folder", Setting("MLOX_APP_DIR", value)),
                             {"unset MLOX_APP_DIR"}));
}

void CheckBaseFolder(const Machine& iMachine, const char* iVariable, const char* iUsual,
                     Findings& ioFindings) {
  const std::string value = iMachine.Variable(iVariable);
  if (value.empty() || value.front() == '/') return;
  ioFindings.push_back(Wrong(kName,
                             fmt::format("{}: not absolute, so it is ignored", Setting(iVariable, value)),
                             {fmt::format("export {}=\"$HOME/{}\"", iVariable, iUsual)}));
}

// ---- names ----

std::string InCapitals(std::string iText) {
  for (char& character : iText) {
    if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
  }
  return iText;
}

// How many letters have to be put in, taken out or changed to make one text of the other.
std::size_t Distance(const std::string& iLeft, const std::string& iRight) {
  std::vector<std::size_t> row(iRight.size() + 1);
  for (std::size_t i = 0; i < row.size(); ++i) row[i] = i;
  for (const char character : iLeft) {
    std::size_t diagonal = row[0]++;
    for (std::size_t i = 0; i < iRight.size(); ++i) {
      const std::size_t changed = diagonal + (character == iRight[i] ? 0 : 1);
      diagonal = row[i + 1];
      row[i + 1] = std::min({changed, diagonal + 1, row[i] + 1});
    }
  }
  return row.back();
}

std::string Nearest(const std::string& iName) {
  std::string nearest;
  std::size_t least = kNear + 1;
  for (const std::string& known : KnownVariables()) {
    const std::size_t distance = Distance(InCapitals(iName), InCapitals(known));
    if (distance >= least) continue;
    least = distance;
    nearest = known;
  }
  return nearest;
}

void CheckNames(const Machine& iMachine, Findings& ioFindings) {
  const std::vector<std::string>& known = KnownVariables();
  for (const auto& [name, value] : iMachine.mEnvironment) {
    if (!name.starts_with(kPrefix) || std::find(known.begin(), known.end(), name) != known.end()) continue;
    const std::string nearest = Nearest(name);
    if (nearest.empty()) {
      ioFindings.push_back(Note(kName, fmt::format("{}: the library knows no such variable", name)));
      continue;
    }
    ioFindings.push_back(
        Wrong(kName, fmt::format("{}: the library knows no such variable; is {} meant?", name, nearest),
              {fmt::format("unset {}; export {}={}", name, nearest, ShellWord(value))}));
  }
}

Finding AllIsWell(const Machine& iMachine) {
  std::string names;
  for (const auto& [name, value] : iMachine.mEnvironment) {
    if (name.starts_with(kPrefix) && !value.empty()) names += (names.empty() ? "" : ", ") + name;
  }
  return Ok(kName, names.empty() ? "no variable of the library is set" : "understood: " + names);
}

// ---- tracing ----

// What a tracing library that is whole makes of MLOX_TRACE: words that are no category turn nothing on, and
// take nothing from the others.
Finding WhatIsTraced(const std::string& iLibrary, const std::string& iAsked) {
  if (iAsked.empty()) return Ok(kTracing, fmt::format("{} is there; MLOX_TRACE turns it on", iLibrary));
  const std::string setting = Setting("MLOX_TRACE", iAsked);
  const std::vector<std::string> words = Split(iAsked);
  const auto categories = std::count_if(words.begin(), words.end(), IsTraceCategory);
  if (categories == 0) {
    return Wrong(
        kTracing,
        fmt::format("{} is there, but {} names no category, so nothing is traced", iLibrary, setting),
        {kMendOfCategories});
  }
  const std::string first = HasTooManyCategories(iAsked) ? fmt::format("the first {} categories of ",
                                                                       QuilTrace_Settings::kMostCategories)
                                                         : "";
  const bool isWhole = static_cast<std::size_t>(categories) == words.size();
  return Ok(kTracing, fmt::format("{} writes {}{}{}", iLibrary, first, setting,
                                  isWhole ? "" : ", but for what is no category"));
}

}  // namespace

const std::vector<std::string>& KnownVariables() {
  static const std::vector<std::string> sNames = [] {
    std::vector<std::string> names = {"MLOX_APP_DIR",          "MLOX_ASSERT",         "MLOX_DEBUG_LOG",
                                      "MLOX_DEVICE_TYPES_DIR", "MLOX_LOOPBACK_PORTS", "MLOX_MIDI_DRIVERS",
                                      "MLOX_PATCH_NAMES_DIR",  "MLOX_STUDIO_DB",      "MLOX_TRACE",
                                      "MLOX_TRACE_FILE",       "MLOX_TRACE_FILES",    "MLOX_TRACE_FILE_SIZE"};
    for (const std::string& option : StartupOptions()) names.push_back(kPrefix + option);
    return names;
  }();
  return sNames;
}

std::vector<Finding> CheckEnvironment(const Machine& iMachine) {
  Findings findings;
  CheckDriverChoice(iMachine, findings);
  CheckAssertMode(iMachine, findings);
  CheckSwitches(iMachine, findings);
  CheckTraceCategories(iMachine, findings);
  CheckTraceNumbers(iMachine, findings);
  CheckLog(iMachine, kDebugLog, iMachine.mDebugLog, findings);
  CheckLog(iMachine, kTraceFile, iMachine.mTraceFile, findings);
  CheckApplicationFolder(iMachine, findings);
  CheckBaseFolder(iMachine, "XDG_STATE_HOME", ".local/state", findings);
  CheckBaseFolder(iMachine, "XDG_DATA_HOME", ".local/share", findings);
  CheckNames(iMachine, findings);
  if (findings.empty()) findings.push_back(AllIsWell(iMachine));
  return findings;
}

Finding CheckTracing(const Machine& iMachine) {
  const TracingFacts& tracing = iMachine.mTracing;
  const std::string asked = iMachine.Variable("MLOX_TRACE");
  if (tracing.mLibrary.empty()) {
    if (asked.empty()) return Ok(kTracing, "no libQuilTrace.so is found: nothing is traced");
    return Wrong(kTracing,
                 fmt::format("{}, but no libQuilTrace.so is found, so nothing is traced",
                             Setting("MLOX_TRACE", asked)),
                 {"export LD_LIBRARY_PATH=/the/folder/of/libQuilTrace.so"});
  }
  if (!tracing.mLacking.empty()) {
    return Wrong(kTracing,
                 fmt::format("{} lacks {} of the entry points, {} first, so it is not used", tracing.mLibrary,
                             tracing.mLacking.size(), tracing.mLacking.front()),
                 {fmt::format("# put the libQuilTrace.so that belongs to this library in the place of {}",
                              tracing.mLibrary)});
  }
  return WhatIsTraced(tracing.mLibrary, asked);
}

}  // namespace tool
