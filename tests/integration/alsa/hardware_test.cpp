// SPDX-License-Identifier: MIT
// The hardware service on a real sequencer: long messages beside music, and references that outlive a replug.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <thread>

#include "cmn/sys_clock.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_outputdescriptor.h"
#include "mlox/mlox_persistentinput.h"
#include "mlox/mlox_persistentoutput.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "tests/integration/alsa/bare_client.h"
#include "tests/integration/alsa/programs.h"
#include "tests/integration/alsa/root_fixture.h"
#include "tests/integration/alsa/usb_gadget.h"
#include "tools/mlox/ports/outputwriter.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"

namespace {

using tool::SongMessageKind;

constexpr char kThrough[] = "Midi Through Port-0";
constexpr std::int64_t kMicrosecondsPerByte = 320;
constexpr std::size_t kChunk = 256;

struct Received {
  std::int64_t mTime = 0;
  Test_MidiBytes mBytes;
  Mlox_MidiData::ESysexState mState = Mlox_MidiData::kNoSysex;
};

class Receiver final : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    const std::lock_guard lock(mMutex);
    mReceived.push_back(
        {iDataP->mTime, {iDataP->mData, iDataP->mData + iDataP->mLength}, iDataP->mSysexState});
    return 0;
  }
  std::vector<Received> All() const {
    const std::lock_guard lock(mMutex);
    return mReceived;
  }
  std::size_t Count() const {
    const std::lock_guard lock(mMutex);
    return mReceived.size();
  }

 private:
  mutable std::mutex mMutex;
  std::vector<Received> mReceived;
};

class AlsaHardware : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("MLOX_MIDI_DRIVERS", "alsa", 1);
    setenv("MLOX_STUDIO_DB", "/tmp/hardware.db", 1);
    mSession = std::make_unique<tool::PortSession>();
  }

  // How many outputs or inputs bear the name.
  std::size_t Outputs(const std::string& iName) const { return Named(mSession->Outputs(), iName).size(); }
  std::size_t Inputs(const std::string& iName) const { return Named(mSession->Inputs(), iName).size(); }
  template <class List>
  static List Named(const List& iAll, const std::string& iName) {
    List named;
    for (const auto& one : iAll) {
      if (one->GetName() == iName) {
        named.push_back(one);
      }
    }
    return named;
  }
  // Lets the library tell what has changed meanwhile, as an application does all the time.
  bool IdleUntil(const std::function<bool()>& iIsDone) const {
    return Test_WaitInGuest([&] {
      mSession->Idle();
      return iIsDone();
    });
  }
  void Idle(double iSeconds) const {
    mSession->IdleUntil([] { return false; }, iSeconds);
  }

  std::unique_ptr<tool::PortSession> mSession;
};

TEST_F(AlsaHardware, SixtyFourKilobytesAtTheWiresPaceComeBackInPiecesWhileNotesPlayAndAnInterfaceGoes) {
  Test_BareClient synth("synth", Test_BareClient::kRecords);
  synth.Record();
  Test_UsbGadget third(0, "Third", "0001");
  ASSERT_TRUE(third.Plug());
  ASSERT_TRUE(IdleUntil([&] { return Outputs("synth") == 1 && Outputs("Third MIDI 1") == 1; }));
  tool::OutputWriter through(tool::FindOutput(*mSession, kThrough));
  tool::OutputWriter notes(tool::FindOutput(*mSession, "synth"));
  tool::OutputWriter leaving(tool::FindOutput(*mSession, "Third MIDI 1"));
  Receiver receiver;
  const tool::PortSession::Port port = tool::PortSession::MakePort(&receiver);
  port->ConnectToInputs({tool::FindInput(*mSession, kThrough)});
  Idle(0.3);

  const Test_MidiBytes sysex = Test_LongSysex();
  const std::int64_t start = Sys_Clock::Microseconds();
  std::atomic<bool> isWritten{false};
  std::thread writer([&] {
    through.Write(Mdie_Timestamp(), SongMessageKind::kSysex, sysex);
    isWritten.store(true);
  });
  std::vector<Test_MidiBytes> played;
  bool isUnplugged = false;
  while (!isWritten.load()) {
    const auto number = static_cast<std::uint8_t>(played.size() % 128);
    played.push_back({0x95, number, 100});
    notes.Write(Mdie_Timestamp(), SongMessageKind::kChannel, played.back());
    leaving.Write(Mdie_Timestamp(), SongMessageKind::kChannel, played.back());
    if (!isUnplugged && receiver.Count() > 100) {
      isUnplugged = true;
      ASSERT_TRUE(third.Unplug());
    }
    Idle(0.1);
  }
  writer.join();
  const std::int64_t taken = Sys_Clock::Microseconds() - start;
  EXPECT_TRUE(isUnplugged);
  EXPECT_EQ(Outputs("Third MIDI 1"), 0u);
  EXPECT_GE(taken, static_cast<std::int64_t>(sysex.size() - kChunk) * kMicrosecondsPerByte);

  ASSERT_TRUE(IdleUntil([&] { return receiver.Count() >= sysex.size() / kChunk; }));
  Test_MidiBytes joined;
  for (const Received& piece : receiver.All()) {
    const std::size_t end = joined.size() + piece.mBytes.size();
    const auto state = joined.empty()        ? Mlox_MidiData::kFirstSysex
                       : end == sysex.size() ? Mlox_MidiData::kLastSysex
                                             : Mlox_MidiData::kMiddleSysex;
    EXPECT_EQ(piece.mState, state) << joined.size();
    EXPECT_GE(piece.mTime - start, static_cast<std::int64_t>(joined.size()) * kMicrosecondsPerByte)
        << "ahead of the wire";
    joined.insert(joined.end(), piece.mBytes.begin(), piece.mBytes.end());
  }
  EXPECT_EQ(joined, sysex);

  ASSERT_TRUE(IdleUntil([&] { return synth.Count() >= played.size(); }));
  std::vector<Test_MidiBytes> heard;
  for (const Test_Heard& note : synth.Heard()) {
    heard.push_back(note.mBytes);
  }
  EXPECT_EQ(heard, played);
  EXPECT_GE(played.size(), 100u);
}

