// SPDX-License-Identifier: MIT
/// \file
/// A manager with the plug-in service installed, and the small stand-ins for application and plug-in that its
/// tests use.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "mlox/mlox_directmidi/idirectmidiclientinput.h"
#include "mlox/mlox_directmidi/idirectmidiclientoutput.h"
#include "mlox/mlox_directmidi/idirectmidiglobaloutput.h"
#include "mlox/mlox_directmidi/idirectmidiinputreceivemidi.h"
#include "mlox/mlox_directmidi/idirectmidimessage.h"
#include "mlox/mlox_directmidi/idirectmidioutput_directdeliveryclient.h"
#include "mlox/mlox_directmidi/idirectmidioutputdeliverysetup.h"
#include "mlox/mlox_directmidi/mlox_dm_device.h"
#include "mlox/mlox_directmidi/mlox_dm_globaloutput.h"
#include "mlox/mlox_directmidi/mlox_dm_input.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_manager_listener.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "tests/support/assert_recorder.h"

/// One message as a plug-in got it.
struct Test_DM_Message {
  int64_t mTime;
  std::vector<uint8_t> mBytes;
  bool operator==(const Test_DM_Message&) const = default;
};

/// Reads a message and releases it.
inline Test_DM_Message Test_DM_Take(IDirectMIDIMessage* iMessageP) {
  std::vector<signed char> bytes(static_cast<size_t>(iMessageP->GetMessageLength()));
  if (!bytes.empty()) iMessageP->GetMessageData(bytes.data());
  Test_DM_Message message{iMessageP->GetSampleTime(), {}};
  for (const signed char byte : bytes) message.mBytes.push_back(static_cast<uint8_t>(byte));
  iMessageP->Release();
  return message;
}

/// Pulls a block to its end.
inline std::vector<Test_DM_Message> Test_DM_Pull(IDirectMIDIBufferedDelivery* iDeliveryP, int64_t iStart,
                                                 int64_t iEnd) {
  std::vector<Test_DM_Message> messages;
  while (IDirectMIDIMessage* messageP = iDeliveryP->GetNextMessageInSampleRange(iStart, iEnd)) {
    messages.push_back(Test_DM_Take(messageP));
  }
  return messages;
}

/// A client of direct delivery that keeps what it gets.
class Test_DM_Client : public IDirectMIDIOutput_DirectDeliveryClient {
 public:
  virtual ~Test_DM_Client() = default;
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
    mMessages.push_back(Test_DM_Take(iMessageP));
  }
  std::vector<Test_DM_Message> mMessages;
};

/// An application's receiver that keeps what it gets and answers with mResult.
class Test_DM_RawReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    mRecords.push_back(*iDataP);
    mBytes.emplace_back(iDataP->mData, iDataP->mData + iDataP->mLength);
    return mResult;
  }
  std::vector<Mlox_MidiData> mRecords;
  std::vector<std::vector<uint8_t>> mBytes;
  int mResult = 0;
};

/// Counts what the manager tells.
class Test_DM_Listener : public Mlox_Manager_Listener {
 public:
  void Mlox_Manager_OutputsChanged(bool iFlag) override {
    ++mOutputsChanged;
    mLastFlag = iFlag;
  }
  void Mlox_Manager_InputsChanged() override { ++mInputsChanged; }
  void Mlox_Manager_OutputPreSendChanged() override { ++mPreSendChanged; }
  void Mlox_Manager_PlugInNodeRegistered(SFicPlugInSpec* iSpecP) override { mRegistered.push_back(iSpecP); }

  int mOutputsChanged = 0;
  int mInputsChanged = 0;
  int mPreSendChanged = 0;
  bool mLastFlag = false;
  std::vector<SFicPlugInSpec*> mRegistered;
};

/// The interface of an object by its id, with the reference that the query takes.
template <class Interface>
Interface* Test_DM_Query(IQCFUnknown* iUnknownP) {
  void* resultP = nullptr;
  if (iUnknownP->QueryInterface(Interface::kUID, &resultP) != 0) return nullptr;
  return static_cast<Interface*>(resultP);
}

/// What a service, a device or an output keeps for the classes derived from it. Name the base class that
/// keeps it: `Test_AppCallbackOf<Mlox_Device>(*deviceP)`.
template <class Base>
Mdi_AppCallback* Test_AppCallbackOf(const Base& iObject) {
  struct Open : Base {
    using Base::GetAppCallback;
  };
  return (iObject.*(&Open::GetAppCallback))();
}

/// Installs a plug-in service for each test and removes it afterwards. Nodes that the test makes through the
/// fixture and doesn't release itself are released at the end, after the service, as an application that
/// shuts down may do.
class Test_DM_Fixture : public ::testing::Test {
 protected:
  Test_DM_Fixture() {
    mServiceP = new Mlox_DM_Service(nullptr, &Allocator(), nullptr);
    Manager().AddService(mServiceP, 1);
    Manager().CheckStudioSetup();
    Manager().AddListener(&mListener);
  }
  ~Test_DM_Fixture() override {
    mListener.RemoveFromList();
    Manager().RemoveAllServices();
    for (IQCFUnknown* nodeP : mNodes) nodeP->Release();
    Manager().CheckStudioSetup();
  }

  /// Lives as long as the process: deliveries that are deleted late give their blocks back to it.
  static Mem2_MasterAllocator& Allocator() {
    static auto* allocatorP = new Mem2_MasterAllocator;
    return *allocatorP;
  }
  static Mlox_Manager& Manager() { return *Mlox_Manager::Singleton(); }

  /// A node that the fixture releases.
  IDirectMIDIClientOutput4* NewOutput(const char* iNameP, uint64_t iID = 0) {
    return Kept(static_cast<IDirectMIDIClientOutput4*>(mServiceP->CreateClientOutputEx(iNameP, iID)));
  }
  Mlox_DM_Device* NewDevice(const char* iNameP, uint64_t iID = 0) {
    return static_cast<Mlox_DM_Device*>(NewOutput(iNameP, iID));
  }
  IDirectMIDIClientInput* NewClientInput(const char* iNameP, uint64_t iID = 0) {
    return Kept(mServiceP->CreateClientInputEx(iNameP, iID));
  }
  Mlox_DM_Input* NewInput(const char* iNameP, uint64_t iID = 0) {
    return static_cast<Mlox_DM_Input*>(NewClientInput(iNameP, iID));
  }
  IDirectMIDIGlobalOutput* NewGlobalOutput() { return Kept(mServiceP->CreateGlobalOutput()); }

  /// Takes a node out of what the fixture releases.
  void Forget(IQCFUnknown* iNodeP) { std::erase(mNodes, iNodeP); }

  static void WriteNote(Mlox_AWrite& ioOutput, int64_t iSample, signed char iNote) {
    ioOutput.WriteEvent(Mdie_Timestamp(Time_Sample(iSample)), Mdie_NoteOnEvent(iNote, 100),
                        Manager().GetImmediateOutputContext());
  }
  static void WriteImmediateNote(Mlox_AWrite& ioOutput, signed char iNote) {
    ioOutput.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(iNote, 100), Manager().GetDefaultOutputContext());
  }

  Mlox_DM_Service* mServiceP;
  Test_DM_Listener mListener;

 private:
  template <class Interface>
  Interface* Kept(Interface* iNodeP) {
    mNodes.push_back(iNodeP);
    return iNodeP;
  }

  std::vector<IQCFUnknown*> mNodes;
};
