// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/outputwriter.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <thread>

#include "cmn/sys_clock.h"
#include "mdid/mdie_systemevents.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"
#include "tools/mlox/interrupt.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/song/eventconversion.h"

namespace tool {

namespace {

// A sample is a microsecond here.
constexpr double kSampleRate = 1000000.0;
// What drivers and systems need on top of the wire.
constexpr std::int64_t kMarginMicroseconds = 250000;
// Longer messages are sent at the wire's pace, in pieces of so many bytes.
constexpr std::size_t kPiece = 256;
constexpr std::int64_t kMicrosecondsPerByte = 320;

// An output whose device the service has let go has none, from that moment on.
bool IsLive(Mlox_Output* iOutputP) { return iOutputP != nullptr && iOutputP->GetDevice() != nullptr; }

}  // namespace

OutputWriter::OutputWriter(Mlox_Device& ioDevice) : mCommon(ioDevice.GetCommonOutput()) {
  for (short channel = 0; channel < 16; ++channel) {
    mChannels[static_cast<std::size_t>(channel)] =
        Mlox_PersistentOutput(ioDevice.GetOutputForChannel(channel));
  }
}

const Mlox_PersistentOutput& OutputWriter::ReferenceFor(SongMessageKind iKind, std::uint8_t iStatus) const {
  return iKind == SongMessageKind::kChannel ? mChannels[iStatus & 0x0Fu] : mCommon;
}

// What waited for its time has gone with the port.
void OutputWriter::NoteGoing() {
  if (mIsAway) return;
  mIsAway = true;
  ++mGaps;
  const std::int64_t now = Sys_Clock::Microseconds();
  mLost += static_cast<std::size_t>(
      std::count_if(mAhead.begin(), mAhead.end(), [now](std::int64_t iDue) { return iDue > now; }));
  mAhead.clear();
}

bool OutputWriter::FindAgain() {
  if (!IsLive(mCommon.GetOutput())) {
    NoteGoing();
    // One question makes every reference search.
    if (!mCommon.IsOnline() || !IsLive(mCommon.GetOutput())) return false;
  }
  mIsAway = false;
  return true;
}

// Null if there is none that the message could go to.
Cmn_AliasedRefCountPtr<Mlox_Output> OutputWriter::TakeOutput(SongMessageKind iKind,
                                                             std::span<const std::uint8_t> iBytes) {
  if (iBytes.empty()) return nullptr;
  const Mlox_PersistentOutput& reference = ReferenceFor(iKind, iBytes[0]);
  if (reference.IsNull()) return nullptr;
  if (IsLive(reference.GetOutput())) return reference.GetOutput();
  NoteGoing();
  ++mLost;
  return nullptr;
}

// The one step that a thread of its own may do: what references hold, and whether a device is there, is
// known on the session's thread alone.
void OutputWriter::WriteTo(Mlox_Output& ioOutput, const Mdie_Timestamp& iTimestamp, SongMessageKind iKind,
                           std::span<const std::uint8_t> iBytes) {
  const std::int64_t now = Sys_Clock::Microseconds();
  const std::int64_t due = iTimestamp.IsImmediate() ? now : iTimestamp.AsSample().AsInt64();
  // Before the write: one that is paced takes as long as the wire.
  mBacklog.Add(due, iBytes.size());
  ioOutput.WriteEvent(iTimestamp, MakeEvent(iKind, iBytes),
                      Mlox_Manager::Singleton()->GetDefaultOutputContext());
  if (iBytes.size() > kPiece) return;
  while (!mAhead.empty() && mAhead.front() <= now) mAhead.pop_front();
  if (due > now) mAhead.push_back(due);
}

// What took its time may have lost its device meanwhile.
void OutputWriter::NoteWritten(Mlox_Output& ioOutput, std::size_t iBytes) {
  if (iBytes > kPiece && !IsLive(&ioOutput)) ++mLost;
}

void OutputWriter::Write(const Mdie_Timestamp& iTimestamp, SongMessageKind iKind,
                         std::span<const std::uint8_t> iBytes) {
  const auto output = TakeOutput(iKind, iBytes);
  if (!output) return;
  WriteTo(*output, iTimestamp, iKind, iBytes);
  NoteWritten(*output, iBytes.size());
}

bool OutputWriter::WriteIdling(const PortSession& iSession, const Mdie_Timestamp& iTimestamp,
                               SongMessageKind iKind, std::span<const std::uint8_t> iBytes,
                               const std::function<void()>& iLookOn) {
  if (iBytes.size() <= kPiece) {
    Write(iTimestamp, iKind, iBytes);
    return true;
  }
  // Held until the thread has ended, whatever Idle finds about the device meanwhile.
  const auto output = TakeOutput(iKind, iBytes);
  if (!output) return true;
  const WireBacklog before = mBacklog;
  const std::int64_t start = Sys_Clock::Microseconds();
  std::atomic<bool> isWritten{false};
  bool isCut = false;
  {
    const std::jthread writer([&] {
      WriteTo(*output, iTimestamp, iKind, iBytes);
      isWritten.store(true);
    });
    const auto isDone = [&] {
      if (isWritten.load()) return true;
      iLookOn();
      if (Interrupt::HasHappened()) {
        isCut = true;
        // Each time: a write that only begins takes an earlier stop back.
        Mlox_Manager::Singleton()->StopServicesPlayback();
      }
      return false;
    };
    iSession.IdleUntil(isDone, std::numeric_limits<double>::max());
  }
  NoteWritten(*output, iBytes.size());
  if (isCut) {
    // The wire has no more to carry than what was sent of it: as much as time allowed, and a piece.
    const auto sent = static_cast<std::size_t>((Sys_Clock::Microseconds() - start) / kMicrosecondsPerByte);
    mBacklog = before;
    mBacklog.Add(start, std::min(iBytes.size(), sent + kPiece));
  }
  return !isCut;
}

void OutputWriter::AllNotesOff() {
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    const std::array<std::uint8_t, 3> message{static_cast<std::uint8_t>(0xB0 | channel), 123, 0};
    Write(Mdie_Timestamp(), SongMessageKind::kChannel, message);
  }
}

std::int64_t OutputWriter::LeadMicroseconds() {
  Mlox_Output* const outputP = mCommon.GetOutput();
  return outputP != nullptr ? outputP->GetTimestampedPreSendSamples(kSampleRate) : 0;
}

std::int64_t OutputWriter::DrainedAt() const { return mBacklog.EmptyAt() + kMarginMicroseconds; }

std::int64_t OutputWriter::DrainedWith(std::size_t iBytes) const {
  return std::max(mBacklog.EmptyAt(), Sys_Clock::Microseconds()) +
         static_cast<std::int64_t>(iBytes) * kMicrosecondsPerByte + kMarginMicroseconds;
}

SongMessageKind KindOf(std::span<const std::uint8_t> iMessage) {
  if (iMessage.empty() || iMessage[0] < 0x80) return SongMessageKind::kRaw;
  if (iMessage[0] < 0xF0) return SongMessageKind::kChannel;
  return iMessage[0] == 0xF0 ? SongMessageKind::kSysex : SongMessageKind::kRaw;
}

}  // namespace tool
