// SPDX-License-Identifier: MIT
// The shared library as applications get it: loaded, played through, unloaded, left behind by a process that
// ends. This program itself is linked to nothing of it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/integration/shared_library/player.h"

namespace {

/// A module that is linked to the library, loaded for as long as this lives.
class Guest {
 public:
  Guest() : mHandleP(dlopen(MLOX_TEST_GUEST, RTLD_NOW | RTLD_LOCAL)) {}
  ~Guest() {
    if (mHandleP != nullptr) {
      EXPECT_EQ(dlclose(mHandleP), 0);
    }
  }
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;

  bool IsLoaded() const { return mHandleP != nullptr; }
  std::string PlayOneNote() const {
    auto* play =
        reinterpret_cast<decltype(&SharedLibrary_PlayOneNote)>(dlsym(mHandleP, "SharedLibrary_PlayOneNote"));
    return play != nullptr ? play() : "the guest lacks the operation";
  }

 private:
  void* mHandleP;
};

/// Runs a command and gives its exit status, with all that it prints in *oOutputP.
int RunCommand(const std::string& iCommand, std::string* oOutputP) {
  std::FILE* pipeP = popen((iCommand + " 2>&1").c_str(), "r");
  if (pipeP == nullptr) return -1;
  char piece[512];
  while (std::fgets(piece, sizeof(piece), pipeP) != nullptr) *oOutputP += piece;
  return pclose(pipeP);
}

bool IsLibraryLoaded() {
  void* handleP = dlopen(MLOX_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  if (handleP != nullptr) dlclose(handleP);
  return handleP != nullptr;
}

TEST(SharedLibrary, LoadsAndPlays) {
  const Guest guest;
  ASSERT_TRUE(guest.IsLoaded()) << dlerror();
  EXPECT_EQ(guest.PlayOneNote(), "100: 147 60 100");
}

TEST(SharedLibrary, PlaysAgainAfterItWasTakenDown) {
  const Guest guest;
  ASSERT_TRUE(guest.IsLoaded()) << dlerror();
  EXPECT_EQ(guest.PlayOneNote(), "100: 147 60 100");
  EXPECT_EQ(guest.PlayOneNote(), "100: 147 60 100");
}

TEST(SharedLibrary, OutlastsTheUnloadingOfWhoLoadedItAndPlaysForTheNext) {
  for (int i = 0; i < 3; ++i) {
    const Guest guest;
    ASSERT_TRUE(guest.IsLoaded()) << dlerror();
    EXPECT_EQ(guest.PlayOneNote(), "100: 147 60 100");
  }
  // Its threads or objects may still be in use then, so it stays in the process.
  EXPECT_TRUE(IsLibraryLoaded());
}

TEST(SharedLibrary, MayBeLoadedAndUnloadedWithoutAnyUse) {
  for (int i = 0; i < 3; ++i) {
    void* handleP = dlopen(MLOX_TEST_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handleP, nullptr) << dlerror();
    EXPECT_EQ(dlclose(handleP), 0);
  }
}

TEST(SharedLibrary, StaysWhileThreadsAreInsideThoughEveryHandleIsClosed) {
  std::string output;
  EXPECT_EQ(RunCommand(MLOX_TEST_UNLOADER " '" MLOX_TEST_LIBRARY "' '" MLOX_TEST_GUEST "'", &output), 0);
  EXPECT_EQ(output, "");
}

TEST(SharedLibrary, AProcessMayExitWithThreadsInside) {
  for (int i = 0; i < 10; ++i) {
    std::string output;
    ASSERT_EQ(RunCommand(MLOX_TEST_EXITER, &output), 0) << "run " << i;
    ASSERT_EQ(output, "") << "run " << i;
  }
}

}  // namespace
