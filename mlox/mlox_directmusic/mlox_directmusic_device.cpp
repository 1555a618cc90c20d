// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"

#include <string_view>
#include <utility>
#include <vector>

#include "cmn/sys_fileloc.h"
#include "cmn/sys_filelocutils.h"
#include "cmn/sys_filelocwin32.h"
#include "midixml/asciicase.h"
#include "midixml/scanpatchfilenamesdir.h"
#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicclocksync.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/endpointwires.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/mlox_directmusic_output.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "mlox/mlox_directmusic/mlox_portactivator.h"
#include "mlox/mlox_directmusic/studioproperty.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"

namespace {

using Lock = DirectMusicSubsystemLock;

constexpr short kCommonChannel = -1;
constexpr int kChannelCount = 16;
constexpr DWORD kNoChannelGroup = 0xFFFFFFFF;
constexpr std::uint32_t kAllChannels = 0xFFFF;
constexpr Mlox_InputID kNotRead{-1, -1};
// The list of modes has a row for the device as a whole in front of those of the channels.
constexpr int kModeRows = 17;
// A database that fails this often in a row has lost its count.
constexpr int kMostFailures = 4096;
constexpr char kNamesExtension[] = ".midnam";

// The identity that a raw object tells of itself; {-1, -1} if it has none.
template <class Raw>
Mlox_InputID ReadID(const std::shared_ptr<Raw>& iRawP) {
  std::shared_ptr<IEndpointIDs> ids;
  if (iRawP == nullptr || iRawP->GetIDs(&ids) != S_OK || ids == nullptr) return kNotRead;
  const Mlox_InputID id = GetMloxIDFromIDs(ids);
  return id.mServiceIndex == -1 ? GetInvalidMloxID(ids) : id;
}

// Text of one of a bank's operations; empty if that fails.
std::string ReadBankText(IStudioPatchBank& iBank, HRESULT (IStudioPatchBank::*iGet)(BSTR*)) {
  CComBSTRLite text;
  return (iBank.*iGet)(text.Reset()) == S_OK ? text.AsString() : std::string();
}

Sys_FileLoc LocationOf(const std::string& iPath) {
  return iPath.empty() ? Sys_FileLoc() : Sys_FileLoc(std::make_shared<Sys_FileLocWin32>(iPath));
}

void AddBankInfo(Cmn_PolyVector<Mlox_PatchNameBankInfo*>& ioBanks, IStudioPatchBank& iBank) {
  auto infoP = std::make_unique<Mlox_PatchNameBankInfo>();
  infoP->mBankName = ReadBankText(iBank, &IStudioPatchBank::GetName);
  infoP->mFile = LocationOf(ReadBankText(iBank, &IStudioPatchBank::GetFile));
  infoP->mPatchNameListName = ReadBankText(iBank, &IStudioPatchBank::GetPatchNameList);
  ioBanks.PushBack(infoP.get());
  static_cast<void>(infoP.release());  // the vector's from now on
}

// Names of the document scan separate folders by "\"; those that have none may separate them by ":".
constexpr char kSeparator = '\\';
constexpr char kOtherSeparator = ':';

std::string_view LeafOf(std::string_view iName) {
  size_t separator = iName.rfind(kSeparator);
  if (separator == std::string_view::npos) separator = iName.rfind(kOtherSeparator);
  return separator == std::string_view::npos ? iName : iName.substr(separator + 1);
}

// Steps from a folder to what a name of the scan names.
Sys_FileLoc StepInto(Sys_FileLoc iFolder, std::string iName) {
  for (;;) {
    size_t separator = iName.find(kSeparator);
    if (separator == std::string::npos) separator = iName.find(kOtherSeparator);
    if (separator == std::string::npos) return {iFolder, iName, Sys_FileType::cUnknown};
    iFolder = Sys_FileLoc(iFolder, iName.substr(0, separator), Sys_FileType::cFolder);
    iName.erase(0, separator + 1);
  }
}

Mlox_DirectMusic_Output* AsHardwareOutput(const Cmn_AliasedRefCountPtr<Mlox_Output>& iOutput) {
  return dynamic_cast<Mlox_DirectMusic_Output*>(iOutput.get());
}

}  // namespace

