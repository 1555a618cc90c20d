// SPDX-License-Identifier: MIT
// Interfaces that come and go: who they are afterwards, and whether music goes through them again.
#include <sys/wait.h>

#include <fstream>
#include <map>
#include <memory>
#include <set>

#include "tests/integration/alsa/bare_client.h"
#include "tests/integration/alsa/root_fixture.h"
#include "tests/integration/alsa/usb_gadget.h"

namespace {

constexpr char kSocket0[] = "dummy_hcd.0";
constexpr char kSocket1[] = "dummy_hcd.1";

// What a studio keeps of cards with serial numbers, for one test.
class Table final : public Platform_IdentityTable {
 public:
  std::vector<Platform_IdentityRow> Rows() override {
    const std::lock_guard lock(mMutex);
    return mRows;
  }
  void Put(const Platform_IdentityRow& iRow) override {
    const std::lock_guard lock(mMutex);
    for (Platform_IdentityRow& row : mRows) {
      if (row.mGuid == iRow.mGuid) {
        row = iRow;
        return;
      }
    }
    mRows.push_back(iRow);
  }

 private:
  std::mutex mMutex;
  std::vector<Platform_IdentityRow> mRows;
};

class AlsaHotPlug : public Test_AlsaRoot {
 protected:
  std::vector<std::string> GuidsOf(const std::string& iSocket) {
    return {GuidOf(iSocket, false), GuidOf(iSocket, true)};
  }
  // A byte each way, between the far side of an interface and the two ports that were opened long before.
  void ExpectBothWays(const Test_UsbGadget& iGadget, IDirectMusicPort* iOutputP, IDirectMusicPort* iInputP,
                      std::uint8_t iValue) {
    Test_BareClient sender("far sender", Test_BareClient::kSends);
    Test_BareClient recorder("far recorder", Test_BareClient::kRecords);
    ASSERT_TRUE(sender.ConnectTo(iGadget.FarClient(), 0));
    ASSERT_TRUE(recorder.ConnectFrom(iGadget.FarClient(), 0));
    recorder.Record();
    ASSERT_TRUE(Test_WaitInGuest([&] { return Play(iOutputP, {0xC0, iValue}) == S_OK; }));
    ASSERT_TRUE(Test_WaitInGuest([&] { return recorder.Count() > 0; }));
    EXPECT_EQ(recorder.Heard()[0].mBytes, (Test_MidiBytes{0xC0, iValue}));
    ASSERT_TRUE(sender.Send({0xC1, iValue}));
    EXPECT_EQ(Receive(iInputP), (Test_MidiBytes{0xC1, iValue}));
  }

