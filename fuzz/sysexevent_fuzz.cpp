// SPDX-License-Identifier: MIT
// Four events are set, copied, assigned and read in an order that the input chooses, beside a model that
// holds plain vectors of bytes. Every message is read whole and in parts, with offsets and lengths in and out
// of range, into a buffer whose surroundings must stay as they are.
#include <array>
#include <cstdint>
#include <vector>

#include "cmn/cmn_assert.h"
#include "cmn/mem2_masterallocator.h"
#include "fuzz/fuzz_input.h"
#include "mdid/mdie_event.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr signed char kGuard = 0x55;

std::uint64_t BlocksInUse() { return Mem2_MasterAllocator::Shared().GetCounters().mBlocksInUse; }

// What a partial read must leave in a guarded buffer: the guards, and from the front the bytes asked for.
void CheckPartial(const Mdie_Event& iEvent, int iIndex, const Bytes& iMessage, int iOffset, int iLength) {
  std::vector<signed char> buffer(iMessage.size() + 32, kGuard);
  std::vector<signed char> expected = buffer;
  iEvent.GetPartialMessageData(buffer.data(), iIndex, iOffset, iLength);
  const auto size = static_cast<std::int64_t>(iMessage.size());
  for (std::int64_t i = 0; iOffset >= 0 && i < iLength && iOffset + i < size; ++i) {
    expected[static_cast<std::size_t>(i)] =
        static_cast<signed char>(iMessage[static_cast<std::size_t>(iOffset + i)]);
  }
  Fuzz_Require(buffer == expected, "a partial read writes the message's bytes and no others");
}

Bytes ReadMessage(const Mdie_Event& iEvent, int iIndex) {
  const int length = iEvent.GetMessageLength(iIndex);
  Fuzz_Require(length > 0, "each message has bytes");
  std::vector<signed char> buffer(static_cast<std::size_t>(length) + 32, kGuard);
  iEvent.GetMessageData(buffer.data(), iIndex);
  for (std::size_t i = static_cast<std::size_t>(length); i < buffer.size(); ++i) {
    Fuzz_Require(buffer[i] == kGuard, "a read stays within the message");
  }
  return Bytes(buffer.begin(), buffer.begin() + length);
}

void CheckMessages(const Mdie_Event& iEvent, Fuzz_Input& ioInput) {
  const int count = iEvent.GetNumMessages();
  Fuzz_Require(count >= 0 && count <= 3, "an event has at most three messages");
  Fuzz_Require(iEvent.GetMessageLength(count) == 0 && iEvent.GetMessageLength(-1) == 0,
               "there is no message outside the event's");
  for (int index = 0; index < count; ++index) {
    const Bytes message = ReadMessage(iEvent, index);
    const bool raw = iEvent.IsMessageSysex(index) || iEvent.GetType() == Mdie_Event::kSysexPacket;
    if (!raw) {
      Fuzz_Require(message.size() <= 3 && message[0] >= 0x80, "a message begins with a status byte");
      for (std::size_t i = 1; i < message.size(); ++i)
        Fuzz_Require(message[i] < 0x80, "data bytes have 7 bits");
    }
    CheckPartial(iEvent, index, message, ioInput.Int32(), ioInput.Int32());
    CheckPartial(iEvent, index, message, ioInput.Byte(), ioInput.Byte());
  }
}

void CheckHeld(const Mdie_Event& iEvent, const Bytes& iExpected) {
  Fuzz_Require(iEvent.GetNumMessages() == (iExpected.empty() ? 0 : 1),
               "bytes are one message, none are none");
  Fuzz_Require(iEvent.GetMessageLength(0) == static_cast<int>(iExpected.size()), "the length is kept");
  if (!iExpected.empty()) Fuzz_Require(ReadMessage(iEvent, 0) == iExpected, "the bytes are kept");
}

