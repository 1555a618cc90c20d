// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/directmusicclient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mlox/mlox_directmusic/getemulatedstring.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "tests/mlox/mlox_directmusic/client_fixture.h"
#include "tests/mlox/mlox_directmusic/trace_recorder.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using State = EProhibitedByNameEmulatedState;

class DirectMusicClientTest : public Test_ClientFixture {
 protected:
  // Adds a port of the system's older driver layer, which defines the emulated suffix.
  Test_FakePort& AddWinMM(DWORD iNumber, const std::string& iDescription,
                          DWORD iClass = DMUS_PC_OUTPUTCLASS) {
    return mRoot.AddPort(iNumber, iDescription, iClass,
                         [](DMUS_PORTCAPS& ioCaps) { ioCaps.dwType = DMUS_PORT_WINMM_DRIVER; });
  }

  static void MakeSoftwareSynthesizer(DMUS_PORTCAPS& ioCaps) {
    ioCaps.dwFlags = DMUS_PC_DLS | DMUS_PC_SOFTWARESYNTH;
    ioCaps.dwMemorySize = 0x7FFFFFFF;
    ioCaps.dwMaxChannelGroups = 1000;
    ioCaps.dwMaxVoices = 1000;
    ioCaps.dwMaxAudioChannels = 2;
    ioCaps.dwEffectFlags = 1;
  }
  Test_FakePort& AddSoftwareSynthesizer(DWORD iNumber,
                                        const std::function<void(DMUS_PORTCAPS&)>& iChange = {}) {
    return mRoot.AddPort(iNumber, "Synth", DMUS_PC_OUTPUTCLASS, [&](DMUS_PORTCAPS& ioCaps) {
      MakeSoftwareSynthesizer(ioCaps);
      if (iChange) iChange(ioCaps);
    });
  }
};

// ---- the root ----

TEST_F(DirectMusicClientTest, WithoutCreateThereIsNoRootAndNoneIsMade) {
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(false), nullptr);
  EXPECT_EQ(mRoot.mCreations, 0);
}

TEST_F(DirectMusicClientTest, CreatingTakesTwoReferencesForTheCacheAndOneForTheCaller) {
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(true), &mRoot);
  EXPECT_EQ(mRoot.References(), 3);
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(true), &mRoot);
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(false), &mRoot);
  EXPECT_EQ(mRoot.References(), 5);
  EXPECT_EQ(mRoot.mCreations, 1);
}

TEST_F(DirectMusicClientTest, ReleasingGivesBackOnlyOneReferenceSoTheRootLives) {
  DirectMusicClient::GetDirectMusicPtr(true)->Release();
  DirectMusicClient::ReleaseDirectMusicPtr();
  EXPECT_EQ(mRoot.References(), 1);
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(false), nullptr);
  DirectMusicClient::ReleaseDirectMusicPtr();
  EXPECT_EQ(mRoot.References(), 1);
}

TEST_F(DirectMusicClientTest, FailedCreationLeavesNoRootAndIsTriedAgain) {
  mRoot.mCreateResult = E_FAIL;
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(true), nullptr);
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(false), nullptr);
  mRoot.mCreateResult = S_OK;
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(true), &mRoot);
  EXPECT_EQ(mRoot.mCreations, 2);
}

TEST_F(DirectMusicClientTest, CreationThatSucceedsAndGivesNoObjectLeavesNoRootEither) {
  mRoot.mCreateResult = S_FALSE;
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(true), nullptr);
  EXPECT_EQ(DirectMusicClient::GetDirectMusicPtr(false), nullptr);
}

TEST_F(DirectMusicClientTest, ReleasingDropsThePortsOfTheCache) {
  Test_FakePort& port = mRoot.AddOutput(1, "Out");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_EQ(port.References(), 1);
  DirectMusicClient::ReleaseDirectMusicPtr();
  EXPECT_EQ(port.References(), 0);
  EXPECT_THAT(CachedGuids(), IsEmpty());
}

