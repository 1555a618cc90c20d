// SPDX-License-Identifier: MIT
/// \file
/// When an event is due: as soon as possible, or at a sample.
#pragma once

#include "cmn/cmn_assert.h"
#include "cmn/cmn_export.h"
#include "cmn/time_types.h"

/// Source text of the assertions of `Mdie_Timestamp`. It names `mlox` and not this folder; tools that collect
/// reports know it by that name.
inline constexpr char kMdie_TimestampAssertSource[] = "mlox/mdie_timestamp";

/// A plain value: either "as soon as possible" or a typed time, within this library a sample count.
///
/// Threads: [any], as for any value. Real-time safe.
class MLOX_EXPORT Mdie_Timestamp {
 public:
  /// As soon as possible: immediate, with a time of zero.
  Mdie_Timestamp() : mIsImmediate(true), mTime(Time_Sample(0)) {}
  /// Due at a sample.
  explicit Mdie_Timestamp(const Time_Sample& iSample) : mIsImmediate(false), mTime(iSample) {}

  /// True for "as soon as possible"; the time then means nothing.
  bool IsImmediate() const { return mIsImmediate; }

  /// The time. Asking an immediate stamp is reported, and gives the stored value anyway.
  const Time_Typed& GetTime() const {
    CMN_ASSERT_FROM(kMdie_TimestampAssertSource, !mIsImmediate, "!mIsImmediate");
    return mTime;
  }

  /// The time as a sample; reports as `GetTime` does.
  Time_Sample AsSample() const { return GetTime().AsSample(); }

 private:
  bool mIsImmediate;
  Time_Typed mTime;
};
static_assert(sizeof(Mdie_Timestamp) <= 24);

/// Orders stamps by their signed sample values. Immediate stamps must be set apart first: each one compared
/// is reported, and compares by its stored value.
inline bool operator<(const Mdie_Timestamp& iLeft, const Mdie_Timestamp& iRight) {
  const Time_Sample left = iLeft.AsSample();  // the left one is asked, and reported, first
  return left.AsInt64() < iRight.AsSample().AsInt64();
}
