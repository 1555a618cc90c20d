// SPDX-License-Identifier: MIT
/// \file
/// The library's own DirectMusic ports. A port stands for a GUID and not for a driver's handle: it lives
/// through the going and coming of its hardware.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/driver.h"
#include "platform/directmusic/midisplitter.h"
#include "platform/directmusic/referenceclock.h"
#include "platform/directmusic/timedmessage.h"

#if !defined(_WIN32)

class Platform_Port;

/// What ports need of the root. [any thread but the root's worker]
class Platform_PortHost {
 public:
  virtual ~Platform_PortHost() = default;
  /// Marks the port active, or not, under the root's lock, and connects it when its hardware is there.
  virtual HRESULT ActivatePort(Platform_Port* iPortP, bool iActive) = 0;
  /// Drops the last reference under the root's lock, so that nobody can be handed a port that is going.
  virtual ULONG ReleaseLast(Platform_Port* iPortP) = 0;
  /// Makes the worker look at the ports' deadlines anew.
  virtual void WakeWorker() = 0;
  /// Makes the worker look at the drivers' lists anew: a connection has ended, and the port may be there
  /// again already.
  virtual void LookForPorts() = 0;
  virtual HRESULT MasterClock(IReferenceClock** oClockP) = 0;
};

/// What both directions have in common. Lock order: the root's lock, then the port's.
class Platform_Port : public IDirectMusicPort {
 public:
  HRESULT QueryInterface(REFIID iID, void** oResult) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT DownloadInstrument(IDirectMusicInstrument*, IDirectMusicDownloadedInstrument**, DMUS_NOTERANGE*,
                             DWORD) override;
  HRESULT UnloadInstrument(IDirectMusicDownloadedInstrument*) override;
  HRESULT GetLatencyClock(IReferenceClock** oClockP) override;
  HRESULT GetRunningStats(DMUS_SYNTHSTATS*) override;
  HRESULT Compact() override;
  HRESULT GetCaps(DMUS_PORTCAPS* oCapsP) override;
  HRESULT DeviceIoControl(DWORD, LPVOID, DWORD, LPVOID, DWORD, DWORD*, OVERLAPPED*) override;
  HRESULT SetNumChannelGroups(DWORD iGroups) override;
  HRESULT GetNumChannelGroups(DWORD* oGroups) override;
  HRESULT Activate(BOOL iActive) override;
  HRESULT SetChannelPriority(DWORD, DWORD, DWORD) override;
  HRESULT GetChannelPriority(DWORD, DWORD, DWORD*) override;
  HRESULT SetDirectSound(IDirectSound*, IDirectSoundBuffer*) override;
  HRESULT GetFormat(WAVEFORMATEX*, DWORD*, DWORD*) override;

  const GUID& Guid() const { return mCaps.guidPort; }
  bool IsInput() const { return mCaps.dwClass == DMUS_PC_INPUTCLASS; }
  const DMUS_PORTCAPS& Caps() const { return mCaps; }

  /// \name For the root, under its lock
  /// @{
  bool IsActive() const { return mActive; }
  /// \param iDriverP null while the hardware is away.
  virtual void SetActive(bool iActive, Platform_Driver* iDriverP, const Platform_PortInfo* iInfoP) = 0;
  virtual void HardwareCame(Platform_Driver& iDriver, const Platform_PortInfo& iInfo) = 0;
  virtual void HardwareWent() = 0;
  /// Does what is due. \returns when to be called again, in microseconds of Sys_Clock; INT64_MAX for never.
  virtual std::int64_t Work(std::int64_t iNow) = 0;
  /// Whether a driver's connection is open, if only for its last second.
  virtual bool IsConnected() = 0;
  /// How many messages were lost since the last call because they waited in the port when the hardware went:
  /// accepted, and not handed to the driver yet. The root tells the debug log.
  virtual std::uint64_t TakeLostWaiting() { return 0; }
  /// Adds a reference unless the last is gone; drops one, and is true if it was the last.
  void AddRefUnderRoot() { mRefCount.fetch_add(1); }
  bool DropUnderRoot() { return mRefCount.fetch_sub(1) == 1; }
  /// @}

  /// How far ahead of now the driver can play at the earliest, in microseconds. [any thread]
  virtual std::int64_t LatencyMicroseconds() = 0;

  virtual ~Platform_Port() = default;

 protected:
  /// The first reference goes to the maker.
  Platform_Port(Platform_PortHost& iHost, const DMUS_PORTCAPS& iCaps);

  Platform_PortHost& mHost;
  bool mActive = false;

 private:
  std::atomic<ULONG> mRefCount{1};
  const DMUS_PORTCAPS mCaps;
  Platform_LatencyClock mLatencyClock;
};

