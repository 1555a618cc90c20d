// SPDX-License-Identifier: MIT
#include "tests/support/model_studio.h"

#include <algorithm>

#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "platform/directmusic/windows_com.h"

namespace {

using Studio = std::shared_ptr<Test_ModelStudio>;

constexpr HRESULT kAbsent = 1;

Studio& Installed() {
  static Studio& sStudio = *new Studio;
  return sStudio;
}

std::shared_ptr<IDirectMusicStudio> MakeInstalled(IDirectMusic8*) { return Installed(); }

// The names under which the faults know the keys.
const std::map<std::string, std::string>& KeyNames() {
  using namespace getter_wrapper;
  static const std::map<std::string, std::string>& sNames = *new std::map<std::string, std::string>{
      {CComBSTRLite(Get_PROPID_EndpointUniqueID()).AsString(), "endpointUniqueID"},
      {CComBSTRLite(Get_PROPID_EndpointIsSource()).AsString(), "source"},
      {CComBSTRLite(Get_PROPID_DeviceManufacturerName()).AsString(), "manufacturer"},
      {CComBSTRLite(Get_PROPID_DeviceModelName()).AsString(), "model"},
      {CComBSTRLite(Get_PROPID_DeviceUniqueID()).AsString(), "deviceUniqueID"},
      {CComBSTRLite(Get_PROPID_DeviceExternal()).AsString(), "external"},
      {CComBSTRLite(Get_PROPID_DeviceVirtual()).AsString(), "virtual"},
      {CComBSTRLite(Get_PROPID_EntityName()).AsString(), "name"},
      {CComBSTRLite(Get_PROPID_EntityUniqueID()).AsString(), "entityUniqueID"},
      {CComBSTRLite(Get_PROPID_EntityReceiveChannels()).AsString(), "receiveChannels"},
      {CComBSTRLite(Get_PROPID_EntityTransmitChannels()).AsString(), "transmitChannels"},
      {CComBSTRLite(Get_PROPID_EntityUserName()).AsString(), "userName"},
      {CComBSTRLite(Get_PROPID_EndpointCollectionLevel()).AsString(), "level"},
      {CComBSTRLite(Get_PROPID_MLOXID()).AsString(), "mloxID"},
  };
  return sNames;
}

std::string NameOf(const OLECHAR* iKeyP) {
  std::string text;
  CComBSTRLite::BSTRToString(iKeyP, &text);
  const auto i = KeyNames().find(text);
  return i != KeyNames().end() ? i->second : text;
}

HRESULT GiveText(const std::string& iText, BSTR* oName, BSTR* oValue) {
  if (oName != nullptr) *oName = SysAllocString(u"name");
  return CComBSTRLite::StringToBSTR(iText, oValue);
}

template <class Value, class Out>
HRESULT Give(const std::optional<Value>& iValue, BSTR* oName, Out* oValue) {
  if (!iValue) return kAbsent;
  if (oName != nullptr) *oName = SysAllocString(u"name");
  *oValue = static_cast<Out>(*iValue);
  return S_OK;
}

// What the objects have in common: whose they are, of which level (0 endpoint, 1 entity, 2 device) and which
// direction.
struct Place {
  Studio mStudio;
  std::string mUniqueID;
  int mLevel = 2;
  bool mIsSource = false;

