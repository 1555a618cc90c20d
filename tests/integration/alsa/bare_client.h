// SPDX-License-Identifier: MIT
/// \file
/// A program of somebody else's on the sequencer: bare clients of alsa-lib, with alsa-lib's own converter
/// between bytes and events.
#pragma once

#include <alsa/asoundlib.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/directmusic/conformance/driver_peer.h"

/// One client with one port, which others may subscribe to.
class Test_BareClient {
 public:
  enum EDirection { kSends, kRecords };

  Test_BareClient(const std::string& iName, EDirection iDirection);
  ~Test_BareClient();
  Test_BareClient(const Test_BareClient&) = delete;
  Test_BareClient& operator=(const Test_BareClient&) = delete;

  /// False when the sequencer is not there.
  bool IsOpen() const { return mHandleP != nullptr; }
  int Client() const { return mClient; }
  snd_seq_t* Handle() const { return mHandleP; }
  /// Connects the port with another client's.
  bool ConnectTo(int iClient, int iPort) const;
  bool ConnectFrom(int iClient, int iPort) const;

  /// Sends one message or one piece of a system exclusive message to whoever has subscribed, at once.
  bool Send(const Test_MidiBytes& iBytes);

  /// \name Recording, on a thread of its own from the first call on
  /// @{
  void Record();
  std::vector<Test_Heard> Heard();
  /// How many those are; cheap, so that waiting for them does not hold the recording up.
  std::size_t Count();
  /// How often its own queue ran over.
  int Overruns() const { return mOverruns.load(); }
  /// @}

 private:
  void Run();
  void Keep(const snd_seq_event_t& iEvent);

  snd_seq_t* mHandleP = nullptr;
  snd_midi_event_t* mConverterP = nullptr;
  int mClient = -1;
  int mPort = -1;
  Test_MidiBytes mBuffer;
  std::mutex mMutex;
  std::vector<Test_Heard> mHeard;
  std::atomic<int> mOverruns{0};
  std::atomic<bool> mStop{false};
  std::thread mThread;
};
