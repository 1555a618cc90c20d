// SPDX-License-Identifier: MIT
#include "platform/studio/studiostate.h"

#include <algorithm>
#include <utility>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "platform/studio/studiokeys.h"

namespace {

using State = Platform_StudioState;
using Device = Platform_StudioDevice;
using Wire = Platform_StudioWire;

// Whether a subscriber would see a difference. The master document is read anew each time that it is needed
// and is set by the service itself while somebody asks for names: it is no change that is told.
bool LookAlike(const Device& iLeft, const Device& iRight) {
  if (&iLeft == &iRight) {
    return true;
  }
  Device left = iLeft;
  Device right = iRight;
  for (Device* const device : {&left, &right}) {
    device->mProperties.erase({kStudio_DeviceLevel, std::string(kStudio_DeviceMasterNamesFileLoc)});
  }
  return left == right;
}

// Compares two moments, one kind of change after the other.
class Comparison {
 public:
  Comparison(const State& iBefore, const State& iAfter) : mBefore(iBefore), mAfter(iAfter) {}

  std::vector<Platform_StudioItem> Run() {
    AddRemovedDevices();
    AddWires(mBefore, mAfter, &Comparison::AddUnwired);
    AddGonePorts();
    AddPortsThatCame();
    AddWires(mAfter, mBefore, &Comparison::AddWired);
    AddChangedContents();
    return std::move(mItems);
  }

 private:
  void Add(const std::string& iGuid, bool iIsSource, int iKind) {
    mItems.push_back({{iGuid, kStudio_EndpointLevel, iIsSource}, iKind});
  }

  // Where the service looks at both directions of an entity it takes destinations first; so do we.
  void AddEndpoints(const Device& iDevice, int iKind) {
    for (const bool isSource : {false, true}) {
      if (iDevice.HasEndpoint(isSource)) {
        Add(iDevice.mGuid, isSource, iKind);
      }
    }
  }

  void AddRemovedDevices() {
    for (const Platform_StudioDeviceP& device : mBefore.Records().mDevices) {
      if (!device->mIsUserDefined || mAfter.Find(device->mGuid) != nullptr) {
        continue;
      }
      AddEndpoints(*device, kStudioEndpointRemoved);
      for (const bool isSource : {false, true}) {
        for (const std::string& port : mBefore.WiredTo(device->mGuid, isSource)) {
          Add(port, isSource, kStudioEndpointChanged);
        }
      }
    }
  }

  void AddWires(const State& iIn, const State& iNotIn, void (Comparison::*iAdd)(const Wire&, bool)) {
    const std::vector<Wire>& others = iNotIn.Records().mWires;
    if (iIn.Records().mWires == others) {
      return;
    }
    for (const Wire& wire : iIn.Records().mWires) {
      const Platform_StudioDeviceP port = iIn.Find(wire.mPort);
      const bool isKept = std::find(others.begin(), others.end(), wire) != others.end();
      if (!isKept && port != nullptr && mAfter.Find(wire.mUser) != nullptr) {
        (this->*iAdd)(wire, port->mIsSource);
      }
    }
  }

  void AddUnwired(const Wire& iWire, bool iIsSource) {
    Add(iWire.mUser, iIsSource, kStudioEndpointChanged);
    Add(iWire.mPort, iIsSource, kStudioEndpointChanged);
  }

  void AddWired(const Wire& iWire, bool iIsSource) {
    Add(iWire.mPort, iIsSource, kStudioEndpointChanged);
    Add(iWire.mUser, iIsSource, kStudioEndpointChanged);
  }

  void AddUsersOf(const std::string& iPort, bool iIsSource) {
    for (const std::string& user : mAfter.WiredTo(iPort, iIsSource)) {
      Add(user, iIsSource, kStudioEndpointChanged);
    }
  }

  void AddGonePorts() {
    for (const Platform_StudioDeviceP& device : mBefore.Group(true)) {
      if (device->mIsUserDefined || mAfter.IsLive(device->mGuid)) {
        continue;
      }
      AddUsersOf(device->mGuid, device->mIsSource);
      Add(device->mGuid, device->mIsSource, kStudioEndpointRemoved);
    }
  }

