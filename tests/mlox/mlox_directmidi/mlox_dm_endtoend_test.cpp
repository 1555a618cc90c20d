// SPDX-License-Identifier: MIT
// A plug-in as a destination and as a source, through the manager and saved references, as an application
// uses them.
#include <memory>

#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_persistentinput.h"
#include "mlox/mlox_persistentoutput.h"
#include "tests/support/dm_fixture.h"

namespace {

/// A plug-in that has made a node and pulls from it.
class PlugIn {
 public:
  PlugIn(IDirectMIDI3* iFactoryP, const char* iNameP) : mNodeP(iFactoryP->CreateClientOutputEx(iNameP, 0)) {
    auto* setupP = Test_DM_Query<IDirectMIDIOutputDeliverySetup>(mNodeP);
    mDeliveryP = setupP->SetBufferedDelivery();
    setupP->Release();
  }
  ~PlugIn() {
    mDeliveryP->Release();
    mNodeP->Release();
  }
  PlugIn(const PlugIn&) = delete;
  PlugIn& operator=(const PlugIn&) = delete;

  std::vector<Test_DM_Message> Pull(int64_t iStart, int64_t iEnd) {
    return Test_DM_Pull(mDeliveryP, iStart, iEnd);
  }

  IDirectMIDIClientOutput* mNodeP;
  IDirectMIDIBufferedDelivery* mDeliveryP;
};

class Mlox_DM_EndToEndTest : public Test_DM_Fixture {
 protected:
  /// The manager's only device.
  static Mlox_Device* OnlyDevice() {
    EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 1);
    return Manager().GetOutputDevice(0);
  }
};

TEST_F(Mlox_DM_EndToEndTest, ANoteThroughAPersistentOutputIsPulledInItsBlock) {
  PlugIn plugIn(mServiceP, "Synth");
  Manager().CheckStudioSetup();
  Mlox_PersistentOutput output(OnlyDevice()->GetOutputForChannel(3));
  ASSERT_TRUE(output.IsOnline());
  output.WriteEvent(Mdie_Timestamp(Time_Sample(100)), Mdie_NoteOnEvent(60, 100),
                    Manager().GetImmediateOutputContext());
  output.WriteEvent(Mdie_Timestamp(Time_Sample(130)), Mdie_NoteOffEvent(60, 0),
                    Manager().GetImmediateOutputContext());
  EXPECT_TRUE(plugIn.Pull(0, 63).empty());
  EXPECT_EQ(plugIn.Pull(64, 127), (std::vector<Test_DM_Message>{{100, {0x93, 60, 100}}}));
  EXPECT_EQ(plugIn.Pull(128, 191), (std::vector<Test_DM_Message>{{130, {0x83, 60, 0}}}));
}

TEST_F(Mlox_DM_EndToEndTest, StreamsOfSeveralContextsAreMergedByTime) {
  PlugIn plugIn(mServiceP, "Synth");
  Mlox_PersistentOutput output(OnlyDevice()->GetOutputForChannel(0));
  output.WriteEvent(Mdie_Timestamp(Time_Sample(30)), Mdie_NoteOnEvent(3, 1), Manager().GetPatchThruContext());
  output.WriteEvent(Mdie_Timestamp(Time_Sample(20)), Mdie_NoteOnEvent(2, 1),
                    Manager().GetSlightlyEarlyPlayerContext());
  output.WriteEvent(Mdie_Timestamp(Time_Sample(10)), Mdie_NoteOnEvent(1, 1),
                    Manager().GetImmediateOutputContext());
  EXPECT_EQ(plugIn.Pull(0, 63),
            (std::vector<Test_DM_Message>{{10, {0x90, 1, 1}}, {20, {0x90, 2, 1}}, {30, {0x90, 3, 1}}}));
}

TEST_F(Mlox_DM_EndToEndTest, StoppingPlaybackThroughTheManagerSilencesTheNode) {
  PlugIn plugIn(mServiceP, "Synth");
  plugIn.mNodeP->SetChannelMask(0x0001);
  Mlox_PersistentOutput output(OnlyDevice()->GetOutputForChannel(0));
  output.WriteEvent(Mdie_Timestamp(Time_Sample(10)), Mdie_NoteOnEvent(60, 1),
                    Manager().GetImmediateOutputContext());
  Manager().StopServicesPlayback();
  // The note has been drained, and an immediate message takes the time of the last one that left the queue.
  EXPECT_EQ(plugIn.Pull(0, 63), (std::vector<Test_DM_Message>{{10, {0xB0, 123, 0}}}));
}

TEST_F(Mlox_DM_EndToEndTest, QuickAllNotesOffReachesTheCommonOutputAndEachChannel) {
  PlugIn plugIn(mServiceP, "Synth");
  plugIn.mNodeP->SetChannelMask(0x8001);
  Manager().QuickAllNotesOff();
  const auto messages = plugIn.Pull(0, 63);
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[1].mBytes, (std::vector<uint8_t>{0xB0, 123, 0}));
  EXPECT_EQ(messages[2].mBytes, (std::vector<uint8_t>{0xBF, 123, 0}));
}

TEST_F(Mlox_DM_EndToEndTest, ASavedReferenceRebindsByNameToANewNode) {
  auto oldP = std::make_unique<PlugIn>(mServiceP, "Synth");
  Mlox_PersistentOutput output(OnlyDevice()->GetOutputForChannel(2));
  oldP.reset();
  Manager().CheckStudioSetup();
  EXPECT_FALSE(output.IsOnline());
  WriteImmediateNote(output, 60);

  PlugIn newer(mServiceP, "Synth");
  Manager().CheckStudioSetup();
  ASSERT_TRUE(output.IsOnline());
  WriteImmediateNote(output, 61);
  EXPECT_EQ(newer.Pull(0, 63), (std::vector<Test_DM_Message>{{0, {0x92, 61, 100}}}));
}

