// SPDX-License-Identifier: MIT
#include "diagnostics/cmn_traceassert.h"

#include <cstdio>

#include "diagnostics/quiltracelibrary.h"

void Cmn_TraceFailedAssert(const char* iConditionP, const char* iSourceP, int iLine) {
  if (!QuilTraceLibrary::IsOn(kCmn_TraceAssertCategory)) return;
  char number[16];
  std::snprintf(number, sizeof(number), "%d", iLine);
  // The texts go in as arguments: a condition with a "%" in it must not become a format.
  QuilTraceLibrary::sFormat(kCmn_TraceAssertCategory, "CMN_TRACEASSERT %s %s line %s", iConditionP, iSourceP,
                            number);
}
