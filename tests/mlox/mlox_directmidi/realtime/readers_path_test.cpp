// SPDX-License-Identifier: MIT
// The plug-in's audio thread takes no memory and no lock, and doesn't enter the system, whatever it pulls.
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include "cmn/cmn_assert.h"
#include "mlox/mlox_directmidi/idirectmidiclientinput.h"
#include "mlox/mlox_directmidi/idirectmidiinputreceivemidi.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverymessage.h"
#include "mlox/mlox_directmidi/mlox_dm_directdelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_directmidi/mlox_dm_timedevent.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"
#include "tests/mlox/mlox_directmidi/direct_client.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/realtime/realtime_traps.h"

namespace {

// Kept from the optimiser, which may leave out an allocation that nobody looks at.
void* volatile sKept = nullptr;

Test_TrapCounts CatchHere(const std::function<void()>& iFunction) {
  Test_ClearTraps();
  const Test_TrapScope traps;
  iFunction();
  return Test_TrapScope::Caught();
}

// ---- each trap catches a planted violation ----

TEST(RealtimeTrapsTest, ACallThatDoesNothingIsClean) {
  EXPECT_EQ(CatchHere([] {}), Test_TrapCounts{});
  EXPECT_EQ(Test_RunTrapped([] {}), Test_TrapCounts{});
}

TEST(RealtimeTrapsTest, APlantedNewAndDeleteAreCaught) {
  EXPECT_EQ(CatchHere([] {
              int* const planted = new int(1);
              sKept = planted;
              delete planted;
            }).mAllocations,
            2u);
}

TEST(RealtimeTrapsTest, PlantedCallsOfTheMallocFamilyAreCaught) {
  EXPECT_EQ(CatchHere([] {
              sKept = std::malloc(10);
              sKept = std::realloc(sKept, 5000);
              std::free(sKept);
              sKept = std::calloc(3, 5);
              std::free(sKept);
              sKept = std::aligned_alloc(64, 64);
              std::free(sKept);
              sKept = memalign(64, 64);
              std::free(sKept);
              void* alignedP = nullptr;
              if (posix_memalign(&alignedP, 64, 64) == 0) std::free(alignedP);
              sKept = nullptr;
            }).mAllocations,
            11u);
}

TEST(RealtimeTrapsTest, APlantedAlignedNewIsCaught) {
  struct alignas(64) Line {
    char mBytes[64];
  };
  EXPECT_EQ(CatchHere([] {
              Line* const planted = new Line;
              sKept = planted;
              delete planted;
            }).mAllocations,
            2u);
}

TEST(RealtimeTrapsTest, PlantedLocksAreCaught) {
  std::mutex mutex;
  EXPECT_EQ(CatchHere([&] { const std::lock_guard lock(mutex); }).mLocks, 2u);
  EXPECT_EQ(CatchHere([&] {
              if (mutex.try_lock()) mutex.unlock();
            }).mLocks,
            2u);
  std::shared_mutex shared;
  EXPECT_EQ(CatchHere([&] {
              shared.lock();
              shared.unlock();
              shared.lock_shared();
              shared.unlock_shared();
            }).mLocks,
            4u);
  pthread_spinlock_t spin;
  pthread_spin_init(&spin, PTHREAD_PROCESS_PRIVATE);
  EXPECT_EQ(CatchHere([&] { pthread_spin_lock(&spin); }).mLocks, 1u);
  pthread_spin_unlock(&spin);
  sem_t semaphore;
  sem_init(&semaphore, 0, 1);
  EXPECT_EQ(CatchHere([&] { sem_wait(&semaphore); }).mLocks, 1u);
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  EXPECT_EQ(CatchHere([&] { pthread_cond_signal(&condition); }).mLocks, 1u);
  EXPECT_EQ(CatchHere([&] { pthread_cond_broadcast(&condition); }).mLocks, 1u);
  EXPECT_EQ(CatchHere([&] { sem_post(&semaphore); }).mLocks, 1u);
  EXPECT_EQ(CatchHere([&] { sem_trywait(&semaphore); }).mLocks, 1u);
  EXPECT_EQ(CatchHere([&] {
              if (shared.try_lock()) shared.unlock();
              if (shared.try_lock_shared()) shared.unlock_shared();
            }).mLocks,
            4u);
  std::timed_mutex timed;
  EXPECT_EQ(CatchHere([&] {
              if (timed.try_lock_for(std::chrono::seconds(1))) timed.unlock();
            }).mLocks,
            2u);
  pthread_mutex_t plain = PTHREAD_MUTEX_INITIALIZER;
  const timespec longAgo{};
  EXPECT_EQ(CatchHere([&] { pthread_mutex_timedlock(&plain, &longAgo); }).mLocks, 1u);
  pthread_mutex_unlock(&plain);
}

TEST(RealtimeTrapsTest, APlantedWaitForAConditionIsCaught) {
  std::mutex mutex;
  std::condition_variable condition;
  bool isDone = false;
  std::thread signaller;
  {
    std::unique_lock lock(mutex);
    signaller = std::thread([&] {
      const std::lock_guard waiting(mutex);
      isDone = true;
      condition.notify_one();
    });
    EXPECT_GE(CatchHere([&] {
                while (!isDone) condition.wait(lock);
              }).mLocks,
              1u);
  }
  signaller.join();
}

TEST(RealtimeTrapsTest, APlantedSystemCallIsCaughtAndRefused) {
  long result = 0;
  const auto caught = Test_RunTrapped([&] { result = syscall(SYS_getppid); });
  EXPECT_EQ(caught.mSystemCalls, 1u);
  EXPECT_EQ(caught.mLastSystemCall, SYS_getppid);
  EXPECT_EQ(result, -1);
}

TEST(RealtimeTrapsTest, APlantedSleepWriteAndYieldAreCaught) {
  const auto caught = Test_RunTrapped([] {
    usleep(1);
    [[maybe_unused]] const auto written = write(2, "", 0);
    std::this_thread::yield();
  });
  EXPECT_EQ(caught.mSystemCalls, 3u);
}

TEST(RealtimeTrapsTest, APlantedAllocationOnATrappedThreadIsCaughtToo) {
  const auto caught = Test_RunTrapped([] {
    int* const planted = new int(1);
    sKept = planted;
    delete planted;
  });
  EXPECT_EQ(caught.mAllocations, 2u);
}

TEST(RealtimeTrapsTest, WithoutTheRealTimeMarkAReportIsCaught) {
  const auto caught = Test_RunTrapped([] {
    // The same check that the reader's path makes, on a thread that isn't marked.
    Cmn_Assert::HandleMagicAssertNoThrow(true, "planted@$^$@tests/readers_path_test", __LINE__);
  });
  EXPECT_GT(caught.mSystemCalls + caught.mLocks + caught.mAllocations, 0u);
}

// ---- the reader's path ----

class ReadersPathTest : public ::testing::Test {
 protected:
  // Everything that a plug-in does with a block, reading each message whole and in part.
  static void PullAndRead(Mlox_DM_BufferedDelivery& ioDelivery, int64_t iStart, int64_t iEnd,
                          uint64_t& ioPulled) {
    static thread_local std::array<signed char, 4096> tBuffer;
    while (IDirectMIDIMessage* const messageP = ioDelivery.GetNextMessageInSampleRange(iStart, iEnd)) {
      const int32_t length = messageP->GetMessageLength();
      messageP->GetMessageData(tBuffer.data());
      messageP->GetPartialMessageData(tBuffer.data(), length / 2, length - length / 2);
      ioPulled += messageP->GetSampleTime() >= 0 ? 1u : 0u;
      messageP->Release();
    }
  }

