// SPDX-License-Identifier: MIT
// Which memory orders the tree uses. Sequentially consistent is what holds where nothing is said, and the
// gates stand on it: counts, flags and pointers of which one side writes first and reads second. What is
// weaker stands in a list here, with why it may be. In the core and its services everything that threads
// share is released and acquired at least; only the heads of a sorted queue may be relaxed, because what an
// event holds was handed over by its FIFO. Fences stand nowhere: ThreadSanitizer doesn't know them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/test_paths.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::string ReadFile(const std::filesystem::path& iPath) {
  std::ifstream file(iPath);
  EXPECT_TRUE(file.is_open()) << iPath;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The source files of some folders in which a word stands, by their paths from the root.
std::set<std::string> FilesWith(const std::string& iWord, const std::vector<std::string>& iFolders) {
  const std::filesystem::path root(Test_SourceRoot());
  std::set<std::string> found;
  for (const std::string& folder : iFolders) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
      const std::string extension = entry.path().extension().string();
      if (extension != ".cpp" && extension != ".h") continue;
      if (ReadFile(entry.path()).find(iWord) == std::string::npos) continue;
      found.insert(std::filesystem::relative(entry.path(), root).generic_string());
    }
  }
  return found;
}

/// The place of the "(" that the place iAt of a text stands in; npos when there is none.
std::size_t OpeningBefore(const std::string& iText, std::size_t iAt) {
  for (int depth = 0; iAt > 0;) {
    const char c = iText[--iAt];
    if (c == ')') ++depth;
    if (c == '(' && depth-- == 0) return iAt;
  }
  return std::string::npos;
}

bool IsWordPart(char iChar) { return std::isalnum(static_cast<unsigned char>(iChar)) != 0 || iChar == '_'; }

/// The word that ends before a place, which moves to where it begins.
std::string WordBefore(const std::string& iText, std::size_t& ioAt) {
  const std::size_t end = ioAt;
  while (ioAt > 0 && IsWordPart(iText[ioAt - 1])) --ioAt;
  return iText.substr(ioAt, end - ioAt);
}

/// The call that a named order is an argument of: "mFlag store", or "?" where it isn't one.
std::string CallAround(const std::string& iText, std::size_t iAt) {
  std::size_t at = OpeningBefore(iText, iAt);
  if (at == std::string::npos) return "?";
  const std::string operation = WordBefore(iText, at);
  if (at > 0 && iText[at - 1] == '.') {
    at -= 1;
  } else if (at > 1 && iText.compare(at - 2, 2, "->") == 0) {
    at -= 2;
  } else {
    return "?";
  }
  if (at > 0 && iText[at - 1] == ']') at = iText.rfind('[', at);
  return WordBefore(iText, at) + " " + operation;
}

/// Each weaker order that a text names, with what it is for: "mFlag store release".
std::set<std::string> WeakOrdersIn(const std::string& iText) {
  const std::string word = "memory_order";
  std::set<std::string> uses;
  for (std::size_t at = iText.find(word); at != std::string::npos; at = iText.find(word, at + 1)) {
    std::size_t end = at + word.size();
    while (end < iText.size() && (iText[end] == '_' || iText[end] == ':')) ++end;
    const std::size_t begin = end;
    while (end < iText.size() && IsWordPart(iText[end])) ++end;
    const std::string order = iText.substr(begin, end - begin);
    if (order != "seq_cst") uses.insert(CallAround(iText, at) + " " + order);
  }
  return uses;
}

/// The weaker orders of a header and its source together, by their path without extension.
std::map<std::string, std::set<std::string>> WeakOrders(const std::vector<std::string>& iFolders) {
  std::map<std::string, std::set<std::string>> found;
  for (const std::string& file : FilesWith("memory_order", iFolders)) {
    const std::set<std::string> uses =
        WeakOrdersIn(ReadFile(std::filesystem::path(Test_SourceRoot()) / file));
    if (!uses.empty()) found[file.substr(0, file.rfind('.'))].insert(uses.begin(), uses.end());
  }
  return found;
}

