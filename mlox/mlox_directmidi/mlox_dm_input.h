// SPDX-License-Identifier: MIT
/// \file
/// A plug-in as a MIDI source: an ordinary input to the rest of the application.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "cmn/cmn_export.h"
#include "cmn/cqcfunknown.h"
#include "mlox/mlox_directmidi/idirectmidiclientinput.h"
#include "mlox/mlox_directmidi/mlox_dm_genericdeviceorinput.h"
#include "mlox/mlox_directmidi/mlox_dm_receiver.h"
#include "mlox/mlox_input.h"

class Mlox_DM_Service;

/// The input behind a client input.
///
/// It lives under two counts: the plug-in's interface references, and the references that the service and the
/// application hold on it as a `Mlox_Input`. While there is an interface reference the input holds one of the
/// second kind on itself; it dies with the last of the second kind.
///
/// [main] Everything but the receiving operations.
class MLOX_EXPORT Mlox_DM_Input : public Mlox_Input,
                                  public Mlox_DM_GenericDeviceOrInput,
                                  public Mlox_DM_Receiver,
                                  public IDirectMIDIClientInput,
                                  public CQCFUnknown {
 public:
  /// \param iNameP     null counts as the empty name.
  /// \param iServiceP  told when the last interface reference goes; not null.
  /// \param iClientID  given back by `GetTrackPtr`.
  Mlox_DM_Input(const char* iNameP, Mlox_DM_Service* iServiceP, uint64_t iClientID);

  /// An input of a list as what it is here; null for a null reference and for one of another service. Lists
  /// give inputs as constant: what changes is their connection and their service, not what they tell.
  static Mlox_DM_Input* FromInput(const Mlox_InputRef& iInput);

  // ---- Mlox_Input ----

  /// The service's index and this node's unique id, both as they were when the input was made. [any]
  Mlox_InputID GetInputID() const override;
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() const override;
  std::string GetName() const override;
  bool IsMidiChannelAvailable(short iMidiChannel) const override;
  /// False. [any]
  bool IsPhysical() const override;
  /// True. [any]
  bool IsVirtual() const override;
  /// False. [any]
  bool IsSyncSource() const override;
  /// True. [any]
  bool IsPlugIn() const override;
  /// The client id given to the constructor. [any]
  uint64_t GetTrackPtr() const override;

  // ---- IDirectMIDIClientInput ----

  int32_t QueryInterface(const _qcfUID& iUID, void** oResultP) override;
  uint32_t AddRef() override;
  uint32_t Release() override;
  void SetChannelMask(uint16_t iMask) override;
  /// Renames the node; its id and its connection stay.
  void SetName(const char* iNameP) override;
  void SetPluginIdentification(void* iFicPlugInSpecP, int32_t iPluginID) override;

  /// The service is going: the input must not call it from now on.
  void ClearServiceP();

  // ---- CQCFUnknown ----

  /// Leaves the service's list and drops the reference on itself.
  void ReclaimMemory() override;
  int32_t InternalQueryInterface(const _qcfUID& iUID, void** oResultP) override;
  uint32_t InternalAddRef() override;

 protected:
  ~Mlox_DM_Input() override;

 private:
  Mlox_DM_Service* mServiceP;
  const Mlox_InputID mInputID;
  const uint64_t mClientID;
};
