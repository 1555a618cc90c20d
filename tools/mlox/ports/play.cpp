// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/play.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <span>
#include <vector>

#include "cmn/sys_clock.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "tools/mlox/interrupt.h"
#include "tools/mlox/ports/cameback.h"
#include "tools/mlox/ports/outputwriter.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/ports/songplan.h"
#include "tools/mlox/ports/soundingnotes.h"
#include "tools/mlox/progressbar.h"
#include "tools/mlox/song/songreader.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

// Between activation and the first timed message the clocks are read a second time, without which no time can
// be converted.
constexpr std::int64_t kSettleMicroseconds = 150000;
// Beyond the lead that an output asks for: this thread wakes every 10 ms.
constexpr std::int64_t kWakeMicroseconds = 20000;

// What was due this long ago has sounded, however late the driver was.
constexpr std::int64_t kLateMicroseconds = 250000;

class Player {
 public:
  Player(const PortSession& iSession, const Song& iSong, const PlayRequest& iRequest)
      : mSession(iSession),
        mSong(iSong),
        mPlan(PlanSong(iSong, iRequest.mSeconds)),
        mIsCut(mPlan.size() < iSong.mMessages.size()),
        mEnd(mIsCut ? static_cast<std::int64_t>(iRequest.mSeconds * 1e6) : 0),
        mWriter(FindOutput(iSession, iRequest.mOutput)),
        mLead(mWriter.LeadMicroseconds() + kWakeMicroseconds) {
    if (!iRequest.mBack.empty()) mBack.emplace(iSession, iRequest.mBack);
  }

  void Run() {
    mStart = Sys_Clock::Microseconds() + kSettleMicroseconds + mLead;
    {
      ProgressBar progress(stderr);
      for (const PlannedMessage& message : mPlan) {
        if (!WaitUntil(mStart + message.mTime - mLead)) break;
        Write(message);
        progress.Show(Fraction(message.mTime));
      }
      EndNotes();
      WaitUntilDrained();
    }
    if (Interrupt::HasHappened()) StopAfterInterrupt();
    Report();
  }

 private:
  double Fraction(std::int64_t iTime) const {
    const std::int64_t last = mPlan.back().mTime;
    return last > 0 ? static_cast<double>(iTime) / static_cast<double>(last) : 1.0;
  }

  /// False on an interrupt.
  bool WaitUntil(std::int64_t iTime) {
    mSession.IdleUntilTime(iTime, [this] {
      FindAgain();
      return Interrupt::HasHappened();
    });
    return !Interrupt::HasHappened();
  }

  /// Interrupt or not.
  void WaitFor(std::int64_t iTime) {
    mSession.IdleUntilTime(iTime, [this] {
      FindAgain();
      return false;
    });
  }

  /// The releases of a port that comes back meanwhile drain, too.
  void WaitUntilDrained() {
    for (std::int64_t end = 0; end < mWriter.DrainedAt();) {
      end = mWriter.DrainedAt();
      if (!WaitUntil(end)) return;
    }
  }

  /// Whether the port is there. As soon as it is back nothing of what sounded before goes on: the note-offs
  /// fell into the gap.
  bool FindAgain() {
    const bool isThere = mWriter.FindAgain();
    NoteGaps();
    if (isThere && mMustRelease) {
      mMustRelease = false;
      Release(Sys_Clock::Microseconds());
    }
    return isThere;
  }

  void NoteGaps() {
    if (mGaps == mWriter.Gaps()) return;
    mGaps = mWriter.Gaps();
    mSounding.Lose(Sys_Clock::Microseconds());
    mMustRelease = true;
  }

  void Release(std::int64_t iDue) {
    for (const auto& release : mSounding.Releases()) WriteAt(iDue, SongMessageKind::kChannel, release);
  }

  void Write(const PlannedMessage& iMessage) {
    const auto bytes = mSong.BytesOf(iMessage.mMessage);
    const SongMessageKind kind = iMessage.mMessage.mKind;
    if (kind == SongMessageKind::kChannel && !mWriter.HasChannel(bytes[0] & 0x0F)) {
      ++mLeftOut;
      return;
    }
    WriteAt(mStart + iMessage.mTime, kind, bytes);
    ++mWritten;
  }

  void WriteAt(std::int64_t iDue, SongMessageKind iKind, std::span<const std::uint8_t> iBytes) {
    mLastDue = std::max(mLastDue, iDue);
    if (mBack) mBack->Expect(iBytes, iDue);
    const std::size_t lost = mWriter.Lost();
    mWriter.WriteIdling(mSession, Mdie_Timestamp(Time_Sample(iDue)), iKind, iBytes, [] {});
    NoteGaps();
    // No more than that is in doubt when the port goes: few receivers take releases of seconds of a song at
    // once.
    mSounding.Settle(Sys_Clock::Microseconds() - kLateMicroseconds);
    if (iKind == SongMessageKind::kChannel && mWriter.Lost() == lost) mSounding.Note(iBytes, iDue);
  }

  /// Where the song was cut no note goes on.
  void EndNotes() {
    if (!mIsCut) return;
    const std::int64_t end = mStart + mEnd;
    if (WaitUntil(end - mLead) && FindAgain()) Release(end);
  }

  [[noreturn]] void StopAfterInterrupt() {
    // What is scheduled plays first, since it could be notes again.
    WaitFor(mLastDue + kLateMicroseconds);
    if (!FindAgain()) throw ToolError("interrupted; the port is away, so notes may go on");
    // A pedal holds what the all notes off let go.
    const std::int64_t now = Sys_Clock::Microseconds();
    for (const auto& release : mSounding.PedalReleases()) WriteAt(now, SongMessageKind::kChannel, release);
    mWriter.AllNotesOff();
    WaitFor(mWriter.DrainedAt());
    throw ToolError("interrupted; every note is off");
  }

  void Report() {
    if (mLeftOut > 0) {
      fmt::print("{} messages were left out: the output doesn't listen on their channels\n", mLeftOut);
    }
    if (mWriter.Lost() > 0) {
      throw ToolError(fmt::format("{} of {} messages fell into a gap of the port", mWriter.Lost(), mWritten));
    }
    if (!mBack) {
      fmt::print("{} messages played\n", mWritten);
      return;
    }
    constexpr double kPatience = 10.0;
    mSession.IdleUntil([&] { return mBack->Collect() || Interrupt::HasHappened(); }, kPatience);
    fmt::print("{}\n", mBack->Verdict());
  }

  const PortSession& mSession;
  const Song& mSong;
  const std::vector<PlannedMessage> mPlan;
  const bool mIsCut;
  const std::int64_t mEnd;  // of a song that is cut, from its start
  OutputWriter mWriter;
  const std::int64_t mLead;  // so long before its time is a message written
  SoundingNotes mSounding;
  std::size_t mGaps = 0;      // those of which mSounding knows
  bool mMustRelease = false;  // what sounded before a gap, when the port is back
  std::optional<CameBack> mBack;
  std::int64_t mStart = 0;
  std::int64_t mLastDue = 0;
  std::size_t mWritten = 0;
  std::size_t mLeftOut = 0;
};

}  // namespace

void Play(const PlayRequest& iRequest) {
  const Song song = ReadSongFile(iRequest.mSong);
  const Interrupt interrupt;
  const PortSession session;
  Player(session, song, iRequest).Run();
}

}  // namespace tool
