// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/cameback.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "mlox/mlox_inputport.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/tool_error.h"

namespace tool {

CameBack::CameBack(const PortSession& iSession, const std::string& iInput, std::size_t iMostWaiting)
    : mQueue(iMostWaiting), mPort(PortSession::MakePort(&mQueue)) {
  mPort->ConnectToInputs({FindInput(iSession, iInput)});
}

void CameBack::Expect(std::span<const std::uint8_t> iBytes, std::int64_t iDue) {
  Collect();  // a long song fills no queue
  mDue.push_back({mExpected.size(), iDue});
  mExpected.insert(mExpected.end(), iBytes.begin(), iBytes.end());
}

bool CameBack::Collect() {
  ReceivedMessage message;
  while (mQueue.Take(message, std::chrono::microseconds(0))) {
    NoteArrival(mReceived.size(), message.mTime);
    mReceived.insert(mReceived.end(), message.mBytes.begin(), message.mBytes.end());
  }
  return mReceived.size() >= mExpected.size();
}

// Only messages that begin where one was expected to begin tell anything about time.
void CameBack::NoteArrival(std::size_t iByte, std::int64_t iTime) {
  while (mNextDue < mDue.size() && mDue[mNextDue].mByte < iByte) ++mNextDue;
  if (mNextDue == mDue.size() || mDue[mNextDue].mByte != iByte) return;
  const std::int64_t late = iTime - mDue[mNextDue].mTime;
  mLatest = std::max(mLatest, late);
  mEarliest = std::min(mEarliest, late);
}

std::string CameBack::Verdict() const {
  const std::size_t common = std::min(mExpected.size(), mReceived.size());
  const auto different = std::mismatch(
      mExpected.begin(), mExpected.begin() + static_cast<std::ptrdiff_t>(common), mReceived.begin());
  const auto same = static_cast<std::size_t>(different.first - mExpected.begin());
  if (same < common) {
    throw ToolError(fmt::format("byte {} of {} came back as {:02x}, not {:02x}", same + 1, mExpected.size(),
                                *different.second, *different.first));
  }
  if (mReceived.size() != mExpected.size()) {
    throw ToolError(fmt::format("{} bytes were sent, {} came back", mExpected.size(), mReceived.size()));
  }
  if (mDue.empty()) return "nothing was sent, nothing came back";
  return fmt::format("{} messages, {} bytes: every byte came back; {:.1f} to {:.1f} ms after their time",
                     mDue.size(), mExpected.size(), static_cast<double>(mEarliest) / 1000,
                     static_cast<double>(mLatest) / 1000);
}

}  // namespace tool
