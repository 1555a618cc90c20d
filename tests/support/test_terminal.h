// SPDX-License-Identifier: MIT
/// \file
/// A terminal that nobody sees.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

/// What is written to one end comes out at the other. It takes some 4,000 bytes that nobody has read.
class Test_Terminal {
 public:
  Test_Terminal() : mOtherEnd(::posix_openpt(O_RDWR | O_NOCTTY)), mFile(nullptr, &std::fclose) {
    EXPECT_EQ(::grantpt(mOtherEnd), 0);
    EXPECT_EQ(::unlockpt(mOtherEnd), 0);
    mFile.reset(std::fopen(Path().c_str(), "w"));
  }
  ~Test_Terminal() { HangUp(); }
  Test_Terminal(const Test_Terminal&) = delete;
  Test_Terminal& operator=(const Test_Terminal&) = delete;

  /// For a program that opens it.
  std::string Path() const { return ::ptsname(mOtherEnd); }
  std::FILE* Stream() const { return mFile.get(); }

  /// What has been written, at most 4,096 bytes; waits for the first.
  std::string Take() const {
    std::array<char, 4096> text{};
    const ssize_t count = ::read(mOtherEnd, text.data(), text.size());
    return {text.data(), static_cast<std::size_t>(count > 0 ? count : 0)};
  }

  /// All that is written until nobody has the terminal open any more, Stream included.
  std::string TakeAll() const {
    std::string all;
    for (std::string text = Take(); !text.empty(); text = Take()) all += text;
    return all;
  }

  void CloseStream() { mFile.reset(); }
  void HangUp() {
    if (mOtherEnd >= 0) ::close(mOtherEnd);
    mOtherEnd = -1;
  }

 private:
  int mOtherEnd;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> mFile;
};
