// SPDX-License-Identifier: MIT
#include "platform/directmusic/directmusic_root.h"

#if !defined(_WIN32)

#include <utf8.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cmn/cmn_validateutf8string.h"
#include "cmn/sys_clock.h"
#include "cmn/sys_utils.h"
#include "platform/directmusic/drivers.h"
#include "platform/directmusic/durableguid.h"
#include "platform/directmusic/musicbuffer.h"
#include "platform/directmusic/port.h"
#include "platform/directmusic/presence.h"

namespace {

constexpr std::int64_t kNever = INT64_MAX;
constexpr DWORD kUnlimited = 0xFFFFFFFFu;

// The description, cut at a code point where it is too long, always with its final zero.
void SetDescription(const std::string& iName, DMUS_PORTCAPS& ioCaps) {
  const std::string name = Cmn_ValidateUTF8String(iName);
  std::u16string wide;
  utf8::utf8to16(name.begin(), name.end(), std::back_inserter(wide));
  std::size_t length = std::min<std::size_t>(wide.size(), DMUS_MAX_DESCRIPTION - 1);
  if (length < wide.size() && length > 0 && (wide[length - 1] & 0xFC00) == 0xD800) {
    --length;
  }
  std::copy_n(wide.begin(), length, ioCaps.wszDescription);
  ioCaps.wszDescription[length] = 0;
}

// Type 2 for every driver of ours: with 0 the first name that ends in a bracket would become what the service
// takes for the system's mark of an emulated port.
DMUS_PORTCAPS CapsOf(const GUID& iGuid, const Platform_PortInfo& iInfo) {
  DMUS_PORTCAPS caps{};
  caps.dwSize = sizeof(caps);
  caps.dwFlags = DMUS_PC_EXTERNAL | DMUS_PC_SHAREABLE;
  caps.guidPort = iGuid;
  caps.dwClass = iInfo.mIsInput ? DMUS_PC_INPUTCLASS : DMUS_PC_OUTPUTCLASS;
  caps.dwType = DMUS_PORT_KERNEL_MODE;
  caps.dwMaxChannelGroups = 1;
  caps.dwMaxVoices = kUnlimited;
  caps.dwMaxAudioChannels = kUnlimited;
  SetDescription(iInfo.mName, caps);
  return caps;
}

// What the debug log is told of a port whose hardware took messages with it.
std::string LossLine(const DMUS_PORTCAPS& iCaps, std::uint64_t iLost) {
  const std::u16string wide(iCaps.wszDescription);
  std::string name;
  utf8::utf16to8(wide.begin(), wide.end(), std::back_inserter(name));
  return "mlox: the port " + name +
         " has gone; messages that were accepted, waited in it and are lost: " + std::to_string(iLost);
}

void Log(const std::vector<std::string>& iLines) {
  for (const std::string& line : iLines) {
    Sys_Utils::DebugString(line);
  }
}

struct GuidLess {
  bool operator()(const GUID& iLeft, const GUID& iRight) const {
    return std::memcmp(&iLeft, &iRight, sizeof(GUID)) < 0;
  }
};

// The root. One lock, mMutex, covers drivers, lists and the making and going of ports; a port's own lock
// comes after it. Watchers are called with mReport held and mMutex not: Unwatch waits on mReport, so no
// report runs behind it.
class Root final : public IDirectMusic8,
                   public IPlatformPresence,
                   private Platform_DriverHost,
                   private Platform_PortHost {
 public:
  Root() = default;

  HRESULT QueryInterface(REFIID iID, void** oResult) override;
  // One for the process, never destroyed: counts are for show.
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }

  HRESULT EnumPort(DWORD iIndex, DMUS_PORTCAPS* oCapsP) override;
  HRESULT CreateMusicBuffer(DMUS_BUFFERDESC* iDescP, IDirectMusicBuffer** oBufferP,
                            IUnknown* iOuterP) override;
  HRESULT CreatePort(REFCLSID iPort, DMUS_PORTPARAMS8* ioParamsP, IDirectMusicPort** oPortP,
                     IUnknown* iOuterP) override;
  HRESULT EnumMasterClock(DWORD, DMUS_CLOCKINFO*) override { return E_NOTIMPL; }
  HRESULT GetMasterClock(GUID* oClock, IReferenceClock** oClockP) override;
  HRESULT SetMasterClock(REFGUID) override { return E_NOTIMPL; }
  HRESULT Activate(BOOL) override { return S_OK; }
  HRESULT GetDefaultPort(GUID*) override { return E_NOTIMPL; }
  HRESULT SetDirectSound(IDirectSound*, HWND) override { return S_OK; }
  HRESULT SetExternalMasterClock(IReferenceClock*) override { return E_NOTIMPL; }