  bool operator==(const Place& iOther) const {
    return mUniqueID == iOther.mUniqueID && mLevel == iOther.mLevel && mIsSource == iOther.mIsSource;
  }
  HRESULT Fault(const std::string& iOperation) const { return mStudio->FaultOf(iOperation, mUniqueID); }
};

class IDsValue : public IEndpointIDs {
 public:
  explicit IDsValue(Place iPlace) : mPlace(std::move(iPlace)) {}
  HRESULT GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD*, LONG* oValue) override {
    const std::string name = NameOf(iKey);
    if (const HRESULT fault = mPlace.Fault(name); fault != S_OK) return fault;
    return Give(IntValue(name), oName, oValue);
  }
  HRESULT SetIntProperty(const OLECHAR* iKey, const OLECHAR*, LONG, LONG iValue) override {
    if (NameOf(iKey) != "mloxID") return E_FAIL;
    mPlace.mStudio->SetRow(mPlace.mUniqueID, [&](Test_ModelDevice& ioRow) {
      ioRow.mMloxIDs[{mPlace.mLevel, mPlace.mIsSource ? 1 : 0}] = iValue;
    });
    return S_OK;
  }
  HRESULT GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD*, BSTR* oValue) override {
    const std::string name = NameOf(iKey);
    if (const HRESULT fault = mPlace.Fault(name); fault != S_OK) return fault;
    return name == "deviceUniqueID" ? GiveText(mPlace.mUniqueID, oName, oValue) : kAbsent;
  }
  HRESULT CompareIDs(std::shared_ptr<IEndpointIDs> iOther) override {
    const auto* otherP = dynamic_cast<const IDsValue*>(iOther.get());
    return otherP != nullptr && otherP->mPlace == mPlace ? 0 : 1;
  }
  const Place mPlace;

 private:
  std::optional<int> IntValue(const std::string& iName) const {
    if (iName == "level") return mPlace.mLevel;
    if (iName == "entityUniqueID") return mPlace.mLevel <= 1 ? std::optional<int>(1) : std::nullopt;
    if (iName == "endpointUniqueID")
      return mPlace.mLevel == 0 ? std::optional<int>(mPlace.mIsSource ? 0 : 1) : std::nullopt;
    if (iName == "source") return mPlace.mLevel == 0 ? std::optional<int>(mPlace.mIsSource) : std::nullopt;
    if (iName != "mloxID") return std::nullopt;
    const Test_ModelDevice row = mPlace.mStudio->Row(mPlace.mUniqueID);
    const auto i = row.mMloxIDs.find({mPlace.mLevel, mPlace.mIsSource ? 1 : 0});
    return i != row.mMloxIDs.end() ? std::optional<int>(i->second) : std::nullopt;
  }
};

class EndpointValue : public IEndpointProperties {
 public:
  explicit EndpointValue(Place iPlace) : mPlace(std::move(iPlace)) {}
  HRESULT GetNumConnections(int* oCount) override {
    if (const HRESULT fault = mPlace.Fault("GetNumConnections"); fault != S_OK) return fault;
    const std::size_t count = mPlace.mStudio->FarEnds(mPlace.mUniqueID, mPlace.mIsSource).size();
    *oCount = mPlace.mStudio->Row(mPlace.mUniqueID).mClaimedConnections.value_or(static_cast<int>(count));
    return S_OK;
  }
  HRESULT GetConnection(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs) override {
    if (const HRESULT fault = mPlace.Fault("GetConnection"); fault != S_OK) return fault;
    const std::vector<std::string> ends = mPlace.mStudio->FarEnds(mPlace.mUniqueID, mPlace.mIsSource);
    if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= ends.size()) return E_INVALIDARG;
    *oIDs = mPlace.mStudio->IDs(ends[static_cast<std::size_t>(iIndex)], 0, mPlace.mIsSource);
    return S_OK;
  }
  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) override {
    if (const HRESULT fault = mPlace.Fault("GetIDs"); fault != S_OK) return fault;
    *oIDs = mPlace.mStudio->IDs(mPlace.mUniqueID, 0, mPlace.mIsSource);
    return S_OK;
  }
  HRESULT CompareRaw(std::shared_ptr<IEndpointProperties> iOther) override {
    const auto* otherP = dynamic_cast<const EndpointValue*>(iOther.get());
    return otherP != nullptr && otherP->mPlace == mPlace ? 0 : 1;
  }
  const Place mPlace;
};

