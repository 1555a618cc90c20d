// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/examination.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/doctor/good_machine.h"

namespace {

using nlohmann::json;
using tool::Finding;

TEST(Examination, EveryCheckAnswersAlwaysInTheSameOrder) {
  const std::vector<std::string> names = {
      "drivers",        "alsa",     "audio_group",       "jack",
      "pipewire",       "loopback", "realtime_priority", "receive_priority",
      "locked_memory",  "studio",   "patch_names",       "device_types",
      "excluded_ports", "settings", "tracing",           "environment"};
  for (const tool::Machine& machine : {Test_GoodMachine(), tool::Machine()}) {
    std::vector<std::string> found;
    for (const Finding& finding : Examine(machine)) found.push_back(finding.mName);
    EXPECT_EQ(found, names);
  }
}

TEST(Examination, OnAGoodMachineNothingIsWrong) { EXPECT_EQ(CountWrong(Examine(Test_GoodMachine())), 0u); }

TEST(Examination, WhateverIsWrongComesWithALineThatMendsIt) {
  const std::vector<Finding> findings = Examine(tool::Machine());
  EXPECT_GT(CountWrong(findings), 0u);
  for (const Finding& finding : findings) {
    EXPECT_EQ(finding.mState == tool::FindingState::kWrong && finding.mMend.empty(), false) << finding.mName;
    for (const std::string& line : finding.mMend) EXPECT_FALSE(line.empty()) << finding.mName;
  }
}

const std::vector<Finding> kThree = {
    tool::Ok("a", "all is well"), tool::Note("longer", "this is a text that needs more than one line"),
    tool::Wrong("b", "broken",
                {"sudo mend --this-thing with quite a long line that stays in one piece", "# twice"})};

TEST(Examination, PeopleGetColumnsAndWhatMendsInOnePiece) {
  EXPECT_EQ(tool::FindingsText(kThree, 45),
            "ok     a       all is well\n"
            "note   longer  this is a text that needs more\n"
            "               than one line\n"
            "wrong  b       broken\n"
            "               sudo mend --this-thing with quite a long line that stays in one piece\n"
            "               # twice\n");
}

TEST(Examination, ANarrowTerminalStillGetsReadableText) {
  EXPECT_EQ(tool::FindingsText({tool::Ok("a", "one two three four five six")}, 5),
            "ok     a  one two three four five\n"
            "          six\n");
}

TEST(Examination, NoTextCommandsTheTerminal) {
  EXPECT_EQ(tool::FindingsText({tool::Wrong("a", "bell\a and\nline", {"rm \x1b[31m"})}, 80),
            "wrong  a  bell and line\n"
            "          rm  [31m\n");
}

TEST(Examination, ProgramsGetOneLineOfAStableShape) {
  const std::string text = FindingsJson(kThree);
  EXPECT_EQ(text.find('\n'), std::string::npos);
  const json expected = {
      {"findings",
       {{{"mend", json::array()}, {"name", "a"}, {"seen", "all is well"}, {"state", "ok"}},
        {{"mend", json::array()},
         {"name", "longer"},
         {"seen", "this is a text that needs more than one line"},
         {"state", "note"}},
        {{"mend", {"sudo mend --this-thing with quite a long line that stays in one piece", "# twice"}},
         {"name", "b"},
         {"seen", "broken"},
         {"state", "wrong"}}}},
      {"wrong", 1}};
  EXPECT_EQ(json::parse(text), expected);
}

}  // namespace
