// SPDX-License-Identifier: MIT
// Writers that never pause and a reader, while the main thread does to the nodes whatever it may, at random
// moments.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <iostream>
#include <memory>
#include <random>
#include <thread>

#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_persistentoutput.h"
#include "tests/support/dm_fixture.h"

namespace {

constexpr int kWriters = 4;
constexpr int kNodes = 2;
constexpr int kBlock = 64;
// The song starts again before sample 262142, up to which a stop frees what it clears; events behind that
// stay allocated and would use the pool up.
constexpr int64_t kSongLength = 64 * 3000;

/// A client that only gives messages back.
class ReleasingClient : public IDirectMIDIOutput_DirectDeliveryClient {
 public:
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
    iMessageP->Release();
    mReceived.fetch_add(1, std::memory_order_relaxed);
  }
  std::atomic<int64_t> mReceived{0};
};

/// One plug-in: its node, which belongs to the main thread, and its queue, which the reader holds and lets
/// go.
struct PlugIn {
  std::string mName;  // a node that is made anew takes it over, so that saved references find it
  IDirectMIDIClientOutput* mNodeP = nullptr;
  std::atomic<IDirectMIDIBufferedDelivery*> mNewDeliveryP{nullptr};  // from the main thread to the reader
  std::atomic<bool> mLetGo{false};                                   // asks the reader to release its queue
  IDirectMIDIBufferedDelivery* mDeliveryP = nullptr;                 // the reader's
  ReleasingClient mClient;
};

class Mlox_DM_StressTest : public ::testing::Test {
 protected:
  Mlox_DM_StressTest() : mServiceP(new Mlox_DM_Service(nullptr, &mAllocator, nullptr)) {
    Manager().AddService(mServiceP, 1);
    for (int i = 0; i < kNodes; ++i) {
      mPlugIns[i].mName = "Node " + std::to_string(i);
      MakeNode(i);
    }
    for (int i = 0; i < kWriters; ++i) {
      auto* deviceP = mServiceP->GetOutputDevice(i % kNodes);
      mOutputs[i] =
          std::make_unique<Mlox_PersistentOutput>(deviceP->GetOutputForChannel(static_cast<short>(i)));
    }
    mReader = std::thread([this] { Read(); });
    for (int i = 0; i < kWriters; ++i) mWriters[i] = std::thread([this, i] { Write(i); });
  }

  ~Mlox_DM_StressTest() override {
    mStopWriters = true;
    for (std::thread& writer : mWriters) writer.join();
    for (PlugIn& plugIn : mPlugIns) LetQueueGo(plugIn);
    mStopReader = true;
    mReader.join();
    for (auto& outputP : mOutputs) outputP.reset();
    for (PlugIn& plugIn : mPlugIns) plugIn.mNodeP->Release();
    Manager().RemoveAllServices();
    RunPassLater();
    RunPassLater();
    // Every event was pulled, cleared, or dropped by a rule that counts it: no block is lost.
    const Mem2_MasterAllocator::Counters counters = mAllocator.GetCounters();
    EXPECT_EQ(counters.mBlocksInUse, counters.mAbandoned);
    EXPECT_EQ(counters.mBadFrees, 0u);
    // Where the reader falls far behind the pool may refuse a block, and the event is dropped before it is
    // queued.
    std::cout << "blocks refused: " << counters.mRefused
              << ", left allocated by a clear: " << counters.mAbandoned << "\n";
  }

  static Mlox_Manager& Manager() { return *Mlox_Manager::Singleton(); }

  static void RunPassLater() {
    static int64_t sNow;
    sNow = Sys_Clock::Microseconds() + 2 * Sys_DelayedDeletion::kMinimumAge;
    Sys_Clock::SetSourceForTest([] { return sNow; });
    Sys_DelayedDeletion::RunPass();
    Sys_Clock::SetSourceForTest(nullptr);
  }

  // ---- threads ----

