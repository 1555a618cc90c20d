// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/examination.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/mlox/doctor/driver_checks.h"
#include "tools/mlox/doctor/environment_checks.h"
#include "tools/mlox/doctor/file_checks.h"
#include "tools/mlox/doctor/limit_checks.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

const char* StateText(FindingState iState) {
  switch (iState) {
    case FindingState::kOk:
      return "ok";
    case FindingState::kNote:
      return "note";
    default:
      return "wrong";
  }
}

constexpr std::size_t kBetween = 2;
// A column of text that is narrower than this can't be read.
constexpr std::size_t kLeastText = 24;

void AddText(const Finding& iFinding, std::size_t iNameWidth, std::size_t iColumns, std::string& ioText) {
  constexpr std::size_t kStateWidth = 5;
  const std::size_t indent = kStateWidth + kBetween + iNameWidth + kBetween;
  const std::size_t left = iColumns > indent ? iColumns - indent : 0;
  ioText += fmt::format("{:<5}  {}  ", StateText(iFinding.mState), FitColumns(iFinding.mName, iNameWidth));
  const std::string margin(indent, ' ');
  bool isFirst = true;
  for (const std::string& line : WrapColumns(ForTerminal(iFinding.mSeen), std::max(left, kLeastText))) {
    ioText += (isFirst ? "" : margin) + line + "\n";
    isFirst = false;
  }
  for (const std::string& line : iFinding.mMend) ioText += margin + ForTerminal(line) + "\n";
}

}  // namespace

std::vector<Finding> Examine(const Machine& iMachine) {
  std::vector<Finding> findings;
  for (const auto check :
       {&CheckDrivers, &CheckAlsa, &CheckAudioGroup, &CheckJack, &CheckPipeWire, &CheckLoopback,
        &CheckRealtimePriority, &CheckReceivePriority, &CheckLockedMemory, &CheckStudio, &CheckPatchNames,
        &CheckDeviceTypes, &CheckExcludedPorts, &CheckSettings, &CheckTracing}) {
    findings.push_back(check(iMachine));
  }
  const std::vector<Finding> ofEnvironment = CheckEnvironment(iMachine);
  findings.insert(findings.end(), ofEnvironment.begin(), ofEnvironment.end());
  return findings;
}

std::size_t CountWrong(const std::vector<Finding>& iFindings) {
  return static_cast<std::size_t>(
      std::count_if(iFindings.begin(), iFindings.end(),
                    [](const Finding& iFinding) { return iFinding.mState == FindingState::kWrong; }));
}

std::string FindingsText(const std::vector<Finding>& iFindings, std::size_t iColumns) {
  std::size_t nameWidth = 0;
  for (const Finding& finding : iFindings) nameWidth = std::max(nameWidth, ColumnsOf(finding.mName));
  std::string text;
  for (const Finding& finding : iFindings) AddText(finding, nameWidth, iColumns, text);
  return text;
}

std::string FindingsJson(const std::vector<Finding>& iFindings) {
  JsonWriter json;
  json.BeginObject();
  json.Key("findings");
  json.BeginList();
  for (const Finding& finding : iFindings) {
    json.BeginObject();
    json.Key("mend");
    json.BeginList();
    for (const std::string& line : finding.mMend) json.Text(line);
    json.EndList();
    json.Key("name");
    json.Text(finding.mName);
    json.Key("seen");
    json.Text(finding.mSeen);
    json.Key("state");
    json.Text(StateText(finding.mState));
    json.EndObject();
  }
  json.EndList();
  json.Key("wrong");
  json.Number(static_cast<std::int64_t>(CountWrong(iFindings)));
  json.EndObject();
  return json.GetText();
}

}  // namespace tool
