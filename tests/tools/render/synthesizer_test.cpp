// SPDX-License-Identifier: MIT
#include "tools/mlox/render/synthesizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/tool_error.h"

namespace {

using tool::Synthesizer;
using Bytes = std::vector<std::uint8_t>;

constexpr char kSoundFont[] = "/usr/share/sounds/sf2/TimGM6mb.sf2";

std::string ErrorOf(const std::string& iSoundFont) {
  try {
    const Synthesizer synthesizer(iSoundFont, 48000);
  } catch (const tool::ToolError& error) {
    return error.what();
  }
  return "no error";
}

float PeakOf(const std::vector<float>& iFrames) {
  float peak = 0;
  for (const float value : iFrames) {
    peak = std::max(peak, std::fabs(value));
  }
  return peak;
}

/// Renders a note that starts before frame 100 and ends before frame 3000, in pieces of a size.
std::vector<float> RenderNote(std::int64_t iPiece) {
  Synthesizer synthesizer(kSoundFont, 48000);
  std::vector<float> frames(2 * 6000);
  for (std::int64_t position = 0; position < 6000;) {
    if (position == 100) {
      synthesizer.Feed(Bytes{0x90, 60, 100});
    }
    if (position == 3000) {
      synthesizer.Feed(Bytes{0x80, 60, 0});
    }
    const std::int64_t next = position < 100 ? 100 : position < 3000 ? 3000 : 6000;
    const std::int64_t count = std::min(iPiece, next - position);
    synthesizer.Render(frames.data() + 2 * position, count);
    position += count;
  }
  return frames;
}

TEST(Synthesizer, PlaysANote) {
  const auto frames = RenderNote(64);
  EXPECT_GT(PeakOf(frames), 0.001f);
}

TEST(Synthesizer, PlaysTheSameWhateverThePiecesAre) {
  const auto expected = RenderNote(64);
  for (const std::int64_t piece : {1, 16, 63, 65, 100, 1024, 6000}) {
    EXPECT_EQ(RenderNote(piece), expected) << "in pieces of " << piece;
  }
}

TEST(Synthesizer, PlaysTheMessagesInRawBytes) {
  Synthesizer synthesizer(kSoundFont, 48000);
  synthesizer.Feed(Bytes{0xF3, 0x01, 0xF8, 0x90, 60, 100});
  std::vector<float> frames(2 * 4800);
  synthesizer.Render(frames.data(), 4800);
  EXPECT_GT(PeakOf(frames), 0.001f);
}

TEST(Synthesizer, PassesOverWhatIsCutShortOrMeansNothing) {
  Synthesizer synthesizer(kSoundFont, 48000);
  for (const Bytes& bytes :
       {Bytes{}, Bytes{0x90}, Bytes{0x90, 60}, Bytes{0x90, 0x91}, Bytes{0xC0}, Bytes{0xF0, 1, 2},
        Bytes{0xF0, 0xF7}, Bytes{0xF7}, Bytes{1, 2, 3}, Bytes{0xFF, 0xF2, 1, 2}}) {
    synthesizer.Feed(bytes);
  }
  std::vector<float> frames(2 * 480);
  synthesizer.Render(frames.data(), 480);
  EXPECT_LT(PeakOf(frames), 0.0001f);
}

TEST(Synthesizer, NeedsASoundFontThatIsThere) {
  const Test_TempFolder folder;
  const std::string path = folder / "none.sf2";
  EXPECT_EQ(ErrorOf(path), path + ": cannot open the sound font: No such file or directory");
}

TEST(Synthesizer, NeedsASoundFontThatIsOne) {
  const Test_TempFolder folder;
  const std::string path = folder.MakeFile("a.sf2", "none");
  EXPECT_THAT(ErrorOf(path), testing::StartsWith(path + ": not a sound font that FluidSynth can load: "));
  const std::string empty = folder.MakeFile("empty.sf2", "");
  EXPECT_EQ(ErrorOf(empty), empty + ": byte 0: cannot read the sound font: the file is empty");
  EXPECT_EQ(ErrorOf(folder.Path()), folder.Path() + ": byte 0: cannot read the sound font: Is a directory");
}

TEST(Synthesizer, KeepsItsLogToItself) {
  const Test_TempFolder folder;
  const std::string path = folder.MakeFile("a.sf2", "none");
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  ErrorOf(path);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
