// SPDX-License-Identifier: MIT
#include "tools/mlox/render/deliveredlist.h"

#include <gtest/gtest.h>

#include "tests/support/song_builder.h"
#include "tools/mlox/song/songreader.h"

namespace {

using tool::DeliveredList;
using tool::Timeline;
using Bytes = std::vector<std::uint8_t>;

/// Samples 0, 250, 250, 500: c0 01, c0 02, c0 02, c1 03.
Timeline FourMessages() {
  const auto file = Test_OneTrackSong({0, 0xC0, 1, 1, 0xC0, 2, 0, 0xC0, 2, 1, 0xC1, 3});
  return Timeline(tool::SongReader(file).Read(), 48000, std::nullopt);
}

TEST(DeliveredList, NothingIsLateWhenAllCameAsWritten) {
  DeliveredList list;
  list.Add(0, Bytes{0xC0, 1});
  list.Add(250, Bytes{0xC0, 2});
  list.Add(250, Bytes{0xC0, 2});
  list.Add(500, Bytes{0xC1, 3});
  EXPECT_EQ(list.CountLate(FourMessages()), 0u);
}

TEST(DeliveredList, AMessageAtAnotherSampleIsLateAndNoOther) {
  DeliveredList list;
  list.Add(0, Bytes{0xC0, 1});
  list.Add(250, Bytes{0xC0, 2});
  list.Add(251, Bytes{0xC0, 2});
  list.Add(500, Bytes{0xC1, 3});
  EXPECT_EQ(list.CountLate(FourMessages()), 1u);
}

TEST(DeliveredList, ADroppedMessageMakesNoOtherLate) {
  DeliveredList list;
  list.Add(250, Bytes{0xC0, 2});
  list.Add(500, Bytes{0xC1, 3});
  EXPECT_EQ(list.CountLate(FourMessages()), 0u);
}

TEST(DeliveredList, AMessageTooOftenAndAMessageThatNobodyWroteAreLate) {
  DeliveredList list;
  list.Add(0, Bytes{0xC0, 1});
  list.Add(0, Bytes{0xC0, 1});
  list.Add(0, Bytes{0xC0, 9});
  EXPECT_EQ(list.CountLate(FourMessages()), 2u);
}

TEST(DeliveredList, WritesALineForEachMessage) {
  DeliveredList list;
  list.Add(0, Bytes{0xC0, 1});
  list.Add(1234567, Bytes{0xF0, 0x7D, 0x0A, 0xF7});
  EXPECT_EQ(list.ToText(), "0 c0 01\n1234567 f0 7d 0a f7\n");
  EXPECT_EQ(ToText(FourMessages()), "0 c0 01\n250 c0 02\n250 c0 02\n500 c1 03\n");
}

}  // namespace
