// SPDX-License-Identifier: MIT
#include "tests/support/realtime/realtime_traps.h"

#include <dlfcn.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace {

thread_local bool tIsArmed = false;
thread_local Test_TrapCounts tCounts;

void NoteAllocation() {
  if (tIsArmed) ++tCounts.mAllocations;
}

void NoteLock() {
  if (tIsArmed) ++tCounts.mLocks;
}

template <class Function>
Function Next(const char* iName) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, iName));
}

// A system call that the filter refused ends here: it is counted and comes back as one that doesn't exist.
// Once the traps are disarmed the thread goes on to its end with no call allowed, which the C library puts up
// with.
void OnRefusedCall(int, siginfo_t* iInfoP, void* ioContextP) {
  auto* const contextP = static_cast<ucontext_t*>(ioContextP);
#if defined(__x86_64__)
  contextP->uc_mcontext.gregs[REG_RAX] = -ENOSYS;
#elif defined(__aarch64__)
  contextP->uc_mcontext.regs[0] = static_cast<unsigned long long>(-ENOSYS);
#else
#error "which register holds the result of a system call?"
#endif
  if (!tIsArmed) return;
  ++tCounts.mSystemCalls;
  tCounts.mLastSystemCall = iInfoP->si_syscall;
}

void InstallHandler() {
  struct sigaction action = {};
  action.sa_sigaction = &OnRefusedCall;
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  if (sigaction(SIGSYS, &action, nullptr) != 0) throw std::runtime_error("no handler for SIGSYS");
}

// Written out: the macros of the kernel's header convert between signed and unsigned.
constexpr sock_filter Statement(unsigned iCode, unsigned iValue) {
  return {static_cast<unsigned short>(iCode), 0, 0, iValue};
}
constexpr sock_filter SkipIfEqual(unsigned iValue, unsigned iSkipped) {
  return {static_cast<unsigned short>(BPF_JMP | BPF_JEQ | BPF_K), static_cast<unsigned char>(iSkipped), 0,
          iValue};
}

