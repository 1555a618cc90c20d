// SPDX-License-Identifier: MIT
/// \file
/// The one value type in which every MIDI happening travels: a record of fixed size with a type tag and a
/// union of payloads. Including this header gives all event classes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_export.h"
#include "cmn/time_types.h"

/// Source text of every assertion of the event classes, whichever header of `mdid` they stand in.
inline constexpr char kMdie_EventAssertSource[] = "mdid/mdie_event";

class Mdie_ClearNoteInProgressEvent;
class Mdie_AddNoteInProgressEvent;
class Mdie_ClipEvent;
class Mdie_ControllerEvent;
class Mdie_MonoPressureEvent;
class Mdie_NoteOffEvent;
class Mdie_NoteOnEvent;
class Mdie_NoteWithDurationEvent;
class Mdie_PitchBendEvent;
class Mdie_PitchToMIDINoteWithDuration;
class Mdie_PolyPressureEvent;
class Mdie_ProgramEvent;
class Mdie_QuarterFrameEvent;
class Mdie_ReleaseControllerEvent;
class Mdie_SongPositionEvent;
class Mdie_SysexEvent;
class Mdie_SysexPacketEvent;

/// One MIDI happening: 80 bytes, no virtual table, copied as one block. Only a long sysex (tag 15) owns
/// memory, a block that belongs to exactly one record.
///
/// The derived classes add no field: each reads and writes its own arm of the union, and is never deleted
/// through a pointer to `Mdie_Event`. Values that fail a check are reported and stored all the same.
///
/// Threads: [any] for every operation; one record is written by one thread at a time, and a record that
/// nobody writes may be read by several. Real-time safe: everything but making a copy of a long sysex, which
/// takes a block from the shared pool. Destruction of a long sysex gives the block back without a lock and
/// may run on an audio thread.
class MLOX_EXPORT Mdie_Event {
 public:
  /// The tag of a record. A signed 8-bit value.
  enum EType : signed char {
    kNoEvent = 0,
    kNoteOn = 1,
    kNoteOff = 2,
    kNoteWithDuration = 3,
    kPitchBend = 4,
    kController = 5,
    kProgram = 6,
    kMonoPressure = 7,
    kPolyPressure = 8,
    kSongPosition = 9,
    kStart = 10,
    kContinue = 11,
    kStop = 12,
    kTimingClock = 13,
    kShortSysex = 14,
    kLongSysex = 15,
    kSysexPacket = 16,
    kClearNoteInProgress = 17,
    kAddNoteInProgress = 18,
    kReleaseController = 19,
    kAllNotesOff = 20,
    kQuarterFrame = 21,
    kPitchToMIDINoteWithDuration = 22,
    kClipEvent = 23
  };

  /// Bytes of a system exclusive message or packet that fit in the record itself.
  static constexpr int kInlineSysexBytes = 78;
  /// Characters that a clip event keeps of its region's name.
  static constexpr std::size_t kRegionNameLength = 63;

  /// A record without an event: the tag becomes 0, no other byte is touched. Queues build many of these.
  Mdie_Event() { mU.mBase.mType = kNoEvent; }
  /// Copies the record byte for byte. A long sysex gets a block of its own; if there is none to be had, the
  /// copy is reported and becomes `kNoEvent`.
  Mdie_Event(const Mdie_Event& iOther) {
    CopyBytes(iOther);
    if (mU.mBase.mType == kLongSysex) LongSysexCopyConstruct();
  }
  /// Assigns as the copy constructor copies; any block held before is freed. Assigning a record to itself
  /// does nothing. Moves copy: only the copying forms exist.
  Mdie_Event& operator=(const Mdie_Event& iOther) {
    if (this == &iOther) return *this;
    if (mU.mBase.mType == kLongSysex || iOther.mU.mBase.mType == kLongSysex) {
      LongSysexAssign(iOther);
    } else {
      CopyBytes(iOther);
    }
    return *this;
  }
  /// Frees the block of a long sysex and does nothing for any other tag.
  ~Mdie_Event() {
    if (mU.mBase.mType == kLongSysex) LongSysexDestruct();
  }

