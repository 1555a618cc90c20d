// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_dataclient.h"

#include <algorithm>
#include <cstring>

#include "cmn/sys_clock.h"
#include "platform/directmusic/alsa/alsa_eventbytes.h"

namespace {

// More than a saturated wire brings in a minute; a reader that stays away longer loses, and the loss is
// counted.
constexpr std::size_t kMostWaiting = 65'536;

// The kernel's finest: a tick of 160 microseconds. At its default of 1,000 Hz a message may be late by one
// millisecond.
constexpr unsigned kQueueHertz = 6'250;

constexpr std::int64_t kMeasureEvery = 1'000'000;
constexpr int kReadings = 3;

// What was due this long ago has left the queue: a dozen ticks.
constexpr std::int64_t kQueueIsEmptyAfter = 2'000;

// A system exclusive message of 16 kB in one event finds no room in the pool (-ENOMEM).
constexpr std::size_t kPieceSize = 256;

// Hardware: the kernel puts 4,096 bytes in front of the wire, drops what is beyond without a word, and the
// wire takes 3,125 bytes a second.
constexpr std::int64_t kWireRoom = 3'500;
constexpr std::int64_t kWireSpeed = 3'125;

// Software: a client that did not ask for more has an input pool of 200 cells. One that is awake empties it
// in well below a millisecond.
constexpr std::int64_t kPoolRoom = 128;
constexpr std::int64_t kPoolSpeed = 50'000;
constexpr std::size_t kCellBytes = 28;

Platform_AlsaPace PaceOf(Platform_AlsaReceiver iReceiver) {
  return iReceiver == Platform_AlsaReceiver::kHardware ? Platform_AlsaPace(kWireRoom, kWireSpeed)
                                                       : Platform_AlsaPace(kPoolRoom, kPoolSpeed);
}

std::int64_t AmountOf(Platform_AlsaReceiver iReceiver, const snd_seq_event_t& iEvent, std::size_t iLength) {
  if (iReceiver == Platform_AlsaReceiver::kHardware) {
    return static_cast<std::int64_t>(iLength);
  }
  const std::size_t extra = snd_seq_ev_is_variable(&iEvent) ? (iLength + kCellBytes - 1) / kCellBytes : 0;
  return static_cast<std::int64_t>(1 + extra);
}

void Fill(const Platform_AlsaMessages::Message& iMessage, Platform_Piece& oPiece) {
  oPiece.mLength = iMessage.mLength;
  std::copy_n(iMessage.mBytes.begin(), iMessage.mLength, oPiece.mBytes);
}

}  // namespace

// ---- connections ----

struct Platform_AlsaDataClient::Input final : public Platform_EventSource {
  Input(const std::shared_ptr<Platform_AlsaDataClient>& iClientP, int iDataDescriptor)
      : mClientP(iClientP), mDataDescriptor(iDataDescriptor), mSplitter(kPlatform_MaxPiece) {}

  // ---- as a source ----
  int Descriptor() const override { return mDataDescriptor; }
  void Collect(Waited iWaited) override {
    if (const std::shared_ptr<Platform_AlsaDataClient> client = mClientP.lock()) {
      client->Collect(iWaited);
    }
  }
  bool IsReady() const override { return mIsReady.load(); }

  // ---- under the client's lock ----
  void Append(const std::uint8_t* iBytes, std::size_t iLength) {
    Platform_TimedMessage* const copy =
        mWaiting.Size() < kMostWaiting ? Platform_TimedMessage::New(0, iBytes, iLength) : nullptr;
    if (copy == nullptr) {
      mLost.fetch_add(1);
      return;
    }
    mWaiting.Append(copy);
  }

  // The usual case, one message at a time, goes by no list.
  void Append(const Platform_AlsaMessages::Message& iMessage) {
    if (mFirst.mLength == 0 && mWaiting.IsEmpty()) {
      mFirst = iMessage;
    } else {
      Append(iMessage.mBytes.data(), iMessage.mLength);
    }
  }

  bool IsEmpty() const { return mFirst.mLength == 0 && mWaiting.IsEmpty(); }

