// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/endpointidentity.h"

#include <atomic>
#include <map>
#include <memory_resource>
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

// The records by identity: a rebuild asks four times for each endpoint, so the search must not grow with
// their number. They lie close together, in the order in which they came, since with thousands of ports it is
// the way to memory that counts. Under the subsystem's lock.
class Registry {
 public:
  struct Record {
    std::shared_ptr<IEndpointIDs> mIDs;
    std::uint64_t mOrder = 0;  // identities were handed out in this order
  };
  // The number is a hash already.
  struct Hash {
    std::size_t operator()(const Mlox_InputID& iID) const noexcept {
      return static_cast<std::size_t>(static_cast<std::uint32_t>(iID.mInputNumber));
    }
  };

  Record& operator[](const Mlox_InputID& iID) { return mRecords[iID]; }
  void Put(Record& oRecord, const std::shared_ptr<IEndpointIDs>& iIDs) {
    oRecord.mIDs = iIDs;
    oRecord.mOrder = mNextOrder++;
  }
  const Record* Find(const Mlox_InputID& iID) const {
    const auto at = mRecords.find(iID);
    return at != mRecords.end() ? &at->second : nullptr;
  }
  void Reserve(std::size_t iMore) { mRecords.reserve(mRecords.size() + iMore); }
  std::vector<RegisteredIDs> InOrder() const;

 private:
  std::uint64_t mNextOrder = 0;
  // Nothing is erased one by one, so memory that only grows is right.
  std::pmr::monotonic_buffer_resource mMemory;
  std::pmr::unordered_map<Mlox_InputID, Record, Hash> mRecords{&mMemory};
};

std::vector<RegisteredIDs> Registry::InOrder() const {
  std::map<std::uint64_t, RegisteredIDs> records;
  for (const auto& [id, record] : mRecords) records[record.mOrder] = {id, record.mIDs};
  std::vector<RegisteredIDs> list;
  list.reserve(records.size());
  for (const auto& entry : records) list.push_back(entry.second);
  return list;
}

// Never destroyed.
std::unique_ptr<Registry>& Table() {
  static std::unique_ptr<Registry>& sRegisteredIDs =
      *new std::unique_ptr<Registry>(std::make_unique<Registry>());
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
  Registry::Record& record = (*Table())[iID];
  // The newcomer is asked first: it is at hand, while the one that is known may not have been touched for
  // long.
  if (record.mIDs != nullptr && (!HasOMSIdentity(*iIDs) || HasOMSIdentity(*record.mIDs))) return;
  Table()->Put(record, iIDs);
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
  const Registry::Record* const record = Table()->Find(iID);
  if (record == nullptr) return false;
  *oIDsP = record->mIDs;
  return true;
}

void ClearRegisteredIDs() {
  auto fresh = std::make_unique<Registry>();
  const DirectMusicSubsystemLock lock;
  std::swap(Table(), fresh);
}

std::vector<RegisteredIDs> GetRegisteredIDs() {
  const DirectMusicSubsystemLock lock;
  return Table()->InOrder();
}

void ReserveRegisteredIDs(std::size_t iMore) {
  const DirectMusicSubsystemLock lock;
  Table()->Reserve(iMore);
}
