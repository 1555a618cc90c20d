// SPDX-License-Identifier: MIT
/// \file
/// What all outputs have in common.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_export.h"
#include "cmn/sys_delayeddeleterefcntobj.h"
#include "cmn/time_types.h"
#include "mlox/mlox_awrite.h"

class Mdi_AppCallback;
class Mdie_ControllerScreen;

/// What all outputs have in common: the count, and the offsets that the application sets. The last release
/// hands the object to delayed deletion, so that a thread inside a write doesn't lose it.
///
/// The three writes of Mlox_AWrite are not declared again here: that would put them into this class's own
/// table in front of the operations below it, and the order of that table is a promise to binaries.
///
/// The offsets are atomic, each by itself: a writer that meets a setter uses the old value for one event.
class MLOX_EXPORT Mlox_BasicOutput : public Sys_DelayedDeleteRefCntObj, public Mlox_AWrite {
 public:
  ~Mlox_BasicOutput() override;

  /// [any]; of hardware outputs [any but real-time]: they ask the port's clocks. How many samples ahead of
  /// its due time an event must be written. \param iSampleRate  in hertz
  virtual int GetTimestampedPreSendSamples(double iSampleRate);

  /// [any] The delay, in samples, that the output adds to all timed events to take out jitter.
  /// \param iSampleRate  in hertz
  virtual Time_SampleLength GetZeroJitterDelay(double iSampleRate);

  /// [any] Whether the output takes events ahead of time and delivers them by their stamps, as opposed to
  /// sending on arrival.
  virtual bool IsTimestamped();

  /// [any] The application's delay setting: kept for the application, not used by the library.
  virtual int GetDelayOffset();

  /// [main] Stores the application's delay setting.
  virtual void SetDelayOffset(int iDelayOffset);

  /// [main] Stores the device's part of the beat clock offset, in samples.
  virtual void SetMDCBeatClockOffset(Time_SampleLength iOffset);

  /// [main] Stores the user's part of the beat clock offset, in samples.
  virtual void SetUserBeatClockOffset(Time_SampleLength iOffset);

  /// [any] Both parts together, in samples. The sum of two extremes wraps.
  virtual Time_SampleLength GetTotalBeatClockOffset();

  /// [any] The user's part, in samples.
  virtual Time_SampleLength GetUserBeatClockOffset();

  /// [any] Null in this library: the member belongs to the application.
  Mdie_ControllerScreen* GetControllerScreen() const { return mControllerScreenP; }

 protected:
  explicit Mlox_BasicOutput(Mdi_AppCallback* iAppCallbackP);

  Mlox_BasicOutput(const Mlox_BasicOutput&) = delete;
  Mlox_BasicOutput& operator=(const Mlox_BasicOutput&) = delete;

  /// Not owned; null if the output was made without one.
  Mdi_AppCallback* GetAppCallback() const { return mAppCallbackP; }

 private:
  std::atomic<std::int32_t> mDelayOffset{0};
  std::atomic<Time_SampleLength> mMDCBeatClockOffset;
  std::atomic<Time_SampleLength> mUserBeatClockOffset;
  Mdi_AppCallback* mAppCallbackP;
  Mdie_ControllerScreen* mControllerScreenP = nullptr;
};
