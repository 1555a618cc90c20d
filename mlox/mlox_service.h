// SPDX-License-Identifier: MIT
/// \file
/// A MIDI back end.
#pragma once

#include <atomic>
#include <memory>

#include "cmn/cmn_export.h"
#include "mlox/mlox_input.h"
#include "mlox/mlox_inputselection.h"

class Mdi_AppCallback;
class Mlox_Device;
class Mlox_DeviceDescriptor;
class Mlox_InputPort;
class Mlox_Output;
class Mlox_OutputContext;
class Mlox_OutputDescriptor;

/// A MIDI back end: a dense list of output devices and one of inputs, both indexed from 0. It is made with
/// new and deleted by Mlox_Manager::RemoveAllServices. It tells the manager, from any of its threads, when a
/// list has changed. All operations run on the main thread unless a tag says otherwise.
///
/// The Find operations without a body answer only for descriptors of the service's own kind; any other gives
/// null, so that the manager moves on to the next service. The two that search by name answer whatever kind
/// asks.
class MLOX_EXPORT Mlox_Service {
 public:
  virtual ~Mlox_Service() = default;

  /// [main] Called once, on joining the manager: the place in the table, from 1.
  virtual void SetServiceIndex(int iServiceIndex) = 0;

  /// [main] It changes only together with Mlox_Manager::ServiceOutputListChanged.
  virtual int GetNumberOfOutputDevices() = 0;

  /// [main] A device of this service's list; null outside it.
  virtual Mlox_Device* GetOutputDevice(int iIndex) = 0;

  /// [main] It changes only together with Mlox_Manager::ServiceInputListChanged.
  virtual int GetNumberOfInputs() = 0;

  /// [main] An input of this service's list, with a reference taken; null outside it.
  virtual Mlox_InputRef GetInput(int iIndex) = 0;

  /// [main] Compares every field of the descriptor, the name included.
  virtual Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(
      const Mlox_DeviceDescriptor* iDescriptorP) = 0;

  /// [main] Compares everything but the name.
  virtual Mlox_Device* FindOutputDeviceMatchingDescriptorExceptForName(
      const Mlox_DeviceDescriptor* iDescriptorP) = 0;

  /// [main] As for devices, for one output: the device and the channel of the descriptor.
  virtual Mlox_Output* FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP) = 0;

  /// [main] As for devices, for one output: the device and the channel of the descriptor.
  virtual Mlox_Output* FindOutputMatchingDescriptorExceptForName(
      const Mlox_OutputDescriptor* iDescriptorP) = 0;

  /// [main] Compares every field of the descriptor, the name included.
  virtual Mlox_InputRef FindInputExactlyMatchingDescriptor(
      std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) = 0;

  /// [main] Compares everything but the name.
  virtual Mlox_InputRef FindInputMatchingDescriptorExceptForName(
      std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) = 0;

  /// [main] The first device of this name, whatever kind of descriptor asks. Names compare byte for byte.
  /// \param iDescriptorP  null gives null
  virtual Mlox_Device* FindOutputDeviceMatchingName(const Mlox_DeviceDescriptor* iDescriptorP);

  /// [main] The first input of this name, whatever kind of descriptor asks. Names compare byte for byte.
  /// \param iDescriptorP  null gives null
  virtual Mlox_InputRef FindInputMatchingName(std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP);

  /// [main] The chance to keep something for a new context.
  virtual void CreateOutputContext(Mlox_OutputContext* iContextP) = 0;

  /// [main] Appends a reference to each input that passes both filters, in the order of the list.
  virtual void AddInputsToList(Mlox_InputList* ioInputsP, Mlox_EInputVirtualSelection iVirtualSelection,
                               Mlox_EInputSyncSelection iSyncSelection) = 0;

  /// [main] Keeps a record for a new port in the port's entry for this service, or leaves it null.
  virtual void CreateInputPort(Mlox_InputPort* iInputPortP) = 0;

  /// [main] Connects those inputs that are of this service's kind to the port; skips all others.
  virtual void ConnectInputsToInputPort(const Mlox_InputList& iInputs, Mlox_InputPort* iInputPortP) = 0;

  /// [main] Blocks or unblocks an input for a port. No service of this library does anything here.
  virtual void InputPortBlockInput(const Mlox_Input& iInput, bool iBlock, Mlox_InputPort* iInputPortP) = 0;

  /// [main] Disconnects the port from all inputs of this service.
  virtual void InputPortCloseConnections(Mlox_InputPort* iInputPortP) = 0;

  /// [main] The delay, in samples, that takes out jitter. The manager never calls it; applications reach it
  /// through Mlox_Manager::GetOSService.
  virtual void SetZeroJitterDelay(int iDelay);

  /// [main] Whether the id names an input of a hosted plug-in in this service.
  virtual bool IsPlugInSource(const Mlox_InputID& iInputID) const;

  /// [main] Raises the flag that the service reads where it matters.
  virtual void Suspend();

  /// [main] Takes the flag back.
  virtual void Resume();

  /// [any] The flag. A writer that reads it late lets one more event through.
  virtual bool IsSuspended();

  /// [main] The application has finished resolving its references to devices of an earlier state.
  virtual void DoneUpdatingOldDeviceReferences();

  /// [main] Stops what is being played.
  virtual void StopPlayback();

 protected:
  /// \param iAppCallbackP  not owned; kept for the life of the service
  explicit Mlox_Service(Mdi_AppCallback* iAppCallbackP);
  /// For a service whose flag is read by those that may outlive it.
  /// \param ioIsSuspended  what Suspend and Resume change instead of a flag of their own; it outlives the
  /// service
  Mlox_Service(Mdi_AppCallback* iAppCallbackP, std::atomic<bool>& ioIsSuspended);
  Mlox_Service(const Mlox_Service& iOther);
  Mlox_Service& operator=(const Mlox_Service& iOther);

  Mdi_AppCallback* GetAppCallback() const { return mAppCallbackP; }

 private:
  Mdi_AppCallback* mAppCallbackP;
  std::atomic<bool> mOwnIsSuspended{false};
  std::atomic<bool>* mIsSuspendedP = &mOwnIsSuspended;
};
