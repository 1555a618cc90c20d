// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/outputwriter.h"

#include <algorithm>

#include "cmn/sys_clock.h"
#include "mdid/mdie_systemevents.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_manager.h"
#include "tools/mlox/song/eventconversion.h"

namespace tool {

namespace {

// A sample is a microsecond here.
constexpr double kSampleRate = 1000000.0;
// What drivers and systems need on top of the wire.
constexpr std::int64_t kMarginMicroseconds = 250000;

}  // namespace

OutputWriter::OutputWriter(Mlox_Device& ioDevice) : mCommon(ioDevice.GetCommonOutput()) {
  for (short channel = 0; channel < 16; ++channel) {
    mChannels[static_cast<std::size_t>(channel)] = Output(ioDevice.GetOutputForChannel(channel));
  }
}

Mlox_Output* OutputWriter::OutputFor(SongMessageKind iKind, std::uint8_t iStatus) const {
  if (iKind == SongMessageKind::kChannel) return mChannels[iStatus & 0x0Fu].get();
  return mCommon.get();
}

void OutputWriter::Write(const Mdie_Timestamp& iTimestamp, SongMessageKind iKind,
                         std::span<const std::uint8_t> iBytes) {
  if (iBytes.empty()) return;
  if (Mlox_Output* const outputP = OutputFor(iKind, iBytes[0])) {
    // Before the write: one that is paced takes as long as the wire.
    mBacklog.Add(iTimestamp.IsImmediate() ? Sys_Clock::Microseconds() : iTimestamp.AsSample().AsInt64(),
                 iBytes.size());
    outputP->WriteEvent(iTimestamp, MakeEvent(iKind, iBytes),
                        Mlox_Manager::Singleton()->GetDefaultOutputContext());
  }
}

void OutputWriter::AllNotesOff() {
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    const std::array<std::uint8_t, 3> message{static_cast<std::uint8_t>(0xB0 | channel), 123, 0};
    Write(Mdie_Timestamp(), SongMessageKind::kChannel, message);
  }
}

std::int64_t OutputWriter::LeadMicroseconds() {
  return mCommon != nullptr ? mCommon->GetTimestampedPreSendSamples(kSampleRate) : 0;
}

std::int64_t OutputWriter::DrainedAt() const { return mBacklog.EmptyAt() + kMarginMicroseconds; }

SongMessageKind KindOf(std::span<const std::uint8_t> iMessage) {
  if (iMessage.empty() || iMessage[0] < 0x80) return SongMessageKind::kRaw;
  if (iMessage[0] < 0xF0) return SongMessageKind::kChannel;
  return iMessage[0] == 0xF0 ? SongMessageKind::kSysex : SongMessageKind::kRaw;
}

}  // namespace tool
