// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_input.h"

#include "cmn/sys_utils.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/endpointwires.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/studioproperty.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"

namespace {

constexpr Mlox_InputID kNotRead{-1, -1};
constexpr std::uint32_t kAllChannels = 65535;
constexpr int kWholeInput = 65535;
constexpr HRESULT kAbsent = 1;

// The identity of a thing; not read while it can't be worked out.
Mlox_InputID IDOf(const std::shared_ptr<IEndpointIDs>& iIDs) {
  const Mlox_InputID id = GetMloxIDFromIDs(iIDs);
  return id.mServiceIndex != -1 ? id : GetInvalidMloxID(iIDs);
}

// The identity of a raw object, which may be empty.
template <class Raw>
Mlox_InputID IDOfRaw(const std::shared_ptr<Raw>& iRaw) {
  std::shared_ptr<IEndpointIDs> ids;
  if (iRaw == nullptr || iRaw->GetIDs(&ids) != 0 || ids == nullptr) return kNotRead;
  return IDOf(ids);
}

// A flag that can't be read stays as it was.
void ReadFlag(const std::shared_ptr<IDeviceProperties>& iDevice, const _GUID& iKey, bool& ioFlag) {
  if (iDevice != nullptr) StudioProperty_ReadFlag(*iDevice, iKey, &ioFlag);
}

}  // namespace

// ---- lifetime ----

Mlox_DirectMusic_Input::Mlox_DirectMusic_Input(const std::shared_ptr<IDeviceProperties>& iDevice,
                                               const std::shared_ptr<IEntityProperties>& iEntity,
                                               const std::shared_ptr<IEndpointProperties>& iEndpoint) {
  UpdateWithRawProperties(iDevice, iEntity, iEndpoint);
}

Mlox_DirectMusic_Input::~Mlox_DirectMusic_Input() = default;

// ---- Mlox_Input ----

Mlox_InputID Mlox_DirectMusic_Input::GetInputID() const {
  const DirectMusicSubsystemLock lock;
  if (mInputID.mServiceIndex != -1) return mInputID;
  std::shared_ptr<IEndpointIDs> ids;
  if (mEndpointProperties == nullptr || mEndpointProperties->GetIDs(&ids) != 0 || ids == nullptr)
    return kNotRead;
  mInputID = GetMloxIDFromIDs(ids);
  Sys_Utils::DebugString("Port " + GetName() + " " + BuildIDString(ids) + " " +
                         std::to_string(mInputID.mInputNumber) + "\n");
  if (mInputID.mServiceIndex == -1) mInputID = GetInvalidMloxID(ids);
  return mInputID;
}

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_DirectMusic_Input::GetDeviceDescriptor() const {
  const DirectMusicSubsystemLock lock;
  if (mDescriptor == nullptr) {
    mDescriptor = std::make_shared<Mlox_DirectMusic_DeviceDescriptor>(Mlox_DeviceDescriptor::kInput,
                                                                      GetName(), GetInputID().mInputNumber);
  }
  return mDescriptor;
}

std::string Mlox_DirectMusic_Input::GetName() const {
  const DirectMusicSubsystemLock lock;
  std::string name;
  if (mEntityProperties == nullptr) return name;
  // Only an absent name of the user's makes way for the entity's; one that can't be read doesn't.
  if (mIsUserDefined &&
      StudioProperty_ReadString(*mEntityProperties, getter_wrapper::Get_PROPID_EntityUserName(), &name) !=
          kAbsent) {
    return name;
  }
  StudioProperty_ReadString(*mEntityProperties, getter_wrapper::Get_PROPID_EntityName(), &name);
  return name;
}

bool Mlox_DirectMusic_Input::IsMidiChannelAvailable(short iMidiChannel) const {
  const int channel = static_cast<std::uint16_t>(iMidiChannel);
  if (channel == kWholeInput) return true;
  if (channel > 15) return false;
  const DirectMusicSubsystemLock lock;
  if (mChannelMask == 0) ReadInChannelMask();
  return ((mChannelMask >> channel) & 1) != 0;
}

bool Mlox_DirectMusic_Input::IsPhysical() const { return !IsVirtual(); }

bool Mlox_DirectMusic_Input::IsVirtual() const {
  const DirectMusicSubsystemLock lock;
  return mIsVirtual;
}

bool Mlox_DirectMusic_Input::IsSyncSource() const { return false; }

bool Mlox_DirectMusic_Input::IsUserDefined() const {
  const DirectMusicSubsystemLock lock;
  return mIsUserDefined;
}

std::uint64_t Mlox_DirectMusic_Input::GetTrackPtr() const { return 0; }

// ---- for the service and the receive code ----

