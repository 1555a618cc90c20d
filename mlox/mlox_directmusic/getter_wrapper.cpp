// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/getter_wrapper.h"

#include <cstddef>
#include <iterator>

namespace getter_wrapper {

namespace {

constexpr _GUID PROPID_EndpointUniqueID = {
    0xC41B1F46, 0x94EA, 0x4000, {0xB3, 0xAC, 0xFB, 0xA3, 0x8E, 0xFA, 0x05, 0x4D}};
constexpr _GUID PROPID_EndpointIsSource = {
    0x7FC5C2A4, 0xC50C, 0x4F3C, {0x91, 0xD8, 0xEA, 0xE8, 0x1C, 0xF3, 0x36, 0x78}};
constexpr _GUID PROPID_DeviceManufacturerName = {
    0xF4C3F409, 0x894E, 0x4F3F, {0xA5, 0x74, 0x9C, 0x29, 0xBB, 0xBC, 0x09, 0x3B}};
constexpr _GUID PROPID_DeviceModelName = {
    0xB99B9032, 0x71DC, 0x4A8E, {0xB3, 0x0F, 0xDE, 0x9E, 0xF4, 0xEA, 0xA4, 0xE9}};
constexpr _GUID PROPID_DeviceOffline = {
    0xCB92BAD0, 0xE446, 0x4F56, {0x96, 0x36, 0x61, 0xC6, 0xBB, 0x0A, 0x51, 0x6A}};
constexpr _GUID PROPID_DeviceUniqueID = {
    0x501C02FB, 0x589B, 0x4118, {0x98, 0x67, 0xB9, 0x68, 0xEB, 0x6D, 0xC4, 0xD2}};
constexpr _GUID PROPID_DeviceExternal = {
    0xA6952210, 0x7F5F, 0x4A60, {0xAF, 0xF7, 0x9E, 0x33, 0xD2, 0xBA, 0xEC, 0x71}};
constexpr _GUID PROPID_DeviceVirtual = {
    0xB21D5F5B, 0xCA47, 0x4B7E, {0xA2, 0x9F, 0x55, 0x80, 0x33, 0xCC, 0xEF, 0xD1}};
constexpr _GUID PROPID_DeviceScheduleAheadMuSec = {
    0x22565CA5, 0x1906, 0x4069, {0x80, 0x92, 0x27, 0x5E, 0x15, 0xA7, 0xDC, 0x6F}};
constexpr _GUID PROPID_EntityName = {
    0x0600ED5A, 0xFE4B, 0x459D, {0x96, 0x61, 0x55, 0x0A, 0xB8, 0xBE, 0xE7, 0xA8}};
constexpr _GUID PROPID_EntityUniqueID = {
    0x463408B1, 0x2CEB, 0x4BE2, {0x9E, 0x72, 0x18, 0x6D, 0x6A, 0x4A, 0x53, 0xED}};
constexpr _GUID PROPID_EntityEmbedded = {
    0x9430C772, 0x5ACB, 0x4489, {0xAD, 0x92, 0xE8, 0x25, 0x4D, 0xE8, 0x10, 0x74}};
constexpr _GUID PROPID_EntityReceiveChannels = {
    0xEE241C64, 0x154A, 0x4916, {0xBD, 0x50, 0x5E, 0xFA, 0xC0, 0xA3, 0xE7, 0xF7}};
constexpr _GUID PROPID_EntityTransmitChannels = {
    0xE0624D7A, 0xE4FA, 0x4AF3, {0xBB, 0xB0, 0x86, 0xB5, 0xA1, 0xA7, 0x47, 0x0E}};
constexpr _GUID PROPID_EntityUserName = {
    0x5456B5D7, 0xC7DA, 0x4590, {0xB4, 0x20, 0x76, 0x63, 0x26, 0x74, 0x5A, 0xE8}};
constexpr _GUID PROPID_DeviceMasterNamesFileLoc = {
    0x76FF1CE7, 0x9536, 0x4D5C, {0x96, 0x01, 0xA9, 0x1A, 0x8F, 0xC1, 0x0F, 0x53}};
constexpr _GUID PROPID_DeviceChannelModes = {
    0x2C0838FD, 0x217E, 0x4522, {0xA5, 0x40, 0xAF, 0xE8, 0x3B, 0xD9, 0x56, 0x9E}};
constexpr _GUID PROPID_EndpointCollectionLevel = {
    0xCC6C83A4, 0x8672, 0x4559, {0xAF, 0x51, 0x79, 0x42, 0x25, 0xEA, 0x19, 0x17}};
constexpr _GUID PROPID_MLOXID = {
    0xE3CCE845, 0x7AEA, 0x47E2, {0xA3, 0x92, 0x59, 0x65, 0xFC, 0x7A, 0xF2, 0xE3}};
constexpr _GUID PROPID_OMSUniqueID = {
    0xFB05FB4B, 0x7C14, 0x4A67, {0xAD, 0x04, 0x9F, 0x56, 0x57, 0x75, 0x6E, 0x1F}};

const _GUID* const kKeys[] = {
    &PROPID_EndpointUniqueID,
    &PROPID_EndpointIsSource,
    &PROPID_DeviceManufacturerName,
    &PROPID_DeviceModelName,
    &PROPID_DeviceOffline,
    &PROPID_DeviceUniqueID,
    &PROPID_DeviceExternal,
    &PROPID_DeviceVirtual,
    &PROPID_DeviceScheduleAheadMuSec,
    &PROPID_EntityName,
    &PROPID_EntityUniqueID,
    &PROPID_EntityEmbedded,
    &PROPID_EntityReceiveChannels,
    &PROPID_EntityTransmitChannels,
    &PROPID_EntityUserName,
    &PROPID_DeviceMasterNamesFileLoc,
    &PROPID_DeviceChannelModes,
    &PROPID_EndpointCollectionLevel,
};

const char* const gCommonDMSPropertyNames[] = {
    "uniqueID",
    "source",
    "manufacturer",
    "model",
    "offline",
    "uniqueID",
    "external",
    "virtual",
    "scheduleAheadMuSec",
    "name",
    "uniqueID",
    "embedded",
    "receiveChannels",
    "transmitChannels",
    "userName",
    "master",
    "currentModes",
    "eptCollectionLevel",
};

const OLECHAR* const gCommonDMSPropertyNamesWide[] = {
    OLESTR("uniqueID"),
    OLESTR("source"),
    OLESTR("manufacturer"),
    OLESTR("model"),
    OLESTR("offline"),
    OLESTR("uniqueID"),
    OLESTR("external"),
    OLESTR("virtual"),
    OLESTR("scheduleAheadMuSec"),
    OLESTR("name"),
    OLESTR("uniqueID"),
    OLESTR("embedded"),
    OLESTR("receiveChannels"),
    OLESTR("transmitChannels"),
    OLESTR("userName"),
    OLESTR("master"),
    OLESTR("currentModes"),
    OLESTR("eptCollectionLevel"),
};

// The texts of all keys, in the order of the rows, then those outside the table.
class KeyTexts {
 public:
  KeyTexts() {
    for (std::size_t i = 0; i < kCount; ++i) StringFromGUID2(*KeyAt(i), mTexts[i], kTextSize);
  }
  const OLECHAR* Find(const _GUID& iKey) const {
    for (std::size_t i = 0; i < kCount; ++i) {
      if (KeyAt(i) == &iKey) return mTexts[i];
    }
    return nullptr;
  }

