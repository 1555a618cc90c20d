// SPDX-License-Identifier: MIT
#include "platform/studio/studiocore.h"

#include <algorithm>
#include <utility>

namespace {

// Beyond it the oldest are given up: a file that can't be written must not fill the memory. Changes of one
// thing replace each other, so that this many need a studio that no one has.
constexpr std::size_t kMostChanges = 100000;

// How far back a later change of the same thing looks for an earlier one.
constexpr std::size_t kLookBack = 64;

bool IsNewOrChanged(const Platform_StudioState& iState, const Platform_StudioDevice& iPort) {
  const Platform_StudioDeviceP row = iState.Find(iPort.mGuid);
  if (row == nullptr) {
    return true;
  }
  const auto differs = [](const std::string& iTold, const std::string& iKnown) {
    return !iTold.empty() && iTold != iKnown;
  };
  return differs(iPort.mDriver, row->mDriver) || differs(iPort.mName, row->mName) ||
         differs(iPort.mManufacturer, row->mManufacturer) || differs(iPort.mModel, row->mModel) ||
         iPort.mIsSource != row->mIsSource || iPort.mIsVirtual != row->mIsVirtual;
}

std::vector<Platform_StudioDeviceP> Missing(const Platform_StudioState& iBefore,
                                            const Platform_StudioRecords& iRecords) {
  std::set<std::string> known;
  for (const Platform_StudioDeviceP& device : iRecords.mDevices) {
    known.insert(device->mGuid);
  }
  std::vector<Platform_StudioDeviceP> missing;
  for (const std::string& guid : iBefore.PresentPorts()) {
    const Platform_StudioDeviceP row = iBefore.Find(guid);
    if (row != nullptr && known.count(guid) == 0) {
      missing.push_back(row);
    }
  }
  return missing;
}

}  // namespace

Platform_StudioCore::Platform_StudioCore() : mState(std::make_shared<const Platform_StudioState>()) {}

Platform_StudioCore::StateP Platform_StudioCore::State() const {
  const std::lock_guard lock(mMutex);
  return mState;
}

void Platform_StudioCore::Queue(Platform_StudioChange iChange) {
  // From the back to the last change that makes or takes rows; what the worker has in hand stays.
  const std::size_t end = mChanges.size() - std::min(mChanges.size() - mInHand, kLookBack);
  for (std::size_t i = mChanges.size(); i > end; --i) {
    if (Platform_StudioJoins(iChange, mChanges[i - 1])) {
      return;
    }
    if (Platform_StudioReplaces(iChange, mChanges[i - 1])) {
      mChanges[i - 1] = std::move(iChange);
      return;
    }
    if (std::holds_alternative<Platform_StudioAddDevice>(mChanges[i - 1]) ||
        std::holds_alternative<Platform_StudioRemoveDevice>(mChanges[i - 1]) ||
        std::holds_alternative<Platform_StudioPutPorts>(mChanges[i - 1])) {
      break;
    }
  }
  if (mChanges.size() >= kMostChanges + mInHand) {
    mChanges.erase(mChanges.begin() + static_cast<std::ptrdiff_t>(mInHand));
  }
  mChanges.push_back(std::move(iChange));
  mWork.notify_one();
}

void Platform_StudioCore::Become(Platform_StudioState iState) {
  std::vector<Platform_StudioItem> items = Platform_StudioDifferences(*mState, iState);
  mState = std::make_shared<const Platform_StudioState>(std::move(iState));
  if (!items.empty()) {
    mNews.push_back({++mNewsNumber, std::move(items)});
    mIsWoken = true;
    mWork.notify_one();
  }
}

void Platform_StudioCore::MakeUnderMutex(Platform_StudioChange iChange) {
  Platform_StudioRecords records = mState->Records();
  Platform_StudioApply(iChange, records);
  Queue(std::move(iChange));
  Become(Platform_StudioState(std::move(records), mState->PresentPorts()));
}

bool Platform_StudioCore::Change(const Edit& iEdit) {
  const std::lock_guard lock(mMutex);
  std::optional<Platform_StudioChange> change = iEdit(*mState);
  if (!change.has_value()) {
    return false;
  }
  MakeUnderMutex(std::move(*change));
  return true;
}

void Platform_StudioCore::Change(Platform_StudioChange iChange) {
  const std::lock_guard lock(mMutex);
  MakeUnderMutex(std::move(iChange));
}

std::optional<Platform_StudioNumber> Platform_StudioCore::Number(const Platform_StudioNumberKey& iKey) const {
  const std::lock_guard lock(mMutex);
  const auto found = mNumbers.find(iKey);
  return found != mNumbers.end() ? std::optional(found->second) : std::nullopt;
}

void Platform_StudioCore::SetNumber(const Platform_StudioNumberKey& iKey,
                                    const Platform_StudioNumber& iNumber, bool iIsPersistent) {
  const std::lock_guard lock(mMutex);
  mNumbers[iKey] = iNumber;
  // An identifier may outlive its row; then there is no place in the file for it.
  if (iIsPersistent && mState->Find(iKey.mPlace.mGuid) != nullptr) {
    Queue(Platform_StudioPutNumber{iKey, iNumber});
  }
}

Platform_StudioIdentityRows Platform_StudioCore::Identities() const {
  const std::lock_guard lock(mMutex);
  return {mIdentities, mHasFile};
}

