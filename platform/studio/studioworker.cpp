// SPDX-License-Identifier: MIT
#include "platform/studio/studioworker.h"

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/studio/studioreport.h"

namespace {

using Standing = Platform_StudioStanding;
using std::chrono::milliseconds;

constexpr milliseconds kLook{250};      // what another process does shows within a second
constexpr milliseconds kAfterBusy{50};  // until the next try at a file that somebody holds
constexpr milliseconds kAfterTrouble{1000};
constexpr milliseconds kBusyIsTrouble{1000};          // two processes that write at once are no trouble
constexpr milliseconds kBusyIsTroubleForEdits{5000};  // an edit has nothing to do but wait
constexpr milliseconds kLastTries{2000};              // how long a thread goes on after its studio
constexpr milliseconds kMostWriting{50};
constexpr std::size_t kMostTogether = 256;  // housekeeping that makes one transaction

// Those that still run, for the end of the process. Never destroyed.
struct Running {
  std::mutex mMutex;
  std::vector<std::shared_ptr<Platform_StudioWorker>> mWorkers;
};
Running& TheRunning() {
  static Running* const sRunning = new Running;
  return *sRunning;
}

std::string Describe(Standing iStanding) {
  switch (iStanding) {
    case Standing::kBusy:
      return "is held by another process";
    case Standing::kReadOnly:
      return "can be read only";
    case Standing::kNoPermission:
      return "can't be opened";
    case Standing::kFull:
      return "can't grow";
    case Standing::kFutureVersion:
      return "was made by a newer version of this library and is left as it is";
    case Standing::kNotOurs:
      return "is no studio database and is left as it is";
    case Standing::kDamaged:
      return "is damaged";
    default:
      return "can't be used";
  }
}

}  // namespace

Platform_StudioWorker::Platform_StudioWorker(std::shared_ptr<Platform_StudioCore> iCore,
                                             std::shared_ptr<Platform_StudioSubscribers> iSubscribers,
                                             const std::string& iPath, Platform_StudioUse iUse)
    : mCore(std::move(iCore)), mSubscribers(std::move(iSubscribers)), mDatabase(iPath), mUse(iUse) {}

Platform_StudioWorker::~Platform_StudioWorker() {
  // The last one to let go may be the thread itself.
  if (mThread.joinable()) {
    mThread.detach();
  }
}

void Platform_StudioWorker::Start(std::function<void()> iPoll, std::function<void()> iSettle) {
  static const int sRegistered = std::atexit(&Platform_StudioWorker::StopAll);
  static_cast<void>(sRegistered);
  mPoll = std::move(iPoll);
  mSettle = std::move(iSettle);
  const std::lock_guard lock(TheRunning().mMutex);
  std::erase_if(TheRunning().mWorkers, [](const std::shared_ptr<Platform_StudioWorker>& iWorker) {
    const bool isDone = iWorker->WaitUntilDone(milliseconds(0));
    if (isDone) {
      iWorker->mThread.join();
    }
    return isDone;
  });
  TheRunning().mWorkers.push_back(shared_from_this());
  mThread = std::thread([self = shared_from_this()] { self->Run(); });
}

bool Platform_StudioWorker::WaitUntilRead(milliseconds iTime) {
  std::unique_lock lock(mMutex);
  mChanged.wait_for(lock, iTime, [this] { return mHasRead || !mTrouble.empty(); });
  return mHasRead;
}

void Platform_StudioWorker::WaitForFirstTry(milliseconds iTime) {
  std::unique_lock lock(mMutex);
  mChanged.wait_for(lock, iTime, [this] { return mHasTried; });
}

bool Platform_StudioWorker::WaitUntilDone(milliseconds iTime) {
  std::unique_lock lock(mMutex);
  return mChanged.wait_for(lock, iTime, [this] { return mIsDone; });
}

void Platform_StudioWorker::Stop(milliseconds iTime) {
  mStop.store(true);
  mCore->Wake();
  if (mThread.get_id() == std::this_thread::get_id() || !WaitUntilDone(iTime)) {
    return;
  }
  // Whoever takes it from the list joins it.
  const std::lock_guard lock(TheRunning().mMutex);
  if (std::erase(TheRunning().mWorkers, shared_from_this()) != 0) {
    mThread.join();
  }
}

