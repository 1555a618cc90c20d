// SPDX-License-Identifier: MIT
/// \file
/// A bare JACK client for tests, with nothing of ours in it: it sends and records.
#pragma once

#include <jack/types.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/platform/directmusic/conformance/driver_peer.h"

/// A client with any number of MIDI ports. Ports are known by their short names. One test thread.
class Test_JackClient {
 public:
  Test_JackClient() = default;
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
  jack_port_t* Port(const std::string& iName);

  /// Sends an event behind those sent before, in the next cycle that has room.
  bool Send(const std::string& iSource, const Test_MidiBytes& iBytes);
  /// Events that have not been sent yet.
  std::size_t Waiting(const std::string& iSource);
  /// All that a sink has recorded; also after it was removed.
  std::vector<Test_Heard> Heard(const std::string& iSink);
  /// How often the server came too late, left frames out, or its frames went apart from its clock.
  int Troubles() const { return mTroubles.load(); }
  /// The most events that a cycle held at a sink.
  std::size_t MostInACycle() const { return mMostInACycle.load(); }

 private:
  struct Way {
    jack_port_t* mPortP = nullptr;
    bool mIsSource = false;
    std::deque<Test_MidiBytes> mWaiting;
    std::vector<Test_Heard> mHeard;
  };

  static int OnLate(void* iClientP);
  static int OnProcess(jack_nframes_t iFrames, void* iClientP);
  void Process(jack_nframes_t iFrames);
  void LookForGap(jack_nframes_t iFrames);
  void Play(Way& ioWay, void* iBufferP);
  void Record(Way& ioWay, void* iBufferP, jack_nframes_t iFrames);
  bool Add(const std::string& iName, bool iIsSource, unsigned long iFlags);

  jack_client_t* mClientP = nullptr;
  std::mutex mMutex;
  std::vector<std::pair<std::string, std::unique_ptr<Way>>> mWays;
  std::atomic<std::size_t> mMostInACycle{0};
  std::atomic<int> mTroubles{0};
  // The process callback's: where frames and clock were together, and the next cycle's first frame.
  std::int64_t mFirstStart = 0;
  jack_nframes_t mFirstFrame = 0;
  jack_nframes_t mNextFrame = 0;
  Way* Find(const std::string& iName);
};