// ---- lifetime ----

// By value, as the binary interface has it.
// NOLINTBEGIN(performance-unnecessary-value-param)
Mlox_DirectMusic_Device::Mlox_DirectMusic_Device(Mdi_AppCallback* iAppCallbackP,
                                                 std::shared_ptr<IDeviceProperties> iDeviceP,
                                                 std::shared_ptr<IEntityProperties> iEntityP,
                                                 std::shared_ptr<IEndpointProperties> iEndpointP,
                                                 Mem2_MasterAllocator* iAllocatorP)
    : Mlox_Device(iAppCallbackP, 0), mAllocator(iAllocatorP) {
  UpdateWithRawProperties(iDeviceP, iEntityP, iEndpointP);
}
// NOLINTEND(performance-unnecessary-value-param)

Mlox_DirectMusic_Device::Mlox_DirectMusic_Device(const Mlox_DirectMusic_Device& iOther)
    : Mlox_Device(iOther), mAllocator(nullptr) {
  CopyFields(iOther);
}

Mlox_DirectMusic_Device& Mlox_DirectMusic_Device::operator=(const Mlox_DirectMusic_Device& iOther) {
  if (this == &iOther) return *this;
  Mlox_Device::operator=(iOther);
  CopyFields(iOther);
  return *this;
}

// In the order of the fields. The outputs are shared and stay those of the device that made them.
void Mlox_DirectMusic_Device::CopyFields(const Mlox_DirectMusic_Device& iOther) {
  const Lock lock;
  mDeviceProperties = iOther.mDeviceProperties;
  mEntityProperties = iOther.mEntityProperties;
  mEndpointProperties = iOther.mEndpointProperties;
  mIOEndpoint = iOther.mIOEndpoint;
  mInputID = iOther.mInputID;
  mIOMloxID = iOther.mIOMloxID;
  mIsUserDefined = iOther.mIsUserDefined;
  mMinWriteTime = iOther.mMinWriteTime;
  mManufacturerName = iOther.mManufacturerName;
  mModelName = iOther.mModelName;
  mChannelsAvailable = iOther.mChannelsAvailable;
  mDescriptor = iOther.mDescriptor;
  mOutputs = iOther.mOutputs;
  SetPort(iOther.mPort);
  mChannelGroup = iOther.mChannelGroup;
  mAllocator = iOther.mAllocator;
  mServiceReleased = iOther.mServiceReleased;
  mNeedsVerification = iOther.mNeedsVerification;
  mDeviceMloxID = iOther.mDeviceMloxID;
  mEntityMloxID = iOther.mEntityMloxID;
  mOMSOutputRefNum = iOther.mOMSOutputRefNum;
  mPortName = iOther.mPortName;
}

Mlox_DirectMusic_Device::~Mlox_DirectMusic_Device() { ReleaseOutList(); }

// ---- Mlox_Device ----

std::string Mlox_DirectMusic_Device::GetName() {
  const Lock lock;
  const std::shared_ptr<const Mlox_DeviceDescriptor> descriptorP = GetDeviceDescriptor();
  return descriptorP != nullptr ? descriptorP->GetName() : ReadInName();
}

Mlox_Output* Mlox_DirectMusic_Device::GetCommonOutput() {
  const Lock lock;
  return IsMidiChannelAvailable(kCommonChannel) ? GetOutputForChannelExt(kCommonChannel) : nullptr;
}

Mlox_Output* Mlox_DirectMusic_Device::GetOutputForChannel(short iMidiChannel) {
  const Lock lock;
  if (!IsMidiChannelAvailable(iMidiChannel) || iMidiChannel == kCommonChannel) return nullptr;
  return GetOutputForChannelExt(iMidiChannel);
}

