// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_service.h"

#include <algorithm>
#include <iterator>
#include <memory_resource>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "cmn/cmn_assert.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicclocksync.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/endpointwires.h"
#include "mlox/mlox_directmusic/getemulatedstring.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/mlox_directmusic_callbacks.h"
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"
#include "mlox/mlox_directmusic/mlox_directmusic_input.h"
#include "mlox/mlox_directmusic/mlox_directmusic_notificationcallback.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "mlox/mlox_directmusic/studioproperty.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_maxinstalledservices.h"
#include "mlox/mlox_outputdescriptor.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmusic/mlox_directmusic_service";

constexpr int kCommonOutputChannel = 65535;

Mlox_DirectMusic_ServiceHandle& Handle() { return Mlox_DirectMusic_ServiceHandle::Singleton(); }

// Devices that a service has let go of. The application and outputs may still point at them, so they are
// never deleted, and this list, under the subsystem's lock, keeps them reachable.
std::vector<Mlox_DirectMusic_Device*>& ReleasedDevices() {
  static std::vector<Mlox_DirectMusic_Device*>& sReleased = *new std::vector<Mlox_DirectMusic_Device*>;
  return sReleased;
}

// The identity of a thing, by whichever way gives one.
Mlox_InputID IDOf(const std::shared_ptr<IEndpointIDs>& iIDs) {
  const Mlox_InputID id = GetMloxIDFromIDs(iIDs);
  return id.mServiceIndex != -1 ? id : GetInvalidMloxID(iIDs);
}

// By identity. The number in it is a hash already.
struct IDHash {
  std::size_t operator()(const Mlox_InputID& iID) const noexcept {
    return static_cast<std::size_t>(static_cast<std::uint32_t>(iID.mInputNumber));
  }
};

// Items by identity, those of one identity in the order in which they were added. It lives for one step of a
// rebuild, so its memory comes in a few large pieces and goes as a whole.
template <class Item>
class ItemsByID {
 public:
  void Reserve(std::size_t iCount) { mItems.reserve(iCount); }
  // An item that was added last of its identity isn't added again.
  void Add(const Mlox_InputID& iID, Item* iItemP) {
    std::pmr::vector<Item*>& items = mItems[iID];
    if (items.empty() || items.back() != iItemP) items.push_back(iItemP);
  }
  std::vector<Item*> Of(const Mlox_InputID& iID) const {
    const auto at = mItems.find(iID);
    return at != mItems.end() ? std::vector<Item*>(at->second.begin(), at->second.end())
                              : std::vector<Item*>();
  }

 private:
  std::pmr::monotonic_buffer_resource mMemory;
  std::pmr::unordered_map<Mlox_InputID, std::pmr::vector<Item*>, IDHash> mItems{&mMemory};
};

// Devices are listed by pointer and inputs by reference; the steps are the same for both.
Mlox_DirectMusic_Device* Plain(Mlox_DirectMusic_Device* iDeviceP) { return iDeviceP; }
Mlox_DirectMusic_Input* Plain(const Cmn_AliasedRefCountPtr<Mlox_DirectMusic_Input>& iInput) {
  return iInput.get();
}
template <class List>
using ItemOf = std::remove_pointer_t<decltype(Plain(std::declval<const typename List::value_type&>()))>;

// The items of a list for which a test holds, in the order of the list.
template <class List, class Test>
std::vector<ItemOf<List>*> Those(const List& iList, Test iTest) {
  std::vector<ItemOf<List>*> those;
  for (const auto& element : iList) {
    if (iTest(*Plain(element))) those.push_back(Plain(element));
  }
  return those;
}

// Takes items out of a list, which keeps its order.
template <class List>
void Erase(List& ioList, const std::vector<ItemOf<List>*>& iItems) {
  const std::set<ItemOf<List>*> gone(iItems.begin(), iItems.end());
  ioList.erase(std::remove_if(ioList.begin(), ioList.end(),
                              [&](const auto& iElement) { return gone.count(Plain(iElement)) != 0; }),
               ioList.end());
}

// Answers whether some item of a set is wired to an endpoint. Asking each item for each endpoint takes the
// product of both; the identities at the ends of all wires, read once, name the few items worth asking.
template <class Item>
class Wires {
 public:
  explicit Wires(const std::vector<Item*>& iItems) {
    for (Item* itemP : iItems) AddWiresOf(itemP);
  }
  bool IsAnyConnectedTo(const Mlox_InputID& iID) const {
    const std::vector<Item*> items = mItemsByFarEnd.Of(iID);
    return std::any_of(items.begin(), items.end(), [&](Item* iItemP) { return iItemP->IsConnectedTo(iID); });
  }

