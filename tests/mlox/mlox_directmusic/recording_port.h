// SPDX-License-Identifier: MIT
/// \file
/// A DirectMusic root whose ports, buffers and clocks note every call, in order. Nothing here deletes itself:
/// the test owns it all and can look at the counts of references afterwards.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/directmusic/directmusic.h"

/// The calls of all fakes that share it.
class Test_CallNotes {
 public:
  void Add(const std::string& iCall) {
    const std::lock_guard lock(mMutex);
    if (mIsOn) mCalls.push_back(iCall);
  }
  std::vector<std::string> Take() {
    const std::lock_guard lock(mMutex);
    return std::exchange(mCalls, {});
  }
  /// Off: nothing is kept, and so no memory is taken.
  void SwitchOff() { mIsOn = false; }

 private:
  std::mutex mMutex;
  std::vector<std::string> mCalls;
  bool mIsOn = true;
};

/// Counts references in place of COM.
template <class Interface>
class Test_Counted : public Interface {
 public:
  HRESULT QueryInterface(REFIID, void** oResult) override {
    *oResult = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return static_cast<ULONG>(++mReferences); }
  ULONG Release() override { return static_cast<ULONG>(--mReferences); }

  /// References beside the test's own.
  int References() const { return mReferences; }

 private:
  std::atomic<int> mReferences{0};
};

/// A clock that stands, or goes by the test's own.
class Test_StandingClock final : public Test_Counted<IReferenceClock> {
 public:
  HRESULT GetTime(REFERENCE_TIME* oTime) override {
    if (mNotesP != nullptr) mNotesP->Add("GetTime");
    *oTime = mSource ? mSource() : mTime;
    return mResult;
  }
  HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HANDLE, DWORD*) override { return E_NOTIMPL; }
  HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HANDLE, DWORD*) override { return E_NOTIMPL; }
  HRESULT Unadvise(DWORD) override { return E_NOTIMPL; }

  Test_CallNotes* mNotesP = nullptr;
  std::function<REFERENCE_TIME()> mSource;  ///< in place of mTime
  REFERENCE_TIME mTime = 0;
  HRESULT mResult = S_OK;
};

/// One event of a buffer.
struct Test_PackedEvent {
  REFERENCE_TIME mTime = 0;
  DWORD mChannelGroup = 0;
  bool mIsStructured = false;
  std::vector<BYTE> mBytes;  ///< of a structured event always four

  bool operator==(const Test_PackedEvent&) const = default;
};

/// A buffer that keeps what is packed.
class Test_RecordingBuffer final : public Test_Counted<IDirectMusicBuffer> {
 public:
  explicit Test_RecordingBuffer(Test_CallNotes& iNotes) : mNotes(iNotes) { mEvents.reserve(16); }

  HRESULT Flush() override {
    mNotes.Add("Flush");
    mEvents.clear();
    return S_OK;
  }
  HRESULT ResetReadPtr() override {
    mNotes.Add("ResetReadPtr");
    return S_OK;
  }
  HRESULT SetStartTime(REFERENCE_TIME iTime) override {
    mNotes.Add("SetStartTime");
    mStartTime = iTime;
    return mStartResult;
  }
  HRESULT PackStructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iMessage) override {
    mNotes.Add("PackStructured");
    if (mKeepsEvents) {
      Test_PackedEvent event{iTime, iChannelGroup, true, {}};
      for (int i = 0; i < 4; ++i) event.mBytes.push_back(static_cast<BYTE>(iMessage >> (8 * i)));
      mEvents.push_back(event);
    }
    return mPackResult;
  }
  HRESULT PackUnstructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iLength, BYTE* iDataP) override {
    mNotes.Add("PackUnstructured");
    if (++mPacks == mFailingPack) return mPackFailure;
    if (mKeepsEvents) mEvents.push_back({iTime, iChannelGroup, false, {iDataP, iDataP + iLength}});
    return mPackResult;
  }
  HRESULT TotalTime(LPREFERENCE_TIME) override { return E_NOTIMPL; }
  HRESULT GetNextEvent(LPREFERENCE_TIME, DWORD*, DWORD*, BYTE**) override { return E_NOTIMPL; }
  HRESULT GetRawBufferPtr(BYTE**) override { return E_NOTIMPL; }
  HRESULT GetStartTime(LPREFERENCE_TIME oTime) override {
    *oTime = mStartTime;
    return S_OK;
  }
  HRESULT GetUsedBytes(DWORD*) override { return E_NOTIMPL; }
  HRESULT GetMaxBytes(DWORD*) override { return E_NOTIMPL; }
  HRESULT GetBufferFormat(GUID*) override { return E_NOTIMPL; }
  HRESULT SetUsedBytes(DWORD) override { return E_NOTIMPL; }

  Test_CallNotes& mNotes;
  std::vector<Test_PackedEvent> mEvents;
  REFERENCE_TIME mStartTime = 0;
  DWORD mSize = 0;
  bool mKeepsEvents = true;
  HRESULT mStartResult = S_OK;
  HRESULT mPackResult = S_OK;
  int mPacks = 0;
  int mFailingPack = 0;  ///< which PackUnstructured fails, from 1
  HRESULT mPackFailure = E_OUTOFMEMORY;
};

/// A port that keeps what is played.
class Test_RecordingPort final : public Test_Counted<IDirectMusicPort> {
 public:
  explicit Test_RecordingPort(Test_CallNotes& iNotes) : mNotes(iNotes) { mLatencyClock.mNotesP = &iNotes; }

