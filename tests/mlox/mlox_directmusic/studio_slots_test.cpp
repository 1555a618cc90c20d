// SPDX-License-Identifier: MIT
// Calls the studio's interfaces through their tables, by position, as a studio built elsewhere is called.
// Nothing of the library may be included here.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/mlox/mlox_directmusic/studio_slotobjects.h"
#include "tests/support/slot_table.h"

namespace {

using Lines = std::vector<std::string>;
using Result = std::int32_t;
using Key = const char16_t*;
using Text = char16_t*;

class StudioSlots : public ::testing::Test {
 protected:
  // Reads a property; the name that comes along is freed unread.
  template <class Value>
  static Result Read(const Test_SlotTable& iTable, int iOperation, Key iKey, Value* oValueP) {
    Text nameP = nullptr;
    std::uint32_t word = 0;
    const Result result =
        iTable.Call<Result, Key, Text*, std::uint32_t*, Value*>(iOperation, iKey, &nameP, &word, oValueP);
    Test_StudioSlotObjects::TakeText(nameP);
    return result;
  }
  // What devices and entities have in common, all but the last answering for the device's row.
  void ExpectPropertiesInOrder(void* iObjectP, int iDestructorAt, void* iSelfSPP, const std::string& iLevel,
                               Result iFound) {
    const Test_SlotTable table(iObjectP, iDestructorAt);
    std::int16_t flag = -1;
    std::int32_t number = 0;
    Text textP = nullptr;
    double time = 0.0;
    EXPECT_EQ((table.Call<Result, void*>(1, mObjects.mResultIDsSPP)), 0);
    EXPECT_EQ((table.Call<Result, void*>(2, iSelfSPP)), 0);
    EXPECT_EQ(Read(table, 3, mObjects.mFlagKeyP, &flag), iFound);
    EXPECT_EQ(Read(table, 4, mObjects.mMloxKeyP, &number), iFound);
    EXPECT_EQ(Read(table, 5, mObjects.mNameKeyP, &textP), 0);
    EXPECT_EQ(Test_StudioSlotObjects::TakeText(textP), "Keys");
    EXPECT_EQ((table.Call<Result, Key, Key, Key, std::int32_t>(6, mObjects.mNameKeyP, u"name", u"New", -1)),
              0);
    EXPECT_EQ(Read(table, 7, mObjects.mDoubleKeyP, &time), iFound);
    EXPECT_EQ((table.Call<Result, Key, std::int32_t*>(8, mObjects.mModesKeyP, &number)), iFound);
    textP = nullptr;
    EXPECT_EQ((table.Call<Result, Key, int, Text*>(9, mObjects.mModesKeyP, 0, &textP)), iFound);
    Test_StudioSlotObjects::TakeText(textP);
    EXPECT_EQ((table.Call<Result, Key, Key, std::int32_t, Key>(10, mObjects.mModesKeyP, u"currentModes", -1,
                                                               u"Next")),
              0);
    EXPECT_EQ((table.Call<Result, Key, int, Key>(11, mObjects.mModesKeyP, 0, u"Other")), 0);
    EXPECT_EQ(mObjects.TakeCalls(),
              (Lines{"GetIDs " + iLevel, "CompareRaw " + iLevel, "GetFlagProperty external",
                     "GetIntProperty mloxID", "GetStringProperty name", "SetStringProperty name New -1",
                     "GetDoubleProperty scheduleAheadMuSec", "GetArrayCount currentModes",
                     "GetArrayItem currentModes 0", "AppendArrayItem currentModes -1 Next",
                     "SetArrayItem currentModes 0 Other"}));
  }

