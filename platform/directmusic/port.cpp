// SPDX-License-Identifier: MIT
#include "platform/directmusic/port.h"

#if !defined(_WIN32)

#include <algorithm>
#include <typeinfo>
#include <utility>

#include "cmn/sys_clock.h"
#include "platform/directmusic/musicbuffer.h"
#include "platform/directmusic/windows_events.h"

namespace {

constexpr std::int64_t kNever = INT64_MAX;
// How far ahead of its time a message may reach the driver: enough for any period, little enough to be taken
// back.
constexpr std::int64_t kHandOverAhead = 100'000;
constexpr std::int64_t kSysexPatience = 300'000;
constexpr std::int64_t kRetryAfter = 2'000;
constexpr std::int64_t kInputGrace = 1'000'000;
constexpr std::int64_t kUnitsPerMicrosecond = 10;

bool IsRealTime(std::uint8_t iFirst) { return iFirst >= 0xF8; }
bool IsSysexPiece(std::uint8_t iFirst) { return iFirst < 0x80 || iFirst == 0xF0 || iFirst == 0xF7; }

}  // namespace

// ---- both directions ----

Platform_Port::Platform_Port(Platform_PortHost& iHost, const DMUS_PORTCAPS& iCaps)
    : mHost(iHost), mCaps(iCaps), mLatencyClock(*this) {}

HRESULT Platform_Port::QueryInterface(REFIID iID, void** oResult) {
  if (oResult == nullptr) {
    return E_POINTER;
  }
  *oResult = nullptr;
  if (!(iID == IID_IDirectMusicPort) && !(iID == IID_IUnknown)) {
    return E_NOINTERFACE;
  }
  AddRef();
  *oResult = static_cast<IDirectMusicPort*>(this);
  return S_OK;
}

ULONG Platform_Port::AddRef() { return mRefCount.fetch_add(1) + 1; }

ULONG Platform_Port::Release() {
  ULONG count = mRefCount.load();
  while (count > 1) {
    if (mRefCount.compare_exchange_weak(count, count - 1)) {
      return count - 1;
    }
  }
  return mHost.ReleaseLast(this);
}

HRESULT Platform_Port::DownloadInstrument(IDirectMusicInstrument*, IDirectMusicDownloadedInstrument**,
                                          DMUS_NOTERANGE*, DWORD) {
  return E_NOTIMPL;
}
HRESULT Platform_Port::UnloadInstrument(IDirectMusicDownloadedInstrument*) { return E_NOTIMPL; }
HRESULT Platform_Port::GetRunningStats(DMUS_SYNTHSTATS*) { return E_NOTIMPL; }
HRESULT Platform_Port::Compact() { return E_NOTIMPL; }
HRESULT Platform_Port::DeviceIoControl(DWORD, LPVOID, DWORD, LPVOID, DWORD, DWORD*, OVERLAPPED*) {
  return E_NOTIMPL;
}
HRESULT Platform_Port::SetChannelPriority(DWORD, DWORD, DWORD) { return E_NOTIMPL; }
HRESULT Platform_Port::GetChannelPriority(DWORD, DWORD, DWORD*) { return E_NOTIMPL; }
HRESULT Platform_Port::SetDirectSound(IDirectSound*, IDirectSoundBuffer*) { return E_NOTIMPL; }
HRESULT Platform_Port::GetFormat(WAVEFORMATEX*, DWORD*, DWORD*) { return E_NOTIMPL; }

HRESULT Platform_Port::SetNumChannelGroups(DWORD iGroups) { return iGroups == 1 ? S_OK : E_INVALIDARG; }

HRESULT Platform_Port::GetNumChannelGroups(DWORD* oGroups) {
  if (oGroups == nullptr) {
    return E_POINTER;
  }
  *oGroups = 1;
  return S_OK;
}