/// An output. What is played is cut into messages, waits in one queue by time and reaches the driver at most
/// 100 ms ahead. While a system exclusive message goes out in pieces, messages of other outputs of the port
/// wait for its end, real-time bytes excepted: on the wire a status byte would cut it short. A message that
/// nobody goes on with for 300 ms counts as ended.
class Platform_OutputPort final : public Platform_Port {
 public:
  Platform_OutputPort(Platform_PortHost& iHost, const DMUS_PORTCAPS& iCaps);

  HRESULT PlayBuffer(IDirectMusicBuffer* iBufferP) override;
  HRESULT SetReadNotificationHandle(HANDLE iEvent) override;
  HRESULT Read(IDirectMusicBuffer* ioBufferP) override;

  void SetActive(bool iActive, Platform_Driver* iDriverP, const Platform_PortInfo* iInfoP) override;
  void HardwareCame(Platform_Driver& iDriver, const Platform_PortInfo& iInfo) override;
  void HardwareWent() override;
  std::int64_t Work(std::int64_t iNow) override;
  bool IsConnected() override;
  std::int64_t LatencyMicroseconds() override;
  std::uint64_t TakeLostWaiting() override { return mLostWaiting.exchange(0); }

  /// Messages, and pieces of them, that were not played since no memory was left or the hardware went: those
  /// that waited in the port, and those that the driver counts of what it had taken. What SetActive(false)
  /// takes back is not among them. [any thread]
  std::uint64_t LostMessages() const { return mLost.load(); }

 private:
  struct Playing {
    std::int64_t mNow;
    std::int64_t mTime;
    bool mFailed;
  };

  void Connect(Platform_Driver& iDriver, const Platform_PortInfo& iInfo);
  void Disconnect();
  void LoseConnection();
  void Accept(const std::uint8_t* iBytes, std::size_t iLength, Playing& ioPlaying);
  bool Enqueue(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength);
  Platform_SendResult Dispatch(std::int64_t iNow, std::int64_t iTime, const std::uint8_t* iBytes,
                               std::size_t iLength);
  Platform_SendResult SendPiece(std::int64_t iNow, std::int64_t iTime, const std::uint8_t* iBytes,
                                std::size_t iLength);
  bool IsWhole(const std::uint8_t* iBytes, std::size_t iLength) const;
  Platform_SendResult FlushHeld(std::int64_t iNow);
  void AbandonStaleSysex(std::int64_t iNow);
  std::int64_t DispatchDue(std::int64_t iNow);

  std::mutex mMutex;
  std::unique_ptr<Platform_DriverOutput> mOutputP;
  Platform_MidiSplitter mSplitter;
  Platform_TimedQueue mQueue;
  Platform_TimedQueue mHeld;  // behind a system exclusive message
  bool mSysexIsOpen = false;
  // Of the system exclusive messages that went out in pieces: the beginning of the first and the end of the
  // last of those that may not have sounded yet.
  std::int64_t mFirstPieceTime = 0;
  std::int64_t mLastPieceTime = 0;
  // Of a connection whose latency is fixed, so that the latency clock needs no lock; else kNotFixed.
  static constexpr std::int64_t kNotFixed = -1;
  std::atomic<std::int64_t> mFixedLatency{kNotFixed};
  std::atomic<std::uint64_t> mLost{0};
  std::atomic<std::uint64_t> mLostWaiting{0};  // part of it, until somebody takes the number
};

/// An input. Its event stands on the driver's descriptor, so that what arrives wakes the reader with no
/// thread between.
class Platform_InputPort final : public Platform_Port {
 public:
  Platform_InputPort(Platform_PortHost& iHost, const DMUS_PORTCAPS& iCaps);

  HRESULT PlayBuffer(IDirectMusicBuffer* iBufferP) override;
  HRESULT SetReadNotificationHandle(HANDLE iEvent) override;
  HRESULT Read(IDirectMusicBuffer* ioBufferP) override;

  void SetActive(bool iActive, Platform_Driver* iDriverP, const Platform_PortInfo* iInfoP) override;
  void HardwareCame(Platform_Driver& iDriver, const Platform_PortInfo& iInfo) override;
  void HardwareWent() override;
  std::int64_t Work(std::int64_t iNow) override;
  bool IsConnected() override;
  std::int64_t LatencyMicroseconds() override { return 0; }

 private:
  void Connect(Platform_Driver& iDriver, const Platform_PortInfo& iInfo);
  void Disconnect();
  void AttachEvent();

  std::mutex mMutex;
  std::unique_ptr<Platform_DriverInput> mInputP;
  HANDLE mEvent = nullptr;
  bool mHasSource = false;  // the connection's
  // A second of grace after Activate(FALSE): the receive task closes and opens its ports again on every
  // change of their set, and what arrives in between must not be lost.
  std::int64_t mCloseAt = INT64_MAX;
  Platform_Piece mPiece;
};

#endif
