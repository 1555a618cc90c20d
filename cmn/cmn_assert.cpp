// SPDX-License-Identifier: MIT
#include "cmn/cmn_assert.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <string_view>

#include "cmn/cmn_realtimescope.h"
#include "cmn/cmn_reportring.h"

// Everything static here is made at compile time and needs no destructor: checks fail during static
// initialisation and in exit handlers too.
namespace {

// What a site keeps of a report that found the ring full.
enum EMissed : std::uint32_t { kNotMissed = 0, kMissed = 1, kMissedFlag = 2, kMissedThrowing = 4 };

// One site of the table. Claimed by a writer, then fixed but for the count.
struct Site {
  enum EState : std::uint32_t { kFree, kClaimed, kReady };

  bool Is(const char* iStringP, int iLine) const noexcept {
    return mState.load(std::memory_order_acquire) == kReady && mStringP == iStringP && mLine == iLine;
  }

  std::atomic<EState> mState{kFree};
  const char* mStringP = nullptr;
  int mLine = 0;
  std::atomic<std::uint64_t> mCount{0};
  std::atomic<bool> mIsPrinted{false};
  std::atomic<std::uint32_t> mMissed{kNotMissed};
};

struct RingRecord {
  Cmn_AssertReport mReport;
  Site* mSiteP = nullptr;
};

// Far more than the checks of this library, with room for those of its callers.
constexpr std::size_t kSites = 2048;
constexpr std::size_t kProbes = 32;
// A block's worth of reports of a dense song many times over; a reader that is never drained loses the rest.
constexpr std::size_t kRingRecords = 1024;

constinit Site sSites[kSites];
constinit Cmn_ReportRing<RingRecord, kRingRecords> sRing;
constinit std::atomic<std::uint64_t> sReportCount{0};
constinit std::atomic<std::uint64_t> sUnlistedReports{0};
constinit std::atomic<bool> sHasMissed{false};   // some site may have missed a report
constinit std::atomic<bool> sHasHandler{false};  // for those who can't lock
constexpr int kModeUnread = -1;
constinit std::atomic<int> sMode{kModeUnread};

// What SetHandler guards. The mutex is recursive: a handler may fail a check itself.
struct Delivery {
  std::recursive_mutex mMutex;
  Cmn_Assert::Handler mHandler = nullptr;
  void* mContextP = nullptr;
};

Delivery& GetDelivery() {
  static Delivery& sDelivery = *new Delivery;  // never ended: exit handlers report too
  return sDelivery;
}

Cmn_Assert::EMode ReadModeFromEnvironment() noexcept {
  const char* textP = std::getenv("MLOX_ASSERT");
  const std::string_view text = textP == nullptr ? "" : textP;
  if (text == "count") return Cmn_Assert::kCount;
  if (text == "throw") return Cmn_Assert::kThrow;
  if (text == "abort") return Cmn_Assert::kAbort;
  return Cmn_Assert::kReport;
}

// The same site may stand twice if two threads report it first at the same moment; Sites adds them up.
Site* FindOrAddSite(const char* iStringP, int iLine) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(iStringP);
  const std::size_t hash = (address + static_cast<std::size_t>(iLine)) * 0x9E3779B97F4A7C15ULL >> 40;
  for (std::size_t probe = 0; probe < kProbes; ++probe) {
    Site& site = sSites[(hash + probe) % kSites];
    if (site.Is(iStringP, iLine)) return &site;
    Site::EState expected = Site::kFree;
    if (!site.mState.compare_exchange_strong(expected, Site::kClaimed, std::memory_order_acquire)) continue;
    site.mStringP = iStringP;
    site.mLine = iLine;
    site.mState.store(Site::kReady, std::memory_order_release);
    return &site;
  }
  return nullptr;
}

Site* CountReport(const char* iStringP, int iLine) noexcept {
  sReportCount.fetch_add(1, std::memory_order_relaxed);
  Site* siteP = FindOrAddSite(iStringP, iLine);
  if (siteP == nullptr) {
    sUnlistedReports.fetch_add(1, std::memory_order_relaxed);
  } else {
    siteP->mCount.fetch_add(1, std::memory_order_relaxed);
  }
  return siteP;
}

