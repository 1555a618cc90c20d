// SPDX-License-Identifier: MIT
/// \file
/// A tracing library for the binder of `diagnostics/quiltracelibrary.h`: it writes trace lines where people
/// can read them. `tracesettings.h` tells what the environment chooses; without MLOX_TRACE, tracing is off.
///
/// Threads: [any], audio threads too. A trace site makes its line on its own thread and leaves it in a ring,
/// without memory, lock or system call; one thread of this library writes. When the ring is full a line is
/// dropped and counted, and the count becomes a line.
///
/// Life: the thread starts when this library is loaded, and ends when the process exits or the library is
/// unloaded, with everything written that was accepted until then. Later lines are refused. What lies in the
/// ring is lost when the process ends otherwise: by a signal, abort or _exit.
///
/// Forks: a child that is forked off traces nothing until it executes a program, and writes none of its
/// parent's lines. A fork waits for the writing thread, but not long (`tracegate.h`).
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <mutex>
#include <new>
#include <thread>

#include "diagnostics/quiltrace/tracegate.h"
#include "diagnostics/quiltrace/tracelog.h"
#include "diagnostics/quiltrace/tracerecord.h"
#include "diagnostics/quiltrace/tracering.h"
#include "diagnostics/quiltrace/tracerounds.h"
#include "diagnostics/quiltrace/tracesettings.h"

#define QUILTRACE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Lines between two rounds of the writing thread: enough for every block of a dense song to tell of itself.
constexpr std::size_t kRingRecords = 4096;
// Nobody may wake the writing thread, which would be a system call: it looks for itself.
constexpr std::chrono::milliseconds kRound{5};
// How long the end waits for a thread that was stopped while it was leaving a line.
constexpr std::chrono::milliseconds kPatience{1000};
constexpr std::size_t kMostCategories = QuilTrace_Settings::kMostCategories;

// What callers use. It is made at compile time and needs no destructor: threads may trace while the process
// ends.
constinit QuilTrace_Ring<QuilTrace_Record, kRingRecords> sRing;
constinit std::atomic<bool> sIsActive{false};
constinit bool sIsAll = false;
constinit std::array<std::uint32_t, kMostCategories> sCategories{};
constinit std::size_t sCategoryCount = 0;
constinit std::atomic<bool> sIsForkedChild{false};
constinit QuilTrace_Gate sGate;
// The log, while its thread lives.
constinit std::atomic<QuilTrace_Log*> sLogP{nullptr};

bool IsOn(std::uint32_t iCategory) {
  if (sIsAll) return true;
  return std::find(sCategories.begin(), sCategories.begin() + sCategoryCount, iCategory) !=
         sCategories.begin() + sCategoryCount;
}

void TakeCategories(const QuilTrace_Settings& iSettings) {
  sIsAll = iSettings.mIsAll;
  sCategoryCount = std::min(iSettings.mCategories.size(), kMostCategories);
  std::copy_n(iSettings.mCategories.begin(), sCategoryCount, sCategories.begin());
  if (!sIsAll && sCategoryCount < iSettings.mCategories.size())
    std::fprintf(stderr, "mlox: only the first %zu trace categories are on\n", kMostCategories);
}

// The thread that writes, for its lifetime.
class Writer {
 public:
  explicit Writer(const QuilTrace_Settings& iSettings) : mLog(iSettings), mRounds(sRing, sGate, mLog) {
    // The application's signals are the application's.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
      mThread = std::thread([this] { Run(); });
    } catch (...) {
      pthread_sigmask(SIG_SETMASK, &before, nullptr);
      throw;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    sLogP.store(&mLog, std::memory_order_release);
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() {
    sRing.Close();
    {
      const std::lock_guard lock(mMutex);
      mIsEnding = true;
    }
    mWake.notify_one();
    mThread.join();
    sLogP.store(nullptr, std::memory_order_release);
  }

 private:
  void Run() {
    while (!EndsWithin(kRound)) mRounds.WriteWhatIsThere();
    mRounds.WriteTheRest(kPatience);
  }

  bool EndsWithin(std::chrono::milliseconds iTime) {
    std::unique_lock lock(mMutex);
    return mWake.wait_for(lock, iTime, [this] { return mIsEnding; });
  }

  QuilTrace_Log mLog;
  QuilTrace_Rounds<QuilTrace_Record, kRingRecords, QuilTrace_Log> mRounds;
  std::mutex mMutex;
  std::condition_variable mWake;
  bool mIsEnding = false;
  std::thread mThread;
};

// In a child that forks, nobody writes.
void BeforeFork() {
  if (!sIsForkedChild.load(std::memory_order_acquire)) sGate.EnterFork();
}

void AfterForkInParent() {
  if (!sIsForkedChild.load(std::memory_order_acquire)) sGate.LeaveFork();
}

// The child has no writing thread, and what lies in the ring, or in the log if the fork couldn't wait for the
// end of a round, is the parent's to write.
void AfterForkInChild() {
  sIsForkedChild.store(true, std::memory_order_release);
  sIsActive.store(false, std::memory_order_release);
  sRing.Close();
  QuilTrace_Log* const logP = sLogP.load(std::memory_order_acquire);
  if (logP != nullptr) logP->LetGoInChild();
}

// Tracing from load to unload or exit. The binder's destructor runs before this one's: it was made later.
class Session {
 public:
  Session() {
    try {
      Start();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "mlox: tracing is off: %s\n", error.what());
    }
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    sIsActive.store(false, std::memory_order_release);
    if (!sIsForkedChild.load(std::memory_order_acquire)) delete mWriterP;
  }

