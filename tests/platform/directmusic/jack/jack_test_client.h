// SPDX-License-Identifier: MIT
/// \file
/// A bare JACK client for tests, with nothing of ours in it: it sends and records.
#pragma once

#include <jack/types.h>

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/platform/directmusic/conformance/driver_peer.h"

/// One cycle of a server: its first frame, counted from the first cycle that a client got, as jack_midi_dump
/// counts, and its time in microseconds of Sys_Clock.
struct Test_JackCycle {
  std::int64_t mFrame = 0;
  std::int64_t mFrames = 0;
  std::int64_t mStart = 0;
  std::int64_t mNext = 0;
};

/// A client with up to 16 MIDI ports. Ports are known by their short names. One test thread, except that
/// another one may Send. Its process callback waits for nobody: a server goes on without clients that are
/// late, and what they had to say is lost.
class Test_JackClient {
 public:
  Test_JackClient();
  ~Test_JackClient();
  Test_JackClient(const Test_JackClient&) = delete;
  Test_JackClient& operator=(const Test_JackClient&) = delete;

  /// \returns why the client can't be had; empty when it runs.
  std::string Open(const std::string& iName);
  void Close();
  /// What the server calls it.
  std::string Name() const;
  jack_client_t* Get() const { return mClientP; }

  /// Registers a port that sends, or one that records; false when the server refuses.
  bool AddSource(const std::string& iName, unsigned long iFlags = 0);
  bool AddSink(const std::string& iName, unsigned long iFlags = 0);
  void Remove(const std::string& iName);
  /// Whether another client's port is there and can be connected: its client may be about to start yet.
  bool CanConnectTo(const std::string& iPort);

  /// Sends an event behind those sent before, in the next cycle that has room.
  bool Send(const std::string& iSource, const Test_MidiBytes& iBytes);
  /// Events that have not been sent yet.
  std::size_t Waiting(const std::string& iSource) const;
  /// All that a sink has recorded; also after it was removed, and after Close.
  std::vector<Test_Heard> Heard(const std::string& iSink) const;
  std::size_t HeardCount(const std::string& iSink) const;
  /// How often the server came too late, left frames out, or its frames went apart from its clock.
  int Troubles() const { return mTroubles.load(); }
  /// How often the server came too late, as it counts that itself.
  int Xruns() const { return mXruns.load(); }
  /// Keeps each cycle from now on, up to some ten thousand; those kept before are forgotten.
  void KeepCycles();
  std::vector<Test_JackCycle> Cycles() const;
  /// The most events that a cycle held at a sink.
  std::size_t MostInACycle() const { return mMostInACycle.load(); }

 private:
  // Events in the order of their coming, one writer, any readers. All memory is there from the beginning.
  class Tape {
   public:
    Tape();
    bool Append(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength);
    std::size_t Count() const { return mCount.load(std::memory_order_acquire); }
    Test_Heard At(std::size_t iIndex) const;
    const std::uint8_t* BytesAt(std::size_t iIndex) const { return &mBytes[mEvents[iIndex].mPlace]; }
    std::size_t LengthAt(std::size_t iIndex) const { return mEvents[iIndex].mLength; }

   private:
    struct Event {
      std::int64_t mTime = 0;
      std::size_t mPlace = 0;
      std::size_t mLength = 0;
    };
    std::vector<Event> mEvents;
    std::vector<std::uint8_t> mBytes;
    std::size_t mUsed = 0;
    std::atomic<std::size_t> mCount{0};
  };
  struct Way {
    std::string mName;
    bool mIsSource = false;
    std::atomic<jack_port_t*> mPortP{nullptr};
    Tape mTape;
    // Of a source: events that the callback has sent, or left out since their port was away.
    std::atomic<std::size_t> mSent{0};
    std::mutex mSendMutex;
  };

  static int OnLate(void* iClientP);
  static int OnProcess(jack_nframes_t iFrames, void* iClientP);
  void Process(jack_nframes_t iFrames);
  void LookForGap(jack_nframes_t iFrames);
  void KeepCycle(std::int64_t iStart, std::int64_t iNext, jack_nframes_t iFrames);
  void Play(Way& ioWay, void* iBufferP);
  void Record(Way& ioWay, void* iBufferP, jack_nframes_t iFrames);
  bool Add(const std::string& iName, bool iIsSource, unsigned long iFlags);
  Way* Find(const std::string& iName) const;
  void WaitForCallback() const;

  jack_client_t* mClientP = nullptr;
  std::array<std::unique_ptr<Way>, 16> mWays;
  std::atomic<std::size_t> mWayCount{0};
  // Odd while the callback runs.
  std::atomic<std::uint64_t> mCallbacks{0};
  std::atomic<std::size_t> mMostInACycle{0};
  std::atomic<int> mTroubles{0};
  std::atomic<int> mXruns{0};
  // Written by the callback alone while mKeepsCycles is set; all memory is there from the beginning.
  std::vector<Test_JackCycle> mCycles;
  std::atomic<std::size_t> mCycleCount{0};
  std::atomic<bool> mKeepsCycles{false};
  // The process callback's: where frames and clock were together, and the next cycle's first frame.
  std::int64_t mFirstStart = 0;
  jack_nframes_t mFirstFrame = 0;
  jack_nframes_t mNextFrame = 0;
  std::int64_t mFramesSoFar = 0;
};
