// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_callbacks.h"

#include <algorithm>
#include <new>
#include <utility>

#include "cmn/cmn_assert.h"
#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/cgenericmidireceiver.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicreceivers.h"
#include "mlox/mlox_directmusic/directmusicreceivetask.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/enumports.h"
#include "mlox/mlox_directmusic/mlox_directmusic_input.h"
#include "mlox/mlox_directmusic/mlox_directmusic_midireceivecallback.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "mlox/mlox_directmusic/receivechanges.h"
#include "mlox/mlox_manager.h"

ReceivePortSet& sReceivePortSet = ReceivePortSet::Singleton();

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmusic/mlox_directmusic_callbacks";
constexpr char kPortEventName[] = "MIDI Message Received Event:";
constexpr char kKillEventName[] = "MIDI Receive Kill Event";
// MsgWaitForMultipleObjects takes one handle less than the most (63 on Windows), and the one that ends the
// thread is among them.
constexpr std::size_t kMaxPorts = MAXIMUM_WAIT_OBJECTS - 2;

bool IsFailure(HRESULT iResult) { return static_cast<std::uint32_t>(iResult) > 1; }

// ---- the walk through the studio's source endpoints; each step is false at the first call that fails ----

bool AppendEndpointsOfEntity(IEntityProperties& iEntity, EndpointIDsList& ioEndpoints) {
  int count = 0;
  if (iEntity.GetEndpointCount(VARIANT_TRUE, &count) != S_OK) return false;
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IEndpointProperties> endpoint;
    std::shared_ptr<IEndpointIDs> ids;
    if (iEntity.GetEndpoint(VARIANT_TRUE, i, &endpoint) != S_OK || endpoint == nullptr) return false;
    if (endpoint->GetIDs(&ids) != S_OK) return false;
    ioEndpoints.push_back(ids);
  }
  return true;
}

bool AppendEndpointsOfDevice(IDeviceProperties& iDevice, EndpointIDsList& ioEndpoints) {
  int count = 0;
  if (iDevice.GetEntityCount(&count) != S_OK) return false;
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IEntityProperties> entity;
    if (iDevice.GetEntity(i, &entity) != S_OK || entity == nullptr) return false;
    if (!AppendEndpointsOfEntity(*entity, ioEndpoints)) return false;
  }
  return true;
}

bool AppendEndpointsOfGroup(IDirectMusicStudio& iStudio, VARIANT_BOOL iOnline, EndpointIDsList& ioEndpoints) {
  int count = 0;
  if (iStudio.GetDeviceCount(iOnline, &count) != S_OK) return false;
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IDeviceProperties> device;
    if (iStudio.GetDevice(iOnline, i, &device) != S_OK || device == nullptr) return false;
    if (!AppendEndpointsOfDevice(*device, ioEndpoints)) return false;
  }
  return true;
}

EndpointIDsList EverySourceEndpoint() {
  EndpointIDsList endpoints;
  const Mlox_DirectMusic_ServiceHandle* const serviceP = sService.load();
  const std::shared_ptr<IDirectMusicStudio> studio = serviceP != nullptr ? serviceP->GetStudio() : nullptr;
  if (studio == nullptr) return endpoints;
  if (AppendEndpointsOfGroup(*studio, VARIANT_TRUE, endpoints)) {
    AppendEndpointsOfGroup(*studio, VARIANT_FALSE, endpoints);
  }
  return endpoints;
}

ReceiveChangesWorld WorldOfManager() {
  ReceiveChangesWorld world;
  world.mEveryEndpoint = &EverySourceEndpoint;
  Mlox_InputList inputs;
  Mlox_Manager::Singleton()->GetInputs(&inputs, kMlox_VirtualAndNonVirtualInputs, kMlox_SyncAndNonSyncInputs);
  for (const Mlox_InputRef& input : inputs) {
    const auto* const inputP = dynamic_cast<const Mlox_DirectMusic_Input*>(input.get());
    if (inputP == nullptr) continue;
    world.mInputs.push_back({inputP->GetInputID(), inputP->GetIOMloxID(), inputP->IsUserDefined()});
  }
  return world;
}

// ---- subscriptions that end ----

// Marks the callbacks of receivers as withdrawn or not.
void SetWithdrawn(const DirectMusicReceiverList& iReceivers, bool iIsWithdrawn) {
  for (const std::shared_ptr<IDirectMusicMIDIReceiver>& receiver : iReceivers) {
    std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback;
    receiver->GetCallback(&callback);
    auto* const callbackP = dynamic_cast<Mlox_DirectMusic_MIDIReceiveCallback*>(callback.get());
    if (callbackP != nullptr) callbackP->SetWithdrawn(iIsWithdrawn);
  }
}

// Whether a list has a receiver for the callback of another.
bool HasReceiverFor(const DirectMusicReceiverList& iReceivers, IDirectMusicMIDIReceiver& iOther) {
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> otherCallback;
  iOther.GetCallback(&otherCallback);
  return std::any_of(iReceivers.begin(), iReceivers.end(), [&](const auto& iReceiver) {
    std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback;
    iReceiver->GetCallback(&callback);
    return callback != nullptr && callback->IsDifferentFrom(otherCallback) == S_OK;
  });
}

