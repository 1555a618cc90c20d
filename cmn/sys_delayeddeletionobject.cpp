// SPDX-License-Identifier: MIT
#include "cmn/sys_delayeddeletionobject.h"

#include "cmn/sys_threadsaferefcountobject.h"

Sys_DelayedDeletionObject::~Sys_DelayedDeletionObject() = default;

bool Sys_DelayedDeletionObject::HasReferences() const noexcept {
  return mCountedP != nullptr && mCountedP->GetRefCount() != 0;
}
