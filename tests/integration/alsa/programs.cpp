// SPDX-License-Identifier: MIT
#include "tests/integration/alsa/programs.h"

#include <alsa/asoundlib.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <random>

namespace {

void Put32(std::string& ioText, std::size_t iValue) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    ioText.push_back(static_cast<char>((iValue >> shift) & 0xFF));
  }
}

// Seven bits a byte, always four of them.
void PutLength(std::string& ioText, std::size_t iValue) {
  for (int shift = 21; shift > 0; shift -= 7) {
    ioText.push_back(static_cast<char>(0x80 | ((iValue >> shift) & 0x7F)));
  }
  ioText.push_back(static_cast<char>(iValue & 0x7F));
}

}  // namespace

Test_Program::Test_Program(const std::string& iCommand) : mChild(fork()) {
  if (mChild == 0) {
    execl("/bin/bash", "bash", "-c", ("exec " + iCommand).c_str(), nullptr);
    _exit(127);
  }
}

void Test_Program::Interrupt() {
  if (mChild > 0) {
    kill(mChild, SIGINT);
    Wait();
  }
}

int Test_Program::Wait() {
  int status = 0;
  const bool hasEnded = mChild > 0 && waitpid(mChild, &status, 0) == mChild;
  mChild = -1;
  return hasEnded && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Test_FileText(const std::string& iFile) {
  std::ifstream stream(iFile, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

int Test_ReadersOf(int iClient, int iPort) {
  snd_seq_t* handle = nullptr;
  if (snd_seq_open(&handle, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK) < 0) {
    return 0;
  }
  snd_seq_query_subscribe_t* query = nullptr;
  snd_seq_query_subscribe_alloca(&query);
  const snd_seq_addr_t root = {static_cast<unsigned char>(iClient), static_cast<unsigned char>(iPort)};
  snd_seq_query_subscribe_set_root(query, &root);
  snd_seq_query_subscribe_set_type(query, SND_SEQ_QUERY_SUBS_READ);
  int readers = 0;
  snd_seq_query_subscribe_set_index(query, readers);
  while (snd_seq_query_port_subscribers(handle, query) >= 0) {
    snd_seq_query_subscribe_set_index(query, ++readers);
  }
  snd_seq_close(handle);
  return readers;
}

void Test_WriteSong(const std::string& iFile, const std::vector<Test_SongMessage>& iMessages) {
  std::string track;
  std::uint32_t tick = 0;
  for (const Test_SongMessage& message : iMessages) {
    PutLength(track, message.mTick - tick);
    tick = message.mTick;
    auto begin = message.mBytes.begin();
    if (message.mBytes[0] == 0xF0) {
      track.push_back(static_cast<char>(0xF0));
      PutLength(track, message.mBytes.size() - 1);
      ++begin;
    }
    track.append(begin, message.mBytes.end());
  }
  track.append("\x01\xFF\x2F\x00", 4);
  // A hundred ticks a quarter note, of which there are 120 a minute.
  std::string song("MThd\0\0\0\x06\0\0\0\x01\0\x64MTrk", 18);
  Put32(song, track.size());
  std::ofstream(iFile, std::ios::binary) << song << track;
}

void Test_WriteSong(const std::string& iFile, const std::vector<Test_MidiBytes>& iMessages) {
  std::vector<Test_SongMessage> song;
  song.reserve(iMessages.size());
  for (const Test_MidiBytes& message : iMessages) {
    song.push_back({static_cast<std::uint32_t>(song.size() + 1), message});
  }
  Test_WriteSong(iFile, song);
}

std::vector<Test_MidiBytes> Test_Song(std::uint32_t iSeed, std::size_t iCount) {
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

Test_MidiBytes Test_LongSysex(std::size_t iLength) {
  Test_MidiBytes bytes(iLength);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>((i * 5 + i / 128) % 128);
  }
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}
