// SPDX-License-Identifier: MIT
/// \file
/// A file that is read from its beginning.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "cmn/cmn_export.h"
#include "cmn/sys_fileloc.h"

/// A file at a location. Making one opens nothing. All failures show as results: false, or a count of 0. One
/// thread at a time for each object; never on a real-time thread.
class MLOX_EXPORT Sys_File {
 public:
  /// The mode word that opens an existing file for reading.
  static constexpr std::int32_t cReadExisting = 0x112;

  /// The file at a location, which may be none.
  explicit Sys_File(const Sys_FileLoc& iLocation);
  Sys_File(const Sys_File&) = delete;
  Sys_File& operator=(const Sys_File&) = delete;
  ~Sys_File();

  /// Whether something is there at this moment. A folder is.
  [[nodiscard]] bool IsOnline() const;
  /// Whether the file is open.
  [[nodiscard]] bool IsOpen() const { return mStreamP != nullptr; }
  /// Opens the file. False if it can't be opened, is open already, or the mode is another one than
  /// `cReadExisting`.
  bool Open(std::int32_t iMode);
  /// Closes the file if it is open.
  void Close();

  /// Where the file ends: its length in bytes at this moment; 0 for what isn't there.
  [[nodiscard]] std::int64_t GetEOF() const;
  /// How many bytes lie before the next one to be read; 0 while the file is closed.
  [[nodiscard]] std::int64_t GetPosition() const;
  /// Reads up to `iCount` bytes. Returns how many were read: fewer at the end of the file, 0 for a folder, on
  /// an error, and while the file is closed.
  std::int64_t Read(void* oBufferP, std::int64_t iCount);

 private:
  std::string mPath;
  std::FILE* mStreamP = nullptr;
};

/// Opens a file for the length of a scope.
class MLOX_EXPORT Sys_StFileOpener {
 public:
  /// Opens the file; `Sys_File::IsOpen` tells whether that worked.
  Sys_StFileOpener(Sys_File& ioFile, std::int32_t iMode) : mFile(ioFile) { mFile.Open(iMode); }
  Sys_StFileOpener(const Sys_StFileOpener&) = delete;
  Sys_StFileOpener& operator=(const Sys_StFileOpener&) = delete;
  ~Sys_StFileOpener() { mFile.Close(); }

 private:
  Sys_File& mFile;
};
