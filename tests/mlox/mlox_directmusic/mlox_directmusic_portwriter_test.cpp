// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_portwriter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/mlox/mlox_directmusic/hardware_fixture.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Calls = std::vector<std::string>;
using Events = std::vector<Test_FakeEvent>;

class Mlox_DirectMusic_PortWriterTest : public ::testing::Test {
 protected:
  HRESULT Play(const Bytes& iBytes, REFERENCE_TIME iTime = 1234, DWORD iGroup = 1) {
    return Mlox_DirectMusic_PortWriter(mBuffer, mPort, iGroup)
        .Play(iTime, iBytes.data(), static_cast<int>(iBytes.size()));
  }

  Calls TakeNames() { return Test_TakeNames(mRoot.Calls()); }
  Events Played() const { return Test_EventsOn(mPort); }

  Test_FakeDirectMusic mRoot;
  Test_FakeBuffer mBuffer{mRoot.Calls(), 536};
  Test_FakePort& mPort = mRoot.AddOutput(1, "Keys");
};

const Calls kStructured{"SetStartTime", "PackStructured", "PlayBuffer", "Flush", "ResetReadPtr"};

TEST_F(Mlox_DirectMusic_PortWriterTest, MessagesOfUpToThreeBytesAreStructuredWords) {
  EXPECT_EQ(Play({0xF8}), S_OK);
  EXPECT_EQ(TakeNames(), kStructured);
  EXPECT_EQ(Play({0xC3, 7}), S_OK);
  EXPECT_EQ(TakeNames(), kStructured);
  EXPECT_EQ(Play({0x93, 60, 100}, -5, 2), S_OK);
  EXPECT_EQ(TakeNames(), kStructured);
  EXPECT_EQ(Played(), (Events{{1234, 1, true, {0xF8, 0, 0, 0}},
                              {1234, 1, true, {0xC3, 7, 0, 0}},
                              {-5, 2, true, {0x93, 60, 100, 0}}}));
  EXPECT_EQ(mBuffer.mStartTime, -5);
}

TEST_F(Mlox_DirectMusic_PortWriterTest, FourBytesAreUnstructured) {
  EXPECT_EQ(Play({0xF0, 1, 2, 0xF7}), S_OK);
  EXPECT_EQ(TakeNames(), (Calls{"SetStartTime", "PackUnstructured", "ResetReadPtr", "PlayBuffer", "Flush",
                                "ResetReadPtr", "Flush", "ResetReadPtr"}));
  EXPECT_EQ(Played(), (Events{{1234, 1, false, {0xF0, 1, 2, 0xF7}}}));
}

TEST_F(Mlox_DirectMusic_PortWriterTest, MoreThan256BytesGoOutInPiecesOfOneTime) {
  Bytes bytes(600, 5);
  bytes[256] = 6;
  bytes[512] = 7;
  EXPECT_EQ(Play(bytes, 99), S_OK);
  EXPECT_EQ(TakeNames(),
            (Calls{"SetStartTime",                                                             //
                   "PackUnstructured", "ResetReadPtr", "PlayBuffer", "Flush", "ResetReadPtr",  //
                   "PackUnstructured", "ResetReadPtr", "PlayBuffer", "Flush", "ResetReadPtr",  //
                   "PackUnstructured", "ResetReadPtr", "PlayBuffer", "Flush", "ResetReadPtr",  //
                   "Flush", "ResetReadPtr"}));
  const Events played = Played();
  ASSERT_EQ(played.size(), 3u);
  EXPECT_EQ(played[0].mBytes, Bytes(256, 5));
  EXPECT_EQ(played[1].mBytes.front(), 6);
  EXPECT_EQ(played[1].mBytes.size(), 256u);
  EXPECT_EQ(played[2].mBytes.front(), 7);
  EXPECT_EQ(played[2].mBytes.size(), 88u);
  for (const Test_FakeEvent& event : played) EXPECT_EQ(event.mTime, 99);
}

TEST_F(Mlox_DirectMusic_PortWriterTest, AStartTimeThatIsRefusedEndsTheSendWithAnEmptyBuffer) {
  mRoot.Calls().Fail("SetStartTime", E_FAIL);
  EXPECT_EQ(Play({0x90, 1, 1}), E_FAIL);
  EXPECT_EQ(TakeNames(), (Calls{"SetStartTime", "Flush", "ResetReadPtr"}));
}

TEST_F(Mlox_DirectMusic_PortWriterTest, AWordThatIsNotPackedIsNotPlayed) {
  mRoot.Calls().Fail("PackStructured", E_OUTOFMEMORY);
  EXPECT_EQ(Play({0x90, 1, 1}), E_OUTOFMEMORY);
  EXPECT_EQ(TakeNames(), (Calls{"SetStartTime", "PackStructured", "Flush", "ResetReadPtr"}));
}

TEST_F(Mlox_DirectMusic_PortWriterTest, APieceThatIsNotPackedEndsTheSend) {
  mRoot.Calls().Fail("PackUnstructured", E_OUTOFMEMORY, 1, 1);
  EXPECT_EQ(Play(Bytes(600, 5)), E_OUTOFMEMORY);
  EXPECT_EQ(Played().size(), 1u);
  EXPECT_EQ(mRoot.Calls().CountBeginning("PackUnstructured"), 2);
}

TEST_F(Mlox_DirectMusic_PortWriterTest, APieceThatIsNotPlayedDoesNotKeepBackTheNext) {
  mRoot.Calls().Fail("PlayBuffer", E_FAIL);
  EXPECT_EQ(Play(Bytes(600, 5)), E_FAIL);
  EXPECT_EQ(mRoot.Calls().CountBeginning("Keys: PlayBuffer"), 3);
}

TEST_F(Mlox_DirectMusic_PortWriterTest, TheEarliestTimeIsThatOfTheLatencyClock) {
  mPort.LatencyClock().mTime = 4242;
  REFERENCE_TIME time = 0;
  EXPECT_EQ(Mlox_DirectMusic_PortWriter::GetEarliestTime(mPort, &time), S_OK);
  EXPECT_EQ(time, 4242);
  EXPECT_EQ(mPort.LatencyClock().References(), 0) << "the clock is let go";
}

TEST_F(Mlox_DirectMusic_PortWriterTest, ALatencyClockThatIsMissingOrCannotBeReadIsAFailure) {
  REFERENCE_TIME time = 0;
  mRoot.Calls().Fail("GetTime", E_FAIL);
  EXPECT_EQ(Mlox_DirectMusic_PortWriter::GetEarliestTime(mPort, &time), E_FAIL);
  EXPECT_EQ(mPort.LatencyClock().References(), 0);
  mRoot.Calls().Fail("GetLatencyClock", S_FALSE);  // a success without a clock
  EXPECT_EQ(Mlox_DirectMusic_PortWriter::GetEarliestTime(mPort, &time), E_UNEXPECTED);
  mRoot.Calls().Fail("GetLatencyClock", E_NOTIMPL);
  EXPECT_EQ(Mlox_DirectMusic_PortWriter::GetEarliestTime(mPort, &time), E_NOTIMPL);
}

}  // namespace
