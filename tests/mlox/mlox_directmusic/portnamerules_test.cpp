// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/portnamerules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>

namespace {

using State = EProhibitedByNameEmulatedState;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kSuffix[] = " [Emulated]";

bool IsProhibited(const std::string& iDescription, State iState, const std::string& iSuffix = kSuffix) {
  return PortName_IsProhibitedBy(iDescription, "Foo", iState, iSuffix);
}

// ---- one name ----

TEST(PortName, StatesHaveTheirValues) {
  EXPECT_EQ(static_cast<std::uint32_t>(State::kProhibitedNever), 0u);
  EXPECT_EQ(static_cast<std::uint32_t>(State::kProhibitedWhenEmulated), 1u);
  EXPECT_EQ(static_cast<std::uint32_t>(State::kProhibitedWhenNotEmulated), 2u);
  EXPECT_EQ(static_cast<std::uint32_t>(State::kProhibitedAlways), 3u);
  EXPECT_EQ(sizeof(State), 4u);
}

TEST(PortName, NeverProhibitsNothing) {
  EXPECT_FALSE(IsProhibited("Foo [Emulated]", State::kProhibitedNever));
}

TEST(PortName, AlwaysNeedsTheBeginningAlone) {
  EXPECT_TRUE(IsProhibited("Foo", State::kProhibitedAlways));
  EXPECT_TRUE(IsProhibited("Foo Bar", State::kProhibitedAlways));
  EXPECT_TRUE(IsProhibited("Foo [Emulated]", State::kProhibitedAlways));
  EXPECT_FALSE(IsProhibited("foo", State::kProhibitedAlways));
  EXPECT_FALSE(IsProhibited("Fo", State::kProhibitedAlways));
  EXPECT_FALSE(IsProhibited("A Foo", State::kProhibitedAlways));
}

TEST(PortName, SuffixDecidesBetweenTheTwoMiddleStates) {
  EXPECT_TRUE(IsProhibited("Foo [Emulated]", State::kProhibitedWhenEmulated));
  EXPECT_FALSE(IsProhibited("Foo [emulated]", State::kProhibitedWhenEmulated));
  EXPECT_FALSE(IsProhibited("Foo", State::kProhibitedWhenEmulated));
  EXPECT_FALSE(IsProhibited("Foo [Emulated]", State::kProhibitedWhenNotEmulated));
  EXPECT_TRUE(IsProhibited("Foo", State::kProhibitedWhenNotEmulated));
}

TEST(PortName, SuffixThatIsEmptyOrTooLongMeansNotEmulated) {
  EXPECT_FALSE(IsProhibited("Foo [Emulated]", State::kProhibitedWhenEmulated, ""));
  EXPECT_TRUE(IsProhibited("Foo [Emulated]", State::kProhibitedWhenNotEmulated, ""));
  EXPECT_FALSE(IsProhibited("Foo", State::kProhibitedWhenEmulated, "A longer Foo"));
  EXPECT_TRUE(IsProhibited("Foo", State::kProhibitedWhenNotEmulated, "A longer Foo"));
}

// ---- the table ----

TEST(PortName, BuiltInTableHasSixNames) {
  const PortNameTable expected = {{"Microsoft GS Wavetable SW Synth", State::kProhibitedWhenEmulated},
                                  {"Microsoft GS Wavetable Synth", State::kProhibitedWhenEmulated},
                                  {"Quil 002 Control Port", State::kProhibitedWhenEmulated},
                                  {"Quil 003 Control Port", State::kProhibitedWhenEmulated},
                                  {"MIDIIN2 (Fishman TriplePlay)", State::kProhibitedAlways},
                                  {"MIDIOUT2 (Fishman TriplePlay)", State::kProhibitedAlways}};
  EXPECT_EQ(PortName_BuiltInTable(), expected);
}

TEST(PortName, ExcludedNameNeverOverwritesABuiltInOne) {
  PortNameTable table = PortName_BuiltInTable();
  PortName_AddExcluded({"Microsoft GS Wavetable Synth", "Foo"}, table);
  EXPECT_EQ(table.size(), 7u);
  EXPECT_EQ(table["Microsoft GS Wavetable Synth"], State::kProhibitedWhenEmulated);
  EXPECT_EQ(table["Foo"], State::kProhibitedAlways);
}

TEST(PortName, EmptyDescriptionAndEmptyTableProhibitNothing) {
  EXPECT_FALSE(PortName_IsProhibited("", {{"", State::kProhibitedAlways}}, kSuffix));
  EXPECT_FALSE(PortName_IsProhibited("Foo", {}, kSuffix));
  EXPECT_TRUE(PortName_IsProhibited("Foo", {{"Fo", State::kProhibitedAlways}}, kSuffix));
}

TEST(PortName, AnyNameOfTheTableMayProhibit) {
  const PortNameTable table = {{"A", State::kProhibitedNever},
                               {"F", State::kProhibitedWhenEmulated},
                               {"Foo", State::kProhibitedWhenNotEmulated}};
  EXPECT_TRUE(PortName_IsProhibited("Foo", table, kSuffix));
  EXPECT_TRUE(PortName_IsProhibited("Foo [Emulated]", table, kSuffix));
  EXPECT_FALSE(PortName_IsProhibited("Fo", table, kSuffix));
}

// ---- the suffix ----

struct SuffixCase {
  const char* mDescriptionP;
  const char* mSuffixP;
};
class PortNameSuffix : public testing::TestWithParam<SuffixCase> {};

TEST_P(PortNameSuffix, IsReadOffTheEnd) {
  EXPECT_EQ(PortName_SuffixOf(GetParam().mDescriptionP), GetParam().mSuffixP);
}

INSTANTIATE_TEST_SUITE_P(Endings, PortNameSuffix,
                         testing::Values(SuffixCase{"Keys [Emulated]", " [Emulated]"},
                                         SuffixCase{"Keys (emuliert)", " (emuliert)"},
                                         SuffixCase{"Keys [a] [b]", " [b]"},
                                         SuffixCase{"Keys (2) [b]", " [b]"}, SuffixCase{"Keys []", " []"},
                                         SuffixCase{"K [", ""}, SuffixCase{"Keys[Emulated]", ""},
                                         SuffixCase{"Keys [Emulated", ""}, SuffixCase{"Keys (Emulated]", ""},
                                         SuffixCase{"[Emulated]", ""}, SuffixCase{" [Emulated]", ""},
                                         SuffixCase{"]", ""}, SuffixCase{"", ""}, SuffixCase{" ]", ""},
                                         SuffixCase{"K ]", ""}, SuffixCase{"Keys", ""}));

// ---- the file ----

// A file in memory that can go away, close or fail at a position.
class MemoryFile {
 public:
  explicit MemoryFile(std::string iContent) : mContent(std::move(iContent)) {}
  bool IsOnline() const { return mPosition != mOfflineAt; }
  bool IsOpen() const { return mPosition != mClosedAt; }
  std::int64_t GetPosition() const { return mPosition; }
  std::int64_t GetEOF() const { return static_cast<std::int64_t>(mContent.size()); }
  std::int64_t Read(void* oBufferP, std::int64_t iCount) {
    EXPECT_EQ(iCount, 1);
    if (mPosition == mFailsAt) return 0;
    if (mPosition == mThrowsAt) throw 7;
    *static_cast<char*>(oBufferP) = mContent[static_cast<std::size_t>(mPosition++)];
    return 1;
  }