bool Mlox_DirectMusic_Device::IsMidiChannelAvailable(short iMidiChannel) const {
  if (iMidiChannel == kCommonChannel) return true;
  if (iMidiChannel < 0 || iMidiChannel >= kChannelCount) return false;
  const Lock lock;
  if (mChannelsAvailable == 0) ReadInMidiChannelsAvailable();
  return ((mChannelsAvailable >> iMidiChannel) & 1u) != 0;
}

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_DirectMusic_Device::GetDeviceDescriptor() {
  const Lock lock;
  if (mDescriptor == nullptr) {
    const int hashValue = GetInputID().mInputNumber;
    mDescriptor = std::make_shared<Mlox_DirectMusic_DeviceDescriptor>(Mlox_DeviceDescriptor::kOutput,
                                                                      ReadInName(), hashValue);
  }
  return mDescriptor;
}

bool Mlox_DirectMusic_Device::IsUserDefined() const {
  const Lock lock;
  return mIsUserDefined;
}

// ---- the raw objects ----

bool Mlox_DirectMusic_Device::MatchWithRawProperties(const std::shared_ptr<IDeviceProperties>& iDeviceP,
                                                     const std::shared_ptr<IEntityProperties>& iEntityP,
                                                     const std::shared_ptr<IEndpointProperties>& iEndpointP) {
  const Lock lock;
  const bool matches = mDeviceProperties->CompareRaw(iDeviceP) == 0 &&
                       mEntityProperties->CompareRaw(iEntityP) == 0 &&
                       mEndpointProperties->CompareRaw(iEndpointP) == 0;
  mNeedsVerification = mNeedsVerification && !matches;
  return matches;
}

bool Mlox_DirectMusic_Device::UpdateWithRawProperties(
    const std::shared_ptr<IDeviceProperties>& iDeviceP, const std::shared_ptr<IEntityProperties>& iEntityP,
    const std::shared_ptr<IEndpointProperties>& iEndpointP) {
  const Lock lock;
  if (iDeviceP != mDeviceProperties) {
    mDeviceProperties = iDeviceP;
    mDeviceMloxID = ReadID(iDeviceP);
  }
  if (iEntityP != mEntityProperties) {
    mEntityProperties = iEntityP;
    mEntityMloxID = ReadID(iEntityP);
  }
  if (iEndpointP != mEndpointProperties) {
    mEndpointProperties = iEndpointP;
    mInputID = kNotRead;
  }
  const std::shared_ptr<const Mlox_DeviceDescriptor> oldP = GetDeviceDescriptor();
  ReadInIsUserDefined();
  ForgetWhatWasRead();
  RefreshOutputDescriptors(oldP.get());
  if (mOutputs.Size() > 0) ReadInIOPortAndChannelGroupIfNeeded();
  HandPortToOutputs();
  return true;
}

void Mlox_DirectMusic_Device::ForgetWhatWasRead() {
  mManufacturerName.clear();
  mModelName.clear();
  mMinWriteTime = 0.0;
  mDescriptor.reset();
  mIOMloxID = kNotRead;
  mIOEndpoint.reset();
  SetPort(nullptr);  // the channel group keeps its value until a port is looked for
  mChannelsAvailable = 0;
  mOMSOutputRefNum = -1;
}

void Mlox_DirectMusic_Device::RefreshOutputDescriptors(const Mlox_DeviceDescriptor* iOldP) {
  for (const auto& output : mOutputs) {
    const std::shared_ptr<const Mlox_DeviceDescriptor> newP = GetDeviceDescriptor();
    const bool isUnchanged = newP == nullptr || (iOldP != nullptr && newP->GetName() == iOldP->GetName() &&
                                                 newP->GetHashValue() == iOldP->GetHashValue());
    if (isUnchanged) return;
    if (Mlox_DirectMusic_Output* outputP = AsHardwareOutput(output)) outputP->RefreshDescriptor();
  }
}

