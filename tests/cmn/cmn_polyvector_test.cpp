// SPDX-License-Identifier: MIT
#include "cmn/cmn_polyvector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// Text that is too long for the string's own room, so that a copy made wrongly shows under the sanitizers.
std::string Long(const std::string& iText) { return iText + " and a text that needs a block of its own"; }

std::vector<std::string> Content(const Cmn_PolyVector<std::string>& iVector) {
  return std::vector<std::string>(begin(iVector), end(iVector));
}

Cmn_PolyVector<std::string> Filled(const std::vector<std::string>& iTexts) {
  Cmn_PolyVector<std::string> vector;
  for (const std::string& text : iTexts) vector.PushBack(text);
  return vector;
}

TEST(Cmn_PolyVector, IsEmptyAtFirst) {
  const Cmn_PolyVector<int> vector;
  EXPECT_EQ(vector.Size(), 0U);
  EXPECT_EQ(vector.Begin(), vector.End());
}

TEST(Cmn_PolyVector, InsertPutsInFrontOfThePositionAndReturnsThePositionOfTheNewElement) {
  Cmn_PolyVector<std::string> vector = Filled({"a", "c"});
  const std::string* positionP = vector.Insert(vector.Begin() + 1, "b");
  EXPECT_EQ(*positionP, "b");
  EXPECT_EQ(positionP, vector.Begin() + 1);
  EXPECT_THAT(Content(vector), ElementsAre("a", "b", "c"));
  positionP = vector.Insert(vector.Begin(), "0");
  EXPECT_EQ(positionP, vector.Begin());
  positionP = vector.Insert(vector.End(), "d");
  EXPECT_EQ(positionP, vector.End() - 1);
  EXPECT_THAT(Content(vector), ElementsAre("0", "a", "b", "c", "d"));
}

TEST(Cmn_PolyVector, InsertsAnElementOfItself) {
  Cmn_PolyVector<std::string> vector = Filled({Long("1")});
  for (int i = 0; i < 9; ++i) vector.Insert(vector.Begin(), vector[vector.Size() - 1]);
  EXPECT_EQ(vector.Size(), 10U);
  for (const std::string& text : vector) EXPECT_EQ(text, Long("1"));
}

TEST(Cmn_PolyVector, EraseRemovesARangeAndReturnsThePositionBehindIt) {
  Cmn_PolyVector<std::string> vector = Filled({Long("a"), Long("b"), Long("c"), Long("d"), Long("e")});
  std::string* positionP = vector.Erase(vector.Begin() + 1, vector.Begin() + 3);
  EXPECT_EQ(*positionP, Long("d"));
  EXPECT_THAT(Content(vector), ElementsAre(Long("a"), Long("d"), Long("e")));
  positionP = vector.Erase(vector.End(), vector.End());
  EXPECT_EQ(positionP, vector.End());
  positionP = vector.Erase(vector.Begin(), vector.End());
  EXPECT_EQ(positionP, vector.End());
  EXPECT_THAT(Content(vector), IsEmpty());
}

TEST(Cmn_PolyVector, ErasingNothingFromAnEmptyVectorIsHarmless) {
  Cmn_PolyVector<std::string> vector;
  EXPECT_EQ(vector.Erase(vector.Begin(), vector.End()), vector.End());
  EXPECT_EQ(vector.Size(), 0U);
}

TEST(Cmn_PolyVector, CopiesAreIndependent) {
  Cmn_PolyVector<std::string> vector = Filled({Long("a"), Long("b")});
  Cmn_PolyVector<std::string> copy(vector);
  copy[0] = "changed";
  EXPECT_THAT(Content(vector), ElementsAre(Long("a"), Long("b")));
  vector = copy;
  EXPECT_THAT(Content(vector), ElementsAre("changed", Long("b")));
  const Cmn_PolyVector<std::string>& self = vector;
  vector = self;
  EXPECT_THAT(Content(vector), ElementsAre("changed", Long("b")));
  copy = Cmn_PolyVector<std::string>();
  EXPECT_THAT(Content(copy), IsEmpty());
  EXPECT_THAT(Content(vector), ElementsAre("changed", Long("b")));
}

TEST(Cmn_PolyVector, ACopyGrowsOnItsOwn) {
  const Cmn_PolyVector<std::string> vector = Filled({Long("a"), Long("b")});
  Cmn_PolyVector<std::string> copy(vector);
  std::vector<std::string> model = {Long("a"), Long("b")};
  for (int i = 0; i < 20; ++i) {
    model.push_back(Long(std::to_string(i)));
    copy.PushBack(model.back());
  }
  EXPECT_THAT(Content(copy), ElementsAreArray(model));
  EXPECT_THAT(Content(vector), ElementsAre(Long("a"), Long("b")));
}

TEST(Cmn_PolyVector, MovingTakesTheElements) {
  Cmn_PolyVector<std::string> vector = Filled({Long("a")});
  const Cmn_PolyVector<std::string> moved(std::move(vector));
  EXPECT_THAT(Content(moved), ElementsAre(Long("a")));
  EXPECT_EQ(vector.Size(), 0U);  // NOLINT(bugprone-use-after-move): the moved-from state is what is tested
  Cmn_PolyVector<std::string> source = Filled({Long("b")});
  Cmn_PolyVector<std::string> assigned = Filled({Long("c"), Long("d")});
  const std::string* elementP = source.Begin();
  assigned = std::move(source);
  EXPECT_THAT(Content(assigned), ElementsAre(Long("b")));
  EXPECT_EQ(assigned.Begin(), elementP) << "moved, not copied";
}