void Platform_StudioWorker::StopAll() {
  std::vector<std::shared_ptr<Platform_StudioWorker>> workers;
  {
    const std::lock_guard lock(TheRunning().mMutex);
    workers.swap(TheRunning().mWorkers);
  }
  for (const std::shared_ptr<Platform_StudioWorker>& worker : workers) {
    worker->mIsHurried.store(true);
    worker->mStop.store(true);
    worker->mCore->Wake();
  }
  for (const std::shared_ptr<Platform_StudioWorker>& worker : workers) {
    // One that is inside a subscriber which waits for the ending process is left behind.
    if (worker->WaitUntilDone(kLastTries)) {
      worker->mThread.join();
    }
  }
}

std::string Platform_StudioWorker::Trouble() const {
  const std::lock_guard lock(mMutex);
  return mTrouble;
}

// ---- the thread ----

void Platform_StudioWorker::Run() {
  Step();
  {
    const std::lock_guard lock(mMutex);
    mHasTried = true;
  }
  mChanged.notify_all();
  while (!mStop.load()) {
    Round();
  }
  Finish();
  mDatabase.Close();
  {
    const std::lock_guard lock(mMutex);
    mIsDone = true;
  }
  mChanged.notify_all();
}

void Platform_StudioWorker::Round() {
  const bool canWrite = mDatabase.IsWritable() && Clock::now() >= mNextTry;
  mCore->WaitForWork(mStanding == Standing::kBusy ? kAfterBusy : kLook, canWrite);
  if (mStop.load()) {
    return;
  }
  if (mPoll && Clock::now() >= mNextPoll) {
    mNextPoll = Clock::now() + kLook;
    mPoll();
  }
  // The file changes first, then subscribers are told; where it can't be changed they are told all the same.
  const std::deque<Platform_StudioNews> news = mCore->TakeNews();
  Step();
  if (!mStop.load()) {
    mSubscribers->Deliver(mCore, news);
  }
}

void Platform_StudioWorker::Step() {
  // Somebody has removed or replaced the file: the new one gets all that is known.
  if (mDatabase.IsMoved()) {
    mDatabase.Close();
    mCore->QueueAll();
  }
  const bool isTimeToTry = Clock::now() >= mNextTry;
  const bool isWanted = !mDatabase.IsOpen() || (!mDatabase.IsWritable() && mCore->HasChanges());
  if (isWanted && isTimeToTry) {
    Settle(OpenAndRead());
  } else if (mDatabase.HasForeignChange()) {
    Read();
  }
  if (mDatabase.IsWritable() && isTimeToTry) {
    WriteChanges();
  }
}

Standing Platform_StudioWorker::OpenAndRead() {
  Platform_StudioContents contents;
  const Standing standing = mDatabase.Open(contents);
  if (mDatabase.IsOpen()) {
    TakeOver(std::move(contents));
  }
  return standing;
}

// What was settled without the file's table of cards is settled again with it.
void Platform_StudioWorker::TakeOver(Platform_StudioContents iContents) {
  if (mCore->Replace(std::move(iContents))) {
    mSettle();
  }
}

void Platform_StudioWorker::Read() {
  Platform_StudioContents contents;
  const Standing standing = mDatabase.Load(contents);
  if (standing == Standing::kGood) {
    TakeOver(std::move(contents));
  }
  // A good reading tells nothing of what stood against writing.
  if (standing != Standing::kGood || mStanding == Standing::kBusy) {
    Settle(standing);
  }
}

void Platform_StudioWorker::WriteChanges() {
  // Subscribers wait for this: what takes longer goes on in the next round. The last round has none behind
  // it.
  const Clock::time_point end = Clock::now() + kMostWriting;
  while (mDatabase.IsWritable() && WriteSome() && (mStop.load() || Clock::now() < end)) {
  }
}

