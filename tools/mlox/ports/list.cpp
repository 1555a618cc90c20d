// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/list.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/studio/studiomanagement.h"
#include "tools/mlox/ports/portdirectory.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

std::string KindText(const PortRow& iRow) {
  if (iRow.mIsPlugIn) return "plug-in";
  if (iRow.mIsExternal) return "external";
  return iRow.mIsVirtual ? "virtual" : "physical";
}

/// The ids of a row are neighbours: the first and the last tell all of them.
std::string IntegerIdsText(const PortRow& iRow) {
  if (iRow.mIntegerIds.empty()) return "-";
  if (iRow.mIntegerIds.size() == 1) return fmt::format("{}", iRow.mIntegerIds.front());
  return fmt::format("{}-{}", iRow.mIntegerIds.front(), iRow.mIntegerIds.back());
}

/// A line a row, columns as wide as what stands in them; names last to be cut by nobody.
void PrintTable(const std::vector<PortRow>& iRows) {
  std::size_t channelsWidth = 8;
  for (const PortRow& row : iRows) {
    channelsWidth = std::max(channelsWidth, ColumnsOf(ChannelsText(row.mChannels)));
  }
  fmt::print("{:<6}  {:<12}  {:<9}  {}  {:<9}  {:<9}  {:<9}  {:<8}  {}\n", "", "id", "id:N",
             FitColumns("channels", channelsWidth), "service", "driver", "kind", "online", "name");
  for (const PortRow& row : iRows) {
    fmt::print("{:<6}  {:<12}  {:<9}  {}  {:<9}  {:<9}  {:<9}  {:<8}  {}\n",
               row.mIsInput ? "input" : "output", row.mId.empty() ? "-" : row.mId, IntegerIdsText(row),
               FitColumns(ChannelsText(row.mChannels), channelsWidth), row.mService,
               row.mDriver.empty() ? "-" : row.mDriver, KindText(row), row.mIsOnline ? "yes" : "no",
               ForTerminal(row.mName));
  }
}

void WriteRow(TreeWriter& ioWriter, const PortRow& iRow) {
  ioWriter.BeginObject();
  ioWriter.Key("channels");
  ioWriter.BeginList();
  for (const int channel : iRow.mChannels) ioWriter.Number(channel);
  ioWriter.EndList();
  ioWriter.Key("driver");
  iRow.mDriver.empty() ? ioWriter.Null() : ioWriter.Text(iRow.mDriver);
  ioWriter.Key("external");
  ioWriter.Bool(iRow.mIsExternal);
  ioWriter.Key("id");
  iRow.mId.empty() ? ioWriter.Null() : ioWriter.Text(iRow.mId);
  ioWriter.Key("integer_ids");
  ioWriter.BeginList();
  for (const int id : iRow.mIntegerIds) ioWriter.Number(id);
  ioWriter.EndList();
  ioWriter.Key("name");
  ioWriter.Text(iRow.mName);
  ioWriter.Key("online");
  ioWriter.Bool(iRow.mIsOnline);
  ioWriter.Key("plug_in");
  ioWriter.Bool(iRow.mIsPlugIn);
  ioWriter.Key("service");
  ioWriter.Text(iRow.mService);
  ioWriter.Key("virtual");
  ioWriter.Bool(iRow.mIsVirtual);
  ioWriter.EndObject();
}

void PrintJson(const std::vector<PortRow>& iRows) {
  JsonWriter json;
  json.BeginObject();
  for (const bool isInput : {true, false}) {
    json.Key(isInput ? "inputs" : "outputs");
    json.BeginList();
    for (const PortRow& row : iRows) {
      if (row.mIsInput == isInput) WriteRow(json, row);
    }
    json.EndList();
  }
  json.EndObject();
  fmt::print("{}\n", json.GetText());
}

}  // namespace

void List(const ListRequest& iRequest) {
  const PortSession session;
  // The first count gives every endpoint its number, which leads from a port to its row.
  session.Outputs();
  session.Inputs();
  const std::vector<Platform_StudioEntry> entries = session.Management().Entries();
  std::vector<PortRow> rows = ListedPorts(session, entries);
  if (iRequest.mAll) {
    const std::vector<PortRow> unlisted = UnlistedPorts(rows, entries);
    rows.insert(rows.end(), unlisted.begin(), unlisted.end());
  }
  if (iRequest.mJson) return PrintJson(rows);
  if (rows.empty()) {
    fmt::print(
        "There are no MIDI ports. `mlox list --all` also shows what was here before, "
        "`mlox doctor` what stands in the way.\n");
    return;
  }
  PrintTable(rows);
}

}  // namespace tool
