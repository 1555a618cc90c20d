// SPDX-License-Identifier: MIT
// The making of a sorted queue where the heap gives nothing.
#include <gtest/gtest.h>

#include <memory>

#include "mlox/mlox_directmidi/mlox_dm_sortedeventqueue.h"
#include "tests/mlox/mlox_directmidi/failing_heap.h"

namespace {

std::unique_ptr<Mlox_DM_SortedEventQueue> NewQueueOnAHeapOf(int iAllocations) {
  const Test_FailingHeap heap(iAllocations);
  return std::unique_ptr<Mlox_DM_SortedEventQueue>(NewSortedEventQueue(3));
}

TEST(Mlox_DM_SortedEventQueueHeapTest, IfTheHeapGivesNothingAtAnyPointTheResultIsNull) {
  int failures = 0;
  for (;; ++failures) {
    const auto queueP = NewQueueOnAHeapOf(failures);
    if (queueP == nullptr) continue;
    EXPECT_EQ(queueP->PeekNextEvent(), nullptr);
    break;
  }
  EXPECT_EQ(failures, 6) << "the queue, its two vectors, its three streams";
}

}  // namespace
