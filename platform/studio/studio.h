// SPDX-License-Identifier: MIT
/// \file
/// The studio of this machine.
#pragma once

#include <memory>
#include <string>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "platform/studio/studiomanagement.h"
#include "platform/studio/studiopresence.h"
#include "platform/studio/studioworker.h"

/// The studio endpoint database, both as the service and as its users see it. Answers come from memory; the
/// file is read and written by a thread of its own. Subscribers are called on that thread. [any thread]
class Platform_Studio final : public IDirectMusicStudio, public Platform_StudioManagement {
 public:
  /// Waits until the file has been tried once, 50 ms at most, then takes over what is plugged in.
  Platform_Studio(IDirectMusic8* iRootP, const std::string& iPath,
                  Platform_StudioUse iUse = Platform_StudioUse::kPlaying);
  Platform_Studio(const Platform_Studio&) = delete;
  Platform_Studio& operator=(const Platform_Studio&) = delete;
  /// Waits 50 ms at most for the file, and for a call to a subscriber that runs, except inside that call.
  /// Nobody is told anything from then on.
  ~Platform_Studio() override;

  HRESULT RegisterNotification(std::shared_ptr<IDirectMusicNotificationCallback> iCallback) override;
  HRESULT UnregisterNotification(const OLECHAR* iID) override;
  HRESULT GetDeviceCount(VARIANT_BOOL iOnline, int* oCount) override;
  HRESULT GetDevice(VARIANT_BOOL iOnline, int iIndex, std::shared_ptr<IDeviceProperties>* oDevice) override;
  HRESULT FindRawProperties(std::shared_ptr<IEndpointIDs> iIDs, std::shared_ptr<IDeviceProperties>* oDevice,
                            std::shared_ptr<IEntityProperties>* oEntity,
                            std::shared_ptr<IEndpointProperties>* oEndpoint) override;

  bool WaitUntilRead(std::chrono::milliseconds iTime) override;
  std::vector<Platform_StudioEntry> Entries() override;
  Platform_StudioResult Add(const std::string& iName, const std::string& iManufacturer,
                            const std::string& iModel, std::string& oGuid) override;
  Platform_StudioResult Remove(const std::string& iUser) override;
  Platform_StudioResult Wire(const std::string& iUser, const std::string& iPort) override;
  Platform_StudioResult Unwire(const std::string& iUser, const std::string& iPort) override;
  Platform_StudioResult Rename(const std::string& iUser, const std::string& iName) override;
  Platform_StudioResult SetChannels(const std::string& iGuid, std::int32_t iReceive,
                                    std::int32_t iTransmit) override;
  Platform_StudioResult SetBanks(const std::string& iGuid,
                                 const std::vector<Platform_StudioBank>& iBanks) override;
  Platform_StudioResult SetMaster(const std::string& iGuid, const std::optional<std::string>& iPath) override;
  Platform_StudioResult SetMode(const std::string& iGuid, int iChannel, const std::string& iMode) override;
  bool Flush(std::chrono::milliseconds iTime) override;
  std::string Trouble() override;

 private:
  using State = Platform_StudioState;
  using Edited = std::optional<Platform_StudioChange>;

  Platform_StudioResult Put(Platform_StudioPutProperties iChange);
  /// \param iCheck what stands against the change, or kDone
  template <class Check, class Make>
  Platform_StudioResult Edit(Check iCheck, Make iMake);

  const std::shared_ptr<Platform_StudioCore> mCore;
  const std::shared_ptr<Platform_StudioSubscribers> mSubscribers;
  const std::shared_ptr<Platform_StudioPresence> mPresence;
  const std::shared_ptr<Platform_StudioWorker> mWorker;
};
