// SPDX-License-Identifier: MIT
#include "mdid/mdie_event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/mdid/mdie_testevents.h"
#include "tests/support/assert_recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// ---- the record ----

TEST(Mdie_Event, EnumeratorsHaveTheNumbersOfTheTags) {
  EXPECT_EQ(0, Mdie_Event::kNoEvent);
  EXPECT_EQ(1, Mdie_Event::kNoteOn);
  EXPECT_EQ(2, Mdie_Event::kNoteOff);
  EXPECT_EQ(3, Mdie_Event::kNoteWithDuration);
  EXPECT_EQ(4, Mdie_Event::kPitchBend);
  EXPECT_EQ(5, Mdie_Event::kController);
  EXPECT_EQ(6, Mdie_Event::kProgram);
  EXPECT_EQ(7, Mdie_Event::kMonoPressure);
  EXPECT_EQ(8, Mdie_Event::kPolyPressure);
  EXPECT_EQ(9, Mdie_Event::kSongPosition);
  EXPECT_EQ(10, Mdie_Event::kStart);
  EXPECT_EQ(11, Mdie_Event::kContinue);
  EXPECT_EQ(12, Mdie_Event::kStop);
  EXPECT_EQ(13, Mdie_Event::kTimingClock);
  EXPECT_EQ(14, Mdie_Event::kShortSysex);
  EXPECT_EQ(15, Mdie_Event::kLongSysex);
  EXPECT_EQ(16, Mdie_Event::kSysexPacket);
  EXPECT_EQ(17, Mdie_Event::kClearNoteInProgress);
  EXPECT_EQ(18, Mdie_Event::kAddNoteInProgress);
  EXPECT_EQ(19, Mdie_Event::kReleaseController);
  EXPECT_EQ(20, Mdie_Event::kAllNotesOff);
  EXPECT_EQ(21, Mdie_Event::kQuarterFrame);
  EXPECT_EQ(22, Mdie_Event::kPitchToMIDINoteWithDuration);
  EXPECT_EQ(23, Mdie_Event::kClipEvent);
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<Mdie_Event::EType>, signed char>));
}

TEST(Mdie_Event, EveryClassSetsItsTag) {
  Test_AssertRecorder recorder;
  for (int tag = 0; tag <= 23; ++tag) {
    EXPECT_EQ(tag, Test_MakeEvent(tag).GetType()) << "tag " << tag;
  }
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_Event, IsOneRecordOfEightyBytesWithoutVirtualTable) {
  EXPECT_EQ(80u, sizeof(Mdie_Event));
  EXPECT_FALSE(std::is_polymorphic_v<Mdie_Event>);
  EXPECT_FALSE(std::is_polymorphic_v<Mdie_ClipEvent>);
  EXPECT_EQ(sizeof(Mdie_Event), sizeof(Mdie_ClipEvent));
  EXPECT_EQ(sizeof(Mdie_Event), sizeof(Mdie_StartEvent));
  EXPECT_EQ(sizeof(Mdie_Event), sizeof(Mdie_SysexEvent));
}

TEST(Mdie_Event, TagIsTheFirstByteOfEveryRecord) {
  for (int tag = 0; tag <= 23; ++tag) {
    const Mdie_Event event = Test_MakeEvent(tag);
    signed char first = -1;
    std::memcpy(&first, static_cast<const void*>(&event), 1);
    EXPECT_EQ(tag, first);
  }
}

TEST(Mdie_Event, NotesWithDurationShareOneBase) {
  EXPECT_TRUE((std::is_base_of_v<Mdie_NoteWithDurationBase, Mdie_NoteWithDurationEvent>));
  EXPECT_TRUE((std::is_base_of_v<Mdie_NoteWithDurationBase, Mdie_ClearNoteInProgressEvent>));
  EXPECT_TRUE((std::is_base_of_v<Mdie_NoteWithDurationBase, Mdie_AddNoteInProgressEvent>));
  EXPECT_TRUE((std::is_base_of_v<Mdie_NoteWithDurationBase, Mdie_PitchToMIDINoteWithDuration>));
  EXPECT_TRUE((std::is_base_of_v<Mdie_Event, Mdie_NoteWithDurationBase>));
}

