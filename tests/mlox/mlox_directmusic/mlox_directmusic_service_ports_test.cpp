// SPDX-License-Identifier: MIT
// The hardware service with ports behind the studio's endpoints: names on this machine, connections, the end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "cmn/sys_utils.h"
#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_sysexevents.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_directmusic/directmusicinputportstate.h"
#include "mlox/mlox_directmusic/mlox_directmusic_notificationcallback.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_outputdescriptor.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "platform/directmusic/windows_com.h"
#include "tests/mlox/mlox_directmusic/ports_fixture.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/slot_table.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Descriptor = Mlox_DirectMusic_DeviceDescriptor;

// Keeps what arrives, one text a record: "number: bytes".
class KeepingReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    std::string text = std::to_string(iDataP->mInputID.mInputNumber) + ":";
    for (std::uint32_t i = 0; i < iDataP->mLength; ++i) text += " " + std::to_string(iDataP->mData[i]);
    const std::lock_guard lock(mMutex);
    mRecords.push_back(text);
    mArrived.notify_all();
    return 0;
  }
  // Waits until so many records are there, ten seconds at most.
  std::vector<std::string> Take(std::size_t iCount) {
    std::unique_lock lock(mMutex);
    mArrived.wait_for(lock, std::chrono::seconds(10), [&] { return mRecords.size() >= iCount; });
    return std::move(mRecords);
  }

 private:
  std::mutex mMutex;
  std::condition_variable mArrived;
  std::vector<std::string> mRecords;
};

class Mlox_DirectMusic_ServicePortsTest : public Test_PortsFixture {
 protected:
  // A port of the older driver layer, which gives away how this machine marks such ports.
  void AddMarkedPort(const std::string& iDescription) {
    mRoot.AddPort(99, iDescription, DMUS_PC_OUTPUTCLASS,
                  [](DMUS_PORTCAPS& ioCaps) { ioCaps.dwType = DMUS_PORT_WINMM_DRIVER; });
  }
  static std::shared_ptr<const Descriptor> Wanted(const std::string& iName, int iHash) {
    return std::make_shared<Descriptor>(Mlox_DeviceDescriptor::kOutput, iName, iHash);
  }
};

// ---- names on this machine ----

TEST_F(Mlox_DirectMusic_ServicePortsTest, ANameWithThisMachinesSuffixIsFoundByTheBareName) {
  AddMarkedPort("Some port [Emulated]");
  PlugOutput(1, "Synth [Emulated]", 7);
  Live();
  EXPECT_EQ(Service().FindOutputDevice(true, Wanted("Synth", 7).get()), Device(0));
  EXPECT_EQ(Service().FindOutputDevice(true, Wanted("Synth", 8).get()), nullptr) << "the hash counts, too";
  EXPECT_EQ(Service().FindOutputDeviceMatchingName(Wanted("Synth", 8).get()), Device(0));
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, AndNotOnAMachineWithAnotherSuffix) {
  AddMarkedPort("Some port (emulated)");
  PlugOutput(1, "Synth [Emulated]", 7);
  Live();
  EXPECT_EQ(Service().FindOutputDevice(true, Wanted("Synth", 7).get()), nullptr);
  EXPECT_EQ(Service().FindOutputDeviceMatchingName(Wanted("Synth", 7).get()), nullptr);
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, ThePlainNameComesBeforeTheOneWithTheSuffix) {
  AddMarkedPort("Some port [Emulated]");
  PlugOutput(1, "Synth [Emulated]", 7);
  PlugOutput(2, "Synth", 8);
  PlugInput(3, "Keys [Emulated]", 9);
  PlugInput(4, "Keys", 10);
  Live();
  EXPECT_EQ(Service().FindOutputDeviceMatchingName(Wanted("Synth", 0).get()), Device(1));
  EXPECT_EQ(Service().FindInputMatchingName(Wanted("Keys", 0)).get(), InputAt(1));
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, AnInputWithTheSuffixIsFoundByTheBareNameThroughItsNameAlone) {
  AddMarkedPort("Some port [Emulated]");
  PlugInput(1, "Keys [Emulated]", 7);
  Live();
  EXPECT_FALSE(Service().FindInput(true, Wanted("Keys", 7))) << "kept: only the plain name counts";
  EXPECT_EQ(Service().FindInputMatchingName(Wanted("Keys", 7)).get(), InputAt(0));
  EXPECT_EQ(Service().FindInput(false, Wanted("Keys", 7)).get(), InputAt(0));
}

