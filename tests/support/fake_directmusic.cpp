// SPDX-License-Identifier: MIT
#include "tests/support/fake_directmusic.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "cmn/i18n_stutf16buffer.h"
#include "cmn/i18n_stutf8buffer.h"

namespace {

Test_FakeDirectMusic* sRootP = nullptr;

// Whether a record is zero behind its first member, its size.
template <class Record>
bool HoldsItsSizeAlone(const Record& iRecord) {
  Record expected{};
  expected.dwSize = sizeof(Record);
  return std::memcmp(&iRecord, &expected, sizeof(Record)) == 0;
}

// Nobody asks these fakes for another interface than the one that they are.
HRESULT RefuseInterface(void** oResult) {
  if (oResult != nullptr) *oResult = nullptr;
  return E_NOINTERFACE;
}

std::string TextOfGuid(REFGUID iGuid) {
  OLECHAR text[40] = {};
  StringFromGUID2(iGuid, text, 40);
  return I18N_StUTF8Buffer(text).get();
}

std::string TextOfBytes(const std::vector<BYTE>& iBytes) {
  std::string text;
  for (BYTE byte : iBytes) text += fmt::format(" {:02X}", byte);
  return text;
}

}  // namespace

// ---- clock ----

HRESULT Test_FakeClock::QueryInterface(REFIID, void** oResult) { return RefuseInterface(oResult); }

HRESULT Test_FakeClock::GetTime(REFERENCE_TIME* oTime) {
  HRESULT result = S_OK;
  if (mCalls.Enter("GetTime", mName + ": GetTime", &result)) return result;
  *oTime = mTime.fetch_add(mStep.load());
  return S_OK;
}

// ---- buffer ----

HRESULT Test_FakeBuffer::QueryInterface(REFIID, void** oResult) { return RefuseInterface(oResult); }

HRESULT Test_FakeBuffer::Flush() {
  HRESULT result = S_OK;
  if (mCalls.Enter("Flush", "Flush", &result)) return result;
  mEvents.clear();
  mReadAt = 0;
  return S_OK;
}

HRESULT Test_FakeBuffer::TotalTime(LPREFERENCE_TIME oTime) {
  *oTime = 0;
  return S_OK;
}

HRESULT Test_FakeBuffer::PackStructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iMessage) {
  HRESULT result = S_OK;
  if (mCalls.Enter("PackStructured",
                   fmt::format("PackStructured {} {} {:06X}", iTime, iChannelGroup, iMessage), &result)) {
    return result;
  }
  Test_FakeEvent event{iTime, iChannelGroup, true, {}};
  for (DWORD shift = 0; shift < 32; shift += 8) event.mBytes.push_back(static_cast<BYTE>(iMessage >> shift));
  mEvents.push_back(std::move(event));
  return S_OK;
}

HRESULT Test_FakeBuffer::PackUnstructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iLength,
                                          BYTE* iDataP) {
  HRESULT result = S_OK;
  if (mCalls.Enter("PackUnstructured",
                   fmt::format("PackUnstructured {} {} {}", iTime, iChannelGroup, iLength), &result)) {
    return result;
  }
  mEvents.push_back({iTime, iChannelGroup, false, std::vector<BYTE>(iDataP, iDataP + iLength)});
  return S_OK;
}

HRESULT Test_FakeBuffer::ResetReadPtr() {
  HRESULT result = S_OK;
  if (mCalls.Enter("ResetReadPtr", "ResetReadPtr", &result)) return result;
  mReadAt = 0;
  return S_OK;
}

HRESULT Test_FakeBuffer::GetNextEvent(LPREFERENCE_TIME oTime, DWORD* oChannelGroup, DWORD* oLength,
                                      BYTE** oDataP) {
  HRESULT result = S_OK;
  if (mCalls.Enter("GetNextEvent", "GetNextEvent", &result)) return result;
  if (mReadAt >= mEvents.size()) return S_FALSE;
  Test_FakeEvent& event = mEvents[mReadAt++];
  *oTime = event.mTime;
  *oChannelGroup = event.mChannelGroup;
  *oLength = static_cast<DWORD>(event.mBytes.size());
  *oDataP = event.mBytes.data();
  return S_OK;
}

