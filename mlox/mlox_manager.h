// SPDX-License-Identifier: MIT
/// \file
/// The single object through which an application reaches every MIDI source and destination.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"
#include "cmn/time_types.h"
#include "mlox/mlox_input.h"
#include "mlox/mlox_inputselection.h"
#include "mlox/mlox_manager_listener.h"
#include "mlox/mlox_manager_serviceentry.h"
#include "mlox/mlox_outputcontextref.h"

class Mdi_AppCallback;
class Mem2_MasterAllocator;
class Mlox_Device;
class Mlox_DeviceDescriptor;
class Mlox_InputPort;
class Mlox_Output;
class Mlox_OutputContext;
class Mlox_OutputDescriptor;
class Mlox_RawMidiReceiver;
class Mlox_Service;
struct SFicPlugInSpec;

/// The single object through which an application reaches every MIDI source and destination. It numbers the
/// output devices and the inputs of all services into two flat index spaces, makes contexts and ports, and
/// tells listeners what has changed. It never goes away.
///
/// It has no lock. Everything belongs to the main thread, except what is tagged [any]: Singleton, the three
/// change notifications of services, which only raise atomic flags, and the accessors of the built-in
/// contexts.
///
/// Counts are recomputed lazily: ask for the count first, then fetch by index.
class MLOX_EXPORT Mlox_Manager {
 public:
  /// A bit mask that names services. 1 and 16 name services that this library doesn't have, 2 and 4 name
  /// none; other bits are the application's, for services that it makes itself.
  enum EAvailableServices : int { kDirectMusicService = 8 };

  Mlox_Manager(const Mlox_Manager&) = delete;
  Mlox_Manager& operator=(const Mlox_Manager&) = delete;

  /// [main] Makes the manager if there is none yet.
  static void Init();

  /// [any] The manager, made on first use.
  static Mlox_Manager* Singleton();

  // ---- services ----

  /// [main] Installs a service, which the manager then owns; tells it its index, all contexts and all ports,
  /// and tells listeners that the outputs have changed. Its inputs show up when it reports them.
  /// \param iServiceP     null is reported: no change
  /// \param iServiceMask  what Suspend and Resume select it by
  /// A fifth service is reported, and added all the same if the report returns. A service may be added twice:
  /// it then shows up twice and is deleted once.
  void AddService(Mlox_Service* iServiceP, const int& iServiceMask);

  /// [main] Closes every port, deletes the services in reverse order and tells listeners: inputs, then
  /// outputs. GetOSService is stale from here to the next activation.
  void RemoveAllServices();

  /// [main] Installs the services of this library that the bits name: the hardware service, so far. Called
  /// again, it installs the same service a second time, which then shows up twice and is deleted once. On the
  /// thread that will remove the services.
  /// \param iServices       the whole mask selects the service in Suspend and Resume. It is read once more
  ///                        after listeners have been told of the new service.
  /// \param iAllocatorP     not owned; must outlive the service and every output of it
  /// \param iAppCallbackP   not owned; stored in every case, also for StopPlayback
  /// \return false without a studio of MIDI devices, the table then being unchanged; and when the bits name a
  /// service that this library doesn't have
  bool ActivateService(const int& iServices, Mem2_MasterAllocator* iAllocatorP,
                       Mdi_AppCallback* iAppCallbackP);

  /// [main] The hardware service; null before it was activated.
  Mlox_Service* GetOSService() const { return mOSServiceP; }

  /// [main] Suspends or resumes every service whose mask has a bit in common with the argument.
  void Suspend(EAvailableServices iServices);
  void Resume(EAvailableServices iServices);

  /// [main] Stops the playback of every service, then that of the application. Without an application's
  /// callback the latter is reported.
  void StopPlayback();

  /// [main] Stops the playback of every service.
  void StopServicesPlayback();

  /// [main] Silences every device: its common output, then each available channel. A device without a common
  /// output gets nothing.
  void QuickAllNotesOff();

  /// [main] Tells every service that references to devices of an earlier state have been resolved.
  void DoneUpdatingOldDeviceReferences();

  // ---- the index spaces ----