  void SetIdentityTable(Platform_IdentityTable* iTableP) override;
  void Watch(Platform_PresenceWatcher* iWatcherP) override;
  void Unwatch(Platform_PresenceWatcher* iWatcherP) override;
  void IdentitiesChanged() override;

  void StopAtExit();

 private:
  struct Present {
    Platform_PresentPort mPort;
    Platform_Driver* mDriverP;
  };

  // ---- Platform_DriverHost ----
  void PortsMayHaveChanged() override;
  // ---- Platform_PortHost ----
  HRESULT ActivatePort(Platform_Port* iPortP, bool iActive) override;
  ULONG ReleaseLast(Platform_Port* iPortP) override;
  void WakeWorker() override;
  void LookForPorts() override { PortsMayHaveChanged(); }
  HRESULT MasterClock(IReferenceClock** oClockP) override { return GetMasterClock(nullptr, oClockP); }

  // All below: under mMutex.
  void StartDrivers();
  void StopDriversIfIdle();
  bool IsInUse() const;
  void StartWorker();
  void Rescan();
  void ConnectPorts(bool iInputs);
  const Present* FindListed(const GUID& iGuid) const;
  const Present* FindPresent(const GUID& iGuid) const;
  std::vector<DMUS_PORTCAPS> ListPorts() const;
  std::int64_t WorkPorts();
  void NoteLoss(Platform_Port& ioPort);
  std::vector<std::string> TakeLossLines();

  // Not under it.
  void Run();
  std::int64_t Round();
  void ReportChanges();

  std::mutex mMutex;
  std::vector<std::unique_ptr<Platform_Driver>> mDrivers;
  std::vector<Present> mPresent;
  std::map<GUID, Platform_Port*, GuidLess> mPorts;
  std::vector<Platform_PresenceWatcher*> mWatchers;
  Platform_IdentityTable* mTableP = nullptr;
  Platform_MasterClock mClock;
  bool mDriversRun = false;
  bool mListChanged = false;
  std::vector<std::string> mLossLines;  // for the debug log
  std::thread mWorker;
  std::atomic<bool> mRescanWanted{false};
  std::atomic<bool> mStop{false};
  std::mutex mReport;
  // Innermost: what the worker sleeps on.
  std::mutex mSleepMutex;
  std::condition_variable mWake;
  bool mWorkWanted = false;
};

Root& TheRoot() {
  static Root* const sRoot = new Root;
  return *sRoot;
}

// ---- IUnknown ----

HRESULT Root::QueryInterface(REFIID iID, void** oResult) {
  if (oResult == nullptr) {
    return E_POINTER;
  }
  if (iID == IID_IPlatformPresence) {
    *oResult = static_cast<IPlatformPresence*>(this);
    return S_OK;
  }
  if (iID == IID_IDirectMusic8 || iID == IID_IDirectMusic || iID == IID_IUnknown) {
    *oResult = static_cast<IDirectMusic8*>(this);
    return S_OK;
  }
  *oResult = nullptr;
  return E_NOINTERFACE;
}

// ---- IDirectMusic8 ----

HRESULT Root::EnumPort(DWORD iIndex, DMUS_PORTCAPS* oCapsP) {
  if (oCapsP == nullptr) {
    return E_POINTER;
  }
  if (oCapsP->dwSize != sizeof(DMUS_PORTCAPS)) {
    return E_INVALIDARG;
  }
  // Index 0 freezes the list for the thread, so that an enumeration neither skips nor repeats when ports come
  // and go.
  static thread_local std::vector<DMUS_PORTCAPS> sFrozen;
  if (iIndex == 0) {
    const std::lock_guard lock(mMutex);
    StartDrivers();
    if (mRescanWanted.load()) {
      Rescan();
      WakeWorker();
    }
    sFrozen = ListPorts();
    StopDriversIfIdle();
  }
  if (iIndex >= sFrozen.size()) {
    return S_FALSE;
  }
  *oCapsP = sFrozen[iIndex];
  return S_OK;
}

