// SPDX-License-Identifier: MIT
/// \file
/// What an event object stands on when its descriptor is shared with others.
#pragma once

#include <atomic>
#include <mutex>
#include <span>

#include "platform/directmusic/windows_types.h"

#if !defined(_WIN32)

/// Something that may wait for one reader behind a descriptor that tells only that something waits for
/// somebody. The thread that waits takes everything, and each source says whether it was meant.
class Platform_EventSource {
 public:
  using Waited = std::span<Platform_EventSource* const>;

  Platform_EventSource() = default;
  virtual ~Platform_EventSource() = default;
  Platform_EventSource(const Platform_EventSource&) = delete;
  Platform_EventSource& operator=(const Platform_EventSource&) = delete;

  /// Becomes readable when something comes for any source that shares it. [any thread]
  virtual int Descriptor() const = 0;
  /// Takes all that is there, for all who share the descriptor. Called by a waiting thread, with no lock
  /// held, each time the descriptor becomes readable. Signals each source for which something came and that
  /// isn't among iWaited: these the caller looks at itself. [any thread]
  virtual void Collect(Waited iWaited) = 0;
  /// Whether something that was taken waits to be read. [any thread]
  virtual bool IsReady() const = 0;

  /// Sets the event that stands on this source, if one does. [any thread]
  void Signal() const;
  /// For Platform_SetEventSource. Null: none any more. Waits for a signal that is under way to the event
  /// before, so that none follows the return. [any thread]
  void SetEventHandle(HANDLE iEvent);

 private:
  mutable std::mutex mSignalling;  // innermost; held over a signal
  std::atomic<HANDLE> mEvent{nullptr};
};

#endif
