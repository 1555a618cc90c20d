// SPDX-License-Identifier: MIT
/// \file
/// Facts on their way from one process to another: as a row of texts.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

#include "tools/mlox/doctor/machine.h"

namespace tool {

/// Writes facts as texts.
class FieldWriter {
 public:
  template <class... Values>
  void operator()(const Values&... iValues) {
    (Write(iValues), ...);
  }
  std::vector<std::string> mFields;

 private:
  void Write(const std::string& iText) { mFields.push_back(iText); }
  void Write(const std::vector<std::string>& iTexts) {
    Write(static_cast<std::int64_t>(iTexts.size()));
    for (const std::string& text : iTexts) Write(text);
  }
  template <class Number>
  void Write(Number iNumber) {
    mFields.push_back(std::to_string(static_cast<std::int64_t>(iNumber)));
  }
};

/// Reads what FieldWriter wrote. What is missing reads as nothing.
class FieldReader {
 public:
  explicit FieldReader(const std::vector<std::string>& iFields) : mFields(iFields) {}
  template <class... Values>
  void operator()(Values&... oValues) {
    (Read(oValues), ...);
  }

 private:
  std::string Next() { return mNext < mFields.size() ? mFields[mNext++] : std::string(); }
  void Read(std::string& oText) { oText = Next(); }
  void Read(std::vector<std::string>& oTexts) {
    std::int64_t count = 0;
    Read(count);
    for (std::int64_t i = 0; i < count && mNext < mFields.size(); ++i) oTexts.push_back(Next());
  }
  template <class Number>
  void Read(Number& oNumber) {
    oNumber = static_cast<Number>(std::strtoll(Next().c_str(), nullptr, 10));
  }

  const std::vector<std::string>& mFields;
  std::size_t mNext = 0;
};

// Each walks the same fields in the same order, whoever asks.
template <class Fields>
void Visit(Fields& ioFields, PathFacts& ioFacts) {
  ioFields(ioFacts.mPath, ioFacts.mKind, ioFacts.mFault, ioFacts.mIsReadable, ioFacts.mIsWritable,
           ioFacts.mIsOurs);
}

template <class Fields>
void Visit(Fields& ioFields, Platform_DriverTrial& ioTrial) {
  ioFields(ioTrial.mIsBuilt, ioTrial.mStarts, ioTrial.mReason, ioTrial.mInputs, ioTrial.mOutputs);
}

template <class Fields>
void Visit(Fields& ioFields, Platform_StudioLook& ioLook) {
  ioFields(ioLook.mResult, ioLook.mPath, ioLook.mReason, ioLook.mVersion, ioLook.mPorts, ioLook.mUserDefined,
           ioLook.mWires, ioLook.mHolder);
}

template <class Fields>
void Visit(Fields& ioFields, StudioFacts& ioFacts) {
  Visit(ioFields, ioFacts.mLook);
  Visit(ioFields, ioFacts.mFile);
  Visit(ioFields, ioFacts.mFolder);
  ioFields(ioFacts.mIsFolderThere, ioFacts.mIsOfKernel, ioFacts.mIsDiskReadOnly, ioFacts.mFreeBytes,
           ioFacts.mHolder, ioFacts.mDamaged);
}

template <class Fields>
void Visit(Fields& ioFields, DocumentFacts& ioFacts) {
  Visit(ioFields, ioFacts.mFolder);
  ioFields(ioFacts.mCount);
}

template <class Fields>
void Visit(Fields& ioFields, TextFacts& ioFacts) {
  Visit(ioFields, ioFacts.mFile);
  ioFields(ioFacts.mText);
}

template <class Fields>
void Visit(Fields& ioFields, LogFacts& ioFacts) {
  Visit(ioFields, ioFacts.mFile);
  Visit(ioFields, ioFacts.mFolder);
  Visit(ioFields, ioFacts.mNearest);
  ioFields(ioFacts.mIsOfKernel);
}

template <class Fields>
void Visit(Fields& ioFields, FolderFacts& ioFacts) {
  Visit(ioFields, ioFacts.mFolder);
}

template <class Fields>
void Visit(Fields& ioFields, RealtimeFacts& ioFacts) {
  ioFields(ioFacts.mPriority.mSoft, ioFacts.mPriority.mHard, ioFacts.mIsGranted, ioFacts.mNice.mSoft,
           ioFacts.mNice.mHard, ioFacts.mTakesNice, ioFacts.mMemory.mSoft, ioFacts.mMemory.mHard,
           ioFacts.mPoolBytes, ioFacts.mIsPinned);
}

}  // namespace tool
