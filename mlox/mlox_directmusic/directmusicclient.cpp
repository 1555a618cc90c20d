// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/directmusicclient.h"

#include <algorithm>
#include <utility>

#include "diagnostics/quiltracelibrary.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/enumports.h"
#include "mlox/mlox_directmusic/excludedportnames.h"
#include "mlox/mlox_directmusic/getemulatedstring.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/studioproperty.h"

namespace {

constexpr DWORD kNoLimit = 0xFFFFFFFF;
constexpr DWORD kSystemMemory = 0x7FFFFFFF;

// A result above 1 as unsigned is a failure; S_FALSE is none.
bool IsFailure(HRESULT iResult) { return static_cast<std::uint32_t>(iResult) > 1; }

// The fingerprint of a software synthesizer: all of it, or the port passes.
bool LooksLikeSoftwareSynthesizer(const DMUS_PORTCAPS& iCaps) {
  const DWORD flags = DMUS_PC_DLS | DMUS_PC_SOFTWARESYNTH;
  return (iCaps.dwFlags & flags) == flags && iCaps.dwMemorySize == kSystemMemory &&
         iCaps.dwMaxChannelGroups != 1 && iCaps.dwMaxVoices != 0 && iCaps.dwMaxVoices != kNoLimit &&
         iCaps.dwMaxAudioChannels != 0 && iCaps.dwMaxAudioChannels != kNoLimit && iCaps.dwEffectFlags == 1;
}

// A copy of the names of the file, which is read while none is known.
std::set<std::string> GetExcludedPortNames(std::set<std::string>& ioExcludedPortNames) {
  if (ioExcludedPortNames.empty()) LoadExcludedPortNames(&ReadExcludedPortNamesFile, ioExcludedPortNames);
  return ioExcludedPortNames;
}

}  // namespace

/// A port with its texts.
struct DirectMusicClient::EnumeratedPort {
  const DMUS_PORTCAPS& mCaps;
  std::string mGuid;
  std::string mDescription;
};

// ---- statics ----

constinit IDirectMusic8* DirectMusicClient::sDirectMusicP = nullptr;

std::vector<DirectMusicClient::PortCacheElement>& DirectMusicClient::PortList() {
  static std::vector<PortCacheElement>& sPortList = *new std::vector<PortCacheElement>;
  return sPortList;
}

PortNameTable& DirectMusicClient::ProhibitedNames() {
  static PortNameTable& sProhibitedNames = *new PortNameTable;
  return sProhibitedNames;
}

std::set<std::string>& DirectMusicClient::ExcludedPortNames() {
  static std::set<std::string>& sExcludedPortNames = *new std::set<std::string>;
  return sExcludedPortNames;
}

std::string& DirectMusicClient::EmulatedString() {
  static std::string& sEmulatedString = *new std::string;
  return sEmulatedString;
}

// ---- the root ----

IDirectMusic8* DirectMusicClient::GetDirectMusicPtr(const bool& create) {
  const DirectMusicSubsystemLock lock;
  if (sDirectMusicP != nullptr) {
    sDirectMusicP->AddRef();
    return sDirectMusicP;
  }
  if (!create) return nullptr;
  const HRESULT result = CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8,
                                          reinterpret_cast<void**>(&sDirectMusicP));
  if (FAILED(result) || sDirectMusicP == nullptr) {
    sDirectMusicP = nullptr;
    return nullptr;
  }
  // One reference is the caller's. The other, beside that of the creation, is never given back: the root must
  // not be destroyed by a service that comes and goes.
  sDirectMusicP->AddRef();
  sDirectMusicP->AddRef();
  return sDirectMusicP;
}

void DirectMusicClient::ReleaseDirectMusicPtr() {
  const DirectMusicSubsystemLock lock;
  for (PortCacheElement& element : PortList()) {
    if (element.mPort != nullptr) element.mPort->Release();
    element.mPort = nullptr;
  }
  PortList().clear();
  if (sDirectMusicP != nullptr) sDirectMusicP->Release();
  sDirectMusicP = nullptr;
}

HRESULT DirectMusicClient::CreateMusicBuffer(const long& size, IDirectMusicBuffer** buffer) {
  DMUS_BUFFERDESC description{};
  description.dwSize = sizeof(DMUS_BUFFERDESC);
  // One event with its header of 20 bytes, rounded up to a multiple of eight.
  description.cbBuffer = static_cast<DWORD>(size + 27) & ~DWORD{7};
  IDirectMusic8* const rootP = GetDirectMusicPtr(false);
  if (rootP == nullptr) return E_UNEXPECTED;
  const HRESULT result = rootP->CreateMusicBuffer(&description, buffer, nullptr);
  rootP->Release();
  return result;
}

// ---- finding a port ----

HRESULT DirectMusicClient::GetOutputPort(std::shared_ptr<IEndpointIDs> ids, IDirectMusicPort** port) {
  const std::shared_ptr<IEndpointIDs> endpoint = std::move(ids);
  if (endpoint == nullptr || port == nullptr) return E_INVALIDARG;
  std::string guid;
  const HRESULT result =
      StudioProperty_ReadString(*endpoint, getter_wrapper::Get_PROPID_DeviceUniqueID(), &guid);
  if (result != S_OK) return result;
  const DirectMusicSubsystemLock lock;
  if (GiveCachedPort(guid, port)) return S_OK;
  UpdatePortList();
  if (GiveCachedPort(guid, port)) return S_OK;
  *port = nullptr;
  QUIL_TRACE(0x0800000E, "Could not satisfy the GetOutputPort request for %s", guid.c_str());
  return S_FALSE;
}

