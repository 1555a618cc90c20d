// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/checkedoutput.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/mlox/tool_error.h"

namespace tool {

void CheckedOutput::PrintLine(const std::string& iText) {
  if (HasFailed()) return;
  const std::string line = fmt::format("{}\n", iText);
  errno = 0;
  const bool isWritten = std::fwrite(line.data(), 1, line.size(), stdout) == line.size();
  if (isWritten && std::fflush(stdout) == 0) return;
  mFault.store(errno != 0 ? errno : EIO);
}

void CheckedOutput::Check() const {
  const int fault = mFault.load();
  if (fault != 0) throw ToolError(fmt::format("standard output: cannot write: {}", std::strerror(fault)));
}

}  // namespace tool
