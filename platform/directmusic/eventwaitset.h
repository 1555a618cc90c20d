// SPDX-License-Identifier: MIT
/// \file
/// What one thread waits for.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/directmusic/eventsource.h"

#if !defined(_WIN32)

#include <sys/epoll.h>

/// A list of events in the kernel's own keeping (epoll), made once for many waits: what a wake costs does not
/// grow with the number of events. [one thread]
class Platform_EventWaitSet {
 public:
  static constexpr std::size_t kMost = 1024;

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
  // A bit a member.
  using Members = std::bitset<kMost>;

  // Members that stand on one descriptor.
  struct Group {
    int mDescriptor = -1;
    Members mMembers;
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
  // Room for all of them, so that each wait sees who else is ready and gives everyone a turn.
  std::vector<epoll_event> mReady;
  Members mSignalled;  // of the wait under way
  Members mReadable;
  std::size_t mServedLast = 0;
};

#endif
