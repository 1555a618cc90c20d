// SPDX-License-Identifier: MIT
/// \file
/// The input of a fuzz target as a file with a path.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

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

/// The part of a document from the iNumber-th last of its start tags on, counted from 1; nothing if it has
/// fewer. After a fault in front of that tag, what may come there finds the parser's elements still open.
inline std::string_view Fuzz_TailOfDocument(const std::uint8_t* iDataP, std::size_t iSize, int iNumber) {
  const std::string_view text(reinterpret_cast<const char*>(iDataP), iSize);
  std::size_t at = text.size();
  while (iNumber > 0 && at > 0 && (at = text.rfind('<', at - 1)) != std::string_view::npos) {
    const char next = at + 1 < text.size() ? text[at + 1] : '/';
    if (next != '/' && next != '!' && next != '?' && --iNumber == 0) return text.substr(at);
  }
  return {};
}
