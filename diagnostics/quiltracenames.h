// SPDX-License-Identifier: MIT
/// \file
/// What the tracing library has to export.
#pragma once

#include <array>

/// The names of all its entry points, in the order of binding. A library that lacks any is not used.
inline constexpr std::array<const char*, 25> kQuilTrace_EntryPoints = {
    "QuilTraceIsActiveFunc",
    "QuilTraceReloadConfigsFunc",
    "QuilTraceFormat",
    "QuilTraceFormatQuiet",
    "QuilTraceFormatTimestamp",
    "QuilTracePuts",
    "QuilTraceMem",
    "QuilTraceStack",
    "QuilTraceChangeFacilityPriorityFunc",
    "QuilTraceRegisterHandlerFunc",
    "QuilTraceFacilityOnFunc",
    "QuilTraceSetClockCallbackFunc",
    "QuilTraceDumpWriteStatsFunc",
    "QuilTraceSetNameFunc",
    "QuilTraceOSErrToString",
    "QuilTraceLegacyFormat",
    "QuilTraceGetTracePath",
    "QuilTraceRegisterFacility",
    "QuilTraceRestart",
    "QuilTraceGetMachineUUID",
    "QuilTraceGetTimestamp",
    "QuilTraceAddTraceClient",
    "QuilTraceRemoveTraceClient",
    "QuilTraceEnableStackTraceSymbols",
    "QuilTraceEnabledStackTraceSymbols",
};
