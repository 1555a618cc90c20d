// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/directmusicreceivetask.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "cmn/cmn_threadlocal.h"
#include "cmn/sys_clock.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicclocksync.h"
#include "mlox/mlox_directmusic/directmusicreceivers.h"

constinit std::atomic<DirectMusicReceiveTask*> sReceiveTask{nullptr};
constinit std::atomic<Sys_RawThread*> sReceiveThread{nullptr};

namespace {

constexpr int kSignature = 0x6D697772;
constexpr BYTE kQuarterFrame = 0xF1;

// The task whose body runs on this thread.
CMN_THREAD_LOCAL const DirectMusicReceiveTask* sTaskOfThisThreadP = nullptr;

// Holds a reference of COM's for a scope.
template <class Interface>
class StReference {
 public:
  explicit StReference(Interface& ioObject) : mObject(ioObject) { mObject.AddRef(); }
  StReference(const StReference&) = delete;
  StReference& operator=(const StReference&) = delete;
  ~StReference() { mObject.Release(); }

 private:
  Interface& mObject;
};

}  // namespace

// ---- lifetime ----

DirectMusicReceiveTask::DirectMusicReceiveTask(const std::vector<HANDLE>& iEvents, PortInputGroupList iGroups,
                                               const std::vector<IDirectMusicPort*>& iPorts)
    : Sys_RawThreadTask(kSignature, "DirectMusicReceiveTask"), mEvents(iEvents) {
  const bool fit =
      !iEvents.empty() && iGroups.size() + 1 == iEvents.size() && iPorts.size() == iGroups.size();
  if (fit) {
    mGroups = std::move(iGroups);
    mPorts = iPorts;
  } else {
    mEvents.clear();
  }
  if (FAILED(DirectMusicClient::CreateMusicBuffer(kPieceSize, &mBuffer))) mBuffer = nullptr;
}

DirectMusicReceiveTask::~DirectMusicReceiveTask() {
  // A body that was never run has left nothing behind; one that ended early, neither.
  Leave();
  delete mPendingGroups.exchange(nullptr);
}

// ---- for the port set ----

void DirectMusicReceiveTask::PublishGroups(PortInputGroupList iGroups) {
  auto groups = std::make_unique<PortInputGroupList>(std::move(iGroups));
  delete mPendingGroups.exchange(groups.release());
}

void DirectMusicReceiveTask::WaitForDelivery() {
  const std::uint32_t step = mDeliverySteps.fetch_add(0);
  if (step % 2 != 0) mDeliverySteps.wait(step);
}

bool DirectMusicReceiveTask::IsReceiveThread() { return sTaskOfThisThreadP != nullptr; }

bool DirectMusicReceiveTask::IsStopRequestedOnThisThread() {
  return sTaskOfThisThreadP != nullptr && sTaskOfThisThreadP->mIsStopRequested.load();
}

bool DirectMusicReceiveTask::RequestStop() {
  mIsStopRequested.store(true);
  const std::lock_guard lock(mStopMutex);
  if (mEvents.empty()) return true;
  for (IDirectMusicPort* portP : mPorts) {
    if (portP == nullptr) continue;
    portP->SetReadNotificationHandle(nullptr);
    portP->Activate(FALSE);
  }
  SetEvent(mEvents.back());
  return true;
}

// ---- the body ----

bool DirectMusicReceiveTask::IsRunnable() const {
  return !GetDirectMusicReceivers()->empty() && !mEvents.empty() && mBuffer != nullptr;
}

void DirectMusicReceiveTask::DoTask() {
  WaitWhilePaused();  // the gate: until the thread is known by its pointer
  if (IsRunnable()) {
    sTaskOfThisThreadP = this;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    {
      const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
      Batch batch;
      ReceiveUntilStopped(batch);
      Leave();
    }
    CoUninitialize();
    sTaskOfThisThreadP = nullptr;
  }
  mHasEnded.store(true);
}

void DirectMusicReceiveTask::ReceiveUntilStopped(Batch& ioBatch) {
  const auto kill = static_cast<DWORD>(mEvents.size() - 1);
  // The flag is for a thread whose last event couldn't be made: every wait of its fails.
  while (!mIsStopRequested.load()) {
    // The wake mask is 0 on purpose: nothing in the thread's message queue ends the wait.
    const DWORD index =
        MsgWaitForMultipleObjects(static_cast<DWORD>(mEvents.size()), mEvents.data(), FALSE, INFINITE, 0);
    if (index == kill) return;
    if (index > kill || mGroups.size() + 1 != mEvents.size()) continue;
    if (mPorts[index] == nullptr || mGroups[index] == nullptr) continue;
    ReceiveFrom(index, ioBatch);
  }
}

void DirectMusicReceiveTask::ReceiveFrom(std::size_t iPort, Batch& ioBatch) {
  BeginDelivery();
  ReadBatch(*mPorts[iPort], ioBatch);
  DeliverBatch(ioBatch, *mGroups[iPort]);
  EndDelivery();
  ApplyPendingGroups();
}

void DirectMusicReceiveTask::Leave() {
  const std::lock_guard lock(mStopMutex);
  for (HANDLE event : mEvents) {
    if (event != nullptr) CloseHandle(event);
  }
  mEvents.clear();
  mPorts.clear();  // the references stay
  mGroups.clear();
  if (mBuffer == nullptr) return;
  mBuffer->Flush();
  mBuffer->Release();
  mBuffer = nullptr;
}