  /// [main] The number of output devices of all services; recomputed if a service has reported a change, and
  /// again, three times at most, if one reports a change meanwhile.
  int GetNumberOfOutputDevices();

  /// [main] A device by its global index, as of the last count. Null if there is none.
  Mlox_Device* GetOutputDevice(int iOutputIndex);

  /// [main] The number of inputs of all services; recomputed if a service has reported a change, and again,
  /// three times at most, if one reports a change meanwhile.
  int GetNumberOfInputs();

  /// [main] An input by its global index, as of the last count. Null if there is none.
  Mlox_InputRef GetInput(int iInputIndex);

  /// [main] Replaces what the list holds by the inputs that pass both filters, in table order.
  /// \param oInputsP  null is reported: nobody is asked
  void GetInputs(Mlox_InputList* oInputsP, Mlox_EInputVirtualSelection iVirtualSelection,
                 Mlox_EInputSyncSelection iSyncSelection);

  // ---- ports and contexts ----

  /// [main] Makes a port; the caller owns it.
  /// \param iReceiverP  not owned
  Mlox_InputPort* CreateInputPort(Mlox_RawMidiReceiver* iReceiverP);

  /// [main] Mlox_InputPort::ConnectToInputs is the usual way here.
  /// \param iInputPortP  null is reported: nobody is asked
  void ConnectInputsToInputPort(const Mlox_InputList& iInputs, Mlox_InputPort* iInputPortP);

  /// [main] Mlox_InputPort::CloseCurrentConnections is the usual way here.
  /// \param iInputPortP  null is reported: nobody is asked
  void InputPortCloseConnections(Mlox_InputPort* iInputPortP);

  /// [main] Blocks or unblocks an input in every port. No service of this library reacts at present.
  void BlockInput(const Mlox_Input& iInput, bool iBlock);

  /// [main] Makes a context, which lives for the rest of the process.
  Mlox_OutputContextRef CreateOutputContext();

  /// [any] For immediate writes in general; no buffered delivery has a stream for it.
  Mlox_OutputContextRef GetDefaultOutputContext() const { return mDefaultContext; }

  /// [any] The first stream of every buffered delivery.
  Mlox_OutputContextRef GetImmediateOutputContext() const { return mImmediateContext; }

  /// [any] The second stream of every buffered delivery.
  Mlox_OutputContextRef GetPatchThruContext() const { return mPatchThruContext; }

  /// [any] The third stream of every buffered delivery.
  Mlox_OutputContextRef GetSlightlyEarlyPlayerContext() const { return mSlightlyEarlyPlayerContext; }

  // ---- finding again ----

  /// [main] The device that fits a descriptor best: exactly, by name, by everything but the name. Null if
  /// none does; null for null.
  Mlox_Device* FindOutputDeviceBestMatchingDescriptor(const Mlox_DeviceDescriptor* iDescriptorP);