HRESULT Test_FakeBuffer::GetStartTime(LPREFERENCE_TIME oTime) {
  *oTime = mStartTime;
  return S_OK;
}

HRESULT Test_FakeBuffer::GetUsedBytes(DWORD* oBytes) {
  *oBytes = 0;
  for (const Test_FakeEvent& event : mEvents) {
    *oBytes += (static_cast<DWORD>(event.mBytes.size()) + 27) & ~DWORD{7};
  }
  return S_OK;
}

HRESULT Test_FakeBuffer::GetMaxBytes(DWORD* oBytes) {
  *oBytes = mMaxBytes;
  return S_OK;
}

HRESULT Test_FakeBuffer::SetStartTime(REFERENCE_TIME iTime) {
  HRESULT result = S_OK;
  if (mCalls.Enter("SetStartTime", fmt::format("SetStartTime {}", iTime), &result)) return result;
  mStartTime = iTime;
  return S_OK;
}

// ---- port ----

Test_FakePort::Test_FakePort(Test_FakeCalls& ioCalls, const DMUS_PORTCAPS& iCaps, std::string iName)
    : mCalls(ioCalls), mCaps(iCaps), mName(std::move(iName)), mLatencyClock(ioCalls, mName + " latency") {}

bool Test_FakePort::Enter(const char* iNameP, const std::string& iArguments, HRESULT* oResult) {
  return mCalls.Enter(iNameP, mName + ": " + iNameP + iArguments, oResult);
}

HRESULT Test_FakePort::QueryInterface(REFIID, void** oResult) { return RefuseInterface(oResult); }

HRESULT Test_FakePort::PlayBuffer(IDirectMusicBuffer* iBufferP) {
  auto* const bufferP = static_cast<Test_FakeBuffer*>(iBufferP);
  std::string bytes;
  for (const Test_FakeEvent& event : bufferP->mEvents) bytes += TextOfBytes(event.mBytes);
  HRESULT result = S_OK;
  if (Enter("PlayBuffer", bytes, &result)) return result;
  const std::lock_guard lock(mMutex);
  mPlayed.push_back({bufferP->mStartTime, bufferP->mEvents});
  return S_OK;
}

HRESULT Test_FakePort::SetReadNotificationHandle(HANDLE iEvent) {
  HRESULT result = S_OK;
  if (Enter("SetReadNotificationHandle", iEvent == nullptr ? " null" : " event", &result)) return result;
  const std::lock_guard lock(mMutex);
  mEvent = iEvent;
  if (mEvent != nullptr && !mWaiting.empty()) SetEvent(mEvent);
  return S_OK;
}

HRESULT Test_FakePort::Read(IDirectMusicBuffer* ioBufferP) {
  HRESULT result = S_OK;
  if (Enter("Read", "", &result)) return result;
  const std::lock_guard lock(mMutex);
  auto* const bufferP = static_cast<Test_FakeBuffer*>(ioBufferP);
  bufferP->mEvents.clear();
  if (mWaiting.empty()) return S_FALSE;
  bufferP->mEvents.push_back({0, 1, false, std::move(mWaiting.front())});
  mWaiting.pop_front();
  if (mEvent != nullptr && !mWaiting.empty()) SetEvent(mEvent);
  return S_OK;
}

HRESULT Test_FakePort::GetLatencyClock(IReferenceClock** oClockP) {
  HRESULT result = S_OK;
  *oClockP = nullptr;
  if (Enter("GetLatencyClock", "", &result)) return result;
  mLatencyClock.AddRef();
  *oClockP = &mLatencyClock;
  return S_OK;
}

HRESULT Test_FakePort::GetCaps(DMUS_PORTCAPS* oCapsP) {
  HRESULT result = S_OK;
  if (Enter("GetCaps", fmt::format(" {}", oCapsP->dwSize), &result)) return result;
  *oCapsP = mCaps;
  return S_OK;
}