  /// Says of an event that will never be destroyed that its block is lost: the shared pool counts the block
  /// of a long sysex as dropped. Does nothing for any other tag. [any] Wait-free.
  void CountBlockAsAbandoned() const;

  /// The tag.
  EType GetType() const { return mU.mBase.mType; }

  /// True for a short or a long sysex. A packet (tag 16) is deliberately none, and the argument, an index of
  /// a message, is ignored: a sysex has only one.
  bool IsMessageSysex(int) const { return mU.mBase.mType == kShortSysex || mU.mBase.mType == kLongSysex; }

  /// True if the tag is 15 and the block holds exactly one whole system exclusive message: 0xF0 is its first
  /// byte and the first 0xF7 its last.
  bool IsCompleteLongSysex() const;

  /// Number of MIDI messages that go out for this event, at least 0. With 0 the event passes through queues
  /// and is dropped at delivery: that holds for `kNoEvent`, for the tags that talk to a host's note tracking
  /// or mark clips (3, 17, 18, 19, 22, 23), for a program event with all three parts disabled, and for a
  /// sysex or packet without bytes.
  int GetNumMessages() const;

  /// Bytes of message `iIndex`, counted from 0 in the order of sending. A sysex is one message, whatever its
  /// length. 0 for an index outside [0, GetNumMessages()).
  int GetMessageLength(int iIndex) const;

  /// Writes message `iIndex` whole to `oData`, which must have room for `GetMessageLength(iIndex)` bytes. The
  /// status byte of a channel message carries channel 0; whoever sends it sets the channel. Data bytes are
  /// cut to seven bits, so that a stored value out of range never looks like a status. Writes nothing for an
  /// index outside the event's messages.
  void GetMessageData(signed char* oData, int iIndex) const;

  /// Writes up to `iLength` bytes of message `iIndex`, from byte `iOffset` of it, to `oData`: what lies
  /// behind the message's end isn't written. Writes nothing for an index, offset or length outside the
  /// message.
  void GetPartialMessageData(signed char* oData, int iIndex, int iOffset, int iLength) const;

