// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracelog.h"

#include <fmt/format.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <stdio_ext.h>

#include <chrono>
#include <memory>

namespace {

// Keeps in mind which file is open. It is empty before it is let go: a child that is forked off meanwhile
// doesn't know of it any more.
spdlog::file_event_handlers KeepingFileIn(std::atomic<std::FILE*>& oFileP) {
  spdlog::file_event_handlers handlers;
  handlers.after_open = [&oFileP](const spdlog::filename_t&, std::FILE* iFileP) {
    oFileP.store(iFileP, std::memory_order_release);
  };
  handlers.before_close = [&oFileP](const spdlog::filename_t&, std::FILE* iFileP) {
    std::fflush(iFileP);
    oFileP.store(nullptr, std::memory_order_release);
  };
  return handlers;
}

std::shared_ptr<spdlog::sinks::sink> MakeSink(const QuilTrace_Settings& iSettings,
                                              std::atomic<std::FILE*>& oFileP) {
  if (!iSettings.mFile.empty()) {
    try {
      const spdlog::file_event_handlers handlers = KeepingFileIn(oFileP);
      if (iSettings.mFileBytes == 0)
        return std::make_shared<spdlog::sinks::basic_file_sink_st>(iSettings.mFile, false, handlers);
      return std::make_shared<spdlog::sinks::rotating_file_sink_st>(iSettings.mFile, iSettings.mFileBytes,
                                                                    iSettings.mOlderFiles, false, handlers);
    } catch (const spdlog::spdlog_ex& error) {
      std::fprintf(stderr, "mlox: trace lines go to standard error: %s\n", error.what());
    }
  }
  return std::make_shared<spdlog::sinks::stderr_sink_st>();
}

bool IsContinuation(char iByte) { return (static_cast<unsigned char>(iByte) & 0xC0) == 0x80; }

// How many bytes at the end of a cut text belong to a character that isn't whole. UTF-8: at most three.
std::size_t BytesOfCutCharacter(std::string_view iText) {
  std::size_t bytes = 0;
  while (bytes < iText.size() && bytes < 3 && IsContinuation(iText[iText.size() - 1 - bytes])) ++bytes;
  if (bytes == iText.size()) return 0;
  const auto lead = static_cast<unsigned char>(iText[iText.size() - 1 - bytes]);
  const std::size_t wanted = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  return wanted > bytes + 1 ? bytes + 1 : 0;
}

std::string WithoutControls(std::string_view iText) {
  std::string text;
  text.reserve(iText.size());
  for (std::size_t at = 0; at < iText.size(); ++at) {
    const auto byte = static_cast<unsigned char>(iText[at]);
    // U+0080 to U+009F are controls too: 0xC2 and a byte below 0xA0.
    const bool isC1 =
        byte == 0xC2 && at + 1 < iText.size() && static_cast<unsigned char>(iText[at + 1]) < 0xA0;
    text += isC1 || byte < 0x20 || byte == 0x7F ? ' ' : iText[at];
    if (isC1) ++at;
  }
  return text;
}

}  // namespace

QuilTrace_Log::QuilTrace_Log(const QuilTrace_Settings& iSettings)
    : mLogger("mlox", MakeSink(iSettings, mFileP)) {
  mLogger.set_pattern("%Y-%m-%d %H:%M:%S.%f %v");
  mLogger.set_error_handler([this](const std::string& iText) { NoteFault(iText); });
}

QuilTrace_Log::~QuilTrace_Log() {
  if (mFaults > 1)
    std::fprintf(stderr, "mlox: writing trace lines failed %llu times\n",
                 static_cast<unsigned long long>(mFaults));
}

void QuilTrace_Log::NoteFault(const std::string& iText) {
  if (++mFaults == 1) std::fprintf(stderr, "mlox: trace lines are lost: %s\n", iText.c_str());
}

void QuilTrace_Log::Write(const QuilTrace_Record& iRecord) {
  TellDropped(iRecord.mDroppedBefore);
  const std::chrono::nanoseconds time(iRecord.mNanoseconds);
  const spdlog::log_clock::time_point point(std::chrono::duration_cast<spdlog::log_clock::duration>(time));
  mLogger.log(point, spdlog::source_loc(), spdlog::level::info,
              fmt::format("{:x} {:08X} {}", iRecord.mThread, iRecord.mCategory, TextOf(iRecord)));
}

void QuilTrace_Log::TellDropped(std::uint64_t iDropped) {
  if (iDropped <= mToldDropped) return;
  mLogger.info("{} trace lines dropped here: they came faster than they could be written",
               iDropped - mToldDropped);
  mToldDropped = iDropped;
}

void QuilTrace_Log::Flush() { mLogger.flush(); }

// Standard error has no buffer of its own, and is the application's. Locks of streams that are held when a
// process forks are free in the child.
void QuilTrace_Log::LetGoInChild() noexcept {
  std::FILE* const fileP = mFileP.load(std::memory_order_acquire);
  if (fileP != nullptr) __fpurge(fileP);
}

std::string QuilTrace_Log::TextOf(const QuilTrace_Record& iRecord) {
  std::string_view text(iRecord.mText.data(), iRecord.mLength);
  if (iRecord.mMissing == 0) return WithoutControls(text);
  const std::size_t cut = BytesOfCutCharacter(text);
  text.remove_suffix(cut);
  return fmt::format("{}[{} bytes more]", WithoutControls(text), iRecord.mMissing + cut);
}