// ---- connections ----

TEST_F(Mlox_DirectMusic_ServicePortsTest, AConnectedInputsBytesReachTheReceiverUnderItsID) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  KeepingReceiver receiver;
  Live();
  const int number = InputAt(0)->GetInputID().mInputNumber;
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Service().GetInput(0)});
  keys.Feed({0x90, 60, 100});
  EXPECT_THAT(receiver.Take(1), ElementsAre(std::to_string(number) + ": 144 60 100"));
  portP->CloseCurrentConnections();
  EXPECT_FALSE(keys.IsArmed()) << "nobody listens any more";
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, BlockingAnInputHasNoEffectOnItsConnections) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  KeepingReceiver receiver;
  Live();
  const int number = InputAt(0)->GetInputID().mInputNumber;
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Service().GetInput(0)});
  for (const bool block : {true, false}) {
    Manager().BlockInput(*InputAt(0), block);
    keys.Feed({0x90, 60, 100});
    EXPECT_THAT(receiver.Take(1), ElementsAre(std::to_string(number) + ": 144 60 100"));
  }
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, AConnectionReplacesTheOneBefore) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Test_FakePort& pads = PlugInput(2, "Pads", 0);
  KeepingReceiver receiver;
  Live();
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Service().GetInput(0)});
  EXPECT_TRUE(keys.IsArmed());
  portP->ConnectToInputs({Service().GetInput(1)});
  EXPECT_FALSE(keys.IsArmed());
  EXPECT_TRUE(pads.IsArmed());
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, ConnectingAPortToNothingEndsItsConnection) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  KeepingReceiver receiver;
  Live();
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Service().GetInput(0)});
  EXPECT_TRUE(keys.IsArmed());
  portP->ConnectToInputs({});
  EXPECT_FALSE(keys.IsArmed());
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, BlockingAnInputChangesNothing) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  KeepingReceiver receiver;
  Live();
  const int number = InputAt(0)->GetInputID().mInputNumber;
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Service().GetInput(0)});
  Manager().BlockInput(*InputAt(0), true);
  EXPECT_TRUE(keys.IsArmed());
  keys.Feed({0x90, 60, 100});
  EXPECT_THAT(receiver.Take(1), ElementsAre(std::to_string(number) + ": 144 60 100"));
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, InputsOfAnotherKindAndNullOnesArePassedOver) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  KeepingReceiver receiver;
  auto* otherP = new Test_FakeService("other");
  const Mlox_InputRef foreign = otherP->AddInput("Plug-in");
  Live();
  Manager().AddService(otherP, 4);
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  Service().ConnectInputsToInputPort({foreign, nullptr, Service().GetInput(0)}, portP.get());
  EXPECT_TRUE(keys.IsArmed());
  Service().ConnectInputsToInputPort({foreign}, portP.get());
  EXPECT_FALSE(keys.IsArmed()) << "none of its own is left";
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, ConnectingAndClosingHoldNoLockOverTheJoinOfTheReceiveThread) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Live();
  // Asks the service from the receive thread, which needs the lock.
  class AskingReceiver : public KeepingReceiver {
   public:
    int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
      for (int i = 0; i < 100; ++i) Service().GetInput(0)->GetName();
      return KeepingReceiver::ReceiveRawMidi(iDataP);
    }
  };
  AskingReceiver receiver;
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  for (int round = 0; round < 50; ++round) {
    portP->ConnectToInputs({Service().GetInput(0)});
    keys.Feed({0xF8});
    if (round % 2 == 0) receiver.Take(1);
    portP->CloseCurrentConnections();
  }
}