// ---- buffers ----

TEST_F(DirectMusicClientTest, BufferHasRoomForOneEventWithItsHeaderInEights) {
  MakeRoot();
  for (const long size : {0L, 1L, 5L, 256L, 4096L}) {
    IDirectMusicBuffer* bufferP = nullptr;
    EXPECT_EQ(DirectMusicClient::CreateMusicBuffer(size, &bufferP), S_OK);
    bufferP->Release();
  }
  EXPECT_THAT(Calls().Lines(), ElementsAre("CreateMusicBuffer 28 0 24", "CreateMusicBuffer 28 0 24",
                                           "CreateMusicBuffer 28 0 32", "CreateMusicBuffer 28 0 280",
                                           "CreateMusicBuffer 28 0 4120"));
  EXPECT_EQ(mRoot.References(), 2);
}

TEST_F(DirectMusicClientTest, BufferNeedsARootAndGivesItsResult) {
  IDirectMusicBuffer* bufferP = nullptr;
  EXPECT_EQ(DirectMusicClient::CreateMusicBuffer(16, &bufferP), E_UNEXPECTED);
  MakeRoot();
  Calls().Fail("CreateMusicBuffer", E_OUTOFMEMORY);
  EXPECT_EQ(DirectMusicClient::CreateMusicBuffer(16, &bufferP), E_OUTOFMEMORY);
  EXPECT_EQ(mRoot.References(), 2);
}

// ---- finding a port ----

TEST_F(DirectMusicClientTest, EmptyIdentifiersAndNullResultAreInvalid) {
  IDirectMusicPort* portP = nullptr;
  EXPECT_EQ(DirectMusicClient::GetOutputPort(nullptr, &portP), E_INVALIDARG);
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf("x"), nullptr), E_INVALIDARG);
}

TEST_F(DirectMusicClientTest, FailureOfReadingThePortsIdIsPassedOnAndTheCacheUntouched) {
  mRoot.AddOutput(1, "Out");
  MakeRoot();
  mStudio->Calls().Fail("GetStringProperty uniqueID", E_ACCESSDENIED);
  IDirectMusicPort* portP = nullptr;
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf(Guid(1)), &portP), E_ACCESSDENIED);
  EXPECT_THAT(Calls().Lines(), IsEmpty());
  mStudio->Calls().Fail("GetStringProperty uniqueID", S_FALSE);
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf(Guid(1)), &portP), S_FALSE);
  EXPECT_THAT(Calls().Lines(), IsEmpty());
}

TEST_F(DirectMusicClientTest, CachedPortComesWithAReferenceAndATraceLineAndNoEnumeration) {
  Test_FakePort& port = mRoot.AddOutput(1, "Out");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  Calls().Clear();
  const Test_TraceRecorder trace;
  IDirectMusicPort* portP = nullptr;
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf(Guid(1)), &portP), S_OK);
  EXPECT_EQ(portP, &port);
  EXPECT_EQ(port.References(), 2);
  EXPECT_THAT(Calls().Lines(), IsEmpty());
  EXPECT_THAT(Test_TraceRecorder::Take(), ElementsAre("0400000E GetOutputPort: returning " + Guid(1)));
}

TEST_F(DirectMusicClientTest, MissRebuildsTheCacheAndLooksAgain) {
  MakeRoot();
  Test_FakePort& port = mRoot.AddOutput(1, "Out");
  IDirectMusicPort* portP = nullptr;
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf(Guid(1)), &portP), S_OK);
  EXPECT_EQ(portP, &port);
}

TEST_F(DirectMusicClientTest, CaseOfTheGuidCounts) {
  mRoot.AddOutput(0xAB, "Out");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  IDirectMusicPort* portP = nullptr;
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf("{000000AB-0000-0000-0000-000000000000}"), &portP), S_OK);
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf("{000000ab-0000-0000-0000-000000000000}"), &portP),
            S_FALSE);
}