// Devices and entities.
template <class Interface>
class PropertiesValue : public Interface {
 public:
  explicit PropertiesValue(Place iPlace) : mPlace(std::move(iPlace)) {}
  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) override {
    if (const HRESULT fault = mPlace.Fault("GetIDs"); fault != S_OK) return fault;
    *oIDs = mPlace.mStudio->IDs(mPlace.mUniqueID, mPlace.mLevel);
    return S_OK;
  }
  HRESULT CompareRaw(std::shared_ptr<Interface> iOther) override {
    const auto* otherP = dynamic_cast<const PropertiesValue*>(iOther.get());
    return otherP != nullptr && otherP->mPlace == mPlace ? 0 : 1;
  }
  HRESULT GetFlagProperty(const OLECHAR* iKey, BSTR* oName, DWORD*, VARIANT_BOOL* oValue) override {
    const std::string name = NameOf(iKey);
    if (const HRESULT fault = mPlace.Fault(name); fault != S_OK) return fault;
    const Test_ModelDevice row = Row();
    if (name == "external") return Give(std::optional<int>(row.mIsUserDefined ? -1 : 0), oName, oValue);
    if (name == "virtual") return Give(std::optional<int>(row.mIsVirtual ? -1 : 0), oName, oValue);
    return kAbsent;
  }
  HRESULT GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD*, LONG* oValue) override {
    const std::string name = NameOf(iKey);
    if (const HRESULT fault = mPlace.Fault(name); fault != S_OK) return fault;
    const Test_ModelDevice row = Row();
    if (name == "transmitChannels") return Give(row.mTransmitChannels, oName, oValue);
    if (name == "receiveChannels") return Give(row.mReceiveChannels, oName, oValue);
    return kAbsent;
  }
  HRESULT GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD*, BSTR* oValue) override {
    const std::string name = NameOf(iKey);
    if (const HRESULT fault = mPlace.Fault(name); fault != S_OK) return fault;
    const Test_ModelDevice row = Row();
    if (name == "name") return GiveText(row.mName, oName, oValue);
    if (name == "userName" && row.mUserName) return GiveText(*row.mUserName, oName, oValue);
    if (name == "manufacturer") return GiveText(row.mManufacturer, oName, oValue);
    if (name == "model") return GiveText(row.mModel, oName, oValue);
    return kAbsent;
  }
  HRESULT SetStringProperty(const OLECHAR*, const OLECHAR*, const OLECHAR*, LONG) override { return E_FAIL; }
  HRESULT GetDoubleProperty(const OLECHAR*, BSTR*, DWORD*, double*) override { return kAbsent; }
  HRESULT GetArrayCount(const OLECHAR*, int*) override { return kAbsent; }
  HRESULT GetArrayItem(const OLECHAR*, int, BSTR*) override { return kAbsent; }
  HRESULT AppendArrayItem(const OLECHAR*, const OLECHAR*, LONG, const OLECHAR*) override { return E_FAIL; }
  HRESULT SetArrayItem(const OLECHAR*, int, const OLECHAR*) override { return E_FAIL; }
  const Place mPlace;

 protected:
  Test_ModelDevice Row() const { return mPlace.mStudio->Row(mPlace.mUniqueID); }
};

class EntityValue : public PropertiesValue<IEntityProperties> {
 public:
  using PropertiesValue::PropertiesValue;
  HRESULT GetEndpointCount(VARIANT_BOOL iIsSource, int* oCount) override {
    if (const HRESULT fault = mPlace.Fault("GetEndpointCount"); fault != S_OK) return fault;
    const Test_ModelDevice row = Row();
    *oCount = (iIsSource != VARIANT_FALSE ? row.mHasSource : row.mHasDestination) ? 1 : 0;
    return S_OK;
  }
  HRESULT GetEndpoint(VARIANT_BOOL iIsSource, int, std::shared_ptr<IEndpointProperties>* oEndpoint) override {
    if (const HRESULT fault = mPlace.Fault("GetEndpoint"); fault != S_OK) return fault;
    *oEndpoint = mPlace.mStudio->Endpoint(mPlace.mUniqueID, iIsSource != VARIANT_FALSE);
    return S_OK;
  }
};

class DeviceValue : public PropertiesValue<IDeviceProperties> {
 public:
  using PropertiesValue::PropertiesValue;
  HRESULT GetPatchBankCount(int* oCount) override {
    *oCount = 0;
    return S_OK;
  }
  HRESULT GetPatchBank(int, std::shared_ptr<IStudioPatchBank>*) override { return E_INVALIDARG; }
  HRESULT GetEntityCount(int* oCount) override {
    if (const HRESULT fault = mPlace.Fault("GetEntityCount"); fault != S_OK) return fault;
    *oCount = 1;
    return S_OK;
  }
  HRESULT GetEntity(int, std::shared_ptr<IEntityProperties>* oEntity) override {
    if (const HRESULT fault = mPlace.Fault("GetEntity"); fault != S_OK) return fault;
    *oEntity = mPlace.mStudio->Entity(mPlace.mUniqueID);
    return S_OK;
  }
};

