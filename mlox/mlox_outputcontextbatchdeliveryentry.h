// SPDX-License-Identifier: MIT
/// \file
/// What a writer collects on an output context.
#pragma once

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"

/// What a writer collects on an output context while a batch is open. Writers derive from it.
class MLOX_EXPORT Mlox_OutputContextBatchDeliveryEntry
    : public Cmn_DoublyLinkedList_Link<Mlox_OutputContextBatchDeliveryEntry> {
 public:
  virtual ~Mlox_OutputContextBatchDeliveryEntry() = default;

  /// [writer] Delivers what the entry stands for and disposes of the entry, which is off the list by then.
  virtual void DeliverBatchEntry() = 0;
};
