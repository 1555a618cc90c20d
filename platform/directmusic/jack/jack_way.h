// SPDX-License-Identifier: MIT
/// \file
/// One connection to a port of a JACK server, as the session keeps it.
#pragma once

#include <jack/types.h>

#include <atomic>
#include <string>

#include "platform/directmusic/jack/jack_inputlane.h"
#include "platform/directmusic/jack/jack_outputlane.h"

/// A port of ours and the one port of somebody else's that it is connected to. Lives as long as anybody holds
/// it; the session's thread alone touches what is not marked.
struct Platform_JackWay {
  virtual ~Platform_JackWay() = default;
  /// Moves what this cycle holds. [process callback] Wait-free.
  virtual void Process(void* iBufferP, const Platform_JackCycle& iCycle) noexcept = 0;
  virtual bool IsInput() const = 0;
  /// The connection was made just now. [session's thread]
  virtual void WasConnected() {}
  /// What was accepted and not played. [any thread, after the way has gone]
  virtual std::uint64_t Lost() const = 0;

  jack_port_t* mPortP = nullptr;  ///< [process callback] reads it
  std::string mOurName;
  std::string mTarget;
  std::string mHandle;
  /// The other port, or the server, is not there any more; both stay so. The callback is silenced first and
  /// has ended when senders see that the port has gone, so that what was lost can be counted. [any thread]
  std::atomic<bool> mIsSilent{false};
  std::atomic<bool> mIsGone{false};
};

/// A way to one of our readers.
struct Platform_JackInputWay final : Platform_JackWay {
  void Process(void* iBufferP, const Platform_JackCycle& iCycle) noexcept override;
  bool IsInput() const override { return true; }
  std::uint64_t Lost() const override { return 0; }
  Platform_JackInputLane mLane;
};

/// A way from one of our senders.
struct Platform_JackOutputWay final : Platform_JackWay {
  /// Holds back what is sent until the server has taken the connection over, with one of its next cycles.
  void WasConnected() override { mCyclesToWait.store(kCyclesToConnect); }
  void Process(void* iBufferP, const Platform_JackCycle& iCycle) noexcept override;
  bool IsInput() const override { return false; }
  std::uint64_t Lost() const override { return mLane.Unplayed(); }
  Platform_JackOutputLane mLane;

 private:
  static constexpr int kCyclesToConnect = 2;
  bool IsHeldBack() noexcept;

  std::atomic<int> mCyclesToWait{kCyclesToConnect};
};
