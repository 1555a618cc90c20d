// SPDX-License-Identifier: MIT
// The constructors, accessors and checks of the event classes, table row by table row.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "mdid/mdie_event.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/test_paths.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kDurationText[] = "iDuration >= Time_TypedLength(1, iDuration.GetType())";

Time_TypedLength Samples(std::int64_t iLength) { return Time_TypedLength(iLength, Time_cSamples); }

// ---- note on ----

TEST(Mdie_NoteOnEvent, HoldsPitchAndVelocity) {
  Test_AssertRecorder recorder;
  Mdie_NoteOnEvent event(0, 1);
  EXPECT_EQ(Mdie_Event::kNoteOn, event.GetType());
  EXPECT_EQ(0, event.GetPitch());
  EXPECT_EQ(1, event.GetVelocity());
  event.SetPitch(127);
  event.SetVelocity(126);
  EXPECT_EQ(127, event.GetPitch());
  EXPECT_EQ(126, event.GetVelocity());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_NoteOnEvent, Velocity0IsReportedAndYetStored) {
  Test_AssertRecorder recorder;
  const Mdie_NoteOnEvent event(60, 0);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iVelocity >= 1"));
  EXPECT_EQ("mdid/mdie_event", recorder.Reports().at(0).mSource);
  EXPECT_FALSE(recorder.Reports().at(0).mThrowing);
  EXPECT_EQ(0, event.GetVelocity());
}

TEST(Mdie_NoteOnEvent, APitchOf128IsNegativeInEightBitsAndFails) {
  Test_AssertRecorder recorder;
  Mdie_NoteOnEvent event(static_cast<signed char>(128), 100);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPitch >= 0"));
  EXPECT_EQ(-128, event.GetPitch());
}

TEST(Mdie_NoteOnEvent, SettersMakeTheChecksOfTheConstructor) {
  Mdie_NoteOnEvent event(60, 100);
  Test_AssertRecorder recorder;
  event.SetPitch(-1);
  event.SetVelocity(0);
  event.SetVelocity(-1);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPitch >= 0", "iVelocity >= 1", "iVelocity >= 1"));
  EXPECT_EQ(-1, event.GetPitch());
  EXPECT_EQ(-1, event.GetVelocity());
}

// ---- note off ----

TEST(Mdie_NoteOffEvent, HoldsPitchAndVelocityAndAllowsVelocity0) {
  Test_AssertRecorder recorder;
  Mdie_NoteOffEvent event(60, 0);
  EXPECT_EQ(Mdie_Event::kNoteOff, event.GetType());
  EXPECT_EQ(60, event.GetPitch());
  EXPECT_EQ(0, event.GetVelocity());
  event.SetPitch(61);
  event.SetVelocity(127);
  EXPECT_EQ(61, event.GetPitch());
  EXPECT_EQ(127, event.GetVelocity());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_NoteOffEvent, ReportsNegativeValuesAndStoresThem) {
  Test_AssertRecorder recorder;
  Mdie_NoteOffEvent event(-1, -2);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPitch >= 0", "iVelocity >= 0"));
  EXPECT_EQ(-1, event.GetPitch());
  EXPECT_EQ(-2, event.GetVelocity());
  recorder.Clear();
  event.SetPitch(-3);
  event.SetVelocity(-4);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPitch >= 0", "iVelocity >= 0"));
  EXPECT_EQ(-3, event.GetPitch());
  EXPECT_EQ(-4, event.GetVelocity());
}

// ---- notes with a duration ----

