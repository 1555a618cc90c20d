// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/play.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <utility>

#include "cmn/sys_clock.h"
#include "mlox/mlox_manager.h"
#include "tests/support/fake_service.h"
#include "tests/support/song_builder.h"
#include "tests/tools/ports/heard_device.h"

namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

class PlayTest : public Test_HeardDevice {
 protected:
  /// A song of 96 ticks a quarter note, at 5.2 ms a tick.
  tool::PlayRequest RequestFor(const Test_Bytes& iEvents) const {
    const Test_Bytes song = Test_OneTrackSong(iEvents);
    tool::PlayRequest request;
    request.mSong = mFolder / "song.mid";
    request.mOutput = kPort;
    std::ofstream(request.mSong, std::ios::binary)
        .write(reinterpret_cast<const char*>(song.data()), static_cast<std::streamsize>(song.size()));
    return request;
  }

  /// Note-ons on channel 1 with a number each, 10 ms apart.
  static Test_Bytes NumberedNotes(int iCount) {
    Test_Bytes events;
    for (int i = 0; i < iCount; ++i) {
      events.insert(events.end(), {2, 0x90, static_cast<std::uint8_t>(i / 100 + 1),
                                   static_cast<std::uint8_t>(i % 100 + 1)});
    }
    return events;
  }

  /// Notes of 200 ms, 10 ms apart, each with a channel and a key of its own.
  static Test_Bytes LongNotes(int iCount) {
    constexpr int kLength = 20;
    const auto append = [](Test_Bytes& ioEvents, std::uint8_t iTicks, int iStatus, int iNote) {
      ioEvents.insert(ioEvents.end(), {iTicks, static_cast<std::uint8_t>(iStatus | iNote / 100),
                                       static_cast<std::uint8_t>(iNote % 100), 64});
    };
    Test_Bytes events;
    for (int i = 0; i < iCount + kLength; ++i) {
      if (i < iCount) append(events, 2, 0x90, i);
      if (i >= kLength) append(events, i < iCount ? 0 : 2, 0x80, i - kLength);
    }
    return events;
  }

  static std::vector<Bytes> AllNotesOff() {
    std::vector<Bytes> messages;
    for (std::uint8_t channel = 0; channel < 16; ++channel) {
      messages.push_back({static_cast<std::uint8_t>(0xB0 | channel), 123, 0});
    }
    return messages;
  }
};

TEST_F(PlayTest, GoesOnWhenItsPortIsBack) {
  auto request = RequestFor(NumberedNotes(2000));
  auto fault = FaultOf([&] { tool::Play(request); });
  ASSERT_TRUE(WaitUntilHeard(30));
  Platform_LoopbackPorts::Unplug(kPort);
  std::this_thread::sleep_for(200ms);
  const std::size_t before = Heard().size();
  Platform_LoopbackPorts::Plug(kPort);
  const auto notesSince = [&] {
    return std::count_if(Heard().begin() + static_cast<std::ptrdiff_t>(before), Heard().end(),
                         [](const Bytes& iBytes) { return iBytes[0] == 0x90; });
  };
  EXPECT_TRUE(WaitUntil([&] { return notesSince() >= 30; })) << "nothing sounds after the return";
  Interrupt();
  EXPECT_EQ(fault.get(), "interrupted; every note is off");
}

TEST_F(PlayTest, EndsWhatSoundedBeforeItsPortWentAsSoonAsItIsBack) {
  // Twenty keys are down at any time, and their note-offs are written ahead as well.
  auto request = RequestFor(LongNotes(1600));
  auto fault = FaultOf([&] { tool::Play(request); });
  ASSERT_TRUE(WaitUntilHeard(100));
  Platform_LoopbackPorts::Unplug(kPort);
  std::this_thread::sleep_for(200ms);
  const std::size_t before = Heard().size();
  Platform_LoopbackPorts::Plug(kPort);
  const auto isOn = [](const Bytes& iBytes) { return iBytes[0] >> 4 == 9; };
  const auto firstSince = [&] {
    return std::find_if(Heard().begin() + static_cast<std::ptrdiff_t>(before), Heard().end(), isOn);
  };
  EXPECT_TRUE(WaitUntil([&] { return firstSince() != Heard().end(); })) << "nothing sounds after the return";
  Interrupt();
  EXPECT_EQ(fault.get(), "interrupted; every note is off");
  std::set<std::pair<int, int>> down;
  std::size_t most = 0;
  for (auto at = Heard().begin(), end = firstSince(); at != end; ++at) {
    const std::pair key(at->at(0) & 0x0F, at->at(1));
    if (isOn(*at)) {
      down.insert(key);
    } else if (at->at(0) >> 4 == 8) {
      down.erase(key);
    }
    most = std::max(most, down.size());
  }
  EXPECT_GE(most, 15u);
  EXPECT_THAT(down, testing::IsEmpty()) << "what still sounds when the song goes on";
}

