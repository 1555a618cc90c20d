// SPDX-License-Identifier: MIT
/// \file
/// The lock-free FIFO that all traffic between writers and a reader goes through, and the module that makes
/// it.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_export.h"

template <class Seam>
class PSAtomicFifo;

/// What an element of a FIFO derives from: the link lies in the element, so that no operation allocates.
/// While the element is queued both words belong to the queue. Copying gives a free link, assigning leaves
/// the link alone.
class SPSAtomicElementBase {
 public:
  SPSAtomicElementBase() noexcept = default;
  SPSAtomicElementBase(const SPSAtomicElementBase&) noexcept {}
  SPSAtomicElementBase& operator=(const SPSAtomicElementBase&) noexcept { return *this; }

  /// The element behind this one in a chain that TakeAll returned; null at its end. Only for the chain's
  /// owner.
  SPSAtomicElementBase* GetNextInChain() const noexcept { return mNextP.load(std::memory_order_relaxed); }

 protected:
  ~SPSAtomicElementBase() = default;

 private:
  template <class Seam>
  friend class PSAtomicFifo;

  std::atomic<SPSAtomicElementBase*> mNextP{nullptr};
  std::uint64_t mTicket = 0;
};
static_assert(sizeof(SPSAtomicElementBase) == 16, "a queued event has no room for more");

/// A FIFO of elements that it doesn't own, with any number of writers and one reader. No operation allocates,
/// locks or waits. If one Push has returned before another begins, its element comes out first; an element
/// whose Push has returned is found by the next Pop, whatever other writers are doing, save for the one case
/// told at Push.
class SPSAtomicQueue {
 public:
  /// Ends the queue. Elements still in it are left as they are. Nobody may be inside another operation.
  virtual ~SPSAtomicQueue() = default;

  /// Appends iElementP, which must be in no queue, not null. [any, several at once] Wait-free. A finished
  /// push can be hidden from the reader for a while only if 64 other writers are stopped inside Push at the
  /// same moment.
  virtual void Push(SPSAtomicElementBase* iElementP) noexcept = 0;

  /// Takes out the oldest element, or null if there is none. [reader: one thread at a time] Wait-free; the
  /// work of one call is bounded by what has arrived since the last Pop or TakeIn that emptied the intake.
  virtual SPSAtomicElementBase* Pop() noexcept = 0;

  /// Empties the queue and returns what it held as a chain, oldest first, or null. It may meet a Pop, TakeIn
  /// or another TakeAll: each element goes to one of them or stays, and none is lost. [any] Wait-free.
  virtual SPSAtomicElementBase* TakeAll() noexcept = 0;

  /// Puts what has arrived in order without taking anything out, so that a later Pop has that much less to
  /// do. A reader that calls it once a block never pays for more than one block's arrivals at once. [reader]
  /// Wait-free.
  virtual void TakeIn() noexcept = 0;
};

/// Makes lock-free structures.
class IPSModule_AtomicStructures {
 public:
  /// The revision of this interface: 1.
  virtual int GetRevision() const noexcept = 0;
  /// A new empty queue that the caller owns and deletes, or null without memory. Both arguments are reserved:
  /// 0.
  virtual SPSAtomicQueue* NewFifoQueue(int iReserved1, int iReserved2) noexcept = 0;

 protected:
  ~IPSModule_AtomicStructures() = default;
};

/// The one module. It works during static initialisation and until the process is gone.
extern MLOX_EXPORT IPSModule_AtomicStructures* const gPSAtomicStructures;