TEST(Mdie_NoteWithDurationEvent, HoldsItsFourValues) {
  Test_AssertRecorder recorder;
  Mdie_NoteWithDurationEvent event(60, Time_TypedLength(480, Time_cTicks), 100, 64);
  EXPECT_EQ(Mdie_Event::kNoteWithDuration, event.GetType());
  EXPECT_EQ(60, event.GetPitch());
  EXPECT_EQ(480, event.GetDuration().AsInt64());
  EXPECT_EQ(Time_cTicks, event.GetDuration().GetType());
  EXPECT_EQ(100, event.GetOnVelocity());
  EXPECT_EQ(64, event.GetOffVelocity());
  event.SetPitch(61);
  event.SetDuration(Samples(0x100000000));
  event.SetOnVelocity(1);
  event.SetOffVelocity(0);
  EXPECT_EQ(61, event.GetPitch());
  EXPECT_EQ(0x100000000, event.GetDuration().AsInt64());
  EXPECT_EQ(Time_cSamples, event.GetDuration().GetType());
  EXPECT_EQ(1, event.GetOnVelocity());
  EXPECT_EQ(0, event.GetOffVelocity());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_NoteWithDurationEvent, DefaultConstructorSetsTheTagAlone) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(Mdie_Event::kNoteWithDuration, Mdie_NoteWithDurationEvent().GetType());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_NoteWithDurationEvent, ConstructorChecksInOrderAndStoresAllTheSame) {
  Test_AssertRecorder recorder;
  const Mdie_NoteWithDurationEvent event(-1, Samples(0), 0, -2);
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("iPitch >= 0", kDurationText, "iOnVelocity >= 1", "iOffVelocity >= 0"));
  EXPECT_EQ(-1, event.GetPitch());
  EXPECT_EQ(0, event.GetDuration().AsInt64());
  EXPECT_EQ(0, event.GetOnVelocity());
  EXPECT_EQ(-2, event.GetOffVelocity());
}

TEST(Mdie_NoteWithDurationEvent, SettersMakeTheChecksOfTheConstructor) {
  Mdie_NoteWithDurationEvent event(60, Samples(1), 1, 0);
  Test_AssertRecorder recorder;
  event.SetPitch(-1);
  event.SetDuration(Samples(-5));
  event.SetOnVelocity(0);
  event.SetOffVelocity(-1);
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("iPitch >= 0", kDurationText, "iOnVelocity >= 1", "iOffVelocity >= 0"));
  EXPECT_EQ(-5, event.GetDuration().AsInt64());
  EXPECT_EQ(0, event.GetOnVelocity());
}

TEST(Mdie_NoteWithDurationEvent, ADurationThatIsReportedIsStoredWithItsType) {
  Mdie_NoteWithDurationEvent event(60, Samples(1), 1, 0);
  Test_AssertRecorder recorder;
  event.SetDuration(Time_TypedLength(0, Time_cTicks));
  EXPECT_THAT(recorder.Texts(), ElementsAre(kDurationText));
  EXPECT_EQ(0, event.GetDuration().AsInt64());
  EXPECT_EQ(Time_cTicks, event.GetDuration().GetType());
}

TEST(Mdie_NoteWithDurationEvent, MarkForDeletionMakesGetOnVelocityReturn0WithoutAReport) {
  Mdie_NoteWithDurationEvent event(60, Samples(1), 100, 64);
  Test_AssertRecorder recorder;
  event.MarkForDeletion();
  EXPECT_EQ(0, event.GetOnVelocity());
  EXPECT_EQ(60, event.GetPitch());
  EXPECT_EQ(64, event.GetOffVelocity());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

// The tag is handed to the shared base, and checked there last.
struct Test_NoteOfAnyTag : Mdie_NoteWithDurationBase {
  explicit Test_NoteOfAnyTag(EType iType) : Mdie_NoteWithDurationBase(iType) {}
  Test_NoteOfAnyTag(EType iType, signed char iPitch)
      : Mdie_NoteWithDurationBase(iPitch, Time_TypedLength(1, Time_cSamples), 1, 0, iType) {}
};

TEST(Mdie_NoteWithDurationBase, TakesItsTagFromTheConstructor) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(Mdie_Event::kAddNoteInProgress, Test_NoteOfAnyTag(Mdie_Event::kAddNoteInProgress).GetType());
  EXPECT_EQ(Mdie_Event::kClearNoteInProgress,
            Test_NoteOfAnyTag(Mdie_Event::kClearNoteInProgress, 9).GetType());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_ClearNoteInProgressEvent, HoldsAndChecksAsItsBase) {
  Test_AssertRecorder recorder;
  const Mdie_ClearNoteInProgressEvent good(60, Samples(7), 100, 64);
  EXPECT_EQ(Mdie_Event::kClearNoteInProgress, good.GetType());
  EXPECT_EQ(60, good.GetPitch());
  EXPECT_EQ(7, good.GetDuration().AsInt64());
  EXPECT_EQ(100, good.GetOnVelocity());
  EXPECT_EQ(64, good.GetOffVelocity());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
  const Mdie_ClearNoteInProgressEvent bad(-1, Samples(0), 0, -1);
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("iPitch >= 0", kDurationText, "iOnVelocity >= 1", "iOffVelocity >= 0"));
}