  void Write(int iWriter) {
    const Mlox_OutputContextRef contexts[] = {Manager().GetImmediateOutputContext(),
                                              Manager().GetPatchThruContext(),
                                              Manager().GetSlightlyEarlyPlayerContext()};
    Mlox_AWrite& output = *mOutputs[iWriter];
    for (int64_t i = 0; !mStopWriters; ++i) {
      const Mdie_NoteOnEvent note(static_cast<signed char>(i & 127), 1);
      const Mdie_Timestamp stamp =
          i % 2 == 0 ? Mdie_Timestamp()
                     : Mdie_Timestamp(Time_Sample(mNow.load(std::memory_order_relaxed) + kBlock));
      mIsInWrite[iWriter].store(true);
      output.WriteEvent(stamp, note, contexts[iWriter % 3]);
      mIsInWrite[iWriter].store(false);
      mWritten.fetch_add(1, std::memory_order_relaxed);
      MakeUpTheNextNote();
    }
  }

  // Work between two writes, without a pause: a reader with a core to itself keeps up then.
  static void MakeUpTheNextNote() {
    std::atomic<int> thought{0};
    for (int i = 0; i < 400; ++i) thought.store(i, std::memory_order_relaxed);
  }

  void Read() {
    while (!mStopReader) {
      const int64_t start = mNow.load(std::memory_order_relaxed);
      mNow.store((start + kBlock) % kSongLength, std::memory_order_relaxed);
      for (PlugIn& plugIn : mPlugIns) PullBlock(plugIn, start);
    }
  }

  void PullBlock(PlugIn& ioPlugIn, int64_t iStart) {
    if (ioPlugIn.mLetGo) {
      if (ioPlugIn.mDeliveryP != nullptr) ioPlugIn.mDeliveryP->Release();
      ioPlugIn.mDeliveryP = nullptr;
      ioPlugIn.mLetGo = false;
    }
    if (auto* newP = ioPlugIn.mNewDeliveryP.exchange(nullptr)) ioPlugIn.mDeliveryP = newP;
    if (ioPlugIn.mDeliveryP == nullptr) return;
    while (auto* messageP = ioPlugIn.mDeliveryP->GetNextMessageInSampleRange(iStart, iStart + kBlock - 1)) {
      messageP->Release();
      mPulled.fetch_add(1, std::memory_order_relaxed);
    }
  }

  // ---- what the main thread does ----

  void MakeNode(int iIndex) {
    PlugIn& plugIn = mPlugIns[iIndex];
    plugIn.mNodeP = mServiceP->CreateClientOutput(plugIn.mName.c_str());
    SetBufferedDelivery(plugIn);
  }

  static IDirectMIDIOutputDeliverySetup& Setup(const PlugIn& iPlugIn) {
    return *static_cast<Mlox_DM_Device*>(static_cast<IDirectMIDIClientOutput4*>(iPlugIn.mNodeP));
  }

  // The reader drops its queue, on its own thread; the main thread waits for it as a plug-in's set-up would.
  static void LetQueueGo(PlugIn& ioPlugIn) {
    while (ioPlugIn.mNewDeliveryP.load() != nullptr) std::this_thread::yield();
    ioPlugIn.mLetGo = true;
    while (ioPlugIn.mLetGo) std::this_thread::yield();
  }

  void SetBufferedDelivery(PlugIn& ioPlugIn) {
    IDirectMIDIBufferedDelivery* deliveryP = Setup(ioPlugIn).SetBufferedDelivery();
    ioPlugIn.mNewDeliveryP = deliveryP;
  }

  void ReplaceQueue(PlugIn& ioPlugIn) {
    LetQueueGo(ioPlugIn);
    SetBufferedDelivery(ioPlugIn);
  }

  // Another way for a while, or none, and then a queue again.
  void TurnAside(PlugIn& ioPlugIn, ReleasingClient* iClientP) {
    Setup(ioPlugIn).SetDirectDelivery(iClientP);
    WaitForWrites(300);
    ReplaceQueue(ioPlugIn);
  }

  void ReplaceNode(int iIndex) {
    LetQueueGo(mPlugIns[iIndex]);
    mPlugIns[iIndex].mNodeP->Release();
    MakeNode(iIndex);
    FindOutputsAgain();
  }

  void Rename(PlugIn& ioPlugIn) {
    // A name that nobody had: a saved reference then goes by the node's id.
    ioPlugIn.mName = "Name " + std::to_string(++mNames);
    ioPlugIn.mNodeP->SetName(ioPlugIn.mName.c_str());
    FindOutputsAgain();
  }

