// SPDX-License-Identifier: MIT
#include "platform/directmusic/windows_events.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/directmusic/eventsource.h"
#include "tests/support/open_files.h"

namespace {

HANDLE MakeEvent(bool iManual = false, bool iInitial = false) {
  return CreateEventW(nullptr, iManual ? TRUE : FALSE, iInitial ? TRUE : FALSE, u"label");
}

DWORD Wait(const std::vector<HANDLE>& iEvents, DWORD iMilliseconds) {
  return MsgWaitForMultipleObjects(static_cast<DWORD>(iEvents.size()), iEvents.data(), FALSE, iMilliseconds,
                                   0);
}

TEST(WindowsEvents, AWaitOnAnUnsignalledEventTimesOut) {
  const HANDLE event = MakeEvent();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(Wait({event}, 5), WAIT_TIMEOUT);
  EXPECT_TRUE(CloseHandle(event));
}

TEST(WindowsEvents, AnAutomaticEventIsResetByTheWaitItEnds) {
  const HANDLE event = MakeEvent();
  EXPECT_TRUE(SetEvent(event));
  EXPECT_TRUE(SetEvent(event));
  EXPECT_EQ(Wait({event}, 1000), WAIT_OBJECT_0);
  EXPECT_EQ(Wait({event}, 5), WAIT_TIMEOUT);
  CloseHandle(event);
}

TEST(WindowsEvents, AManualEventStaysSignalledUntilItIsReset) {
  const HANDLE event = MakeEvent(true, true);
  EXPECT_EQ(Wait({event}, 0), WAIT_OBJECT_0);
  EXPECT_EQ(Wait({event}, 0), WAIT_OBJECT_0);
  EXPECT_TRUE(ResetEvent(event));
  EXPECT_EQ(Wait({event}, 5), WAIT_TIMEOUT);
  CloseHandle(event);
}

TEST(WindowsEvents, TwoEventsOfOneNameAreTwoEvents) {
  const HANDLE first = MakeEvent();
  const HANDLE second = MakeEvent();
  EXPECT_NE(first, second);
  SetEvent(second);
  EXPECT_EQ(Wait({first}, 5), WAIT_TIMEOUT);
  EXPECT_EQ(Wait({first, second}, 1000), WAIT_OBJECT_0 + 1);
  CloseHandle(first);
  CloseHandle(second);
}

TEST(WindowsEvents, ABusyEventDoesNotStarveItsNeighbour) {
  const HANDLE busy = MakeEvent(true, true);
  const HANDLE neighbour = MakeEvent(true, true);
  int served[2] = {0, 0};
  for (int i = 0; i < 10; ++i) {
    const DWORD index = Wait({busy, neighbour}, 1000);
    ASSERT_LT(index, 2u);
    ++served[index];
  }
  EXPECT_EQ(served[0], 5);
  EXPECT_EQ(served[1], 5);
  CloseHandle(busy);
  CloseHandle(neighbour);
}

TEST(WindowsEvents, AClosedHandleIsRefusedEverywhere) {
  const HANDLE event = MakeEvent();
  EXPECT_TRUE(CloseHandle(event));
  EXPECT_FALSE(CloseHandle(event));
  EXPECT_FALSE(SetEvent(event));
  EXPECT_FALSE(ResetEvent(event));
  EXPECT_EQ(Wait({event}, 0), WAIT_FAILED);
}

TEST(WindowsEvents, ALateSignalThroughAClosedHandleDoesNotReachTheSlotsNextEvent) {
  const HANDLE closed = MakeEvent();
  CloseHandle(closed);
  const HANDLE next = MakeEvent();
  EXPECT_NE(next, closed);
  SetEvent(closed);
  EXPECT_EQ(Wait({next}, 5), WAIT_TIMEOUT);
  CloseHandle(next);
}

TEST(WindowsEvents, WrongArgumentsFail) {
  const HANDLE event = MakeEvent();
  EXPECT_EQ(MsgWaitForMultipleObjects(0, &event, FALSE, 0, 0), WAIT_FAILED);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, nullptr, FALSE, 0, 0), WAIT_FAILED);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, TRUE, 0, 0), WAIT_FAILED);
  const std::vector<HANDLE> tooMany(MAXIMUM_WAIT_OBJECTS + 1, event);
  EXPECT_EQ(Wait(tooMany, 0), WAIT_FAILED);
  EXPECT_FALSE(SetEvent(nullptr));
  CloseHandle(event);
}

