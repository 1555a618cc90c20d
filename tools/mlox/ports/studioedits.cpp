// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/studioedits.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string_view>

#include "platform/studio/studiomanagement.h"
#include "tools/mlox/ports/portdirectory.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/standardstreams.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::milliseconds kGlance{20};
constexpr int kChannels = 16;

/// The database, without anything plugged in: what is there matters to nobody here.
class Studio {
 public:
  /// Throws ToolError when the file can't be read: nothing is known then of what is in it.
  Studio() : mFaces(Platform_OpenStudioForEdits()) {
    // A busy machine may not read the file in the time that opening takes at most.
    if (!Get().WaitUntilRead(kPatience)) throw ToolError(TroubleOr("couldn't be read in time"));
  }

  Platform_StudioManagement& Get() const { return *mFaces.mManagement; }

  /// The GUID of the external device that a text names. Throws ToolError.
  std::string FindUser(const std::string& iText) const {
    const auto named = Named([](const Platform_StudioEntry& iEntry) { return iEntry.mIsUserDefined; });
    return named[FindPort(named, iText, "external device")].mId;
  }

  /// The GUIDs of the ports that a text names: one, or the two halves of a socket, which have one name.
  /// Throws ToolError.
  std::vector<std::string> FindPorts(const std::string& iText) const {
    const std::vector<NamedPort> outputs =
        Named([](const Platform_StudioEntry& iEntry) { return !iEntry.mIsUserDefined && !iEntry.mIsSource; });
    const std::vector<NamedPort> inputs =
        Named([](const Platform_StudioEntry& iEntry) { return !iEntry.mIsUserDefined && iEntry.mIsSource; });
    return FindSocket(outputs, inputs, iText);
  }

  /// Either, the user's devices first.
  std::string FindAny(const std::string& iText) const {
    const auto named = Named([](const Platform_StudioEntry&) { return true; });
    return named[FindPort(named, iText, "device")].mId;
  }

  /// Changes each port; at least one must have been otherwise before. Throws ToolError.
  template <class Change>
  void FinishAny(const std::vector<std::string>& iPorts, Change iChange) const {
    auto result = Platform_StudioResult::kAlready;
    for (const std::string& port : iPorts) {
      const Platform_StudioResult one = iChange(port);
      if (one != Platform_StudioResult::kAlready) result = one;
    }
    Finish(result);
  }

  /// Waits until the file has it. Throws ToolError.
  void Finish(Platform_StudioResult iResult) const {
    if (iResult != Platform_StudioResult::kDone) throw ToolError(Reason(iResult));
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!Get().Flush(kGlance)) {
      const bool isLate = std::chrono::steady_clock::now() > end;
      if (isLate || !Get().Trouble().empty()) throw ToolError(TroubleOr("couldn't be written in time"));
    }
  }

 private:
  template <class Test>
  std::vector<NamedPort> Named(Test iIsWanted) const {
    std::vector<NamedPort> named;
    for (const Platform_StudioEntry& entry : Get().Entries()) {
      if (iIsWanted(entry)) named.push_back({entry.mName, entry.mGuid});
    }
    return named;
  }

  std::string TroubleOr(const char* iElse) const {
    const std::string trouble = Get().Trouble();
    return trouble.empty() ? fmt::format("the studio's database {}", iElse) : trouble;
  }

  static const char* Reason(Platform_StudioResult iResult) {
    switch (iResult) {
      case Platform_StudioResult::kUnknown:
        return "there is no such device or port any more";
      case Platform_StudioResult::kNotUserDefined:
        return "this is hardware; only external devices can be renamed, removed and wired";
      case Platform_StudioResult::kNotAPort:
        return "devices are wired to ports only";
      case Platform_StudioResult::kAlready:
        return "it is so already";
      case Platform_StudioResult::kBadValue:
        return "the studio doesn't take this value";
      case Platform_StudioResult::kDone:
        break;
    }
    return "done";
  }

  Platform_StudioFaces mFaces;
};

