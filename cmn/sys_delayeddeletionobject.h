// SPDX-License-Identifier: MIT
/// \file
/// Base of objects whose destruction waits until no thread can still be inside them.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_export.h"
#include "cmn/ps_atomicstructures.h"

class Sys_ThreadSafeRefCountObject;

/// Base of objects whose destruction waits until no thread can still be inside them.
/// Sys_DelayedDeletion::Retire puts one on the list; from then on the list owns it.
class MLOX_EXPORT Sys_DelayedDeletionObject : public SPSAtomicElementBase {
 public:
  virtual ~Sys_DelayedDeletionObject();

 protected:
  /// iCountedP: this same object's count, for objects that references may call back from the list; null
  /// otherwise.
  explicit Sys_DelayedDeletionObject(const Sys_ThreadSafeRefCountObject* iCountedP = nullptr) noexcept
      : mCountedP(iCountedP) {}
  /// A copy is on no list. iCountedP: as above, for the copy.
  Sys_DelayedDeletionObject(const Sys_DelayedDeletionObject& iOther,
                            const Sys_ThreadSafeRefCountObject* iCountedP) noexcept
      : SPSAtomicElementBase(iOther), mCountedP(iCountedP) {}
  Sys_DelayedDeletionObject(const Sys_DelayedDeletionObject&) = delete;
  /// Assigning leaves the places of both alone.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is assigned
  Sys_DelayedDeletionObject& operator=(const Sys_DelayedDeletionObject&) noexcept { return *this; }

 private:
  friend class Sys_DelayedDeletion;

  bool HasReferences() const noexcept;

  // A pointer instead of a virtual question: an override would take a place in the tables of the classes
  // below, whose order is frozen.
  const Sys_ThreadSafeRefCountObject* mCountedP;
  std::atomic<bool> mIsListed{false};
  mutable std::atomic<std::uint64_t> mRetireEpoch{0};  // only ever rises
  std::atomic<std::int64_t> mRetireTime{0};
};
