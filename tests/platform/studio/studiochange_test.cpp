// SPDX-License-Identifier: MIT
// Changes in memory and the same changes as SQL: what a file holds must be what memory holds.
#include "platform/studio/studiochange.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "platform/studio/studiodatabase.h"
#include "tests/support/test_temp_folder.h"

namespace {

using Change = Platform_StudioChange;

std::string DescribeValue(const std::variant<std::int32_t, std::string>& iValue) {
  return std::holds_alternative<std::string>(iValue) ? "'" + std::get<std::string>(iValue) + "'"
                                                     : std::to_string(std::get<std::int32_t>(iValue));
}

std::string DescribeDevice(const Platform_StudioDevice& iDevice) {
  std::string text = iDevice.mGuid +
                     (iDevice.mIsUserDefined ? " user"
                      : iDevice.mIsSource    ? " in"
                                             : " out") +
                     (iDevice.mIsVirtual ? " virtual " : " ") + iDevice.mDriver + "|" + iDevice.mName + "|" +
                     iDevice.mManufacturer + "|" + iDevice.mModel;
  for (const auto& [key, property] : iDevice.mProperties)
    text += " " + std::to_string(key.mLevel) + key.mKey + "(" + property.mName +
            ")=" + DescribeValue(property.mValue);
  for (const auto& [key, list] : iDevice.mLists) {
    text += " " + std::to_string(key.mLevel) + key.mKey + "(" + list.mName + ")=[";
    for (const std::string& item : list.mItems) text += "'" + item + "'";
    text += "]";
  }
  for (const Platform_StudioBank& bank : iDevice.mBanks)
    text += " {" + bank.mName + "," + bank.mFile + "," + bank.mPatchNameList + "}";
  return text + "\n";
}

// Rows in order; what has no order of its own, sorted.
std::string Describe(const Platform_StudioContents& iContents) {
  std::string text;
  for (const Platform_StudioDeviceP& device : iContents.mRecords.mDevices) text += DescribeDevice(*device);
  for (const Platform_StudioWire& wire : iContents.mRecords.mWires)
    text += wire.mUser + " - " + wire.mPort + "\n";
  std::vector<std::string> cards;
  for (const Platform_IdentityRow& row : iContents.mIdentities)
    cards.push_back(row.mGuid + "," + row.mProduct + "," + row.mSerial + "," + row.mPath + "\n");
  std::sort(cards.begin(), cards.end());
  for (const std::string& card : cards) text += card;
  for (const auto& [key, number] : iContents.mNumbers)
    text += key.mPlace.mGuid + std::to_string(key.mPlace.mLevel) + (key.mPlace.mIsSource ? "s" : "d") +
            key.mKey + "(" + number.mName + ")=" + std::to_string(number.mValue) + "\n";
  return text;
}

// Draws changes over a few names, so that they meet.
class Drawing {
 public:
  explicit Drawing(unsigned iSeed) : mRandom(iSeed) {}

  Change Next() {
    switch (Below(9)) {
      case 0:
        return Platform_StudioPutPorts{{Port(), Port()}};
      case 1:
        return Platform_StudioAddDevice{User()};
      case 2:
        return Platform_StudioRemoveDevice{Name("u")};
      case 3:
        return Platform_StudioPutWire{{Name("u"), Name("p")}, Below(3) != 0};
      case 4:
        return Properties();
      case 5:
        return Platform_StudioPutList{Any(), Key(), List()};
      case 6:
        return Platform_StudioPutBanks{Any(),
                                       std::vector<Platform_StudioBank>(Below(3), {Text(), Text(), Text()})};
      case 7:
        return Platform_StudioPutNumber{{{Any(), static_cast<int>(Below(3)), Below(2) == 0}, Text()},
                                        {Text(), Number()}};
      default:
        return Platform_StudioPutIdentity{{Name("c"), Text(), Text(), Text()}};
    }
  }