TEST(Mdie_AddNoteInProgressEvent, HoldsAndChecksAsItsBase) {
  Test_AssertRecorder recorder;
  const Mdie_AddNoteInProgressEvent good(60, Samples(7), 100, 64);
  EXPECT_EQ(Mdie_Event::kAddNoteInProgress, good.GetType());
  EXPECT_EQ(60, good.GetPitch());
  EXPECT_EQ(7, good.GetDuration().AsInt64());
  EXPECT_EQ(100, good.GetOnVelocity());
  EXPECT_EQ(64, good.GetOffVelocity());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
  const Mdie_AddNoteInProgressEvent bad(-1, Samples(0), 0, -1);
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("iPitch >= 0", kDurationText, "iOnVelocity >= 1", "iOffVelocity >= 0"));
}

TEST(Mdie_PitchToMIDINoteWithDuration, HoldsTheFractionalPitchBesides) {
  Test_AssertRecorder recorder;
  Mdie_PitchToMIDINoteWithDuration event(60, Samples(7), 100, 64, 60.25f);
  EXPECT_EQ(Mdie_Event::kPitchToMIDINoteWithDuration, event.GetType());
  EXPECT_EQ(60, event.GetPitch());
  EXPECT_EQ(7, event.GetDuration().AsInt64());
  EXPECT_EQ(100, event.GetOnVelocity());
  EXPECT_EQ(64, event.GetOffVelocity());
  EXPECT_EQ(60.25f, event.GetFractionalPitch());
  event.SetFractionalPitch(0.0f);
  EXPECT_EQ(0.0f, event.GetFractionalPitch());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_PitchToMIDINoteWithDuration, ReportsANegativeFractionalPitchAndStoresIt) {
  Test_AssertRecorder recorder;
  Mdie_PitchToMIDINoteWithDuration event(-1, Samples(0), 0, -1, -0.5f);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPitch >= 0", kDurationText, "iOnVelocity >= 1",
                                            "iOffVelocity >= 0", "inFractionalPitch >= 0"));
  EXPECT_EQ(-0.5f, event.GetFractionalPitch());
  recorder.Clear();
  event.SetFractionalPitch(std::numeric_limits<float>::quiet_NaN());
  EXPECT_THAT(recorder.Texts(), ElementsAre("inFractionalPitch >= 0"));
  EXPECT_TRUE(std::isnan(event.GetFractionalPitch()));
}

// ---- pitch bend ----

TEST(Mdie_PitchBendEvent, HoldsTheWholeRange) {
  Test_AssertRecorder recorder;
  Mdie_PitchBendEvent event(-8192);
  EXPECT_EQ(Mdie_Event::kPitchBend, event.GetType());
  EXPECT_EQ(-8192, event.GetBendValue());
  event.SetBendValue(8191);
  EXPECT_EQ(8191, event.GetBendValue());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_PitchBendEvent, ReportsAValueOutOfRangeAndStoresIt) {
  Test_AssertRecorder recorder;
  Mdie_PitchBendEvent event(8192);
  EXPECT_EQ(8192, event.GetBendValue());
  event.SetBendValue(-8193);
  EXPECT_EQ(-8193, event.GetBendValue());
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("-8192 <= iBend && iBend <= 8191", "-8192 <= iBend && iBend <= 8191"));
}

// ---- controller ----

