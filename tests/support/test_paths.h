// SPDX-License-Identifier: MIT
/// \file
/// Where tests find the source tree.
#pragma once

#include <string>

/// The root folder of the source tree, absolute, without a slash at its end.
std::string Test_SourceRoot();
