// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_output.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

#include "cmn/cmn_assert.h"
#include "cmn/mem2_masterallocator.h"
#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletion.h"
#include "cmn/sys_utils.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "midixml/mlox_namesreader.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicclocksync.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"
#include "mlox/mlox_directmusic/mlox_directmusic_eventpacker.h"
#include "mlox/mlox_directmusic/mlox_directmusic_portwriter.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_outputdescriptor.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmusic/mlox_directmusic_output";

constexpr short kCommonChannel = -1;
constexpr unsigned kChannelCount = 16;
// Room for two packed events and their headers.
constexpr LONG kBufferSize = 512;
// A port is never given less warning than this, in microseconds.
constexpr double kLeastWarning = 50000.0;
// What a count of names gives for a fault in a document.
constexpr int kNamesFault = -8;

constexpr unsigned char kSysexStart = 0xF0;
constexpr unsigned char kSysexEnd = 0xF7;
// Both of these around the longest body.
constexpr int kMaxSysexLength = Mlox_DirectMusic_Output::cMaxLimitedSysexLength + 2;

// Cut to a whole number, kept within 32 bits; 0 for what isn't a number.
int AsInt(double iValue) {
  constexpr double kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr double kMost = std::numeric_limits<std::int32_t>::max();
  if (!(iValue >= kLeast)) return iValue < kLeast ? std::numeric_limits<std::int32_t>::min() : 0;
  return iValue > kMost ? std::numeric_limits<std::int32_t>::max() : static_cast<int>(iValue);
}

/// Holds the banks of a device, which belong to whoever asked for them.
struct BankList {
  BankList() = default;
  BankList(const BankList&) = delete;
  BankList& operator=(const BankList&) = delete;
  ~BankList() {
    for (Mlox_PatchNameBankInfo* bankP : mBanks) delete bankP;
  }

  Cmn_PolyVector<Mlox_PatchNameBankInfo*> mBanks;
};

/// Memory for the length of a call, from a pool that needs no lock; null if there is none.
class TemporaryBytes {
 public:
  TemporaryBytes(Mem2_MasterAllocator* iAllocatorP, int iLength)
      : mAllocator(iAllocatorP != nullptr ? *iAllocatorP : Mem2_MasterAllocator::Shared()) {
    const std::int64_t size = std::max<std::int64_t>(32, (std::int64_t{iLength} + 31) & ~std::int64_t{7}) + 4;
    if (size <= std::numeric_limits<int>::max())
      mBytesP = static_cast<unsigned char*>(mAllocator.Alloc(static_cast<int>(size), nullptr));
  }
  TemporaryBytes(const TemporaryBytes&) = delete;
  TemporaryBytes& operator=(const TemporaryBytes&) = delete;
  ~TemporaryBytes() { mAllocator.Free(mBytesP, nullptr); }

  unsigned char* Get() const { return mBytesP; }

 private:
  Mem2_MasterAllocator& mAllocator;
  unsigned char* mBytesP = nullptr;
};

Mlox_MidiData::ESysexState Classify(const unsigned char* iDataP, int iLength) {
  Mlox_MidiData record;
  record.mData = iDataP;
  record.mLength = static_cast<std::uint32_t>(
      std::min(iLength, static_cast<int>(Mlox_DirectMusic_Output::cMaxLimitedSysexLength)));
  Mlox_SetSysexState(&record, Mlox_MidiData::kNoSysex);
  return record.mSysexState;
}

}  // namespace

/// What the packer's sends come to for one output.
class Mlox_DirectMusic_Output::Sender final : public Mlox_DirectMusic_EventPacker::Target {
 public:
  explicit Sender(Mlox_DirectMusic_Output& iOutput) : mOutput(iOutput) {}

  void Send(bool iImmediate, std::int64_t iTime, const unsigned char* iDataP, int iLength) override {
    mOutput.SendBytes(iImmediate, iTime, iDataP, iLength);
  }
  // Also once the service is gone: whoever has slept meanwhile then gives up.
  bool IsStopped() override { return Mlox_DirectMusic_ServiceHandle::Singleton().IsStopPlaybackFlagSet(); }
  std::int64_t Now() override { return Sys_Clock::Microseconds(); }
  void Sleep(std::int64_t iMilliseconds) override { Sys_Utils::Sleep(iMilliseconds); }

