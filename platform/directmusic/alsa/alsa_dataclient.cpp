// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_dataclient.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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

// Raised while pieces wait that were read along with others'.
class Flag {
 public:
  Flag() : mDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~Flag() {
    if (mDescriptor >= 0) {
      ::close(mDescriptor);
    }
  }
  Flag(const Flag&) = delete;
  Flag& operator=(const Flag&) = delete;

  int Get() const { return mDescriptor; }
  void Set(bool iRaised) {
    if (iRaised == mIsRaised) {
      return;
    }
    mIsRaised = iRaised;
    std::uint64_t count = 1;
    const auto step = [&] {
      return iRaised ? ::write(mDescriptor, &count, sizeof(count))
                     : ::read(mDescriptor, &count, sizeof(count));
    };
    while (step() < 0 && errno == EINTR) {
    }
  }

 private:
  const int mDescriptor;
  bool mIsRaised = false;
};

// Readable while either of two descriptors is.
class Either {
 public:
  Either(int iFirst, int iSecond) : mDescriptor(::epoll_create1(EPOLL_CLOEXEC)) {
    for (const int descriptor : {iFirst, iSecond}) {
      epoll_event event{};
      event.events = EPOLLIN;
      mIsWhole = ::epoll_ctl(mDescriptor, EPOLL_CTL_ADD, descriptor, &event) == 0 && mIsWhole;
    }
  }
  ~Either() {
    if (mDescriptor >= 0) {
      ::close(mDescriptor);
    }
  }
  Either(const Either&) = delete;
  Either& operator=(const Either&) = delete;

  int Get() const { return mDescriptor; }
  bool IsWhole() const { return mIsWhole; }

 private:
  const int mDescriptor;
  bool mIsWhole = true;
};

template <class Message>
void Fill(const Message& iMessage, Platform_Piece& oPiece) {
  oPiece.mLength = iMessage.mLength;
  std::copy_n(iMessage.mBytes.begin(), iMessage.mLength, oPiece.mBytes);
}

}  // namespace

// ---- connections ----

struct Platform_AlsaDataClient::Input {
  explicit Input(int iDataDescriptor) : mSplitter(kPlatform_MaxPiece), mReady(iDataDescriptor, mFlag.Get()) {}

  void Append(const std::uint8_t* iBytes, std::size_t iLength) {
    Platform_TimedMessage* const copy =
        mWaiting.Size() < kMostWaiting ? Platform_TimedMessage::New(0, iBytes, iLength) : nullptr;
    if (copy == nullptr) {
      mLost.fetch_add(1);
      return;
    }
    mWaiting.Append(copy);
  }

  bool Take(Platform_Piece& oPiece) {
    Platform_TimedMessage* const message = mWaiting.Pop();
    if (message == nullptr) {
      return false;
    }
    oPiece.mLength = std::min(message->mLength, kPlatform_MaxPiece);
    std::memcpy(oPiece.mBytes, message->Bytes(), oPiece.mLength);
    Platform_TimedMessage::Delete(message);
    return true;
  }

  Connection mConnection;
  Platform_MessageList mWaiting;
  // Cuts what others send as system exclusive: one of their events may hold any bytes.
  Platform_MidiSplitter mSplitter;
  Flag mFlag;
  Either mReady;
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
  InputConnection(std::shared_ptr<Platform_AlsaDataClient> iClientP, std::unique_ptr<Input> iInputP)
      : mClientP(std::move(iClientP)), mInputP(std::move(iInputP)) {}
  ~InputConnection() override { mClientP->Close(*mInputP); }
  bool Read(Platform_Piece& oPiece) override { return mClientP->Read(*mInputP, oPiece); }
  int Descriptor() const override { return mInputP->mReady.Get(); }
  std::uint64_t LostPieces() const override { return mInputP->mLost.load(); }

 private:
  const std::shared_ptr<Platform_AlsaDataClient> mClientP;
  const std::unique_ptr<Input> mInputP;
};