bool RefuseSystemCalls() {
  std::array<sock_filter, 6> filter{
      Statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      SkipIfEqual(SYS_exit, 3),
      SkipIfEqual(SYS_exit_group, 2),
      SkipIfEqual(SYS_rt_sigreturn, 1),
      Statement(BPF_RET | BPF_K, SECCOMP_RET_TRAP),
      Statement(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return false;
  return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace

Test_TrapScope::Test_TrapScope() { tIsArmed = true; }

Test_TrapScope::~Test_TrapScope() { tIsArmed = false; }

Test_TrapCounts Test_TrapScope::Caught() { return tCounts; }

void Test_ClearTraps() { tCounts = {}; }

Test_TrapCounts Test_RunTrapped(const std::function<void()>& iFunction) {
  InstallHandler();
  Test_TrapCounts caught;
  bool isRefusing = false;
  std::thread thread([&] {
    // The first block of a thread makes its arena, by a system call: without one a planted allocation would
    // fail instead of being counted.
    void* volatile warmUpP = std::malloc(1);
    std::free(warmUpP);
    Test_ClearTraps();
    isRefusing = RefuseSystemCalls();
    if (!isRefusing) return;
    const Test_TrapScope traps;
    iFunction();
    caught = Test_TrapScope::Caught();
  });
  thread.join();
  if (!isRefusing) throw std::runtime_error("the kernel takes no filter of system calls");
  return caught;
}

// ---- what stands in front of the C library ----

extern "C" {

void* __libc_malloc(size_t);
void __libc_free(void*);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);

void* malloc(size_t iSize) {
  NoteAllocation();
  return __libc_malloc(iSize);
}

void free(void* iBlockP) {
  NoteAllocation();
  __libc_free(iBlockP);
}

void* calloc(size_t iCount, size_t iSize) {
  NoteAllocation();
  return __libc_calloc(iCount, iSize);
}

void* realloc(void* iBlockP, size_t iSize) {
  NoteAllocation();
  return __libc_realloc(iBlockP, iSize);
}

void* memalign(size_t iAlignment, size_t iSize) {
  NoteAllocation();
  return __libc_memalign(iAlignment, iSize);
}

void* aligned_alloc(size_t iAlignment, size_t iSize) {
  NoteAllocation();
  return __libc_memalign(iAlignment, iSize);
}

int posix_memalign(void** oBlockPP, size_t iAlignment, size_t iSize) {
  NoteAllocation();
  *oBlockPP = __libc_memalign(iAlignment, iSize);
  return *oBlockPP == nullptr ? ENOMEM : 0;
}

// The next definition is looked up at the first call, off any trapped thread: the planted violations see to
// that.
#define TEST_TRAP_LOCK(name, type)                                  \
  int name(type* iObjectP) {                                        \
    static int (*const sNext)(type*) = Next<int (*)(type*)>(#name); \
    NoteLock();                                                     \
    return sNext(iObjectP);                                         \
  }

TEST_TRAP_LOCK(pthread_mutex_lock, pthread_mutex_t)
TEST_TRAP_LOCK(pthread_mutex_trylock, pthread_mutex_t)
TEST_TRAP_LOCK(pthread_mutex_unlock, pthread_mutex_t)
TEST_TRAP_LOCK(pthread_rwlock_rdlock, pthread_rwlock_t)
TEST_TRAP_LOCK(pthread_rwlock_wrlock, pthread_rwlock_t)
TEST_TRAP_LOCK(pthread_rwlock_tryrdlock, pthread_rwlock_t)
TEST_TRAP_LOCK(pthread_rwlock_trywrlock, pthread_rwlock_t)
TEST_TRAP_LOCK(pthread_rwlock_unlock, pthread_rwlock_t)
TEST_TRAP_LOCK(pthread_cond_signal, pthread_cond_t)
TEST_TRAP_LOCK(pthread_cond_broadcast, pthread_cond_t)
TEST_TRAP_LOCK(sem_wait, sem_t)
TEST_TRAP_LOCK(sem_trywait, sem_t)
TEST_TRAP_LOCK(sem_post, sem_t)

int pthread_spin_lock(pthread_spinlock_t* iLockP) {
  static auto* const sNext = Next<int (*)(pthread_spinlock_t*)>("pthread_spin_lock");
  NoteLock();
  return sNext(iLockP);
}

// What the standard library's timed mutex waits with.
int pthread_mutex_clocklock(pthread_mutex_t* iMutexP, clockid_t iClock, const timespec* iUntilP) {
  static auto* const sNext =
      Next<int (*)(pthread_mutex_t*, clockid_t, const timespec*)>("pthread_mutex_clocklock");
  NoteLock();
  return sNext(iMutexP, iClock, iUntilP);
}

int pthread_mutex_timedlock(pthread_mutex_t* iMutexP, const timespec* iUntilP) {
  static auto* const sNext = Next<int (*)(pthread_mutex_t*, const timespec*)>("pthread_mutex_timedlock");
  NoteLock();
  return sNext(iMutexP, iUntilP);
}

int pthread_cond_wait(pthread_cond_t* iConditionP, pthread_mutex_t* iMutexP) {
  static auto* const sNext = Next<int (*)(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
  NoteLock();
  return sNext(iConditionP, iMutexP);
}

}  // extern "C"

namespace {

// Before there is a second thread: a look-up takes the loader's lock, which a thread that unloads a library
// holds while it waits for that library's own thread to end, perhaps at its first mutex.
[[gnu::constructor]] void LookUpLocks() {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&mutex);
  pthread_mutex_unlock(&mutex);
  if (pthread_mutex_trylock(&mutex) == 0) pthread_mutex_unlock(&mutex);
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  pthread_cond_signal(&condition);
  pthread_cond_broadcast(&condition);
}

}  // namespace
