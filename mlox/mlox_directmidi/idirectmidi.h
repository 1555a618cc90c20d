// SPDX-License-Identifier: MIT
/// \file
/// The factory through which a hosted plug-in makes its MIDI nodes. Slot order is frozen: an operation is
/// added only by a further numbered interface.
#pragma once

#include <cstdint>

#include "cmn/iqcfunknown.h"

class IDirectMIDIClientInput;
class IDirectMIDIClientOutput;
class IDirectMIDIGlobalOutput;

/// Makes client outputs and global outputs. Every result carries one interface reference, which belongs to
/// the caller. [main] All operations that make a node run on the application's main thread.
class IDirectMIDI : public IQCFUnknown {
 public:
  /// Makes a MIDI destination with 16 channels that the rest of the application sees as a device.
  /// \param iNameP  UTF-8, copied; null counts as the empty name.
  virtual IDirectMIDIClientOutput* CreateClientOutput(const char* iNameP) = 0;

  /// Makes an output that receives the click, MIDI beat clock or MIDI time code of the application, and is no
  /// device.
  virtual IDirectMIDIGlobalOutput* CreateGlobalOutput() = 0;

 protected:
  ~IDirectMIDI() = default;  // plug-ins release, they can't delete
};

/// Adds client inputs.
class IDirectMIDI2 : public IDirectMIDI {
 public:
  /// Makes a MIDI source of 16 channels, into which the plug-in pushes bytes.
  /// \param iNameP  UTF-8, copied; null counts as the empty name.
  virtual IDirectMIDIClientInput* CreateClientInput(const char* iNameP) = 0;

 protected:
  ~IDirectMIDI2() = default;
};

/// Adds nodes that carry the application's opaque track value.
class IDirectMIDI3 : public IDirectMIDI2 {
 public:
  /// As CreateClientOutput. \param iID  given back by `Mlox_Device::GetTrackPtr`; 0 means none.
  virtual IDirectMIDIClientOutput* CreateClientOutputEx(const char* iNameP, uint64_t iID) = 0;

  /// As CreateClientInput. \param iID  given back by `Mlox_Input::GetTrackPtr`; 0 means none.
  virtual IDirectMIDIClientInput* CreateClientInputEx(const char* iNameP, uint64_t iID) = 0;

 protected:
  ~IDirectMIDI3() = default;
};