 private:
  Mlox_DirectMusic_Output& mOutput;
};

// ---- lifetime ----

Mlox_DirectMusic_Output::Mlox_DirectMusic_Output(Mdi_AppCallback* iAppCallbackP,
                                                 Mlox_DirectMusic_Device* iDeviceP, short iChannel,
                                                 IDirectMusicPort* iPortP, DWORD iChannelGroup,
                                                 Mem2_MasterAllocator* iAllocatorP)
    : Mlox_Output(iAppCallbackP), mDeviceP(iDeviceP), mChannel(iChannel), mAllocatorP(iAllocatorP) {
  RefreshDescriptor();
  SetPort(iPortP, iChannelGroup);
}

Mlox_DirectMusic_Output::~Mlox_DirectMusic_Output() {
  if (mPort != nullptr) mPort->Release();
  mPatchNamesP.reset();
  if (mBuffer != nullptr) mBuffer->Release();
}

// ---- inquiries ----

int Mlox_DirectMusic_Output::GetTimestampedPreSendSamples(double iSampleRate) {
  if (mDeviceP == nullptr) return 0;
  const DirectMusicSubsystemLock lock;  // the device can't let go of this, and then end, while it is asked
  if (mReleased) return 0;
  const double floor = mIsTimestamped ? kLeastWarning : 0.0;
  const double asked = mDeviceP->GetMinWriteTime();
  return AsInt((floor > asked ? floor : asked) * iSampleRate / 1000000.0);
}

Time_SampleLength Mlox_DirectMusic_Output::GetZeroJitterDelay(double) {
  const Mlox_DirectMusic_ServiceHandle* serviceP = sService.load();
  return Time_SampleLength(serviceP != nullptr ? serviceP->GetZeroJitterDelay() : 0);
}

bool Mlox_DirectMusic_Output::IsTimestamped() { return mIsTimestamped; }

Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> Mlox_DirectMusic_Output::GetDescriptor() const {
  const std::lock_guard lock(mMutex);
  return mDescriptorP;
}

Mlox_Device* Mlox_DirectMusic_Output::GetDevice() { return mReleased ? nullptr : mDeviceP; }

void Mlox_DirectMusic_Output::AddThruCount() {}

void Mlox_DirectMusic_Output::RemoveThruCount() {}

// ---- patches and modes ----

int Mlox_DirectMusic_Output::GetNumberOfPatches() { return CountNames(&Mlox_NamesReader::CountPatches); }

int Mlox_DirectMusic_Output::GetNumberOfAvailableModes() {
  if (mReleased) return 0;
  return CountNames(&Mlox_NamesReader::ReadBankNames);
}

// What the studio has under the mode of the channel goes to the reader as the name of a channel name set, and
// no mode is named: the names that a user chooses a mode from are those of the channel name sets.
template <class Count>
int Mlox_DirectMusic_Output::CountNames(Count iCount) {
  if (mPatchNamesP == nullptr) mPatchNamesP.reset(new (std::nothrow) Mlox_NamesReader);
  if (mPatchNamesP == nullptr) return 0;
  Mlox_DirectMusic_Device* deviceP = FindDevice();
  if (deviceP == nullptr || static_cast<unsigned>(mChannel) >= kChannelCount) return 0;
  try {
    Sys_FileLoc file;
    BankList banks;
    std::string mode;
    if (!deviceP->GetFactoryPatchFileName(&file, nullptr)) return 0;
    if (!deviceP->GetBankPatchInfo(&banks.mBanks, nullptr)) return 0;
    if (!deviceP->GetPatchNameMode(mChannel, &mode, nullptr)) return 0;
    return ((*mPatchNamesP).*iCount)(file, banks.mBanks, std::string(), mode, mChannel,
                                     deviceP->GetManufacturerName(), deviceP->GetModelName());
  } catch (...) {
    return kNamesFault;  // documents are users' own: a fault in one is an answer
  }
}

