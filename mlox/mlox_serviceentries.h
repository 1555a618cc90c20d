// SPDX-License-Identifier: MIT
/// \file
/// What each service keeps for one object of the core.
#pragma once

#include "mlox/mlox_maxinstalledservices.h"

/// One opaque pointer for each service, all null at first, indexed by the service's own index: those count
/// from 1, so entry 0 is never used. A copy has the same pointers. Nothing here is owned.
///
/// [main]
class Mlox_ServiceEntries {
 public:
  /// An index outside 1 to 3, as that of a service that isn't installed yet or of a fourth one, is reported:
  /// null.
  void* Get(int iServiceIndex) const;

  /// An index outside 1 to 3 is reported: no change.
  void Set(int iServiceIndex, void* iEntryP);

 private:
  void* mEntries[Mlox_cMaxInstalledServices] = {};
};
