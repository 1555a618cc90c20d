// SPDX-License-Identifier: MIT
/// \file
/// A service, its devices, outputs and inputs, for tests of whatever stands on the service interface.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_input.h"
#include "mlox/mlox_manager_listener.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_outputdescriptor.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "mlox/mlox_service.h"

class Mlox_Manager;

/// What has been called, in order; shared by the fakes of one test, which write "<name> <operation>" into it.
using Test_CallLog = std::vector<std::string>;

/// Counts what the library asks of the application. Sample n is due at 1000 * n microseconds.
class Test_FakeAppCallback : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return 1000 * iSampleTime.AsInt64(); }
  void StopPlayback() override { ++mStops; }

  int mStops = 0;
};

/// An identity of its own kind: equal names and ids, and a match type of the test's choice.
class Test_FakeDescriptor : public Mlox_DeviceDescriptor {
 public:
  Test_FakeDescriptor(std::string iName, int iID, int iMatchType = 0)
      : mName(std::move(iName)), mID(iID), mMatchType(iMatchType) {}

  bool Equals(const Mlox_DeviceDescriptor* iOtherP) const override {
    const auto* otherP = dynamic_cast<const Test_FakeDescriptor*>(iOtherP);
    return otherP != nullptr && otherP->mName == mName && otherP->mID == mID;
  }
  std::string GetName() const override { return mName; }
  int GetHashValue() const override { return mID; }
  MatchType GetMatchType() const override { return static_cast<MatchType>(mMatchType); }

  const std::string mName;
  const int mID;
  const int mMatchType;
};

/// Makes a shared Test_FakeDescriptor.
inline std::shared_ptr<const Mlox_DeviceDescriptor> Test_MakeDescriptor(const std::string& iName, int iID,
                                                                        int iMatchType = 0) {
  return std::make_shared<Test_FakeDescriptor>(iName, iID, iMatchType);
}

/// Makes an Mlox_OutputDescriptor of a Test_FakeDescriptor.
inline Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> Test_MakeOutputDescriptor(const std::string& iName,
                                                                                     int iID, short iChannel,
                                                                                     int iMatchType = 0) {
  return new Mlox_OutputDescriptor(Test_MakeDescriptor(iName, iID, iMatchType), iChannel);
}

/// An output that remembers what is written to it.
class Test_FakeOutput : public Mlox_Output {
 public:
  struct Write {
    Mdie_Timestamp mTimestamp;
    Mdie_Event mEvent;
    Mlox_OutputContextRef mContext;
  };

  Test_FakeOutput(Mlox_Device* iDeviceP, std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP,
                  short iChannel, Mdi_AppCallback* iAppCallbackP = nullptr)
      : Mlox_Output(iAppCallbackP),
        mDeviceP(iDeviceP),
        mDescriptorP(new Mlox_OutputDescriptor(std::move(iDescriptorP), iChannel)) {}

