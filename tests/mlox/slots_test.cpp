// SPDX-License-Identifier: MIT
// The order of virtual operations, called through the tables. No header of the library may be included here:
// this file knows what a binary built elsewhere knows, that is addresses and positions.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/mlox/slots_objects.h"
#include "tests/support/slot_table.h"

namespace {

// What the library returns by value where a counted pointer is meant: one pointer, with a destructor.
struct CountedPointer {
  CountedPointer() = default;
  CountedPointer(const CountedPointer& iOther) : mP(iOther.mP) {}
  CountedPointer& operator=(const CountedPointer&) = delete;
  ~CountedPointer() {}
  void* mP = nullptr;
};

// The same for a shared pointer; as an argument it is passed by the address of such a structure.
struct SharedPointer {
  SharedPointer() = default;
  SharedPointer(const SharedPointer& iOther) : mP(iOther.mP), mControlP(iOther.mControlP) {}
  SharedPointer& operator=(const SharedPointer&) = delete;
  ~SharedPointer() {}
  void* mP = nullptr;
  void* mControlP = nullptr;
};

struct InputID {
  std::int32_t mServiceIndex;
  std::int32_t mNumber;
};

const std::string& LastOperation() { return Slots_LastCall().mOperation; }

int gSomething = 0;
void* const kPointer = &gSomething;

TEST(Slots, Service) {
  const Test_SlotTable table(Slots_MakeService());
  table.Call<void, int>(2, 41);
  EXPECT_EQ(LastOperation(), "SetServiceIndex");
  EXPECT_EQ(Slots_LastCall().mInteger, 41);
  EXPECT_EQ(table.Call<int>(3), 3);
  EXPECT_EQ(LastOperation(), "GetNumberOfOutputDevices");
  EXPECT_EQ((table.Call<void*, int>(4, 42)), nullptr);
  EXPECT_EQ(LastOperation(), "GetOutputDevice");
  EXPECT_EQ(Slots_LastCall().mInteger, 42);
  EXPECT_EQ(table.Call<int>(5), 5);
  EXPECT_EQ(LastOperation(), "GetNumberOfInputs");
  EXPECT_EQ((table.Call<CountedPointer, int>(6, 43).mP), nullptr);
  EXPECT_EQ(LastOperation(), "GetInput");
  EXPECT_EQ(Slots_LastCall().mInteger, 43);

  const char* const findByPointer[] = {
      "FindOutputDeviceExactlyMatchingDescriptor", "FindOutputDeviceMatchingDescriptorExceptForName",
      "FindOutputExactlyMatchingDescriptor", "FindOutputMatchingDescriptorExceptForName"};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ((table.Call<void*, void*>(7 + i, kPointer)), nullptr);
    EXPECT_EQ(LastOperation(), findByPointer[i]);
    EXPECT_EQ(Slots_LastCall().mPointer, kPointer);
  }
  SharedPointer shared;
  shared.mP = kPointer;
  table.Call<CountedPointer, SharedPointer*>(11, &shared);
  EXPECT_EQ(LastOperation(), "FindInputExactlyMatchingDescriptor");
  EXPECT_EQ(Slots_LastCall().mPointer, kPointer);
  table.Call<CountedPointer, SharedPointer*>(12, &shared);
  EXPECT_EQ(LastOperation(), "FindInputMatchingDescriptorExceptForName");
  table.Call<void*, void*>(13, kPointer);
  EXPECT_EQ(LastOperation(), "FindOutputDeviceMatchingName");
  table.Call<CountedPointer, SharedPointer*>(14, &shared);
  EXPECT_EQ(LastOperation(), "FindInputMatchingName");