[[noreturn]] void FailOnChannels(const std::string& iText) {
  throw UsageError(fmt::format("'{}' names no channels: 1-4,10 or all or none", ForTerminal(iText)));
}

int ParseChannel(std::string_view iDigits, const std::string& iText) {
  int channel = 0;
  const auto [endP, fault] = std::from_chars(iDigits.data(), iDigits.data() + iDigits.size(), channel);
  if (fault != std::errc() || endP != iDigits.data() + iDigits.size() || channel < 1 || channel > kChannels) {
    FailOnChannels(iText);
  }
  return channel;
}

std::string WithoutBlanks(const std::string& iText) {
  std::string text;
  for (const char character : iText) {
    if (character != ' ') text += character;
  }
  return text;
}

std::string FullPath(const std::string& iPath) {
  std::error_code fault;
  const std::filesystem::path path = std::filesystem::absolute(iPath, fault);
  if (fault || !std::filesystem::exists(path, fault)) {
    throw ToolError(fmt::format("{}: there is no such document", ForTerminal(iPath)));
  }
  return path.string();
}

/// What a request says, read in full before anything is changed: a refused command changes nothing.
struct Settings {
  struct Mode {
    int mChannel = 0;  ///< from 0
    std::string mMode;
  };
  std::optional<std::int32_t> mReceive;
  std::optional<std::int32_t> mTransmit;
  std::optional<std::string> mMaster;  ///< a full path; empty takes it away
  std::vector<Mode> mModes;
  std::vector<Platform_StudioBank> mBanks;
};

Settings::Mode ParseMode(const std::string& iAssignment) {
  const std::size_t equals = std::min(iAssignment.find('='), iAssignment.size());
  int channel = 0;
  const char* const endOfChannelP = iAssignment.data() + equals;
  const auto [stopP, fault] = std::from_chars(iAssignment.data(), endOfChannelP, channel);
  const bool isNumber = fault == std::errc() && stopP == endOfChannelP;
  if (equals == iAssignment.size() || !isNumber || channel < 1 || channel > kChannels) {
    throw UsageError(
        fmt::format("'{}' is no CHANNEL=MODE with a channel from 1 to 16", ForTerminal(iAssignment)));
  }
  return {channel - 1, iAssignment.substr(equals + 1)};
}

Settings ParseSettings(const StudioSetRequest& iRequest) {
  Settings settings;
  if (iRequest.mReceive) settings.mReceive = ParseChannelMask(*iRequest.mReceive);
  if (iRequest.mTransmit) settings.mTransmit = ParseChannelMask(*iRequest.mTransmit);
  for (const std::string& mode : iRequest.mModes) settings.mModes.push_back(ParseMode(mode));
  if (iRequest.mMaster) settings.mMaster = iRequest.mMaster->empty() ? "" : FullPath(*iRequest.mMaster);
  for (std::size_t i = 0; i + 2 < iRequest.mBanks.size(); i += 3) {
    settings.mBanks.push_back({iRequest.mBanks[i], FullPath(iRequest.mBanks[i + 1]), iRequest.mBanks[i + 2]});
  }
  return settings;
}

Platform_StudioResult SetChannels(const Studio& iStudio, const std::string& iGuid,
                                  const Settings& iSettings) {
  constexpr std::int32_t kAll = 0xFFFF;
  std::int32_t receive = kAll;
  std::int32_t transmit = kAll;
  for (const Platform_StudioEntry& entry : iStudio.Get().Entries()) {
    if (entry.mGuid != iGuid) continue;
    receive = entry.mReceiveChannels.value_or(kAll);
    transmit = entry.mTransmitChannels.value_or(kAll);
  }
  return iStudio.Get().SetChannels(iGuid, iSettings.mReceive.value_or(receive),
                                   iSettings.mTransmit.value_or(transmit));
}

std::string NameOf(const std::vector<Platform_StudioEntry>& iEntries, const std::string& iGuid) {
  for (const Platform_StudioEntry& entry : iEntries) {
    if (entry.mGuid == iGuid) return entry.mName;
  }
  return iGuid;
}

