// SPDX-License-Identifier: MIT
// A hardware device and its outputs, called through the tables of Mlox_Device, Mlox_Output and Mlox_AWrite.
// No header of the library may be included here: this file knows what a binary built elsewhere knows, that is
// addresses and positions.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/mlox/mlox_directmusic/mlox_directmusic_slotobjects.h"
#include "tests/support/slot_table.h"

namespace {

using Lines = std::vector<std::string>;

// What the library returns by value where a counted pointer is meant: one pointer, with a destructor.
struct CountedPointer {
  CountedPointer() = default;
  CountedPointer(const CountedPointer& iOther) : mP(iOther.mP) {}
  CountedPointer& operator=(const CountedPointer&) = delete;
  ~CountedPointer() {}
  void* mP = nullptr;
};

class Mlox_DirectMusic_SlotsTest : public ::testing::Test {
 protected:
  Test_HardwareSlotObjects mObjects;
};

TEST_F(Mlox_DirectMusic_SlotsTest, ADeviceThroughTheTableOfMlox_Device) {
  const Test_SlotTable table(mObjects.mDeviceP);
  EXPECT_EQ(table.Call<std::string>(2), "Keys");
  EXPECT_EQ(table.Call<void*>(3), mObjects.mCommonOutputP);
  EXPECT_EQ((table.Call<void*, short>(4, 3)), mObjects.mOutputP);
  EXPECT_EQ((table.Call<void*, short>(4, -1)), nullptr);
  EXPECT_TRUE((table.Call<bool, short>(5, 3)));
  EXPECT_FALSE((table.Call<bool, short>(5, 4)));
  const auto descriptor = table.Call<std::shared_ptr<const void>>(6);
  EXPECT_EQ(Test_HardwareSlotObjects::NumberOf(descriptor.get()), Test_HardwareSlotObjects::kNumber);
  bool isDefault = true;
  EXPECT_TRUE((table.Call<bool, void*, bool*>(7, mObjects.Location(), &isDefault)));
  EXPECT_EQ(mObjects.PathOfLocation(), mObjects.DocumentPath());
  EXPECT_FALSE(isDefault);
  EXPECT_FALSE(table.Call<bool>(8)) << "not user-defined";
  EXPECT_TRUE(table.Call<bool>(9)) << "receives beat clock";
  table.Call<void, int>(11, -100);
  EXPECT_EQ(table.Call<int>(10), -100);
  EXPECT_EQ(mObjects.OffsetOfCommonOutput(), -100);
}

TEST_F(Mlox_DirectMusic_SlotsTest, ADeviceEndsThroughTheTableOfMlox_Device) {
  const Test_SlotTable table(mObjects.NewDevice());
  table.Delete();
  EXPECT_EQ(mObjects.EndedDevices(), 1);
}

TEST_F(Mlox_DirectMusic_SlotsTest, AnOutputThroughTheTableOfMlox_Output) {
  const Test_SlotTable table(mObjects.mOutputP);
  EXPECT_EQ((table.Call<int, double>(3, 48000.0)), 2400);
  EXPECT_EQ((table.Call<std::int64_t, double>(4, 48000.0)), 0);
  EXPECT_TRUE(table.Call<bool>(5));
  table.Call<void, int>(7, 12);
  EXPECT_EQ(table.Call<int>(6), 12);
  table.Call<void, std::int64_t>(8, 30);
  table.Call<void, std::int64_t>(9, 4);
  EXPECT_EQ(table.Call<std::int64_t>(10), 34);
  EXPECT_EQ(table.Call<std::int64_t>(11), 4);
  const auto descriptor = table.Call<CountedPointer>(12);
  EXPECT_EQ(Test_HardwareSlotObjects::ChannelOf(descriptor.mP), 3);
  Test_HardwareSlotObjects::DropReference(descriptor.mP);
  EXPECT_EQ(table.Call<void*>(13), mObjects.mDeviceP);
  EXPECT_EQ(table.Call<int>(14), 1);
  std::string name;
  EXPECT_TRUE((table.Call<bool, std::string*, const void*>(15, &name, mObjects.mProgramP)));
  EXPECT_EQ(name, "Grand");
  const auto info = table.Call<CountedPointer, int>(16, 0);
  EXPECT_EQ(Test_HardwareSlotObjects::BankOf(info.mP), "Bank###pnlName###");
  Test_HardwareSlotObjects::DropReference(info.mP);
  EXPECT_EQ(table.Call<int>(17), 1);
  const int index = 0;
  EXPECT_EQ((table.Call<std::string, const int*>(18, &index)), "Pianos");
  EXPECT_EQ(table.Call<std::string>(19), "");
  const std::string mode = "Pianos";
  table.Call<void, const std::string*>(20, &mode);
  EXPECT_EQ(table.Call<std::string>(19), "Pianos");
  EXPECT_EQ(mObjects.StoredMode(), "Pianos");
  table.Call<void>(21);
  table.Call<void>(22);
  EXPECT_EQ(mObjects.TakePlayed(), Lines{});
}

TEST_F(Mlox_DirectMusic_SlotsTest, AnOutputThroughTheTableOfMlox_AWrite) {
  const Test_SlotTable table(mObjects.mWriteP);
  table.Call<void, const void*, const void*, void*>(2, mObjects.mStampP, mObjects.mNoteP, nullptr);
  EXPECT_EQ(mObjects.TakePlayed(), (Lines{"93 3C 64 00"}));
  const unsigned char body[] = {1, 2};
  table.Call<void, const unsigned char*, int, void*>(3, body, 2, nullptr);
  EXPECT_EQ(mObjects.TakePlayed(), (Lines{"F0 01 02 F7"}));
  const unsigned char raw[] = {0xC0, 7};
  table.Call<void, const unsigned char*, int, void*>(4, raw, 2, nullptr);
  EXPECT_EQ(mObjects.TakePlayed(), (Lines{"C3 07 00 00"}));
}

}  // namespace
