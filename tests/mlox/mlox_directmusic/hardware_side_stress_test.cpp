// SPDX-License-Identifier: MIT
// The hardware side under threads: an application that counts, fetches and connects, writers, and a studio
// and ports that change all the time. What is listed is compared with a model at each step.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "platform/directmusic/loopback/loopback_driver.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/delayed_deletions.h"
#include "tests/support/manager_fixture.h"
#include "tests/support/model_studio.h"

namespace {

constexpr int kPairs = 4;
constexpr int kUserDefined = 2;
constexpr int kWriters = 3;
constexpr int kChanges = 10000;
// The application takes a step for every so many changes at least, so that the one is not done before the
// other has begun.
constexpr int kChangesAStep = 4;
// How many of its walks a change must have overtaken. A walk gives way to other threads in its middle, so
// nearly every one is; even on one busy processor it should be a good deal more than this.
constexpr int kLeastInterleavings = 300;

// Counts what arrives.
class CountingReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData*) override {
    ++mCalls;
    return 0;
  }
  std::atomic<int> mCalls{0};
};

// The output that a writer writes to, given to it by the application.
class WriterPlace {
 public:
  void Give(Mlox_Output* iOutputP) {
    const std::lock_guard lock(mMutex);
    mOutput = iOutputP;
  }
  Cmn_AliasedRefCountPtr<Mlox_Output> Get() {
    const std::lock_guard lock(mMutex);
    return mOutput;
  }

 private:
  std::mutex mMutex;
  Cmn_AliasedRefCountPtr<Mlox_Output> mOutput;
};

class HardwareSideStressTest : public Test_ManagerFixture {
 protected:
  HardwareSideStressTest() {
    setenv("MLOX_MIDI_DRIVERS", "loopback", 1);
    Platform_SetDirectMusicFactory(nullptr);
    for (int i = 0; i < kPairs; ++i) Platform_LoopbackPorts::Plug(PairName(i));
    ListPorts();
    for (int i = 0; i < kUserDefined; ++i) {
      Test_ModelDevice user;
      user.mUniqueID = user.mName = "user " + std::to_string(i);
      user.mHasSource = user.mHasDestination = true;
      mStudio->AddUserDefined(user);
    }
    Test_ModelStudio::Install(mStudio);
  }
  ~HardwareSideStressTest() override {
    for (WriterPlace& place : mPlaces) place.Give(nullptr);
    Manager().RemoveAllServices();
    Test_ModelStudio::Install(nullptr);
    IDirectMusicStudio::SetFactory(nullptr);
    for (int i = 0; i < kPairs; ++i) Platform_LoopbackPorts::Unplug(PairName(i));
    Test_RunDelayedDeletions();
  }

  static std::string PairName(int iPair) { return "stress pair " + std::to_string(iPair); }

