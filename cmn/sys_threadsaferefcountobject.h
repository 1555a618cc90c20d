// SPDX-License-Identifier: MIT
/// \file
/// Base of counted objects that threads share.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_export.h"

/// Base of counted objects that threads share. The count starts at 0; the thread whose release takes it to 0
/// starts the deletion. Every change of the count is an atomic read-modify-write with full ordering.
///
/// Table: the destructor, then RefCountDelete. Frozen: classes of the binary interface stand behind it.
class MLOX_EXPORT Sys_ThreadSafeRefCountObject {
 public:
  virtual ~Sys_ThreadSafeRefCountObject();

  /// Adds a reference. [any] Wait-free.
  void AddReference() const noexcept { mRefCount.fetch_add(1); }
  /// Drops a reference; the last one calls SmartDeletion. [any]
  void RemoveReference() const {
    if (mRefCount.fetch_sub(1) == 1) SmartDeletion();
  }
  /// References held now; stale as soon as it is read. [any]
  std::int32_t GetRefCount() const noexcept { return mRefCount.load(); }

  /// Ends the object in the way of its class. Called when the count has reached 0.
  void SmartDeletion() const;

 protected:
  Sys_ThreadSafeRefCountObject() noexcept = default;
  /// A copy starts with a count of 0.
  Sys_ThreadSafeRefCountObject(const Sys_ThreadSafeRefCountObject&) noexcept {}
  /// Assigning leaves both counts alone.
  Sys_ThreadSafeRefCountObject& operator=(const Sys_ThreadSafeRefCountObject&) noexcept { return *this; }

  /// Deletes the object. Subclasses may put it off.
  virtual void RefCountDelete();

 private:
  mutable std::atomic<std::int32_t> mRefCount{0};
};