 private:
  void AddWiresOf(Item* iItemP) {
    VisitConnections(iItemP->GetEndpointProperties(), [&](const std::shared_ptr<IEndpointIDs>& iFarEnd) {
      mItemsByFarEnd.Add(IDOf(iFarEnd), iItemP);  // once, though a studio tells of a wire again and again
      return true;
    });
  }
  ItemsByID<Item> mItemsByFarEnd;
};

template <class List>
std::vector<ItemOf<List>*> UnconnectedUserDefined(const List& iList) {
  const Wires wires(Those(iList, [](auto& iItem) { return !iItem.IsUserDefined(); }));
  return Those(iList, [&](auto& iItem) {
    return iItem.IsUserDefined() && !wires.IsAnyConnectedTo(iItem.GetInputID());
  });
}

template <class List>
std::vector<ItemOf<List>*> Shadowed(const List& iList) {
  const Wires wires(Those(iList, [](auto& iItem) { return iItem.IsUserDefined(); }));
  return Those(iList, [&](auto& iItem) {
    return !iItem.IsUserDefined() && wires.IsAnyConnectedTo(iItem.GetInputID());
  });
}

// What a removed item leaves to do, noted before it goes.
struct Cascade {
  bool mIsUserDefined;
  Mlox_InputID mIOMloxID;
};

template <class Item>
std::vector<Cascade> CascadesOf(const std::vector<Item*>& iItems) {
  std::vector<Cascade> cascades;
  cascades.reserve(iItems.size());
  for (Item* itemP : iItems) cascades.push_back({itemP->IsUserDefined(), itemP->GetIOMloxID()});
  return cascades;
}

template <class List>
std::vector<ItemOf<List>*> UserDefinedOver(const List& iList, const Mlox_InputID& iIOMloxID) {
  return Those(iList, [&](auto& iItem) { return iItem.IsUserDefined() && iItem.GetIOMloxID() == iIOMloxID; });
}

// Has an item read its identities while the studio's objects are at hand, and a user-defined one that of the
// endpoint that it is wired to as long as the studio can tell: when the port goes, or the item does, the wire
// is gone too.
template <class Item>
void NoteIDs(Item& ioItem) {
  ioItem.GetInputID();
  if (ioItem.IsUserDefined()) ioItem.GetIOMloxID();
}

// Fetches the objects of a count one by one and visits those that can be had. A studio that fails so often in
// a row has lost its count.
template <class Raw, class Fetch, class Visit>
void ForEachFetched(int iCount, Fetch iFetch, Visit iVisit) {
  constexpr int kMostFailures = 4096;
  int failures = 0;
  for (int i = 0; i < iCount && failures < kMostFailures; ++i) {
    std::shared_ptr<Raw> raw;
    const bool isThere = iFetch(i, &raw) == S_OK && raw != nullptr;
    failures = isThere ? 0 : failures + 1;
    if (isThere) iVisit(raw);
  }
}

// The three steps that all find operations by descriptor share.
bool IsMatch(const Mlox_DeviceDescriptor* iCandidateP, const Mlox_DeviceDescriptor& iWanted, bool iExact,
             const std::string& iOtherName) {
  if (iCandidateP == nullptr) return false;
  if (iCandidateP->Equals(&iWanted)) return true;
  const std::string name = iCandidateP->GetName();
  if (iExact && name != iWanted.GetName() && name != iOtherName) return false;
  return iCandidateP->GetHashValue() == iWanted.GetHashValue();
}

// A service answers only for descriptors of its own kind; others go on to the next service.
bool IsOwnKind(const Mlox_DeviceDescriptor* iDescriptorP) {
  return dynamic_cast<const Mlox_DirectMusic_DeviceDescriptor*>(iDescriptorP) != nullptr;
}

bool PassesFilter(const Mlox_DirectMusic_Input& iInput, Mlox_EInputVirtualSelection iSelection) {
  switch (static_cast<int>(iSelection)) {
    case 0:
      return !iInput.IsVirtual();
    case 1:
      return iInput.IsVirtual();
    case 2:
      return true;
    default:
      return false;
  }
}

template <class List>
ItemOf<List>* FirstOfName(const List& iList, const std::string& iName) {
  for (const auto& element : iList) {
    if (Plain(element)->GetName() == iName) return Plain(element);
  }
  return nullptr;
}

// Endpoints have no properties of their own: their identifiers have. What can't be read is a destination.
bool IsSource(IEndpointProperties& iEndpoint) {
  std::shared_ptr<IEndpointIDs> ids;
  LONG isSource = 0;
  if (iEndpoint.GetIDs(&ids) != S_OK || ids == nullptr) return false;
  StudioProperty_ReadInt(*ids, getter_wrapper::Get_PROPID_EndpointIsSource(), &isSource);
  return isSource != 0;
}