class ListValue : public IDirectMusicNotificationList {
 public:
  explicit ListValue(Test_ModelStudio::Items iItems) : mItems(std::move(iItems)) {}
  HRESULT GetCount(int* oCount) override {
    *oCount = static_cast<int>(mItems.size());
    return S_OK;
  }
  HRESULT GetItem(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs, int* oKind) override {
    const auto& [ids, kind] = mItems.at(static_cast<std::size_t>(iIndex));
    *oIDs = ids;
    *oKind = kind;
    return S_OK;
  }

 private:
  const Test_ModelStudio::Items mItems;
};

}  // namespace

void Test_ModelStudio::Install(std::shared_ptr<Test_ModelStudio> iStudio) {
  Installed() = std::move(iStudio);
  IDirectMusicStudio::SetFactory(MakeInstalled);
}

// ---- changes ----

void Test_ModelStudio::PlugIn(const Test_ModelDevice& iDevice) {
  {
    const std::lock_guard lock(mMutex);
    if (mRows.emplace(iDevice.mUniqueID, iDevice).second) mOrder.push_back(iDevice.mUniqueID);
    mRows[iDevice.mUniqueID].mIsPresent = false;
  }
  Plug(iDevice.mUniqueID);
}

void Test_ModelStudio::Plug(const std::string& iUniqueID) {
  Items items;
  {
    const std::lock_guard lock(mMutex);
    mRows.at(iUniqueID).mIsPresent = true;
    AppendItems(items, iUniqueID, kStudioEndpointAdded);
    for (const std::string& user : UsersOf(iUniqueID)) AppendItems(items, user, kStudioEndpointChanged);
  }
  Tell(items);
}

void Test_ModelStudio::Unplug(const std::string& iUniqueID) {
  Items items;
  {
    const std::lock_guard lock(mMutex);
    mRows.at(iUniqueID).mIsPresent = false;
    for (const std::string& user : UsersOf(iUniqueID)) AppendItems(items, user, kStudioEndpointChanged);
    AppendItems(items, iUniqueID, kStudioEndpointRemoved);
  }
  Tell(items);
}

void Test_ModelStudio::AddUserDefined(Test_ModelDevice iDevice) {
  const std::lock_guard lock(mMutex);
  iDevice.mIsUserDefined = true;
  iDevice.mIsPresent = true;
  if (mRows.emplace(iDevice.mUniqueID, iDevice).second) mOrder.push_back(iDevice.mUniqueID);
  mRows[iDevice.mUniqueID].mIsPresent = true;
}

void Test_ModelStudio::RemoveUserDefined(const std::string& iUniqueID) {
  Items items;
  {
    const std::lock_guard lock(mMutex);
    std::vector<std::string> ports;
    for (const auto& [user, port] : mWires) {
      if (user == iUniqueID) ports.push_back(port);
    }
    std::erase_if(mWires, [&](const auto& iWire) { return iWire.first == iUniqueID; });
    mRows.at(iUniqueID).mIsPresent = false;
    AppendItems(items, iUniqueID, kStudioEndpointRemoved);
    for (const std::string& port : ports) AppendItems(items, port, kStudioEndpointChanged);
  }
  Tell(items);
}

void Test_ModelStudio::Wire(const std::string& iUserDefined, const std::string& iPort) {
  Items items;
  {
    const std::lock_guard lock(mMutex);
    mWires.emplace_back(iUserDefined, iPort);
    AppendItems(items, iPort, kStudioEndpointChanged);
    AppendItems(items, iUserDefined, kStudioEndpointChanged);
  }
  Tell(items);
}

void Test_ModelStudio::Unwire(const std::string& iUserDefined, const std::string& iPort) {
  Items items;
  {
    const std::lock_guard lock(mMutex);
    std::erase(mWires, std::make_pair(iUserDefined, iPort));
    AppendItems(items, iUserDefined, kStudioEndpointChanged);
    AppendItems(items, iPort, kStudioEndpointChanged);
  }
  Tell(items);
}

void Test_ModelStudio::Rename(const std::string& iUniqueID, const std::string& iName) {
  Items items;
  {
    const std::lock_guard lock(mMutex);
    mRows.at(iUniqueID).mName = iName;
    AppendItems(items, iUniqueID, kStudioEndpointChanged);
  }
  Tell(items);
}