TEST_F(PlayTest, TellsHowMuchFellIntoTheGapOfItsPort) {
  constexpr int kNotes = 600;
  auto request = RequestFor(NumberedNotes(kNotes));
  auto fault = FaultOf([&] { tool::Play(request); });
  ASSERT_TRUE(WaitUntilHeard(30));
  Platform_LoopbackPorts::Unplug(kPort);
  std::this_thread::sleep_for(500ms);
  Platform_LoopbackPorts::Plug(kPort);
  const std::string text = fault.get();
  int lost = 0;
  ASSERT_EQ(std::sscanf(text.c_str(), "%d of 600 messages fell into a gap of the port", &lost), 1) << text;
  std::vector<Bytes> notes = Heard();
  std::erase_if(notes, [](const Bytes& iBytes) { return iBytes[0] != 0x90; });
  EXPECT_GE(lost, 10);
  EXPECT_LE(notes.size() + static_cast<std::size_t>(lost), static_cast<std::size_t>(kNotes));
}

TEST_F(PlayTest, TellsThatWhatFollowedWasLostWhenItsPortStaysAway) {
  auto request = RequestFor(NumberedNotes(400));
  auto fault = FaultOf([&] { tool::Play(request); });
  ASSERT_TRUE(WaitUntilHeard(10));
  Platform_LoopbackPorts::Unplug(kPort);
  EXPECT_THAT(fault.get(), HasSubstr(" of 400 messages fell into a gap of the port"));
}

TEST_F(PlayTest, TurnsOffWhatSoundsWhereTheSongIsCut) {
  // Two keys and both pedals are down at the cut, one key is up again; what follows is cut off.
  auto request = RequestFor({0, 0x90, 60, 100, 0, 0x93, 61, 100, 0,  0x95, 62, 100, 10, 0x85, 62, 64,
                             0, 0xB3, 64, 127, 0, 0xBF, 66, 127, 96, 0x80, 60, 64,  0,  0x83, 61, 64});
  request.mSeconds = 0.3;
  EXPECT_EQ(FaultOf([&] { tool::Play(request); }).get(), "");
  ASSERT_GE(Heard().size(), 6u);
  EXPECT_THAT(std::vector(Heard().begin() + 6, Heard().end()),
              ElementsAre(Bytes{0x80, 60, 64}, Bytes{0x83, 61, 64}, Bytes{0xB3, 64, 0}, Bytes{0xBF, 66, 0}));
}

TEST_F(PlayTest, AddsNothingToASongThatEndsByItself) {
  auto request = RequestFor({0, 0x90, 60, 100, 20, 0x90, 61, 100});
  request.mSeconds = 1000;
  EXPECT_EQ(FaultOf([&] { tool::Play(request); }).get(), "");
  EXPECT_THAT(Heard(), ElementsAre(Bytes{0x90, 60, 100}, Bytes{0x90, 61, 100}));
}

TEST_F(PlayTest, TurnsEveryNoteOffOnCtrlCWhenWhatWasWrittenHasSounded) {
  auto request = RequestFor(NumberedNotes(1000));
  auto fault = FaultOf([&] { tool::Play(request); });
  ASSERT_TRUE(WaitUntilHeard(20));
  Interrupt();
  EXPECT_EQ(fault.get(), "interrupted; every note is off");
  const std::vector<Bytes>& heard = Heard();
  ASSERT_GE(heard.size(), 20u + 16u);
  const std::vector<Bytes> end(heard.end() - 16, heard.end());
  EXPECT_EQ(end, AllNotesOff()) << "on every channel, and behind every note";
  EXPECT_THAT(heard, Not(Contains(testing::SizeIs(1)))) << "a reset";
}

