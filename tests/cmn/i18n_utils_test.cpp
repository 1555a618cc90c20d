// SPDX-License-Identifier: MIT
#include "cmn/i18n_utils.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(I18N_Utils, ExactlySixOfAllBytesAreSpace) {
  std::string spaces;
  for (int code = -128; code < 128; ++code)
    if (I18N_Utils::IsSpace(static_cast<char>(code))) spaces += static_cast<char>(code);
  EXPECT_EQ(spaces, "\t\n\v\f\r ");
}

}  // namespace
