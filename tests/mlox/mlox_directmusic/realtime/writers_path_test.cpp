// SPDX-License-Identifier: MIT
// A short message takes no memory on its way to a hardware port, from the writer's call to the return of
// PlayBuffer, through the real root, port and buffer over the loopback driver.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicclocksync.h"
#include "mlox/mlox_directmusic/enumports.h"
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"
#include "mlox/mlox_directmusic/mlox_directmusic_output.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "tests/mlox/mlox_directmusic/hardware_fixture.h"
#include "tests/support/realtime/realtime_traps.h"
#include "tests/support/test_environment.h"

namespace {

constexpr int kMessages = 1000;

// Kept from the optimiser, which may leave out an allocation that nobody looks at.
void* volatile sKept = nullptr;

std::uint64_t AllocationsOf(const std::function<void()>& iFunction) {
  Test_ClearTraps();
  const Test_TrapScope traps;
  iFunction();
  return Test_TrapScope::Caught().mAllocations;
}

/// Asks for each message when it is due: at the start of the clock, so at once.
class AppCallback final : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};

class WritersPathTest : public ::testing::Test {
 protected:
  WritersPathTest() {
    mRootP = DirectMusicClient::GetDirectMusicPtr(true);
    mClockP = DirectMusicClockSync::Acquire();
    Mlox_DirectMusic_ServiceHandle::Singleton().Attach(reinterpret_cast<Mlox_DirectMusic_Service*>(this));
    EnumPorts(*mRootP, [this](const DMUS_PORTCAPS& iCaps) {
      if (iCaps.dwClass != DMUS_PC_OUTPUTCLASS || mPortP != nullptr) return;
      DMUS_PORTPARAMS8 params = {};
      params.dwSize = sizeof(params);
      mRootP->CreatePort(iCaps.guidPort, &params, &mPortP, nullptr);
    });
  }
  ~WritersPathTest() override {
    Mlox_DirectMusic_ServiceHandle::Singleton().Detach();
    mOutput = nullptr;
    if (mPortP != nullptr) {
      mPortP->Activate(FALSE);
      mPortP->Release();
    }
    mClockP->Release();
    mRootP->Release();
  }

  void SetUp() override {
    ASSERT_NE(mPortP, nullptr) << "no loopback port";
    ASSERT_EQ(mPortP->Activate(TRUE), S_OK);
    mOutput = new Mlox_DirectMusic_Output(&mAppCallback, &mDevice, 2, mPortP, 1, &mAllocator);
    // A port that refuses would take no memory either.
    ASSERT_EQ(Test_DirectMusicOutputAccess::SendBytes(*mOutput, true, 0, {0x92, 60, 100}), S_OK);
  }

  // What the first call of a kind sets up, such as what belongs to the thread, isn't counted.
  std::uint64_t AllocationsAfterTheFirst(const std::function<void()>& iWrite) {
    iWrite();
    return AllocationsOf([&] {
      for (int message = 0; message < kMessages; ++message) iWrite();
    });
  }

  Test_Environment mDrivers{"MLOX_MIDI_DRIVERS", "loopback"};
  IDirectMusic8* mRootP = nullptr;
  DirectMusicClockSync* mClockP = nullptr;
  IDirectMusicPort* mPortP = nullptr;
  AppCallback mAppCallback;
  Mem2_MasterAllocator mAllocator;
  Mlox_DirectMusic_Device mDevice{&mAppCallback, nullptr, nullptr, nullptr, &mAllocator};
  Cmn_AliasedRefCountPtr<Mlox_DirectMusic_Output> mOutput;
};

TEST_F(WritersPathTest, TheTrapCatchesAPlantedAllocation) {
  EXPECT_GT(AllocationsOf([] {
              int* const plantedP = new int(1);
              sKept = plantedP;
              delete plantedP;
            }),
            0u);
}

TEST_F(WritersPathTest, AnImmediateShortMessageTakesNoMemory) {
  const Mdie_NoteOnEvent event(60, 100);
  EXPECT_EQ(AllocationsAfterTheFirst(
                [&] { mOutput->WriteEvent(Mdie_Timestamp(), event, Mlox_OutputContextRef()); }),
            0u);
}

TEST_F(WritersPathTest, ATimedShortMessageTakesNoMemory) {
  const Mdie_ControllerEvent event(7, 100);
  EXPECT_EQ(AllocationsAfterTheFirst(
                [&] { mOutput->WriteEvent(Mdie_Timestamp(Time_Sample(1)), event, Mlox_OutputContextRef()); }),
            0u);
}

TEST_F(WritersPathTest, AnEventOfSeveralMessagesTakesNoMemory) {
  const Mdie_ProgramEvent event(5, 130);
  EXPECT_EQ(AllocationsAfterTheFirst(
                [&] { mOutput->WriteEvent(Mdie_Timestamp(), event, Mlox_OutputContextRef()); }),
            0u);
}

TEST_F(WritersPathTest, ALimitedSysexTakesNoMemory) {
  const std::vector<unsigned char> body(253, 1);
  EXPECT_EQ(AllocationsAfterTheFirst(
                [&] { mOutput->WriteLimitedSysex(body.data(), 253, Mlox_OutputContextRef()); }),
            0u);
}

// Its temporary buffer comes from the pool that the output was given.
TEST_F(WritersPathTest, ARawWriteTakesNoMemoryButOfThePool) {
  const unsigned char bytes[] = {0x90, 60, 100, 61, 100};
  EXPECT_EQ(
      AllocationsAfterTheFirst([&] { mOutput->WriteRawMIDI(bytes, sizeof(bytes), Mlox_OutputContextRef()); }),
      0u);
}

}  // namespace