// ---- reading ----

DirectMusicReceiveTask::Batch::Batch() {
  for (int i = 0; i < kBatchSize; ++i) mPieces[i].mAreaP = mAreas[i];
}

// Only a piece that the last batch has used can have lost its own area.
void DirectMusicReceiveTask::Batch::Clear() {
  for (int i = 0; i < mCount; ++i) mPieces[i].mAreaP = mAreas[i];
  mCount = 0;
  mHasQuarterFrame = false;
}

void DirectMusicReceiveTask::Batch::Append(const BYTE* iDataP, DWORD iLength) {
  Piece& piece = mPieces[mCount];
  const DWORD length = std::min(iLength, kPieceSize);
  if (length > 0) std::memcpy(piece.mAreaP, iDataP, length);
  // The time is that of the host's clock now; neither the port's nor the application's correction plays a
  // part.
  piece.mRecord = Mlox_MidiData{};
  piece.mRecord.mData = piece.mAreaP;
  piece.mRecord.mLength = length;
  piece.mRecord.mTime = Sys_Clock::Microseconds();
  piece.mRecord.mIsTimeValid = true;
  // Time code is thinned: of two quarter frames in one microsecond the later one stays, in the earlier one's
  // place. It shares the area with the next piece of the batch then, which changes its bytes: accepted.
  if (iLength == 2 && piece.mAreaP[0] == kQuarterFrame) {
    if (mHasQuarterFrame && mQuarterFrameTime == piece.mRecord.mTime) {
      mPieces[mQuarterFrameIndex] = piece;
      if (mCount > 0) --mCount;
    } else {
      mHasQuarterFrame = true;
      mQuarterFrameTime = piece.mRecord.mTime;
      mQuarterFrameIndex = mCount;
    }
  }
  ++mCount;
}

void DirectMusicReceiveTask::ReadBatch(IDirectMusicPort& iPort, Batch& ioBatch) const {
  const StReference portReference(iPort);
  const StReference bufferReference(*mBuffer);
  ioBatch.Clear();
  mBuffer->Flush();
  // A port that never runs dry, and gives nothing, must not outlast a stop.
  while (!mIsStopRequested.load() && iPort.Read(mBuffer) == S_OK) {
    if (!ReadEvents(ioBatch)) return;
  }
}

// Takes what is in the buffer. False when the batch is full.
bool DirectMusicReceiveTask::ReadEvents(Batch& ioBatch) const {
  mBuffer->ResetReadPtr();
  REFERENCE_TIME ignoredTime = 0;
  DWORD ignoredGroup = 0;
  DWORD length = 0;
  BYTE* dataP = nullptr;
  while (!ioBatch.IsFull() && mBuffer->GetNextEvent(&ignoredTime, &ignoredGroup, &length, &dataP) == S_OK) {
    ioBatch.Append(dataP, dataP != nullptr ? length : 0);
  }
  return !ioBatch.IsFull();
}

// ---- delivering ----

void DirectMusicReceiveTask::DeliverBatch(Batch& ioBatch, const PortInputGroup& iGroup) {
  for (int i = 0; i < ioBatch.mCount; ++i) {
    for (std::size_t input = 1; input < iGroup.size(); ++input) {
      // The whole port counts only where it is the one input.
      if (iGroup[input] == iGroup.front() && iGroup.size() != 2) continue;
      DeliverTo(iGroup[input], ioBatch.mPieces[i].mRecord);
    }
  }
}

void DirectMusicReceiveTask::DeliverTo(const Mlox_InputID& iID, Mlox_MidiData& ioRecord) {
  ioRecord.mInputID = iID;
  RequireReceiveThread();
  const std::shared_ptr<const DirectMusicReceiverList> receivers = GetDirectMusicReceivers();
  for (const std::shared_ptr<IDirectMusicMIDIReceiver>& receiver : *receivers) {
    std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback;
    if (receiver->IsListeningToID(iID) != S_OK) continue;
    if (receiver->GetCallback(&callback) != S_OK || callback == nullptr) continue;
    Mlox_MidiData record = ioRecord;
    callback->Receive(&record);
  }
}

// Without a thread there is nothing that could deliver: the process ends, by a rethrow of no exception.
void DirectMusicReceiveTask::RequireReceiveThread() {
  if (sReceiveThread.load() == nullptr) throw;
}

void DirectMusicReceiveTask::ApplyPendingGroups() {
  const std::unique_ptr<PortInputGroupList> pending(mPendingGroups.exchange(nullptr));
  if (pending == nullptr) return;
  for (std::unique_ptr<PortInputGroup>& fresh : *pending) {
    if (fresh == nullptr || fresh->empty()) continue;
    for (std::unique_ptr<PortInputGroup>& group : mGroups) {
      if (group == nullptr || group->empty() || group->front() != fresh->front()) continue;
      *group = *fresh;
      break;
    }
  }
}

void DirectMusicReceiveTask::BeginDelivery() { mDeliverySteps.fetch_add(1); }

void DirectMusicReceiveTask::EndDelivery() {
  mDeliverySteps.fetch_add(1);
  mDeliverySteps.notify_all();  // costs nothing while nobody waits
}
