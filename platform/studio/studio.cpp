// SPDX-License-Identifier: MIT
#include "platform/studio/studio.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "cmn/sys_umid.h"
#include "platform/studio/studioanswer.h"
#include "platform/studio/studioendpoint.h"
#include "platform/studio/studioentity.h"
#include "platform/studio/studiokeys.h"
#include "platform/studio/studiorawdevice.h"
#include "platform/studio/studiotext.h"
#include "platform/studio/studiowalk.h"

namespace {

using Result = Platform_StudioResult;
using std::chrono::milliseconds;

// No application thread waits longer than 50 ms for the file; the rest is for the waking.
constexpr milliseconds kPatience{45};
constexpr std::int32_t kAllChannels = 0xFFFF;
constexpr int kChannels = 16;

using GroupWalk = Platform_StudioWalk<Platform_StudioCore::StateP>;

// One for each group: a walk over both may count both first.
GroupWalk& WalkOver(VARIANT_BOOL iOnline) {
  static thread_local GroupWalk sWalks[2];
  return sWalks[iOnline != VARIANT_FALSE ? 1 : 0];
}

std::string NewGuid() {
  const std::string digits = Sys_Umid::Create().AsString();
  const std::string_view text = digits;
  return fmt::format("{{{}-{}-{}-{}-{}}}", text.substr(0, 8), text.substr(8, 4), text.substr(12, 4),
                     text.substr(16, 4), text.substr(20, 12));
}

std::optional<std::int32_t> EndpointNumber(const Platform_StudioCore& iCore, const std::string& iGuid,
                                           bool iIsSource) {
  Platform_StudioNumberKey key;
  key.mPlace.mGuid = iGuid;
  key.mPlace.mLevel = kStudio_EndpointLevel;
  key.mPlace.mIsSource = iIsSource;
  key.mKey = kStudio_MloxID;
  const auto number = iCore.Number(key);
  return number ? std::optional(number->mValue) : std::nullopt;
}

Result CheckUser(const Platform_StudioState& iState, const std::string& iGuid) {
  const Platform_StudioDeviceP row = iState.Find(iGuid);
  return row == nullptr ? Result::kUnknown : row->mIsUserDefined ? Result::kDone : Result::kNotUserDefined;
}

Result CheckWire(const Platform_StudioState& iState, const Platform_StudioWire& iWire, bool iIsOn) {
  const Result user = CheckUser(iState, iWire.mUser);
  if (user != Result::kDone) {
    return user;
  }
  const Platform_StudioDeviceP port = iState.Find(iWire.mPort);
  if (port == nullptr) {
    return Result::kUnknown;
  }
  if (port->mIsUserDefined) {
    return Result::kNotAPort;
  }
  const std::vector<Platform_StudioWire>& wires = iState.Records().mWires;
  const bool isOn = std::find(wires.begin(), wires.end(), iWire) != wires.end();
  return isOn == iIsOn ? Result::kAlready : Result::kDone;
}

template <class Value>
std::optional<Value> PropertyOf(const Platform_StudioDevice& iDevice, int iLevel, std::string_view iKey) {
  const Platform_StudioProperty* const property =
      Platform_StudioPropertyOf(iDevice, iLevel, std::string(iKey));
  const Value* const value = property != nullptr ? std::get_if<Value>(&property->mValue) : nullptr;
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

Platform_StudioEntry EntryOf(const Platform_StudioState& iState, const Platform_StudioDevice& iDevice) {
  Platform_StudioEntry entry;
  entry.mGuid = iDevice.mGuid;
  entry.mName =
      PropertyOf<std::string>(iDevice, kStudio_EntityLevel, kStudio_EntityUserName).value_or(iDevice.mName);
  const auto text = [&](std::string_view iKey) {
    return Platform_StudioTextOf(iDevice, kStudio_DeviceLevel, std::string(iKey)).value_or("");
  };
  entry.mManufacturer = text(kStudio_DeviceManufacturerName);
  entry.mModel = text(kStudio_DeviceModelName);
  entry.mDriver = iDevice.mDriver;
  entry.mIsUserDefined = iDevice.mIsUserDefined;
  entry.mIsSource = iDevice.mIsSource;
  entry.mIsVirtual = iDevice.mIsVirtual;
  entry.mIsOnline = iState.IsLive(iDevice.mGuid);
  entry.mReceiveChannels =
      PropertyOf<std::int32_t>(iDevice, kStudio_EntityLevel, kStudio_EntityReceiveChannels);
  entry.mTransmitChannels =
      PropertyOf<std::int32_t>(iDevice, kStudio_EntityLevel, kStudio_EntityTransmitChannels);
  entry.mMaster = PropertyOf<std::string>(iDevice, kStudio_DeviceLevel, kStudio_DeviceMasterNamesFileLoc);
  const auto modes = iDevice.mLists.find({kStudio_DeviceLevel, std::string(kStudio_DeviceChannelModes)});
  entry.mModes = modes != iDevice.mLists.end() ? modes->second.mItems : std::vector<std::string>();
  entry.mBanks = iDevice.mBanks;
  for (const Platform_StudioWire& wire : iState.Records().mWires) {
    if (wire.mUser == iDevice.mGuid || wire.mPort == iDevice.mGuid) {
      entry.mWires.push_back(wire.mUser == iDevice.mGuid ? wire.mPort : wire.mUser);
    }
  }
  return entry;
}

// A property of the system's own with its short name.
std::pair<const Platform_StudioPropertyKey, std::optional<Platform_StudioProperty>> Setting(
    int iLevel, std::string_view iKey, std::variant<std::int32_t, std::string> iValue) {
  return {{iLevel, std::string(iKey)},
          Platform_StudioProperty{Platform_StudioNameOfKey(iKey), std::move(iValue)}};
}

std::shared_ptr<IDirectMusicStudio> MakeStudio(IDirectMusic8* iRootP) {
  return std::make_shared<Platform_Studio>(iRootP, Platform_StudioDefaultPath());
}

// The studio of this machine is this one. Objects of the library are linked whole, so that this is never
// left out.
[[maybe_unused]] const bool sIsRegistered = [] {
  IDirectMusicStudio::SetMachineFactory(&MakeStudio);
  return true;
}();

}  // namespace

Platform_StudioFaces Platform_OpenStudio(IDirectMusic8* iRootP, const std::string& iPath) {
  const auto studio =
      std::make_shared<Platform_Studio>(iRootP, iPath.empty() ? Platform_StudioDefaultPath() : iPath);
  return {studio, studio};
}

Platform_StudioFaces Platform_OpenStudioForEdits(const std::string& iPath) {
  const auto studio = std::make_shared<Platform_Studio>(
      nullptr, iPath.empty() ? Platform_StudioDefaultPath() : iPath, Platform_StudioUse::kEdits);
  return {studio, studio};
}

Platform_Studio::Platform_Studio(IDirectMusic8* iRootP, const std::string& iPath, Platform_StudioUse iUse)
    : mCore(std::make_shared<Platform_StudioCore>()),
      mSubscribers(std::make_shared<Platform_StudioSubscribers>()),
      mPresence(std::make_shared<Platform_StudioPresence>(mCore, iRootP)),
      mWorker(std::make_shared<Platform_StudioWorker>(mCore, mSubscribers, iPath, iUse)) {
  mWorker->Start(mPresence->NeedsPolling()
                     ? std::function<void()>([presence = mPresence] { presence->Poll(); })
                     : std::function<void()>(),
                 [presence = mPresence] { presence->SettleIdentities(); });
  // The table of identities comes from the file, and the root asks for it before it lists anything. Where the
  // first try brings nothing, identities are provisional until the file has been read, and settled again
  // then.
  mWorker->WaitForFirstTry(kPatience);
  mPresence->Start();
}

Platform_Studio::~Platform_Studio() {
  mPresence->Stop();
  mSubscribers->Clear();
  mWorker->Stop(kPatience);
}

// ---- IDirectMusicStudio ----

HRESULT Platform_Studio::RegisterNotification(std::shared_ptr<IDirectMusicNotificationCallback> iCallback) {
  return mSubscribers->Register(iCallback, mCore->LastNews());
}

HRESULT Platform_Studio::UnregisterNotification(const OLECHAR* iID) { return mSubscribers->Unregister(iID); }

HRESULT Platform_Studio::GetDeviceCount(VARIANT_BOOL iOnline, int* oCount) {
  if (oCount == nullptr) {
    return E_POINTER;
  }
  const Platform_StudioCore::StateP state = mCore->State();
  WalkOver(iOnline).Begin(mCore, {}, state);
  *oCount = static_cast<int>(state->Group(iOnline != VARIANT_FALSE).size());
  return S_OK;
}

HRESULT Platform_Studio::GetDevice(VARIANT_BOOL iOnline, int iIndex,
                                   std::shared_ptr<IDeviceProperties>* oDevice) {
  if (oDevice == nullptr) {
    return E_POINTER;
  }
  oDevice->reset();
  GroupWalk& walk = WalkOver(iOnline);
  const Platform_StudioCore::StateP* const counted = walk.Find(mCore, {});
  const Platform_StudioCore::StateP state = counted != nullptr ? *counted : mCore->State();
  const std::vector<Platform_StudioDeviceP>& group = state->Group(iOnline != VARIANT_FALSE);
  if (static_cast<std::size_t>(iIndex) + 1 >= group.size()) {
    walk.End();
  }
  if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= group.size()) {
    return E_INVALIDARG;
  }
  const Platform_StudioDeviceP& row = group[static_cast<std::size_t>(iIndex)];
  *oDevice = std::make_shared<Platform_StudioRawDevice>(
      mCore, row, Platform_StudioPlace{row->mGuid, kStudio_DeviceLevel, false});
  return S_OK;
}

