// SPDX-License-Identifier: MIT
/// \file
/// Collects failed checks in tests.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "cmn/cmn_assert.h"

/// Collects every report from its making to its end, instead of their being printed. Recorders nest: the
/// inner one gets the reports. Reports of real-time threads are fetched from their ring before each answer.
class Test_AssertRecorder {
 public:
  /// One report.
  struct Report {
    std::string mText;       ///< The condition.
    std::string mSource;     ///< The source path.
    int mLine = 0;           ///< The line.
    bool mFlag = true;       ///< The bool of the call.
    bool mThrowing = false;  ///< Whether the throwing form was used.
    bool mRealTime = false;  ///< Whether it came from a real-time thread.
  };

  Test_AssertRecorder();
  ~Test_AssertRecorder();
  Test_AssertRecorder(const Test_AssertRecorder&) = delete;
  Test_AssertRecorder& operator=(const Test_AssertRecorder&) = delete;

  /// How many reports there are of a condition.
  int Count(const std::string& iText) const;
  /// How many reports there are.
  int Count() const;
  /// The conditions, in order.
  std::vector<std::string> Texts() const;
  /// All reports, in order.
  std::vector<Report> Reports() const;
  /// Forgets what has been collected.
  void Clear();

 private:
  static void Handle(void* iContextP, const Cmn_AssertReport& iReport);

  mutable std::mutex mMutex;
  std::vector<Report> mReports;
  Cmn_Assert::Handler mOuterHandler = nullptr;
  void* mOuterContextP = nullptr;
};
