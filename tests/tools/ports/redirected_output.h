// SPDX-License-Identifier: MIT
/// \file
/// Standard output on its way to somewhere else.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

/// Standard output goes to another descriptor, which this object owns, until the end of the scope.
class Test_RedirectedOutput {
 public:
  explicit Test_RedirectedOutput(int iDescriptor) : mBefore(::dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    EXPECT_GE(::dup2(iDescriptor, STDOUT_FILENO), 0);
    ::close(iDescriptor);
  }
  /// To a file, made if there is none.
  explicit Test_RedirectedOutput(const std::string& iPath)
      : Test_RedirectedOutput(::open(iPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)) {}
  Test_RedirectedOutput(const Test_RedirectedOutput&) = delete;
  Test_RedirectedOutput& operator=(const Test_RedirectedOutput&) = delete;
  ~Test_RedirectedOutput() {
    std::fflush(stdout);
    ::dup2(mBefore, STDOUT_FILENO);
    ::close(mBefore);
    std::clearerr(stdout);
  }

 private:
  const int mBefore;
};