TEST(Mdie_Event, DefaultConstructorSetsTheTagAndTouchesNothingElse) {
  alignas(Mdie_Event) unsigned char bytes[sizeof(Mdie_Event)];
  std::memset(bytes, 0xA5, sizeof bytes);
  // The barriers keep the compiler from dropping the fill: to the language it ends with the constructor.
  asm volatile("" : : "r"(bytes) : "memory");
  Mdie_Event* const eventP = new (static_cast<void*>(bytes)) Mdie_Event;
  asm volatile("" : : "r"(bytes) : "memory");
  unsigned char after[sizeof(Mdie_Event)];
  std::memcpy(after, bytes, sizeof after);
  EXPECT_EQ(0, after[0]);
  for (std::size_t i = 1; i < sizeof after; ++i) EXPECT_EQ(0xA5, after[i]) << "byte " << i;
  eventP->~Mdie_Event();
}

TEST(Mdie_Event, CopyAndAssignmentCarryTheWholeRecord) {
  const std::string name(63, 'n');
  const Mdie_ClipEvent clip(name, Time_TypedLength(0x0102030405060708, Time_cSamples));
  const Mdie_Event copy(clip);
  EXPECT_EQ(0, std::memcmp(static_cast<const void*>(&copy), static_cast<const void*>(&clip), sizeof clip));
  Mdie_Event assigned = Mdie_NoteOnEvent(60, 100);
  assigned = clip;
  EXPECT_EQ(0,
            std::memcmp(static_cast<const void*>(&assigned), static_cast<const void*>(&clip), sizeof clip));
  EXPECT_EQ(name, assigned.AsClipEvent().GetRegionName());
  EXPECT_EQ(0x0102030405060708u, assigned.AsClipEvent().GetDuration());
}

TEST(Mdie_Event, AssignmentReplacesTheTag) {
  Mdie_Event event = Mdie_NoteOnEvent(60, 100);
  event = Mdie_ControllerEvent(7, 90);
  EXPECT_EQ(Mdie_Event::kController, event.GetType());
  EXPECT_EQ(7, event.AsController().GetControllerNumber());
  EXPECT_EQ(90, event.AsController().GetValue());
}

TEST(Mdie_Event, SelfAssignmentOfAShortEventDoesNothing) {
  Mdie_Event event = Mdie_NoteOnEvent(60, 100);
  const Mdie_Event& same = event;
  event = same;
  EXPECT_EQ(60, event.AsNoteOn().GetPitch());
  EXPECT_EQ(100, event.AsNoteOn().GetVelocity());
}

TEST(Mdie_Event, IsMessageSysexIsTrueForTags14And15Alone) {
  for (int tag = 0; tag <= 23; ++tag) {
    EXPECT_EQ(tag == 14 || tag == 15, Test_MakeEvent(tag).IsMessageSysex(0)) << "tag " << tag;
  }
}

TEST(Mdie_Event, IsMessageSysexIgnoresItsArgument) {
  for (int tag = 0; tag <= 23; ++tag) {
    const Mdie_Event event = Test_MakeEvent(tag);
    EXPECT_EQ(event.IsMessageSysex(0), event.IsMessageSysex(7)) << "tag " << tag;
    EXPECT_EQ(event.IsMessageSysex(0), event.IsMessageSysex(-1)) << "tag " << tag;
  }
}

// ---- conversions ----

struct Conversion {
  const char* mName;
  std::vector<int> mTags;  // that pass
  const char* mText;
  std::function<const void*(Mdie_Event&)> mConvert;
  std::function<const void*(const Mdie_Event&)> mConvertConst;
};

