// SPDX-License-Identifier: MIT
#include "tests/support/test_paths.h"

std::string Test_SourceRoot() { return MLOX_TEST_SOURCE_ROOT; }
