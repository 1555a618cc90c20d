// SPDX-License-Identifier: MIT
/// \file
/// Lets a long work end in order when the user interrupts it.
#pragma once

#include <csignal>

namespace tool {

/// While it lives, the first SIGINT or SIGTERM only sets a flag; the second ends the process as usual. A
/// write beyond the limit on the size of files fails instead of ending the process. One object at a time.
class Interrupt {
 public:
  Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;
  ~Interrupt();

  /// Throws ToolError if there was a signal.
  static void Check();

  /// Whether there was a signal since the object was made.
  static bool HasHappened();

 private:
  struct sigaction mFormerInt {};
  struct sigaction mFormerTerm {};
  struct sigaction mFormerFileSize {};
};

}  // namespace tool
