// SPDX-License-Identifier: MIT
/// \file
/// A file that has a path and lies on no disk.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

/// A file with a content, for the length of the scope. Tests that parse thousands of documents would wait for
/// a disk.
class Test_MemoryFile {
 public:
  explicit Test_MemoryFile(const std::string& iContent) : mDescriptor(memfd_create("document", 0)) {
    EXPECT_GE(mDescriptor, 0);
    size_t written = 0;
    while (written < iContent.size()) {
      const ssize_t count = write(mDescriptor, iContent.data() + written, iContent.size() - written);
      if (count <= 0) {
        ADD_FAILURE() << "can't write to memory";
        break;
      }
      written += static_cast<size_t>(count);
    }
  }
  Test_MemoryFile(const Test_MemoryFile&) = delete;
  Test_MemoryFile& operator=(const Test_MemoryFile&) = delete;
  ~Test_MemoryFile() { close(mDescriptor); }

  std::string Path() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }

 private:
  int mDescriptor;
};