  ~Test_FakeOutput() override {
    if (mDeletionLogP != nullptr) mDeletionLogP->push_back(mName + " deleted");
  }

  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                  Mlox_OutputContextRef iContext) override {
    mWrites.push_back({iTimestamp, iEvent, iContext});
    if (mLogP != nullptr) mLogP->push_back(mName + " WriteEvent");
  }
  void WriteLimitedSysex(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override {
    mLimitedSysexes.emplace_back(iDataP, iDataP + iLength);
    mLastContext = iContext;
  }
  void WriteRawMIDI(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override {
    mRawWrites.emplace_back(iDataP, iDataP + iLength);
    mLastContext = iContext;
  }
  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> GetDescriptor() const override { return mDescriptorP; }
  Mlox_Device* GetDevice() override { return mDeviceP; }
  int GetNumberOfPatches() override { return 0; }
  bool GetPatchName(std::string*, const Mdie_ProgramEvent&) override { return false; }
  Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> GetPatchInfo(int) override { return nullptr; }
  void AddThruCount() override {}
  void RemoveThruCount() override {}

  Mlox_Device* mDeviceP;
  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> mDescriptorP;
  std::vector<Write> mWrites;
  std::vector<std::vector<unsigned char>> mLimitedSysexes;
  std::vector<std::vector<unsigned char>> mRawWrites;
  Mlox_OutputContextRef mLastContext;
  Test_CallLog* mLogP = nullptr;
  /// Only set this if the log outlives delayed deletion, or take it back in time.
  Test_CallLog* mDeletionLogP = nullptr;
  std::string mName;
};

/// A device with a common output and one output for each of 16 channels.
class Test_FakeDevice : public Mlox_Device {
 public:
  explicit Test_FakeDevice(std::string iName, int iID = 0, Test_CallLog* iLogP = nullptr)
      : Mlox_Device(nullptr, 0), mName(iName), mDescriptorP(Test_MakeDescriptor(iName, iID)) {
    mCommonOutput = MakeOutput(-1, iLogP);
    for (short channel = 0; channel < 16; ++channel) {
      mChannelOutputs[static_cast<std::size_t>(channel)] = MakeOutput(channel, iLogP);
    }
  }

  ~Test_FakeDevice() override {
    // Outputs outlive their device; they have left it then.
    if (mCommonOutput) mCommonOutput->mDeviceP = nullptr;
    for (const auto& output : mChannelOutputs) {
      if (output) output->mDeviceP = nullptr;
    }
  }

  std::string GetName() override { return mName; }
  Mlox_Output* GetCommonOutput() override { return mCommonOutput.get(); }
  Mlox_Output* GetOutputForChannel(short iChannel) override {
    if (iChannel < 0 || iChannel > 15) return nullptr;
    return mChannelOutputs[static_cast<std::size_t>(iChannel)].get();
  }
  bool IsMidiChannelAvailable(short iChannel) const override { return ((mChannelMask >> iChannel) & 1) != 0; }
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() override { return mDescriptorP; }
  bool GetReceivesMBC() const override { return mReceivesMBC; }

  std::string mName;
  std::shared_ptr<const Mlox_DeviceDescriptor> mDescriptorP;
  unsigned mChannelMask = 0xFFFF;
  bool mReceivesMBC = true;
  Cmn_AliasedRefCountPtr<Test_FakeOutput> mCommonOutput;
  std::array<Cmn_AliasedRefCountPtr<Test_FakeOutput>, 16> mChannelOutputs;

 private:
  Cmn_AliasedRefCountPtr<Test_FakeOutput> MakeOutput(short iChannel, Test_CallLog* iLogP) {
    Cmn_AliasedRefCountPtr<Test_FakeOutput> output = new Test_FakeOutput(this, mDescriptorP, iChannel);
    output->mLogP = iLogP;
    output->mName = mName + ":" + std::to_string(iChannel);
    return output;
  }
};

/// An input with a name and an id.
class Test_FakeInput : public Mlox_Input {
 public:
  explicit Test_FakeInput(std::string iName, int iID = 0, bool iIsVirtual = false)
      : mName(iName), mDescriptorP(Test_MakeDescriptor(iName, iID)), mID(iID), mIsVirtual(iIsVirtual) {}

  Mlox_InputID GetInputID() const override { return {1, mID}; }
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() const override { return mDescriptorP; }
  std::string GetName() const override { return mName; }
  bool IsMidiChannelAvailable(short iChannel) const override { return ((mChannelMask >> iChannel) & 1) != 0; }
  bool IsPhysical() const override { return !mIsVirtual; }
  bool IsVirtual() const override { return mIsVirtual; }
  bool IsSyncSource() const override { return false; }
  std::uint64_t GetTrackPtr() const override { return 0; }

  std::string mName;
  std::shared_ptr<const Mlox_DeviceDescriptor> mDescriptorP;
  int mID;
  bool mIsVirtual;
  unsigned mChannelMask = 0xFFFF;
};

/// A service over fixed lists. It knows descriptors of the kind Test_FakeDescriptor: "exactly" compares name
/// and id, "except for name" the id. Its name comes first in what it writes into the log.
class Test_FakeService : public Mlox_Service {
 public:
  explicit Test_FakeService(std::string iName = "service", Test_CallLog* iLogP = nullptr,
                            Mdi_AppCallback* iAppCallbackP = nullptr)
      : Mlox_Service(iAppCallbackP), mName(std::move(iName)), mLogP(iLogP) {}
  ~Test_FakeService() override {
    if (mDeletionsP != nullptr) ++*mDeletionsP;
    Log("deleted");
  }

  Test_FakeDevice& AddDevice(const std::string& iName, int iID = 0) {
    mDevices.push_back(std::make_unique<Test_FakeDevice>(iName, iID, mLogP));
    return *mDevices.back();
  }
  Cmn_AliasedRefCountPtr<Test_FakeInput> AddInput(const std::string& iName, int iID = 0,
                                                  bool iIsVirtual = false) {
    mInputs.emplace_back(new Test_FakeInput(iName, iID, iIsVirtual));
    return mInputs.back();
  }

  void SetServiceIndex(int iServiceIndex) override {
    mServiceIndex = iServiceIndex;
    Log("SetServiceIndex " + std::to_string(iServiceIndex));
  }
  int GetNumberOfOutputDevices() override {
    ++mCounts;
    return static_cast<int>(mDevices.size());
  }
  Mlox_Device* GetOutputDevice(int iIndex) override {
    mLastDeviceIndex = iIndex;
    if (iIndex < 0 || iIndex >= static_cast<int>(mDevices.size())) return nullptr;
    return mDevices[static_cast<std::size_t>(iIndex)].get();
  }
  int GetNumberOfInputs() override {
    ++mCounts;
    return static_cast<int>(mInputs.size());
  }
  Mlox_InputRef GetInput(int iIndex) override {
    mLastInputIndex = iIndex;
    if (iIndex < 0 || iIndex >= static_cast<int>(mInputs.size())) return nullptr;
    return mInputs[static_cast<std::size_t>(iIndex)];
  }

  Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(const Mlox_DeviceDescriptor* iDescriptorP) override {
    Log("FindOutputDeviceExactlyMatchingDescriptor");
    return FindDevice(iDescriptorP, true);
  }
  Mlox_Device* FindOutputDeviceMatchingDescriptorExceptForName(
      const Mlox_DeviceDescriptor* iDescriptorP) override {
    Log("FindOutputDeviceMatchingDescriptorExceptForName");
    return FindDevice(iDescriptorP, false);
  }
  Mlox_Output* FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP) override {
    Log("FindOutputExactlyMatchingDescriptor");
    return FindOutput(*iDescriptorP, true);
  }
  Mlox_Output* FindOutputMatchingDescriptorExceptForName(const Mlox_OutputDescriptor* iDescriptorP) override {
    Log("FindOutputMatchingDescriptorExceptForName");
    return FindOutput(*iDescriptorP, false);
  }
  Mlox_InputRef FindInputExactlyMatchingDescriptor(
      std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) override {
    Log("FindInputExactlyMatchingDescriptor");
    return FindInput(iDescriptorP.get(), true);
  }
  Mlox_InputRef FindInputMatchingDescriptorExceptForName(
      std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) override {
    Log("FindInputMatchingDescriptorExceptForName");
    return FindInput(iDescriptorP.get(), false);
  }
  Mlox_Device* FindOutputDeviceMatchingName(const Mlox_DeviceDescriptor* iDescriptorP) override {
    Log("FindOutputDeviceMatchingName");
    return Mlox_Service::FindOutputDeviceMatchingName(iDescriptorP);
  }
  Mlox_InputRef FindInputMatchingName(std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) override {
    Log("FindInputMatchingName");
    return Mlox_Service::FindInputMatchingName(iDescriptorP);
  }

  void CreateOutputContext(Mlox_OutputContext* iContextP) override {
    mContexts.push_back(iContextP);
    Log("CreateOutputContext");
  }
  void AddInputsToList(Mlox_InputList* ioInputsP, Mlox_EInputVirtualSelection iVirtualSelection,
                       Mlox_EInputSyncSelection iSyncSelection) override {
    mVirtualSelection = iVirtualSelection;
    mSyncSelection = iSyncSelection;
    for (const auto& input : mInputs) {
      const bool passes = iVirtualSelection == 2 || input->IsVirtual() == (iVirtualSelection == 1);
      if (passes) ioInputsP->push_back(input);
    }
  }
  void CreateInputPort(Mlox_InputPort* iInputPortP) override {
    mPorts.push_back(iInputPortP);
    Log("CreateInputPort");
  }
  void ConnectInputsToInputPort(const Mlox_InputList& iInputs, Mlox_InputPort* iInputPortP) override {
    mConnectedInputs = iInputs;
    mLastPortP = iInputPortP;
    Log("ConnectInputsToInputPort");
  }
  void InputPortBlockInput(const Mlox_Input& iInput, bool iBlock, Mlox_InputPort* iInputPortP) override {
    mLastPortP = iInputPortP;
    Log("InputPortBlockInput " + iInput.GetName() + (iBlock ? " true" : " false"));
  }
  void InputPortCloseConnections(Mlox_InputPort* iInputPortP) override {
    mLastPortP = iInputPortP;
    Log("InputPortCloseConnections");
  }
  bool IsPlugInSource(const Mlox_InputID& iInputID) const override {
    ++mPlugInQuestions;
    return iInputID == mPlugInSource;
  }
  void Suspend() override {
    Mlox_Service::Suspend();
    Log("Suspend");
  }
  void Resume() override {
    Mlox_Service::Resume();
    Log("Resume");
  }
  void DoneUpdatingOldDeviceReferences() override { Log("DoneUpdatingOldDeviceReferences"); }
  void StopPlayback() override { Log("StopPlayback"); }

  std::string mName;
  Test_CallLog* mLogP;
  int* mDeletionsP = nullptr;
  int mServiceIndex = -1;
  std::vector<std::unique_ptr<Test_FakeDevice>> mDevices;
  std::vector<Cmn_AliasedRefCountPtr<Test_FakeInput>> mInputs;
  std::vector<Mlox_OutputContext*> mContexts;
  std::vector<Mlox_InputPort*> mPorts;
  Mlox_InputPort* mLastPortP = nullptr;
  Mlox_InputList mConnectedInputs;
  int mCounts = 0;
  int mLastDeviceIndex = -1;
  int mLastInputIndex = -1;
  int mVirtualSelection = -1;
  int mSyncSelection = -1;
  Mlox_InputID mPlugInSource{-1, -1};
  mutable int mPlugInQuestions = 0;

 private:
  void Log(const std::string& iWhat) {
    if (mLogP != nullptr) mLogP->push_back(mName + " " + iWhat);
  }
  static bool Fits(const Mlox_DeviceDescriptor& iOwn, const Mlox_DeviceDescriptor* iOtherP, bool iExactly) {
    const auto* otherP = dynamic_cast<const Test_FakeDescriptor*>(iOtherP);
    if (otherP == nullptr) return false;
    return iExactly ? iOwn.Equals(otherP) : iOwn.GetHashValue() == otherP->mID;
  }
  Mlox_Device* FindDevice(const Mlox_DeviceDescriptor* iDescriptorP, bool iExactly) {
    for (const auto& device : mDevices) {
      if (Fits(*device->mDescriptorP, iDescriptorP, iExactly)) return device.get();
    }
    return nullptr;
  }
  Mlox_Output* FindOutput(const Mlox_OutputDescriptor& iDescriptor, bool iExactly) {
    Mlox_Device* deviceP = FindDevice(iDescriptor.GetDeviceDescriptor().get(), iExactly);
    if (deviceP == nullptr) return nullptr;
    if (iDescriptor.GetChannel() == -1) return deviceP->GetCommonOutput();
    return deviceP->GetOutputForChannel(iDescriptor.GetChannel());
  }
  Mlox_InputRef FindInput(const Mlox_DeviceDescriptor* iDescriptorP, bool iExactly) {
    for (const auto& input : mInputs) {
      if (Fits(*input->mDescriptorP, iDescriptorP, iExactly)) return input;
    }
    return nullptr;
  }
};

