// SPDX-License-Identifier: MIT
// What the receive thread does for each message takes no memory: reading a batch, through the real root, port
// and buffer over the loopback driver, and asking a receiver for an id.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/enumports.h"
#include "platform/directmusic/loopback/loopback_driver.h"
#include "tests/mlox/mlox_directmusic/receive_support.h"
#include "tests/support/fake_studio.h"
#include "tests/support/realtime/realtime_traps.h"
#include "tests/support/test_environment.h"

namespace {

using Access = Test_ReceiveTaskAccess;

constexpr char kPairName[] = "receive path";
constexpr int kQuestions = 1000;

std::uint64_t AllocationsOf(const std::function<void()>& iFunction) {
  Test_ClearTraps();
  const Test_TrapScope traps;
  iFunction();
  return Test_TrapScope::Caught().mAllocations;
}

class ReceivePathTest : public ::testing::Test {
 protected:
  ReceivePathTest() {
    Platform_LoopbackPorts::Plug(kPairName);
    mRootP = DirectMusicClient::GetDirectMusicPtr(true);
    EnumPorts(*mRootP, [this](const DMUS_PORTCAPS& iCaps) {
      if (DescriptionOf(iCaps) != kPairName) return;
      DMUS_PORTPARAMS8 params = {};
      params.dwSize = sizeof(params);
      const bool isInput = iCaps.dwClass == DMUS_PC_INPUTCLASS;
      mRootP->CreatePort(iCaps.guidPort, &params, isInput ? &mInputP : &mOutputP, nullptr);
    });
  }
  ~ReceivePathTest() override {
    for (IDirectMusicPort* portP : {mInputP, mOutputP}) {
      if (portP == nullptr) continue;
      portP->Activate(FALSE);
      portP->Release();
    }
    mRootP->Release();
    Platform_LoopbackPorts::Unplug(kPairName);
  }

  void Send(std::uint8_t iPitch) const {
    IDirectMusicBuffer* bufferP = nullptr;
    ASSERT_EQ(DirectMusicClient::CreateMusicBuffer(16, &bufferP), S_OK);
    BYTE bytes[] = {0x90, iPitch, 100};
    bufferP->PackUnstructured(INT64_MIN, 1, sizeof(bytes), bytes);
    EXPECT_EQ(mOutputP->PlayBuffer(bufferP), S_OK);
    bufferP->Release();
  }

  Test_Environment mDrivers{"MLOX_MIDI_DRIVERS", "loopback"};
  IDirectMusic8* mRootP = nullptr;
  IDirectMusicPort* mInputP = nullptr;
  IDirectMusicPort* mOutputP = nullptr;
};

TEST_F(ReceivePathTest, ReadingABatchTakesNoMemory) {
  ASSERT_NE(mInputP, nullptr);
  ASSERT_NE(mOutputP, nullptr);
  ASSERT_EQ(mInputP->Activate(TRUE), S_OK);
  ASSERT_EQ(mOutputP->Activate(TRUE), S_OK);
  DirectMusicReceiveTask task({}, {}, {});
  const auto batch = std::make_unique<Access::Batch>();
  // Each arrives by another thread, so what was sent may take several batches; the first sets up what belongs
  // to this thread.
  std::uint64_t allocations = 0;
  const auto receive = [&](int iCount) {
    const auto until = std::chrono::steady_clock::now() + Test_kDeadline;
    for (int count = 0; count < iCount;) {
      ASSERT_LT(std::chrono::steady_clock::now(), until);
      allocations += AllocationsOf([&] { Access::Read(task, *mInputP, *batch); });
      count += batch->mCount;
      std::this_thread::yield();
    }
  };
  Send(1);
  receive(1);
  allocations = 0;
  for (std::uint8_t pitch = 0; pitch < 100; ++pitch) Send(pitch);
  receive(100);
  EXPECT_EQ(allocations, 0u);
}

TEST_F(ReceivePathTest, AskingAReceiverForAnIdTakesNoMemory) {
  const std::shared_ptr<Test_FakeStudio> studio = Test_FakeStudio::Install();
  CGenericMIDIReceiver receiver;
  for (int i = 0; i < 10; ++i) {
    receiver.AddSource(studio->IDsOf(studio->AddPort("DEV" + std::to_string(i), "Name", true)));
  }
  int listeners = 0;
  EXPECT_EQ(AllocationsOf([&] {
              for (int number = 0; number < kQuestions; ++number) {
                listeners += receiver.IsListeningToID(Mlox_InputID(3, number)) == S_OK ? 1 : 0;
              }
            }),
            0u);
  EXPECT_EQ(listeners, 0);
  Test_FakeStudio::Uninstall();
}

}  // namespace
