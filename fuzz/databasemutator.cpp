// SPDX-License-Identifier: MIT
#include "fuzz/databasemutator.h"

#include <sqlite3.h>

#include <array>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "fuzz/fuzz_input.h"

namespace {

using Random = std::minstd_rand;

// The file format's version bytes: 2 is a file with a log, which can't be opened in memory.
constexpr std::size_t kHeader = 100;
constexpr std::size_t kVersionBytes[] = {18, 19};

struct Table {
  const char* mName;
  std::vector<const char*> mColumns;
};

const std::vector<Table>& Tables() {
  static const auto* const sTables = new std::vector<Table>{
      {"device",
       {"guid", "user_defined", "is_source", "is_virtual", "driver", "name", "manufacturer", "model"}},
      {"wire", {"user", "port"}},
      {"property", {"guid", "level", "key", "name", "value"}},
      {"list", {"guid", "level", "key", "name"}},
      {"list_item", {"guid", "level", "key", "position", "value"}},
      {"bank", {"guid", "position", "name", "file", "patch_name_list"}},
      {"identifier", {"guid", "level", "is_source", "key", "name", "value"}},
      {"card", {"guid", "product", "serial", "path"}}};
  return *sTables;
}

template <class List>
auto OneOf(const List& iList, Random& ioRandom) {
  return iList[ioRandom() % std::size(iList)];
}

std::string SomeValue(Random& ioRandom) {
  static constexpr const char* kValues[] = {"NULL",
                                            "0",
                                            "1",
                                            "-1",
                                            "2147483648",
                                            "-9223372036854775808",
                                            "1e999",
                                            "0.5",
                                            "''",
                                            "'0'",
                                            "x'00'",
                                            "CAST(x'80FFC0AF' AS TEXT)",
                                            "CAST(x'4100420043' AS TEXT)",
                                            "'two' || char(10) || 'lines'",
                                            "'..' || char(27) || '[2J'",
                                            "hex(zeroblob(3000))",
                                            "zeroblob(3000)",
                                            "(SELECT guid FROM device ORDER BY ordinal DESC)",
                                            "(SELECT guid FROM device WHERE user_defined)",
                                            "(SELECT key FROM property)",
                                            "(SELECT key FROM list)"};
  return OneOf(kValues, ioRandom);
}

// One row of a table.
std::string SomeRow(const std::string& iTable, Random& ioRandom) {
  return " WHERE rowid IN (SELECT rowid FROM " + iTable + " LIMIT 1 OFFSET " +
         std::to_string(ioRandom() % 12) + ")";
}

std::string ChangeOfContents(Random& ioRandom) {
  const Table& table = Tables()[ioRandom() % Tables().size()];
  const std::string name = table.mName;
  const std::string column = OneOf(table.mColumns, ioRandom);
  switch (ioRandom() % 6) {
    case 0:
      return "DELETE FROM " + name + SomeRow(name, ioRandom);
    case 1: {  // a copy with one column of its own
      std::string columns;
      std::string values;
      for (const char* const each : table.mColumns) {
        columns += (columns.empty() ? "" : ", ") + std::string(each);
        values += (values.empty() ? "" : ", ") + (each == column ? SomeValue(ioRandom) : std::string(each));
      }
      return "INSERT OR REPLACE INTO " + name + "(" + columns + ") SELECT " + values + " FROM " + name +
             SomeRow(name, ioRandom);
    }
    default:
      return "UPDATE OR REPLACE " + name + " SET " + column + " = " + SomeValue(ioRandom) +
             SomeRow(name, ioRandom);
  }
}

// Files of other versions, of other programs, and such as somebody made on purpose.
std::string ChangeOfShape(Random& ioRandom) {
  const Table& table = Tables()[ioRandom() % Tables().size()];
  const std::string name = table.mName;
  const std::string column = OneOf(table.mColumns, ioRandom);
  switch (ioRandom() % 9) {
    case 0:
      return "DROP TABLE " + name;
    case 1:
      return "ALTER TABLE " + name + " RENAME COLUMN " + column + " TO other";
    case 2:
      return "ALTER TABLE " + name + " ADD COLUMN more DEFAULT 'more'";
    case 3:  // without keys and types
      return "CREATE TABLE bare AS SELECT * FROM " + name + "; DROP TABLE " + name +
             "; ALTER TABLE bare RENAME TO " + name;
    case 4:  // a view that has no end
      return "DROP TABLE " + name + "; CREATE VIEW " + name +
             "(ordinal, guid, user, port, level, key, name, value, position, product, serial, path) AS WITH"
             " RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n)"
             " SELECT x, x, x, x, x, x, x, x, x, x, x, x FROM n";
    case 5:
      return "CREATE TRIGGER t" + std::to_string(ioRandom() % 4) + " AFTER INSERT ON " + name +
             " BEGIN DELETE FROM " + OneOf(Tables(), ioRandom).mName + "; END";
    case 6:
      return "PRAGMA user_version = " + std::to_string(ioRandom() % 4);
    case 7:
      return "PRAGMA application_id = " + std::to_string(ioRandom() % 3);
    default:  // the schema's own text
      return "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = replace(sql, '" + column +
             "', 'x''') WHERE name = '" + name + "'; PRAGMA writable_schema = RESET";
  }
}

class Database {
 public:
  Database(const std::uint8_t* iDataP, std::size_t iSize) {
    Fuzz_Require(sqlite3_open(":memory:", &mHandleP) == SQLITE_OK, "a database in memory opens");
    auto* const bytes = static_cast<unsigned char*>(sqlite3_malloc64(iSize));
    Fuzz_Require(bytes != nullptr, "there is memory");
    std::memcpy(bytes, iDataP, iSize);
    for (const std::size_t at : kVersionBytes) bytes[at] = 1;
    const auto size = static_cast<sqlite3_int64>(iSize);
    mIsThere =
        sqlite3_deserialize(mHandleP, "main", bytes, size, size,
                            SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE) == SQLITE_OK;
  }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database() { sqlite3_close(mHandleP); }

  bool Do(const std::string& iSql) const {
    return mIsThere && sqlite3_exec(mHandleP, iSql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  std::vector<std::uint8_t> Bytes() const {
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, void (*)(void*)> bytes(sqlite3_serialize(mHandleP, "main", &size, 0),
                                                                sqlite3_free);
    return bytes != nullptr ? std::vector<std::uint8_t>(bytes.get(), bytes.get() + size)
                            : std::vector<std::uint8_t>();
  }

 private:
  sqlite3* mHandleP = nullptr;
  bool mIsThere = false;
};

}  // namespace

std::size_t Fuzz_MutateDatabase(std::uint8_t* ioDataP, std::size_t iSize, std::size_t iMaxSize,
                                unsigned int iSeed) {
  if (iSize < kHeader) return 0;
  Random random(iSeed);
  const Database database(ioDataP, iSize);
  const bool isShape = random() % 4 == 0;
  if (!database.Do(isShape ? ChangeOfShape(random) : ChangeOfContents(random))) return 0;
  const std::vector<std::uint8_t> bytes = database.Bytes();
  if (bytes.empty() || bytes.size() > iMaxSize) return 0;
  std::memcpy(ioDataP, bytes.data(), bytes.size());
  return bytes.size();
}
