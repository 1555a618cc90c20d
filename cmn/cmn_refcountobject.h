// SPDX-License-Identifier: MIT
/// \file
/// Base of reference-counted objects that are not shared across threads at the same moment.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"

/// Counts its references and deletes itself with the last one.
///
/// The count starts at 0, so that an object belongs to nobody until the first `Cmn_AliasedRefCountPtr` takes
/// it. It is a plain number: all references to one object must be taken and dropped on one thread, or be
/// ordered by something else. Objects that threads share derive from `Sys_ThreadSafeRefCountObject` instead.
class MLOX_EXPORT Cmn_RefCountObject {
 public:
  /// Adds one reference. Const, because pointers to const objects hold references as well. [main]
  void AddReference() const { ++mReferenceCount; }

  /// Drops one reference; the last one deletes the object through its virtual destructor. [main]
  void RemoveReference() const {
    if (--mReferenceCount == 0) delete this;
  }

 protected:
  Cmn_RefCountObject() = default;
  /// References point to an object, not to its value: the copy starts with none.
  Cmn_RefCountObject(const Cmn_RefCountObject&) {}
  /// Both counts stay as they are, for the same reason.
  Cmn_RefCountObject& operator=(const Cmn_RefCountObject&) { return *this; }
  virtual ~Cmn_RefCountObject();

 private:
  mutable std::int32_t mReferenceCount = 0;
};