 private:
  unsigned Below(unsigned iEnd) { return static_cast<unsigned>(mRandom() % iEnd); }
  std::int32_t Number() { return static_cast<std::int32_t>(mRandom()); }
  std::string Name(const std::string& iKind) { return iKind + std::to_string(Below(5)); }
  std::string Any() { return Name(Below(2) == 0 ? "u" : "p"); }
  std::string Text() {
    static const char* const kTexts[] = {"", "a", "It's; DROP TABLE device", "\xC3\xA9", "\"quoted\""};
    return kTexts[Below(5)];
  }
  Platform_StudioPropertyKey Key() { return {static_cast<int>(Below(2)) + 1, Below(2) == 0 ? "x" : "y"}; }
  Change Properties() {
    Platform_StudioPutProperties change{Any(), {}};
    for (unsigned i = 0; i <= Below(2); ++i) {
      std::optional<Platform_StudioProperty>& property = change.mProperties[Key()];
      if (Below(4) != 0) property = Platform_StudioProperty{Text(), Text()};
      if (Below(4) == 0) property = Platform_StudioProperty{Text(), Number()};
    }
    return change;
  }
  std::optional<Platform_StudioList> List() {
    if (Below(4) == 0) return std::nullopt;
    Platform_StudioList list{Text(), {}};
    for (unsigned i = Below(4); i > 0; --i) list.mItems.push_back(Text());
    return list;
  }
  Platform_StudioDeviceP Port() {
    auto port = std::make_shared<Platform_StudioDevice>();
    port->mGuid = Name("p");
    port->mIsSource = Below(2) == 0;
    port->mIsVirtual = Below(2) == 0;
    port->mDriver = Text();
    port->mName = Text();
    port->mManufacturer = Text();
    port->mModel = Text();
    return port;
  }
  Platform_StudioDeviceP User() {
    auto user = std::make_shared<Platform_StudioDevice>();
    user->mGuid = Name("u");
    user->mIsUserDefined = true;
    user->mName = Text();
    user->mProperties[Key()] = {Text(), Number()};
    user->mBanks.push_back({Text(), Text(), Text()});
    if (const std::optional<Platform_StudioList> list = List()) user->mLists[Key()] = *list;
    return user;
  }

  std::mt19937 mRandom;
};

// Numbers of rows that aren't there have no place in a file.
void DropLooseNumbers(Platform_StudioContents& ioContents) {
  std::erase_if(ioContents.mNumbers, [&](const auto& iEntry) {
    return std::none_of(
        ioContents.mRecords.mDevices.begin(), ioContents.mRecords.mDevices.end(),
        [&](const Platform_StudioDeviceP& iDevice) { return iDevice->mGuid == iEntry.first.mPlace.mGuid; });
  });
}

TEST(StudioChangeTest, AFileHoldsWhatMemoryHoldsAfterRandomChanges) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE(seed);
    const Test_TempFolder folder;
    Platform_StudioDatabase database(folder / "studio.db");
    Platform_StudioContents memory;
    ASSERT_EQ(database.Open(memory), Platform_StudioStanding::kGood) << database.Reason();
    Drawing drawing(seed);
    for (int round = 0; round < 8; ++round) {
      std::vector<Change> changes;
      for (int i = 0; i < 40; ++i) {
        changes.push_back(drawing.Next());
        Platform_StudioApply(changes.back(), memory);
        DropLooseNumbers(memory);
      }
      ASSERT_EQ(database.Write(changes), Platform_StudioStanding::kGood) << database.Reason();
      Platform_StudioContents file;
      ASSERT_EQ(database.Load(file), Platform_StudioStanding::kGood) << database.Reason();
      ASSERT_EQ(Describe(file), Describe(memory));
    }
  }
}

TEST(StudioChangeTest, ContentsAreMadeAgainOutOfNothingByTheChangesThatMakeThem) {
  Drawing drawing(77);
  Platform_StudioContents memory;
  for (int i = 0; i < 400; ++i) {
    Platform_StudioApply(drawing.Next(), memory);
    DropLooseNumbers(memory);
  }
  Platform_StudioContents again;
  for (const Change& change : Platform_StudioChangesThatMake(memory)) Platform_StudioApply(change, again);
  EXPECT_EQ(Describe(again), Describe(memory));
  EXPECT_GT(memory.mRecords.mDevices.size(), 5u);
}

TEST(StudioChangeTest, MakingAChangeTwiceIsMakingItOnce) {
  Drawing drawing(5);
  Platform_StudioContents memory;
  for (int i = 0; i < 400; ++i) {
    const Change change = drawing.Next();
    Platform_StudioApply(change, memory);
    const std::string once = Describe(memory);
    Platform_StudioApply(change, memory);
    ASSERT_EQ(Describe(memory), once);
  }
}

TEST(StudioChangeTest, ALaterSettingOfTheSameThingReplacesOneThatWaits) {
  const Platform_StudioPutNumber first{{{"u0", 0, true}, "k"}, {"n", 1}};
  const Platform_StudioPutNumber second{{{"u0", 0, true}, "k"}, {"n", 2}};
  const Platform_StudioPutNumber other{{{"u0", 0, false}, "k"}, {"n", 2}};
  EXPECT_TRUE(Platform_StudioReplaces(second, first));
  EXPECT_FALSE(Platform_StudioReplaces(other, first));
  EXPECT_TRUE(Platform_StudioReplaces(Platform_StudioPutBanks{"u0", {}}, Platform_StudioPutBanks{"u0", {}}));
  EXPECT_FALSE(Platform_StudioReplaces(Platform_StudioPutBanks{"u0", {}}, first));
  EXPECT_FALSE(Platform_StudioReplaces(Platform_StudioRemoveDevice{"u0"}, Platform_StudioRemoveDevice{"u0"}));
}

}  // namespace