  // Describes the ports of the pairs to the studio, by the GUIDs that the root gives them.
  void ListPorts() {
    IDirectMusic8* rootP = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8,
                               reinterpret_cast<void**>(&rootP)),
              S_OK);
    for (DWORD index = 0; index < 1000; ++index) {
      DMUS_PORTCAPS caps{};
      caps.dwSize = sizeof(caps);
      if (rootP->EnumPort(index, &caps) != S_OK) break;
      std::string name;
      CComBSTRLite::BSTRToString(caps.wszDescription, &name);
      for (int pair = 0; pair < kPairs; ++pair) {
        if (name == PairName(pair)) AddPort(caps, pair);
      }
    }
    rootP->Release();
  }
  void AddPort(const DMUS_PORTCAPS& iCaps, int iPair) {
    Test_ModelDevice port;
    port.mUniqueID = CComBSTRLite(iCaps.guidPort).AsString();
    port.mHasSource = iCaps.dwClass == DMUS_PC_INPUTCLASS;
    port.mHasDestination = !port.mHasSource;
    port.mName = PairName(iPair) + (port.mHasSource ? " in" : " out");
    (port.mHasSource ? mInputs : mOutputs)[static_cast<std::size_t>(iPair)] = port.mUniqueID;
    mStudio->PlugIn(port);
  }

  // ---- the plugger ----

  void Plugger() {
    std::mt19937 random(20260101);
    for (int i = 0; i < kChanges; ++i) {
      while (mChanges >= (mSteps + 1) * kChangesAStep || mIsFrozen) std::this_thread::yield();
      const std::lock_guard lock(mChangeMutex);
      ChangeSomething(random);
      ++mChanges;
    }
    mIsOver = true;
  }
  void ChangeSomething(std::mt19937& ioRandom) {
    const auto pair = static_cast<std::size_t>(ioRandom() % kPairs);
    const bool isSource = ioRandom() % 2 == 0;
    const std::string& port = (isSource ? mInputs : mOutputs)[pair];
    switch (ioRandom() % 8) {
      case 0:
        return PlugOrUnplugPair(static_cast<int>(pair));
      case 1:
      case 2:
        return mStudio->Row(port).mIsPresent ? mStudio->Unplug(port) : mStudio->Plug(port);
      case 3:
        return mStudio->Rename(port, "name " + std::to_string(ioRandom() % 1000));
      default:
        return WireOrUnwire("user " + std::to_string(ioRandom() % kUserDefined), port);
    }
  }
  // The hardware itself, which the studio then tells.
  void PlugOrUnplugPair(int iPair) {
    const auto pair = static_cast<std::size_t>(iPair);
    if (mIsPairThere[pair]) {
      Platform_LoopbackPorts::Unplug(PairName(iPair));
      mStudio->Unplug(mInputs[pair]);
      mStudio->Unplug(mOutputs[pair]);
    } else {
      Platform_LoopbackPorts::Plug(PairName(iPair));
      mStudio->Plug(mInputs[pair]);
      mStudio->Plug(mOutputs[pair]);
    }
    mIsPairThere[pair] = !mIsPairThere[pair];
  }
  void WireOrUnwire(const std::string& iUser, const std::string& iPort) {
    if (mWires.insert({iUser, iPort}).second) return mStudio->Wire(iUser, iPort);
    mWires.erase({iUser, iPort});
    mStudio->Unwire(iUser, iPort);
  }

  // ---- the writers ----

  void Writer(int iWriter) {
    const Mlox_OutputContextRef context = Manager().GetDefaultOutputContext();
    const auto pitch = static_cast<signed char>(60 + iWriter);
    while (!mIsOver) {
      if (const auto output = mPlaces[static_cast<std::size_t>(iWriter)].Get()) {
        output->WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(pitch, 100), context);
        output->WriteEvent(Mdie_Timestamp(), Mdie_NoteOffEvent(pitch, 64), context);
        mWrites += 2;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
  }

  // ---- the application ----

  // Counts and fetches while everything changes: whatever comes must be usable.
  void Walk() {
    const int before = mChanges;
    const int devices = Manager().GetNumberOfOutputDevices();
    const int inputs = Manager().GetNumberOfInputs();
    std::this_thread::yield();
    std::size_t characters = 0;
    for (int i = 0; i < devices; ++i) {
      Mlox_Device* deviceP = Manager().GetOutputDevice(i);
      if (deviceP == nullptr) continue;
      characters += deviceP->GetName().size();
      Mlox_Output* outputP = deviceP->GetCommonOutput();
      if (outputP != nullptr && i < kWriters) mPlaces[static_cast<std::size_t>(i)].Give(outputP);
    }
    for (int i = 0; i < inputs; ++i) {
      const Mlox_InputRef input = Manager().GetInput(i);
      if (input) characters += input->GetName().size() + (input->IsMidiChannelAvailable(0) ? 1 : 0);
    }
    mCharacters += characters;
    if (mChanges != before) ++mInterleavings;
  }

  void Connect(Mlox_InputPort& ioPort) {
    Mlox_InputList inputs;
    Manager().GetInputs(&inputs, static_cast<Mlox_EInputVirtualSelection>(2),
                        static_cast<Mlox_EInputSyncSelection>(2));
    ioPort.ConnectToInputs(inputs);
    ++mConnections;
  }

  // Holds the changes for as long as it lives.
  class Freeze {
   public:
    explicit Freeze(HardwareSideStressTest& ioTest) : mTest(ioTest) {
      mTest.mIsFrozen = true;
      mTest.mChangeMutex.lock();
    }
    ~Freeze() {
      mTest.mIsFrozen = false;
      mTest.mChangeMutex.unlock();
    }
    Freeze(const Freeze&) = delete;
    Freeze& operator=(const Freeze&) = delete;

   private:
    HardwareSideStressTest& mTest;
  };

  // The names that the model says are to be seen, how often each.
  std::map<std::string, int> Expected(bool iIsSource) const {
    std::map<std::string, int> names;
    for (const std::string& id : mStudio->Visible(iIsSource)) ++names[mStudio->Row(id).mName];
    return names;
  }

  void Compare() {
    const Freeze freeze(*this);
    std::map<std::string, int> devices;
    for (int i = 0, count = Manager().GetNumberOfOutputDevices(); i < count; ++i)
      ++devices[Manager().GetOutputDevice(i)->GetName()];
    std::map<std::string, int> inputs;
    for (int i = 0, count = Manager().GetNumberOfInputs(); i < count; ++i)
      ++inputs[Manager().GetInput(i)->GetName()];
    ASSERT_EQ(devices, Expected(false)) << "after change " << mChanges;
    ASSERT_EQ(inputs, Expected(true)) << "after change " << mChanges;
  }

  void Application(Mlox_InputPort& ioPort) {
    while (!mIsOver) {
      Manager().CheckStudioSetup();
      Walk();
      Compare();
      if (HasFatalFailure()) break;
      if (mSteps % 16 == 0) Connect(ioPort);
      ++mSteps;
    }
    mSteps = kChanges;  // lets the plugger come to its end, whatever happened
  }

  std::shared_ptr<Test_ModelStudio> mStudio = std::make_shared<Test_ModelStudio>();
  Mem2_MasterAllocator mAllocator;
  Test_FakeAppCallback mAppCallback;
  std::array<std::string, kPairs> mInputs;
  std::array<std::string, kPairs> mOutputs;
  std::array<bool, kPairs> mIsPairThere{true, true, true, true};
  std::set<std::pair<std::string, std::string>> mWires;
  std::mutex mChangeMutex;
  std::atomic<bool> mIsFrozen{false};
  std::atomic<bool> mIsOver{false};
  std::atomic<int> mChanges{0};
  std::atomic<int> mSteps{0};
  std::atomic<int> mWrites{0};
  std::array<WriterPlace, kWriters> mPlaces;
  int mInterleavings = 0;
  int mConnections = 0;
  std::size_t mCharacters = 0;
};

