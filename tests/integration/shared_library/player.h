// SPDX-License-Identifier: MIT
/// \file
/// An application and its plug-in in a few calls, which use what the shared library exports and nothing else.
#pragma once

#include "cmn/cmn_export.h"

extern "C" {

/// Installs the plug-in service, makes a node, writes a note, pulls it and takes everything down again.
/// Returns the message as text, "sample: bytes", or "" if none came. The text lives until the next call.
MLOX_EXPORT const char* SharedLibrary_PlayOneNote();

/// Installs the service and makes nodes as a plug-in does. oDeliveryPP gets an IDirectMIDIBufferedDelivery,
/// oReceivePP an IDirectMIDIInputReceiveMIDI, each with a reference.
MLOX_EXPORT void SharedLibrary_OpenNodes(void** oDeliveryPP, void** oReceivePP);

/// Starts two threads that write, one that pulls and one that receives, all without pause, and returns once
/// each is at work. Nobody ever stops them.
MLOX_EXPORT void SharedLibrary_StartThreads();

/// How often all threads together have gone round.
MLOX_EXPORT long SharedLibrary_CountRounds();
}