  bool Take(Platform_Piece& oPiece) {
    if (mFirst.mLength > 0) {
      Fill(mFirst, oPiece);
      mFirst.mLength = 0;
      mIsReady.store(!mWaiting.IsEmpty());
      return true;
    }
    Platform_TimedMessage* const message = mWaiting.Pop();
    if (message == nullptr) {
      return false;
    }
    oPiece.mLength = std::min(message->mLength, kPlatform_MaxPiece);
    std::memcpy(oPiece.mBytes, message->Bytes(), oPiece.mLength);
    Platform_TimedMessage::Delete(message);
    mIsReady.store(!mWaiting.IsEmpty());
    return true;
  }

  // The data client may end while a thread still keeps this in its list of what it waits for.
  const std::weak_ptr<Platform_AlsaDataClient> mClientP;
  const int mDataDescriptor;
  Connection mConnection;
  Platform_AlsaMessages::Message mFirst{};  // before those of the list; without bytes there is none
  Platform_MessageList mWaiting;
  std::atomic<bool> mIsReady{false};
  // A wait has just taken all that the kernel had: the reader need not ask it again.
  std::atomic<bool> mIsFresh{false};
  // Cuts what others send as system exclusive: one of their events may hold any bytes.
  Platform_MidiSplitter mSplitter;
  std::atomic<std::uint64_t> mLost{0};
};

struct Platform_AlsaDataClient::Output {
  explicit Output(Platform_AlsaReceiver iReceiver) : mReceiver(iReceiver), mPace(PaceOf(iReceiver)) {}

  Connection mConnection;
  const Platform_AlsaReceiver mReceiver;
  Platform_AlsaPace mPace;
  Platform_AlsaQueueTime mTimes;
  // The latest time that went into the queue.
  std::int64_t mLatestQueued = INT64_MIN;
};

class Platform_AlsaDataClient::InputConnection final : public Platform_DriverInput {
 public:
  InputConnection(std::shared_ptr<Platform_AlsaDataClient> iClientP, std::shared_ptr<Input> iInputP)
      : mClientP(std::move(iClientP)), mInputP(std::move(iInputP)) {}
  ~InputConnection() override { mClientP->Close(*mInputP); }
  bool Read(Platform_Piece& oPiece) override { return mClientP->Read(*mInputP, oPiece); }
  int Descriptor() const override { return mInputP->Descriptor(); }
  bool HasBuffered() const override { return mInputP->IsReady(); }
  std::shared_ptr<Platform_EventSource> Source() override { return mInputP; }
  std::uint64_t LostPieces() const override { return mInputP->mLost.load(); }

 private:
  const std::shared_ptr<Platform_AlsaDataClient> mClientP;
  const std::shared_ptr<Input> mInputP;
};

class Platform_AlsaDataClient::OutputConnection final : public Platform_DriverOutput {
 public:
  OutputConnection(std::shared_ptr<Platform_AlsaDataClient> iClientP, std::unique_ptr<Output> iOutputP)
      : mClientP(std::move(iClientP)), mOutputP(std::move(iOutputP)) {}
  ~OutputConnection() override { mClientP->Close(*mOutputP); }
  Platform_SendResult Send(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) override {
    return SendNow(Sys_Clock::Microseconds(), iTime, iBytes, iLength);
  }
  Platform_SendResult SendNow(std::int64_t iNow, std::int64_t iTime, const std::uint8_t* iBytes,
                              std::size_t iLength) override {
    const std::lock_guard lock(mClientP->mMutex);
    return mClientP->Send(*mOutputP, iNow, iTime, iBytes, iLength);
  }
  std::size_t PieceSize() const override { return kPieceSize; }
  // The kernel plays at the time itself: nothing has to be known ahead.
  std::int64_t LatencyMicroseconds() const override { return 0; }
  bool IsLatencyFixed() const override { return true; }
  void Drop() override {
    const std::lock_guard lock(mClientP->mMutex);
    mClientP->Drop(*mOutputP);
  }

 private:
  const std::shared_ptr<Platform_AlsaDataClient> mClientP;
  const std::unique_ptr<Output> mOutputP;
};

// ---- life ----

std::shared_ptr<Platform_AlsaDataClient> Platform_AlsaDataClient::Open(std::function<void()> iLost,
                                                                       std::string& oReason) {
  std::unique_ptr<Platform_AlsaHandle> handle = Platform_AlsaHandle::Open(oReason);
  if (handle == nullptr) {
    return nullptr;
  }
  return std::shared_ptr<Platform_AlsaDataClient>(
      new Platform_AlsaDataClient(std::move(handle), std::move(iLost)));
}

