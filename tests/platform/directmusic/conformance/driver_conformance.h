// SPDX-License-Identifier: MIT
/// \file
/// What every driver must do, tried on the driver and a real peer on the other side. A program a driver
/// includes this header once and instantiates the suite with its peer:
///
///   INSTANTIATE_TYPED_TEST_SUITE_P(Loopback, DriverConformance, LoopbackPeer);
///
/// The instance's name begins with the driver's, its first letter upper case: packaging/driver_counts.sh
/// counts by it.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "platform/directmusic/driver.h"
#include "tests/platform/directmusic/conformance/driver_peer.h"
#include "tests/platform/directmusic/conformance/driver_test_support.h"
#include "tests/support/sanitizers.h"

/// The driver and its peer. Peer is default constructible.
template <class Peer>
class DriverConformance : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string reason = mPeer.Start();
    ASSERT_EQ(reason, "") << "the other side can't run here";
    mDriverP = mPeer.NewDriver();
    ASSERT_NE(mDriverP, nullptr);
    ASSERT_TRUE(mDriverP->Start(&mHost, mReason)) << mReason;
  }
  void TearDown() override {
    mInputP.reset();
    mOutputP.reset();
    if (mDriverP != nullptr) {
      mDriverP->Stop();
    }
  }

  // The peer's port in the list, by direction; false while it is not there.
  bool Find(bool iIsInput, Platform_PortInfo& oPort) {
    for (const Platform_PortInfo& port : mDriverP->Ports()) {
      if (port.mIsInput == iIsInput && (iIsInput ? mPeer.IsSource(port) : mPeer.IsSink(port))) {
        oPort = port;
        return true;
      }
    }
    return false;
  }

  void OpenOutput() {
    Platform_PortInfo port;
    ASSERT_TRUE(Test_WaitFor([&] { return Find(false, port); })) << "the peer's sink is not listed";
    ASSERT_TRUE(Test_WaitFor([&] { return (mOutputP = mDriverP->OpenOutput(port)) != nullptr; }));
  }
  void OpenInput() {
    Platform_PortInfo port;
    ASSERT_TRUE(Test_WaitFor([&] { return Find(true, port); })) << "the peer's source is not listed";
    ASSERT_TRUE(Test_WaitFor([&] { return (mInputP = mDriverP->OpenInput(port)) != nullptr; }));
  }

  // Sends as the port above a driver does: what finds no room is tried again.
  void Play(std::int64_t iTime, const Test_MidiBytes& iBytes) {
    Platform_SendResult result = Platform_SendResult::kFull;
    ASSERT_TRUE(Test_WaitFor([&] {
      result = mOutputP->Send(iTime, iBytes.data(), iBytes.size());
      return result != Platform_SendResult::kFull;
    }));
    ASSERT_EQ(result, Platform_SendResult::kTaken);
  }

  // The bytes of the messages that the peer heard, once there are this many.
  std::vector<Test_MidiBytes> HeardMessages(std::size_t iCount) {
    Test_WaitFor([&] { return mPeer.Heard().size() >= iCount; });
    std::vector<Test_MidiBytes> messages;
    for (const Test_Heard& heard : mPeer.Heard()) {
      messages.push_back(heard.mBytes);
    }
    return messages;
  }
  // All bytes that the peer heard, in one row, once there are this many.
  Test_MidiBytes HeardBytes(std::size_t iCount) {
    Test_MidiBytes bytes;
    Test_WaitFor([&] {
      bytes.clear();
      for (const Test_Heard& heard : mPeer.Heard()) {
        bytes.insert(bytes.end(), heard.mBytes.begin(), heard.mBytes.end());
      }
      return bytes.size() >= iCount;
    });
    return bytes;
  }

  bool IsReadable(int iMilliseconds) const {
    pollfd poll{mInputP->Descriptor(), POLLIN, 0};
    return mInputP->HasBuffered() || ::poll(&poll, 1, iMilliseconds) == 1;
  }

  // The next piece, waited for as the receive thread does: on the descriptor. Empty when none comes.
  Test_MidiBytes Receive(std::chrono::milliseconds iPatience = Test_kDriverPatience) {
    const auto end = std::chrono::steady_clock::now() + iPatience;
    do {
      if (mInputP->Read(mPiece)) {
        return {mPiece.mBytes, mPiece.mBytes + mPiece.mLength};
      }
      IsReadable(10);
    } while (std::chrono::steady_clock::now() < end);
    return {};
  }

  // Sends until what is sent arrives, so that the way is known to be open, and reads all of it away.
  void OpenWayIn() {
    ASSERT_TRUE(mPeer.Send({0xC0, 1}));
    ASSERT_EQ(Receive(), (Test_MidiBytes{0xC0, 1}));
  }
  void OpenBothWays(Platform_PortInfo& oSource, Platform_PortInfo& oSink) {
    OpenInput();
    OpenOutput();
    OpenWayIn();
    ASSERT_TRUE(Find(true, oSource) && Find(false, oSink));
  }

  Peer mPeer;
  Test_DriverHost mHost;
  std::string mReason;
  std::unique_ptr<Platform_Driver> mDriverP;
  std::unique_ptr<Platform_DriverOutput> mOutputP;
  std::unique_ptr<Platform_DriverInput> mInputP;
  Platform_Piece mPiece;
};

