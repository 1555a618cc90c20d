// SPDX-License-Identifier: MIT
#include "tools/mlox/outputfile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

/// The file behind a link, so that renaming replaces that file and not the link.
std::string TargetOf(const std::string& iPath) {
  std::error_code error;
  const fs::path target = fs::weakly_canonical(iPath, error);
  return error ? iPath : target.string();
}

void CheckReplaceable(const std::string& iPath, const std::string& iTarget) {
  std::error_code error;
  const fs::file_status status = fs::status(iTarget, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw ToolError(fmt::format("{}: cannot write: {}", iPath,
                                fs::is_directory(status) ? "it is a folder" : "it is not a regular file"));
  }
}

}  // namespace

OutputFile::OutputFile(const std::string& iPath) : mPath(iPath), mTarget(TargetOf(iPath)) {
  CheckReplaceable(mPath, mTarget);
  // Number and process id keep runs that write the same file apart.
  static std::atomic<int> sNumber{0};
  mTemporaryPath = fmt::format("{}.{}-{}.part", mTarget, ::getpid(), ++sNumber);
  mDescriptor = ::open(mTemporaryPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (mDescriptor < 0) {
    Fail(errno);
  }
}

OutputFile::~OutputFile() {
  if (mDescriptor >= 0) {
    ::close(mDescriptor);
  }
  if (mState == State::kUnnamed) {
    ::unlink(mTemporaryPath.c_str());
  } else if (mState == State::kNamed && mOlderPath.empty()) {
    ::unlink(mTarget.c_str());
  } else if (mState == State::kNamed) {
    std::rename(mOlderPath.c_str(), mTarget.c_str());
  }
}

int OutputFile::TakeDescriptor() { return std::exchange(mDescriptor, -1); }

void OutputFile::WriteAll(std::string_view iContent) {
  while (!iContent.empty()) {
    const ssize_t written = ::write(mDescriptor, iContent.data(), iContent.size());
    if (written < 0 && errno != EINTR) {
      Fail(errno);
    }
    iContent.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
  }
  // Some file systems tell of a full disk only here.
  if (::close(TakeDescriptor()) != 0) {
    Fail(errno);
  }
}

void OutputFile::TakeName() {
  CheckReplaceable(mPath, mTarget);
  KeepOlder();
  if (std::rename(mTemporaryPath.c_str(), mTarget.c_str()) != 0) {
    const int fault = errno;
    // Where the older file has both names, this changes nothing, and only its second one is left to remove.
    if (!mOlderPath.empty()) {
      std::rename(mOlderPath.c_str(), mTarget.c_str());
      ::unlink(mOlderPath.c_str());
    }
    Fail(fault);
  }
  mState = State::kNamed;
}

void OutputFile::Keep() noexcept {
  if (!mOlderPath.empty()) {
    ::unlink(mOlderPath.c_str());
  }
  mState = State::kKept;
}

// A second name is best: then the first one is never nobody's. Some file systems have no second names, and of
// another user's file the system may allow none: there the older file moves aside.
void OutputFile::KeepOlder() {
  const std::string older = mTemporaryPath.substr(0, mTemporaryPath.rfind('.')) + ".old";
  const bool isKept = ::link(mTarget.c_str(), older.c_str()) == 0 ||
                      (errno != ENOENT && std::rename(mTarget.c_str(), older.c_str()) == 0);
  if (isKept) {
    mOlderPath = older;
  } else if (errno != ENOENT) {
    Fail(errno);
  }
}

void OutputFile::Fail(int iFault) const {
  throw ToolError(fmt::format("{}: cannot write: {}", mPath, std::strerror(iFault)));
}

}  // namespace tool