  HRESULT PlayBuffer(IDirectMusicBuffer* iBufferP) override {
    mNotes.Add("PlayBuffer");
    ++mPlays;
    mReferencesWhilePlaying = References();
    const auto* bufferP = static_cast<Test_RecordingBuffer*>(iBufferP);
    for (const Test_PackedEvent& event : bufferP->mEvents) mPlayed.push_back(event);
    if (mOnPlay) mOnPlay();
    return mPlayResult;
  }
  HRESULT GetLatencyClock(IReferenceClock** oClockP) override {
    mNotes.Add("GetLatencyClock");
    *oClockP = nullptr;
    if (FAILED(mLatencyResult)) return mLatencyResult;
    if (mHasLatencyClock) {
      mLatencyClock.AddRef();
      *oClockP = &mLatencyClock;
    }
    return mLatencyResult;
  }
  HRESULT GetCaps(DMUS_PORTCAPS* oCapsP) override {
    mNotes.Add("GetCaps " + std::to_string(oCapsP->dwSize));
    return mCapsResult;
  }
  HRESULT Activate(BOOL iActive) override {
    mNotes.Add(iActive != FALSE ? "Activate 1" : "Activate 0");
    return iActive != FALSE ? mActivateResult : mDeactivateResult;
  }
  HRESULT SetReadNotificationHandle(HANDLE) override { return E_NOTIMPL; }
  HRESULT Read(IDirectMusicBuffer*) override { return E_NOTIMPL; }
  HRESULT DownloadInstrument(IDirectMusicInstrument*, IDirectMusicDownloadedInstrument**, DMUS_NOTERANGE*,
                             DWORD) override {
    return E_NOTIMPL;
  }
  HRESULT UnloadInstrument(IDirectMusicDownloadedInstrument*) override { return E_NOTIMPL; }
  HRESULT GetRunningStats(DMUS_SYNTHSTATS*) override { return E_NOTIMPL; }
  HRESULT Compact() override { return E_NOTIMPL; }
  HRESULT DeviceIoControl(DWORD, LPVOID, DWORD, LPVOID, DWORD, DWORD*, OVERLAPPED*) override {
    return E_NOTIMPL;
  }
  HRESULT SetNumChannelGroups(DWORD) override { return E_NOTIMPL; }
  HRESULT GetNumChannelGroups(DWORD*) override { return E_NOTIMPL; }
  HRESULT SetChannelPriority(DWORD, DWORD, DWORD) override { return E_NOTIMPL; }
  HRESULT GetChannelPriority(DWORD, DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT SetDirectSound(IDirectSound*, IDirectSoundBuffer*) override { return E_NOTIMPL; }
  HRESULT GetFormat(WAVEFORMATEX*, DWORD*, DWORD*) override { return E_NOTIMPL; }

  Test_CallNotes& mNotes;
  std::vector<Test_PackedEvent> mPlayed;
  Test_StandingClock mLatencyClock;
  bool mHasLatencyClock = true;
  HRESULT mLatencyResult = S_OK;
  HRESULT mPlayResult = S_OK;
  HRESULT mCapsResult = S_OK;
  HRESULT mActivateResult = S_OK;
  HRESULT mDeactivateResult = S_OK;
  int mPlays = 0;
  int mReferencesWhilePlaying = 0;
  std::function<void()> mOnPlay;
};

/// A root that makes recording buffers, lists the ports that it is given and has a clock of the test's
/// choice.
class Test_RecordingRoot final : public Test_Counted<IDirectMusic8> {
 public:
  struct ListedPort {
    GUID mGuid;
    Test_RecordingPort* mPortP;
  };

  HRESULT EnumPort(DWORD iIndex, DMUS_PORTCAPS* oCapsP) override {
    if (iIndex >= mPorts.size()) return S_FALSE;
    oCapsP->dwClass = DMUS_PC_OUTPUTCLASS;
    oCapsP->dwType = DMUS_PORT_KERNEL_MODE;
    oCapsP->guidPort = mPorts[iIndex].mGuid;
    oCapsP->wszDescription[0] = u'P';
    oCapsP->wszDescription[1] = 0;
    return S_OK;
  }
  HRESULT CreateMusicBuffer(DMUS_BUFFERDESC* iDescP, IDirectMusicBuffer** oBufferP, IUnknown*) override {
    *oBufferP = nullptr;
    if (FAILED(mBufferResult)) return mBufferResult;
    Test_RecordingBuffer& buffer = mBuffers.emplace_back(mNotes);
    buffer.mSize = iDescP->cbBuffer;
    buffer.AddRef();
    *oBufferP = &buffer;
    return S_OK;
  }
  HRESULT CreatePort(REFCLSID iPort, DMUS_PORTPARAMS8*, IDirectMusicPort** oPortP, IUnknown*) override {
    *oPortP = nullptr;
    for (const ListedPort& port : mPorts) {
      if (!(port.mGuid == iPort)) continue;
      port.mPortP->AddRef();
      *oPortP = port.mPortP;
      return S_OK;
    }
    return E_FAIL;
  }
  HRESULT GetMasterClock(GUID*, IReferenceClock** oClockP) override {
    mMasterClock.AddRef();
    *oClockP = &mMasterClock;
    return S_OK;
  }
  HRESULT EnumMasterClock(DWORD, DMUS_CLOCKINFO*) override { return S_FALSE; }
  HRESULT SetMasterClock(REFGUID) override { return E_NOTIMPL; }
  HRESULT Activate(BOOL) override { return S_OK; }
  HRESULT GetDefaultPort(GUID*) override { return E_NOTIMPL; }
  HRESULT SetDirectSound(IDirectSound*, HWND) override { return S_OK; }
  HRESULT SetExternalMasterClock(IReferenceClock*) override { return E_NOTIMPL; }

  Test_CallNotes mNotes;
  std::vector<ListedPort> mPorts;
  std::deque<Test_RecordingBuffer> mBuffers;
  Test_StandingClock mMasterClock;
  HRESULT mBufferResult = S_OK;
};
