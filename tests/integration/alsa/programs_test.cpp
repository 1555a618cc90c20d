// SPDX-License-Identifier: MIT
// Programs that nobody here wrote, on the other side of our ports: aseqdump, arecordmidi, aplaymidi.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <sstream>

#include "tests/integration/alsa/root_fixture.h"

namespace {

constexpr char kThrough[] = "Midi Through";

// A program that runs while the object lives. Ended as Ctrl-C would.
class Program {
 public:
  explicit Program(const std::string& iCommand) : mChild(fork()) {
    if (mChild == 0) {
      execl("/bin/bash", "bash", "-c", ("exec " + iCommand).c_str(), nullptr);
      _exit(127);
    }
  }
  ~Program() { Interrupt(); }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Interrupt() {
    if (mChild > 0) {
      kill(mChild, SIGINT);
      waitpid(mChild, nullptr, 0);
      mChild = -1;
    }
  }

 private:
  pid_t mChild;
};

std::string FileText(const std::string& iFile) {
  std::ifstream stream(iFile, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void Put32(std::string& ioText, std::size_t iValue) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    ioText.push_back(static_cast<char>((iValue >> shift) & 0xFF));
  }
}

// A standard MIDI file of format 0 with these messages, a tick apart; ticks of 5 milliseconds.
void WriteSong(const std::string& iFile, const std::vector<Test_MidiBytes>& iMessages) {
  std::string track;
  for (const Test_MidiBytes& message : iMessages) {
    track.push_back(1);
    auto begin = message.begin();
    if (message[0] == 0xF0) {
      track.push_back(static_cast<char>(0xF0));
      const std::size_t length = message.size() - 1;
      for (int shift = 21; shift > 0; shift -= 7) {
        track.push_back(static_cast<char>(0x80 | ((length >> shift) & 0x7F)));
      }
      track.push_back(static_cast<char>(length & 0x7F));
      ++begin;
    }
    track.append(begin, message.end());
  }
  track.append("\x01\xFF\x2F\x00", 4);
  std::string song("MThd\0\0\0\x06\0\0\0\x01\0\x64MTrk", 18);
  Put32(song, track.size());
  std::ofstream(iFile, std::ios::binary) << song << track;
}

// Notes and controllers on all channels, the same for the same seed.
std::vector<Test_MidiBytes> Song(std::uint32_t iSeed, std::size_t iCount) {
  std::mt19937 random(iSeed);
  const auto data = [&] { return static_cast<std::uint8_t>(random() % 127 + 1); };
  std::vector<Test_MidiBytes> song;
  while (song.size() < iCount) {
    const auto channel = static_cast<std::uint8_t>(random() % 16);
    switch (random() % 5) {
      case 0:
        song.push_back({static_cast<std::uint8_t>(0xB0 | channel), 7, data()});
        break;
      case 1:
        song.push_back({static_cast<std::uint8_t>(0xE0 | channel), data(), data()});
        break;
      case 2:
        song.push_back({static_cast<std::uint8_t>(0xC0 | channel), data()});
        break;
      default:
        song.push_back({static_cast<std::uint8_t>(0x90 | channel), data(), data()});
        break;
    }
  }
  return song;
}

Test_MidiBytes LongSysex() {
  Test_MidiBytes bytes(65'536);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>((i * 5 + i / 128) % 128);
  }
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

class AlsaPrograms : public Test_AlsaRoot {};

TEST_F(AlsaPrograms, AseqdumpShowsWhatAnOutputPlays) {
  Program dump("stdbuf -oL aseqdump > /tmp/dump.txt 2>&1");
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
    return FileText("/tmp/dump.txt").find(expected.back() + "\n") != std::string::npos;
  })) << FileText("/tmp/dump.txt");
  std::istringstream lines(FileText("/tmp/dump.txt"));
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
  Program dump("stdbuf -oL aseqdump > /tmp/sysex.txt 2>&1");
  IDirectMusicPort* const output = Open("aseqdump", false);
  ASSERT_NE(output, nullptr);
  const Test_MidiBytes sysex = LongSysex();
  // Paced as a wire is: 320 microseconds a byte.
  for (std::size_t at = 0; at < sysex.size(); at += 256) {
    const auto begin = sysex.begin() + static_cast<std::ptrdiff_t>(at);
    ASSERT_EQ(Play(output, {begin, begin + 256}), S_OK);
    std::this_thread::sleep_for(std::chrono::milliseconds(82));
  }
  ASSERT_TRUE(
      Test_WaitInGuest([&] { return FileText("/tmp/sysex.txt").find(" F7\n") != std::string::npos; }));
  Test_MidiBytes heard;
  std::istringstream lines(FileText("/tmp/sysex.txt"));
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
  const std::vector<Test_MidiBytes> song = Song(3, 500);
  {
    Program record("arecordmidi -p 14:0 /tmp/recorded.mid");
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
  Program play("aplaymidi -p 14:0 /tmp/recorded.mid");
  for (std::size_t i = 0; i < song.size(); ++i) {
    ASSERT_EQ(Receive(input), song[i]) << i;
  }
}

TEST_F(AlsaPrograms, WhatAplaymidiSendsArrivesCompleteAndInOrder) {
  IDirectMusicPort* const input = Open(kThrough, true);
  ASSERT_NE(input, nullptr);
  const std::vector<Test_MidiBytes> song = Song(4, 2'000);
  WriteSong("/tmp/song.mid", song);
  Program play("aplaymidi -p 14:0 /tmp/song.mid");
  for (std::size_t i = 0; i < song.size(); ++i) {
    ASSERT_EQ(Receive(input), song[i]) << i;
  }
}

TEST_F(AlsaPrograms, SixtyFourKilobytesOfSystemExclusiveFromAplaymidiArriveByteForByte) {
  IDirectMusicPort* const input = Open(kThrough, true);
  ASSERT_NE(input, nullptr);
  const Test_MidiBytes sysex = LongSysex();
  WriteSong("/tmp/long.mid", {{0x90, 60, 100}, sysex, {0x80, 60, 64}});
  Program play("aplaymidi -p 14:0 /tmp/long.mid");
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