  std::int64_t mOfflineAt = -1;
  std::int64_t mClosedAt = -1;
  std::int64_t mFailsAt = -1;
  std::int64_t mThrowsAt = -1;

 private:
  std::string mContent;
  std::int64_t mPosition = 0;
};

std::set<std::string> NamesIn(MemoryFile iFile) {
  std::set<std::string> names;
  PortName_ReadExcluded(iFile, names);
  return names;
}

TEST(PortNameFile, LineEndsBlankLinesAndAMissingLastEndYieldTheNonEmptyLines) {
  EXPECT_THAT(NamesIn(MemoryFile("One\r\n\r\nTwo\n\n\rThree\rFour")),
              ElementsAre("Four", "One", "Three", "Two"));
}

TEST(PortNameFile, OneByteIsAName) { EXPECT_THAT(NamesIn(MemoryFile("X")), ElementsAre("X")); }

TEST(PortNameFile, EmptyFileAndFileOfLineEndsYieldNothing) {
  EXPECT_THAT(NamesIn(MemoryFile("")), IsEmpty());
  EXPECT_THAT(NamesIn(MemoryFile("\r\n\n")), IsEmpty());
}

TEST(PortNameFile, LinesAreTakenByteForByte) {
  EXPECT_THAT(NamesIn(MemoryFile(" Foo \n# no comment\nfoo\nFOO\n\xC3\xA4\xFF\n")),
              ElementsAre(" Foo ", "# no comment", "FOO", "foo", "\xC3\xA4\xFF"));
}

TEST(PortNameFile, ReadingStopsWhereTheFileGoesClosesOrFails) {
  MemoryFile gone("One\nTwo\n");
  gone.mOfflineAt = 4;
  EXPECT_THAT(NamesIn(gone), ElementsAre("One"));
  MemoryFile closed("One\nTwo\n");
  closed.mClosedAt = 6;
  EXPECT_THAT(NamesIn(closed), ElementsAre("One"));
  MemoryFile failing("One\nTwo");
  failing.mFailsAt = 6;
  EXPECT_THAT(NamesIn(failing), ElementsAre("One"));
}

TEST(PortNameFile, WhatWasReadBeforeAnExceptionStays) {
  MemoryFile file("One\nTwo\n");
  file.mThrowsAt = 5;
  std::set<std::string> names;
  EXPECT_THROW(PortName_ReadExcluded(file, names), int);
  EXPECT_THAT(names, ElementsAre("One"));
}

}  // namespace