// Events of the other classes, with raw values that needn't be in range.
void CheckOtherClasses(Fuzz_Input& ioInput) {
  const auto first = static_cast<signed char>(ioInput.Byte());
  const auto second = static_cast<signed char>(ioInput.Byte());
  const std::int32_t number = ioInput.Int32();
  const auto word = static_cast<std::uint16_t>(number);
  const Mdie_Event events[] = {Mdie_NoteOnEvent(first, second),
                               Mdie_NoteOffEvent(first, second),
                               Mdie_ControllerEvent(first, second),
                               Mdie_PolyPressureEvent(first, second),
                               Mdie_MonoPressureEvent(first),
                               Mdie_PitchBendEvent(static_cast<std::int16_t>(number)),
                               Mdie_SongPositionEvent(number),
                               Mdie_QuarterFrameEvent(static_cast<unsigned char>(first)),
                               Mdie_ProgramEvent(static_cast<unsigned char>(first), word),
                               Mdie_ReleaseControllerEvent(number)};
  for (const Mdie_Event& event : events) CheckMessages(event, ioInput);
}

// The slots: an event, and what it must hold.
struct Slots {
  std::array<Mdie_SysexEvent, 4> mEvents = {Mdie_SysexEvent(0, nullptr), Mdie_SysexEvent(0, nullptr),
                                            Mdie_SysexEvent(0, nullptr), Mdie_SysexEvent(0, nullptr)};
  std::array<Bytes, 4> mModel;
};

void Step(Slots& ioSlots, Fuzz_Input& ioInput) {
  const std::uint8_t operation = ioInput.Byte();
  const std::size_t to = ioInput.Byte() % 4;
  const std::size_t from = ioInput.Byte() % 4;
  Mdie_SysexEvent& target = ioSlots.mEvents[to];
  Bytes& model = ioSlots.mModel[to];
  switch (operation % 8) {
    case 0:
    case 1: {  // new bytes
      const Bytes bytes = ioInput.Bytes(ioInput.Byte() * (operation % 8 == 0 ? 1u : 8u));
      target.SetData(static_cast<int>(bytes.size()), bytes.data());
      model = bytes;
      break;
    }
    case 2:  // a length that is none
      target.SetData(ioInput.Int32() | INT32_MIN, model.data());
      model.clear();
      break;
    case 3:  // assignment, to itself too
      target = ioSlots.mEvents[from];
      model = ioSlots.mModel[from];
      break;
    case 4: {  // a copy that outlives its source's next change
      const Mdie_Event copy(ioSlots.mEvents[from]);
      const Bytes expected = ioSlots.mModel[from];
      ioSlots.mEvents[from].SetData(0, nullptr);
      ioSlots.mModel[from].clear();
      CheckHeld(copy, expected);
      break;
    }
    case 5: {  // bytes out of the event itself
      if (model.empty()) break;
      const std::size_t offset = ioInput.Byte() % model.size();
      target.SetData(static_cast<int>(model.size() - offset), target.GetData() + offset);
      model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(offset));
      break;
    }
    case 6: {  // a packet
      const Bytes bytes = ioInput.Bytes(ioInput.Byte());
      const Mdie_SysexPacketEvent packet(static_cast<int>(bytes.size()), bytes.data());
      CheckHeld(packet, bytes.size() <= 78 ? bytes : Bytes{});
      CheckMessages(packet, ioInput);
      break;
    }
    default:
      CheckOtherClasses(ioInput);
      break;
  }
  CheckHeld(target, model);
  Fuzz_Require((target.GetType() == Mdie_Event::kLongSysex) == (model.size() > 78),
               "a block only beyond 78 bytes");
  CheckMessages(target, ioInput);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Cmn_Assert::SetMode(Cmn_Assert::kCount);  // values out of range are the point here
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iDataP, std::size_t iSize) {
  const std::uint64_t blocks = BlocksInUse();
  {
    Fuzz_Input input(iDataP, iSize);
    Slots slots;
    while (!input.IsEmpty()) Step(slots, input);
  }
  Fuzz_Require(BlocksInUse() == blocks, "every block goes back");
  return 0;
}
