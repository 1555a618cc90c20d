// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_undisturbed.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>

namespace {

struct Moments {
  std::atomic<bool> mIsInside{false};
  std::atomic<bool> mIsCancelled{false};
  std::atomic<bool> mIsDone{false};
  std::atomic<bool> mWentOn{false};
};

void InsideOf(Moments& ioMoments) noexcept {
  ioMoments.mIsInside.store(true);
  while (!ioMoments.mIsCancelled.load()) {
  }
  // Were the thread cancelled in here, the process would end.
  pthread_testcancel();
  ioMoments.mIsDone.store(true);
}

void* RunCancelled(void* iMomentsP) {
  auto& moments = *static_cast<Moments*>(iMomentsP);
  int type = 0;
  pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &type);
  Platform_JackUndisturbed([&] { InsideOf(moments); });
  moments.mWentOn.store(true);
  return nullptr;
}

TEST(JackUndisturbed, AThreadThatIsCancelledInsideEndsBehindIt) {
  Moments moments;
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, nullptr, RunCancelled, &moments), 0);
  while (!moments.mIsInside.load()) {
  }
  ASSERT_EQ(pthread_cancel(thread), 0);
  moments.mIsCancelled.store(true);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_TRUE(moments.mIsDone.load());
  EXPECT_FALSE(moments.mWentOn.load());
}

TEST(JackUndisturbed, AThreadThatCantBeCancelledStaysSo) {
  int before = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
  bool wasDone = false;
  Platform_JackUndisturbed([&] { wasDone = true; });
  int after = PTHREAD_CANCEL_ENABLE;
  pthread_setcancelstate(before, &after);
  EXPECT_TRUE(wasDone);
  EXPECT_EQ(after, PTHREAD_CANCEL_DISABLE);
}

}  // namespace
