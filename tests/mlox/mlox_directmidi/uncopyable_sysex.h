// SPDX-License-Identifier: MIT
/// \file
/// A long sysex of which no copy can be had.
#pragma once

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_sysexevents.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"

/// Claims a length that no block has, so that a copy of it finds none.
class Test_UncopyableSysex final : public Mdie_SysexEvent {
 public:
  Test_UncopyableSysex() : Mdie_SysexEvent(kLength, Test_Sysex(kLength).GetData()) {
    mU.mLongSysex.mLength = Mem2_MasterAllocator::kMaxBlockSize + 1;
  }
  Test_UncopyableSysex(const Test_UncopyableSysex&) = delete;
  Test_UncopyableSysex& operator=(const Test_UncopyableSysex&) = delete;

 private:
  static constexpr int kLength = 200;
};
