// SPDX-License-Identifier: MIT
/// \file
/// Objects behind the tables that slots_test.cpp calls through, known by address alone. This header includes
/// nothing of the library: the test must not see a class.
#pragma once

#include <string>

/// Which of its operations an object was called for last, and with what.
struct Slots_Call {
  std::string mOperation;
  long long mInteger = 0;
  double mReal = 0;
  const void* mPointer = nullptr;
};

/// The last call of any of the objects below.
Slots_Call& Slots_LastCall();

// Each makes an object and returns the address of the interface named. Delete it
// through its table.
void* Slots_MakeService();
void* Slots_MakeInput();
void* Slots_MakeOutput();
void* Slots_MakeDevice();
void* Slots_MakeRawMidiReceiver();
void* Slots_MakeAppCallback();
void* Slots_MakeListener();
void* Slots_MakeInputIDListener();
void* Slots_MakeOutputIDListener();
void* Slots_MakeAWrite();
void* Slots_MakeDeviceDescriptor();
void* Slots_MakeBatchDeliveryEntry();
