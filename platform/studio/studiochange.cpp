// SPDX-License-Identifier: MIT
#include "platform/studio/studiochange.h"

#include <algorithm>
#include <utility>

namespace {

std::size_t IndexOf(const Platform_StudioRecords& iRecords, const std::string& iGuid) {
  const auto found =
      std::find_if(iRecords.mDevices.begin(), iRecords.mDevices.end(),
                   [&](const Platform_StudioDeviceP& iDevice) { return iDevice->mGuid == iGuid; });
  return static_cast<std::size_t>(found - iRecords.mDevices.begin());
}

// Puts an altered copy of a row in its place; nothing when there is no such row.
template <class Alter>
void AlterDevice(Platform_StudioRecords& ioRecords, const std::string& iGuid, Alter iAlter) {
  const std::size_t index = IndexOf(ioRecords, iGuid);
  if (index == ioRecords.mDevices.size()) {
    return;
  }
  auto copy = std::make_shared<Platform_StudioDevice>(*ioRecords.mDevices[index]);
  iAlter(*copy);
  ioRecords.mDevices[index] = std::move(copy);
}

void TakeIfTold(const std::string& iText, std::string& ioText) {
  if (!iText.empty()) {
    ioText = iText;
  }
}

template <class Map, class Value>
void PutInMap(Map& ioMap, const Platform_StudioPropertyKey& iKey, const std::optional<Value>& iValue) {
  if (iValue.has_value()) {
    ioMap[iKey] = *iValue;
  } else {
    ioMap.erase(iKey);
  }
}

// What each change does to records.
class RecordsChanger {
 public:
  explicit RecordsChanger(Platform_StudioRecords& ioRecords) : mRecords(ioRecords) {}

  void operator()(const Platform_StudioPutPorts& iChange) {
    std::map<std::string, std::size_t> indices;
    for (std::size_t i = 0; i < mRecords.mDevices.size(); ++i) {
      indices.emplace(mRecords.mDevices[i]->mGuid, i);
    }
    for (const Platform_StudioDeviceP& port : iChange.mPorts) {
      const auto [entry, isNew] = indices.emplace(port->mGuid, mRecords.mDevices.size());
      if (isNew) {
        mRecords.mDevices.push_back(port);
      } else if (!mRecords.mDevices[entry->second]->mIsUserDefined) {
        UpdatePort(mRecords.mDevices[entry->second], *port);
      }
    }
  }

  void operator()(const Platform_StudioAddDevice& iChange) {
    if (IndexOf(mRecords, iChange.mDevice->mGuid) == mRecords.mDevices.size()) {
      mRecords.mDevices.push_back(iChange.mDevice);
    }
  }

  void operator()(const Platform_StudioRemoveDevice& iChange) {
    std::erase_if(mRecords.mDevices,
                  [&](const Platform_StudioDeviceP& iDevice) { return iDevice->mGuid == iChange.mGuid; });
    std::erase_if(mRecords.mWires, [&](const Platform_StudioWire& iWire) {
      return iWire.mUser == iChange.mGuid || iWire.mPort == iChange.mGuid;
    });
  }

  void operator()(const Platform_StudioPutWire& iChange) {
    if (!iChange.mIsOn) {
      std::erase(mRecords.mWires, iChange.mWire);
      return;
    }
    const std::size_t user = IndexOf(mRecords, iChange.mWire.mUser);
    const std::size_t port = IndexOf(mRecords, iChange.mWire.mPort);
    const std::size_t none = mRecords.mDevices.size();
    const bool isThere =
        std::find(mRecords.mWires.begin(), mRecords.mWires.end(), iChange.mWire) != mRecords.mWires.end();
    if (user != none && port != none && !isThere) {
      mRecords.mWires.push_back(iChange.mWire);
    }
  }

  void operator()(const Platform_StudioPutProperties& iChange) {
    AlterDevice(mRecords, iChange.mGuid, [&](Platform_StudioDevice& ioDevice) {
      for (const auto& [key, property] : iChange.mProperties) {
        PutInMap(ioDevice.mProperties, key, property);
      }
    });
  }

  void operator()(const Platform_StudioPutList& iChange) {
    AlterDevice(mRecords, iChange.mGuid, [&](Platform_StudioDevice& ioDevice) {
      PutInMap(ioDevice.mLists, iChange.mKey, iChange.mList);
    });
  }

  void operator()(const Platform_StudioPutBanks& iChange) {
    AlterDevice(mRecords, iChange.mGuid,
                [&](Platform_StudioDevice& ioDevice) { ioDevice.mBanks = iChange.mBanks; });
  }

  void operator()(const Platform_StudioPutNumber&) {}
  void operator()(const Platform_StudioPutIdentity&) {}