bool Mlox_DirectMusic_Output::GetPatchName(std::string* oNameP, const Mdie_ProgramEvent& iProgramEvent) {
  if (oNameP == nullptr || mReleased || mPatchNamesP == nullptr) return false;
  return mPatchNamesP->GetPatchName(iProgramEvent, oNameP);
}

Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> Mlox_DirectMusic_Output::GetPatchInfo(int iIndex) {
  if (mReleased || mPatchNamesP == nullptr) return nullptr;
  return mPatchNamesP->GetPatchInfo(iIndex);
}

std::string Mlox_DirectMusic_Output::GetAvailableModeName(const int& iIndex) {
  if (mReleased || mPatchNamesP == nullptr) return {};
  return mPatchNamesP->GetBankName(iIndex);
}

std::string Mlox_DirectMusic_Output::GetCurrentMode() {
  if (mReleased) return {};
  Mlox_DirectMusic_Device* deviceP = FindDevice();
  std::string mode;
  if (deviceP == nullptr || !deviceP->GetPatchNameMode(mChannel, &mode, nullptr)) return {};
  return mode;
}

void Mlox_DirectMusic_Output::SetCurrentMode(const std::string& iModeName) {
  if (mReleased) return;
  Mlox_DirectMusic_Device* deviceP = FindDevice();
  if (deviceP != nullptr) deviceP->SetPatchNameMode(mChannel, iModeName);
}

Mlox_DirectMusic_Device* Mlox_DirectMusic_Output::FindDevice() {
  return dynamic_cast<Mlox_DirectMusic_Device*>(GetDevice());
}

// ---- writes ----

bool Mlox_DirectMusic_Output::CanWrite() const {
  if (mDeviceP == nullptr || mReleased) return false;
  const Mlox_DirectMusic_ServiceHandle* serviceP = sService.load();
  return serviceP != nullptr && !serviceP->IsSuspended();
}

void Mlox_DirectMusic_Output::WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                                         Mlox_OutputContextRef) {
  const Sys_EpochGuard epochGuard;
  if (!CanWrite() || iEvent.GetNumMessages() == 0) return;
  Mlox_DirectMusic_ServiceHandle::Singleton().SetStopPlaybackFlag(false);
  // Without an application nobody can tell when a sample is due.
  const bool immediate = iTimestamp.IsImmediate() || GetAppCallback() == nullptr;
  const std::int64_t time = immediate ? 0 : GetAppCallback()->SampleToMicroseconds(iTimestamp.AsSample());
  Sender sender(*this);
  Mlox_DirectMusic_EventPacker(sender, mChannel).Write(iEvent, immediate, time);
}

void Mlox_DirectMusic_Output::WriteLimitedSysex(const unsigned char* iDataP, int iLength,
                                                Mlox_OutputContextRef) {
  const Sys_EpochGuard epochGuard;
  CMN_ASSERT_THROWING_FROM(kAssertSource, iLength <= cMaxLimitedSysexLength,
                           "iLength <= cMaxLimitedSysexLength");
  if (iDataP == nullptr || iLength <= 0 || iLength > cMaxLimitedSysexLength || !CanWrite()) return;
  unsigned char message[kMaxSysexLength] = {};
  message[0] = kSysexStart;
  std::memcpy(message + 1, iDataP, static_cast<std::size_t>(iLength));
  message[iLength + 1] = kSysexEnd;
  SendBytes(true, 0, message, iLength + 2);
}

void Mlox_DirectMusic_Output::WriteRawMIDI(const unsigned char* iDataP, int iLength,
                                           Mlox_OutputContextRef iContext) {
  const Sys_EpochGuard epochGuard;
  if (iDataP == nullptr || iLength <= 0 || !CanWrite()) return;
  const Mlox_MidiData::ESysexState state = Classify(iDataP, iLength);
  if (state == Mlox_MidiData::kWholeSysex) return WriteLimitedSysex(iDataP + 1, iLength - 2, iContext);
  if (state != Mlox_MidiData::kNoSysex) return;
  const TemporaryBytes bytes(mAllocatorP, iLength);
  if (bytes.Get() == nullptr) return;
  if (!Mlox_DirectMusic_EventPacker::CopyRaw(iDataP, iLength, mChannel, bytes.Get())) return;
  SendBytes(true, 0, bytes.Get(), iLength);
}

