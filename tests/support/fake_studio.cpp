// SPDX-License-Identifier: MIT
#include "tests/support/fake_studio.h"

#include <algorithm>

#include "cmn/i18n_stutf16buffer.h"
#include "cmn/i18n_stutf8buffer.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"

namespace {

std::shared_ptr<Test_FakeStudio> sOwned;

std::string Narrow(const OLECHAR* iTextP) { return I18N_StUTF8Buffer(iTextP).get(); }

BSTR NewText(const std::string& iText) { return SysAllocString(I18N_StUTF16Buffer(iText.c_str()).get()); }

// The name of a property in the record: its short name, else its GUID.
std::string NameOf(const OLECHAR* iKey) {
  const std::string text = Narrow(iKey);
  for (int row = 0; row < getter_wrapper::kCommonDMSPropertyCount; ++row) {
    if (Test_KeyText(*getter_wrapper::KeyOfRow(row)) == text) {
      return getter_wrapper::Get_gCommonDMSPropertyNames()[row];
    }
  }
  if (text == Test_KeyText(getter_wrapper::Get_PROPID_MLOXID())) return "mloxID";
  return text;
}

bool EnterProperty(Test_FakeCalls& ioCalls, const std::string& iOperation, const OLECHAR* iKey,
                   HRESULT* oResult) {
  return ioCalls.Enter(iOperation, iOperation + " " + NameOf(iKey), oResult);
}

void GiveName(const OLECHAR* iKey, BSTR* oName, DWORD* oWord) {
  if (oName != nullptr) *oName = NewText(NameOf(iKey));
  if (oWord != nullptr) *oWord = 0xDEADBEEF;
}

template <class Map, class Value>
HRESULT Look(const Map& iMap, const OLECHAR* iKey, Value* oValue) {
  const auto at = iMap.find(Narrow(iKey));
  if (at == iMap.end()) return S_FALSE;
  *oValue = at->second;
  return S_OK;
}

}  // namespace

std::string Test_KeyText(const _GUID& iKey) {
  OLECHAR text[40] = {};
  StringFromGUID2(iKey, text, 40);
  return Narrow(text);
}

// ---- identifiers ----

class Test_FakeIDs : public IEndpointIDs {
 public:
  Test_FakeIDs(std::shared_ptr<Test_FakeStudio> iStudio, Test_StudioNode& ioNode)
      : mStudio(std::move(iStudio)), mNode(ioNode) {}

  HRESULT GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, LONG* oValue) override {
    HRESULT result = S_OK;
    if (EnterProperty(mStudio->mCalls, "GetIntProperty", iKey, &result)) return result;
    const std::lock_guard lock(mStudio->mMutex);
    if (!FindInt(Narrow(iKey), oValue)) return S_FALSE;
    GiveName(iKey, oName, oWord);
    return S_OK;
  }
  HRESULT SetIntProperty(const OLECHAR* iKey, const OLECHAR* iName, LONG iPersistent, LONG iValue) override {
    HRESULT result = S_OK;
    const std::string line =
        "SetIntProperty " + Narrow(iName) + " " + std::to_string(iPersistent) + " " + std::to_string(iValue);
    if (mStudio->mCalls.Enter("SetIntProperty", line, &result)) return result;
    const std::lock_guard lock(mStudio->mMutex);
    mNode.mIDInts[Narrow(iKey)] = iValue;
    mNode.mNames[Narrow(iKey)] = Narrow(iName);
    return S_OK;
  }
  HRESULT GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, BSTR* oValue) override {
    HRESULT result = S_OK;
    if (EnterProperty(mStudio->mCalls, "GetStringProperty", iKey, &result)) return result;
    const std::lock_guard lock(mStudio->mMutex);
    for (const Test_StudioNode* nodeP = &mNode; nodeP != nullptr; nodeP = nodeP->mParentP) {
      std::string value;
      if (Look(nodeP->mStrings, iKey, &value) != S_OK) continue;
      GiveName(iKey, oName, oWord);
      *oValue = NewText(value);
      return S_OK;
    }
    return S_FALSE;
  }
  HRESULT CompareIDs(std::shared_ptr<IEndpointIDs> iOther) override {
    HRESULT result = S_OK;
    if (mStudio->mCalls.Enter("CompareIDs", "CompareIDs", &result)) return result;
    const auto* const otherP = dynamic_cast<const Test_FakeIDs*>(iOther.get());
    return otherP != nullptr && &otherP->mNode == &mNode ? S_OK : S_FALSE;
  }

  Test_StudioNode& Node() const { return mNode; }

 private:
  // Unique ids are those of the node and of what it lies in; everything else is the identifier's own.
  bool FindInt(const std::string& iKey, LONG* oValue) const {
    if (const auto own = mNode.mIDInts.find(iKey); own != mNode.mIDInts.end()) {
      *oValue = own->second;
      return true;
    }
    for (const Test_StudioNode* nodeP = &mNode; nodeP != nullptr; nodeP = nodeP->mParentP) {
      const auto at = nodeP->mInts.find(iKey);
      if (at == nodeP->mInts.end()) continue;
      *oValue = at->second;
      return true;
    }
    return false;
  }

  std::shared_ptr<Test_FakeStudio> mStudio;
  Test_StudioNode& mNode;
};

