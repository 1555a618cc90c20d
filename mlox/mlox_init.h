// SPDX-License-Identifier: MIT
/// \file
/// The bracket around an application's use of the library.
#pragma once

#include "cmn/cmn_export.h"

/// Two calls that bracket the use of the library. They make and free nothing: the flag is all they keep.
class MLOX_EXPORT Mlox_Init {
 public:
  /// [main] Marks the library as in use. Calling it twice is harmless.
  static void Init();

  /// [main] Marks the library as no longer in use. The manager outlives this call.
  static void Free();

 private:
  friend struct Test_MloxInitAccess;

  static bool sIsInitialized;
};