HRESULT Test_FakePort::Activate(BOOL iActive) {
  HRESULT result = S_OK;
  if (Enter("Activate", fmt::format(" {}", iActive), &result)) return result;
  mIsActive = iActive != FALSE;
  return S_OK;
}

void Test_FakePort::Feed(const std::vector<BYTE>& iBytes) { FeedAll({iBytes}); }

void Test_FakePort::FeedAll(const std::vector<std::vector<BYTE>>& iPieces) {
  const std::lock_guard lock(mMutex);
  mWaiting.insert(mWaiting.end(), iPieces.begin(), iPieces.end());
  if (mEvent != nullptr) SetEvent(mEvent);
}

std::size_t Test_FakePort::Waiting() const {
  const std::lock_guard lock(mMutex);
  return mWaiting.size();
}

std::vector<Test_FakePlayed> Test_FakePort::Played() const {
  const std::lock_guard lock(mMutex);
  return mPlayed;
}

void Test_FakePort::ClearPlayed() {
  const std::lock_guard lock(mMutex);
  mPlayed.clear();
}

bool Test_FakePort::IsArmed() const {
  const std::lock_guard lock(mMutex);
  return mEvent != nullptr;
}

std::string Test_FakePort::GuidText() const { return TextOfGuid(mCaps.guidPort); }

// ---- root ----

Test_FakeDirectMusic::Test_FakeDirectMusic() {
  sRootP = this;
  Platform_SetDirectMusicFactory([](REFIID iID, void** oObjectP) -> HRESULT {
    ++sRootP->mCreations;
    const HRESULT result = sRootP->mCreateResult.load();
    if (result != S_OK) return result;
    return sRootP->QueryInterface(iID, oObjectP);
  });
}

Test_FakeDirectMusic::~Test_FakeDirectMusic() {
  Platform_SetDirectMusicFactory(nullptr);
  sRootP = nullptr;
}

HRESULT Test_FakeDirectMusic::QueryInterface(REFIID iID, void** oResult) {
  if (!(iID == IID_IDirectMusic8) && !(iID == IID_IUnknown)) return RefuseInterface(oResult);
  AddRef();
  *oResult = static_cast<IDirectMusic8*>(this);
  return S_OK;
}

HRESULT Test_FakeDirectMusic::EnumPort(DWORD iIndex, DMUS_PORTCAPS* oCapsP) {
  HRESULT result = S_OK;
  if (mCalls.Enter("EnumPort", fmt::format("EnumPort {}", iIndex), &result)) return result;
  if (oCapsP->dwSize != 308 || !HoldsItsSizeAlone(*oCapsP)) return E_INVALIDARG;
  const std::lock_guard lock(mMutex);
  if (iIndex >= mPresent.size()) return S_FALSE;
  *oCapsP = mPresent[iIndex]->Caps();
  return S_OK;
}

HRESULT Test_FakeDirectMusic::CreateMusicBuffer(DMUS_BUFFERDESC* iDescP, IDirectMusicBuffer** oBufferP,
                                                IUnknown*) {
  HRESULT result = S_OK;
  *oBufferP = nullptr;
  const std::string line =
      fmt::format("CreateMusicBuffer {} {} {}", iDescP->dwSize, iDescP->dwFlags, iDescP->cbBuffer);
  if (mCalls.Enter("CreateMusicBuffer", line, &result)) return result;
  if (!(iDescP->guidBufferFormat == GUID{})) return E_INVALIDARG;
  const std::lock_guard lock(mMutex);
  mBuffers.push_back(std::make_unique<Test_FakeBuffer>(mCalls, iDescP->cbBuffer));
  mBuffers.back()->AddRef();
  *oBufferP = mBuffers.back().get();
  return S_OK;
}

