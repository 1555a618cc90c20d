// SPDX-License-Identifier: MIT
#include "cmn/sys_fileloc.h"

#include <utility>

Sys_FileLoc::Sys_FileLoc(std::shared_ptr<Sys_FileLocImpl> iImplP) : mImplP(std::move(iImplP)) {}

Sys_FileLoc::Sys_FileLoc(const Sys_FileLoc& iParent, const std::string& iName, const Sys_FileType& iType) {
  if (iParent) mImplP = iParent.mImplP->GetChild(iName, iType);
}

std::string Sys_FileLoc::GetName(EStripExtension iStrip) const {
  return mImplP ? mImplP->GetName(iStrip) : std::string();
}

std::string Sys_FileLoc::GetFullPath() const { return mImplP ? mImplP->GetFullPath() : std::string(); }

std::string Sys_FileLoc::GetStdFullPath() const { return mImplP ? mImplP->GetStdFullPath() : std::string(); }