HRESULT Root::CreateMusicBuffer(DMUS_BUFFERDESC* iDescP, IDirectMusicBuffer** oBufferP, IUnknown* iOuterP) {
  if (iDescP == nullptr || oBufferP == nullptr) {
    return E_POINTER;
  }
  *oBufferP = nullptr;
  constexpr DWORD kMostBytes = 64 * 1024 * 1024;
  if (iDescP->dwSize != sizeof(DMUS_BUFFERDESC) || iOuterP != nullptr || iDescP->cbBuffer == 0 ||
      iDescP->cbBuffer > kMostBytes) {
    return E_INVALIDARG;
  }
  *oBufferP = new Platform_MusicBuffer(iDescP->cbBuffer);
  return S_OK;
}

HRESULT Root::CreatePort(REFCLSID iPort, DMUS_PORTPARAMS8* ioParamsP, IDirectMusicPort** oPortP,
                         IUnknown* iOuterP) {
  if (ioParamsP == nullptr || oPortP == nullptr) {
    return E_POINTER;
  }
  *oPortP = nullptr;
  if (ioParamsP->dwSize != sizeof(DMUS_PORTPARAMS8) || iOuterP != nullptr) {
    return E_INVALIDARG;
  }
  const std::lock_guard lock(mMutex);
  const auto known = mPorts.find(iPort);
  if (known != mPorts.end()) {
    known->second->AddRefUnderRoot();
    *oPortP = known->second;
    return S_OK;
  }
  const Present* const present = FindListed(iPort);
  if (present == nullptr) {
    return E_FAIL;
  }
  const DMUS_PORTCAPS caps = CapsOf(iPort, present->mPort.mInfo);
  Platform_Port* port = nullptr;
  if (present->mPort.mInfo.mIsInput) {
    port = new Platform_InputPort(*this, caps);
  } else {
    port = new Platform_OutputPort(*this, caps);
  }
  mPorts.emplace(iPort, port);
  *oPortP = port;
  return S_OK;
}

HRESULT Root::GetMasterClock(GUID* oClock, IReferenceClock** oClockP) {
  if (oClock != nullptr) {
    *oClock = GUID{};
  }
  if (oClockP != nullptr) {
    *oClockP = &mClock;
  }
  return S_OK;
}

// ---- IPlatformPresence ----

void Root::SetIdentityTable(Platform_IdentityTable* iTableP) {
  const std::lock_guard lock(mMutex);
  mTableP = iTableP;
}

void Root::Watch(Platform_PresenceWatcher* iWatcherP) {
  const std::lock_guard report(mReport);
  std::vector<Platform_PresentPort> ports;
  {
    const std::lock_guard lock(mMutex);
    mWatchers.push_back(iWatcherP);
    StartDrivers();
    // Another one watched until now, and a change waits to be looked at.
    if (mRescanWanted.load()) {
      Rescan();
      WakeWorker();
    }
    for (const Present& present : mPresent) {
      ports.push_back(present.mPort);
    }
  }
  iWatcherP->PresenceChanged(ports);
}

void Root::Unwatch(Platform_PresenceWatcher* iWatcherP) {
  const std::lock_guard report(mReport);
  const std::lock_guard lock(mMutex);
  std::erase(mWatchers, iWatcherP);
  StopDriversIfIdle();
}

void Root::IdentitiesChanged() {
  {
    const std::lock_guard lock(mMutex);
    if (!mDriversRun) {
      return;
    }
    Rescan();
    WakeWorker();
  }
  ReportChanges();
}

// ---- what ports and drivers ask ----

void Root::PortsMayHaveChanged() {
  mRescanWanted.store(true);
  WakeWorker();
}

void Root::WakeWorker() {
  // Callers may hold their port's lock, so this takes the innermost lock of all and no other.
  {
    const std::lock_guard lock(mSleepMutex);
    mWorkWanted = true;
  }
  mWake.notify_one();
}