  /// \name Conversions to the class of the tag
  /// Each checks the tag, reports a wrong one, and returns the same object in any case.
  /// @{
  Mdie_NoteOnEvent& AsNoteOn() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kNoteOn, "mU.mBase.mType == kNoteOn");
    return ViewAs<Mdie_NoteOnEvent>(this);
  }
  const Mdie_NoteOnEvent& AsNoteOn() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kNoteOn, "mU.mBase.mType == kNoteOn");
    return ViewAs<const Mdie_NoteOnEvent>(this);
  }
  Mdie_NoteOffEvent& AsNoteOff() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kNoteOff, "mU.mBase.mType == kNoteOff");
    return ViewAs<Mdie_NoteOffEvent>(this);
  }
  const Mdie_NoteOffEvent& AsNoteOff() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kNoteOff, "mU.mBase.mType == kNoteOff");
    return ViewAs<const Mdie_NoteOffEvent>(this);
  }
  /// Passes for a note with fractional pitch (tag 22) too: it holds all that this class reads.
  Mdie_NoteWithDurationEvent& AsNoteWithDuration() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource,
                    mU.mBase.mType == kNoteWithDuration || mU.mBase.mType == kPitchToMIDINoteWithDuration,
                    "mU.mBase.mType == kNoteWithDuration || mU.mBase.mType == kPitchToMIDINoteWithDuration");
    return ViewAs<Mdie_NoteWithDurationEvent>(this);
  }
  const Mdie_NoteWithDurationEvent& AsNoteWithDuration() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource,
                    mU.mBase.mType == kNoteWithDuration || mU.mBase.mType == kPitchToMIDINoteWithDuration,
                    "mU.mBase.mType == kNoteWithDuration || mU.mBase.mType == kPitchToMIDINoteWithDuration");
    return ViewAs<const Mdie_NoteWithDurationEvent>(this);
  }
  Mdie_PitchBendEvent& AsPitchBend() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPitchBend, "mU.mBase.mType == kPitchBend");
    return ViewAs<Mdie_PitchBendEvent>(this);
  }
  const Mdie_PitchBendEvent& AsPitchBend() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPitchBend, "mU.mBase.mType == kPitchBend");
    return ViewAs<const Mdie_PitchBendEvent>(this);
  }
  Mdie_ControllerEvent& AsController() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kController, "mU.mBase.mType == kController");
    return ViewAs<Mdie_ControllerEvent>(this);
  }
  const Mdie_ControllerEvent& AsController() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kController, "mU.mBase.mType == kController");
    return ViewAs<const Mdie_ControllerEvent>(this);
  }
  Mdie_ProgramEvent& AsProgram() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kProgram, "mU.mBase.mType == kProgram");
    return ViewAs<Mdie_ProgramEvent>(this);
  }
  const Mdie_ProgramEvent& AsProgram() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kProgram, "mU.mBase.mType == kProgram");
    return ViewAs<const Mdie_ProgramEvent>(this);
  }
  Mdie_MonoPressureEvent& AsMonoPressure() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kMonoPressure,
                    "mU.mBase.mType == kMonoPressure");
    return ViewAs<Mdie_MonoPressureEvent>(this);
  }
  const Mdie_MonoPressureEvent& AsMonoPressure() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kMonoPressure,
                    "mU.mBase.mType == kMonoPressure");
    return ViewAs<const Mdie_MonoPressureEvent>(this);
  }
  Mdie_PolyPressureEvent& AsPolyPressure() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPolyPressure,
                    "mU.mBase.mType == kPolyPressure");
    return ViewAs<Mdie_PolyPressureEvent>(this);
  }
  const Mdie_PolyPressureEvent& AsPolyPressure() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPolyPressure,
                    "mU.mBase.mType == kPolyPressure");
    return ViewAs<const Mdie_PolyPressureEvent>(this);
  }
  Mdie_SongPositionEvent& AsSongPosition() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kSongPosition,
                    "mU.mBase.mType == kSongPosition");
    return ViewAs<Mdie_SongPositionEvent>(this);
  }
  const Mdie_SongPositionEvent& AsSongPosition() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kSongPosition,
                    "mU.mBase.mType == kSongPosition");
    return ViewAs<const Mdie_SongPositionEvent>(this);
  }
  /// Passes for a short sysex and for a whole long one.
  Mdie_SysexEvent& AsSysex() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kShortSysex || this->IsCompleteLongSysex(),
                    "mU.mBase.mType == kShortSysex || this->IsCompleteLongSysex()");
    return ViewAs<Mdie_SysexEvent>(this);
  }
  const Mdie_SysexEvent& AsSysex() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kShortSysex || this->IsCompleteLongSysex(),
                    "mU.mBase.mType == kShortSysex || this->IsCompleteLongSysex()");
    return ViewAs<const Mdie_SysexEvent>(this);
  }
  /// Passes for packets and for sysex of either length.
  Mdie_SysexPacketEvent& AsSysexPacket() {
    CMN_ASSERT_FROM(
        kMdie_EventAssertSource,
        mU.mBase.mType == kSysexPacket || mU.mBase.mType == kShortSysex || mU.mBase.mType == kLongSysex,
        "mU.mBase.mType == kSysexPacket || mU.mBase.mType == kShortSysex || mU.mBase.mType == kLongSysex");
    return ViewAs<Mdie_SysexPacketEvent>(this);
  }
  const Mdie_SysexPacketEvent& AsSysexPacket() const {
    CMN_ASSERT_FROM(
        kMdie_EventAssertSource,
        mU.mBase.mType == kSysexPacket || mU.mBase.mType == kShortSysex || mU.mBase.mType == kLongSysex,
        "mU.mBase.mType == kSysexPacket || mU.mBase.mType == kShortSysex || mU.mBase.mType == kLongSysex");
    return ViewAs<const Mdie_SysexPacketEvent>(this);
  }
  Mdie_ClearNoteInProgressEvent& AsClearNoteInProgress() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kClearNoteInProgress,
                    "mU.mBase.mType == kClearNoteInProgress");
    return ViewAs<Mdie_ClearNoteInProgressEvent>(this);
  }
  const Mdie_ClearNoteInProgressEvent& AsClearNoteInProgress() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kClearNoteInProgress,
                    "mU.mBase.mType == kClearNoteInProgress");
    return ViewAs<const Mdie_ClearNoteInProgressEvent>(this);
  }
  Mdie_AddNoteInProgressEvent& AsAddNoteInProgress() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kAddNoteInProgress,
                    "mU.mBase.mType == kAddNoteInProgress");
    return ViewAs<Mdie_AddNoteInProgressEvent>(this);
  }
  const Mdie_AddNoteInProgressEvent& AsAddNoteInProgress() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kAddNoteInProgress,
                    "mU.mBase.mType == kAddNoteInProgress");
    return ViewAs<const Mdie_AddNoteInProgressEvent>(this);
  }
  Mdie_ReleaseControllerEvent& AsReleaseController() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kReleaseController,
                    "mU.mBase.mType == kReleaseController");
    return ViewAs<Mdie_ReleaseControllerEvent>(this);
  }
  const Mdie_ReleaseControllerEvent& AsReleaseController() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kReleaseController,
                    "mU.mBase.mType == kReleaseController");
    return ViewAs<const Mdie_ReleaseControllerEvent>(this);
  }
  Mdie_QuarterFrameEvent& AsQuarterFrame() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kQuarterFrame,
                    "mU.mBase.mType == kQuarterFrame");
    return ViewAs<Mdie_QuarterFrameEvent>(this);
  }
  const Mdie_QuarterFrameEvent& AsQuarterFrame() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kQuarterFrame,
                    "mU.mBase.mType == kQuarterFrame");
    return ViewAs<const Mdie_QuarterFrameEvent>(this);
  }
  Mdie_PitchToMIDINoteWithDuration& AsPitchToMIDINoteWithDuration() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPitchToMIDINoteWithDuration,
                    "mU.mBase.mType == kPitchToMIDINoteWithDuration");
    return ViewAs<Mdie_PitchToMIDINoteWithDuration>(this);
  }
  const Mdie_PitchToMIDINoteWithDuration& AsPitchToMIDINoteWithDuration() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPitchToMIDINoteWithDuration,
                    "mU.mBase.mType == kPitchToMIDINoteWithDuration");
    return ViewAs<const Mdie_PitchToMIDINoteWithDuration>(this);
  }
  Mdie_ClipEvent& AsClipEvent() {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kClipEvent, "mU.mBase.mType == kClipEvent");
    return ViewAs<Mdie_ClipEvent>(this);
  }
  const Mdie_ClipEvent& AsClipEvent() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kClipEvent, "mU.mBase.mType == kClipEvent");
    return ViewAs<const Mdie_ClipEvent>(this);
  }
  /// @}

 protected:
  /// A record with a tag and no payload yet; for the constructors of the derived classes.
  explicit Mdie_Event(EType iType) { mU.mBase.mType = iType; }

  /// Bytes of a sysex or packet held here, whichever tag it has. 0 for other tags.
  int SysexLength() const;
  /// The first of these bytes, or null if there are none. Lives until the record changes.
  const unsigned char* SysexData() const;

  // The arms. Each begins with the tag, so that the tag can be read through any of them.
  struct Base {
    EType mType;
  };
  struct Note {
    EType mType;
    signed char mPitch;
    signed char mVelocity;
  };
  struct NoteWithDuration {
    EType mType;
    signed char mPitch;
    signed char mOnVelocity;
    signed char mOffVelocity;
    std::int64_t mDuration;
    Time_EType mDurationType;
    float mFractionalPitch;  // tag 22 alone
  };
  struct PitchBend {
    EType mType;
    std::int16_t mBend;
  };
  struct Controller {
    EType mType;
    signed char mNumber;
    signed char mValue;
  };
  struct Program {
    EType mType;
    unsigned char mProgram;  // bits 0 to 6: program; bit 7: disabled
    std::uint16_t mBank;     // bits 0 to 6: LSB; 7 to 13: MSB; 14: LSB disabled; 15: MSB disabled
  };
  struct MonoPressure {
    EType mType;
    signed char mPressure;
  };
  struct PolyPressure {
    EType mType;
    signed char mPitch;
    signed char mPressure;
  };
  struct SongPosition {
    EType mType;
    std::int16_t mPosition;
  };
  struct ReleaseController {
    EType mType;
    std::int32_t mIndex;
  };
  struct QuarterFrame {
    EType mType;
    unsigned char mData;  // bits 4 to 6: message; bits 0 to 3: nibble
  };
  struct Clip {
    EType mType;
    char mRegionName[kRegionNameLength];  // no terminator if all 63 are used
    char mRoom[8];                        // keeps the name's field apart from the duration; never read
    std::uint64_t mDuration;
  };
  // Short sysex and packet. The clip arm's 80 bytes leave this much room behind the tag and a length.
  struct InlineSysex {
    EType mType;
    unsigned char mLength;
    unsigned char mData[kInlineSysexBytes];
  };
  struct LongSysex {
    EType mType;
    std::int32_t mLength;
    unsigned char* mBlockP;  // from Mem2_MasterAllocator::Shared(), owned by this record alone
  };
  union Payload {
    Base mBase;
    Note mNote;
    NoteWithDuration mNoteWithDuration;
    PitchBend mPitchBend;
    Controller mController;
    Program mProgram;
    MonoPressure mMonoPressure;
    PolyPressure mPolyPressure;
    SongPosition mSongPosition;
    ReleaseController mReleaseController;
    QuarterFrame mQuarterFrame;
    Clip mClip;
    InlineSysex mInlineSysex;
    LongSysex mLongSysex;
  };

  Payload mU;

 private:
  friend class Mdie_SysexEvent;

  // The one cast of the conversions. An event in a queue is an `Mdie_Event` that once was copied from a
  // derived class, so this is no ordinary down-cast: it rests on the derived classes being nothing but views
  // of the same record. kMdie_IsEventView, asserted below each class, holds them to that (no field, same
  // size, standard layout, hence the same address). The classes needn't be complete here.
  template <class TView, class TEvent>
  static TView& ViewAs(TEvent* iEventP) {
    return *reinterpret_cast<TView*>(iEventP);
  }

  // Builds message iIndex of an event other than sysex and packet. Its length, or 0 if there is no such
  // message.
  int ShortMessage(int iIndex, unsigned char (&oBytes)[3]) const;
  int ProgramMessage(int iIndex, unsigned char (&oBytes)[3]) const;
  bool HoldsSysexBytes() const;

  void CopyBytes(const Mdie_Event& iOther) { std::memcpy(&mU, &iOther.mU, sizeof mU); }

  // The block's life. These are the record's own copying, assignment and destruction: no caller repeats them.
  void LongSysexCopyConstruct();
  void LongSysexAssign(const Mdie_Event& iSource);
  void LongSysexDestruct();
};

// Queued events are copied whole and number thousands: a record that grows costs every queue. 88 is the most
// that a queued event of 136 bytes has room for, beside its link, its stamp and its channel.
static_assert(sizeof(Mdie_Event) == 80);
static_assert(alignof(Mdie_Event) == 8);
static_assert(std::is_standard_layout_v<Mdie_Event>);

/// Whether a class is a view of the record and nothing more, which the `As...` conversions rest on.
template <class TView>
inline constexpr bool kMdie_IsEventView =
    std::is_base_of_v<Mdie_Event, TView>&& std::is_standard_layout_v<TView> &&
    sizeof(TView) == sizeof(Mdie_Event);

#include "mdid/mdie_clipevent.h"
#include "mdid/mdie_controlevents.h"
#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_notewithdurationevents.h"
#include "mdid/mdie_programevent.h"
#include "mdid/mdie_sysexevents.h"
#include "mdid/mdie_systemevents.h"