HRESULT Platform_Port::GetCaps(DMUS_PORTCAPS* oCapsP) {
  if (oCapsP == nullptr) {
    return E_POINTER;
  }
  if (oCapsP->dwSize != sizeof(DMUS_PORTCAPS)) {
    return E_INVALIDARG;
  }
  *oCapsP = mCaps;
  return S_OK;
}

HRESULT Platform_Port::GetLatencyClock(IReferenceClock** oClockP) {
  if (oClockP == nullptr) {
    return E_POINTER;
  }
  mLatencyClock.AddRef();
  *oClockP = &mLatencyClock;
  return S_OK;
}

HRESULT Platform_Port::Activate(BOOL iActive) { return mHost.ActivatePort(this, iActive != FALSE); }

// ---- outputs ----

Platform_OutputPort::Platform_OutputPort(Platform_PortHost& iHost, const DMUS_PORTCAPS& iCaps)
    : Platform_Port(iHost, iCaps), mSplitter(256) {}

HRESULT Platform_OutputPort::SetReadNotificationHandle(HANDLE /*iEvent*/) { return E_NOTIMPL; }
HRESULT Platform_OutputPort::Read(IDirectMusicBuffer* /*ioBufferP*/) { return E_NOTIMPL; }

HRESULT Platform_OutputPort::PlayBuffer(IDirectMusicBuffer* iBufferP) {
  if (iBufferP == nullptr) {
    return E_POINTER;
  }
  // A final class: this asks the same as a dynamic_cast, at the cost of one comparison.
  if (typeid(*iBufferP) != typeid(Platform_MusicBuffer)) {
    return E_INVALIDARG;
  }
  const auto* const buffer = static_cast<const Platform_MusicBuffer*>(iBufferP);
  const std::lock_guard lock(mMutex);
  if (mOutputP == nullptr) {
    return E_FAIL;
  }
  Playing playing{Sys_Clock::Microseconds(), 0, false};
  const auto sink = [&](const std::uint8_t* iBytes, std::size_t iLength) {
    Accept(iBytes, iLength, playing);
  };
  std::size_t offset = 0;
  Platform_MusicBuffer::Event event{};
  while (buffer->EventAt(offset, event)) {
    // A time that has passed means at once; counting it as now keeps such messages in order of writing.
    playing.mTime = std::max(event.mTime / kUnitsPerMicrosecond, playing.mNow);
    if (event.mIsStructured && event.mLength == sizeof(DWORD)) {
      DWORD word = 0;
      std::memcpy(&word, event.mDataP, sizeof(word));
      mSplitter.FeedWord(word, sink);
    } else {
      mSplitter.Feed(event.mDataP, event.mLength, sink);
    }
  }
  return playing.mFailed ? E_FAIL : S_OK;
}

void Platform_OutputPort::Accept(const std::uint8_t* iBytes, std::size_t iLength, Playing& ioPlaying) {
  if (mOutputP == nullptr) {
    ioPlaying.mFailed = true;
    return;
  }
  const Platform_TimedMessage* const head = mQueue.Peek();
  const bool isNext = head == nullptr || ioPlaying.mTime < head->mTime;
  if (isNext && ioPlaying.mTime - ioPlaying.mNow <= kHandOverAhead) {
    const Platform_SendResult result = Dispatch(ioPlaying.mNow, ioPlaying.mTime, iBytes, iLength);
    if (result == Platform_SendResult::kTaken) {
      return;
    }
    if (result == Platform_SendResult::kGone) {
      LoseConnection();
      ioPlaying.mFailed = true;
      return;
    }
  }
  if (!Enqueue(ioPlaying.mTime, iBytes, iLength)) {
    ioPlaying.mFailed = true;
    return;
  }
  if (isNext) {
    mHost.WakeWorker();
  }
}

bool Platform_OutputPort::Enqueue(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) {
  Platform_TimedMessage* const message = Platform_TimedMessage::New(iTime, iBytes, iLength);
  if (message == nullptr) {
    mLost.fetch_add(1);
    return false;
  }
  mQueue.Push(message);
  return true;
}

