// SPDX-License-Identifier: MIT
/// \file
/// One hardware or user-defined device, as the studio describes it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "cmn/cmn_polyvector.h"
#include "midixml/mlox_patchnamebankinfo.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_inputid.h"
#include "mlox/mlox_output.h"
#include "platform/directmusic/directmusic.h"

class Mem2_MasterAllocator;

/// Stands on one raw object of each level of the studio: a device, an entity in it, an endpoint in that. What
/// it reads from them it keeps until the next update. It makes the outputs of its channels when they are
/// asked for, and opens and activates the port that feeds them.
///
/// [any but real-time] for all operations: each takes the subsystem's lock while it reads or changes fields.
/// A raw object that is gone from the studio stays here, with all that was read from it, until the service
/// updates or lets go of the device.
class MLOX_EXPORT Mlox_DirectMusic_Device : public Mlox_Device {
 public:
  /// Takes the raw objects over as an update does.
  /// \param iAllocatorP  handed to the outputs; not owned
  Mlox_DirectMusic_Device(Mdi_AppCallback* iAppCallbackP, std::shared_ptr<IDeviceProperties> iDeviceP,
                          std::shared_ptr<IEntityProperties> iEntityP,
                          std::shared_ptr<IEndpointProperties> iEndpointP, Mem2_MasterAllocator* iAllocatorP);
  /// Shares the raw objects, the descriptor and the outputs; takes a reference of its own on the port.
  Mlox_DirectMusic_Device(const Mlox_DirectMusic_Device& iOther);
  Mlox_DirectMusic_Device& operator=(const Mlox_DirectMusic_Device& iOther);
  /// Lets go of the outputs.
  ~Mlox_DirectMusic_Device() override;

  // ---- Mlox_Device ----

  std::string GetName() override;
  /// The output without a channel, made when first asked for; null once the service has let go.
  Mlox_Output* GetCommonOutput() override;
  /// The output of one channel, made when first asked for; null for a channel that isn't available, for -1,
  /// and once the service has let go.
  Mlox_Output* GetOutputForChannel(short iMidiChannel) override;
  /// Always true for -1, the common output.
  bool IsMidiChannelAvailable(short iMidiChannel) const override;
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() override;
  /// The name document that the studio keeps for the device; without one, the document found by manufacturer
  /// and model, which the studio then keeps. \param oIsDefaultP  whether neither was there; may be null
  bool GetFactoryPatchFileName(Sys_FileLoc* oFileLocP, bool* oIsDefaultP) override;
  bool IsUserDefined() const override;

  // ---- the raw objects ----

  /// Whether these describe the same things as those held. A device that was marked and matches loses the
  /// mark. The held ones must not be empty.
  bool MatchWithRawProperties(const std::shared_ptr<IDeviceProperties>& iDeviceP,
                              const std::shared_ptr<IEntityProperties>& iEntityP,
                              const std::shared_ptr<IEndpointProperties>& iEndpointP);
  /// Takes over these, forgets all that was read, and hands the outputs the descriptor and port of now.
  /// Always true.
  bool UpdateWithRawProperties(const std::shared_ptr<IDeviceProperties>& iDeviceP,
                               const std::shared_ptr<IEntityProperties>& iEntityP,
                               const std::shared_ptr<IEndpointProperties>& iEndpointP);

  // ---- what is read ----

  std::string GetManufacturerName();
  std::string GetModelName();
  /// The identity of the endpoint; {-1, -1} if it has none.
  Mlox_InputID GetInputID();
  /// The identity of the endpoint that does the input and output: a user-defined device's is that of the
  /// first endpoint that it is wired to.
  Mlox_InputID GetIOMloxID();
  /// The endpoint that does the input and output; empty if there is none.
  void GetIOEndpoint(std::shared_ptr<IEndpointProperties>* oEndpointP);
  /// How many endpoints this one is wired to; 0 on failure.
  int GetNumConnections();
  /// The raw endpoint; may be empty. Under the subsystem's lock.
  std::shared_ptr<IEndpointProperties> GetEndpointProperties() const { return mEndpointProperties; }
  /// Whether the endpoint is wired to the one of that identity.
  bool IsConnectedTo(const Mlox_InputID& iID);
  /// Whether the identity is that of the endpoint (level 0), the entity (1) or the device (2).
  bool IsPartOf(const Mlox_InputID& iID, const int& iLevel);
  /// How early a write must be, in microseconds. Measured anew at each call unless the studio has told it.
  double GetMinWriteTime();
  /// How early the studio says that a write must be, in microseconds; kept. The library measures instead.
  double ReadInMinWriteTime();

