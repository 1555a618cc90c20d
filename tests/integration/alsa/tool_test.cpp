// SPDX-License-Identifier: MIT
// The command `mlox` on a real sequencer, with programs that nobody here wrote on the other side.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/integration/alsa/programs.h"
#include "tests/integration/alsa/root_fixture.h"
#include "tests/integration/alsa/usb_gadget.h"
#include "tools/mlox/song/songreader.h"

namespace {

using nlohmann::json;

constexpr int kThrough = 14;
constexpr std::int64_t kTick = 5'000;

std::vector<std::string> Lines(const std::string& iText) {
  std::vector<std::string> lines;
  std::istringstream stream(iText);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// What aseqdump writes behind the sender's address.
std::string DumpLine(const Test_MidiBytes& iMessage) {
  const int channel = iMessage[0] & 0x0F;
  const int first = iMessage[1];
  const int second = iMessage.size() > 2 ? iMessage[2] : 0;
  switch (iMessage[0] & 0xF0) {
    case 0x80:
      return fmt::format("Note off               {:2}, note {}, velocity {}", channel, first, second);
    case 0x90:
      return fmt::format("Note on                {:2}, note {}, velocity {}", channel, first, second);
    case 0xB0:
      return fmt::format("Control change         {:2}, controller {}, value {}", channel, first, second);
    case 0xC0:
      return fmt::format("Program change         {:2}, program {}", channel, first);
    default:
      return fmt::format("Pitch bend             {:2}, value {}", channel, second * 128 + first - 8192);
  }
}

// The messages of a dump, in order; pieces of system exclusive messages are joined.
struct Dump {
  std::vector<std::string> mMessages;
  std::vector<Test_MidiBytes> mSysexes;
};

Dump ReadDump(const std::string& iFile) {
  constexpr char kMark[] = "System exclusive";
  Dump dump;
  for (const std::string& line : Lines(Test_FileText(iFile))) {
    if (line.size() <= 8 || line[3] != ':' || line.find("Port") != std::string::npos) {
      continue;
    }
    const std::size_t mark = line.find(kMark);
    if (mark == std::string::npos) {
      dump.mMessages.push_back(line.substr(8));
      continue;
    }
    std::istringstream bytes(line.substr(mark + sizeof(kMark) - 1));
    for (unsigned byte = 0; bytes >> std::hex >> byte;) {
      if (byte == 0xF0) {
        dump.mSysexes.emplace_back();
      }
      if (!dump.mSysexes.empty()) {
        dump.mSysexes.back().push_back(static_cast<std::uint8_t>(byte));
      }
    }
  }
  return dump;
}

// What arecordmidi wrote, of a thousand ticks a quarter note.
tool::Song ReadRecord(const std::string& iFile) {
  const std::string file = Test_FileText(iFile);
  return tool::SongReader({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()}).Read();
}

Test_MidiBytes BytesOf(const tool::Song& iSong, std::size_t iIndex) {
  const auto bytes = iSong.BytesOf(iSong.mMessages.at(iIndex));
  return {bytes.begin(), bytes.end()};
}

class AlsaTool : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("MLOX_MIDI_DRIVERS", "alsa", 1);
    setenv("MLOX_STUDIO_DB", "/tmp/tool.db", 1);
  }
  // The tool, which the runner names.
  static std::string Mlox(const std::string& iArguments) {
    const char* const tool = std::getenv("MLOX_TEST_TOOL");
    return (tool != nullptr ? std::string(tool) : "mlox") + " " + iArguments;
  }
  static int Run(const std::string& iArguments) { return Test_Program(Mlox(iArguments)).Wait(); }
};