TEST(Mdie_ControllerEvent, HoldsNumberAndValue) {
  Test_AssertRecorder recorder;
  Mdie_ControllerEvent event(0, 0);
  EXPECT_EQ(Mdie_Event::kController, event.GetType());
  event.SetControllerNumber(119);
  event.SetValue(127);
  EXPECT_EQ(119, event.GetControllerNumber());
  EXPECT_EQ(127, event.GetValue());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_ControllerEvent, Controller120IsReportedAndStored) {
  Test_AssertRecorder recorder;
  const Mdie_ControllerEvent event(120, 0);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iControllerNumber < 120"));
  EXPECT_EQ(120, event.GetControllerNumber());
}

TEST(Mdie_ControllerEvent, ReportsNegativeNumbersAndStoresThem) {
  Test_AssertRecorder recorder;
  Mdie_ControllerEvent event(-1, static_cast<signed char>(200));
  EXPECT_THAT(recorder.Texts(), ElementsAre("iControllerNumber >= 0", "iValue >= 0"));
  EXPECT_EQ(-1, event.GetControllerNumber());
  EXPECT_EQ(-56, event.GetValue());
  recorder.Clear();
  event.SetControllerNumber(127);
  event.SetControllerNumber(-2);
  event.SetValue(-3);
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("iControllerNumber < 120", "iControllerNumber >= 0", "iValue >= 0"));
  EXPECT_EQ(-2, event.GetControllerNumber());
  EXPECT_EQ(-3, event.GetValue());
}

// ---- program ----

TEST(Mdie_ProgramEvent, DefaultConstructedSaysThatAllThreePartsAreDisabled) {
  const Mdie_ProgramEvent event;
  EXPECT_EQ(Mdie_Event::kProgram, event.GetType());
  EXPECT_EQ(0x80, event.GetFullProgram());
  EXPECT_EQ(0xC000, event.GetFullBank());
  EXPECT_FALSE(event.IsProgramEnabled());
  EXPECT_FALSE(event.IsLSBBankEnabled());
  EXPECT_FALSE(event.IsMSBBankEnabled());
}

TEST(Mdie_ProgramEvent, SetProgramKeepsTheFlagAndOnlySetProgramEnableClearsIt) {
  Mdie_ProgramEvent event;
  event.SetProgram(5);
  EXPECT_EQ(0x85, event.GetFullProgram());
  EXPECT_FALSE(event.IsProgramEnabled());
  event.SetProgramEnable(true);
  EXPECT_EQ(0x05, event.GetFullProgram());
  EXPECT_TRUE(event.IsProgramEnabled());
  EXPECT_EQ(5, event.GetProgram());
}

TEST(Mdie_ProgramEvent, SetProgramDropsTheOldNumber) {
  Mdie_ProgramEvent event(0x05);
  event.SetProgram(2);
  EXPECT_EQ(0x02, event.GetFullProgram());
}

TEST(Mdie_ProgramEvent, SetProgramOrsANegativeNumberInWithoutAMask) {
  Mdie_ProgramEvent event(0x00);
  Test_AssertRecorder recorder;
  event.SetProgram(static_cast<signed char>(0x83));
  EXPECT_THAT(recorder.Texts(), ElementsAre("iProgramNumber >= 0"));
  EXPECT_EQ(0x83, event.GetFullProgram());
}

TEST(Mdie_ProgramEvent, FullProgramAndFullBankAreRawAndUnchecked) {
  Test_AssertRecorder recorder;
  Mdie_ProgramEvent event(0xFF, 0xFFFF);
  EXPECT_EQ(0xFF, event.GetFullProgram());
  EXPECT_EQ(0xFFFF, event.GetFullBank());
  event.SetFullProgram(0x12);
  event.SetFullBank(0x9234);
  EXPECT_EQ(0x12, event.GetFullProgram());
  EXPECT_EQ(0x9234, event.GetFullBank());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_ProgramEvent, SetBank3FFFOnAWordWithBothFlagsYieldsFFFF) {
  Mdie_ProgramEvent event;
  event.SetBank(0x3FFF);
  EXPECT_EQ(0xFFFF, event.GetFullBank());
  EXPECT_EQ(0x3FFF, event.GetBank());
}

