// SPDX-License-Identifier: MIT
#include "cmn/sys_filelocposix.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "cmn/cmn_validateutf8string.h"

namespace {

std::string WithPosixSeparators(std::string iPath) {
  for (char& character : iPath)
    if (character == '\\') character = '/';
  return iPath;
}

// Empty components and "." name nothing; ".." stays, since what it leads to depends on links.
void AppendComponents(std::vector<std::string>& ioComponents, const std::string& iPath) {
  std::size_t begin = 0;
  while (begin < iPath.size()) {
    std::size_t end = iPath.find('/', begin);
    if (end == std::string::npos) end = iPath.size();
    const std::string component = iPath.substr(begin, end - begin);
    if (!component.empty() && component != ".") ioComponents.push_back(component);
    begin = end + 1;
  }
}

std::string WorkingFolder() {
  char* folderP = getcwd(nullptr, 0);
  if (folderP == nullptr) return "/";
  std::string folder = folderP;
  std::free(folderP);
  return folder;
}

std::vector<std::string> AbsoluteComponents(const std::string& iPath) {
  std::vector<std::string> components;
  if (iPath.empty() || iPath.front() != '/') AppendComponents(components, WorkingFolder());
  AppendComponents(components, iPath);
  return components;
}

Sys_FileType TypeByText(const std::string& iPath) {
  return !iPath.empty() && iPath.back() == '/' ? Sys_FileType::cFolder : Sys_FileType::cUnknown;
}

// Where the extension begins; the end of the name without one. A name that begins with its only dot is a
// hidden file's.
std::size_t ExtensionPosition(const std::string& iName) {
  const std::size_t dot = iName.rfind('.');
  return dot == std::string::npos || dot == 0 ? iName.size() : dot;
}

bool StandsForItselfInURL(char iCharacter) {
  const bool isLetter = (iCharacter >= 'a' && iCharacter <= 'z') || (iCharacter >= 'A' && iCharacter <= 'Z');
  const bool isDigit = iCharacter >= '0' && iCharacter <= '9';
  return isLetter || isDigit || std::string("-._~/").find(iCharacter) != std::string::npos;
}

}  // namespace

// ---- making ----

Sys_FileLocPosix::Sys_FileLocPosix(const std::string& iFullPath)
    : Sys_FileLocPosix(iFullPath, TypeByText(WithPosixSeparators(iFullPath))) {}

Sys_FileLocPosix::Sys_FileLocPosix(const std::string& iFullPath, const Sys_FileType& iType)
    : Sys_FileLocPosix(AbsoluteComponents(WithPosixSeparators(iFullPath)), iType) {}

Sys_FileLocPosix::Sys_FileLocPosix(std::vector<std::string> iComponents, const Sys_FileType& iType)
    : mComponents(std::move(iComponents)), mType(mComponents.empty() ? Sys_FileType::cFolder : iType) {}

std::shared_ptr<Sys_FileLocPosix> Sys_FileLocPosix::FromSystemPath(const std::string& iPath,
                                                                   const Sys_FileType& iType) {
  return std::shared_ptr<Sys_FileLocPosix>(new Sys_FileLocPosix(AbsoluteComponents(iPath), iType));
}

std::shared_ptr<Sys_FileLocImpl> Sys_FileLocPosix::GetChild(const std::string& iName,
                                                            const Sys_FileType& iType) const {
  std::vector<std::string> components = mComponents;
  AppendComponents(components, WithPosixSeparators(iName));
  if (components.size() == mComponents.size()) return nullptr;
  return std::shared_ptr<Sys_FileLocImpl>(new Sys_FileLocPosix(std::move(components), iType));
}

// ---- the path and its parts ----

std::string Sys_FileLocPosix::GetFullPath() const {
  if (mComponents.empty()) return "/";
  std::string path;
  for (const std::string& component : mComponents) path += "/" + component;
  return path;
}

std::string Sys_FileLocPosix::GetStdFullPath() const {
  const std::string path = GetFullPath();
  return mType == Sys_FileType::cFolder && path.back() != '/' ? path + "/" : path;
}

std::string Sys_FileLocPosix::GetFullUNCPath() const { return mUNCPath; }

void Sys_FileLocPosix::SetFullUNCPath(const std::string& iPath) { mUNCPath = iPath; }

std::string Sys_FileLocPosix::GetName(EStripExtension iStrip) const {
  if (mComponents.empty()) return "";
  const std::string& name = mComponents.back();
  return iStrip == cStripExtension ? name.substr(0, ExtensionPosition(name)) : name;
}

std::string Sys_FileLocPosix::GetExtension() const {
  if (mComponents.empty()) return "";
  return mComponents.back().substr(ExtensionPosition(mComponents.back()));
}

std::shared_ptr<Sys_FileLocImpl> Sys_FileLocPosix::GetParentFolder() const {
  if (mComponents.empty()) return nullptr;
  std::vector<std::string> components(mComponents.begin(), mComponents.end() - 1);
  return std::shared_ptr<Sys_FileLocImpl>(new Sys_FileLocPosix(std::move(components), Sys_FileType::cFolder));
}

std::vector<std::string> Sys_FileLocPosix::GetPathComponents() const { return mComponents; }

std::shared_ptr<Sys_FileLocImpl> Sys_FileLocPosix::GetVolume() const {
  return std::shared_ptr<Sys_FileLocImpl>(
      new Sys_FileLocPosix(std::vector<std::string>(), Sys_FileType::cFolder));
}

bool Sys_FileLocPosix::IsVolumeRoot() const { return mComponents.empty(); }

// ---- as text ----

std::string Sys_FileLocPosix::Print() const { return Cmn_ValidateUTF8String(GetStdFullPath()); }

std::string Sys_FileLocPosix::GetFileURLStringForWeb() const {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string url = "file://";
  for (const char character : GetStdFullPath()) {
    if (StandsForItselfInURL(character)) {
      url += character;
      continue;
    }
    const unsigned code = static_cast<unsigned char>(character);
    url += {'%', kDigits[code >> 4U], kDigits[code & 15U]};
  }
  return url;
}