// ---- the records of ports ----

constexpr int kServiceIndex = 1;

// Connects and closes, which is to be reported once each, and nothing else.
void ExpectRefusals(Mlox_InputPort& ioPort, const Mlox_InputList& iInputs) {
  const Test_AssertRecorder recorder;
  ioPort.ConnectToInputs(iInputs);
  ioPort.CloseCurrentConnections();
  EXPECT_EQ(recorder.Count("isLive"), 2);
  EXPECT_EQ(recorder.Count(), 2);
  for (const auto& report : recorder.Reports()) {
    EXPECT_EQ(report.mSource, "mlox/mlox_directmusic/mlox_directmusic_service");
    EXPECT_FALSE(report.mThrowing);
  }
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, TheRecordOfAServiceThatHadItsIndexBeforeIsReportedAndNotFollowed) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  auto* plugInsP = new Mlox_DM_Service(nullptr, &mAllocator, nullptr);
  Manager().AddService(plugInsP, 4);
  // The one service gives every port a record, the other leaves out those without a receiver.
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(nullptr));
  Manager().RemoveAllServices();
  ASSERT_NE(portP->GetServiceEntry(kServiceIndex), nullptr);
  Live();
  ASSERT_EQ(GetDirectMusicServiceIndex(), kServiceIndex);
  ExpectRefusals(*portP, {Service().GetInput(0)});
  EXPECT_FALSE(keys.IsArmed());
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, ARecordThatIsNotTheServicesOwnForThatPortIsReportedAndNotFollowed) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Test_FakePort& pads = PlugInput(2, "Pads", 0);
  KeepingReceiver receiver;
  KeepingReceiver other;
  Live();
  const Mlox_InputList inputs = {Service().GetInput(1)};
  const std::unique_ptr<Mlox_InputPort> connectedP(Manager().CreateInputPort(&receiver));
  connectedP->ConnectToInputs({Service().GetInput(0)});
  void* const connectedEntryP = connectedP->GetServiceEntry(kServiceIndex);
  const std::unique_ptr<Mlox_InputPort> deafP(Manager().CreateInputPort(nullptr));
  const std::unique_ptr<Mlox_InputPort> ownP(Manager().CreateInputPort(&other));
  void* const ownEntryP = ownP->GetServiceEntry(kServiceIndex);
  // Each of these would connect, or end the connection that there is, if it were followed.
  DirectMusicInputPortState foreign{kServiceIndex, &receiver};
  for (Mlox_InputPort* portP : {deafP.get(), ownP.get()}) {
    for (void* const entryP : {static_cast<void*>(&foreign), connectedEntryP}) {
      portP->SetServiceEntry(kServiceIndex, entryP);
      ExpectRefusals(*portP, inputs);
      EXPECT_TRUE(keys.IsArmed());
      EXPECT_FALSE(pads.IsArmed());
    }
  }
  ownP->SetServiceEntry(kServiceIndex, ownEntryP);
  const Test_AssertRecorder recorder;
  ownP->ConnectToInputs(inputs);
  EXPECT_TRUE(pads.IsArmed()) << "its record is there as before";
  ownP->CloseCurrentConnections();
  connectedP->CloseCurrentConnections();
  EXPECT_FALSE(keys.IsArmed());
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, APortWithoutAReceiverIsPassedOverWithoutAReport) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Live();
  const Test_AssertRecorder recorder;
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(nullptr));
  EXPECT_EQ(portP->GetServiceEntry(kServiceIndex), nullptr);
  portP->ConnectToInputs({Service().GetInput(0)});
  portP->CloseCurrentConnections();
  EXPECT_FALSE(keys.IsArmed());
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, ANullPortIsReported) {
  PlugInput(1, "Keys", 0);
  Live();
  const Test_AssertRecorder recorder;
  Service().CreateInputPort(nullptr);
  Service().ConnectInputsToInputPort({Service().GetInput(0)}, nullptr);
  Service().InputPortCloseConnections(nullptr);
  EXPECT_EQ(recorder.Count("iInputPortP != nullptr"), 3);
  EXPECT_EQ(recorder.Count(), 3);
}

