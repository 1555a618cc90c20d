// SPDX-License-Identifier: MIT
// The comparison that guards packaging/libmlox.abi, tried on small libraries of which one thing changes at a
// time. The library itself is compared by the test frame/abi.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "tests/support/test_paths.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct Ended {
  int mStatus = -1;
  std::string mOutput;
};

Ended RunCommand(const std::string& iCommand) {
  Ended ended;
  std::FILE* const outputP = popen((iCommand + " 2>&1").c_str(), "r");
  if (outputP == nullptr) return ended;
  char piece[4096];
  while (std::fgets(piece, sizeof(piece), outputP) != nullptr) ended.mOutput += piece;
  ended.mStatus = WEXITSTATUS(pclose(outputP));
  return ended;
}

std::string Script(const std::string& iArguments) {
  return "'" + Test_SourceRoot() + "/packaging/update_abi.sh' " + iArguments;
}

// A header as it may look, in the parts that the tests change.
struct Header {
  std::string mSlots = "virtual int First(); virtual int Second(); virtual int Third(double iNumber);";
  std::string mMembers = "int mNumber = 0; int mCount = 0; double mTime = 0;";
  std::string mFunctions = "int Plain(int iNumber);";
  std::string mInline = "int Inline() const { return 1; }";
  std::string mEnumerators = "kOne = 1, kTwo = 2";
};

std::string TextOf(const Header& iHeader) {
  return "#pragma once\nclass __attribute__((visibility(\"default\"))) Planted {\n "
         "public:\n"
         "enum class Kind { " +
         iHeader.mEnumerators + " };\n" + iHeader.mSlots + "\n" + iHeader.mFunctions + "\n" +
         iHeader.mInline + "\nKind mKind{};\n" + iHeader.mMembers + "\n};\n";
}

class AbiDescription : public testing::Test {
 protected:
  // The path of the description of a library whose functions are these.
  std::string Describe(const std::string& iName, const Header& iHeader,
                       const std::string& iMoreFunctions = "int Planted::Plain(int) { return 0; }") const {
    mFolder.MakeFile(iName + "/include/planted.h", TextOf(iHeader));
    mFolder.MakeFile(
        iName + "/planted.cpp",
        "#include \"planted.h\"\nint Planted::First() { return 1; }\nint Planted::Second() { return 2; }\n"
        "int Planted::Third(double) { return 3; }\n" +
            iMoreFunctions + "\n");
    const std::string at = mFolder / iName;
    const Ended built =
        RunCommand("cd '" + at + "' && g++-12 -std=c++20 -shared -fPIC -fvisibility=hidden -Iinclude " +
                   "-Wl,-soname,libplanted.so.1 planted.cpp -o libplanted.so");
    EXPECT_EQ(built.mStatus, 0) << built.mOutput;
    const Ended described = RunCommand(
        Script("--describe '" + at + "/libplanted.so' '" + at + "/include' >'" + at + "/described.abi'"));
    EXPECT_EQ(described.mStatus, 0) << described.mOutput;
    EXPECT_THAT(described.mOutput, IsEmpty());
    return at + "/described.abi";
  }

  Ended CompareWithPlain(const Header& iHeader,
                         const std::string& iMoreFunctions = "int Planted::Plain(int) { return 0; }") const {
    return RunCommand(Script("--compare '" + Describe("plain", Header()) + "' '" +
                             Describe("changed", iHeader, iMoreFunctions) + "'"));
  }

  Test_TempFolder mFolder;
};

TEST_F(AbiDescription, IsTheSameWhereverTheSourcesLieAndWhateverIsInline) {
  Header changed;
  changed.mInline = "int Inline() const { return 2; } int Another() const { return 3; }";
  const Ended compared = CompareWithPlain(changed);
  EXPECT_EQ(compared.mStatus, 0) << compared.mOutput;
  EXPECT_THAT(compared.mOutput, IsEmpty());
}

TEST_F(AbiDescription, TellsOfASlotInBetween) {
  Header changed;
  changed.mSlots =
      "virtual int First(); virtual int Between() { return 0; } virtual int Second(); "
      "virtual int Third(double iNumber);";
  const Ended compared = CompareWithPlain(changed);
  EXPECT_EQ(compared.mStatus, 1);
  EXPECT_THAT(compared.mOutput, HasSubstr("Planted::Second() changed from"));
  EXPECT_THAT(compared.mOutput, HasSubstr("has changed incompatibly"));
}

TEST_F(AbiDescription, TellsOfSlotsThatChangePlaces) {
  Header changed;
  changed.mSlots = "virtual int Second(); virtual int First(); virtual int Third(double iNumber);";
  const Ended compared = CompareWithPlain(changed);
  EXPECT_EQ(compared.mStatus, 1);
  EXPECT_THAT(compared.mOutput, HasSubstr("Planted::First() changed from"));
  EXPECT_THAT(compared.mOutput, HasSubstr("has changed incompatibly"));
}

TEST_F(AbiDescription, TellsOfASizeThatGrows) {
  Header changed;
  changed.mMembers += " long mMore = 0;";
  const Ended compared = CompareWithPlain(changed);
  EXPECT_EQ(compared.mStatus, 1);
  EXPECT_THAT(compared.mOutput, HasSubstr("type size changed from"));
}

TEST_F(AbiDescription, TellsOfMembersThatChangePlacesInTheSameSize) {
  Header changed;
  changed.mMembers = "int mCount = 0; int mNumber = 0; double mTime = 0;";
  const Ended compared = CompareWithPlain(changed);
  EXPECT_EQ(compared.mStatus, 1);
  EXPECT_THAT(compared.mOutput, HasSubstr("'int mCount' offset changed from"));
}

TEST_F(AbiDescription, TellsOfAFunctionThatTakesSomethingElse) {
  Header changed;
  changed.mFunctions = "int Plain(long iNumber);";
  const Ended compared = CompareWithPlain(changed, "int Planted::Plain(long) { return 0; }");
  EXPECT_EQ(compared.mStatus, 1);
  EXPECT_THAT(compared.mOutput, HasSubstr("_ZN7Planted5PlainEi"));
  EXPECT_THAT(compared.mOutput, HasSubstr("_ZN7Planted5PlainEl"));
  EXPECT_THAT(compared.mOutput, HasSubstr("has changed incompatibly"));
}

TEST_F(AbiDescription, TellsOfAFunctionMoreThatHarmsNobody) {
  Header changed;
  changed.mFunctions += " int Another();";
  const Ended compared =
      CompareWithPlain(changed, "int Planted::Plain(int) { return 0; } int Planted::Another() { return 0; }");
  EXPECT_EQ(compared.mStatus, 1);
  EXPECT_THAT(compared.mOutput, HasSubstr("_ZN7Planted7AnotherEv"));
  EXPECT_THAT(compared.mOutput, HasSubstr("Only if nothing but additions"));
  EXPECT_THAT(compared.mOutput, Not(HasSubstr("incompatibly")));
}

// abidiff lets it pass.
TEST_F(AbiDescription, TellsOfAnEnumeratorsNumber) {
  Header changed;
  changed.mEnumerators = "kOne = 1, kTwo = 3";
  const Ended compared = CompareWithPlain(changed);
  EXPECT_EQ(compared.mStatus, 1);
  EXPECT_THAT(compared.mOutput, HasSubstr("kTwo"));
}

}  // namespace
