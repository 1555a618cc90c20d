// SPDX-License-Identifier: MIT
/// \file
/// Locations in a POSIX file system.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"
#include "cmn/sys_filelocimpl.h"

/// A path of bytes. A relative one is made absolute against the working folder when the location is made.
class MLOX_EXPORT Sys_FileLocPosix : public Sys_FileLocImpl {
 public:
  /// The location that a full path names. "\\" separates as "/" does: paths are made by appending names of
  /// the document scan, which are written alike on every platform. A path with a separator at its end names a
  /// folder.
  explicit Sys_FileLocPosix(const std::string& iFullPath);
  /// The same, for what is known to be of this type.
  Sys_FileLocPosix(const std::string& iFullPath, const Sys_FileType& iType);

  /// The location with exactly this path, where a "\\" belongs to a name: for paths that the system itself
  /// gave.
  static std::shared_ptr<Sys_FileLocPosix> FromSystemPath(const std::string& iPath,
                                                          const Sys_FileType& iType);

  [[nodiscard]] std::string GetFullPath() const override;
  [[nodiscard]] std::string GetStdFullPath() const override;
  [[nodiscard]] std::string GetFullUNCPath() const override;
  void SetFullUNCPath(const std::string& iPath) override;
  [[nodiscard]] std::string GetName(EStripExtension iStrip) const override;
  [[nodiscard]] std::string GetExtension() const override;
  [[nodiscard]] std::shared_ptr<Sys_FileLocImpl> GetParentFolder() const override;
  [[nodiscard]] std::vector<std::string> GetPathComponents() const override;
  [[nodiscard]] std::shared_ptr<Sys_FileLocImpl> GetVolume() const override;
  [[nodiscard]] bool IsVolumeRoot() const override;
  [[nodiscard]] std::string Print() const override;
  [[nodiscard]] std::string GetFileURLStringForWeb() const override;
  [[nodiscard]] std::shared_ptr<Sys_FileLocImpl> GetChild(const std::string& iName,
                                                          const Sys_FileType& iType) const override;

 private:
  Sys_FileLocPosix(std::vector<std::string> iComponents, const Sys_FileType& iType);

  std::vector<std::string> mComponents;
  Sys_FileType mType;
  std::string mUNCPath;
};
