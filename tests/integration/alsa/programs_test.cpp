// SPDX-License-Identifier: MIT
// Programs that nobody here wrote, on the other side of our ports: aseqdump, arecordmidi, aplaymidi.
#include <sstream>

#include "tests/integration/alsa/programs.h"
#include "tests/integration/alsa/root_fixture.h"

namespace {

constexpr char kThrough[] = "Midi Through";

class AlsaPrograms : public Test_AlsaRoot {};

TEST_F(AlsaPrograms, AseqdumpShowsWhatAnOutputPlays) {
  ASSERT_TRUE(IsGone("aseqdump"));
  Test_Program dump("stdbuf -oL aseqdump > /tmp/dump.txt 2>&1");
  IDirectMusicPort* const output = Open("aseqdump", false);
  ASSERT_NE(output, nullptr);
  for (const Test_MidiBytes& message : std::vector<Test_MidiBytes>{{0x93, 60, 100},
                                                                   {0x83, 60, 64},
                                                                   {0xB0, 7, 99},
                                                                   {0xC5, 12},
                                                                   {0xE0, 0, 64},
                                                                   {0xF2, 1, 2},
                                                                   {0xF8},
                                                                   {0xF0, 0x7E, 0x7F, 6, 1, 0xF7}}) {
    ASSERT_EQ(Play(output, message), S_OK);
  }
  const std::vector<std::string> expected = {"Note on                 3, note 60, velocity 100",
                                             "Note off                3, note 60, velocity 64",
                                             "Control change          0, controller 7, value 99",
                                             "Program change          5, program 12",
                                             "Pitch bend              0, value 0",
                                             "Song position pointer      value 257",
                                             "Clock",
                                             "System exclusive           F0 7E 7F 06 01 F7"};
  ASSERT_TRUE(Test_WaitInGuest([&] {
    return Test_FileText("/tmp/dump.txt").find(expected.back() + "\n") != std::string::npos;
  })) << Test_FileText("/tmp/dump.txt");
  std::istringstream lines(Test_FileText("/tmp/dump.txt"));
  std::vector<std::string> events;
  for (std::string line; std::getline(lines, line);) {
    // Behind the sender's address.
    if (line.size() > 8 && line[3] == ':' && line.find("Port") == std::string::npos) {
      events.push_back(line.substr(8));
    }
  }
  EXPECT_EQ(events, expected);
}

TEST_F(AlsaPrograms, AseqdumpShows64KilobytesOfSystemExclusiveByteForByte) {
  // Of a test before this one: what has ended is told a little later.
  ASSERT_TRUE(IsGone("aseqdump"));
  Test_Program dump("stdbuf -oL aseqdump > /tmp/sysex.txt 2>&1");
  IDirectMusicPort* const output = Open("aseqdump", false);
  ASSERT_NE(output, nullptr);
  const Test_MidiBytes sysex = Test_LongSysex();
  // Paced as a wire is: 320 microseconds a byte.
  for (std::size_t at = 0; at < sysex.size(); at += 256) {
    const auto begin = sysex.begin() + static_cast<std::ptrdiff_t>(at);
    ASSERT_EQ(Play(output, {begin, begin + 256}), S_OK);
    std::this_thread::sleep_for(std::chrono::milliseconds(82));
  }
  ASSERT_TRUE(
      Test_WaitInGuest([&] { return Test_FileText("/tmp/sysex.txt").find(" F7\n") != std::string::npos; }));
  Test_MidiBytes heard;
  std::istringstream lines(Test_FileText("/tmp/sysex.txt"));
  constexpr char kMark[] = "System exclusive";
  for (std::string line; std::getline(lines, line);) {
    const std::size_t mark = line.find(kMark);
    if (mark != std::string::npos) {
      std::istringstream bytes(line.substr(mark + sizeof(kMark) - 1));
      for (unsigned byte = 0; bytes >> std::hex >> byte;) {
        heard.push_back(static_cast<std::uint8_t>(byte));
      }
    }
  }
  EXPECT_EQ(heard, sysex);
}

// Recorded by one program and played back by another: what comes in is what went out.
TEST_F(AlsaPrograms, ArecordmidiRecordsASongThatAplaymidiGivesBackCompleteAndInOrder) {
  const std::vector<Test_MidiBytes> song = Test_Song(3, 500);
  {
    Test_Program record("arecordmidi -p 14:0 /tmp/recorded.mid");
    IDirectMusicPort* const output = Open(kThrough, false);
    ASSERT_NE(output, nullptr);
    ASSERT_TRUE(Test_WaitInGuest([] {
      return std::system("aconnect -l | grep -A2 \"'arecordmidi'\" | grep -q 'Connected From: 14:0'") == 0;
    }));
    const std::int64_t start = Sys_Clock::Microseconds() + 100'000;
    for (std::size_t i = 0; i < song.size(); ++i) {
      ASSERT_EQ(Play(output, song[i], (start + static_cast<std::int64_t>(i) * 5'000) * 10), S_OK);
    }
    std::this_thread::sleep_for(std::chrono::seconds(4));
    record.Interrupt();
  }
  IDirectMusicPort* const input = Open(kThrough, true);
  ASSERT_NE(input, nullptr);
  Test_Program play("aplaymidi -p 14:0 /tmp/recorded.mid");
  for (std::size_t i = 0; i < song.size(); ++i) {
    ASSERT_EQ(Receive(input), song[i]) << i;
  }
}

TEST_F(AlsaPrograms, WhatAplaymidiSendsArrivesCompleteAndInOrder) {
  IDirectMusicPort* const input = Open(kThrough, true);
  ASSERT_NE(input, nullptr);
  const std::vector<Test_MidiBytes> song = Test_Song(4, 2'000);
  Test_WriteSong("/tmp/song.mid", song);
  Test_Program play("aplaymidi -p 14:0 /tmp/song.mid");
  for (std::size_t i = 0; i < song.size(); ++i) {
    ASSERT_EQ(Receive(input), song[i]) << i;
  }
}

TEST_F(AlsaPrograms, SixtyFourKilobytesOfSystemExclusiveFromAplaymidiArriveByteForByte) {
  IDirectMusicPort* const input = Open(kThrough, true);
  ASSERT_NE(input, nullptr);
  const Test_MidiBytes sysex = Test_LongSysex();
  Test_WriteSong("/tmp/long.mid", {{0x90, 60, 100}, sysex, {0x80, 60, 64}});
  Test_Program play("aplaymidi -p 14:0 /tmp/long.mid");
  ASSERT_EQ(Receive(input), (Test_MidiBytes{0x90, 60, 100}));
  Test_MidiBytes joined;
  while (joined.size() < sysex.size()) {
    const Test_MidiBytes piece = Receive(input);
    ASSERT_FALSE(piece.empty());
    joined.insert(joined.end(), piece.begin(), piece.end());
  }
  EXPECT_EQ(joined, sysex);
  EXPECT_EQ(Receive(input), (Test_MidiBytes{0x80, 60, 64}));
}

}  // namespace