TEST_F(AlsaHardware, StopPlaybackCutsALongMessageAtTheNextChunk) {
  tool::OutputWriter through(tool::FindOutput(*mSession, kThrough));
  Receiver receiver;
  const tool::PortSession::Port port = tool::PortSession::MakePort(&receiver);
  port->ConnectToInputs({tool::FindInput(*mSession, kThrough)});
  Idle(0.3);
  std::thread writer([&] { through.Write(Mdie_Timestamp(), SongMessageKind::kSysex, Test_LongSysex()); });
  const bool hasBegun = IdleUntil([&] { return receiver.Count() >= 10; });
  const std::int64_t stop = Sys_Clock::Microseconds();
  Mlox_Manager::Singleton()->StopPlayback();
  const std::size_t count = receiver.Count();
  writer.join();
  EXPECT_TRUE(hasBegun);
  EXPECT_LE(Sys_Clock::Microseconds() - stop, 1'000'000) << "the whole message takes twenty seconds";
  Idle(0.5);
  EXPECT_LE(receiver.Count(), count + 1);
  EXPECT_EQ(receiver.All().back().mState, Mlox_MidiData::kMiddleSysex);
}

// Two interfaces of one name, told apart by their serial numbers, and what an application keeps of them.
class AlsaReferences : public AlsaHardware {
 protected:
  static constexpr char kName[] = "Keys MIDI 1";

  void Plug(std::size_t iInterface, int iSocket) {
    mInterfaces[iInterface] =
        std::make_unique<Test_UsbGadget>(iSocket, "Keys", iInterface == 0 ? "AAAA" : "BBBB");
    ASSERT_TRUE(mInterfaces[iInterface]->Plug());
  }
  void UnplugBoth() {
    for (const auto& interface : mInterfaces) {
      ASSERT_TRUE(interface->Unplug());
    }
    ASSERT_TRUE(IdleUntil([&] { return Outputs(kName) == 0 && Inputs(kName) == 0; }));
  }
  void Save() {
    ASSERT_TRUE(IdleUntil([&] { return Outputs(kName) == 2 && Inputs(kName) == 2; }));
    for (Mlox_Device* const device : Named(mSession->Outputs(), kName)) {
      mOutputs.push_back(std::make_unique<Mlox_PersistentOutput>(device->GetOutputForChannel(0)));
    }
    for (const Mlox_InputRef& input : Named(mSession->Inputs(), kName)) {
      mReceivers.push_back(std::make_unique<Receiver>());
      mPorts.push_back(tool::PortSession::MakePort(mReceivers.back().get()));
      mPorts.back()->ConnectToInputs({input});
    }
    Idle(0.3);
  }