// An output with this port but another group is left alone. That shape is settled: a port that stays keeps
// the group that the output was made with.
void Mlox_DirectMusic_Device::HandPortToOutputs() {
  for (const auto& output : mOutputs) {
    Mlox_DirectMusic_Output* outputP = AsHardwareOutput(output);
    if (outputP == nullptr) continue;
    DWORD group = kNoChannelGroup;
    IDirectMusicPort* portP = outputP->GetPort(&group);
    if (portP != mPort || group == mChannelGroup) outputP->SetPort(mPort, mChannelGroup);
    if (portP != nullptr) portP->Release();
  }
}

// ---- readers ----

void Mlox_DirectMusic_Device::ReadInIsUserDefined() {
  if (mDeviceProperties == nullptr) return;
  StudioProperty_ReadFlag(*mDeviceProperties, getter_wrapper::Get_PROPID_DeviceExternal(), &mIsUserDefined);
}

std::string Mlox_DirectMusic_Device::ReadInName() const {
  std::string name;
  if (mEntityProperties == nullptr) return name;
  const auto read = [&](const _GUID& iKey) {
    return StudioProperty_ReadString(*mEntityProperties, iKey, &name);
  };
  if (mIsUserDefined && read(getter_wrapper::Get_PROPID_EntityUserName()) != S_FALSE) return name;
  read(getter_wrapper::Get_PROPID_EntityName());
  return name;
}

void Mlox_DirectMusic_Device::ReadInManufacturerName() {
  mManufacturerName.clear();
  if (mDeviceProperties == nullptr) return;
  StudioProperty_ReadString(*mDeviceProperties, getter_wrapper::Get_PROPID_DeviceManufacturerName(),
                            &mManufacturerName);
}

void Mlox_DirectMusic_Device::ReadInModelName() {
  mModelName.clear();
  if (mDeviceProperties == nullptr) return;
  StudioProperty_ReadString(*mDeviceProperties, getter_wrapper::Get_PROPID_DeviceModelName(), &mModelName);
}

std::string Mlox_DirectMusic_Device::GetManufacturerName() {
  const Lock lock;
  if (mManufacturerName.empty()) ReadInManufacturerName();
  return mManufacturerName;
}

std::string Mlox_DirectMusic_Device::GetModelName() {
  const Lock lock;
  if (mModelName.empty()) ReadInModelName();
  return mModelName;
}

void Mlox_DirectMusic_Device::ReadInMidiChannelsAvailable() const {
  mChannelsAvailable = kAllChannels;
  if (mEntityProperties == nullptr) return;
  LONG mask = 0;
  if (StudioProperty_ReadInt(*mEntityProperties, getter_wrapper::Get_PROPID_EntityReceiveChannels(), &mask) ==
      S_OK) {
    mChannelsAvailable = static_cast<std::uint32_t>(mask);
  }
}

double Mlox_DirectMusic_Device::ReadInMinWriteTime() {
  const Lock lock;
  if (mDeviceProperties == nullptr) return 0.0;
  StudioProperty_ReadDouble(*mDeviceProperties, getter_wrapper::Get_PROPID_DeviceScheduleAheadMuSec(),
                            &mMinWriteTime);
  return mMinWriteTime;
}

double Mlox_DirectMusic_Device::GetMinWriteTime() {
  const Lock lock;
  if (mMinWriteTime != 0.0) return mMinWriteTime;
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  return clock != nullptr ? static_cast<double>(clock->MeasureLatency(mPort)) / 10.0 : 0.0;
}

Mlox_InputID Mlox_DirectMusic_Device::GetInputID() {
  const Lock lock;
  if (mInputID == kNotRead) ReadInInputID();
  return mInputID;
}

void Mlox_DirectMusic_Device::ReadInInputID() { mInputID = ReadID(mEndpointProperties); }

