// SPDX-License-Identifier: MIT
#include "cmn/cmn_refcountobject.h"

Cmn_RefCountObject::~Cmn_RefCountObject() = default;
