// SPDX-License-Identifier: MIT
/// \file
/// The property keys of the studio database, and their short names.
#pragma once

#include "platform/directmusic/directmusic.h"

/// Getters of the studio's property keys. All values live as long as the process and may be read on any
/// thread.
namespace getter_wrapper {

/// Rows of the tables of names.
inline constexpr int kCommonDMSPropertyCount = 18;

// In the order of the tables of names.
const _GUID& Get_PROPID_EndpointUniqueID();
const _GUID& Get_PROPID_EndpointIsSource();
const _GUID& Get_PROPID_DeviceManufacturerName();
const _GUID& Get_PROPID_DeviceModelName();
const _GUID& Get_PROPID_DeviceOffline();
const _GUID& Get_PROPID_DeviceUniqueID();
const _GUID& Get_PROPID_DeviceExternal();
const _GUID& Get_PROPID_DeviceVirtual();
const _GUID& Get_PROPID_DeviceScheduleAheadMuSec();
const _GUID& Get_PROPID_EntityName();
const _GUID& Get_PROPID_EntityUniqueID();
const _GUID& Get_PROPID_EntityEmbedded();
const _GUID& Get_PROPID_EntityReceiveChannels();
const _GUID& Get_PROPID_EntityTransmitChannels();
const _GUID& Get_PROPID_EntityUserName();
const _GUID& Get_PROPID_DeviceMasterNamesFileLoc();
const _GUID& Get_PROPID_DeviceChannelModes();
const _GUID& Get_PROPID_EndpointCollectionLevel();

// Outside the tables.

/// The stable number of an endpoint. Its name is "mloxID".
const _GUID& Get_PROPID_MLOXID();
/// The number that an older MIDI system gave an endpoint. Only ever read.
const _GUID& Get_PROPID_OMSUniqueID();

/// The short names in row order, narrow and wide: row n names the key of row n, and travels with the key when
/// a property is created.
const char* const* Get_gCommonDMSPropertyNames();
const OLECHAR* const* Get_gCommonDMSPropertyNamesWide();

/// The key of a row; null outside the table.
const _GUID* KeyOfRow(int iRow);
/// The text under which the studio knows a key, made once; null for a key that no getter gives. Keys are told
/// by their addresses, so ask with what a getter gave.
const OLECHAR* TextOfKey(const _GUID& iKey);
/// The wide short name of a key: that of its row, "mloxID", or null for a key without a name.
const OLECHAR* NameOfKey(const _GUID& iKey);

}  // namespace getter_wrapper
