// SPDX-License-Identifier: MIT
/// \file
/// How trace lines get from the ring into the log.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>

#include "diagnostics/quiltrace/tracegate.h"
#include "diagnostics/quiltrace/tracering.h"

/// Takes records out of a ring and writes them to a log, in rounds of as many as the ring holds at most. No
/// round is under way while the application forks, if the fork can be made to wait so long. All operations
/// are those of the one thread that writes.
template <class Record, std::size_t kCapacity, class Log>
class QuilTrace_Rounds {
 public:
  QuilTrace_Rounds(QuilTrace_Ring<Record, kCapacity>& ioRing, QuilTrace_Gate& ioGate, Log& ioLog)
      : mRing(ioRing), mGate(ioGate), mLog(ioLog) {}

  /// Writes until there is nothing more to take out, and tells what was dropped.
  void WriteWhatIsThere() {
    while (WriteRound()) {
    }
  }

  /// Empties a closed ring: what is claimed is all there will be. A caller that was stopped while it was
  /// leaving a record is waited for, but no longer than iPatience for all of them; then its record is given
  /// up.
  void WriteTheRest(std::chrono::milliseconds iPatience) {
    const auto end = std::chrono::steady_clock::now() + iPatience;
    WriteWhatIsThere();
    while (!mRing.IsEmpty()) {
      if (std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      } else {
        mRing.GiveUpOldest();
      }
      WriteWhatIsThere();
    }
  }

 private:
  // Whether there may be more to write.
  bool WriteRound() {
    mGate.EnterRound();
    bool isMore = true;
    std::size_t lines = 0;
    while (lines < kCapacity && (lines == 0 || !mGate.IsForkWaiting())) {
      isMore = mRing.Pop(mRecord);
      if (!isMore) break;
      mLog.Write(mRecord);
      ++lines;
    }
    const std::uint64_t dropped = mRing.DroppedCount();
    const bool isNews = !isMore && dropped != mDropped;
    if (isNews) mLog.TellDropped(mDropped = dropped);
    if (isNews || lines > 0) mLog.Flush();
    mGate.LeaveRound();
    return isMore;
  }

  QuilTrace_Ring<Record, kCapacity>& mRing;
  QuilTrace_Gate& mGate;
  Log& mLog;
  Record mRecord{};
  std::uint64_t mDropped = 0;  // as it was last told
};
