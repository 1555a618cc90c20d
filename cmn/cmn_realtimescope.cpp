// SPDX-License-Identifier: MIT
#include "cmn/cmn_realtimescope.h"

#include "cmn/cmn_threadlocal.h"

namespace {
CMN_THREAD_LOCAL int sRealTimeDepth = 0;
CMN_THREAD_LOCAL int sNoThrowDepth = 0;
}  // namespace

Cmn_RealTimeScope::Cmn_RealTimeScope() noexcept { ++sRealTimeDepth; }

Cmn_RealTimeScope::~Cmn_RealTimeScope() { --sRealTimeDepth; }

bool Cmn_RealTimeScope::IsActive() noexcept { return sRealTimeDepth != 0; }

Cmn_NoThrowScope::Cmn_NoThrowScope() noexcept { ++sNoThrowDepth; }

Cmn_NoThrowScope::~Cmn_NoThrowScope() { --sNoThrowDepth; }

bool Cmn_NoThrowScope::IsActive() noexcept { return sNoThrowDepth != 0; }