Platform_SendResult Platform_OutputPort::Dispatch(std::int64_t iNow, std::int64_t iTime,
                                                  const std::uint8_t* iBytes, std::size_t iLength) {
  const std::int64_t time = std::max(iTime, iNow);
  const bool isPiece = IsSysexPiece(iBytes[0]);
  // Drivers play by time: what sounds before the pieces that were handed over is not in their way.
  if (IsRealTime(iBytes[0]) || (time < mFirstPieceTime && (!isPiece || IsWhole(iBytes, iLength)))) {
    return mOutputP->SendNow(iNow, time, iBytes, iLength);
  }
  if (isPiece) {
    return SendPiece(iNow, time, iBytes, iLength);
  }
  if (!mSysexIsOpen && mHeld.IsEmpty()) {
    return mOutputP->SendNow(iNow, std::max(time, mLastPieceTime), iBytes, iLength);
  }
  Platform_TimedMessage* const message = Platform_TimedMessage::New(time, iBytes, iLength);
  if (message == nullptr) {
    return Platform_SendResult::kFull;
  }
  mHeld.Push(message);
  mHost.WakeWorker();
  return Platform_SendResult::kTaken;
}

// A driver gets it at one time, so nothing can fall into it.
bool Platform_OutputPort::IsWhole(const std::uint8_t* iBytes, std::size_t iLength) const {
  return !mSysexIsOpen && iBytes[0] == 0xF0 && iBytes[iLength - 1] == 0xF7;
}

Platform_SendResult Platform_OutputPort::SendPiece(std::int64_t iNow, std::int64_t iTime,
                                                   const std::uint8_t* iBytes, std::size_t iLength) {
  // What was held behind an earlier message goes first, or a new one would overtake it.
  if (!mSysexIsOpen) {
    const Platform_SendResult flushed = FlushHeld(iNow);
    if (flushed != Platform_SendResult::kTaken) {
      return flushed;
    }
  }
  const std::int64_t time = std::max(iTime, mLastPieceTime);
  const Platform_SendResult result = mOutputP->SendNow(iNow, time, iBytes, iLength);
  if (result != Platform_SendResult::kTaken || IsWhole(iBytes, iLength)) {
    return result;
  }
  // The message before may not have begun to sound: nothing may fall into that one either.
  if (!mSysexIsOpen && mLastPieceTime <= iNow) {
    mFirstPieceTime = time;
  }
  mLastPieceTime = time;
  mSysexIsOpen = iBytes[iLength - 1] != 0xF7;
  if (!mSysexIsOpen && FlushHeld(iNow) == Platform_SendResult::kFull) {
    mHost.WakeWorker();
  }
  return Platform_SendResult::kTaken;
}

// With the reading of the clock that the caller sends everything else with: a driver plays what is late at
// that time, and what comes behind must not have an earlier one.
Platform_SendResult Platform_OutputPort::FlushHeld(std::int64_t iNow) {
  while (const Platform_TimedMessage* const message = mHeld.Peek()) {
    // Never before the end of what it waited for: drivers play by time.
    const std::int64_t time = std::max(message->mTime, mLastPieceTime);
    const Platform_SendResult result = mOutputP->SendNow(iNow, time, message->Bytes(), message->mLength);
    if (result != Platform_SendResult::kTaken) {
      return result;
    }
    Platform_TimedMessage::Delete(mHeld.Pop());
  }
  return Platform_SendResult::kTaken;
}

void Platform_OutputPort::AbandonStaleSysex(std::int64_t iNow) {
  if (!mSysexIsOpen || iNow - mLastPieceTime <= kSysexPatience) {
    return;
  }
  mSysexIsOpen = false;
  mSplitter.Reset();
}

