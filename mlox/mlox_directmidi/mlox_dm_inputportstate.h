// SPDX-License-Identifier: MIT
/// \file
/// What the plug-in service keeps for each input port.
#pragma once

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "mlox/mlox_input.h"

class Mlox_RawMidiReceiver;

/// One port's receiver, and the plug-in inputs that send to it.
///
/// [main] All operations.
class MLOX_EXPORT Mlox_DM_InputPortState {
 public:
  /// \param iRawMidiReceiverP  not owned; may be null.
  explicit Mlox_DM_InputPortState(Mlox_RawMidiReceiver* iRawMidiReceiverP);
  /// Drops the references. It disconnects nothing.
  ~Mlox_DM_InputPortState();

  Mlox_DM_InputPortState(const Mlox_DM_InputPortState&) = delete;
  Mlox_DM_InputPortState& operator=(const Mlox_DM_InputPortState&) = delete;

  /// Connects those of the inputs that are plug-in inputs, in order, besides those connected already.
  void ConnectInputs(const Mlox_InputList& iInputs);

  /// Disconnects every connected input, in order, and then drops the references. An input that another port
  /// has connected since falls silent too: an input has one receiver.
  void CloseConnections();

 private:
  Mlox_RawMidiReceiver* mRawMidiReceiverP;
  Mlox_InputList mConnectedInputs;
};
