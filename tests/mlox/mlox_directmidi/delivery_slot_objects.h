// SPDX-License-Identifier: MIT
/// \file
/// Objects of the library as bare addresses, for a test that knows nothing of their classes.
#pragma once

/// The interface of a delivery message over a three-byte message at sample 4242, on channel 5, held once.
void* Test_MakeSlotMessage();
/// Ends what Test_MakeSlotMessage made.
void Test_DestroySlotMessage();

/// What a node has told its manager, and which numbers it was given.
struct Test_SlotNodeState {
  int mAdvanceScheduleRequirement;
  int mZeroJitterDelay;
};

/// The delivery setup of a node over a service.
void* Test_MakeSlotNode();
/// Writes a note on, 0x90 60 100, at sample 30 to the node.
void Test_WriteToSlotNode();
/// What the node keeps.
Test_SlotNodeState Test_GetSlotNodeState();
/// Ends what Test_MakeSlotNode made.
void Test_DestroySlotNode();

/// A client of direct delivery that counts its calls and releases its message.
void* Test_MakeSlotClient(int* oCallsP);
/// Ends what Test_MakeSlotClient made.
void Test_DestroySlotClient();

/// A sorted queue of three streams.
void* Test_MakeSlotSortedQueue();
/// An event at a sample, for the sorted queue. It lives until the end of the process.
void* Test_MakeSlotEvent(long long iSample);

/// The sink half of a direct delivery to the client at iClientP.
void* Test_MakeSlotDirectDelivery(void* iClientP);
/// A stamp at sample 30, an event of 0x90 60 100 and a context, for calls through the sink's table.
const void* Test_SlotTimestamp();
const void* Test_SlotEvent();
const void* Test_SlotContext();
