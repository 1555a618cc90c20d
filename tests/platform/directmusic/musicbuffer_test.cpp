// SPDX-License-Identifier: MIT
#include "platform/directmusic/musicbuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

class MusicBuffer : public ::testing::Test {
 protected:
  ~MusicBuffer() override { mBufferP->Release(); }

  HRESULT Pack(REFERENCE_TIME iTime, std::vector<BYTE> iBytes) {
    return mBufferP->PackUnstructured(iTime, 1, static_cast<DWORD>(iBytes.size()), iBytes.data());
  }
  // The next event's bytes; its time goes to mTime. Empty at the end.
  std::vector<BYTE> Next() {
    DWORD length = 0;
    BYTE* dataP = nullptr;
    if (mBufferP->GetNextEvent(&mTime, &mGroup, &length, &dataP) != S_OK) {
      return {};
    }
    return {dataP, dataP + length};
  }

  Platform_MusicBuffer* mBufferP = new Platform_MusicBuffer(48);
  REFERENCE_TIME mTime = 0;
  DWORD mGroup = 0;
};

TEST_F(MusicBuffer, HoldsEventsWithHeadersOfTwentyBytesInEights) {
  EXPECT_EQ(Pack(5, {0x90, 60, 100}), S_OK);
  DWORD used = 0;
  EXPECT_EQ(mBufferP->GetUsedBytes(&used), S_OK);
  EXPECT_EQ(used, 24u);
  EXPECT_EQ(Pack(5, {0xF0, 1, 2, 3, 0xF7}), E_OUTOFMEMORY) << "25 bytes take 32, and 24 are left";
  EXPECT_EQ(Pack(7, {0xC0, 1}), S_OK);
  EXPECT_EQ(Pack(8, {0xF8}), E_OUTOFMEMORY);
  EXPECT_EQ(Next(), (std::vector<BYTE>{0x90, 60, 100}));
  EXPECT_EQ(mTime, 5);
  EXPECT_EQ(mGroup, 1u);
  EXPECT_EQ(Next(), (std::vector<BYTE>{0xC0, 1}));
  EXPECT_EQ(mTime, 7);
  EXPECT_EQ(Next(), std::vector<BYTE>{});
  mBufferP->ResetReadPtr();
  EXPECT_EQ(Next(), (std::vector<BYTE>{0x90, 60, 100}));
  mBufferP->Flush();
  EXPECT_EQ(Next(), std::vector<BYTE>{});
}

TEST_F(MusicBuffer, TimesGoByTheStartTimeWithoutOverflow) {
  mBufferP->SetStartTime(INT64_MAX);
  EXPECT_EQ(Pack(INT64_MIN, {0xF8}), S_OK);
  EXPECT_EQ(Next(), std::vector<BYTE>{0xF8});
  EXPECT_EQ(mTime, INT64_MIN);
}

TEST_F(MusicBuffer, NothingIsPackedOfNothing) {
  BYTE byte = 0xF8;
  EXPECT_EQ(mBufferP->PackUnstructured(0, 1, 0, &byte), E_INVALIDARG);
  EXPECT_EQ(mBufferP->PackUnstructured(0, 1, 1, nullptr), E_INVALIDARG);
}

TEST_F(MusicBuffer, BytesThatAreNoEventEndTheReading) {
  BYTE* rawP = nullptr;
  ASSERT_EQ(mBufferP->GetRawBufferPtr(&rawP), S_OK);
  std::memset(rawP, 0xFF, 48);  // an event of 4 GB
  EXPECT_EQ(mBufferP->SetUsedBytes(48), S_OK);
  EXPECT_EQ(Next(), std::vector<BYTE>{});
  EXPECT_EQ(mBufferP->SetUsedBytes(19), S_OK);
  EXPECT_EQ(Next(), std::vector<BYTE>{}) << "less than a header";
  EXPECT_EQ(mBufferP->SetUsedBytes(49), E_INVALIDARG);
}

}  // namespace
