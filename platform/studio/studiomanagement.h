// SPDX-License-Identifier: MIT
/// \file
/// How a user manages the studio: external instruments, what they are wired to, and what is known of them.
/// The service knows nothing of it; it serves the tool and tests, also from another process than the one
/// that plays.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"
#include "platform/studio/studiobank.h"

struct IDirectMusicStudio;
struct IDirectMusic8;

/// How a change ended.
enum class Platform_StudioResult {
  kDone,
  kUnknown,         ///< there is no such device or port
  kNotUserDefined,  ///< hardware can't be renamed, removed or wired to something
  kNotAPort,        ///< only ports of hardware can be wired to
  kAlready,         ///< it is so already
  kBadValue,        ///< an empty name, a mask or a channel out of range
};

/// One row as it stands.
struct Platform_StudioEntry {
  std::string mGuid;
  std::string mName;  ///< the user's name where there is one
  std::string mManufacturer;
  std::string mModel;
  std::string mDriver;
  bool mIsUserDefined = false;
  bool mIsSource = false;  ///< hardware: whether it gives MIDI to us
  bool mIsVirtual = false;
  bool mIsOnline = false;
  /// The second number of the Mlox_InputID of the endpoint of each direction; absent until it was first asked
  /// for.
  std::optional<std::int32_t> mInputNumber;
  std::optional<std::int32_t> mOutputNumber;
  std::optional<std::int32_t> mReceiveChannels;   ///< bit n is MIDI channel n; absent until set
  std::optional<std::int32_t> mTransmitChannels;  ///< likewise
  std::optional<std::string> mMaster;             ///< path of the master name document
  std::vector<std::string> mModes;                ///< row 0 belongs to no channel, channel 0 is row 1
  std::vector<Platform_StudioBank> mBanks;
  std::vector<std::string> mWires;  ///< GUIDs of the other ends, oldest first
};

/// [any thread but a subscriber's call] Every change holds in memory when its call returns; the file gets it
/// as one transaction soon after. No call but Flush and
/// WaitUntilRead waits for the file.
class MLOX_EXPORT Platform_StudioManagement {
 public:
  virtual ~Platform_StudioManagement() = default;

  /// Waits until the file has been read. Opening the studio waits for the end of the first try alone, good or
  /// bad, and 50 ms at most. False when the file can't be read, or not in that time; Trouble says why.
  virtual bool WaitUntilRead(std::chrono::milliseconds iTime) = 0;
  /// Everything that the database knows, absent hardware too, oldest first.
  virtual std::vector<Platform_StudioEntry> Entries() = 0;

  /// A new user-defined device, wired to nothing. Manufacturer and model may be empty; they find its name
  /// document.
  /// \param oGuid what names it from now on
  virtual Platform_StudioResult Add(const std::string& iName, const std::string& iManufacturer,
                                    const std::string& iModel, std::string& oGuid) = 0;
  /// Removes a user-defined device and its wires.
  virtual Platform_StudioResult Remove(const std::string& iUser) = 0;
  /// Puts a user-defined device on a port of hardware, present or not.
  virtual Platform_StudioResult Wire(const std::string& iUser, const std::string& iPort) = 0;
  virtual Platform_StudioResult Unwire(const std::string& iUser, const std::string& iPort) = 0;
  virtual Platform_StudioResult Rename(const std::string& iUser, const std::string& iName) = 0;

  /// Which channels a device receives and sends on: bit n is MIDI channel n, 0 to 65535.
  virtual Platform_StudioResult SetChannels(const std::string& iGuid, std::int32_t iReceive,
                                            std::int32_t iTransmit) = 0;
  virtual Platform_StudioResult SetBanks(const std::string& iGuid,
                                         const std::vector<Platform_StudioBank>& iBanks) = 0;
  /// The device's name document by its full path; none takes it away.
  virtual Platform_StudioResult SetMaster(const std::string& iGuid,
                                          const std::optional<std::string>& iPath) = 0;
  /// The mode of a channel, 0 to 15, by its name in the document.
  virtual Platform_StudioResult SetMode(const std::string& iGuid, int iChannel, const std::string& iMode) = 0;

  /// Waits until the file holds every change. False after that time; Trouble says why.
  virtual bool Flush(std::chrono::milliseconds iTime) = 0;
  /// What stands between the studio and its file, for people; empty when all is well.
  virtual std::string Trouble() = 0;
};

/// Both faces of one studio.
struct Platform_StudioFaces {
  std::shared_ptr<IDirectMusicStudio> mStudio;
  std::shared_ptr<Platform_StudioManagement> mManagement;
};

/// Opens the studio over a root, which may be null: then nothing is plugged in.
/// \param iPath the file; empty means the one that the environment names
MLOX_EXPORT Platform_StudioFaces Platform_OpenStudio(IDirectMusic8* iRootP, const std::string& iPath = {});

/// Opens the studio for a program that looks or changes something and ends: nothing is plugged in, and memory
/// keeps nothing for it. What stands between the studio and its file is told by Trouble and not printed, and
/// another process has five seconds to let go of the file until it counts as trouble. Printed are two things
/// of which Trouble doesn't tell: that a damaged file was set aside, and that last changes did not reach the
/// file though there was no trouble until then.
/// \param iPath the file; empty means the one that the environment names
MLOX_EXPORT Platform_StudioFaces Platform_OpenStudioForEdits(const std::string& iPath = {});
