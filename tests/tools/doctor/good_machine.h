// SPDX-License-Identifier: MIT
/// \file
/// A machine on which nothing is wrong, for tests to break something of.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/mlox/doctor/finding.h"
#include "tools/mlox/doctor/machine.h"

/// A desktop with ALSA, no JACK server, real-time limits, a studio and documents.
inline tool::Machine Test_GoodMachine() {
  tool::Machine machine;
  machine.mEnvironment = {{"HOME", "/home/ann"}};
  machine.mKernel = "6.1.0-amd64";
  machine.mUser = {"ann", false, true, true, true};
  machine.mSequencer = {0, "audio", true, true, true, true};
  machine.mAlsa = {true, tool::LookEnd::kDone, {true, true, "", 2, 1}};
  machine.mJack = {true, tool::LookEnd::kDone, {true, false, "no JACK server runs", 0, 0}};
  machine.mLoopback = {true, tool::LookEnd::kDone, {true, true, "", 1, 1}};
  machine.mJackServer.mLibrary = "/usr/lib/libjack.so.0";
  machine.mJackServer.mHasJackd = true;
  machine.mProcesses = {1000, 1000};
  machine.mOpenFiles = {1024, 4096};
  machine.mRealtime = {{95, 95}, true, {30, 30}, true, {UINT64_MAX, UINT64_MAX}, 2 * 1024 * 1024, true};
  machine.mStudio.mLook.mResult = Platform_StudioLookResult::kGood;
  machine.mStudio.mLook.mPath = "/home/ann/studio.db";
  machine.mStudio.mLook.mVersion = 1;
  machine.mStudio.mFile = {"/home/ann/studio.db", tool::PathKind::kFile, 0, true, true, true};
  machine.mStudio.mFolder = {"/home/ann", tool::PathKind::kFolder, 0, true, true, true};
  machine.mStudio.mIsFolderThere = true;
  machine.mStudio.mFreeBytes = std::int64_t{1} << 30;
  machine.mPatchNames.mFolder = {"/names", tool::PathKind::kFolder, 0, true, true, true};
  machine.mPatchNames.mCount = 3;
  machine.mDeviceTypes.mFolder = {"/types", tool::PathKind::kFolder, 0, true, true, true};
  machine.mDeviceTypes.mCount = 1;
  machine.mOwnDocuments = "/home/ann/.local/share/mlox";
  machine.mExcludedPorts.mFile.mPath = "/app/ExcludedMIDIPorts.txt";
  machine.mSettings.mFile.mPath = "/app/mlox.ini";
  machine.mApplicationFolder.mFolder = {"/app", tool::PathKind::kFolder, 0, true, true, true};
  return machine;
}

inline void Test_ExpectOk(const tool::Finding& iFinding, const std::string& iPart) {
  EXPECT_EQ(iFinding.mState, tool::FindingState::kOk) << iFinding.mSeen;
  EXPECT_THAT(iFinding.mSeen, testing::HasSubstr(iPart));
  EXPECT_TRUE(iFinding.mMend.empty()) << iFinding.mMend.front();
}

/// Worth knowing; the lines that help, which may be none.
inline void Test_ExpectNote(const tool::Finding& iFinding, const std::string& iPart,
                            const std::vector<std::string>& iMend = {}) {
  EXPECT_EQ(iFinding.mState, tool::FindingState::kNote) << iFinding.mSeen;
  EXPECT_THAT(iFinding.mSeen, testing::HasSubstr(iPart));
  EXPECT_EQ(iFinding.mMend, iMend);
}

inline void Test_ExpectWrong(const tool::Finding& iFinding, const std::string& iPart,
                             const std::vector<std::string>& iMend) {
  EXPECT_EQ(iFinding.mState, tool::FindingState::kWrong) << iFinding.mSeen;
  EXPECT_THAT(iFinding.mSeen, testing::HasSubstr(iPart));
  EXPECT_EQ(iFinding.mMend, iMend);
}
