// SPDX-License-Identifier: MIT
// Makes the objects that slots_test.cpp calls through their tables. Each operation names itself.
#include "tests/mlox/slots_objects.h"

#include <memory>
#include <vector>

#include "mlox/mdi_appcallback.h"
#include "mlox/midiinputidmapper_listener.h"
#include "mlox/midioutputidmapper_listener.h"
#include "mlox/mlox_awrite.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_input.h"
#include "mlox/mlox_manager_listener.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_outputcontextbatchdeliveryentry.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "mlox/mlox_service.h"

Slots_Call& Slots_LastCall() {
  static Slots_Call sCall;
  return sCall;
}

namespace {

void Note(const char* iOperationP, long long iInteger = 0, const void* iPointerP = nullptr) {
  Slots_LastCall() = {iOperationP, iInteger, 0, iPointerP};
}

void NoteReal(const char* iOperationP, double iReal) { Slots_LastCall() = {iOperationP, 0, iReal, nullptr}; }

class SlotService : public Mlox_Service {
 public:
  SlotService() : Mlox_Service(nullptr) {}
  ~SlotService() override { Note("destructor"); }
  void SetServiceIndex(int iIndex) override { Note("SetServiceIndex", iIndex); }
  int GetNumberOfOutputDevices() override {
    Note("GetNumberOfOutputDevices");
    return 3;
  }
  Mlox_Device* GetOutputDevice(int iIndex) override {
    Note("GetOutputDevice", iIndex);
    return nullptr;
  }
  int GetNumberOfInputs() override {
    Note("GetNumberOfInputs");
    return 5;
  }
  Mlox_InputRef GetInput(int iIndex) override {
    Note("GetInput", iIndex);
    return nullptr;
  }
  Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(const Mlox_DeviceDescriptor* iP) override {
    Note("FindOutputDeviceExactlyMatchingDescriptor", 0, iP);
    return nullptr;
  }
  Mlox_Device* FindOutputDeviceMatchingDescriptorExceptForName(const Mlox_DeviceDescriptor* iP) override {
    Note("FindOutputDeviceMatchingDescriptorExceptForName", 0, iP);
    return nullptr;
  }
  Mlox_Output* FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor* iP) override {
    Note("FindOutputExactlyMatchingDescriptor", 0, iP);
    return nullptr;
  }
  Mlox_Output* FindOutputMatchingDescriptorExceptForName(const Mlox_OutputDescriptor* iP) override {
    Note("FindOutputMatchingDescriptorExceptForName", 0, iP);
    return nullptr;
  }
  Mlox_InputRef FindInputExactlyMatchingDescriptor(std::shared_ptr<const Mlox_DeviceDescriptor> iP) override {
    Note("FindInputExactlyMatchingDescriptor", 0, iP.get());
    return nullptr;
  }
  Mlox_InputRef FindInputMatchingDescriptorExceptForName(
      std::shared_ptr<const Mlox_DeviceDescriptor> iP) override {
    Note("FindInputMatchingDescriptorExceptForName", 0, iP.get());
    return nullptr;
  }
  Mlox_Device* FindOutputDeviceMatchingName(const Mlox_DeviceDescriptor* iP) override {
    Note("FindOutputDeviceMatchingName", 0, iP);
    return nullptr;
  }
  Mlox_InputRef FindInputMatchingName(std::shared_ptr<const Mlox_DeviceDescriptor> iP) override {
    Note("FindInputMatchingName", 0, iP.get());
    return nullptr;
  }
  void CreateOutputContext(Mlox_OutputContext* iP) override { Note("CreateOutputContext", 0, iP); }
  void AddInputsToList(Mlox_InputList* ioP, Mlox_EInputVirtualSelection iVirtual,
                       Mlox_EInputSyncSelection iSync) override {
    Note("AddInputsToList", iVirtual * 10 + iSync, ioP);
  }
  void CreateInputPort(Mlox_InputPort* iP) override { Note("CreateInputPort", 0, iP); }
  void ConnectInputsToInputPort(const Mlox_InputList& iInputs, Mlox_InputPort*) override {
    Note("ConnectInputsToInputPort", 0, &iInputs);
  }
  void InputPortBlockInput(const Mlox_Input& iInput, bool iBlock, Mlox_InputPort*) override {
    Note("InputPortBlockInput", iBlock ? 1 : 0, &iInput);
  }
  void InputPortCloseConnections(Mlox_InputPort* iP) override { Note("InputPortCloseConnections", 0, iP); }
  void SetZeroJitterDelay(int iDelay) override { Note("SetZeroJitterDelay", iDelay); }
  bool IsPlugInSource(const Mlox_InputID& iInputID) const override {
    Note("IsPlugInSource", 0, &iInputID);
    return true;
  }
  void Suspend() override { Note("Suspend"); }
  void Resume() override { Note("Resume"); }
  bool IsSuspended() override {
    Note("IsSuspended");
    return true;
  }
  void DoneUpdatingOldDeviceReferences() override { Note("DoneUpdatingOldDeviceReferences"); }
  void StopPlayback() override { Note("StopPlayback"); }
};