TEST(Cmn_PolyVector, ClearedVectorCanBeUsedAgain) {
  Cmn_PolyVector<std::string> vector = Filled({Long("a"), Long("b")});
  vector.Clear();
  EXPECT_EQ(vector.Size(), 0U);
  vector.PushBack("c");
  EXPECT_THAT(Content(vector), ElementsAre("c"));
}

TEST(Cmn_PolyVector, AgreesWithTheStandardVectorOverRandomOperations) {
  for (const unsigned seed : {1U, 2U, 3U, 4U, 5U}) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Cmn_PolyVector<std::string> vector;
    std::vector<std::string> model;
    for (int step = 0; step < 500; ++step) {
      const std::size_t at = random() % (model.size() + 1);
      const auto offset = static_cast<std::ptrdiff_t>(at);
      if (random() % 3 != 0) {
        const std::string text = Long(std::to_string(step));
        vector.Insert(vector.Begin() + at, text);
        model.insert(model.begin() + offset, text);
      } else {
        const std::size_t count = random() % (model.size() - at + 1) % 4;
        const auto last = static_cast<std::ptrdiff_t>(at + count);
        vector.Erase(vector.Begin() + at, vector.Begin() + at + count);
        model.erase(model.begin() + offset, model.begin() + last);
      }
      ASSERT_THAT(Content(vector), ElementsAreArray(model));
    }
  }
}

struct alignas(64) Wide {
  int mValue = 0;
};

TEST(Cmn_PolyVector, KeepsTheAlignmentOfItsElements) {
  Cmn_PolyVector<Wide> vector;
  for (int i = 0; i < 9; ++i) vector.Insert(vector.Begin(), Wide{i});
  EXPECT_EQ(vector[0].mValue, 8);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(vector.Begin()) % 64, 0U);
}

// Fails to copy when it is told to, and counts what lives.
struct Fragile {
  explicit Fragile(int iValue) : mValue(iValue) { ++sLiving; }
  Fragile(const Fragile& iOther) : mValue(iOther.mValue) {
    if (sCopiesLeft-- == 0) throw std::runtime_error("no copy");
    ++sLiving;
  }
  Fragile(Fragile&& iOther) noexcept : mValue(iOther.mValue) { ++sLiving; }
  Fragile& operator=(const Fragile&) = default;
  ~Fragile() { --sLiving; }
  int mValue;
  static inline int sCopiesLeft = 1000;
  static inline int sLiving = 0;
};

TEST(Cmn_PolyVector, ThrowingCopyLeavesTheVectorAsItWas) {
  {
    Cmn_PolyVector<Fragile> vector;
    Fragile::sCopiesLeft = 1000;
    for (int i = 0; i < 4; ++i) vector.PushBack(Fragile(i));  // full: the next one needs a larger block
    Fragile::sCopiesLeft = 0;
    EXPECT_THROW(vector.Insert(vector.Begin(), Fragile(9)), std::runtime_error);
    Fragile::sCopiesLeft = 1000;
    vector.PushBack(Fragile(4));
    Fragile::sCopiesLeft = 0;
    EXPECT_THROW(vector.Insert(vector.Begin(), Fragile(9)), std::runtime_error);
    Fragile::sCopiesLeft = 1000;
    Cmn_PolyVector<Fragile> other;
    other.PushBack(Fragile(7));
    Fragile::sCopiesLeft = 3;
    EXPECT_THROW(other = vector, std::runtime_error);
    Fragile::sCopiesLeft = 3;
    EXPECT_THROW(Cmn_PolyVector<Fragile>{vector}, std::runtime_error);
    ASSERT_EQ(vector.Size(), 5U);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(vector[static_cast<std::size_t>(i)].mValue, i);
    ASSERT_EQ(other.Size(), 1U);
    EXPECT_EQ(other[0].mValue, 7);
  }
  EXPECT_EQ(Fragile::sLiving, 0);
}

TEST(Cmn_PolyVectorImpl, WorksThroughItsTraitsAlone) {
  const Cmn_PolyVectorTraits<std::string> traits;
  Cmn_PolyVectorImpl vector(traits, sizeof(std::string));
  const std::string first = Long("first");
  const std::string second = Long("second");
  vector.Insert(vector.End(), &second);
  EXPECT_EQ(vector.Insert(vector.Begin(), &first), vector.Begin());
  EXPECT_EQ(vector.Size(), 2U);
  EXPECT_EQ(*static_cast<std::string*>(vector.At(1)), second);
  Cmn_PolyVectorImpl copy(traits, sizeof(std::string));
  copy.Init(vector);
  EXPECT_EQ(*static_cast<std::string*>(copy.Begin()), first);
  EXPECT_EQ(static_cast<std::string*>(copy.End()) - static_cast<std::string*>(copy.Begin()), 2);
  copy.Erase(copy.Begin(), copy.At(1));
  vector.Assign(copy);
  EXPECT_EQ(vector.Size(), 1U);
  EXPECT_EQ(*static_cast<std::string*>(vector.Begin()), second);
  vector.Destruct();
  EXPECT_EQ(vector.Size(), 0U);
  EXPECT_EQ(vector.Begin(), vector.End());
}

}  // namespace