  // At which interface arrives what is written by a reference; none: 2.
  std::size_t FarEndOf(Mlox_PersistentOutput& ioOutput) {
    EXPECT_TRUE(IdleUntil([&] { return ioOutput.IsOnline(); }));
    std::array<std::unique_ptr<Test_BareClient>, 2> recorders;
    for (std::size_t i = 0; i < 2; ++i) {
      recorders[i] = std::make_unique<Test_BareClient>("far recorder", Test_BareClient::kRecords);
      EXPECT_TRUE(recorders[i]->ConnectFrom(mInterfaces[i]->FarClient(), 0));
      recorders[i]->Record();
    }
    ioOutput.WriteEvent(Mdie_Timestamp(), Mdie_ProgramEvent(++mValue),
                        Mlox_Manager::Singleton()->GetDefaultOutputContext());
    IdleUntil([&] { return recorders[0]->Count() + recorders[1]->Count() > 0; });
    return recorders[0]->Count() > 0 ? 0 : recorders[1]->Count() > 0 ? 1 : 2;
  }
  // Who hears what an interface sends; nobody: 2.
  std::size_t HearerOf(std::size_t iInterface) {
    const std::size_t before[] = {mReceivers[0]->Count(), mReceivers[1]->Count()};
    Test_BareClient sender("far sender", Test_BareClient::kSends);
    EXPECT_TRUE(sender.ConnectTo(mInterfaces[iInterface]->FarClient(), 0));
    EXPECT_TRUE(sender.Send({0xC0, ++mValue}));
    const auto hears = [&](std::size_t iReceiver) {
      return mReceivers[iReceiver]->Count() > before[iReceiver] &&
             mReceivers[iReceiver]->All().back().mBytes == Test_MidiBytes{0xC0, mValue};
    };
    IdleUntil([&] { return hears(0) || hears(1); });
    return hears(0) ? 0 : hears(1) ? 1 : 2;
  }
  // Each way of each interface, as a row of numbers. Both are waited for: a reference takes another of the
  // same name while its own is away.
  std::array<std::size_t, 4> Ways() {
    EXPECT_TRUE(IdleUntil([&] { return Outputs(kName) == 2 && Inputs(kName) == 2; }));
    return {FarEndOf(*mOutputs[0]), FarEndOf(*mOutputs[1]), HearerOf(0), HearerOf(1)};
  }

  std::array<std::unique_ptr<Test_UsbGadget>, 2> mInterfaces;
  std::vector<std::unique_ptr<Mlox_PersistentOutput>> mOutputs;
  std::vector<std::unique_ptr<Receiver>> mReceivers;
  std::vector<tool::PortSession::Port> mPorts;
  std::uint8_t mValue = 0;
};

TEST_F(AlsaReferences, LeadToTheirInterfaceAfterEachReplugAndWhatItSendsArrivesWithNoCallOfTheApplication) {
  Plug(0, 0);
  Plug(1, 1);
  Save();
  const std::array<std::size_t, 4> ways = Ways();
  EXPECT_NE(ways[0], ways[1]);
  EXPECT_NE(ways[2], ways[3]);
  EXPECT_LT(*std::max_element(ways.begin(), ways.end()), 2u);

  UnplugBoth();
  EXPECT_FALSE(mOutputs[0]->IsOnline());
  Plug(1, 1);
  Plug(0, 0);
  EXPECT_EQ(Ways(), ways) << "the other order";

  UnplugBoth();
  Plug(0, 0);
  ASSERT_EQ(std::system("guest-modprobe -r snd-virmidi && guest-modprobe snd-virmidi"), 0);
  Plug(1, 1);
  EXPECT_EQ(Ways(), ways) << "another card in between";

  UnplugBoth();
  Plug(0, 1);
  Plug(1, 0);
  EXPECT_EQ(Ways(), ways) << "each in the other's socket";
}

// ---- over a restart ----

// Where one run leaves what the next one restores; the runner names it.
std::string Kept(const char* iWhat) {
  const char* const file = std::getenv("MLOX_TEST_IDS");
  return (file != nullptr ? std::string(file) : "/tmp/ids") + iWhat;
}

// What a document of an application holds of a port: its direction, its number, and its name, which comes
// last since it may hold blanks. Here also to which interface it leads.
struct SavedReference {
  bool mIsInput = false;
  std::size_t mInterface = 0;
  int mNumber = 0;
  std::string mName;
};

