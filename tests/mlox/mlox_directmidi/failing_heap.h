// SPDX-License-Identifier: MIT
/// \file
/// A heap that gives nothing.
#pragma once

/// Lets operator new fail on the thread that makes this, from its making to its end. One at a time for each
/// thread. The whole program's operators new and delete are replaced for it.
class Test_FailingHeap {
 public:
  /// \param iAllocations  how many still succeed
  explicit Test_FailingHeap(int iAllocations = 0);
  ~Test_FailingHeap();
  Test_FailingHeap(const Test_FailingHeap&) = delete;
  Test_FailingHeap& operator=(const Test_FailingHeap&) = delete;
};
