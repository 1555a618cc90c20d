// SPDX-License-Identifier: MIT
#include "platform/directmusic/loopback/loopback_driver.h"

#if !defined(_WIN32)

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <sstream>
#include <thread>

#include "cmn/sys_clock.h"
#include "platform/directmusic/timedmessage.h"

namespace {

// More than a saturated wire brings in a minute; a reader that stays away longer loses, and the loss is
// counted.
constexpr std::size_t kMostWaiting = 65536;

// A descriptor that is readable while something waits.
class ReadyDescriptor {
 public:
  ReadyDescriptor() : mDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~ReadyDescriptor() {
    if (mDescriptor >= 0) {
      ::close(mDescriptor);
    }
  }
  ReadyDescriptor(const ReadyDescriptor&) = delete;
  ReadyDescriptor& operator=(const ReadyDescriptor&) = delete;

  int Get() const { return mDescriptor; }
  void Raise() const {
    const std::uint64_t one = 1;
    while (::write(mDescriptor, &one, sizeof(one)) < 0 && errno == EINTR) {
    }
  }
  void Lower() const {
    std::uint64_t count = 0;
    while (::read(mDescriptor, &count, sizeof(count)) < 0 && errno == EINTR) {
    }
  }

 private:
  const int mDescriptor;
};

// A reader of a pair's input.
class Reader {
 public:
  int Descriptor() const { return mReady.Get(); }
  std::uint64_t Lost() const { return mLost.load(); }

  void Put(const Platform_TimedMessage& iMessage) {
    const std::lock_guard lock(mMutex);
    Platform_TimedMessage* const copy =
        mWaiting.Size() < kMostWaiting
            ? Platform_TimedMessage::New(iMessage.mTime, iMessage.Bytes(), iMessage.mLength)
            : nullptr;
    if (copy == nullptr) {
      mLost.fetch_add(1);
      return;
    }
    mWaiting.Append(copy);
    mReady.Raise();
  }

  bool Take(Platform_Piece& oPiece) {
    const std::lock_guard lock(mMutex);
    Platform_TimedMessage* const message = mWaiting.Pop();
    if (mWaiting.IsEmpty()) {
      mReady.Lower();
    }
    if (message == nullptr) {
      return false;
    }
    oPiece.mLength = std::min(message->mLength, kPlatform_MaxPiece);
    std::memcpy(oPiece.mBytes, message->Bytes(), oPiece.mLength);
    Platform_TimedMessage::Delete(message);
    return true;
  }

 private:
  std::mutex mMutex;
  Platform_MessageList mWaiting;
  ReadyDescriptor mReady;
  std::atomic<std::uint64_t> mLost{0};
};

// One pair. It outlives its place in the list while somebody is connected to it.
struct Pair {
  std::string mName;
  std::string mSerial;
  // No two of the process have the same: one of this name that is plugged later is another pair, also for
  // whoever did not look in between.
  std::string mHandle;
  std::atomic<bool> mIsPlugged{true};
  std::mutex mMutex;
  Platform_TimedQueue mWaiting;
  std::vector<std::weak_ptr<Reader>> mReaders;
  std::int64_t mMicrosecondsPerByte = 0;
  std::int64_t mWireIsFreeAt = 0;
};

std::string NamesOfEnvironment() {
  const char* const names = std::getenv("MLOX_LOOPBACK_PORTS");
  return names != nullptr ? names : "mlox loopback";
}

// All pairs, and the one thread that delivers at the time.
class Exchange {
 public:
  static Exchange& Singleton() {
    static Exchange* const sExchange = new Exchange;
    return *sExchange;
  }

  std::shared_ptr<Pair> Find(const std::string& iName) { return FindBy(&Pair::mName, iName); }
  std::shared_ptr<Pair> FindByHandle(const std::string& iHandle) { return FindBy(&Pair::mHandle, iHandle); }

  void Plug(const std::string& iName, const std::string& iSerial = {}) {
    if (Find(iName) == nullptr) {
      const std::lock_guard lock(mMutex);
      auto pair = std::make_shared<Pair>();
      pair->mName = iName;
      pair->mSerial = iSerial;
      pair->mHandle = std::to_string(++mPlugged);
      mPairs.push_back(std::move(pair));
    }
    TellHosts();
  }

  void Unplug(const std::string& iName) {
    const std::shared_ptr<Pair> pair = Find(iName);
    if (pair == nullptr) {
      return;
    }
    pair->mIsPlugged.store(false);
    {
      const std::lock_guard lock(mMutex);
      std::erase(mPairs, pair);
    }
    TellHosts();
  }

  std::vector<std::shared_ptr<Pair>> Pairs() {
    const std::lock_guard lock(mMutex);
    return mPairs;
  }

