// SPDX-License-Identifier: MIT
/// \file
/// The plug-in's half: a node that receives MIDI.
#pragma once

#include <cstdint>

#include "mlox/mlox_directmidi/idirectmidi.h"
#include "mlox/mlox_directmidi/idirectmidiclientoutput.h"
#include "mlox/mlox_directmidi/idirectmidioutputdeliverysetup.h"

namespace tool {

/// A node, made as a plug-in makes it: by component interfaces alone. [main]
class PlugInNode {
 public:
  /// Makes the node. Throws ToolError if that fails. `iID` is what the application tells the node's device
  /// by.
  PlugInNode(IDirectMIDI3& iDirectMidi, std::uint64_t iID);
  PlugInNode(const PlugInNode&) = delete;
  PlugInNode& operator=(const PlugInNode&) = delete;
  ~PlugInNode();

  /// Where the way is chosen in which messages arrive.
  IDirectMIDIOutputDeliverySetup& Setup() { return *mSetupP; }

 private:
  IDirectMIDIClientOutput* mOutputP = nullptr;
  IDirectMIDIOutputDeliverySetup* mSetupP = nullptr;
};

}  // namespace tool