void PrintField(const char* iName, const std::string& iText) {
  if (!iText.empty()) fmt::print("  {:<14} {}\n", iName, ForTerminal(iText));
}

void PrintEntry(const Platform_StudioEntry& iEntry, const std::vector<Platform_StudioEntry>& iEntries) {
  fmt::print("{}\n", ForTerminal(iEntry.mName));
  PrintField("guid", iEntry.mGuid);
  PrintField("kind", iEntry.mIsUserDefined ? "external" : iEntry.mIsSource ? "input port" : "output port");
  PrintField("manufacturer", iEntry.mManufacturer);
  PrintField("model", iEntry.mModel);
  PrintField("driver", iEntry.mDriver);
  if (iEntry.mReceiveChannels) PrintField("receives", ChannelsText(ChannelsOfMask(*iEntry.mReceiveChannels)));
  if (iEntry.mTransmitChannels)
    PrintField("transmits", ChannelsText(ChannelsOfMask(*iEntry.mTransmitChannels)));
  PrintField("document", iEntry.mMaster.value_or(""));
  for (std::size_t i = 1; i < iEntry.mModes.size(); ++i) {
    if (!iEntry.mModes[i].empty()) PrintField("mode", fmt::format("{}: {}", i, iEntry.mModes[i]));
  }
  for (const Platform_StudioBank& bank : iEntry.mBanks) {
    PrintField("bank", fmt::format("{}: {} in {}", bank.mName, bank.mPatchNameList, bank.mFile));
  }
  for (const std::string& wire : iEntry.mWires) PrintField("wired to", NameOf(iEntries, wire));
}

void WriteChannels(TreeWriter& ioWriter, const char* iKey, const std::optional<std::int32_t>& iMask) {
  ioWriter.Key(iKey);
  if (!iMask) return ioWriter.Null();
  ioWriter.BeginList();
  for (const int channel : ChannelsOfMask(*iMask)) ioWriter.Number(channel);
  ioWriter.EndList();
}

void WriteTexts(TreeWriter& ioWriter, const char* iKey, const std::vector<std::string>& iTexts) {
  ioWriter.Key(iKey);
  ioWriter.BeginList();
  for (const std::string& text : iTexts) ioWriter.Text(text);
  ioWriter.EndList();
}

void WriteText(TreeWriter& ioWriter, const char* iKey, const std::string& iText) {
  ioWriter.Key(iKey);
  ioWriter.Text(iText);
}

void WriteBanks(TreeWriter& ioWriter, const std::vector<Platform_StudioBank>& iBanks) {
  ioWriter.Key("banks");
  ioWriter.BeginList();
  for (const Platform_StudioBank& bank : iBanks) {
    ioWriter.BeginObject();
    WriteText(ioWriter, "file", bank.mFile);
    WriteText(ioWriter, "list", bank.mPatchNameList);
    WriteText(ioWriter, "name", bank.mName);
    ioWriter.EndObject();
  }
  ioWriter.EndList();
}

// Keys in sorted order.
void WriteEntry(TreeWriter& ioWriter, const Platform_StudioEntry& iEntry) {
  ioWriter.BeginObject();
  WriteBanks(ioWriter, iEntry.mBanks);
  WriteText(ioWriter, "driver", iEntry.mDriver);
  ioWriter.Key("external");
  ioWriter.Bool(iEntry.mIsUserDefined);
  WriteText(ioWriter, "guid", iEntry.mGuid);
  WriteText(ioWriter, "manufacturer", iEntry.mManufacturer);
  ioWriter.Key("master");
  iEntry.mMaster ? ioWriter.Text(*iEntry.mMaster) : ioWriter.Null();
  WriteText(ioWriter, "model", iEntry.mModel);
  WriteTexts(ioWriter, "modes", iEntry.mModes);
  WriteText(ioWriter, "name", iEntry.mName);
  WriteChannels(ioWriter, "receive_channels", iEntry.mReceiveChannels);
  ioWriter.Key("source");
  ioWriter.Bool(iEntry.mIsSource);
  WriteChannels(ioWriter, "transmit_channels", iEntry.mTransmitChannels);
  WriteTexts(ioWriter, "wires", iEntry.mWires);
  ioWriter.EndObject();
}

}  // namespace

