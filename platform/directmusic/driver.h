// SPDX-License-Identifier: MIT
/// \file
/// What a driver offers to the DirectMusic root: a list of ports that comes and goes, and connections to
/// them. A driver knows nothing of DirectMusic's objects. Each driver lies in a folder of its own; drivers.h
/// lists them.
///
/// Threads: the root calls every operation below on its own threads, never two at once on one object unless a
/// line says so. Drivers call nothing but Platform_DriverHost, which only posts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/directmusic/windows_types.h"

class Platform_EventSource;

/// A time that lies before every other: play at once.
inline constexpr std::int64_t kPlatform_AtOnce = INT64_MIN;

/// The largest piece that a driver hands up or takes, in bytes.
inline constexpr std::size_t kPlatform_MaxPiece = 4096;

/// One port as a driver sees it: one direction of one socket.
struct Platform_PortInfo {
  std::string mDriver;        ///< the driver's name: "alsa", "jack", "loopback"
  std::string mName;          ///< what people read, UTF-8
  std::string mManufacturer;  ///< empty when nothing tells it
  std::string mModel;
  bool mIsInput = false;    ///< it gives MIDI to us
  bool mIsVirtual = false;  ///< another application's, or a software link
  /// \name The durable address, out of which the port's GUID is made
  /// @{
  std::string mProduct;  ///< vendor and product, "1235:8010"; empty for what is no card
  std::string mSerial;   ///< empty when the card has none
  std::string mPath;     ///< where the card sits; or, for what is no card, its whole address
  std::string mPlace;    ///< which socket of the card: device and subdevice
  /// @}
  /// How the driver finds the port again while it is there; never durable. A port that went and came back has
  /// another one, also for those who did not look in between, unless its connections go on by themselves.
  std::string mHandle;
};

/// What arrives from an input, one whole message or one piece of a system exclusive message.
struct Platform_Piece {
  std::size_t mLength = 0;
  std::uint8_t mBytes[kPlatform_MaxPiece];
};

/// A connection to one input. Read by one thread at a time.
class Platform_DriverInput {
 public:
  virtual ~Platform_DriverInput() = default;
  /// Takes the oldest piece that waits; false when none does. Never blocks.
  virtual bool Read(Platform_Piece& oPiece) = 0;
  /// Readable while a piece waits that HasBuffered does not tell, and perhaps when others share it; the
  /// driver keeps it open. -1 when there is none.
  virtual int Descriptor() const = 0;
  /// What an event can stand on in the place of Descriptor and HasBuffered, where Descriptor is shared. Null
  /// when there is none.
  virtual std::shared_ptr<Platform_EventSource> Source() { return nullptr; }
  /// Whether pieces wait that Descriptor does not show, since they were read ahead.
  virtual bool HasBuffered() const { return false; }
  /// Pieces lost since the connection was made, because nobody read them in time.
  virtual std::uint64_t LostPieces() const = 0;
};

/// What became of a message handed to a driver.
enum class Platform_SendResult {
  kTaken,  ///< it will be played
  kFull,   ///< the driver has no room: keep it and try again
  kGone,   ///< the port is not there
};

/// A connection to one output. Calls are serialised by the port.
class Platform_DriverOutput {
 public:
  virtual ~Platform_DriverOutput() = default;
  /// Takes one whole message, or one piece of a system exclusive message of at most PieceSize bytes.
  /// \param iTime microseconds of Sys_Clock at which to play; kPlatform_AtOnce or a past time plays at once,
  /// in order.
  virtual Platform_SendResult Send(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) = 0;
  /// The same for a caller that has just read the clock, which needn't be read again then. \param iNow the
  /// time now in microseconds of Sys_Clock, or a little before.
  virtual Platform_SendResult SendNow(std::int64_t /*iNow*/, std::int64_t iTime, const std::uint8_t* iBytes,
                                      std::size_t iLength) {
    return Send(iTime, iBytes, iLength);
  }
  /// The largest piece of a system exclusive message that Send takes, in bytes.
  virtual std::size_t PieceSize() const = 0;
  /// The earliest time at which the driver can still play, as a distance from now in microseconds. [any
  /// thread]
  virtual std::int64_t LatencyMicroseconds() const = 0;
  /// Whether that distance stays the same as long as the connection is there.
  virtual bool IsLatencyFixed() const { return false; }
  /// Drops what was taken and has not been played.
  virtual void Drop() = 0;
  /// Messages that were taken, not dropped, and could not be played, since the port has gone. 0 while it is
  /// there, and always for a driver that can't know.
  virtual std::uint64_t LostMessages() const { return 0; }
};

/// What drivers tell the root. [any thread] Only posts; calls nothing back.
class Platform_DriverHost {
 public:
  virtual ~Platform_DriverHost() = default;
  /// The driver's list may have changed: Ports is asked for soon, on a thread of the root's.
  virtual void PortsMayHaveChanged() = 0;
};

/// One way to reach MIDI ports.
class Platform_Driver {
 public:
  virtual ~Platform_Driver() = default;
  virtual const char* Name() const = 0;
  /// Begins to follow ports. False with a reason for people when that can't be had now; Start may be tried
  /// again. True with a reason when what the ports belong to doesn't answer: they come when it does.
  virtual bool Start(Platform_DriverHost* iHostP, std::string& oReason) = 0;
  /// Ends it. Connections were let go before.
  virtual void Stop() = 0;
  /// The ports that are there now, those of our own clients left out. Empty when the driver is dead.
  virtual std::vector<Platform_PortInfo> Ports() = 0;
  /// Null when the port is not there or can't be opened.
  virtual std::unique_ptr<Platform_DriverInput> OpenInput(const Platform_PortInfo& iPort) = 0;
  virtual std::unique_ptr<Platform_DriverOutput> OpenOutput(const Platform_PortInfo& iPort) = 0;
};
