// SPDX-License-Identifier: MIT
/// \file
/// The tables of the studio database.
#pragma once

/// What tells a studio database from any other ("mlox" in ASCII), and the version of its tables. A version
/// above this one belongs to a newer library: its file is never written.
inline constexpr int kStudio_ApplicationID = 0x6D6C6F78;
inline constexpr int kStudio_SchemaVersion = 1;

/// Makes the tables of version 1. Documented in docs/studio-database.md.
inline constexpr char kStudio_Schema[] = R"(
CREATE TABLE device(
  ordinal INTEGER PRIMARY KEY AUTOINCREMENT,
  guid TEXT NOT NULL UNIQUE,
  user_defined INTEGER NOT NULL,
  is_source INTEGER NOT NULL,
  is_virtual INTEGER NOT NULL,
  driver TEXT NOT NULL,
  name TEXT NOT NULL,
  manufacturer TEXT NOT NULL,
  model TEXT NOT NULL);
CREATE TABLE wire(
  ordinal INTEGER PRIMARY KEY AUTOINCREMENT,
  user TEXT NOT NULL REFERENCES device(guid) ON DELETE CASCADE,
  port TEXT NOT NULL REFERENCES device(guid) ON DELETE CASCADE,
  UNIQUE(user, port));
CREATE TABLE property(
  guid TEXT NOT NULL REFERENCES device(guid) ON DELETE CASCADE,
  level INTEGER NOT NULL,
  key TEXT NOT NULL,
  name TEXT NOT NULL,
  value NOT NULL,
  PRIMARY KEY(guid, level, key));
CREATE TABLE list(
  guid TEXT NOT NULL REFERENCES device(guid) ON DELETE CASCADE,
  level INTEGER NOT NULL,
  key TEXT NOT NULL,
  name TEXT NOT NULL,
  PRIMARY KEY(guid, level, key));
CREATE TABLE list_item(
  guid TEXT NOT NULL,
  level INTEGER NOT NULL,
  key TEXT NOT NULL,
  position INTEGER NOT NULL,
  value TEXT NOT NULL,
  PRIMARY KEY(guid, level, key, position),
  FOREIGN KEY(guid, level, key) REFERENCES list(guid, level, key) ON DELETE CASCADE);
CREATE TABLE bank(
  guid TEXT NOT NULL REFERENCES device(guid) ON DELETE CASCADE,
  position INTEGER NOT NULL,
  name TEXT NOT NULL,
  file TEXT NOT NULL,
  patch_name_list TEXT NOT NULL,
  PRIMARY KEY(guid, position));
CREATE TABLE identifier(
  guid TEXT NOT NULL REFERENCES device(guid) ON DELETE CASCADE,
  level INTEGER NOT NULL,
  is_source INTEGER NOT NULL,
  key TEXT NOT NULL,
  name TEXT NOT NULL,
  value INTEGER NOT NULL,
  PRIMARY KEY(guid, level, is_source, key));
CREATE TABLE card(
  guid TEXT PRIMARY KEY NOT NULL,
  product TEXT NOT NULL,
  serial TEXT NOT NULL,
  path TEXT NOT NULL);
)";
