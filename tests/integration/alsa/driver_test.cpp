// SPDX-License-Identifier: MIT
// What the driver lists and what it tells, and what becomes of it when the kernel throws its queue away.
#include <sys/wait.h>
#include <unistd.h>

#include <grp.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "platform/directmusic/alsa/alsa_driver.h"
#include "tests/integration/alsa/bare_client.h"
#include "tests/integration/alsa/root_fixture.h"

namespace {

// Counts, and can be told not to return, so that the driver's thread reads nothing.
class Host final : public Platform_DriverHost {
 public:
  void PortsMayHaveChanged() override {
    std::unique_lock lock(mMutex);
    ++mChanges;
    mWake.notify_all();
    mWake.wait(lock, [this] { return !mHold; });
  }
  void Hold(bool iHold) {
    const std::lock_guard lock(mMutex);
    mHold = iHold;
    mWake.notify_all();
  }
  int Changes() {
    const std::lock_guard lock(mMutex);
    return mChanges;
  }

 private:
  std::mutex mMutex;
  std::condition_variable mWake;
  bool mHold = false;
  int mChanges = 0;
};

class AlsaDriver : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(mDriver.Start(&mHost, mReason)) << mReason; }
  void TearDown() override {
    mHost.Hold(false);
    mInputP.reset();
    mDriver.Stop();
  }

  std::vector<Platform_PortInfo> Named(const std::string& iName) {
    std::vector<Platform_PortInfo> found;
    for (const Platform_PortInfo& port : mDriver.Ports()) {
      if (port.mName == iName) {
        found.push_back(port);
      }
    }
    return found;
  }

  Host mHost;
  Platform_AlsaDriver mDriver;
  std::string mReason;
  std::unique_ptr<Platform_DriverInput> mInputP;
};

TEST_F(AlsaDriver, ADuplexPortMakesTwo) {
  const std::vector<Platform_PortInfo> through = Named("Midi Through Port-0");
  ASSERT_EQ(through.size(), 2u);
  EXPECT_NE(through[0].mIsInput, through[1].mIsInput);
  EXPECT_EQ(through[0].mPath, "kernel 14");
  EXPECT_EQ(through[0].mPlace, "0.0");
  EXPECT_EQ(through[0].mHandle, through[1].mHandle);
}

