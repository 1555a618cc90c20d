// SPDX-License-Identifier: MIT
/// \file
/// The algorithm of the lock-free FIFO, with a seam at which a test can stop a writer.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "cmn/ps_atomicstructures.h"

/// Where a seam is called.
enum class PSFifoPoint {
  kBeforeHead,      ///< Writer: everything is ready for an attempt to put the element on the head.
  kInsideLane,      ///< Writer: a lane is claimed, the element is not in it yet.
  kBeforeMark,      ///< Writer: the element is in its lane, the lane isn't marked yet.
  kInsideOverflow,  ///< Writer: the element is the overflow's last, the one before doesn't know of it yet.
  kHeadTaken,       ///< Reader: the head is taken, the marks aren't read yet.
  kBetweenLooks,    ///< Reader: the first look at head and lanes is done.
  kSecondHeadTaken  ///< Reader: the second look has the head, not the lanes.
};

/// The seam of the product: nothing.
struct PSNoSeam {
  /// Called at each point.
  static void At(PSFifoPoint) noexcept {}
};

/// An intrusive FIFO: many writers, one reader, and TakeAll from anywhere. Used through SPSAtomicQueue.
///
/// Writers put elements on a shared LIFO head, by compare-and-swap, in at most kHeadAttempts attempts. The
/// reader takes the whole LIFO by one exchange, turns it round and keeps it as its ready chain. A writer
/// whose attempts all fail claims one of kLanes lanes, a LIFO of its own for the moment: in there only takers
/// compete, so its one compare-and- swap can fail only because the lane has just been emptied. If every lane
/// is claimed by a writer that is stopped in it, the element goes to an overflow list by an exchange.
///
/// Progress. Push is wait-free: kHeadAttempts + kLanes steps and a few. Pop, TakeIn and TakeAll are
/// wait-free: their loops run over elements that have arrived, over lanes, or are bounded by a count taken at
/// the start. A writer that is stopped anywhere on the head's or a lane's way hides no element but its own.
/// In the overflow a stopped writer hides its neighbours until it goes on: that takes kLanes + 1 stopped
/// writers at once.
///
/// Order. Each element has a ticket: twice the clock that its writer saw for the head, and twice the clock
/// plus one for a lane, where the writer also advances the clock. So if push x has returned before push y
/// begins, x's ticket is less, or it is equal, both are on the head, and x was put there first. Sorting by
/// ticket, stably, is therefore a right order; and as long as no lane is in use the head's own order is one
/// too, and nothing is sorted.
///
/// What makes an element *safe* to hand out is that everything that must come before it has been taken in. An
/// element from the head is safe if no lane is marked after the head was taken, for whatever came before it
/// had marked its lane by then. If some lane is marked, the reader takes head and lanes, and then both once
/// more: whatever must come before an element of the first look had been finished before that look, so the
/// second one has it. What the second look brings with tickets above those of the first stays held back until
/// the next look.
///
/// All operations on clock, head, lanes and marks are sequentially consistent: the argument above speaks of
/// one order of them all. On the processors we care about it costs nothing over acquire and release, for each
/// is a read-modify-write or a load.
template <class Seam = PSNoSeam>
class alignas(64) PSAtomicFifo {
 public:
  using Element = SPSAtomicElementBase;

  /// Attempts at the head before a writer turns to a lane.
  static constexpr int kHeadAttempts = 8;
  /// Lanes; their marks and the overflow's share one word.
  static constexpr int kLanes = 63;

  constexpr PSAtomicFifo() noexcept : mOverflowLastP(&mOverflowStub), mOverflowFirstP(&mOverflowStub) {}
  PSAtomicFifo(const PSAtomicFifo&) = delete;
  PSAtomicFifo& operator=(const PSAtomicFifo&) = delete;

  /// Appends an element. [any]
  void Push(Element* iElementP) noexcept {
    iElementP->mTicket = 2 * mClock.load();
    Element* headP = mHeadP.load(std::memory_order_relaxed);
    for (int attempt = 0; attempt < kHeadAttempts; ++attempt) {
      iElementP->mNextP.store(headP, std::memory_order_relaxed);
      Seam::At(PSFifoPoint::kBeforeHead);
      if (mHeadP.compare_exchange_strong(headP, iElementP)) return;
    }
    PushAside(iElementP);
  }

  /// Takes out the oldest element or returns null. [reader]
  Element* Pop() noexcept {
    Element* readyP = TakeReady();
    if (mSafeLastP == nullptr) {
      readyP = TakeInBehind(readyP);
      if (readyP == nullptr) return nullptr;
    }
    Element* restP = Next(readyP);
    if (readyP == mSafeLastP) mSafeLastP = nullptr;
    if (restP != nullptr) mReadyP.store(restP, std::memory_order_release);
    return readyP;
  }

