// SPDX-License-Identifier: MIT
/// \file
/// The marker of a clip on a track.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "mdid/mdie_event.h"

/// A clip with the name of its region and its length. It marks a place for the host and turns into no bytes.
class MLOX_EXPORT Mdie_ClipEvent : public Mdie_Event {
 public:
  /// Keeps the first 63 bytes of `iRegionName`; a longer name is cut. Of the length only the value is kept,
  /// in whatever unit it had.
  Mdie_ClipEvent(const std::string& iRegionName, const Time_TypedLength& iDuration) : Mdie_Event(kClipEvent) {
    const std::size_t length = std::min(iRegionName.size(), kRegionNameLength);
    std::memcpy(mU.mClip.mRegionName, iRegionName.data(), length);
    std::memset(mU.mClip.mRegionName + length, 0, kRegionNameLength - length);
    mU.mClip.mDuration = static_cast<std::uint64_t>(iDuration.AsInt64());
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kClipEvent, "mU.mBase.mType == kClipEvent");
  }
  /// The name up to its first zero byte, 63 bytes at most. Makes a string, so not for audio threads.
  std::string GetRegionName() const {
    const char* const begin = mU.mClip.mRegionName;
    return std::string(begin, std::find(begin, begin + kRegionNameLength, '\0'));
  }
  /// The length's value, without its unit.
  std::uint64_t GetDuration() const { return mU.mClip.mDuration; }
};
static_assert(kMdie_IsEventView<Mdie_ClipEvent>);
