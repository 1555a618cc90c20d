// SPDX-License-Identifier: MIT
/// \file
/// The application's receiving end.
#pragma once

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"
#include "mlox/mlox_input.h"
#include "mlox/mlox_serviceentries.h"

class Mlox_RawMidiReceiver;

/// The application's receiving end: joins one receiver to any number of inputs of any service.
///
/// A port is made by Mlox_Manager::CreateInputPort, connected any number of times, closed once, and then only
/// destroyed: closing destroys what the plug-in service keeps for it (the hardware service keeps its record
/// until it is deleted itself), and nothing clears the entries. An application that wants other inputs then
/// makes a new port. Mlox_Manager::RemoveAllServices closes every port.
class MLOX_EXPORT Mlox_InputPort : public Cmn_DoublyLinkedList_Link<Mlox_InputPort> {
 public:
  /// [main] Use Mlox_Manager::CreateInputPort instead, which also asks the services.
  /// \param iRawMidiReceiverP  not owned; may be null, and services may then decline the port
  explicit Mlox_InputPort(Mlox_RawMidiReceiver* iRawMidiReceiverP);

  /// [main] The copy is in no list.
  Mlox_InputPort(const Mlox_InputPort&) = default;

  /// [main] The link stays as it is.
  Mlox_InputPort& operator=(const Mlox_InputPort&) = default;

  /// [main] Leaves the manager's list. It closes nothing: call CloseCurrentConnections first.
  ~Mlox_InputPort() = default;

  /// [any]
  Mlox_RawMidiReceiver* GetRawMidiReceiver() const { return mRawMidiReceiverP; }

  /// [main] Connects the inputs to the receiver. Plug-in inputs add to those connected already; hardware
  /// inputs replace the hardware inputs connected before, so hand over all of them in one call. A call
  /// without any hardware input disconnects them.
  void ConnectToInputs(const Mlox_InputList& iInputs);

  /// [main] Disconnects every input. The port is only good for destruction then.
  void CloseCurrentConnections();

  /// [main] For services: what a service keeps for this port. An index outside 1 to 3 is reported: null.
  void* GetServiceEntry(int iServiceIndex) const;

  /// [main] For services: keeps a record for this port. An index outside 1 to 3 is reported: no change.
  void SetServiceEntry(int iServiceIndex, void* iEntryP);

 private:
  Mlox_RawMidiReceiver* mRawMidiReceiverP;
  Mlox_ServiceEntries mServiceEntries;
};
