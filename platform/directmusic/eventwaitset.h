// SPDX-License-Identifier: MIT
/// \file
/// What one thread waits for.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/directmusic/eventsource.h"

#if !defined(_WIN32)

/// A list of events in the kernel's own keeping (epoll), made once for many waits: what a wake costs does not
/// grow with the number of events. [one thread]
class Platform_EventWaitSet {
 public:
  static constexpr std::size_t kMost = 64;

  /// One event.
  struct Member {
    int mOwn = -1;                                  ///< the descriptor that it is signalled through
    int mAttached = -1;                             ///< one it stands on as well; -1: none
    std::shared_ptr<Platform_EventSource> mSource;  ///< a source it stands on as well; null: none
  };

  enum class Outcome {
    kNothing,    ///< the time is over, or something woke the thread that was not for it
    kSignalled,  ///< a member's own descriptor is readable
    kStandsOn,   ///< what a member stands on is ready
    kFailed,     ///< the kernel refused to wait
  };

  Platform_EventWaitSet() = default;
  ~Platform_EventWaitSet();
  Platform_EventWaitSet(const Platform_EventWaitSet&) = delete;
  Platform_EventWaitSet& operator=(const Platform_EventWaitSet&) = delete;

  /// Puts these, at most kMost, in the place of what there was. False when the kernel has no descriptor left;
  /// the set is empty then.
  bool Fill(std::vector<Member> iMembers);

  /// Waits until a member is ready or iMilliseconds have passed; -1: without end. Looks first behind the
  /// member that was served last. \param oIndex the member, when there is one.
  Outcome Wait(int iMilliseconds, std::size_t& oIndex);

 private:
  // Members that stand on one descriptor.
  struct Group {
    int mDescriptor = -1;
    std::uint64_t mMembers = 0;
    Platform_EventSource* mSourceP = nullptr;
  };

  void Clear();
  bool Watch(int iDescriptor, std::uint64_t iKey, bool iOnChange) const;
  Group& GroupOf(int iDescriptor);
  bool IsAnySourceReady() const;
  void Note(std::uint64_t iKey);
  Outcome Serve(std::size_t& oIndex);

  int mDescriptor = -1;
  std::vector<Member> mMembers;
  std::vector<Group> mGroups;
  std::vector<Platform_EventSource*> mSources;
  std::uint64_t mSignalled = 0;  // of the wait under way, a bit a member
  std::uint64_t mReadable = 0;
  std::size_t mServedLast = 0;
};

#endif
