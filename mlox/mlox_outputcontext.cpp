// SPDX-License-Identifier: MIT
#include "mlox/mlox_outputcontext.h"

#include "cmn/cmn_assert.h"
#include "cmn/spsstartupoption.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_outputcontext";

// One for the whole process, looked up when the library is loaded.
const SPSStartupOptionBool DisableBatchDelivery("DisableBatchDelivery", false, SPSStartupOption_cVisible);

}  // namespace

// An entry stands in one list at a time, so that copies and moves leave the entries where they are.

Mlox_OutputContext::Mlox_OutputContext(const Mlox_OutputContext& iOther) { CopyEntriesAndCount(iOther); }

Mlox_OutputContext::Mlox_OutputContext(Mlox_OutputContext&& iOther) noexcept { CopyEntriesAndCount(iOther); }

Mlox_OutputContext& Mlox_OutputContext::operator=(const Mlox_OutputContext& iOther) {
  if (this == &iOther) return *this;
  CopyEntriesAndCount(iOther);
  return *this;
}

Mlox_OutputContext& Mlox_OutputContext::operator=(Mlox_OutputContext&& iOther) noexcept {
  CopyEntriesAndCount(iOther);
  return *this;
}

void Mlox_OutputContext::CopyEntriesAndCount(const Mlox_OutputContext& iOther) {
  if (this == &iOther) return;
  mServiceEntries = iOther.mServiceEntries;
  mBatchDeliveryCount = iOther.mBatchDeliveryCount;
}

void Mlox_OutputContext::StartAccumulatingBatchDelivery() {
  if (DisableBatchDelivery) return;
  ++mBatchDeliveryCount;
}

void Mlox_OutputContext::FlushBatchDelivery() {
  if (DisableBatchDelivery) return;
  CMN_ASSERT_FROM(kAssertSource, mBatchDeliveryCount > 0, "mBatchDeliveryCount > 0");
  --mBatchDeliveryCount;
  // Not "above 0": a surplus close leaves -1 and delivers nothing.
  if (mBatchDeliveryCount != 0) return;
  // Each entry is off the list before it is called, because it may delete itself; what it adds meanwhile is
  // delivered by this same loop.
  while (Mlox_OutputContextBatchDeliveryEntry* entryP = mBatchDeliveryEntries.GetFirst()) {
    entryP->RemoveFromList();
    entryP->DeliverBatchEntry();
  }
}

void Mlox_OutputContext::AddBatchDeliveryEntry(Mlox_OutputContextBatchDeliveryEntry* iEntryP) {
  if (!CMN_ASSERT_FROM(kAssertSource, iEntryP, "iEntryP")) return;
  mBatchDeliveryEntries.AddToTail(iEntryP);
}

void* Mlox_OutputContext::GetServiceEntry(int iServiceIndex) const {
  return mServiceEntries.Get(iServiceIndex);
}

void Mlox_OutputContext::SetServiceEntry(int iServiceIndex, void* iEntryP) {
  mServiceEntries.Set(iServiceIndex, iEntryP);
}