  table.Call<void, void*>(15, kPointer);
  EXPECT_EQ(LastOperation(), "CreateOutputContext");
  table.Call<void, void*, int, int>(16, kPointer, 2, 1);
  EXPECT_EQ(LastOperation(), "AddInputsToList");
  EXPECT_EQ(Slots_LastCall().mInteger, 21);
  EXPECT_EQ(Slots_LastCall().mPointer, kPointer);
  table.Call<void, void*>(17, kPointer);
  EXPECT_EQ(LastOperation(), "CreateInputPort");
  table.Call<void, void*, void*>(18, kPointer, nullptr);
  EXPECT_EQ(LastOperation(), "ConnectInputsToInputPort");
  table.Call<void, void*, bool, void*>(19, kPointer, true, nullptr);
  EXPECT_EQ(LastOperation(), "InputPortBlockInput");
  EXPECT_EQ(Slots_LastCall().mInteger, 1);
  table.Call<void, void*>(20, kPointer);
  EXPECT_EQ(LastOperation(), "InputPortCloseConnections");
  table.Call<void, int>(21, -5);
  EXPECT_EQ(LastOperation(), "SetZeroJitterDelay");
  EXPECT_EQ(Slots_LastCall().mInteger, -5);
  EXPECT_TRUE((table.Call<bool, void*>(22, kPointer)));
  EXPECT_EQ(LastOperation(), "IsPlugInSource");
  table.Call<void>(23);
  EXPECT_EQ(LastOperation(), "Suspend");
  table.Call<void>(24);
  EXPECT_EQ(LastOperation(), "Resume");
  EXPECT_TRUE(table.Call<bool>(25));
  EXPECT_EQ(LastOperation(), "IsSuspended");
  table.Call<void>(26);
  EXPECT_EQ(LastOperation(), "DoneUpdatingOldDeviceReferences");
  table.Call<void>(27);
  EXPECT_EQ(LastOperation(), "StopPlayback");
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, Input) {
  const Test_SlotTable table(Slots_MakeInput());
  EXPECT_EQ(table.Call<InputID>(2).mNumber, 77);
  EXPECT_EQ(LastOperation(), "GetInputID");
  EXPECT_EQ(table.Call<SharedPointer>(3).mP, nullptr);
  EXPECT_EQ(LastOperation(), "GetDeviceDescriptor");
  EXPECT_EQ(table.Call<std::string>(4), "Keys");
  EXPECT_EQ(LastOperation(), "GetName");
  EXPECT_TRUE((table.Call<bool, short>(5, 15)));
  EXPECT_EQ(LastOperation(), "IsMidiChannelAvailable");
  EXPECT_EQ(Slots_LastCall().mInteger, 15);
  const char* const questions[] = {"IsPhysical", "IsVirtual", "IsSyncSource", "IsUserDefined", "IsPlugIn"};
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(table.Call<bool>(6 + i));
    EXPECT_EQ(LastOperation(), questions[i]);
  }
  EXPECT_EQ(table.Call<std::uint64_t>(11), 0xFEDCBA9876543210u);
  EXPECT_EQ(LastOperation(), "GetTrackPtr");
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, Output) {
  const Test_SlotTable table(Slots_MakeOutput());
  table.Call<void>(2);
  EXPECT_EQ(LastOperation(), "RefCountDelete");
  EXPECT_EQ((table.Call<int, double>(3, 44100.0)), 7);
  EXPECT_EQ(LastOperation(), "GetTimestampedPreSendSamples");
  EXPECT_EQ(Slots_LastCall().mReal, 44100.0);
  EXPECT_EQ((table.Call<std::int64_t, double>(4, 48000.0)), 8);
  EXPECT_EQ(LastOperation(), "GetZeroJitterDelay");
  EXPECT_EQ(Slots_LastCall().mReal, 48000.0);
  EXPECT_TRUE(table.Call<bool>(5));
  EXPECT_EQ(LastOperation(), "IsTimestamped");
  EXPECT_EQ(table.Call<int>(6), 9);
  EXPECT_EQ(LastOperation(), "GetDelayOffset");
  table.Call<void, int>(7, -3);
  EXPECT_EQ(LastOperation(), "SetDelayOffset");
  EXPECT_EQ(Slots_LastCall().mInteger, -3);
  table.Call<void, std::int64_t>(8, -5000000000);
  EXPECT_EQ(LastOperation(), "SetMDCBeatClockOffset");
  EXPECT_EQ(Slots_LastCall().mInteger, -5000000000);
  table.Call<void, std::int64_t>(9, 5000000000);
  EXPECT_EQ(LastOperation(), "SetUserBeatClockOffset");
  EXPECT_EQ(Slots_LastCall().mInteger, 5000000000);
  EXPECT_EQ(table.Call<std::int64_t>(10), 10);
  EXPECT_EQ(LastOperation(), "GetTotalBeatClockOffset");
  EXPECT_EQ(table.Call<std::int64_t>(11), 11);
  EXPECT_EQ(LastOperation(), "GetUserBeatClockOffset");
  table.Call<CountedPointer>(12);
  EXPECT_EQ(LastOperation(), "GetDescriptor");
  EXPECT_EQ(table.Call<void*>(13), nullptr);
  EXPECT_EQ(LastOperation(), "GetDevice");
  EXPECT_EQ(table.Call<int>(14), 12);
  EXPECT_EQ(LastOperation(), "GetNumberOfPatches");
  EXPECT_TRUE((table.Call<bool, void*, void*>(15, kPointer, kPointer)));
  EXPECT_EQ(LastOperation(), "GetPatchName");
  EXPECT_EQ(Slots_LastCall().mPointer, kPointer);
  table.Call<CountedPointer, int>(16, 6);
  EXPECT_EQ(LastOperation(), "GetPatchInfo");
  EXPECT_EQ(Slots_LastCall().mInteger, 6);
  EXPECT_EQ(table.Call<int>(17), 13);
  EXPECT_EQ(LastOperation(), "GetNumberOfAvailableModes");
  const int index = 21;
  EXPECT_EQ((table.Call<std::string, const int*>(18, &index)), "mode");
  EXPECT_EQ(LastOperation(), "GetAvailableModeName");
  EXPECT_EQ(Slots_LastCall().mInteger, 21);
  EXPECT_EQ(table.Call<std::string>(19), "current");
  EXPECT_EQ(LastOperation(), "GetCurrentMode");
  const std::string name = "GM";
  table.Call<void, const std::string*>(20, &name);
  EXPECT_EQ(LastOperation(), "SetCurrentMode");
  EXPECT_EQ(Slots_LastCall().mPointer, &name);
  table.Call<void>(21);
  EXPECT_EQ(LastOperation(), "AddThruCount");
  table.Call<void>(22);
  EXPECT_EQ(LastOperation(), "RemoveThruCount");
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, Device) {
  const Test_SlotTable table(Slots_MakeDevice());
  EXPECT_EQ(table.Call<std::string>(2), "Piano");
  EXPECT_EQ(LastOperation(), "GetName");
  EXPECT_EQ(table.Call<void*>(3), nullptr);
  EXPECT_EQ(LastOperation(), "GetCommonOutput");
  EXPECT_EQ((table.Call<void*, short>(4, 9)), nullptr);
  EXPECT_EQ(LastOperation(), "GetOutputForChannel");
  EXPECT_EQ(Slots_LastCall().mInteger, 9);
  EXPECT_TRUE((table.Call<bool, short>(5, 10)));
  EXPECT_EQ(LastOperation(), "IsMidiChannelAvailable");
  EXPECT_EQ(Slots_LastCall().mInteger, 10);
  EXPECT_EQ(table.Call<SharedPointer>(6).mP, nullptr);
  EXPECT_EQ(LastOperation(), "GetDeviceDescriptor");
  EXPECT_TRUE((table.Call<bool, void*, void*>(7, kPointer, nullptr)));
  EXPECT_EQ(LastOperation(), "GetFactoryPatchFileName");
  EXPECT_TRUE(table.Call<bool>(8));
  EXPECT_EQ(LastOperation(), "IsUserDefined");
  EXPECT_TRUE(table.Call<bool>(9));
  EXPECT_EQ(LastOperation(), "GetReceivesMBC");
  EXPECT_EQ(table.Call<int>(10), 14);
  EXPECT_EQ(LastOperation(), "GetBeatClockOffsetSamples");
  table.Call<void, int>(11, -8);
  EXPECT_EQ(LastOperation(), "SetBeatClockOffsetSamples");
  EXPECT_EQ(Slots_LastCall().mInteger, -8);
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, RawMidiReceiver) {
  const Test_SlotTable table(Slots_MakeRawMidiReceiver());
  EXPECT_EQ((table.Call<int, void*>(2, kPointer)), 2);
  EXPECT_EQ(LastOperation(), "ReceiveRawMidi");
  EXPECT_EQ(Slots_LastCall().mPointer, kPointer);
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, AppCallbackHasSampleToMicrosecondsEighthAndStopPlaybackTenth) {
  const Test_SlotTable table(Slots_MakeAppCallback());
  EXPECT_EQ((table.Call<std::int64_t, std::int64_t>(8, -5000000000)), 1234567890123);
  EXPECT_EQ(LastOperation(), "SampleToMicroseconds");
  EXPECT_EQ(Slots_LastCall().mInteger, -5000000000);
  table.Call<void>(10);
  EXPECT_EQ(LastOperation(), "StopPlayback");
  // The reserved operations have bodies that do nothing.
  for (const int operation : {2, 3, 4, 5, 6, 7, 9}) table.Call<void>(operation);
  EXPECT_EQ(LastOperation(), "StopPlayback");
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, Listener) {
  const Test_SlotTable table(Slots_MakeListener());
  table.Call<void, bool>(2, true);
  EXPECT_EQ(LastOperation(), "OutputsChanged");
  EXPECT_EQ(Slots_LastCall().mInteger, 1);
  table.Call<void>(3);
  EXPECT_EQ(LastOperation(), "InputsChanged");
  table.Call<void>(4);
  EXPECT_EQ(LastOperation(), "OutputPreSendChanged");
  table.Call<void, void*>(5, kPointer);
  EXPECT_EQ(LastOperation(), "PlugInNodeRegistered");
  EXPECT_EQ(Slots_LastCall().mPointer, kPointer);
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, ListenersOfTheIDMappersAreCalledInTheSecondSlot) {
  for (void* listenerP : {Slots_MakeInputIDListener(), Slots_MakeOutputIDListener()}) {
    const Test_SlotTable table(listenerP);
    table.Call<void>(2);
    EXPECT_EQ(LastOperation(), "IDsChanged");
    table.Delete();
    EXPECT_EQ(LastOperation(), "destructor");
  }
}