HRESULT Platform_Studio::FindRawProperties(std::shared_ptr<IEndpointIDs> iIDs,
                                           std::shared_ptr<IDeviceProperties>* oDevice,
                                           std::shared_ptr<IEntityProperties>* oEntity,
                                           std::shared_ptr<IEndpointProperties>* oEndpoint) {
  if (oDevice == nullptr || oEntity == nullptr || oEndpoint == nullptr) {
    return E_POINTER;
  }
  oDevice->reset();
  oEntity->reset();
  oEndpoint->reset();
  const auto* const ids = dynamic_cast<const Platform_StudioIDs*>(iIDs.get());
  if (ids == nullptr) {
    return E_INVALIDARG;
  }
  const Platform_StudioPlace& place = ids->Place();
  const Platform_StudioCore::StateP state = mCore->State();
  const Platform_StudioDeviceP row = state->Find(place.mGuid);
  const bool isThere = row != nullptr && (row->mIsUserDefined || state->IsLive(place.mGuid));
  if (!isThere || (place.mLevel == kStudio_EndpointLevel && !row->HasEndpoint(place.mIsSource))) {
    return E_FAIL;
  }
  *oDevice = std::make_shared<Platform_StudioRawDevice>(
      mCore, row, Platform_StudioPlace{place.mGuid, kStudio_DeviceLevel, false});
  if (place.mLevel <= kStudio_EntityLevel) {
    *oEntity = std::make_shared<Platform_StudioEntity>(
        mCore, row, Platform_StudioPlace{place.mGuid, kStudio_EntityLevel, false});
  }
  if (place.mLevel == kStudio_EndpointLevel) {
    *oEndpoint = std::make_shared<Platform_StudioEndpoint>(mCore, row, place);
  }
  return S_OK;
}

