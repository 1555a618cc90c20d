// SPDX-License-Identifier: MIT
/// \file
/// Walking through the ports of the DirectMusic root.
#pragma once

#include <functional>
#include <string>

#include "platform/directmusic/directmusic.h"

/// An enumeration ends after so many failures in a row: a root that never says "past the end" must not keep a
/// thread for ever.
inline constexpr int kMaxPortFailuresInARow = 4096;

/// Calls iOnPort for each port in index order. S_FALSE from EnumPort is the end; an index that fails is
/// skipped.
void EnumPorts(IDirectMusic8& iRoot, const std::function<void(const DMUS_PORTCAPS& iCaps)>& iOnPort);

/// Asks for one port's description, in a record that is zeroed and has its size.
HRESULT EnumOnePort(IDirectMusic8& iRoot, DWORD iIndex, DMUS_PORTCAPS* oCapsP);

/// The description as UTF-8; it counts as ended at its last character even if no zero stands there.
std::string DescriptionOf(const DMUS_PORTCAPS& iCaps);

/// The GUID as text, braces included.
std::string GuidTextOf(const DMUS_PORTCAPS& iCaps);
