// SPDX-License-Identifier: MIT
/// \file
/// The service through which hosted plug-ins take part in the MIDI system.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "cmn/cmn_export.h"
#include "cmn/cqcfunknown.h"
#include "mlox/mlox_directmidi/idirectmidi.h"
#include "mlox/mlox_input.h"
#include "mlox/mlox_service.h"

class Mdi_AppCallback;
class Mem2_MasterAllocator;
class Mlox_BasicOutput;
class Mlox_DataSource;
class Mlox_DM_Device;
class Mlox_DM_GlobalOutput;
class Mlox_DM_Input;
class Mlox_DM_InputPortState;

/// To the manager a service like any other; to plug-ins the factory behind `IDirectMIDI`.
///
/// The application makes it, hands it to `Mlox_Manager::AddService` and owns what it points to: the
/// allocator, the application callback, the data sources and the outer unknown, all of which must outlive it.
/// Nodes may outlive the service: its destructor makes them forget it. So may buffered deliveries, which give
/// their events back when they end: the allocator must outlive them too, and one that was released during a
/// write ends in a later `Mlox_Manager::CheckStudioSetup`.
///
/// [main] Every operation, unless it says otherwise: the lists have no lock. Debug builds report
/// "IsMainThread()" when a node is made, named or released for the last time on another thread than the one
/// that constructed the service.
class MLOX_EXPORT Mlox_DM_Service : public Mlox_Service, public IDirectMIDI3, public CQCFUnknown {
 public:
  /// Makes this service the single instance.
  /// \param iOuterUnknownP   controlling object that answers `QueryInterface` and counts references; null:
  /// the
  ///                         service answers for itself.
  /// \param iAllocatorP      where buffered deliveries take their events from; used on real-time threads.
  /// \param iAppCallbackP    passed on to the nodes; may be null.
  Mlox_DM_Service(IQCFUnknown* iOuterUnknownP, Mem2_MasterAllocator* iAllocatorP,
                  Mdi_AppCallback* iAppCallbackP);

  /// Makes all nodes forget this service, and drops its references to inputs. Devices go on working.
  ~Mlox_DM_Service() override;

  Mlox_DM_Service(const Mlox_DM_Service&) = delete;
  Mlox_DM_Service& operator=(const Mlox_DM_Service&) = delete;

  /// The single instance. \param iServiceP  replaces it unless null.
  /// \return null, with the report "sSingletonP != nullptr", when there is none.
  static Mlox_DM_Service* Singleton(Mlox_DM_Service* iServiceP = nullptr);

  /// The allocator given to the constructor. [any]
  Mem2_MasterAllocator* GetBufferedDeliveryAllocator() const { return mBufferedDeliveryAllocatorP; }

  /// The number given by `SetServiceIndex`, -1 before. [any]
  int GetServiceIndex() const;

  /// Whether the caller runs on the thread that constructed this service. [any]
  bool IsMainThread() const;

  // ---- called by nodes on their way out ----

  /// Takes a device off the list; one that isn't there changes nothing.
  void DeviceBeingReleased(Mlox_DM_Device* iDeviceP);
  /// Takes an input off the list and drops the service's reference to it; one that isn't there changes
  /// nothing.
  void InputBeingReleased(Mlox_DM_Input* iInputP);
  /// Takes a global output off the set; one that isn't there changes nothing.
  void RemoveGlobalOutput(Mlox_DM_GlobalOutput* iOutputP);

  // ---- data sources of the application, none at first; null takes one away ----

  void SetClickSource(Mlox_DataSource* iSourceP);
  void SetMidiBeatClockSource(Mlox_DataSource* iSourceP);
  void SetMTCSource(Mlox_DataSource* iSourceP);

  /// Asks the source to write to an output, or to stop. Without a source nothing happens.
  void ConnectToClick(Mlox_BasicOutput* iOutputP);
  void ConnectToMidiBeatClock(Mlox_BasicOutput* iOutputP);
  void ConnectToMTC(Mlox_BasicOutput* iOutputP);
  void DisconnectFromClick(Mlox_BasicOutput* iOutputP);
  void DisconnectFromMidiBeatClock(Mlox_BasicOutput* iOutputP);
  void DisconnectFromMTC(Mlox_BasicOutput* iOutputP);

  // ---- IDirectMIDI, 2 and 3 ----

  int32_t QueryInterface(const _qcfUID& iUID, void** oResultP) override;
  uint32_t AddRef() override;
  uint32_t Release() override;
  IDirectMIDIClientOutput* CreateClientOutput(const char* iNameP) override;
  IDirectMIDIGlobalOutput* CreateGlobalOutput() override;
  IDirectMIDIClientInput* CreateClientInput(const char* iNameP) override;
  IDirectMIDIClientOutput* CreateClientOutputEx(const char* iNameP, uint64_t iID) override;
  IDirectMIDIClientInput* CreateClientInputEx(const char* iNameP, uint64_t iID) override;

