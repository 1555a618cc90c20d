// SPDX-License-Identifier: MIT
/// \file
/// Between bytes of MIDI and events of the sequencer.
#pragma once

#include <alsa/asoundlib.h>

#include <array>
#include <cstddef>
#include <cstdint>

/// Makes an event of one whole message, or of one piece of a system exclusive message. What the sequencer has
/// no event for (F4, F5, F9, FD) goes out as bytes in an event of system exclusive, which drivers of hardware
/// pass on as they are. Sets the event's type, flags of length and data, and nothing else.
/// \param iBytes stays the caller's and must outlive the event: long ones point to it. \param iLength above
/// 0.
void Platform_AlsaEncode(const std::uint8_t* iBytes, std::size_t iLength, snd_seq_event_t& ioEvent);

/// The messages of one event that is not system exclusive: none for what is no MIDI, several for controllers
/// of 14 bits and parameter numbers, which the sequencer keeps as one.
class Platform_AlsaMessages {
 public:
  struct Message {
    std::array<std::uint8_t, 3> mBytes;
    std::uint8_t mLength;
  };

  explicit Platform_AlsaMessages(const snd_seq_event_t& iEvent);

  std::size_t Count() const { return mCount; }
  const Message& At(std::size_t iIndex) const { return mMessages[iIndex]; }

 private:
  void Add(unsigned iStatus);
  void Add(unsigned iStatus, unsigned iData);
  void Add(unsigned iStatus, unsigned iData1, unsigned iData2);
  void AddController14(const snd_seq_ev_ctrl_t& iControl);
  void AddParameter(const snd_seq_ev_ctrl_t& iControl, unsigned iCoarse, unsigned iFine);

  std::array<Message, 4> mMessages{};
  std::size_t mCount = 0;
};