// ---- properties of devices and entities ----

template <class Interface>
class Test_FakeNodeObject : public Interface {
 public:
  Test_FakeNodeObject(std::shared_ptr<Test_FakeStudio> iStudio, Test_StudioNode& ioNode)
      : mStudio(std::move(iStudio)), mNode(ioNode) {}

  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) override {
    HRESULT result = S_OK;
    if (Calls().Enter("GetIDs", "GetIDs " + std::to_string(mNode.mLevel), &result)) return result;
    *oIDs = mStudio->IDsOf(mNode);
    return S_OK;
  }
  HRESULT CompareRaw(std::shared_ptr<Interface> iOther) override {
    HRESULT result = S_OK;
    if (Calls().Enter("CompareRaw", "CompareRaw " + std::to_string(mNode.mLevel), &result)) return result;
    const auto* const otherP = dynamic_cast<const Test_FakeNodeObject*>(iOther.get());
    return otherP != nullptr && &otherP->mNode == &mNode ? S_OK : S_FALSE;
  }
  Test_StudioNode& Node() const { return mNode; }

 protected:
  Test_FakeCalls& Calls() const { return mStudio->mCalls; }
  std::recursive_mutex& Mutex() const { return mStudio->mMutex; }

  std::shared_ptr<Test_FakeStudio> mStudio;
  Test_StudioNode& mNode;
};

namespace {

// What devices and entities have in common beyond the above.
template <class Base>
class WithProperties : public Base {
 public:
  using Base::Base;

