// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/test_paths.h"

namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> Lines(std::istream& ioStream) {
  std::vector<std::string> lines;
  for (std::string line; std::getline(ioStream, line);) lines.push_back(line);
  return lines;
}

// What the script finds in a library.
std::vector<std::string> ExportedBy(const std::string& iLibrary) {
  const std::string command =
      "'" + Test_SourceRoot() + "/packaging/update_exported_names.sh' --print '" + iLibrary + "'";
  std::FILE* outputP = popen(command.c_str(), "r");
  if (outputP == nullptr) return {};
  std::string text;
  char piece[4096];
  while (std::fgets(piece, sizeof(piece), outputP) != nullptr) text += piece;
  EXPECT_EQ(pclose(outputP), 0);
  std::istringstream stream(text);
  return Lines(stream);
}

std::vector<std::string> Without(const std::vector<std::string>& iNames,
                                 const std::vector<std::string>& iOthers) {
  std::vector<std::string> left;
  std::set_difference(iNames.begin(), iNames.end(), iOthers.begin(), iOthers.end(), std::back_inserter(left));
  return left;
}

// A name that differs has left, or entered, the binary interface. If that is meant:
// packaging/update_exported_names.sh build/dev/libmlox.so.1
TEST(ExportedNames, AreThoseOfTheListAndNoOthers) {
  std::ifstream file(Test_SourceRoot() + "/packaging/exported_names.txt");
  const std::vector<std::string> listed = Lines(file);
  const std::vector<std::string> exported = ExportedBy(MLOX_TEST_LIBRARY);
  ASSERT_TRUE(std::is_sorted(listed.begin(), listed.end())) << "the script sorts";
  ASSERT_THAT(listed, Contains("Mlox_Manager"));
  EXPECT_THAT(Without(exported, listed), IsEmpty()) << "new";
  EXPECT_THAT(Without(listed, exported), IsEmpty()) << "gone";
}

TEST(ExportedNames, TracingBinderAndForeignTemplatesStayInside) {
  const std::vector<std::string> names = ExportedBy(MLOX_TEST_LIBRARY);
  EXPECT_THAT(names, Contains("Mlox_Manager"));
  EXPECT_THAT(names, Not(Contains(StartsWith("QuilTraceLibrary"))));
  EXPECT_THAT(names, Not(Contains(StartsWith("std"))));
  EXPECT_THAT(names, Not(Contains(StartsWith("fmt"))));
}

// A library made for the purpose, which exports one name of each kind.
TEST(ExportedNames, EveryKindOfNameIsFoundByItsClass) {
  EXPECT_THAT(ExportedBy(MLOX_TEST_PLANTED_LIBRARY),
              ElementsAreArray({"PlantedFunction()", "PlantedOperators", "PlantedTable", "PlantedTemplate",
                                "gPlantedVariable", "operator==()", "planted", "planted::Nested",
                                "planted::Nested::Inner"}));
}

}  // namespace