  // ---- the service's marks ----

  bool IsNeedsVerification() const;
  void SetNeedsVerification();
  bool IsServiceReleased() const;
  /// Ends the device: no output is given out any more.
  void SetServiceReleased();
  /// Lets go of every output made so far, and of the port.
  void ReleaseOutList();
  /// -1: nothing in this system gives a device another number.
  short GetOMSOutputRefNum() const;

  // ---- patches ----

  /// The banks that the user has given the device. Elements belong to the vector: those that it holds are
  /// deleted first, and the caller deletes the new ones.
  /// \param oIsDefaultP  whether there is none; may be null
  /// \return false if the studio can't tell; true for none
  bool GetBankPatchInfo(Cmn_PolyVector<Mlox_PatchNameBankInfo*>* oBanksP, bool* oIsDefaultP);
  /// The mode of a channel, 0 to 15. \param oIsDefaultP  whether there is none; may be null
  bool GetPatchNameMode(const int& iChannel, std::string* oModeP, bool* oIsDefaultP);
  void SetPatchNameMode(const int& iChannel, const std::string& iMode);
  /// Stores the name document of the device; none for a location that is none.
  void SetFactoryPatchFileName(const Sys_FileLoc& iFile);

 private:
  friend class Test_DirectMusicDeviceAccess;

  std::string ReadInName() const;
  void ReadInManufacturerName();
  void ReadInModelName();
  void ReadInIsUserDefined();
  void ReadInMidiChannelsAvailable() const;
  void ReadInInputID();
  void ReadInIOMloxID();
  void ReadInIOEndpoint();
  void ReadInIOPortAndChannelGroupIfNeeded();
  Mlox_Output* GetOutputForChannelExt(const short& iChannel);
  bool InitializePatchNameFile(std::string* oPathP);

  void CopyFields(const Mlox_DirectMusic_Device& iOther);
  std::shared_ptr<IDeviceProperties> HeldDevice() const;
  void ForgetWhatWasRead();
  void RefreshOutputDescriptors(const Mlox_DeviceDescriptor* iOldP);
  void HandPortToOutputs();
  void ActivatePort();
  void SetPort(IDirectMusicPort* iPortP);

  std::shared_ptr<IDeviceProperties> mDeviceProperties;
  std::shared_ptr<IEntityProperties> mEntityProperties;
  std::shared_ptr<IEndpointProperties> mEndpointProperties;
  std::shared_ptr<IEndpointProperties> mIOEndpoint;
  Mlox_InputID mInputID{-1, -1};
  Mlox_InputID mIOMloxID{-1, -1};
  bool mIsUserDefined = false;
  double mMinWriteTime = 0.0;
  std::string mManufacturerName;
  std::string mModelName;
  mutable std::uint32_t mChannelsAvailable = 0;  // 0: not read yet
  std::shared_ptr<const Mlox_DeviceDescriptor> mDescriptor;
  Cmn_PolyVector<Cmn_AliasedRefCountPtr<Mlox_Output>> mOutputs;
  IDirectMusicPort* mPort = nullptr;
  DWORD mChannelGroup = 0xFFFFFFFF;
  Mem2_MasterAllocator* mAllocator;
  bool mServiceReleased = false;
  bool mNeedsVerification = false;
  Mlox_InputID mDeviceMloxID{-1, -1};
  Mlox_InputID mEntityMloxID{-1, -1};
  short mOMSOutputRefNum = -1;
  std::string mPortName;
};
