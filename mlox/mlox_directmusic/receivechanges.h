// SPDX-License-Identifier: MIT
/// \file
/// What a new receiver changes in the set of ports that must be open.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "mlox/mlox_directmusic/directmusicreceivers.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_directmusic/portinputgroup.h"
#include "mlox/mlox_inputid.h"

/// Endpoints, as the studio names them.
using EndpointIDsList = std::vector<std::shared_ptr<IEndpointIDs>>;

/// What the calculation knows of the machine.
struct ReceiveChangesWorld {
  /// A hardware input of the manager.
  struct Input {
    Mlox_InputID mID;    ///< Its own id.
    Mlox_InputID mPort;  ///< The id of the endpoint that carries its data.
    bool mIsUserDefined = false;
  };
  std::vector<Input> mInputs;
  /// Every source endpoint of the studio; asked for only when a receiver wants everything.
  std::function<EndpointIDsList()> mEveryEndpoint;
};

/// A calculation on sets, which touches no port and no thread. One object for each.
class ReceiveChanges {
 public:
  /// Both lists are changed in place.
  ReceiveChanges(const ReceiveChangesWorld& iWorld, DirectMusicReceiverList& ioReceivers,
                 PortInputGroupList& ioGroups);

  /// Puts the receiver in the place of the one with the same callback, and brings the groups into line with
  /// what is wanted then. A receiver without sources only takes the old one away. oRestart: whether other
  /// ports must be open than before. \returns whether anything was added or removed.
  bool Compute(const std::shared_ptr<IDirectMusicMIDIReceiver>& iReceiver, bool* oRestart);

 private:
  using Receiver = std::shared_ptr<IDirectMusicMIDIReceiver>;

  void FindOldReceiver();
  bool IsAllWanted() const;
  bool IsWantedByOthers(const std::shared_ptr<IEndpointIDs>& iEndpoint) const;
  void CollectChanges();
  void CollectNoLongerWanted();
  void CollectNewlyWanted();
  void CollectRewired();
  void RemoveFromGroups(const Mlox_InputID& iID);
  void AddToGroups(const Mlox_InputID& iID);
  bool IsRestartNeeded();
  void ReplaceReceiver();

  const ReceiveChangesWorld& mWorld;
  DirectMusicReceiverList& mReceivers;
  PortInputGroupList& mGroups;
  Receiver mNew;
  Receiver mOld;
  bool mNewIsAll = false;
  int mSourceCount = 0;
  std::vector<Mlox_InputID> mToRemove;
  std::vector<Mlox_InputID> mToAdd;
  std::vector<Mlox_InputID> mRemovedPorts;
  std::vector<Mlox_InputID> mAddedPorts;
};