TEST_F(HardwareSideStressTest, WhatIsListedEqualsTheModelWhilePortsComeAndGoUnderWritersAndConnections) {
  for (int i = 0; i < kPairs; ++i) {
    ASSERT_FALSE(mInputs[static_cast<std::size_t>(i)].empty()) << "the root lists the pair";
    ASSERT_FALSE(mOutputs[static_cast<std::size_t>(i)].empty());
  }
  // A list may change between a count and a fetch, which the manager reports: that is part of the game.
  const Test_AssertRecorder recorder;
  ASSERT_TRUE(Manager().ActivateService(Mlox_Manager::kDirectMusicService, &mAllocator, &mAppCallback));
  CountingReceiver receiver;
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  Compare();
  std::vector<std::thread> threads;
  for (int i = 0; i < kWriters; ++i) threads.emplace_back([this, i] { Writer(i); });
  threads.emplace_back([this] { Plugger(); });
  Application(*portP);
  for (std::thread& thread : threads) thread.join();
  portP->CloseCurrentConnections();
  const int calls = receiver.mCalls;
  std::printf("%d changes, %d walks overtaken by a change, %d connections, %d events written, %d received\n",
              mChanges.load(), mInterleavings, mConnections, mWrites.load(), calls);
  EXPECT_EQ(mChanges, kChanges);
  EXPECT_GE(mInterleavings, kLeastInterleavings);
  EXPECT_GT(mWrites, 0);
  EXPECT_GT(mConnections, 0);
  EXPECT_GT(calls, 0);
  EXPECT_GT(mCharacters, 0u);
}

}  // namespace