#define CONVERSION(name, tags, text)                                                                        \
  Conversion {                                                                                              \
#name, tags, text,                                                                                      \
        [](Mdie_Event & iEvent)                                                                             \
             -> const void* { return &iEvent.As##name(); },                                                 \
                                                         [](const Mdie_Event& iEvent)                       \
                                                              -> const void* { return &iEvent.As##name(); } \
  }

const std::vector<Conversion>& Conversions() {
  using Tags = std::vector<int>;
  static const std::vector<Conversion> sConversions = {
      CONVERSION(NoteOn, Tags{1}, "mU.mBase.mType == kNoteOn"),
      CONVERSION(NoteOff, Tags{2}, "mU.mBase.mType == kNoteOff"),
      CONVERSION(NoteWithDuration, (Tags{3, 22}),
                 "mU.mBase.mType == kNoteWithDuration || mU.mBase.mType == kPitchToMIDINoteWithDuration"),
      CONVERSION(PitchBend, Tags{4}, "mU.mBase.mType == kPitchBend"),
      CONVERSION(Controller, Tags{5}, "mU.mBase.mType == kController"),
      CONVERSION(Program, Tags{6}, "mU.mBase.mType == kProgram"),
      CONVERSION(MonoPressure, Tags{7}, "mU.mBase.mType == kMonoPressure"),
      CONVERSION(PolyPressure, Tags{8}, "mU.mBase.mType == kPolyPressure"),
      CONVERSION(SongPosition, Tags{9}, "mU.mBase.mType == kSongPosition"),
      CONVERSION(Sysex, (Tags{14, 15}), "mU.mBase.mType == kShortSysex || this->IsCompleteLongSysex()"),
      CONVERSION(SysexPacket, (Tags{14, 15, 16}),
                 "mU.mBase.mType == kSysexPacket || mU.mBase.mType == kShortSysex || "
                 "mU.mBase.mType == kLongSysex"),
      CONVERSION(ClearNoteInProgress, Tags{17}, "mU.mBase.mType == kClearNoteInProgress"),
      CONVERSION(AddNoteInProgress, Tags{18}, "mU.mBase.mType == kAddNoteInProgress"),
      CONVERSION(ReleaseController, Tags{19}, "mU.mBase.mType == kReleaseController"),
      CONVERSION(QuarterFrame, Tags{21}, "mU.mBase.mType == kQuarterFrame"),
      CONVERSION(PitchToMIDINoteWithDuration, Tags{22}, "mU.mBase.mType == kPitchToMIDINoteWithDuration"),
      CONVERSION(ClipEvent, Tags{23}, "mU.mBase.mType == kClipEvent"),
  };
  return sConversions;
}

#undef CONVERSION

TEST(Mdie_Event, EachConversionPassesItsTagsAndReportsAllOthersAndReturnsTheSameObject) {
  ASSERT_EQ(17u, Conversions().size());
  for (const Conversion& conversion : Conversions()) {
    for (int tag = 0; tag <= 23; ++tag) {
      SCOPED_TRACE(std::string("As") + conversion.mName + " of tag " + std::to_string(tag));
      Mdie_Event event = Test_MakeEvent(tag);
      const Mdie_Event& constEvent = event;
      const bool passes =
          std::find(conversion.mTags.begin(), conversion.mTags.end(), tag) != conversion.mTags.end();
      Test_AssertRecorder recorder;
      EXPECT_EQ(static_cast<const void*>(&event), conversion.mConvert(event));
      EXPECT_EQ(static_cast<const void*>(&event), conversion.mConvertConst(constEvent));
      if (passes) {
        EXPECT_THAT(recorder.Texts(), IsEmpty());
      } else {
        EXPECT_THAT(recorder.Texts(), ElementsAre(conversion.mText, conversion.mText));
      }
    }
  }
}

TEST(Mdie_Event, ReportsNameTheSourceAndDoNotThrow) {
  Test_AssertRecorder recorder;
  const Mdie_Event event;
  event.AsNoteOn();
  ASSERT_EQ(1, recorder.Count());
  EXPECT_EQ("mU.mBase.mType == kNoteOn", recorder.Reports()[0].mText);
  EXPECT_EQ("mdid/mdie_event", recorder.Reports()[0].mSource);
  EXPECT_TRUE(recorder.Reports()[0].mFlag);
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST(Mdie_Event, AsSysexReportsALongSysexThatIsNotWhole) {
  std::vector<unsigned char> bytes(200, 0x11);
  bytes.front() = 0xF0;
  Mdie_SysexEvent event(200, bytes.data());
  ASSERT_EQ(Mdie_Event::kLongSysex, event.GetType());
  Test_AssertRecorder recorder;
  const Mdie_Event& plain = event;
  EXPECT_EQ(&event, &plain.AsSysex());
  EXPECT_THAT(recorder.Texts(), ElementsAre("mU.mBase.mType == kShortSysex || this->IsCompleteLongSysex()"));
}

TEST(Mdie_Event, AsNoteWithDurationReadsANoteWithFractionalPitch) {
  Test_AssertRecorder recorder;
  const Mdie_Event event =
      Mdie_PitchToMIDINoteWithDuration(61, Time_TypedLength(480, Time_cTicks), 90, 30, 61.5f);
  EXPECT_EQ(61, event.AsNoteWithDuration().GetPitch());
  EXPECT_EQ(480, event.AsNoteWithDuration().GetDuration().AsInt64());
  EXPECT_EQ(90, event.AsNoteWithDuration().GetOnVelocity());
  EXPECT_EQ(30, event.AsNoteWithDuration().GetOffVelocity());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

// ---- messages ----

using Bytes = std::vector<int>;

// Message iIndex of an event, with a check that GetMessageData writes the message and not a byte more.
Bytes Message(const Mdie_Event& iEvent, int iIndex) {
  const int length = iEvent.GetMessageLength(iIndex);
  std::vector<signed char> buffer(static_cast<std::size_t>(length) + 16, 0x55);
  iEvent.GetMessageData(buffer.data(), iIndex);
  for (std::size_t i = static_cast<std::size_t>(length); i < buffer.size(); ++i) EXPECT_EQ(0x55, buffer[i]);
  Bytes bytes;
  for (int i = 0; i < length; ++i)
    bytes.push_back(static_cast<unsigned char>(buffer[static_cast<std::size_t>(i)]));
  return bytes;
}

std::vector<Bytes> Messages(const Mdie_Event& iEvent) {
  std::vector<Bytes> messages;
  for (int i = 0; i < iEvent.GetNumMessages(); ++i) messages.push_back(Message(iEvent, i));
  return messages;
}

TEST(Mdie_EventMessages, TagsThatAreNoMidiHaveNone) {
  for (const int tag : {0, 3, 17, 18, 19, 22, 23}) {
    const Mdie_Event event = Test_MakeEvent(tag);
    EXPECT_EQ(0, event.GetNumMessages()) << "tag " << tag;
    EXPECT_EQ(0, event.GetMessageLength(0)) << "tag " << tag;
    EXPECT_EQ(Bytes{}, Message(event, 0)) << "tag " << tag;
  }
}

// A record of a tag that no class has.
struct Test_EventOfAnyTag : Mdie_Event {
  explicit Test_EventOfAnyTag(int iTag) : Mdie_Event(static_cast<EType>(iTag)) {}
};

TEST(Mdie_EventMessages, TagsOutsideTheEnumerationHaveNone) {
  for (const int tag : {-128, -1, 24, 127}) {
    const Test_EventOfAnyTag event(tag);
    EXPECT_EQ(0, event.GetNumMessages()) << "tag " << tag;
    EXPECT_EQ(Bytes{}, Message(event, 0)) << "tag " << tag;
  }
}

TEST(Mdie_EventMessages, NoteOn) {
  EXPECT_THAT(Messages(Mdie_NoteOnEvent(60, 100)), ElementsAre(Bytes{0x90, 60, 100}));
}

TEST(Mdie_EventMessages, ANoteOnWithVelocity0StaysANoteOn) {
  Test_AssertRecorder recorder;
  EXPECT_THAT(Messages(Mdie_NoteOnEvent(60, 0)), ElementsAre(Bytes{0x90, 60, 0}));
}

TEST(Mdie_EventMessages, NoteOff) {
  EXPECT_THAT(Messages(Mdie_NoteOffEvent(61, 64)), ElementsAre(Bytes{0x80, 61, 64}));
}

TEST(Mdie_EventMessages, PitchBendIsOffsetBinaryWithTheLowBitsFirst) {
  EXPECT_THAT(Messages(Mdie_PitchBendEvent(0)), ElementsAre(Bytes{0xE0, 0x00, 0x40}));
  EXPECT_THAT(Messages(Mdie_PitchBendEvent(-8192)), ElementsAre(Bytes{0xE0, 0x00, 0x00}));
  EXPECT_THAT(Messages(Mdie_PitchBendEvent(8191)), ElementsAre(Bytes{0xE0, 0x7F, 0x7F}));
  EXPECT_THAT(Messages(Mdie_PitchBendEvent(1)), ElementsAre(Bytes{0xE0, 0x01, 0x40}));
  EXPECT_THAT(Messages(Mdie_PitchBendEvent(-1)), ElementsAre(Bytes{0xE0, 0x7F, 0x3F}));
}

TEST(Mdie_EventMessages, Controller) {
  EXPECT_THAT(Messages(Mdie_ControllerEvent(119, 127)), ElementsAre(Bytes{0xB0, 119, 127}));
}

TEST(Mdie_EventMessages, ProgramSendsBankMsbThenBankLsbThenProgramChangeEachByItsFlag) {
  const Bytes msb = {0xB0, 0x00, 0x12};
  const Bytes lsb = {0xB0, 0x20, 0x34};
  const Bytes program = {0xC0, 0x56};
  for (int mask = 0; mask < 8; ++mask) {
    Mdie_ProgramEvent event;
    event.SetMSBBank(0x12);
    event.SetLSBBank(0x34);
    event.SetProgram(0x56);
    event.SetMSBBankEnable((mask & 1) != 0);
    event.SetLSBBankEnable((mask & 2) != 0);
    event.SetProgramEnable((mask & 4) != 0);
    std::vector<Bytes> expected;
    if ((mask & 1) != 0) expected.push_back(msb);
    if ((mask & 2) != 0) expected.push_back(lsb);
    if ((mask & 4) != 0) expected.push_back(program);
    EXPECT_EQ(expected, Messages(event)) << "mask " << mask;
  }
}

TEST(Mdie_EventMessages, DefaultConstructedProgramSendsNothing) {
  EXPECT_EQ(0, Mdie_ProgramEvent().GetNumMessages());
}

TEST(Mdie_EventMessages, MonoPressure) {
  EXPECT_THAT(Messages(Mdie_MonoPressureEvent(99)), ElementsAre(Bytes{0xD0, 99}));
}

TEST(Mdie_EventMessages, PolyPressure) {
  EXPECT_THAT(Messages(Mdie_PolyPressureEvent(60, 99)), ElementsAre(Bytes{0xA0, 60, 99}));
}

TEST(Mdie_EventMessages, SongPosition) {
  EXPECT_THAT(Messages(Mdie_SongPositionEvent(0x3FFF)), ElementsAre(Bytes{0xF2, 0x7F, 0x7F}));
  EXPECT_THAT(Messages(Mdie_SongPositionEvent(0x0081)), ElementsAre(Bytes{0xF2, 0x01, 0x01}));
}

TEST(Mdie_EventMessages, StartContinueStopAndTimingClock) {
  EXPECT_THAT(Messages(Mdie_StartEvent()), ElementsAre(Bytes{0xFA}));
  EXPECT_THAT(Messages(Mdie_ContinueEvent()), ElementsAre(Bytes{0xFB}));
  EXPECT_THAT(Messages(Mdie_StopEvent()), ElementsAre(Bytes{0xFC}));
  EXPECT_THAT(Messages(Mdie_TimingClockEvent()), ElementsAre(Bytes{0xF8}));
}

TEST(Mdie_EventMessages, QuarterFrame) {
  EXPECT_THAT(Messages(Mdie_QuarterFrameEvent(0x7F)), ElementsAre(Bytes{0xF1, 0x7F}));
}

TEST(Mdie_EventMessages, AllNotesOffIsController123WithValue0) {
  EXPECT_THAT(Messages(Mdie_AllNotesOffEvent()), ElementsAre(Bytes{0xB0, 123, 0}));
}

TEST(Mdie_EventMessages, PacketIsItsBytesAsOneMessage) {
  const unsigned char bytes[] = {0xB0, 121, 0};
  EXPECT_THAT(Messages(Mdie_SysexPacketEvent(3, bytes)), ElementsAre(Bytes{0xB0, 121, 0}));
}

TEST(Mdie_EventMessages, SysexIsOneMessageWhateverItsLength) {
  for (const int length : {1, 2, 77, 78, 79, 80, 256, 257, 5000}) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length));
    Bytes expected;
    for (int i = 0; i < length; ++i) {
      bytes[static_cast<std::size_t>(i)] = static_cast<unsigned char>((i + 3) % 251);
      expected.push_back((i + 3) % 251);
    }
    EXPECT_THAT(Messages(Mdie_SysexEvent(length, bytes.data())), ElementsAre(expected)) << length;
  }
}

TEST(Mdie_EventMessages, ValuesOutOfRangeNeverLookLikeAStatusByte) {
  Test_AssertRecorder recorder;
  EXPECT_THAT(Messages(Mdie_NoteOnEvent(-1, -128)), ElementsAre(Bytes{0x90, 0x7F, 0x00}));
  EXPECT_THAT(Messages(Mdie_PitchBendEvent(32767)), ElementsAre(Bytes{0xE0, 0x7F, 0x3F}));
  EXPECT_THAT(Messages(Mdie_QuarterFrameEvent(0xFF)), ElementsAre(Bytes{0xF1, 0x7F}));
  EXPECT_THAT(Messages(Mdie_SongPositionEvent(0x4001)), ElementsAre(Bytes{0xF2, 0x01, 0x00}));
}

TEST(Mdie_EventMessages, AnIndexOutsideTheEventsMessagesGivesNoBytes) {
  for (int tag = 0; tag <= 23; ++tag) {
    const Mdie_Event event = Test_MakeEvent(tag);
    for (const int index : {-1, event.GetNumMessages(), 100, std::numeric_limits<int>::min(),
                            std::numeric_limits<int>::max()}) {
      EXPECT_EQ(0, event.GetMessageLength(index)) << "tag " << tag << " index " << index;
      signed char buffer[8] = {0x55, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55};
      event.GetMessageData(buffer, index);
      event.GetPartialMessageData(buffer, index, 0, 8);
      EXPECT_THAT(buffer, testing::Each(0x55)) << "tag " << tag << " index " << index;
    }
  }
}

Bytes Partial(const Mdie_Event& iEvent, int iOffset, int iLength) {
  std::array<signed char, 512> buffer;
  buffer.fill(0x55);
  iEvent.GetPartialMessageData(buffer.data(), 0, iOffset, iLength);
  std::size_t end = buffer.size();
  while (end > 0 && buffer[end - 1] == 0x55) --end;
  Bytes bytes;
  for (std::size_t i = 0; i < end; ++i) bytes.push_back(static_cast<unsigned char>(buffer[i]));
  return bytes;
}

TEST(Mdie_EventMessages, PartialDataReadsFromTheOffset) {
  const Mdie_NoteOnEvent event(60, 100);
  EXPECT_EQ((Bytes{0x90, 60, 100}), Partial(event, 0, 3));
  EXPECT_EQ((Bytes{0x90}), Partial(event, 0, 1));
  EXPECT_EQ((Bytes{60}), Partial(event, 1, 1));
  EXPECT_EQ((Bytes{60, 100}), Partial(event, 1, 2));
}

TEST(Mdie_EventMessages, PartialDataNeverLeavesTheMessage) {
  constexpr int kMax = std::numeric_limits<int>::max();
  const Mdie_NoteOnEvent event(60, 100);
  EXPECT_EQ((Bytes{60, 100}), Partial(event, 1, 3));
  EXPECT_EQ((Bytes{100}), Partial(event, 2, kMax));
  EXPECT_EQ(Bytes{}, Partial(event, 3, 1));
  EXPECT_EQ(Bytes{}, Partial(event, kMax, kMax));
  EXPECT_EQ(Bytes{}, Partial(event, -1, 3));
  EXPECT_EQ(Bytes{}, Partial(event, std::numeric_limits<int>::min(), kMax));
  EXPECT_EQ(Bytes{}, Partial(event, 0, 0));
  EXPECT_EQ(Bytes{}, Partial(event, 0, -1));
}

TEST(Mdie_EventMessages, ALongSysexIsCutIntoChunksOf256) {
  std::vector<unsigned char> bytes(600);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i % 101);
  const Mdie_SysexEvent event(600, bytes.data());
  Bytes read;
  for (const auto& [offset, length] : {std::pair{0, 256}, std::pair{256, 256}, std::pair{512, 88}}) {
    const Bytes chunk = Partial(event, offset, length);
    EXPECT_EQ(static_cast<std::size_t>(length), chunk.size());
    read.insert(read.end(), chunk.begin(), chunk.end());
  }
  EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), read);
}

TEST(Mdie_EventMessages, ANullBufferIsLeftAlone) {
  Mdie_NoteOnEvent(60, 100).GetMessageData(nullptr, 0);
  Mdie_NoteOnEvent(60, 100).GetPartialMessageData(nullptr, 0, 0, 3);
  EXPECT_EQ(3, Mdie_NoteOnEvent(60, 100).GetMessageLength(0));
}

}  // namespace