// ---- COM ----

constexpr DWORD kApartmentThreaded = 0x2;

// One call of COM's: which, and on which thread.
struct ComCall {
  bool mIsInitialization = false;
  DWORD mFlags = 0;
  std::thread::id mThread;
  bool operator==(const ComCall&) const = default;
};

// Keeps the calls that initialise COM and release it while it is there.
class ComCalls {
 public:
  ComCalls() {
    Calls().clear();
    Platform_SetComInitializer(
        [](DWORD iFlags) {
          Add({true, iFlags, std::this_thread::get_id()});
          return S_OK;
        },
        [] {
          Add({false, 0, std::this_thread::get_id()});
        });
  }
  ~ComCalls() { Platform_SetComInitializer(nullptr); }
  ComCalls(const ComCalls&) = delete;
  ComCalls& operator=(const ComCalls&) = delete;

  static std::vector<ComCall> Take() {
    const std::lock_guard lock(Mutex());
    return std::exchange(Calls(), {});
  }

 private:
  static void Add(const ComCall& iCall) {
    const std::lock_guard lock(Mutex());
    Calls().push_back(iCall);
  }
  static std::vector<ComCall>& Calls() {
    static std::vector<ComCall> sCalls;
    return sCalls;
  }
  static std::mutex& Mutex() {
    static std::mutex sMutex;
    return sMutex;
  }
};

TEST_F(Mlox_DirectMusic_ServicePortsTest, ComIsInitialisedForTheApartmentOfEachThreadAndReleasedOnIt) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  class ThreadKeeper : public KeepingReceiver {
   public:
    int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
      mThread = std::this_thread::get_id();
      return KeepingReceiver::ReceiveRawMidi(iDataP);
    }
    std::thread::id mThread;
  };
  ThreadKeeper receiver;
  const std::thread::id here = std::this_thread::get_id();
  const ComCalls calls;
  Live();
  EXPECT_THAT(ComCalls::Take(), ElementsAre(ComCall{true, kApartmentThreaded, here}));
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Service().GetInput(0)});
  keys.Feed({0xF8});
  ASSERT_EQ(receiver.Take(1).size(), 1u);
  portP->CloseCurrentConnections();  // ends the receive thread
  EXPECT_NE(receiver.mThread, here);
  EXPECT_THAT(ComCalls::Take(), ElementsAre(ComCall{true, kApartmentThreaded, receiver.mThread},
                                            ComCall{false, 0, receiver.mThread}));
  Manager().RemoveAllServices();
  EXPECT_THAT(ComCalls::Take(), ElementsAre(ComCall{false, 0, here}));
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, ComIsReleasedWhenEverythingElseOfTheServiceHasGone) {
  static bool sWasLast;
  sWasLast = false;
  PlugOutput(1, "Synth", 0);
  Live();
  Platform_SetComInitializer(nullptr,
                             [] { sWasLast = sService.load() == nullptr && GetRegisteredIDs().empty(); });
  Manager().RemoveAllServices();
  Platform_SetComInitializer(nullptr);
  EXPECT_TRUE(sWasLast);
}

