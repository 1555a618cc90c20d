// SPDX-License-Identifier: MIT
/// \file
/// A folder for one test.
#pragma once

#include <string>

/// An empty folder that any user may enter, removed with all that is in it at the end of the scope.
class Test_TempFolder {
 public:
  Test_TempFolder();
  Test_TempFolder(const Test_TempFolder&) = delete;
  Test_TempFolder& operator=(const Test_TempFolder&) = delete;
  ~Test_TempFolder();

  /// Its path, absolute, without a slash at its end and without links in it.
  [[nodiscard]] const std::string& Path() const { return mPath; }
  /// The path of what lies in it under a name.
  [[nodiscard]] std::string operator/(const std::string& iName) const { return mPath + "/" + iName; }

  /// Makes a folder, and those that lead to it.
  void MakeFolder(const std::string& iName) const;
  /// Makes a file with this content, and the folders that lead to it. Returns its path.
  std::string MakeFile(const std::string& iName, const std::string& iContent = "") const;
  /// Makes a link that holds this target.
  void MakeLink(const std::string& iName, const std::string& iTarget) const;

 private:
  std::string mPath;
};
