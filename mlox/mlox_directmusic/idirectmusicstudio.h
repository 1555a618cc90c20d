// SPDX-License-Identifier: MIT
/// \file
/// The studio endpoint database as the hardware service sees it: devices, entities inside them, endpoints
/// inside those, and their properties. The service knows nothing else of it; what stands behind it is made by
/// IDirectMusicStudio::Create.
///
/// Results: 0 success, 1 the property is absent, anything else a failure. Texts are BSTRs that the caller
/// frees. Every reader of a property takes the key (the text of a GUID) and three result pointers: the
/// property's short name, a word that is ignored, and the value; name and word may be null. Objects are
/// values: they stay usable, and answer as far as they can, after the thing they describe is gone and after
/// the studio is. [any thread], and none of these calls waits longer than 50 ms for the database.
#pragma once

#include <memory>

#include "platform/directmusic/directmusic.h"

/// Names a device, an entity or an endpoint, and carries the properties of identity.
struct IEndpointIDs {
  virtual HRESULT GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, LONG* oValue) = 0;
  /// iPersistent other than 0 keeps the value in the database.
  virtual HRESULT SetIntProperty(const OLECHAR* iKey, const OLECHAR* iName, LONG iPersistent,
                                 LONG iValue) = 0;
  virtual HRESULT GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, BSTR* oValue) = 0;
  /// 0 when both name the same thing.
  virtual HRESULT CompareIDs(std::shared_ptr<IEndpointIDs> iOther) = 0;
  virtual ~IEndpointIDs() = default;
};

/// One source or destination endpoint.
struct IEndpointProperties {
  /// How many endpoints this one is wired to.
  virtual HRESULT GetNumConnections(int* oCount) = 0;
  virtual HRESULT GetConnection(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs) = 0;
  virtual HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) = 0;
  /// 0 when iOther describes the same thing.
  virtual HRESULT CompareRaw(std::shared_ptr<IEndpointProperties> iOther) = 0;
  virtual ~IEndpointProperties() = default;
};

/// What devices and entities have in common. The order is that of the table.
template <class Raw>
struct IStudioProperties {
  virtual HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) = 0;
  virtual HRESULT CompareRaw(std::shared_ptr<Raw> iOther) = 0;
  /// True only when the value reads as 0xFFFF.
  virtual HRESULT GetFlagProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, VARIANT_BOOL* oValue) = 0;
  virtual HRESULT GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, LONG* oValue) = 0;
  virtual HRESULT GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, BSTR* oValue) = 0;
  virtual HRESULT SetStringProperty(const OLECHAR* iKey, const OLECHAR* iName, const OLECHAR* iValue,
                                    LONG iWord) = 0;
  virtual HRESULT GetDoubleProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, double* oValue) = 0;
  virtual HRESULT GetArrayCount(const OLECHAR* iKey, int* oCount) = 0;
  virtual HRESULT GetArrayItem(const OLECHAR* iKey, int iIndex, BSTR* oValue) = 0;
  virtual HRESULT AppendArrayItem(const OLECHAR* iKey, const OLECHAR* iName, LONG iWord,
                                  const OLECHAR* iValue) = 0;
  virtual HRESULT SetArrayItem(const OLECHAR* iKey, int iIndex, const OLECHAR* iValue) = 0;
  virtual ~IStudioProperties() = default;
};

/// One entity: a group of endpoints inside a device.
struct IEntityProperties : IStudioProperties<IEntityProperties> {
  virtual HRESULT GetEndpointCount(VARIANT_BOOL iIsSource, int* oCount) = 0;
  virtual HRESULT GetEndpoint(VARIANT_BOOL iIsSource, int iIndex,
                              std::shared_ptr<IEndpointProperties>* oEndpoint) = 0;
};

/// A patch bank that the user gave a device.
struct IStudioPatchBank {
  virtual HRESULT GetName(BSTR* oName) = 0;
  /// The full path of the name document, empty for none.
  virtual HRESULT GetFile(BSTR* oPath) = 0;
  virtual HRESULT GetPatchNameList(BSTR* oName) = 0;
  virtual ~IStudioPatchBank() = default;
};

/// One device.
struct IDeviceProperties : IStudioProperties<IDeviceProperties> {
  virtual HRESULT GetPatchBankCount(int* oCount) = 0;
  virtual HRESULT GetPatchBank(int iIndex, std::shared_ptr<IStudioPatchBank>* oBank) = 0;
  virtual HRESULT GetEntityCount(int* oCount) = 0;
  virtual HRESULT GetEntity(int iIndex, std::shared_ptr<IEntityProperties>* oEntity) = 0;
};

/// What kind of change an item of a notification list tells.
enum EStudioNotificationKind : int {
  kStudioEndpointAdded = 1,
  kStudioEndpointRemoved = 2,
  kStudioEndpointChanged = 4,
  kStudioIgnored = 8,
};

/// Changes of the studio, in the order in which they came about.
struct IDirectMusicNotificationList {
  virtual HRESULT GetCount(int* oCount) = 0;
  virtual HRESULT GetItem(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs, int* oKind) = 0;
  virtual ~IDirectMusicNotificationList() = default;
};

/// A subscriber to changes. Called on a thread of the studio's, with no lock of the studio's held.
struct IDirectMusicNotificationCallback {
  virtual ~IDirectMusicNotificationCallback() = default;
  virtual void Notify(std::shared_ptr<IDirectMusicNotificationList> iList) = 0;
  /// A fresh copy of the text that tells subscribers apart; the caller frees it. E_INVALIDARG for null.
  virtual HRESULT GetID(BSTR* oID) = 0;
};

/// The studio.
struct IDirectMusicStudio {
  /// From now on reports changes to the callback.
  virtual HRESULT RegisterNotification(std::shared_ptr<IDirectMusicNotificationCallback> iCallback) = 0;
  /// Ends the reports to the callback of that id; returns only when no Notify of its runs.
  virtual HRESULT UnregisterNotification(const OLECHAR* iID) = 0;
  /// VARIANT_TRUE: what is there; VARIANT_FALSE: user-defined devices that are wired to nothing present.
  virtual HRESULT GetDeviceCount(VARIANT_BOOL iOnline, int* oCount) = 0;
  virtual HRESULT GetDevice(VARIANT_BOOL iOnline, int iIndex,
                            std::shared_ptr<IDeviceProperties>* oDevice) = 0;
  /// The raw objects that iIDs names; those below its level stay empty. A failure for absent hardware.
  virtual HRESULT FindRawProperties(std::shared_ptr<IEndpointIDs> iIDs,
                                    std::shared_ptr<IDeviceProperties>* oDevice,
                                    std::shared_ptr<IEntityProperties>* oEntity,
                                    std::shared_ptr<IEndpointProperties>* oEndpoint) = 0;
  /// Ends all reports, and waits as UnregisterNotification does.
  virtual ~IDirectMusicStudio() = default;

  /// Makes the studio of this machine over the given root, which may be null; empty when it can't be had.
  static std::shared_ptr<IDirectMusicStudio> Create(IDirectMusic8* iRootP);
  /// What Create calls instead, for tests; null restores the studio of this machine. [main]
  using Factory = std::shared_ptr<IDirectMusicStudio> (*)(IDirectMusic8* iRootP);
  static void SetFactory(Factory iFactory);
  /// Says what makes the studio of this machine. The platform's studio calls it while statics are
  /// initialised; without it Create gives an empty pointer.
  static void SetMachineFactory(Factory iFactory);
};