// ---- Platform_StudioManagement ----

template <class Check, class Make>
Result Platform_Studio::Edit(Check iCheck, Make iMake) {
  Result result = Result::kDone;
  mCore->Change([&](const State& iState) -> Edited {
    result = iCheck(iState);
    return result == Result::kDone ? Edited(iMake(iState)) : std::nullopt;
  });
  return result;
}

bool Platform_Studio::WaitUntilRead(milliseconds iTime) { return mWorker->WaitUntilRead(iTime); }

std::vector<Platform_StudioEntry> Platform_Studio::Entries() {
  const Platform_StudioCore::StateP state = mCore->State();
  std::vector<Platform_StudioEntry> entries;
  for (const Platform_StudioDeviceP& device : state->Records().mDevices) {
    Platform_StudioEntry entry = EntryOf(*state, *device);
    entry.mInputNumber = EndpointNumber(*mCore, device->mGuid, true);
    entry.mOutputNumber = EndpointNumber(*mCore, device->mGuid, false);
    entries.push_back(std::move(entry));
  }
  return entries;
}

Result Platform_Studio::Add(const std::string& iName, const std::string& iManufacturer,
                            const std::string& iModel, std::string& oGuid) {
  auto device = std::make_shared<Platform_StudioDevice>();
  device->mGuid = NewGuid();
  device->mIsUserDefined = true;
  device->mName = Platform_StudioCleanText(iName);
  device->mManufacturer = Platform_StudioCleanText(iManufacturer);
  device->mModel = Platform_StudioCleanText(iModel);
  if (device->mName.empty()) {
    return Result::kBadValue;
  }
  oGuid = device->mGuid;
  mCore->Change(Platform_StudioAddDevice{std::move(device)});
  return Result::kDone;
}

