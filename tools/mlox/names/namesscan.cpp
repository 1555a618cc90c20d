// SPDX-License-Identifier: MIT
#include "tools/mlox/names/namesscan.h"

#include <fmt/format.h>
#include <stdlib.h>

#include <vector>

#include "midixml/scanpatchfilenamesdir.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

int Scan(const ScanRequest& iRequest, std::vector<std::string>& oNames) {
  if (iRequest.mDeviceTypes) return ScanDeviceTypesNamesDir(&oNames);
  if (iRequest.mFolder) return ScanPatchFileNamesDir(&oNames, *iRequest.mFolder);
  return ScanPatchFileNamesDir(&oNames);
}

}  // namespace

void ScanNames(const ScanRequest& iRequest) {
  // The base folder is a matter of the environment, as it is for every application.
  const char* variableP = iRequest.mDeviceTypes ? "MLOX_DEVICE_TYPES_DIR" : "MLOX_PATCH_NAMES_DIR";
  if (iRequest.mBase) setenv(variableP, iRequest.mBase->c_str(), 1);

  std::vector<std::string> names;
  const int count = Scan(iRequest, names);
  if (!iRequest.mJson) {
    for (const std::string& name : names) fmt::print("{}\n", name);
    return;
  }
  JsonWriter writer;
  writer.BeginObject();
  writer.Key("count");
  writer.Number(count);
  writer.Key("names");
  writer.BeginList();
  for (const std::string& name : names) writer.Text(name);
  writer.EndList();
  writer.EndObject();
  fmt::print("{}\n", writer.GetText());
}

}  // namespace tool
