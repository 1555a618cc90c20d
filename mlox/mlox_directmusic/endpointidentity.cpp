// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/endpointidentity.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>
#include <utility>

#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/lookup2.h"
#include "mlox/mlox_directmusic/studioproperty.h"

namespace {

constexpr std::uint32_t kHashInitialValue = 0x87654321;

constinit std::atomic<std::int32_t> sServiceIndex{-1};

// The records in the order in which identities were handed out, and the same by identity: a rebuild asks once
// for each endpoint, so the search must not grow with their number. Under the subsystem's lock.
struct Registry {
  // The number is a hash already.
  struct Hash {
    std::size_t operator()(const Mlox_InputID& iID) const {
      return static_cast<std::size_t>(static_cast<std::uint32_t>(iID.mInputNumber));
    }
  };
  std::vector<RegisteredIDs> mRecords;
  std::unordered_map<Mlox_InputID, std::shared_ptr<IEndpointIDs>, Hash> mObjects;
};

// Never destroyed.
Registry& Table() {
  static Registry& sRegisteredIDs = *new Registry;
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

// An object with an identity of the older system takes the place of one without; else who came first stays.
void Register(const Mlox_InputID& iID, const std::shared_ptr<IEndpointIDs>& iIDs) {
  std::shared_ptr<IEndpointIDs>& object = Table().mObjects[iID];
  std::vector<RegisteredIDs>& records = Table().mRecords;
  if (object != nullptr) {
    if (HasOMSIdentity(*object) || !HasOMSIdentity(*iIDs)) return;
    records.erase(std::find_if(records.begin(), records.end(),
                               [&](const RegisteredIDs& iRecord) { return iRecord.mID == iID; }));
  }
  object = iIDs;
  records.push_back({iID, iIDs});
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
  const auto at = Table().mObjects.find(iID);
  if (at == Table().mObjects.end()) return false;
  *oIDsP = at->second;
  return true;
}

void ClearRegisteredIDs() {
  Registry old;
  const DirectMusicSubsystemLock lock;
  std::swap(Table(), old);
}

std::vector<RegisteredIDs> GetRegisteredIDs() {
  const DirectMusicSubsystemLock lock;
  return Table().mRecords;
}
