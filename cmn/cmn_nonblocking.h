// SPDX-License-Identifier: MIT
/// \file
/// The mark of functions that must never block, for compilers that check it.
#pragma once

#if defined(__has_cpp_attribute)
#if __has_cpp_attribute(clang::nonblocking)
#define MLOX_NONBLOCKING [[clang::nonblocking]]
#endif
#endif

#if !defined(MLOX_NONBLOCKING)
/// Stands behind the parameters of a function that runs on an audio thread and so never allocates, locks or
/// enters the system. A build with -fsanitize=realtime ends at a marked function that does; other compilers
/// see nothing.
#define MLOX_NONBLOCKING
#endif
