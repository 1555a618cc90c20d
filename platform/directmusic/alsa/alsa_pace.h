// SPDX-License-Identifier: MIT
/// \file
/// How much may be on its way to a receiver.
#pragma once

#include <cstdint>

/// A vessel that fills with what is sent and empties at the receiver's speed. The sequencer drops in silence
/// what a receiver has no room for, so room is counted on this side. Not for two threads at once.
class Platform_AlsaPace {
 public:
  /// \param iRoom what the receiver holds. \param iPerSecond what it gets rid of in a second; both above 0.
  Platform_AlsaPace(std::int64_t iRoom, std::int64_t iPerSecond);

  /// Whether iAmount more has room at iTime, in microseconds; then it is counted in. Something larger than
  /// the room passes when the vessel is empty. Times that step back count as the latest before.
  bool Take(std::int64_t iTime, std::int64_t iAmount);

  /// What was taken last did not go out after all.
  void GiveBack(std::int64_t iAmount);

  /// What was counted for later than iTime was taken back.
  void StepBack(std::int64_t iTime);

 private:
  const std::int64_t mRoom;
  const std::int64_t mPerSecond;
  // In millionths, so that a microsecond's share is a whole number.
  std::int64_t mLevel = 0;
  std::int64_t mTime = INT64_MIN;
};
