// SPDX-License-Identifier: MIT
/// \file
/// What tests of drivers share: a host that counts, waits, messages to send.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

#include "platform/directmusic/driver.h"
#include "tests/platform/directmusic/conformance/driver_peer.h"

/// Counts what a driver posts.
class Test_DriverHost final : public Platform_DriverHost {
 public:
  void PortsMayHaveChanged() override { mChanges.fetch_add(1); }
  int Changes() const { return mChanges.load(); }

 private:
  std::atomic<int> mChanges{0};
};

/// Sanitizers and loaded machines are slow; every wait ends as soon as the thing has happened.
inline constexpr std::chrono::seconds Test_kDriverPatience{60};

/// Waits for a condition; false when it did not come true in time.
template <class Condition>
bool Test_WaitFor(Condition iCondition, std::chrono::milliseconds iPatience = Test_kDriverPatience) {
  const auto end = std::chrono::steady_clock::now() + iPatience;
  while (!iCondition()) {
    if (std::chrono::steady_clock::now() >= end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// Random messages of every kind but system exclusive; the same for the same seed. Note-on has a velocity
/// above 0 (there are servers that rewrite it as a note-off), and no message resets the receiver.
inline std::vector<Test_MidiBytes> Test_RandomMessages(std::uint32_t iSeed, std::size_t iCount) {
  std::mt19937 random(iSeed);
  const auto data = [&] { return static_cast<std::uint8_t>(random() % 127 + 1); };
  const auto channel = [&](unsigned iStatus) { return static_cast<std::uint8_t>(iStatus | (random() % 16)); };
  std::vector<Test_MidiBytes> messages;
  while (messages.size() < iCount) {
    switch (random() % 12) {
      case 0:
        messages.push_back({channel(0x80), data(), data()});
        break;
      case 1:
        messages.push_back({channel(0xA0), data(), data()});
        break;
      case 2:
        messages.push_back({channel(0xC0), data()});
        break;
      case 3:
        messages.push_back({channel(0xD0), data()});
        break;
      case 4:
        messages.push_back({channel(0xE0), data(), data()});
        break;
      case 5:
        messages.push_back({0xF8});
        break;
      case 6:
        messages.push_back({0xF2, data(), data()});
        break;
      case 7:
        messages.push_back({0xF3, data()});
        break;
      case 8:
        messages.push_back({channel(0xB0), static_cast<std::uint8_t>(random() % 5 + 7), data()});
        break;
      default:
        messages.push_back({channel(0x90), data(), data()});
        break;
    }
  }
  return messages;
}

/// One long system exclusive message, each of whose data bytes tells its place.
inline Test_MidiBytes Test_LongSysex(std::size_t iLength) {
  Test_MidiBytes bytes(iLength);
  for (std::size_t i = 0; i < iLength; ++i) {
    bytes[i] = static_cast<std::uint8_t>((i * 7 + i / 128) % 128);
  }
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}
