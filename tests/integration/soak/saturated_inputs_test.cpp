// SPDX-License-Identifier: MIT
// Sixteen inputs that each bring as much as a wire carries, 31,250 baud for ten seconds: every byte is
// compared at the application's end.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "platform/directmusic/loopback/loopback_driver.h"
#include "tests/platform/directmusic/conformance/driver_test_support.h"
#include "tests/platform/directmusic/jack/jack_test_client.h"
#include "tests/platform/directmusic/jack/jack_test_server.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"

namespace {

constexpr int kWires = 16;
constexpr std::size_t kBytesAWire = 31'250;
constexpr std::int64_t kBytesASecond = 3'125;

std::string WireName(int iWire) { return std::string("wire ").append(std::to_string(iWire + 1)); }

// What one wire brings: messages of three bytes that tell their places, and one of two at the end.
Test_MidiBytes MessageAt(int iWire, std::size_t iByte) {
  const auto wire = static_cast<std::uint8_t>(iWire);
  const std::size_t number = iByte / 3;
  if (kBytesAWire - iByte < 3) {
    return {static_cast<std::uint8_t>(0xC0 | wire), 5};
  }
  return {static_cast<std::uint8_t>(0xE0 | wire), static_cast<std::uint8_t>(number % 128),
          static_cast<std::uint8_t>(number / 128 % 128)};
}

// Compares what comes with what was to come.
class Receiver final : public Mlox_RawMidiReceiver {
 public:
  explicit Receiver(int iWire) : mWire(iWire) {}
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    const std::size_t at = mCount.load();
    const Test_MidiBytes wanted = at < kBytesAWire ? MessageAt(mWire, at) : Test_MidiBytes();
    const Test_MidiBytes bytes(iDataP->mData, iDataP->mData + iDataP->mLength);
    mWrong.fetch_add(bytes == wanted ? 0 : 1);
    mCount.store(at + bytes.size());
    return 0;
  }
  std::size_t Count() const { return mCount.load(); }
  int Wrong() const { return mWrong.load(); }

 private:
  const int mWire;
  std::atomic<std::size_t> mCount{0};
  std::atomic<int> mWrong{0};
};

double ProcessorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& iTime) {
    return static_cast<double>(iTime.tv_sec) + static_cast<double>(iTime.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

using Send = std::function<bool(int iWire, const Test_MidiBytes& iBytes)>;

// Sends at the speed of the wire, and no faster where the machine has stood still: what is late stays late.
void Saturate(const Send& iSend) {
  const std::int64_t start = Sys_Clock::Microseconds();
  for (std::size_t sent = 0; sent < kBytesAWire;) {
    const std::int64_t now = Sys_Clock::Microseconds() - start;
    if (static_cast<std::int64_t>(sent) * 1'000'000 / kBytesASecond > now) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      continue;
    }
    const std::size_t length = MessageAt(0, sent).size();
    for (int wire = 0; wire < kWires; ++wire) {
      ASSERT_TRUE(iSend(wire, MessageAt(wire, sent)));
    }
    sent += length;
  }
}

void CompareAll(const std::string& iDriver, const std::string& iPrefix, const Send& iSend) {
  const tool::PortSession session;
  std::vector<std::unique_ptr<Receiver>> receivers;
  std::vector<tool::PortSession::Port> ports;
  for (int wire = 0; wire < kWires; ++wire) {
    receivers.push_back(std::make_unique<Receiver>(wire));
    ports.push_back(tool::PortSession::MakePort(receivers.back().get()));
    ports.back()->ConnectToInputs({tool::FindInput(session, iPrefix + WireName(wire))});
  }
  session.IdleUntil([] { return false; }, 2.0);
  const double before = ProcessorSeconds();
  const std::int64_t start = Sys_Clock::Microseconds();
  Saturate(iSend);
  std::size_t count = 0;
  int wrong = 0;
  const auto isAllThere = [&] {
    count = 0;
    wrong = 0;
    for (const auto& receiver : receivers) {
      count += receiver->Count();
      wrong += receiver->Wrong();
    }
    return count >= kWires * kBytesAWire;
  };
  EXPECT_TRUE(session.IdleUntil(isAllThere, 60.0));
  EXPECT_EQ(count, kWires * kBytesAWire);
  EXPECT_EQ(wrong, 0);
  std::printf(
      "soak: %s: %zu bytes compared at %d inputs in %.1f s, %.2f s of processor time, sender included\n",
      iDriver.c_str(), count, kWires, static_cast<double>(Sys_Clock::Microseconds() - start) / 1e6,
      ProcessorSeconds() - before);
}

TEST(SaturatedInputs, SixteenWiresOverJackArriveByteForByte) {
  const Test_TempFolder folder;
  ::setenv("MLOX_MIDI_DRIVERS", "jack", 1);
  ::setenv("MLOX_STUDIO_DB", (folder / "studio.db").c_str(), 1);
  Test_JackServer server;
  ASSERT_EQ(server.Start(), "");
  Test_JackClient sender;
  ASSERT_EQ(sender.Open("sender"), "");
  for (int wire = 0; wire < kWires; ++wire) {
    ASSERT_TRUE(sender.AddSource(WireName(wire)));
  }
  CompareAll("jack", "sender:", [&](int iWire, const Test_MidiBytes& iBytes) {
    return sender.Send(WireName(iWire), iBytes);
  });
}

class NobodyHost final : public Platform_DriverHost {
 public:
  void PortsMayHaveChanged() override {}
};

TEST(SaturatedInputs, SixteenWiresOverLoopbackArriveByteForByte) {
  const Test_TempFolder folder;
  std::string names;
  for (int wire = 0; wire < kWires; ++wire) {
    names.append(wire == 0 ? "" : ",").append(WireName(wire));
  }
  ::setenv("MLOX_MIDI_DRIVERS", "loopback", 1);
  ::setenv("MLOX_LOOPBACK_PORTS", names.c_str(), 1);
  ::setenv("MLOX_STUDIO_DB", (folder / "studio.db").c_str(), 1);
  NobodyHost host;
  Platform_LoopbackDriver farSide;
  std::string reason;
  ASSERT_TRUE(farSide.Start(&host, reason)) << reason;
  std::vector<std::unique_ptr<Platform_DriverOutput>> outputs(kWires);
  for (const Platform_PortInfo& port : farSide.Ports()) {
    for (int wire = 0; wire < kWires; ++wire) {
      if (!port.mIsInput && port.mName == WireName(wire)) {
        outputs[static_cast<std::size_t>(wire)] = farSide.OpenOutput(port);
      }
    }
  }
  CompareAll("loopback", "", [&](int iWire, const Test_MidiBytes& iBytes) {
    Platform_DriverOutput* const output = outputs[static_cast<std::size_t>(iWire)].get();
    return output != nullptr &&
           output->Send(kPlatform_AtOnce, iBytes.data(), iBytes.size()) == Platform_SendResult::kTaken;
  });
  outputs.clear();
  farSide.Stop();
}

}  // namespace
