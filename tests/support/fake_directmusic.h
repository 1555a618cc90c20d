// SPDX-License-Identifier: MIT
/// \file
/// A DirectMusic for tests: ports by call, every call recorded, failures on demand, references counted.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/directmusic/directmusic.h"
#include "tests/support/fake_calls.h"

/// The reference count of a fake. The object itself lives as long as the test's Test_FakeDirectMusic, so that
/// a count that was given back too often shows as a number below zero and not as a crash.
class Test_FakeCount {
 public:
  ULONG Add() { return static_cast<ULONG>(++mReferences); }
  ULONG Drop() { return static_cast<ULONG>(--mReferences); }
  int Get() const { return mReferences.load(); }

 private:
  std::atomic<int> mReferences{0};
};

/// A clock whose time the test sets.
class Test_FakeClock : public IReferenceClock {
 public:
  Test_FakeClock(Test_FakeCalls& ioCalls, std::string iName) : mCalls(ioCalls), mName(std::move(iName)) {}
  virtual ~Test_FakeClock() = default;

  HRESULT QueryInterface(REFIID iID, void** oResult) override;
  ULONG AddRef() override { return mCount.Add(); }
  ULONG Release() override { return mCount.Drop(); }
  /// Recorded as "<name>: GetTime", name "GetTime".
  HRESULT GetTime(REFERENCE_TIME* oTime) override;
  HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HANDLE, DWORD*) override { return E_NOTIMPL; }
  HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HANDLE, DWORD*) override { return E_NOTIMPL; }
  HRESULT Unadvise(DWORD) override { return E_NOTIMPL; }

  int References() const { return mCount.Get(); }
  /// The time that it tells; each reading moves it on by mStep, after it was taken.
  std::atomic<std::int64_t> mTime{0};
  std::atomic<std::int64_t> mStep{0};

 private:
  Test_FakeCalls& mCalls;
  const std::string mName;
  Test_FakeCount mCount;
};

/// One event in a buffer.
struct Test_FakeEvent {
  REFERENCE_TIME mTime = 0;
  DWORD mChannelGroup = 0;
  bool mIsStructured = false;
  std::vector<BYTE> mBytes;
  bool operator==(const Test_FakeEvent&) const = default;
};

/// A buffer that holds its events as a list.
class Test_FakeBuffer : public IDirectMusicBuffer {
 public:
  Test_FakeBuffer(Test_FakeCalls& ioCalls, DWORD iMaxBytes) : mCalls(ioCalls), mMaxBytes(iMaxBytes) {}
  virtual ~Test_FakeBuffer() = default;

  HRESULT QueryInterface(REFIID iID, void** oResult) override;
  ULONG AddRef() override { return mCount.Add(); }
  ULONG Release() override { return mCount.Drop(); }
  HRESULT Flush() override;
  HRESULT TotalTime(LPREFERENCE_TIME oTime) override;
  HRESULT PackStructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iMessage) override;
  HRESULT PackUnstructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iLength, BYTE* iDataP) override;
  HRESULT ResetReadPtr() override;
  HRESULT GetNextEvent(LPREFERENCE_TIME oTime, DWORD* oChannelGroup, DWORD* oLength, BYTE** oDataP) override;
  HRESULT GetRawBufferPtr(BYTE**) override { return E_NOTIMPL; }
  HRESULT GetStartTime(LPREFERENCE_TIME oTime) override;
  HRESULT GetUsedBytes(DWORD* oBytes) override;
  HRESULT GetMaxBytes(DWORD* oBytes) override;
  HRESULT GetBufferFormat(GUID*) override { return E_NOTIMPL; }
  HRESULT SetStartTime(REFERENCE_TIME iTime) override;
  HRESULT SetUsedBytes(DWORD) override { return E_NOTIMPL; }

  int References() const { return mCount.Get(); }
  DWORD MaxBytes() const { return mMaxBytes; }
  /// The start time as last set.
  REFERENCE_TIME mStartTime = 0;
  /// What it holds.
  std::vector<Test_FakeEvent> mEvents;

 private:
  Test_FakeCalls& mCalls;
  const DWORD mMaxBytes;
  Test_FakeCount mCount;
  std::size_t mReadAt = 0;
};

