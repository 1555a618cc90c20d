// SPDX-License-Identifier: MIT
/// \file
/// The way in which outputs, devices, inputs and the receive code reach their service.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"

class Mlox_DirectMusic_Service;

/// What the hardware side asks of its service, in a block that outlives every service: writers, sleepers and
/// the receive thread may be in the middle of a question while the service goes. There is one block.
///
/// `sService` points to it while a service exists, so the usual question is
/// `if (auto* handleP = sService.load()) ... handleP->IsSuspended()`. A pointer read just before the service
/// went stays good; the block then answers as it does without a service.
class Mlox_DirectMusic_ServiceHandle {
 public:
  /// The block; never destroyed. [any]
  static Mlox_DirectMusic_ServiceHandle& Singleton();

  // ---- questions; [any], wait-free but for GetStudio ----

  /// Whether the service is suspended: Mlox_Service's flag.
  bool IsSuspended() const { return mIsSuspended.load(); }
  /// The studio; empty when there is none. [any but real-time]
  std::shared_ptr<IDirectMusicStudio> GetStudio() const;
  /// The delay that takes out jitter, in samples; 0 without a service.
  int GetZeroJitterDelay() const { return mZeroJitterDelay.load(); }
  /// Asks long messages to stop, or lets them be sent again.
  void SetStopPlaybackFlag(bool iFlag) {
    // Every event takes the stop back: writers that find nothing to change don't take the line from each
    // other.
    if (mStopPlayback.load() != iFlag) mStopPlayback.store(iFlag);
  }
  /// Whether a stop was asked for. True without a service, so that who sleeps between two pieces of a long
  /// message gives up at the next.
  bool IsStopPlaybackFlagSet() const;

  // ---- for the service ----

  /// A service has come to life: the flags become those of a new one (not suspended, stop set, no delay), and
  /// `sService` is set. False, with nothing changed, while another service is attached. [main]
  bool Attach(Mlox_DirectMusic_Service* iServiceP);
  /// The service goes: `sService` becomes null, the studio is dropped. [main]
  void Detach();
  /// The attached service. [any]
  Mlox_DirectMusic_Service* GetService() const { return mServiceP.load(); }
  /// [main]
  void SetStudio(std::shared_ptr<IDirectMusicStudio> iStudio);
  /// [main]
  void SetZeroJitterDelay(int iDelay) { mZeroJitterDelay.store(iDelay); }
  /// The flag that the service's Suspend and Resume change. [any]
  std::atomic<bool>& SuspendedFlag() { return mIsSuspended; }

 private:
  Mlox_DirectMusic_ServiceHandle() = default;
  ~Mlox_DirectMusic_ServiceHandle() = default;

  std::atomic<Mlox_DirectMusic_Service*> mServiceP{nullptr};
  std::atomic<bool> mIsSuspended{false};
  std::atomic<bool> mStopPlayback{true};
  std::atomic<int> mZeroJitterDelay{0};
  mutable std::mutex mStudioMutex;
  std::shared_ptr<IDirectMusicStudio> mStudio;  // under mStudioMutex
};

/// The handle of the one hardware service; null while there is none.
extern std::atomic<Mlox_DirectMusic_ServiceHandle*> sService;