  void Join(Platform_DriverHost* iHostP) {
    {
      const std::lock_guard lock(mHostMutex);
      mHosts.push_back(iHostP);
    }
    const std::lock_guard lock(mSleepMutex);
    if (!mThread.joinable()) {
      mStop = false;
      mThread = std::thread([this] { Run(); });
    }
  }

  void Leave(Platform_DriverHost* iHostP) {
    bool isLast = false;
    {
      const std::lock_guard lock(mHostMutex);
      const auto found = std::find(mHosts.begin(), mHosts.end(), iHostP);
      if (found != mHosts.end()) {
        mHosts.erase(found);
      }
      isLast = mHosts.empty();
    }
    if (isLast) {
      StopThread();
    }
  }

  void Wake() {
    {
      const std::lock_guard lock(mSleepMutex);
      mWorkWanted = true;
    }
    mWake.notify_one();
  }

 private:
  Exchange() {
    std::istringstream names(NamesOfEnvironment());
    for (std::string name; std::getline(names, name, ',');) {
      if (!name.empty()) {
        Plug(name);
      }
    }
  }

  std::shared_ptr<Pair> FindBy(std::string Pair::*iMember, const std::string& iText) {
    const std::lock_guard lock(mMutex);
    const auto found = std::find_if(mPairs.begin(), mPairs.end(), [&](const std::shared_ptr<Pair>& iPair) {
      return (*iPair).*iMember == iText;
    });
    return found != mPairs.end() ? *found : nullptr;
  }

  // The list's change is posted with the hosts' lock alone, so that a host may ask for the list at once.
  void TellHosts() {
    const std::lock_guard lock(mHostMutex);
    for (Platform_DriverHost* const host : mHosts) {
      host->PortsMayHaveChanged();
    }
  }

  void StopThread() {
    std::thread thread;
    {
      const std::lock_guard lock(mSleepMutex);
      mStop = true;
      thread.swap(mThread);
    }
    mWake.notify_one();
    if (thread.joinable()) {
      thread.join();
    }
  }

  // Delivers what is due. \returns when the next is, or INT64_MAX.
  std::int64_t Deliver() {
    std::int64_t next = INT64_MAX;
    for (const std::shared_ptr<Pair>& pair : Pairs()) {
      next = std::min(next, DeliverPair(*pair));
    }
    return next;
  }

  static std::int64_t DeliverPair(Pair& ioPair) {
    const std::lock_guard lock(ioPair.mMutex);
    while (const Platform_TimedMessage* const head = ioPair.mWaiting.Peek()) {
      const std::int64_t onTheWire = ioPair.mMicrosecondsPerByte * static_cast<std::int64_t>(head->mLength);
      const std::int64_t due = std::max(head->mTime, ioPair.mWireIsFreeAt) + onTheWire;
      if (due > Sys_Clock::Microseconds()) {
        return due;
      }
      ioPair.mWireIsFreeAt = due;
      for (const std::weak_ptr<Reader>& reader : ioPair.mReaders) {
        if (const std::shared_ptr<Reader> present = reader.lock()) {
          present->Put(*head);
        }
      }
      Platform_TimedMessage::Delete(ioPair.mWaiting.Pop());
    }
    return INT64_MAX;
  }

  void Run() {
    for (;;) {
      const std::int64_t next = Deliver();
      std::unique_lock lock(mSleepMutex);
      const auto isWanted = [this] { return mWorkWanted || mStop; };
      if (next == INT64_MAX) {
        mWake.wait(lock, isWanted);
      } else {
        const std::int64_t sleep = std::max<std::int64_t>(next - Sys_Clock::Microseconds(), 0);
        mWake.wait_for(lock, std::chrono::microseconds(sleep), isWanted);
      }
      mWorkWanted = false;
      if (mStop) {
        return;
      }
    }
  }

  std::mutex mMutex;
  std::vector<std::shared_ptr<Pair>> mPairs;
  std::uint64_t mPlugged = 0;
  std::mutex mHostMutex;
  std::vector<Platform_DriverHost*> mHosts;
  std::mutex mSleepMutex;
  std::condition_variable mWake;
  bool mWorkWanted = false;
  bool mStop = false;
  std::thread mThread;
};

class LoopbackInput final : public Platform_DriverInput {
 public:
  explicit LoopbackInput(const std::shared_ptr<Pair>& iPairP)
      : mPairP(iPairP), mReaderP(std::make_shared<Reader>()) {
    const std::lock_guard lock(mPairP->mMutex);
    std::erase_if(mPairP->mReaders, [](const std::weak_ptr<Reader>& iReader) { return iReader.expired(); });
    mPairP->mReaders.push_back(mReaderP);
  }
  bool Read(Platform_Piece& oPiece) override { return mReaderP->Take(oPiece); }
  int Descriptor() const override { return mReaderP->Descriptor(); }
  std::uint64_t LostPieces() const override { return mReaderP->Lost(); }

