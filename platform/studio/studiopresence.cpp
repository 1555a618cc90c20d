// SPDX-License-Identifier: MIT
#include "platform/studio/studiopresence.h"

#include <utility>

#include "mlox/mlox_directmusic/excludedportnames.h"
#include "platform/studio/studioidentities.h"
#include "platform/studio/studiotext.h"

namespace {

// An enumeration that fails this often in a row has no end.
constexpr int kMostFailures = 4096;

Platform_StudioDeviceP RowOf(const Platform_PresentPort& iPort) {
  Platform_StudioDevice row;
  row.mGuid = Platform_GuidToText(iPort.mGuid);
  row.mIsSource = iPort.mInfo.mIsInput;
  row.mIsVirtual = iPort.mInfo.mIsVirtual;
  row.mDriver = iPort.mInfo.mDriver;
  row.mName = Platform_StudioCleanText(iPort.mInfo.mName);
  row.mManufacturer = Platform_StudioCleanText(iPort.mInfo.mManufacturer);
  row.mModel = Platform_StudioCleanText(iPort.mInfo.mModel);
  return std::make_shared<Platform_StudioDevice>(std::move(row));
}

Platform_StudioDeviceP RowOf(DMUS_PORTCAPS& ioCaps) {
  ioCaps.wszDescription[DMUS_MAX_DESCRIPTION - 1] = 0;
  Platform_StudioDevice row;
  row.mGuid = Platform_GuidToText(ioCaps.guidPort);
  row.mIsSource = ioCaps.dwClass == DMUS_PC_INPUTCLASS;
  row.mName = Platform_StudioToUtf8(ioCaps.wszDescription);
  return std::make_shared<Platform_StudioDevice>(std::move(row));
}

// The service's table. Not asked of the service: that takes the lock of its subsystem, which must not be
// wanted on the root's thread.
PortNameTable ReadTable() {
  PortNameTable table = PortName_BuiltInTable();
  std::set<std::string> excluded;
  LoadExcludedPortNames(&ReadExcludedPortNamesFile, excluded);
  PortName_AddExcluded(excluded, table);
  return table;
}

}  // namespace

Platform_StudioPresence::Platform_StudioPresence(std::shared_ptr<Platform_StudioCore> iCore,
                                                 IDirectMusic8* iRootP)
    : mCore(std::move(iCore)), mRootP(iRootP), mTable(ReadTable()) {
  if (mRootP == nullptr) {
    return;
  }
  mRootP->AddRef();
  void* presence = nullptr;
  if (mRootP->QueryInterface(IID_IPlatformPresence, &presence) == S_OK) {
    mPresenceP = static_cast<IPlatformPresence*>(presence);
  }
  mIsPolled = mPresenceP == nullptr;
}

Platform_StudioPresence::~Platform_StudioPresence() { LetGo(); }

void Platform_StudioPresence::Start() {
  if (mPresenceP != nullptr) {
    Platform_StudioIdentities::Singleton().Attach(mCore);
    mPresenceP->SetIdentityTable(&Platform_StudioIdentities::Singleton());
    // Where drivers run already: this studio may know what the others don't.
    mPresenceP->IdentitiesChanged();
    mPresenceP->Watch(this);
  } else if (mRootP != nullptr) {
    Poll();
  }
}

void Platform_StudioPresence::Stop() {
  if (mPresenceP != nullptr) {
    mPresenceP->Unwatch(this);
    Platform_StudioIdentities::Singleton().Detach(mCore);
  }
  LetGo();
}

// The worker, which polls and has identities settled, may outlive the studio; the root may not.
void Platform_StudioPresence::LetGo() {
  const std::lock_guard lock(mPolling);
  if (mPresenceP != nullptr) {
    mPresenceP->Release();
    mPresenceP = nullptr;
  }
  if (mRootP != nullptr) {
    mRootP->Release();
    mRootP = nullptr;
  }
}

void Platform_StudioPresence::SettleIdentities() {
  const std::lock_guard lock(mPolling);
  if (mPresenceP != nullptr) {
    mPresenceP->IdentitiesChanged();
  }
}

void Platform_StudioPresence::PresenceChanged(const std::vector<Platform_PresentPort>& iPorts) {
  std::vector<Platform_StudioDeviceP> rows;
  for (const Platform_PresentPort& port : iPorts) {
    if (!PortName_IsProhibited(port.mInfo.mName, mTable, {})) {
      rows.push_back(RowOf(port));
    }
  }
  mCore->SetPresent(rows);
}

void Platform_StudioPresence::Poll() {
  const std::lock_guard lock(mPolling);
  if (mRootP == nullptr) {
    return;
  }
  std::vector<Platform_StudioDeviceP> rows;
  int failures = 0;
  for (DWORD index = 0; failures < kMostFailures; ++index) {
    DMUS_PORTCAPS caps{};
    caps.dwSize = sizeof(caps);
    const HRESULT result = mRootP->EnumPort(index, &caps);
    if (result == S_FALSE) {
      break;
    }
    failures = result == S_OK ? 0 : failures + 1;
    if (result != S_OK) {
      continue;
    }
    rows.push_back(RowOf(caps));
    if (mSuffix.empty() && caps.dwType == DMUS_PORT_WINMM_DRIVER) {
      mSuffix = PortName_SuffixOf(rows.back()->mName);
    }
  }
  std::erase_if(rows, [this](const Platform_StudioDeviceP& iRow) {
    return PortName_IsProhibited(iRow->mName, mTable, mSuffix);
  });
  mCore->SetPresent(rows);
}
