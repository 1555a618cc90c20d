// SPDX-License-Identifier: MIT
/// \file
/// What the library asks of the application.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"
#include "cmn/time_types.h"

/// Implemented by the application, called by the library. The order of the operations is a promise to
/// binaries: operations are only ever taken from the reserved slots.
class MLOX_EXPORT Mdi_AppCallback {
 public:
  virtual ~Mdi_AppCallback() = default;

  virtual void ReservedOperation2() {}
  virtual void ReservedOperation3() {}
  virtual void ReservedOperation4() {}
  virtual void ReservedOperation5() {}
  virtual void ReservedOperation6() {}
  virtual void ReservedOperation7() {}

  /// [writer] Tells when a sample is due. Operation 8.
  /// \param iSampleTime  the sample time of a time stamp
  /// \return the Sys_Clock time, in microseconds, at which that sample is due
  virtual std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) = 0;

  virtual void ReservedOperation9() {}

  /// [main] Asks the application to stop its own playback; Mlox_Manager::StopPlayback calls it after the
  /// services have stopped theirs. Operation 10.
  virtual void StopPlayback() = 0;
};