  HRESULT GetFlagProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, VARIANT_BOOL* oValue) override {
    return Get("GetFlagProperty", this->mNode.mFlags, iKey, oName, oWord, oValue);
  }
  HRESULT GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, LONG* oValue) override {
    return Get("GetIntProperty", this->mNode.mInts, iKey, oName, oWord, oValue);
  }
  HRESULT GetDoubleProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, double* oValue) override {
    return Get("GetDoubleProperty", this->mNode.mDoubles, iKey, oName, oWord, oValue);
  }
  HRESULT GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, BSTR* oValue) override {
    std::string value;
    const HRESULT result = Get("GetStringProperty", this->mNode.mStrings, iKey, oName, oWord, &value);
    if (result == S_OK) *oValue = NewText(value);
    return result;
  }
  HRESULT SetStringProperty(const OLECHAR* iKey, const OLECHAR* iName, const OLECHAR* iValue,
                            LONG iWord) override {
    HRESULT result = S_OK;
    const std::string line =
        "SetStringProperty " + Narrow(iName) + " " + Narrow(iValue) + " " + std::to_string(iWord);
    if (this->Calls().Enter("SetStringProperty", line, &result)) return result;
    const std::lock_guard lock(this->Mutex());
    this->mNode.mStrings[Narrow(iKey)] = Narrow(iValue);
    this->mNode.mNames[Narrow(iKey)] = Narrow(iName);
    return S_OK;
  }
  HRESULT GetArrayCount(const OLECHAR* iKey, int* oCount) override {
    HRESULT result = S_OK;
    if (EnterProperty(this->Calls(), "GetArrayCount", iKey, &result)) return result;
    const std::lock_guard lock(this->Mutex());
    std::vector<std::string> array;
    if (Look(this->mNode.mArrays, iKey, &array) != S_OK) return S_FALSE;
    *oCount = static_cast<int>(array.size());
    return S_OK;
  }
  HRESULT GetArrayItem(const OLECHAR* iKey, int iIndex, BSTR* oValue) override {
    HRESULT result = S_OK;
    const std::string line = "GetArrayItem " + NameOf(iKey) + " " + std::to_string(iIndex);
    if (this->Calls().Enter("GetArrayItem", line, &result)) return result;
    const std::lock_guard lock(this->Mutex());
    std::vector<std::string> array;
    if (Look(this->mNode.mArrays, iKey, &array) != S_OK) return S_FALSE;
    if (iIndex < 0 || iIndex >= static_cast<int>(array.size())) return E_INVALIDARG;
    *oValue = NewText(array[static_cast<std::size_t>(iIndex)]);
    return S_OK;
  }
  HRESULT AppendArrayItem(const OLECHAR* iKey, const OLECHAR* iName, LONG iWord,
                          const OLECHAR* iValue) override {
    HRESULT result = S_OK;
    const std::string line =
        "AppendArrayItem " + Narrow(iName) + " " + std::to_string(iWord) + " " + Narrow(iValue);
    if (this->Calls().Enter("AppendArrayItem", line, &result)) return result;
    const std::lock_guard lock(this->Mutex());
    this->mNode.mArrays[Narrow(iKey)].push_back(Narrow(iValue));
    this->mNode.mNames[Narrow(iKey)] = Narrow(iName);
    return S_OK;
  }
  HRESULT SetArrayItem(const OLECHAR* iKey, int iIndex, const OLECHAR* iValue) override {
    HRESULT result = S_OK;
    const std::string line =
        "SetArrayItem " + NameOf(iKey) + " " + std::to_string(iIndex) + " " + Narrow(iValue);
    if (this->Calls().Enter("SetArrayItem", line, &result)) return result;
    const std::lock_guard lock(this->Mutex());
    std::vector<std::string>& array = this->mNode.mArrays[Narrow(iKey)];
    if (iIndex < 0 || iIndex >= static_cast<int>(array.size())) return E_INVALIDARG;
    array[static_cast<std::size_t>(iIndex)] = Narrow(iValue);
    return S_OK;
  }

 private:
  template <class Map, class Value>
  HRESULT Get(const char* iOperationP, const Map& iMap, const OLECHAR* iKey, BSTR* oName, DWORD* oWord,
              Value* oValue) {
    HRESULT result = S_OK;
    if (EnterProperty(this->Calls(), iOperationP, iKey, &result)) return result;
    const std::lock_guard lock(this->Mutex());
    result = Look(iMap, iKey, oValue);
    if (result == S_OK) GiveName(iKey, oName, oWord);
    return result;
  }
};

class FakeBank : public IStudioPatchBank {
 public:
  explicit FakeBank(Test_StudioNode::Bank iBank) : mBank(std::move(iBank)) {}
  HRESULT GetName(BSTR* oName) override { return Give(mBank.mName, oName); }
  HRESULT GetFile(BSTR* oPath) override { return Give(mBank.mFile, oPath); }
  HRESULT GetPatchNameList(BSTR* oName) override { return Give(mBank.mPatchNameList, oName); }

 private:
  static HRESULT Give(const std::string& iText, BSTR* oText) {
    *oText = NewText(iText);
    return S_OK;
  }
  Test_StudioNode::Bank mBank;
};

class FakeList : public IDirectMusicNotificationList {
 public:
  FakeList(Test_FakeCalls& ioCalls, std::vector<std::pair<std::shared_ptr<IEndpointIDs>, int>> iItems)
      : mCalls(ioCalls), mItems(std::move(iItems)) {}
  HRESULT GetCount(int* oCount) override {
    HRESULT result = S_OK;
    if (mCalls.Enter("GetCount", "GetCount", &result)) return result;
    *oCount = static_cast<int>(mItems.size());
    return S_OK;
  }
  HRESULT GetItem(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs, int* oKind) override {
    HRESULT result = S_OK;
    if (mCalls.Enter("GetItem", "GetItem " + std::to_string(iIndex), &result)) return result;
    if (iIndex < 0 || iIndex >= static_cast<int>(mItems.size())) return E_INVALIDARG;
    *oIDs = mItems[static_cast<std::size_t>(iIndex)].first;
    *oKind = mItems[static_cast<std::size_t>(iIndex)].second;
    return S_OK;
  }

