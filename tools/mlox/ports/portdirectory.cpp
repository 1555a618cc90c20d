// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/portdirectory.h"

#include <algorithm>

#include "mlox/midiinputidmapper.h"
#include "mlox/midioutputidmapper.h"
#include "mlox/mlox_device.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"

namespace tool {

namespace {

constexpr std::int32_t kAllChannels = 0xFFFF;

template <class Port>
std::vector<int> AvailableChannels(const Port& iPort) {
  std::vector<int> channels;
  for (short channel = 0; channel < 16; ++channel) {
    if (iPort.IsMidiChannelAvailable(channel)) channels.push_back(channel + 1);
  }
  return channels;
}

std::vector<int> IntegerIds(Mlox_Device& ioDevice, const std::vector<int>& iChannels) {
  if (iChannels.empty()) return {MidiOutputIDMapper::OutputToID(ioDevice.GetCommonOutput())};
  std::vector<int> ids;
  ids.reserve(iChannels.size());
  for (const int channel : iChannels) {
    ids.push_back(
        MidiOutputIDMapper::OutputToID(ioDevice.GetOutputForChannel(static_cast<short>(channel - 1))));
  }
  return ids;
}

std::vector<int> IntegerIds(const Mlox_InputRef& iInput, const std::vector<int>& iChannels) {
  std::vector<int> ids{MidiInputIDMapper::InputAssignmentToID(iInput, -1)};
  for (const int channel : iChannels) {
    ids.push_back(MidiInputIDMapper::InputAssignmentToID(iInput, static_cast<short>(channel - 1)));
  }
  return ids;
}

/// The number of an entry's endpoint of one direction, if it has been given one.
std::optional<std::int32_t> NumberOf(const Platform_StudioEntry& iEntry, bool iIsInput) {
  return iIsInput ? iEntry.mInputNumber : iEntry.mOutputNumber;
}

const Platform_StudioEntry* FindEntry(const std::vector<Platform_StudioEntry>& iEntries,
                                      const Mlox_InputID& iID, bool iIsInput) {
  const auto found = std::find_if(iEntries.begin(), iEntries.end(), [&](const Platform_StudioEntry& iEntry) {
    return NumberOf(iEntry, iIsInput) == iID.mInputNumber;
  });
  return found != iEntries.end() ? &*found : nullptr;
}

void AddWhatTheStudioKnows(PortRow& ioRow, const Platform_StudioEntry* iEntryP) {
  ioRow.mService = iEntryP != nullptr ? "hardware" : "other";
  if (iEntryP == nullptr) return;
  ioRow.mDriver = iEntryP->mDriver;
  ioRow.mIsVirtual = iEntryP->mIsVirtual;
}

PortRow OutputRow(Mlox_Device& ioDevice, const std::vector<Platform_StudioEntry>& iEntries) {
  PortRow row;
  const Mlox_InputID id = IdOf(ioDevice);
  row.mId = IdText(id);
  row.mName = ioDevice.GetName();
  row.mChannels = AvailableChannels(ioDevice);
  row.mIntegerIds = IntegerIds(ioDevice, row.mChannels);
  AddWhatTheStudioKnows(row, FindEntry(iEntries, id, false));
  row.mIsExternal = ioDevice.IsUserDefined();
  return row;
}

PortRow InputRow(const Mlox_InputRef& iInput, const std::vector<Platform_StudioEntry>& iEntries) {
  PortRow row;
  row.mIsInput = true;
  row.mId = IdText(iInput->GetInputID());
  row.mName = iInput->GetName();
  row.mChannels = AvailableChannels(*iInput);
  row.mIntegerIds = IntegerIds(iInput, row.mChannels);
  AddWhatTheStudioKnows(row, FindEntry(iEntries, iInput->GetInputID(), true));
  row.mIsVirtual = iInput->IsVirtual();
  row.mIsExternal = iInput->IsUserDefined();
  row.mIsPlugIn = iInput->IsPlugIn();
  return row;
}

PortRow UnlistedRow(const Platform_StudioEntry& iEntry, bool iIsInput) {
  PortRow row;
  row.mIsInput = iIsInput;
  const std::optional<std::int32_t> number = NumberOf(iEntry, iIsInput);
  if (number) row.mId = IdText({PortSession::kServiceIndex, *number});
  row.mName = iEntry.mName;
  row.mChannels =
      ChannelsOfMask((iIsInput ? iEntry.mTransmitChannels : iEntry.mReceiveChannels).value_or(kAllChannels));
  AddWhatTheStudioKnows(row, &iEntry);
  row.mIsExternal = iEntry.mIsUserDefined;
  // A port that a user-defined device stands for is there. One that isn't listed itself can't be reached in
  // this direction, though it may be in the other.
  row.mIsOnline = !iEntry.mIsUserDefined && iEntry.mIsOnline;
  return row;
}

bool Holds(const std::vector<PortRow>& iRows, const Platform_StudioEntry& iEntry, bool iIsInput) {
  const std::optional<std::int32_t> number = NumberOf(iEntry, iIsInput);
  if (!number) return false;
  return std::any_of(iRows.begin(), iRows.end(), [&](const PortRow& iRow) {
    return iRow.mIsInput == iIsInput && iRow.mId.ends_with(IdText({0, *number}).substr(1));
  });
}

}  // namespace

std::vector<int> ChannelsOfMask(std::int32_t iMask) {
  std::vector<int> channels;
  for (int channel = 0; channel < 16; ++channel) {
    if ((iMask >> channel & 1) != 0) channels.push_back(channel + 1);
  }
  return channels;
}

std::vector<PortRow> ListedPorts(const PortSession& iSession,
                                 const std::vector<Platform_StudioEntry>& iEntries) {
  std::vector<PortRow> rows;
  for (Mlox_Device* const deviceP : iSession.Outputs()) rows.push_back(OutputRow(*deviceP, iEntries));
  for (const Mlox_InputRef& input : iSession.Inputs()) rows.push_back(InputRow(input, iEntries));
  return rows;
}

std::vector<PortRow> UnlistedPorts(const std::vector<PortRow>& iListed,
                                   const std::vector<Platform_StudioEntry>& iEntries) {
  std::vector<PortRow> rows;
  for (const bool isInput : {false, true}) {
    for (const Platform_StudioEntry& entry : iEntries) {
      const bool hasEndpoint = entry.mIsUserDefined || entry.mIsSource == isInput;
      if (hasEndpoint && !Holds(iListed, entry, isInput)) rows.push_back(UnlistedRow(entry, isInput));
    }
  }
  return rows;
}

}  // namespace tool