bool IsPort(const Mlox_InputPort* iInputPortP) {
  return CMN_ASSERT_FROM(kAssertSource, iInputPortP != nullptr, "iInputPortP != nullptr");
}

bool IsPortSlot(int iServiceIndex) {
  return iServiceIndex >= 1 && iServiceIndex < Mlox_cMaxInstalledServices;
}

}  // namespace

// The identities that a rebuild has met, so that each endpoint finds the objects of its identity at once. The
// objects of one identity stand in the order of their list.
struct Mlox_DirectMusic_Service::RebuildIndex {
  // Room is made for as many more of each as there are devices in the studio.
  RebuildIndex(Mlox_DirectMusic_Service& ioService, std::size_t iMore) : mService(ioService) {
    mDevices.Reserve(ioService.mDevices.size() + iMore);
    mInputs.Reserve(ioService.mInputs.size() + iMore);
    for (Mlox_DirectMusic_Device* deviceP : ioService.mDevices) mDevices.Add(deviceP->GetInputID(), deviceP);
    for (const auto& input : ioService.mInputs) mInputs.Add(input->GetInputID(), input.get());
    ioService.mRebuildIndexP = this;
  }
  ~RebuildIndex() { mService.mRebuildIndexP = nullptr; }
  RebuildIndex(const RebuildIndex&) = delete;
  RebuildIndex& operator=(const RebuildIndex&) = delete;

  Mlox_DirectMusic_Service& mService;
  ItemsByID<Mlox_DirectMusic_Device> mDevices;
  ItemsByID<Mlox_DirectMusic_Input> mInputs;
};

// ---- lifetime ----

void Mlox_DirectMusic_Service::Create(Mdi_AppCallback* iAppCallbackP, Mem2_MasterAllocator* iAllocatorP) {
  if (sService.load() != nullptr) return;
  Handle().Attach(new Mlox_DirectMusic_Service(iAppCallbackP, iAllocatorP));
}

Mlox_DirectMusic_Service::Mlox_DirectMusic_Service(Mdi_AppCallback* iAppCallbackP,
                                                   Mem2_MasterAllocator* iAllocatorP)
    : Mlox_Service(iAppCallbackP), mAllocator(iAllocatorP) {
  CoInitialize(nullptr);  // ignored on purpose; the destructor's CoUninitialize pairs with it
  HRESULT result = S_OK;
  IDirectMusic8* rootP = DirectMusicClient::GetDirectMusicPtr(true);
  if (rootP != nullptr) {
    result = rootP->SetDirectSound(nullptr, nullptr);
    rootP->Release();
  }
  DirectMusicClockSync::Acquire();
  std::shared_ptr<IDirectMusicStudio> studio = MakeStudio();
  if (studio != nullptr) {
    mNotificationCallback = std::make_shared<Mlox_DirectMusic_NotificationCallback>();
    const HRESULT registered = studio->RegisterNotification(mNotificationCallback);
    if (result == S_OK && registered == S_OK) {
      mStudio = studio;
      Handle().SetStudio(studio);
    }
  }
  DirectMusicClient::UpdatePortList();
}

std::shared_ptr<IDirectMusicStudio> Mlox_DirectMusic_Service::MakeStudio() {
  IDirectMusic8* rootP = DirectMusicClient::GetDirectMusicPtr(true);
  std::shared_ptr<IDirectMusicStudio> studio = IDirectMusicStudio::Create(rootP);
  if (rootP != nullptr) rootP->Release();
  return studio;
}

Mlox_DirectMusic_Service::~Mlox_DirectMusic_Service() {
  EndNotifications();
  {
    const DirectMusicSubsystemLock lock;
    RemoveInputs(Those(mInputs, [](auto&) { return true; }));
    RemoveDevices(Those(mDevices, [](auto&) { return true; }));
  }
  ReportDevices();
  // Before the shutdown, on purpose: no port is opened again while subscriptions are withdrawn.
  DirectMusicClient::ReleaseDirectMusicPtr();
  sReceivePortSet.Shutdown();
  Handle().Detach();
  // Once for this reference, and once for the constructor's.
  DirectMusicClockSync* clockP = DirectMusicClockSync::Acquire();
  clockP->Release();
  clockP->Release();
  ClearRegisteredIDs();
  CoUninitialize();
}

// No lock is held here: the studio waits for a notification in progress, which takes the lock.
void Mlox_DirectMusic_Service::EndNotifications() {
  std::shared_ptr<IDirectMusicStudio> studio = GetStudio();
  if (studio != nullptr && mNotificationCallback != nullptr) {
    CComBSTRLite id;
    mNotificationCallback->GetID(id.Reset());
    studio->UnregisterNotification(id);
  }
  mNotificationCallback.reset();
  Handle().SetStudio(nullptr);
  const DirectMusicSubsystemLock lock;
  mStudio.reset();
}