 private:
  Test_FakeCalls& mCalls;
  std::vector<std::pair<std::shared_ptr<IEndpointIDs>, int>> mItems;
};

}  // namespace

class Test_FakeStudioDevice : public WithProperties<Test_FakeNodeObject<IDeviceProperties>> {
 public:
  using WithProperties::WithProperties;
  HRESULT GetPatchBankCount(int* oCount) override {
    HRESULT result = S_OK;
    if (Calls().Enter("GetPatchBankCount", "GetPatchBankCount", &result)) return result;
    *oCount = static_cast<int>(mNode.mBanks.size());
    return S_OK;
  }
  HRESULT GetPatchBank(int iIndex, std::shared_ptr<IStudioPatchBank>* oBank) override {
    HRESULT result = S_OK;
    if (Calls().Enter("GetPatchBank", "GetPatchBank " + std::to_string(iIndex), &result)) return result;
    if (iIndex < 0 || iIndex >= static_cast<int>(mNode.mBanks.size())) return E_INVALIDARG;
    *oBank = std::make_shared<FakeBank>(mNode.mBanks[static_cast<std::size_t>(iIndex)]);
    return S_OK;
  }
  HRESULT GetEntityCount(int* oCount) override {
    HRESULT result = S_OK;
    if (Calls().Enter("GetEntityCount", "GetEntityCount", &result)) return result;
    const std::lock_guard lock(Mutex());
    *oCount = static_cast<int>(mNode.mChildren.size());
    return S_OK;
  }
  HRESULT GetEntity(int iIndex, std::shared_ptr<IEntityProperties>* oEntity) override {
    HRESULT result = S_OK;
    if (Calls().Enter("GetEntity", "GetEntity " + std::to_string(iIndex), &result)) return result;
    const std::lock_guard lock(Mutex());
    if (iIndex < 0 || iIndex >= static_cast<int>(mNode.mChildren.size())) return E_INVALIDARG;
    *oEntity = mStudio->EntityOf(*mNode.mChildren[static_cast<std::size_t>(iIndex)]);
    return S_OK;
  }
};

class Test_FakeEntity : public WithProperties<Test_FakeNodeObject<IEntityProperties>> {
 public:
  using WithProperties::WithProperties;
  HRESULT GetEndpointCount(VARIANT_BOOL iIsSource, int* oCount) override {
    HRESULT result = S_OK;
    const std::string line = "GetEndpointCount " + std::to_string(iIsSource);
    if (Calls().Enter("GetEndpointCount", line, &result)) return result;
    const std::lock_guard lock(Mutex());
    *oCount = static_cast<int>(Endpoints(iIsSource).size());
    return S_OK;
  }
  HRESULT GetEndpoint(VARIANT_BOOL iIsSource, int iIndex,
                      std::shared_ptr<IEndpointProperties>* oEndpoint) override {
    HRESULT result = S_OK;
    const std::string line = "GetEndpoint " + std::to_string(iIsSource) + " " + std::to_string(iIndex);
    if (Calls().Enter("GetEndpoint", line, &result)) return result;
    const std::lock_guard lock(Mutex());
    const std::vector<Test_StudioNode*> endpoints = Endpoints(iIsSource);
    if (iIndex < 0 || iIndex >= static_cast<int>(endpoints.size())) return E_INVALIDARG;
    *oEndpoint = mStudio->EndpointOf(*endpoints[static_cast<std::size_t>(iIndex)]);
    return S_OK;
  }

 private:
  std::vector<Test_StudioNode*> Endpoints(VARIANT_BOOL iIsSource) const {
    std::vector<Test_StudioNode*> endpoints;
    for (Test_StudioNode* childP : mNode.mChildren) {
      if (childP->mIsSource == (iIsSource != VARIANT_FALSE)) endpoints.push_back(childP);
    }
    return endpoints;
  }
};