void Platform_StudioCore::PutIdentity(const Platform_IdentityRow& iRow, bool iHadFile) {
  const std::lock_guard lock(mMutex);
  if (mHasFile && !iHadFile) {
    return;
  }
  Platform_StudioContents contents;
  contents.mIdentities.swap(mIdentities);
  Platform_StudioApply(Platform_StudioPutIdentity{iRow}, contents);
  mIdentities.swap(contents.mIdentities);
  if (mHasFile) {
    Queue(Platform_StudioPutIdentity{iRow});
  }
}

void Platform_StudioCore::SetPresent(const std::vector<Platform_StudioDeviceP>& iPorts) {
  const std::lock_guard lock(mMutex);
  Platform_StudioState::Present present;
  Platform_StudioPutPorts changed;
  for (const Platform_StudioDeviceP& port : iPorts) {
    if (present.insert(port->mGuid).second && IsNewOrChanged(*mState, *port)) {
      changed.mPorts.push_back(port);
    }
  }
  Platform_StudioRecords records = mState->Records();
  if (!changed.mPorts.empty()) {
    Platform_StudioApply(changed, records);
    Queue(std::move(changed));
  }
  Become(Platform_StudioState(std::move(records), std::move(present)));
}

bool Platform_StudioCore::Replace(Platform_StudioContents iContents) {
  const std::lock_guard lock(mMutex);
  const bool isFirst = !std::exchange(mHasFile, true);
  // Provisional rows. Those that a new file is to get wait among the changes.
  if (isFirst) {
    mIdentities.clear();
  }
  for (const Platform_StudioChange& change : mChanges) {
    Platform_StudioApply(change, iContents);
  }
  // What is plugged in has its row, whatever others did to the file. A port that was listed under a
  // provisional identity has one too; when the file doesn't bear that identity out the row stays, as that of
  // an absent port: the user may have wired something to it meanwhile.
  Platform_StudioPutPorts missing{Missing(*mState, iContents.mRecords)};
  if (!missing.mPorts.empty()) {
    Platform_StudioApply(missing, iContents.mRecords);
    Queue(std::move(missing));
  }
  // Identifiers of rows that are gone keep what they have carried.
  for (auto& [key, number] : iContents.mNumbers) {
    mNumbers[key] = std::move(number);
  }
  for (const Platform_IdentityRow& row : mIdentities) {
    const bool isKnown =
        std::any_of(iContents.mIdentities.begin(), iContents.mIdentities.end(),
                    [&](const Platform_IdentityRow& iKnown) { return iKnown.mGuid == row.mGuid; });
    if (!isKnown) {
      iContents.mIdentities.push_back(row);
    }
  }
  mIdentities = std::move(iContents.mIdentities);
  // A row that hasn't changed stays the same object: comparing two moments looks at what differs only.
  for (Platform_StudioDeviceP& device : iContents.mRecords.mDevices) {
    const Platform_StudioDeviceP known = mState->Find(device->mGuid);
    if (known != nullptr && *known == *device) {
      device = known;
    }
  }
  Become(Platform_StudioState(std::move(iContents.mRecords), mState->PresentPorts()));
  return isFirst;
}

void Platform_StudioCore::QueueAll() {
  const std::lock_guard lock(mMutex);
  mInHand = 0;
  const std::vector<Platform_StudioChange> all =
      Platform_StudioChangesThatMake({mState->Records(), mIdentities, mNumbers});
  mChanges.assign(all.begin(), all.end());
}

std::vector<Platform_StudioChange> Platform_StudioCore::FrontChanges(std::size_t iMost) {
  const std::lock_guard lock(mMutex);
  std::vector<Platform_StudioChange> front;
  for (const Platform_StudioChange& change : mChanges) {
    const bool isHousekeeping = !Platform_StudioTouchesRecords(change);
    if (front.size() >= iMost || (!front.empty() && !isHousekeeping)) {
      break;
    }
    front.push_back(change);
    if (!isHousekeeping) {
      break;
    }
  }
  mInHand = front.size();
  return front;
}

void Platform_StudioCore::PopChanges(std::size_t iCount) {
  const std::lock_guard lock(mMutex);
  mInHand = 0;
  mChanges.erase(mChanges.begin(),
                 mChanges.begin() + static_cast<std::ptrdiff_t>(std::min(iCount, mChanges.size())));
  if (mChanges.empty()) {
    mWritten.notify_all();
  }
}

bool Platform_StudioCore::HasChanges() const {
  const std::lock_guard lock(mMutex);
  return !mChanges.empty();
}

std::deque<Platform_StudioNews> Platform_StudioCore::TakeNews() {
  const std::lock_guard lock(mMutex);
  return std::exchange(mNews, {});
}

void Platform_StudioCore::WaitForWork(std::chrono::milliseconds iTime, bool iAlsoForChanges) {
  std::unique_lock lock(mMutex);
  mWork.wait_for(lock, iTime, [&] { return mIsWoken || (iAlsoForChanges && !mChanges.empty()); });
  mIsWoken = false;
}

void Platform_StudioCore::Wake() {
  const std::lock_guard lock(mMutex);
  mIsWoken = true;
  mWork.notify_one();
}

bool Platform_StudioCore::WaitUntilWritten(std::chrono::milliseconds iTime) {
  std::unique_lock lock(mMutex);
  return mWritten.wait_for(lock, iTime, [this] { return mChanges.empty(); });
}

std::uint64_t Platform_StudioCore::LastNews() const {
  const std::lock_guard lock(mMutex);
  return mNewsNumber;
}