// The two halves of an assertion string; the second is empty if there is no separator.
struct SplitString {
  explicit SplitString(const char* iStringP) {
    const char* separatorP = std::strstr(iStringP, CMN_ASSERT_SEPARATOR);
    if (separatorP == nullptr) {
      mText = iStringP;
      return;
    }
    mText.assign(iStringP, separatorP);
    mSource = separatorP + std::strlen(CMN_ASSERT_SEPARATOR);
  }
  std::string mText;
  std::string mSource;
};

void PrintReport(const Cmn_AssertReport& iReport) noexcept {
  const char* separatorP = std::strstr(iReport.mStringP, CMN_ASSERT_SEPARATOR);
  const std::size_t textLength = separatorP == nullptr
                                     ? std::strlen(iReport.mStringP)
                                     : static_cast<std::size_t>(separatorP - iReport.mStringP);
  const char* sourceP = separatorP == nullptr ? "?" : separatorP + std::strlen(CMN_ASSERT_SEPARATOR);
  std::fprintf(stderr, "mlox: check failed: %.*s (%s, line %d)\n", static_cast<int>(textLength),
               iReport.mStringP, sourceP, iReport.mLine);
}

void Deliver(const RingRecord& iRecord) {
  Delivery& delivery = GetDelivery();
  const std::lock_guard lock(delivery.mMutex);
  if (delivery.mHandler != nullptr) return delivery.mHandler(delivery.mContextP, iRecord.mReport);
  if (Cmn_Assert::GetMode() == Cmn_Assert::kCount || iRecord.mSiteP == nullptr) return;
  if (!iRecord.mSiteP->mIsPrinted.exchange(true)) PrintReport(iRecord.mReport);
}

// Leaves a record in the ring, or at its site that there was no room. Without a handler a site is told once,
// so later reports of it leave the room to others. Wait-free.
void Leave(const RingRecord& iRecord) noexcept {
  Site* siteP = iRecord.mSiteP;
  if (siteP != nullptr && siteP->mIsPrinted.load() && !sHasHandler.load()) return;
  if (sRing.Push(iRecord) || siteP == nullptr) return;
  siteP->mMissed.store(kMissed | (iRecord.mReport.mFlag ? kMissedFlag : 0U) |
                       (iRecord.mReport.mThrowing ? kMissedThrowing : 0U));
  sHasMissed.store(true);
}

// Tells of each site that has missed reports and had no record in the ring either.
void DeliverMissed() {
  if (!sHasMissed.exchange(false)) return;
  for (Site& site : sSites) {
    const std::uint32_t missed = site.mMissed.exchange(kNotMissed);
    if (missed == kNotMissed) continue;
    RingRecord record;
    record.mReport.mStringP = site.mStringP;
    record.mReport.mLine = site.mLine;
    record.mReport.mFlag = (missed & kMissedFlag) != 0;
    record.mReport.mThrowing = (missed & kMissedThrowing) != 0;
    record.mReport.mRealTime = true;
    record.mSiteP = &site;
    Deliver(record);
  }
}

void Report(bool iFlag, const char* iStringP, int iLine, bool iThrowing) {
  RingRecord record;
  record.mReport.mStringP = iStringP != nullptr ? iStringP : "";
  record.mReport.mLine = iLine;
  record.mReport.mFlag = iFlag;
  record.mReport.mThrowing = iThrowing;
  record.mReport.mRealTime = Cmn_RealTimeScope::IsActive();
  record.mSiteP = CountReport(record.mReport.mStringP, iLine);
  if (Cmn_Assert::GetMode() == Cmn_Assert::kAbort) {
    PrintReport(record.mReport);
    std::abort();
  }
  if (record.mReport.mRealTime) {
    Leave(record);
    return;
  }
  Cmn_Assert::Drain();
  Deliver(record);
}

