// SPDX-License-Identifier: MIT
#include "tools/mlox/standardstreams.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

/// While it lives, a pipe that nobody reads is a fault of the write to it.
class NoPipeSignal {
 public:
  NoPipeSignal() {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &mFormer);
  }
  NoPipeSignal(const NoPipeSignal&) = delete;
  NoPipeSignal& operator=(const NoPipeSignal&) = delete;
  ~NoPipeSignal() { sigaction(SIGPIPE, &mFormer, nullptr); }

 private:
  struct sigaction mFormer {};
};

}  // namespace

void FillStandardStreams() noexcept {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
    // The lowest number that is free is this stream's. Opened for the other direction, it answers as a closed
    // one does.
    const int opened = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    if (opened < 0) return;
  }
}

void PrintAnyway(std::FILE* iStreamP, std::string_view iText) noexcept {
  static_cast<void>(std::fwrite(iText.data(), 1, iText.size(), iStreamP));
  static_cast<void>(std::fflush(iStreamP));
}

void PrintError(std::string_view iText) noexcept { PrintAnyway(stderr, iText); }

void CheckStandardOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw ToolError(fmt::format("standard output: cannot write: {}", std::strerror(errno)));
  }
}

void PrintWhole(std::string_view iText) {
  const NoPipeSignal noSignal;
  static_cast<void>(std::fwrite(iText.data(), 1, iText.size(), stdout));
  CheckStandardOutput();
}

}  // namespace tool
