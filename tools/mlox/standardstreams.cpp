// SPDX-License-Identifier: MIT
#include "tools/mlox/standardstreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace tool {

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

}  // namespace tool