TEST(Mdie_ProgramEvent, SetBankDropsTheOldNumber) {
  Mdie_ProgramEvent event(0x00, 0x7FFF);
  event.SetBank(0x0081);
  EXPECT_EQ(0x4081, event.GetFullBank());
  EXPECT_EQ(1, event.GetLSBBank());
  EXPECT_EQ(1, event.GetMSBBank());
}

TEST(Mdie_ProgramEvent, SetBankReportsANumberOutOfRangeAndOrsItIn) {
  Mdie_ProgramEvent event(0x00, 0x0000);
  Test_AssertRecorder recorder;
  event.SetBank(16384);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iBankNumber < 16384"));
  EXPECT_EQ(0x4000, event.GetFullBank());
  recorder.Clear();
  event.SetBank(-1);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iBankNumber >= 0"));
  EXPECT_EQ(0xFFFF, event.GetFullBank());
}

TEST(Mdie_ProgramEvent, SetLSBBankReplacesBits0To6) {
  Mdie_ProgramEvent event(0x00, 0xFFFF);
  event.SetLSBBank(0x15);
  EXPECT_EQ(0xFF95, event.GetFullBank());
  EXPECT_EQ(0x15, event.GetLSBBank());
  event.SetFullBank(0x0000);
  event.SetLSBBank(0x7F);
  EXPECT_EQ(0x007F, event.GetFullBank());
  Test_AssertRecorder recorder;
  event.SetLSBBank(-1);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iLSBNumber >= 0"));
  EXPECT_EQ(0x007F, event.GetFullBank());
}

TEST(Mdie_ProgramEvent, SetMSBBankReplacesBits7To13) {
  Mdie_ProgramEvent event(0x00, 0xFFFF);
  event.SetMSBBank(0x15);
  EXPECT_EQ(0xCAFF, event.GetFullBank());
  EXPECT_EQ(0x15, event.GetMSBBank());
  event.SetFullBank(0x0000);
  event.SetMSBBank(0x7F);
  EXPECT_EQ(0x3F80, event.GetFullBank());
  Test_AssertRecorder recorder;
  event.SetMSBBank(-1);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iMSBNumber >= 0"));
  EXPECT_EQ(0x3F80, event.GetFullBank());
}

TEST(Mdie_ProgramEvent, EnablingClearsTheFlagAndDisablingSetsIt) {
  Mdie_ProgramEvent event(0xC1, 0xC123);
  event.SetLSBBankEnable(true);
  EXPECT_EQ(0x8123, event.GetFullBank());
  EXPECT_TRUE(event.IsLSBBankEnabled());
  EXPECT_FALSE(event.IsMSBBankEnabled());
  event.SetMSBBankEnable(true);
  EXPECT_EQ(0x0123, event.GetFullBank());
  EXPECT_TRUE(event.IsMSBBankEnabled());
  event.SetLSBBankEnable(false);
  EXPECT_EQ(0x4123, event.GetFullBank());
  EXPECT_FALSE(event.IsLSBBankEnabled());
  event.SetMSBBankEnable(false);
  EXPECT_EQ(0xC123, event.GetFullBank());
  EXPECT_FALSE(event.IsMSBBankEnabled());
  event.SetProgramEnable(true);
  EXPECT_EQ(0x41, event.GetFullProgram());
  event.SetProgramEnable(false);
  EXPECT_EQ(0xC1, event.GetFullProgram());
  EXPECT_FALSE(event.IsProgramEnabled());
}

// ---- pressure ----

TEST(Mdie_MonoPressureEvent, HoldsAndChecksThePressure) {
  Test_AssertRecorder recorder;
  Mdie_MonoPressureEvent event(127);
  EXPECT_EQ(Mdie_Event::kMonoPressure, event.GetType());
  EXPECT_EQ(127, event.GetPressure());
  event.SetPressure(0);
  EXPECT_EQ(0, event.GetPressure());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
  event.SetPressure(-1);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPressure >= 0"));
  EXPECT_EQ(-1, event.GetPressure());
  recorder.Clear();
  EXPECT_EQ(-2, Mdie_MonoPressureEvent(-2).GetPressure());
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPressure >= 0"));
}

