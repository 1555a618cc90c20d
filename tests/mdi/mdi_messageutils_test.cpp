// SPDX-License-Identifier: MIT
#include "mdi/mdi_messageutils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/support/assert_recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Mdi_SetChannel, ReplacesTheLowNibble) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(0x90, Mdi_SetChannel(0x93, 0));
  EXPECT_EQ(0x95, Mdi_SetChannel(0x91, 5));
  EXPECT_EQ(0xE2, Mdi_SetChannel(0xEF, 2));
  EXPECT_EQ(0x8F, Mdi_SetChannel(0x80, 15));
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdi_SetChannel, ReportsAChannelOutOfRangeFromItsSourceAndUsesIt) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(0x90, Mdi_SetChannel(0x85, 16));  // 0x80 OR 0x10
  EXPECT_EQ(0xFF, Mdi_SetChannel(0x91, -1));
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("iChannel >= 0 && iChannel <= 15", "iChannel >= 0 && iChannel <= 15"));
  EXPECT_EQ("mdi/mdi_messageutils", recorder.Reports().at(0).mSource);
  EXPECT_FALSE(recorder.Reports().at(0).mThrowing);
}

TEST(Mdi_IsChannelStatus, IsTrueFrom80ToEF) {
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(byte >= 0x80 && byte <= 0xEF, Mdi_IsChannelStatus(static_cast<unsigned char>(byte))) << byte;
  }
}

TEST(Mdi_GetMessageLength, FollowsTheTableOfStatusBytes) {
  EXPECT_EQ(3, Mdi_GetMessageLength(0x80, nullptr));
  EXPECT_EQ(3, Mdi_GetMessageLength(0xBF, nullptr));
  EXPECT_EQ(2, Mdi_GetMessageLength(0xC0, nullptr));
  EXPECT_EQ(2, Mdi_GetMessageLength(0xDF, nullptr));
  EXPECT_EQ(3, Mdi_GetMessageLength(0xE0, nullptr));
  EXPECT_EQ(0, Mdi_GetMessageLength(0xF0, nullptr));
  EXPECT_EQ(2, Mdi_GetMessageLength(0xF1, nullptr));
  EXPECT_EQ(3, Mdi_GetMessageLength(0xF2, nullptr));
  EXPECT_EQ(1, Mdi_GetMessageLength(0xF6, nullptr));
}

TEST(Mdi_ClassifySysexPiece, GivesTheClassOfThePieceAndTheNextState) {
  const std::vector<unsigned char> first = {0xF0, 1};
  const Mdi_SysexStep step = Mdi_ClassifySysexPiece(Mdi_cNoSysex, first.data(), 2);
  EXPECT_EQ(Mdi_cFirstSysex, step.mPiece);
  EXPECT_EQ(Mdi_cFirstSysex, step.mNext);
  const std::vector<unsigned char> last = {2, 0xF7};
  const Mdi_SysexStep end = Mdi_ClassifySysexPiece(step.mNext, last.data(), 2);
  EXPECT_EQ(Mdi_cLastSysex, end.mPiece);
  EXPECT_EQ(Mdi_cNoSysex, end.mNext);
}

}  // namespace
