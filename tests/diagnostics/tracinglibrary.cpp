// SPDX-License-Identifier: MIT
/// \file
/// A tracing library for tests. Each line goes to standard output as "TRACE <category> <text>", and each
/// question as "ASKED active" or "ASKED <category>".
///
/// `TEST_TRACE_ACTIVE` in the environment is what it answers when asked whether it is active (default 1), and
/// `TEST_TRACE_OFF` a category, in hexadecimal digits, that is off.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#define TEST_EXPORT extern "C" __attribute__((visibility("default")))

TEST_EXPORT unsigned char QuilTraceIsActiveFunc() {
  std::printf("ASKED active\n");
  const char* textP = std::getenv("TEST_TRACE_ACTIVE");
  return textP == nullptr ? 1 : static_cast<unsigned char>(std::atoi(textP));
}

TEST_EXPORT bool QuilTraceFacilityOnFunc(std::uint32_t iCategory) {
  std::printf("ASKED %08X\n", iCategory);
  const char* textP = std::getenv("TEST_TRACE_OFF");
  return textP == nullptr || std::strtoul(textP, nullptr, 16) != iCategory;
}

TEST_EXPORT __attribute__((format(printf, 2, 3))) void QuilTraceFormat(std::uint32_t iCategory,
                                                                       const char* iFormatP, ...) {
  std::printf("TRACE %08X ", iCategory);
  va_list arguments;
  va_start(arguments, iFormatP);
  std::vprintf(iFormatP, arguments);
  va_end(arguments);
  std::printf("\n");
}

// The names that are bound and never called: one of these running is an error.
#define TEST_BOUND_ONLY(name) \
  TEST_EXPORT void name() { std::printf("CALLED " #name "\n"); }

TEST_BOUND_ONLY(QuilTraceReloadConfigsFunc)
TEST_BOUND_ONLY(QuilTraceFormatQuiet)
TEST_BOUND_ONLY(QuilTraceFormatTimestamp)
TEST_BOUND_ONLY(QuilTracePuts)
TEST_BOUND_ONLY(QuilTraceMem)
TEST_BOUND_ONLY(QuilTraceStack)
TEST_BOUND_ONLY(QuilTraceChangeFacilityPriorityFunc)
TEST_BOUND_ONLY(QuilTraceRegisterHandlerFunc)
TEST_BOUND_ONLY(QuilTraceSetClockCallbackFunc)
TEST_BOUND_ONLY(QuilTraceDumpWriteStatsFunc)
TEST_BOUND_ONLY(QuilTraceSetNameFunc)
TEST_BOUND_ONLY(QuilTraceOSErrToString)
TEST_BOUND_ONLY(QuilTraceLegacyFormat)
TEST_BOUND_ONLY(QuilTraceGetTracePath)
TEST_BOUND_ONLY(QuilTraceRegisterFacility)
TEST_BOUND_ONLY(QuilTraceRestart)
TEST_BOUND_ONLY(QuilTraceGetMachineUUID)
#if !defined(MLOX_TEST_LACKS_TIMESTAMP)
TEST_BOUND_ONLY(QuilTraceGetTimestamp)
#endif
TEST_BOUND_ONLY(QuilTraceAddTraceClient)
TEST_BOUND_ONLY(QuilTraceRemoveTraceClient)
TEST_BOUND_ONLY(QuilTraceEnableStackTraceSymbols)
TEST_BOUND_ONLY(QuilTraceEnabledStackTraceSymbols)
