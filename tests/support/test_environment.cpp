// SPDX-License-Identifier: MIT
#include "tests/support/test_environment.h"

#include <stdlib.h>

namespace {

void Change(const std::string& iName, const std::optional<std::string>& iValue) {
  if (iValue)
    setenv(iName.c_str(), iValue->c_str(), 1);
  else
    unsetenv(iName.c_str());
}

}  // namespace

Test_Environment::Test_Environment(const std::string& iName, const std::optional<std::string>& iValue)
    : mName(iName) {
  if (const char* beforeP = getenv(iName.c_str())) mBefore = beforeP;
  Change(mName, iValue);
}

Test_Environment::~Test_Environment() { Change(mName, mBefore); }
