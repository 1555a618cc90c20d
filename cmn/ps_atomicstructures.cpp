// SPDX-License-Identifier: MIT
#include "cmn/ps_atomicstructures.h"

#include <new>

#include "cmn/cmn_assert.h"
#include "cmn/ps_atomicfifo.h"

namespace {

constexpr char kAssertSource[] = "cmn/ps_atomicstructures";

class AtomicQueue final : public SPSAtomicQueue {
 public:
  void Push(SPSAtomicElementBase* iElementP) noexcept override {
    if (!CMN_ASSERT_FROM(kAssertSource, iElementP != nullptr, "iElementP")) return;
    mFifo.Push(iElementP);
  }
  SPSAtomicElementBase* Pop() noexcept override { return mFifo.Pop(); }
  SPSAtomicElementBase* TakeAll() noexcept override { return mFifo.TakeAll(); }
  void TakeIn() noexcept override { mFifo.TakeIn(); }

 private:
  PSAtomicFifo<> mFifo;
};

class AtomicStructures final : public IPSModule_AtomicStructures {
 public:
  int GetRevision() const noexcept override { return 1; }
  SPSAtomicQueue* NewFifoQueue(int, int) noexcept override { return new (std::nothrow) AtomicQueue; }
};

// Made at compile time, without a destructor: usable before and after everything else.
constinit AtomicStructures sAtomicStructures;

}  // namespace

constinit IPSModule_AtomicStructures* const gPSAtomicStructures = &sAtomicStructures;
