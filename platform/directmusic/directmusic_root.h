// SPDX-License-Identifier: MIT
/// \file
/// The library's own DirectMusic root outside Windows: one for the process, never destroyed.
#pragma once

#include "platform/directmusic/windows_types.h"

#if !defined(_WIN32)

/// What CoCreateInstance gives for CLSID_DirectMusic: the root's interface of iID with a reference added.
/// [any thread]
HRESULT Platform_DirectMusicRoot(REFIID iID, void** oObjectP);

#endif
