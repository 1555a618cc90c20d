// SPDX-License-Identifier: MIT
#include "tests/frame/layering.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/test_paths.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Layering, NoIncludeOfTheTreePointsUp) {
  EXPECT_THAT(Test_CheckLayering(Test_SourceRoot()).mViolations, IsEmpty());
}

TEST(Layering, TheTreeIsReadWhole) {
  const std::vector<Test_Include> includes = Test_ReadIncludes(Test_SourceRoot());
  EXPECT_GT(includes.size(), 500U);
  bool foundThisFile = false;
  for (const Test_Include& include : includes)
    foundThisFile =
        foundThisFile || (include.mFile == "tests/frame/layering_test.cpp" && include.mLine == 2 &&
                          include.mTarget == "tests/frame/layering.h" && include.mIsQuoted);
  EXPECT_TRUE(foundThisFile);
}

TEST(Layering, EveryExceptionIsNeeded) {
  EXPECT_EQ(Test_CheckLayering(Test_SourceRoot()).mUsedExceptions, Test_LayeringExceptions());
}

// Trees made for the purpose: file and content of each, beside a header in every folder that can be included.
std::vector<std::string> ViolationsOf(const std::vector<std::pair<std::string, std::string>>& iFiles) {
  const Test_TempFolder tree;
  for (const char* headerP :
       {"cmn/c.h", "diagnostics/d.h", "mdid/e.h", "mdi/b.h", "midixml/x.h", "mlox/m.h",
        "mlox/mlox_directmidi/p.h", "mlox/mlox_directmusic/h.h", "platform/directmusic/directmusic.h",
        "platform/alsa/a.h", "tools/t.h", "tests/support/s.h"})
    tree.MakeFile(headerP);
  for (const auto& [name, content] : iFiles) tree.MakeFile(name, content);
  return Test_CheckLayering(tree.Path()).mViolations;
}

TEST(Layering, ArrowsThatPointDownAreFine) {
  EXPECT_THAT(ViolationsOf({{"mlox/a.cpp",
                             "#include \"mlox/m.h\"\n#include \"cmn/c.h\"\n#include \"diagnostics/d.h\"\n"},
                            {"mlox/mlox_directmidi/a.cpp", "#include \"mlox/m.h\"\n#include <vector>\n"},
                            {"tests/cmn/a_test.cpp", "#include \"mlox/mlox_directmidi/p.h\"\n"}}),
              IsEmpty());
}

TEST(Layering, ArrowThatPointsUpIsFound) {
  EXPECT_THAT(ViolationsOf({{"cmn/a.cpp", "// first\n#include \"mlox/m.h\"\n"}}),
              ElementsAre("cmn/a.cpp:2: mlox/m.h: cmn may not include mlox"));
  EXPECT_THAT(ViolationsOf({{"mdid/a.h", "  #  include \"diagnostics/d.h\"\n"}}),
              ElementsAre("mdid/a.h:1: diagnostics/d.h: mdid may not include diagnostics"));
  EXPECT_THAT(ViolationsOf({{"mlox/a.h", "#include \"mlox/mlox_directmidi/p.h\"\n"}}),
              ElementsAre("mlox/a.h:1: mlox/mlox_directmidi/p.h: mlox may not include mlox/mlox_directmidi"));
  EXPECT_THAT(ViolationsOf({{"mlox/a.h", "#include \"tests/support/s.h\"\n"}}),
              ElementsAre("mlox/a.h:1: tests/support/s.h: mlox may not include tests"));
}

TEST(Layering, ServicesNeverIncludeEachOther) {
  EXPECT_THAT(
      ViolationsOf({{"mlox/mlox_directmidi/a.h", "#include \"mlox/mlox_directmusic/h.h\"\n"}}),
      ElementsAre(
          "mlox/mlox_directmidi/a.h:1: mlox/mlox_directmusic/h.h: mlox/mlox_directmidi may not include "
          "mlox/mlox_directmusic"));
  EXPECT_THAT(
      ViolationsOf({{"mlox/mlox_directmusic/a.h", "#include \"mlox/mlox_directmidi/p.h\"\n"}}),
      ElementsAre(
          "mlox/mlox_directmusic/a.h:1: mlox/mlox_directmidi/p.h: mlox/mlox_directmusic may not include "
          "mlox/mlox_directmidi"));
}

TEST(Layering, BracketsDoNotHideAnArrow) {
  EXPECT_THAT(ViolationsOf({{"cmn/a.h", "#include <mlox/m.h>\n"}}),
              ElementsAre("cmn/a.h:1: mlox/m.h: cmn may not include mlox"));
}

TEST(Layering, HardwareServiceKnowsDirectMusicAndNothingElseOfThePlatform) {
  EXPECT_THAT(
      ViolationsOf({{"mlox/mlox_directmusic/a.h", "#include \"platform/directmusic/directmusic.h\"\n"}}),
      IsEmpty());
  EXPECT_THAT(
      ViolationsOf({{"mlox/mlox_directmusic/a.h", "#include \"platform/alsa/a.h\"\n"}}),
      ElementsAre(
          "mlox/mlox_directmusic/a.h:1: platform/alsa/a.h: mlox/mlox_directmusic may not include platform"));
}

TEST(Layering, DriverHeadersStayInPlatform) {
  EXPECT_THAT(ViolationsOf({{"platform/alsa/a.cpp", "#include <alsa/asoundlib.h>\n"}}), IsEmpty());
  EXPECT_THAT(ViolationsOf({{"bench/a.cpp", "#include <alsa/asoundlib.h>\n"}}), IsEmpty());
  EXPECT_THAT(ViolationsOf({{"mlox/a.cpp", "#include <jack/jack.h>\n"}}),
              ElementsAre("mlox/a.cpp:1: jack/jack.h: only platform/ may know drivers and databases"));
}

TEST(Layering, PathsStartAtTheRoot) {
  EXPECT_THAT(ViolationsOf({{"cmn/a.h", "#include \"c.h\"\n"}}),
              ElementsAre("cmn/a.h:1: c.h: is no path from the tree's root"));
}

TEST(Layering, DriverThatTheTreeLacksIsNoFault) {
  EXPECT_THAT(
      ViolationsOf({{"platform/directmusic/drivers.cpp", "#include \"platform/directmusic/jack/x.h\"\n"}}),
      IsEmpty());
  EXPECT_THAT(
      ViolationsOf({{"platform/directmusic/drivers.cpp", "#include \"platform/directmusic/other/x.h\"\n"}}),
      ElementsAre("platform/directmusic/drivers.cpp:1: platform/directmusic/other/x.h: is no path from the "
                  "tree's root"));
}

TEST(Layering, NewFolderMustBeNamedInTheTable) {
  EXPECT_THAT(
      ViolationsOf({{"extra/a.h", "#include \"cmn/c.h\"\n"}}),
      ElementsAre("extra/a.h:1: cmn/c.h: lies in, or leads to, a folder that the layering doesn't name"));
}

TEST(Layering, BuildFoldersAndHiddenOnesAreNotRead) {
  EXPECT_THAT(
      ViolationsOf({{"build/cmn/a.h", "#include \"mlox/m.h\"\n"}, {".git/a.h", "#include \"mlox/m.h\"\n"}}),
      IsEmpty());
}

}  // namespace