TEST(WindowsEvents, AWaitTakesEventsByTheThousandAndServesEachInTurn) {
  const Test_OpenFiles files(2 * MAXIMUM_WAIT_OBJECTS);
  std::vector<HANDLE> events(MAXIMUM_WAIT_OBJECTS);
  std::generate(events.begin(), events.end(), [] { return MakeEvent(true); });
  ASSERT_EQ(std::count(events.begin(), events.end(), nullptr), 0);
  // 258 is the end of a time on Windows.
  for (const DWORD index : {0u, 63u, 64u, 257u, 258u, 259u, 1023u}) {
    SetEvent(events[index]);
    EXPECT_EQ(Wait(events, 60'000), WAIT_OBJECT_0 + index);
    ResetEvent(events[index]);
  }
  EXPECT_EQ(Wait(events, 5), WAIT_TIMEOUT);
  std::for_each(events.begin(), events.end(), SetEvent);
  std::vector<int> served(events.size());
  for (std::size_t i = 0; i < 2 * events.size(); ++i) {
    const DWORD index = Wait(events, 60'000);
    ASSERT_LT(index, events.size());
    ++served[index];
  }
  EXPECT_EQ(served, std::vector<int>(events.size(), 2));
  std::for_each(events.begin(), events.end(), CloseHandle);
}

TEST(WindowsEvents, AnAttachedDescriptorSignalsWhileItIsReadable) {
  const HANDLE event = MakeEvent();
  const int descriptor = eventfd(1, EFD_NONBLOCK);
  Platform_SetEventDescriptor(event, descriptor);
  EXPECT_EQ(Wait({event}, 0), WAIT_OBJECT_0);
  EXPECT_EQ(Wait({event}, 0), WAIT_OBJECT_0);
  std::uint64_t count = 0;
  ASSERT_EQ(read(descriptor, &count, sizeof(count)), static_cast<ssize_t>(sizeof(count)));
  EXPECT_EQ(Wait({event}, 5), WAIT_TIMEOUT);
  Platform_SetEventDescriptor(event, -1);
  EXPECT_EQ(Wait({event}, 0), WAIT_OBJECT_0) << "a change wakes a wait under way";
  EXPECT_EQ(Wait({event}, 5), WAIT_TIMEOUT);
  close(descriptor);
  CloseHandle(event);
}

TEST(WindowsEvents, AnEventOutlivesTheSignalThatWakesItsCloser) {
  constexpr int kRounds = 2000;
  std::atomic<HANDLE> shared{nullptr};
  std::atomic<bool> done{false};
  std::atomic<int> signals{0};
  std::thread setter([&] {
    while (!done.load()) {
      const HANDLE event = shared.load();
      if (event != nullptr && SetEvent(event) != FALSE) {
        signals.fetch_add(1);
      }
    }
  });
  int served = 0;
  for (int i = 0; i < kRounds; ++i) {
    const HANDLE event = MakeEvent();
    ASSERT_NE(event, nullptr);
    shared.store(event);
    if (Wait({event}, 10000) == WAIT_OBJECT_0) {
      ++served;
    }
    CloseHandle(event);
  }
  done.store(true);
  setter.join();
  EXPECT_EQ(served, kRounds);
  EXPECT_GE(signals.load(), kRounds);
}

TEST(WindowsEvents, WithoutADescriptorThereIsNoEvent) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit none = before;
  none.rlim_cur = 0;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const HANDLE event = MakeEvent();
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(event, nullptr);
  const HANDLE next = MakeEvent();
  EXPECT_NE(next, nullptr);
  CloseHandle(next);
}

TEST(WindowsEvents, DescriptorsComeBackWhenHandlesAreClosed) {
  for (int i = 0; i < 20000; ++i) {
    const HANDLE event = MakeEvent();
    ASSERT_NE(event, nullptr) << i;
    CloseHandle(event);
  }
}

// ---- sources ----

// Several sources behind one descriptor, as a driver's inputs are: a letter goes to one of them.
class Letterbox {
 public:
  class Source final : public Platform_EventSource {
   public:
    explicit Source(Letterbox& iBox) : mBox(iBox) {}
    int Descriptor() const override { return mBox.mDescriptor; }
    void Collect(Waited iWaited) override { mBox.Collect(iWaited); }
    bool IsReady() const override { return mLetters.load() > 0; }
    bool Read() {
      const std::lock_guard lock(mBox.mMutex);
      return mLetters.load() > 0 && mLetters.fetch_sub(1) > 0;
    }

    std::atomic<int> mLetters{0};

   private:
    Letterbox& mBox;
  };

  ~Letterbox() { close(mDescriptor); }

  std::shared_ptr<Source> MakeSource() {
    const std::lock_guard lock(mMutex);
    mSources.push_back(std::make_shared<Source>(*this));
    return mSources.back();
  }
  void Post(std::size_t iSource, int iCount = 1) {
    {
      const std::lock_guard lock(mMutex);
      mPosted.insert(mPosted.end(), static_cast<std::size_t>(iCount), iSource);
    }
    const std::uint64_t one = 1;
    EXPECT_EQ(write(mDescriptor, &one, sizeof(one)), static_cast<ssize_t>(sizeof(one)));
  }
  void Collect(Platform_EventSource::Waited iWaited) {
    mCollections.fetch_add(1);
    const std::lock_guard lock(mMutex);
    std::uint64_t count = 0;
    static_cast<void>(read(mDescriptor, &count, sizeof(count)));
    for (const std::size_t index : mPosted) {
      Source& source = *mSources[index];
      const bool isWaitedFor = std::find(iWaited.begin(), iWaited.end(), &source) != iWaited.end();
      if (source.mLetters.fetch_add(1) == 0 && !isWaitedFor) {
        source.Signal();
      }
    }
    mPosted.clear();
  }

  std::atomic<int> mCollections{0};

 private:
  const int mDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  std::mutex mMutex;
  std::vector<std::shared_ptr<Source>> mSources;
  std::vector<std::size_t> mPosted;
};

class EventSources : public ::testing::Test {
 protected:
  EventSources() {
    for (std::size_t i = 0; i < mEvents.size(); ++i) {
      mEvents[i] = MakeEvent();
      mSources[i] = mBox.MakeSource();
      Platform_SetEventSource(mEvents[i], mSources[i]);
      // That they were set is signalled.
      EXPECT_EQ(Wait({mEvents[i]}, 60'000), WAIT_OBJECT_0);
    }
  }
  ~EventSources() override {
    for (const HANDLE event : mEvents) {
      CloseHandle(event);
    }
  }
  DWORD WaitForAll(DWORD iMilliseconds) const {
    return Wait({mEvents.begin(), mEvents.end()}, iMilliseconds);
  }

  Letterbox mBox;
  std::array<HANDLE, 3> mEvents{};
  std::array<std::shared_ptr<Letterbox::Source>, 3> mSources;
};

TEST_F(EventSources, AWaitEndsWithTheEventForWhichSomethingCame) {
  for (const std::size_t source : {2u, 0u, 1u, 1u}) {
    mBox.Post(source);
    EXPECT_EQ(WaitForAll(60'000), WAIT_OBJECT_0 + source);
    EXPECT_TRUE(mSources[source]->Read());
    EXPECT_EQ(WaitForAll(0), WAIT_TIMEOUT);
  }
}

TEST_F(EventSources, WhatIsLeftBehindEndsTheNextWaitToo) {
  mBox.Post(1, 2);
  EXPECT_EQ(WaitForAll(60'000), WAIT_OBJECT_0 + 1);
  EXPECT_TRUE(mSources[1]->Read());
  EXPECT_EQ(WaitForAll(60'000), WAIT_OBJECT_0 + 1);
  EXPECT_TRUE(mSources[1]->Read());
  EXPECT_EQ(WaitForAll(0), WAIT_TIMEOUT);
}

TEST_F(EventSources, WhatWasTakenForSeveralIsServedInTurnWithoutAnotherLookAtTheDescriptor) {
  mBox.Post(0);
  mBox.Post(2);
  const DWORD first = WaitForAll(60'000);
  const int collections = mBox.mCollections.load();
  ASSERT_TRUE(first == WAIT_OBJECT_0 || first == WAIT_OBJECT_0 + 2) << first;
  EXPECT_EQ(WaitForAll(60'000), WAIT_OBJECT_0 + 2 - first);
  EXPECT_EQ(mBox.mCollections.load(), collections);
}

TEST_F(EventSources, ABusySourceStarvesNeitherAnotherNorAPlainEvent) {
  const HANDLE plain = MakeEvent(true, true);
  mBox.Post(0, 1'000);
  mBox.Post(1, 1'000);
  std::array<int, 4> served{};
  for (int i = 0; i < 30; ++i) {
    const DWORD index = Wait({mEvents[0], mEvents[1], mEvents[2], plain}, 60'000);
    ASSERT_LT(index, served.size());
    ++served[index];
  }
  EXPECT_EQ(served, (std::array<int, 4>{10, 10, 0, 10}));
  CloseHandle(plain);
}

// What a wait takes for somebody who is not part of it reaches him all the same.
TEST_F(EventSources, OfTwoThreadsThatShareADescriptorEachHearsOfItsOwn) {
  constexpr int kLetters = 2'000;
  std::atomic<int> arrived[2] = {0, 0};
  std::vector<std::thread> threads;
  for (std::size_t own = 0; own < 2; ++own) {
    threads.emplace_back([&, own] {
      while (arrived[own].load() < kLetters) {
        if (Wait({mEvents[own]}, 60'000) != WAIT_OBJECT_0) {
          return;
        }
        while (mSources[own]->Read()) {
          arrived[own].fetch_add(1);
        }
      }
    });
  }
  for (int i = 0; i < kLetters; ++i) {
    mBox.Post(0);
    mBox.Post(1);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(arrived[0].load(), kLetters);
  EXPECT_EQ(arrived[1].load(), kLetters);
}

TEST_F(EventSources, ASourceThatWasTakenOffIsNotAskedAnyMore) {
  std::atomic<DWORD> result{WAIT_TIMEOUT};
  std::thread waiting([&] { result.store(Wait({mEvents[0]}, 60'000)); });
  Platform_SetEventSource(mEvents[0], nullptr);
  waiting.join();
  EXPECT_EQ(result.load(), WAIT_OBJECT_0) << "a change wakes a wait under way";
  const int collections = mBox.mCollections.load();
  mBox.Post(0);
  EXPECT_EQ(Wait({mEvents[0]}, 5), WAIT_TIMEOUT);
  EXPECT_EQ(mBox.mCollections.load(), collections);
}

TEST_F(EventSources, AClosedHandleLetsItsSourceGo) {
  const HANDLE event = MakeEvent();
  const auto source = mBox.MakeSource();
  const auto before = source.use_count();
  Platform_SetEventSource(event, source);
  EXPECT_EQ(source.use_count(), before + 1);
  CloseHandle(event);
  EXPECT_EQ(source.use_count(), before);
  source->Signal();  // reaches nobody
}

// An event whose signals stay under way until there is room for them: a full pipe lies in the place of the
// event's own descriptor.
class SlowEvent {
 public:
  SlowEvent() {
    const int lowest = ::eventfd(0, EFD_CLOEXEC);
    ::close(lowest);
    mHandle = MakeEvent();
    EXPECT_EQ(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(lowest)),
              "anon_inode:[eventfd]");
    EXPECT_EQ(::pipe2(mEnds, O_CLOEXEC | O_NONBLOCK), 0);
    const std::vector<char> page(kPage);
    while (::write(mEnds[1], page.data(), page.size()) > 0) {
    }
    mFull = Waiting();
    EXPECT_EQ(::fcntl(mEnds[1], F_SETFL, 0), 0);
    EXPECT_EQ(::dup3(mEnds[1], lowest, O_CLOEXEC), lowest);
  }
  ~SlowEvent() {
    CloseHandle(mHandle);
    ::close(mEnds[0]);
    ::close(mEnds[1]);
  }
  SlowEvent(const SlowEvent&) = delete;
  SlowEvent& operator=(const SlowEvent&) = delete;

  HANDLE Handle() const { return mHandle; }
  void MakeRoom() const {
    std::vector<char> page(kPage);
    EXPECT_EQ(::read(mEnds[0], page.data(), page.size()), static_cast<ssize_t>(kPage));
  }
  // Once there is room: whether a signal has arrived.
  bool IsSignalled() const { return Waiting() == mFull - static_cast<int>(kPage) + 8; }

 private:
  static constexpr std::size_t kPage = 4096;

  int Waiting() const {
    int count = 0;
    EXPECT_EQ(::ioctl(mEnds[0], FIONREAD, &count), 0);
    return count;
  }

  HANDLE mHandle = nullptr;
  int mEnds[2] = {-1, -1};
  int mFull = 0;
};

TEST_F(EventSources, NoSignalFollowsTheReturnOfTakingASourceOff) {
  const SlowEvent event;
  const auto source = mBox.MakeSource();
  source->SetEventHandle(event.Handle());
  std::thread signaller([&] { source->Signal(); });
  std::thread sweeper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    event.MakeRoom();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  source->SetEventHandle(nullptr);
  const bool isSignalledBefore = event.IsSignalled();
  signaller.join();
  sweeper.join();
  EXPECT_EQ(event.IsSignalled(), isSignalledBefore) << "it was under way yet";
}

// The last one out of a closed handle's slot takes the source off, be it a signaller itself.
TEST_F(EventSources, ASignallerMayBeTheLastToLeaveAClosedHandle) {
  constexpr int kRounds = 2'000;
  std::atomic<bool> done{false};
  const auto source = mBox.MakeSource();
  std::vector<std::thread> signallers;
  for (int i = 0; i < 2; ++i) {
    signallers.emplace_back([&] {
      while (!done.load()) {
        source->Signal();
      }
    });
  }
  for (int i = 0; i < kRounds; ++i) {
    const HANDLE event = MakeEvent();
    ASSERT_NE(event, nullptr);
    Platform_SetEventSource(event, source);
    EXPECT_TRUE(CloseHandle(event));
  }
  done.store(true);
  for (std::thread& thread : signallers) {
    thread.join();
  }
  source->Signal();
}

// ---- what waiting costs ----

std::ptrdiff_t OpenDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

TEST(WindowsEvents, AThreadKeepsOneDescriptorForAllItsWaitsAndGivesItBackAtItsEnd) {
  const HANDLE first = MakeEvent(true, true);
  const HANDLE second = MakeEvent(true, true);
  const std::ptrdiff_t before = OpenDescriptors();
  std::ptrdiff_t during = 0;
  std::thread([&] {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(Wait({first}, 0), WAIT_OBJECT_0);
      EXPECT_LT(Wait({first, second}, 0), 2u);
    }
    during = OpenDescriptors();
  }).join();
  EXPECT_EQ(during, before + 1);
  EXPECT_EQ(OpenDescriptors(), before);
  CloseHandle(first);
  CloseHandle(second);
}

}  // namespace
