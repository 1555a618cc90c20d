// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/excludedportnames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>

#include "tests/mlox/mlox_directmusic/trace_recorder.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ExcludedPortNames : public testing::Test {
 protected:
  std::set<std::string> Read() {
    std::set<std::string> names = {"before"};
    ReadExcludedPortNamesFile(names);
    names.erase("before");
    return names;
  }

  Test_TempFolder mFolder;
  Test_Environment mAppFolder{"MLOX_APP_DIR", mFolder.Path()};
};

TEST_F(ExcludedPortNames, ComeFromTheFileInTheApplicationFolder) {
  mFolder.MakeFile("ExcludedMIDIPorts.txt", "One\r\n\r\nTwo");
  EXPECT_THAT(Read(), ElementsAre("One", "Two"));
}

TEST_F(ExcludedPortNames, MissingFileIsSilent) {
  const Test_TraceRecorder trace;
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_THAT(Test_TraceRecorder::Take(), IsEmpty());
}

TEST_F(ExcludedPortNames, FolderOfThatNameYieldsNothing) {
  mFolder.MakeFolder("ExcludedMIDIPorts.txt");
  EXPECT_THAT(Read(), IsEmpty());
}

TEST_F(ExcludedPortNames, AnyExceptionIsCaughtAndTracedAndTheNamesSoFarStay) {
  const Test_TraceRecorder trace;
  std::set<std::string> names;
  LoadExcludedPortNames(
      [](std::set<std::string>& ioNames) {
        ioNames.insert("One");
        throw std::runtime_error("disk");
      },
      names);
  LoadExcludedPortNames([](std::set<std::string>&) { throw 7; }, names);
  EXPECT_THAT(names, ElementsAre("One"));
  const char* const lineP = "04000000 MLOX: Failed to load ExcludedMIDIPorts.txt";
  EXPECT_THAT(Test_TraceRecorder::Take(), ElementsAre(lineP, lineP));
}

}  // namespace