 private:
  void Start() {
    const QuilTrace_Settings settings = QuilTrace_Settings::Read();
    for (const std::string& fault : settings.mFaults) std::fprintf(stderr, "mlox: %s\n", fault.c_str());
    if (!settings.IsOn()) return;
    TakeCategories(settings);
    sRing.Touch();
    if (pthread_atfork(&BeforeFork, &AfterForkInParent, &AfterForkInChild) != 0) throw std::bad_alloc();
    mWriterP = new Writer(settings);
    sIsActive.store(true, std::memory_order_release);
  }

  Writer* mWriterP = nullptr;  // ours, but in a forked child, where it stays as it is
};

const Session sSession;

}  // namespace

QUILTRACE_EXPORT unsigned char QuilTraceIsActiveFunc() {
  return sIsActive.load(std::memory_order_acquire) ? 1 : 0;
}

QUILTRACE_EXPORT bool QuilTraceFacilityOnFunc(std::uint32_t iCategory) {
  return sIsActive.load(std::memory_order_acquire) && IsOn(iCategory);
}

QUILTRACE_EXPORT __attribute__((format(printf, 2, 3))) void QuilTraceFormat(std::uint32_t iCategory,
                                                                            const char* iFormatP, ...) {
  if (!sIsActive.load(std::memory_order_acquire)) return;
  QuilTrace_Record record;
  record.mDroppedBefore = sRing.DroppedCount();
  va_list arguments;
  va_start(arguments, iFormatP);
  record.Fill(iCategory, iFormatP, arguments);
  va_end(arguments);
  sRing.Push(record);
}

// The binder wants these names to be there and calls none of them.
#define QUILTRACE_BOUND_ONLY(name) \
  QUILTRACE_EXPORT void name() {}

QUILTRACE_BOUND_ONLY(QuilTraceReloadConfigsFunc)
QUILTRACE_BOUND_ONLY(QuilTraceFormatQuiet)
QUILTRACE_BOUND_ONLY(QuilTraceFormatTimestamp)
QUILTRACE_BOUND_ONLY(QuilTracePuts)
QUILTRACE_BOUND_ONLY(QuilTraceMem)
QUILTRACE_BOUND_ONLY(QuilTraceStack)
QUILTRACE_BOUND_ONLY(QuilTraceChangeFacilityPriorityFunc)
QUILTRACE_BOUND_ONLY(QuilTraceRegisterHandlerFunc)
QUILTRACE_BOUND_ONLY(QuilTraceSetClockCallbackFunc)
QUILTRACE_BOUND_ONLY(QuilTraceDumpWriteStatsFunc)
QUILTRACE_BOUND_ONLY(QuilTraceSetNameFunc)
QUILTRACE_BOUND_ONLY(QuilTraceOSErrToString)
QUILTRACE_BOUND_ONLY(QuilTraceLegacyFormat)
QUILTRACE_BOUND_ONLY(QuilTraceGetTracePath)
QUILTRACE_BOUND_ONLY(QuilTraceRegisterFacility)
QUILTRACE_BOUND_ONLY(QuilTraceRestart)
QUILTRACE_BOUND_ONLY(QuilTraceGetMachineUUID)
QUILTRACE_BOUND_ONLY(QuilTraceGetTimestamp)
QUILTRACE_BOUND_ONLY(QuilTraceAddTraceClient)
QUILTRACE_BOUND_ONLY(QuilTraceRemoveTraceClient)
QUILTRACE_BOUND_ONLY(QuilTraceEnableStackTraceSymbols)
QUILTRACE_BOUND_ONLY(QuilTraceEnabledStackTraceSymbols)