void Test_ModelStudio::Silently(const std::function<void(Test_ModelStudio&)>& iChange) {
  {
    const std::lock_guard lock(mMutex);
    ++mSilence;
  }
  iChange(*this);
  const std::lock_guard lock(mMutex);
  --mSilence;
}

// With no lock of the studio's held but the one that who ends the subscription waits for.
void Test_ModelStudio::Tell(const Items& iItems) {
  const std::lock_guard notifyLock(mNotifyMutex);
  {
    const std::lock_guard lock(mMutex);
    if (mSilence > 0 || mCallback == nullptr || iItems.empty()) return;
  }
  mCallback->Notify(std::make_shared<ListValue>(iItems));
}

void Test_ModelStudio::AppendItems(Items& ioItems, const std::string& iUniqueID, int iKind) {
  const Test_ModelDevice& row = mRows.at(iUniqueID);
  if (row.mHasDestination) ioItems.emplace_back(IDs(iUniqueID, 0, false), iKind);
  if (row.mHasSource) ioItems.emplace_back(IDs(iUniqueID, 0, true), iKind);
}

// ---- what there is ----

std::shared_ptr<IEndpointIDs> Test_ModelStudio::IDs(const std::string& iUniqueID, int iLevel,
                                                    bool iIsSource) {
  return std::make_shared<IDsValue>(Place{shared_from_this(), iUniqueID, iLevel, iIsSource});
}

std::shared_ptr<IDeviceProperties> Test_ModelStudio::Device(const std::string& iUniqueID) {
  return std::make_shared<DeviceValue>(Place{shared_from_this(), iUniqueID, 2, false});
}

std::shared_ptr<IEntityProperties> Test_ModelStudio::Entity(const std::string& iUniqueID) {
  return std::make_shared<EntityValue>(Place{shared_from_this(), iUniqueID, 1, false});
}

std::shared_ptr<IEndpointProperties> Test_ModelStudio::Endpoint(const std::string& iUniqueID,
                                                                bool iIsSource) {
  return std::make_shared<EndpointValue>(Place{shared_from_this(), iUniqueID, 0, iIsSource});
}

std::vector<std::string> Test_ModelStudio::FarEnds(const std::string& iUniqueID, bool iIsSource) const {
  const std::lock_guard lock(mMutex);
  std::vector<std::string> ends;
  for (const auto& [user, port] : mWires) {
    const Test_ModelDevice& portRow = mRows.at(port);
    if (!portRow.mIsPresent || !(iIsSource ? portRow.mHasSource : portRow.mHasDestination)) continue;
    if (user == iUniqueID) ends.push_back(port);
    if (port == iUniqueID) ends.push_back(user);
  }
  return ends;
}

std::vector<std::string> Test_ModelStudio::UsersOf(const std::string& iPort) const {
  std::vector<std::string> users;
  for (const auto& [user, port] : mWires) {
    if (port == iPort) users.push_back(user);
  }
  return users;
}

std::set<std::string> Test_ModelStudio::Visible(bool iIsSource) const {
  const std::lock_guard lock(mMutex);
  std::set<std::string> visible;
  for (const auto& [id, row] : mRows) {
    if (!row.mIsPresent || !(iIsSource ? row.mHasSource : row.mHasDestination)) continue;
    if (row.mIsUserDefined != FarEnds(id, iIsSource).empty()) visible.insert(id);
  }
  return visible;
}

Test_ModelDevice Test_ModelStudio::Row(const std::string& iUniqueID) const {
  const std::lock_guard lock(mMutex);
  return mRows.at(iUniqueID);
}

void Test_ModelStudio::SetRow(const std::string& iUniqueID,
                              const std::function<void(Test_ModelDevice&)>& iChange) {
  const std::lock_guard lock(mMutex);
  iChange(mRows.at(iUniqueID));
}

// ---- faults ----

void Test_ModelStudio::Fail(const std::string& iWhat, HRESULT iResult) {
  const std::lock_guard lock(mMutex);
  mFaults[iWhat] = iResult;
}