// Those of the old receivers whose callbacks have none any more.
DirectMusicReceiverList WithdrawnOnes(const DirectMusicReceiverList& iOld,
                                      const DirectMusicReceiverList& iNew) {
  DirectMusicReceiverList withdrawn;
  for (const auto& receiver : iOld) {
    if (!HasReceiverFor(iNew, *receiver)) withdrawn.push_back(receiver);
  }
  return withdrawn;
}

// The thread can't wait for its own end, nor for its own delivery; and who waits for a delivery must not hold
// the lock that a receiver may ask for.
bool IsAllowedHere() {
  const bool isReceiveThread = DirectMusicReceiveTask::IsReceiveThread();
  const bool isLocked = DirectMusicSubsystemLock::IsHeldByThisThread();
  return CMN_ASSERT_FROM(kAssertSource, !isReceiveThread, "!isReceiveThread") &&
         CMN_ASSERT_FROM(kAssertSource, !isLocked, "!isLocked");
}

}  // namespace

// ---- lifetime ----

ReceivePortSet& ReceivePortSet::Singleton() {
  static ReceivePortSet& sSet = *new ReceivePortSet;
  return sSet;
}

ReceivePortSet::ReceivePortSet() : mUmid(Sys_Umid::Create()) {}

// ---- [main] ----

HRESULT ReceivePortSet::Apply(std::shared_ptr<IDirectMusicMIDIReceiver> receiver) {
  if (!IsAllowedHere()) return E_UNEXPECTED;
  const std::lock_guard lock(mApplyMutex);
  const std::shared_ptr<IDirectMusicMIDIReceiver> taken = std::move(receiver);
  return ApplyLocked(taken);
}

HRESULT ReceivePortSet::ApplyLocked(const std::shared_ptr<IDirectMusicMIDIReceiver>& iReceiver) {
  bool restart = false;
  const bool hasChanged = ComputeChanges(iReceiver, &restart);
  DirectMusicReceiveTask* taskP = sReceiveTask.load();
  if (!hasChanged && taskP != nullptr) {
    taskP->WaitForDelivery();
    return S_OK;
  }
  // A thread that had nobody to deliver to when it began has ended by itself.
  if (taskP != nullptr && (mBeganWithoutReceivers || taskP->HasEnded())) restart = true;
  if (restart) StopThread();
  const HRESULT result = ReceiveFromGroups(restart);
  taskP = sReceiveTask.load();
  if (taskP != nullptr) taskP->WaitForDelivery();
  return result;
}

void ReceivePortSet::Shutdown() {
  if (!IsAllowedHere()) return;
  const std::lock_guard lock(mApplyMutex);
  // Each subscription ends in the ordinary way: an empty receiver with its callback takes its place.
  const auto empty = std::make_shared<CGenericMIDIReceiver>();
  for (auto receivers = GetDirectMusicReceivers(); !receivers->empty();
       receivers = GetDirectMusicReceivers()) {
    std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback;
    receivers->front()->GetCallback(&callback);
    empty->SetCallback(callback);
    ApplyLocked(empty);
    const auto left = GetDirectMusicReceivers();
    if (!left->empty() && left->front() == receivers->front()) break;  // it hides its callback: cleared below
  }
  StopThread();
  SetDirectMusicReceivers({});
  const DirectMusicSubsystemLock subsystemLock;
  mGroups.clear();
}

bool ReceivePortSet::ComputeChanges(const std::shared_ptr<IDirectMusicMIDIReceiver>& receiver,
                                    bool* restart) {
  const ReceiveChangesWorld world = WorldOfManager();
  const DirectMusicSubsystemLock lock;
  const std::shared_ptr<const DirectMusicReceiverList> before = GetDirectMusicReceivers();
  DirectMusicReceiverList receivers = *before;
  const bool hasChanged = ReceiveChanges(world, receivers, mGroups).Compute(receiver, restart);
  SetWithdrawn(WithdrawnOnes(*before, receivers), true);
  SetWithdrawn(receivers, false);
  SetDirectMusicReceivers(std::move(receivers));
  return hasChanged;
}

// ---- ports and thread ----

constinit decltype(&CreateEventW) ReceivePortSet::sCreateEventP = &CreateEventW;
constinit decltype(&Sys_RawThread::Create) ReceivePortSet::sCreateThreadP = &Sys_RawThread::Create;

// Two copies of the library on one machine must not share events: each names its own by an id of its own.
HANDLE ReceivePortSet::NewEvent(const std::string& iName) const {
  return sCreateEventP(nullptr, FALSE, FALSE, CComBSTRLite(mUmid.AsString() + iName));
}

void ReceivePortSet::StopThread() {
  // The pointer goes only after the join: the thread looks at it with each delivery.
  Sys_RawThread* threadP = sReceiveThread.load();
  Sys_RawThread::Destroy(threadP);
  sReceiveThread.store(nullptr);
  sReceiveTask.store(nullptr);
}

