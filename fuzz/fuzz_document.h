// SPDX-License-Identifier: MIT
/// \file
/// The input of a fuzz target as a file with a path.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_input.h"

/// A file in memory with a content, for the length of the scope.
class Fuzz_Document {
 public:
  Fuzz_Document(const std::uint8_t* iDataP, std::size_t iSize) : mDescriptor(memfd_create("document", 0)) {
    const bool isWritten =
        mDescriptor >= 0 && write(mDescriptor, iDataP, iSize) == static_cast<ssize_t>(iSize);
    Fuzz_Require(isWritten, "a document fits into memory");
  }
  Fuzz_Document(const Fuzz_Document&) = delete;
  Fuzz_Document& operator=(const Fuzz_Document&) = delete;
  ~Fuzz_Document() { close(mDescriptor); }

  std::string Path() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }

 private:
  int mDescriptor;
};
