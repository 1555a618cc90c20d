// SPDX-License-Identifier: MIT
/// \file
/// Where the studio tells people what stands between it and its file.
#pragma once

#include <string>

/// Writes one line to standard error. [any thread]
void Platform_StudioReport(const std::string& iLine);

/// Gets the lines instead, until it is set to null again. A seam for tests. [any thread]
using Platform_StudioReporter = void (*)(const std::string& iLine);
void Platform_SetStudioReporter(Platform_StudioReporter iReporter);
