// SPDX-License-Identifier: MIT
/// \file
/// A source endpoint of the studio as an input.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_input.h"

/// One source endpoint of the studio. It reads no MIDI itself: the one receive thread does, and an input is
/// only a name for which messages a port wants.
///
/// The service owns the list of inputs; a reference of the application's outlives the service's, and a
/// released input goes on answering from its raw objects. What can't be read takes a default, and nobody is
/// told.
///
/// [any but real-time] Every operation takes the subsystem's lock, since the lazily read values are shared
/// between the application's thread and that of the studio's notifications.
class MLOX_EXPORT Mlox_DirectMusic_Input : public Mlox_Input {
 public:
  /// Reads what is read at once; the three objects may be empty.
  Mlox_DirectMusic_Input(const std::shared_ptr<IDeviceProperties>& iDevice,
                         const std::shared_ptr<IEntityProperties>& iEntity,
                         const std::shared_ptr<IEndpointProperties>& iEndpoint);
  Mlox_DirectMusic_Input(const Mlox_DirectMusic_Input&) = delete;
  Mlox_DirectMusic_Input& operator=(const Mlox_DirectMusic_Input&) = delete;

  // ---- Mlox_Input ----

  /// The service's index and the stable number of the endpoint, read once; {-1, -1} while it can't be read.
  Mlox_InputID GetInputID() const override;
  /// Built once from the name and the second number of the id, and again after an update.
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() const override;
  /// The user's name of a user-defined input, else the entity's name; empty when it can't be read.
  std::string GetName() const override;
  /// \param iMidiChannel  0 to 15, or 65535 (-1) for the whole input, which is always available
  bool IsMidiChannelAvailable(short iMidiChannel) const override;
  bool IsPhysical() const override;
  bool IsVirtual() const override;
  /// False.
  bool IsSyncSource() const override;
  bool IsUserDefined() const override;
  /// 0.
  std::uint64_t GetTrackPtr() const override;

  // ---- for the service and the receive code ----

  /// Whether the three objects describe what this input describes; if so, the mark of a rebuild is cleared.
  bool MatchWithRawProperties(const std::shared_ptr<IDeviceProperties>& iDevice,
                              const std::shared_ptr<IEntityProperties>& iEntity,
                              const std::shared_ptr<IEndpointProperties>& iEndpoint);

  /// Takes new raw objects and forgets what was read from the old ones. The id stays when the endpoint is the
  /// very object held before. \return always true
  bool UpdateWithRawProperties(const std::shared_ptr<IDeviceProperties>& iDevice,
                               const std::shared_ptr<IEntityProperties>& iEntity,
                               const std::shared_ptr<IEndpointProperties>& iEndpoint);

  /// The id of the endpoint that really carries the data: its own, or that of the first endpoint that a
  /// user-defined input is wired to. {-1, -1} for a user-defined input that is wired to nothing.
  Mlox_InputID GetIOMloxID() const;

  /// How many endpoints it is wired to; 0 when that can't be read.
  int GetNumConnections() const;

  /// Whether it is wired to the endpoint of an id that has been handed out.
  bool IsConnectedTo(const Mlox_InputID& iID) const;

  /// Whether it belongs to what an id names. \param iLevel  0 an endpoint, 1 an entity, 2 a device
  bool IsPartOf(const Mlox_InputID& iID, const int& iLevel) const;

  /// The raw endpoint; may be empty.
  std::shared_ptr<IEndpointProperties> GetEndpointProperties() const;

  /// Whether the service has let go of this input, for good.
  bool IsServiceReleased() const;
  void SetServiceReleased();

  /// Whether a rebuild is under way that hasn't met this input yet.
  bool IsNeedsVerification() const;
  void SetNeedsVerification();

  // Each refreshes a value from the raw objects, keeps it when it can't be read, and returns it.
  bool ReadInIsUserDefined();
  bool ReadInIsVirtual();
  /// All sixteen channels when it can't be read.
  std::uint32_t ReadInChannelMask() const;

 protected:
  ~Mlox_DirectMusic_Input() override;

 private:
  std::shared_ptr<IDeviceProperties> mDeviceProperties;
  std::shared_ptr<IEntityProperties> mEntityProperties;
  std::shared_ptr<IEndpointProperties> mEndpointProperties;
  bool mIsUserDefined = false;
  bool mIsVirtual = false;
  mutable std::uint32_t mChannelMask = 0;  // bit n is channel n; 0: not read yet
  mutable Mlox_InputID mInputID{-1, -1};   // {-1, -1}: not read yet
  mutable Mlox_InputID mIOMloxID{-1, -1};  // likewise
  mutable std::shared_ptr<const Mlox_DeviceDescriptor> mDescriptor;
  bool mServiceReleased = false;
  bool mNeedsVerification = false;
  Mlox_InputID mDeviceMloxID{-1, -1};
  Mlox_InputID mEntityMloxID{-1, -1};
};
