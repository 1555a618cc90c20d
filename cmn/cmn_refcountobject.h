// SPDX-License-Identifier: MIT
/// \file
/// Base of reference-counted objects whose references may be taken and dropped on any thread.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_export.h"

/// Counts its references and deletes itself with the last one.
///
/// The count starts at 0, so that an object belongs to nobody until the first `Cmn_AliasedRefCountPtr` takes
/// it. Counting is atomic, since a service drops its references on whatever thread a change is reported by;
/// one pointer that two threads assign still needs something else. The last reference deletes at once, which
/// is nothing for a real-time thread: objects that such threads share derive from
/// `Sys_DelayedDeleteRefCntObj`.
class MLOX_EXPORT Cmn_RefCountObject {
 public:
  /// Adds one reference. Const, because pointers to const objects hold references as well. [any]
  void AddReference() const { mReferenceCount.fetch_add(1, std::memory_order_relaxed); }

  /// Drops one reference; the last one deletes the object through its virtual destructor. [any but real-time]
  void RemoveReference() const {
    // Release: what this holder did is done before the object goes. Acquire: whoever deletes sees all of it.
    if (mReferenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 protected:
  Cmn_RefCountObject() = default;
  /// References point to an object, not to its value: the copy starts with none.
  Cmn_RefCountObject(const Cmn_RefCountObject&) {}
  /// Both counts stay as they are, for the same reason.
  Cmn_RefCountObject& operator=(const Cmn_RefCountObject&) { return *this; }
  virtual ~Cmn_RefCountObject();

 private:
  mutable std::atomic<std::int32_t> mReferenceCount{0};
};
