// SPDX-License-Identifier: MIT
/// \file
/// A file that appears whole or not at all.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

/// The file is written under a name of its own beside the wanted one and takes that name in TakeName. Until
/// Keep all can be undone: without it the file goes away, and an older one of the wanted name is as it was.
/// So several files become whole together: all take their names, and are kept when the last one has its name.
class OutputFile {
 public:
  /// Makes the file. A wanted name that is a link names the file behind it. Throws ToolError with name and
  /// reason, also for a name that is a folder or a device.
  explicit OutputFile(const std::string& iPath);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  /// Removes what wasn't kept, and gives the name back to the older file.
  ~OutputFile();

  /// The name that the user gave.
  const std::string& Path() const { return mPath; }
  /// Where the file is being written.
  const std::string& TemporaryPath() const { return mTemporaryPath; }
  /// Gives the open file, to be closed by the caller. To be called once, before TakeName.
  int TakeDescriptor();
  /// Writes the whole content and closes the file. To be called once, instead of TakeDescriptor. Throws
  /// ToolError.
  void WriteAll(std::string_view iContent);
  /// Gives the file its name. It must be complete and closed. Throws ToolError; then the name is as it was.
  void TakeName();
  /// Lets the name stand, and forgets the older file.
  void Keep() noexcept;

 private:
  enum class State : std::uint8_t { kUnnamed, kNamed, kKept };

  void KeepOlder();
  [[noreturn]] void Fail(int iFault) const;

  std::string mPath;
  std::string mTarget;
  std::string mTemporaryPath;
  std::string mOlderPath;  // where the older file is kept; empty without one
  int mDescriptor = -1;
  State mState = State::kUnnamed;
};

}  // namespace tool
