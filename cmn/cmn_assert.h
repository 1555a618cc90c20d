// SPDX-License-Identifier: MIT
/// \file
/// Failed checks: what a report holds, who hears of it, and the macros that make one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"

/// What the throwing form throws when the mode asks for it.
class MLOX_EXPORT Cmn_AssertException : public std::runtime_error {
 public:
  explicit Cmn_AssertException(const std::string& iText);
  Cmn_AssertException(const Cmn_AssertException&) = default;
  Cmn_AssertException(Cmn_AssertException&&) = default;
  Cmn_AssertException& operator=(const Cmn_AssertException&) = default;
  Cmn_AssertException& operator=(Cmn_AssertException&&) = default;
  ~Cmn_AssertException() override;

  /// Free for whoever catches it; null at first, carried along by copies and moves.
  void* mDataP = nullptr;
};

/// One failed check, as a handler gets it.
struct Cmn_AssertReport {
  const char* mStringP = nullptr;  ///< Condition, "@$^$@" and source path; a literal, it lives for ever.
  int mLine = 0;                   ///< Line of the check in that source.
  bool mFlag = true;               ///< The bool that the check passed: false at a few checks, true elsewhere.
  bool mThrowing = false;          ///< Whether the check used the throwing form.
  bool mRealTime = false;  ///< Whether it failed on a real-time thread, and so reached the handler later.
};

/// One line of the list of failed checks.
struct Cmn_AssertSite {
  std::string mText;         ///< The condition.
  std::string mSource;       ///< The source path.
  int mLine = 0;             ///< The line.
  std::uint64_t mCount = 0;  ///< How often it has failed in this process.
};

/// Where failed checks go. A check calls one of the two Handle... operations only when its condition has
/// failed.
///
/// Off a real-time thread a report is taken at once: a handler gets it if one is set, else the first report
/// of a site prints one line on standard error and later ones are only counted. On a real-time thread
/// (Cmn_RealTimeScope) a report is a counter and a record in a ring, wait-free; the ring is emptied by the
/// next report off such a thread, by Drain, and at exit.
///
/// MLOX_ASSERT in the environment sets the mode: report (also when unset), count, throw or abort.
class MLOX_EXPORT Cmn_Assert {
 public:
  /// What a failed check does.
  enum EMode : int {
    kReport = 0,  ///< Prints the first report of each site, counts the others.
    kCount = 1,   ///< Counts only.
    kThrow = 2,   ///< As kReport, and the throwing form throws where that is allowed.
    kAbort = 3    ///< Prints and aborts at once, on whichever thread.
  };

  /// Gets each report instead of standard error. It may itself report. It must not throw.
  using Handler = void (*)(void* iContextP, const Cmn_AssertReport& iReport);

  /// Reports and returns. iFlag: passed on. iStringP: condition, "@$^$@", source; lives for ever. [any]
  /// Wait-free on a real-time thread.
  static void HandleMagicAssertNoThrow(bool iFlag, const char* iStringP, int iLine);

  /// Reports, and throws Cmn_AssertException in mode kThrow, unless the thread is real-time or inside a
  /// Cmn_NoThrowScope. [any] Wait-free on a real-time thread.
  static void HandleMagicAssert(bool iFlag, const char* iStringP, int iLine);

  /// Sets the handler (null: none, standard error again) after giving what is in the ring to the one before.
  /// When it returns, the handler before is not running and won't run again, except further up this thread's
  /// own stack. [any but real-time]
  static void SetHandler(Handler iHandler, void* iContextP);

  /// The handler that is set, and its context; null if none. [any but real-time]
  static Handler GetHandler(void** oContextP);

  /// Tells handler or printer what is in the ring, and once each site that found it full. [any but real-time]
  static void Drain();

  /// The mode in force. [any]
  static EMode GetMode() noexcept;

  /// Sets the mode, over what the environment says. [any]
  static void SetMode(EMode iMode) noexcept;

  /// Every site that has reported, with its count; in no particular order. [any but real-time]
  static std::vector<Cmn_AssertSite> Sites();

  /// Reports of this process so far, of all sites and threads. [any]
  static std::uint64_t ReportCount() noexcept;

  /// Records that found the ring full: counted; of a site that has no other, Drain tells once. [any]
  static std::uint64_t DroppedRecords() noexcept;

  /// Reports that found the table of sites full: counted in ReportCount, missing from Sites. [any]
  static std::uint64_t UnlistedReports() noexcept;
};

/// The text of an assertion string's separator.
#define CMN_ASSERT_SEPARATOR "@$^$@"

/// Joins condition and source path at compile time: a report may be made where nothing may be formatted.
template <std::size_t kTextSize, std::size_t kSourceSize>
consteval auto Cmn_JoinAssertString(const char (&iText)[kTextSize], const char (&iSource)[kSourceSize]) {
  constexpr char kSeparator[] = CMN_ASSERT_SEPARATOR;
  constexpr std::size_t kSeparatorSize = sizeof(kSeparator) - 1;
  std::array<char, kTextSize - 1 + kSeparatorSize + kSourceSize> joined{};
  std::size_t at = 0;
  for (std::size_t i = 0; i + 1 < kTextSize; ++i) joined[at++] = iText[i];
  for (std::size_t i = 0; i < kSeparatorSize; ++i) joined[at++] = kSeparator[i];
  for (std::size_t i = 0; i < kSourceSize; ++i) joined[at++] = iSource[i];
  return joined;
}

/// Passes its argument on: keeps a check whose result nobody wants from being an unused expression.
constexpr bool Cmn_AssertHeld(bool iHeld) noexcept { return iHeld; }

/// The assertion string of a condition's text and a source constant, as a const char* to a literal.
#define CMN_ASSERT_STRING(source, text)                                 \
  ([]() noexcept -> const char* {                                       \
    static constexpr auto kString = Cmn_JoinAssertString(text, source); \
    return kString.data();                                              \
  }())

/// Reports a false condition in the form that never throws, with true as the bool. An expression of type
/// bool: whether the condition held. source: a constexpr char array with the file's source path; text: a
/// literal.
#define CMN_ASSERT_FROM(source, condition, text) \
  ::Cmn_AssertHeld(                              \
      static_cast<bool>(condition) ||            \
      (::Cmn_Assert::HandleMagicAssertNoThrow(true, CMN_ASSERT_STRING(source, text), __LINE__), false))

/// The same in the form that may throw, with false as the bool.
#define CMN_ASSERT_THROWING_FROM(source, condition, text) \
  ::Cmn_AssertHeld(                                       \
      static_cast<bool>(condition) ||                     \
      (::Cmn_Assert::HandleMagicAssert(false, CMN_ASSERT_STRING(source, text), __LINE__), false))