 private:
  const std::shared_ptr<Pair> mPairP;
  const std::shared_ptr<Reader> mReaderP;
};

class LoopbackOutput final : public Platform_DriverOutput {
 public:
  explicit LoopbackOutput(const std::shared_ptr<Pair>& iPairP) : mPairP(iPairP) {}

  Platform_SendResult Send(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) override {
    return SendNow(Sys_Clock::Microseconds(), iTime, iBytes, iLength);
  }
  Platform_SendResult SendNow(std::int64_t iNow, std::int64_t iTime, const std::uint8_t* iBytes,
                              std::size_t iLength) override {
    if (!mPairP->mIsPlugged.load()) {
      return Platform_SendResult::kGone;
    }
    // Times never step back on a connection: what is sent at once goes out behind what was sent at once
    // before.
    const std::int64_t time = std::max(iTime, iNow);
    Platform_TimedMessage* const message = Platform_TimedMessage::New(time, iBytes, iLength);
    if (message == nullptr) {
      return Platform_SendResult::kFull;
    }
    bool isNext = false;
    {
      const std::lock_guard lock(mPairP->mMutex);
      mPairP->mWaiting.Push(message);
      isNext = mPairP->mWaiting.Peek() == message;
    }
    if (isNext) {
      Exchange::Singleton().Wake();
    }
    return Platform_SendResult::kTaken;
  }
  std::size_t PieceSize() const override { return kPlatform_MaxPiece; }
  std::int64_t LatencyMicroseconds() const override { return 0; }
  bool IsLatencyFixed() const override { return true; }
  void Drop() override {
    const std::lock_guard lock(mPairP->mMutex);
    mPairP->mWaiting.Clear();
  }

 private:
  const std::shared_ptr<Pair> mPairP;
};

Platform_PortInfo InfoOf(const Pair& iPair, bool iIsInput) {
  Platform_PortInfo info;
  info.mDriver = "loopback";
  info.mName = iPair.mName;
  info.mManufacturer = "mlox";
  info.mModel = "loopback";
  info.mIsInput = iIsInput;
  info.mIsVirtual = true;
  info.mSerial = iPair.mSerial;
  info.mPath = iPair.mName;
  info.mHandle = iPair.mHandle;
  return info;
}

}  // namespace

void Platform_LoopbackPorts::Plug(const std::string& iName) { Exchange::Singleton().Plug(iName); }
void Platform_LoopbackPorts::Unplug(const std::string& iName) { Exchange::Singleton().Unplug(iName); }

std::vector<std::string> Platform_LoopbackPorts::Names() {
  std::vector<std::string> names;
  for (const std::shared_ptr<Pair>& pair : Exchange::Singleton().Pairs()) {
    names.push_back(pair->mName);
  }
  return names;
}

void Platform_LoopbackPorts::SetPace(const std::string& iName, std::int64_t iMicrosecondsPerByte) {
  if (const std::shared_ptr<Pair> pair = Exchange::Singleton().Find(iName)) {
    const std::lock_guard lock(pair->mMutex);
    pair->mMicrosecondsPerByte = iMicrosecondsPerByte;
  }
}

void Platform_PlugLoopbackCard(const std::string& iName, const std::string& iSerial) {
  Exchange::Singleton().Plug(iName, iSerial);
}

Platform_LoopbackDriver::~Platform_LoopbackDriver() { Stop(); }

bool Platform_LoopbackDriver::Start(Platform_DriverHost* iHostP, std::string& /*oReason*/) {
  mHostP = iHostP;
  Exchange::Singleton().Join(iHostP);
  return true;
}

void Platform_LoopbackDriver::Stop() {
  if (mHostP != nullptr) {
    Exchange::Singleton().Leave(mHostP);
    mHostP = nullptr;
  }
}

std::vector<Platform_PortInfo> Platform_LoopbackDriver::Ports() {
  std::vector<Platform_PortInfo> ports;
  for (const std::shared_ptr<Pair>& pair : Exchange::Singleton().Pairs()) {
    ports.push_back(InfoOf(*pair, false));
    ports.push_back(InfoOf(*pair, true));
  }
  return ports;
}

std::unique_ptr<Platform_DriverInput> Platform_LoopbackDriver::OpenInput(const Platform_PortInfo& iPort) {
  const std::shared_ptr<Pair> pair = Exchange::Singleton().FindByHandle(iPort.mHandle);
  return pair != nullptr ? std::make_unique<LoopbackInput>(pair) : nullptr;
}

std::unique_ptr<Platform_DriverOutput> Platform_LoopbackDriver::OpenOutput(const Platform_PortInfo& iPort) {
  const std::shared_ptr<Pair> pair = Exchange::Singleton().FindByHandle(iPort.mHandle);
  return pair != nullptr ? std::make_unique<LoopbackOutput>(pair) : nullptr;
}

#endif
