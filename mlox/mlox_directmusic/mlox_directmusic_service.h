// SPDX-License-Identifier: MIT
/// \file
/// The service for MIDI hardware.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_service.h"

class Mem2_MasterAllocator;
class Mlox_DirectMusic_Device;
class Mlox_DirectMusic_Input;
class Mlox_DirectMusic_NotificationCallback;
struct DirectMusicInputPortState;

/// The service for MIDI hardware: a list of devices and one of inputs, filled from the studio by the first
/// count and kept up to date by the studio's notifications.
///
/// There is at most one in the process, the service handle. The manager makes it (Mlox_Manager::
/// ActivateService), owns it and deletes it on the thread that made it.
///
/// Threads: the subsystem's lock covers the lists and everything in them, so that a notification, which comes
/// on a thread of the studio's, and the application's calls are serialised. The lock is never held while the
/// application is called or the receive thread is joined.
///
/// Devices and inputs that leave the lists stay alive: the application, and outputs, may still point at them.
class MLOX_EXPORT Mlox_DirectMusic_Service : public Mlox_Service {
 public:
  /// [main] Makes the service and the service handle that leads to it; nothing if there is one.
  /// \param iAppCallbackP  not owned; handed to each device
  /// \param iAllocatorP    not owned; handed to each device, and must outlive all of them
  static void Create(Mdi_AppCallback* iAppCallbackP, Mem2_MasterAllocator* iAllocatorP);

  /// [main] Ends notifications and reception, releases devices and inputs, and clears the service handle. On
  /// the thread that made the service.
  ~Mlox_DirectMusic_Service() override;

  Mlox_DirectMusic_Service(const Mlox_DirectMusic_Service&) = delete;
  Mlox_DirectMusic_Service& operator=(const Mlox_DirectMusic_Service&) = delete;

  // ---- Mlox_Service ----

  void SetServiceIndex(int iServiceIndex) override;
  /// Fills the lists if they haven't been yet; 0 as long as they can't be.
  int GetNumberOfOutputDevices() override;
  /// Null outside the list.
  Mlox_Device* GetOutputDevice(int iIndex) override;
  /// Fills the lists if they haven't been yet; 0 as long as they can't be.
  int GetNumberOfInputs() override;
  /// Null outside the list.
  Mlox_InputRef GetInput(int iIndex) override;

