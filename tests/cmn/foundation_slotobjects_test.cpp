// SPDX-License-Identifier: MIT
// Makes the objects whose tables foundation_slots_test.cpp calls through; that file knows them by address
// alone.
#include <string>

#include "cmn/cqcfunknown.h"
#include "cmn/ps_atomicstructures.h"
#include "cmn/ps_thread.h"
#include "cmn/sys_delayeddeleterefcntobj.h"
#include "cmn/sys_rawthreadtask.h"
#include "cmn/sys_threadsaferefcountobject.h"

namespace {

std::string sCalls;
void Note(const char* iTextP) { sCalls += iTextP; }

class Component : public CQCFUnknown {
 public:
  ~Component() override { Note("destructor "); }
  std::int32_t InternalHook() override {
    Note("hook ");
    return CQCFUnknown::InternalHook();
  }
  void InternalLastRelease() override { Note("last "); }
  void ReclaimMemory() override {
    Note("reclaim ");
    CQCFUnknown::ReclaimMemory();
  }
};

class Counted : public Sys_ThreadSafeRefCountObject {
 public:
  ~Counted() override { Note("destructor "); }

 protected:
  void RefCountDelete() override { Note("refcountdelete "); }
};

// With an operation of its own behind those of its bases, as outputs have.
class Delayed : public Sys_DelayedDeleteRefCntObj {
 public:
  ~Delayed() override { Note("destructor "); }
  virtual void OwnOperation() { Note("own "); }

 protected:
  void RefCountDelete() override { Note("refcountdelete "); }
};

class Task : public Sys_RawThreadTask {
 public:
  Task() : Sys_RawThreadTask(1, "task") {}
  ~Task() override { Note("destructor "); }
  void Run() override { Note("run "); }
  bool Stop() override {
    Note("stop ");
    return true;
  }
  void SetKillTimeout(unsigned iMilliseconds) override {
    if (iMilliseconds == 4711) Note("timeout ");
  }
  void Pause() override { Note("pause "); }
  void Resume() override { Note("resume "); }

 protected:
  void DoTask() override { Note("dotask "); }
  bool RequestStop() override {
    Note("requeststop ");
    return true;
  }
};

}  // namespace

std::string Test_TakeCalls() {
  std::string calls;
  calls.swap(sCalls);
  return calls;
}

void* Test_NewComponent() { return static_cast<CQCFUnknown*>(new Component); }
void* Test_PrivateUnknownOf(void* iComponentP) {
  return static_cast<CQCFUnknown*>(iComponentP)->GetPrivateUnknown();
}
void* Test_NewCounted() { return static_cast<Sys_ThreadSafeRefCountObject*>(new Counted); }
void* Test_NewDelayed() { return static_cast<Sys_DelayedDeleteRefCntObj*>(new Delayed); }
void* Test_NewTask() { return static_cast<Sys_RawThreadTask*>(new Task); }
void* Test_AtomicStructures() { return gPSAtomicStructures; }
void* Test_Thread() { return gPSThread; }
