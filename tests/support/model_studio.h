// SPDX-License-Identifier: MIT
/// \file
/// A studio in memory: hardware ports that come and go, user-defined devices that are wired to them, and the
/// notifications that each change brings about, in the order in which a studio reports them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"

/// One device of the model, with one entity and at most one endpoint a direction.
struct Test_ModelDevice {
  std::string mUniqueID;
  std::string mName;
  std::optional<std::string> mUserName;
  bool mIsUserDefined = false;
  bool mIsVirtual = false;
  bool mHasSource = false;
  bool mHasDestination = false;
  std::optional<int> mTransmitChannels;
  std::optional<int> mReceiveChannels;
  std::string mManufacturer = "Acme";
  std::string mModel = "Box";
  /// Hardware only: whether it is plugged in.
  bool mIsPresent = true;
  /// How many wires each of its endpoints says it has, in the place of the truth.
  std::optional<int> mClaimedConnections;
  /// The stored mloxID of a level (0 endpoint, 1 entity, 2 device) and direction (1 source).
  std::map<std::pair<int, int>, int> mMloxIDs;
};

/// The studio. Every object that it hands out is a new value and answers after its thing is gone. [any]
class Test_ModelStudio : public IDirectMusicStudio, public std::enable_shared_from_this<Test_ModelStudio> {
 public:
  using Items = std::vector<std::pair<std::shared_ptr<IEndpointIDs>, int>>;
  /// What IDirectMusicStudio::Create gives from now on; null: none. [main]
  static void Install(std::shared_ptr<Test_ModelStudio> iStudio);

  // ---- changes, which notify the subscriber on the calling thread ----

  /// A hardware port comes for the first time or again.
  void PlugIn(const Test_ModelDevice& iDevice);
  void Plug(const std::string& iUniqueID);
  void Unplug(const std::string& iUniqueID);
  void AddUserDefined(Test_ModelDevice iDevice);
  void RemoveUserDefined(const std::string& iUniqueID);
  /// Wires an endpoint of a user-defined device to that of a port, in the direction of the port.
  void Wire(const std::string& iUserDefined, const std::string& iPort);
  void Unwire(const std::string& iUserDefined, const std::string& iPort);
  void Rename(const std::string& iUniqueID, const std::string& iName);

  /// A change that nobody is told of.
  void Silently(const std::function<void(Test_ModelStudio&)>& iChange);
  /// Tells the subscriber these items.
  void Tell(const Items& iItems);

  // ---- what there is ----

  std::shared_ptr<IEndpointIDs> IDs(const std::string& iUniqueID, int iLevel, bool iIsSource = false);
  std::shared_ptr<IDeviceProperties> Device(const std::string& iUniqueID);
  std::shared_ptr<IEntityProperties> Entity(const std::string& iUniqueID);
  std::shared_ptr<IEndpointProperties> Endpoint(const std::string& iUniqueID, bool iIsSource);
  /// The unique ids whose endpoint of a direction an application should see: wired user-defined devices,
  /// and present ports that nothing is wired to.
  std::set<std::string> Visible(bool iIsSource) const;
  /// The live far ends of an endpoint's wires, in the order of wiring.
  std::vector<std::string> FarEnds(const std::string& iUniqueID, bool iIsSource) const;
  Test_ModelDevice Row(const std::string& iUniqueID) const;
  void SetRow(const std::string& iUniqueID, const std::function<void(Test_ModelDevice&)>& iChange);

  // ---- faults ----

  /// From now on an operation fails: its name ("GetDeviceCount"), or the property's ("external"), alone for
  /// all things or with a blank and a unique id for one. S_OK heals it.
  void Fail(const std::string& iWhat, HRESULT iResult);
  HRESULT FaultOf(const std::string& iOperation, const std::string& iUniqueID) const;
  /// How often an operation was called.
  int Calls(const std::string& iOperation) const;
  bool HasSubscriber() const;
  int Unregistrations() const;

  // ---- IDirectMusicStudio ----

  HRESULT RegisterNotification(std::shared_ptr<IDirectMusicNotificationCallback> iCallback) override;
  HRESULT UnregisterNotification(const OLECHAR* iID) override;
  HRESULT GetDeviceCount(VARIANT_BOOL iOnline, int* oCount) override;
  HRESULT GetDevice(VARIANT_BOOL iOnline, int iIndex, std::shared_ptr<IDeviceProperties>* oDevice) override;
  HRESULT FindRawProperties(std::shared_ptr<IEndpointIDs> iIDs, std::shared_ptr<IDeviceProperties>* oDevice,
                            std::shared_ptr<IEntityProperties>* oEntity,
                            std::shared_ptr<IEndpointProperties>* oEndpoint) override;

 private:
  std::vector<std::string> UsersOf(const std::string& iPort) const;
  void AppendItems(Items& ioItems, const std::string& iUniqueID, int iKind);

  mutable std::recursive_mutex mMutex;
  std::map<std::string, Test_ModelDevice> mRows;
  std::vector<std::string> mOrder;
  std::vector<std::pair<std::string, std::string>> mWires;  // user-defined, port
  std::vector<std::string> mSnapshots[2];
  std::map<std::string, HRESULT> mFaults;
  mutable std::map<std::string, int> mCalls;
  int mSilence = 0;
  int mUnregistrations = 0;

  std::mutex mNotifyMutex;  // held over Notify, and by who ends the subscription
  std::shared_ptr<IDirectMusicNotificationCallback> mCallback;
};
