// SPDX-License-Identifier: MIT
/// \file
/// What tests have to know about the checkers that they may run under.
#pragma once

#if defined(__has_feature)
#define TEST_HAS_FEATURE(feature) __has_feature(feature)
#else
#define TEST_HAS_FEATURE(feature) 0
#endif

/// Whether a checker of memory or threads is built in.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || TEST_HAS_FEATURE(address_sanitizer) || \
    TEST_HAS_FEATURE(thread_sanitizer)
#define TEST_HAS_MEMORY_OR_THREAD_CHECKER 1
#else
#define TEST_HAS_MEMORY_OR_THREAD_CHECKER 0
#endif

/// These checkers replace mlock by nothing that succeeds.
inline constexpr bool Test_kPinningIsFaked = TEST_HAS_MEMORY_OR_THREAD_CHECKER != 0;