std::int64_t Platform_OutputPort::DispatchDue(std::int64_t iNow) {
  // The round's reading may be old by now: other ports had their turn first, and this one may have been
  // played on since.
  const std::int64_t now = Sys_Clock::Microseconds();
  if (!mSysexIsOpen) {
    const Platform_SendResult flushed = FlushHeld(now);
    if (flushed == Platform_SendResult::kGone) {
      LoseConnection();
      return kNever;
    }
    if (flushed == Platform_SendResult::kFull) {
      return iNow + kRetryAfter;
    }
  }
  while (const Platform_TimedMessage* const head = mQueue.Peek()) {
    if (head->mTime - iNow > kHandOverAhead) {
      return head->mTime - kHandOverAhead;
    }
    const Platform_SendResult result = Dispatch(now, head->mTime, head->Bytes(), head->mLength);
    if (result == Platform_SendResult::kGone) {
      LoseConnection();
      return kNever;
    }
    if (result == Platform_SendResult::kFull) {
      return iNow + kRetryAfter;
    }
    Platform_TimedMessage::Delete(mQueue.Pop());
  }
  return kNever;
}

std::int64_t Platform_OutputPort::Work(std::int64_t iNow) {
  const std::lock_guard lock(mMutex);
  if (mOutputP == nullptr) {
    return kNever;
  }
  AbandonStaleSysex(iNow);
  const std::int64_t next = DispatchDue(iNow);
  const bool waitsForSysex = mSysexIsOpen && !mHeld.IsEmpty();
  return waitsForSysex ? std::min(next, mLastPieceTime + kSysexPatience + 1) : next;
}

void Platform_OutputPort::SetActive(bool iActive, Platform_Driver* iDriverP,
                                    const Platform_PortInfo* iInfoP) {
  mActive = iActive;
  if (!iActive) {
    const std::lock_guard lock(mMutex);
    if (mOutputP != nullptr) {
      mOutputP->Drop();
    }
    mQueue.Clear();
    mHeld.Clear();
    Disconnect();
  } else if (iDriverP != nullptr) {
    Connect(*iDriverP, *iInfoP);
  }
}

void Platform_OutputPort::HardwareCame(Platform_Driver& iDriver, const Platform_PortInfo& iInfo) {
  if (mActive) {
    Connect(iDriver, iInfo);
  }
}

void Platform_OutputPort::HardwareWent() {
  const std::lock_guard lock(mMutex);
  Disconnect();
}

void Platform_OutputPort::Connect(Platform_Driver& iDriver, const Platform_PortInfo& iInfo) {
  const std::lock_guard lock(mMutex);
  if (mOutputP == nullptr) {
    mOutputP = iDriver.OpenOutput(iInfo);
    const bool isFixed = mOutputP != nullptr && mOutputP->IsLatencyFixed();
    mFixedLatency.store(isFixed ? mOutputP->LatencyMicroseconds() : kNotFixed);
  }
}

// What waits here is lost with the hardware, and counted: played later it would come out of time. What the
// driver has taken and not played is lost too; it is counted by the drivers that can.
void Platform_OutputPort::Disconnect() {
  if (mOutputP != nullptr) {
    mLost.fetch_add(mOutputP->LostMessages());
    mOutputP.reset();
    mFixedLatency.store(kNotFixed);
  }
  const std::uint64_t waiting = mQueue.Clear() + mHeld.Clear();
  mLost.fetch_add(waiting);
  mLostWaiting.fetch_add(waiting);
  mSplitter.Reset();
  mSysexIsOpen = false;
  mFirstPieceTime = 0;
  mLastPieceTime = 0;
}

// The driver says that the port is gone. It may be there again before the next look at the list, and then
// nothing in the list has changed: whoever found out asks for a look of his own.
void Platform_OutputPort::LoseConnection() {
  Disconnect();
  mHost.LookForPorts();
}

bool Platform_OutputPort::IsConnected() {
  const std::lock_guard lock(mMutex);
  return mOutputP != nullptr;
}

