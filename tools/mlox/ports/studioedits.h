// SPDX-License-Identifier: MIT
/// \file
/// What `mlox studio` does to the studio's database.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tool {

struct StudioAddRequest {
  std::string mName;
  std::string mManufacturer;
  std::string mModel;
};

struct StudioSetRequest {
  std::string mDevice;
  std::optional<std::string> mReceive;   ///< channels such as "1-4,10"
  std::optional<std::string> mTransmit;  ///< likewise
  std::optional<std::string> mMaster;    ///< a name document; empty takes it away
  std::vector<std::string> mModes;       ///< CHANNEL=MODE
  std::vector<std::string> mBanks;       ///< triples: name, document, patch name list
};

// Devices and ports are named by exact name, by the beginning of a name that is alone in beginning so, or by
// the GUID that `mlox studio show` prints. All throw ToolError.

void StudioAdd(const StudioAddRequest& iRequest);
void StudioRemove(const std::string& iDevice);
void StudioWire(const std::string& iDevice, const std::string& iPort);
void StudioUnwire(const std::string& iDevice, const std::string& iPort);
void StudioRename(const std::string& iDevice, const std::string& iName);
void StudioSet(const StudioSetRequest& iRequest);
void StudioShow(bool iJson);

/// The channels, 1 to 16, of a text such as "1-4, 10", "all" or "none": bit n is MIDI channel n, from 0.
/// Throws UsageError.
std::int32_t ParseChannelMask(const std::string& iText);

}  // namespace tool