// Of the references nothing but a document is left, and the database of the studio, which a restart leaves in
// its place.
class AlsaSavedReferences : public AlsaReferences {
 protected:
  void SetUp() override {
    setenv("MLOX_MIDI_DRIVERS", "alsa", 1);
    setenv("MLOX_STUDIO_DB", "/tmp/saved.db", 1);
    ASSERT_EQ(std::system("rm -f /tmp/saved.db*"), 0);
  }
  static void WriteDocument(const std::vector<SavedReference>& iAll) {
    std::ofstream document(Kept(".references"));
    for (const SavedReference& one : iAll) {
      document << one.mIsInput << ' ' << one.mInterface << ' ' << one.mNumber << ' ' << one.mName << '\n';
    }
    document.close();
    ASSERT_TRUE(document.good());
  }
  static std::vector<SavedReference> ReadDocument() {
    std::vector<SavedReference> all;
    std::ifstream document(Kept(".references"));
    for (SavedReference one; document >> one.mIsInput >> one.mInterface >> one.mNumber;) {
      std::getline(document >> std::ws, one.mName);
      all.push_back(one);
    }
    return all;
  }
  static std::shared_ptr<const Mlox_DeviceDescriptor> DescriptorOf(const SavedReference& iSaved) {
    return std::make_shared<const Mlox_DirectMusic_DeviceDescriptor>(
        iSaved.mIsInput ? Mlox_DeviceDescriptor::kInput : Mlox_DeviceDescriptor::kOutput, iSaved.mName,
        iSaved.mNumber);
  }
};

TEST_F(AlsaSavedReferences, AreLeftForTheNextBoot) {
  mSession = std::make_unique<tool::PortSession>();
  Plug(0, 0);
  Plug(1, 1);
  Save();
  std::vector<SavedReference> all;
  for (const auto& output : mOutputs) {
    const std::shared_ptr<const Mlox_DeviceDescriptor> descriptor =
        output->GetDescriptor()->GetDeviceDescriptor();
    all.push_back({false, FarEndOf(*output), descriptor->GetHashValue(), descriptor->GetName()});
  }
  const auto inputs = Named(mSession->Inputs(), kName);
  for (std::size_t i = 0; i < 2; ++i) {
    const std::size_t hearer = HearerOf(i);
    ASSERT_LT(hearer, 2u);
    const std::shared_ptr<const Mlox_DeviceDescriptor> descriptor = inputs[hearer]->GetDeviceDescriptor();
    all.push_back({true, i, descriptor->GetHashValue(), descriptor->GetName()});
  }
  EXPECT_NE(all[0].mNumber, all[1].mNumber) << "the names are equal";
  EXPECT_NE(all[2].mNumber, all[3].mNumber);
  WriteDocument(all);
  mPorts.clear();
  mOutputs.clear();
  mSession.reset();
  const std::string copy = "for f in /tmp/saved.db*; do cp \"$f\" '" + Kept(".references_db") +
                           "'\"${f#/tmp/saved.db}\" || exit; done";
  EXPECT_EQ(std::system(copy.c_str()), 0);
}

// Both interfaces come later than the references, and in the other order.
TEST_F(AlsaSavedReferences, LeadToTheInterfacesOfTheRunBefore) {
  const std::string copy = "f='" + Kept(".references_db") +
                           "'; for g in \"$f\"*; do cp \"$g\" \"/tmp/saved.db${g#\"$f\"}\" || exit; done";
  ASSERT_EQ(std::system(copy.c_str()), 0);
  const std::vector<SavedReference> all = ReadDocument();
  ASSERT_EQ(all.size(), 4u);
  mSession = std::make_unique<tool::PortSession>();
  ASSERT_EQ(Outputs(kName) + Inputs(kName), 0u);
  std::vector<std::unique_ptr<Mlox_PersistentInput>> inputs;
  for (const SavedReference& one : all) {
    if (one.mIsInput) {
      inputs.push_back(std::make_unique<Mlox_PersistentInput>(DescriptorOf(one)));
      EXPECT_FALSE(inputs.back()->IsOnline());
    } else {
      const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> descriptor(
          new Mlox_OutputDescriptor(DescriptorOf(one), 0));
      mOutputs.push_back(std::make_unique<Mlox_PersistentOutput>(descriptor.get()));
      EXPECT_FALSE(mOutputs.back()->IsOnline());
    }
  }
  ASSERT_TRUE(inputs.size() == 2 && mOutputs.size() == 2);
  Plug(1, 1);
  Plug(0, 0);
  ASSERT_TRUE(IdleUntil([&] { return Outputs(kName) == 2 && Inputs(kName) == 2; }));
  for (const auto& input : inputs) {
    ASSERT_TRUE(IdleUntil([&] { return input->IsOnline(); }));
    mReceivers.push_back(std::make_unique<Receiver>());
    mPorts.push_back(tool::PortSession::MakePort(mReceivers.back().get()));
    mPorts.back()->ConnectToInputs({input->GetInput()});
  }
  Idle(0.3);
  EXPECT_EQ(FarEndOf(*mOutputs[0]), all[0].mInterface);
  EXPECT_EQ(FarEndOf(*mOutputs[1]), all[1].mInterface);
  EXPECT_EQ(HearerOf(0), 0u);
  EXPECT_EQ(HearerOf(1), 1u);
}

}  // namespace