Mlox_InputID Mlox_DirectMusic_Device::GetIOMloxID() {
  const Lock lock;
  if (mIOMloxID == kNotRead) ReadInIOMloxID();
  return mIOMloxID;
}

// A user-defined device plays through the first endpoint that it is wired to; the others take no part.
void Mlox_DirectMusic_Device::ReadInIOMloxID() {
  if (!mIsUserDefined) {
    mIOMloxID = GetInputID();
    return;
  }
  mIOMloxID = kNotRead;
  std::shared_ptr<IEndpointIDs> ids;
  if (GetNumConnections() == 0 || mEndpointProperties->GetConnection(0, &ids) != S_OK) return;
  mIOMloxID = GetMloxIDFromIDs(ids);
  if (mIOMloxID.mServiceIndex == -1) mIOMloxID = GetInvalidMloxID(ids);
}

void Mlox_DirectMusic_Device::GetIOEndpoint(std::shared_ptr<IEndpointProperties>* oEndpointP) {
  if (oEndpointP == nullptr) return;
  const Lock lock;
  if (mIOEndpoint == nullptr) ReadInIOEndpoint();
  *oEndpointP = mIOEndpoint;
}

void Mlox_DirectMusic_Device::ReadInIOEndpoint() {
  mIOEndpoint.reset();
  if (!mIsUserDefined) {
    mIOEndpoint = mEndpointProperties;
    return;
  }
  const Mlox_DirectMusic_ServiceHandle* serviceP = sService.load();
  if (serviceP == nullptr) return;
  const std::shared_ptr<IDirectMusicStudio> studioP = serviceP->GetStudio();
  std::shared_ptr<IEndpointIDs> ids;
  if (studioP == nullptr || !FindRegisteredIDs(GetIOMloxID(), &ids)) return;
  std::shared_ptr<IDeviceProperties> deviceP;
  std::shared_ptr<IEntityProperties> entityP;
  std::shared_ptr<IEndpointProperties> endpointP;
  if (studioP->FindRawProperties(ids, &deviceP, &entityP, &endpointP) != S_OK) return;
  if (deviceP != nullptr && entityP != nullptr) mIOEndpoint = endpointP;
}

int Mlox_DirectMusic_Device::GetNumConnections() {
  const Lock lock;
  return CountConnections(mEndpointProperties);
}

bool Mlox_DirectMusic_Device::IsConnectedTo(const Mlox_InputID& iID) {
  const Lock lock;
  return IsWiredTo(mEndpointProperties, iID);
}

bool Mlox_DirectMusic_Device::IsPartOf(const Mlox_InputID& iID, const int& iLevel) {
  const Lock lock;
  switch (iLevel) {
    case 0:
      return mEndpointProperties != nullptr && GetInputID() == iID;
    case 1:
      return mEntityProperties != nullptr && mEntityMloxID == iID;
    case 2:
      return mDeviceProperties != nullptr && mDeviceMloxID == iID;
    default:
      return false;
  }
}

// ---- the port ----

void Mlox_DirectMusic_Device::SetPort(IDirectMusicPort* iPortP) {
  if (iPortP != nullptr) iPortP->AddRef();
  IDirectMusicPort* const oldP = std::exchange(mPort, iPortP);
  if (oldP != nullptr) oldP->Release();
}

void Mlox_DirectMusic_Device::ReadInIOPortAndChannelGroupIfNeeded() {
  if (mPort != nullptr) return;
  mPortName.clear();
  mChannelGroup = kNoChannelGroup;
  if (mIOEndpoint == nullptr) ReadInIOEndpoint();
  std::shared_ptr<IEndpointIDs> ids;
  if (mIOEndpoint == nullptr || mIOEndpoint->GetIDs(&ids) != S_OK || ids == nullptr) return;
  IDirectMusicPort* portP = nullptr;
  if (DirectMusicClient::GetOutputPort(ids, &portP) != S_OK || portP == nullptr) return;
  LONG group = 0;
  if (StudioProperty_ReadInt(*ids, getter_wrapper::Get_PROPID_EndpointUniqueID(), &group) == S_OK) {
    SetPort(portP);
    mChannelGroup = static_cast<DWORD>(group);
    ActivatePort();
  }
  portP->Release();
}

