// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_eventbytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

snd_seq_event_t Encoded(const Bytes& iBytes) {
  snd_seq_event_t event{};
  Platform_AlsaEncode(iBytes.data(), iBytes.size(), event);
  return event;
}

std::vector<Bytes> Decoded(const snd_seq_event_t& iEvent) {
  const Platform_AlsaMessages messages(iEvent);
  std::vector<Bytes> all;
  for (std::size_t i = 0; i < messages.Count(); ++i) {
    const auto& message = messages.At(i);
    all.emplace_back(message.mBytes.begin(), message.mBytes.begin() + message.mLength);
  }
  return all;
}

// alsa-lib's own converter, which nobody here wrote.
class Reference {
 public:
  Reference() {
    snd_midi_event_new(256, &mConverterP);
    snd_midi_event_no_status(mConverterP, 1);
  }
  ~Reference() { snd_midi_event_free(mConverterP); }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;

  snd_seq_event_t Encode(const Bytes& iBytes) {
    snd_seq_event_t event{};
    snd_midi_event_reset_encode(mConverterP);
    EXPECT_EQ(snd_midi_event_encode(mConverterP, iBytes.data(), static_cast<long>(iBytes.size()), &event),
              static_cast<long>(iBytes.size()));
    return event;
  }
  Bytes Decode(const snd_seq_event_t& iEvent) {
    Bytes bytes(256);
    const long length = snd_midi_event_decode(mConverterP, bytes.data(), 256, &iEvent);
    bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return bytes;
  }

 private:
  snd_midi_event_t* mConverterP = nullptr;
};

std::vector<Bytes> EveryMessage() {
  std::mt19937 random(7);
  std::vector<Bytes> messages = {{0xF6}, {0xF8}, {0xFA}, {0xFB}, {0xFC}, {0xFE}, {0xFF}};
  for (unsigned status = 0x80; status < 0xF0; ++status) {
    const auto data = [&] { return static_cast<std::uint8_t>(random() % 128); };
    const bool isShort = status >= 0xC0 && status < 0xE0;
    const auto first = static_cast<std::uint8_t>(status);
    messages.push_back(isShort ? Bytes{first, data()} : Bytes{first, data(), data()});
  }
  for (const std::uint8_t value : Bytes{0, 1, 64, 127}) {
    messages.push_back({0xE3, value, value});
    messages.push_back({0xF1, value});
    messages.push_back({0xF2, value, 127});
    messages.push_back({0xF3, value});
  }
  return messages;
}

TEST(AlsaEncode, AgreesWithAlsaLibOnEveryStatus) {
  Reference reference;
  for (const Bytes& message : EveryMessage()) {
    const snd_seq_event_t ours = Encoded(message);
    const snd_seq_event_t theirs = reference.Encode(message);
    EXPECT_EQ(ours.type, theirs.type) << int{message[0]};
    EXPECT_EQ(ours.flags & SND_SEQ_EVENT_LENGTH_MASK, SND_SEQ_EVENT_LENGTH_FIXED);
    EXPECT_EQ(reference.Decode(ours), message) << int{message[0]};
  }
}

TEST(AlsaMessages, GiveBackEveryMessage) {
  Reference reference;
  for (const Bytes& message : EveryMessage()) {
    EXPECT_EQ(Decoded(reference.Encode(message)), std::vector<Bytes>{message});
    EXPECT_EQ(Decoded(Encoded(message)), std::vector<Bytes>{message});
  }
}

TEST(AlsaEncode, APieceOfSystemExclusiveIsAnEventOfItsBytes) {
  for (const Bytes& piece :
       {Bytes{0xF0, 1, 2}, Bytes{3, 4}, Bytes{5, 0xF7}, Bytes{0xF7}, Bytes{0xF0, 0xF7}}) {
    const snd_seq_event_t event = Encoded(piece);
    EXPECT_EQ(event.type, SND_SEQ_EVENT_SYSEX);
    ASSERT_EQ(event.data.ext.len, piece.size());
    EXPECT_EQ(std::memcmp(event.data.ext.ptr, piece.data(), piece.size()), 0);
  }
}

TEST(AlsaEncode, WhatTheSequencerHasNoEventForGoesOutAsBytes) {
  for (const Bytes& piece : {Bytes{0xF4}, Bytes{0xF5}, Bytes{0xF9}, Bytes{0xFD}, Bytes{0x90, 1}}) {
    const snd_seq_event_t event = Encoded(piece);
    EXPECT_EQ(event.type, SND_SEQ_EVENT_SYSEX);
    EXPECT_EQ(event.data.ext.len, piece.size());
  }
}

snd_seq_event_t Control(snd_seq_event_type iType, unsigned iParameter, int iValue) {
  snd_seq_event_t event{};
  event.type = iType;
  event.data.control.channel = 2;
  event.data.control.param = iParameter;
  event.data.control.value = iValue;
  return event;
}

TEST(AlsaMessages, AControllerOf14BitsIsTwoMessages) {
  EXPECT_EQ(Decoded(Control(SND_SEQ_EVENT_CONTROL14, 7, (100 << 7) | 5)),
            (std::vector<Bytes>{{0xB2, 7, 100}, {0xB2, 39, 5}}));
  EXPECT_EQ(Decoded(Control(SND_SEQ_EVENT_CONTROL14, 64, 127)), (std::vector<Bytes>{{0xB2, 64, 127}}));
}

TEST(AlsaMessages, AParameterNumberIsFourMessages) {
  EXPECT_EQ(Decoded(Control(SND_SEQ_EVENT_NONREGPARAM, (3 << 7) | 4, (5 << 7) | 6)),
            (std::vector<Bytes>{{0xB2, 99, 3}, {0xB2, 98, 4}, {0xB2, 6, 5}, {0xB2, 38, 6}}));
  EXPECT_EQ(Decoded(Control(SND_SEQ_EVENT_REGPARAM, (3 << 7) | 4, (5 << 7) | 6)),
            (std::vector<Bytes>{{0xB2, 101, 3}, {0xB2, 100, 4}, {0xB2, 6, 5}, {0xB2, 38, 6}}));
}

TEST(AlsaMessages, ValuesBeyondSevenBitsStayInsideTheirBytes) {
  EXPECT_EQ(Decoded(Control(SND_SEQ_EVENT_CONTROLLER, 0x187, -1)), (std::vector<Bytes>{{0xB2, 7, 127}}));
  EXPECT_EQ(Decoded(Control(SND_SEQ_EVENT_PITCHBEND, 0, 100'000)), (std::vector<Bytes>{{0xE2, 127, 127}}));
  EXPECT_EQ(Decoded(Control(SND_SEQ_EVENT_PITCHBEND, 0, -100'000)), (std::vector<Bytes>{{0xE2, 0, 0}}));
}

TEST(AlsaMessages, WhatIsNoMidiIsNoMessage) {
  for (const snd_seq_event_type type :
       {SND_SEQ_EVENT_PORT_SUBSCRIBED, SND_SEQ_EVENT_TEMPO, SND_SEQ_EVENT_USR0, SND_SEQ_EVENT_NONE}) {
    EXPECT_TRUE(Decoded(Control(type, 0, 0)).empty());
  }
}

}  // namespace