TYPED_TEST_SUITE_P(DriverConformance);

TYPED_TEST_P(DriverConformance, ListsBothPortsOfThePeerOnce) {
  Platform_PortInfo source;
  Platform_PortInfo sink;
  ASSERT_TRUE(Test_WaitFor([&] { return this->Find(true, source) && this->Find(false, sink); }));
  const std::vector<Platform_PortInfo> ports = this->mDriverP->Ports();
  const auto isSource = [&](const Platform_PortInfo& iPort) {
    return iPort.mIsInput && this->mPeer.IsSource(iPort);
  };
  const auto isSink = [&](const Platform_PortInfo& iPort) {
    return !iPort.mIsInput && this->mPeer.IsSink(iPort);
  };
  EXPECT_EQ(std::count_if(ports.begin(), ports.end(), isSource), 1);
  EXPECT_EQ(std::count_if(ports.begin(), ports.end(), isSink), 1);
  for (const Platform_PortInfo& port : ports) {
    EXPECT_EQ(port.mDriver, this->mDriverP->Name());
    EXPECT_NE(port.mName, "");
    EXPECT_NE(port.mPath, "") << port.mName << ": a port without an address has no identity";
  }
}

TYPED_TEST_P(DriverConformance, OurOwnPortsAreNeverListed) {
  this->OpenOutput();
  this->OpenInput();
  this->OpenWayIn();
  const std::size_t before = this->mDriverP->Ports().size();
  this->mInputP.reset();
  this->mOutputP.reset();
  EXPECT_EQ(this->mDriverP->Ports().size(), before);
}

TYPED_TEST_P(DriverConformance, AddressesStayTheSameInTheNextRun) {
  Platform_PortInfo first;
  Platform_PortInfo second;
  for (const bool isInput : {false, true}) {
    ASSERT_TRUE(Test_WaitFor([&] { return this->Find(isInput, first); }));
    this->mDriverP->Stop();
    this->mDriverP = this->mPeer.NewDriver();
    ASSERT_TRUE(this->mDriverP->Start(&this->mHost, this->mReason)) << this->mReason;
    ASSERT_TRUE(Test_WaitFor([&] { return this->Find(isInput, second); }));
    EXPECT_EQ(first.mProduct, second.mProduct);
    EXPECT_EQ(first.mSerial, second.mSerial);
    EXPECT_EQ(first.mPath, second.mPath);
    EXPECT_EQ(first.mPlace, second.mPlace);
    EXPECT_EQ(first.mName, second.mName);
    EXPECT_EQ(first.mIsVirtual, second.mIsVirtual);
  }
}