class Test_FakeEndpoint : public Test_FakeNodeObject<IEndpointProperties> {
 public:
  using Test_FakeNodeObject::Test_FakeNodeObject;
  HRESULT GetNumConnections(int* oCount) override {
    HRESULT result = S_OK;
    if (Calls().Enter("GetNumConnections", "GetNumConnections", &result)) return result;
    const std::lock_guard lock(Mutex());
    *oCount = static_cast<int>(mNode.mConnections.size());
    return S_OK;
  }
  HRESULT GetConnection(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs) override {
    HRESULT result = S_OK;
    if (Calls().Enter("GetConnection", "GetConnection " + std::to_string(iIndex), &result)) return result;
    const std::lock_guard lock(Mutex());
    if (iIndex < 0 || iIndex >= static_cast<int>(mNode.mConnections.size())) return E_INVALIDARG;
    *oIDs = mStudio->IDsOf(*mNode.mConnections[static_cast<std::size_t>(iIndex)]);
    return S_OK;
  }
};

// ---- installing ----

std::shared_ptr<Test_FakeStudio> Test_FakeStudio::Install() {
  sOwned = std::make_shared<Test_FakeStudio>();
  IDirectMusicStudio::SetFactory([](IDirectMusic8* iRootP) -> std::shared_ptr<IDirectMusicStudio> {
    if (sOwned != nullptr) sOwned->mRootP = iRootP;
    return sOwned;
  });
  return sOwned;
}

void Test_FakeStudio::InstallNone() {
  sOwned = nullptr;
  IDirectMusicStudio::SetFactory(
      [](IDirectMusic8*) -> std::shared_ptr<IDirectMusicStudio> { return nullptr; });
}

void Test_FakeStudio::Uninstall() {
  sOwned = nullptr;
  IDirectMusicStudio::SetFactory(nullptr);
}

Test_FakeStudio::~Test_FakeStudio() = default;

// ---- building ----

Test_StudioNode& Test_FakeStudio::NewNode(int iLevel, Test_StudioNode* iParentP) {
  mNodes.push_back(std::make_unique<Test_StudioNode>());
  Test_StudioNode& node = *mNodes.back();
  node.mLevel = iLevel;
  node.mParentP = iParentP;
  if (iParentP != nullptr) iParentP->mChildren.push_back(&node);
  node.mIDInts[Test_KeyText(getter_wrapper::Get_PROPID_EndpointCollectionLevel())] = iLevel;
  return node;
}

Test_StudioNode& Test_FakeStudio::AddDevice(const std::string& iUniqueID, bool iOnline) {
  const std::lock_guard lock(mMutex);
  Test_StudioNode& node = NewNode(2, nullptr);
  node.mStrings[Test_KeyText(getter_wrapper::Get_PROPID_DeviceUniqueID())] = iUniqueID;
  node.mFlags[Test_KeyText(getter_wrapper::Get_PROPID_DeviceExternal())] = VARIANT_FALSE;
  node.mFlags[Test_KeyText(getter_wrapper::Get_PROPID_DeviceVirtual())] = VARIANT_FALSE;
  node.mFlags[Test_KeyText(getter_wrapper::Get_PROPID_DeviceOffline())] = VARIANT_FALSE;
  Group(iOnline).push_back(&node);
  return node;
}

Test_StudioNode& Test_FakeStudio::AddEntity(Test_StudioNode& ioDevice, const std::string& iName,
                                            LONG iUniqueID) {
  const std::lock_guard lock(mMutex);
  const LONG uniqueID = iUniqueID >= 0 ? iUniqueID : static_cast<LONG>(ioDevice.mChildren.size()) + 1;
  Test_StudioNode& node = NewNode(1, &ioDevice);
  node.mStrings[Test_KeyText(getter_wrapper::Get_PROPID_EntityName())] = iName;
  node.mInts[Test_KeyText(getter_wrapper::Get_PROPID_EntityUniqueID())] = uniqueID;
  return node;
}

