// SPDX-License-Identifier: MIT
/// \file
/// Storage of the few words that the foundation keeps for each thread.
#pragma once

/// Declares a variable of the thread that may be touched on a real-time thread. The default model of a shared
/// library may allocate the thread's block at the first access; the static model, which costs a few bytes of
/// every thread, never does. Only plain integers may be declared so: a destructor would bring the allocation
/// back.
#if defined(_WIN32)
#define CMN_THREAD_LOCAL thread_local
#else
#define CMN_THREAD_LOCAL thread_local __attribute__((tls_model("initial-exec")))
#endif
