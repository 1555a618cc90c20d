// SPDX-License-Identifier: MIT
// Writers that never pause against a reader, and against everything that takes something away from them:
// stops, renames, changes of delivery, releases and new nodes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_directmidi/idirectmidioutput_directdeliveryclient.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_output.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/dm_fixture.h"

namespace {

constexpr int kWriters = 4;
constexpr int kNodes = 2;

std::chrono::milliseconds Duration() {
  const char* const textP = std::getenv("MLOX_STRESS_SECONDS");
  return std::chrono::milliseconds(textP == nullptr ? 3000 : 1000 * std::atoi(textP));
}

// Called on the writers' threads. It lives as long as the process: a write may end in it after it was
// replaced.
class CountingClient final : public IDirectMIDIOutput_DirectDeliveryClient {
 public:
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
    mReceived.fetch_add(1, std::memory_order_relaxed);
    iMessageP->Release();
  }
  std::atomic<uint64_t> mReceived{0};
};

// A plug-in's node as the main thread holds it, and what it shows to writers and to the reader.
struct Node {
  IDirectMIDIClientOutput* mOutputP = nullptr;
  IDirectMIDIOutputDeliverySetup* mSetupP = nullptr;
  Mlox_DM_Device* mDeviceP = nullptr;
  Cmn_AliasedRefCountPtr<Mlox_Output> mChannelOutput;
  // Read by writers inside an epoch.
  std::atomic<Mlox_Output*> mPublishedP{nullptr};
  // Handed to the reader with its reference, which the reader drops when it takes the next one.
  std::atomic<IDirectMIDIBufferedDelivery*> mForReaderP{nullptr};
};

// One kind of what the main thread does: how often, and how often some thread was inside a write to the node.
struct Meeting {
  const char* mNameP;
  int mDone = 0;
  int mMet = 0;
};

class PluginSideStressTest : public ::testing::Test {
 protected:
  PluginSideStressTest() {
    mManager.RemoveAllServices();
    mServiceP = new Mlox_DM_Service(nullptr, &Allocator(), nullptr);
    mManager.AddService(mServiceP, 1);
    for (int node = 0; node < kNodes; ++node) MakeNode(node);
  }

  ~PluginSideStressTest() override {
    mManager.RemoveAllServices();
    mManager.CheckStudioSetup();
  }

  // Outlives every delivery, also those that wait for their deletion.
  static Mem2_MasterAllocator& Allocator() {
    static Mem2_MasterAllocator sAllocator;
    return sAllocator;
  }
  static CountingClient& Client() {
    static CountingClient sClient;
    return sClient;
  }

  // ---- [main] ----

  void MakeNode(int iNode) {
    Node& node = mNodes[static_cast<std::size_t>(iNode)];
    node.mOutputP = mServiceP->CreateClientOutput(("Node " + std::to_string(iNode)).c_str());
    node.mSetupP = Test_DM_Query<IDirectMIDIOutputDeliverySetup>(node.mOutputP);
    node.mDeviceP =
        static_cast<Mlox_DM_Device*>(mServiceP->GetOutputDevice(mServiceP->GetNumberOfOutputDevices() - 1));
    ChangeDelivery(iNode);
    Publish(iNode);
  }

  void Publish(int iNode) {
    Node& node = mNodes[static_cast<std::size_t>(iNode)];
    Cmn_AliasedRefCountPtr<Mlox_Output> output(node.mDeviceP->GetOutputForChannel(3));
    node.mPublishedP = output.get();
    node.mChannelOutput = output;
  }

  void ChangeDelivery(int iNode) {
    Node& node = mNodes[static_cast<std::size_t>(iNode)];
    IDirectMIDIBufferedDelivery* const unreadP =
        node.mForReaderP.exchange(node.mSetupP->SetBufferedDelivery());
    if (unreadP != nullptr) unreadP->Release();
  }

  void ReleaseNode(int iNode) {
    Node& node = mNodes[static_cast<std::size_t>(iNode)];
    node.mPublishedP = nullptr;
    node.mChannelOutput = nullptr;
    node.mSetupP->Release();
    node.mOutputP->Release();
  }

  bool IsWriteInProgress(int iNode) const {
    for (const auto& inside : mInside) {
      const int node = inside.load();
      if (node >= 0 && (iNode < 0 || node == iNode)) return true;
    }
    return false;
  }

  std::array<const Meeting*, 6> Meetings() const {
    return {&mStops, &mRenames, &mBuffered, &mDirect, &mReleases, &mChecks};
  }

  bool HaveAllMet() const {
    for (const Meeting* const meetingP : Meetings()) {
      if (meetingP->mMet == 0) return false;
    }
    return Client().mReceived > 0 && mPulled > 0;
  }