HRESULT Root::ActivatePort(Platform_Port* iPortP, bool iActive) {
  const std::lock_guard lock(mMutex);
  if (iActive) {
    StartDrivers();
    // What the last look found may have been plugged again since, and can't be opened then.
    if (mRescanWanted.load()) {
      Rescan();
    }
  }
  const Present* const present = FindPresent(iPortP->Guid());
  iPortP->SetActive(iActive, present != nullptr ? present->mDriverP : nullptr,
                    present != nullptr ? &present->mPort.mInfo : nullptr);
  WakeWorker();
  if (!iActive) {
    StopDriversIfIdle();
    return S_OK;
  }
  return iPortP->IsConnected() ? S_OK : E_FAIL;
}

ULONG Root::ReleaseLast(Platform_Port* iPortP) {
  const std::lock_guard lock(mMutex);
  if (!iPortP->DropUnderRoot()) {
    return 1;
  }
  NoteLoss(*iPortP);
  mPorts.erase(iPortP->Guid());
  delete iPortP;
  StopDriversIfIdle();
  return 0;
}

// ---- drivers and lists ----

void Root::StartDrivers() {
  if (mDriversRun) {
    return;
  }
  mDriversRun = true;
  mDrivers = Platform_StartDrivers(this);
  Rescan();
  StartWorker();
}

bool Root::IsInUse() const {
  return !mWatchers.empty() || std::any_of(mPorts.begin(), mPorts.end(), [](const auto& iEntry) {
    return iEntry.second->IsActive() || iEntry.second->IsConnected();
  });
}

void Root::StopDriversIfIdle() {
  if (!mDriversRun || IsInUse()) {
    return;
  }
  for (const std::unique_ptr<Platform_Driver>& driver : mDrivers) {
    driver->Stop();
  }
  mDrivers.clear();
  mDriversRun = false;
  // What was there stays listed for CreatePort: an enumeration without a watcher comes just before it.
  for (Present& present : mPresent) {
    present.mDriverP = nullptr;
  }
}

void Root::Rescan() {
  mRescanWanted.store(false);
  std::vector<Platform_PortInfo> infos;
  std::vector<Platform_Driver*> drivers;
  for (const std::unique_ptr<Platform_Driver>& driver : mDrivers) {
    for (Platform_PortInfo& info : driver->Ports()) {
      infos.push_back(std::move(info));
      drivers.push_back(driver.get());
    }
  }
  const std::vector<GUID> guids = Platform_IdentifyPorts(infos, mTableP);
  std::vector<Present> present;
  for (std::size_t i = 0; i < infos.size(); ++i) {
    present.push_back({{guids[i], infos[i]}, drivers[i]});
  }
  mPresent.swap(present);
  mListChanged = true;
  for (const auto& entry : mPorts) {
    Platform_Port& port = *entry.second;
    const Present* const now = FindPresent(port.Guid());
    const auto before = std::find_if(present.begin(), present.end(),
                                     [&](const Present& iOld) { return iOld.mPort.mGuid == port.Guid(); });
    const bool isSame = now != nullptr && before != present.end() && before->mDriverP == now->mDriverP &&
                        before->mPort.mInfo.mHandle == now->mPort.mInfo.mHandle;
    if (!isSame) {
      port.HardwareWent();
    }
  }
  // Inputs first: what is played to an output that is back must find the input it is wired to.
  ConnectPorts(true);
  ConnectPorts(false);
}

void Root::ConnectPorts(bool iInputs) {
  for (const auto& entry : mPorts) {
    Platform_Port& port = *entry.second;
    const Present* const now = FindPresent(port.Guid());
    if (now != nullptr && port.IsInput() == iInputs) {
      port.HardwareCame(*now->mDriverP, now->mPort.mInfo);
    }
  }
}

// A port of the last scan, also while no driver runs.
const Root::Present* Root::FindListed(const GUID& iGuid) const {
  for (const Present& present : mPresent) {
    if (present.mPort.mGuid == iGuid) {
      return &present;
    }
  }
  return nullptr;
}

// A port that a running driver can connect to.
const Root::Present* Root::FindPresent(const GUID& iGuid) const {
  const Present* const listed = FindListed(iGuid);
  return listed != nullptr && listed->mDriverP != nullptr ? listed : nullptr;
}

