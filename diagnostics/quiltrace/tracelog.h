// SPDX-License-Identifier: MIT
/// \file
/// Where trace lines end up: files that take turns, or standard error.
#pragma once

#include <spdlog/logger.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "diagnostics/quiltrace/tracerecord.h"
#include "diagnostics/quiltrace/tracesettings.h"

/// Writes lines as people read them: time, thread, category, text. One thread at a time.
///
/// A file that can't be opened is told on standard error, which then gets the lines. What can't be written
/// later on is lost; the first fault is told on standard error, and at the end how many there were.
class QuilTrace_Log {
 public:
  /// Opens the file that the settings name. Throws std::exception only where memory is wanting.
  explicit QuilTrace_Log(const QuilTrace_Settings& iSettings);
  QuilTrace_Log(const QuilTrace_Log&) = delete;
  QuilTrace_Log& operator=(const QuilTrace_Log&) = delete;
  /// Tells how many faults there were, if more than the first, and closes the file.
  ~QuilTrace_Log();

  /// Writes a line, and in front of it, as a line of its own, how many were dropped since the one before.
  void Write(const QuilTrace_Record& iRecord);
  /// Writes how many lines were dropped since this was last told, if any. iDropped: of all time.
  void TellDropped(std::uint64_t iDropped);
  /// Gives everything to the system.
  void Flush();

  /// In a child that was forked off, perhaps in the middle of an operation above: drops what the copy of the
  /// log has and the system has not, which the child's exit would write once more, and which would hold it up
  /// where nobody reads. Nothing else may be called then. Takes no lock and no memory.
  void LetGoInChild() noexcept;

  /// A record's text as it is written: a control character is a blank, so that a line stays one and a name
  /// can't command the terminal; behind what was cut stands how much that was.
  static std::string TextOf(const QuilTrace_Record& iRecord);

 private:
  void NoteFault(const std::string& iText);

  std::atomic<std::FILE*> mFileP{nullptr};  // the log's file while it is open, if it has one
  spdlog::logger mLogger;
  std::uint64_t mToldDropped = 0;
  std::uint64_t mFaults = 0;
};
