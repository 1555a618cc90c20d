// SPDX-License-Identifier: MIT
/// \file
/// The folders that the library reads from.
#pragma once

#include <string>

#include "cmn/cmn_export.h"
#include "cmn/sys_fileloc.h"

/// Well-known folders. Each is looked up when asked for, so that a changed environment is followed; this
/// needs no other file's static initialisation. [main]
class MLOX_EXPORT Sys_FileLocUtils {
 public:
  /// Where MIDI name documents lie: `MLOX_PATCH_NAMES_DIR`, else `mlox/patchnames` in `$XDG_DATA_HOME` (by
  /// default
  /// `~/.local/share`) if that is a folder, else the installed data folder.
  static Sys_FileLoc GetMIDIPatchFileBaseDir();
  /// Where device type documents lie: `MLOX_DEVICE_TYPES_DIR`, else `mlox/devicetypes` likewise.
  static Sys_FileLoc GetMIDIDeviceTypesBaseDir();
  /// The application folder: `MLOX_APP_DIR`, else the folder of the running executable.
  static Sys_FileLoc GetApplicationFolderLoc();
  /// The text without the path separator at its end, if it has one.
  static std::string StripSlash(const std::string& iPath);
};
