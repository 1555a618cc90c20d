// SPDX-License-Identifier: MIT
/// \file
/// Checks whose failure is worth a line in the trace as well, also in a released build.
#pragma once

#include <cstdint>

#include "cmn/cmn_assert.h"

/// The category of the lines that failed checks write.
inline constexpr std::uint32_t kCmn_TraceAssertCategory = 0x4000E0F;

/// Writes "CMN_TRACEASSERT <condition> <source> line <line>" to the trace, if tracing is active and the
/// category on. The line is built on the stack: checks fail on real-time threads too. [any]
void Cmn_TraceFailedAssert(const char* iConditionP, const char* iSourceP, int iLine);

/// Traces and reports a false condition, in the form that may throw, with true as the bool. An expression of
/// type bool: whether the condition held. source: a constexpr char array with the file's source path; text: a
/// literal.
#define CMN_TRACEASSERT(source, condition, text)                                                      \
  ::Cmn_AssertHeld(static_cast<bool>(condition) ||                                                    \
                   (::Cmn_TraceFailedAssert(text, source, __LINE__),                                  \
                    ::Cmn_Assert::HandleMagicAssert(true, CMN_ASSERT_STRING(source, text), __LINE__), \
                    false))