// \returns whether there may be more that can be written.
bool Platform_StudioWorker::WriteSome() {
  std::vector<Platform_StudioChange> changes = mCore->FrontChanges(kMostTogether);
  if (changes.empty()) {
    return false;
  }
  Standing standing = mDatabase.Write(changes);
  if (standing == Standing::kRefused && changes.size() > 1) {
    changes = mCore->FrontChanges(1);
    standing = mDatabase.Write(changes);
  }
  if (standing == Standing::kGood || standing == Standing::kRefused) {
    mCore->PopChanges(changes.size());
    Settle(Standing::kGood);
    return true;
  }
  mCore->PopChanges(0);
  Settle(standing);
  return false;
}

// Draws the consequence of a step's end: when to try again, and what to tell people.
void Platform_StudioWorker::Settle(Standing iStanding) {
  const Clock::time_point now = Clock::now();
  if (iStanding != Standing::kBusy) {
    mBusySince = {};
  } else if (mBusySince == Clock::time_point{}) {
    mBusySince = now;
  }
  switch (iStanding) {
    case Standing::kGood:
      mNextTry = {};
      SetTrouble(iStanding, {});
      return;
    case Standing::kBusy:
      mNextTry = now + kAfterBusy;
      if (now - mBusySince < (mUse == Platform_StudioUse::kEdits ? kBusyIsTroubleForEdits : kBusyIsTrouble)) {
        mStanding = iStanding;
        return;
      }
      break;
    case Standing::kDamaged:
      SetAside();
      return;
    case Standing::kFull:
    case Standing::kFutureVersion:
    case Standing::kReadOnly:
      mNextTry = now + kAfterTrouble;
      break;
    default:
      mDatabase.Close();
      mNextTry = now + kAfterTrouble;
      break;
  }
  SetTrouble(iStanding, "the studio database " + mDatabase.Path() + " " + Describe(iStanding) + " (" +
                            mDatabase.Reason() + ")" + WhatBecomesOfChanges());
}

const char* Platform_StudioWorker::WhatBecomesOfChanges() const {
  return mUse == Platform_StudioUse::kEdits ? "" : "; changes are kept in memory";
}

void Platform_StudioWorker::SetAside() {
  const std::string damage = mDatabase.Reason();
  std::string newPath;
  if (!mDatabase.SetAside(newPath)) {
    mNextTry = Clock::now() + kAfterTrouble;
    SetTrouble(Standing::kDamaged, "the studio database " + mDatabase.Path() + " is damaged (" +
                                       mDatabase.Reason() + ")" + WhatBecomesOfChanges());
    return;
  }
  Platform_StudioReport("the studio database " + mDatabase.Path() + " was damaged (" + damage +
                        "); it is kept as " + newPath + " and a new one is begun");
  mNextTry = {};
  mCore->QueueAll();
  // The new one at once, so that what is known is not in memory alone. Should that too be damaged, the next
  // step sees it.
  const Standing standing = OpenAndRead();
  if (standing == Standing::kDamaged) {
    mDatabase.Close();
    mNextTry = Clock::now() + kAfterTrouble;
    return;
  }
  Settle(standing);
}

// One line when the trouble begins, none while it lasts. Who makes an edit asks for it.
void Platform_StudioWorker::SetTrouble(Standing iStanding, const std::string& iText) {
  bool isNew = false;
  {
    const std::lock_guard lock(mMutex);
    isNew = !iText.empty() && mTrouble.empty();
    mTrouble = iText;
    // Who waits for the reading finds what stands against writing told.
    mHasRead = mHasRead || mDatabase.IsOpen();
  }
  mChanged.notify_all();
  mStanding = iStanding;
  if (isNew && mUse == Platform_StudioUse::kPlaying) {
    Platform_StudioReport(iText);
  }
}

void Platform_StudioWorker::Finish() {
  const Clock::time_point end = Clock::now() + kLastTries;
  do {
    mNextTry = {};
    Step();
    if (mStanding != Standing::kBusy || mIsHurried.load() || !mCore->HasChanges()) {
      break;
    }
    std::this_thread::sleep_for(kAfterBusy);
  } while (Clock::now() < end);
  if (mCore->HasChanges() && Trouble().empty()) {
    Platform_StudioReport("the last changes are not in the studio database " + mDatabase.Path() + ", which " +
                          Describe(mStanding) + " (" + mDatabase.Reason() + ")");
  }
}