TYPED_TEST_P(DriverConformance, ADriverThatWasStoppedStartsAgain) {
  for (int round = 0; round < 3; ++round) {
    this->mDriverP->Stop();
    ASSERT_TRUE(this->mDriverP->Start(&this->mHost, this->mReason)) << this->mReason;
  }
  this->OpenOutput();
  this->Play(kPlatform_AtOnce, {0xC0, 5});
  EXPECT_EQ(this->HeardMessages(1), (std::vector<Test_MidiBytes>{{0xC0, 5}}));
}

TYPED_TEST_P(DriverConformance, APortThatIsNotThereCantBeOpened) {
  Platform_PortInfo port;
  port.mDriver = this->mDriverP->Name();
  port.mName = port.mPath = port.mHandle = "nobody:nothing";
  EXPECT_EQ(this->mDriverP->OpenOutput(port), nullptr);
  port.mIsInput = true;
  EXPECT_EQ(this->mDriverP->OpenInput(port), nullptr);
}

TYPED_TEST_P(DriverConformance, EveryKindOfMessageGoesOutByteForByteInOrder) {
  this->OpenOutput();
  const std::vector<Test_MidiBytes> messages = {
      {0x80, 1, 2},   {0x91, 3, 4}, {0xA2, 5, 6}, {0xB3, 7, 8}, {0xC4, 9},    {0xD5, 10},
      {0xE6, 11, 12}, {0xF1, 0x23}, {0xF2, 1, 2}, {0xF3, 4},    {0xF6},       {0xF8},
      {0xFA},         {0xFB},       {0xFC},       {0xFE},       {0xF0, 0xF7}, {0xF0, 1, 2, 3, 0xF7}};
  for (const Test_MidiBytes& message : messages) {
    this->Play(kPlatform_AtOnce, message);
  }
  EXPECT_EQ(this->HeardMessages(messages.size()), messages);
}

