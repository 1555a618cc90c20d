// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/receivechanges.h"

#include <algorithm>
#include <iterator>

#include "mlox/mlox_directmusic/endpointidentity.h"

namespace {

constexpr HRESULT kYes = S_OK;
constexpr HRESULT kNo = S_FALSE;

std::shared_ptr<IDirectMusicMIDIReceiveCallback> CallbackOf(IDirectMusicMIDIReceiver& iReceiver) {
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback;
  return iReceiver.GetCallback(&callback) == S_OK ? callback : nullptr;
}

EndpointIDsList SourcesOf(IDirectMusicMIDIReceiver& iReceiver) {
  EndpointIDsList sources;
  int count = 0;
  if (iReceiver.GetSourceCount(&count) != S_OK) return sources;
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IEndpointIDs> source;
    if (iReceiver.GetSource(i, &source) == S_OK) sources.push_back(source);
  }
  return sources;
}

// Whether an input is wanted on a group's port.
bool Holds(const PortInputGroup& iGroup, const Mlox_InputID& iID) {
  return std::find(std::next(iGroup.begin()), iGroup.end(), iID) != iGroup.end();
}

}  // namespace

ReceiveChanges::ReceiveChanges(const ReceiveChangesWorld& iWorld, DirectMusicReceiverList& ioReceivers,
                               PortInputGroupList& ioGroups)
    : mWorld(iWorld), mReceivers(ioReceivers), mGroups(ioGroups) {}

bool ReceiveChanges::Compute(const std::shared_ptr<IDirectMusicMIDIReceiver>& iReceiver, bool* oRestart) {
  *oRestart = false;
  mNew = iReceiver;
  if (mNew == nullptr || CallbackOf(*mNew) == nullptr) return false;
  FindOldReceiver();
  CollectChanges();
  CollectRewired();
  for (const Mlox_InputID& id : mToRemove) RemoveFromGroups(id);
  for (const Mlox_InputID& id : mToAdd) AddToGroups(id);
  *oRestart = IsRestartNeeded();
  ReplaceReceiver();
  return !mToAdd.empty() || !mToRemove.empty();
}

// ---- who wants what ----

void ReceiveChanges::FindOldReceiver() {
  const std::shared_ptr<IDirectMusicMIDIReceiveCallback> newCallback = CallbackOf(*mNew);
  for (const Receiver& receiver : mReceivers) {
    const std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback = CallbackOf(*receiver);
    if (callback == nullptr || callback->IsDifferentFrom(newCallback) != S_OK) continue;
    mOld = receiver;
    return;
  }
}

bool ReceiveChanges::IsAllWanted() const {
  if (mNewIsAll) return true;
  return std::any_of(mReceivers.begin(), mReceivers.end(), [&](const Receiver& iReceiver) {
    return iReceiver != mOld && iReceiver->IsSelective() == kYes;
  });
}

bool ReceiveChanges::IsWantedByOthers(const std::shared_ptr<IEndpointIDs>& iEndpoint) const {
  return std::any_of(mReceivers.begin(), mReceivers.end(), [&](const Receiver& iReceiver) {
    return iReceiver != mOld && iReceiver->IsListeningTo(iEndpoint) == kYes;
  });
}

// ---- what to add and what to remove ----

void ReceiveChanges::CollectChanges() {
  mNewIsAll = mNew->IsSelective() == kYes;
  if (IsAllWanted()) {
    // The sources of the new receiver aren't even counted here, so a selective one is not kept beside one
    // that receives all, and the one that it replaces is gone: a settled asymmetry.
    for (const auto& endpoint : mWorld.mEveryEndpoint()) mToAdd.push_back(GetMloxIDFromIDs(endpoint));
    return;
  }
  CollectNoLongerWanted();
  CollectNewlyWanted();
}