TEST_F(PlayTest, LiftsThePedalsOnCtrlCSoThatNoNoteIsHeld) {
  auto request = RequestFor(Test_Join({{0, 0xB0, 64, 127, 0, 0xB3, 66, 127}, NumberedNotes(1000)}));
  auto fault = FaultOf([&] { tool::Play(request); });
  ASSERT_TRUE(WaitUntilHeard(20));
  Interrupt();
  EXPECT_EQ(fault.get(), "interrupted; every note is off");
  const std::vector<Bytes>& heard = Heard();
  ASSERT_GE(heard.size(), 20u + 18u);
  std::vector<Bytes> expected = {{0xB0, 64, 0}, {0xB3, 66, 0}};
  for (const Bytes& message : AllNotesOff()) expected.push_back(message);
  EXPECT_EQ(std::vector(heard.end() - 18, heard.end()), expected);
}

TEST_F(PlayTest, CutsALongMessageOnCtrlCAndTurnsEveryNoteOff) {
  // Twenty thousand bytes take six seconds.
  Test_Bytes events = {0, 0x90, 60, 100, 0, 0xF0, 0x81, 0x9C, 0x20};
  events.insert(events.end(), 19999, 0x11);
  events.push_back(0xF7);
  auto request = RequestFor(events);
  auto fault = FaultOf([&] { tool::Play(request); });
  ASSERT_TRUE(WaitUntilHeard(4));
  const auto interrupt = std::chrono::steady_clock::now();
  Interrupt();
  EXPECT_EQ(fault.get(), "interrupted; every note is off");
  EXPECT_LT(std::chrono::steady_clock::now() - interrupt, 4s);
  std::size_t sysexBytes = 0;
  for (const Bytes& piece : Heard()) sysexBytes += piece[0] == 0xF0 || piece[0] < 0x80 ? piece.size() : 0;
  EXPECT_LT(sysexBytes, 10000u) << "what was left of the message went out all the same";
  EXPECT_THAT(Heard(), IsSupersetOf(AllNotesOff()));
}

TEST_F(PlayTest, LeavesOutAndCountsWhatItsOutputHasNoChannelFor) {
  // Deleted by the session, with the service.
  auto* const serviceP = new Test_FakeService;
  Test_FakeDevice& device = serviceP->AddDevice("two channels");
  for (std::size_t channel = 2; channel < 16; ++channel) device.mChannelOutputs[channel] = nullptr;
  const auto second = device.mChannelOutputs[1];
  Mlox_Manager::Singleton()->AddService(serviceP, 1);
  auto request = RequestFor({0, 0x92, 60, 100, 0, 0x91, 61, 100, 0, 0x9F, 62, 100, 0, 0xC2, 7});
  request.mOutput = device.mName;
  testing::internal::CaptureStdout();
  EXPECT_NO_THROW(tool::Play(request));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "3 messages were left out: the output doesn't listen on their channels\n1 messages played\n");
  EXPECT_EQ(second->mWrites.size(), 1u);
}

/// An output that wants what has a time a second before it, and keeps how early each write came.
class EarlyOutput : public Test_FakeOutput {
 public:
  using Test_FakeOutput::Test_FakeOutput;
  int GetTimestampedPreSendSamples(double iSampleRate) override { return static_cast<int>(iSampleRate); }
  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event&, Mlox_OutputContextRef) override {
    ASSERT_FALSE(iTimestamp.IsImmediate());
    mEarly.push_back(std::chrono::microseconds(iTimestamp.AsSample().AsInt64() - Sys_Clock::Microseconds()));
  }
  std::vector<std::chrono::microseconds> mEarly;
};

TEST_F(PlayTest, WritesEachMessageAheadByWhatItsOutputAsksFor) {
  // Deleted by the session, with the service.
  auto* const serviceP = new Test_FakeService;
  Test_FakeDevice& device = serviceP->AddDevice("wants a second");
  const auto output = [&](short iChannel) {
    return Cmn_AliasedRefCountPtr<EarlyOutput>(new EarlyOutput(&device, device.mDescriptorP, iChannel));
  };
  device.mCommonOutput = output(-1);
  const Cmn_AliasedRefCountPtr<EarlyOutput> first = output(0);
  device.mChannelOutputs[0] = first;
  Mlox_Manager::Singleton()->AddService(serviceP, 1);
  auto request = RequestFor({0, 0x90, 60, 100, 40, 0x80, 60, 64, 40, 0x90, 61, 100});
  request.mOutput = device.mName;
  tool::Play(request);
  ASSERT_EQ(first->mEarly.size(), 3u);
  for (const auto early : first->mEarly) {
    // The thread that writes wakes each 10 ms, and may be late on a busy machine.
    EXPECT_GE(early, 500ms);
    EXPECT_LE(early, 1100ms) << "more than it asked for";
  }
}

}  // namespace
