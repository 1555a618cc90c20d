// SPDX-License-Identifier: MIT
/// \file
/// The time-stamped half of a buffered delivery.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"

struct Mlox_DM_QueuedEvent;

/// Merges streams whose events arrive in order of time: which queued event is the earliest of all streams?
///
/// One lock-free FIFO a stream; nothing inside a stream is ever reordered, and only the heads are compared.
/// The queue moves pointers: its owner allocates, fills and frees the events. One thread at a time is the
/// reader.
class MLOX_EXPORT Mlox_DM_SortedEventQueue {
 public:
  virtual ~Mlox_DM_SortedEventQueue() = default;

  /// The earliest event of all streams, null when there is none. It stays where it is: a second call gives it
  /// again unless an earlier one has arrived meanwhile. Equal times: the lowest stream first, within it the
  /// oldest write. [audio] The reader. Wait-free.
  virtual Mlox_DM_QueuedEvent* PeekNextEvent() = 0;

  /// Takes an event that PeekNextEvent returned out of the merge; the caller then holds it alone. False,
  /// after a report, when it isn't (or, by a ClearEvents meanwhile, no longer) waiting at a head. [audio] The
  /// reader. Wait-free.
  virtual bool RemoveHeadEvent(Mlox_DM_QueuedEvent* iEventP) = 0;

  /// Appends to a stream. A null event or a stream that doesn't exist is reported, and nothing is queued.
  /// [any] Any number of writers at once. Lock-free; never allocates.
  virtual void AddEvent(Mlox_DM_QueuedEvent* inElement, int32_t inQueueIndex) = 0;

  /// Forgets all heads and empties all streams. The events are given back to nobody: they stay allocated, and
  /// the blocks of long sysexes among them are counted as dropped. Returns how many events they were.
  /// [any] Also while the reader is inside: PeekNextEvent then may still return an event dropped here, and
  /// what the reader is just putting in order stays.
  virtual int32_t ClearEvents() = 0;
};

/// Makes a queue of iQueueCount streams, at least 1. The caller owns it. Null when the heap gives nothing.
/// \throws std::length_error "vector<T> too long" when the count is negative or no vector can be so long.
/// [main]
MLOX_EXPORT Mlox_DM_SortedEventQueue* NewSortedEventQueue(int32_t iQueueCount);
