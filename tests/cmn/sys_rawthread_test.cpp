// SPDX-License-Identifier: MIT
#include "cmn/sys_rawthread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cmn/ps_thread.h"
#include "cmn/sys_rawthreadtask.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/sanitizers.h"

namespace {

// What a task leaves behind: it is deleted with its thread.
struct Trace {
  std::atomic<bool> mHasStarted{false};
  std::atomic<bool> mHasEnded{false};
  std::atomic<bool> mIsDeleted{false};
  std::atomic<int> mStops{0};
  std::atomic<int> mSteps{0};
  std::string mThreadName;
  int mNice = 0;
};

class Task : public Sys_RawThreadTask {
 public:
  explicit Task(Trace* iTraceP, int iStopsNeeded = 1)
      : Sys_RawThreadTask(0x6D697772, "a name that is too long"),
        mTraceP(iTraceP),
        mStopsNeeded(iStopsNeeded) {}
  ~Task() override { mTraceP->mIsDeleted = true; }

 protected:
  void DoTask() override {
    char name[32] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    mTraceP->mThreadName = name;
    mTraceP->mNice = getpriority(PRIO_PROCESS, 0);
    mTraceP->mHasStarted = true;
    while (mTraceP->mStops < mStopsNeeded) {
      WaitWhilePaused();
      ++mTraceP->mSteps;
      std::this_thread::yield();
    }
    mTraceP->mHasEnded = true;
  }
  bool RequestStop() override {
    ++mTraceP->mStops;
    return true;
  }

 private:
  Trace* mTraceP;
  int mStopsNeeded;
};

void WaitFor(const std::atomic<bool>& iFlag) {
  while (!iFlag) std::this_thread::yield();
}

TEST(Sys_RawThreadTest, CreateRunsTheTaskAndDestroyStopsWaitsAndDeletes) {
  Trace trace;
  Sys_RawThread* threadP = Sys_RawThread::Create(new Task(&trace));
  ASSERT_NE(threadP, nullptr);
  EXPECT_EQ(threadP->GetTask()->GetSignature(), 0x6D697772);
  WaitFor(trace.mHasStarted);
  EXPECT_FALSE(trace.mHasEnded);
  Sys_RawThread::Destroy(threadP);
  EXPECT_EQ(threadP, nullptr);
  EXPECT_EQ(trace.mStops, 1);
  EXPECT_TRUE(trace.mHasEnded);
  EXPECT_TRUE(trace.mIsDeleted);
}

TEST(Sys_RawThreadTest, TheThreadHasTheTasksNameCutTo15Characters) {
  Trace trace;
  Sys_RawThread* threadP = Sys_RawThread::Create(new Task(&trace));
  WaitFor(trace.mHasStarted);
  Sys_RawThread::Destroy(threadP);
  EXPECT_EQ(trace.mThreadName, "a name that is ");
}

TEST(Sys_RawThreadTest, TheThreadHasTheNiceValueThatTheSystemAllowsAndLeavesItsMakersAlone) {
  const int before = getpriority(PRIO_PROCESS, 0);
  int allowed = before;
  std::thread([&] {
    if (before > Sys_RawThread::kNice) setpriority(PRIO_PROCESS, 0, Sys_RawThread::kNice);
    allowed = getpriority(PRIO_PROCESS, 0);
  }).join();
  Trace trace;
  Sys_RawThread* threadP = Sys_RawThread::Create(new Task(&trace));
  WaitFor(trace.mHasStarted);
  Sys_RawThread::Destroy(threadP);
  EXPECT_EQ(trace.mNice, allowed);
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before);
}

TEST(Sys_RawThreadTest, DestroyOfNullDoesNothing) {
  Sys_RawThread* threadP = nullptr;
  Sys_RawThread::Destroy(threadP);
  EXPECT_EQ(threadP, nullptr);
}

TEST(Sys_RawThreadTest, CreateWithoutATaskIsReportedAndGivesNull) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(Sys_RawThread::Create(nullptr), nullptr);
  EXPECT_EQ(recorder.Count("iTaskP"), 1);
}

TEST(Sys_RawThreadTest, DestroyRightAfterCreateWaitsForATaskThatHasntBegun) {
  for (int round = 0; round < 50; ++round) {
    Trace trace;
    Sys_RawThread* threadP = Sys_RawThread::Create(new Task(&trace));
    Sys_RawThread::Destroy(threadP);
    EXPECT_TRUE(trace.mHasEnded);
    EXPECT_TRUE(trace.mIsDeleted);
  }
}

TEST(Sys_RawThreadTest, DestroyOfATaskThatHasEndedByItselfDeletesIt) {
  Trace trace;
  trace.mStops = 1;
  Sys_RawThread* threadP = Sys_RawThread::Create(new Task(&trace));
  WaitFor(trace.mHasEnded);
  Sys_RawThread::Destroy(threadP);
  EXPECT_TRUE(trace.mIsDeleted);
}