// As where the application has made its threads another kind of apartment.
std::atomic<int> sRefusedThreads{0};
HRESULT RefuseApartment(DWORD) {
  ++sRefusedThreads;
  return static_cast<HRESULT>(0x80010106u);
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, ThatComCannotBeInitialisedIsIgnored) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Test_FakePort& synth = PlugOutput(2, "Synth", 0);
  sRefusedThreads = 0;
  Platform_SetComInitializer(RefuseApartment);
  const Test_AssertRecorder recorder;
  KeepingReceiver receiver;
  EXPECT_TRUE(Activate());
  EXPECT_EQ(sRefusedThreads, 1) << "the main thread's";
  Count();
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
  EXPECT_THAT(Inputs(), ElementsAre("Keys"));
  const int number = InputAt(0)->GetInputID().mInputNumber;
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Service().GetInput(0)});
  keys.Feed({0x90, 60, 100});
  EXPECT_THAT(receiver.Take(1), ElementsAre(std::to_string(number) + ": 144 60 100"));
  EXPECT_EQ(sRefusedThreads, 2) << "and the receive thread's";
  portP->CloseCurrentConnections();
  Device(0)->GetCommonOutput()->WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100),
                                           Manager().GetDefaultOutputContext());
  EXPECT_EQ(synth.Played().size(), 1u);
  Manager().RemoveAllServices();
  Platform_SetComInitializer(nullptr);
  EXPECT_EQ(sService.load(), nullptr);
  EXPECT_EQ(recorder.Count(), 0);
}

// ---- its end ----

TEST_F(Mlox_DirectMusic_ServicePortsTest, TheDestructorReleasesTheRootBeforeItEndsReceptionAndThenTheHandle) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  KeepingReceiver receiver;
  Live();
  std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Service().GetInput(0)});
  portP.reset();  // without closing it, so that the connection is there when the service goes
  ASSERT_TRUE(keys.IsArmed());
  struct Seen {
    bool mSubscribed = true;
    bool mHasRoot = true;
    bool mHasHandle = false;
    bool mHasIDs = false;
    bool mHoldsLock = true;
    int mTimes = 0;
  } seen;
  mRoot.Calls().mOnCall = [&](const std::string& iLine) {
    if (iLine != "Keys: Activate 0") return;
    IDirectMusic8* const rootP = DirectMusicClient::GetDirectMusicPtr(false);
    seen.mHasRoot = rootP != nullptr;
    if (rootP != nullptr) rootP->Release();
    seen.mSubscribed = mStudio->HasSubscriber();
    seen.mHasHandle = sService.load() != nullptr;
    seen.mHasIDs = !GetRegisteredIDs().empty();
    seen.mHoldsLock = DirectMusicSubsystemLock::IsHeldByThisThread();
    ++seen.mTimes;
  };
  Manager().RemoveAllServices();
  mRoot.Calls().mOnCall = nullptr;
  EXPECT_EQ(seen.mTimes, 1);
  EXPECT_FALSE(seen.mSubscribed);
  EXPECT_FALSE(seen.mHasRoot);
  EXPECT_TRUE(seen.mHasHandle);
  EXPECT_TRUE(seen.mHasIDs);
  EXPECT_FALSE(seen.mHoldsLock);
  EXPECT_EQ(sService.load(), nullptr);
  EXPECT_THAT(GetRegisteredIDs(), IsEmpty());
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, AHundredRoundsOfActivatingConnectingALongSysexAndRemovingWork) {
  Test_FakePort& keys = PlugInput(1, "Keys", 0);
  Test_FakePort& synth = PlugOutput(2, "Synth", 0);
  Sys_Utils::SetSleeperForTest([](std::int64_t) {});
  std::vector<unsigned char> sysex(600, 0x11);
  sysex.front() = 0xF0;
  sysex.back() = 0xF7;
  const Mdie_SysexEvent event(static_cast<int>(sysex.size()), sysex.data());
  for (int round = 0; round < 100; ++round) {
    SCOPED_TRACE(round);
    KeepingReceiver receiver;
    ASSERT_TRUE(Activate());
    ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 1);
    ASSERT_EQ(Manager().GetNumberOfInputs(), 1);
    const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
    portP->ConnectToInputs({Manager().GetInput(0)});
    keys.Feed({0x90, 60, 100});
    ASSERT_EQ(receiver.Take(1).size(), 1u);
    synth.ClearPlayed();
    Manager().GetOutputDevice(0)->GetCommonOutput()->WriteEvent(Mdie_Timestamp(), event,
                                                                Manager().GetDefaultOutputContext());
    ASSERT_EQ(synth.Played().size(), 3u) << "256, 256 and 88 bytes";
    Manager().RemoveAllServices();
    ASSERT_EQ(sService.load(), nullptr);
  }
  Sys_Utils::SetSleeperForTest(nullptr);
}