class SlotInput : public Mlox_Input {
 public:
  ~SlotInput() override { Note("destructor"); }
  Mlox_InputID GetInputID() const override {
    Note("GetInputID");
    return {1, 77};
  }
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() const override {
    Note("GetDeviceDescriptor");
    return nullptr;
  }
  std::string GetName() const override {
    Note("GetName");
    return "Keys";
  }
  bool IsMidiChannelAvailable(short iChannel) const override {
    Note("IsMidiChannelAvailable", iChannel);
    return true;
  }
  bool IsPhysical() const override {
    Note("IsPhysical");
    return true;
  }
  bool IsVirtual() const override {
    Note("IsVirtual");
    return true;
  }
  bool IsSyncSource() const override {
    Note("IsSyncSource");
    return true;
  }
  bool IsUserDefined() const override {
    Note("IsUserDefined");
    return true;
  }
  bool IsPlugIn() const override {
    Note("IsPlugIn");
    return true;
  }
  std::uint64_t GetTrackPtr() const override {
    Note("GetTrackPtr");
    return 0xFEDCBA9876543210u;
  }
};

class SlotOutput : public Mlox_Output {
 public:
  SlotOutput() : Mlox_Output(nullptr) {}
  void WriteEvent(const Mdie_Timestamp&, const Mdie_Event&, Mlox_OutputContextRef) override {
    Note("WriteEvent");
  }
  void WriteLimitedSysex(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef) override {
    Note("WriteLimitedSysex", iLength, iDataP);
  }
  void WriteRawMIDI(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef) override {
    Note("WriteRawMIDI", iLength, iDataP);
  }
  void RefCountDelete() override { Note("RefCountDelete"); }
  int GetTimestampedPreSendSamples(double iRate) override {
    NoteReal("GetTimestampedPreSendSamples", iRate);
    return 7;
  }
  Time_SampleLength GetZeroJitterDelay(double iRate) override {
    NoteReal("GetZeroJitterDelay", iRate);
    return Time_SampleLength(8);
  }
  bool IsTimestamped() override {
    Note("IsTimestamped");
    return true;
  }
  int GetDelayOffset() override {
    Note("GetDelayOffset");
    return 9;
  }
  void SetDelayOffset(int iOffset) override { Note("SetDelayOffset", iOffset); }
  void SetMDCBeatClockOffset(Time_SampleLength iOffset) override {
    Note("SetMDCBeatClockOffset", iOffset.AsInt64());
  }
  void SetUserBeatClockOffset(Time_SampleLength iOffset) override {
    Note("SetUserBeatClockOffset", iOffset.AsInt64());
  }
  Time_SampleLength GetTotalBeatClockOffset() override {
    Note("GetTotalBeatClockOffset");
    return Time_SampleLength(10);
  }
  Time_SampleLength GetUserBeatClockOffset() override {
    Note("GetUserBeatClockOffset");
    return Time_SampleLength(11);
  }
  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> GetDescriptor() const override {
    Note("GetDescriptor");
    return nullptr;
  }
  Mlox_Device* GetDevice() override {
    Note("GetDevice");
    return nullptr;
  }
  int GetNumberOfPatches() override {
    Note("GetNumberOfPatches");
    return 12;
  }
  bool GetPatchName(std::string* oNameP, const Mdie_ProgramEvent&) override {
    Note("GetPatchName", 0, oNameP);
    return true;
  }
  Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> GetPatchInfo(int iIndex) override {
    Note("GetPatchInfo", iIndex);
    return nullptr;
  }
  int GetNumberOfAvailableModes() override {
    Note("GetNumberOfAvailableModes");
    return 13;
  }
  std::string GetAvailableModeName(const int& iIndex) override {
    Note("GetAvailableModeName", iIndex);
    return "mode";
  }
  std::string GetCurrentMode() override {
    Note("GetCurrentMode");
    return "current";
  }
  void SetCurrentMode(const std::string& iName) override { Note("SetCurrentMode", 0, &iName); }
  void AddThruCount() override { Note("AddThruCount"); }
  void RemoveThruCount() override { Note("RemoveThruCount"); }

 protected:
  ~SlotOutput() override { Note("destructor"); }
};

class SlotDevice : public Mlox_Device {
 public:
  SlotDevice() : Mlox_Device(nullptr, 0) {}
  ~SlotDevice() override { Note("destructor"); }
  std::string GetName() override {
    Note("GetName");
    return "Piano";
  }
  Mlox_Output* GetCommonOutput() override {
    Note("GetCommonOutput");
    return nullptr;
  }
  Mlox_Output* GetOutputForChannel(short iChannel) override {
    Note("GetOutputForChannel", iChannel);
    return nullptr;
  }
  bool IsMidiChannelAvailable(short iChannel) const override {
    Note("IsMidiChannelAvailable", iChannel);
    return true;
  }
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() override {
    Note("GetDeviceDescriptor");
    return nullptr;
  }
  bool GetFactoryPatchFileName(Sys_FileLoc* oFileP, bool*) override {
    Note("GetFactoryPatchFileName", 0, oFileP);
    return true;
  }
  bool IsUserDefined() const override {
    Note("IsUserDefined");
    return true;
  }
  bool GetReceivesMBC() const override {
    Note("GetReceivesMBC");
    return true;
  }
  int GetBeatClockOffsetSamples() const override {
    Note("GetBeatClockOffsetSamples");
    return 14;
  }
  void SetBeatClockOffsetSamples(int iSamples) override { Note("SetBeatClockOffsetSamples", iSamples); }
};

