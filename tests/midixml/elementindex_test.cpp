// SPDX-License-Identifier: MIT
#include "midixml/elementindex.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using midixml::ElementIndex;
using midixml::XMLElementType;

namespace {

TEST(ElementIndex, FindsTheFirstRowOfAName) {
  const XMLElementType table[] = {{0, "a", 0}, {1, "b", 0}, {2, "a", 1}, {-1, "", 0}};
  const ElementIndex index(table);
  EXPECT_EQ(index.Find("a"), &table[0]);
  EXPECT_EQ(index.Find("b"), &table[1]);
}

TEST(ElementIndex, ARowWithAnEmptyNameStopsEverySearch) {
  const XMLElementType table[] = {{0, "a", 0}, {-1, "", 0}, {1, "b", 0}, {-1, "", 0}};
  const ElementIndex index(table);
  EXPECT_EQ(index.Find("b"), nullptr);
  EXPECT_EQ(index.Find(""), nullptr);
}

TEST(ElementIndex, LetterCaseCounts) {
  const XMLElementType table[] = {{0, "Patch", 0}, {-1, "", 0}};
  const ElementIndex index(table);
  EXPECT_EQ(index.Find("patch"), nullptr);
  EXPECT_EQ(index.Find("Patc"), nullptr);
  EXPECT_EQ(index.Find("Patch "), nullptr);
}

TEST(ElementIndex, HoldsTablesOfAnySize) {
  std::vector<std::string> names;
  for (int row = 0; row < 5000; ++row) names.push_back("element" + std::to_string(row));
  std::vector<XMLElementType> table;
  for (int row = 0; row < 5000; ++row) table.push_back({row, names[static_cast<size_t>(row)].c_str(), 0});
  table.push_back({-1, "", 0});
  const ElementIndex index(table.data());
  for (const XMLElementType& row : table) {
    if (row.id < 0) break;
    ASSERT_EQ(index.Find(row.name), &row);
  }
  EXPECT_EQ(index.Find("element5000"), nullptr);
}

}  // namespace
