// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/tools/doctor/good_machine.h"
#include "tools/mlox/doctor/file_checks.h"

namespace {

using Result = Platform_StudioLookResult;
using tool::LookEnd;
using tool::Machine;
using tool::PathKind;

class StudioCheck : public testing::Test {
 protected:
  void Find(Result iResult, const std::string& iReason = {}) {
    mMachine.mStudio.mLook.mResult = iResult;
    mMachine.mStudio.mLook.mReason = iReason;
  }

  Machine mMachine = Test_GoodMachine();
  Platform_StudioLook& mLook = mMachine.mStudio.mLook;
};

TEST_F(StudioCheck, AGoodOneTellsWhatItHolds) {
  mLook.mPorts = 4;
  mLook.mUserDefined = 2;
  mLook.mWires = 1;
  Test_ExpectOk(CheckStudio(mMachine),
                "/home/ann/studio.db: version 1, 4 ports seen, 2 devices of the user's, 1 wires");
  Find(Result::kEmpty);
  Test_ExpectOk(CheckStudio(mMachine), "/home/ann/studio.db: empty");
}

TEST_F(StudioCheck, AnEarlierOneThatWasSetAsideIsWorthANote) {
  mMachine.mStudio.mDamaged = {"/home/ann/studio.db.damaged-1", "/home/ann/studio.db.damaged-2"};
  Test_ExpectNote(CheckStudio(mMachine),
                  "an earlier one was damaged and was set aside as /home/ann/studio.db.damaged-2");
}

TEST_F(StudioCheck, OneThatIsNotThereIsMadeByTheFirstApplication) {
  Find(Result::kAbsent);
  mMachine.mStudio.mFile = {mLook.mPath, PathKind::kNothing, 0, false, false, false};
  Test_ExpectOk(CheckStudio(mMachine), "not there yet; the first application makes it");
}

TEST_F(StudioCheck, OneThatCannotBeMadeIsWrong) {
  Find(Result::kAbsent);
  mMachine.mStudio.mFile = {mLook.mPath, PathKind::kNothing, 0, false, false, false};
  mMachine.mStudio.mFolder.mIsWritable = false;
  Test_ExpectWrong(CheckStudio(mMachine), "no files can be made in /home/ann", {"chmod u+rwx /home/ann"});
  mMachine.mStudio.mFolder.mIsOurs = false;
  Test_ExpectWrong(CheckStudio(mMachine), "no files can be made in /home/ann",
                   {"sudo chown ann /home/ann && sudo chmod u+rwx /home/ann"});
}

TEST_F(StudioCheck, NothingThatTellsWhereItLiesIsWrong) {
  Find(Result::kNoPath);
  mLook.mPath.clear();
  Test_ExpectWrong(CheckStudio(mMachine), "nothing says where it lies",
                   {"export MLOX_STUDIO_DB=\"$PWD/studio.db\"  # or set HOME"});
}

TEST_F(StudioCheck, OneThatCannotBeReadIsOpenedToTheUser) {
  Find(Result::kNoPermission, "unable to open database file");
  mMachine.mStudio.mFile.mIsReadable = false;
  Test_ExpectWrong(CheckStudio(mMachine), "/home/ann/studio.db: unable to open database file",
                   {"chmod u+rw /home/ann/studio.db"});
  mMachine.mStudio.mFile.mIsOurs = false;
  Test_ExpectWrong(CheckStudio(mMachine), "unable to open",
                   {"sudo chown ann /home/ann/studio.db && sudo chmod u+rw /home/ann/studio.db"});
}

TEST_F(StudioCheck, AClosedFolderOnTheWayIsLookedFor) {
  Find(Result::kNoPermission, "Permission denied");
  mMachine.mStudio.mFile = {mLook.mPath, PathKind::kNothing, EACCES, false, false, false};
  Test_ExpectWrong(CheckStudio(mMachine), "/home/ann/studio.db: Permission denied",
                   {"namei -l /home/ann/studio.db  # shows which part of the way is closed"});
}

TEST_F(StudioCheck, OneThatCannotBeWrittenIsWrong) {
  for (const Result result : {Result::kGood, Result::kEmpty, Result::kUnfinished}) {
    Find(result);
    mMachine.mStudio.mFile.mIsWritable = false;
    Test_ExpectWrong(CheckStudio(mMachine), "it can be read and not written",
                     {"chmod u+rw /home/ann/studio.db"});
  }
  mMachine.mStudio.mIsDiskReadOnly = true;
  Test_ExpectWrong(CheckStudio(mMachine), "its disk takes no writes",
                   {"export MLOX_STUDIO_DB=/a/better/place/studio.db"});
}

TEST_F(StudioCheck, AFullDiskIsWrong) {
  mMachine.mStudio.mFreeBytes = 1000;
  Test_ExpectWrong(CheckStudio(mMachine), "its disk is full",
                   {"df -h /home/ann  # shows it; make room there"});
}

TEST_F(StudioCheck, ALogThatWaitsIsFoldedInByAnyApplication) {
  Find(Result::kUnfinished);
  Test_ExpectNote(CheckStudio(mMachine), "a log lies beside it", {"mlox studio show  # does it now"});
}

TEST_F(StudioCheck, WhoHoldsItIsNamed) {
  Find(Result::kHeld);
  Test_ExpectWrong(CheckStudio(mMachine), "another process holds it",
                   {"fuser -v /home/ann/studio.db  # shows who"});
  mLook.mHolder = 1234;
  Test_ExpectWrong(CheckStudio(mMachine), "process 1234 holds it", {"kill 1234  # or wait until it is done"});
  mMachine.mStudio.mHolder = "sqlite3";
  Test_ExpectWrong(CheckStudio(mMachine), "process 1234 (sqlite3) holds it",
                   {"kill 1234  # or wait until it is done"});
}

TEST_F(StudioCheck, OneOfANewerLibraryNeedsANewerLibrary) {
  Find(Result::kFutureVersion);
  mLook.mVersion = 7;
  Test_ExpectWrong(CheckStudio(mMachine), "version 7, made by a newer library; this one knows version 1",
                   {"sudo apt install libmlox1  # a newer one"});
}

TEST_F(StudioCheck, AnotherProgramsDatabaseIsLeftToIt) {
  Find(Result::kNotOurs);
  Test_ExpectWrong(CheckStudio(mMachine), "it is another program's database",
                   {"mv /home/ann/studio.db /home/ann/studio.db.aside"});
  mMachine.mEnvironment["MLOX_STUDIO_DB"] = "/home/ann/studio.db";
  Test_ExpectWrong(CheckStudio(mMachine), "it is another program's database", {"unset MLOX_STUDIO_DB"});
}

TEST_F(StudioCheck, ADamagedOneIsSetAsideByAnyApplication) {
  Find(Result::kDamaged, "file is not a database");
  Test_ExpectWrong(CheckStudio(mMachine), "it is damaged: file is not a database",
                   {"mlox studio show  # sets it aside and begins a new one"});
  Find(Result::kDisordered, "row 3 missing from index");
  Test_ExpectWrong(CheckStudio(mMachine), "its pages are not in order: row 3 missing from index",
                   {"sqlite3 /home/ann/studio.db VACUUM  # with every application that uses it closed"});
}

TEST_F(StudioCheck, WhatIsNoFileIsMovedAway) {
  Find(Result::kFailed, "it is a folder");
  Test_ExpectWrong(CheckStudio(mMachine), "/home/ann/studio.db: it is a folder",
                   {"mv /home/ann/studio.db /home/ann/studio.db.aside"});
}

TEST_F(StudioCheck, ADiskThatDoesNotAnswerIsSaidSo) {
  mMachine.mStudio.mEnd = LookEnd::kTooLong;
  Test_ExpectWrong(CheckStudio(mMachine), "/home/ann/studio.db: its disk does not answer within 5 s",
                   {"export MLOX_STUDIO_DB=/a/better/place/studio.db"});
  mMachine.mStudio.mEnd = LookEnd::kDied;
  Test_ExpectWrong(CheckStudio(mMachine), "reading it ends a process",
                   {"mv /home/ann/studio.db /home/ann/studio.db.aside"});
}

TEST_F(StudioCheck, OneThatCouldNotBeLookedAtIsLeftWhereItIs) {
  mMachine.mStudio.mEnd = {LookEnd::kNotHad, EAGAIN};
  Test_ExpectWrong(CheckStudio(mMachine),
                   "/home/ann/studio.db: not looked at: no process or thread can be started: ",
                   {"# end programs of this user, or ask in a shell that may start more (ulimit -u)"});
  mMachine.mStudio.mEnd = {LookEnd::kNotHad, EMFILE};
  Test_ExpectWrong(CheckStudio(mMachine), "not looked at: no more files can be opened: Too many open files",
                   {"ulimit -n 4096"});
  mMachine.mOpenFiles = {4, 4};
  Test_ExpectWrong(CheckStudio(mMachine), "Too many open files",
                   {"# ask in a shell that may open more files (ulimit -n)"});
  mMachine.mStudio.mEnd = {LookEnd::kNotHad, ENOMEM};
  Test_ExpectWrong(CheckStudio(mMachine), "not looked at: Cannot allocate memory",
                   {"# end programs, then ask again"});
}

TEST_F(StudioCheck, NoneIsMadeWhereTheKernelShowsItself) {
  Find(Result::kAbsent);
  mLook.mPath = "/proc/x/studio.db";
  mMachine.mStudio.mFile = {mLook.mPath, PathKind::kNothing, 0, false, false, false};
  mMachine.mStudio.mFolder = {"/proc", PathKind::kFolder, 0, true, true, true};
  mMachine.mStudio.mIsOfKernel = true;
  mMachine.mStudio.mFreeBytes = 0;
  Test_ExpectWrong(CheckStudio(mMachine),
                   "/proc/x/studio.db: no files can be made in /proc, where the kernel shows itself",
                   {"export MLOX_STUDIO_DB=/a/better/place/studio.db"});
  mMachine.mEnvironment["MLOX_STUDIO_DB"] = mLook.mPath;
  Test_ExpectWrong(CheckStudio(mMachine), "no files can be made in /proc", {"unset MLOX_STUDIO_DB"});
}

TEST_F(StudioCheck, APathWithBlanksAndQuotesCanBePasted) {
  Find(Result::kHeld);
  mLook.mPath = "/home/ann's/my studio.db";
  Test_ExpectWrong(CheckStudio(mMachine), "/home/ann's/my studio.db",
                   {"fuser -v '/home/ann'\\''s/my studio.db'  # shows who"});
}

}  // namespace