Platform_AlsaDataClient::Platform_AlsaDataClient(std::unique_ptr<Platform_AlsaHandle> iHandleP,
                                                 std::function<void()> iLost)
    : mHandleP(std::move(iHandleP)), mLost(std::move(iLost)) {}

Platform_AlsaDataClient::~Platform_AlsaDataClient() = default;

void Platform_AlsaDataClient::Silence() {
  const std::lock_guard lock(mMutex);
  mLost = nullptr;
}

// ---- who is connected to what ----

std::uint64_t Platform_AlsaDataClient::Generation(const Platform_AlsaAddress& iPeer) {
  const std::lock_guard lock(mMutex);
  return GenerationOf(iPeer);
}

std::uint64_t Platform_AlsaDataClient::GenerationOf(const Platform_AlsaAddress& iPeer) const {
  const auto found = mGenerations.find(iPeer);
  return found != mGenerations.end() ? found->second : 0;
}

void Platform_AlsaDataClient::CheckConnections() {
  const std::lock_guard lock(mMutex);
  for (Connection* const connection : mConnections) {
    const Platform_AlsaAddress own{Client(), connection->mPort};
    const Platform_AlsaAddress& from = connection->mIsInput ? connection->mPeer : own;
    const Platform_AlsaAddress& to = connection->mIsInput ? own : connection->mPeer;
    if (!connection->mIsGone && !mHandleP->IsSubscribed(from, to)) {
      connection->mIsGone = true;
      ++mGenerations[connection->mPeer];
    }
  }
}

bool Platform_AlsaDataClient::Connect(Connection& ioConnection, std::uint64_t iGeneration) {
  if (iGeneration != GenerationOf(ioConnection.mPeer)) {
    return false;
  }
  ioConnection.mPort =
      mHandleP->MakePort(ioConnection.mIsInput ? "input" : "output",
                         ioConnection.mIsInput ? SND_SEQ_PORT_CAP_WRITE : SND_SEQ_PORT_CAP_READ);
  if (ioConnection.mPort < 0) {
    return false;
  }
  const Platform_AlsaAddress own{Client(), ioConnection.mPort};
  const bool isSubscribed = ioConnection.mIsInput ? mHandleP->Subscribe(ioConnection.mPeer, own)
                                                  : mHandleP->Subscribe(own, ioConnection.mPeer);
  if (!isSubscribed) {
    mHandleP->DeletePort(ioConnection.mPort);
    return false;
  }
  mConnections.push_back(&ioConnection);
  return true;
}

void Platform_AlsaDataClient::Disconnect(const Connection& iConnection) {
  std::erase(mConnections, &iConnection);
  mHandleP->DeletePort(iConnection.mPort);
}

// ---- inputs ----

std::unique_ptr<Platform_DriverInput> Platform_AlsaDataClient::OpenInput(const Platform_AlsaAddress& iPeer,
                                                                         std::uint64_t iGeneration) {
  const std::lock_guard lock(mMutex);
  const auto input = std::make_shared<Input>(shared_from_this(), mHandleP->Descriptor());
  input->mConnection = {iPeer, -1, true, false};
  if (!Connect(input->mConnection, iGeneration)) {
    return nullptr;
  }
  mInputs[input->mConnection.mPort] = input.get();
  return std::make_unique<InputConnection>(shared_from_this(), input);
}

void Platform_AlsaDataClient::Close(Input& ioInput) {
  const std::lock_guard lock(mMutex);
  mInputs.erase(ioInput.mConnection.mPort);
  Disconnect(ioInput.mConnection);
}

bool Platform_AlsaDataClient::Read(Input& ioInput, Platform_Piece& oPiece) {
  if (!ioInput.mIsReady.load() && ioInput.mIsFresh.exchange(false)) {
    return false;
  }
  const std::lock_guard lock(mMutex);
  if (ioInput.Take(oPiece)) {
    return true;
  }
  Fetching fetching{&ioInput, &oPiece, {}, false};
  Fetch(fetching);
  return fetching.mIsFilled;
}

// A thread that waits takes everything for everybody.
void Platform_AlsaDataClient::Collect(Platform_EventSource::Waited iWaited) {
  const std::lock_guard lock(mMutex);
  Fetching fetching{nullptr, nullptr, iWaited, false};
  Fetch(fetching);
}

