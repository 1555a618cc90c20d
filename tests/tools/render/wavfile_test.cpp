// SPDX-License-Identifier: MIT
#include "tools/mlox/render/wavfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using tool::WavFile;

std::uint32_t Little(const std::string& iBytes, std::size_t iOffset, int iCount) {
  std::uint32_t value = 0;
  for (int i = iCount - 1; i >= 0; --i) {
    value = (value << 8) | static_cast<std::uint8_t>(iBytes[iOffset + static_cast<std::size_t>(i)]);
  }
  return value;
}

TEST(WavFile, HoldsFloatsOfTwoChannelsAndNoTimeOfDay) {
  const Test_TempFolder folder;
  WavFile wav(folder / "a.wav", 44100);
  const float frames[] = {0.5f, -0.25f, 1.0f, 0.0f};
  wav.Write(frames, 2);
  wav.TakeName();
  wav.Keep();
  const std::string bytes = Test_ReadFile(folder / "a.wav");
  ASSERT_GT(bytes.size(), 44u);
  EXPECT_EQ(bytes.substr(0, 4), "RIFF");
  EXPECT_EQ(Little(bytes, 4, 4), bytes.size() - 8);
  EXPECT_EQ(bytes.substr(8, 8), "WAVEfmt ");
  EXPECT_EQ(Little(bytes, 20, 2), 3u) << "the format of floats";
  EXPECT_EQ(Little(bytes, 22, 2), 2u) << "channels";
  EXPECT_EQ(Little(bytes, 24, 4), 44100u);
  EXPECT_EQ(Little(bytes, 34, 2), 32u) << "bits a sample";
  EXPECT_EQ(bytes.find("PEAK"), std::string::npos);
  const std::size_t data = bytes.find("data");
  ASSERT_NE(data, std::string::npos);
  EXPECT_EQ(Little(bytes, data + 4, 4), 16u);
  EXPECT_EQ(Little(bytes, data + 8, 4), 0x3F000000u) << "0.5";
  EXPECT_EQ(Little(bytes, data + 12, 4), 0xBE800000u) << "-0.25";
}

TEST(WavFile, LeavesNothingWithoutAName) {
  const Test_TempFolder folder;
  {
    WavFile wav(folder / "a.wav", 44100);
    const float frame[] = {0, 0};
    wav.Write(frame, 1);
  }
  EXPECT_THAT(Test_NamesIn(folder.Path()), testing::IsEmpty());
}

TEST(WavFile, HasItsNameForGoodOnlyWhenItIsKept) {
  const Test_TempFolder folder;
  for (const bool isKept : {true, false}) {
    folder.MakeFile("a.wav", "old");
    {
      WavFile wav(folder / "a.wav", 44100);
      wav.TakeName();
      EXPECT_EQ(Test_ReadFile(folder / "a.wav").substr(0, 4), "RIFF");
      if (isKept) wav.Keep();
    }
    EXPECT_EQ(Test_ReadFile(folder / "a.wav").substr(0, 4), isKept ? "RIFF" : "old");
    EXPECT_THAT(Test_NamesIn(folder.Path()), testing::ElementsAre("a.wav"));
  }
}

}  // namespace