  // The find operations answer nothing before the lists have been filled, by decision.
  Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(const Mlox_DeviceDescriptor* iDescriptorP) override;
  Mlox_Device* FindOutputDeviceMatchingDescriptorExceptForName(
      const Mlox_DeviceDescriptor* iDescriptorP) override;
  Mlox_Output* FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP) override;
  Mlox_Output* FindOutputMatchingDescriptorExceptForName(const Mlox_OutputDescriptor* iDescriptorP) override;
  Mlox_InputRef FindInputExactlyMatchingDescriptor(
      std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) override;
  Mlox_InputRef FindInputMatchingDescriptorExceptForName(
      std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) override;
  /// The name as it stands, then the name with this machine's mark of an emulated port.
  Mlox_Device* FindOutputDeviceMatchingName(const Mlox_DeviceDescriptor* iDescriptorP) override;
  /// The name as it stands, then the name with this machine's mark of an emulated port.
  Mlox_InputRef FindInputMatchingName(std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) override;

  /// Does nothing.
  void CreateOutputContext(Mlox_OutputContext* iContextP) override;
  /// The sync selection is ignored.
  void AddInputsToList(Mlox_InputList* ioInputsP, Mlox_EInputVirtualSelection iVirtualSelection,
                       Mlox_EInputSyncSelection iSyncSelection) override;
  /// A port without a receiver gets nothing.
  void CreateInputPort(Mlox_InputPort* iInputPortP) override;
  /// Replaces whatever the port's receiver was connected to. Not on the receive thread, nor with the
  /// subsystem's lock held: there it is reported and changes nothing.
  void ConnectInputsToInputPort(const Mlox_InputList& iInputs, Mlox_InputPort* iInputPortP) override;
  /// Does nothing.
  void InputPortBlockInput(const Mlox_Input& iInput, bool iBlock, Mlox_InputPort* iInputPortP) override;
  /// After its return the port's receiver isn't called any more for inputs of this service. Not on the
  /// receive thread, nor with the subsystem's lock held: there it is reported, and the connection stays.
  void InputPortCloseConnections(Mlox_InputPort* iInputPortP) override;
  void SetZeroJitterDelay(int iDelay) override;
  /// Devices stay open: reception drops messages, and output drops events.
  void Suspend() override;
  void Resume() override;
  /// Ends a long system exclusive message that is being sent, at its next piece.
  void StopPlayback() override;

  // ---- own operations ----

  /// [main] Finds by device and channel. \param iExact  whether the name counts
  virtual Mlox_Output* FindOutput(bool iExact, const Mlox_OutputDescriptor* iDescriptorP);
  /// [main] \param iExact  whether the name counts; with or without this machine's mark of an emulated port
  virtual Mlox_Device* FindOutputDevice(bool iExact, const Mlox_DeviceDescriptor* iDescriptorP);
  /// [main] \param iExact  whether the name counts, and then only as it stands: kept, unlike for devices
  virtual Mlox_InputRef FindInput(bool iExact, std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP);

  // ---- what the service handle serves; [any but real-time] ----

  /// Empty when there is none: a service without a studio lives on without devices.
  std::shared_ptr<IDirectMusicStudio> GetStudio() const;
  int GetZeroJitterDelay() const;
  void SetStopPlaybackFlag(bool iStop);
  bool IsStopPlaybackFlagSet() const;

 private:
  friend class Mlox_DirectMusic_NotificationCallback;
  friend struct Test_DirectMusic_ServiceAccess;

  using Inputs = std::vector<Cmn_AliasedRefCountPtr<Mlox_DirectMusic_Input>>;
  using RawDevices = std::vector<std::shared_ptr<IDeviceProperties>>;
  struct RebuildIndex;

  Mlox_DirectMusic_Service(Mdi_AppCallback* iAppCallbackP, Mem2_MasterAllocator* iAllocatorP);
  static std::shared_ptr<IDirectMusicStudio> MakeStudio();
  void EndNotifications();
  bool HasPortSlot() const;
  DirectMusicInputPortState* FindPortState(Mlox_InputPort* iInputPortP) const;

  // All of these run under the subsystem's lock.
  void Rebuild();
  bool ReadGroup(VARIANT_BOOL iIsOnline, RawDevices& ioRaws) const;
  void AddDevice(const std::shared_ptr<IDeviceProperties>& iDevice);
  void AddEntity(const std::shared_ptr<IDeviceProperties>& iDevice,
                 const std::shared_ptr<IEntityProperties>& iEntity);
  void AddOrUpdate(bool iIsSource, const std::shared_ptr<IDeviceProperties>& iDevice,
                   const std::shared_ptr<IEntityProperties>& iEntity,
                   const std::shared_ptr<IEndpointProperties>& iEndpoint);
  void AddOrUpdateOutputDevice(const std::shared_ptr<IDeviceProperties>& iDevice,
                               const std::shared_ptr<IEntityProperties>& iEntity,
                               const std::shared_ptr<IEndpointProperties>& iEndpoint);
  void AddOrUpdateInput(const std::shared_ptr<IDeviceProperties>& iDevice,
                        const std::shared_ptr<IEntityProperties>& iEntity,
                        const std::shared_ptr<IEndpointProperties>& iEndpoint);
  void RemoveInputs(const std::vector<Mlox_DirectMusic_Input*>& iInputs);
  void RemoveDevices(const std::vector<Mlox_DirectMusic_Device*>& iDevices);
  void RemoveUnconnectedUserDevices();
  void RemoveShadowedPorts();
  void Notify(IDirectMusicNotificationList& iList);
  void UpdateEndpoint(const std::shared_ptr<IEndpointIDs>& iIDs);
  void RemoveEndpoint(const std::shared_ptr<IEndpointIDs>& iIDs, bool iCascade);
  void RemoveInputsOf(const Mlox_InputID& iID, int iLevel, bool iCascade);
  void RemoveDevicesOf(const Mlox_InputID& iID, int iLevel, bool iCascade);
  void BringBack(const Mlox_InputID& iIOMloxID);
  void ReportDevices();
  void ReportInputs();

  std::vector<Mlox_DirectMusic_Device*> mDevices;
  Inputs mInputs;
  bool mNeedsRebuild = true;
  bool mDevicesChanged = true;
  bool mInputsChanged = true;
  std::shared_ptr<IDirectMusicStudio> mStudio;
  std::int32_t mInputPortServiceIndex = -1;
  std::shared_ptr<Mlox_DirectMusic_NotificationCallback> mNotificationCallback;
  Mem2_MasterAllocator* mAllocator;
  std::int32_t mServiceIndex = -1;
  // The records that are alive, by port. A port's own entry keeps its value when a service goes, so that
  // value is followed only if it stands here for that very port.
  std::map<Mlox_InputPort*, std::unique_ptr<DirectMusicInputPortState>> mPortStates;
  RebuildIndex* mRebuildIndexP = nullptr;  // while a rebuild runs
};
