// SPDX-License-Identifier: MIT
#include "cmn/sys_filelocutils.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "cmn/sys_filelocposix.h"

#if !defined(MLOX_INSTALLED_DATA_DIR)
#define MLOX_INSTALLED_DATA_DIR "/usr/share/mlox"
#endif

namespace {

namespace fs = std::filesystem;

// An empty variable counts as one that isn't set.
std::string Environment(const char* iNameP) {
  const char* valueP = std::getenv(iNameP);
  return valueP == nullptr ? std::string() : std::string(valueP);
}

Sys_FileLoc Folder(const std::string& iPath) {
  return Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(iPath, Sys_FileType::cFolder));
}

// A relative path here is to be ignored, as the base directory rules of free desktops say.
std::string UserDataFolder() {
  std::string dataHome = Environment("XDG_DATA_HOME");
  if (!dataHome.empty() && dataHome.front() == '/') return dataHome;
  const std::string home = Environment("HOME");
  return home.empty() ? std::string() : home + "/.local/share";
}

Sys_FileLoc DataFolder(const char* iVariableP, const std::string& iName) {
  const std::string chosen = Environment(iVariableP);
  if (!chosen.empty()) return Folder(chosen);
  const std::string userData = UserDataFolder();
  const std::string userFolder = userData + "/mlox/" + iName;
  std::error_code error;
  if (!userData.empty() && fs::is_directory(userFolder, error)) return Folder(userFolder);
  return Folder(std::string(MLOX_INSTALLED_DATA_DIR) + "/" + iName);
}

}  // namespace

Sys_FileLoc Sys_FileLocUtils::GetMIDIPatchFileBaseDir() {
  return DataFolder("MLOX_PATCH_NAMES_DIR", "patchnames");
}

Sys_FileLoc Sys_FileLocUtils::GetMIDIDeviceTypesBaseDir() {
  return DataFolder("MLOX_DEVICE_TYPES_DIR", "devicetypes");
}

Sys_FileLoc Sys_FileLocUtils::GetApplicationFolderLoc() {
  const std::string chosen = Environment("MLOX_APP_DIR");
  if (!chosen.empty()) return Folder(chosen);
  std::error_code error;
  const fs::path executable = fs::read_symlink("/proc/self/exe", error);
  // Without /proc the working folder is what is left.
  return Folder(error ? std::string(".") : executable.parent_path().string());
}

std::string Sys_FileLocUtils::StripSlash(const std::string& iPath) {
  if (iPath.empty() || (iPath.back() != '/' && iPath.back() != '\\')) return iPath;
  return iPath.substr(0, iPath.size() - 1);
}
