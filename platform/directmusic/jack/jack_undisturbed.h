// SPDX-License-Identifier: MIT
/// \file
/// What a callback of libjack does, whole or not at all.
#pragma once

#include <pthread.h>

/// Does something on a thread of libjack's. That library ends its threads by asynchronous cancellation,
/// wherever they are: in the middle of an allocation, which leaves the heap locked for ever, or in a function
/// that nothing may leave by unwinding, which ends the process. Here the cancellation waits until the body is
/// done. Enters no system. [any thread]
template <class Body>
void Platform_JackUndisturbed(Body iBody) {
  int state = PTHREAD_CANCEL_ENABLE;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
  iBody();
  // Not in a destructor: this is where a thread that was cancelled meanwhile ends, by unwinding.
  pthread_setcancelstate(state, nullptr);
}
