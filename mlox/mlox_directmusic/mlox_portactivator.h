// SPDX-License-Identifier: MIT
/// \file
/// The count of a hardware port's users.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "cmn/ps_thread.h"
#include "mlox/mlox_inputid.h"
#include "platform/directmusic/directmusic.h"

/// Activates a port for its first user and deactivates it behind its last one.
///
/// There is one for each identity of an endpoint whose port has been activated, for the life of the process:
/// a port that failed activation stays dead, and one that comes back is still active.
class Mlox_PortActivator {
 public:
  /// Counts a user of an endpoint's port in or out, with the process's activators. [any but real-time, with
  /// the subsystem's lock held]
  /// \param iID     the identity of the endpoint that does the I/O
  /// \param iPortP  its port; used by the first call for an identity, later ones act on the port of the first
  /// \param iOn     in, or out
  static void Apply(const Mlox_InputID& iID, IDirectMusicPort* iPortP, bool iOn);

  /// Takes a reference on the port and deactivates it, so that the first user finds it in a known state. A
  /// port that refuses is let go. [any but real-time]
  /// \param iThreads  makes the mutex; the tests' own
  Mlox_PortActivator(const Mlox_InputID& iID, IDirectMusicPort* iPortP, IPSModule_Thread& iThreads);
  Mlox_PortActivator(const Mlox_PortActivator&) = delete;
  Mlox_PortActivator& operator=(const Mlox_PortActivator&) = delete;
  ~Mlox_PortActivator();

  /// Counts a user in or out. [any but real-time]
  ///
  /// Counting out at 0 returns with the mutex locked. That is settled, and nothing in this library counts out
  /// at 0: whoever does has more users out than in, and stops at the next call from another thread.
  void Count(bool iOn);

  /// The identity that this counts for.
  const Mlox_InputID& GetID() const { return mID; }
  /// The users now.
  std::int32_t GetCount() const { return mActivationCount; }
  /// The port, null after a failed activation. No reference is added.
  IDirectMusicPort* GetPort() const { return mPort; }

 private:
  void Activate(bool iOn);

  IDirectMusicPort* mPort;
  Mlox_InputID mID;
  std::int32_t mActivationCount = 0;
  std::unique_ptr<PSMutex> mMutex;
};
