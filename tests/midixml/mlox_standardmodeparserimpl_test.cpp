// SPDX-License-Identifier: MIT
#include "midixml/mlox_standardmodeparserimpl.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/midixml/name_documents.h"
#include "tests/support/test_environment.h"

namespace {

// The parser is one for the process, so each test looks at it in a process of its own.
class StandardModeDeathTest : public testing::Test {
 protected:
  static void InItsOwnProcess(const std::function<bool()>& iHolds) {
    EXPECT_EXIT(std::_Exit(iHolds() ? 0 : 1), testing::ExitedWithCode(0), "");
  }

  static Mlox_StandardModeParserImpl& Parser() { return Mlox_StandardModeParserImpl::Instance(); }

  static bool LoadsTo(bool iLoaded, size_t iRecords) {
    Parser().LoadDocuments();
    return Parser().IsLoaded() == iLoaded && Parser().GetStandardDevices().size() == iRecords;
  }

  Test_TempFolder mFolder;
  Test_Environment mBase{"MLOX_PATCH_NAMES_DIR", mFolder.Path()};
};

const char* const kTwoDevices =
    "<MIDINameDocument><MasterDeviceNames/><StandardDeviceMode/></MIDINameDocument>";

TEST_F(StandardModeDeathTest, KeepsEveryDeviceOfEveryDocument) {
  mFolder.MakeFile("a.midnam", kTwoDevices);
  mFolder.MakeFile("sub/folder/b.midnam", kTwoDevices);
  mFolder.MakeFile("c.middev", "no name document");
  InItsOwnProcess([] { return LoadsTo(true, 4); });
}

TEST_F(StandardModeDeathTest, ASecondLoadAfterASuccessDoesNothing) {
  mFolder.MakeFile("a.midnam", kTwoDevices);
  InItsOwnProcess([this] {
    if (!LoadsTo(true, 2)) return false;
    mFolder.MakeFile("b.midnam", kTwoDevices);
    return LoadsTo(true, 2);
  });
}

TEST_F(StandardModeDeathTest, AFileOfAnEmptyNameIsPassedOver) {
  mFolder.MakeFile(".midnam", "not read");
  mFolder.MakeFile("a.midnam", kTwoDevices);
  InItsOwnProcess([] { return LoadsTo(true, 2); });
}

TEST_F(StandardModeDeathTest, WithoutABaseFolderItIsLoadedWithNothing) {
  InItsOwnProcess([this] {
    std::filesystem::remove_all(mFolder.Path());
    return LoadsTo(true, 0);
  });
}

TEST_F(StandardModeDeathTest, AFaultEndsTheLoadSilentlyAndKeepsTheRecordsReadSoFar) {
  mFolder.MakeFile("a.midnam", kTwoDevices);
  mFolder.MakeFile("b.midnam", "<MIDINameDocument><MasterDeviceNames/><Patch/></MIDINameDocument>");
  mFolder.MakeFile("c.midnam", kTwoDevices);
  InItsOwnProcess([] { return LoadsTo(false, 3); });
}

TEST_F(StandardModeDeathTest, AfterAFaultInsideADocumentTheNextLoadBeginsAgainAndEndsAtOnce) {
  mFolder.MakeFile("a.midnam", kTwoDevices);
  mFolder.MakeFile("b.midnam", "<MIDINameDocument><Patch/></MIDINameDocument>");
  // The document's element is still open, so the root of the first document has a parent.
  InItsOwnProcess([] { return LoadsTo(false, 2) && LoadsTo(false, 2); });
}

TEST_F(StandardModeDeathTest, AFileThatCantBeOpenedAgainEndsTheLoadAndTheNextOneBeginsAgain) {
  mFolder.MakeFile("a.midnam", kTwoDevices);
  mFolder.MakeFile("b.MIDNAM", kTwoDevices);
  InItsOwnProcess([this] {
    if (!LoadsTo(false, 2)) return false;
    std::filesystem::rename(mFolder / "b.MIDNAM", mFolder / "b.midnam");
    return LoadsTo(true, 6);
  });
}

TEST_F(StandardModeDeathTest, ABaseFolderWithABackslashInItsNameIsRead) {
  mFolder.MakeFile("odd\\name/sub/a.midnam", kTwoDevices);
  InItsOwnProcess([this] {
    const Test_Environment other("MLOX_PATCH_NAMES_DIR", mFolder / "odd\\name");
    return LoadsTo(true, 2);
  });
}

}  // namespace