TEST_F(Mlox_DM_EndToEndTest, ASavedReferenceRebindsByLocatorWhateverTheName) {
  const Mlox_DM_PlugInLocator locator{Sys_UUID(1, 2, 3, 4), 5};
  SFicPlugInSpec spec{50, 60, 70};
  const Mlox_DM_PlugInInstDict_Spec key(spec);
  Mlox_DM_PlugInInstDict::Singleton().AddEntry(key, locator);
  auto oldP = std::make_unique<PlugIn>(mServiceP, "Synth");
  static_cast<IDirectMIDIClientOutput4*>(oldP->mNodeP)->SetPluginIdentification(&spec, 1);
  Mlox_PersistentOutput output(OnlyDevice()->GetOutputForChannel(2));
  oldP.reset();

  PlugIn sameName(mServiceP, "Synth");
  Manager().CheckStudioSetup();
  EXPECT_FALSE(output.IsOnline()) << "a tagged descriptor never falls back on the name";
  PlugIn sameLocator(mServiceP, "Another name");
  static_cast<IDirectMIDIClientOutput4*>(sameLocator.mNodeP)->SetPluginIdentification(&spec, 1);
  Manager().CheckStudioSetup();
  ASSERT_TRUE(output.IsOnline());
  WriteImmediateNote(output, 61);
  EXPECT_TRUE(sameName.Pull(0, 63).empty());
  EXPECT_EQ(sameLocator.Pull(0, 63).size(), 1u);
  Mlox_DM_PlugInInstDict::Singleton().RemoveEntry(key);
}

TEST_F(Mlox_DM_EndToEndTest, ARenamedNodeIsFoundAgainByItsUniqueId) {
  PlugIn plugIn(mServiceP, "Synth");
  Mlox_PersistentOutput output(OnlyDevice()->GetOutputForChannel(2));
  plugIn.mNodeP->SetName("Renamed");
  WriteImmediateNote(output, 60);
  EXPECT_TRUE(plugIn.Pull(0, 63).empty()) << "the old output is dead";
  Manager().CheckStudioSetup();
  ASSERT_TRUE(output.IsOnline());
  WriteImmediateNote(output, 61);
  EXPECT_EQ(plugIn.Pull(64, 127).size(), 1u);
  EXPECT_EQ(output.GetDescriptor()->GetDeviceDescriptor()->GetName(), "Renamed");
}

TEST_F(Mlox_DM_EndToEndTest, RemovingServicesBeforeTheNodesDieLeavesThePlugInWorking) {
  auto plugInP = std::make_unique<PlugIn>(mServiceP, "Synth");
  Mlox_PersistentOutput output(OnlyDevice()->GetOutputForChannel(2));
  Test_AssertRecorder recorder;
  Manager().RemoveAllServices();
  WriteImmediateNote(output, 60);
  EXPECT_EQ(plugInP->Pull(0, 63).size(), 1u);
  plugInP.reset();
  WriteImmediateNote(output, 60);
  EXPECT_FALSE(output.IsOnline());
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_EndToEndTest, BytesOfAClientInputReachTheApplicationsReceiverUntilAShutdownWithOneReport) {
  Test_DM_RawReceiver raw;
  std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&raw));
  IDirectMIDIClientInput* nodeP = mServiceP->CreateClientInputEx("Keys", 9);
  auto* receiveP = Test_DM_Query<IDirectMIDIInputReceiveMIDI>(nodeP);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 1);
  Mlox_PersistentInput input(Manager().GetInput(0)->GetDeviceDescriptor());
  portP->ConnectToInputs({input.GetInput()});

  const unsigned char note[] = {0x90, 60, 100};
  EXPECT_TRUE(receiveP->ReceiveMIDI(note, 3, 1000));
  EXPECT_EQ(raw.mBytes, (std::vector<std::vector<uint8_t>>{{0x90, 60, 100}}));
  EXPECT_EQ(raw.mRecords[0].mInputID, input.GetInput()->GetInputID());
  EXPECT_TRUE(Manager().IsPlugInSource(raw.mRecords[0].mInputID));

  // The order of an ordinary shutdown: close, remove the services, delete the port.
  portP->CloseCurrentConnections();
  EXPECT_FALSE(receiveP->ReceiveMIDI(note, 3, 1000));
  Test_AssertRecorder recorder;
  Manager().RemoveAllServices();  // closes every port again, which is reported and does nothing
  EXPECT_EQ(recorder.Count(), 1);
  portP.reset();
  EXPECT_FALSE(receiveP->ReceiveMIDI(note, 3, 1000));
  receiveP->Release();
  nodeP->Release();
}

TEST_F(Mlox_DM_EndToEndTest, ALongSysexArrivesWhole) {
  PlugIn plugIn(mServiceP, "Synth");
  std::vector<unsigned char> sysex(3000, 0x55);
  sysex.front() = 0xF0;
  sysex.back() = 0xF7;
  Mlox_PersistentOutput output(OnlyDevice()->GetCommonOutput());
  output.WriteEvent(Mdie_Timestamp(Time_Sample(5)),
                    Mdie_SysexEvent(static_cast<int>(sysex.size()), sysex.data()),
                    Manager().GetImmediateOutputContext());
  const auto messages = plugIn.Pull(0, 63);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].mBytes, std::vector<uint8_t>(sysex.begin(), sysex.end()));
}

}  // namespace