TEST_F(DirectMusicClientTest, UnknownPortGivesNullAndFalseAndATraceLineAndRebuildsEachTime) {
  MakeRoot();
  const Test_TraceRecorder trace;
  IDirectMusicPort* portP = &mRoot.AddInput(9, "In");
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf("{gone}"), &portP), S_FALSE);
  EXPECT_EQ(portP, nullptr);
  const int calls = Calls().CountBeginning("EnumPort 0");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf("{gone}"), &portP), S_FALSE);
  EXPECT_EQ(Calls().CountBeginning("EnumPort 0"), 2);
  const char* const lineP = "0800000E Could not satisfy the GetOutputPort request for {gone}";
  EXPECT_THAT(Test_TraceRecorder::Take(), ElementsAre(lineP, lineP));
}

TEST_F(DirectMusicClientTest, WithoutARootAnUnknownPortIsSimplyNotThere) {
  IDirectMusicPort* portP = nullptr;
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf(Guid(1)), &portP), S_FALSE);
}

// ---- rebuilding ----

TEST_F(DirectMusicClientTest, RebuildNeedsARoot) {
  EXPECT_EQ(DirectMusicClient::UpdatePortList(), E_UNEXPECTED);
}

TEST_F(DirectMusicClientTest, OutputsAreOpenedOnceInTheOrderInWhichTheyWereSeen) {
  mRoot.AddOutput(2, "B");
  mRoot.AddInput(3, "In");
  constexpr DWORD kNeitherClass = 2;
  mRoot.AddPort(4, "Neither", kNeitherClass);
  Test_FakePort& a = mRoot.AddOutput(1, "A");
  MakeRoot();
  EXPECT_EQ(DirectMusicClient::UpdatePortList(), S_OK);
  EXPECT_EQ(DirectMusicClient::UpdatePortList(), S_OK);
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(2), Guid(1)));
  EXPECT_EQ(a.References(), 1);
  EXPECT_THAT(Calls().LinesBeginning("CreatePort"),
              ElementsAre("CreatePort " + Guid(2), "CreatePort " + Guid(1)));
  EXPECT_EQ(mRoot.References(), 2);
}

TEST_F(DirectMusicClientTest, IndexThatFailsIsSkippedAndFalseEndsTheWalk) {
  mRoot.AddOutput(1, "A");
  mRoot.AddOutput(2, "B");
  mRoot.AddOutput(3, "C");
  MakeRoot();
  GetEmulatedString();
  Calls().Fail("EnumPort 1", E_FAIL);
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1), Guid(3)));
  Calls().Mend("EnumPort 1");
  Calls().Fail("EnumPort 2", S_FALSE);
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1), Guid(2)));
}

TEST_F(DirectMusicClientTest, RootThatAlwaysFailsEndsAfter4096Failures) {
  MakeRoot();
  Calls().Fail("EnumPort", E_FAIL);
  EXPECT_EQ(DirectMusicClient::UpdatePortList(), S_OK);
  EXPECT_EQ(Calls().CountBeginning("EnumPort"), 4096);
}

TEST_F(DirectMusicClientTest, PortThatGoesDuringARebuildTakesNoOtherOutOfTheCache) {
  Test_FakePort& going = mRoot.AddOutput(1, "Going");
  Test_FakePort& staying = mRoot.AddOutput(3, "Staying");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  mRoot.RemovePort(staying);
  mRoot.AddOutput(2, "New");
  mRoot.ReturnPort(staying);
  Calls().mOnCall = [&](const std::string& iLine) {
    if (iLine == "CreatePort " + Guid(2)) mRoot.RemovePort(going);
  };
  DirectMusicClient::UpdatePortList();
  Calls().mOnCall = nullptr;
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1), Guid(3), Guid(2)));
}

TEST_F(DirectMusicClientTest, SuffixIsLookedForOnceForAPortThatNoNameFits) {
  mRoot.AddOutput(1, "Out");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_EQ(Calls().Count("EnumPort 0"), 2) << "the rebuild's own walk, and one for the suffix";
}

