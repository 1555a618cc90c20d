// SPDX-License-Identifier: MIT
#include "platform/directmusic/eventwaitset.h"

#if !defined(_WIN32)

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace {

// What the kernel gives back: the index of a member for its own descriptor, from here on that of a group.
constexpr std::uint64_t kFirstGroup = Platform_EventWaitSet::kMost;

}  // namespace

Platform_EventWaitSet::~Platform_EventWaitSet() { Clear(); }

void Platform_EventWaitSet::Clear() {
  if (mDescriptor >= 0) {
    ::close(mDescriptor);
  }
  mDescriptor = -1;
  mMembers.clear();
  mGroups.clear();
  mSources.clear();
}

bool Platform_EventWaitSet::Watch(int iDescriptor, std::uint64_t iKey, bool iOnChange) const {
  epoll_event event{};
  event.events = EPOLLIN | (iOnChange ? static_cast<std::uint32_t>(EPOLLET) : 0u);
  event.data.u64 = iKey;
  return ::epoll_ctl(mDescriptor, EPOLL_CTL_ADD, iDescriptor, &event) == 0;
}

Platform_EventWaitSet::Group& Platform_EventWaitSet::GroupOf(int iDescriptor) {
  const auto found = std::find_if(mGroups.begin(), mGroups.end(),
                                  [&](const Group& iGroup) { return iGroup.mDescriptor == iDescriptor; });
  if (found != mGroups.end()) {
    return *found;
  }
  mGroups.push_back({iDescriptor, 0, nullptr});
  return mGroups.back();
}

bool Platform_EventWaitSet::Fill(std::vector<Member> iMembers) {
  Clear();
  mDescriptor = ::epoll_create1(EPOLL_CLOEXEC);
  if (mDescriptor < 0) {
    return false;
  }
  mMembers = std::move(iMembers);
  for (std::size_t i = 0; i < mMembers.size(); ++i) {
    const Member& member = mMembers[i];
    // An event that stands in the list twice is found at its first place.
    if (!Watch(member.mOwn, i, false) && errno != EEXIST) {
      Clear();
      return false;
    }
    Platform_EventSource* const source = member.mSource.get();
    const int descriptor = source != nullptr ? source->Descriptor() : member.mAttached;
    if (descriptor < 0) {
      continue;
    }
    Group& group = GroupOf(descriptor);
    group.mMembers.set(i);
    if (source != nullptr) {
      group.mSourceP = source;
      mSources.push_back(source);
    }
  }
  for (std::size_t i = 0; i < mGroups.size(); ++i) {
    // Sources are emptied at each change, so the kernel need not look at them again before the next wait. A
    // descriptor that was closed meanwhile tells nothing any more: whoever closed it wakes the wait.
    Watch(mGroups[i].mDescriptor, kFirstGroup + i, mGroups[i].mSourceP != nullptr);
  }
  mReady.resize(mMembers.size() + mGroups.size());
  return true;
}

bool Platform_EventWaitSet::IsAnySourceReady() const {
  return std::any_of(mSources.begin(), mSources.end(),
                     [](const Platform_EventSource* iSourceP) { return iSourceP->IsReady(); });
}

void Platform_EventWaitSet::Note(std::uint64_t iKey) {
  if (iKey < kFirstGroup) {
    mSignalled.set(static_cast<std::size_t>(iKey));
    return;
  }
  const Group& group = mGroups[static_cast<std::size_t>(iKey - kFirstGroup)];
  if (group.mSourceP != nullptr) {
    group.mSourceP->Collect(mSources);
  } else {
    mReadable |= group.mMembers;
  }
}

Platform_EventWaitSet::Outcome Platform_EventWaitSet::Serve(std::size_t& oIndex) {
  for (std::size_t step = 1; step <= mMembers.size(); ++step) {
    const std::size_t index = (mServedLast + step) % mMembers.size();
    const Member& member = mMembers[index];
    const bool isSignalled = mSignalled[index];
    const bool isReady = mReadable[index] || (member.mSource != nullptr && member.mSource->IsReady());
    if (isSignalled || isReady) {
      mServedLast = index;
      oIndex = index;
      return isSignalled ? Outcome::kSignalled : Outcome::kStandsOn;
    }
  }
  return Outcome::kNothing;
}

Platform_EventWaitSet::Outcome Platform_EventWaitSet::Wait(int iMilliseconds, std::size_t& oIndex) {
  mSignalled.reset();
  mReadable.reset();
  // With something at hand the kernel is still asked, lest a busy source starve the others.
  const int count = ::epoll_wait(mDescriptor, mReady.data(), static_cast<int>(mReady.size()),
                                 IsAnySourceReady() ? 0 : iMilliseconds);
  if (count < 0 && errno != EINTR) {
    return Outcome::kFailed;
  }
  for (int i = 0; i < count; ++i) {
    Note(mReady[static_cast<std::size_t>(i)].data.u64);
  }
  return Serve(oIndex);
}

#endif
