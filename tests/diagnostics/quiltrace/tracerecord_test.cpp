// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracerecord.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

namespace {

__attribute__((format(printf, 2, 3))) QuilTrace_Record Filled(std::uint32_t iCategory, const char* iFormatP,
                                                              ...) {
  QuilTrace_Record record;
  va_list arguments;
  va_start(arguments, iFormatP);
  record.Fill(iCategory, iFormatP, arguments);
  va_end(arguments);
  return record;
}

std::string_view Text(const QuilTrace_Record& iRecord) { return {iRecord.mText.data(), iRecord.mLength}; }

TEST(QuilTrace_RecordTest, HoldsTheTextItsCategoryAndTheThreadThatMadeIt) {
  const QuilTrace_Record record = Filled(0x4000E0F, "port %s (%d) 100%%", "Synth", -3);
  EXPECT_EQ(Text(record), "port Synth (-3) 100%");
  EXPECT_EQ(record.mMissing, 0U);
  EXPECT_EQ(record.mCategory, 0x4000E0FU);
  EXPECT_EQ(record.mThread, static_cast<std::uint64_t>(pthread_self()));
  std::uint64_t other = record.mThread;
  std::thread([&other] { other = Filled(1, "x").mThread; }).join();
  EXPECT_NE(other, record.mThread);
}

TEST(QuilTrace_RecordTest, TimeIsThatOfTheCall) {
  const auto now = [] {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const std::int64_t before = now();
  const QuilTrace_Record record = Filled(1, "x");
  EXPECT_GE(record.mNanoseconds, before);
  EXPECT_LE(record.mNanoseconds, now());
}

TEST(QuilTrace_RecordTest, ATextThatFillsItIsWholeAndOneByteMoreIsCutAndCounted) {
  const std::string full(QuilTrace_Record::kTextBytes, 'f');
  const QuilTrace_Record whole = Filled(1, "%s", full.c_str());
  EXPECT_EQ(Text(whole), full);
  EXPECT_EQ(whole.mMissing, 0U);
  const QuilTrace_Record cut = Filled(1, "%s%s", full.c_str(), "abc");
  EXPECT_EQ(Text(cut), full);
  EXPECT_EQ(cut.mMissing, 3U);
}

TEST(QuilTrace_RecordTest, TheLongestLineOfAPortFitsWithTheLongestNameThatAPortCanHave) {
  std::string description;
  for (int i = 0; i < 127; ++i) description += "\u266B";  // three bytes each
  const std::string guid(38, '0');
  const QuilTrace_Record record = Filled(1, "GetOutputPort: failed to create port for new port %s (%s)",
                                         guid.c_str(), description.c_str());
  EXPECT_EQ(record.mMissing, 0U);
}

TEST(QuilTrace_RecordTest, ErrnoIsLeftAlone) {
  errno = 4711;
  Filled(1, "%s", "x");
  EXPECT_EQ(errno, 4711);
}

TEST(QuilTrace_RecordTest, ATextThatCannotBeMadeIsEmpty) {
  // A wide character that no multibyte text has: vsnprintf fails.
  const wchar_t wide[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
  const QuilTrace_Record record = Filled(1, "%ls", wide);
  EXPECT_EQ(Text(record), "");
  EXPECT_EQ(record.mMissing, 0U);
}

}  // namespace