bool MayThrow() noexcept {
  return Cmn_Assert::GetMode() == Cmn_Assert::kThrow && !Cmn_RealTimeScope::IsActive() &&
         !Cmn_NoThrowScope::IsActive() && std::uncaught_exceptions() == 0;
}

// Asked for once at load, so that no real-time thread is the first and has to search the environment.
[[maybe_unused]] const Cmn_Assert::EMode sModeAtLoad = Cmn_Assert::GetMode();

// Fetches what real-time threads left behind when nobody asked any more.
struct DrainAtExit {
  ~DrainAtExit() { Cmn_Assert::Drain(); }
};
const DrainAtExit sDrainAtExit;

}  // namespace

Cmn_AssertException::Cmn_AssertException(const std::string& iText) : std::runtime_error(iText) {}

Cmn_AssertException::~Cmn_AssertException() = default;

void Cmn_Assert::HandleMagicAssertNoThrow(bool iFlag, const char* iStringP, int iLine) {
  Report(iFlag, iStringP, iLine, false);
}

void Cmn_Assert::HandleMagicAssert(bool iFlag, const char* iStringP, int iLine) {
  Report(iFlag, iStringP, iLine, true);
  if (!MayThrow()) return;
  const SplitString split(iStringP != nullptr ? iStringP : "");
  throw Cmn_AssertException(split.mText + " (" + split.mSource + ", line " + std::to_string(iLine) + ")");
}

void Cmn_Assert::SetHandler(Handler iHandler, void* iContextP) {
  Delivery& delivery = GetDelivery();
  const std::lock_guard lock(delivery.mMutex);
  Drain();
  delivery.mHandler = iHandler;
  delivery.mContextP = iContextP;
  sHasHandler.store(iHandler != nullptr);
}

Cmn_Assert::Handler Cmn_Assert::GetHandler(void** oContextP) {
  Delivery& delivery = GetDelivery();
  const std::lock_guard lock(delivery.mMutex);
  if (oContextP != nullptr) *oContextP = delivery.mContextP;
  return delivery.mHandler;
}

void Cmn_Assert::Drain() {
  if (Cmn_RealTimeScope::IsActive()) return;
  const std::lock_guard lock(GetDelivery().mMutex);
  for (const RingRecord& record : sRing.TakeAll()) {
    if (record.mSiteP != nullptr) record.mSiteP->mMissed.store(kNotMissed);
    Deliver(record);
  }
  DeliverMissed();
}

Cmn_Assert::EMode Cmn_Assert::GetMode() noexcept {
  const int mode = sMode.load(std::memory_order_relaxed);
  if (mode != kModeUnread) return static_cast<EMode>(mode);
  int expected = kModeUnread;
  sMode.compare_exchange_strong(expected, ReadModeFromEnvironment(), std::memory_order_relaxed);
  return static_cast<EMode>(sMode.load(std::memory_order_relaxed));
}

void Cmn_Assert::SetMode(EMode iMode) noexcept { sMode.store(iMode, std::memory_order_relaxed); }

std::vector<Cmn_AssertSite> Cmn_Assert::Sites() {
  std::vector<Cmn_AssertSite> sites;
  for (const Site& site : sSites) {
    if (site.mState.load(std::memory_order_acquire) != Site::kReady) continue;
    const SplitString split(site.mStringP);
    const auto same = std::find_if(sites.begin(), sites.end(), [&](const Cmn_AssertSite& iListed) {
      return iListed.mLine == site.mLine && iListed.mText == split.mText && iListed.mSource == split.mSource;
    });
    const std::uint64_t count = site.mCount.load(std::memory_order_relaxed);
    if (same != sites.end()) {
      same->mCount += count;
    } else {
      sites.push_back({split.mText, split.mSource, site.mLine, count});
    }
  }
  return sites;
}

std::uint64_t Cmn_Assert::ReportCount() noexcept { return sReportCount.load(std::memory_order_relaxed); }

std::uint64_t Cmn_Assert::DroppedRecords() noexcept { return sRing.DroppedCount(); }

std::uint64_t Cmn_Assert::UnlistedReports() noexcept {
  return sUnlistedReports.load(std::memory_order_relaxed);
}
