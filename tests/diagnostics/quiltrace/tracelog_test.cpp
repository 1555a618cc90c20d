// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracelog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/test_environment.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

QuilTrace_Record RecordOf(std::string_view iText, std::uint32_t iMissing = 0) {
  QuilTrace_Record record;
  record.mNanoseconds = 1'000'000'123'456'789;
  record.mThread = 0x7F0123456780;
  record.mCategory = 0x200000E;
  record.mLength = static_cast<std::uint32_t>(iText.size());
  record.mMissing = iMissing;
  std::copy(iText.begin(), iText.end(), record.mText.begin());
  return record;
}

std::string TextOf(std::string_view iText, std::uint32_t iMissing = 0) {
  return QuilTrace_Log::TextOf(RecordOf(iText, iMissing));
}

class QuilTrace_LogTest : public testing::Test {
 protected:
  QuilTrace_Settings Settings(std::size_t iFileBytes = 0, std::size_t iOlderFiles = 2) const {
    QuilTrace_Settings settings;
    settings.mFile = mPath;
    settings.mFileBytes = iFileBytes;
    settings.mOlderFiles = iOlderFiles;
    return settings;
  }

  const Test_TempFolder mFolder;
  const std::string mPath = mFolder / "trace.log";
};

TEST_F(QuilTrace_LogTest, ALineHasTimeThreadCategoryAndText) {
  const Test_Environment zone("TZ", "UTC");
  {
    QuilTrace_Log log(Settings());
    log.Write(RecordOf("returning port"));
  }
  EXPECT_EQ(Test_ReadFile(mPath), "1970-01-12 13:46:40.123456 7f0123456780 0200000E returning port\n");
}

TEST_F(QuilTrace_LogTest, ControlCharactersAreBlanksSoThatALineStaysOne) {
  EXPECT_EQ(TextOf("a\nb\tc\x1B[31m\x7F!"), "a b c [31m !");
  EXPECT_EQ(TextOf("a\u0085b\u009Bc"), "a b c");
  EXPECT_EQ(TextOf("\u266B Stra\u00DFe"), "\u266B Stra\u00DFe");
}

TEST_F(QuilTrace_LogTest, BehindACutTextStandsHowMuchIsMissing) {
  EXPECT_EQ(TextOf("all of it"), "all of it");
  EXPECT_EQ(TextOf("some of it", 12), "some of it[12 bytes more]");
}

TEST_F(QuilTrace_LogTest, ACharacterThatTheCutWentThroughCountsAsMissing) {
  const std::string note = "\u266B";
  EXPECT_EQ(TextOf("x" + note.substr(0, 1), 2), "x[3 bytes more]");
  EXPECT_EQ(TextOf("x" + note.substr(0, 2), 1), "x[3 bytes more]");
  EXPECT_EQ(TextOf("x" + note, 5), "x" + note + "[5 bytes more]");
  EXPECT_EQ(TextOf("\xF0\x9F\x8E", 1), "[4 bytes more]");
  EXPECT_EQ(TextOf("\x80\x80\x80\x80\x80", 1), "\x80\x80\x80\x80\x80[1 bytes more]")
      << "no UTF-8: left alone";
}

TEST_F(QuilTrace_LogTest, DroppedLinesAreToldInALineOfTheirOwnInFrontOfTheNextAndOnce) {
  {
    QuilTrace_Log log(Settings());
    log.Write(RecordOf("first"));
    QuilTrace_Record second = RecordOf("second");
    second.mDroppedBefore = 7;
    log.Write(second);
    log.Write(second);
    log.TellDropped(7);
    log.TellDropped(10);
  }
  const std::string text = Test_ReadFile(mPath);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5);
  const std::size_t seven =
      text.find(" 7 trace lines dropped here: they came faster than they could be written\n");
  ASSERT_NE(seven, std::string::npos) << text;
  EXPECT_GT(seven, text.find("first"));
  EXPECT_LT(seven, text.find("second"));
  EXPECT_THAT(text, HasSubstr(" 3 trace lines dropped here")) << "since the last time";
}

TEST_F(QuilTrace_LogTest, AFileThatIsFullMakesRoomAndTheOldestOneGoes) {
  {
    QuilTrace_Log log(Settings(1024, 2));
    for (int line = 0; line < 100; ++line) log.Write(RecordOf("line " + std::to_string(line)));
  }
  EXPECT_THAT(Test_NamesIn(mFolder.Path()), ElementsAre("trace.1.log", "trace.2.log", "trace.log"));
  for (const std::string& name : Test_NamesIn(mFolder.Path()))
    EXPECT_LE(std::filesystem::file_size(mFolder / name), 1024U) << name;
  EXPECT_THAT(Test_ReadFile(mPath), testing::EndsWith(" line 99\n"));
  // Nothing is missing between one file and the next.
  const std::string all =
      Test_ReadFile(mFolder / "trace.2.log") + Test_ReadFile(mFolder / "trace.1.log") + Test_ReadFile(mPath);
  const auto lines = std::count(all.begin(), all.end(), '\n');
  for (auto line = 100 - lines; line < 100; ++line)
    EXPECT_THAT(all, HasSubstr(" line " + std::to_string(line) + "\n"));
  EXPECT_GT(lines, 20);
}

TEST_F(QuilTrace_LogTest, WithoutALimitOneFileGrowsAndLinesAreAppended) {
  for (int run = 0; run < 2; ++run) {
    QuilTrace_Log log(Settings(0));
    for (int line = 0; line < 100; ++line) log.Write(RecordOf("line " + std::to_string(line)));
  }
  EXPECT_THAT(Test_NamesIn(mFolder.Path()), ElementsAre("trace.log"));
  const std::string text = Test_ReadFile(mPath);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 200);
}

TEST_F(QuilTrace_LogTest, AFileThatCannotBeOpenedIsToldAndItsLinesGoToStandardError) {
  QuilTrace_Settings settings = Settings();
  settings.mFile = mFolder.Path();
  testing::internal::CaptureStderr();
  {
    QuilTrace_Log log(settings);
    log.Write(RecordOf("a line"));
  }
  const std::string error = testing::internal::GetCapturedStderr();
  EXPECT_THAT(error, StartsWith("mlox: trace lines go to standard error: "));
  EXPECT_THAT(error, HasSubstr(" 0200000E a line\n"));
}

TEST_F(QuilTrace_LogTest, LinesThatCannotBeWrittenAreToldOnceAndCountedAtTheEnd) {
  QuilTrace_Settings settings = Settings();
  settings.mFile = "/dev/full";
  testing::internal::CaptureStderr();
  {
    QuilTrace_Log log(settings);
    for (int line = 0; line < 3; ++line) {
      log.Write(RecordOf("a line"));
      log.Flush();
    }
  }
  const std::string error = testing::internal::GetCapturedStderr();
  EXPECT_THAT(error, MatchesRegex("mlox: trace lines are lost: [^\n]*/dev/full[^\n]*\n"
                                  "mlox: writing trace lines failed 3 times\n"));
}

}  // namespace