/// What may be weaker than sequentially consistent. Each entry says why.
const std::map<std::string, std::set<std::string>>& AllowedWeakOrders() {
  static const std::map<std::string, std::set<std::string>> kAllowed = {
      // A site's state hands over its text and line. Counts and the mode are single values.
      {"cmn/cmn_assert",
       {"mState compare_exchange_strong acquire", "mState load acquire", "mState store release",
        "mCount fetch_add relaxed", "mCount load relaxed", "sMode compare_exchange_strong relaxed",
        "sMode load relaxed", "sMode store relaxed", "sReportCount fetch_add relaxed",
        "sReportCount load relaxed", "sUnlistedReports fetch_add relaxed", "sUnlistedReports load relaxed"}},
      // No gate: who holds a reference may take another one, and the last release comes after all others.
      {"cmn/cmn_refcountobject", {"mReferenceCount fetch_add relaxed", "mReferenceCount fetch_sub acq_rel"}},
      // A slot's state hands over its record, to the reader and back. The counts are single values.
      {"cmn/cmn_reportring",
       {"mState compare_exchange_strong acquire", "mState compare_exchange_strong relaxed",
        "mState load acquire", "mState store release", "mTickets fetch_add relaxed",
        "mFilled fetch_add relaxed", "mFilled load relaxed", "mDropped fetch_add relaxed",
        "mDropped load relaxed"}},
      // A bit hands over its block, a place its chunk. Counts and hints where to look first are single
      // values.
      {"cmn/mem2_masterallocator",
       {"mFree load relaxed", "mFree fetch_and acquire", "mFree fetch_or release",
        "chunkP compare_exchange_strong acq_rel", "mChunks load acquire", "place load acquire",
        "places load acquire", "mUsedClasses fetch_or release", "mUsedClasses load acquire",
        "hint load relaxed", "hint store relaxed", "mCurrent load relaxed", "mCurrent store relaxed",
        "ioCounter fetch_add relaxed", "mAbandoned fetch_add relaxed", "mAbandoned load relaxed",
        "mBadFrees fetch_add relaxed", "mLockFailures fetch_add relaxed", "mRefused fetch_add relaxed"}},
      // A writer releases what it has linked and the reader acquires it; a link is a writer's own until then,
      // and the reader's from then on.
      {"cmn/ps_atomicfifo",
       {"mHeadP load relaxed", "laneP load relaxed", "mClaims load relaxed", "mClaims fetch_or acquire",
        "mClaims fetch_and release", "mIsOverflowBusy exchange acquire", "mIsOverflowBusy store release",
        "mNextP load acquire", "mNextP load relaxed", "mNextP store relaxed", "mNextP store release",
        "mReadyP exchange acq_rel", "mReadyP load relaxed", "mReadyP store release"}},
      // A chain is its holder's alone.
      {"cmn/ps_atomicstructures", {"mNextP load relaxed"}},
      // One value that nothing else goes with.
      {"cmn/spsstartupoption", {"mValue load relaxed", "mValue store relaxed"}},
      // One pointer to a function of a test.
      {"cmn/sys_clock", {"sSource load acquire", "sSource store release"}},
      // The end of a stay: a pass that reads the old epoch only spares too much.
      {"cmn/sys_delayeddeletion", {"mEpoch store release"}},
      // One pointer to a function of a test.
      {"cmn/sys_utils",
       {"sLogger load acquire", "sLogger store release", "sSleeper load acquire", "sSleeper store release"}},
      // Hands over the functions of the library.
      {"diagnostics/quiltracelibrary", {"sTraceIsActive load acquire", "sTraceIsActive store release"}},
      // Each hands over what was made before it.
      {"diagnostics/quiltrace/quiltrace",
       {"sIsActive load acquire", "sIsActive store release", "sIsForkedChild load acquire",
        "sIsForkedChild store release", "sLogP load acquire", "sLogP store release"}},
      // A count of who waits for a mutex, and a note of who holds it; the mutex itself does the rest.
      {"diagnostics/quiltrace/tracegate",
       {"mHolder load acquire", "mHolder store release", "mWaiting fetch_add acq_rel",
        "mWaiting fetch_sub acq_rel", "mWaiting load acquire"}},
      // Hands over an open file.
      {"diagnostics/quiltrace/tracelog", {"mFileP load acquire", "oFileP store release"}},
      // A slot's turn hands over its line, to the writing thread and back; the tail hands out places.
      {"diagnostics/quiltrace/tracering",
       {"mDropped fetch_add acq_rel", "mDropped load acquire", "mTail compare_exchange_strong acq_rel",
        "mTail fetch_or acq_rel", "mTail load acquire", "mTurn compare_exchange_strong acq_rel",
        "mTurn load acquire", "mTurn store release"}},
      // Single values, each of which a thread may read late.
      {"mlox/mlox_basicoutput",
       {"mDelayOffset load acquire", "mDelayOffset store release", "mMDCBeatClockOffset load acquire",
        "mMDCBeatClockOffset store release", "mUserBeatClockOffset load acquire",
        "mUserBeatClockOffset store release"}},
      {"mlox/mlox_service", {"mIsSuspendedP load acquire", "mIsSuspendedP store release"}},
      {"mlox/mlox_directmidi/mlox_dm_deliverybase",
       {"mAdvanceScheduleRequirement load acquire", "mAdvanceScheduleRequirement store release",
        "mZeroJitterDelay load acquire", "mZeroJitterDelay store release"}},
      {"mlox/mlox_directmidi/mlox_dm_device",
       {"mMidiSourceIsLive load acquire", "mMidiSourceIsLive store release", "mReceivesMBC load acquire",
        "mReceivesMBC store release"}},
      {"mlox/mlox_directmidi/mlox_dm_genericdeviceorinput",
       {"mChannelMask load acquire", "mChannelMask store release"}},
      {"mlox/mlox_directmidi/mlox_dm_receiver",
       {"mRawMidiReceiverP load acquire", "mRawMidiReceiverP store release"}},
      // The places of the list, which is only ever added to, and the pointer that nobody enters for.
      {"mlox/mlox_directmidi/mlox_dm_deliverystate",
       {"mBufferedDeliveryP load acquire", "mBufferedDeliveryP store release", "mPlacesP load acquire",
        "mPlacesP store release"}},
      // The device behind the gate, which the flag and the count keep: it is cleared when nobody is inside.
      {"mlox/mlox_directmidi/mlox_dm_output", {"mDeviceP load acquire", "mDeviceP store release"}},
      // What an event holds was handed over by its FIFO.
      {"mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl",
       {"head load relaxed", "head store release", "mEventP compare_exchange_strong relaxed",
        "mEventP exchange acquire", "mEventP load relaxed"}},
  };
  return kAllowed;
}

