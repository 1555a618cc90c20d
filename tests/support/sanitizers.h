// SPDX-License-Identifier: MIT
/// \file
/// What tests have to know about the checkers that they may run under.
#pragma once

#if defined(__has_feature)
#define TEST_HAS_FEATURE(feature) __has_feature(feature)
#else
#define TEST_HAS_FEATURE(feature) 0
#endif

/// Whether a checker of memory or threads is built in: these replace mlock by nothing that succeeds.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || TEST_HAS_FEATURE(address_sanitizer) || \
    TEST_HAS_FEATURE(thread_sanitizer)
inline constexpr bool Test_kPinningIsFaked = true;
#else
inline constexpr bool Test_kPinningIsFaked = false;
#endif