  Test_StudioSlotObjects mObjects;
};

TEST_F(StudioSlots, IdentifiersHaveFourOperationsInOrder) {
  const Test_SlotTable table(mObjects.mIDsP, 5);
  std::int32_t number = 0;
  Text textP = nullptr;
  EXPECT_EQ(Read(table, 1, mObjects.mMloxKeyP, &number), 0);
  EXPECT_EQ(number, 43);
  EXPECT_EQ(
      (table.Call<Result, Key, Key, std::int32_t, std::int32_t>(2, mObjects.mMloxKeyP, u"mloxID", 1, 44)), 0);
  EXPECT_EQ(Read(table, 3, mObjects.mNameKeyP, &textP), 0);
  EXPECT_EQ(Test_StudioSlotObjects::TakeText(textP), "Keys");
  EXPECT_EQ((table.Call<Result, void*>(4, mObjects.mIDsSPP)), 0);
  EXPECT_EQ(mObjects.TakeCalls(), (Lines{"GetIntProperty mloxID", "SetIntProperty mloxID 1 44",
                                         "GetStringProperty name", "CompareIDs"}));
}

TEST_F(StudioSlots, EndpointsHaveFourOperationsInOrder) {
  const Test_SlotTable table(mObjects.mEndpointP, 5);
  std::int32_t count = 0;
  EXPECT_EQ((table.Call<Result, std::int32_t*>(1, &count)), 0);
  EXPECT_EQ(count, 1);
  EXPECT_EQ((table.Call<Result, int, void*>(2, 0, mObjects.mResultIDsSPP)), 0);
  EXPECT_EQ((table.Call<Result, void*>(3, mObjects.mResultIDsSPP)), 0);
  EXPECT_EQ((table.Call<Result, void*>(4, mObjects.mEndpointSPP)), 0);
  EXPECT_EQ(mObjects.TakeCalls(),
            (Lines{"GetNumConnections", "GetConnection 0", "GetIDs 0", "CompareRaw 0"}));
}

TEST_F(StudioSlots, DevicesHaveElevenOperationsForPropertiesInOrder) {
  ExpectPropertiesInOrder(mObjects.mDeviceP, 12, mObjects.mDeviceSPP, "2", 0);
}

TEST_F(StudioSlots, EntitiesHaveElevenOperationsForPropertiesInOrder) {
  ExpectPropertiesInOrder(mObjects.mEntityP, 12, mObjects.mEntitySPP, "1", 1);
}

TEST_F(StudioSlots, DevicesHaveTheirPatchBanksBehindTheProperties) {
  const Test_SlotTable table(mObjects.mDeviceP, 12);
  std::int32_t count = 0;
  EXPECT_EQ((table.Call<Result, std::int32_t*>(13, &count)), 0);
  EXPECT_EQ(count, 1);
  EXPECT_EQ((table.Call<Result, int, void*>(14, 0, mObjects.mResultBankSPP)), 0);
  EXPECT_EQ(mObjects.TakeCalls(), (Lines{"GetPatchBankCount", "GetPatchBank 0"}));
}

TEST_F(StudioSlots, ABankGivesItsNameItsFileAndItsListInOrder) {
  const Test_SlotTable table(mObjects.mBankP, 4);
  const char* const texts[] = {"Bank", "/file", "List"};
  for (int operation = 1; operation <= 3; ++operation) {
    Text textP = nullptr;
    EXPECT_EQ((table.Call<Result, Text*>(operation, &textP)), 0);
    EXPECT_EQ(Test_StudioSlotObjects::TakeText(textP), texts[operation - 1]);
  }
}

TEST_F(StudioSlots, TheStudioHasFiveOperationsInOrder) {
  const Test_SlotTable table(mObjects.mStudioP, 6);
  std::int32_t count = 0;
  EXPECT_EQ((table.Call<Result, void*>(1, mObjects.mCallbackSPP)), 0);
  EXPECT_EQ((table.Call<Result, Key>(2, u"{id}")), 0);
  EXPECT_EQ((table.Call<Result, std::int16_t, std::int32_t*>(3, -1, &count)), 0);
  EXPECT_EQ(count, 2);
  EXPECT_EQ((table.Call<Result, std::int16_t, int, void*>(4, -1, 1, mObjects.mResultDeviceSPP)), 0);
  EXPECT_EQ((table.Call<Result, void*, void*, void*, void*>(5, mObjects.mIDsSPP, mObjects.mResultDeviceSPP,
                                                            mObjects.mResultEntitySPP,
                                                            mObjects.mResultEndpointSPP)),
            0);
  EXPECT_EQ(mObjects.TakeCalls(), (Lines{"RegisterNotification", "UnregisterNotification {id}",
                                         "GetDeviceCount -1", "GetDevice -1 1", "FindRawProperties"}));
}

}  // namespace