TEST(Slots, DeviceDescriptor) {
  const Test_SlotTable table(Slots_MakeDeviceDescriptor());
  EXPECT_TRUE((table.Call<bool, void*>(2, kPointer)));
  EXPECT_EQ(LastOperation(), "Equals");
  EXPECT_EQ(Slots_LastCall().mPointer, kPointer);
  EXPECT_EQ(table.Call<std::string>(3), "Port 1");
  EXPECT_EQ(LastOperation(), "GetName");
  EXPECT_EQ(table.Call<int>(4), -15);
  EXPECT_EQ(LastOperation(), "GetHashValue");
  EXPECT_EQ(table.Call<int>(5), 1);
  EXPECT_EQ(LastOperation(), "GetMatchType");
  EXPECT_TRUE(table.Call<bool>(6));
  EXPECT_EQ(LastOperation(), "IsIACDevice");
  EXPECT_TRUE(table.Call<bool>(7));
  EXPECT_EQ(LastOperation(), "IsPlugIn");
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, BatchDeliveryEntry) {
  const Test_SlotTable table(Slots_MakeBatchDeliveryEntry());
  table.Call<void>(2);
  EXPECT_EQ(LastOperation(), "DeliverBatchEntry");
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

TEST(Slots, AWriteTakesTheContextByValueAsOnePointer) {
  const Test_SlotTable table(Slots_MakeAWrite());
  table.Call<void, void*, void*, void*>(2, kPointer, nullptr, kPointer);
  EXPECT_EQ(LastOperation(), "WriteEvent");
  EXPECT_EQ(Slots_LastCall().mPointer, kPointer);
  EXPECT_EQ(static_cast<std::uintptr_t>(Slots_LastCall().mInteger),
            reinterpret_cast<std::uintptr_t>(kPointer));
  table.Call<void, void*, int, void*>(3, kPointer, 31, nullptr);
  EXPECT_EQ(LastOperation(), "WriteLimitedSysex");
  EXPECT_EQ(Slots_LastCall().mInteger, 31);
  table.Call<void, void*, int, void*>(4, kPointer, 32, nullptr);
  EXPECT_EQ(LastOperation(), "WriteRawMIDI");
  EXPECT_EQ(Slots_LastCall().mInteger, 32);
  table.Delete();
  EXPECT_EQ(LastOperation(), "destructor");
}

}  // namespace
