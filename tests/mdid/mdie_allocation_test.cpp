// SPDX-License-Identifier: MIT
// Events take no memory from the heap: none at all but for a long sysex, and that one from the pool. This
// program's operator new counts on behalf of the thread that asks it to.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <vector>

#include "cmn/cmn_realtimescope.h"
#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "tests/mdid/mdie_testevents.h"
#include "tests/support/assert_recorder.h"

namespace {

thread_local bool sCounting = false;
thread_local int sAllocations = 0;

void* CountedAlloc(std::size_t iSize) {
  if (sCounting) ++sAllocations;
  void* const blockP = std::malloc(iSize == 0 ? 1 : iSize);
  if (blockP == nullptr) throw std::bad_alloc();
  return blockP;
}

// Allocations by operator new of this thread while it lives.
class Test_AllocationCount {
 public:
  Test_AllocationCount() {
    sAllocations = 0;
    sCounting = true;
  }
  ~Test_AllocationCount() { sCounting = false; }
  static int Get() { return sAllocations; }
};

}  // namespace

// Not inlined: g++ would see malloc's block reach operator delete, and warn of a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t iSize) { return CountedAlloc(iSize); }
[[gnu::noinline]] void* operator new[](std::size_t iSize) { return CountedAlloc(iSize); }
[[gnu::noinline]] void operator delete(void* iBlockP) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete[](void* iBlockP) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete(void* iBlockP, std::size_t) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete[](void* iBlockP, std::size_t) noexcept { std::free(iBlockP); }

namespace {

std::uint64_t BlocksInUse() { return Mem2_MasterAllocator::Shared().GetCounters().mBlocksInUse; }

TEST(Mdie_EventAllocation, TheCounterSeesAnAllocation) {
  const Test_AllocationCount count;
  std::vector<int>* volatile vectorP = new std::vector<int>(100);
  delete vectorP;
  EXPECT_EQ(2, Test_AllocationCount::Get());
}

TEST(Mdie_EventAllocation, NoTagTakesMemoryFromTheHeapAndOnlyALongSysexABlockOfThePool) {
  for (int tag = 0; tag <= 23; ++tag) {
    SCOPED_TRACE(tag);
    const Mdie_Event source = Test_MakeEvent(tag);
    const std::uint64_t before = BlocksInUse();
    std::uint64_t during = 0;
    int allocations = 0;
    {
      signed char buffer[256];
      const Test_AllocationCount count;
      const Mdie_Event copy(source);
      Mdie_Event assigned;
      assigned = copy;
      for (int i = 0; i < assigned.GetNumMessages(); ++i) assigned.GetMessageData(buffer, i);
      allocations = Test_AllocationCount::Get();
      during = BlocksInUse();
    }
    EXPECT_EQ(0, allocations);
    EXPECT_EQ(before + (tag == 15 ? 2u : 0u), during);
    EXPECT_EQ(before, BlocksInUse());
  }
}

TEST(Mdie_EventAllocation, ReportsOfARealTimeThreadTakeNoMemoryAndReachTheRecorderLater) {
  Test_AssertRecorder recorder;
  int allocations = 0;
  {
    const Cmn_RealTimeScope realTime;
    const Test_AllocationCount count;
    const Mdie_NoteOnEvent event(60, 0);
    event.AsNoteOff();
    allocations = Test_AllocationCount::Get();
  }
  EXPECT_EQ(0, allocations);
  EXPECT_EQ(1, recorder.Count("iVelocity >= 1"));
  EXPECT_EQ(1, recorder.Count("mU.mBase.mType == kNoteOff"));
  for (const Test_AssertRecorder::Report& report : recorder.Reports()) EXPECT_TRUE(report.mRealTime);
}

}  // namespace