  template <class Action>
  void Do(Meeting& ioMeeting, int iNode, Action iAction) {
    ++ioMeeting.mDone;
    const bool isMetBefore = IsWriteInProgress(iNode);
    iAction();
    if (isMetBefore || IsWriteInProgress(iNode)) ++ioMeeting.mMet;
  }

  void DoSomething(std::mt19937& ioRandom) {
    const int node = std::uniform_int_distribution<int>(0, kNodes - 1)(ioRandom);
    Node& it = mNodes[static_cast<std::size_t>(node)];
    switch (std::uniform_int_distribution<int>(0, 5)(ioRandom)) {
      case 0:
        return Do(mStops, -1, [&] { mManager.StopServicesPlayback(); });
      case 1:
        return Do(mRenames, node, [&] {
          it.mOutputP->SetName(("Name " + std::to_string(mRenames.mDone)).c_str());
          Publish(node);
        });
      case 2:
        return Do(mBuffered, node, [&] { ChangeDelivery(node); });
      case 3:
        return Do(mDirect, node, [&] {
          it.mSetupP->SetDirectDelivery(&Client());
          it.mSetupP->SetDirectDelivery(nullptr);
          it.mSetupP->SetDirectDelivery(&Client());
        });
      case 4:
        return Do(mReleases, node, [&] {
          ReleaseNode(node);
          MakeNode(node);
        });
      default:
        return Do(mChecks, -1, [&] { mManager.CheckStudioSetup(); });
    }
  }

  // ---- [writer] ----

  void Write(int iWriter) {
    std::mt19937 random(static_cast<uint32_t>(iWriter));
    const std::array<Mlox_OutputContextRef, 3> contexts = {mManager.GetImmediateOutputContext(),
                                                           mManager.GetPatchThruContext(),
                                                           mManager.GetSlightlyEarlyPlayerContext()};
    const Mlox_OutputContextRef context = contexts[static_cast<std::size_t>(iWriter) % 3];
    const Mdie_NoteOnEvent note(60, 100);
    const auto program = Test_BankAndProgram(1, 2, 3);
    const auto sysex = Test_Sysex(300);
    const Mdie_Event nothing;
    const std::array<const Mdie_Event*, 5> events = {&note, &note, &program, &sysex, &nothing};
    while (!mStop) {
      const int node = static_cast<int>(random() % kNodes);
      const Mdie_Event& event = *events[random() % events.size()];
      const bool isNow = random() % 4 == 0;
      const Mdie_Timestamp stamp = isNow ? Mdie_Timestamp() : Test_At(mNow + static_cast<int>(random() % 64));
      // The epoch before the pointer, as everybody who holds a plain one.
      const Sys_EpochGuard guard;
      Mlox_Output* const outputP = mNodes[static_cast<std::size_t>(node)].mPublishedP;
      if (outputP == nullptr) continue;
      mInside[static_cast<std::size_t>(iWriter)] = node;
      outputP->WriteEvent(stamp, event, context);
      mInside[static_cast<std::size_t>(iWriter)] = -1;
      mWritten.fetch_add(1, std::memory_order_relaxed);
      // What a writer has to think about before its next event. Without it four writers outrun one reader so
      // far that whoever clears is busy with nothing but their backlog.
      random.discard(300);
    }
  }

  // ---- [audio] ----

  void Read() {
    std::array<IDirectMIDIBufferedDelivery*, kNodes> deliveries{};
    std::array<signed char, 512> data{};
    while (!mStop) {
      const int64_t start = mNow;
      for (std::size_t node = 0; node < kNodes; ++node) {
        TakeDelivery(node, deliveries[node]);
        if (deliveries[node] == nullptr) continue;
        // Writers that never pause may never leave it empty.
        for (int pull = 0; pull < 500; ++pull) {
          IDirectMIDIMessage* const messageP =
              deliveries[node]->GetNextMessageInSampleRange(start, start + 63);
          if (messageP == nullptr) break;
          messageP->GetMessageData(data.data());
          messageP->Release();
          mPulled.fetch_add(1, std::memory_order_relaxed);
        }
      }
      mNow = start + 64;
    }
    for (IDirectMIDIBufferedDelivery* const deliveryP : deliveries) {
      if (deliveryP != nullptr) deliveryP->Release();
    }
  }

  // The last release of the one before is made here, on the audio thread, while writers are in its node.
  void TakeDelivery(std::size_t iNode, IDirectMIDIBufferedDelivery*& ioDeliveryP) {
    IDirectMIDIBufferedDelivery* const newP = mNodes[iNode].mForReaderP.exchange(nullptr);
    if (newP == nullptr) return;
    if (ioDeliveryP != nullptr) ioDeliveryP->Release();
    ioDeliveryP = newP;
  }