  /// [main] The output that fits a descriptor best: exactly, by name and channel, by everything but the name.
  /// Null if none does; null for null.
  Mlox_Output* FindOutputBestMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP);

  /// [main] The input that fits a descriptor best: exactly, by name, by everything but the name. Unlike
  /// outputs, inputs fall back whatever the descriptor says of itself.
  /// \param iDescriptorP  null is reported: null
  Mlox_InputRef FindInputBestMatchingDescriptor(std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP);

  /// [main] Whether the id names an input of a hosted plug-in.
  bool IsPlugInSource(const Mlox_InputID& iInputID) const;

  /// [main] Whether the id names a connection between applications: never, on the platforms of this library.
  bool IsIACSource(const Mlox_InputID& iInputID) const;

  // ---- notifications ----

  /// [main] Appends a listener; its destructor takes it out again.
  /// \param iListenerP  not owned; null is reported: no change
  void AddListener(Mlox_Manager_Listener* iListenerP);

  /// [any] For services: the output devices have changed.
  /// \param iFlag  kept for the listeners; one true among several calls survives
  void ServiceOutputListChanged(Mlox_Service* iServiceP, bool iFlag);

  /// [any] For services: the inputs have changed.
  void ServiceInputListChanged(Mlox_Service* iServiceP);

  /// [any] For services: an output wants its events at another distance ahead of their time.
  void Service_OutputPreSendChanged();

  /// [main] Tells listeners what services have reported since the last call: outputs, inputs, pre-send. It
  /// also does the library's housekeeping, so an application calls it regularly.
  void CheckStudioSetup();

  /// [main] For services: tells every listener at once that a plug-in has told who it is.
  /// \param iPlugInSpecP  lives for the call
  void BroadcastPlugInNodeRegistered(SFicPlugInSpec* iPlugInSpecP);

  // ---- time-stamped recording ----

  /// [main] A value in samples that the library keeps for the application and doesn't use itself.
  Time_SampleLength GetGlobalTimeStampedRecordCorrection() const {
    return mGlobalTimeStampedRecordCorrection;
  }
  void SetGlobalTimeStampedRecordCorrection(Time_SampleLength iCorrection) {
    mGlobalTimeStampedRecordCorrection = iCorrection;
  }

 private:
  friend struct Test_ManagerAccess;
  using ServiceEntries = std::vector<Mlox_Manager_ServiceEntry>;

  Mlox_Manager();
  ~Mlox_Manager();

  void AddNewServiceToExistingOutputContexts(Mlox_Service* iServiceP);
  void AddNewServiceToExistingInputPorts(Mlox_Service* iServiceP);
  void RemoveLastRow();

  void ComputeOutputIndices();
  void ComputeInputIndices();
  void CountOutputDevices();
  void CountInputs();
  ServiceEntries::iterator FindServiceEntryForOutputIndex(int iOutputIndex);
  ServiceEntries::iterator FindServiceEntryForInputIndex(int iInputIndex);

  Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(const Mlox_DeviceDescriptor* iDescriptorP);
  Mlox_Device* FindOutputDeviceMatchingName(const Mlox_DeviceDescriptor* iDescriptorP);
  Mlox_Device* FindOutputDeviceMatchingDescriptorExceptForName(const Mlox_DeviceDescriptor* iDescriptorP);
  Mlox_Output* FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP);
  Mlox_Output* FindOutputMatchingNameAndChannelOfDescriptor(const Mlox_OutputDescriptor* iDescriptorP);
  Mlox_Output* FindOutputMatchingDescriptorExceptForName(const Mlox_OutputDescriptor* iDescriptorP);
  Mlox_InputRef FindInputExactlyMatchingDescriptor(
      const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorP);
  Mlox_InputRef FindInputMatchingName(const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorP);
  Mlox_InputRef FindInputMatchingDescriptorExceptForName(
      const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorP);

  void BroadcastOutputsChanged(bool iFlag);
  void BroadcastInputsChanged();
  void BroadcastOutputPreSendChanged();
  void UpdateIACSources();

  std::unique_ptr<ServiceEntries> mServicesP;
  Mlox_Service* mOSServiceP = nullptr;
  std::int32_t mNumOutputDevices = 0;
  std::atomic<bool> mOutputIndicesAreDirty{true};
  std::int32_t mNumInputs = 0;
  std::atomic<bool> mInputIndicesAreDirty{true};
  Time_SampleLength mGlobalTimeStampedRecordCorrection{};
  std::atomic<bool> mInputsChangedPending{false};
  std::atomic<bool> mOutputsChangedPending{false};
  std::atomic<bool> mOutputsChangedArgument{false};
  std::atomic<bool> mOutputPreSendChangedPending{false};
  Cmn_DoublyLinkedList<Mlox_Manager_Listener> mListeners;
  std::unique_ptr<std::vector<Mlox_OutputContext*>> mOutputContextsP;
  Mlox_OutputContextRef mDefaultContext;
  Mlox_OutputContextRef mImmediateContext;
  Mlox_OutputContextRef mPatchThruContext;
  Mlox_OutputContextRef mSlightlyEarlyPlayerContext;
  Cmn_DoublyLinkedList<Mlox_InputPort> mInputPorts;
  std::unique_ptr<std::set<Mlox_InputID>> mIACSourcesP;
  Mdi_AppCallback* mAppCallbackP = nullptr;
};