/// A buffer's contents at the moment at which it was played.
struct Test_FakePlayed {
  REFERENCE_TIME mStartTime = 0;
  std::vector<Test_FakeEvent> mEvents;
};

/// A port. What it is fed waits for Read; what is played on it is kept.
class Test_FakePort : public IDirectMusicPort {
 public:
  Test_FakePort(Test_FakeCalls& ioCalls, const DMUS_PORTCAPS& iCaps, std::string iName);
  virtual ~Test_FakePort() = default;

  HRESULT QueryInterface(REFIID iID, void** oResult) override;
  ULONG AddRef() override { return mCount.Add(); }
  ULONG Release() override { return mCount.Drop(); }
  HRESULT PlayBuffer(IDirectMusicBuffer* iBufferP) override;
  HRESULT SetReadNotificationHandle(HANDLE iEvent) override;
  HRESULT Read(IDirectMusicBuffer* ioBufferP) override;
  HRESULT DownloadInstrument(IDirectMusicInstrument*, IDirectMusicDownloadedInstrument**, DMUS_NOTERANGE*,
                             DWORD) override {
    return E_NOTIMPL;
  }
  HRESULT UnloadInstrument(IDirectMusicDownloadedInstrument*) override { return E_NOTIMPL; }
  HRESULT GetLatencyClock(IReferenceClock** oClockP) override;
  HRESULT GetRunningStats(DMUS_SYNTHSTATS*) override { return E_NOTIMPL; }
  HRESULT Compact() override { return E_NOTIMPL; }
  HRESULT GetCaps(DMUS_PORTCAPS* oCapsP) override;
  HRESULT DeviceIoControl(DWORD, LPVOID, DWORD, LPVOID, DWORD, DWORD*, OVERLAPPED*) override {
    return E_NOTIMPL;
  }
  HRESULT SetNumChannelGroups(DWORD) override { return E_NOTIMPL; }
  HRESULT GetNumChannelGroups(DWORD*) override { return E_NOTIMPL; }
  HRESULT Activate(BOOL iActive) override;
  HRESULT SetChannelPriority(DWORD, DWORD, DWORD) override { return E_NOTIMPL; }
  HRESULT GetChannelPriority(DWORD, DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT SetDirectSound(IDirectSound*, IDirectSoundBuffer*) override { return E_NOTIMPL; }
  HRESULT GetFormat(WAVEFORMATEX*, DWORD*, DWORD*) override { return E_NOTIMPL; }

  /// Puts a piece in front of Read and signals the port's event. [any]
  void Feed(const std::vector<BYTE>& iBytes);
  /// Puts several pieces there, with one signal: one batch reads them all. [any]
  void FeedAll(const std::vector<std::vector<BYTE>>& iPieces);
  /// How many pieces wait. [any]
  std::size_t Waiting() const;
  /// Everything that was played, in order. [any]
  std::vector<Test_FakePlayed> Played() const;
  void ClearPlayed();
  bool IsActive() const { return mIsActive.load(); }
  /// Whether an event is set for reading. [any]
  bool IsArmed() const;
  int References() const { return mCount.Get(); }
  Test_FakeClock& LatencyClock() { return mLatencyClock; }
  const DMUS_PORTCAPS& Caps() const { return mCaps; }
  /// The GUID's text.
  std::string GuidText() const;

 private:
  bool Enter(const char* iNameP, const std::string& iArguments, HRESULT* oResult);

  Test_FakeCalls& mCalls;
  const DMUS_PORTCAPS mCaps;
  const std::string mName;
  Test_FakeClock mLatencyClock;
  Test_FakeCount mCount;
  std::atomic<bool> mIsActive{false};
  mutable std::mutex mMutex;
  HANDLE mEvent = nullptr;  // these under mMutex
  std::deque<std::vector<BYTE>> mWaiting;
  std::vector<Test_FakePlayed> mPlayed;
};

/// The root, and what stands behind CoCreateInstance from its making to its end. One at a time. Take down
/// everything of the library's that holds its objects before it goes. It refuses records for caps and
/// parameters that hold more than their size, and buffers of any format but the zero one.
class Test_FakeDirectMusic : public IDirectMusic8 {
 public:
  Test_FakeDirectMusic();
  virtual ~Test_FakeDirectMusic();
  Test_FakeDirectMusic(const Test_FakeDirectMusic&) = delete;
  Test_FakeDirectMusic& operator=(const Test_FakeDirectMusic&) = delete;