TEST_F(DirectMusicClientTest, PortThatVanishesIsRemovedAtTheNextRebuildAndNotBefore) {
  Test_FakePort& port = mRoot.AddOutput(1, "A");
  Test_FakePort& other = mRoot.AddOutput(2, "B");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  mRoot.RemovePort(port);
  IDirectMusicPort* portP = nullptr;
  EXPECT_EQ(DirectMusicClient::GetOutputPort(IDsOf(Guid(1)), &portP), S_OK);
  EXPECT_EQ(portP, &port);
  portP->Release();
  const Test_TraceRecorder trace;
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(
      Test_TraceRecorder::Take(),
      ElementsAre("0200000E GetOutputPort: Adding port " + Guid(2) + " (B) to common list.",
                  "0800000E GetOutputPort: Removing missing port " + Guid(1) + " from the port list"));
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(2)));
  EXPECT_EQ(port.References(), 0);
  EXPECT_EQ(other.References(), 1);
}

TEST_F(DirectMusicClientTest, PortsBehindOneThatIsRemovedKeepTheirOrder) {
  std::vector<Test_FakePort*> ports;
  for (DWORD number = 1; number <= 6; ++number) {
    ports.push_back(&mRoot.AddOutput(number, "Out " + std::to_string(number)));
  }
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  // Each time two and more stand behind it.
  mRoot.RemovePort(*ports[0]);
  mRoot.RemovePort(*ports[3]);
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(2), Guid(3), Guid(5), Guid(6)));
  // Also where the ports are seen in another order by then, and with a new one, which goes to the end.
  mRoot.RemovePort(*ports[2]);
  mRoot.RemovePort(*ports[4]);
  mRoot.AddOutput(7, "Out 7");
  mRoot.ReturnPort(*ports[4]);
  mRoot.RemovePort(*ports[1]);
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(5), Guid(6), Guid(7)));
}

TEST_F(DirectMusicClientTest, NewPortIsTracedWhenItIsOpenedAndWhenItIsKept) {
  mRoot.AddOutput(1, "A");
  MakeRoot();
  GetEmulatedString();
  const Test_TraceRecorder trace;
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(
      Test_TraceRecorder::Take(),
      ElementsAre("0800000E GetOutputPort: Adding port " + Guid(1) + " (A) to new list.",
                  "0200000E GetOutputPort: Adding port " + Guid(1) + " from new port list to port list"));
}

TEST_F(DirectMusicClientTest, PortThatCannotBeOpenedIsTracedLeftOutAndTriedAgain) {
  mRoot.AddOutput(1, "A");
  mRoot.AddOutput(2, "B");
  MakeRoot();
  Calls().Fail("CreatePort " + Guid(1), E_ACCESSDENIED, 1);
  const Test_TraceRecorder trace;
  EXPECT_EQ(DirectMusicClient::UpdatePortList(), S_OK);
  EXPECT_THAT(Test_TraceRecorder::Take(),
              Contains("0800000E GetOutputPort: failed to create port for new port " + Guid(1) + " (A)"));
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(2)));
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(2), Guid(1)));
}

TEST_F(DirectMusicClientTest, SuccessThatGivesNoPortIsTracedAndLeftOut) {
  mRoot.AddOutput(1, "A");
  mRoot.AddOutput(2, "B");
  MakeRoot();
  mRoot.mWithheldPort = 1;
  const Test_TraceRecorder trace;
  EXPECT_EQ(DirectMusicClient::UpdatePortList(), S_OK);
  EXPECT_THAT(Test_TraceRecorder::Take(),
              Contains("0800000E GetOutputPort: failed to create port for new port " + Guid(1) + " (A)"));
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(2)));
}

TEST_F(DirectMusicClientTest, FalseFromCreatePortIsASuccess) {
  mRoot.AddOutput(1, "A");
  MakeRoot();
  Calls().Fail("CreatePort", S_FALSE);
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1)));
}

