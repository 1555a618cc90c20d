// SPDX-License-Identifier: MIT
/// \file
/// Room for many open descriptors.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

/// As long as it lives the process may have so many files open, if the system lets it: a test that needs more
/// than that fails.
class Test_OpenFiles {
 public:
  explicit Test_OpenFiles(rlim_t iCount) {
    getrlimit(RLIMIT_NOFILE, &mBefore);
    if (mBefore.rlim_cur >= iCount) return;
    rlimit limit = mBefore;
    limit.rlim_cur = iCount;
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0) << "no more than " << mBefore.rlim_max << " open files";
  }
  ~Test_OpenFiles() { setrlimit(RLIMIT_NOFILE, &mBefore); }
  Test_OpenFiles(const Test_OpenFiles&) = delete;
  Test_OpenFiles& operator=(const Test_OpenFiles&) = delete;

 private:
  rlimit mBefore{};
};
