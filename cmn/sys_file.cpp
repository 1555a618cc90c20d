// SPDX-License-Identifier: MIT
#include "cmn/sys_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A zero byte would cut the name for the system: such a name names nothing.
bool HasStatus(const std::string& iPath, struct stat& oStatus) {
  return iPath.find('\0') == std::string::npos && stat(iPath.c_str(), &oStatus) == 0;
}

}  // namespace

Sys_File::Sys_File(const Sys_FileLoc& iLocation) : mPath(iLocation.GetFullPath()) {}

Sys_File::~Sys_File() { Close(); }

bool Sys_File::IsOnline() const {
  struct stat status {};
  return HasStatus(mPath, status);
}

bool Sys_File::Open(std::int32_t iMode) {
  if (IsOpen() || iMode != cReadExisting || mPath.find('\0') != std::string::npos) return false;
  // Without O_NONBLOCK the opening of a pipe would wait for somebody to write into it.
  const int descriptor = open(mPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return false;
  mStreamP = fdopen(descriptor, "rb");
  if (mStreamP == nullptr) close(descriptor);
  return IsOpen();
}

void Sys_File::Close() {
  if (IsOpen()) std::fclose(mStreamP);
  mStreamP = nullptr;
}

std::int64_t Sys_File::GetEOF() const {
  struct stat status {};
  const bool isKnown = IsOpen() ? fstat(fileno(mStreamP), &status) == 0 : HasStatus(mPath, status);
  return isKnown && S_ISREG(status.st_mode) ? status.st_size : 0;
}

std::int64_t Sys_File::GetPosition() const {
  const std::int64_t position = IsOpen() ? ftello(mStreamP) : 0;
  return position < 0 ? 0 : position;
}

std::int64_t Sys_File::Read(void* oBufferP, std::int64_t iCount) {
  if (!IsOpen() || iCount <= 0) return 0;
  return static_cast<std::int64_t>(std::fread(oBufferP, 1, static_cast<std::size_t>(iCount), mStreamP));
}