  void FindOutputsAgain() {
    Manager().CheckStudioSetup();
    mOutputs[0]->IsOnline();
  }

  bool IsAnyWriterInside() const {
    return std::any_of(std::begin(mIsInWrite), std::end(mIsInWrite),
                       [](const auto& iFlag) { return iFlag.load(); });
  }

  void WaitForWrites(int64_t iCount) const {
    const int64_t before = mWritten;
    while (mWritten < before + iCount) std::this_thread::yield();
  }

  Mem2_MasterAllocator mAllocator;
  Mlox_DM_Service* mServiceP;
  PlugIn mPlugIns[kNodes];
  std::unique_ptr<Mlox_PersistentOutput> mOutputs[kWriters];
  std::thread mReader;
  std::thread mWriters[kWriters];
  std::atomic<bool> mIsInWrite[kWriters] = {};
  std::atomic<bool> mStopWriters{false};
  std::atomic<bool> mStopReader{false};
  std::atomic<int64_t> mNow{0};
  std::atomic<int64_t> mWritten{0};
  std::atomic<int64_t> mPulled{0};
  int mNames = 0;
};

/// One thing that the main thread does, and how often it met a write in progress.
struct Action {
  const char* mNameP;
  std::function<void(int iNode)> mCall;
  int mDone = 0;
  int mMet = 0;
};

TEST_F(Mlox_DM_StressTest,
       WritersThatNeverPauseMeetStopsRenamesDeliveriesAndNodesThatComeAndGoWithNoReportButTwo) {
  Action actions[] = {
      {"stop playback", [](int) { Manager().StopServicesPlayback(); }},
      {"rename", [this](int iNode) { Rename(mPlugIns[iNode]); }},
      {"new buffered delivery", [this](int iNode) { ReplaceQueue(mPlugIns[iNode]); }},
      {"direct delivery", [this](int iNode) { TurnAside(mPlugIns[iNode], &mPlugIns[iNode].mClient); }},
      {"no delivery", [this](int iNode) { TurnAside(mPlugIns[iNode], nullptr); }},
      {"release and make a node", [this](int iNode) { ReplaceNode(iNode); }},
      {"all notes off", [](int) { Manager().QuickAllNotesOff(); }}};
  const unsigned seed = std::random_device{}();
  std::cout << "seed " << seed << "\n";
  std::mt19937 random(seed);

  Test_AssertRecorder recorder;
  const auto haveAllMet = [&actions] {
    return std::all_of(std::begin(actions), std::end(actions),
                       [](const Action& iAction) { return iAction.mMet > 0; });
  };
  // Longer where that is needed for each to have met a write.
  for (int i = 0; i < 105 || (i < 2100 && !haveAllMet()); ++i) {
    WaitForWrites(static_cast<int64_t>(random() % 64));
    Action& action = actions[static_cast<size_t>(i) % std::size(actions)];
    if (IsAnyWriterInside()) ++action.mMet;
    action.mCall(static_cast<int>(random() % kNodes));
    ++action.mDone;
    if (random() % 4 == 0) Sys_DelayedDeletion::RunPass();
  }
  const int64_t direct = mPlugIns[0].mClient.mReceived + mPlugIns[1].mClient.mReceived;
  for (const Action& action : actions) {
    std::cout << action.mNameP << ": met a write in progress " << action.mMet << " of " << action.mDone
              << " times\n";
    EXPECT_GT(action.mMet, 0) << action.mNameP;
  }
  std::cout << mWritten << " written, " << mPulled << " pulled, " << direct << " delivered directly\n";
  EXPECT_GT(mPulled, 0);
  EXPECT_GT(direct, 0);
  // All of this is normal use. A stop that meets a pull clears the heads under it, which the pull reports. A
  // pull that meets a stop gets null, which the reader takes for the block's end: where it lets its queue go
  // before the next pull, the queue dies among timed events, and says that immediate ones were left.
  for (const auto& report : recorder.Reports()) {
    EXPECT_THAT(report.mText, testing::AnyOf("it != end(mQueueHeads)", "!eventQueueImmediateJunk"))
        << report.mSource << " line " << report.mLine;
  }
}

}  // namespace