Test_StudioNode& Test_FakeStudio::AddEndpoint(Test_StudioNode& ioEntity, bool iIsSource, LONG iUniqueID) {
  const std::lock_guard lock(mMutex);
  Test_StudioNode& node = NewNode(0, &ioEntity);
  node.mIsSource = iIsSource;
  node.mInts[Test_KeyText(getter_wrapper::Get_PROPID_EndpointUniqueID())] =
      iUniqueID >= 0 ? iUniqueID : (iIsSource ? 0 : 1);
  node.mIDInts[Test_KeyText(getter_wrapper::Get_PROPID_EndpointIsSource())] = iIsSource ? 1 : 0;
  return node;
}

Test_StudioNode& Test_FakeStudio::AddPort(const std::string& iUniqueID, const std::string& iName,
                                          bool iIsSource, bool iIsUserDefined) {
  Test_StudioNode& device = AddDevice(iUniqueID);
  if (iIsUserDefined) {
    device.mFlags[Test_KeyText(getter_wrapper::Get_PROPID_DeviceExternal())] = VARIANT_TRUE;
  }
  return AddEndpoint(AddEntity(device, iName), iIsSource);
}

void Test_FakeStudio::RemoveDevice(Test_StudioNode& ioDevice) {
  const std::lock_guard lock(mMutex);
  std::erase(mOnline, &ioDevice);
  std::erase(mOffline, &ioDevice);
  ioDevice.mIsThere = false;
}

void Test_FakeStudio::ReturnDevice(Test_StudioNode& ioDevice, bool iOnline) {
  const std::lock_guard lock(mMutex);
  ioDevice.mIsThere = true;
  Group(iOnline).push_back(&ioDevice);
}

void Test_FakeStudio::Wire(Test_StudioNode& ioLeft, Test_StudioNode& ioRight) {
  ioLeft.mConnections.push_back(&ioRight);
  ioRight.mConnections.push_back(&ioLeft);
}

void Test_FakeStudio::Unwire(Test_StudioNode& ioLeft, Test_StudioNode& ioRight) {
  std::erase(ioLeft.mConnections, &ioRight);
  std::erase(ioRight.mConnections, &ioLeft);
}

// ---- objects ----

template <class Object, class Interface>
std::shared_ptr<Interface> Test_FakeStudio::ObjectOf(
    Test_StudioNode& ioNode, std::map<Test_StudioNode*, std::shared_ptr<Interface>>& ioKept) {
  const std::lock_guard lock(mMutex);
  if (const auto kept = ioKept.find(&ioNode); kept != ioKept.end() && mKeepsObjects) return kept->second;
  // Objects of the interfaces outlive the studio's user, so they hold the studio; kept ones must not, since
  // the studio holds them.
  const std::shared_ptr<Test_FakeStudio> studio =
      mKeepsObjects ? std::shared_ptr<Test_FakeStudio>(std::shared_ptr<void>(), this) : shared_from_this();
  auto object = std::make_shared<Object>(studio, ioNode);
  if (mKeepsObjects) ioKept[&ioNode] = object;
  return object;
}

std::shared_ptr<IEndpointIDs> Test_FakeStudio::IDsOf(Test_StudioNode& ioNode) {
  return ObjectOf<Test_FakeIDs>(ioNode, mKeptIDs);
}
std::shared_ptr<IDeviceProperties> Test_FakeStudio::DeviceOf(Test_StudioNode& ioNode) {
  return ObjectOf<Test_FakeStudioDevice>(ioNode, mKeptDevices);
}
std::shared_ptr<IEntityProperties> Test_FakeStudio::EntityOf(Test_StudioNode& ioNode) {
  return ObjectOf<Test_FakeEntity>(ioNode, mKeptEntities);
}
std::shared_ptr<IEndpointProperties> Test_FakeStudio::EndpointOf(Test_StudioNode& ioNode) {
  return ObjectOf<Test_FakeEndpoint>(ioNode, mKeptEndpoints);
}

// ---- notifications ----

int Test_FakeStudio::SubscriberCount() const {
  const std::lock_guard lock(mMutex);
  return static_cast<int>(mSubscribers.size());
}

