// SPDX-License-Identifier: MIT
/// \file
/// The keys of the studio's properties, as the texts of their GUIDs, and their short names.
#pragma once

#include <string>
#include <string_view>

// Keys of the device
inline constexpr std::string_view kStudio_DeviceManufacturerName = "{F4C3F409-894E-4F3F-A574-9C29BBBC093B}";
inline constexpr std::string_view kStudio_DeviceModelName = "{B99B9032-71DC-4A8E-B30F-DE9EF4EAA4E9}";
inline constexpr std::string_view kStudio_DeviceOffline = "{CB92BAD0-E446-4F56-9636-61C6BB0A516A}";
inline constexpr std::string_view kStudio_DeviceUniqueID = "{501C02FB-589B-4118-9867-B968EB6DC4D2}";
inline constexpr std::string_view kStudio_DeviceExternal = "{A6952210-7F5F-4A60-AFF7-9E33D2BAEC71}";
inline constexpr std::string_view kStudio_DeviceVirtual = "{B21D5F5B-CA47-4B7E-A29F-558033CCEFD1}";
inline constexpr std::string_view kStudio_DeviceScheduleAheadMuSec = "{22565CA5-1906-4069-8092-275E15A7DC6F}";
inline constexpr std::string_view kStudio_DeviceMasterNamesFileLoc = "{76FF1CE7-9536-4D5C-9601-A91A8FC10F53}";
inline constexpr std::string_view kStudio_DeviceChannelModes = "{2C0838FD-217E-4522-A540-AFE83BD9569E}";
// Keys of the entity
inline constexpr std::string_view kStudio_EntityName = "{0600ED5A-FE4B-459D-9661-550AB8BEE7A8}";
inline constexpr std::string_view kStudio_EntityUniqueID = "{463408B1-2CEB-4BE2-9E72-186D6A4A53ED}";
inline constexpr std::string_view kStudio_EntityEmbedded = "{9430C772-5ACB-4489-AD92-E8254DE81074}";
inline constexpr std::string_view kStudio_EntityReceiveChannels = "{EE241C64-154A-4916-BD50-5EFAC0A3E7F7}";
inline constexpr std::string_view kStudio_EntityTransmitChannels = "{E0624D7A-E4FA-4AF3-BBB0-86B5A1A7470E}";
inline constexpr std::string_view kStudio_EntityUserName = "{5456B5D7-C7DA-4590-B420-766326745AE8}";
// Keys of the endpoint and of identifiers
inline constexpr std::string_view kStudio_EndpointUniqueID = "{C41B1F46-94EA-4000-B3AC-FBA38EFA054D}";
inline constexpr std::string_view kStudio_EndpointIsSource = "{7FC5C2A4-C50C-4F3C-91D8-EAE81CF33678}";
inline constexpr std::string_view kStudio_EndpointCollectionLevel = "{CC6C83A4-8672-4559-AF51-794225EA1917}";
inline constexpr std::string_view kStudio_MloxID = "{E3CCE845-7AEA-47E2-A392-5965FC7AF2E3}";
inline constexpr std::string_view kStudio_OMSUniqueID = "{FB05FB4B-7C14-4A67-AD04-9F5657756E1F}";

/// The short name that goes with a key; empty for a key of somebody else's.
std::string Platform_StudioNameOfKey(std::string_view iKey);

/// Whether the studio itself answers this key, so that nobody can set it.
bool Platform_StudioIsFixedKey(std::string_view iKey);
