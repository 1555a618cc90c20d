// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/directmusicclocksync.h"

#include "cmn/sys_clock.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"

namespace {

constexpr std::int64_t kShortestInterval = 99999;  // microseconds

// The object and its count. Taken inside the subsystem's lock, never around it.
std::mutex& InstanceMutex() {
  static std::mutex& sMutex = *new std::mutex;
  return sMutex;
}

constinit DirectMusicClockSync* sInstanceP = nullptr;

// Truncates; what isn't a number, or doesn't fit, is no time.
std::int64_t Truncate(double iValue) {
  constexpr double kLimit = 9223372036854775808.0;
  const bool fits = iValue > -kLimit && iValue < kLimit;  // false for what isn't a number
  return fits ? static_cast<std::int64_t>(iValue) : DirectMusicClockSync::kNoTime;
}

// Latency minus master, the clocks read in the given order. False when one can't be read.
bool ReadDifference(IReferenceClock& iFirst, IReferenceClock& iSecond, REFERENCE_TIME* oFirstMinusSecond) {
  REFERENCE_TIME first = 0;
  REFERENCE_TIME second = 0;
  const bool isFirstRead = iFirst.GetTime(&first) == S_OK;
  const bool isSecondRead = iSecond.GetTime(&second) == S_OK;
  *oFirstMinusSecond = first - second;
  return isFirstRead && isSecondRead;
}

}  // namespace

// ---- the shared line ----

void DirectMusicClockSync::PublishedFit::Store(const Fit& iFit) {
  ++mVersion;
  mMeanMicroseconds = iFit.mMeanMicroseconds;
  mMeanReferenceTime = iFit.mMeanReferenceTime;
  mSumXY = iFit.mSumXY;
  mSumXX = iFit.mSumXX;
  mSumYY = iFit.mSumYY;
  ++mVersion;
}

DirectMusicClockSync::Fit DirectMusicClockSync::PublishedFit::Load() const {
  Fit fit;
  std::uint32_t before = 0;
  do {
    before = mVersion;
    fit.mMeanMicroseconds = mMeanMicroseconds;
    fit.mMeanReferenceTime = mMeanReferenceTime;
    fit.mSumXY = mSumXY;
    fit.mSumXX = mSumXX;
    fit.mSumYY = mSumYY;
  } while (before % 2 != 0 || before != mVersion);
  return fit;
}

// ---- lifetime ----

DirectMusicClockSync* DirectMusicClockSync::Acquire() {
  {
    const std::lock_guard lock(InstanceMutex());
    if (sInstanceP != nullptr) {
      ++sInstanceP->mRefCount;
      return sInstanceP;
    }
  }
  // Making one asks the client, which takes the subsystem's lock: so that comes first.
  const DirectMusicSubsystemLock subsystemLock;
  const std::lock_guard lock(InstanceMutex());
  if (sInstanceP == nullptr) sInstanceP = new DirectMusicClockSync;
  ++sInstanceP->mRefCount;
  return sInstanceP;
}

void DirectMusicClockSync::Release() {
  {
    const std::lock_guard lock(InstanceMutex());
    if (--mRefCount > 0) return;
    sInstanceP = nullptr;
  }
  delete this;
}

DirectMusicClockSync::DirectMusicClockSync() : mDirectMusicP(DirectMusicClient::GetDirectMusicPtr(false)) {
  if (mDirectMusicP == nullptr) return;
  const HRESULT result = mDirectMusicP->GetMasterClock(nullptr, &mMasterClockP);
  if (FAILED(result) || mMasterClockP == nullptr) {
    mDirectMusicP->Release();
    mDirectMusicP = nullptr;
    mMasterClockP = nullptr;
    return;
  }
  Update();
}

DirectMusicClockSync::~DirectMusicClockSync() {
  if (mMasterClockP != nullptr) mMasterClockP->Release();
  if (mDirectMusicP != nullptr) mDirectMusicP->Release();
}

// ---- the line ----

void DirectMusicClockSync::Update() {
  if (mMasterClockP == nullptr) return;
  const std::unique_lock lock(mRefitMutex, std::try_to_lock);
  if (!lock.owns_lock()) return;  // another thread refits just now
  const std::int64_t first = Sys_Clock::Microseconds();
  const std::int64_t second = Sys_Clock::Microseconds();
  if (mFit.mCount > 0.0 && first - mLastUpdate <= kShortestInterval) return;
  TakeReading(first, second);
}

void DirectMusicClockSync::TakeReading(std::int64_t iFirst, std::int64_t iSecond) {
  REFERENCE_TIME y = 0;
  mMasterClockP->GetTime(&y);
  const std::int64_t x = Sys_Clock::Microseconds() + (iFirst - iSecond);  // less the cost of reading a clock
  mLastUpdate = x;
  mFit.mCount += 1.0;
  const double dx = static_cast<double>(x) - mFit.mMeanMicroseconds;
  const double dy = static_cast<double>(y) - mFit.mMeanReferenceTime;
  if (mFit.mCount > 1.0) {
    mFit.mSumXY += dx * dy / mFit.mCount;
    mFit.mSumXX += dx * dx / mFit.mCount;
    mFit.mSumYY += dy * dy / mFit.mCount;
  }
  mFit.mMeanMicroseconds += dx / mFit.mCount;
  mFit.mMeanReferenceTime += dy / mFit.mCount;
  mPublished.Store(mFit);
}

std::int64_t DirectMusicClockSync::MicrosecondsToReferenceTime(std::int64_t iMicroseconds) {
  Update();
  const Fit fit = mPublished.Load();
  const double distance = static_cast<double>(iMicroseconds) - fit.mMeanMicroseconds;
  return Truncate(distance * (fit.mSumXY / fit.mSumXX) + fit.mMeanReferenceTime);
}

std::int64_t DirectMusicClockSync::ReferenceTimeToMicroseconds(std::int64_t iReferenceTime) {
  Update();
  const Fit fit = mPublished.Load();
  const double distance = static_cast<double>(iReferenceTime) - fit.mMeanReferenceTime;
  return Truncate(distance * (fit.mSumXY / fit.mSumYY) + fit.mMeanMicroseconds);
}

std::int64_t DirectMusicClockSync::MeasureLatency(IDirectMusicPort* iPortP) {
  if (mMasterClockP == nullptr || iPortP == nullptr) return 0;
  IReferenceClock* latencyClockP = nullptr;
  if (FAILED(iPortP->GetLatencyClock(&latencyClockP)) || latencyClockP == nullptr) return 0;
  // The order is turned round between the rounds, so that the delay between two readings cancels out.
  REFERENCE_TIME masterFirst = 0;
  REFERENCE_TIME latencyFirst = 0;
  const bool isFirstRead = ReadDifference(*mMasterClockP, *latencyClockP, &masterFirst);
  REFERENCE_TIME latency = -masterFirst;
  if (isFirstRead && ReadDifference(*latencyClockP, *mMasterClockP, &latencyFirst)) {
    latency = (latency + latencyFirst) / 2;
  }
  latencyClockP->Release();
  return latency;
}
