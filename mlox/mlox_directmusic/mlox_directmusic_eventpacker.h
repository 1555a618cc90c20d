// SPDX-License-Identifier: MIT
/// \file
/// How an event becomes bytes for a hardware port: which messages share a buffer, which channel they get, and
/// at which pace a long system exclusive message goes out.
#pragma once

#include <algorithm>
#include <cstdint>

#include "mdid/mdie_event.h"

/// Cuts events into sends. It knows neither ports nor clocks: whoever uses it stands behind `Target`.
///
/// All messages of one event go out in as few sends as possible, all with one stamp. Only a message longer
/// than a send is paced, at the speed of the MIDI wire, so that it never floods the port's buffer: the
/// calling thread sleeps meanwhile.
///
/// `Event` stands for `Mdie_Event`, or for whatever answers to the same questions.
///
/// [any but real-time], one thread at a time. Takes no memory.
class Mlox_DirectMusic_EventPacker {
 public:
  /// The most bytes of one send. A longer message is a long one.
  static constexpr int kMaxSendLength = 256;
  /// What a byte takes on the MIDI wire, in microseconds: ten bits at 31,250 a second.
  static constexpr std::int64_t kMicrosecondsPerByte = 320;
  /// How far ahead of its time a long message is written at most, in microseconds.
  static constexpr std::int64_t kLongMessageLead = 50000;

  /// What sends, sleeps and knows the time.
  class Target {
   public:
    /// Sends bytes. Its failure is nobody's business: a write can't fail visibly.
    /// \param iImmediate  as soon as the port can; iTime then counts only where the port can't tell when that
    ///                    is
    /// \param iTime       when the bytes are due, on `Sys_Clock`, in microseconds
    /// \param iLength     1 to kMaxSendLength
    virtual void Send(bool iImmediate, std::int64_t iTime, const unsigned char* iDataP, int iLength) = 0;
    /// Whether playback was stopped since the event came: a long message then ends where it is.
    virtual bool IsStopped() = 0;
    /// The time now, on `Sys_Clock`, in microseconds.
    virtual std::int64_t Now() = 0;
    virtual void Sleep(std::int64_t iMilliseconds) = 0;

   protected:
    ~Target() = default;
  };

  /// \param iChannel  0 to 15, or -1 for the common output
  Mlox_DirectMusic_EventPacker(Target& iTarget, short iChannel) : mTarget(iTarget), mChannel(iChannel) {}
  Mlox_DirectMusic_EventPacker(const Mlox_DirectMusic_EventPacker&) = delete;
  Mlox_DirectMusic_EventPacker& operator=(const Mlox_DirectMusic_EventPacker&) = delete;

  /// Sends all messages of an event. A long message may keep the thread for as long as it is ahead of its
  /// time and for the duration of its bytes; a stop abandons it, and the rest of the event, before the next
  /// piece. \param iTime  when the event is due, on `Sys_Clock`, in microseconds; 0 for an immediate event
  template <class Event>
  void Write(const Event& iEvent, bool iImmediate, std::int64_t iTime);

  /// A channel message's status with the channel in it; any other byte as it is.
  ///
  /// The common output's channel, -1, is not tested for: its low eight bits make every channel message's
  /// status 0xFF. That is settled; voice messages belong on the outputs of the channels.
  static unsigned char ImposeChannel(unsigned char iStatus, short iChannel);
  /// The pause behind a piece of a long message, in milliseconds: what its bytes take on the wire and one
  /// more, cut to a whole number.
  static std::int64_t PauseAfter(int iBytes);
  /// The time of the piece that begins iOffset bytes into a message due at iTime. Ends at the latest time.
  static std::int64_t TimeOfPiece(std::int64_t iTime, int iOffset);
  /// Copies raw messages and imposes the channel on each. Running status is followed.
  /// \param oDataP  room for iLength bytes
  /// \return false if some message's length can't be told or reaches past the end: the copy is then useless
  static bool CopyRaw(const unsigned char* iDataP, int iLength, short iChannel, unsigned char* oDataP);

 private:
  template <class Event>
  void WriteShort(const Event& iEvent, int iIndex, int iLength);
  template <class Event>
  bool WriteLong(const Event& iEvent, int iIndex, int iLength);
  void WaitForLead();
  void SendPacked();
  // The events' own interface has signed bytes.
  static signed char* AsSigned(unsigned char* iDataP) { return reinterpret_cast<signed char*>(iDataP); }

  Target& mTarget;
  const short mChannel;
  bool mImmediate = false;
  std::int64_t mTime = 0;
  int mPackedLength = 0;
  unsigned char mPacked[kMaxSendLength];
};

template <class Event>
void Mlox_DirectMusic_EventPacker::Write(const Event& iEvent, bool iImmediate, std::int64_t iTime) {
  mImmediate = iImmediate;
  mTime = iTime;
  mPackedLength = 0;
  const int messages = iEvent.GetNumMessages();
  for (int index = 0; index < messages; ++index) {
    const int length = iEvent.GetMessageLength(index);
    if (length <= 0) continue;
    if (length <= kMaxSendLength) {
      WriteShort(iEvent, index, length);
    } else if (!WriteLong(iEvent, index, length)) {
      return;
    }
  }
  SendPacked();
}

template <class Event>
void Mlox_DirectMusic_EventPacker::WriteShort(const Event& iEvent, int iIndex, int iLength) {
  if (mPackedLength + iLength > kMaxSendLength) SendPacked();
  unsigned char* messageP = mPacked + mPackedLength;
  iEvent.GetMessageData(AsSigned(messageP), iIndex);
  messageP[0] = ImposeChannel(messageP[0], mChannel);
  mPackedLength += iLength;
}

// False once playback was stopped. The channel isn't imposed: a long message is system exclusive.
template <class Event>
bool Mlox_DirectMusic_EventPacker::WriteLong(const Event& iEvent, int iIndex, int iLength) {
  SendPacked();
  if (!mImmediate && iEvent.GetType() == Mdie_Event::kLongSysex) WaitForLead();
  unsigned char piece[kMaxSendLength];
  for (int offset = 0; offset < iLength;) {
    const int length = std::min(kMaxSendLength, iLength - offset);
    iEvent.GetPartialMessageData(AsSigned(piece), iIndex, offset, length);
    if (mTarget.IsStopped()) return false;
    // As soon as possible, since the pace is kept here: with a stamp the port would keep it a second time.
    mTarget.Send(true, TimeOfPiece(mTime, offset), piece, length);
    mTarget.Sleep(PauseAfter(length));
    offset += length;
  }
  return true;
}