  void AddPortsThatCame() {
    for (const Platform_StudioDeviceP& device : mAfter.Group(true)) {
      if (device->mIsUserDefined || mBefore.IsLive(device->mGuid)) {
        continue;
      }
      Add(device->mGuid, device->mIsSource, kStudioEndpointAdded);
      AddUsersOf(device->mGuid, device->mIsSource);
    }
  }

  void AddChangedContents() {
    for (const Platform_StudioDeviceP& device : mAfter.Records().mDevices) {
      const Platform_StudioDeviceP before = mBefore.Find(device->mGuid);
      if (before == nullptr || before == device || LookAlike(*before, *device)) {
        continue;
      }
      // Absent hardware is nowhere in the lists; what is new was told as such.
      if (device->mIsUserDefined || (mAfter.IsLive(device->mGuid) && mBefore.IsLive(device->mGuid))) {
        AddEndpoints(*device, kStudioEndpointChanged);
      }
    }
  }

  const State& mBefore;
  const State& mAfter;
  std::vector<Platform_StudioItem> mItems;
};

}  // namespace

Platform_StudioState::Platform_StudioState(Platform_StudioRecords iRecords, Present iPresent)
    : mRecords(std::move(iRecords)), mPresent(std::move(iPresent)) {
  for (std::size_t i = 0; i < mRecords.mDevices.size(); ++i) {
    mIndices.emplace(mRecords.mDevices[i]->mGuid, i);
  }
  for (std::size_t i = 0; i < mRecords.mWires.size(); ++i) {
    const Platform_StudioWire& wire = mRecords.mWires[i];
    mWiresOf[wire.mUser].push_back(i);
    mWiresOf[wire.mPort].push_back(i);
    if (mPresent.count(wire.mPort) != 0) {
      mLiveUsers.insert(wire.mUser);
    }
  }
  for (const Platform_StudioDeviceP& device : mRecords.mDevices) {
    if (IsLive(device->mGuid)) {
      mOnline.push_back(device);
    } else if (device->mIsUserDefined) {
      mOffline.push_back(device);
    }
  }
}

Platform_StudioDeviceP Platform_StudioState::Find(const std::string& iGuid) const {
  const auto found = mIndices.find(iGuid);
  return found != mIndices.end() ? mRecords.mDevices[found->second] : nullptr;
}

bool Platform_StudioState::IsLive(const std::string& iGuid) const {
  const auto found = mIndices.find(iGuid);
  if (found == mIndices.end()) {
    return false;
  }
  return mRecords.mDevices[found->second]->mIsUserDefined ? mLiveUsers.count(iGuid) != 0
                                                          : mPresent.count(iGuid) != 0;
}

std::vector<std::string> Platform_StudioState::WiredTo(const std::string& iGuid, bool iIsSource) const {
  std::vector<std::string> ends;
  const auto wires = mWiresOf.find(iGuid);
  if (wires == mWiresOf.end()) {
    return ends;
  }
  for (const std::size_t index : wires->second) {
    const Platform_StudioWire& wire = mRecords.mWires[index];
    const Platform_StudioDeviceP port = Find(wire.mPort);
    if (port != nullptr && port->mIsSource == iIsSource) {
      ends.push_back(wire.mUser == iGuid ? wire.mPort : wire.mUser);
    }
  }
  return ends;
}

std::vector<std::string> Platform_StudioState::LiveWiredTo(const std::string& iGuid, bool iIsSource) const {
  std::vector<std::string> ends = WiredTo(iGuid, iIsSource);
  std::erase_if(ends, [this](const std::string& iEnd) { return !IsLive(iEnd); });
  return ends;
}

std::vector<Platform_StudioItem> Platform_StudioDifferences(const Platform_StudioState& iBefore,
                                                            const Platform_StudioState& iAfter) {
  return Comparison(iBefore, iAfter).Run();
}
