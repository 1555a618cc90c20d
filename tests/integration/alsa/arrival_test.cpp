// SPDX-License-Identifier: MIT
// How what arrives reaches those who wait, though all inputs share one handle of the sequencer.
#include <atomic>
#include <memory>
#include <thread>

#include "tests/integration/alsa/bare_client.h"
#include "tests/integration/alsa/root_fixture.h"

namespace {

constexpr DWORD kPatience = 600'000;

class AlsaArrival : public Test_AlsaRoot {
 protected:
  void SetUp() override {
    Test_AlsaRoot::SetUp();
    for (std::size_t i = 0; i < 2; ++i) {
      const std::string name = i == 0 ? "left hand" : "right hand";
      mPeers[i] = std::make_unique<Test_BareClient>(name, Test_BareClient::kSends);
      mPorts[i] = Open(name, true);
      ASSERT_NE(mPorts[i], nullptr);
      mEvents[i] = CreateEventW(nullptr, FALSE, FALSE, u"arrival");
    }
  }
  void TearDown() override {
    for (std::size_t i = 0; i < 2; ++i) {
      if (mPorts[i] != nullptr) {
        mPorts[i]->SetReadNotificationHandle(nullptr);
      }
      CloseHandle(mEvents[i]);
    }
    Test_AlsaRoot::TearDown();
  }
  static Test_MidiBytes Message(std::size_t iPort, int iNumber) {
    return {static_cast<std::uint8_t>(0xC0 | iPort), static_cast<std::uint8_t>(iNumber % 128)};
  }

  std::unique_ptr<Test_BareClient> mPeers[2];
  IDirectMusicPort* mPorts[2] = {};
  HANDLE mEvents[2] = {};
};

TEST_F(AlsaArrival, AHundredAtOnceOnEachOfTwoPortsArriveWithNoFurtherMessageToWakeTheReader) {
  constexpr int kMessages = 100;
  for (std::size_t port = 0; port < 2; ++port) {
    mPorts[port]->SetReadNotificationHandle(mEvents[port]);
    for (int i = 0; i < kMessages; ++i) {
      ASSERT_TRUE(mPeers[port]->Send(Message(port, i)));
    }
  }
  int arrived[2] = {0, 0};
  while (arrived[0] + arrived[1] < 2 * kMessages) {
    const DWORD served = MsgWaitForMultipleObjects(2, mEvents, FALSE, kPatience, 0);
    ASSERT_LT(served, 2u) << arrived[0] << " and " << arrived[1];
    // A batch at most, as the receive thread does.
    for (int piece = 0; piece < 39; ++piece) {
      const Test_MidiBytes bytes = ReadNow(mPorts[served]);
      if (bytes.empty()) {
        break;
      }
      ASSERT_EQ(bytes, Message(served, arrived[served]++));
    }
  }
  EXPECT_EQ(MsgWaitForMultipleObjects(2, mEvents, FALSE, 0, 0), WAIT_TIMEOUT);
}

TEST_F(AlsaArrival, WhoWaitsForOnePortHearsOfItThoughAnotherThreadReadsTheOther) {
  constexpr int kMessages = 1'000;
  std::atomic<int> heard{0};
  std::thread waiting([&] {
    mPorts[0]->SetReadNotificationHandle(mEvents[0]);
    while (heard.load() < kMessages) {
      if (MsgWaitForMultipleObjects(1, mEvents, FALSE, kPatience, 0) != WAIT_OBJECT_0) {
        return;
      }
      for (Test_MidiBytes bytes = ReadNow(mPorts[0]); !bytes.empty(); bytes = ReadNow(mPorts[0])) {
        if (bytes != Message(0, heard.load())) {
          return;
        }
        heard.fetch_add(1);
      }
    }
  });
  // This thread reads without waiting: now it takes what is the other's, now the other way round.
  int read = 0;
  for (int i = 0; i < kMessages; ++i) {
    EXPECT_TRUE(mPeers[0]->Send(Message(0, i)));
    EXPECT_TRUE(mPeers[1]->Send(Message(1, i)));
    while (ReadNow(mPorts[1]) == Message(1, read)) {
      ++read;
    }
    if (i % 8 == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  EXPECT_TRUE(Test_WaitInGuest([&] {
    read += ReadNow(mPorts[1]) == Message(1, read) ? 1 : 0;
    return read == kMessages;
  })) << read;
  waiting.join();
  EXPECT_EQ(heard.load(), kMessages);
}

}  // namespace
