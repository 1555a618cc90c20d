// SPDX-License-Identifier: MIT
/// \file
/// Windows' event objects as the receive task uses them. Elsewhere an event stands on a descriptor of the
/// kernel (eventfd), and a wait over several is one epoll, kept by the thread for its next wait.
#pragma once

#include <memory>

#include "platform/directmusic/windows_types.h"

#if !defined(_WIN32)

inline constexpr DWORD INFINITE = 0xFFFFFFFFu;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
// Not Windows' number, 0x102, which would be an index here.
inline constexpr DWORD WAIT_TIMEOUT = 0xFFFFFFFEu;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;
// Windows' is 64. Here one wait serves the ports of a large studio, and of a server with many programs on it.
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 1024;

/// Makes an event. Security attributes must be null; the name is a label only: two events of one name are two
/// events (names that begin with a fresh unique id, as the library's do, are never shared anyway). \returns
/// null when the kernel has no descriptor left.
HANDLE CreateEventW(void* iSecurity, BOOL iManualReset, BOOL iInitialState, const OLECHAR* iName);
/// Signals the event. [any thread, also while another closes the handle that it was signalled through]
BOOL SetEvent(HANDLE iEvent);
BOOL ResetEvent(HANDLE iEvent);
/// Gives the handle up. The object goes when nobody inside SetEvent holds it any more.
BOOL CloseHandle(HANDLE iEvent);
/// Waits until one of iCount events is signalled, or until iMilliseconds have passed. An automatic-reset
/// event is reset by the wait that it ends. Looks first behind the event that the calling thread was served
/// last, so that a busy event does not starve its neighbours. iWaitAll must be FALSE; iWakeMask is not looked
/// at (no thread has a message queue). \returns WAIT_OBJECT_0 plus the index, WAIT_TIMEOUT, or WAIT_FAILED.
DWORD MsgWaitForMultipleObjects(DWORD iCount, const HANDLE* iEvents, BOOL iWaitAll, DWORD iMilliseconds,
                                DWORD iWakeMask);

/// Lets the event stand on a descriptor as well: a wait ends with this event while iDescriptor is readable,
/// so that the kernel itself wakes the waiting thread, with no thread of ours in between. -1 takes it off.
/// The caller keeps the descriptor open until it has taken it off. A wait under way sees the change. [any
/// thread]
void Platform_SetEventDescriptor(HANDLE iEvent, int iDescriptor);

class Platform_EventSource;

/// Lets the event stand on a source as well, in the place of a descriptor: the thread that waits takes what
/// the source's descriptor has, and its wait ends with this event while the source is ready. Null takes it
/// off. Signals the event, so that a wait under way sees the change. [any thread]
void Platform_SetEventSource(HANDLE iEvent, std::shared_ptr<Platform_EventSource> iSourceP);

#endif