  // Outlives the root's use of it, which ends in TearDown.
  Table mTable;
};

TEST_F(AlsaHotPlug, AnInterfaceTellsItsMakerAndModel) {
  Test_UsbGadget gadget(0, "Keys", "0001", 2);
  ASSERT_TRUE(gadget.Plug());
  Platform_PresentPort port;
  ASSERT_TRUE(Test_WaitInGuest([&] { return Find(kSocket0, true, port); }));
  EXPECT_EQ(port.mInfo.mManufacturer, "Maker");
  EXPECT_EQ(port.mInfo.mModel, "Keys");
  EXPECT_EQ(port.mInfo.mProduct, "1d6b:0104");
  EXPECT_EQ(port.mInfo.mSerial, "0001");
  EXPECT_EQ(port.mInfo.mPath, "platform/dummy_hcd.0/usb 1:1.0");
  EXPECT_EQ(port.mInfo.mName, "Keys MIDI 1");
  EXPECT_FALSE(port.mInfo.mIsVirtual);
  std::set<std::string> guids;
  ASSERT_TRUE(Test_WaitInGuest([&] {
    guids.clear();
    for (const Platform_PresentPort& present : mRecorder.Ports()) {
      if (present.mInfo.mPath.find(kSocket0) != std::string::npos) {
        guids.insert(Platform_GuidToText(present.mGuid));
      }
    }
    return guids.size() == 4;
  })) << "two sockets of two directions are four ports";
}

TEST_F(AlsaHotPlug, IdsSurviveAReplug) {
  Test_UsbGadget gadget(0, "Keys", "");
  ASSERT_TRUE(gadget.Plug());
  const std::vector<std::string> before = GuidsOf(kSocket0);
  ASSERT_NE(before[0], "");
  EXPECT_NE(before[0], before[1]);
  ASSERT_TRUE(gadget.Unplug());
  ASSERT_TRUE(IsGone(kSocket0));
  ASSERT_TRUE(gadget.Plug());
  EXPECT_EQ(GuidsOf(kSocket0), before);
}

TEST_F(AlsaHotPlug, IdsSurviveAReplugInTheOtherOrderWithAnotherDeviceBetweenAndOtherCardNumbers) {
  Test_UsbGadget first(0, "Keys", "");
  Test_UsbGadget second(1, "Keys", "");
  ASSERT_TRUE(first.Plug());
  ASSERT_TRUE(second.Plug());
  const std::vector<std::string> ofFirst = GuidsOf(kSocket0);
  const std::vector<std::string> ofSecond = GuidsOf(kSocket1);
  const int clientOfFirst = first.NearClient();
  EXPECT_NE(ofFirst, ofSecond) << "equal names on two sockets";
  ASSERT_TRUE(first.Unplug());
  ASSERT_TRUE(second.Unplug());
  ASSERT_TRUE(IsGone(kSocket0));
  ASSERT_TRUE(IsGone(kSocket1));
  ASSERT_TRUE(second.Plug());
  // Another card takes the next number.
  ASSERT_EQ(std::system("guest-modprobe -r snd-virmidi && guest-modprobe snd-virmidi"), 0);
  ASSERT_TRUE(first.Plug());
  EXPECT_NE(first.NearClient(), clientOfFirst) << "the card's number did not change: nothing is shown";
  EXPECT_EQ(GuidsOf(kSocket0), ofFirst);
  EXPECT_EQ(GuidsOf(kSocket1), ofSecond);
}

TEST_F(AlsaHotPlug, EqualNamesAndDifferentSerialsFollowTheInterfaceIntoAnotherSocket) {
  WatchWithTable(&mTable);
  std::vector<std::string> ofA;
  std::vector<std::string> ofB;
  {
    Test_UsbGadget interfaceA(0, "Keys", "AAAA");
    Test_UsbGadget interfaceB(1, "Keys", "BBBB");
    ASSERT_TRUE(interfaceA.Plug());
    ASSERT_TRUE(interfaceB.Plug());
    ofA = GuidsOf(kSocket0);
    ofB = GuidsOf(kSocket1);
    ASSERT_NE(ofA, ofB);
  }
  ASSERT_TRUE(IsGone(kSocket0));
  ASSERT_TRUE(IsGone(kSocket1));
  Test_UsbGadget interfaceB(0, "Keys", "BBBB");
  Test_UsbGadget interfaceA(1, "Keys", "AAAA");
  ASSERT_TRUE(interfaceB.Plug());
  ASSERT_TRUE(interfaceA.Plug());
  EXPECT_EQ(GuidsOf(kSocket0), ofB);
  EXPECT_EQ(GuidsOf(kSocket1), ofA);
}

TEST_F(AlsaHotPlug, EqualSerialsOnTwoSocketsAreToldApartByTheirSockets) {
  WatchWithTable(&mTable);
  Test_UsbGadget first(0, "Keys", "0000");
  Test_UsbGadget second(1, "Keys", "0000");
  ASSERT_TRUE(first.Plug());
  ASSERT_NE(GuidOf(kSocket0, true), "");
  ASSERT_TRUE(second.Plug());
  const std::vector<std::string> ofFirst = GuidsOf(kSocket0);
  const std::vector<std::string> ofSecond = GuidsOf(kSocket1);
  EXPECT_NE(ofFirst[0], ofSecond[0]);
  EXPECT_NE(ofFirst[1], ofSecond[1]);
  ASSERT_TRUE(first.Unplug());
  ASSERT_TRUE(second.Unplug());
  ASSERT_TRUE(IsGone(kSocket0));
  ASSERT_TRUE(IsGone(kSocket1));
  ASSERT_TRUE(second.Plug());
  EXPECT_EQ(GuidsOf(kSocket1), ofSecond);
  ASSERT_TRUE(first.Plug());
  EXPECT_EQ(GuidsOf(kSocket0), ofFirst);
}

TEST_F(AlsaHotPlug, AfterEachReplugAByteGoesEachWayWithNoCallOfTheApplication) {
  Test_UsbGadget gadget(0, "Keys", "0001");
  Test_UsbGadget other(1, "Keys", "0002");
  ASSERT_TRUE(gadget.Plug());
  IDirectMusicPort* const output = Open(kSocket0, false);
  IDirectMusicPort* const input = Open(kSocket0, true);
  ASSERT_TRUE(output != nullptr && input != nullptr);
  ExpectBothWays(gadget, output, input, 1);
  for (std::uint8_t round = 2; round < 5; ++round) {
    SCOPED_TRACE(int{round});
    ASSERT_TRUE(gadget.Unplug());
    // The other one comes and goes in between, so that the card comes back under another number.
    ASSERT_TRUE(round % 2 == 0 ? other.Plug() : other.Unplug());
    ASSERT_TRUE(gadget.Plug());
    ExpectBothWays(gadget, output, input, round);
  }
}

TEST_F(AlsaHotPlug, ACardThatIsBackBeforeAnybodyLookedIsConnectedAnew) {
  Test_UsbGadget gadget(0, "Keys", "0001");
  ASSERT_TRUE(gadget.Plug());
  IDirectMusicPort* const output = Open(kSocket0, false);
  IDirectMusicPort* const input = Open(kSocket0, true);
  ASSERT_TRUE(output != nullptr && input != nullptr);
  const int client = gadget.NearClient();
  for (std::uint8_t round = 1; round < 4; ++round) {
    ASSERT_TRUE(gadget.Unplug());
    ASSERT_TRUE(gadget.Plug());
    EXPECT_EQ(gadget.NearClient(), client) << "the same numbers, so that only the connection tells it";
    ExpectBothWays(gadget, output, input, round);
  }
}

TEST_F(AlsaHotPlug, AnInterfaceThatGoesInTheMiddleOfASystemExclusiveMessageHarmsNothing) {
  Test_UsbGadget gadget(0, "Keys", "0001");
  ASSERT_TRUE(gadget.Plug());
  IDirectMusicPort* const output = Open(kSocket0, false);
  IDirectMusicPort* const input = Open(kSocket0, true);
  ASSERT_TRUE(output != nullptr && input != nullptr);
  Test_MidiBytes half(20'000, 0x11);
  half.front() = 0xF0;
  ASSERT_EQ(Play(output, half), S_OK);
  ASSERT_TRUE(gadget.Unplug());
  ASSERT_TRUE(Test_WaitInGuest([&] { return Play(output, {0xF8}) != S_OK; })) << "gone, and it says so";
  ASSERT_TRUE(gadget.Plug());
  ExpectBothWays(gadget, output, input, 9);
}

TEST_F(AlsaHotPlug, AHundredRoundsOfActivateAndLetGoLeaveNothingBehind) {
  Test_UsbGadget gadget(0, "Keys", "0001");
  ASSERT_TRUE(gadget.Plug());
  IDirectMusicPort* const output = Open(kSocket0, false);
  IDirectMusicPort* const input = Open(kSocket0, true);
  ASSERT_TRUE(output != nullptr && input != nullptr);
  for (int round = 0; round < 100; ++round) {
    ASSERT_EQ(output->Activate(FALSE), S_OK);
    ASSERT_EQ(output->Activate(TRUE), S_OK);
    ASSERT_EQ(input->Activate(FALSE), S_OK);
    ASSERT_EQ(input->Activate(TRUE), S_OK);
  }
  ExpectBothWays(gadget, output, input, 7);
}

// ---- restarts ----

// Where the ids of one run wait for the next; the runner names it.
std::string IdsFile() {
  const char* const file = std::getenv("MLOX_TEST_IDS");
  return file != nullptr ? file : "/tmp/mlox_ids";
}

class AlsaIdentity : public AlsaHotPlug {
 protected:
  // One interface with a serial number, one without, plugged in the order asked for.
  std::map<std::string, std::string> Ids(bool iFirstSocketFirst) {
    mGadgets[0] = std::make_unique<Test_UsbGadget>(0, "Keys", "0001");
    mGadgets[1] = std::make_unique<Test_UsbGadget>(1, "Pads", "");
    EXPECT_TRUE(mGadgets[iFirstSocketFirst ? 0 : 1]->Plug());
    EXPECT_TRUE(mGadgets[iFirstSocketFirst ? 1 : 0]->Plug());
    std::map<std::string, std::string> ids;
    for (const std::string socket : {kSocket0, kSocket1}) {
      ids[socket + "/out"] = GuidOf(socket, false);
      ids[socket + "/in"] = GuidOf(socket, true);
    }
    ids["through/out"] = GuidOf("Midi Through", false);
    ids["through/in"] = GuidOf("Midi Through", true);
    return ids;
  }

  std::unique_ptr<Test_UsbGadget> mGadgets[2];
};

TEST_F(AlsaIdentity, IdsSurviveARestartOfTheProgram) {
  const std::map<std::string, std::string> ids = Ids(true);
  std::set<std::string> different;
  std::ofstream file(IdsFile());
  for (const auto& [place, id] : ids) {
    EXPECT_NE(id, "") << place;
    different.insert(id);
    file << place << ' ' << id << '\n';
  }
  file.close();
  EXPECT_EQ(different.size(), 6u);
  mGadgets[0].reset();
  mGadgets[1].reset();
  const int status =
      std::system("/proc/$PPID/exe --gtest_filter=AlsaIdentity.IdsAreThoseOfTheRunBefore > /tmp/again 2>&1");
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

// Only with the file of a run before, on which the runner and the test above insist.
TEST_F(AlsaIdentity, IdsAreThoseOfTheRunBefore) {
  std::map<std::string, std::string> before;
  std::ifstream file(IdsFile());
  for (std::string place, id; file >> place >> id;) {
    before[place] = id;
  }
  ASSERT_EQ(before.size(), 6u);
  EXPECT_EQ(Ids(false), before);
}

}  // namespace