/// A listener that writes what it hears into a log.
class Test_RecordingListener : public Mlox_Manager_Listener {
 public:
  explicit Test_RecordingListener(Test_CallLog* iLogP, std::string iName = "listener")
      : mLogP(iLogP), mName(std::move(iName)) {}

  void Mlox_Manager_OutputsChanged(bool iFlag) override {
    mLogP->push_back(mName + (iFlag ? " OutputsChanged true" : " OutputsChanged false"));
  }
  void Mlox_Manager_InputsChanged() override { mLogP->push_back(mName + " InputsChanged"); }
  void Mlox_Manager_OutputPreSendChanged() override { mLogP->push_back(mName + " OutputPreSendChanged"); }
  void Mlox_Manager_PlugInNodeRegistered(SFicPlugInSpec* iSpecP) override {
    mLogP->push_back(mName + " PlugInNodeRegistered");
    mLastSpecP = iSpecP;
  }

  SFicPlugInSpec* mLastSpecP = nullptr;

 private:
  Test_CallLog* mLogP;
  std::string mName;
};

/// A receiver that copies the bytes it gets.
class Test_RecordingReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    ++mCalls;
    mLastP = iDataP;
    return mAnswer;
  }

  int mCalls = 0;
  int mAnswer = 0;
  Mlox_MidiData* mLastP = nullptr;
};