void Test_FakeStudio::Notify(const std::vector<std::pair<Test_StudioNode*, int>>& iItems) {
  std::vector<std::pair<std::shared_ptr<IEndpointIDs>, int>> items;
  for (const auto& [nodeP, kind] : iItems) {
    items.emplace_back(nodeP != nullptr ? IDsOf(*nodeP) : nullptr, kind);
  }
  std::vector<std::shared_ptr<IDirectMusicNotificationCallback>> subscribers;
  {
    const std::lock_guard lock(mMutex);
    subscribers = mSubscribers;
  }
  for (const auto& subscriber : subscribers) subscriber->Notify(std::make_shared<FakeList>(mCalls, items));
}

// ---- IDirectMusicStudio ----

HRESULT Test_FakeStudio::RegisterNotification(std::shared_ptr<IDirectMusicNotificationCallback> iCallback) {
  HRESULT result = S_OK;
  if (mCalls.Enter("RegisterNotification", "RegisterNotification", &result)) return result;
  const std::lock_guard lock(mMutex);
  mSubscribers.push_back(std::move(iCallback));
  return S_OK;
}

HRESULT Test_FakeStudio::UnregisterNotification(const OLECHAR* iID) {
  HRESULT result = S_OK;
  const std::string wanted = Narrow(iID);
  if (mCalls.Enter("UnregisterNotification", "UnregisterNotification " + wanted, &result)) return result;
  const std::lock_guard lock(mMutex);
  const auto erased = std::erase_if(mSubscribers, [&](const auto& iSubscriber) {
    BSTR id = nullptr;
    if (iSubscriber->GetID(&id) != S_OK) return false;
    const bool isIt = Narrow(id) == wanted;
    SysFreeString(id);
    return isIt;
  });
  return erased > 0 ? S_OK : S_FALSE;
}

HRESULT Test_FakeStudio::GetDeviceCount(VARIANT_BOOL iOnline, int* oCount) {
  HRESULT result = S_OK;
  if (mCalls.Enter("GetDeviceCount", "GetDeviceCount " + std::to_string(iOnline), &result)) return result;
  const std::lock_guard lock(mMutex);
  *oCount = static_cast<int>(Group(iOnline != VARIANT_FALSE).size());
  return S_OK;
}

HRESULT Test_FakeStudio::GetDevice(VARIANT_BOOL iOnline, int iIndex,
                                   std::shared_ptr<IDeviceProperties>* oDevice) {
  HRESULT result = S_OK;
  const std::string line = "GetDevice " + std::to_string(iOnline) + " " + std::to_string(iIndex);
  if (mCalls.Enter("GetDevice", line, &result)) return result;
  const std::lock_guard lock(mMutex);
  const Devices& group = Group(iOnline != VARIANT_FALSE);
  if (iIndex < 0 || iIndex >= static_cast<int>(group.size())) return E_INVALIDARG;
  *oDevice = DeviceOf(*group[static_cast<std::size_t>(iIndex)]);
  return S_OK;
}

HRESULT Test_FakeStudio::FindRawProperties(std::shared_ptr<IEndpointIDs> iIDs,
                                           std::shared_ptr<IDeviceProperties>* oDevice,
                                           std::shared_ptr<IEntityProperties>* oEntity,
                                           std::shared_ptr<IEndpointProperties>* oEndpoint) {
  HRESULT result = S_OK;
  if (mCalls.Enter("FindRawProperties", "FindRawProperties", &result)) return result;
  const auto* const idsP = dynamic_cast<const Test_FakeIDs*>(iIDs.get());
  if (idsP == nullptr) return E_INVALIDARG;
  const std::lock_guard lock(mMutex);
  *oDevice = nullptr;
  *oEntity = nullptr;
  *oEndpoint = nullptr;
  Test_StudioNode* deviceP = &idsP->Node();
  while (deviceP->mParentP != nullptr) deviceP = deviceP->mParentP;
  if (!deviceP->mIsThere) return E_FAIL;
  for (Test_StudioNode* nodeP = &idsP->Node(); nodeP != nullptr; nodeP = nodeP->mParentP) {
    if (nodeP->mLevel == 2) *oDevice = DeviceOf(*nodeP);
    if (nodeP->mLevel == 1) *oEntity = EntityOf(*nodeP);
    if (nodeP->mLevel == 0) *oEndpoint = EndpointOf(*nodeP);
  }
  return S_OK;
}
