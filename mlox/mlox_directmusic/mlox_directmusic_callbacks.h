// SPDX-License-Identifier: MIT
/// \file
/// Which ports are received from, and the way from a connection to it.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cmn/sys_rawthread.h"
#include "cmn/sys_umid.h"
#include "mlox/mlox_directmusic/directmusicinputportstate.h"
#include "mlox/mlox_directmusic/idirectmusicmidireceiver.h"
#include "mlox/mlox_directmusic/portinputgroup.h"
#include "mlox/mlox_input.h"
#include "platform/directmusic/directmusic.h"

/// The ports that must be open for the receivers that there are; it starts and stops the receive thread.
///
/// Apply and Shutdown may be called from any application thread, one at a time gets in. Both may wait for a
/// receiver of the application: on the receive thread itself, and by a thread that holds the subsystem's
/// lock, they report and do nothing.
class ReceivePortSet {
 public:
  /// The one set of the process; never destroyed. [any but real-time]
  static ReceivePortSet& Singleton();

  ReceivePortSet();
  ReceivePortSet(const ReceivePortSet&) = delete;
  ReceivePortSet& operator=(const ReceivePortSet&) = delete;

  /// Installs a receiver, in the place of the one with the same callback, and brings ports, task and thread
  /// into line. A receiver that wants nothing ends the subscription. When it returns, the delivery that was
  /// in progress has ended. \returns 0; E_UNEXPECTED without a DirectMusic root, and where it does nothing.
  HRESULT Apply(std::shared_ptr<IDirectMusicMIDIReceiver> receiver);

  /// Withdraws every subscription and ends the receive thread. Reception can begin again afterwards.
  void Shutdown();

 private:
  friend struct Test_ReceivePortSetAccess;

  // What a restart opens, in the order of enumeration.
  struct ArmedPorts {
    std::vector<HANDLE> mEvents;
    std::vector<IDirectMusicPort*> mPorts;
    PortInputGroupList mGroups;
  };

  bool ComputeChanges(const std::shared_ptr<IDirectMusicMIDIReceiver>& receiver, bool* restart);
  HRESULT ApplyLocked(const std::shared_ptr<IDirectMusicMIDIReceiver>& iReceiver);
  HRESULT ReceiveFromGroups(bool iRestart);
  bool HasNoGroups() const;
  ArmedPorts ArmPorts(IDirectMusic8& iRoot, bool iRestart);
  bool ArmPort(IDirectMusic8& iRoot, const DMUS_PORTCAPS& iCaps, ArmedPorts& ioArmed) const;
  HANDLE NewEvent(const std::string& iName) const;
  void StartThread(ArmedPorts iArmed);
  static void StopThread();
  const PortInputGroup* FindGroup(const Mlox_InputID& iPort) const;

  static decltype(&CreateEventW) sCreateEventP;            // tests look at the events that are made
  static decltype(&Sys_RawThread::Create) sCreateThreadP;  // and hold the maker of the thread

  PortInputGroupList mGroups;  // under the subsystem's lock
  Sys_Umid mUmid;
  bool mBeganWithoutReceivers = false;  // under mApplyMutex
  std::mutex mApplyMutex;  // outermost: one change at a time, over the join of the thread as well
};

/// The one set of the process, built when the library is loaded, never destroyed.
extern ReceivePortSet& sReceivePortSet;

/// Makes a receiver for a port's raw receiver and those of the inputs that are this service's, and applies
/// it. It takes the place of the port's earlier connection: there is no way to add one input, and the empty
/// list ends the connection. [main], without the subsystem's lock
void ConnectInputs(DirectMusicInputPortState* iPortP, const Mlox_InputList& iInputs);