 private:
  static constexpr std::size_t kCount = std::size(kKeys) + 2;
  static constexpr int kTextSize = 39;  // with braces and the final zero

  static const _GUID* KeyAt(std::size_t iAt) {
    if (iAt < std::size(kKeys)) return kKeys[iAt];
    return iAt == std::size(kKeys) ? &PROPID_MLOXID : &PROPID_OMSUniqueID;
  }

  OLECHAR mTexts[kCount][kTextSize] = {};
};

static_assert(std::size(kKeys) == kCommonDMSPropertyCount);
static_assert(std::size(gCommonDMSPropertyNames) == kCommonDMSPropertyCount);
static_assert(std::size(gCommonDMSPropertyNamesWide) == kCommonDMSPropertyCount);

}  // namespace

const _GUID& Get_PROPID_EndpointUniqueID() { return PROPID_EndpointUniqueID; }
const _GUID& Get_PROPID_EndpointIsSource() { return PROPID_EndpointIsSource; }
const _GUID& Get_PROPID_DeviceManufacturerName() { return PROPID_DeviceManufacturerName; }
const _GUID& Get_PROPID_DeviceModelName() { return PROPID_DeviceModelName; }
const _GUID& Get_PROPID_DeviceOffline() { return PROPID_DeviceOffline; }
const _GUID& Get_PROPID_DeviceUniqueID() { return PROPID_DeviceUniqueID; }
const _GUID& Get_PROPID_DeviceExternal() { return PROPID_DeviceExternal; }
const _GUID& Get_PROPID_DeviceVirtual() { return PROPID_DeviceVirtual; }
const _GUID& Get_PROPID_DeviceScheduleAheadMuSec() { return PROPID_DeviceScheduleAheadMuSec; }
const _GUID& Get_PROPID_EntityName() { return PROPID_EntityName; }
const _GUID& Get_PROPID_EntityUniqueID() { return PROPID_EntityUniqueID; }
const _GUID& Get_PROPID_EntityEmbedded() { return PROPID_EntityEmbedded; }
const _GUID& Get_PROPID_EntityReceiveChannels() { return PROPID_EntityReceiveChannels; }
const _GUID& Get_PROPID_EntityTransmitChannels() { return PROPID_EntityTransmitChannels; }
const _GUID& Get_PROPID_EntityUserName() { return PROPID_EntityUserName; }
const _GUID& Get_PROPID_DeviceMasterNamesFileLoc() { return PROPID_DeviceMasterNamesFileLoc; }
const _GUID& Get_PROPID_DeviceChannelModes() { return PROPID_DeviceChannelModes; }
const _GUID& Get_PROPID_EndpointCollectionLevel() { return PROPID_EndpointCollectionLevel; }
const _GUID& Get_PROPID_MLOXID() { return PROPID_MLOXID; }
const _GUID& Get_PROPID_OMSUniqueID() { return PROPID_OMSUniqueID; }

const char* const* Get_gCommonDMSPropertyNames() { return gCommonDMSPropertyNames; }

const OLECHAR* const* Get_gCommonDMSPropertyNamesWide() { return gCommonDMSPropertyNamesWide; }

const _GUID* KeyOfRow(int iRow) {
  return iRow >= 0 && iRow < kCommonDMSPropertyCount ? kKeys[iRow] : nullptr;
}

// A rebuild reads some thirty properties for each port: making the text anew each time was a third of it.
const OLECHAR* TextOfKey(const _GUID& iKey) {
  static const KeyTexts& sTexts = *new KeyTexts;
  return sTexts.Find(iKey);
}

const OLECHAR* NameOfKey(const _GUID& iKey) {
  for (std::size_t row = 0; row < std::size(kKeys); ++row) {
    if (*kKeys[row] == iKey) return gCommonDMSPropertyNamesWide[row];
  }
  return iKey == PROPID_MLOXID ? OLESTR("mloxID") : nullptr;
}

}  // namespace getter_wrapper
