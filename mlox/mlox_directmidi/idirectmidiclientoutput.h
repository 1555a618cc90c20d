// SPDX-License-Identifier: MIT
/// \file
/// A plug-in's handle on the MIDI destination that it has made. Slot order is frozen, each number only
/// appends.
#pragma once

#include <cstdint>

#include "cmn/iqcfunknown.h"

/// Name and channels of a node. All operations belong to the main thread; a new name may wait for writers to
/// leave, so it must not come from a real-time thread.
class IDirectMIDIClientOutput : public IQCFUnknown {
 public:
  /// \param iMask  one bit per channel, bit 0 is channel 0; a new node has 0xFFFF. [main]
  virtual void SetChannelMask(uint16_t iMask) = 0;

  /// Renames the node. Outputs that were made under another name die: writes to them do nothing from here on.
  /// [main] \param iNameP  UTF-8, copied; null counts as the empty name.
  virtual void SetName(const char* iNameP) = 0;

  /// {E59D7666-2A48-11D6-8069-00025520EAA6}
  static constexpr _qcfUID kUID = {
      0xE59D7666, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};

 protected:
  ~IDirectMIDIClientOutput() = default;  // plug-ins release, they can't delete
};

/// Adds the identity of the plug-in behind the node.
class IDirectMIDIClientOutput2 : public IDirectMIDIClientOutput {
 public:
  /// Ties the node to a plug-in instance, so that saved references find it again. [main]
  /// \param iFicPlugInSpecP  an `SFicPlugInSpec*`, read during the call. Null is reported and changes
  /// nothing. \param iPluginID        tells several nodes of one instance apart.
  virtual void SetPluginIdentification(void* iFicPlugInSpecP, int32_t iPluginID) = 0;

  /// {E59D7669-2A48-11D6-8069-00025520EAA6}
  static constexpr _qcfUID kUID = {
      0xE59D7669, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};

 protected:
  ~IDirectMIDIClientOutput2() = default;
};

/// Adds the wish for MIDI beat clock.
class IDirectMIDIClientOutput3 : public IDirectMIDIClientOutput2 {
 public:
  /// A new node receives MIDI beat clock. [main]
  virtual void SetReceivesMBC(bool iReceives) = 0;

  /// {E59D766A-2A48-11D6-8069-00025520EAA6}
  static constexpr _qcfUID kUID = {
      0xE59D766A, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};

 protected:
  ~IDirectMIDIClientOutput3() = default;
};

/// Adds the question whether somebody plays live into the node.
class IDirectMIDIClientOutput4 : public IDirectMIDIClientOutput3 {
 public:
  /// Whether the application has marked the source of this node's MIDI as live. [any]
  virtual bool IsMidiSourceLive() = 0;

  /// {7668628A-BF59-4435-810A-27C6BF44D4FE}
  static constexpr _qcfUID kUID = {
      0x7668628A, 0xBF59, 0x4435, {0x81, 0x0A, 0x27, 0xC6, 0xBF, 0x44, 0xD4, 0xFE}};

 protected:
  ~IDirectMIDIClientOutput4() = default;
};