void Mlox_DirectMusic_Device::ActivatePort() {
  DMUS_PORTCAPS caps = {};
  caps.dwSize = sizeof(caps);
  if (SUCCEEDED(mPort->GetCaps(&caps))) Mlox_PortActivator::Apply(GetIOMloxID(), mPort, true);
}

// ---- outputs ----

Mlox_Output* Mlox_DirectMusic_Device::GetOutputForChannelExt(const short& iChannel) {
  if (mServiceReleased) return nullptr;
  for (const auto& output : mOutputs) {
    const auto descriptor = output->GetDescriptor();
    if (descriptor && descriptor->GetChannel() == iChannel) return output.get();
  }
  if (mOutputs.Size() == 0) ReadInIOPortAndChannelGroupIfNeeded();
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(
      new Mlox_DirectMusic_Output(GetAppCallback(), this, iChannel, mPort, mChannelGroup, mAllocator));
  mOutputs.PushBack(output);
  return output.get();
}

void Mlox_DirectMusic_Device::ReleaseOutList() {
  const Lock lock;
  for (const auto& output : mOutputs) {
    if (Mlox_DirectMusic_Output* outputP = AsHardwareOutput(output)) outputP->mReleased = true;
  }
  mOutputs.Clear();
  SetPort(nullptr);
}

// ---- the service's marks ----

bool Mlox_DirectMusic_Device::IsNeedsVerification() const {
  const Lock lock;
  return mNeedsVerification;
}

void Mlox_DirectMusic_Device::SetNeedsVerification() {
  const Lock lock;
  mNeedsVerification = true;
}

bool Mlox_DirectMusic_Device::IsServiceReleased() const {
  const Lock lock;
  return mServiceReleased;
}

void Mlox_DirectMusic_Device::SetServiceReleased() {
  const Lock lock;
  mServiceReleased = true;
  ReleaseOutList();
}

short Mlox_DirectMusic_Device::GetOMSOutputRefNum() const {
  const Lock lock;
  return mOMSOutputRefNum;
}

// ---- patches ----

// What follows may read folders, so it works on the raw device without the lock. Raw objects are values that
// any thread may use.
std::shared_ptr<IDeviceProperties> Mlox_DirectMusic_Device::HeldDevice() const {
  const Lock lock;
  return mDeviceProperties;
}

bool Mlox_DirectMusic_Device::GetBankPatchInfo(Cmn_PolyVector<Mlox_PatchNameBankInfo*>* oBanksP,
                                               bool* oIsDefaultP) {
  const std::shared_ptr<IDeviceProperties> deviceP = HeldDevice();
  if (oBanksP == nullptr || deviceP == nullptr) return false;
  if (oIsDefaultP != nullptr) *oIsDefaultP = true;
  for (const Mlox_PatchNameBankInfo* bankP : *oBanksP) delete bankP;
  oBanksP->Clear();
  int count = 0;
  if (deviceP->GetPatchBankCount(&count) != S_OK) return false;
  int failures = 0;
  for (int index = 0; index < count && failures < kMostFailures; ++index) {
    std::shared_ptr<IStudioPatchBank> bankP;
    const bool isThere = deviceP->GetPatchBank(index, &bankP) == S_OK && bankP != nullptr;
    if (isThere) AddBankInfo(*oBanksP, *bankP);
    failures = isThere ? 0 : failures + 1;
  }
  if (oIsDefaultP != nullptr && oBanksP->Size() > 0) *oIsDefaultP = false;
  return true;
}

