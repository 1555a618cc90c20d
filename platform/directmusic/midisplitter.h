// SPDX-License-Identifier: MIT
/// \file
/// Cuts a stream of MIDI bytes into whole messages and pieces of system exclusive messages.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

/// Cuts what is played on one port, in order of writing, into what a driver takes: one whole message, its
/// status byte always present, or one piece of a system exclusive message. It keeps running status, a message
/// begun and a system exclusive message begun from one call to the next. Not for two threads at once.
class Platform_MidiSplitter {
 public:
  /// Gets each message or piece; the bytes live for the call.
  using Sink = std::function<void(const std::uint8_t* iBytes, std::size_t iLength)>;

  /// \param iPieceSize the largest piece of a system exclusive message, in bytes, at least 1.
  explicit Platform_MidiSplitter(std::size_t iPieceSize);

  /// Takes bytes as they stand in an unstructured event.
  void Feed(const std::uint8_t* iBytes, std::size_t iLength, const Sink& iSink);

  /// Takes a structured word, first byte lowest. It is read by its status's length, then on while the next
  /// byte is a status; zeros behind are padding. FF (which a channel message of a common output begins with)
  /// goes out alone.
  void FeedWord(std::uint32_t iWord, const Sink& iSink);

  /// Whether a system exclusive message has begun and not ended.
  bool IsInsideSysex() const { return mInsideSysex; }

  /// Data bytes that belonged to nothing and were left out.
  std::uint64_t StrayBytes() const { return mStrayBytes; }

  /// Forgets what was begun.
  void Reset();

 private:
  // A message other than system exclusive, as far as it has come.
  struct Pending {
    std::array<std::uint8_t, 3> mBytes{};
    std::size_t mLength = 0;
    std::size_t mNeeded = 0;
    std::uint8_t mRunningStatus = 0;
  };

  bool PassWhole(const std::uint8_t* iBytes, std::size_t iLength, const Sink& iSink);
  void Byte(std::uint8_t iByte, const Sink& iSink);
  void Status(std::uint8_t iStatus, const Sink& iSink);
  void DataByte(std::uint8_t iByte, const Sink& iSink);
  void SysexStart(const Sink& iSink);
  void EmitIfWhole(const Sink& iSink);
  void SysexByte(std::uint8_t iByte, const Sink& iSink);
  void FlushPiece(const Sink& iSink);

  const std::size_t mPieceSize;
  Pending mPending;
  std::array<std::uint8_t, 4096> mPiece{};
  std::size_t mPieceLength = 0;
  bool mInsideSysex = false;
  // A message written between two pieces of a system exclusive message came from another output of the port:
  // it is whole in itself and does not end the message that it falls into.
  bool mAside = false;
  std::uint64_t mStrayBytes = 0;
};
