// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracerecord.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>

void QuilTrace_Record::Fill(std::uint32_t iCategory, const char* iFormatP, va_list iArguments) noexcept {
  const int errorBefore = errno;
  mCategory = iCategory;
  mThread = static_cast<std::uint64_t>(pthread_self());
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  mNanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
  // One byte more than a record holds: the terminator isn't kept.
  std::array<char, kTextBytes + 1> text;
  const int wanted = std::vsnprintf(text.data(), text.size(), iFormatP, iArguments);
  const auto length = static_cast<std::uint32_t>(std::max(wanted, 0));
  mLength = std::min(length, static_cast<std::uint32_t>(kTextBytes));
  mMissing = length - mLength;
  std::copy_n(text.data(), mLength, mText.data());
  errno = errorBefore;
}
