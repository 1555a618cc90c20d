// SPDX-License-Identifier: MIT
/// \file
/// A plug-in's handle on the MIDI source that it has made. Slot order is frozen.
#pragma once

#include <cstdint>

#include "cmn/iqcfunknown.h"

/// Name, channels and identity of a source. Bytes go in through `IDirectMIDIInputReceiveMIDI` of the same
/// object. [main] All operations belong to the application's main thread.
class IDirectMIDIClientInput : public IQCFUnknown {
 public:
  /// \param iMask  one bit per channel, bit 0 is channel 0; a new node has 0xFFFF. [main]
  virtual void SetChannelMask(uint16_t iMask) = 0;

  /// Renames the node, which keeps its `Mlox_InputID` and its connection. [main]
  /// \param iNameP  UTF-8, copied; null counts as the empty name.
  virtual void SetName(const char* iNameP) = 0;

  /// Ties the node to a plug-in instance, so that saved references find it again. [main]
  /// \param iFicPlugInSpecP  an `SFicPlugInSpec*`, read during the call. Null is reported and changes
  /// nothing. \param iPluginID        tells several nodes of one instance apart.
  virtual void SetPluginIdentification(void* iFicPlugInSpecP, int32_t iPluginID) = 0;

  /// {2CC1E8D1-9424-11DA-A72B-0800200C9A66}
  static constexpr _qcfUID kUID = {
      0x2CC1E8D1, 0x9424, 0x11DA, {0xA7, 0x2B, 0x08, 0x00, 0x20, 0x0C, 0x9A, 0x66}};

 protected:
  ~IDirectMIDIClientInput() = default;  // plug-ins release, they can't delete
};