std::int64_t Platform_OutputPort::LatencyMicroseconds() {
  const std::int64_t fixed = mFixedLatency.load();
  if (fixed != kNotFixed) {
    return fixed;
  }
  const std::lock_guard lock(mMutex);
  return mOutputP != nullptr ? mOutputP->LatencyMicroseconds() : 0;
}

// ---- inputs ----

Platform_InputPort::Platform_InputPort(Platform_PortHost& iHost, const DMUS_PORTCAPS& iCaps)
    : Platform_Port(iHost, iCaps) {}

HRESULT Platform_InputPort::PlayBuffer(IDirectMusicBuffer* /*iBufferP*/) { return E_NOTIMPL; }

HRESULT Platform_InputPort::SetReadNotificationHandle(HANDLE iEvent) {
  const std::lock_guard lock(mMutex);
  if (mEvent != nullptr) {
    Platform_SetEventDescriptor(mEvent, -1);
  }
  mEvent = iEvent;
  AttachEvent();
  return S_OK;
}

// Signals the event too, which is how a handle set while data waits finds it at once.
void Platform_InputPort::AttachEvent() {
  if (mEvent == nullptr || mInputP == nullptr) {
    return;
  }
  std::shared_ptr<Platform_EventSource> source = mInputP->Source();
  mHasSource = source != nullptr;
  if (mHasSource) {
    Platform_SetEventSource(mEvent, std::move(source));
  } else {
    Platform_SetEventDescriptor(mEvent, mInputP->Descriptor());
  }
}

HRESULT Platform_InputPort::Read(IDirectMusicBuffer* ioBufferP) {
  if (ioBufferP == nullptr) {
    return E_POINTER;
  }
  ioBufferP->Flush();
  const std::lock_guard lock(mMutex);
  if (mInputP == nullptr || !mInputP->Read(mPiece)) {
    return S_FALSE;
  }
  const REFERENCE_TIME now = Sys_Clock::Microseconds() * kUnitsPerMicrosecond;
  ioBufferP->SetStartTime(now);
  const HRESULT result =
      ioBufferP->PackUnstructured(now, 1, static_cast<DWORD>(mPiece.mLength), mPiece.mBytes);
  // A source tells by itself what is left behind.
  if (mEvent != nullptr && !mHasSource && mInputP->HasBuffered()) {
    SetEvent(mEvent);
  }
  return result;
}

void Platform_InputPort::SetActive(bool iActive, Platform_Driver* iDriverP, const Platform_PortInfo* iInfoP) {
  mActive = iActive;
  {
    const std::lock_guard lock(mMutex);
    mCloseAt = iActive ? kNever : Sys_Clock::Microseconds() + kInputGrace;
  }
  if (iActive && iDriverP != nullptr) {
    Connect(*iDriverP, *iInfoP);
  }
}

void Platform_InputPort::HardwareCame(Platform_Driver& iDriver, const Platform_PortInfo& iInfo) {
  if (mActive) {
    Connect(iDriver, iInfo);
  }
}

void Platform_InputPort::HardwareWent() {
  const std::lock_guard lock(mMutex);
  Disconnect();
}

std::int64_t Platform_InputPort::Work(std::int64_t iNow) {
  const std::lock_guard lock(mMutex);
  if (mInputP != nullptr && iNow >= mCloseAt) {
    Disconnect();
  }
  return mInputP != nullptr ? mCloseAt : kNever;
}

void Platform_InputPort::Connect(Platform_Driver& iDriver, const Platform_PortInfo& iInfo) {
  const std::lock_guard lock(mMutex);
  if (mInputP == nullptr) {
    mInputP = iDriver.OpenInput(iInfo);
    AttachEvent();
  }
}

void Platform_InputPort::Disconnect() {
  if (mEvent != nullptr) {
    Platform_SetEventDescriptor(mEvent, -1);
  }
  mInputP.reset();
}

bool Platform_InputPort::IsConnected() {
  const std::lock_guard lock(mMutex);
  return mInputP != nullptr;
}

#endif
