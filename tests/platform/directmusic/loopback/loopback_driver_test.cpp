// SPDX-License-Identifier: MIT
#include "platform/directmusic/loopback/loopback_driver.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fake_time.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr char kPair[] = "paced pair";
constexpr std::int64_t kStart = 1'000'000;

// A pair at MIDI's speed, with a clock that stands still unless the test moves it.
class LoopbackPaceTest : public testing::Test, public Platform_DriverHost {
 protected:
  LoopbackPaceTest() {
    Platform_LoopbackPorts::Plug(kPair);
    Platform_LoopbackPorts::SetPace(kPair, 320);
    std::string reason;
    mDriver.Start(this, reason);
    for (const Platform_PortInfo& port : mDriver.Ports()) {
      if (port.mName != kPair) {
        continue;
      }
      if (port.mIsInput) {
        mInputP = mDriver.OpenInput(port);
      } else {
        mOutputP = mDriver.OpenOutput(port);
      }
    }
  }
  ~LoopbackPaceTest() override {
    mInputP.reset();
    mOutputP.reset();
    mDriver.Stop();
    Platform_LoopbackPorts::Unplug(kPair);
  }
  void PortsMayHaveChanged() override {}

  void Send(const Bytes& iBytes, std::int64_t iTime = kPlatform_AtOnce) {
    EXPECT_EQ(mOutputP->Send(iTime, iBytes.data(), iBytes.size()), Platform_SendResult::kTaken);
  }
  Bytes Take() {
    return mInputP->Read(mPiece) ? Bytes(mPiece.mBytes, mPiece.mBytes + mPiece.mLength) : Bytes();
  }
  // What arrives, within a minute.
  Bytes Await() {
    for (int patience = 0; patience < 6000; ++patience) {
      if (const Bytes bytes = Take(); !bytes.empty()) {
        return bytes;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return {};
  }
  // Time enough for what is due.
  static void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(30)); }

  const Test_FakeTime mTime{kStart};
  Platform_LoopbackDriver mDriver;
  std::unique_ptr<Platform_DriverInput> mInputP;
  std::unique_ptr<Platform_DriverOutput> mOutputP;
  Platform_Piece mPiece;
};

TEST_F(LoopbackPaceTest, AMessageArrivesWhenItsLastByteHasPassed) {
  Send({0x90, 60, 100});
  Send({0xC0, 7});
  Test_FakeTime::Set(kStart + 959);
  Pause();
  EXPECT_EQ(Take(), Bytes());
  Test_FakeTime::Set(kStart + 960);
  EXPECT_EQ(Await(), (Bytes{0x90, 60, 100}));
  Test_FakeTime::Set(kStart + 960 + 639);
  Pause();
  EXPECT_EQ(Take(), Bytes());
  Test_FakeTime::Set(kStart + 960 + 640);
  EXPECT_EQ(Await(), (Bytes{0xC0, 7}));
}

TEST_F(LoopbackPaceTest, AnIdleWireBeginsAtTheTimeOfTheMessage) {
  Send({0xF8});
  Test_FakeTime::Set(kStart + 320);
  EXPECT_EQ(Await(), (Bytes{0xF8}));
  Send({0xFA}, kStart + 10'000);
  Test_FakeTime::Set(kStart + 10'319);
  Pause();
  EXPECT_EQ(Take(), Bytes());
  Test_FakeTime::Set(kStart + 10'320);
  EXPECT_EQ(Await(), (Bytes{0xFA}));
}

TEST_F(LoopbackPaceTest, WhoHasJustReadTheClockSavesTheDriverTheReading) {
  const Bytes note = {0x90, 60, 100};
  EXPECT_EQ(mOutputP->SendNow(kStart + 5'000, kPlatform_AtOnce, note.data(), note.size()),
            Platform_SendResult::kTaken);
  Test_FakeTime::Set(kStart + 5'959);
  Pause();
  EXPECT_EQ(Take(), Bytes());
  Test_FakeTime::Set(kStart + 5'960);
  EXPECT_EQ(Await(), note);
}

TEST_F(LoopbackPaceTest, WithoutAPaceNothingWaits) {
  Platform_LoopbackPorts::SetPace(kPair, 0);
  Send({0x90, 60, 100});
  Send({0xC0, 7});
  EXPECT_EQ(Await(), (Bytes{0x90, 60, 100}));
  EXPECT_EQ(Await(), (Bytes{0xC0, 7}));
}

TEST_F(LoopbackPaceTest, DroppingTakesBackWhatIsStillOnTheWire) {
  Send({0x90, 60, 100});
  Send({0x90, 61, 100});
  Test_FakeTime::Set(kStart + 960);
  EXPECT_EQ(Await(), (Bytes{0x90, 60, 100}));
  mOutputP->Drop();
  Test_FakeTime::Set(kStart + 1'000'000);
  Pause();
  EXPECT_EQ(Take(), Bytes());
}

TEST_F(LoopbackPaceTest, APairThatIsPluggedAgainIsAnotherOne) {
  const auto find = [this] {
    for (const Platform_PortInfo& port : mDriver.Ports()) {
      if (port.mName == kPair && !port.mIsInput) {
        return port;
      }
    }
    return Platform_PortInfo();
  };
  const Platform_PortInfo before = find();
  EXPECT_EQ(find().mHandle, before.mHandle) << "while it is there it stays the same";
  Platform_LoopbackPorts::Unplug(kPair);
  Platform_LoopbackPorts::Plug(kPair);
  const Platform_PortInfo after = find();
  EXPECT_EQ(after.mPath, before.mPath);
  EXPECT_NE(after.mHandle, before.mHandle);
  EXPECT_EQ(mDriver.OpenOutput(before), nullptr) << "that one has gone";
  EXPECT_NE(mDriver.OpenOutput(after), nullptr);
}

TEST_F(LoopbackPaceTest, ThePaceOfAPairThatIsNotThereIsNobodys) {
  Platform_LoopbackPorts::SetPace("nowhere", 320);
  Send({0xF8});
  Test_FakeTime::Set(kStart + 320);
  EXPECT_EQ(Await(), (Bytes{0xF8}));
}

}  // namespace