  Test_AssertRecorder mRecorder;
  Mlox_Manager& mManager = *Mlox_Manager::Singleton();
  Mlox_DM_Service* mServiceP = nullptr;
  std::array<Node, kNodes> mNodes;
  std::array<std::atomic<int>, kWriters> mInside{-1, -1, -1, -1};
  std::atomic<bool> mStop{false};
  std::atomic<int64_t> mNow{0};
  std::atomic<uint64_t> mWritten{0}, mPulled{0};
  Meeting mStops{"StopServicesPlayback"}, mRenames{"renames"}, mBuffered{"new buffered deliveries"},
      mDirect{"direct deliveries"}, mReleases{"releases and new nodes"}, mChecks{"CheckStudioSetup"};
};

TEST_F(PluginSideStressTest, FourWritersThatNeverPauseMeetAReaderAndEverythingThatTakesAway) {
  const uint64_t inUseBefore = Allocator().GetCounters().mBlocksInUse;
  const uint64_t abandonedBefore = Allocator().GetCounters().mAbandoned;
  const auto sysexesBefore = Mem2_MasterAllocator::Shared().GetCounters();
  std::vector<std::thread> threads;
  for (int writer = 0; writer < kWriters; ++writer) threads.emplace_back([this, writer] { Write(writer); });
  threads.emplace_back([this] { Read(); });

  constexpr uint32_t kSeed = 20;
  std::printf("seed %u\n", kSeed);
  std::mt19937 random(kSeed);
  const auto end = std::chrono::steady_clock::now() + Duration();
  // Longer where that is needed for each to have met a write: on a loaded machine a thread may rest for long.
  const auto lastEnd = end + 10 * Duration();
  while (std::chrono::steady_clock::now() < (HaveAllMet() ? end : lastEnd)) {
    DoSomething(random);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
  }
  mStop = true;
  for (auto& thread : threads) thread.join();

  std::printf("%llu events written, %llu messages pulled, %llu received directly\n",
              static_cast<unsigned long long>(mWritten), static_cast<unsigned long long>(mPulled),
              static_cast<unsigned long long>(Client().mReceived));
  for (const Meeting* const meetingP : Meetings()) {
    std::printf("%s: %d, of which %d met a write in progress\n", meetingP->mNameP, meetingP->mDone,
                meetingP->mMet);
    EXPECT_GT(meetingP->mMet, 0) << meetingP->mNameP;
  }
  EXPECT_GT(mWritten, 0u);
  EXPECT_GT(mPulled, 0u);
  EXPECT_GT(Client().mReceived, 0u);

  for (int node = 0; node < kNodes; ++node) {
    ReleaseNode(node);
    if (auto* const unreadP = mNodes[static_cast<std::size_t>(node)].mForReaderP.exchange(nullptr))
      unreadP->Release();
  }
  // What was let go during a write goes with the pass, two seconds on.
  static const int64_t sLater = Sys_Clock::Microseconds() + 2000000;
  Sys_Clock::SetSourceForTest([] { return sLater; });
  Sys_DelayedDeletion::RunPass();
  Sys_DelayedDeletion::RunPass();
  Sys_Clock::SetSourceForTest(nullptr);
  const auto counters = Allocator().GetCounters();
  std::printf("%llu megabytes of pool, %llu writes found no block\n",
              static_cast<unsigned long long>(counters.mBytes >> 20),
              static_cast<unsigned long long>(counters.mRefused));
  EXPECT_EQ(counters.mBlocksInUse - inUseBefore, counters.mAbandoned - abandonedBefore)
      << "every event was pulled, dropped and freed, or left allocated by a rule and counted";
  EXPECT_EQ(counters.mBadFrees, 0u);
  const auto sysexes = Mem2_MasterAllocator::Shared().GetCounters();
  EXPECT_EQ(sysexes.mBlocksInUse - sysexesBefore.mBlocksInUse, sysexes.mAbandoned - sysexesBefore.mAbandoned)
      << "and so was the block of every long sysex";
  EXPECT_EQ(sysexes.mBadFrees, 0u);
  // A pull whose event a stop takes away; a queue let go among timed events; a sysex for which the pool had
  // no block, while the reader was behind.
  for (const auto& report : mRecorder.Reports()) {
    EXPECT_THAT(report.mText,
                testing::AnyOf("it != end(mQueueHeads)", "!eventQueueImmediateJunk", "blockP != nullptr"))
        << report.mSource << " line " << report.mLine;
  }
}

}  // namespace
