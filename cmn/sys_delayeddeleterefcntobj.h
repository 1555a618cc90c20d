// SPDX-License-Identifier: MIT
/// \file
/// Base of counted objects that outlive their last reference until no thread can be inside them.
#pragma once

#include "cmn/cmn_export.h"
#include "cmn/sys_delayeddeletion.h"
#include "cmn/sys_delayeddeletionobject.h"
#include "cmn/sys_threadsaferefcountobject.h"

/// A counted object that isn't deleted by its last release: it is listed, and a later pass of
/// Sys_DelayedDeletion deletes it, unless it has references again by then.
class MLOX_EXPORT Sys_DelayedDeleteRefCntObj : public Sys_ThreadSafeRefCountObject,
                                               public Sys_DelayedDeletionObject {
 public:
  ~Sys_DelayedDeleteRefCntObj() override;

  /// Drops a reference; the last one lists the object. Hides the base's: the thread that counts down stands
  /// in a guard until it has left the object, for a pass may find the object on the list already. [any] No
  /// lock, no allocation.
  void RemoveReference() const {
    const Sys_EpochGuard inside;
    Sys_DelayedDeletion::NoteRelease(*this);
    Sys_ThreadSafeRefCountObject::RemoveReference();
  }

 protected:
  Sys_DelayedDeleteRefCntObj() noexcept : Sys_DelayedDeletionObject(this) {}
  Sys_DelayedDeleteRefCntObj(const Sys_DelayedDeleteRefCntObj& iOther) noexcept
      : Sys_ThreadSafeRefCountObject(iOther), Sys_DelayedDeletionObject(iOther, this) {}
  Sys_DelayedDeleteRefCntObj& operator=(const Sys_DelayedDeleteRefCntObj&) noexcept = default;

  /// Lists the object once, however often its count reaches 0.
  void RefCountDelete() override;
};