// What is there, then the inputs that are held open while their hardware is away: a restart of the receive
// task must find them, or it would not arm them again.
std::vector<DMUS_PORTCAPS> Root::ListPorts() const {
  std::vector<DMUS_PORTCAPS> list;
  for (const Present& present : mPresent) {
    list.push_back(CapsOf(present.mPort.mGuid, present.mPort.mInfo));
  }
  for (const auto& [guid, port] : mPorts) {
    if (port->IsInput() && FindListed(guid) == nullptr) {
      list.push_back(port->Caps());
    }
  }
  return list;
}

// ---- the worker ----

void Root::StartWorker() {
  if (mWorker.joinable() || mStop.load()) {
    return;
  }
  mWorker = std::thread([this] { Run(); });
  // Drivers must not call into libraries that are being taken down with the process.
  static const int sRegistered = std::atexit([] { TheRoot().StopAtExit(); });
  static_cast<void>(sRegistered);
}

void Root::StopAtExit() {
  mStop.store(true);
  WakeWorker();
  if (mWorker.joinable()) {
    mWorker.join();
  }
  std::vector<std::string> losses;
  {
    const std::lock_guard lock(mMutex);
    losses = TakeLossLines();
  }
  Log(losses);
  const std::lock_guard lock(mMutex);
  for (const auto& entry : mPorts) {
    entry.second->HardwareWent();
  }
  for (const std::unique_ptr<Platform_Driver>& driver : mDrivers) {
    driver->Stop();
  }
  mDrivers.clear();
  mPresent.clear();
}

// Ports lose messages under their locks, and on threads that may not wait for a log.
void Root::NoteLoss(Platform_Port& ioPort) {
  const std::uint64_t lost = ioPort.TakeLostWaiting();
  if (lost != 0) {
    mLossLines.push_back(LossLine(ioPort.Caps(), lost));
  }
}

// What the debug log is to be told when mMutex is free.
std::vector<std::string> Root::TakeLossLines() {
  for (const auto& entry : mPorts) {
    NoteLoss(*entry.second);
  }
  return std::exchange(mLossLines, {});
}

// Under mMutex. Hands over what is due, closes what had its second of grace.
std::int64_t Root::WorkPorts() {
  const std::int64_t now = Sys_Clock::Microseconds();
  std::int64_t next = kNever;
  for (const auto& entry : mPorts) {
    next = std::min(next, entry.second->Work(now));
  }
  return next;
}

void Root::ReportChanges() {
  const std::lock_guard report(mReport);
  std::vector<Platform_PresentPort> ports;
  std::vector<Platform_PresenceWatcher*> watchers;
  {
    const std::lock_guard lock(mMutex);
    if (!mListChanged) {
      return;
    }
    mListChanged = false;
    watchers = mWatchers;
    for (const Present& present : mPresent) {
      ports.push_back(present.mPort);
    }
  }
  for (Platform_PresenceWatcher* const watcher : watchers) {
    watcher->PresenceChanged(ports);
  }
}

// One round of the worker. \returns when the next is due, in microseconds of Sys_Clock.
std::int64_t Root::Round() {
  std::int64_t next = kNever;
  bool isChanged = false;
  std::vector<std::string> losses;
  {
    const std::lock_guard lock(mMutex);
    if (mDriversRun && mRescanWanted.load()) {
      Rescan();
    }
    next = WorkPorts();
    losses = TakeLossLines();
    isChanged = mListChanged;
    StopDriversIfIdle();
  }
  Log(losses);
  if (isChanged) {
    ReportChanges();
  }
  return next;
}

void Root::Run() {
  while (!mStop.load()) {
    const std::int64_t next = Round();
    std::unique_lock lock(mSleepMutex);
    const auto isWanted = [this] { return mWorkWanted || mStop.load(); };
    if (next == kNever) {
      mWake.wait(lock, isWanted);
    } else {
      mWake.wait_for(lock,
                     std::chrono::microseconds(std::max<std::int64_t>(next - Sys_Clock::Microseconds(), 0)),
                     isWanted);
    }
    mWorkWanted = false;
  }
}

}  // namespace

HRESULT Platform_DirectMusicRoot(REFIID iID, void** oObjectP) {
  return TheRoot().QueryInterface(iID, oObjectP);
}

#endif