HRESULT Test_ModelStudio::FaultOf(const std::string& iOperation, const std::string& iUniqueID) const {
  const std::lock_guard lock(mMutex);
  ++mCalls[iOperation];
  for (const std::string& what : {iOperation, iOperation + " " + iUniqueID}) {
    const auto i = mFaults.find(what);
    if (i != mFaults.end() && i->second != S_OK) return i->second;
  }
  return S_OK;
}

int Test_ModelStudio::Calls(const std::string& iOperation) const {
  const std::lock_guard lock(mMutex);
  const auto i = mCalls.find(iOperation);
  return i != mCalls.end() ? i->second : 0;
}

bool Test_ModelStudio::HasSubscriber() const {
  const std::lock_guard lock(mMutex);
  return mCallback != nullptr;
}

int Test_ModelStudio::Unregistrations() const {
  const std::lock_guard lock(mMutex);
  return mUnregistrations;
}

// ---- IDirectMusicStudio ----

HRESULT Test_ModelStudio::RegisterNotification(std::shared_ptr<IDirectMusicNotificationCallback> iCallback) {
  const std::lock_guard lock(mMutex);
  mCallback = std::move(iCallback);
  return FaultOf("RegisterNotification", "");
}

HRESULT Test_ModelStudio::UnregisterNotification(const OLECHAR* iID) {
  const std::lock_guard notifyLock(mNotifyMutex);
  const std::lock_guard lock(mMutex);
  if (mCallback == nullptr) return E_INVALIDARG;
  CComBSTRLite id;
  mCallback->GetID(id.Reset());
  std::string text;
  CComBSTRLite::BSTRToString(iID, &text);
  if (id.AsString() != text) return E_INVALIDARG;
  ++mUnregistrations;
  mCallback.reset();
  return S_OK;
}

HRESULT Test_ModelStudio::GetDeviceCount(VARIANT_BOOL iOnline, int* oCount) {
  const std::lock_guard lock(mMutex);
  const std::string group = iOnline != VARIANT_FALSE ? "online" : "offline";
  if (const HRESULT fault = FaultOf("GetDeviceCount", group); fault != S_OK) return fault;
  std::vector<std::string>& snapshot = mSnapshots[iOnline != VARIANT_FALSE ? 1 : 0];
  snapshot.clear();
  for (const std::string& id : mOrder) {
    const Test_ModelDevice& row = mRows.at(id);
    if (!row.mIsPresent) continue;
    const bool isOnline = !row.mIsUserDefined || !FarEnds(id, true).empty() || !FarEnds(id, false).empty();
    if (isOnline == (iOnline != VARIANT_FALSE)) snapshot.push_back(id);
  }
  *oCount = static_cast<int>(snapshot.size());
  return S_OK;
}

HRESULT Test_ModelStudio::GetDevice(VARIANT_BOOL iOnline, int iIndex,
                                    std::shared_ptr<IDeviceProperties>* oDevice) {
  const std::lock_guard lock(mMutex);
  const std::vector<std::string>& snapshot = mSnapshots[iOnline != VARIANT_FALSE ? 1 : 0];
  if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= snapshot.size()) return E_INVALIDARG;
  const std::string& id = snapshot[static_cast<std::size_t>(iIndex)];
  if (const HRESULT fault = FaultOf("GetDevice", id); fault != S_OK) return fault;
  *oDevice = Device(id);
  return S_OK;
}

HRESULT Test_ModelStudio::FindRawProperties(std::shared_ptr<IEndpointIDs> iIDs,
                                            std::shared_ptr<IDeviceProperties>* oDevice,
                                            std::shared_ptr<IEntityProperties>* oEntity,
                                            std::shared_ptr<IEndpointProperties>* oEndpoint) {
  const auto* idsP = dynamic_cast<const IDsValue*>(iIDs.get());
  if (idsP == nullptr) return E_INVALIDARG;
  const Place& place = idsP->mPlace;
  const std::lock_guard lock(mMutex);
  if (const HRESULT fault = FaultOf("FindRawProperties", place.mUniqueID); fault != S_OK) return fault;
  if (!mRows.at(place.mUniqueID).mIsPresent) return E_FAIL;
  *oDevice = Device(place.mUniqueID);
  if (place.mLevel <= 1) *oEntity = Entity(place.mUniqueID);
  if (place.mLevel == 0) *oEndpoint = Endpoint(place.mUniqueID, place.mIsSource);
  return S_OK;
}