// ---- Mlox_Service: the lists ----

void Mlox_DirectMusic_Service::SetServiceIndex(int iServiceIndex) {
  const DirectMusicSubsystemLock lock;
  // Installed a second time, the service numbers everything anew: what it has listed goes by the old index.
  if (mServiceIndex != -1 && mServiceIndex != iServiceIndex) {
    mNeedsRebuild = true;
    ReportInputs();
  }
  mInputPortServiceIndex = iServiceIndex;
  mServiceIndex = iServiceIndex;
  SetDirectMusicServiceIndex(iServiceIndex);
}

int Mlox_DirectMusic_Service::GetNumberOfOutputDevices() {
  const DirectMusicSubsystemLock lock;
  if (mNeedsRebuild) Rebuild();
  mDevicesChanged = mNeedsRebuild;
  return mNeedsRebuild ? 0 : static_cast<int>(mDevices.size());
}

Mlox_Device* Mlox_DirectMusic_Service::GetOutputDevice(int iIndex) {
  const DirectMusicSubsystemLock lock;
  // A notification may have shortened the list since the count.
  if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= mDevices.size()) return nullptr;
  return mDevices[static_cast<std::size_t>(iIndex)];
}

int Mlox_DirectMusic_Service::GetNumberOfInputs() {
  const DirectMusicSubsystemLock lock;
  if (mNeedsRebuild) Rebuild();
  mInputsChanged = mNeedsRebuild;
  return mNeedsRebuild ? 0 : static_cast<int>(mInputs.size());
}

Mlox_InputRef Mlox_DirectMusic_Service::GetInput(int iIndex) {
  const DirectMusicSubsystemLock lock;
  if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= mInputs.size()) return nullptr;
  return mInputs[static_cast<std::size_t>(iIndex)];
}

void Mlox_DirectMusic_Service::AddInputsToList(Mlox_InputList* ioInputsP,
                                               Mlox_EInputVirtualSelection iVirtualSelection,
                                               Mlox_EInputSyncSelection) {
  if (ioInputsP == nullptr) return;
  const DirectMusicSubsystemLock lock;
  for (const auto& input : mInputs) {
    if (PassesFilter(*input, iVirtualSelection)) ioInputsP->push_back(input);
  }
}

// ---- Mlox_Service: finding again ----

Mlox_Device* Mlox_DirectMusic_Service::FindOutputDeviceExactlyMatchingDescriptor(
    const Mlox_DeviceDescriptor* iDescriptorP) {
  return FindOutputDevice(true, iDescriptorP);
}

Mlox_Device* Mlox_DirectMusic_Service::FindOutputDeviceMatchingDescriptorExceptForName(
    const Mlox_DeviceDescriptor* iDescriptorP) {
  return FindOutputDevice(false, iDescriptorP);
}

Mlox_Output* Mlox_DirectMusic_Service::FindOutputExactlyMatchingDescriptor(
    const Mlox_OutputDescriptor* iDescriptorP) {
  return FindOutput(true, iDescriptorP);
}

Mlox_Output* Mlox_DirectMusic_Service::FindOutputMatchingDescriptorExceptForName(
    const Mlox_OutputDescriptor* iDescriptorP) {
  return FindOutput(false, iDescriptorP);
}

Mlox_InputRef Mlox_DirectMusic_Service::FindInputExactlyMatchingDescriptor(
    std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) {
  return FindInput(true, std::move(iDescriptorP));
}

Mlox_InputRef Mlox_DirectMusic_Service::FindInputMatchingDescriptorExceptForName(
    std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) {
  return FindInput(false, std::move(iDescriptorP));
}

Mlox_Device* Mlox_DirectMusic_Service::FindOutputDevice(bool iExact,
                                                        const Mlox_DeviceDescriptor* iDescriptorP) {
  const DirectMusicSubsystemLock lock;
  if (mNeedsRebuild || !IsOwnKind(iDescriptorP)) return nullptr;
  const std::string emulatedName = iDescriptorP->GetName() + GetEmulatedString();
  for (Mlox_DirectMusic_Device* deviceP : mDevices) {
    if (IsMatch(deviceP->GetDeviceDescriptor().get(), *iDescriptorP, iExact, emulatedName)) return deviceP;
  }
  return nullptr;
}