  // What a block has: every kind of event, some of them late.
  void WriteBlock(int64_t iStart) {
    for (std::size_t context = 0; context < 3; ++context) {
      mDelivery.Write(iStart + 1, Mdie_NoteOnEvent(60, 100), context);
      mDelivery.Write(iStart + 2, Test_BankAndProgram(1, 2, 3), context);
      mDelivery.Write(iStart + 3, Test_Sysex(2000), context);
      mDelivery.Write(iStart + 4, Mdie_Event(), context);
    }
    mDelivery.Write(iStart - 50, Mdie_NoteOnEvent(61, 100), 1);
    mDelivery.WriteNow(Mdie_NoteOnEvent(62, 100));
    mDelivery.WriteNow(Test_BankAndProgram(4, 5, 6));
    mDelivery.WriteNow(Test_Sysex(300));
  }

  Test_AssertRecorder mRecorder;
  Test_Delivery mDelivery;
};

TEST_F(ReadersPathTest, PullingEveryKindOfEventWithItsReportsIsClean) {
  constexpr int64_t kBlocks = 20;
  for (int64_t block = 0; block < kBlocks; ++block) WriteBlock(block * 64 + 64);
  uint64_t pulled = 0;
  const auto caught = Test_RunTrapped([&] {
    for (int64_t block = 0; block < kBlocks + 3; ++block)
      PullAndRead(*mDelivery, block * 64, block * 64 + 63, pulled);
  });
  EXPECT_EQ(caught, Test_TrapCounts{}) << "system call " << caught.mLastSystemCall;
  // A block: three notes, three programs of three messages, three sysexes, one late note; one immediate note,
  // one program, one sysex.
  EXPECT_EQ(pulled, static_cast<uint64_t>(kBlocks) * 21);
  EXPECT_GT(mRecorder.Count("it != end(mQueueHeads)"), 0) << "the reports were made";
  EXPECT_EQ(mDelivery.InUse(), 0u) << "and long sysexes freed";
}

TEST_F(ReadersPathTest, PullsWhileMessagesAreHeldAreCleanWithTheirReports) {
  WriteBlock(64);
  uint64_t held = 0;
  const auto caught = Test_RunTrapped([&] {
    // Pulled without a release in between, each one reports.
    while (mDelivery->GetNextMessageInSampleRange(0, 200) != nullptr) ++held;
  });
  EXPECT_EQ(caught, Test_TrapCounts{}) << "system call " << caught.mLastSystemCall;
  EXPECT_EQ(held, 21u);
  EXPECT_EQ(mRecorder.Count("mMessageP->GetInterfaceRefCount() == 0"), 20);
  // The destruction reports what is still held once more; here it is given back first.
  IDirectMIDIMessage* messageP = nullptr;
  mDelivery.WriteNow(Mdie_NoteOnEvent(60, 100));
  messageP = mDelivery->GetNextMessageInSampleRange(0, 200);
  ASSERT_NE(messageP, nullptr);
  while (messageP->Release() > 0) {
  }
}

TEST_F(ReadersPathTest, ReadingWhatIsReportedIsClean) {
  Mlox_DM_DeliveryMessage message;
  const Mlox_DM_TimedEvent record{Test_At(-5), Mdie_NoteOnEvent(60, 100)};
  signed char bytes[3] = {};
  const auto caught = Test_RunTrapped([&] {
    message.Set(&record, 0, 77);
    message.GetMessageData(bytes);
    message.GetSampleTime();
    void* resultP = nullptr;
    message.QueryInterface(IDirectMIDIMessage::kUID, &resultP);
    message.Release();
  });
  EXPECT_EQ(caught, Test_TrapCounts{}) << "system call " << caught.mLastSystemCall;
  EXPECT_EQ(mRecorder.Count("iChannel >= 0 && iChannel <= 15"), 1);
  EXPECT_EQ(mRecorder.Count("result >= 0"), 1);
}

TEST_F(ReadersPathTest, PullingWhileWritersWriteAndOthersStopIsCleanWithItsReports) {
  std::atomic<bool> stop{false}, timeUp{false};
  std::atomic<int64_t> now{0};
  std::atomic<uint64_t> written{0}, stops{0};
  std::vector<std::thread> threads;
  for (std::size_t context = 0; context < 3; ++context) {
    threads.emplace_back([&, context] {
      while (!stop) {
        const int64_t time = now + 100;
        mDelivery.Write(time, Test_Sysex(1000), context);
        mDelivery.Write(time, Test_BankAndProgram(1, 2, 3), context);
        mDelivery.Write(time - 300, Mdie_NoteOnEvent(60, 100), context);
        mDelivery.WriteNow(Test_BankAndProgram(1, 2, 3));
        written += 4;
        while (!stop && written > 4 * static_cast<uint64_t>(now) + 4000) std::this_thread::yield();
      }
    });
  }
  threads.emplace_back([&] {
    while (!stop) {
      mDelivery->ClearQueues();
      ++stops;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  threads.emplace_back([&] {
    for (int tenths = 0; tenths < 600 && !stop; ++tenths)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    timeUp = true;
  });
  uint64_t pulled = 0;
  const auto caught = Test_RunTrapped([&] {
    while (!timeUp && (pulled < 60000 || stops < 100)) {
      const int64_t start = now;
      PullAndRead(*mDelivery, start, start + 15, pulled);
      now = start + 16;
    }
  });
  stop = true;
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(caught, Test_TrapCounts{}) << "system call " << caught.mLastSystemCall;
  EXPECT_GT(pulled, 1000u);
  EXPECT_GT(stops, 10u);
  std::printf("%llu messages pulled past %llu stops, %llu events written\n",
              static_cast<unsigned long long>(pulled), static_cast<unsigned long long>(stops),
              static_cast<unsigned long long>(written));
}

// ---- the way of what a plug-in sends ----

constexpr char kAssertSource[] = "tests/readers_path_test";

/// An application's receiver that is fit for an audio thread, and may report on it.
class ReceiverOfATest : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    mBytes += iDataP->mLength;
    mFirstBytes += iDataP->mData[0];
    if (mReports) CMN_ASSERT_FROM(kAssertSource, false, "a receiver's report");
    return mResult;
  }
  uint64_t mBytes = 0, mFirstBytes = 0;
  bool mReports = false;
  int mResult = 0;
};

class SendersPathTest : public ::testing::Test {
 protected:
  SendersPathTest() {
    Mlox_Manager* const managerP = Mlox_Manager::Singleton();
    auto* const serviceP = new Mlox_DM_Service(nullptr, &mAllocator, nullptr);
    managerP->AddService(serviceP, 1);
    mNodeP = serviceP->CreateClientInput("Keys");
    void* receiveP = nullptr;
    mNodeP->QueryInterface(IDirectMIDIInputReceiveMIDI::kUID, &receiveP);
    mReceiveP = static_cast<IDirectMIDIInputReceiveMIDI*>(receiveP);
    mPortP.reset(managerP->CreateInputPort(&mReceiver));
    managerP->GetNumberOfInputs();
    mInputs = {managerP->GetInput(0)};
  }
  ~SendersPathTest() override {
    mPortP->CloseCurrentConnections();
    mPortP.reset();
    mReceiveP->Release();
    mNodeP->Release();
    mInputs.clear();
    Mlox_Manager::Singleton()->RemoveAllServices();
  }

  // One message in each of the ways there are; how many were taken.
  int SendAll() {
    static constexpr std::array<unsigned char, 3> kNote = {0x90, 60, 100};
    static constexpr std::array<unsigned char, 4096> kLong = {0xF0};
    int taken = 0;
    for (const int64_t time : {int64_t{-1}, int64_t{0}, int64_t{1000}}) {
      taken += mReceiveP->ReceiveMIDI(kNote.data(), 3, time) ? 1 : 0;
      taken += mReceiveP->ReceiveMIDI(kLong.data(), 4096, time) ? 1 : 0;
      taken += mReceiveP->ReceiveMIDISpecial(kLong.data(), 4096, time) ? 1 : 0;
    }
    return taken;
  }

  Test_AssertRecorder mRecorder;
  Mem2_MasterAllocator mAllocator;
  ReceiverOfATest mReceiver;
  IDirectMIDIClientInput* mNodeP = nullptr;
  IDirectMIDIInputReceiveMIDI* mReceiveP = nullptr;
  std::unique_ptr<Mlox_InputPort> mPortP;
  Mlox_InputList mInputs;
};

TEST_F(SendersPathTest, ReceivingWithAConnectionIsClean) {
  mPortP->ConnectToInputs(mInputs);
  int taken = 0;
  const auto caught = Test_RunTrapped([&] { taken = SendAll(); });
  EXPECT_EQ(caught, Test_TrapCounts{}) << "system call " << caught.mLastSystemCall;
  EXPECT_EQ(taken, 9);
  EXPECT_EQ(mReceiver.mBytes, 3u * (3 + 4096 + 4096));
  EXPECT_EQ(mReceiver.mFirstBytes, 3u * (0x90 + 0xF0 + 0xF0));
}

TEST_F(SendersPathTest, ReceivingWhatTheReceiverRefusesIsClean) {
  mReceiver.mResult = 1;
  mPortP->ConnectToInputs(mInputs);
  int taken = -1;
  const auto caught = Test_RunTrapped([&] { taken = SendAll(); });
  EXPECT_EQ(caught, Test_TrapCounts{}) << "system call " << caught.mLastSystemCall;
  EXPECT_EQ(taken, 0);
  EXPECT_GT(mReceiver.mBytes, 0u);
}

TEST_F(SendersPathTest, ReceivingWithoutAConnectionIsClean) {
  int taken = -1;
  const auto caught = Test_RunTrapped([&] { taken = SendAll(); });
  EXPECT_EQ(caught, Test_TrapCounts{}) << "system call " << caught.mLastSystemCall;
  EXPECT_EQ(taken, 0);
  EXPECT_EQ(mReceiver.mBytes, 0u);
}

TEST_F(SendersPathTest, AReportThatTheReceiverMakesIsClean) {
  mReceiver.mReports = true;
  mPortP->ConnectToInputs(mInputs);
  const auto caught = Test_RunTrapped([&] { SendAll(); });
  EXPECT_EQ(caught, Test_TrapCounts{}) << "system call " << caught.mLastSystemCall;
  EXPECT_EQ(mRecorder.Count("a receiver's report"), 9);
}

// ---- the writer's path ----

TEST_F(ReadersPathTest, AWriteTakesNoLockAndNoMemoryButABlockOfThePool) {
  const Mdie_NoteOnEvent note(60, 100);
  const Mdie_SysexEvent sysex = Test_Sysex(2000);
  const auto caught = CatchHere([&] {
    mDelivery.Write(1, note);
    mDelivery.Write(2, sysex);
    mDelivery.WriteNow(note);
    mDelivery.WriteNow(sysex);
  });
  EXPECT_EQ(caught, Test_TrapCounts{});
  EXPECT_EQ(mDelivery.InUse(), 4u);
  EXPECT_EQ(mDelivery.Pull(0, 63).size(), 4u);
}

TEST_F(ReadersPathTest, ADirectWriteTakesNoLockAndNoMemoryButABlockOfThePool) {
  Test_DirectClient client;
  client.mKeepsWhatItReads = false;
  Mlox_DM_DirectDelivery delivery(&client);
  const Mdie_ProgramEvent program = Test_BankAndProgram(1, 2, 3);
  const Mdie_SysexEvent sysex = Test_Sysex(2000);
  const auto caught = CatchHere([&] {
    delivery.WriteEvent(Test_At(1), program, 3, Mlox_OutputContextRef());
    delivery.WriteEvent(Test_At(1), sysex, 3, Mlox_OutputContextRef());
  });
  EXPECT_EQ(caught, Test_TrapCounts{});
  EXPECT_EQ(mRecorder.Count(), 0) << "each message was given back";
}

}  // namespace
