// SPDX-License-Identifier: MIT
// What a trace site does to its thread when its category is on: no memory, no lock, no system call. And what
// becomes of its lines when the tracing library is unloaded.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/realtime/realtime_traps.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// The tracing library, loaded as the binder loads it, with lines to a file.
class CallersPath : public testing::Test {
 protected:
  using FormatProc = void (*)(std::uint32_t, const char*, ...);
  using FacilityOnProc = bool (*)(std::uint32_t);
  using IsActiveProc = unsigned char (*)();

  CallersPath() {
    mLibraryP = dlopen(MLOX_TEST_QUILTRACE, RTLD_NOW | RTLD_LOCAL);
    if (mLibraryP == nullptr) {
      ADD_FAILURE() << dlerror();
      std::abort();
    }
    mFormat = LookUp<FormatProc>("QuilTraceFormat");
    mFacilityOn = LookUp<FacilityOnProc>("QuilTraceFacilityOnFunc");
    mIsActive = LookUp<IsActiveProc>("QuilTraceIsActiveFunc");
  }
  ~CallersPath() override { Unload(); }

  template <class Proc>
  Proc LookUp(const char* iNameP) {
    return reinterpret_cast<Proc>(dlsym(mLibraryP, iNameP));
  }

  void Unload() {
    if (mLibraryP != nullptr) dlclose(mLibraryP);
    mLibraryP = nullptr;
  }

  std::string Log() const { return Test_ReadFile(mPath); }

  const Test_TempFolder mFolder;
  const std::string mPath = mFolder / "trace.log";
  const Test_Environment mTrace{"MLOX_TRACE", "200000E"};
  const Test_Environment mFile{"MLOX_TRACE_FILE", mPath};
  void* mLibraryP = nullptr;
  FormatProc mFormat = nullptr;
  FacilityOnProc mFacilityOn = nullptr;
  IsActiveProc mIsActive = nullptr;
};

constexpr std::uint32_t kCategory = 0x200000E;

TEST_F(CallersPath, TheTrapsReachWhatTheLibraryCalls) {
  // The planted violations, made where the library's own would be: behind the loader, in the C library.
  const Test_TrapCounts caught = Test_RunTrapped([] {
    void* volatile blockP = std::malloc(1);
    std::free(blockP);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
    syscall(SYS_getppid);
  });
  EXPECT_GE(caught.mAllocations, 2U);
  EXPECT_EQ(caught.mLocks, 2U);
  EXPECT_EQ(caught.mSystemCalls, 1U);
  // A format that does take memory, in the name of the library: the C library notes where numbered arguments
  // stand, and has no room of its own for so many.
  std::string numbered;
  for (int i = 0; i < 60; ++i) numbered += "%1$d";
  EXPECT_GT(Test_RunTrapped([&] { mFormat(kCategory, numbered.c_str(), 7); }).mAllocations, 0U);
}

TEST_F(CallersPath, ALineTakesNoMemoryNoLockAndNoSystemCall) {
  int number = 0;
  const std::string longName(600, 'n');
  EXPECT_EQ(Test_RunTrapped([&] {
              if (!mFacilityOn(kCategory)) return;
              mFormat(kCategory, "plain");
              mFormat(kCategory, "text %s and %s", "a port", "another");
              mFormat(kCategory, "numbers %d %u %x %lld %zu", -1, 2U, 3U, 4LL, sizeof(number));
              mFormat(kCategory, "place %p %p", static_cast<void*>(&number), static_cast<void*>(nullptr));
              mFormat(kCategory, "cut %s", longName.c_str());
            }),
            Test_TrapCounts{});
  Unload();
  for (const std::string part : {" plain\n", " text a port and another\n", " numbers -1 2 3 4 4\n",
                                 " (nil)\n", "nnn[124 bytes more]\n"}) {
    EXPECT_THAT(Log(), HasSubstr(part));
  }
}

TEST_F(CallersPath, ACategoryThatIsOffTakesNoneEither) {
  bool isOn = true;
  EXPECT_EQ(Test_RunTrapped([&] { isOn = mFacilityOn(0x4000E0F) || mIsActive() == 0; }), Test_TrapCounts{});
  EXPECT_FALSE(isOn);
}

TEST_F(CallersPath, LinesThatFindNoRoomAreDroppedOnTheSameTerms) {
  constexpr int kLines = 200000;
  EXPECT_EQ(Test_RunTrapped([&] {
              for (int number = 0; number < kLines; ++number) mFormat(kCategory, "storm %d", number);
            }),
            Test_TrapCounts{});
  Unload();
  const std::string log = Log();
  std::size_t written = 0;
  for (std::size_t at = log.find(" storm "); at != std::string::npos; at = log.find(" storm ", at + 1))
    ++written;
  std::size_t dropped = 0;
  const std::string told = " trace lines dropped here";
  for (std::size_t at = log.find(told); at != std::string::npos; at = log.find(told, at + 1))
    dropped += std::stoul(log.substr(log.rfind(' ', at - 1) + 1));
  EXPECT_EQ(written + dropped, static_cast<std::size_t>(kLines));
}

TEST_F(CallersPath, UnloadingWritesEverythingThatWasAccepted) {
  for (int number = 0; number < 3000; ++number) mFormat(kCategory, "line %d.", number);
  Unload();
  EXPECT_EQ(dlopen(MLOX_TEST_QUILTRACE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it is gone";
  const std::string log = Log();
  for (int number = 0; number < 3000; ++number)
    ASSERT_THAT(log, HasSubstr(" line " + std::to_string(number) + ".\n"));
  EXPECT_THAT(log, Not(HasSubstr("dropped")));
}

TEST_F(CallersPath, OnceUnloadedItCanBeLoadedAgain) {
  mFormat(kCategory, "first");
  Unload();
  mLibraryP = dlopen(MLOX_TEST_QUILTRACE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(mLibraryP, nullptr);
  LookUp<FormatProc>("QuilTraceFormat")(kCategory, "second");
  Unload();
  EXPECT_THAT(Log(), HasSubstr(" first\n"));
  EXPECT_THAT(Log(), HasSubstr(" second\n"));
}

}  // namespace