bool ReceivePortSet::HasNoGroups() const {
  const DirectMusicSubsystemLock lock;
  return mGroups.empty();
}

// Ports are opened by a restart alone: one that couldn't be opened joins at the next.
HRESULT ReceivePortSet::ReceiveFromGroups(bool iRestart) {
  DirectMusicReceiveTask* const runningP = iRestart ? nullptr : sReceiveTask.load();
  if (HasNoGroups()) {
    if (runningP != nullptr) runningP->PublishGroups({});
    return S_OK;
  }
  IDirectMusic8* const rootP = DirectMusicClient::GetDirectMusicPtr(false);
  if (rootP == nullptr) return E_UNEXPECTED;
  ArmedPorts armed = ArmPorts(*rootP, iRestart);
  rootP->Release();
  if (runningP != nullptr) {
    runningP->PublishGroups(std::move(armed.mGroups));
  } else if (!armed.mEvents.empty()) {
    StartThread(std::move(armed));
  }
  return S_OK;
}

ReceivePortSet::ArmedPorts ReceivePortSet::ArmPorts(IDirectMusic8& iRoot, bool iRestart) {
  ArmedPorts armed;
  const DirectMusicSubsystemLock lock;
  EnumPorts(iRoot, [&](const DMUS_PORTCAPS& iCaps) {
    if (iCaps.dwClass != DMUS_PC_INPUTCLASS) return;
    const PortInputGroup* const groupP = FindGroup(GetMloxIDFromPortCaps(iCaps));
    if (groupP == nullptr) return;
    if (iRestart && !ArmPort(iRoot, iCaps, armed)) return;
    armed.mGroups.push_back(std::make_unique<PortInputGroup>(*groupP));
  });
  return armed;
}

const PortInputGroup* ReceivePortSet::FindGroup(const Mlox_InputID& iPort) const {
  const auto group = std::find_if(mGroups.begin(), mGroups.end(),
                                  [&](const auto& iGroup) { return iGroup->front() == iPort; });
  return group != mGroups.end() ? group->get() : nullptr;
}

bool ReceivePortSet::ArmPort(IDirectMusic8& iRoot, const DMUS_PORTCAPS& iCaps, ArmedPorts& ioArmed) const {
  if (ioArmed.mPorts.size() >= kMaxPorts) return false;
  DMUS_PORTPARAMS8 parameters{};
  parameters.dwSize = sizeof(DMUS_PORTPARAMS8);
  IDirectMusicPort* portP = nullptr;
  if (IsFailure(iRoot.CreatePort(iCaps.guidPort, &parameters, &portP, nullptr)) || portP == nullptr) {
    return false;
  }
  portP->Activate(TRUE);
  const HANDLE event = NewEvent(kPortEventName + DescriptionOf(iCaps));
  if (event == nullptr || IsFailure(portP->SetReadNotificationHandle(event))) {
    portP->SetReadNotificationHandle(nullptr);
    if (event != nullptr) CloseHandle(event);
    portP->Activate(FALSE);
    portP->Release();
    return false;
  }
  ioArmed.mEvents.push_back(event);
  ioArmed.mPorts.push_back(portP);
  return true;
}

void ReceivePortSet::StartThread(ArmedPorts iArmed) {
  const HANDLE theEvent = NewEvent(kKillEventName);
  CMN_ASSERT_FROM(kAssertSource, theEvent != nullptr, "theEvent");  // it is used all the same
  iArmed.mEvents.push_back(theEvent);
  auto* const taskP = new DirectMusicReceiveTask(iArmed.mEvents, std::move(iArmed.mGroups), iArmed.mPorts);
  mBeganWithoutReceivers = GetDirectMusicReceivers()->empty();
  taskP->Pause();  // the gate: the body looks for the thread's pointer, which is stored below
  Sys_RawThread* const threadP = sCreateThreadP(taskP);
  if (threadP == nullptr) {  // the system gives no thread; the next restart tries again
    taskP->Stop();
    delete taskP;
    return;
  }
  sReceiveTask.store(taskP);
  sReceiveThread.store(threadP);
  taskP->Resume();
}

// ---- connecting ----

void ConnectInputs(DirectMusicInputPortState* iPortP, const Mlox_InputList& iInputs) {
  if (iPortP == nullptr) return;
  const std::shared_ptr<CGenericMIDIReceiver> receiver(new (std::nothrow) CGenericMIDIReceiver);
  const std::shared_ptr<Mlox_DirectMusic_MIDIReceiveCallback> callback(
      new (std::nothrow) Mlox_DirectMusic_MIDIReceiveCallback);
  if (receiver == nullptr || callback == nullptr) return;
  callback->SetRawReceiver(iPortP->mRawReceiver);
  receiver->SetCallback(callback);
  for (const Mlox_InputRef& input : iInputs) {
    if (!input) continue;
    const Mlox_InputID id = input->GetInputID();
    std::shared_ptr<IEndpointIDs> ids;
    if (id.mServiceIndex == iPortP->mServiceIndex && FindRegisteredIDs(id, &ids)) receiver->AddSource(ids);
  }
  ReceivePortSet::Singleton().Apply(receiver);
}