void ReceiveChanges::CollectNoLongerWanted() {
  if (mOld == nullptr) return;
  const bool oldIsAll = mOld->IsSelective() == kYes;
  for (const auto& endpoint : oldIsAll ? mWorld.mEveryEndpoint() : SourcesOf(*mOld)) {
    if (!oldIsAll && mNew->IsListeningTo(endpoint) != kNo) continue;
    if (!IsWantedByOthers(endpoint)) mToRemove.push_back(GetMloxIDFromIDs(endpoint));
  }
}

void ReceiveChanges::CollectNewlyWanted() {
  if (mNew->GetSourceCount(&mSourceCount) != S_OK) mSourceCount = 0;
  for (const auto& endpoint : SourcesOf(*mNew)) {
    if (mOld != nullptr && mOld->IsListeningTo(endpoint) == kYes) continue;
    if (!IsWantedByOthers(endpoint)) mToAdd.push_back(GetMloxIDFromIDs(endpoint));
  }
}

// The port of a user-defined input is another one after it was rewired: it moves to that port's group. One
// that is wanted somewhere moves even if that port has no group yet, so that it isn't lost.
void ReceiveChanges::CollectRewired() {
  for (const ReceiveChangesWorld::Input& input : mWorld.mInputs) {
    std::shared_ptr<IEndpointIDs> known;
    if (!input.mIsUserDefined || !FindRegisteredIDs(input.mID, &known)) continue;
    bool isOnItsPort = false;
    bool isElsewhere = false;
    for (const std::unique_ptr<PortInputGroup>& group : mGroups) {
      if (group->empty()) continue;
      const bool isItsPort = group->front() == input.mPort;
      if (isItsPort && !Holds(*group, input.mID)) mToAdd.push_back(input.mID);
      if (!isItsPort && Holds(*group, input.mID)) mToRemove.push_back(input.mID);
      isOnItsPort = isOnItsPort || isItsPort;
      isElsewhere = isElsewhere || (!isItsPort && Holds(*group, input.mID));
    }
    if (isElsewhere && !isOnItsPort) mToAdd.push_back(input.mID);
  }
}

// ---- groups ----

void ReceiveChanges::RemoveFromGroups(const Mlox_InputID& iID) {
  for (const std::unique_ptr<PortInputGroup>& group : mGroups) {
    group->erase(std::remove(std::next(group->begin()), group->end(), iID), group->end());
  }
  std::erase_if(mGroups, [&](const std::unique_ptr<PortInputGroup>& iGroup) {
    if (iGroup->size() != 1) return false;
    mRemovedPorts.push_back(iGroup->front());
    return true;
  });
}

void ReceiveChanges::AddToGroups(const Mlox_InputID& iID) {
  const auto input =
      std::find_if(mWorld.mInputs.begin(), mWorld.mInputs.end(),
                   [&](const ReceiveChangesWorld::Input& iInput) { return iInput.mID == iID; });
  if (input == mWorld.mInputs.end()) return;
  const auto group = std::find_if(
      mGroups.begin(), mGroups.end(),
      [&](const std::unique_ptr<PortInputGroup>& iGroup) { return iGroup->front() == input->mPort; });
  if (group == mGroups.end()) {
    mGroups.push_back(std::make_unique<PortInputGroup>(PortInputGroup{input->mPort, iID}));
    mAddedPorts.push_back(input->mPort);
  } else if (!Holds(**group, iID)) {
    (*group)->push_back(iID);
  }
}

// A port that went and came in one step is no reason to stop the thread.
bool ReceiveChanges::IsRestartNeeded() {
  std::sort(mRemovedPorts.begin(), mRemovedPorts.end());
  std::sort(mAddedPorts.begin(), mAddedPorts.end());
  std::vector<Mlox_InputID> difference;
  std::set_symmetric_difference(mRemovedPorts.begin(), mRemovedPorts.end(), mAddedPorts.begin(),
                                mAddedPorts.end(), std::back_inserter(difference));
  return !difference.empty();
}

// ---- receivers ----

void ReceiveChanges::ReplaceReceiver() {
  if (mOld != nullptr) std::erase(mReceivers, mOld);
  if (mNewIsAll || mSourceCount > 0) mReceivers.push_back(mNew);
}
