// SPDX-License-Identifier: MIT
#include "cmn/spsstartupoption.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

namespace {

// Reads an option during static initialisation, from a file of its own, before any test has run.
const SPSStartupOptionBool sStaticOption("TestOfStaticOption", true, SPSStartupOption_cHidden);
const bool sStaticValue = sStaticOption;

class SPSStartupOptionBoolLookUp : public testing::Test {
 protected:
  static bool Value(bool iDefault) {
    return SPSStartupOptionBool("TestOption", iDefault, SPSStartupOption_cVisible);
  }
  void WriteSettings(const std::string& iText) const { mFolder.MakeFile("mlox.ini", iText); }

  Test_TempFolder mFolder;
  Test_Environment mApplication{"MLOX_APP_DIR", mFolder.Path()};
  Test_Environment mOption{"MLOX_TestOption", std::nullopt};
};

TEST_F(SPSStartupOptionBoolLookUp, FallsBackOnTheDefault) {
  EXPECT_FALSE(Value(false));
  EXPECT_TRUE(Value(true));
}

TEST_F(SPSStartupOptionBoolLookUp, WorksDuringStaticInitialisation) { EXPECT_TRUE(sStaticValue); }

TEST_F(SPSStartupOptionBoolLookUp, EnvironmentIsRead) {
  {
    const Test_Environment on("MLOX_TestOption", "1");
    EXPECT_TRUE(Value(false));
  }
  const Test_Environment off("MLOX_TestOption", "0");
  EXPECT_FALSE(Value(true));
}

TEST_F(SPSStartupOptionBoolLookUp, KnowsFourWordsForEachValueInAnyLetterCase) {
  for (const char* wordP : {"1", "true", "Yes", "ON", " on "}) {
    const Test_Environment word("MLOX_TestOption", wordP);
    EXPECT_TRUE(Value(false)) << wordP;
  }
  for (const char* wordP : {"0", "False", "no", "OFF"}) {
    const Test_Environment word("MLOX_TestOption", wordP);
    EXPECT_FALSE(Value(true)) << wordP;
  }
}

TEST_F(SPSStartupOptionBoolLookUp, AnyOtherWordCountsAsNotThere) {
  for (const char* wordP : {"", "2", "maybe", "truely"}) {
    const Test_Environment word("MLOX_TestOption", wordP);
    EXPECT_TRUE(Value(true)) << wordP;
    EXPECT_FALSE(Value(false)) << wordP;
  }
  WriteSettings("TestOption=1\n");
  const Test_Environment word("MLOX_TestOption", "maybe");
  EXPECT_TRUE(Value(false)) << "the file is asked then";
}

TEST_F(SPSStartupOptionBoolLookUp, SettingsFileInTheApplicationFolderIsRead) {
  WriteSettings("TestOption=1\n");
  EXPECT_TRUE(Value(false));
  WriteSettings("TestOption=0");
  EXPECT_FALSE(Value(true)) << "a last line needs no end";
}

TEST_F(SPSStartupOptionBoolLookUp, SettingsFileMayNameTheOptionAsTheEnvironmentDoes) {
  WriteSettings("MLOX_TestOptionX=0\nMLOX_MLOX_TestOption=0\nMLOX_TestOption=1\n");
  EXPECT_TRUE(Value(false));
}

TEST_F(SPSStartupOptionBoolLookUp, SettingsFileMayHoldCommentsSectionsBlanksAndOtherOptions) {
  WriteSettings(
      "; TestOption=0\r\n[section]\r\n\r\nOther=0\r\nTestOptionX=0\r\n  TestOption = yes "
      "\r\nTestOption=0\r\n");
  EXPECT_TRUE(Value(false)) << "the first line about it counts";
}

TEST_F(SPSStartupOptionBoolLookUp, NameInTheSettingsFileKeepsItsLetterCase) {
  WriteSettings("testoption=1\n");
  EXPECT_FALSE(Value(false));
}

TEST_F(SPSStartupOptionBoolLookUp, EnvironmentComesBeforeTheSettingsFile) {
  WriteSettings("TestOption=1\n");
  const Test_Environment off("MLOX_TestOption", "0");
  EXPECT_FALSE(Value(true));
}

TEST_F(SPSStartupOptionBoolLookUp, FolderInPlaceOfTheSettingsFileIsIgnored) {
  mFolder.MakeFolder("mlox.ini");
  EXPECT_TRUE(Value(true));
  EXPECT_FALSE(Value(false));
}

TEST_F(SPSStartupOptionBoolLookUp, ValueIsReadOnceAndAgainOnReload) {
  SPSStartupOptionBool option("TestOption", false, SPSStartupOption_cVisible);
  const Test_Environment on("MLOX_TestOption", "1");
  EXPECT_FALSE(option);
  option.Reload();
  EXPECT_TRUE(option);
}

TEST_F(SPSStartupOptionBoolLookUp, KeepsNameAndVisibility) {
  const SPSStartupOptionBool option("TestOption", false, SPSStartupOption_cVisible);
  EXPECT_STREQ(option.GetName(), "TestOption");
  EXPECT_EQ(option.GetVisibility(), SPSStartupOption_cVisible);
}

}  // namespace
