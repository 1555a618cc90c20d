// SPDX-License-Identifier: MIT
#include "platform/studio/studioreport.h"

#include <atomic>
#include <cstdio>

namespace {

constinit std::atomic<Platform_StudioReporter> sReporter{nullptr};

}  // namespace

void Platform_StudioReport(const std::string& iLine) {
  if (const Platform_StudioReporter reporter = sReporter.load()) {
    reporter(iLine);
    return;
  }
  // In one piece, so that no other thread's line falls into it.
  const std::string line = "mlox: " + iLine + "\n";
  static_cast<void>(std::fputs(line.c_str(), stderr));
}

void Platform_SetStudioReporter(Platform_StudioReporter iReporter) { sReporter.store(iReporter); }