  /// Puts what has arrived behind the ready chain. [reader]
  void TakeIn() noexcept {
    if (HasNoArrivals()) return;
    Element* readyP = TakeInBehind(TakeReady());
    if (readyP != nullptr) mReadyP.store(readyP, std::memory_order_release);
  }

  /// Takes out everything as a chain, oldest first. [any]
  Element* TakeAll() noexcept {
    Chain all;
    all.Append(mReadyP.exchange(nullptr, std::memory_order_acq_rel));
    all.Append(Reversed(mHeadP.exchange(nullptr)));
    TakeMarkedInto(all);
    return all.mFirstP != nullptr ? Sorted(all.mFirstP) : nullptr;
  }

 private:
  static constexpr std::uint64_t kOverflowMark = std::uint64_t{1} << kLanes;

  // A chain being put together by its owner.
  struct Chain {
    void Append(Element* iFirstP) noexcept {
      if (iFirstP == nullptr) return;
      if (mFirstP == nullptr) {
        mFirstP = iFirstP;
      } else {
        mLastP->mNextP.store(iFirstP, std::memory_order_relaxed);
      }
      mLastP = LastOf(iFirstP);
    }
    Element* mFirstP = nullptr;
    Element* mLastP = nullptr;
  };

  static Element* Next(const Element* iElementP) noexcept {
    return iElementP->mNextP.load(std::memory_order_relaxed);
  }

  static Element* LastOf(Element* iElementP) noexcept {
    while (Element* nextP = Next(iElementP)) iElementP = nextP;
    return iElementP;
  }

  // The writers' cores have the elements in their caches, and each says only where the next one is. A writer
  // mostly takes memory that lies one piece behind the other, so the step to the next element is a good guess
  // at where those behind it lie: they are fetched while this one is turned round. A wrong guess is harmless.
  static void PrefetchAhead(const Element* iElementP, const Element* iNextP) noexcept {
    constexpr std::uintptr_t kAhead = 6;
    const auto next = reinterpret_cast<std::uintptr_t>(iNextP);
    const std::uintptr_t step = next - reinterpret_cast<std::uintptr_t>(iElementP);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address that is fetched and never read through
    __builtin_prefetch(reinterpret_cast<const void*>(next + kAhead * step));
  }

  static Element* Reversed(Element* iElementP) noexcept {
    Element* resultP = nullptr;
    while (iElementP != nullptr) {
      Element* nextP = Next(iElementP);
      PrefetchAhead(iElementP, nextP);
      iElementP->mNextP.store(resultP, std::memory_order_relaxed);
      resultP = iElementP;
      iElementP = nextP;
    }
    return resultP;
  }

  static std::uint64_t HighestTicket(const Element* iElementP) noexcept {
    std::uint64_t highest = 0;
    for (; iElementP != nullptr; iElementP = Next(iElementP)) {
      if (iElementP->mTicket > highest) highest = iElementP->mTicket;
    }
    return highest;
  }

  // Merges two chains by ticket; of equal tickets those of the first come first.
  static Element* Merged(Element* iFirstP, Element* iSecondP) noexcept {
    Element* resultP = nullptr;
    Element* lastP = nullptr;
    while (iFirstP != nullptr && iSecondP != nullptr) {
      Element*& fromP = iSecondP->mTicket < iFirstP->mTicket ? iSecondP : iFirstP;
      Link(resultP, lastP, fromP);
      lastP = fromP;
      fromP = Next(fromP);
    }
    Link(resultP, lastP, iFirstP != nullptr ? iFirstP : iSecondP);
    return resultP;
  }

  static void Link(Element*& ioFirstP, Element* iLastP, Element* iNewP) noexcept {
    if (iLastP == nullptr) {
      ioFirstP = iNewP;
    } else {
      iLastP->mNextP.store(iNewP, std::memory_order_relaxed);
    }
  }

  // Cuts the longest run of tickets that don't fall off the front.
  static Element* CutRun(Element*& ioRestP) noexcept {
    Element* firstP = ioRestP;
    Element* lastP = firstP;
    Element* nextP = Next(lastP);
    while (nextP != nullptr && lastP->mTicket <= nextP->mTicket) {
      lastP = nextP;
      nextP = Next(lastP);
    }
    lastP->mNextP.store(nullptr, std::memory_order_relaxed);
    ioRestP = nextP;
    return firstP;
  }