class SlotReceiver : public Mlox_RawMidiReceiver {
 public:
  ~SlotReceiver() override { Note("destructor"); }
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    Note("ReceiveRawMidi", 0, iDataP);
    return 2;
  }
};

class SlotAppCallback : public Mdi_AppCallback {
 public:
  ~SlotAppCallback() override { Note("destructor"); }
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override {
    Note("SampleToMicroseconds", iSampleTime.AsInt64());
    return 1234567890123;
  }
  void StopPlayback() override { Note("StopPlayback"); }
};

class SlotListener : public Mlox_Manager_Listener {
 public:
  ~SlotListener() override { Note("destructor"); }
  void Mlox_Manager_OutputsChanged(bool iFlag) override { Note("OutputsChanged", iFlag ? 1 : 0); }
  void Mlox_Manager_InputsChanged() override { Note("InputsChanged"); }
  void Mlox_Manager_OutputPreSendChanged() override { Note("OutputPreSendChanged"); }
  void Mlox_Manager_PlugInNodeRegistered(SFicPlugInSpec* iP) override { Note("PlugInNodeRegistered", 0, iP); }
};

class SlotInputIDListener : public MidiInputIDMapper_Listener {
 public:
  ~SlotInputIDListener() override { Note("destructor"); }
  void MidiInputIDMapper_IDsChanged() override { Note("IDsChanged"); }
};

class SlotOutputIDListener : public MidiOutputIDMapper_Listener {
 public:
  ~SlotOutputIDListener() override { Note("destructor"); }
  void MidiOutputIDMapper_IDsChanged() override { Note("IDsChanged"); }
};

class SlotWriter : public Mlox_AWrite {
 public:
  ~SlotWriter() override { Note("destructor"); }
  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event&,
                  Mlox_OutputContextRef iContext) override {
    Note("WriteEvent", static_cast<long long>(iContext.GetUID()), &iTimestamp);
  }
  void WriteLimitedSysex(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef) override {
    Note("WriteLimitedSysex", iLength, iDataP);
  }
  void WriteRawMIDI(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef) override {
    Note("WriteRawMIDI", iLength, iDataP);
  }
};

class SlotDescriptor : public Mlox_DeviceDescriptor {
 public:
  ~SlotDescriptor() override { Note("destructor"); }
  bool Equals(const Mlox_DeviceDescriptor* iOtherP) const override {
    Note("Equals", 0, iOtherP);
    return true;
  }
  std::string GetName() const override {
    Note("GetName");
    return "Port 1";
  }
  int GetHashValue() const override {
    Note("GetHashValue");
    return -15;
  }
  MatchType GetMatchType() const override {
    Note("GetMatchType");
    return kMatchExactOnly;
  }
  bool IsIACDevice() const override {
    Note("IsIACDevice");
    return true;
  }
  bool IsPlugIn() const override {
    Note("IsPlugIn");
    return true;
  }
};

class SlotEntry : public Mlox_OutputContextBatchDeliveryEntry {
 public:
  ~SlotEntry() override { Note("destructor"); }
  void DeliverBatchEntry() override { Note("DeliverBatchEntry"); }
};

}  // namespace

void* Slots_MakeService() { return static_cast<Mlox_Service*>(new SlotService); }

void* Slots_MakeInput() { return static_cast<Mlox_Input*>(new SlotInput); }

void* Slots_MakeOutput() { return static_cast<Mlox_Output*>(new SlotOutput); }

void* Slots_MakeDevice() { return static_cast<Mlox_Device*>(new SlotDevice); }

void* Slots_MakeRawMidiReceiver() { return static_cast<Mlox_RawMidiReceiver*>(new SlotReceiver); }

void* Slots_MakeAppCallback() { return static_cast<Mdi_AppCallback*>(new SlotAppCallback); }

void* Slots_MakeListener() { return static_cast<Mlox_Manager_Listener*>(new SlotListener); }
void* Slots_MakeInputIDListener() {
  return static_cast<MidiInputIDMapper_Listener*>(new SlotInputIDListener);
}
void* Slots_MakeOutputIDListener() {
  return static_cast<MidiOutputIDMapper_Listener*>(new SlotOutputIDListener);
}

void* Slots_MakeAWrite() { return static_cast<Mlox_AWrite*>(new SlotWriter); }

void* Slots_MakeDeviceDescriptor() { return static_cast<Mlox_DeviceDescriptor*>(new SlotDescriptor); }

void* Slots_MakeBatchDeliveryEntry() {
  return static_cast<Mlox_OutputContextBatchDeliveryEntry*>(new SlotEntry);
}
