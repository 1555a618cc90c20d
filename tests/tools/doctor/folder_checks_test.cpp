// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/tools/doctor/good_machine.h"
#include "tools/mlox/doctor/file_checks.h"

namespace {

using tool::LookEnd;
using tool::Machine;
using tool::PathFacts;
using tool::PathKind;

class FolderChecks : public testing::Test {
 protected:
  void HideFile(const std::string& iText) {
    mMachine.mExcludedPorts.mFile = {"/app/ExcludedMIDIPorts.txt", PathKind::kFile, 0, true, true, true};
    mMachine.mExcludedPorts.mText = iText;
  }
  void Set(const std::string& iText) {
    mMachine.mSettings.mFile = {"/app/mlox.ini", PathKind::kFile, 0, true, true, true};
    mMachine.mSettings.mText = iText;
  }

  Machine mMachine = Test_GoodMachine();
};

// ---- documents ----

TEST_F(FolderChecks, DocumentsThatAreFoundAreCounted) {
  Test_ExpectOk(CheckPatchNames(mMachine), "/names: 3 documents");
  Test_ExpectOk(CheckDeviceTypes(mMachine), "/types: 1 document");
}

TEST_F(FolderChecks, AFolderWithoutDocumentsIsWorthANote) {
  mMachine.mPatchNames.mCount = 0;
  mMachine.mDeviceTypes.mCount = 0;
  Test_ExpectNote(CheckPatchNames(mMachine), "/names: no documents (.midnam)");
  Test_ExpectNote(CheckDeviceTypes(mMachine), "/types: no documents (.middev)");
}

TEST_F(FolderChecks, AUsualFolderThatIsNotThereIsWorthANote) {
  mMachine.mPatchNames.mFolder = {"/usr/share/mlox/patchnames", PathKind::kNothing, 0, false, false, false};
  Test_ExpectNote(CheckPatchNames(mMachine), "/usr/share/mlox/patchnames: not there; there are no documents",
                  {"mkdir -p /home/ann/.local/share/mlox/patchnames"});
  mMachine.mOwnDocuments.clear();
  Test_ExpectNote(CheckPatchNames(mMachine), "not there");
}

TEST_F(FolderChecks, AChosenFolderThatIsNotThereIsWrong) {
  mMachine.mEnvironment["MLOX_PATCH_NAMES_DIR"] = "/my names";
  mMachine.mPatchNames.mFolder = {"/my names", PathKind::kNothing, 0, false, false, false};
  Test_ExpectWrong(CheckPatchNames(mMachine), "/my names: not there (MLOX_PATCH_NAMES_DIR)",
                   {"mkdir -p '/my names'"});
  mMachine.mPatchNames.mFolder.mFault = EACCES;
  Test_ExpectWrong(CheckPatchNames(mMachine), "/my names: Permission denied", {"unset MLOX_PATCH_NAMES_DIR"});
  mMachine.mPatchNames.mFolder.mFault = 0;
  mMachine.mPatchNames.mFolder.mKind = PathKind::kFile;
  Test_ExpectWrong(CheckPatchNames(mMachine), "/my names: it is no folder", {"unset MLOX_PATCH_NAMES_DIR"});
}

TEST_F(FolderChecks, AFolderThatCannotBeReadIsWrong) {
  mMachine.mDeviceTypes.mFolder.mIsReadable = false;
  Test_ExpectWrong(CheckDeviceTypes(mMachine), "/types: no permission", {"chmod u+rx /types"});
  mMachine.mDeviceTypes.mFolder.mIsOurs = false;
  Test_ExpectWrong(CheckDeviceTypes(mMachine), "/types: no permission", {"sudo chmod a+rx /types"});
}

TEST_F(FolderChecks, AFolderThatTakesTooLongIsWrong) {
  mMachine.mPatchNames.mEnd = LookEnd::kTooLong;
  Test_ExpectWrong(CheckPatchNames(mMachine), "/names: looking for documents takes longer than 5 s",
                   {"export MLOX_PATCH_NAMES_DIR=/a/folder/of/documents/only"});
  mMachine.mPatchNames.mEnd = LookEnd::kDied;
  Test_ExpectWrong(CheckPatchNames(mMachine), "/names: looking for documents ends a process",
                   {"export MLOX_PATCH_NAMES_DIR=/a/folder/of/documents/only"});
}

TEST_F(FolderChecks, WhatCouldNotBeLookedAtIsSaidSo) {
  const tool::LookOutcome end = {LookEnd::kNotHad, EAGAIN};
  mMachine.mPatchNames.mEnd = end;
  mMachine.mDeviceTypes.mEnd = end;
  mMachine.mExcludedPorts.mEnd = end;
  mMachine.mSettings.mEnd = end;
  const std::vector<std::string> mend = {
      "# end programs of this user, or ask in a shell that may start more (ulimit -u)"};
  const std::string why = ": not looked at: no process or thread can be started";
  Test_ExpectWrong(CheckPatchNames(mMachine), "/names" + why, mend);
  Test_ExpectWrong(CheckDeviceTypes(mMachine), "/types" + why, mend);
  Test_ExpectWrong(CheckExcludedPorts(mMachine), "/app/ExcludedMIDIPorts.txt" + why, mend);
  Test_ExpectWrong(CheckSettings(mMachine), "/app/mlox.ini" + why, mend);
}

// ---- hidden ports ----

TEST_F(FolderChecks, HiddenPortsAreCounted) {
  Test_ExpectOk(CheckExcludedPorts(mMachine), "no /app/ExcludedMIDIPorts.txt: the user hides no ports");
  HideFile("One\r\n\r\nTwo");
  Test_ExpectOk(CheckExcludedPorts(mMachine), "ports that begin with 2 names are hidden");
  HideFile("One Port\n");
  Test_ExpectOk(CheckExcludedPorts(mMachine), "ports that begin with 1 name are hidden");
}

TEST_F(FolderChecks, AByteOrderMarkIsTakenOut) {
  HideFile("\xEF\xBB\xBFOne\n");
  Test_ExpectWrong(CheckExcludedPorts(mMachine), "byte order mark",
                   {"sed -i '1s/^\\xEF\\xBB\\xBF//' /app/ExcludedMIDIPorts.txt"});
}

TEST_F(FolderChecks, AnotherEncodingIsConverted) {
  HideFile("Fl\xFCgel\n");
  Test_ExpectWrong(
      CheckExcludedPorts(mMachine), "it is no UTF-8",
      {"iconv -f ISO-8859-1 -t UTF-8 /app/ExcludedMIDIPorts.txt >/app/ExcludedMIDIPorts.txt.new && "
       "mv /app/ExcludedMIDIPorts.txt.new /app/ExcludedMIDIPorts.txt"});
  HideFile(std::string("O\0n\0e\0\n\0", 8));
  Test_ExpectWrong(CheckExcludedPorts(mMachine), "it is no UTF-8",
                   {"iconv -f UTF-16 -t UTF-8 /app/ExcludedMIDIPorts.txt >/app/ExcludedMIDIPorts.txt.new && "
                    "mv /app/ExcludedMIDIPorts.txt.new /app/ExcludedMIDIPorts.txt"});
}

TEST_F(FolderChecks, ALineThatIsTakenOtherwiseThanItIsMeantIsWorthANote) {
  const std::vector<std::string> mend = {
      "sed -i -e 's/[[:blank:]]*$//' -e 's/^[[:blank:]]*//' -e '/^#/d' /app/ExcludedMIDIPorts.txt"};
  for (const char* const line : {"Two ", " Two", "\tTwo", "# Two"}) {
    HideFile("One\n" + std::string(line) + "\n");
    Test_ExpectNote(CheckExcludedPorts(mMachine), "line 2 is taken as it stands", mend);
  }
}

TEST_F(FolderChecks, AFileThatCannotBeReadIsWrong) {
  HideFile("");
  PathFacts& file = mMachine.mExcludedPorts.mFile;
  file.mIsReadable = false;
  Test_ExpectWrong(CheckExcludedPorts(mMachine), "/app/ExcludedMIDIPorts.txt: no permission",
                   {"chmod u+r /app/ExcludedMIDIPorts.txt"});
  file.mKind = PathKind::kFolder;
  Test_ExpectWrong(CheckExcludedPorts(mMachine), "it is no file",
                   {"mv /app/ExcludedMIDIPorts.txt /app/ExcludedMIDIPorts.txt.aside"});
  file.mKind = PathKind::kNothing;
  file.mFault = EACCES;
  Test_ExpectWrong(CheckExcludedPorts(mMachine), "Permission denied",
                   {"namei -l /app/ExcludedMIDIPorts.txt  # shows which part of the way is closed"});
  mMachine.mExcludedPorts.mEnd = LookEnd::kDied;
  Test_ExpectWrong(CheckExcludedPorts(mMachine), "/app/ExcludedMIDIPorts.txt: reading it ends a process",
                   {"export MLOX_APP_DIR=/a/better/folder"});
  mMachine.mExcludedPorts.mEnd = LookEnd::kTooLong;
  Test_ExpectWrong(CheckExcludedPorts(mMachine), "its disk does not answer within 5 s",
                   {"export MLOX_APP_DIR=/a/better/folder"});
}

// ---- settings ----

TEST_F(FolderChecks, SettingsThatAreUnderstoodAreFine) {
  Test_ExpectOk(CheckSettings(mMachine), "no /app/mlox.ini");
  Set("[mlox]\n; remarks\nMLOX_DisableBatchDelivery = Yes\r\nOther=nonsense\nno sign\n");
  Test_ExpectOk(CheckSettings(mMachine), "/app/mlox.ini is understood");
}

TEST_F(FolderChecks, ASettingThatIsNeitherOnNorOffIsWrong) {
  const std::vector<std::string> mend = {
      "sed -i 's/^\\([^=]*DisableBatchDelivery[^=]*\\)=.*/\\1=1/' /app/mlox.ini"};
  for (const char* const line : {"MLOX_DisableBatchDelivery=maybe", " DisableBatchDelivery = maybe "}) {
    Set(line);
    Test_ExpectWrong(CheckSettings(mMachine),
                     "DisableBatchDelivery has a value that is neither on nor off: \"maybe\"", mend);
  }
}

TEST_F(FolderChecks, SettingsThatCannotBeReadAreWrong) {
  Set("");
  mMachine.mSettings.mFile.mIsReadable = false;
  Test_ExpectWrong(CheckSettings(mMachine), "/app/mlox.ini: no permission", {"chmod u+r /app/mlox.ini"});
}

}  // namespace