  // Natural merge sort, stable, in place: chains are nearly sorted, so it is nearly one walk. Bin i holds 2^i
  // runs.
  static Element* Sorted(Element* iRestP) noexcept {
    std::array<Element*, 64> bins{};
    while (iRestP != nullptr) {
      Element* runP = CutRun(iRestP);
      std::size_t bin = 0;
      for (; bins[bin] != nullptr; ++bin) {
        runP = Merged(bins[bin], runP);
        bins[bin] = nullptr;
      }
      bins[bin] = runP;
    }
    Element* resultP = nullptr;
    for (Element* binP : bins) {
      if (binP != nullptr) resultP = resultP == nullptr ? binP : Merged(binP, resultP);
    }
    return resultP;
  }

  // ---- [writer] ----

  // Not inlined: the way past the head is rare, and Push should stay small.
  [[gnu::noinline]] void PushAside(Element* iElementP) noexcept {
    iElementP->mTicket = 2 * mClock.fetch_add(1) + 1;
    std::uint64_t claims = mClaims.load(std::memory_order_relaxed);
    for (int attempt = 0; attempt < kLanes; ++attempt) {
      const int lane = std::countr_one(claims);
      if (lane >= kLanes) break;
      const std::uint64_t bit = std::uint64_t{1} << lane;
      claims = mClaims.fetch_or(bit, std::memory_order_acquire);
      if ((claims & bit) == 0) return PushIntoLane(iElementP, static_cast<std::size_t>(lane), bit);
    }
    PushIntoOverflow(iElementP);
  }

  void PushIntoLane(Element* iElementP, std::size_t iLane, std::uint64_t iBit) noexcept {
    std::atomic<Element*>& laneP = mLanes[iLane];
    Element* headP = laneP.load(std::memory_order_relaxed);
    iElementP->mNextP.store(headP, std::memory_order_relaxed);
    Seam::At(PSFifoPoint::kInsideLane);
    if (!laneP.compare_exchange_strong(headP, iElementP)) {
      // A taker emptied the lane, and nobody else can fill it while the claim is ours.
      iElementP->mNextP.store(nullptr, std::memory_order_relaxed);
      laneP.store(iElementP);
    }
    Seam::At(PSFifoPoint::kBeforeMark);
    mMarks.fetch_or(iBit);
    mClaims.fetch_and(~iBit, std::memory_order_release);
  }

  void PushIntoOverflow(Element* iElementP) noexcept {
    AppendToOverflow(iElementP);
    mMarks.fetch_or(kOverflowMark);
  }

  void AppendToOverflow(Element* iElementP) noexcept {
    iElementP->mNextP.store(nullptr, std::memory_order_relaxed);
    Element* previousP = mOverflowLastP.exchange(iElementP);
    Seam::At(PSFifoPoint::kInsideOverflow);
    previousP->mNextP.store(iElementP, std::memory_order_release);
  }

  // ---- [reader] ----

  // The ready chain, taken so that a TakeAll can't take it too. Only the reader ever stores a chain here, so
  // a null seen is a null found: one exchange less when there is nothing.
  Element* TakeReady() noexcept {
    Element* readyP = mReadyP.load(std::memory_order_relaxed);
    if (readyP != nullptr) readyP = mReadyP.exchange(nullptr, std::memory_order_acq_rel);
    if (readyP == nullptr) mSafeLastP = mLastP = nullptr;
    return readyP;
  }

  bool HasNoArrivals() const noexcept {
    return mHeadP.load() == nullptr && mMarks.load() == 0 && mSafeLastP == mLastP;
  }

  Element* TakeInBehind(Element* iReadyP) noexcept {
    if (mHeadP.load() == nullptr && mMarks.load() == 0 && iReadyP == nullptr) return nullptr;
    Element* newestP = mHeadP.exchange(nullptr);
    Seam::At(PSFifoPoint::kHeadTaken);
    const bool isHeadAlone = mMarks.load() == 0 && (iReadyP == nullptr || mSafeLastP == mLastP);
    if (!isHeadAlone) return TakeInWithLanes(iReadyP, newestP);
    if (newestP == nullptr) return iReadyP;
    Element* oldestP = Reversed(newestP);
    if (iReadyP != nullptr) mLastP->mNextP.store(oldestP, std::memory_order_relaxed);
    mSafeLastP = mLastP = newestP;
    return iReadyP != nullptr ? iReadyP : oldestP;
  }

