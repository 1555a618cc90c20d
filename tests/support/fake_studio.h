// SPDX-License-Identifier: MIT
/// \file
/// A studio database for tests: devices, entities, endpoints and their properties by call.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "tests/support/fake_calls.h"

/// One thing in the fake studio: a device (level 2), an entity (1) or an endpoint (0). Made and kept by
/// Test_FakeStudio. Its maps are by the text of a property's GUID, "{...}"; fill them before other threads
/// run.
struct Test_StudioNode {
  int mLevel = 0;
  Test_StudioNode* mParentP = nullptr;
  bool mIsSource = false;  ///< of an endpoint
  std::vector<Test_StudioNode*> mChildren;
  std::vector<Test_StudioNode*> mConnections;  ///< of an endpoint: what it is wired to
  std::map<std::string, LONG> mInts;
  std::map<std::string, std::string> mStrings;
  std::map<std::string, VARIANT_BOOL> mFlags;
  std::map<std::string, double> mDoubles;
  std::map<std::string, std::vector<std::string>> mArrays;
  std::map<std::string, std::string> mNames;  ///< the short name with which a property was set
  struct Bank {
    std::string mName;
    std::string mFile;
    std::string mPatchNameList;
  };
  std::vector<Bank> mBanks;
  /// Numbers that identifiers of this node carry beside the unique ids, "mloxID" among them.
  std::map<std::string, LONG> mIDInts;
  /// False: the hardware is gone, and FindRawProperties fails.
  bool mIsThere = true;
};

/// The studio, and what stands behind IDirectMusicStudio::Create from its making to its end. One at a time.
///
/// Objects of the interfaces are made anew by each call and are told apart by the node that they show, so
/// nobody can lean on pointers; SetKeepsObjects(true) gives the same object each time. All calls are recorded
/// in Calls() by the name of the operation, those that read or write a property also with the property's
/// short name or GUID, as in "GetIntProperty mloxID": failures can be asked for by either. [any thread]
class Test_FakeStudio : public IDirectMusicStudio, public std::enable_shared_from_this<Test_FakeStudio> {
 public:
  /// Makes the studio and installs it.
  static std::shared_ptr<Test_FakeStudio> Install();
  /// Takes the installed studio away: Create gives none until the next Install, or Uninstall.
  static void InstallNone();
  /// Restores what was there before the first Install.
  static void Uninstall();

  Test_FakeStudio() = default;
  ~Test_FakeStudio() override;

  // ---- building; online: of the group VARIANT_TRUE ----

  /// A device with this unique id; not external, not virtual, not offline.
  Test_StudioNode& AddDevice(const std::string& iUniqueID, bool iOnline = true);
  /// An entity with this name; its unique id counts from 1 within the device unless one is given.
  Test_StudioNode& AddEntity(Test_StudioNode& ioDevice, const std::string& iName, LONG iUniqueID = -1);
  /// An endpoint; its unique id is 0 for a source and 1 for a destination unless one is given.
  Test_StudioNode& AddEndpoint(Test_StudioNode& ioEntity, bool iIsSource, LONG iUniqueID = -1);
  /// Device, entity and endpoint in one: what a port is. Returns the endpoint.
  Test_StudioNode& AddPort(const std::string& iUniqueID, const std::string& iName, bool iIsSource,
                           bool iIsUserDefined = false);
  /// Takes a device out of its group, or puts it back at the end of one. It stays readable.
  void RemoveDevice(Test_StudioNode& ioDevice);
  void ReturnDevice(Test_StudioNode& ioDevice, bool iOnline = true);
  /// Both ends.
  static void Wire(Test_StudioNode& ioLeft, Test_StudioNode& ioRight);
  static void Unwire(Test_StudioNode& ioLeft, Test_StudioNode& ioRight);

  void SetKeepsObjects(bool iKeeps) { mKeepsObjects = iKeeps; }

  // ---- objects for tests ----

  std::shared_ptr<IEndpointIDs> IDsOf(Test_StudioNode& ioNode);
  std::shared_ptr<IDeviceProperties> DeviceOf(Test_StudioNode& ioNode);
  std::shared_ptr<IEntityProperties> EntityOf(Test_StudioNode& ioNode);
  std::shared_ptr<IEndpointProperties> EndpointOf(Test_StudioNode& ioNode);

  // ---- watching ----

  Test_FakeCalls& Calls() { return mCalls; }
  /// The root that Create was called with.
  IDirectMusic8* RootOfCreation() const { return mRootP; }
  int SubscriberCount() const;
  /// Calls every subscriber, on the calling thread, with these changes: the node's identifiers and the kind.
  /// A null node is an empty identifier object.
  void Notify(const std::vector<std::pair<Test_StudioNode*, int>>& iItems);

  // ---- IDirectMusicStudio ----

  HRESULT RegisterNotification(std::shared_ptr<IDirectMusicNotificationCallback> iCallback) override;
  HRESULT UnregisterNotification(const OLECHAR* iID) override;
  HRESULT GetDeviceCount(VARIANT_BOOL iOnline, int* oCount) override;
  HRESULT GetDevice(VARIANT_BOOL iOnline, int iIndex, std::shared_ptr<IDeviceProperties>* oDevice) override;
  HRESULT FindRawProperties(std::shared_ptr<IEndpointIDs> iIDs, std::shared_ptr<IDeviceProperties>* oDevice,
                            std::shared_ptr<IEntityProperties>* oEntity,
                            std::shared_ptr<IEndpointProperties>* oEndpoint) override;

 private:
  friend class Test_FakeIDs;
  template <class Interface>
  friend class Test_FakeNodeObject;
  friend class Test_FakeStudioDevice;
  friend class Test_FakeEntity;
  friend class Test_FakeEndpoint;

  using Devices = std::vector<Test_StudioNode*>;

  Test_StudioNode& NewNode(int iLevel, Test_StudioNode* iParentP);
  Devices& Group(bool iOnline) { return iOnline ? mOnline : mOffline; }
  template <class Object, class Interface>
  std::shared_ptr<Interface> ObjectOf(Test_StudioNode& ioNode,
                                      std::map<Test_StudioNode*, std::shared_ptr<Interface>>& ioKept);

  Test_FakeCalls mCalls;
  IDirectMusic8* mRootP = nullptr;
  bool mKeepsObjects = false;
  mutable std::recursive_mutex mMutex;
  std::vector<std::unique_ptr<Test_StudioNode>> mNodes;  // these under mMutex
  Devices mOnline;
  Devices mOffline;
  std::vector<std::shared_ptr<IDirectMusicNotificationCallback>> mSubscribers;
  std::map<Test_StudioNode*, std::shared_ptr<IEndpointIDs>> mKeptIDs;
  std::map<Test_StudioNode*, std::shared_ptr<IDeviceProperties>> mKeptDevices;
  std::map<Test_StudioNode*, std::shared_ptr<IEntityProperties>> mKeptEntities;
  std::map<Test_StudioNode*, std::shared_ptr<IEndpointProperties>> mKeptEndpoints;
};

/// The text of a key, as the maps of a node want it.
std::string Test_KeyText(const _GUID& iKey);