TEST(Sys_RawThreadTest, AfterTheKillTimeoutDestroyReportsAndAsksAgain) {
  Test_AssertRecorder recorder;
  Trace trace;
  auto* taskP = new Task(&trace, 2);
  taskP->SetKillTimeout(20);
  EXPECT_EQ(taskP->GetKillTimeout(), 20u);
  Sys_RawThread* threadP = Sys_RawThread::Create(taskP);
  WaitFor(trace.mHasStarted);
  Sys_RawThread::Destroy(threadP);
  EXPECT_EQ(recorder.Count("hasEnded"), 1);
  EXPECT_EQ(trace.mStops, 2);
  EXPECT_TRUE(trace.mHasEnded);
}

TEST(Sys_RawThreadTest, APausedTaskHaltsGoesOnAndStopsOutOfThePause) {
  Trace trace;
  auto* taskP = new Task(&trace);
  taskP->Pause();
  Sys_RawThread* threadP = Sys_RawThread::Create(taskP);
  WaitFor(trace.mHasStarted);
  EXPECT_EQ(trace.mSteps, 0);
  taskP->Resume();
  while (trace.mSteps == 0) std::this_thread::yield();
  taskP->Pause();
  Sys_RawThread::Destroy(threadP);
  EXPECT_TRUE(trace.mHasEnded);
}

// While it lives no thread can be had: no stack has the size that threads get by default.
class BoundlessStacks {
 public:
  BoundlessStacks() {
    EXPECT_EQ(pthread_getattr_default_np(&mBefore), 0);
    pthread_attr_t boundless;
    pthread_attr_init(&boundless);
    EXPECT_EQ(pthread_attr_setstacksize(&boundless, std::size_t{1} << 60), 0);
    EXPECT_EQ(pthread_setattr_default_np(&boundless), 0);
    pthread_attr_destroy(&boundless);
  }
  ~BoundlessStacks() {
    EXPECT_EQ(pthread_setattr_default_np(&mBefore), 0);
    pthread_attr_destroy(&mBefore);
  }
  BoundlessStacks(const BoundlessStacks&) = delete;
  BoundlessStacks& operator=(const BoundlessStacks&) = delete;

 private:
  pthread_attr_t mBefore;
};

TEST(Sys_RawThreadTest, IfNoThreadCanBeHadCreateGivesNullAndTheTaskStaysTheCallers) {
  Trace trace;
  auto* taskP = new Task(&trace);
  {
    const BoundlessStacks noThreads;
    ASSERT_EQ(Sys_RawThread::Create(taskP), nullptr);
  }
  EXPECT_FALSE(trace.mHasStarted);
  ASSERT_FALSE(trace.mIsDeleted);
  Sys_RawThread* threadP = Sys_RawThread::Create(taskP);
  ASSERT_NE(threadP, nullptr);
  Sys_RawThread::Destroy(threadP);
  EXPECT_TRUE(trace.mIsDeleted);
}

class SelfDestroyer : public Sys_RawThreadTask {
 public:
  explicit SelfDestroyer(std::atomic<Sys_RawThread*>* iThreadP)
      : Sys_RawThreadTask(1, "self"), mThreadP(iThreadP) {}
  std::atomic<bool> mHasTried{false};

 protected:
  void DoTask() override {
    while (mThreadP->load() == nullptr) std::this_thread::yield();
    Sys_RawThread* selfP = mThreadP->load();
    Sys_RawThread::Destroy(selfP);
    EXPECT_NE(selfP, nullptr);
    mHasTried = true;
  }
  bool RequestStop() override { return true; }

 private:
  std::atomic<Sys_RawThread*>* mThreadP;
};

TEST(Sys_RawThreadTest, DestroyOnTheThreadItselfIsReportedAndDoesNothing) {
  Test_AssertRecorder recorder;
  std::atomic<Sys_RawThread*> place{nullptr};
  auto* taskP = new SelfDestroyer(&place);
  Sys_RawThread* threadP = Sys_RawThread::Create(taskP);
  place = threadP;
  WaitFor(taskP->mHasTried);
  Sys_RawThread::Destroy(threadP);
  EXPECT_EQ(recorder.Count("!isOwnThread"), 1);
}

TEST(Sys_RawThreadTaskTest, ATaskRunsOnce) {
  Test_AssertRecorder recorder;
  Trace trace;
  trace.mStops = 1;
  Task task(&trace);
  task.Run();
  EXPECT_TRUE(trace.mHasEnded);
  trace.mHasEnded = false;
  task.Run();
  EXPECT_FALSE(trace.mHasEnded);
  EXPECT_EQ(recorder.Count("!hasRun"), 1);
}

