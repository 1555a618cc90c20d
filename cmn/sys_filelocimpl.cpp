// SPDX-License-Identifier: MIT
#include "cmn/sys_filelocimpl.h"

Sys_FileLocImpl::~Sys_FileLocImpl() = default;
