// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/soundingnotes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Message = tool::SoundingNotes::Message;

tool::SoundingNotes After(const std::vector<std::vector<std::uint8_t>>& iMessages) {
  tool::SoundingNotes notes;
  for (const auto& message : iMessages) notes.Note(message, 0);
  return notes;
}

TEST(SoundingNotes, AreThoseThatWereTurnedOnAndNotOff) {
  const auto notes =
      After({{0x90, 60, 1}, {0x9F, 127, 127}, {0x92, 61, 5}, {0x82, 61, 0}, {0x80, 61, 0}, {0x90, 0, 9}});
  EXPECT_THAT(notes.Releases(),
              ElementsAre(Message{0x80, 0, 64}, Message{0x80, 60, 64}, Message{0x8F, 127, 64}));
}

TEST(SoundingNotes, OfAKeyStruckTwiceAreTwo) {
  EXPECT_THAT(After({{0x90, 60, 1}, {0x90, 60, 1}, {0x90, 60, 1}, {0x80, 60, 1}}).Releases(),
              ElementsAre(Message{0x80, 60, 64}, Message{0x80, 60, 64}));
}

TEST(SoundingNotes, EndWithANoteOnOfVelocity0) {
  EXPECT_THAT(After({{0x90, 60, 1}, {0x90, 60, 0}, {0x90, 61, 0}}).Releases(), IsEmpty());
}

TEST(SoundingNotes, EndWithTheModesThatTurnNotesOff) {
  for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{120, 123, 124, 125, 126, 127}) {
    EXPECT_THAT(After({{0x93, 60, 1}, {0xB3, mode, 0}}).Releases(), IsEmpty()) << int{mode};
    EXPECT_THAT(After({{0x93, 60, 1}, {0xB4, mode, 0}}).Releases(), ElementsAre(Message{0x83, 60, 64}));
  }
  EXPECT_THAT(After({{0x93, 60, 1}, {0xB3, 122, 0}}).Releases(), ElementsAre(Message{0x83, 60, 64}));
}

TEST(SoundingNotes, AreHeldByPedalsUntilTheseAreUp) {
  EXPECT_THAT(After({{0xB1, 64, 64}, {0xB2, 66, 127}, {0xB3, 67, 127}}).Releases(),
              ElementsAre(Message{0xB1, 64, 0}, Message{0xB2, 66, 0}));
  EXPECT_THAT(After({{0xB1, 64, 127}, {0xB1, 64, 63}, {0xB1, 66, 64}, {0xB1, 121, 0}}).Releases(), IsEmpty());
}

// One message every 10 ms, the first at 10.
tool::SoundingNotes InTime(const std::vector<std::vector<std::uint8_t>>& iMessages) {
  tool::SoundingNotes notes;
  std::int64_t due = 0;
  for (const auto& message : iMessages) notes.Note(message, due += 10);
  return notes;
}

TEST(SoundingNotes, GoOnWhenTheirEndWasNotDueBeforeTheDeviceWent) {
  auto notes = InTime({{0x90, 60, 1}, {0xB1, 64, 127}, {0x80, 60, 64}, {0xB1, 64, 0}});
  EXPECT_THAT(notes.Releases(), IsEmpty());
  notes.Settle(20);
  notes.Lose(29);
  EXPECT_THAT(notes.Releases(), ElementsAre(Message{0x80, 60, 64}, Message{0xB1, 64, 0}));
}

TEST(SoundingNotes, DoNotBeginWhenTheyWereNotDueBeforeTheDeviceWent) {
  auto notes = InTime({{0x90, 60, 1}, {0x90, 61, 1}, {0xB0, 66, 127}});
  notes.Settle(10);
  notes.Lose(19);
  EXPECT_THAT(notes.Releases(), ElementsAre(Message{0x80, 60, 64}));
}

TEST(SoundingNotes, MayGoOnWhenTheirEndIsNotSettledBeforeTheDeviceWent) {
  const std::vector<std::vector<std::uint8_t>> messages = {{0x90, 60, 1},  {0x80, 60, 64},  {0x90, 60, 1},
                                                           {0x80, 60, 64}, {0xB1, 66, 127}, {0xB1, 121, 0}};
  auto notes = InTime(messages);
  notes.Lose(1000);
  EXPECT_THAT(notes.Releases(), ElementsAre(Message{0x80, 60, 64}, Message{0xB1, 66, 0}))
      << "the key was never down twice";
  auto settled = InTime(messages);
  settled.Settle(60);
  settled.Lose(1000);
  EXPECT_THAT(settled.Releases(), IsEmpty());
}

TEST(SoundingNotes, EndWithTheirReleases) {
  auto notes = InTime({{0x90, 60, 1}, {0xB1, 64, 127}, {0x80, 60, 64}});
  notes.Lose(20);
  for (const Message& release : notes.Releases()) notes.Note(release, 30);
  EXPECT_THAT(notes.Releases(), IsEmpty());
}

TEST(SoundingNotes, LeavePedalsThatAreReleasedAlone) {
  const auto notes = InTime({{0x90, 60, 1}, {0xB1, 64, 127}, {0xB2, 66, 127}, {0xB2, 66, 0}, {0xBF, 66, 64}});
  EXPECT_THAT(notes.PedalReleases(), ElementsAre(Message{0xB1, 64, 0}, Message{0xBF, 66, 0}));
}

TEST(SoundingNotes, AreNoMatterOfOtherMessages) {
  EXPECT_THAT(
      After({{}, {0xC0, 60}, {0xD0, 60}, {0xE0, 60, 1}, {0xA0, 60, 1}, {0xF0, 0x7D, 0xF7}}).Releases(),
      IsEmpty());
}

}  // namespace
