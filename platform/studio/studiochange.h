// SPDX-License-Identifier: MIT
/// \file
/// Changes of the studio, each of them one transaction. A change names what it is about by GUIDs and keys and
/// says what shall be, so that it can be made again over contents that somebody else has changed meanwhile:
/// where its device is gone it does nothing.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/studio/studiorecords.h"

/// Rows of ports that are there: new rows, and what is now told of known ones. Empty texts change nothing.
struct Platform_StudioPutPorts {
  std::vector<Platform_StudioDeviceP> mPorts;
};
/// A whole new row; one that is there stays as it is.
struct Platform_StudioAddDevice {
  Platform_StudioDeviceP mDevice;
};
/// Takes a row away, with its properties, its wires and what its identifiers carry.
struct Platform_StudioRemoveDevice {
  std::string mGuid;
};
/// Makes a wire, behind those that are there, or takes it away.
struct Platform_StudioPutWire {
  Platform_StudioWire mWire;
  bool mIsOn = true;
};
/// Sets properties of one device; none takes one away.
struct Platform_StudioPutProperties {
  std::string mGuid;
  std::map<Platform_StudioPropertyKey, std::optional<Platform_StudioProperty>> mProperties;
};
/// Sets a list; none takes it away.
struct Platform_StudioPutList {
  std::string mGuid;
  Platform_StudioPropertyKey mKey;
  std::optional<Platform_StudioList> mList;
};
/// Sets all banks.
struct Platform_StudioPutBanks {
  std::string mGuid;
  std::vector<Platform_StudioBank> mBanks;
};
/// Sets a number that an identifier carries.
struct Platform_StudioPutNumber {
  Platform_StudioNumberKey mKey;
  Platform_StudioNumber mNumber;
};
/// Adds an identity, or gives the one of that GUID what it holds now.
struct Platform_StudioPutIdentity {
  Platform_IdentityRow mRow;
};

using Platform_StudioChange =
    std::variant<Platform_StudioPutPorts, Platform_StudioAddDevice, Platform_StudioRemoveDevice,
                 Platform_StudioPutWire, Platform_StudioPutProperties, Platform_StudioPutList,
                 Platform_StudioPutBanks, Platform_StudioPutNumber, Platform_StudioPutIdentity>;

/// Whether a change touches records, and with them what the studio lists.
bool Platform_StudioTouchesRecords(const Platform_StudioChange& iChange);

/// Makes a change in records; one of identities or numbers does nothing here.
void Platform_StudioApply(const Platform_StudioChange& iChange, Platform_StudioRecords& ioRecords);
/// Makes a change in all contents.
void Platform_StudioApply(const Platform_StudioChange& iChange, Platform_StudioContents& ioContents);

/// Whether a change that waits is made needless by a later one of the same thing.
bool Platform_StudioReplaces(const Platform_StudioChange& iLater, const Platform_StudioChange& iEarlier);

/// Makes a later change part of an earlier one that waits: ports, up to some hundreds. Making a change of
/// ports costs a look at every row, so that one for each port would make thousands of them slow. \returns
/// whether it did
bool Platform_StudioJoins(const Platform_StudioChange& iLater, Platform_StudioChange& ioEarlier);

/// The changes that make these contents out of nothing.
std::vector<Platform_StudioChange> Platform_StudioChangesThatMake(const Platform_StudioContents& iContents);