TEST_F(DirectMusicClientTest, ResultAboveOneIsAFailureEvenIfItIsPositive) {
  mRoot.AddOutput(1, "A");
  MakeRoot();
  Calls().Fail("CreatePort", 2);
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), IsEmpty());
}

TEST_F(DirectMusicClientTest, GuidThatIsListedTwiceIsCachedOnce) {
  Test_FakePort& port = mRoot.AddOutput(1, "A");
  mRoot.ReturnPort(port);
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1)));
  EXPECT_EQ(port.References(), 1);
}

// ---- prohibition ----

TEST_F(DirectMusicClientTest, ProhibitedPortIsTracedAndNeverOpened) {
  mRoot.AddOutput(1, "MIDIOUT2 (Fishman TriplePlay)");
  MakeRoot();
  GetEmulatedString();
  const Test_TraceRecorder trace;
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(Test_TraceRecorder::Take(), ElementsAre("0200000E GetOutputPort: Prohibiting port " + Guid(1) +
                                                      " (MIDIOUT2 (Fishman TriplePlay))"));
  EXPECT_EQ(Calls().CountBeginning("CreatePort"), 0);
  EXPECT_THAT(CachedGuids(), IsEmpty());
}

TEST_F(DirectMusicClientTest, CachedPortThatBecomesProhibitedIsDroppedAsMissing) {
  Test_FakePort& port = mRoot.AddOutput(1, "Quil 002 Control Port [Emulated]");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1)));
  AddWinMM(2, "Other [Emulated]");
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(2)));
  EXPECT_EQ(port.References(), 0);
}

TEST_F(DirectMusicClientTest, WavetableSynthIsProhibitedOnlyWithTheSuffix) {
  mRoot.AddOutput(1, "Microsoft GS Wavetable Synth");
  mRoot.AddOutput(2, "Microsoft GS Wavetable Synth [Emulated]");
  AddWinMM(3, "Other [Emulated]");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1), Guid(3)));
}

TEST_F(DirectMusicClientTest, ExclusionEqualToABuiltInNameKeepsTheBuiltInRule) {
  WriteExclusions("Microsoft GS Wavetable Synth\n");
  mRoot.AddOutput(1, "Microsoft GS Wavetable Synth");
  mRoot.AddOutput(2, "Microsoft GS Wavetable Synth [Emulated]");
  AddWinMM(3, "Other [Emulated]");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1), Guid(3)));
}

TEST_F(DirectMusicClientTest, ExclusionLineIsAPrefixCaseIncluded) {
  WriteExclusions("Foo\r\n");
  mRoot.AddOutput(1, "Foo");
  mRoot.AddOutput(2, "Foo Bar");
  mRoot.AddOutput(3, "Foo [Emulated]");
  mRoot.AddOutput(4, "foo");
  AddWinMM(5, "Other [Emulated]");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(4), Guid(5)));
}

TEST_F(DirectMusicClientTest, OneByteFileProhibitsEveryDescriptionThatBeginsWithIt) {
  WriteExclusions("F");
  mRoot.AddOutput(1, "Foo");
  mRoot.AddOutput(2, "F");
  mRoot.AddOutput(3, "Bar");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(3)));
}

TEST_F(DirectMusicClientTest, CustomProhibitionsAreTracedOnceInSortedOrder) {
  WriteExclusions("Zed\nAbe\n");
  mRoot.AddOutput(1, "Out");
  MakeRoot();
  const Test_TraceRecorder trace;
  DirectMusicClient::UpdatePortList();
  const std::vector<std::string> lines = Test_TraceRecorder::Take();
  ASSERT_GE(lines.size(), 2u);
  const std::string head =
      "0200000E DirectMusicClient::IsPortProhibitedByName - Adding custom port prohibition: ";
  EXPECT_EQ(lines[0], head + "\"Abe\"");
  EXPECT_EQ(lines[1], head + "\"Zed\"");
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(Test_TraceRecorder::Take(), Not(Contains(testing::StartsWith(head))));
}

