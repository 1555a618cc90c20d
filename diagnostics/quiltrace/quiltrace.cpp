// SPDX-License-Identifier: MIT
/// \file
/// A tracing library for the binder of `diagnostics/quiltracelibrary.h`: it writes trace lines where people
/// can read them.
///
/// `MLOX_TRACE` in the environment says which categories are on: "all", or their hexadecimal numbers with
/// commas between them. Without it, tracing is off. `MLOX_TRACE_FILE` names the file that lines are appended
/// to; without it they go to standard error.
///
/// Threads: [any]. A line takes a lock and enters the system, on audio threads too: whoever turns on a
/// category of theirs asks for that.
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#define QUILTRACE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr std::size_t kLongestLine = 2048;

std::shared_ptr<spdlog::sinks::sink> MakeSink() {
  const char* const fileP = std::getenv("MLOX_TRACE_FILE");
  if (fileP != nullptr && *fileP != '\0') {
    try {
      return std::make_shared<spdlog::sinks::basic_file_sink_mt>(fileP);
    } catch (const spdlog::spdlog_ex& error) {
      std::fprintf(stderr, "mlox: trace lines go to standard error: %s\n", error.what());
    }
  }
  return std::make_shared<spdlog::sinks::stderr_sink_mt>();
}

// What the environment asks for, and where lines go.
class Tracing {
 public:
  // Made when the binder first asks, on one thread, and never ended: threads may trace while the process
  // does.
  static Tracing& Get() {
    static Tracing* const sTracingP = new Tracing;
    return *sTracingP;
  }

  bool IsActive() const { return mIsAll || !mCategories.empty(); }
  bool IsOn(std::uint32_t iCategory) const {
    return mIsAll || std::find(mCategories.begin(), mCategories.end(), iCategory) != mCategories.end();
  }
  void Write(std::uint32_t iCategory, std::string_view iText) { mLogger.info("{:08X} {}", iCategory, iText); }

 private:
  Tracing() {
    mLogger.set_pattern("%Y-%m-%d %H:%M:%S.%f %t %v");
    mLogger.flush_on(spdlog::level::info);
    const char* const textP = std::getenv("MLOX_TRACE");
    std::string_view rest = textP != nullptr ? textP : "";
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find(','), rest.size());
      ReadWord(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }

  void ReadWord(std::string_view iWord) {
    if (iWord == "all") {
      mIsAll = true;
      return;
    }
    std::string_view digits = iWord;
    if (digits.starts_with("0x") || digits.starts_with("0X")) digits.remove_prefix(2);
    std::uint32_t category = 0;
    const char* const endP = digits.data() + digits.size();
    const std::from_chars_result result = std::from_chars(digits.data(), endP, category, 16);
    if (result.ec == std::errc() && result.ptr == endP) {
      mCategories.push_back(category);
    } else {
      std::fprintf(stderr, "mlox: no trace category: \"%.*s\"\n", static_cast<int>(iWord.size()),
                   iWord.data());
    }
  }

  spdlog::logger mLogger{"mlox", MakeSink()};
  bool mIsAll = false;
  std::vector<std::uint32_t> mCategories;
};

}  // namespace

QUILTRACE_EXPORT unsigned char QuilTraceIsActiveFunc() { return Tracing::Get().IsActive() ? 1 : 0; }

QUILTRACE_EXPORT bool QuilTraceFacilityOnFunc(std::uint32_t iCategory) {
  return Tracing::Get().IsOn(iCategory);
}

// A line that is too long is cut.
QUILTRACE_EXPORT __attribute__((format(printf, 2, 3))) void QuilTraceFormat(std::uint32_t iCategory,
                                                                            const char* iFormatP, ...) {
  std::array<char, kLongestLine> line{};
  va_list arguments;
  va_start(arguments, iFormatP);
  std::vsnprintf(line.data(), line.size(), iFormatP, arguments);
  va_end(arguments);
  Tracing::Get().Write(iCategory, line.data());
}

// The binder wants these names to be there and calls none of them.
#define QUILTRACE_BOUND_ONLY(name) \
  QUILTRACE_EXPORT void name() {}

QUILTRACE_BOUND_ONLY(QuilTraceReloadConfigsFunc)
QUILTRACE_BOUND_ONLY(QuilTraceFormatQuiet)
QUILTRACE_BOUND_ONLY(QuilTraceFormatTimestamp)
QUILTRACE_BOUND_ONLY(QuilTracePuts)
QUILTRACE_BOUND_ONLY(QuilTraceMem)
QUILTRACE_BOUND_ONLY(QuilTraceStack)
QUILTRACE_BOUND_ONLY(QuilTraceChangeFacilityPriorityFunc)
QUILTRACE_BOUND_ONLY(QuilTraceRegisterHandlerFunc)
QUILTRACE_BOUND_ONLY(QuilTraceSetClockCallbackFunc)
QUILTRACE_BOUND_ONLY(QuilTraceDumpWriteStatsFunc)
QUILTRACE_BOUND_ONLY(QuilTraceSetNameFunc)
QUILTRACE_BOUND_ONLY(QuilTraceOSErrToString)
QUILTRACE_BOUND_ONLY(QuilTraceLegacyFormat)
QUILTRACE_BOUND_ONLY(QuilTraceGetTracePath)
QUILTRACE_BOUND_ONLY(QuilTraceRegisterFacility)
QUILTRACE_BOUND_ONLY(QuilTraceRestart)
QUILTRACE_BOUND_ONLY(QuilTraceGetMachineUUID)
QUILTRACE_BOUND_ONLY(QuilTraceGetTimestamp)
QUILTRACE_BOUND_ONLY(QuilTraceAddTraceClient)
QUILTRACE_BOUND_ONLY(QuilTraceRemoveTraceClient)
QUILTRACE_BOUND_ONLY(QuilTraceEnableStackTraceSymbols)
QUILTRACE_BOUND_ONLY(QuilTraceEnabledStackTraceSymbols)
