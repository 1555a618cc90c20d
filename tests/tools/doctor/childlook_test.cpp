// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/childlook.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <system_error>

#include "tests/tools/doctor/good_machine.h"

namespace {

using std::chrono::milliseconds;
using tool::LookEnd;
using tool::PathFacts;
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
  EXPECT_EQ(tool::LookInChild(kPatience, leave, back), LookEnd::kDied);
  EXPECT_TRUE(back.empty());
}

TEST(ChildLook, AnAnswerWithNothingInItIsOne) {
  Fields back;
  EXPECT_EQ(tool::LookInChild(
                kPatience, [] { return Fields(); }, back),
            LookEnd::kDone);
  EXPECT_TRUE(back.empty());
}

// What a process of its own makes of it.
int StatusOf(const std::function<bool()>& iLook) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(iLook() ? 0 : 1);
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ChildLook, ClosedStandardStreamsTakeNoAnswerAway) {
  for (int closed = 0; closed < 8; ++closed) {
    const auto look = [closed] {
      for (int stream = 0; stream < 3; ++stream) {
        if ((closed >> stream & 1) != 0) ::close(stream);
      }
      Fields back;
      const auto print = []() -> Fields {
        return {"one",
                ::write(STDOUT_FILENO, "x", 1) == 1 && ::write(STDERR_FILENO, "x", 1) == 1 ? "printed" : ""};
      };
      return tool::LookInChild(kPatience, print, back) == LookEnd::kDone && back == Fields{"one", "printed"};
    };
    EXPECT_EQ(StatusOf(look), 0) << closed;
  }
}

// A limit of this process while the object lives.
class Limit {
 public:
  Limit(int iResource, rlim_t iLimit) : mResource(static_cast<__rlimit_resource_t>(iResource)) {
    EXPECT_EQ(::getrlimit(mResource, &mFormer), 0);
    const rlimit limit{iLimit, mFormer.rlim_max};
    EXPECT_EQ(::setrlimit(mResource, &limit), 0);
  }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
  ~Limit() { ::setrlimit(mResource, &mFormer); }

 private:
  __rlimit_resource_t mResource;
  rlimit mFormer{};
};

TEST(ChildLook, AProcessThatCannotBeHadIsSaidSoWithTheReason) {
  Fields back = {"before"};
  tool::LookOutcome end;
  {
    const Limit files(RLIMIT_NOFILE, 3);
    end = tool::LookInChild(
        kPatience, [] { return Fields(); }, back);
  }
  EXPECT_EQ(end, LookEnd::kNotHad);
  EXPECT_EQ(end.mFault, EMFILE);
  EXPECT_EQ(back, Fields{"before"});
}

TEST(ChildLook, AProcessThatHasTooFewFilesLooksAtNothing) {
  const int next = ::open("/dev/null", O_RDONLY);
  ASSERT_GE(next, 0);
  ::close(next);
  Fields back;
  const auto endWith = [&](int iFiles) {
    const Limit files(RLIMIT_NOFILE, static_cast<rlim_t>(next + iFiles));
    return tool::LookInChild(
        kPatience, [] { return Fields{"seen"}; }, back);
  };
  for (const int files : {0, 1, 2, 3, 10}) {
    const tool::LookOutcome end = endWith(files);
    EXPECT_EQ(end, LookEnd::kNotHad) << files;
    EXPECT_EQ(end.mFault, EMFILE) << files;
    EXPECT_TRUE(back.empty()) << files;
  }
  EXPECT_EQ(endWith(40), LookEnd::kDone);
  EXPECT_EQ(back, Fields{"seen"});
}

TEST(ChildLook, AUserWhoMayStartNoProcessIsSaidSo) {
  const auto look = [] {
    const rlimit none{1, 1};
    if (::setrlimit(RLIMIT_NPROC, &none) != 0 || (::geteuid() == 0 && ::setuid(65534) != 0)) return false;
    Fields back;
    const tool::LookOutcome end = tool::LookInChild(
        kPatience, [] { return Fields(); }, back);
    return end == LookEnd::kNotHad && end.mFault == EAGAIN;
  };
  EXPECT_EQ(StatusOf(look), 0);
}

TEST(ChildLook, ALookThatCouldNotHaveWhatItNeedsIsNoneThatDied) {
  Fields back;
  for (const int fault : {EAGAIN, EMFILE, ENFILE, ENOMEM}) {
    const auto look = [fault]() -> Fields { throw std::system_error(fault, std::generic_category()); };
    const tool::LookOutcome end = tool::LookInChild(kPatience, look, back);
    EXPECT_EQ(end, LookEnd::kNotHad) << fault;
    EXPECT_EQ(end.mFault, fault);
  }
  const auto lackMemory = []() -> Fields { throw std::bad_alloc(); };
  EXPECT_EQ(tool::LookInChild(kPatience, lackMemory, back).mFault, ENOMEM);
  const auto fail = []() -> Fields { throw std::system_error(EIO, std::generic_category()); };
  EXPECT_EQ(tool::LookInChild(kPatience, fail, back), LookEnd::kDied);
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
  EXPECT_EQ(Through(machine.mApplicationFolder).mFolder.mPath, "/app");
  const PathFacts& folder = machine.mApplicationFolder.mFolder;
  EXPECT_EQ(Through(tool::LogFacts{{}, folder, {}, false, {}}).mFolder.mPath, "/app");
  EXPECT_EQ(Through(tool::LogFacts{{}, {}, folder, true, {}}).mNearest.mPath, "/app");
  EXPECT_TRUE(Through(tool::LogFacts{{}, {}, folder, true, {}}).mIsOfKernel);
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