TEST_F(DirectMusicClientTest, FileIsReadOncePerProcess) {
  WriteExclusions("Foo\n");
  mRoot.AddOutput(1, "Foo");
  mRoot.AddOutput(2, "Bar");
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  WriteExclusions("Bar\n");
  DirectMusicClient::ReleaseDirectMusicPtr();
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(2)));
}

TEST_F(DirectMusicClientTest, SuffixIsLearnedBeforeTheTableIsUsed) {
  AddWinMM(1, "Other [Emulated]");
  Test_FakePort& port = mRoot.AddOutput(2, "Quil 003 Control Port [Emulated]");
  MakeRoot();
  EXPECT_TRUE(Test_DirectMusicClientAccess::IsPortProhibitedByName(port.Caps()));
  EXPECT_EQ(Test_DirectMusicClientAccess::KnownEmulatedString(), " [Emulated]");
}

TEST_F(DirectMusicClientTest, EmptyDescriptionIsNotProhibited) {
  WriteExclusions("X");
  MakeRoot();
  EXPECT_FALSE(Test_DirectMusicClientAccess::IsPortProhibitedByName(DMUS_PORTCAPS{}));
}

TEST_F(DirectMusicClientTest, DescriptionThatFillsItsRecordIsReadToItsEndAndNoFurther) {
  Test_FakePort& port = mRoot.AddOutput(1, std::string(128, 'x'));
  WriteExclusions(std::string(128, 'x'));
  MakeRoot();
  EXPECT_TRUE(Test_DirectMusicClientAccess::IsPortProhibitedByName(port.Caps()));
  Test_DirectMusicClientAccess::Forget();
  WriteExclusions(std::string(129, 'x'));
  MakeRoot();
  EXPECT_FALSE(Test_DirectMusicClientAccess::IsPortProhibitedByName(port.Caps()));
}

TEST_F(DirectMusicClientTest, SpecificRuleUsesTheSuffixOfThisMachine) {
  AddWinMM(1, "Other (emuliert)");
  MakeRoot();
  using Access = Test_DirectMusicClientAccess;
  EXPECT_TRUE(Access::IsSpecificProhibitedPort("Foo (emuliert)", "Foo", State::kProhibitedWhenEmulated));
  EXPECT_FALSE(Access::IsSpecificProhibitedPort("Foo", "Foo", State::kProhibitedWhenEmulated));
  EXPECT_TRUE(Access::IsSpecificProhibitedPort("Foo", "Foo", State::kProhibitedWhenNotEmulated));
}

TEST_F(DirectMusicClientTest, WithoutASuffixNoPortCountsAsEmulated) {
  mRoot.AddOutput(1, "Foo [Emulated]");
  MakeRoot();
  using Access = Test_DirectMusicClientAccess;
  EXPECT_FALSE(Access::IsSpecificProhibitedPort("Foo [Emulated]", "Foo", State::kProhibitedWhenEmulated));
  EXPECT_TRUE(Access::IsSpecificProhibitedPort("Foo [Emulated]", "Foo", State::kProhibitedWhenNotEmulated));
}

// ---- software synthesizers ----

TEST_F(DirectMusicClientTest, SoftwareSynthesizerIsProhibitedByAllOfItsFingerprint) {
  AddSoftwareSynthesizer(1);
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), IsEmpty());
}

struct Difference {
  const char* mNameP;
  void (*mChange)(DMUS_PORTCAPS& ioCaps);
};
class SoftwareSynthesizer : public DirectMusicClientTest, public testing::WithParamInterface<Difference> {};

TEST_P(SoftwareSynthesizer, PassesWithOneDifference) {
  AddSoftwareSynthesizer(1, GetParam().mChange);
  MakeRoot();
  DirectMusicClient::UpdatePortList();
  EXPECT_THAT(CachedGuids(), ElementsAre(Guid(1)));
}