// Takes what the kernel gives in one go, which is all: its pool is smaller than our buffer. What comes while
// it is being taken makes the descriptor readable once more.
void Platform_AlsaDataClient::Fetch(Fetching& ioFetching) {
  do {
    snd_seq_event_t* event = nullptr;
    const int result = snd_seq_event_input(mHandleP->Get(), &event);
    if (result == -ENOSPC) {
      CountLoss();
    }
    if (result < 0 || event == nullptr) {
      break;
    }
    Distribute(*event, ioFetching);
  } while (snd_seq_event_input_pending(mHandleP->Get(), 0) > 0);
}

void Platform_AlsaDataClient::Distribute(const snd_seq_event_t& iEvent, Fetching& ioFetching) {
  const auto found = mInputs.find(iEvent.dest.port);
  if (found == mInputs.end()) {
    return;
  }
  Input& input = *found->second;
  const bool isForReader = &input == ioFetching.mReaderP;
  if (iEvent.type == SND_SEQ_EVENT_SYSEX) {
    input.mSplitter.Feed(
        static_cast<const std::uint8_t*>(iEvent.data.ext.ptr), iEvent.data.ext.len,
        [&](const std::uint8_t* iBytes, std::size_t iLength) { input.Append(iBytes, iLength); });
    if (isForReader && !ioFetching.mIsFilled) {
      ioFetching.mIsFilled = input.Take(*ioFetching.mPieceP);
    }
  } else {
    const Platform_AlsaMessages messages(iEvent);
    for (std::size_t i = 0; i < messages.Count(); ++i) {
      if (isForReader && !ioFetching.mIsFilled) {
        Fill(messages.At(i), *ioFetching.mPieceP);
        ioFetching.mIsFilled = true;
      } else {
        input.Append(messages.At(i));
      }
    }
  }
  if (!input.IsEmpty()) {
    Announce(input, ioFetching);
  }
}

// Pieces wait for this input: somebody has to know.
void Platform_AlsaDataClient::Announce(Input& ioInput, const Fetching& iFetching) {
  const auto& waited = iFetching.mWaited;
  const bool isWaitedFor = std::find(waited.begin(), waited.end(), &ioInput) != waited.end();
  ioInput.mIsFresh.store(isWaitedFor);
  if (!ioInput.mIsReady.exchange(true) && !isWaitedFor) {
    ioInput.Signal();
  }
}

// The kernel has thrown the whole input queue away, whose events these were it does not tell: everybody has
// lost. News of connections may have been among them, so the list is looked at again.
void Platform_AlsaDataClient::CountLoss() {
  for (const auto& entry : mInputs) {
    entry.second->mLost.fetch_add(1);
  }
  if (mLost) {
    mLost();
  }
}

// ---- outputs ----

std::unique_ptr<Platform_DriverOutput> Platform_AlsaDataClient::OpenOutput(const Platform_AlsaAddress& iPeer,
                                                                           std::uint64_t iGeneration,
                                                                           Platform_AlsaReceiver iReceiver) {
  const std::lock_guard lock(mMutex);
  auto output = std::make_unique<Output>(iReceiver);
  output->mConnection = {iPeer, -1, false, false};
  if (!Connect(output->mConnection, iGeneration)) {
    return nullptr;
  }
  if (mOutputs++ == 0) {
    StartQueue();
  }
  return std::make_unique<OutputConnection>(shared_from_this(), std::move(output));
}

void Platform_AlsaDataClient::Close(Output& ioOutput) {
  const std::lock_guard lock(mMutex);
  Disconnect(ioOutput.mConnection);
  if (--mOutputs == 0) {
    StopQueue();
  }
}

// The queue lives while there are outputs: its timer wakes the processor 6,250 times a second.
void Platform_AlsaDataClient::StartQueue() {
  snd_seq_t* const handle = mHandleP->Get();
  mQueue = snd_seq_alloc_named_queue(handle, "mlox");
  if (mQueue < 0) {
    return;
  }
  snd_seq_queue_timer_t* timer = nullptr;
  snd_seq_queue_timer_malloc(&timer);
  if (snd_seq_get_queue_timer(handle, mQueue, timer) >= 0) {
    snd_seq_queue_timer_set_resolution(timer, kQueueHertz);
    snd_seq_set_queue_timer(handle, mQueue, timer);
  }
  snd_seq_queue_timer_free(timer);
  snd_seq_start_queue(handle, mQueue, nullptr);
  snd_seq_drain_output(handle);
  MeasureOffset(Sys_Clock::Microseconds());
}

