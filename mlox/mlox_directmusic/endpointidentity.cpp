// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/endpointidentity.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/lookup2.h"
#include "mlox/mlox_directmusic/studioproperty.h"

namespace {

constexpr std::uint32_t kHashInitialValue = 0x87654321;

constinit std::atomic<std::int32_t> sServiceIndex{-1};

// Under the subsystem's lock. Never destroyed.
std::vector<RegisteredIDs>& Table() {
  static std::vector<RegisteredIDs>& sRegisteredIDs = *new std::vector<RegisteredIDs>;
  return sRegisteredIDs;
}

std::int32_t HashOf(const std::string& iText) {
  return static_cast<std::int32_t>(Lookup2(iText, kHashInitialValue));
}

// The number of an object: the one that it carries, else a new one, which it carries from now on.
std::int32_t NumberOf(const std::shared_ptr<IEndpointIDs>& iIDs) {
  const _GUID& key = getter_wrapper::Get_PROPID_MLOXID();
  LONG number = -1;
  if (StudioProperty_ReadInt(*iIDs, key, &number) == S_OK) return number;
  const std::string text = BuildIDString(iIDs);
  if (text.empty()) return -1;
  number = HashOf(text);
  iIDs->SetIntProperty(CComBSTRLite(key), getter_wrapper::NameOfKey(key), 1, number);
  return number;
}

bool HasOMSIdentity(IEndpointIDs& iIDs) {
  LONG number = 0;
  return StudioProperty_ReadInt(iIDs, getter_wrapper::Get_PROPID_OMSUniqueID(), &number) == S_OK;
}

std::vector<RegisteredIDs>::iterator FindRecord(const Mlox_InputID& iID) {
  return std::find_if(Table().begin(), Table().end(), [&](const RegisteredIDs& iRecord) {
    return iRecord.mID == iID && iRecord.mIDs != nullptr;
  });
}

// An object with an identity of the older system takes the place of one without; else who came first stays.
void Register(const Mlox_InputID& iID, const std::shared_ptr<IEndpointIDs>& iIDs) {
  const auto record = FindRecord(iID);
  if (record != Table().end()) {
    if (HasOMSIdentity(*record->mIDs) || !HasOMSIdentity(*iIDs)) return;
    Table().erase(record);
  }
  Table().push_back({iID, iIDs});
}

}  // namespace

std::int32_t GetDirectMusicServiceIndex() { return sServiceIndex.load(); }

void SetDirectMusicServiceIndex(std::int32_t iServiceIndex) { sServiceIndex.store(iServiceIndex); }

Mlox_InputID GetMloxIDFromIDs(std::shared_ptr<IEndpointIDs> iIDs) {
  const std::shared_ptr<IEndpointIDs> ids = std::move(iIDs);
  if (ids == nullptr) return {-1, -1};
  const DirectMusicSubsystemLock lock;
  const Mlox_InputID id(sServiceIndex.load(), NumberOf(ids));
  Register(id, ids);
  return id;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature of its sibling above
Mlox_InputID GetInvalidMloxID(std::shared_ptr<IEndpointIDs> /*iIDs*/) { return {-1, -1}; }

std::string BuildIDString(std::shared_ptr<IEndpointIDs> iIDs) {
  const std::shared_ptr<IEndpointIDs> ids = std::move(iIDs);
  std::string text;
  if (ids == nullptr) return text;
  if (StudioProperty_ReadString(*ids, getter_wrapper::Get_PROPID_DeviceUniqueID(), &text) != S_OK) return {};
  LONG number = 0;
  if (StudioProperty_ReadInt(*ids, getter_wrapper::Get_PROPID_EntityUniqueID(), &number) != S_OK) return text;
  text += "+++" + std::to_string(number);
  if (StudioProperty_ReadInt(*ids, getter_wrapper::Get_PROPID_EndpointUniqueID(), &number) == S_OK) {
    text += "+++" + std::to_string(number);
  }
  return text;
}

Mlox_InputID GetMloxIDFromPortCaps(const DMUS_PORTCAPS& iCaps) {
  const std::string text = CComBSTRLite(iCaps.guidPort).AsString() + "+++1+++0";
  return {sServiceIndex.load(), HashOf(text)};
}

bool FindRegisteredIDs(const Mlox_InputID& iID, std::shared_ptr<IEndpointIDs>* oIDsP) {
  if (oIDsP == nullptr) return false;
  const DirectMusicSubsystemLock lock;
  const auto record = FindRecord(iID);
  if (record == Table().end()) return false;
  *oIDsP = record->mIDs;
  return true;
}

void ClearRegisteredIDs() {
  std::vector<RegisteredIDs> old;
  const DirectMusicSubsystemLock lock;
  Table().swap(old);
}

std::vector<RegisteredIDs> GetRegisteredIDs() {
  const DirectMusicSubsystemLock lock;
  return Table();
}
