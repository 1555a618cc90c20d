// SPDX-License-Identifier: MIT
/// \file
/// A tracing library of a test's own.
#pragma once

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "diagnostics/quiltracelibrary.h"

// What a tracing library does on an audio thread is its own affair, and this one keeps its lines in a vector:
// where RealtimeSanitizer watches, it looks away for that long.
#if defined(__has_feature)
#if __has_feature(realtime_sanitizer)
#define TEST_TRACE_SITE_IS_WATCHED
extern "C" void __rtsan_disable();
extern "C" void __rtsan_enable();
#endif
#endif

/// Stands in for a tracing library in which one category is on, and may do something at each line. One at a
/// time.
class Test_TraceSite {
 public:
  explicit Test_TraceSite(uint32_t iCategoryOn) {
    sCategoryOn = iCategoryOn;
    sLines.clear();
    sOnLine = nullptr;
    mFormatBefore = QuilTraceLibrary::sFormat;
    mFacilityOnBefore = QuilTraceLibrary::sFacilityOn;
    mActiveBefore = QuilTraceLibrary::sTraceIsActive;
    QuilTraceLibrary::sFormat = &Format;
    QuilTraceLibrary::sFacilityOn = [](uint32_t iCategory) { return iCategory == sCategoryOn; };
    QuilTraceLibrary::sTraceIsActive = 1;
  }
  ~Test_TraceSite() {
    QuilTraceLibrary::sTraceIsActive = mActiveBefore;
    QuilTraceLibrary::sFormat = mFormatBefore;
    QuilTraceLibrary::sFacilityOn = mFacilityOnBefore;
  }
  Test_TraceSite(const Test_TraceSite&) = delete;
  Test_TraceSite& operator=(const Test_TraceSite&) = delete;

  static inline uint32_t sCategoryOn = 0;         ///< The one category that is on.
  static inline std::vector<std::string> sLines;  ///< What was written, of that category.
  static inline std::function<void()> sOnLine;    ///< Called behind each line, if set.

 private:
  [[gnu::format(printf, 2, 3)]] static void Format(uint32_t iCategory, const char* iFormatP, ...) {
    if (iCategory != sCategoryOn) return;
#if defined(TEST_TRACE_SITE_IS_WATCHED)
    struct Unwatched {
      Unwatched() { __rtsan_disable(); }
      ~Unwatched() { __rtsan_enable(); }
    } unwatched;
#endif
    std::array<char, 200> line{};
    va_list arguments;
    va_start(arguments, iFormatP);
    std::vsnprintf(line.data(), line.size(), iFormatP, arguments);
    va_end(arguments);
    sLines.emplace_back(line.data());
    if (sOnLine) sOnLine();
  }

  QuilTraceLibrary::FormatProc mFormatBefore;
  QuilTraceLibrary::FacilityOnProc mFacilityOnBefore;
  int mActiveBefore;
};

/// The line of a failed check with its line number, which is none of a test's business, as "#".
inline std::string Test_WithoutLineNumber(const std::string& iLine) {
  const std::size_t end = iLine.find_last_not_of("0123456789") + 1;
  return end == iLine.size() ? iLine : iLine.substr(0, end) + "#";
}