void Platform_AlsaDataClient::StopQueue() {
  if (mQueue >= 0) {
    snd_seq_free_queue(mHandleP->Get(), mQueue);
    mQueue = -1;
  }
}

void Platform_AlsaDataClient::MeasureOffset(std::int64_t iNow) {
  snd_seq_queue_status_t* status = nullptr;
  snd_seq_queue_status_alloca(&status);
  Platform_AlsaOffset offset;
  for (int i = 0; i < kReadings; ++i) {
    const std::int64_t before = Sys_Clock::Microseconds();
    if (snd_seq_get_queue_status(mHandleP->Get(), mQueue, status) < 0) {
      break;
    }
    const std::int64_t after = Sys_Clock::Microseconds();
    const snd_seq_real_time_t* const time = snd_seq_queue_status_get_real_time(status);
    offset.Add(before, std::int64_t{time->tv_sec} * 1'000'000'000 + time->tv_nsec, after);
    mOffset = offset.Nanoseconds();
  }
  mMeasuredAt = iNow;
}

// What is to be played at once goes past the queue, unless something may wait there that is due and belongs
// before it.
bool Platform_AlsaDataClient::IsQueueNeeded(const Output& iOutput, std::int64_t iTime,
                                            std::int64_t iNow) const {
  return mQueue >= 0 && (iTime > iNow || iOutput.mLatestQueued >= iNow - kQueueIsEmptyAfter);
}

Platform_SendResult Platform_AlsaDataClient::Send(Output& ioOutput, std::int64_t iNow, std::int64_t iTime,
                                                  const std::uint8_t* iBytes, std::size_t iLength) {
  if (ioOutput.mConnection.mIsGone) {
    return Platform_SendResult::kGone;
  }
  if (iLength == 0) {
    return Platform_SendResult::kTaken;
  }
  const std::int64_t time = std::max(iTime, iNow);
  snd_seq_event_t event{};
  Platform_AlsaEncode(iBytes, iLength, event);
  snd_seq_ev_set_source(&event, static_cast<unsigned char>(ioOutput.mConnection.mPort));
  snd_seq_ev_set_subs(&event);
  const bool isQueued = IsQueueNeeded(ioOutput, iTime, iNow);
  if (isQueued) {
    if (iNow - mMeasuredAt >= kMeasureEvery) {
      MeasureOffset(iNow);
    }
    const std::int64_t queueTime = ioOutput.mTimes.Convert(time, iNow, mOffset);
    const snd_seq_real_time_t real = {static_cast<unsigned>(queueTime / 1'000'000'000),
                                      static_cast<unsigned>(queueTime % 1'000'000'000)};
    snd_seq_ev_schedule_real(&event, static_cast<unsigned char>(mQueue), 0, &real);
    // Drop knows this port's events by it.
    event.tag = static_cast<unsigned char>(ioOutput.mConnection.mPort);
  } else {
    snd_seq_ev_set_direct(&event);
  }
  const std::int64_t amount = AmountOf(ioOutput.mReceiver, event, iLength);
  if (!ioOutput.mPace.Take(time, amount)) {
    return Platform_SendResult::kFull;
  }
  const int result = snd_seq_event_output_direct(mHandleP->Get(), &event);
  if (result < 0) {
    ioOutput.mPace.GiveBack(amount);
    return result == -EAGAIN || result == -ENOMEM ? Platform_SendResult::kFull : Platform_SendResult::kGone;
  }
  if (isQueued) {
    ioOutput.mLatestQueued = std::max(ioOutput.mLatestQueued, time);
  }
  return Platform_SendResult::kTaken;
}

void Platform_AlsaDataClient::Drop(Output& ioOutput) {
  if (mQueue < 0) {
    return;
  }
  snd_seq_remove_events_t* remove = nullptr;
  snd_seq_remove_events_malloc(&remove);
  snd_seq_remove_events_set_queue(remove, mQueue);
  snd_seq_remove_events_set_tag(remove, ioOutput.mConnection.mPort);
  snd_seq_remove_events_set_condition(remove, SND_SEQ_REMOVE_OUTPUT | SND_SEQ_REMOVE_TAG_MATCH);
  snd_seq_remove_events(mHandleP->Get(), remove);
  snd_seq_remove_events_free(remove);
  const std::int64_t now = Sys_Clock::Microseconds();
  ioOutput.mPace.StepBack(now);
  ioOutput.mLatestQueued = std::min(ioOutput.mLatestQueued, now);
}
