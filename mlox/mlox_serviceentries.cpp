// SPDX-License-Identifier: MIT
#include "mlox/mlox_serviceentries.h"

#include "cmn/cmn_assert.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_serviceentries";

bool HasEntry(int iServiceIndex) {
  return CMN_ASSERT_FROM(kAssertSource, iServiceIndex >= 1 && iServiceIndex < Mlox_cMaxInstalledServices,
                         "iServiceIndex >= 1 && iServiceIndex < Mlox_cMaxInstalledServices");
}

}  // namespace

void* Mlox_ServiceEntries::Get(int iServiceIndex) const {
  return HasEntry(iServiceIndex) ? mEntries[iServiceIndex] : nullptr;
}

void Mlox_ServiceEntries::Set(int iServiceIndex, void* iEntryP) {
  if (HasEntry(iServiceIndex)) mEntries[iServiceIndex] = iEntryP;
}
