// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/send.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "cmn/sys_clock.h"
#include "platform/directmusic/loopback/loopback_driver.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"
#include "tests/tools/ports/heard_device.h"

namespace {

constexpr char kPort[] = "slow device";

std::int64_t RealMicroseconds() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// Goes at a third of the pace, so that a busy machine has time to deliver what is due.
std::int64_t SlowMicroseconds() {
  static const std::int64_t sStart = RealMicroseconds();
  return sStart + (RealMicroseconds() - sStart) / 3;
}

// A device on a wire of MIDI's speed.
class SendTest : public testing::Test, public Platform_DriverHost {
 protected:
  SendTest() {
    Sys_Clock::SetSourceForTest(SlowMicroseconds);
    Platform_LoopbackPorts::Plug(kPort);
    Platform_LoopbackPorts::SetPace(kPort, 320);
    std::string reason;
    mDriver.Start(this, reason);
    for (const Platform_PortInfo& port : mDriver.Ports()) {
      if (port.mIsInput && port.mName == kPort) mInputP = mDriver.OpenInput(port);
    }
  }
  ~SendTest() override {
    mInputP.reset();
    mDriver.Stop();
    Platform_LoopbackPorts::Unplug(kPort);
    Sys_Clock::SetSourceForTest(nullptr);
  }
  void PortsMayHaveChanged() override {}

  std::vector<int> TakeNumbers() {
    std::vector<int> numbers;
    while (mInputP->Read(mPiece)) numbers.push_back(mPiece.mBytes[1] | (mPiece.mBytes[2] << 7));
    return numbers;
  }

  Test_TempFolder mFolder;
  Test_Environment mDrivers{"MLOX_MIDI_DRIVERS", "loopback"};
  Test_Environment mDatabase{"MLOX_STUDIO_DB", mFolder / "studio.db"};
  Platform_LoopbackDriver mDriver;
  std::unique_ptr<Platform_DriverInput> mInputP;
  Platform_Piece mPiece;
};

TEST_F(SendTest, ClosesThePortWhenASlowDeviceHasTakenEverything) {
  tool::SendRequest request;
  request.mOutput = kPort;
  std::vector<int> numbers(500);  // half a second on the wire
  std::iota(numbers.begin(), numbers.end(), 0);
  for (const int number : numbers) {
    request.mBytes.push_back(fmt::format("e0 {:02x} {:02x}", number & 0x7F, number >> 7));
  }
  tool::Send(request);
  EXPECT_EQ(TakeNumbers(), numbers);
}

class InterruptedSendTest : public Test_HeardDevice {};

TEST_F(InterruptedSendTest, CutsALongMessageAtItsNextPiece) {
  tool::SendRequest request;
  request.mOutput = kPort;
  request.mSysexFile = mFolder / "long.syx";
  // Thirty thousand bytes take ten seconds.
  std::ofstream(request.mSysexFile, std::ios::binary) << '\xF0' << std::string(30000, '\x11') << '\xF7';
  auto fault = FaultOf([&] { tool::Send(request); });
  ASSERT_TRUE(WaitUntilHeard(3));
  Interrupt();
  const std::size_t pieces = Heard().size();
  EXPECT_EQ(fault.get(), "interrupted");
  EXPECT_LT(Heard().size(), pieces + 50) << "of 118";
}

TEST_F(InterruptedSendTest, TellsOfAPortThatGoesDuringALongMessage) {
  tool::SendRequest request;
  request.mOutput = kPort;
  request.mSysexFile = mFolder / "long.syx";
  std::ofstream(request.mSysexFile, std::ios::binary) << '\xF0' << std::string(3000, '\x11') << '\xF7';
  auto fault = FaultOf([&] { tool::Send(request); });
  ASSERT_TRUE(WaitUntilHeard(3));
  Platform_LoopbackPorts::Unplug(kPort);
  EXPECT_EQ(fault.get(), "1 of 1 messages fell into a gap of the port");
}

class HeardSendTest : public Test_HeardDevice {};

TEST_F(HeardSendTest, EveryMessageGoesOutByteForByteAlsoANoteOnOfVelocity0) {
  tool::SendRequest request;
  request.mOutput = kPort;
  request.mBytes = {
      "90 3c 64 93 3c 00 80 3c 00 b5 7b 00 bf 78 00 c1 05 e2 00 40 f1 12 f2 01 02 f3 04 f6 f8 fa"};
  const Test_AssertRecorder recorder;
  tool::Send(request);
  EXPECT_EQ(recorder.Count(), 0);
  const std::vector<Bytes> messages = {
      {0x90, 60, 100}, {0x93, 60, 0}, {0x80, 60, 0}, {0xB5, 123, 0}, {0xBF, 120, 0}, {0xC1, 5}, {0xE2, 0, 64},
      {0xF1, 0x12},    {0xF2, 1, 2},  {0xF3, 4},     {0xF6},         {0xF8},         {0xFA}};
  EXPECT_EQ(Heard(), messages);
}

}  // namespace
