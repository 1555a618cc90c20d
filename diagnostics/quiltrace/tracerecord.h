// SPDX-License-Identifier: MIT
/// \file
/// One trace line on its way from the thread that traced it to the one that writes it.
#pragma once

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

/// A line, with what its thread alone can tell. A fixed size, so that a ring of them needs no memory of its
/// own.
struct QuilTrace_Record {
  /// The longest text, in bytes. What is longer is cut, and the line says by how much. All lines of the
  /// library fit that name a port in full.
  static constexpr std::size_t kTextBytes = 480;

  std::int64_t mNanoseconds = 0;       ///< Since 1970, when it was traced.
  std::uint64_t mThread = 0;           ///< As pthread_self tells it, and debuggers.
  std::uint64_t mDroppedBefore = 0;    ///< Lines that the ring had dropped when this one came.
  std::uint32_t mCategory = 0;         ///< The category of the trace site.
  std::uint32_t mLength = 0;           ///< Bytes of the text.
  std::uint32_t mMissing = 0;          ///< Bytes that were cut off.
  std::array<char, kTextBytes> mText;  ///< Not terminated.

  constexpr QuilTrace_Record() : mText() {}

  /// Notes time and thread, and makes the text as vsnprintf does. For %s, %d, %p and their like it takes
  /// neither memory nor a lock; the clock is read without entering the system where the kernel lets programs
  /// do that. Leaves errno alone. [any] Wait-free.
  [[gnu::format(printf, 3, 0)]] void Fill(std::uint32_t iCategory, const char* iFormatP,
                                          va_list iArguments) noexcept;
};
