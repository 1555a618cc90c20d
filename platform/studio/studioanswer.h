// SPDX-License-Identifier: MIT
/// \file
/// What a row answers to the keys of properties. An object answers for its own level and for those above it;
/// the unique ids below its level are absent.
#pragma once

#include <optional>
#include <string>

#include "platform/directmusic/windows_types.h"
#include "platform/studio/studiorecords.h"
#include "platform/studio/studiostate.h"

/// Fills the two results that go with a value: its short name, for the caller to free, and a word that nobody
/// reads. Either may be null; an empty name gives a null text.
void Platform_StudioNameAnswer(const std::string& iName, BSTR* oName, DWORD* oWord);

/// The unique id of a device's one entity, or of an endpoint: a source has 0, a destination its channel
/// group, 1. Absent for any other key and above its level.
std::optional<LONG> Platform_StudioUniqueNumber(const Platform_StudioPlace& iPlace, const std::string& iKey);

/// A property that is set, of this level or above.
const Platform_StudioProperty* Platform_StudioPropertyOf(const Platform_StudioDevice& iDevice, int iLevel,
                                                         const std::string& iKey);

/// A text: the unique id, the name, manufacturer and model, or one that is set.
std::optional<std::string> Platform_StudioTextOf(const Platform_StudioDevice& iDevice, int iLevel,
                                                 const std::string& iKey);

/// External, virtual, offline: never absent.
std::optional<bool> Platform_StudioFlagOf(const Platform_StudioDevice& iDevice,
                                          const Platform_StudioState& iState, const std::string& iKey);

/// The level at which a list with this key is kept: the device's for the current modes, else iLevel.
int Platform_StudioLevelOf(const std::string& iKey, int iLevel);
