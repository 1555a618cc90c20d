// SPDX-License-Identifier: MIT
/// \file
/// A German locale for the length of a scope.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

/// Makes de_DE.UTF-8, which a machine need not have, once for the process, and sets it for the length of the
/// scope: numbers have a decimal comma then.
class Test_GermanLocale {
 public:
  Test_GermanLocale() : mPath("LOCPATH", Folder().Path()) {
    EXPECT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr)
        << "localedef and the package locales are needed";
  }
  Test_GermanLocale(const Test_GermanLocale&) = delete;
  Test_GermanLocale& operator=(const Test_GermanLocale&) = delete;
  ~Test_GermanLocale() { std::setlocale(LC_ALL, "C"); }

 private:
  static const Test_TempFolder& Folder() {
    static const Test_TempFolder sFolder;
    static const int sStatus = std::system(
        ("localedef --no-archive -i de_DE -f UTF-8 " + (sFolder / "de_DE.UTF-8") + " 2>/dev/null").c_str());
    EXPECT_EQ(sStatus, 0);
    return sFolder;
  }

  Test_Environment mPath;
};