TEST(MemoryOrder, WhateverIsWeakerThanSequentiallyConsistentStandsInTheListWithItsReason) {
  EXPECT_EQ(WeakOrders({"cmn", "diagnostics", "mdi", "mdid", "mlox"}), AllowedWeakOrders());
}

TEST(MemoryOrder, TheListNamesWhatAnOrderIsFor) {
  EXPECT_THAT(WeakOrdersIn("mFlag.store(true, std::memory_order_seq_cst);"), IsEmpty());
  EXPECT_THAT(WeakOrdersIn("if (x[i].mFlags[Of(a)].load(std::memory_order_acquire) != 0)"),
              ElementsAre("mFlags load acquire"));
  EXPECT_THAT(WeakOrdersIn("(*this).mP->fetch_or(Of(a, b) << (c % 64),\n  std::memory_order::release);"),
              ElementsAre("mP fetch_or release"));
  EXPECT_THAT(
      WeakOrdersIn("return a.exchange(b.load(std::memory_order_relaxed), std::memory_order_acq_rel);"),
      UnorderedElementsAre("a exchange acq_rel", "b load relaxed"));
  EXPECT_THAT(WeakOrdersIn("constexpr auto kOrder = std::memory_order_relaxed;"), ElementsAre("? relaxed"));
  EXPECT_THAT(WeakOrdersIn("atomic_load_explicit(&mFlag, std::memory_order_relaxed)"),
              ElementsAre("? relaxed"));
}

TEST(MemoryOrder, OnlyTheHeadsOfASortedQueueAreRelaxed) {
  EXPECT_THAT(FilesWith("memory_order_relaxed", {"diagnostics", "mdi", "mdid", "mlox"}),
              ElementsAre("mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl.cpp"));
}

TEST(MemoryOrder, NoFenceStandsAnywhere) {
  EXPECT_THAT(FilesWith("atomic_thread_fence",
                        {"cmn", "diagnostics", "mdi", "mdid", "midixml", "mlox", "platform", "tools"}),
              IsEmpty());
}

}  // namespace