TEST(Mdie_PolyPressureEvent, HoldsAndChecksPitchAndPressure) {
  Test_AssertRecorder recorder;
  Mdie_PolyPressureEvent event(60, 127);
  EXPECT_EQ(Mdie_Event::kPolyPressure, event.GetType());
  EXPECT_EQ(60, event.GetPitch());
  EXPECT_EQ(127, event.GetPressure());
  event.SetPitch(0);
  event.SetPressure(1);
  EXPECT_EQ(0, event.GetPitch());
  EXPECT_EQ(1, event.GetPressure());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
  event.SetPitch(-1);
  event.SetPressure(-2);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPitch >= 0", "iPressure >= 0"));
  EXPECT_EQ(-1, event.GetPitch());
  EXPECT_EQ(-2, event.GetPressure());
  recorder.Clear();
  const Mdie_PolyPressureEvent bad(-3, -4);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPitch >= 0", "iPressure >= 0"));
}

// ---- song position, quarter frame ----

TEST(Mdie_SongPositionEvent, HoldsAndChecksThePosition) {
  Test_AssertRecorder recorder;
  Mdie_SongPositionEvent event(0x3fff);
  EXPECT_EQ(Mdie_Event::kSongPosition, event.GetType());
  EXPECT_EQ(0x3fff, event.GetPosition());
  event.SetPosition(0);
  EXPECT_EQ(0, event.GetPosition());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
  event.SetPosition(0x4000);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPosition <= 0x3fff"));
  EXPECT_EQ(0x4000, event.GetPosition());
  recorder.Clear();
  EXPECT_EQ(-1, Mdie_SongPositionEvent(-1).GetPosition());
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPosition >= 0"));
}

TEST(Mdie_SongPositionEvent, APositionThatNeedsMoreThan16BitsIsStoredAsFarAsItFits) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(5, Mdie_SongPositionEvent(0x10005).GetPosition());
  EXPECT_THAT(recorder.Texts(), ElementsAre("iPosition <= 0x3fff"));
}

TEST(Mdie_QuarterFrameEvent, Message7AndNibble15HaveDataByte7F) {
  const Mdie_QuarterFrameEvent event(Mdie_QuarterFrameEvent::kHoursHighAndRate, 15);
  EXPECT_EQ(Mdie_Event::kQuarterFrame, event.GetType());
  EXPECT_EQ(0x7F, event.GetQFDataByte());
}

TEST(Mdie_QuarterFrameEvent, ANibbleOfMoreThanFourBitsIsOredInWithoutAMask) {
  const Mdie_QuarterFrameEvent event(Mdie_QuarterFrameEvent::kSecondsLow, 0x95);
  EXPECT_EQ(0xB5, event.GetQFDataByte());
  EXPECT_EQ(Mdie_QuarterFrameEvent::kSecondsHigh, event.GetQFMessage());
  EXPECT_EQ(5, event.GetQFNibble());
}

TEST(Mdie_QuarterFrameEvent, DataByteFFGivesMessage7AndNibble15) {
  const Mdie_QuarterFrameEvent event(0xFF);
  EXPECT_EQ(0xFF, event.GetQFDataByte());
  EXPECT_EQ(7, event.GetQFMessage());
  EXPECT_EQ(15, event.GetQFNibble());
}

TEST(Mdie_QuarterFrameEvent, DividesItsDataByte) {
  const Mdie_QuarterFrameEvent event(0x35);
  EXPECT_EQ(Mdie_QuarterFrameEvent::kSecondsHigh, event.GetQFMessage());
  EXPECT_EQ(5, event.GetQFNibble());
  EXPECT_EQ(0x2A, Mdie_QuarterFrameEvent(Mdie_QuarterFrameEvent::kSecondsLow, 10).GetQFDataByte());
}

// ---- release controller, clip ----

