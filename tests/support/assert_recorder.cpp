// SPDX-License-Identifier: MIT
#include "tests/support/assert_recorder.h"

#include <algorithm>
#include <cstring>

Test_AssertRecorder::Test_AssertRecorder() {
  Cmn_Assert::Drain();
  mOuterHandler = Cmn_Assert::GetHandler(&mOuterContextP);
  Cmn_Assert::SetHandler(&Test_AssertRecorder::Handle, this);
}

Test_AssertRecorder::~Test_AssertRecorder() { Cmn_Assert::SetHandler(mOuterHandler, mOuterContextP); }

int Test_AssertRecorder::Count(const std::string& iText) const {
  const std::vector<std::string> texts = Texts();
  return static_cast<int>(std::count(texts.begin(), texts.end(), iText));
}

int Test_AssertRecorder::Count() const { return static_cast<int>(Reports().size()); }

std::vector<std::string> Test_AssertRecorder::Texts() const {
  std::vector<std::string> texts;
  for (const Report& report : Reports()) texts.push_back(report.mText);
  return texts;
}

std::vector<Test_AssertRecorder::Report> Test_AssertRecorder::Reports() const {
  Cmn_Assert::Drain();
  const std::lock_guard lock(mMutex);
  return mReports;
}

void Test_AssertRecorder::Clear() {
  Cmn_Assert::Drain();
  const std::lock_guard lock(mMutex);
  mReports.clear();
}

void Test_AssertRecorder::Handle(void* iContextP, const Cmn_AssertReport& iReport) {
  auto* selfP = static_cast<Test_AssertRecorder*>(iContextP);
  const char* separatorP = std::strstr(iReport.mStringP, "@$^$@");
  Report report;
  report.mText = separatorP == nullptr ? iReport.mStringP : std::string(iReport.mStringP, separatorP);
  report.mSource = separatorP == nullptr ? "" : separatorP + 5;
  report.mLine = iReport.mLine;
  report.mFlag = iReport.mFlag;
  report.mThrowing = iReport.mThrowing;
  report.mRealTime = iReport.mRealTime;
  const std::lock_guard lock(selfP->mMutex);
  selfP->mReports.push_back(report);
}
