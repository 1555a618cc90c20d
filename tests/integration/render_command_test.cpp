// SPDX-License-Identifier: MIT
#include "tools/mlox/render/render_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "tests/support/song_builder.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/tool_error.h"

namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

/// Three minutes are enough that somebody looks on before they are rendered.
class RenderCommand : public testing::Test {
 protected:
  RenderCommand() {
    mRequest.mSong =
        mSongFolder.MakeFile("song.mid", Test_AsString(Test_OneTrackSong({0, 0x90, 60, 100, 10, 60, 0})));
    mRequest.mOutput = mFolder / "out.wav";
    mRequest.mEvents = mFolder / "fed.txt";
    mRequest.mSeconds = 180;
  }

  /// Renders while the name of one of the outputs is taken by a folder that isn't empty.
  void RenderWhileAFolderTakes(const std::string& iPath) {
    tool::Render(mRequest, [&](double) { std::filesystem::create_directories(iPath + "/inner"); });
  }

  Test_TempFolder mFolder;
  tool::RenderRequest mRequest;

 private:
  Test_TempFolder mSongFolder;
};

TEST_F(RenderCommand, LeavesNoOutputWhenTheListOfEventsCannotTakeItsName) {
  EXPECT_THAT([&] { RenderWhileAFolderTakes(*mRequest.mEvents); },
              ThrowsMessage<tool::ToolError>(*mRequest.mEvents + ": cannot write: it is a folder"));
  EXPECT_THAT(Test_NamesIn(mFolder.Path()), ElementsAre("fed.txt"));
  EXPECT_THAT(Test_NamesIn(*mRequest.mEvents), ElementsAre("inner"));
}

TEST_F(RenderCommand, LeavesAnOlderOutputAsItWasWhenTheListOfEventsCannotTakeItsName) {
  mFolder.MakeFile("out.wav", "old");
  EXPECT_THROW(RenderWhileAFolderTakes(*mRequest.mEvents), tool::ToolError);
  EXPECT_THAT(Test_NamesIn(mFolder.Path()), ElementsAre("fed.txt", "out.wav"));
  EXPECT_EQ(Test_ReadFile(mRequest.mOutput), "old");
}

TEST_F(RenderCommand, LeavesAnOlderListOfEventsAsItWasWhenTheOutputCannotTakeItsName) {
  mFolder.MakeFile("fed.txt", "old");
  EXPECT_THROW(RenderWhileAFolderTakes(mRequest.mOutput), tool::ToolError);
  EXPECT_THAT(Test_NamesIn(mFolder.Path()), ElementsAre("fed.txt", "out.wav"));
  EXPECT_EQ(Test_ReadFile(*mRequest.mEvents), "old");
}

TEST_F(RenderCommand, TellsWhenTheFilesHaveTheirNamesAndTakesThemBackWhenThatFails) {
  mRequest.mSeconds = 1;
  mFolder.MakeFile("out.wav", "old");
  std::uintmax_t size = 0;
  std::string fed;
  const auto tell = [&](const tool::RenderOutcome& iOutcome) {
    EXPECT_EQ(iOutcome.mFigures.mFrames, 48000);
    size = std::filesystem::file_size(mRequest.mOutput);
    fed = Test_ReadFile(*mRequest.mEvents);
    throw std::runtime_error("nobody listens");
  };
  EXPECT_THAT(
      [&] {
        tool::Render(
            mRequest, [](double) {}, tell);
      },
      ThrowsMessage<std::runtime_error>("nobody listens"));
  EXPECT_GT(size, 48000u * 8);
  EXPECT_EQ(fed, "0 90 3c 64\n2500 80 3c 00\n");
  EXPECT_THAT(Test_NamesIn(mFolder.Path()), ElementsAre("out.wav"));
  EXPECT_EQ(Test_ReadFile(mRequest.mOutput), "old");
}

}  // namespace
