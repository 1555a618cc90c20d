// SPDX-License-Identifier: MIT
/// \file
/// Every trace line of a scope, with its category.
#pragma once

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "diagnostics/quiltracelibrary.h"

/// Stands in for a tracing library with every category on. Lines read "0200000E text". One at a time; one
/// thread at a time writes.
class Test_TraceRecorder {
 public:
  Test_TraceRecorder() {
    sLines.clear();
    QuilTraceLibrary::sFormat = &Format;
    QuilTraceLibrary::sFacilityOn = [](std::uint32_t) { return true; };
    QuilTraceLibrary::sTraceIsActive = 1;
  }
  ~Test_TraceRecorder() {
    QuilTraceLibrary::sTraceIsActive = mActiveBefore;
    QuilTraceLibrary::sFormat = mFormatBefore;
    QuilTraceLibrary::sFacilityOn = mFacilityOnBefore;
  }
  Test_TraceRecorder(const Test_TraceRecorder&) = delete;
  Test_TraceRecorder& operator=(const Test_TraceRecorder&) = delete;

  /// What was written since the last call.
  static std::vector<std::string> Take() {
    std::vector<std::string> lines;
    lines.swap(sLines);
    return lines;
  }

 private:
  [[gnu::format(printf, 2, 3)]] static void Format(std::uint32_t iCategory, const char* iFormatP, ...) {
    std::array<char, 400> text{};
    const int head = std::snprintf(text.data(), text.size(), "%08X ", iCategory);
    va_list arguments;
    va_start(arguments, iFormatP);
    std::vsnprintf(text.data() + head, text.size() - static_cast<std::size_t>(head), iFormatP, arguments);
    va_end(arguments);
    sLines.emplace_back(text.data());
  }

  static inline std::vector<std::string> sLines;
  QuilTraceLibrary::FormatProc mFormatBefore = QuilTraceLibrary::sFormat;
  QuilTraceLibrary::FacilityOnProc mFacilityOnBefore = QuilTraceLibrary::sFacilityOn;
  int mActiveBefore = QuilTraceLibrary::sTraceIsActive;
};