HRESULT Test_FakeDirectMusic::CreatePort(REFCLSID iPort, DMUS_PORTPARAMS8* ioParamsP,
                                         IDirectMusicPort** oPortP, IUnknown*) {
  HRESULT result = S_OK;
  *oPortP = nullptr;
  if (mCalls.Enter("CreatePort", "CreatePort " + TextOfGuid(iPort), &result)) {
    if (FAILED(result)) return result;  // a success that is asked for gives the port as well
  }
  if (ioParamsP == nullptr || ioParamsP->dwSize != 36 || !HoldsItsSizeAlone(*ioParamsP)) return E_INVALIDARG;
  if (mWithheldPort != 0 && iPort == GuidOf(mWithheldPort)) return result;
  const std::lock_guard lock(mMutex);
  for (Test_FakePort* portP : mPresent) {
    if (!(portP->Caps().guidPort == iPort)) continue;
    portP->AddRef();
    *oPortP = portP;
    return result;
  }
  return E_INVALIDARG;
}

HRESULT Test_FakeDirectMusic::GetMasterClock(GUID*, IReferenceClock** oClockP) {
  HRESULT result = S_OK;
  *oClockP = nullptr;
  if (mCalls.Enter("GetMasterClock", "GetMasterClock", &result)) return result;
  mMasterClock.AddRef();
  *oClockP = &mMasterClock;
  return S_OK;
}

HRESULT Test_FakeDirectMusic::SetDirectSound(IDirectSound* iSoundP, HWND iWindow) {
  HRESULT result = S_OK;
  const bool areNull = iSoundP == nullptr && iWindow == nullptr;
  mCalls.Enter("SetDirectSound", areNull ? "SetDirectSound null null" : "SetDirectSound", &result);
  return result;
}

Test_FakePort& Test_FakeDirectMusic::AddPort(DWORD iNumber, const std::string& iDescription, DWORD iClass,
                                             const std::function<void(DMUS_PORTCAPS&)>& iChange) {
  DMUS_PORTCAPS caps{};
  caps.dwSize = sizeof(caps);
  caps.dwFlags = DMUS_PC_EXTERNAL | DMUS_PC_SHAREABLE;
  caps.guidPort = GuidOf(iNumber);
  caps.dwClass = iClass;
  caps.dwType = DMUS_PORT_KERNEL_MODE;
  caps.dwMaxChannelGroups = 1;
  caps.dwMaxVoices = 0xFFFFFFFF;
  caps.dwMaxAudioChannels = 0xFFFFFFFF;
  const I18N_StUTF16Buffer wide(iDescription.c_str());
  const std::size_t length = std::min<std::size_t>(wide.Length(), DMUS_MAX_DESCRIPTION);
  std::memcpy(caps.wszDescription, wide.get(), length * sizeof(WCHAR));
  if (iChange) iChange(caps);
  const std::lock_guard lock(mMutex);
  mPorts.push_back(std::make_unique<Test_FakePort>(mCalls, caps, iDescription));
  mPresent.push_back(mPorts.back().get());
  return *mPorts.back();
}

void Test_FakeDirectMusic::RemovePort(const Test_FakePort& iPort) {
  const std::lock_guard lock(mMutex);
  std::erase(mPresent, &iPort);
}

void Test_FakeDirectMusic::ReturnPort(Test_FakePort& ioPort) {
  const std::lock_guard lock(mMutex);
  mPresent.push_back(&ioPort);
}

int Test_FakeDirectMusic::BufferCount() const {
  const std::lock_guard lock(mMutex);
  return static_cast<int>(mBuffers.size());
}

int Test_FakeDirectMusic::BufferReferences() const {
  const std::lock_guard lock(mMutex);
  int references = 0;
  for (const auto& buffer : mBuffers) references += buffer->References();
  return references;
}

Test_FakeBuffer& Test_FakeDirectMusic::Buffer(int iIndex) {
  const std::lock_guard lock(mMutex);
  return *mBuffers.at(static_cast<std::size_t>(iIndex));
}

GUID Test_FakeDirectMusic::GuidOf(DWORD iNumber) { return GUID{iNumber, 0, 0, {}}; }

std::string Test_FakeDirectMusic::GuidTextOf(DWORD iNumber) { return TextOfGuid(GuidOf(iNumber)); }