Mlox_Output* Mlox_DirectMusic_Service::FindOutput(bool iExact, const Mlox_OutputDescriptor* iDescriptorP) {
  const DirectMusicSubsystemLock lock;
  if (mNeedsRebuild || iDescriptorP == nullptr) return nullptr;
  Mlox_Device* deviceP = FindOutputDevice(iExact, iDescriptorP->GetDeviceDescriptor().get());
  if (deviceP == nullptr) return nullptr;
  // Read as a signed byte, so that 0xFF, too, is the common output.
  const int low = iDescriptorP->GetChannel() & 0xFF;
  const auto channel = static_cast<short>(low < 0x80 ? low : low - 0x100);
  if (!deviceP->IsMidiChannelAvailable(channel)) return nullptr;
  const bool isCommon = static_cast<std::uint16_t>(channel) == kCommonOutputChannel;
  return isCommon ? deviceP->GetCommonOutput() : deviceP->GetOutputForChannel(channel);
}

// Only the plain name counts here, by decision: an input whose name carries the mark of an emulated port is
// found again by its name alone.
Mlox_InputRef Mlox_DirectMusic_Service::FindInput(bool iExact,
                                                  std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) {
  const std::shared_ptr<const Mlox_DeviceDescriptor> wanted = std::move(iDescriptorP);
  const DirectMusicSubsystemLock lock;
  if (mNeedsRebuild || !IsOwnKind(wanted.get())) return nullptr;
  const std::string name = wanted->GetName();
  for (const auto& input : mInputs) {
    if (IsMatch(input->GetDeviceDescriptor().get(), *wanted, iExact, name)) return input;
  }
  return nullptr;
}

Mlox_Device* Mlox_DirectMusic_Service::FindOutputDeviceMatchingName(
    const Mlox_DeviceDescriptor* iDescriptorP) {
  const DirectMusicSubsystemLock lock;
  if (mNeedsRebuild || iDescriptorP == nullptr) return nullptr;
  const std::string name = iDescriptorP->GetName();
  if (Mlox_Device* deviceP = FirstOfName(mDevices, name)) return deviceP;
  return FirstOfName(mDevices, name + GetEmulatedString());
}

Mlox_InputRef Mlox_DirectMusic_Service::FindInputMatchingName(
    std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) {
  const DirectMusicSubsystemLock lock;
  if (mNeedsRebuild || iDescriptorP == nullptr) return nullptr;
  const std::string name = iDescriptorP->GetName();
  if (Mlox_DirectMusic_Input* inputP = FirstOfName(mInputs, name)) return inputP;
  return FirstOfName(mInputs, name + GetEmulatedString());
}

// ---- Mlox_Service: ports ----

void Mlox_DirectMusic_Service::CreateOutputContext(Mlox_OutputContext*) {}

void Mlox_DirectMusic_Service::CreateInputPort(Mlox_InputPort* iInputPortP) {
  const DirectMusicSubsystemLock lock;
  if (!IsPort(iInputPortP) || iInputPortP->GetRawMidiReceiver() == nullptr || !HasPortSlot()) return;
  auto stateP = std::make_unique<DirectMusicInputPortState>();
  stateP->mServiceIndex = mServiceIndex;
  stateP->mRawReceiver = iInputPortP->GetRawMidiReceiver();
  iInputPortP->SetServiceEntry(mInputPortServiceIndex, stateP.get());
  mPortStates[iInputPortP] = std::move(stateP);
}

bool Mlox_DirectMusic_Service::HasPortSlot() const {
  return CMN_ASSERT_FROM(kAssertSource, IsPortSlot(mInputPortServiceIndex),
                         "IsPortSlot(mInputPortServiceIndex)");
}

DirectMusicInputPortState* Mlox_DirectMusic_Service::FindPortState(Mlox_InputPort* iInputPortP) const {
  const DirectMusicSubsystemLock lock;
  if (!IsPort(iInputPortP) || !HasPortSlot()) return nullptr;
  const void* entryP = iInputPortP->GetServiceEntry(mInputPortServiceIndex);
  if (entryP == nullptr) return nullptr;  // the port has no receiver
  const auto i = mPortStates.find(iInputPortP);
  // A port without a receiver that another service served under our index still shows that one's record,
  // which is gone.
  const bool isLive = i != mPortStates.end() && i->second.get() == entryP;
  return CMN_ASSERT_FROM(kAssertSource, isLive, "isLive") ? i->second.get() : nullptr;
}

// Connecting may stop the receive thread, so the lock isn't held over it.
void Mlox_DirectMusic_Service::ConnectInputsToInputPort(const Mlox_InputList& iInputs,
                                                        Mlox_InputPort* iInputPortP) {
  DirectMusicInputPortState* stateP = FindPortState(iInputPortP);
  if (stateP == nullptr) return;
  Mlox_InputList inputs;
  for (const Mlox_InputRef& input : iInputs) {
    if (dynamic_cast<const Mlox_DirectMusic_Input*>(input.get()) != nullptr) inputs.push_back(input);
  }
  ConnectInputs(stateP, inputs);
}

