// SPDX-License-Identifier: MIT
#include "platform/directmusic/windows_events.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

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

TEST(WindowsEvents, DescriptorsComeBackWhenHandlesAreClosed) {
  for (int i = 0; i < 20000; ++i) {
    const HANDLE event = MakeEvent();
    ASSERT_NE(event, nullptr) << i;
    CloseHandle(event);
  }
}

}  // namespace
