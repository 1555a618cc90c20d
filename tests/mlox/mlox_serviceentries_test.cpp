// SPDX-License-Identifier: MIT
#include "mlox/mlox_serviceentries.h"

#include <gtest/gtest.h>

#include "tests/support/assert_recorder.h"

namespace {

TEST(Mlox_ServiceEntries, AllAreNullAtFirst) {
  const Mlox_ServiceEntries entries;
  for (int index = 1; index <= 3; ++index) EXPECT_EQ(entries.Get(index), nullptr) << index;
}

TEST(Mlox_ServiceEntries, EachIndexFrom1To3HasItsOwn) {
  int records[3] = {};
  Mlox_ServiceEntries entries;
  for (int index = 1; index <= 3; ++index) entries.Set(index, &records[index - 1]);
  for (int index = 1; index <= 3; ++index) EXPECT_EQ(entries.Get(index), &records[index - 1]) << index;
}

TEST(Mlox_ServiceEntries, AnIndexOutside1To3IsReportedAndHasNoEntry) {
  int record = 0;
  Mlox_ServiceEntries entries;
  for (const int index : {-1, 0, 4, 1000}) {
    const Test_AssertRecorder recorder;
    entries.Set(index, &record);
    EXPECT_EQ(entries.Get(index), nullptr) << index;
    ASSERT_EQ(recorder.Count("iServiceIndex >= 1 && iServiceIndex < Mlox_cMaxInstalledServices"), 2) << index;
    EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_serviceentries");
    EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  }
  for (int index = 1; index <= 3; ++index) EXPECT_EQ(entries.Get(index), nullptr) << index;
}

TEST(Mlox_ServiceEntries, ACopyHasTheSamePointersAndChangesAlone) {
  int first = 0, second = 0;
  Mlox_ServiceEntries entries;
  entries.Set(2, &first);
  Mlox_ServiceEntries copy(entries);
  EXPECT_EQ(copy.Get(2), &first);
  copy.Set(2, &second);
  EXPECT_EQ(entries.Get(2), &first);
  entries = copy;
  EXPECT_EQ(entries.Get(2), &second);
}

}  // namespace