TEST_F(AlsaDriver, MidiThroughVirmidiAndApplicationsAreVirtual) {
  Test_BareClient application("some program", Test_BareClient::kSends);
  int virmidi = 0;
  for (const Platform_PortInfo& port : mDriver.Ports()) {
    EXPECT_TRUE(port.mIsVirtual) << port.mName;
    virmidi += port.mPath.find("snd_virmidi") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(virmidi, 8) << "four ports of two directions";
  EXPECT_EQ(Named("some program").size(), 1u);
  EXPECT_EQ(Named("Midi Through Port-0").size(), 2u);
}

TEST_F(AlsaDriver, SystemIsNotListed) {
  for (const Platform_PortInfo& port : mDriver.Ports()) {
    EXPECT_NE(port.mPath, "kernel 0");
    EXPECT_EQ(port.mName.find("Announce"), std::string::npos);
  }
}

TEST_F(AlsaDriver, PortsThatAreNotForExportAreNotListed) {
  Test_BareClient shy("shy program", Test_BareClient::kSends);
  snd_seq_create_simple_port(shy.Handle(), "hidden",
                             SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ | SND_SEQ_PORT_CAP_NO_EXPORT,
                             SND_SEQ_PORT_TYPE_APPLICATION);
  EXPECT_EQ(Named("shy program").size(), 1u);
  EXPECT_EQ(Named("shy program hidden").size(), 0u);
}

TEST_F(AlsaDriver, PortsThatNobodyMaySubscribeToAreNotListed) {
  Test_BareClient shy("shy program", Test_BareClient::kSends);
  snd_seq_create_simple_port(shy.Handle(), "closed", SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_WRITE,
                             SND_SEQ_PORT_TYPE_APPLICATION);
  EXPECT_EQ(Named("shy program closed").size(), 0u);
}

TEST_F(AlsaDriver, OurClientsBearTheApplicationsNameAndShowNoPortToOthers) {
  Test_BareClient other("other program", Test_BareClient::kSends);
  Test_BareClient peer("peer", Test_BareClient::kSends);
  mInputP = mDriver.OpenInput(Named("peer").at(0));
  ASSERT_NE(mInputP, nullptr);
  snd_seq_client_info_t* client = nullptr;
  snd_seq_client_info_alloca(&client);
  snd_seq_client_info_set_client(client, -1);
  int clients = 0;
  int ports = 0;
  while (snd_seq_query_next_client(other.Handle(), client) >= 0) {
    if (std::string(snd_seq_client_info_get_name(client)) != program_invocation_short_name) {
      continue;
    }
    ++clients;
    snd_seq_port_info_t* port = nullptr;
    snd_seq_port_info_alloca(&port);
    snd_seq_port_info_set_client(port, snd_seq_client_info_get_client(client));
    snd_seq_port_info_set_port(port, -1);
    while (snd_seq_query_next_port(other.Handle(), port) >= 0) {
      ++ports;
      EXPECT_NE(snd_seq_port_info_get_capability(port) & SND_SEQ_PORT_CAP_NO_EXPORT, 0u);
    }
  }
  EXPECT_EQ(clients, 2) << "announcements and data";
  EXPECT_EQ(ports, 2) << "the one that hears announcements, and the open input";
}

TEST_F(AlsaDriver, ApplicationsOfOneNameAreToldApartWhileTheyRunAtOnce) {
  auto first = std::make_unique<Test_BareClient>("twin", Test_BareClient::kSends);
  Test_BareClient second("twin", Test_BareClient::kSends);
  const std::vector<Platform_PortInfo> twins = Named("twin");
  ASSERT_EQ(twins.size(), 2u);
  EXPECT_EQ(twins[0].mPath, "application twin");
  EXPECT_EQ(twins[1].mPath, "application twin#2");
  EXPECT_EQ(twins[0].mPlace, "twin");
  first.reset();
  ASSERT_EQ(Named("twin").size(), 1u);
  EXPECT_EQ(Named("twin")[0].mPath, "application twin#2") << "it keeps its number while it runs";
}

TEST_F(AlsaDriver, AFloodThatNobodyReadsCountsALossAndScansAgain) {
  Test_BareClient peer("flood", Test_BareClient::kSends);
  mInputP = mDriver.OpenInput(Named("flood").at(0));
  ASSERT_NE(mInputP, nullptr);
  for (int i = 0; i < 3'000; ++i) {
    peer.Send({0xC0, static_cast<std::uint8_t>(i % 128)});
  }
  const int before = mHost.Changes();
  EXPECT_EQ(mInputP->LostPieces(), 0u);
  auto piece = std::make_unique<Platform_Piece>();
  EXPECT_FALSE(mInputP->Read(*piece)) << "the kernel throws the whole queue away";
  EXPECT_EQ(mInputP->LostPieces(), 1u);
  EXPECT_EQ(mHost.Changes(), before + 1);
  ASSERT_TRUE(peer.Send({0xC0, 5}));
  ASSERT_TRUE(Test_WaitInGuest([&] { return mInputP->Read(*piece); }));
  EXPECT_EQ(Test_MidiBytes(piece->mBytes, piece->mBytes + piece->mLength), (Test_MidiBytes{0xC0, 5}));
}

TEST_F(AlsaDriver, TwoThousandThatNobodyReadWaitInThePool) {
  Test_BareClient peer("flood", Test_BareClient::kSends);
  mInputP = mDriver.OpenInput(Named("flood").at(0));
  ASSERT_NE(mInputP, nullptr);
  constexpr int kMessages = 1'990;
  for (int i = 0; i < kMessages; ++i) {
    ASSERT_TRUE(peer.Send({0xC0, static_cast<std::uint8_t>(i % 128)}));
  }
  auto piece = std::make_unique<Platform_Piece>();
  for (int i = 0; i < kMessages; ++i) {
    ASSERT_TRUE(Test_WaitInGuest([&] { return mInputP->Read(*piece); })) << i;
    ASSERT_EQ(piece->mBytes[1], i % 128);
  }
  EXPECT_EQ(mInputP->LostPieces(), 0u);
}

TEST_F(AlsaDriver, AnnouncementsThatRanOverCountALossAndScanAgain) {
  Test_BareClient peer("restless", Test_BareClient::kSends);
  ASSERT_TRUE(Test_WaitInGuest([&] { return mHost.Changes() > 0; }));
  // The driver's thread is held in its host while more is announced than its queue holds.
  mHost.Hold(true);
  const int before = mHost.Changes();
  const int nudge = snd_seq_create_simple_port(peer.Handle(), "nudge", 0, SND_SEQ_PORT_TYPE_APPLICATION);
  ASSERT_GE(nudge, 0);
  ASSERT_TRUE(Test_WaitInGuest([&] { return mHost.Changes() > before; }));
  for (int i = 0; i < 1'500; ++i) {
    const int port =
        snd_seq_create_simple_port(peer.Handle(), "come and go", 0, SND_SEQ_PORT_TYPE_APPLICATION);
    ASSERT_GE(port, 0);
    snd_seq_delete_simple_port(peer.Handle(), port);
  }
  EXPECT_EQ(mDriver.LostAnnouncements(), 0u);
  const int held = mHost.Changes();
  mHost.Hold(false);
  ASSERT_TRUE(Test_WaitInGuest([&] { return mDriver.LostAnnouncements() == 1; }));
  EXPECT_TRUE(Test_WaitInGuest([&] { return mHost.Changes() > held; }));
  EXPECT_EQ(Named("restless").size(), 1u);
}

TEST_F(AlsaDriver, AnAddressThatIsUsedAnewHasAnotherHandle) {
  Test_BareClient peer("in and out", Test_BareClient::kRecords);
  const Platform_PortInfo port = Named("in and out").at(0);
  std::unique_ptr<Platform_DriverOutput> output = mDriver.OpenOutput(port);
  ASSERT_NE(output, nullptr);
  // The port goes and is back under the same number before anybody looks.
  ASSERT_EQ(snd_seq_delete_simple_port(peer.Handle(), 0), 0);
  ASSERT_EQ(snd_seq_create_simple_port(peer.Handle(), "in and out",
                                       SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE,
                                       SND_SEQ_PORT_TYPE_APPLICATION),
            0);
  const std::vector<Platform_PortInfo> after = Named("in and out");
  ASSERT_EQ(after.size(), 1u);
  EXPECT_EQ(after[0].mPath, port.mPath);
  EXPECT_NE(after[0].mHandle, port.mHandle) << "the root connects what has another handle anew";
  const std::uint8_t message[] = {0xF8};
  EXPECT_EQ(output->Send(kPlatform_AtOnce, message, 1), Platform_SendResult::kGone);
  EXPECT_EQ(mDriver.OpenOutput(port), nullptr) << "an old handle leads nowhere";
  output = mDriver.OpenOutput(after[0]);
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(output->Send(kPlatform_AtOnce, message, 1), Platform_SendResult::kTaken);
}

TEST_F(AlsaDriver, HandlesOfAnyTextOpenNothing) {
  for (const char* const handle : {"", ":", "14", "14:0", "14:0:", "14:0:0x", "-1:0:0", "14:999:0", "a:b:c",
                                   "14:0:99999999999999999999999"}) {
    Platform_PortInfo port;
    port.mHandle = handle;
    EXPECT_EQ(mDriver.OpenInput(port), nullptr) << handle;
    EXPECT_EQ(mDriver.OpenOutput(port), nullptr) << handle;
  }
}

TEST(AlsaDriverReasons, WithoutPermissionOneLineNamesTheAudioGroup) {
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0) {
      _exit(1);
    }
    Host host;
    Platform_AlsaDriver driver;
    std::string reason;
    const bool isStarted = driver.Start(&host, reason);
    const auto written = write(pipe[1], reason.data(), reason.size());
    _exit(isStarted || written < 0 ? 2 : 0);
  }
  close(pipe[1]);
  char text[512] = {};
  EXPECT_GT(read(pipe[0], text, sizeof(text) - 1), 0);
  close(pipe[0]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  const std::string reason = text;
  EXPECT_EQ(reason, "no permission for /dev/snd/seq: add the user to the `audio` group and log in again");
}

TEST(AlsaDriverReasons, WithoutTheSequencerTheReasonNamesIt) {
  ASSERT_EQ(std::rename("/dev/snd/seq", "/dev/snd/seq.away"), 0);
  Host host;
  Platform_AlsaDriver driver;
  std::string reason;
  EXPECT_FALSE(driver.Start(&host, reason));
  ASSERT_EQ(std::rename("/dev/snd/seq.away", "/dev/snd/seq"), 0);
  EXPECT_EQ(reason, "/dev/snd/seq: No such file or directory");
  EXPECT_TRUE(driver.Ports().empty());
  EXPECT_TRUE(driver.Start(&host, reason)) << "it may be tried again: " << reason;
}

}  // namespace