bool DirectMusicClient::GiveCachedPort(const std::string& iGuid, IDirectMusicPort** oPortP) {
  IDirectMusicPort* const portP = FindCachedPort(iGuid);
  if (portP == nullptr) return false;
  portP->AddRef();
  *oPortP = portP;
  QUIL_TRACE(0x0400000E, "GetOutputPort: returning %s", iGuid.c_str());
  return true;
}

IDirectMusicPort* DirectMusicClient::FindCachedPort(const std::string& iGuid) {
  for (const PortCacheElement& element : PortList()) {
    if (element.mPortGuid == iGuid) return element.mPort;
  }
  return nullptr;
}

// ---- rebuilding the cache ----
// The trace lines begin with the name of the operation that usually asks for the rebuild, on purpose: people
// look for one word.

HRESULT DirectMusicClient::UpdatePortList() {
  const DirectMusicSubsystemLock lock;
  IDirectMusic8* const rootP = GetDirectMusicPtr(false);
  if (rootP == nullptr) return E_UNEXPECTED;
  std::vector<std::string> common;
  std::vector<PortCacheElement> fresh;
  EnumPorts(*rootP, [&](const DMUS_PORTCAPS& iCaps) {
    if (iCaps.dwClass == DMUS_PC_OUTPUTCLASS) SortInPort(*rootP, iCaps, common, fresh);
  });
  RemoveMissingPorts(common);
  AppendNewPorts(fresh);
  rootP->Release();
  return S_OK;
}

void DirectMusicClient::SortInPort(IDirectMusic8& iRoot, const DMUS_PORTCAPS& iCaps,
                                   std::vector<std::string>& ioCommon, std::vector<PortCacheElement>& ioNew) {
  const EnumeratedPort port{iCaps, GuidTextOf(iCaps), DescriptionOf(iCaps)};
  const char* const guidP = port.mGuid.c_str();
  const char* const descriptionP = port.mDescription.c_str();
  if (IsPortProhibited(port)) {
    QUIL_TRACE(0x0200000E, "GetOutputPort: Prohibiting port %s (%s)", guidP, descriptionP);
    return;
  }
  if (FindCachedPort(port.mGuid) != nullptr) {
    QUIL_TRACE(0x0200000E, "GetOutputPort: Adding port %s (%s) to common list.", guidP, descriptionP);
    ioCommon.push_back(port.mGuid);
    return;
  }
  const bool isListedTwice = std::any_of(
      ioNew.begin(), ioNew.end(), [&](const PortCacheElement& iNew) { return iNew.mPortGuid == port.mGuid; });
  if (isListedTwice) return;  // the cache holds a GUID once
  DMUS_PORTPARAMS8 parameters{};
  parameters.dwSize = sizeof(DMUS_PORTPARAMS8);
  IDirectMusicPort* newPortP = nullptr;
  const HRESULT result = iRoot.CreatePort(iCaps.guidPort, &parameters, &newPortP, nullptr);
  if (IsFailure(result) || newPortP == nullptr) {
    QUIL_TRACE(0x0800000E, "GetOutputPort: failed to create port for new port %s (%s)", guidP, descriptionP);
    return;
  }
  QUIL_TRACE(0x0800000E, "GetOutputPort: Adding port %s (%s) to new list.", guidP, descriptionP);
  ioNew.push_back({port.mGuid, newPortP});
}

void DirectMusicClient::RemoveMissingPorts(const std::vector<std::string>& iCommon) {
  std::erase_if(PortList(), [&](PortCacheElement& ioElement) {
    if (std::find(iCommon.begin(), iCommon.end(), ioElement.mPortGuid) != iCommon.end()) return false;
    if (ioElement.mPort != nullptr) ioElement.mPort->Release();
    QUIL_TRACE(0x0800000E, "GetOutputPort: Removing missing port %s from the port list",
               ioElement.mPortGuid.c_str());
    return true;
  });
}

void DirectMusicClient::AppendNewPorts(const std::vector<PortCacheElement>& iNew) {
  for (const PortCacheElement& element : iNew) {
    QUIL_TRACE(0x0200000E, "GetOutputPort: Adding port %s from new port list to port list",
               element.mPortGuid.c_str());
    PortList().push_back(element);
  }
}

// ---- prohibition ----

bool DirectMusicClient::IsPortProhibited(const EnumeratedPort& iPort) {
  return IsPortProhibitedByName(iPort.mCaps) || LooksLikeSoftwareSynthesizer(iPort.mCaps);
}

bool DirectMusicClient::IsPortProhibitedByName(const DMUS_PORTCAPS& caps) {
  const DirectMusicSubsystemLock lock;
  GetEmulatedString();  // learned before the table is used
  FillProhibitedNames();
  const std::string description = DescriptionOf(caps);
  if (description.empty()) return false;
  return std::any_of(ProhibitedNames().begin(), ProhibitedNames().end(), [&](const auto& iRow) {
    return IsSpecificProhibitedPort(description, iRow.first, iRow.second);
  });
}

bool DirectMusicClient::IsSpecificProhibitedPort(const std::string& portName,
                                                 const std::string& prohibitedName,
                                                 const EProhibitedByNameEmulatedState& state) {
  if (!portName.starts_with(prohibitedName))
    return false;  // looking for the suffix may walk through all ports
  return PortName_IsProhibitedBy(portName, prohibitedName, state, GetEmulatedString());
}

void DirectMusicClient::FillProhibitedNames() {
  PortNameTable& table = ProhibitedNames();
  if (!table.empty()) return;
  table = PortName_BuiltInTable();
  const std::set<std::string> excluded = GetExcludedPortNames(ExcludedPortNames());
  for (const std::string& name : excluded) {
    QUIL_TRACE(0x0200000E,
               "DirectMusicClient::IsPortProhibitedByName - Adding custom port prohibition: \"%s\"",
               name.c_str());
  }
  PortName_AddExcluded(excluded, table);
}
