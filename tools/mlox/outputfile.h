// SPDX-License-Identifier: MIT
/// \file
/// A file that appears whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace tool {

/// The file is written under a name of its own beside the wanted one and takes that name in Commit. Without
/// Commit it goes away, and a file that had the wanted name before is as it was.
class OutputFile {
 public:
  /// Makes the file. A wanted name that is a link names the file behind it. Throws ToolError with name and
  /// reason, also for a name that is a folder or a device.
  explicit OutputFile(const std::string& iPath);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  /// Removes what wasn't committed.
  ~OutputFile();

  /// The name that the user gave.
  const std::string& Path() const { return mPath; }
  /// Where the file is being written.
  const std::string& TemporaryPath() const { return mTemporaryPath; }
  /// Gives the open file, to be closed by the caller. To be called once, before Commit.
  int TakeDescriptor();
  /// Writes the whole content and closes the file. To be called once, instead of TakeDescriptor. Throws
  /// ToolError.
  void WriteAll(std::string_view iContent);
  /// Gives the file its name. It must be complete and closed. Throws ToolError.
  void Commit();

 private:
  [[noreturn]] void Fail(int iFault) const;

  std::string mPath;
  std::string mTarget;
  std::string mTemporaryPath;
  int mDescriptor = -1;
  bool mIsCommitted = false;
};

}  // namespace tool
