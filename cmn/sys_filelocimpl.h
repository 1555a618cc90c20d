// SPDX-License-Identifier: MIT
/// \file
/// What stands behind a `Sys_FileLoc`.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"
#include "cmn/sys_filetype.h"

/// Whether a name is wanted with its extension.
enum EStripExtension : int {
  cKeepExtension = 0,  ///< The whole name.
  cStripExtension = 1  ///< The name up to its last dot.
};

/// A location in some file system. Immutable but for its network path, and shared by the locations that copy
/// it.
///
/// All text is UTF-8 where the file system's names are; a name that isn't valid UTF-8 passes through byte for
/// byte.
class MLOX_EXPORT Sys_FileLocImpl {
 public:
  virtual ~Sys_FileLocImpl();

  /// The path from the root, for opening the file and for storing. Without a separator at its end, except for
  /// a root.
  [[nodiscard]] virtual std::string GetFullPath() const = 0;
  /// The path from the root in standard form: a folder's ends with a separator, so that a name can be
  /// appended.
  [[nodiscard]] virtual std::string GetStdFullPath() const = 0;
  /// The network path, empty unless one was set.
  [[nodiscard]] virtual std::string GetFullUNCPath() const = 0;
  /// Remembers a network path.
  virtual void SetFullUNCPath(const std::string& iPath) = 0;
  /// The last component; empty for a root.
  [[nodiscard]] virtual std::string GetName(EStripExtension iStrip) const = 0;
  /// The last component from its last dot on, with the dot; empty without one, and for names that begin with
  /// it.
  [[nodiscard]] virtual std::string GetExtension() const = 0;
  /// The folder that holds this; null for a root.
  [[nodiscard]] virtual std::shared_ptr<Sys_FileLocImpl> GetParentFolder() const = 0;
  /// The components from the root on, without the root.
  [[nodiscard]] virtual std::vector<std::string> GetPathComponents() const = 0;
  /// The root that this hangs on.
  [[nodiscard]] virtual std::shared_ptr<Sys_FileLocImpl> GetVolume() const = 0;
  /// Whether this is a root.
  [[nodiscard]] virtual bool IsVolumeRoot() const = 0;
  /// One line for a log, valid UTF-8 whatever the name holds.
  [[nodiscard]] virtual std::string Print() const = 0;
  /// The location as a "file:" URL.
  [[nodiscard]] virtual std::string GetFileURLStringForWeb() const = 0;
  /// What lies in this folder under a name; "\\" and "/" inside it separate folders. Null for a name without
  /// a component.
  [[nodiscard]] virtual std::shared_ptr<Sys_FileLocImpl> GetChild(const std::string& iName,
                                                                  const Sys_FileType& iType) const = 0;

 protected:
  Sys_FileLocImpl() = default;
  Sys_FileLocImpl(const Sys_FileLocImpl&) = default;
  Sys_FileLocImpl& operator=(const Sys_FileLocImpl&) = default;
};