INSTANTIATE_TEST_SUITE_P(
    Differences, SoftwareSynthesizer,
    testing::Values(Difference{"NoDls", [](DMUS_PORTCAPS& c) { c.dwFlags = DMUS_PC_SOFTWARESYNTH; }},
                    Difference{"NoSynth", [](DMUS_PORTCAPS& c) { c.dwFlags = DMUS_PC_DLS; }},
                    Difference{"Memory", [](DMUS_PORTCAPS& c) { c.dwMemorySize = 0x7FFFFFFE; }},
                    Difference{"OneGroup", [](DMUS_PORTCAPS& c) { c.dwMaxChannelGroups = 1; }},
                    Difference{"NoVoices", [](DMUS_PORTCAPS& c) { c.dwMaxVoices = 0; }},
                    Difference{"AllVoices", [](DMUS_PORTCAPS& c) { c.dwMaxVoices = 0xFFFFFFFF; }},
                    Difference{"NoChannels", [](DMUS_PORTCAPS& c) { c.dwMaxAudioChannels = 0; }},
                    Difference{"AllChannels", [](DMUS_PORTCAPS& c) { c.dwMaxAudioChannels = 0xFFFFFFFF; }},
                    Difference{"Effects3", [](DMUS_PORTCAPS& c) { c.dwEffectFlags = 3; }},
                    Difference{"Effects0", [](DMUS_PORTCAPS& c) { c.dwEffectFlags = 0; }}),
    [](const testing::TestParamInfo<Difference>& iInfo) { return iInfo.param.mNameP; });

// ---- the suffix ----

TEST_F(DirectMusicClientTest, WithoutARootNoSuffixIsKnownAndNothingIsCreated) {
  EXPECT_EQ(GetEmulatedString(), "");
  EXPECT_EQ(mRoot.mCreations, 0);
}

TEST_F(DirectMusicClientTest, FirstWinMMPortWithAGroupDefinesTheSuffixForGood) {
  mRoot.AddOutput(1, "Kernel [Native]");
  AddWinMM(2, "No group");
  AddWinMM(3, "");
  AddWinMM(4, "Keys (2)", DMUS_PC_INPUTCLASS);
  AddWinMM(5, "Other [Emulated]");
  MakeRoot();
  EXPECT_EQ(GetEmulatedString(), " (2)");
  EXPECT_EQ(mRoot.References(), 2);
  Calls().Clear();
  DirectMusicClient::ReleaseDirectMusicPtr();
  EXPECT_EQ(GetEmulatedString(), " (2)");
  EXPECT_THAT(Calls().Lines(), IsEmpty());
}

TEST_F(DirectMusicClientTest, DescriptionOfABracketGroupAloneLeavesTheSuffixUnset) {
  AddWinMM(1, "[Emulated]");
  AddWinMM(2, " (emuliert)");
  MakeRoot();
  EXPECT_EQ(GetEmulatedString(), "");
  EXPECT_EQ(Test_DirectMusicClientAccess::KnownEmulatedString(), "");
}

TEST_F(DirectMusicClientTest, MissIsNotKeptAndTheScanRepeated) {
  AddWinMM(1, "[Emulated]");
  MakeRoot();
  EXPECT_EQ(GetEmulatedString(), "");
  EXPECT_EQ(GetEmulatedString(), "");
  EXPECT_EQ(Calls().Count("EnumPort 0"), 2);
  AddWinMM(2, "Keys [Emulated]");
  EXPECT_EQ(GetEmulatedString(), " [Emulated]");
}

TEST_F(DirectMusicClientTest, AnyResultButSuccessEndsTheScanForTheSuffix) {
  AddWinMM(1, "Plain");
  AddWinMM(2, "Keys [Emulated]");
  MakeRoot();
  Calls().Fail("EnumPort 0", E_FAIL, 1);
  EXPECT_EQ(GetEmulatedString(), "");
  EXPECT_EQ(Calls().CountBeginning("EnumPort"), 1);
}

}  // namespace
