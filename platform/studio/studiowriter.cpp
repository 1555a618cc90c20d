// SPDX-License-Identifier: MIT
#include "platform/studio/studiowriter.h"

#include <SQLiteCpp/SQLiteCpp.h>

namespace {

// One SQL statement with its values.
// \returns how many rows it changed.
template <class... Values>
int Do(SQLite::Database& iDatabase, const char* iSql, const Values&... iValues) {
  SQLite::Statement statement(iDatabase, iSql);
  int index = 0;
  (statement.bind(++index, iValues), ...);
  return statement.exec();
}

// What each change is in SQL. Where its device is gone, each of them does nothing.
class Writer {
 public:
  explicit Writer(SQLite::Database& iDatabase) : mDatabase(iDatabase) {}

  void operator()(const Platform_StudioPutPorts& iChange) {
    for (const Platform_StudioDeviceP& port : iChange.mPorts) {
      PutRow(
          *port,
          "INSERT INTO device(guid, user_defined, is_source, is_virtual, driver, name, manufacturer, model)"
          " VALUES(?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT(guid) DO UPDATE SET"
          " is_source = excluded.is_source, is_virtual = excluded.is_virtual,"
          " driver = coalesce(nullif(excluded.driver, ''), driver),"
          " name = coalesce(nullif(excluded.name, ''), name),"
          " manufacturer = coalesce(nullif(excluded.manufacturer, ''), manufacturer),"
          " model = coalesce(nullif(excluded.model, ''), model) WHERE user_defined = 0");
    }
  }

  void operator()(const Platform_StudioAddDevice& iChange) {
    const Platform_StudioDevice& device = *iChange.mDevice;
    const int added = PutRow(
        device,
        "INSERT INTO device(guid, user_defined, is_source, is_virtual, driver, name, manufacturer, model)"
        " VALUES(?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT(guid) DO NOTHING");
    if (added == 0) {
      return;
    }
    for (const auto& [key, property] : device.mProperties) {
      PutProperty(device.mGuid, key, property);
    }
    for (const auto& [key, list] : device.mLists) {
      (*this)(Platform_StudioPutList{device.mGuid, key, list});
    }
    (*this)(Platform_StudioPutBanks{device.mGuid, device.mBanks});
  }

  void operator()(const Platform_StudioRemoveDevice& iChange) {
    Do(mDatabase, "DELETE FROM device WHERE guid = ?", iChange.mGuid);
  }

  void operator()(const Platform_StudioPutWire& iChange) {
    const Platform_StudioWire& wire = iChange.mWire;
    if (iChange.mIsOn) {
      Do(mDatabase,
         "INSERT OR IGNORE INTO wire(user, port) SELECT u.guid, p.guid FROM device u, device p"
         " WHERE u.guid = ? AND p.guid = ?",
         wire.mUser, wire.mPort);
    } else {
      Do(mDatabase, "DELETE FROM wire WHERE user = ? AND port = ?", wire.mUser, wire.mPort);
    }
  }

  void operator()(const Platform_StudioPutProperties& iChange) {
    for (const auto& [key, property] : iChange.mProperties) {
      if (property.has_value()) {
        PutProperty(iChange.mGuid, key, *property);
      } else {
        Do(mDatabase, "DELETE FROM property WHERE guid = ? AND level = ? AND key = ?", iChange.mGuid,
           key.mLevel, key.mKey);
      }
    }
  }

  void operator()(const Platform_StudioPutList& iChange) {
    const std::string& guid = iChange.mGuid;
    const Platform_StudioPropertyKey& key = iChange.mKey;
    Do(mDatabase, "DELETE FROM list WHERE guid = ? AND level = ? AND key = ?", guid, key.mLevel, key.mKey);
    if (!iChange.mList.has_value()) {
      return;
    }
    Do(mDatabase,
       "INSERT INTO list(guid, level, key, name) SELECT guid, ?2, ?3, ?4 FROM device WHERE guid = ?1", guid,
       key.mLevel, key.mKey, iChange.mList->mName);
    int position = 0;
    for (const std::string& item : iChange.mList->mItems) {
      Do(mDatabase,
         "INSERT INTO list_item(guid, level, key, position, value)"
         " SELECT guid, ?2, ?3, ?4, ?5 FROM device WHERE guid = ?1",
         guid, key.mLevel, key.mKey, position++, item);
    }
  }

  void operator()(const Platform_StudioPutBanks& iChange) {
    Do(mDatabase, "DELETE FROM bank WHERE guid = ?", iChange.mGuid);
    int position = 0;
    for (const Platform_StudioBank& bank : iChange.mBanks) {
      Do(mDatabase,
         "INSERT INTO bank(guid, position, name, file, patch_name_list)"
         " SELECT guid, ?2, ?3, ?4, ?5 FROM device WHERE guid = ?1",
         iChange.mGuid, position++, bank.mName, bank.mFile, bank.mPatchNameList);
    }
  }

  void operator()(const Platform_StudioPutNumber& iChange) {
    const Platform_StudioPlace& place = iChange.mKey.mPlace;
    Do(mDatabase,
       "INSERT OR REPLACE INTO identifier(guid, level, is_source, key, name, value)"
       " SELECT guid, ?2, ?3, ?4, ?5, ?6 FROM device WHERE guid = ?1",
       place.mGuid, place.mLevel, place.mIsSource ? 1 : 0, iChange.mKey.mKey, iChange.mNumber.mName,
       iChange.mNumber.mValue);
  }

  void operator()(const Platform_StudioPutIdentity& iChange) {
    const Platform_IdentityRow& row = iChange.mRow;
    Do(mDatabase, "INSERT OR REPLACE INTO card(guid, product, serial, path) VALUES(?, ?, ?, ?)", row.mGuid,
       row.mProduct, row.mSerial, row.mPath);
  }

 private:
  void PutProperty(const std::string& iGuid, const Platform_StudioPropertyKey& iKey,
                   const Platform_StudioProperty& iProperty) {
    std::visit(
        [&](const auto& iValue) {
          Do(mDatabase,
             "INSERT OR REPLACE INTO property(guid, level, key, name, value)"
             " SELECT guid, ?2, ?3, ?4, ?5 FROM device WHERE guid = ?1",
             iGuid, iKey.mLevel, iKey.mKey, iProperty.mName, iValue);
        },
        iProperty.mValue);
  }

  int PutRow(const Platform_StudioDevice& iDevice, const char* iSql) {
    return Do(mDatabase, iSql, iDevice.mGuid, iDevice.mIsUserDefined ? 1 : 0, iDevice.mIsSource ? 1 : 0,
              iDevice.mIsVirtual ? 1 : 0, iDevice.mDriver, iDevice.mName, iDevice.mManufacturer,
              iDevice.mModel);
  }

  SQLite::Database& mDatabase;
};

}  // namespace

void Platform_StudioWriteChange(SQLite::Database& iDatabase, const Platform_StudioChange& iChange) {
  std::visit(Writer(iDatabase), iChange);
}
