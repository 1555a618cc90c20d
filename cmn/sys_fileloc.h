// SPDX-License-Identifier: MIT
/// \file
/// Where a file or folder is.
#pragma once

#include <memory>
#include <string>

#include "cmn/cmn_export.h"
#include "cmn/sys_filelocimpl.h"
#include "cmn/sys_filetype.h"

/// A location, or none. A value: copies name the same place. Nothing is opened or looked up by making one.
/// [any], one thread at a time for each object.
class MLOX_EXPORT Sys_FileLoc {
 public:
  /// No location.
  Sys_FileLoc() = default;
  /// The location behind an implementation; none for null.
  explicit Sys_FileLoc(std::shared_ptr<Sys_FileLocImpl> iImplP);
  /// What lies in a folder under a name. "\\" and "/" inside the name separate folders. None if the parent is
  /// none, or the name has no component.
  Sys_FileLoc(const Sys_FileLoc& iParent, const std::string& iName, const Sys_FileType& iType);

  /// Whether this is a location.
  explicit operator bool() const { return mImplP != nullptr; }

  /// The last component of the path; empty for a root and for none.
  [[nodiscard]] std::string GetName(EStripExtension iStrip) const;
  /// The path from the root, for opening and for storing; empty for none.
  [[nodiscard]] std::string GetFullPath() const;
  /// The path from the root in standard form, which ends with a separator for a folder; empty for none.
  [[nodiscard]] std::string GetStdFullPath() const;

 private:
  std::shared_ptr<Sys_FileLocImpl> mImplP;
};
