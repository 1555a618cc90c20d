// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"

#include <gtest/gtest.h>

#include "tests/support/fake_studio.h"

namespace {

class ServiceHandle : public testing::Test {
 protected:
  ~ServiceHandle() override { Handle().Detach(); }
  static Mlox_DirectMusic_ServiceHandle& Handle() { return Mlox_DirectMusic_ServiceHandle::Singleton(); }
  // Nobody looks into the service: an address is enough.
  Mlox_DirectMusic_Service* Service() { return reinterpret_cast<Mlox_DirectMusic_Service*>(&mAddress); }
  Mlox_DirectMusic_Service* Other() { return reinterpret_cast<Mlox_DirectMusic_Service*>(&mOther); }

 private:
  int mAddress = 0;
  int mOther = 0;
};

TEST_F(ServiceHandle, WithoutAServiceItIsNullAndAStopIsAsked) {
  EXPECT_EQ(sService.load(), nullptr);
  EXPECT_TRUE(Handle().IsStopPlaybackFlagSet());
  Handle().SetStopPlaybackFlag(false);
  EXPECT_TRUE(Handle().IsStopPlaybackFlagSet());
  EXPECT_EQ(Handle().GetStudio(), nullptr);
  EXPECT_EQ(Handle().GetZeroJitterDelay(), 0);
}

TEST_F(ServiceHandle, NewServiceIsNotSuspendedAndHasItsStopFlagSet) {
  ASSERT_TRUE(Handle().Attach(Service()));
  EXPECT_EQ(sService.load(), &Handle());
  EXPECT_EQ(Handle().GetService(), Service());
  EXPECT_FALSE(Handle().IsSuspended());
  EXPECT_TRUE(Handle().IsStopPlaybackFlagSet());
}

TEST_F(ServiceHandle, SecondServiceIsRefused) {
  ASSERT_TRUE(Handle().Attach(Service()));
  EXPECT_FALSE(Handle().Attach(Other()));
  EXPECT_FALSE(Handle().Attach(nullptr));
  EXPECT_EQ(Handle().GetService(), Service());
}

TEST_F(ServiceHandle, AnswersWhatTheServiceHasSet) {
  Handle().Attach(Service());
  Handle().SuspendedFlag().store(true);
  Handle().SetZeroJitterDelay(42);
  Handle().SetStopPlaybackFlag(false);
  const auto studio = std::make_shared<Test_FakeStudio>();
  Handle().SetStudio(studio);
  EXPECT_TRUE(Handle().IsSuspended());
  EXPECT_EQ(Handle().GetZeroJitterDelay(), 42);
  EXPECT_FALSE(Handle().IsStopPlaybackFlagSet());
  EXPECT_EQ(Handle().GetStudio(), studio);
}

TEST_F(ServiceHandle, PointerThatWasReadBeforeTheServiceWentAnswersAStop) {
  Handle().Attach(Service());
  Handle().SetStopPlaybackFlag(false);
  Handle().SetStudio(std::make_shared<Test_FakeStudio>());
  Mlox_DirectMusic_ServiceHandle* const keptP = sService.load();
  Handle().Detach();
  EXPECT_TRUE(keptP->IsStopPlaybackFlagSet());
  EXPECT_EQ(keptP->GetStudio(), nullptr);
  EXPECT_EQ(keptP->GetZeroJitterDelay(), 0);
  EXPECT_EQ(keptP->GetService(), nullptr);
}

TEST_F(ServiceHandle, NextServiceFindsTheFlagsOfANewOne) {
  Handle().Attach(Service());
  Handle().SuspendedFlag().store(true);
  Handle().SetStopPlaybackFlag(false);
  Handle().SetZeroJitterDelay(42);
  Handle().Detach();
  ASSERT_TRUE(Handle().Attach(Other()));
  EXPECT_FALSE(Handle().IsSuspended());
  EXPECT_TRUE(Handle().IsStopPlaybackFlagSet());
  EXPECT_EQ(Handle().GetZeroJitterDelay(), 0);
}

}  // namespace