TEST(Mdie_ReleaseControllerEvent, HoldsAnyIndexUnchecked) {
  Test_AssertRecorder recorder;
  Mdie_ReleaseControllerEvent event(3);
  EXPECT_EQ(Mdie_Event::kReleaseController, event.GetType());
  EXPECT_EQ(3, event.GetIndex());
  event.SetIndex(-2147483647);
  EXPECT_EQ(-2147483647, event.GetIndex());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_ClipEvent, HoldsNameAndDuration) {
  const Mdie_ClipEvent event("Verse 1", Time_TypedLength(96000, Time_cSamples));
  EXPECT_EQ(Mdie_Event::kClipEvent, event.GetType());
  EXPECT_EQ("Verse 1", event.GetRegionName());
  EXPECT_EQ(96000u, event.GetDuration());
}

TEST(Mdie_ClipEvent, AnEmptyNameReturnsAnEmptyRegionName) {
  EXPECT_EQ("", Mdie_ClipEvent("", Samples(1)).GetRegionName());
}

TEST(Mdie_ClipEvent, ALongerNameIsCutAt63BytesAndItsReadingStopsThere) {
  const Mdie_ClipEvent event(std::string(63, 'a') + std::string(100, 'b'), Samples(-1));
  EXPECT_EQ(std::string(63, 'a'), event.GetRegionName());
  EXPECT_EQ(0xFFFFFFFFFFFFFFFFu, event.GetDuration());
}

// Shows the stored bytes of the name's field.
struct Test_ClipBytes : Mdie_ClipEvent {
  using Mdie_ClipEvent::Mdie_ClipEvent;
  std::string Stored() const { return std::string(mU.mClip.mRegionName, sizeof mU.mClip.mRegionName); }
};

TEST(Mdie_ClipEvent, FillsTheRestOfThe63BytesWithZeros) {
  EXPECT_EQ("abc" + std::string(60, '\0'), Test_ClipBytes("abc", Samples(1)).Stored());
  EXPECT_EQ(std::string(63, 'a'), Test_ClipBytes(std::string(63, 'a'), Samples(1)).Stored());
}

TEST(Mdie_ClipEvent, TheNameEndsAtItsFirstZeroByte) {
  EXPECT_EQ("ab", Mdie_ClipEvent(std::string("ab\0cd", 5), Samples(1)).GetRegionName());
}

// ---- events that are a tag alone ----

TEST(Mdie_Event, EventsWithoutPayloadAreTheirTagAlone) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(Mdie_Event::kStart, Mdie_StartEvent().GetType());
  EXPECT_EQ(Mdie_Event::kContinue, Mdie_ContinueEvent().GetType());
  EXPECT_EQ(Mdie_Event::kStop, Mdie_StopEvent().GetType());
  EXPECT_EQ(Mdie_Event::kTimingClock, Mdie_TimingClockEvent().GetType());
  EXPECT_EQ(Mdie_Event::kAllNotesOff, Mdie_AllNotesOffEvent().GetType());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

// ---- where the fields lie ----

