// SPDX-License-Identifier: MIT
#include "mlox/mlox_basicoutput.h"

namespace {

// The offsets are whatever the application sets, so the sum of two extremes must be defined: it wraps.
Time_SampleLength WrappingSum(Time_SampleLength iLeft, Time_SampleLength iRight) {
  const auto sum = static_cast<std::uint64_t>(iLeft.AsInt64()) + static_cast<std::uint64_t>(iRight.AsInt64());
  return Time_SampleLength(static_cast<std::int64_t>(sum));
}

}  // namespace

Mlox_BasicOutput::Mlox_BasicOutput(Mdi_AppCallback* iAppCallbackP) : mAppCallbackP(iAppCallbackP) {}

Mlox_BasicOutput::~Mlox_BasicOutput() = default;

int Mlox_BasicOutput::GetTimestampedPreSendSamples(double) { return 0; }

Time_SampleLength Mlox_BasicOutput::GetZeroJitterDelay(double) { return Time_SampleLength(0); }

bool Mlox_BasicOutput::IsTimestamped() { return false; }

// Each offset stands for itself, but who reads a new one also finds what the application stored before it.

int Mlox_BasicOutput::GetDelayOffset() { return mDelayOffset.load(std::memory_order_acquire); }

void Mlox_BasicOutput::SetDelayOffset(int iDelayOffset) {
  mDelayOffset.store(iDelayOffset, std::memory_order_release);
}

void Mlox_BasicOutput::SetMDCBeatClockOffset(Time_SampleLength iOffset) {
  mMDCBeatClockOffset.store(iOffset, std::memory_order_release);
}

void Mlox_BasicOutput::SetUserBeatClockOffset(Time_SampleLength iOffset) {
  mUserBeatClockOffset.store(iOffset, std::memory_order_release);
}

Time_SampleLength Mlox_BasicOutput::GetTotalBeatClockOffset() {
  return WrappingSum(mMDCBeatClockOffset.load(std::memory_order_acquire),
                     mUserBeatClockOffset.load(std::memory_order_acquire));
}

Time_SampleLength Mlox_BasicOutput::GetUserBeatClockOffset() {
  return mUserBeatClockOffset.load(std::memory_order_acquire);
}