void Mlox_DirectMusic_Service::InputPortBlockInput(const Mlox_Input&, bool, Mlox_InputPort*) {}

void Mlox_DirectMusic_Service::InputPortCloseConnections(Mlox_InputPort* iInputPortP) {
  if (DirectMusicInputPortState* stateP = FindPortState(iInputPortP)) ConnectInputs(stateP, {});
}

// ---- Mlox_Service: flags ----

// The flags stand in the handle's block, too, where writers and the receive thread read them while the
// service goes.

void Mlox_DirectMusic_Service::SetZeroJitterDelay(int iDelay) { Handle().SetZeroJitterDelay(iDelay); }

void Mlox_DirectMusic_Service::Suspend() {
  Mlox_Service::Suspend();
  Handle().SuspendedFlag() = true;
}

void Mlox_DirectMusic_Service::Resume() {
  Mlox_Service::Resume();
  Handle().SuspendedFlag() = false;
}

void Mlox_DirectMusic_Service::StopPlayback() { SetStopPlaybackFlag(true); }

std::shared_ptr<IDirectMusicStudio> Mlox_DirectMusic_Service::GetStudio() const {
  const DirectMusicSubsystemLock lock;
  return mStudio;
}

int Mlox_DirectMusic_Service::GetZeroJitterDelay() const { return Handle().GetZeroJitterDelay(); }

void Mlox_DirectMusic_Service::SetStopPlaybackFlag(bool iStop) { Handle().SetStopPlaybackFlag(iStop); }

bool Mlox_DirectMusic_Service::IsStopPlaybackFlagSet() const { return Handle().IsStopPlaybackFlagSet(); }

// ---- the lists as a whole ----

// Marks everything, meets what the studio has, which clears marks, and sweeps what is still marked: so
// objects survive whose endpoints do.
void Mlox_DirectMusic_Service::Rebuild() {
  if (mStudio == nullptr) return;
  for (const auto& input : mInputs) input->SetNeedsVerification();
  for (Mlox_DirectMusic_Device* deviceP : mDevices) deviceP->SetNeedsVerification();
  RawDevices raws;
  if (!ReadGroup(VARIANT_TRUE, raws) || !ReadGroup(VARIANT_FALSE, raws)) return;
  {
    constexpr std::size_t kLevels = 3;  // device, entity and endpoint have an identity each
    ReserveRegisteredIDs(kLevels * raws.size());
    const RebuildIndex index(*this, raws.size());
    for (const auto& raw : raws) AddDevice(raw);
  }
  RemoveInputs(Those(mInputs, [](auto& iInput) { return iInput.IsNeedsVerification(); }));
  RemoveDevices(Those(mDevices, [](auto& iDevice) { return iDevice.IsNeedsVerification(); }));
  RemoveUnconnectedUserDevices();
  RemoveShadowedPorts();
  mNeedsRebuild = false;
}

// Appends the devices of a group; one that can't be had is skipped.
bool Mlox_DirectMusic_Service::ReadGroup(VARIANT_BOOL iIsOnline, RawDevices& ioRaws) const {
  int count = 0;
  if (mStudio->GetDeviceCount(iIsOnline, &count) != S_OK) return false;
  ForEachFetched<IDeviceProperties>(
      count, [&](int iIndex, auto* oRawP) { return mStudio->GetDevice(iIsOnline, iIndex, oRawP); },
      [&](const auto& iRaw) { ioRaws.push_back(iRaw); });
  return true;
}

void Mlox_DirectMusic_Service::AddDevice(const std::shared_ptr<IDeviceProperties>& iDevice) {
  int count = 0;
  if (iDevice->GetEntityCount(&count) != S_OK) return;
  ForEachFetched<IEntityProperties>(
      count, [&](int iIndex, auto* oRawP) { return iDevice->GetEntity(iIndex, oRawP); },
      [&](const auto& iEntity) { AddEntity(iDevice, iEntity); });
}

void Mlox_DirectMusic_Service::AddEntity(const std::shared_ptr<IDeviceProperties>& iDevice,
                                         const std::shared_ptr<IEntityProperties>& iEntity) {
  for (const VARIANT_BOOL isSource : {VARIANT_FALSE, VARIANT_TRUE}) {
    int count = 0;
    if (iEntity->GetEndpointCount(isSource, &count) != S_OK) continue;
    ForEachFetched<IEndpointProperties>(
        count, [&](int iIndex, auto* oRawP) { return iEntity->GetEndpoint(isSource, iIndex, oRawP); },
        [&](const auto& iEndpoint) { AddOrUpdate(isSource != VARIANT_FALSE, iDevice, iEntity, iEndpoint); });
  }
}

