// SPDX-License-Identifier: MIT
// Where pointers are read that another thread may take away. A pointer that is read before an epoch is
// entered may name what a pass has deleted, and no run of a test is sure to meet that: the sources tell.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "tests/frame/sourcefiles.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// What stands between two marks of a text.
std::string Between(const std::string& iText, const std::string& iBegin, const std::string& iEnd) {
  const std::size_t begin = iText.find(iBegin);
  const std::size_t end = iText.find(iEnd, begin);
  EXPECT_NE(begin, std::string::npos) << iBegin;
  EXPECT_NE(end, std::string::npos) << iEnd;
  return begin < end && end != std::string::npos ? iText.substr(begin, end - begin) : "";
}

int Remove(const std::string& iWord, std::string& ioText) {
  int count = 0;
  for (std::size_t at = ioText.find(iWord); at != std::string::npos; at = ioText.find(iWord)) {
    ioText.erase(at, iWord.size());
    ++count;
  }
  return count;
}

// The class itself enters first and reads second: its own test holds that.
TEST(Epochs, TheThreeWritesOfAPersistentOutputReadItsPointerInsideOne) {
  const std::string source = Test_LibraryFiles().at("mlox/mlox_persistentoutput.cpp");
  std::string writes = Between(source, "// ---- [writer] ----", "// ---- [main] ----");
  EXPECT_EQ(Remove("const Sys_EpochPointer outputP(mOutputRCP);", writes), 3);
  EXPECT_THAT(writes, Not(HasSubstr("mOutputRCP"))) << "read in another way";
  EXPECT_THAT(writes, Not(HasSubstr("GetOutput"))) << "read in another way";
  for (const char* nameP : {"WriteEvent", "WriteLimitedSysex", "WriteRawMIDI"}) {
    EXPECT_THAT(writes, HasSubstr(std::string("void Mlox_PersistentOutput::") + nameP + "("));
  }
}

}  // namespace