  // The two looks of the class comment. iNewestP: the head's LIFO, taken already.
  [[gnu::noinline]] Element* TakeInWithLanes(Element* iReadyP, Element* iNewestP) noexcept {
    Chain arrived;
    arrived.Append(CutHeldBack(iReadyP));
    arrived.Append(Reversed(iNewestP));
    TakeMarkedInto(arrived);
    if (arrived.mFirstP == nullptr) return iReadyP;
    const std::uint64_t highestSafe = HighestTicket(arrived.mFirstP);
    Seam::At(PSFifoPoint::kBetweenLooks);
    arrived.Append(Reversed(mHeadP.exchange(nullptr)));
    Seam::At(PSFifoPoint::kSecondHeadTaken);
    TakeMarkedInto(arrived);
    Element* sortedP = Sorted(arrived.mFirstP);
    if (iReadyP == nullptr) {
      iReadyP = sortedP;
    } else {
      mSafeLastP->mNextP.store(sortedP, std::memory_order_relaxed);
    }
    for (Element* elementP = sortedP; elementP != nullptr; elementP = Next(elementP)) {
      if (elementP->mTicket <= highestSafe) mSafeLastP = elementP;
      mLastP = elementP;
    }
    return iReadyP;
  }

  // Cuts what an earlier look held back off the ready chain.
  Element* CutHeldBack(Element*& ioReadyP) noexcept {
    if (ioReadyP == nullptr || mSafeLastP == mLastP) return nullptr;
    Element* heldP = mSafeLastP == nullptr ? ioReadyP : Next(mSafeLastP);
    if (mSafeLastP == nullptr) {
      ioReadyP = nullptr;
    } else {
      mSafeLastP->mNextP.store(nullptr, std::memory_order_relaxed);
    }
    mLastP = mSafeLastP;
    return heldP;
  }

  // ---- takers: the reader and TakeAll ----

  void TakeMarkedInto(Chain& ioChain) noexcept {
    if (mMarks.load() == 0) return;
    std::uint64_t marks = mMarks.exchange(0);
    const bool isOverflowMarked = (marks & kOverflowMark) != 0;
    for (marks &= ~kOverflowMark; marks != 0; marks &= marks - 1) {
      ioChain.Append(Reversed(mLanes[static_cast<std::size_t>(std::countr_zero(marks))].exchange(nullptr)));
    }
    if (isOverflowMarked) TakeOverflowInto(ioChain);
  }

  // One taker at a time: a second one leaves the overflow as it is, marked.
  void TakeOverflowInto(Chain& ioChain) noexcept {
    if (mIsOverflowBusy.exchange(true, std::memory_order_acquire)) {
      mMarks.fetch_or(kOverflowMark);
      return;
    }
    // Elements that arrive while we are at it have later tickets: they end the loop, however many they are.
    const std::uint64_t last = 2 * mClock.load();
    while (Element* elementP = PopOverflow()) {
      elementP->mNextP.store(nullptr, std::memory_order_relaxed);
      ioChain.Append(elementP);
      if (elementP->mTicket >= last) {
        mMarks.fetch_or(kOverflowMark);
        break;
      }
    }
    mIsOverflowBusy.store(false, std::memory_order_release);
  }

  // The overflow is a list whose last element is exchanged and then linked. Where a link is missing the list
  // seems to end; the writer that owes the link marks the overflow once it has made it, so that it is looked
  // at again.
  Element* PopOverflow() noexcept {
    Element* firstP = mOverflowFirstP;
    Element* nextP = firstP->mNextP.load(std::memory_order_acquire);
    if (firstP == &mOverflowStub) {
      if (nextP == nullptr) return nullptr;
      mOverflowFirstP = firstP = nextP;
      nextP = firstP->mNextP.load(std::memory_order_acquire);
    }
    if (nextP == nullptr) {
      if (mOverflowLastP.load() != firstP) return nullptr;
      AppendToOverflow(&mOverflowStub);
      nextP = firstP->mNextP.load(std::memory_order_acquire);
      if (nextP == nullptr) return nullptr;
    }
    mOverflowFirstP = nextP;
    return firstP;
  }

  // The writers' line. Marks lie here too: the reader, who has just taken the head, reads them from the same
  // line.
  std::atomic<Element*> mHeadP{nullptr};
  std::atomic<std::uint64_t> mClock{1};
  std::atomic<std::uint64_t> mMarks{0};
  std::atomic<std::uint64_t> mClaims{0};
  std::atomic<Element*> mOverflowLastP;

  // The reader's line. mReadyP is stored by the reader and exchanged by TakeAll; the rest is the reader's
  // alone, and means something only while the ready chain isn't empty. mSafeLastP: last element that may be
  // handed out, null if the chain begins with held-back ones. mLastP: last of the chain.
  alignas(64) std::atomic<Element*> mReadyP{nullptr};
  Element* mSafeLastP = nullptr;
  Element* mLastP = nullptr;

  alignas(64) std::array<std::atomic<Element*>, kLanes> mLanes{};
  std::atomic<bool> mIsOverflowBusy{false};
  Element* mOverflowFirstP;  // of whoever made mIsOverflowBusy true
  Element mOverflowStub;
};