// Each arm has its fields in their order behind the tag.
struct Test_Arms : Mdie_Event {
  static void Check() {
    EXPECT_EQ(offsetof(Note, mType), 0u);
    EXPECT_EQ(offsetof(Note, mPitch), 1u);
    EXPECT_EQ(offsetof(Note, mVelocity), 2u);
    EXPECT_EQ(offsetof(NoteWithDuration, mPitch), 1u);
    EXPECT_EQ(offsetof(NoteWithDuration, mOnVelocity), 2u);
    EXPECT_EQ(offsetof(NoteWithDuration, mOffVelocity), 3u);
    EXPECT_EQ(offsetof(NoteWithDuration, mDuration), 8u);
    EXPECT_EQ(offsetof(NoteWithDuration, mDurationType), 16u);
    EXPECT_EQ(offsetof(NoteWithDuration, mFractionalPitch), 20u);
    EXPECT_EQ(offsetof(PitchBend, mBend), 2u);
    EXPECT_EQ(offsetof(Controller, mNumber), 1u);
    EXPECT_EQ(offsetof(Controller, mValue), 2u);
    EXPECT_EQ(offsetof(Program, mProgram), 1u);
    EXPECT_EQ(offsetof(Program, mBank), 2u);
    EXPECT_EQ(offsetof(MonoPressure, mPressure), 1u);
    EXPECT_EQ(offsetof(PolyPressure, mPitch), 1u);
    EXPECT_EQ(offsetof(PolyPressure, mPressure), 2u);
    EXPECT_EQ(offsetof(SongPosition, mPosition), 2u);
    EXPECT_EQ(offsetof(ReleaseController, mIndex), 4u);
    EXPECT_EQ(offsetof(QuarterFrame, mData), 1u);
    EXPECT_EQ(offsetof(Clip, mRegionName), 1u);
    EXPECT_EQ(sizeof(Clip::mRegionName), 63u);
    EXPECT_EQ(offsetof(Clip, mDuration), 72u) << "more room behind the name, then the duration";
    EXPECT_EQ(sizeof(Payload), sizeof(Clip)) << "the clip is the largest arm";
  }
  // Signed or unsigned, and how wide.
  static_assert(std::is_same_v<decltype(Note::mPitch), signed char>);
  static_assert(std::is_same_v<decltype(NoteWithDuration::mDuration), std::int64_t>);
  static_assert(sizeof(NoteWithDuration::mDurationType) == 4);
  static_assert(std::is_same_v<decltype(NoteWithDuration::mFractionalPitch), float>);
  static_assert(std::is_same_v<decltype(PitchBend::mBend), std::int16_t>);
  static_assert(std::is_same_v<decltype(Program::mBank), std::uint16_t>);
  static_assert(std::is_same_v<decltype(SongPosition::mPosition), std::int16_t>);
  static_assert(std::is_same_v<decltype(ReleaseController::mIndex), std::int32_t>);
  static_assert(std::is_same_v<decltype(QuarterFrame::mData), unsigned char>);
  static_assert(std::is_same_v<decltype(Clip::mDuration), std::uint64_t>);
};

TEST(Mdie_Event, EachArmHasItsFieldsInOrderBehindTheTag) { Test_Arms::Check(); }

// ---- the read-back of the tag ----

// The read-back can't be made to fail from outside, so this reads that it is there: each constructor of a
// class with a tag of its own makes the check in its header. The conversions stand in another file.
TEST(Mdie_Event, EveryConstructorReadsItsTagBack) {
  const std::pair<const char*, const char*> kChecks[] = {
      {"mdie_noteevents.h", "kNoteOn"},
      {"mdie_noteevents.h", "kNoteOff"},
      {"mdie_noteevents.h", "kMonoPressure"},
      {"mdie_noteevents.h", "kPolyPressure"},
      {"mdie_notewithdurationevents.h", "iType"},
      {"mdie_notewithdurationevents.h", "kNoteWithDuration"},
      {"mdie_notewithdurationevents.h", "kClearNoteInProgress"},
      {"mdie_notewithdurationevents.h", "kAddNoteInProgress"},
      {"mdie_notewithdurationevents.h", "kPitchToMIDINoteWithDuration"},
      {"mdie_controlevents.h", "kPitchBend"},
      {"mdie_controlevents.h", "kController"},
      {"mdie_controlevents.h", "kReleaseController"},
      {"mdie_controlevents.h", "kAllNotesOff"},
      {"mdie_programevent.h", "kProgram"},
      {"mdie_systemevents.h", "kSongPosition"},
      {"mdie_systemevents.h", "kQuarterFrame"},
      {"mdie_systemevents.h", "kStart"},
      {"mdie_systemevents.h", "kContinue"},
      {"mdie_systemevents.h", "kStop"},
      {"mdie_systemevents.h", "kTimingClock"},
      {"mdie_clipevent.h", "kClipEvent"},
      {"mdie_event.cpp", "kSysexPacket"},
  };
  for (const auto& [file, tag] : kChecks) {
    std::ifstream stream(Test_SourceRoot() + "/mdid/" + file);
    const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const std::string quoted = "\"mU.mBase.mType == " + std::string(tag) + "\"";
    EXPECT_NE(std::string::npos, text.find(quoted)) << file << " " << quoted;
  }
}

}  // namespace