void Mlox_DirectMusic_Service::AddOrUpdate(bool iIsSource, const std::shared_ptr<IDeviceProperties>& iDevice,
                                           const std::shared_ptr<IEntityProperties>& iEntity,
                                           const std::shared_ptr<IEndpointProperties>& iEndpoint) {
  if (iIsSource) {
    AddOrUpdateInput(iDevice, iEntity, iEndpoint);
  } else {
    AddOrUpdateOutputDevice(iDevice, iEntity, iEndpoint);
  }
}

void Mlox_DirectMusic_Service::AddOrUpdateOutputDevice(
    const std::shared_ptr<IDeviceProperties>& iDevice, const std::shared_ptr<IEntityProperties>& iEntity,
    const std::shared_ptr<IEndpointProperties>& iEndpoint) {
  std::shared_ptr<IEndpointIDs> ids;
  if (iEndpoint->GetIDs(&ids) != S_OK) return;
  const Mlox_InputID id = GetMloxIDFromIDs(ids);
  const auto known = mRebuildIndexP != nullptr
                         ? mRebuildIndexP->mDevices.Of(id)
                         : Those(mDevices, [&](auto& iItem) { return iItem.GetInputID() == id; });
  for (Mlox_DirectMusic_Device* deviceP : known) {
    if (!deviceP->MatchWithRawProperties(iDevice, iEntity, iEndpoint)) continue;
    if (deviceP->UpdateWithRawProperties(iDevice, iEntity, iEndpoint)) ReportDevices();
    NoteIDs(*deviceP);
    return;
  }
  if (!known.empty()) return;  // the id is taken by something else
  auto deviceP =
      std::make_unique<Mlox_DirectMusic_Device>(GetAppCallback(), iDevice, iEntity, iEndpoint, mAllocator);
  if (deviceP->IsUserDefined() && deviceP->GetNumConnections() == 0) return;
  NoteIDs(*deviceP);
  if (mRebuildIndexP != nullptr) mRebuildIndexP->mDevices.Add(id, deviceP.get());
  mDevices.push_back(deviceP.release());
  ReportDevices();
}

void Mlox_DirectMusic_Service::AddOrUpdateInput(const std::shared_ptr<IDeviceProperties>& iDevice,
                                                const std::shared_ptr<IEntityProperties>& iEntity,
                                                const std::shared_ptr<IEndpointProperties>& iEndpoint) {
  std::shared_ptr<IEndpointIDs> ids;
  if (iEndpoint->GetIDs(&ids) != S_OK) return;
  const Mlox_InputID id = GetMloxIDFromIDs(ids);
  const auto known = mRebuildIndexP != nullptr
                         ? mRebuildIndexP->mInputs.Of(id)
                         : Those(mInputs, [&](auto& iItem) { return iItem.GetInputID() == id; });
  for (Mlox_DirectMusic_Input* inputP : known) {
    if (!inputP->MatchWithRawProperties(iDevice, iEntity, iEndpoint)) continue;
    if (inputP->UpdateWithRawProperties(iDevice, iEntity, iEndpoint)) ReportInputs();
    NoteIDs(*inputP);
    return;
  }
  if (!known.empty()) return;  // the id is taken by something else
  const Cmn_AliasedRefCountPtr<Mlox_DirectMusic_Input> input(
      new Mlox_DirectMusic_Input(iDevice, iEntity, iEndpoint));
  if (input->IsUserDefined() && input->GetNumConnections() == 0) return;
  NoteIDs(*input);
  if (mRebuildIndexP != nullptr) mRebuildIndexP->mInputs.Add(id, input.get());
  mInputs.push_back(input);
  ReportInputs();
}

void Mlox_DirectMusic_Service::RemoveInputs(const std::vector<Mlox_DirectMusic_Input*>& iInputs) {
  for (Mlox_DirectMusic_Input* inputP : iInputs) {
    inputP->SetServiceReleased();
    ReportInputs();
  }
  Erase(mInputs, iInputs);  // last: with the list's reference an input may go
}

void Mlox_DirectMusic_Service::RemoveDevices(const std::vector<Mlox_DirectMusic_Device*>& iDevices) {
  for (Mlox_DirectMusic_Device* deviceP : iDevices) {
    deviceP->SetServiceReleased();  // lets go of the outputs, too
    ReleasedDevices().push_back(deviceP);
    ReportDevices();
  }
  Erase(mDevices, iDevices);
}

void Mlox_DirectMusic_Service::RemoveUnconnectedUserDevices() {
  RemoveInputs(UnconnectedUserDefined(mInputs));
  RemoveDevices(UnconnectedUserDefined(mDevices));
}

