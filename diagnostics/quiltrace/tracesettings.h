// SPDX-License-Identifier: MIT
/// \file
/// What the environment asks of the tracing library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Which lines are written, and where to.
///
/// | Variable | What it says |
/// |---|---|
/// | MLOX_TRACE | "all", or hexadecimal categories with commas between them; unset or empty: tracing is off |
/// | MLOX_TRACE_FILE | The file that lines are appended to; unset or empty: standard error |
/// | MLOX_TRACE_FILE_SIZE | Bytes that it may grow to, or with k, M or G behind; 0: no limit |
/// | MLOX_TRACE_FILES | How many full files are kept beside it, kMostOlderFiles at most |
struct QuilTrace_Settings {
  /// How many categories are on at most, the first ones of more; "all" has no such limit.
  static constexpr std::size_t kMostCategories = 64;
  /// What a file may grow to where nothing else is asked for.
  static constexpr std::size_t kUsualFileBytes = 10 * 1024 * 1024;
  /// The smallest limit that is taken; less would turn over files line by line.
  static constexpr std::size_t kLeastFileBytes = 1024;
  /// How many full files are kept where nothing else is asked for, and at most.
  static constexpr std::size_t kUsualOlderFiles = 3;
  static constexpr std::size_t kMostOlderFiles = 1000;

  bool mIsAll = false;
  std::vector<std::uint32_t> mCategories;
  std::string mFile;
  std::size_t mFileBytes = kUsualFileBytes;  ///< 0: no limit
  std::size_t mOlderFiles = kUsualOlderFiles;
  std::vector<std::string> mFaults;  ///< What couldn't be understood, a line each; the rest holds.

  /// Reads the variables. [main]
  static QuilTrace_Settings Read();

  /// Whether anything is to be written.
  bool IsOn() const { return mIsAll || !mCategories.empty(); }
};
