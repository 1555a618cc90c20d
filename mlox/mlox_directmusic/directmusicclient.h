// SPDX-License-Identifier: MIT
/// \file
/// The process's DirectMusic root and its cache of output ports.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_directmusic/portnamerules.h"

/// The only place that talks to the DirectMusic root about ports as a whole: it owns the root, keeps the open
/// output ports by the text of their GUIDs, makes music buffers, and decides which ports the system doesn't
/// show at all. Input ports are opened by the receive code.
///
/// All operations are static and take the subsystem's lock. [any but real-time], and GetOutputPort and
/// UpdatePortList never on the receive thread.
class MLOX_EXPORT DirectMusicClient {
 public:
  using EProhibitedByNameEmulatedState = ::EProhibitedByNameEmulatedState;

  /// One cached port.
  struct PortCacheElement {
    std::string mPortGuid;              ///< The GUID's text, braces included.
    IDirectMusicPort* mPort = nullptr;  ///< With the reference that CreatePort gave.
  };

  /// The root with a reference added, which the caller releases; null if there is none. It is made only if
  /// `create` is true. Making it takes one reference more than ReleaseDirectMusicPtr gives back, on purpose:
  /// this class never destroys the root.
  static IDirectMusic8* GetDirectMusicPtr(const bool& create);

  /// Drops the whole cache and the root.
  static void ReleaseDirectMusicPtr();

  /// Makes a buffer with room for one event of `size` bytes. E_UNEXPECTED without a root.
  static HRESULT CreateMusicBuffer(const long& size, IDirectMusicBuffer** buffer);

  /// The output port of an endpoint: 0 with a reference added, 1 with null when the port isn't there,
  /// E_INVALIDARG for an empty `ids` or a null `port`, else the failure of reading the port's GUID. A port
  /// that isn't cached makes the cache be rebuilt, each time.
  static HRESULT GetOutputPort(std::shared_ptr<IEndpointIDs> ids, IDirectMusicPort** port);

  /// Brings the cache up to date with the ports that are there. E_UNEXPECTED without a root.
  static HRESULT UpdatePortList();

 private:
  friend std::string GetEmulatedString();
  friend struct Test_DirectMusicClientAccess;

  struct EnumeratedPort;

  static bool IsPortProhibitedByName(const DMUS_PORTCAPS& caps);
  static bool IsSpecificProhibitedPort(const std::string& portName, const std::string& prohibitedName,
                                       const EProhibitedByNameEmulatedState& state);
  static bool IsPortProhibited(const EnumeratedPort& iPort);
  static void FillProhibitedNames();
  static IDirectMusicPort* FindCachedPort(const std::string& iGuid);
  static bool GiveCachedPort(const std::string& iGuid, IDirectMusicPort** oPortP);
  static void SortInPort(IDirectMusic8& iRoot, const DMUS_PORTCAPS& iCaps, std::vector<std::string>& ioCommon,
                         std::vector<PortCacheElement>& ioNew);
  static void RemoveMissingPorts(const std::vector<std::string>& iCommon);
  static void AppendNewPorts(const std::vector<PortCacheElement>& iNew);

  // Statics of the process: under the subsystem's lock, never destroyed.
  static IDirectMusic8* sDirectMusicP;
  static std::vector<PortCacheElement>& PortList();
  static PortNameTable& ProhibitedNames();
  static std::set<std::string>& ExcludedPortNames();
  static std::string& EmulatedString();
};