TEST_F(AlsaTool, WhatPlayPutsOutIsRecordedByAseqdumpAndArecordmidiInOrderAndInTime) {
  std::vector<Test_SongMessage> song;
  std::vector<std::string> expected;
  std::vector<Test_MidiBytes> sysexes;
  for (const Test_MidiBytes& message : Test_Song(7, 600)) {
    song.push_back({static_cast<std::uint32_t>(song.size() + 1), message});
    expected.push_back(DumpLine(message));
    if (song.size() % 50 == 0) {
      sysexes.push_back(Test_LongSysex(20 + song.size() / 5));
      song.push_back({static_cast<std::uint32_t>(song.size() + 1), sysexes.back()});
    }
  }
  Test_WriteSong("/tmp/play.mid", song);
  {
    Test_Program dumping("stdbuf -oL aseqdump -p 14:0 > /tmp/played.txt 2>&1");
    Test_Program recording("arecordmidi -b 120 -t 1000 -p 14:0 /tmp/played.mid");
    ASSERT_TRUE(Test_WaitInGuest([] { return Test_ReadersOf(kThrough, 0) == 2; }));
    ASSERT_EQ(Run("play /tmp/play.mid --to 'Midi Through Port-0' > /tmp/play.out 2>&1"), 0)
        << Test_FileText("/tmp/play.out");
    ASSERT_TRUE(
        Test_WaitInGuest([&] { return ReadDump("/tmp/played.txt").mMessages.size() >= expected.size(); }));
  }
  const Dump dump = ReadDump("/tmp/played.txt");
  EXPECT_EQ(dump.mMessages, expected);
  EXPECT_EQ(dump.mSysexes, sysexes);

  const tool::Song recorded = ReadRecord("/tmp/played.mid");
  ASSERT_EQ(recorded.mDivision.mTicksPerQuarter, 1'000u);
  ASSERT_EQ(recorded.mMessages.size(), song.size());
  std::int64_t earliest = INT64_MAX;
  std::int64_t latest = INT64_MIN;
  for (std::size_t i = 0; i < song.size(); ++i) {
    ASSERT_EQ(BytesOf(recorded, i), song[i].mBytes) << i;
    // Half a millisecond each.
    const std::int64_t distance = static_cast<std::int64_t>(recorded.mMessages[i].mTick) * 500 -
                                  static_cast<std::int64_t>(song[i].mTick) * kTick;
    earliest = std::min(earliest, distance);
    latest = std::max(latest, distance);
  }
  std::printf("  recorded within %lld microseconds\n", static_cast<long long>(latest - earliest));
  EXPECT_LE(latest - earliest, 5'000);
}

TEST_F(AlsaTool, WhatSendPutsOutIsShownByAseqdumpAndRecordedByArecordmidiByteForByte) {
  const Test_MidiBytes sysex = Test_LongSysex(3'000);
  std::ofstream("/tmp/send.syx", std::ios::binary).write(reinterpret_cast<const char*>(sysex.data()), 3'000);
  {
    Test_Program dumping("stdbuf -oL aseqdump -p 14:0 > /tmp/sent.txt 2>&1");
    Test_Program recording("arecordmidi -b 120 -t 1000 -p 14:0 /tmp/sent_record.mid");
    ASSERT_TRUE(Test_WaitInGuest([] { return Test_ReadersOf(kThrough, 0) == 2; }));
    ASSERT_EQ(Run("send 'Midi Through Port-0' 93 3c 64 83 3c 40 b0 07 63 c5 0c f0 7e 7f 06 01 f7"), 0);
    ASSERT_EQ(Run("send 'Midi Through Port-0' --sysex /tmp/send.syx"), 0);
    ASSERT_TRUE(Test_WaitInGuest([] {
      const Dump dump = ReadDump("/tmp/sent.txt");
      return dump.mSysexes.size() == 2 && dump.mSysexes.back().back() == 0xF7;
    })) << Test_FileText("/tmp/sent.txt");
  }
  const std::vector<Test_MidiBytes> messages = {{0x93, 60, 100}, {0x83, 60, 64}, {0xB0, 7, 99}, {0xC5, 12}};
  const std::vector<Test_MidiBytes> sysexes = {{0xF0, 0x7E, 0x7F, 6, 1, 0xF7}, sysex};
  const Dump shown = ReadDump("/tmp/sent.txt");
  std::vector<std::string> lines;
  for (const Test_MidiBytes& message : messages) lines.push_back(DumpLine(message));
  EXPECT_EQ(shown.mMessages, lines);
  EXPECT_EQ(shown.mSysexes, sysexes);

  const tool::Song recorded = ReadRecord("/tmp/sent_record.mid");
  std::vector<Test_MidiBytes> all = messages;
  all.insert(all.end(), sysexes.begin(), sysexes.end());
  ASSERT_EQ(recorded.mMessages.size(), all.size());
  for (std::size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(BytesOf(recorded, i), all[i]) << i;
  }
}

TEST_F(AlsaTool, WhatAplaymidiSendsIsShownByMonitorCompleteAndInOrder) {
  std::vector<Test_MidiBytes> song = Test_Song(8, 1'000);
  song.insert(song.begin() + 500, Test_LongSysex(200));
  Test_WriteSong("/tmp/sent.mid", song);
  std::remove("/tmp/monitor.json");
  Test_Program monitor(Mlox("monitor 'Midi Through Port-0' --json > /tmp/monitor.json 2> /tmp/monitor.err"));
  ASSERT_TRUE(Test_WaitInGuest([] { return Test_ReadersOf(kThrough, 0) == 1; }));
  ASSERT_EQ(Test_Program("aplaymidi -p 14:0 /tmp/sent.mid").Wait(), 0);
  ASSERT_TRUE(Test_WaitInGuest([&] {
    return Lines(Test_FileText("/tmp/monitor.json")).size() >= song.size();
  })) << Test_FileText("/tmp/monitor.err");
  monitor.Interrupt();
  const std::vector<std::string> lines = Lines(Test_FileText("/tmp/monitor.json"));
  // Behind the song aplaymidi may silence what sounds.
  ASSERT_GE(lines.size(), song.size());
  std::int64_t before = 0;
  for (std::size_t i = 0; i < song.size(); ++i) {
    const json line = json::parse(lines[i]);
    ASSERT_EQ(line["bytes"].get<Test_MidiBytes>(), song[i]) << i;
    ASSERT_EQ(line["input"], "Midi Through Port-0");
    ASSERT_EQ(line["sysex_state"], song[i][0] == 0xF0 ? 1 : 0) << i;
    const std::int64_t time = line["time_us"];
    ASSERT_GE(time, before);
    before = time;
  }
}

// The way through the kernel's own port and back: what is drawn, counted and told fits together.
TEST_F(AlsaTool, LatencyDrawsEachRoundTripInTheTerminalAndInAPicture) {
  constexpr int kCount = 300;
  std::remove("/tmp/latency.svg");
  const std::string arguments = fmt::format(
      "latency --out '{0}' --in '{0}' --count {1} --svg /tmp/latency.svg", "Midi Through Port-0", kCount);
  ASSERT_EQ(Run(arguments + " > /tmp/latency.txt 2> /tmp/latency.err"), 0)
      << Test_FileText("/tmp/latency.err");
  const std::string text = Test_FileText("/tmp/latency.txt");
  std::printf("%s", text.c_str());
  std::vector<std::string> lines = Lines(text);
  ASSERT_GT(lines.size(), 2u);
  int count = 0;
  double p50 = 0;
  double p99 = 0;
  double longest = 0;
  ASSERT_EQ(std::sscanf(lines.back().c_str(), "%d messages: p50 %lf us, p99 %lf us, longest %lf us", &count,
                        &p50, &p99, &longest),
            4);
  lines.pop_back();
  EXPECT_EQ(count, kCount);
  EXPECT_TRUE(0 < p50 && p50 <= p99 && p99 <= longest) << text;
  EXPECT_LT(p50, 1'000);
  int drawn = 0;
  int bars = 0;
  double before = -1;
  for (const std::string& line : lines) {
    double from = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "%lf us", &from), 1) << line;
    EXPECT_GT(from, before);
    before = from;
    const int messages = std::atoi(line.substr(line.rfind(' ')).c_str());
    EXPECT_EQ(messages > 0, line.find('#') != std::string::npos) << line;
    bars += messages > 0 ? 1 : 0;
    drawn += messages;
  }
  EXPECT_EQ(drawn, kCount);
  const std::string picture = Test_FileText("/tmp/latency.svg");
  EXPECT_EQ(picture.rfind("<svg ", 0), 0u);
  EXPECT_NE(picture.find("</svg>"), std::string::npos);
  EXPECT_NE(picture.find(fmt::format("p50 {:.0f}, p99 {:.0f}, longest {:.0f}<", p50, p99, longest)),
            std::string::npos);
  int drawnBars = 0;
  for (const std::string& line : Lines(picture)) {
    drawnBars += line.rfind("<rect x=", 0) == 0 && line.find("height=\"0.0\"") == std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(drawnBars, bars);
}

// ---- who a port is ----

// Name of a port and kind to its id.
std::map<std::string, std::string> ListedIds() {
  std::map<std::string, std::string> ids;
  const json list = json::parse(Test_FileText("/tmp/list.json"), nullptr, false);
  for (const char* const kind : {"inputs", "outputs"}) {
    if (!list.is_object() || !list.contains(kind)) {
      continue;
    }
    for (const json& port : list[kind]) {
      ids[std::string(kind) + ": " + port["name"].get<std::string>()] = port["id"].get<std::string>();
    }
  }
  return ids;
}

TEST_F(AlsaTool, ListGivesAnInterfaceTheSameIdAfterAReplugUnderAnotherCardNumber) {
  Test_UsbGadget keys(0, "Keys", "0001");
  Test_UsbGadget pads(1, "Pads", "");
  ASSERT_TRUE(keys.Plug());
  ASSERT_TRUE(pads.Plug());
  ASSERT_EQ(Run("list --json > /tmp/list.json"), 0);
  const std::map<std::string, std::string> before = ListedIds();
  const int client = keys.NearClient();
  ASSERT_TRUE(before.contains("outputs: Keys MIDI 1") && before.contains("inputs: Pads MIDI 1"));
  ASSERT_TRUE(keys.Unplug());
  ASSERT_TRUE(pads.Unplug());
  ASSERT_TRUE(pads.Plug());
  ASSERT_TRUE(keys.Plug());
  ASSERT_NE(keys.NearClient(), client) << "the card's number did not change: nothing is shown";
  ASSERT_EQ(Run("list --json > /tmp/list.json"), 0);
  std::map<std::string, std::string> after = ListedIds();
  for (const char* const port :
       {"outputs: Keys MIDI 1", "inputs: Keys MIDI 1", "outputs: Pads MIDI 1", "inputs: Pads MIDI 1"}) {
    EXPECT_EQ(after[port], before.at(port)) << port;
  }
}

// What a boot leaves for the next one: the database of the studio, and the ids that were listed.
std::string Kept(const char* iWhat) {
  const char* const file = std::getenv("MLOX_TEST_IDS");
  return (file != nullptr ? std::string(file) : "/tmp/ids") + iWhat;
}

TEST_F(AlsaTool, ListKeepsItsIdsForTheNextBoot) {
  setenv("MLOX_STUDIO_DB", "/tmp/kept.db", 1);
  Test_UsbGadget keys(0, "Keys", "0001");
  Test_UsbGadget pads(1, "Pads", "");
  ASSERT_TRUE(keys.Plug());
  ASSERT_TRUE(pads.Plug());
  ASSERT_EQ(Run("list --json > /tmp/list.json"), 0);
  EXPECT_GE(ListedIds().size(), 6u);
  EXPECT_EQ(
      std::system(("cp /tmp/list.json " + Kept(".list") + " && cp /tmp/kept.db " + Kept(".db")).c_str()), 0);
}

TEST_F(AlsaTool, ListGivesTheIdsOfTheRunBefore) {
  ASSERT_EQ(
      std::system(("cp " + Kept(".list") + " /tmp/list.json && cp " + Kept(".db") + " /tmp/kept.db").c_str()),
      0);
  setenv("MLOX_STUDIO_DB", "/tmp/kept.db", 1);
  const std::map<std::string, std::string> before = ListedIds();
  Test_UsbGadget keys(0, "Keys", "0001");
  Test_UsbGadget pads(1, "Pads", "");
  ASSERT_TRUE(pads.Plug());
  ASSERT_TRUE(keys.Plug());
  ASSERT_EQ(Run("list --json > /tmp/list.json"), 0);
  std::map<std::string, std::string> after = ListedIds();
  for (const char* const port : {"outputs: Keys MIDI 1", "inputs: Keys MIDI 1", "outputs: Pads MIDI 1",
                                 "inputs: Pads MIDI 1", "outputs: Midi Through Port-0"}) {
    ASSERT_TRUE(before.contains(port)) << port;
    EXPECT_EQ(after[port], before.at(port)) << port;
  }
}

TEST_F(AlsaTool, WatchTellsWhenASavedReferenceIsLostAndFoundAgain) {
  Test_UsbGadget keys(0, "Keys", "0001");
  Test_UsbGadget pads(1, "Pads", "0002");
  ASSERT_TRUE(keys.Plug());
  std::remove("/tmp/watch.txt");
  Test_Program watch(Mlox("watch --follow 'Keys MIDI 1' > /tmp/watch.txt 2>&1"));
  const auto count = [](const std::string& iWhat) {
    int lines = 0;
    for (const std::string& line : Lines(Test_FileText("/tmp/watch.txt"))) {
      lines += line.find(iWhat) != std::string::npos ? 1 : 0;
    }
    return lines;
  };
  ASSERT_TRUE(Test_WaitInGuest([&] { return count("found    output  Keys MIDI 1") == 1; }))
      << Test_FileText("/tmp/watch.txt");
  for (int round = 1; round <= 2; ++round) {
    ASSERT_TRUE(keys.Unplug());
    ASSERT_TRUE(Test_WaitInGuest([&] { return count("lost     output  Keys MIDI 1") == round; }))
        << Test_FileText("/tmp/watch.txt");
    ASSERT_TRUE(round == 1 ? pads.Plug() : pads.Unplug());
    ASSERT_TRUE(keys.Plug());
    ASSERT_TRUE(Test_WaitInGuest([&] { return count("found    output  Keys MIDI 1") == round + 1; }))
        << Test_FileText("/tmp/watch.txt");
  }
}

}  // namespace