Result Platform_Studio::Remove(const std::string& iUser) {
  return Edit([&](const State& iState) { return CheckUser(iState, iUser); },
              [&](const State&) { return Platform_StudioRemoveDevice{iUser}; });
}

Result Platform_Studio::Wire(const std::string& iUser, const std::string& iPort) {
  const Platform_StudioWire wire{iUser, iPort};
  return Edit([&](const State& iState) { return CheckWire(iState, wire, true); },
              [&](const State&) {
                return Platform_StudioPutWire{wire, true};
              });
}

Result Platform_Studio::Unwire(const std::string& iUser, const std::string& iPort) {
  const Platform_StudioWire wire{iUser, iPort};
  return Edit([&](const State& iState) { return CheckWire(iState, wire, false); },
              [&](const State&) {
                return Platform_StudioPutWire{wire, false};
              });
}

Result Platform_Studio::Put(Platform_StudioPutProperties iChange) {
  return Edit(
      [&](const State& iState) {
        return iState.Find(iChange.mGuid) != nullptr ? Result::kDone : Result::kUnknown;
      },
      [&](const State&) { return std::move(iChange); });
}

Result Platform_Studio::Rename(const std::string& iUser, const std::string& iName) {
  const std::string name = Platform_StudioCleanText(iName);
  if (name.empty()) {
    return Result::kBadValue;
  }
  return Edit([&](const State& iState) { return CheckUser(iState, iUser); },
              [&](const State&) {
                return Platform_StudioPutProperties{
                    iUser, {Setting(kStudio_EntityLevel, kStudio_EntityUserName, name)}};
              });
}

Result Platform_Studio::SetChannels(const std::string& iGuid, std::int32_t iReceive, std::int32_t iTransmit) {
  const auto isMask = [](std::int32_t iMask) { return iMask >= 0 && iMask <= kAllChannels; };
  if (!isMask(iReceive) || !isMask(iTransmit)) {
    return Result::kBadValue;
  }
  return Put({iGuid,
              {Setting(kStudio_EntityLevel, kStudio_EntityReceiveChannels, iReceive),
               Setting(kStudio_EntityLevel, kStudio_EntityTransmitChannels, iTransmit)}});
}

Result Platform_Studio::SetBanks(const std::string& iGuid, const std::vector<Platform_StudioBank>& iBanks) {
  std::vector<Platform_StudioBank> banks;
  banks.reserve(iBanks.size());
  for (const Platform_StudioBank& bank : iBanks) {
    banks.push_back({Platform_StudioCleanText(bank.mName), Platform_StudioCleanText(bank.mFile),
                     Platform_StudioCleanText(bank.mPatchNameList)});
  }
  return Edit(
      [&](const State& iState) { return iState.Find(iGuid) != nullptr ? Result::kDone : Result::kUnknown; },
      [&](const State&) {
        return Platform_StudioPutBanks{iGuid, banks};
      });
}

Result Platform_Studio::SetMaster(const std::string& iGuid, const std::optional<std::string>& iPath) {
  auto setting = Setting(kStudio_DeviceLevel, kStudio_DeviceMasterNamesFileLoc,
                         Platform_StudioCleanText(iPath.value_or("")));
  if (!iPath.has_value()) {
    setting.second.reset();
  }
  return Put({iGuid, {setting}});
}

Result Platform_Studio::SetMode(const std::string& iGuid, int iChannel, const std::string& iMode) {
  if (iChannel < 0 || iChannel >= kChannels) {
    return Result::kBadValue;
  }
  const Platform_StudioPropertyKey key{kStudio_DeviceLevel, std::string(kStudio_DeviceChannelModes)};
  return Edit(
      [&](const State& iState) { return iState.Find(iGuid) != nullptr ? Result::kDone : Result::kUnknown; },
      [&](const State& iState) {
        const Platform_StudioDeviceP row = iState.Find(iGuid);
        const auto known = row->mLists.find(key);
        Platform_StudioList list = known != row->mLists.end()
                                       ? known->second
                                       : Platform_StudioList{Platform_StudioNameOfKey(key.mKey), {}};
        // Row 0 belongs to no channel.
        list.mItems.resize(std::max<std::size_t>(list.mItems.size(), kChannels + 1));
        list.mItems[static_cast<std::size_t>(iChannel) + 1] = Platform_StudioCleanText(iMode);
        return Platform_StudioPutList{iGuid, key, std::move(list)};
      });
}

bool Platform_Studio::Flush(milliseconds iTime) { return mCore->WaitUntilWritten(iTime); }

std::string Platform_Studio::Trouble() { return mWorker->Trouble(); }