// ---- sending ----

// The buffer, once made, stays until the end of this object; the port is held for the time of the send.
HRESULT Mlox_DirectMusic_Output::SendBytes(bool iImmediate, std::int64_t iTime, const unsigned char* iDataP,
                                           int iLength) {
  if (!mIsTimestamped) return Mlox_DirectMusic_PortWriter::kNoPortSet;
  std::unique_lock lock(mMutex);
  if (mBuffer == nullptr) return Mlox_DirectMusic_PortWriter::kMissing;
  Mlox_DirectMusic_PortWriter::Empty(*mBuffer);
  if (mPort == nullptr) return Mlox_DirectMusic_PortWriter::kMissing;
  IDirectMusicPort& port = *mPort;
  const DWORD group = mChannelGroup;
  port.AddRef();
  HRESULT result = Mlox_DirectMusic_PortWriter::kMissing;
  REFERENCE_TIME time = 0;
  if (iImmediate) result = Mlox_DirectMusic_PortWriter::GetEarliestTime(port, &time);
  if (FAILED(result)) {
    // Without the mutex: the shared clock may take the subsystem's lock, under which the device calls
    // SetPort.
    lock.unlock();
    result = ConvertTime(iTime, result, &time);
    lock.lock();
  }
  if (SUCCEEDED(result)) {
    result = Mlox_DirectMusic_PortWriter(*mBuffer, port, group).Play(time, iDataP, iLength);
  } else {
    Mlox_DirectMusic_PortWriter::Empty(*mBuffer);
  }
  lock.unlock();
  port.Release();
  return result;
}

// Without a clock, the result is that of before.
HRESULT Mlox_DirectMusic_Output::ConvertTime(std::int64_t iTime, HRESULT iBefore, REFERENCE_TIME* oTimeP) {
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  if (clock == nullptr) return iBefore;
  *oTimeP = clock->MicrosecondsToReferenceTime(iTime);
  return S_OK;
}

// ---- the device's operations ----

IDirectMusicPort* Mlox_DirectMusic_Output::GetPort(DWORD* oChannelGroupP) {
  const std::lock_guard lock(mMutex);
  if (mPort != nullptr) mPort->AddRef();
  if (oChannelGroupP != nullptr) *oChannelGroupP = mChannelGroup;
  return mPort;
}

void Mlox_DirectMusic_Output::SetPort(IDirectMusicPort* iPortP, DWORD iChannelGroup) {
  if (iPortP != nullptr) iPortP->AddRef();
  // Made outside the mutex, since the root may be asked for under the subsystem's lock; only this operation
  // sets it.
  IDirectMusicBuffer* newBufferP = nullptr;
  if (iPortP != nullptr && mBuffer == nullptr &&
      FAILED(DirectMusicClient::CreateMusicBuffer(kBufferSize, &newBufferP))) {
    newBufferP = nullptr;
  }
  IDirectMusicPort* oldPortP = nullptr;
  {
    const std::lock_guard lock(mMutex);
    oldPortP = mPort;
    mPort = iPortP;
    mChannelGroup = iChannelGroup;
    mIsTimestamped = iPortP != nullptr;
    if (newBufferP != nullptr) mBuffer = newBufferP;
    if (mBuffer != nullptr) Mlox_DirectMusic_PortWriter::Empty(*mBuffer);
  }
  if (oldPortP != nullptr) oldPortP->Release();
}

void Mlox_DirectMusic_Output::RefreshDescriptor() {
  if (mDeviceP == nullptr || mReleased) return;
  std::shared_ptr<const Mlox_DeviceDescriptor> deviceDescriptorP = mDeviceP->GetDeviceDescriptor();
  if (deviceDescriptorP == nullptr) return;
  const short channel = mChannel == kCommonChannel ? mChannel : static_cast<short>(mChannel & 0xFF);
  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> descriptorP(
      new Mlox_OutputDescriptor(std::move(deviceDescriptorP), channel));
  const std::lock_guard lock(mMutex);
  std::swap(mDescriptorP, descriptorP);
}
