// SPDX-License-Identifier: MIT
#include "cmn/sys_threadsaferefcountobject.h"

Sys_ThreadSafeRefCountObject::~Sys_ThreadSafeRefCountObject() = default;

void Sys_ThreadSafeRefCountObject::SmartDeletion() const {
  // Holders of a reference to const share in the lifetime too: its end is not a change that const forbids.
  const_cast<Sys_ThreadSafeRefCountObject*>(this)->RefCountDelete();
}

void Sys_ThreadSafeRefCountObject::RefCountDelete() { delete this; }
