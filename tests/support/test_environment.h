// SPDX-License-Identifier: MIT
/// \file
/// A change of the environment for one test.
#pragma once

#include <optional>
#include <string>

/// Sets or removes one variable of the environment and puts it back at the end of the scope.
class Test_Environment {
 public:
  /// Sets the variable, or removes it for `std::nullopt`.
  Test_Environment(const std::string& iName, const std::optional<std::string>& iValue);
  Test_Environment(const Test_Environment&) = delete;
  Test_Environment& operator=(const Test_Environment&) = delete;
  ~Test_Environment();

 private:
  std::string mName;
  std::optional<std::string> mBefore;
};
