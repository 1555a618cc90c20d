// SPDX-License-Identifier: MIT
/// \file
/// The merge of stream heads behind Mlox_DM_SortedEventQueue.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

#include "cmn/cmn_export.h"
#include "cmn/ps_atomicstructures.h"
#include "mlox/mlox_directmidi/mlox_dm_sortedeventqueue.h"

/// A linear pass over the heads: with three streams cheaper than a heap or a tree, and nothing that writers
/// and the reader would have to share.
///
/// An element is in at most one place: in a FIFO, in a head, or out of here.
class MLOX_EXPORT Mlox_DM_SortedEventQueueImpl final : public Mlox_DM_SortedEventQueue {
 public:
  /// [main] \throws std::length_error "vector<T> too long". \throws std::bad_alloc also when a stream can't
  /// be had.
  explicit Mlox_DM_SortedEventQueueImpl(std::size_t iQueueCount);

  /// Reports each stream that still holds something: nobody can free that from here on. Heads aren't looked
  /// at.
  ~Mlox_DM_SortedEventQueueImpl() override;

  // These two carry no mark of their own. The pull that calls them does; but a clear drains through them as
  // well, off the audio thread, where a report may be printed.
  Mlox_DM_QueuedEvent* PeekNextEvent() override;
  bool RemoveHeadEvent(Mlox_DM_QueuedEvent* iEventP) override;
  void AddEvent(Mlox_DM_QueuedEvent* inElement, int32_t inQueueIndex) override;
  int32_t ClearEvents() override;

  /// Puts what has arrived in each stream in the reader's order without taking anything out. While a stream's
  /// head waits nobody pops that stream, and without this one pop would later turn round whatever has piled
  /// up behind the head. Not virtual: the order of the operations above is a promise to binaries. [audio] The
  /// reader, once a block. Wait-free; the work is bounded by what has arrived since the last call.
  void TakeIn();

 private:
  // A cache line each: writers read the table of the queues, and must not wait for a line that the reader
  // writes with every event.
  struct alignas(64) Head {
    std::atomic<Mlox_DM_QueuedEvent*> mEventP{nullptr};
  };

  Mlox_DM_QueuedEvent* RefillHead(std::size_t iIndex);

  // Never change size. The heads are the reader's; ClearEvents alone empties them from another thread,
  // without a lock, and so they are atomic. The reader looks at them relaxed: what an event holds was handed
  // over to it by the FIFO. It stores one with release, and a clear takes it away with acquire: that one asks
  // the event what it holds.
  std::vector<std::unique_ptr<SPSAtomicQueue>> mEventQueues;
  std::vector<Head> mQueueHeads;
};
