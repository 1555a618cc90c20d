// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/childlook.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "tests/tools/doctor/good_machine.h"

namespace {

using std::chrono::milliseconds;
using tool::LookEnd;
using Fields = std::vector<std::string>;

constexpr std::chrono::minutes kPatience{1};

// Facts on their way there and back.
template <class Facts>
Facts Through(Facts iFacts) {
  tool::FieldWriter writer;
  Visit(writer, iFacts);
  Facts back;
  tool::FieldReader reader(writer.mFields);
  Visit(reader, back);
  tool::FieldWriter again;
  Visit(again, back);
  EXPECT_EQ(again.mFields, writer.mFields);
  return back;
}

TEST(ChildLook, TextsComeBackAsTheyWere) {
  const Fields fields = {"one", "", std::string("\0\n\xFF", 3), std::string(100000, 'x')};
  Fields back;
  EXPECT_EQ(tool::LookInChild(
                kPatience, [&] { return fields; }, back),
            LookEnd::kDone);
  EXPECT_EQ(back, fields);
}

TEST(ChildLook, WhatHangsIsLeftBehindWhenThePatienceIsOver) {
  Fields back;
  const auto hang = []() -> Fields {
    for (;;) ::pause();
  };
  EXPECT_EQ(tool::LookInChild(milliseconds(50), hang, back), LookEnd::kTooLong);
  EXPECT_TRUE(back.empty());
}

TEST(ChildLook, WhatEndsItsProcessDoesNotEndThisOne) {
  Fields back;
  const auto die = []() -> Fields {
    ::raise(SIGKILL);
    return {};
  };
  EXPECT_EQ(tool::LookInChild(kPatience, die, back), LookEnd::kDied);
  const auto fail = []() -> Fields { throw std::runtime_error("no"); };
  EXPECT_EQ(tool::LookInChild(kPatience, fail, back), LookEnd::kDied);
  const auto leave = []() -> Fields { ::_exit(0); };
  EXPECT_EQ(tool::LookInChild(kPatience, leave, back), LookEnd::kDone);
  EXPECT_TRUE(back.empty());
}

TEST(ChildLook, NothingIsPrinted) {
  Fields back;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const auto print = []() -> Fields {
    std::puts("out");
    std::fflush(stdout);
    std::fputs("err", stderr);
    return {};
  };
  EXPECT_EQ(tool::LookInChild(kPatience, print, back), LookEnd::kDone);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ChildLook, FactsThatDoNotComeStayAsTheyAre) {
  tool::TextFacts facts;
  facts.mFile.mPath = "/before";
  const std::function<tool::TextFacts()> fail = []() -> tool::TextFacts { throw std::runtime_error("no"); };
  EXPECT_EQ(tool::LookInChild<tool::TextFacts>(kPatience, fail, facts), LookEnd::kDied);
  EXPECT_EQ(facts.mFile.mPath, "/before");
}

TEST(ChildLook, FactsComeBackAsTheyWere) {
  tool::StudioFacts studio = Test_GoodMachine().mStudio;
  studio.mLook.mResult = Platform_StudioLookResult::kHeld;
  studio.mLook.mReason = "reason";
  studio.mLook.mHolder = 77;
  studio.mLook.mWires = 5;
  studio.mDamaged = {"a", "b"};
  studio.mHolder = "program";
  studio.mFile.mFault = EACCES;
  tool::StudioFacts back;
  EXPECT_EQ(tool::LookInChild<tool::StudioFacts>(
                kPatience, [&] { return studio; }, back),
            LookEnd::kDone);
  EXPECT_EQ(back.mLook.mResult, Platform_StudioLookResult::kHeld);
  EXPECT_EQ(back.mLook.mHolder, 77);
  EXPECT_EQ(back.mLook.mWires, 5);
  EXPECT_EQ(back.mFile.mFault, EACCES);
  EXPECT_EQ(back.mFile.mKind, tool::PathKind::kFile);
  EXPECT_EQ(back.mDamaged, studio.mDamaged);
  EXPECT_EQ(back.mHolder, "program");
  EXPECT_EQ(back.mFreeBytes, studio.mFreeBytes);
}

TEST(ChildLook, EveryKindOfFactsHasItsFieldsInOneOrder) {
  const tool::Machine machine = Test_GoodMachine();
  EXPECT_EQ(Through(machine.mRealtime).mMemory.mHard, UINT64_MAX);
  EXPECT_EQ(Through(machine.mPatchNames).mCount, 3);
  EXPECT_EQ(Through(machine.mJack.mTrial).mReason, "no JACK server runs");
  EXPECT_EQ(Through(tool::TextFacts{{}, {}, "text"}).mText, "text");
  EXPECT_EQ(Through(tool::LogFacts{{}, machine.mApplicationFolder}).mFolder.mPath, "/app");
}

TEST(ChildLook, FieldsThatAreMissingReadAsNothing) {
  tool::StudioFacts facts;
  facts.mFreeBytes = 1;
  const Fields few = {"3", "path"};
  tool::FieldReader reader(few);
  Visit(reader, facts);
  EXPECT_EQ(facts.mLook.mPath, "path");
  EXPECT_EQ(facts.mFreeBytes, 0);
  EXPECT_TRUE(facts.mDamaged.empty());
}

}  // namespace
