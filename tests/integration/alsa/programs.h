// SPDX-License-Identifier: MIT
/// \file
/// Programs that run beside a test in the guest, and what they are fed with.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/platform/directmusic/conformance/driver_peer.h"

/// A program that runs while the object lives. Ended as Ctrl-C would.
class Test_Program {
 public:
  explicit Test_Program(const std::string& iCommand);
  ~Test_Program() { Interrupt(); }
  Test_Program(const Test_Program&) = delete;
  Test_Program& operator=(const Test_Program&) = delete;

  /// Returns when it has ended.
  void Interrupt();
  /// Waits for its own end. \returns its exit status; -1 when it was killed.
  int Wait();

 private:
  pid_t mChild;
};

/// Empty while there is no such file.
std::string Test_FileText(const std::string& iFile);

/// How many read what this port of the sequencer sends, subscribers of our own included.
int Test_ReadersOf(int iClient, int iPort);

/// A message of a song.
struct Test_SongMessage {
  std::uint32_t mTick;  ///< of 5 milliseconds, from the start
  Test_MidiBytes mBytes;
};

/// Writes a standard MIDI file of format 0.
void Test_WriteSong(const std::string& iFile, const std::vector<Test_SongMessage>& iMessages);
/// The same with these messages, a tick apart.
void Test_WriteSong(const std::string& iFile, const std::vector<Test_MidiBytes>& iMessages);

/// Notes and controllers on all channels, the same for the same seed; no data byte is 0.
std::vector<Test_MidiBytes> Test_Song(std::uint32_t iSeed, std::size_t iCount);

/// A system exclusive message of so many bytes.
Test_MidiBytes Test_LongSysex(std::size_t iLength = 65'536);