bool Mlox_DirectMusic_Input::MatchWithRawProperties(const std::shared_ptr<IDeviceProperties>& iDevice,
                                                    const std::shared_ptr<IEntityProperties>& iEntity,
                                                    const std::shared_ptr<IEndpointProperties>& iEndpoint) {
  const DirectMusicSubsystemLock lock;
  if (mDeviceProperties == nullptr || mDeviceProperties->CompareRaw(iDevice) != 0) return false;
  if (mEntityProperties == nullptr || mEntityProperties->CompareRaw(iEntity) != 0) return false;
  if (mEndpointProperties == nullptr || mEndpointProperties->CompareRaw(iEndpoint) != 0) return false;
  mNeedsVerification = false;
  return true;
}

bool Mlox_DirectMusic_Input::UpdateWithRawProperties(const std::shared_ptr<IDeviceProperties>& iDevice,
                                                     const std::shared_ptr<IEntityProperties>& iEntity,
                                                     const std::shared_ptr<IEndpointProperties>& iEndpoint) {
  const DirectMusicSubsystemLock lock;
  if (iDevice != mDeviceProperties) {
    mDeviceProperties = iDevice;
    mDeviceMloxID = IDOfRaw(iDevice);
  }
  if (iEntity != mEntityProperties) {
    mEntityProperties = iEntity;
    mEntityMloxID = IDOfRaw(iEntity);
  }
  if (iEndpoint != mEndpointProperties) {
    mEndpointProperties = iEndpoint;
    mInputID = kNotRead;
  }
  mIOMloxID = kNotRead;
  mDescriptor.reset();
  mChannelMask = 0;
  ReadInIsUserDefined();
  ReadInIsVirtual();
  return true;
}

Mlox_InputID Mlox_DirectMusic_Input::GetIOMloxID() const {
  const DirectMusicSubsystemLock lock;
  if (mIOMloxID.mServiceIndex != -1) return mIOMloxID;
  if (!mIsUserDefined) return GetInputID();
  // A user-defined input listens on the first endpoint that it is wired to; the others play no part.
  std::shared_ptr<IEndpointIDs> ids;
  if (GetNumConnections() <= 0 || mEndpointProperties->GetConnection(0, &ids) != 0 || ids == nullptr)
    return mIOMloxID;
  mIOMloxID = IDOf(ids);
  return mIOMloxID;
}

int Mlox_DirectMusic_Input::GetNumConnections() const {
  const DirectMusicSubsystemLock lock;
  return CountConnections(mEndpointProperties);
}

bool Mlox_DirectMusic_Input::IsConnectedTo(const Mlox_InputID& iID) const {
  const DirectMusicSubsystemLock lock;
  return IsWiredTo(mEndpointProperties, iID);
}

bool Mlox_DirectMusic_Input::IsPartOf(const Mlox_InputID& iID, const int& iLevel) const {
  const DirectMusicSubsystemLock lock;
  switch (iLevel) {
    case 0:
      return mEndpointProperties != nullptr && iID == GetInputID();
    case 1:
      return mEntityProperties != nullptr && iID == mEntityMloxID;
    case 2:
      return mDeviceProperties != nullptr && iID == mDeviceMloxID;
    default:
      return false;
  }
}

std::shared_ptr<IEndpointProperties> Mlox_DirectMusic_Input::GetEndpointProperties() const {
  const DirectMusicSubsystemLock lock;
  return mEndpointProperties;
}

bool Mlox_DirectMusic_Input::IsServiceReleased() const {
  const DirectMusicSubsystemLock lock;
  return mServiceReleased;
}

void Mlox_DirectMusic_Input::SetServiceReleased() {
  const DirectMusicSubsystemLock lock;
  mServiceReleased = true;
}

bool Mlox_DirectMusic_Input::IsNeedsVerification() const {
  const DirectMusicSubsystemLock lock;
  return mNeedsVerification;
}

void Mlox_DirectMusic_Input::SetNeedsVerification() {
  const DirectMusicSubsystemLock lock;
  mNeedsVerification = true;
}

bool Mlox_DirectMusic_Input::ReadInIsUserDefined() {
  const DirectMusicSubsystemLock lock;
  ReadFlag(mDeviceProperties, getter_wrapper::Get_PROPID_DeviceExternal(), mIsUserDefined);
  return mIsUserDefined;
}

bool Mlox_DirectMusic_Input::ReadInIsVirtual() {
  const DirectMusicSubsystemLock lock;
  ReadFlag(mDeviceProperties, getter_wrapper::Get_PROPID_DeviceVirtual(), mIsVirtual);
  return mIsVirtual;
}

std::uint32_t Mlox_DirectMusic_Input::ReadInChannelMask() const {
  const DirectMusicSubsystemLock lock;
  mChannelMask = kAllChannels;
  if (mEntityProperties == nullptr) return mChannelMask;
  LONG value = 0;
  // A mask of 0 counts as not read, so that such an input asks again at each call.
  if (StudioProperty_ReadInt(*mEntityProperties, getter_wrapper::Get_PROPID_EntityTransmitChannels(),
                             &value) == S_OK) {
    mChannelMask = static_cast<std::uint32_t>(value);
  }
  return mChannelMask;
}