  HRESULT QueryInterface(REFIID iID, void** oResult) override;
  ULONG AddRef() override { return mCount.Add(); }
  ULONG Release() override { return mCount.Drop(); }
  HRESULT EnumPort(DWORD iIndex, DMUS_PORTCAPS* oCapsP) override;
  HRESULT CreateMusicBuffer(DMUS_BUFFERDESC* iDescP, IDirectMusicBuffer** oBufferP, IUnknown*) override;
  HRESULT CreatePort(REFCLSID iPort, DMUS_PORTPARAMS8* ioParamsP, IDirectMusicPort** oPortP,
                     IUnknown*) override;
  HRESULT EnumMasterClock(DWORD, DMUS_CLOCKINFO*) override { return E_NOTIMPL; }
  HRESULT GetMasterClock(GUID* oClock, IReferenceClock** oClockP) override;
  HRESULT SetMasterClock(REFGUID) override { return E_NOTIMPL; }
  HRESULT Activate(BOOL) override { return E_NOTIMPL; }
  HRESULT GetDefaultPort(GUID*) override { return E_NOTIMPL; }
  HRESULT SetDirectSound(IDirectSound* iSoundP, HWND iWindow) override;
  HRESULT SetExternalMasterClock(IReferenceClock*) override { return E_NOTIMPL; }

  /// The calls on the root and on everything that came of it.
  Test_FakeCalls& Calls() { return mCalls; }
  /// What CoCreateInstance answers; other than S_OK it gives no object.
  std::atomic<HRESULT> mCreateResult{S_OK};
  /// How often CoCreateInstance was asked.
  std::atomic<int> mCreations{0};
  int References() const { return mCount.Get(); }
  Test_FakeClock& MasterClock() { return mMasterClock; }
  /// The number of a port for which CreatePort succeeds and gives none; 0: there is no such port.
  std::atomic<DWORD> mWithheldPort{0};

  /// Adds a port behind those that are there. iNumber makes the GUID: {0000000N-0000-0000-0000-000000000000}.
  /// It lives as long as this object, also when it is removed. The record of its caps is that of hardware;
  /// what iChange makes of it counts.
  Test_FakePort& AddPort(DWORD iNumber, const std::string& iDescription, DWORD iClass,
                         const std::function<void(DMUS_PORTCAPS&)>& iChange = nullptr);
  Test_FakePort& AddInput(DWORD iNumber, const std::string& iDescription) {
    return AddPort(iNumber, iDescription, DMUS_PC_INPUTCLASS);
  }
  Test_FakePort& AddOutput(DWORD iNumber, const std::string& iDescription) {
    return AddPort(iNumber, iDescription, DMUS_PC_OUTPUTCLASS);
  }
  /// Takes a port out of EnumPort and CreatePort; who holds it keeps it.
  void RemovePort(const Test_FakePort& iPort);
  /// Puts a removed port back, behind the others.
  void ReturnPort(Test_FakePort& ioPort);

  /// Buffers made so far, and the references still held on them all.
  int BufferCount() const;
  int BufferReferences() const;
  Test_FakeBuffer& Buffer(int iIndex);

  /// {0000000N-0000-0000-0000-000000000000}
  static GUID GuidOf(DWORD iNumber);
  static std::string GuidTextOf(DWORD iNumber);

 private:
  Test_FakeCalls mCalls;
  Test_FakeClock mMasterClock{mCalls, "MasterClock"};
  Test_FakeCount mCount;
  mutable std::mutex mMutex;
  std::vector<Test_FakePort*> mPresent;  // these under mMutex
  std::vector<std::unique_ptr<Test_FakePort>> mPorts;
  std::vector<std::unique_ptr<Test_FakeBuffer>> mBuffers;
};