// What a replug leaves behind, since released devices are never deleted. A checker of memory has an allocator
// of its own, which counts nothing here.
#if defined(__GLIBC__)
TEST_F(Mlox_DirectMusic_ServicePortsTest, APlugCycleLeavesLessThanFourKilobytesBehind) {
  constexpr int kCycles = 500;
  PlugOutput(1, "Synth", 0);
  PlugInput(2, "Keys", 0);
  Live();
  const auto cycle = [&] {
    mStudio->Unplug(Test_FakeDirectMusic::GuidTextOf(1));
    mStudio->Unplug(Test_FakeDirectMusic::GuidTextOf(2));
    mStudio->Plug(Test_FakeDirectMusic::GuidTextOf(1));
    mStudio->Plug(Test_FakeDirectMusic::GuidTextOf(2));
    Count();
    for (short channel = 0; channel < 16; ++channel)
      ASSERT_NE(Device(0)->GetOutputForChannel(channel), nullptr);
    ASSERT_NE(Device(0)->GetCommonOutput(), nullptr);
    mRoot.Calls().Clear();
    Test_RunDelayedDeletions();
  };
  for (int i = 0; i < 10; ++i) cycle();  // what is made once has been made
  const std::size_t buffers = static_cast<std::size_t>(mRoot.BufferCount());
  const std::size_t before = mallinfo2().uordblks;
  for (int i = 0; i < kCycles; ++i) cycle();
  const std::size_t after = mallinfo2().uordblks;
  // The fake root keeps every buffer that it has made, which a real one doesn't.
  const std::size_t fakes =
      (static_cast<std::size_t>(mRoot.BufferCount()) - buffers) * (sizeof(Test_FakeBuffer) + 64);
  EXPECT_LT(after, before + fakes + kCycles * std::size_t{4096});
}
#endif

// ---- the order of its own operations ----

TEST_F(Mlox_DirectMusic_ServicePortsTest, ItsOwnOperationsStandBehindThoseOfEveryService) {
  PlugOutput(1, "Synth", 7);
  PlugInput(2, "Keys", 8);
  Live();
  const Test_SlotTable table(static_cast<Mlox_Service*>(&Service()));
  const auto device = Wanted("Synth", 7);
  const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> output(new Mlox_OutputDescriptor(device, -1));
  EXPECT_EQ((table.Call<Mlox_Output*, bool, const Mlox_OutputDescriptor*>(28, true, output.get())),
            Device(0)->GetCommonOutput());
  EXPECT_EQ((table.Call<Mlox_Device*, bool, const Mlox_DeviceDescriptor*>(29, true, device.get())),
            Device(0));
  EXPECT_EQ((table
                 .Call<Mlox_InputRef, bool, std::shared_ptr<const Mlox_DeviceDescriptor>>(30, true,
                                                                                          Wanted("Keys", 8))
                 .get()),
            InputAt(0));
}

TEST_F(Mlox_DirectMusic_ServicePortsTest, TheNotificationCallbackHasNotifyBehindItsDestructorAndThenGetID) {
  auto* callbackP = new Mlox_DirectMusic_NotificationCallback;
  const Test_SlotTable table(static_cast<IDirectMusicNotificationCallback*>(callbackP));
  CComBSTRLite id;
  EXPECT_EQ((table.Call<HRESULT, BSTR*>(3, id.Reset())), S_OK);
  EXPECT_EQ(id.AsString(), "{7C0B6E52-3F1D-4C8A-9E47-1B5D2A90C6F3}");
  table.Call<void, std::shared_ptr<IDirectMusicNotificationList>>(2, nullptr);
  table.Delete();
}

}  // namespace
