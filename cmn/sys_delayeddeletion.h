// SPDX-License-Identifier: MIT
/// \file
/// Epochs that writers enter, and the pass that deletes what no writer can hold any more.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "cmn/cmn_export.h"

class Sys_DelayedDeletionObject;

/// Stands around the use of a plain pointer to an object of delayed deletion: entered before the pointer is
/// read. What is retired while the guard stands is not deleted before it falls. Guards nest. [any] Wait-free,
/// no allocation.
///
/// A count inside the object would prove nothing: the object may be gone between the reading of the pointer
/// and the counting.
class MLOX_EXPORT Sys_EpochGuard {
 public:
  Sys_EpochGuard() noexcept;
  ~Sys_EpochGuard();
  Sys_EpochGuard(const Sys_EpochGuard&) = delete;
  Sys_EpochGuard& operator=(const Sys_EpochGuard&) = delete;
};

/// One use of an object that another thread may take away: enters an epoch, then reads the pointer, once.
/// What it has found stays until it goes, also if the pointer names something else by then. [any] Wait-free.
///
/// `Shared` is what holds the pointer and gives it by `get()`, such as a `Cmn_AliasedRefCountPtr` whose
/// stored pointer is atomic.
template <class Shared>
class Sys_EpochPointer {
 public:
  /// Enters and reads.
  explicit Sys_EpochPointer(const Shared& iShared) noexcept : mPointer(iShared.get()) {}
  Sys_EpochPointer(const Sys_EpochPointer&) = delete;
  Sys_EpochPointer& operator=(const Sys_EpochPointer&) = delete;

  /// The object that was found. There must be one.
  auto operator->() const noexcept { return mPointer; }
  /// Whether an object was found.
  explicit operator bool() const noexcept { return mPointer != nullptr; }

 private:
  // First: what was read before the epoch was entered may be gone.
  Sys_EpochGuard mGuard;
  decltype(std::declval<const Shared&>().get()) mPointer;
};

/// The list of retired objects and the pass over it.
class MLOX_EXPORT Sys_DelayedDeletion {
 public:
  /// How old a retired object is at least when it is deleted, in microseconds.
  static constexpr std::int64_t kMinimumAge = 1000000;

  /// Lists an object for deletion; the list owns it from now on. An object that is listed already stays so,
  /// and its age begins anew. [any] Wait-free.
  static void Retire(Sys_DelayedDeletionObject* iObjectP) noexcept;

  /// Notes on an object, before its count goes down, that the calling thread, which stands in a guard, may be
  /// inside it from now on until the guard falls. [any] Lock-free.
  static void NoteRelease(const Sys_DelayedDeletionObject& iObject) noexcept;

  /// Deletes each listed object that is old enough (Sys_Clock), that no guard entered before its retirement
  /// can hold, and that has no references again; what has some leaves the list, at the latest when it would
  /// be deleted. Costs nothing for what can't have become due since the last pass. Returns how many it
  /// deleted. [main: one thread at a time; a call from inside a destructor that it runs does nothing and
  /// returns 0]
  static std::size_t RunPass();

  /// Objects listed now. [any]
  static std::size_t PendingCount() noexcept;
};