// Early is wrong each time. Late is what a busy machine makes of it now and then: of five times one is in
// time.
TYPED_TEST_P(DriverConformance, PlaysAtTheTimeAndNeverEarly) {
  constexpr int kTries = 5;
  constexpr std::size_t kCount = 40;
  // A checker's own slowness is no matter of the driver's.
  constexpr std::int64_t kMostLate = TEST_HAS_MEMORY_OR_THREAD_CHECKER != 0 ? 250'000 : 50'000;
  this->OpenOutput();
  std::int64_t bestLast = INT64_MAX;
  for (std::size_t attempt = 0; attempt < kTries && bestLast > kMostLate; ++attempt) {
    const std::int64_t start = Sys_Clock::Microseconds() + 50'000;
    for (std::uint8_t i = 0; i < kCount; ++i) {
      this->Play(start + i * 1'234, {0xC0, i});
    }
    const std::int64_t afterWriting = Sys_Clock::Microseconds();
    ASSERT_EQ(this->HeardMessages((attempt + 1) * kCount).size(), (attempt + 1) * kCount);
    const std::vector<Test_Heard> heard = this->mPeer.Heard();
    std::int64_t last = INT64_MIN;
    for (std::uint8_t i = 0; i < kCount; ++i) {
      const Test_Heard& message = heard[attempt * kCount + i];
      ASSERT_EQ(message.mBytes, (Test_MidiBytes{0xC0, i}));
      const std::int64_t wanted = start + i * 1'234;
      EXPECT_GE(message.mTime, wanted - this->mPeer.Blur()) << int{i};
      // On a machine that stood still while we wrote, lateness is owed.
      last = std::max(last, message.mTime - std::max(wanted, afterWriting));
    }
    std::printf("at most %lld microseconds late\n", static_cast<long long>(last));
    bestLast = std::min(bestLast, last);
  }
  EXPECT_LE(bestLast, kMostLate) << "microseconds, the best of " << kTries << " times";
}

TYPED_TEST_P(DriverConformance, EqualTimesKeepTheOrderOfSending) {
  this->OpenOutput();
  const std::int64_t time = Sys_Clock::Microseconds() + 30'000;
  std::vector<Test_MidiBytes> messages;
  for (std::uint8_t i = 0; i < 100; ++i) {
    messages.push_back({0xB0, 7, i});
    this->Play(time, messages.back());
  }
  EXPECT_EQ(this->HeardMessages(100), messages);
}

TYPED_TEST_P(DriverConformance, TimesThatHavePassedArePlayedAtOnceInTheOrderOfSending) {
  this->OpenOutput();
  const std::int64_t now = Sys_Clock::Microseconds();
  this->Play(now - 1, {0xC0, 1});
  this->Play(now - 10'000'000, {0xC0, 2});
  this->Play(kPlatform_AtOnce, {0xC0, 3});
  this->Play(0, {0xC0, 4});
  EXPECT_EQ(this->HeardMessages(4),
            (std::vector<Test_MidiBytes>{{0xC0, 1}, {0xC0, 2}, {0xC0, 3}, {0xC0, 4}}));
}

TYPED_TEST_P(DriverConformance, WhatIsSentAtOnceOvertakesWhatIsSentForLater) {
  this->OpenOutput();
  std::vector<Test_MidiBytes> heard;
  std::int64_t later = 0;
  // Again, should the machine have stood still until both were due.
  do {
    const std::size_t before = this->mPeer.Heard().size();
    later = Sys_Clock::Microseconds() + 95'000;
    this->Play(later, {0xC0, 2});
    this->Play(kPlatform_AtOnce, {0xC0, 1});
    const bool isInTime = Sys_Clock::Microseconds() < later;
    heard = this->HeardMessages(before + 2);
    ASSERT_EQ(heard.size(), before + 2);
    heard.erase(heard.begin(), heard.end() - 2);
    later = isInTime ? 0 : later;
  } while (later != 0);
  EXPECT_EQ(heard, (std::vector<Test_MidiBytes>{{0xC0, 1}, {0xC0, 2}}));
}

TYPED_TEST_P(DriverConformance, FiveThousandAtOnceArriveInOrder) {
  this->OpenOutput();
  const std::vector<Test_MidiBytes> messages = Test_RandomMessages(1, 5'000);
  for (const Test_MidiBytes& message : messages) {
    this->Play(kPlatform_AtOnce, message);
  }
  EXPECT_EQ(this->HeardMessages(messages.size()), messages);
}

TYPED_TEST_P(DriverConformance, ASystemExclusiveMessageOf64KilobytesGoesOutByteForByte) {
  this->OpenOutput();
  const Test_MidiBytes sysex = Test_LongSysex(65'536);
  const std::size_t piece = this->mOutputP->PieceSize();
  ASSERT_GE(piece, 1u);
  ASSERT_LE(piece, kPlatform_MaxPiece);
  for (std::size_t at = 0; at < sysex.size(); at += piece) {
    const auto begin = sysex.begin() + static_cast<std::ptrdiff_t>(at);
    const auto end = sysex.begin() + static_cast<std::ptrdiff_t>(std::min(at + piece, sysex.size()));
    this->Play(kPlatform_AtOnce, {begin, end});
  }
  EXPECT_EQ(this->HeardBytes(sysex.size()), sysex);
}

TYPED_TEST_P(DriverConformance, DropTakesBackWhatHasNotSounded) {
  this->OpenOutput();
  const std::int64_t start = Sys_Clock::Microseconds();
  this->Play(start + 2'000'000, {0xC0, 1});
  this->mOutputP->Drop();
  this->Play(start + 2'100'000, {0xC0, 2});
  EXPECT_EQ(this->HeardMessages(1), (std::vector<Test_MidiBytes>{{0xC0, 2}}));
}

TYPED_TEST_P(DriverConformance, TheLatencyIsSmallAndNeverNegative) {
  this->OpenOutput();
  this->Play(kPlatform_AtOnce, {0xC0, 2});
  this->HeardMessages(1);
  EXPECT_GE(this->mOutputP->LatencyMicroseconds(), 0);
  EXPECT_LT(this->mOutputP->LatencyMicroseconds(), 200'000);
}

TYPED_TEST_P(DriverConformance, EveryKindOfMessageComesInWholeAndInOrder) {
  this->OpenInput();
  this->OpenWayIn();
  const std::vector<Test_MidiBytes> messages = {{0x80, 1, 2},
                                                {0x91, 3, 4},
                                                {0xA2, 5, 6},
                                                {0xB3, 7, 8},
                                                {0xC4, 9},
                                                {0xD5, 10},
                                                {0xE6, 11, 12},
                                                {0xF1, 0x23},
                                                {0xF2, 1, 2},
                                                {0xF3, 4},
                                                {0xF6},
                                                {0xF8},
                                                {0xFA},
                                                {0xFB},
                                                {0xFC},
                                                {0xF0, 0xF7},
                                                {0xF0, 1, 2, 3, 0xF7}};
  for (const Test_MidiBytes& message : messages) {
    ASSERT_TRUE(this->mPeer.Send(message));
  }
  for (const Test_MidiBytes& message : messages) {
    ASSERT_EQ(this->Receive(), message);
  }
  EXPECT_EQ(this->Receive(std::chrono::milliseconds(100)), Test_MidiBytes{});
  EXPECT_EQ(this->mInputP->LostPieces(), 0u);
}

TYPED_TEST_P(DriverConformance, ASystemExclusiveMessageOf64KilobytesComesInPiecesByteForByte) {
  this->OpenInput();
  this->OpenWayIn();
  const Test_MidiBytes sysex = Test_LongSysex(65'536);
  std::thread sender([&] {
    for (std::size_t at = 0; at < sysex.size(); at += this->mPeer.MaxPiece()) {
      const auto begin = sysex.begin() + static_cast<std::ptrdiff_t>(at);
      const auto end =
          sysex.begin() + static_cast<std::ptrdiff_t>(std::min(at + this->mPeer.MaxPiece(), sysex.size()));
      EXPECT_TRUE(this->mPeer.Send({begin, end}));
    }
  });
  Test_MidiBytes joined;
  while (joined.size() < sysex.size()) {
    const Test_MidiBytes piece = this->Receive();
    if (piece.empty()) {
      break;
    }
    EXPECT_LE(piece.size(), kPlatform_MaxPiece);
    EXPECT_EQ(piece.front() == 0xF0, joined.empty());
    joined.insert(joined.end(), piece.begin(), piece.end());
    EXPECT_EQ(piece.back() == 0xF7, joined.size() == sysex.size());
  }
  sender.join();
  EXPECT_EQ(joined, sysex);
}

TYPED_TEST_P(DriverConformance, TheDescriptorIsReadableExactlyWhileSomethingWaits) {
  this->OpenInput();
  this->OpenWayIn();
  ASSERT_GE(this->mInputP->Descriptor(), 0);
  EXPECT_FALSE(this->mInputP->Read(this->mPiece));
  EXPECT_FALSE(this->IsReadable(0));
  ASSERT_TRUE(this->mPeer.Send({0xC0, 2}));
  ASSERT_TRUE(this->mPeer.Send({0xC0, 3}));
  ASSERT_TRUE(this->IsReadable(60'000));
  EXPECT_EQ(this->Receive(), (Test_MidiBytes{0xC0, 2}));
  // The second one may still be on its way; it wakes by itself, with nothing sent behind it.
  EXPECT_TRUE(this->IsReadable(60'000));
  EXPECT_EQ(this->Receive(), (Test_MidiBytes{0xC0, 3}));
  EXPECT_FALSE(this->mInputP->Read(this->mPiece));
  EXPECT_FALSE(this->IsReadable(0));
}

TYPED_TEST_P(DriverConformance, AReaderThatComesLateFindsAThousandMessages) {
  this->OpenInput();
  this->OpenWayIn();
  const std::vector<Test_MidiBytes> messages = Test_RandomMessages(2, 1'000);
  for (const Test_MidiBytes& message : messages) {
    ASSERT_TRUE(this->mPeer.Send(message));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  for (std::size_t i = 0; i < messages.size(); ++i) {
    ASSERT_EQ(this->Receive(), messages[i]) << i;
  }
  EXPECT_EQ(this->mInputP->LostPieces(), 0u);
}

TYPED_TEST_P(DriverConformance, BothDirectionsAtOnceLoseAndDoubleNothing) {
  this->OpenInput();
  this->OpenOutput();
  this->OpenWayIn();
  const std::vector<Test_MidiBytes> in = Test_RandomMessages(3, 3'000);
  const std::vector<Test_MidiBytes> out = Test_RandomMessages(4, 3'000);
  std::thread sender([&] {
    for (const Test_MidiBytes& message : in) {
      EXPECT_TRUE(this->mPeer.Send(message));
    }
  });
  std::thread player([&] {
    for (const Test_MidiBytes& message : out) {
      this->Play(kPlatform_AtOnce, message);
    }
  });
  std::size_t count = 0;
  for (; count < in.size(); ++count) {
    const Test_MidiBytes message = this->Receive();
    EXPECT_EQ(message, in[count]) << count;
    if (message != in[count]) {
      break;
    }
  }
  sender.join();
  player.join();
  EXPECT_EQ(count, in.size());
  EXPECT_EQ(this->HeardMessages(out.size()), out);
}

TYPED_TEST_P(DriverConformance, OpensAndClosesManyTimes) {
  for (std::uint8_t round = 0; round < 20; ++round) {
    this->OpenInput();
    this->OpenOutput();
    ASSERT_TRUE(this->mPeer.Send({0xC0, round}));
    this->Play(kPlatform_AtOnce, {0xC0, round});
    ASSERT_EQ(this->Receive(), (Test_MidiBytes{0xC0, round}));
    ASSERT_EQ(this->HeardMessages(round + 1u).size(), round + 1u);
    this->mInputP.reset();
    this->mOutputP.reset();
  }
}

// A peer that can't unplug has to say so here, so that nobody takes a missing test for a passed one.
TYPED_TEST_P(DriverConformance, PortsGoAndComeBackUnderTheSameAddress) {
  ASSERT_TRUE(this->mPeer.CanUnplug());
  Platform_PortInfo source;
  Platform_PortInfo sink;
  ASSERT_NO_FATAL_FAILURE(this->OpenBothWays(source, sink));
  const int before = this->mHost.Changes();

  this->mPeer.Unplug();
  ASSERT_TRUE(Test_WaitFor([&] { return this->mHost.Changes() > before; })) << "nobody was told";
  Platform_PortInfo gone;
  EXPECT_TRUE(Test_WaitFor([&] { return !this->Find(true, gone) && !this->Find(false, gone); }));
  EXPECT_TRUE(Test_WaitFor([&] {
    const std::uint8_t note[] = {0x90, 1, 1};
    return this->mOutputP->Send(kPlatform_AtOnce, note, 3) == Platform_SendResult::kGone;
  }));
  EXPECT_EQ(this->mDriverP->OpenOutput(sink), nullptr);
  EXPECT_EQ(this->mDriverP->OpenInput(source), nullptr);
  this->mInputP.reset();
  this->mOutputP.reset();
  const std::size_t heardBefore = this->mPeer.Heard().size();
  const int between = this->mHost.Changes();

  this->mPeer.Plug();
  ASSERT_TRUE(Test_WaitFor([&] { return this->mHost.Changes() > between; })) << "nobody was told";
  Platform_PortInfo again;
  ASSERT_TRUE(Test_WaitFor([&] { return this->Find(true, again); }));
  EXPECT_EQ(again.mPath, source.mPath);
  EXPECT_EQ(again.mPlace, source.mPlace);
  ASSERT_TRUE(Test_WaitFor([&] { return this->Find(false, again); }));
  EXPECT_EQ(again.mPath, sink.mPath);
  EXPECT_EQ(again.mPlace, sink.mPlace);
  this->OpenInput();
  this->OpenOutput();
  ASSERT_TRUE(this->mPeer.Send({0xC0, 8}));
  EXPECT_EQ(this->Receive(), (Test_MidiBytes{0xC0, 8}));
  this->Play(kPlatform_AtOnce, {0xC0, 9});
  EXPECT_EQ(this->HeardMessages(heardBefore + 1).back(), (Test_MidiBytes{0xC0, 9}));
}

// Nobody looked in between, so all there is to tell it by is the port's handle. Where that is another one,
// the root lets go of what it has and opens the port again, as it does with an output that says it is gone;
// a driver that goes on by itself keeps the handle.
TYPED_TEST_P(DriverConformance, APortThatWentAndCameBetweenTwoLooksSoundsAgain) {
  ASSERT_TRUE(this->mPeer.CanUnplug());
  Platform_PortInfo source;
  Platform_PortInfo sink;
  ASSERT_NO_FATAL_FAILURE(this->OpenBothWays(source, sink));
  const std::size_t heardBefore = this->mPeer.Heard().size();
  this->mPeer.Unplug();
  this->mPeer.Plug();

  Platform_PortInfo now;
  // A server may give the new port the buffer of the old one, with what was in it last.
  EXPECT_TRUE(Test_WaitFor([&] {
    if (this->Find(true, now) && (now.mHandle != source.mHandle || this->mInputP == nullptr)) {
      this->mInputP = nullptr;
      this->mInputP = this->mDriverP->OpenInput(now);
      source = now;
    }
    this->mPeer.Send({0xC0, 8});
    return this->mInputP != nullptr &&
           this->Receive(std::chrono::milliseconds(50)) == (Test_MidiBytes{0xC0, 8});
  })) << "the input is deaf";
  EXPECT_TRUE(Test_WaitFor([&] {
    if (this->Find(false, now) && (now.mHandle != sink.mHandle || this->mOutputP == nullptr)) {
      this->mOutputP = nullptr;
      this->mOutputP = this->mDriverP->OpenOutput(now);
      sink = now;
    }
    const std::uint8_t program[] = {0xC0, 9};
    if (this->mOutputP != nullptr &&
        this->mOutputP->Send(kPlatform_AtOnce, program, 2) == Platform_SendResult::kGone) {
      this->mOutputP = nullptr;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const std::vector<Test_Heard> heard = this->mPeer.Heard();
    return heard.size() > heardBefore && heard.back().mBytes == (Test_MidiBytes{0xC0, 9});
  })) << "the output is dead";
}

REGISTER_TYPED_TEST_SUITE_P(
    DriverConformance, ListsBothPortsOfThePeerOnce, OurOwnPortsAreNeverListed,
    AddressesStayTheSameInTheNextRun, ADriverThatWasStoppedStartsAgain, APortThatIsNotThereCantBeOpened,
    EveryKindOfMessageGoesOutByteForByteInOrder, PlaysAtTheTimeAndNeverEarly, EqualTimesKeepTheOrderOfSending,
    TimesThatHavePassedArePlayedAtOnceInTheOrderOfSending, WhatIsSentAtOnceOvertakesWhatIsSentForLater,
    FiveThousandAtOnceArriveInOrder, ASystemExclusiveMessageOf64KilobytesGoesOutByteForByte,
    DropTakesBackWhatHasNotSounded, TheLatencyIsSmallAndNeverNegative,
    EveryKindOfMessageComesInWholeAndInOrder, ASystemExclusiveMessageOf64KilobytesComesInPiecesByteForByte,
    TheDescriptorIsReadableExactlyWhileSomethingWaits, AReaderThatComesLateFindsAThousandMessages,
    BothDirectionsAtOnceLoseAndDoubleNothing, OpensAndClosesManyTimes, PortsGoAndComeBackUnderTheSameAddress,
    APortThatWentAndCameBetweenTwoLooksSoundsAgain);