  // ---- Mlox_Service ----

  void SetServiceIndex(int iIndex) override;
  int GetNumberOfOutputDevices() override;
  /// An index out of range is reported and answered with null.
  Mlox_Device* GetOutputDevice(int iOutputIndex) override;
  int GetNumberOfInputs() override;
  /// An index out of range is reported and answered with a null reference.
  Mlox_InputRef GetInput(int iInputIndex) override;
  Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(const Mlox_DeviceDescriptor* iDescriptorP) override;
  Mlox_Device* FindOutputDeviceMatchingDescriptorExceptForName(
      const Mlox_DeviceDescriptor* iDescriptorP) override;
  Mlox_Output* FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP) override;
  Mlox_Output* FindOutputMatchingDescriptorExceptForName(const Mlox_OutputDescriptor* iDescriptorP) override;
  Mlox_InputRef FindInputExactlyMatchingDescriptor(
      std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) override;
  Mlox_InputRef FindInputMatchingDescriptorExceptForName(
      std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) override;
  /// Does nothing: streams belong to the deliveries.
  void CreateOutputContext(Mlox_OutputContext* iContextP) override;
  void AddInputsToList(Mlox_InputList* ioListP, Mlox_EInputVirtualSelection iTypeSelection,
                       Mlox_EInputSyncSelection iSyncSelection) override;
  void CreateInputPort(Mlox_InputPort* iPortP) override;
  void ConnectInputsToInputPort(const Mlox_InputList& iInputs, Mlox_InputPort* iPortP) override;
  /// Does nothing.
  void InputPortBlockInput(const Mlox_Input& iInput, bool iBlock, Mlox_InputPort* iPortP) override;
  /// Ends the port's connections for good: it must not be connected through this service again.
  void InputPortCloseConnections(Mlox_InputPort* iPortP) override;
  bool IsPlugInSource(const Mlox_InputID& iInputID) const override;
  /// Clears the buffered delivery that a node's writes go to, of the global outputs first and then of the
  /// devices, each of which gets one all-notes-off for each channel it has. What a clear leaves in a queue
  /// tells `Mlox_DM_BufferedDelivery::ClearQueues`; a delivery that another one has taken the place of keeps
  /// everything. Direct deliveries are told nothing. Writers and pulling threads may be at work meanwhile.
  void StopPlayback() override;

  // ---- CQCFUnknown ----

  /// Does nothing: whoever made the service deletes it, whatever its reference count.
  void ReclaimMemory() override;
  /// Passes every query to the outer unknown; without one the base answers. A query that the outer hands back
  /// gets 0x80000004.
  int32_t InternalQueryInterface(const _qcfUID& iUID, void** oResultP) override;

 private:
  friend struct Test_DM_ServiceAccess;

  static Mlox_Output* FindOutputInDevice(Mlox_Device* iDeviceP, const Mlox_OutputDescriptor* iDescriptorP);

  Mlox_DM_Device* NewClientOutput(const char* iNameP, uint64_t iID);
  Mlox_DM_Input* NewClientInput(const char* iNameP, uint64_t iID);
  Mlox_Device* FindDevice(const Mlox_DeviceDescriptor* iDescriptorP, bool iCompareName) const;
  Mlox_InputRef FindInput(const Mlox_DeviceDescriptor* iDescriptorP, bool iCompareName) const;
  bool CanServe(const Mlox_InputPort* iPortP) const;
  Mlox_DM_InputPortState* FindLivePortState(Mlox_InputPort* iPortP) const;

  std::vector<Mlox_DM_Device*> mOutputs;  // not counted: each device takes itself off
  Mlox_InputList mInputs;
  int32_t mServiceIndex = -1;
  int32_t mPortSlotIndex = -1;
  Mem2_MasterAllocator* mBufferedDeliveryAllocatorP;
  IQCFUnknown* mOuterUnknownP;
  Mlox_DataSource* mClickSourceP = nullptr;
  Mlox_DataSource* mMidiBeatClockSourceP = nullptr;
  Mlox_DataSource* mMTCSourceP = nullptr;
  std::set<Mlox_DM_GlobalOutput*> mGlobalOutputs;  // not counted: each output takes itself off
  // The records that are alive, by port. A port's own entry keeps its value after closing, so that value is
  // followed only if it stands here for that very port.
  std::map<Mlox_InputPort*, std::unique_ptr<Mlox_DM_InputPortState>> mPortStates;
  std::thread::id mMainThread;
};