bool Mlox_DirectMusic_Device::GetPatchNameMode(const int& iChannel, std::string* oModeP, bool* oIsDefaultP) {
  const std::shared_ptr<IDeviceProperties> deviceP = HeldDevice();
  if (static_cast<unsigned>(iChannel) >= unsigned{kChannelCount} || oModeP == nullptr || deviceP == nullptr)
    return false;
  const CComBSTRLite key(getter_wrapper::Get_PROPID_DeviceChannelModes());
  const int row = iChannel + 1;
  int count = 0;
  HRESULT result = deviceP->GetArrayCount(key, &count);
  bool isFound = false;
  if (result == S_OK && row < count) {
    CComBSTRLite text;
    result = deviceP->GetArrayItem(key, row, text.Reset());
    isFound = result == S_OK;
    if (isFound) *oModeP = text.AsString();
  }
  if (oIsDefaultP != nullptr) *oIsDefaultP = !isFound;
  return isFound || result == S_FALSE;
}

void Mlox_DirectMusic_Device::SetPatchNameMode(const int& iChannel, const std::string& iMode) {
  const std::shared_ptr<IDeviceProperties> deviceP = HeldDevice();
  if (static_cast<unsigned>(iChannel) >= unsigned{kChannelCount} || deviceP == nullptr) return;
  const CComBSTRLite key(getter_wrapper::Get_PROPID_DeviceChannelModes());
  int count = 0;
  const HRESULT result = deviceP->GetArrayCount(key, &count);
  if (result == S_FALSE) {
    for (count = 0; count < kModeRows; ++count)
      deviceP->AppendArrayItem(key, OLESTR("currentModes"), -1, OLESTR(""));
  } else if (result != S_OK) {
    return;
  }
  const int row = iChannel + 1;
  if (row < count) deviceP->SetArrayItem(key, row, CComBSTRLite(iMode));
}

bool Mlox_DirectMusic_Device::GetFactoryPatchFileName(Sys_FileLoc* oFileLocP, bool* oIsDefaultP) {
  const std::shared_ptr<IDeviceProperties> deviceP = HeldDevice();
  if (oFileLocP == nullptr || deviceP == nullptr) return false;
  std::string path;
  HRESULT result =
      StudioProperty_ReadString(*deviceP, getter_wrapper::Get_PROPID_DeviceMasterNamesFileLoc(), &path);
  if (result == S_FALSE && InitializePatchNameFile(&path)) result = S_OK;
  if (result != S_OK) path.clear();
  *oFileLocP = LocationOf(path);
  if (oIsDefaultP != nullptr) *oIsDefaultP = result == S_FALSE;
  return result == S_OK;
}

void Mlox_DirectMusic_Device::SetFactoryPatchFileName(const Sys_FileLoc& iFile) {
  const std::shared_ptr<IDeviceProperties> deviceP = HeldDevice();
  if (deviceP == nullptr) return;
  const CComBSTRLite key(getter_wrapper::Get_PROPID_DeviceMasterNamesFileLoc());
  deviceP->SetStringProperty(key, OLESTR("master"), CComBSTRLite(iFile.GetFullPath()), -1);
}

bool Mlox_DirectMusic_Device::InitializePatchNameFile(std::string* oPathP) {
  if (oPathP == nullptr) return false;
  const std::string manufacturer = GetManufacturerName();
  const std::string model = GetModelName();
  if (manufacturer.empty() || model.empty()) return false;
  const std::string wanted = manufacturer + " " + model;
  std::vector<std::string> names;
  if (ScanPatchFileNamesDir(&names, manufacturer) <= 0) return false;
  for (const std::string& name : names) {
    if (!midixml::EqualsIgnoringCase(LeafOf(name), wanted)) continue;
    const std::string relative = name + kNamesExtension;
    const Sys_FileLoc base = Sys_FileLocUtils::GetMIDIPatchFileBaseDir();
    *oPathP = base.GetStdFullPath() + relative;
    SetFactoryPatchFileName(StepInto(base, relative));
    return true;
  }
  return false;
}
