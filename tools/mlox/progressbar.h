// SPDX-License-Identifier: MIT
/// \file
/// A progress bar on a terminal.
#pragma once

#include <cstdio>

namespace tool {

/// Draws on one line of a terminal; on anything else it draws nothing. One thread.
class ProgressBar {
 public:
  /// On `iStreamP` if that is a terminal.
  explicit ProgressBar(std::FILE* iStreamP);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  /// Wipes the line.
  ~ProgressBar();

  /// \param iFraction  0 to 1.
  void Show(double iFraction);

 private:
  std::FILE* mStreamP;  // null: draw nothing
  int mShownPercent = -1;
};

}  // namespace tool