// Where a user-defined device sits on a real port, the application sees only the user-defined one.
void Mlox_DirectMusic_Service::RemoveShadowedPorts() {
  RemoveInputs(Shadowed(mInputs));
  RemoveDevices(Shadowed(mDevices));
}

void Mlox_DirectMusic_Service::ReportDevices() {
  mDevicesChanged = true;
  Mlox_Manager::Singleton()->ServiceOutputListChanged(this, true);
}

void Mlox_DirectMusic_Service::ReportInputs() {
  mInputsChanged = true;
  Mlox_Manager::Singleton()->ServiceInputListChanged(this);
}

// ---- notifications ----

void Mlox_DirectMusic_Service::Notify(IDirectMusicNotificationList& iList) {
  // Before it has an index the service can't number anything; the first count reads everything anyway.
  if (mServiceIndex == -1 || GetDirectMusicServiceIndex() == -1) return;
  int count = 0;
  if (iList.GetCount(&count) != S_OK) return;
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IEndpointIDs> ids;
    int kind = 0;
    iList.GetItem(i, &ids, &kind);
    if (kind == kStudioEndpointAdded || kind == kStudioEndpointChanged) UpdateEndpoint(ids);
    if (kind == kStudioEndpointRemoved) RemoveEndpoint(ids, true);
  }
}

void Mlox_DirectMusic_Service::UpdateEndpoint(const std::shared_ptr<IEndpointIDs>& iIDs) {
  if (iIDs == nullptr || mStudio == nullptr) return;
  std::shared_ptr<IDeviceProperties> device;
  std::shared_ptr<IEntityProperties> entity;
  std::shared_ptr<IEndpointProperties> endpoint;
  if (mStudio->FindRawProperties(iIDs, &device, &entity, &endpoint) != S_OK || device == nullptr) return;
  if (entity == nullptr) return AddDevice(device);
  if (endpoint == nullptr) return AddEntity(device, entity);
  bool isUserDefined = false;
  if (StudioProperty_ReadFlag(*device, getter_wrapper::Get_PROPID_DeviceExternal(), &isUserDefined) != S_OK)
    return;
  int connections = 0;
  if (endpoint->GetNumConnections(&connections) != S_OK) return;
  // A user-defined endpoint shows while it is wired, a real one while it isn't.
  if (isUserDefined != (connections > 0)) return RemoveEndpoint(iIDs, false);
  AddOrUpdate(IsSource(*endpoint), device, entity, endpoint);
}

void Mlox_DirectMusic_Service::RemoveEndpoint(const std::shared_ptr<IEndpointIDs>& iIDs, bool iCascade) {
  if (iIDs == nullptr) return;
  LONG level = -1;
  if (StudioProperty_ReadInt(*iIDs, getter_wrapper::Get_PROPID_EndpointCollectionLevel(), &level) != S_OK)
    return;
  const Mlox_InputID id = IDOf(iIDs);
  RemoveInputsOf(id, level, iCascade);
  RemoveDevicesOf(id, level, iCascade);
}

// In both of these matches are collected first: removing, and what follows from it, changes the lists.

void Mlox_DirectMusic_Service::RemoveInputsOf(const Mlox_InputID& iID, int iLevel, bool iCascade) {
  const auto inputs = Those(mInputs, [&](auto& iItem) { return iItem.IsPartOf(iID, iLevel); });
  const std::vector<Cascade> cascades = CascadesOf(inputs);
  RemoveInputs(inputs);
  if (!iCascade) return;
  for (const Cascade& cascade : cascades) {
    if (cascade.mIsUserDefined) {
      BringBack(cascade.mIOMloxID);
    } else {
      RemoveInputs(UserDefinedOver(mInputs, cascade.mIOMloxID));
    }
  }
}

void Mlox_DirectMusic_Service::RemoveDevicesOf(const Mlox_InputID& iID, int iLevel, bool iCascade) {
  const auto devices = Those(mDevices, [&](auto& iItem) { return iItem.IsPartOf(iID, iLevel); });
  const std::vector<Cascade> cascades = CascadesOf(devices);
  RemoveDevices(devices);
  if (!iCascade) return;
  for (const Cascade& cascade : cascades) {
    if (cascade.mIsUserDefined) {
      BringBack(cascade.mIOMloxID);
    } else {
      RemoveDevices(UserDefinedOver(mDevices, cascade.mIOMloxID));
    }
  }
}

// The real port under a user-defined device that is gone shows again.
void Mlox_DirectMusic_Service::BringBack(const Mlox_InputID& iIOMloxID) {
  std::shared_ptr<IEndpointIDs> ids;
  if (FindRegisteredIDs(iIOMloxID, &ids)) UpdateEndpoint(ids);
}