// While one object is locked another thread locks the other one: whether it gets in within the patience, and,
// once the first is let go, at all.
int CountWithTwoObjects(const char* iFirstNameP, const char* iSecondNameP,
                        std::chrono::milliseconds iPatience, bool* oWasLockedOutP) {
  const std::unique_ptr<PSMutex> firstP(gPSThread->NewMutex(iFirstNameP));
  const std::unique_ptr<PSMutex> secondP(gPSThread->NewMutex(iSecondNameP));
  std::atomic<bool> hasLocked{false};
  firstP->Lock();
  std::thread other([&] {
    secondP->Lock();
    hasLocked = true;
    secondP->Unlock();
  });
  const auto end = std::chrono::steady_clock::now() + iPatience;
  while (!hasLocked && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  *oWasLockedOutP = !hasLocked;
  firstP->Unlock();
  other.join();
  return hasLocked ? 1 : 0;
}

// A thread that isn't locked out may still be slow to start.
constexpr std::chrono::seconds kPatience{60};

TEST(PSThreadTest, TwoObjectsOfOneNameAreOneMutex) {
  bool wasLockedOut = false;
  EXPECT_EQ(CountWithTwoObjects("a name", "a name", std::chrono::milliseconds(200), &wasLockedOut), 1);
  EXPECT_TRUE(wasLockedOut);
}

TEST(PSThreadTest, TwoNamesAreTwoMutexes) {
  bool wasLockedOut = true;
  EXPECT_EQ(CountWithTwoObjects("a name", "another", kPatience, &wasLockedOut), 1);
  EXPECT_FALSE(wasLockedOut);
}

TEST(PSThreadTest, ObjectsWithoutANameAreMutexesOfTheirOwn) {
  bool wasLockedOut = true;
  EXPECT_EQ(CountWithTwoObjects(nullptr, "", kPatience, &wasLockedOut), 1);
  EXPECT_FALSE(wasLockedOut);
}

TEST(PSThreadTest, AMutexKeepsThreadsApart) {
  const std::unique_ptr<PSMutex> mutexP(gPSThread->NewMutex("count"));
  int count = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 5000; ++i) {
        mutexP->Lock();
        ++count;
        mutexP->Unlock();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 20000);
}

TEST(PSThreadTest, ANameIsFreeAgainAfterItsLastObject) {
  for (int round = 0; round < 3; ++round) {
    const std::unique_ptr<PSMutex> mutexP(gPSThread->NewMutex("again"));
    ASSERT_NE(mutexP, nullptr);
    mutexP->Lock();
    mutexP->Lock();
    mutexP->Unlock();
    mutexP->Unlock();
  }
}

// The checkers of memory and threads need the address space for themselves and end the process without it.
#if !TEST_HAS_MEMORY_OR_THREAD_CHECKER

// While it lives the process gets no more than this much memory from the system.
class MemoryLimit {
 public:
  explicit MemoryLimit(rlim_t iBytesLeft) {
    rlim_t pagesInUse = 0;
    std::ifstream("/proc/self/statm") >> pagesInUse;
    EXPECT_GT(pagesInUse, 0u);
    EXPECT_EQ(getrlimit(RLIMIT_AS, &mBefore), 0);
    rlimit limit = mBefore;
    limit.rlim_cur = pagesInUse * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + iBytesLeft;
    EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
  }
  ~MemoryLimit() { EXPECT_EQ(setrlimit(RLIMIT_AS, &mBefore), 0); }
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;

 private:
  rlimit mBefore{};
};

TEST(PSThreadTest, IfThereIsNoMemoryForTheNameThereIsNoMutex) {
  const std::string name(std::size_t{1} << 27, 'n');
  PSMutex* mutexP = nullptr;
  {
    const MemoryLimit limit(name.size() / 2);
    mutexP = gPSThread->NewMutex(name.c_str());
  }
  EXPECT_EQ(mutexP, nullptr);
  delete mutexP;
  const std::unique_ptr<PSMutex> laterP(gPSThread->NewMutex("later"));
  EXPECT_NE(laterP, nullptr);
}

#endif

TEST(PSThreadTest, ThreadsHaveDifferentNumbers) {
  const std::uint64_t mine = gPSThread->GetCurrentThreadID();
  EXPECT_NE(mine, 0u);
  EXPECT_EQ(mine, gPSThread->GetCurrentThreadID());
  std::thread([mine] { EXPECT_NE(gPSThread->GetCurrentThreadID(), mine); }).join();
  gPSThread->YieldThread();
  gPSThread->SetCurrentThreadName(nullptr);
}

}  // namespace
