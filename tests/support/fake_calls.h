// SPDX-License-Identifier: MIT
/// \file
/// The record of calls on fakes, and the failures that a test asks for.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/directmusic/directmusic.h"

/// Every call on the fakes of one test, in order, and what each is to answer. [any thread]
///
/// A call has a name, such as "EnumPort", and a line in the record, such as "EnumPort 3"; calls on a port
/// begin with the port's description, as in "Keys: Activate 1". A failure is asked for by the name or by the
/// line.
class Test_FakeCalls {
 public:
  /// The next iTimes calls of this name or line answer iResult, after iAfter that go as usual; iTimes below
  /// 0: all from then on.
  void Fail(const std::string& iCall, HRESULT iResult, int iTimes = -1, int iAfter = 0) {
    const std::lock_guard lock(mMutex);
    mFailures[iCall] = {iResult, iTimes, iAfter};
  }
  /// Takes a failure back.
  void Mend(const std::string& iCall) {
    const std::lock_guard lock(mMutex);
    mFailures.erase(iCall);
  }
  /// Called, with no lock held, at each call before it takes effect; set it before other threads run.
  std::function<void(const std::string& iLine)> mOnCall;

  /// The lines so far.
  std::vector<std::string> Lines() const {
    const std::lock_guard lock(mMutex);
    return mLines;
  }
  /// Those lines that begin with a text.
  std::vector<std::string> LinesBeginning(const std::string& iBeginning) const {
    std::vector<std::string> lines;
    for (const std::string& line : Lines()) {
      if (line.starts_with(iBeginning)) lines.push_back(line);
    }
    return lines;
  }
  /// How often a line stands in the record.
  int Count(const std::string& iLine) const {
    int count = 0;
    for (const std::string& line : Lines()) count += line == iLine ? 1 : 0;
    return count;
  }
  /// How many lines begin with a text.
  int CountBeginning(const std::string& iBeginning) const {
    return static_cast<int>(LinesBeginning(iBeginning).size());
  }
  void Clear() {
    const std::lock_guard lock(mMutex);
    mLines.clear();
  }

  /// For the fakes: records a call. True, with the result, when it is to fail.
  bool Enter(const std::string& iName, const std::string& iLine, HRESULT* oResult) {
    if (mOnCall) mOnCall(iLine);
    const std::lock_guard lock(mMutex);
    mLines.push_back(iLine);
    return TakeFailure(iLine, oResult) || (iName != iLine && TakeFailure(iName, oResult));
  }

 private:
  struct Failure {
    HRESULT mResult;
    int mTimes;
    int mAfter;
  };

  bool TakeFailure(const std::string& iCall, HRESULT* oResult) {
    const auto at = mFailures.find(iCall);
    if (at == mFailures.end() || at->second.mTimes == 0) return false;
    if (at->second.mAfter > 0) {
      --at->second.mAfter;
      return false;
    }
    if (at->second.mTimes > 0) --at->second.mTimes;
    *oResult = at->second.mResult;
    return true;
  }

  mutable std::mutex mMutex;
  std::vector<std::string> mLines;
  std::map<std::string, Failure> mFailures;
};
