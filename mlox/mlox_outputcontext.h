// SPDX-License-Identifier: MIT
/// \file
/// The stream of events that a write belongs to.
#pragma once

#include <cstdint>

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"
#include "mlox/mlox_outputcontextbatchdeliveryentry.h"
#include "mlox/mlox_serviceentries.h"

/// The stream of events that a write belongs to: it keeps writers apart whose time stamps are not to be
/// mixed. It also collects batches. Mlox_Manager makes contexts and keeps them for the rest of the process.
///
/// Batches nest; only the outermost flush delivers. With the startup option "DisableBatchDelivery" nothing is
/// ever collected. The batch operations of a context belong to one thread at a time: that of the writer that
/// owns the context.
class MLOX_EXPORT Mlox_OutputContext {
 public:
  Mlox_OutputContext() = default;

  /// The copy has the same entries of services and the same count, and an empty list.
  Mlox_OutputContext(const Mlox_OutputContext& iOther);
  Mlox_OutputContext(Mlox_OutputContext&& iOther) noexcept;

  /// Takes over the entries of services and the count; the list stays as it is.
  Mlox_OutputContext& operator=(const Mlox_OutputContext& iOther);
  Mlox_OutputContext& operator=(Mlox_OutputContext&& iOther) noexcept;

  /// Frees the entries that are left from the list; it deletes none.
  ~Mlox_OutputContext() = default;

  /// [writer] Opens a batch.
  void StartAccumulatingBatchDelivery();

  /// [writer] Closes a batch; the outermost close delivers, oldest first, what was collected. A surplus close
  /// is reported and leaves a count below 0, which the next start only brings back to 0.
  void FlushBatchDelivery();

  /// [writer] Whether a batch is open. Ask before you add.
  bool IsAccumulatingForBatchDelivery() const { return mBatchDeliveryCount > 0; }

  /// [writer] Appends an entry, whether a batch is open or not: it then stays until a later flush.
  /// \param iEntryP  not owned; null is reported and ignored
  void AddBatchDeliveryEntry(Mlox_OutputContextBatchDeliveryEntry* iEntryP);

  /// [main] For services: what a service keeps for this context. An index outside 1 to 3 is reported: null.
  void* GetServiceEntry(int iServiceIndex) const;

  /// [main] For services: keeps a record for this context. An index outside 1 to 3 is reported: no change.
  void SetServiceEntry(int iServiceIndex, void* iEntryP);

 private:
  void CopyEntriesAndCount(const Mlox_OutputContext& iOther);

  Mlox_ServiceEntries mServiceEntries;
  std::int32_t mBatchDeliveryCount = 0;
  Cmn_DoublyLinkedList<Mlox_OutputContextBatchDeliveryEntry> mBatchDeliveryEntries;
};
