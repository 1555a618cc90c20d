// SPDX-License-Identifier: MIT
/// \file
/// What tests of the receive thread have in common.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "mlox/mlox_directmusic/cgenericmidireceiver.h"
#include "mlox/mlox_directmusic/directmusicreceivetask.h"
#include "mlox/mlox_directmusic/mlox_directmusic_midireceivecallback.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_rawmidireceiver.h"

/// How long a test waits for something that must happen; it ends as soon as it has.
inline constexpr std::chrono::seconds Test_kDeadline{60};

/// One record as a receiver got it.
struct Test_Received {
  Mlox_InputID mID;
  std::vector<std::uint8_t> mBytes;
  std::int64_t mTime = 0;
  Mlox_MidiData::ESysexState mSysexState = Mlox_MidiData::kNoSysex;
  const void* mRecordP = nullptr;
  const void* mDataP = nullptr;
  bool mIsTimeValid = false;
  std::uint32_t mTimeKind = 99;
  std::thread::id mThread;
};

/// Keeps what it gets, answers what it is told to, and can be waited for.
class Test_WaitableReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    {
      const std::lock_guard lock(mMutex);
      mReceived.push_back({iDataP->mInputID,
                           {iDataP->mData, iDataP->mData + iDataP->mLength},
                           iDataP->mTime,
                           iDataP->mSysexState,
                           iDataP,
                           iDataP->mData,
                           iDataP->mIsTimeValid,
                           iDataP->mTimeKind,
                           std::this_thread::get_id()});
    }
    mChanged.notify_all();
    return mOnReceive ? mOnReceive(*iDataP) : 0;
  }

  /// Called behind the keeping, on the receive thread; its result is the answer. Set it before anything
  /// comes.
  std::function<int(Mlox_MidiData& ioData)> mOnReceive;

  /// Waits until so many records have come. False after the deadline.
  bool WaitFor(std::size_t iCount) const {
    std::unique_lock lock(mMutex);
    const auto until = std::chrono::system_clock::now() + Test_kDeadline;
    return mChanged.wait_until(lock, until, [&] { return mReceived.size() >= iCount; });
  }
  std::vector<Test_Received> Received() const {
    const std::lock_guard lock(mMutex);
    return mReceived;
  }
  std::vector<std::vector<std::uint8_t>> Bytes() const {
    std::vector<std::vector<std::uint8_t>> bytes;
    for (const Test_Received& received : Received()) bytes.push_back(received.mBytes);
    return bytes;
  }
  std::vector<Mlox_InputID> IDs() const {
    std::vector<Mlox_InputID> ids;
    for (const Test_Received& received : Received()) ids.push_back(received.mID);
    return ids;
  }
  std::size_t Count() const { return Received().size(); }

 private:
  mutable std::mutex mMutex;
  mutable std::condition_variable mChanged;
  std::vector<Test_Received> mReceived;
};

/// A door that one thread waits at and another opens.
class Test_Gate {
 public:
  void Open() {
    {
      const std::lock_guard lock(mMutex);
      mIsOpen = true;
    }
    mOpened.notify_all();
  }
  bool Wait() {
    std::unique_lock lock(mMutex);
    return mOpened.wait_until(lock, std::chrono::system_clock::now() + Test_kDeadline,
                              [&] { return mIsOpen; });
  }

 private:
  std::mutex mMutex;
  std::condition_variable mOpened;
  bool mIsOpen = false;
};

/// Waits until a condition holds. False after the deadline.
inline bool Test_WaitUntil(const std::function<bool()>& iCondition) {
  const auto until = std::chrono::steady_clock::now() + Test_kDeadline;
  while (!iCondition()) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::yield();
  }
  return true;
}

/// How many descriptors the process has open; each event has one.
inline std::ptrdiff_t Test_OpenDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

/// Reaches the steps of the receive thread, so that they can be tried without one.
struct Test_ReceiveTaskAccess {
  using Batch = DirectMusicReceiveTask::Batch;
  static void Read(DirectMusicReceiveTask& ioTask, IDirectMusicPort& iPort, Batch& ioBatch) {
    ioTask.ReadBatch(iPort, ioBatch);
  }
  static void Deliver(Batch& ioBatch, const PortInputGroup& iGroup) {
    DirectMusicReceiveTask::DeliverBatch(ioBatch, iGroup);
  }
  static void RequireReceiveThread() { DirectMusicReceiveTask::RequireReceiveThread(); }
  static void ApplyPendingGroups(DirectMusicReceiveTask& ioTask) { ioTask.ApplyPendingGroups(); }
  static bool RequestStop(DirectMusicReceiveTask& ioTask) { return ioTask.RequestStop(); }
  static const PortInputGroupList& Groups(const DirectMusicReceiveTask& iTask) { return iTask.mGroups; }
  static std::size_t EventCount(const DirectMusicReceiveTask& iTask) { return iTask.mEvents.size(); }
};

/// A service, as far as its handle goes.
class Test_AttachedService {
 public:
  Test_AttachedService() {
    Mlox_DirectMusic_ServiceHandle::Singleton().Attach(reinterpret_cast<Mlox_DirectMusic_Service*>(this));
  }
  ~Test_AttachedService() { Mlox_DirectMusic_ServiceHandle::Singleton().Detach(); }
  Test_AttachedService(const Test_AttachedService&) = delete;
  Test_AttachedService& operator=(const Test_AttachedService&) = delete;
};

/// A receiver of everything, or of nothing yet, for a raw receiver.
inline std::shared_ptr<CGenericMIDIReceiver> Test_NewReceiver(Mlox_RawMidiReceiver& ioRaw) {
  auto callback = std::make_shared<Mlox_DirectMusic_MIDIReceiveCallback>();
  callback->SetRawReceiver(&ioRaw);
  auto receiver = std::make_shared<CGenericMIDIReceiver>();
  receiver->SetCallback(callback);
  return receiver;
}