 private:
  static void UpdatePort(Platform_StudioDeviceP& ioRow, const Platform_StudioDevice& iPort) {
    Platform_StudioDevice row = *ioRow;
    TakeIfTold(iPort.mDriver, row.mDriver);
    TakeIfTold(iPort.mName, row.mName);
    TakeIfTold(iPort.mManufacturer, row.mManufacturer);
    TakeIfTold(iPort.mModel, row.mModel);
    row.mIsSource = iPort.mIsSource;
    row.mIsVirtual = iPort.mIsVirtual;
    if (row != *ioRow) {
      ioRow = std::make_shared<Platform_StudioDevice>(std::move(row));
    }
  }

  Platform_StudioRecords& mRecords;
};

// Whether one change of a kind is about the same thing as another of that kind.
struct SameThing {
  template <class Left, class Right>
  bool operator()(const Left&, const Right&) const {
    return false;
  }
  bool operator()(const Platform_StudioPutProperties& iLeft,
                  const Platform_StudioPutProperties& iRight) const {
    return iLeft.mGuid == iRight.mGuid &&
           std::equal(iLeft.mProperties.begin(), iLeft.mProperties.end(), iRight.mProperties.begin(),
                      iRight.mProperties.end(),
                      [](const auto& iOne, const auto& iOther) { return iOne.first == iOther.first; });
  }
  bool operator()(const Platform_StudioPutList& iLeft, const Platform_StudioPutList& iRight) const {
    return iLeft.mGuid == iRight.mGuid && iLeft.mKey == iRight.mKey;
  }
  bool operator()(const Platform_StudioPutBanks& iLeft, const Platform_StudioPutBanks& iRight) const {
    return iLeft.mGuid == iRight.mGuid;
  }
  bool operator()(const Platform_StudioPutNumber& iLeft, const Platform_StudioPutNumber& iRight) const {
    return iLeft.mKey == iRight.mKey;
  }
  bool operator()(const Platform_StudioPutIdentity& iLeft, const Platform_StudioPutIdentity& iRight) const {
    return iLeft.mRow.mGuid == iRight.mRow.mGuid;
  }
};

}  // namespace

bool Platform_StudioTouchesRecords(const Platform_StudioChange& iChange) {
  return !std::holds_alternative<Platform_StudioPutNumber>(iChange) &&
         !std::holds_alternative<Platform_StudioPutIdentity>(iChange);
}

void Platform_StudioApply(const Platform_StudioChange& iChange, Platform_StudioRecords& ioRecords) {
  std::visit(RecordsChanger(ioRecords), iChange);
}

void Platform_StudioApply(const Platform_StudioChange& iChange, Platform_StudioContents& ioContents) {
  Platform_StudioApply(iChange, ioContents.mRecords);
  if (const auto* const number = std::get_if<Platform_StudioPutNumber>(&iChange)) {
    ioContents.mNumbers[number->mKey] = number->mNumber;
  }
  if (const auto* const identity = std::get_if<Platform_StudioPutIdentity>(&iChange)) {
    const auto row =
        std::find_if(ioContents.mIdentities.begin(), ioContents.mIdentities.end(),
                     [&](const Platform_IdentityRow& iRow) { return iRow.mGuid == identity->mRow.mGuid; });
    if (row != ioContents.mIdentities.end()) {
      *row = identity->mRow;
    } else {
      ioContents.mIdentities.push_back(identity->mRow);
    }
  }
}

bool Platform_StudioReplaces(const Platform_StudioChange& iLater, const Platform_StudioChange& iEarlier) {
  return std::visit(SameThing(), iLater, iEarlier);
}

bool Platform_StudioJoins(const Platform_StudioChange& iLater, Platform_StudioChange& ioEarlier) {
  constexpr std::size_t kMostPorts = 512;
  const auto* const later = std::get_if<Platform_StudioPutPorts>(&iLater);
  auto* const earlier = std::get_if<Platform_StudioPutPorts>(&ioEarlier);
  if (later == nullptr || earlier == nullptr || earlier->mPorts.size() + later->mPorts.size() > kMostPorts) {
    return false;
  }
  earlier->mPorts.insert(earlier->mPorts.end(), later->mPorts.begin(), later->mPorts.end());
  return true;
}

std::vector<Platform_StudioChange> Platform_StudioChangesThatMake(const Platform_StudioContents& iContents) {
  std::vector<Platform_StudioChange> changes;
  for (const Platform_StudioDeviceP& device : iContents.mRecords.mDevices) {
    changes.emplace_back(Platform_StudioAddDevice{device});
  }
  for (const Platform_StudioWire& wire : iContents.mRecords.mWires) {
    changes.emplace_back(Platform_StudioPutWire{wire, true});
  }
  for (const Platform_IdentityRow& row : iContents.mIdentities) {
    changes.emplace_back(Platform_StudioPutIdentity{row});
  }
  for (const auto& [key, number] : iContents.mNumbers) {
    changes.emplace_back(Platform_StudioPutNumber{key, number});
  }
  return changes;
}