void StudioAdd(const StudioAddRequest& iRequest) {
  const Studio studio;
  std::string guid;
  studio.Finish(studio.Get().Add(iRequest.mName, iRequest.mManufacturer, iRequest.mModel, guid));
  fmt::print("{}\n", guid);
}

void StudioRemove(const std::string& iDevice) {
  const Studio studio;
  studio.Finish(studio.Get().Remove(studio.FindUser(iDevice)));
}

void StudioWire(const std::string& iDevice, const std::string& iPort) {
  const Studio studio;
  const std::string device = studio.FindUser(iDevice);
  studio.FinishAny(studio.FindPorts(iPort),
                   [&](const std::string& iGuid) { return studio.Get().Wire(device, iGuid); });
}

void StudioUnwire(const std::string& iDevice, const std::string& iPort) {
  const Studio studio;
  const std::string device = studio.FindUser(iDevice);
  studio.FinishAny(studio.FindPorts(iPort),
                   [&](const std::string& iGuid) { return studio.Get().Unwire(device, iGuid); });
}

void StudioRename(const std::string& iDevice, const std::string& iName) {
  const Studio studio;
  studio.Finish(studio.Get().Rename(studio.FindUser(iDevice), iName));
}

void StudioSet(const StudioSetRequest& iRequest) {
  const Settings settings = ParseSettings(iRequest);
  const Studio studio;
  const std::string guid = studio.FindAny(iRequest.mDevice);
  if (settings.mReceive || settings.mTransmit) studio.Finish(SetChannels(studio, guid, settings));
  if (settings.mMaster) {
    const bool isNone = settings.mMaster->empty();
    studio.Finish(studio.Get().SetMaster(guid, isNone ? std::nullopt : settings.mMaster));
  }
  for (const Settings::Mode& mode : settings.mModes) {
    studio.Finish(studio.Get().SetMode(guid, mode.mChannel, mode.mMode));
  }
  if (!settings.mBanks.empty()) studio.Finish(studio.Get().SetBanks(guid, settings.mBanks));
}

void StudioShow(bool iJson) {
  const Studio studio;
  const std::vector<Platform_StudioEntry> entries = studio.Get().Entries();
  const std::string trouble = studio.Get().Trouble();
  if (!trouble.empty()) PrintError(fmt::format("mlox: {}\n", trouble));
  if (iJson) {
    JsonWriter json;
    json.BeginList();
    for (const Platform_StudioEntry& entry : entries) WriteEntry(json, entry);
    json.EndList();
    fmt::print("{}\n", json.GetText());
    return;
  }
  if (entries.empty()) fmt::print("The studio is empty. `mlox list` fills in what is plugged in.\n");
  for (const Platform_StudioEntry& entry : entries) PrintEntry(entry, entries);
}

std::int32_t ParseChannelMask(const std::string& iText) {
  if (iText == "all") return 0xFFFF;
  if (iText == "none") return 0;
  const std::string text = WithoutBlanks(iText);
  std::int32_t mask = 0;
  std::string_view rest = text;
  do {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    const std::string_view run = rest.substr(0, comma);
    const std::size_t dash = std::min(run.find('-'), run.size());
    const int first = ParseChannel(run.substr(0, dash), iText);
    const int last = dash < run.size() ? ParseChannel(run.substr(dash + 1), iText) : first;
    if (last < first) FailOnChannels(iText);
    for (int channel = first; channel <= last; ++channel) mask |= 1 << (channel - 1);
    const bool hasMore = comma < rest.size();
    rest.remove_prefix(hasMore ? comma + 1 : comma);
    if (hasMore && rest.empty()) FailOnChannels(iText);
  } while (!rest.empty());
  return mask;
}

}  // namespace tool
