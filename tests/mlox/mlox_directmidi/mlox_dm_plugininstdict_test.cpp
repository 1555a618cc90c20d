// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_plugininstdict.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>
#include <vector>

#include "tests/support/static_user.h"

namespace {

Mlox_DM_PlugInInstDict_Spec Key(uint32_t iTag, uint64_t iHigh, uint64_t iLow) {
  return Mlox_DM_PlugInInstDict_Spec(SFicPlugInSpec{iTag, iHigh, iLow});
}

const Mlox_DM_PlugInLocator kFirst{Sys_UUID(1, 2, 3, 4), 5};
const Mlox_DM_PlugInLocator kSecond{Sys_UUID(6, 7, 8, 9), 10};

bool sIsTheDictionaryFilled = false;

/// Whether the dictionary still has the entry of the test below. Without one it isn't asked: whatever is made
/// by the first question would outlive the asker.
bool HasTheEntry() {
  if (!sIsTheDictionaryFilled) return false;
  // It would take up the memory of a dictionary that is gone, which might else still read as it was.
  Mlox_DM_PlugInInstDict other;
  for (uint32_t tag = 1; tag <= 1000; ++tag) other.AddEntry(Key(tag, 0, 0), kSecond);
  Mlox_DM_PlugInLocator found;
  return Mlox_DM_PlugInInstDict::Singleton().LookupLocator(Key(55, 66, 77), &found) && found == kFirst;
}

[[gnu::init_priority(200)]] Test_StaticUser<&HasTheEntry> sStaticUser;

static_assert(std::is_trivially_default_constructible_v<Mlox_DM_PlugInInstDict_Spec>,
              "the default constructor initialises nothing");
static_assert(sizeof(Mlox_DM_PlugInInstDict_Spec) == 24, "the tag, then the two halves of the id");

TEST(Mlox_DM_PlugInInstDictTest, AddEntryWithAnExistingKeyKeepsTheFirstLocator) {
  Mlox_DM_PlugInInstDict dict;
  dict.AddEntry(Key(1, 2, 3), kFirst);
  dict.AddEntry(Key(1, 2, 3), kSecond);
  Mlox_DM_PlugInLocator found;
  ASSERT_TRUE(dict.LookupLocator(Key(1, 2, 3), &found));
  EXPECT_EQ(found, kFirst);
}

TEST(Mlox_DM_PlugInInstDictTest, AfterRemoveEntryLookupLocatorIsFalse) {
  Mlox_DM_PlugInInstDict dict;
  dict.AddEntry(Key(1, 2, 3), kFirst);
  dict.RemoveEntry(Key(1, 2, 3));
  Mlox_DM_PlugInLocator found = kSecond;
  EXPECT_FALSE(dict.LookupLocator(Key(1, 2, 3), &found));
  EXPECT_EQ(found, kSecond);
  dict.RemoveEntry(Key(1, 2, 3));  // not there: nothing happens
  EXPECT_FALSE(dict.LookupLocator(Key(1, 2, 3), &found));
}

TEST(Mlox_DM_PlugInInstDictTest, KeysThatDifferInTheTagAloneAreDistinct) {
  Mlox_DM_PlugInInstDict dict;
  dict.AddEntry(Key(1, 20, 30), kFirst);
  dict.AddEntry(Key(2, 20, 30), kSecond);
  Mlox_DM_PlugInLocator found;
  ASSERT_TRUE(dict.LookupLocator(Key(1, 20, 30), &found));
  EXPECT_EQ(found, kFirst);
  ASSERT_TRUE(dict.LookupLocator(Key(2, 20, 30), &found));
  EXPECT_EQ(found, kSecond);
}

TEST(Mlox_DM_PlugInInstDictTest, LookupOfAnUnknownKeyLeavesTheLocatorAsItWas) {
  Mlox_DM_PlugInInstDict dict;
  dict.AddEntry(Key(1, 2, 3), kFirst);
  Mlox_DM_PlugInLocator found = kSecond;
  EXPECT_FALSE(dict.LookupLocator(Key(1, 2, 4), &found));
  EXPECT_EQ(found, kSecond);
}

TEST(Mlox_DM_PlugInInstDictTest, KeysAreOrderedByHighThenLowThenTagUnsigned) {
  const std::vector<Mlox_DM_PlugInInstDict_Spec> ascending = {Key(9, 0, 9),
                                                              Key(0, 1, 0),
                                                              Key(1, 1, 0),
                                                              Key(0xFFFFFFFFu, 1, 0),
                                                              Key(0, 1, 1),
                                                              Key(0, 1, 0x8000000000000000u),
                                                              Key(0, 0x8000000000000000u, 0)};
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << " " << j;
    }
  }
}

TEST(Mlox_DM_PlugInInstDictTest, SetCopiesTheThreeMembers) {
  Mlox_DM_PlugInInstDict_Spec key;
  key.Set(SFicPlugInSpec{0xDEADBEEFu, 0x0102030405060708u, 0x1112131415161718u});
  EXPECT_EQ(key.GetTag(), 0xDEADBEEFu);
  EXPECT_EQ(key.GetIdHigh(), 0x0102030405060708u);
  EXPECT_EQ(key.GetIdLow(), 0x1112131415161718u);
}

TEST(Mlox_DM_PlugInInstDictTest, SingletonIsOneAndKeepsItsEntries) {
  const auto key = Key(77, 88, 99);
  Mlox_DM_PlugInInstDict::Singleton().AddEntry(key, kFirst);
  Mlox_DM_PlugInLocator found;
  EXPECT_EQ(&Mlox_DM_PlugInInstDict::Singleton(), &Mlox_DM_PlugInInstDict::Singleton());
  EXPECT_TRUE(Mlox_DM_PlugInInstDict::Singleton().LookupLocator(key, &found));
  EXPECT_EQ(found, kFirst);
  Mlox_DM_PlugInInstDict::Singleton().RemoveEntry(key);
}

TEST(Mlox_DM_PlugInInstDictExitTest, AnEntryIsFoundWhileStaticObjectsGo) {
  EXPECT_EXIT(
      {
        Mlox_DM_PlugInInstDict::Singleton().AddEntry(Key(55, 66, 77), kFirst);
        sIsTheDictionaryFilled = true;
        sStaticUser.ExitWithLastAnswer();
      },
      ::testing::ExitedWithCode(sStaticUser.kYes), "");
}

TEST(Mlox_DM_PlugInInstDictTest, MakeOldTagCountsUpByOne) {
  const int32_t first = Mlox_DM_PlugInInstDict::MakeOldTag();
  EXPECT_GE(first, 1);
  EXPECT_EQ(Mlox_DM_PlugInInstDict::MakeOldTag(), first + 1);
  EXPECT_EQ(Mlox_DM_PlugInInstDict::MakeOldTag(), first + 2);
}

}  // namespace
