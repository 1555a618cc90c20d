// SPDX-License-Identifier: MIT
// What the sources say about their checks: where each comes from, and which form it uses. People find a check
// by the text and source of its report, and an application that asks for exceptions gets them from few
// places.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/frame/sourcefiles.h"

namespace {

using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

// A file of the library, by its path from the root, and something found in it.
using Found = std::pair<std::string, std::string>;

// The string literal that begins at or behind a place, and where it ends.
std::string Literal(const std::string& iText, std::size_t& ioAt) {
  const std::size_t begin = iText.find('"', ioAt);
  ioAt = begin == std::string::npos ? begin : iText.find('"', begin + 1);
  return ioAt == std::string::npos ? "" : iText.substr(begin + 1, ioAt++ - begin - 1);
}

// All literals of a call as one text, from behind its opening parenthesis to the closing one.
std::string LiteralsOfCall(const std::string& iText, std::size_t iAt) {
  std::string literals;
  for (int depth = 1; depth > 0 && iAt < iText.size();) {
    const char character = iText[iAt];
    if (character == '"') {
      literals += Literal(iText, iAt);
      continue;
    }
    depth += (character == '(' ? 1 : 0) - (character == ')' ? 1 : 0);
    ++iAt;
  }
  return literals;
}

// The text of every check that a macro makes; its definition aside.
std::vector<Found> ChecksBy(const std::string& iMacro) {
  std::vector<Found> checks;
  for (const auto& [file, text] : Test_LibraryFiles()) {
    for (const std::size_t at : Test_CallsIn(text, iMacro))
      checks.emplace_back(file, LiteralsOfCall(text, at));
  }
  return checks;
}

std::string WithoutExtension(const std::string& iFile) { return iFile.substr(0, iFile.rfind('.')); }

TEST(AssertSources, LiteralsOfACallAreFoundWhateverTheLayout) {
  EXPECT_EQ(LiteralsOfCall("s, f(x) > 1, \"f(x) > 1\"); g(\"no\")", 0), "f(x) > 1");
  EXPECT_EQ(LiteralsOfCall("s, x,\n \"one )\"\n \" two\"))", 0), "one ) two");
}

TEST(AssertSources, EachFileNamesItselfWithoutItsExtension) {
  // Time stamps report from where the header lay before the event model had a folder of its own.
  const std::map<std::string, std::string> kElsewhere = {{"mdid/mdie_timestamp.h", "mlox/mdie_timestamp"}};
  int constants = 0;
  for (const auto& [file, text] : Test_LibraryFiles()) {
    const std::string definition = "AssertSource[] = ";
    std::size_t at = text.find(definition);
    if (at == std::string::npos) continue;
    ++constants;
    const auto elsewhere = kElsewhere.find(file);
    EXPECT_EQ(Literal(text, at), elsewhere == kElsewhere.end() ? WithoutExtension(file) : elsewhere->second);
  }
  EXPECT_GT(constants, 20);
}

TEST(AssertSources, OnlyThreeChecksMayThrowWithFalse) {
  EXPECT_THAT(
      ChecksBy("CMN_ASSERT_THROWING_FROM"),
      UnorderedElementsAre(
          Pair("mlox/mlox_manager.cpp", "iServiceP != nullptr"),
          Pair("mlox/mlox_manager.cpp", "(mServicesP->size() + 1) <= Mlox_cMaxInstalledServices"),
          Pair("mlox/mlox_directmusic/mlox_directmusic_output.cpp", "iLength <= cMaxLimitedSysexLength")));
}

TEST(AssertSources, TheTracingFormHasSixChecks) {
  const std::string queue = "mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl.cpp";
  EXPECT_THAT(ChecksBy("CMN_TRACEASSERT"),
              UnorderedElementsAre(
                  Pair(queue, "inElement"), Pair(queue, "inQueueIndex < mEventQueues.size()"),
                  Pair(queue, "it != end(mQueueHeads)"), Pair(queue, "!junk"),
                  Pair("mlox/mlox_directmidi/mlox_dm_buffereddelivery.cpp", "it != mOutputContexts.end()"),
                  Pair("mlox/mlox_directmidi/mlox_dm_service.cpp", "currentInput")));
}

TEST(AssertSources, ChecksReportThroughTheMacrosAlone) {
  std::vector<std::string> files;
  for (const auto& [file, text] : Test_LibraryFiles()) {
    const bool isMacrosOwn = file.starts_with("cmn/cmn_assert.") || file == "diagnostics/cmn_traceassert.h";
    if (!isMacrosOwn && text.find("HandleMagicAssert") != std::string::npos) files.push_back(file);
  }
  EXPECT_THAT(files, IsEmpty());
}

}  // namespace