class Platform_AlsaDataClient::OutputConnection final : public Platform_DriverOutput {
 public:
  OutputConnection(std::shared_ptr<Platform_AlsaDataClient> iClientP, std::unique_ptr<Output> iOutputP)
      : mClientP(std::move(iClientP)), mOutputP(std::move(iOutputP)) {}
  ~OutputConnection() override { mClientP->Close(*mOutputP); }
  Platform_SendResult Send(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) override {
    const std::lock_guard lock(mClientP->mMutex);
    return mClientP->Send(*mOutputP, iTime, iBytes, iLength);
  }
  std::size_t PieceSize() const override { return kPieceSize; }
  // The kernel plays at the time itself: nothing has to be known ahead.
  std::int64_t LatencyMicroseconds() const override { return 0; }
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
  auto input = std::make_unique<Input>(mHandleP->Descriptor());
  input->mConnection = {iPeer, -1, true, false};
  if (!input->mReady.IsWhole() || !Connect(input->mConnection, iGeneration)) {
    return nullptr;
  }
  mInputs[input->mConnection.mPort] = input.get();
  return std::make_unique<InputConnection>(shared_from_this(), std::move(input));
}

void Platform_AlsaDataClient::Close(Input& ioInput) {
  const std::lock_guard lock(mMutex);
  mInputs.erase(ioInput.mConnection.mPort);
  Disconnect(ioInput.mConnection);
}

bool Platform_AlsaDataClient::Read(Input& ioInput, Platform_Piece& oPiece) {
  const std::lock_guard lock(mMutex);
  const bool isFilled = ioInput.Take(oPiece) || Fetch(&ioInput, oPiece);
  ioInput.mFlag.Set(!ioInput.mWaiting.IsEmpty());
  return isFilled;
}

// Takes what the kernel gives in one go; if more waits there, the descriptor stays readable.
bool Platform_AlsaDataClient::Fetch(Input* iReaderP, Platform_Piece& oPiece) {
  bool isFilled = false;
  do {
    snd_seq_event_t* event = nullptr;
    const int result = snd_seq_event_input(mHandleP->Get(), &event);
    if (result == -ENOSPC) {
      CountLoss();
    }
    if (result < 0 || event == nullptr) {
      break;
    }
    Distribute(*event, iReaderP, oPiece, isFilled);
  } while (snd_seq_event_input_pending(mHandleP->Get(), 0) > 0);
  return isFilled;
}

void Platform_AlsaDataClient::Distribute(const snd_seq_event_t& iEvent, Input* iReaderP,
                                         Platform_Piece& oPiece, bool& ioIsFilled) {
  const auto found = mInputs.find(iEvent.dest.port);
  if (found == mInputs.end()) {
    return;
  }
  Input& input = *found->second;
  if (iEvent.type == SND_SEQ_EVENT_SYSEX) {
    input.mSplitter.Feed(
        static_cast<const std::uint8_t*>(iEvent.data.ext.ptr), iEvent.data.ext.len,
        [&](const std::uint8_t* iBytes, std::size_t iLength) { input.Append(iBytes, iLength); });
    if (&input == iReaderP && !ioIsFilled) {
      ioIsFilled = input.Take(oPiece);
    }
  } else {
    const Platform_AlsaMessages messages(iEvent);
    for (std::size_t i = 0; i < messages.Count(); ++i) {
      if (&input == iReaderP && !ioIsFilled) {
        // The usual case, one message for the reader, goes by no list.
        Fill(messages.At(i), oPiece);
        ioIsFilled = true;
      } else {
        input.Append(messages.At(i).mBytes.data(), messages.At(i).mLength);
      }
    }
  }
  if (&input != iReaderP) {
    input.mFlag.Set(!input.mWaiting.IsEmpty());
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

Platform_SendResult Platform_AlsaDataClient::Send(Output& ioOutput, std::int64_t iTime,
                                                  const std::uint8_t* iBytes, std::size_t iLength) {
  if (ioOutput.mConnection.mIsGone) {
    return Platform_SendResult::kGone;
  }
  if (iLength == 0) {
    return Platform_SendResult::kTaken;
  }
  const std::int64_t now = Sys_Clock::Microseconds();
  const std::int64_t time = std::max(iTime, now);
  snd_seq_event_t event{};
  Platform_AlsaEncode(iBytes, iLength, event);
  snd_seq_ev_set_source(&event, static_cast<unsigned char>(ioOutput.mConnection.mPort));
  snd_seq_ev_set_subs(&event);
  const bool isQueued = IsQueueNeeded(ioOutput, iTime, now);
  if (isQueued) {
    if (now - mMeasuredAt >= kMeasureEvery) {
      MeasureOffset(now);
    }
    const std::int64_t queueTime = ioOutput.mTimes.Convert(time, now, mOffset);
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
