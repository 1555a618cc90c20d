// SPDX-License-Identifier: MIT
#include "platform/studio/studioreader.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

#include "cmn/cmn_validateutf8string.h"

namespace {

// More rows than any studio has: what a damaged or hostile file claims beyond them is not read.
constexpr int kMostRows = 200000;

std::string Text(const SQLite::Column& iColumn) {
  std::string text = iColumn.getString();
  // Texts go on as zero-terminated ones.
  text.resize(std::min(text.size(), text.find('\0')));
  return Cmn_ValidateUTF8String(text);
}

bool IsLevel(int iLevel) { return iLevel >= kStudio_EndpointLevel && iLevel <= kStudio_DeviceLevel; }

bool FitsNumber(std::int64_t iValue) {
  return iValue >= std::numeric_limits<std::int32_t>::min() &&
         iValue <= std::numeric_limits<std::int32_t>::max();
}

class Reader {
 public:
  Reader(SQLite::Database& iDatabase, bool iIsLenient, Platform_StudioContents& oContents)
      : mDatabase(iDatabase), mIsLenient(iIsLenient), mContents(oContents) {}

  void Run() {
    Each(
        "SELECT guid, user_defined, is_source, is_virtual, driver, name, manufacturer, model FROM device"
        " ORDER BY ordinal",
        &Reader::AddDevice);
    Each("SELECT user, port FROM wire ORDER BY ordinal", &Reader::AddWire);
    Each("SELECT guid, level, key, name, value FROM property", &Reader::AddProperty);
    Each("SELECT guid, level, key, name FROM list", &Reader::AddList);
    Each("SELECT guid, level, key, value FROM list_item ORDER BY guid, level, key, position",
         &Reader::AddListItem);
    Each("SELECT guid, name, file, patch_name_list FROM bank ORDER BY guid, position", &Reader::AddBank);
    Each("SELECT guid, level, is_source, key, name, value FROM identifier", &Reader::AddNumber);
    Each("SELECT guid, product, serial, path FROM card ORDER BY guid", &Reader::AddIdentity);
    for (auto& device : mDevices) {
      mContents.mRecords.mDevices.push_back(std::move(device));
    }
  }

 private:
  void Each(const char* iQuery, void (Reader::*iAdd)(SQLite::Statement&)) {
    try {
      SQLite::Statement query(mDatabase, iQuery);
      for (int row = 0; row < kMostRows && query.executeStep(); ++row) {
        (this->*iAdd)(query);
      }
    } catch (const SQLite::Exception& fault) {
      if (!mIsLenient || fault.getErrorCode() != SQLITE_ERROR) {
        throw;
      }
    }
  }

  Platform_StudioDevice* Find(const std::string& iGuid) {
    const auto found = mIndices.find(iGuid);
    return found != mIndices.end() ? mDevices[found->second].get() : nullptr;
  }

  void AddDevice(SQLite::Statement& iRow) {
    auto device = std::make_shared<Platform_StudioDevice>();
    device->mGuid = Text(iRow.getColumn(0));
    device->mIsUserDefined = iRow.getColumn(1).getInt() != 0;
    device->mIsSource = iRow.getColumn(2).getInt() != 0;
    device->mIsVirtual = iRow.getColumn(3).getInt() != 0;
    device->mDriver = Text(iRow.getColumn(4));
    device->mName = Text(iRow.getColumn(5));
    device->mManufacturer = Text(iRow.getColumn(6));
    device->mModel = Text(iRow.getColumn(7));
    if (!device->mGuid.empty() && mIndices.emplace(device->mGuid, mDevices.size()).second) {
      mDevices.push_back(std::move(device));
    }
  }

  void AddWire(SQLite::Statement& iRow) {
    Platform_StudioWire wire{Text(iRow.getColumn(0)), Text(iRow.getColumn(1))};
    const Platform_StudioDevice* const user = Find(wire.mUser);
    const Platform_StudioDevice* const port = Find(wire.mPort);
    const bool makesSense =
        user != nullptr && port != nullptr && user->mIsUserDefined && !port->mIsUserDefined;
    if (makesSense && mWires.emplace(wire.mUser, wire.mPort).second) {
      mContents.mRecords.mWires.push_back(std::move(wire));
    }
  }

  // The device and the key that a row of properties begins with; null when there is none such.
  Platform_StudioDevice* KeyOf(SQLite::Statement& iRow, Platform_StudioPropertyKey& oKey) {
    oKey = {iRow.getColumn(1).getInt(), Text(iRow.getColumn(2))};
    return IsLevel(oKey.mLevel) ? Find(Text(iRow.getColumn(0))) : nullptr;
  }

  void AddProperty(SQLite::Statement& iRow) {
    Platform_StudioPropertyKey key;
    Platform_StudioDevice* const device = KeyOf(iRow, key);
    const SQLite::Column value = iRow.getColumn(4);
    if (device == nullptr) {
      return;
    }
    if (value.isInteger() && FitsNumber(value.getInt64())) {
      device->mProperties[key] = {Text(iRow.getColumn(3)), value.getInt()};
    } else if (value.isText()) {
      device->mProperties[key] = {Text(iRow.getColumn(3)), Text(value)};
    }
  }

  void AddList(SQLite::Statement& iRow) {
    Platform_StudioPropertyKey key;
    if (Platform_StudioDevice* const device = KeyOf(iRow, key)) {
      device->mLists[key].mName = Text(iRow.getColumn(3));
    }
  }

  void AddListItem(SQLite::Statement& iRow) {
    Platform_StudioPropertyKey key;
    Platform_StudioDevice* const device = KeyOf(iRow, key);
    if (device == nullptr) {
      return;
    }
    const auto list = device->mLists.find(key);
    if (list != device->mLists.end()) {
      list->second.mItems.push_back(Text(iRow.getColumn(3)));
    }
  }

  void AddBank(SQLite::Statement& iRow) {
    if (Platform_StudioDevice* const device = Find(Text(iRow.getColumn(0)))) {
      device->mBanks.push_back({Text(iRow.getColumn(1)), Text(iRow.getColumn(2)), Text(iRow.getColumn(3))});
    }
  }

  void AddNumber(SQLite::Statement& iRow) {
    const int level = iRow.getColumn(1).getInt();
    const SQLite::Column value = iRow.getColumn(5);
    const std::string guid = Text(iRow.getColumn(0));
    if (IsLevel(level) && value.isInteger() && FitsNumber(value.getInt64()) && Find(guid) != nullptr) {
      mContents.mNumbers[{{guid, level, iRow.getColumn(2).getInt() != 0}, Text(iRow.getColumn(3))}] = {
          Text(iRow.getColumn(4)), value.getInt()};
    }
  }

  void AddIdentity(SQLite::Statement& iRow) {
    mContents.mIdentities.push_back(
        {Text(iRow.getColumn(0)), Text(iRow.getColumn(1)), Text(iRow.getColumn(2)), Text(iRow.getColumn(3))});
  }

  SQLite::Database& mDatabase;
  const bool mIsLenient;
  Platform_StudioContents& mContents;
  std::vector<std::shared_ptr<Platform_StudioDevice>> mDevices;
  std::map<std::string, std::size_t> mIndices;
  std::set<std::pair<std::string, std::string>> mWires;
};

}  // namespace

void Platform_StudioReadAll(SQLite::Database& iDatabase, bool iIsLenient,
                            Platform_StudioContents& oContents) {
  oContents = {};
  SQLite::Transaction view(iDatabase);
  Reader(iDatabase, iIsLenient, oContents).Run();
  view.commit();
}
