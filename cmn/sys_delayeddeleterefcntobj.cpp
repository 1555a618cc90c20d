// SPDX-License-Identifier: MIT
#include "cmn/sys_delayeddeleterefcntobj.h"

Sys_DelayedDeleteRefCntObj::~Sys_DelayedDeleteRefCntObj() = default;

void Sys_DelayedDeleteRefCntObj::RefCountDelete() { Sys_DelayedDeletion::Retire(this); }
