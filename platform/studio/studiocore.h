// SPDX-License-Identifier: MIT
/// \file
/// What the studio knows, in memory: every answer comes from here, so that nobody waits for the file. Shared
/// by the studio, its worker and all raw objects that were ever handed out.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/directmusic/durableguid.h"
#include "platform/studio/studiochange.h"
#include "platform/studio/studiostate.h"

/// Changes that subscribers are to be told, in the order in which they came about.
struct Platform_StudioNews {
  std::uint64_t mNumber = 0;
  std::vector<Platform_StudioItem> mItems;
};

/// What is known of cards with serial numbers.
struct Platform_StudioIdentityRows {
  std::vector<Platform_IdentityRow> mRows;
  bool mHasFile = false;  ///< whether the file's rows are among them
};

/// [any thread] One mutex, innermost: nothing else is called under it.
class Platform_StudioCore {
 public:
  using StateP = std::shared_ptr<const Platform_StudioState>;
  /// Looks at the studio and says what is to be changed, if anything.
  using Edit = std::function<std::optional<Platform_StudioChange>(const Platform_StudioState&)>;

  Platform_StudioCore();

  [[nodiscard]] StateP State() const;
  /// Makes a change in memory, and queues it for the file and its news for subscribers. The edit runs under
  /// the mutex; false when it asked for nothing.
  bool Change(const Edit& iEdit);
  /// What a change to be made is known to be.
  void Change(Platform_StudioChange iChange);

  [[nodiscard]] std::optional<Platform_StudioNumber> Number(const Platform_StudioNumberKey& iKey) const;
  /// \param iIsPersistent whether the file keeps it
  void SetNumber(const Platform_StudioNumberKey& iKey, const Platform_StudioNumber& iNumber,
                 bool iIsPersistent);

  [[nodiscard]] Platform_StudioIdentityRows Identities() const;
  /// Until the file has been read for the first time rows are provisional: they hold in memory alone, so that
  /// none is written over what the file knows.
  /// \param iHadFile whether the rows that this one follows from held the file's; one that knew nothing of
  /// them is ignored once the file has been read
  void PutIdentity(const Platform_IdentityRow& iRow, bool iHadFile);

  /// The ports that are there now. Those not known yet get rows.
  void SetPresent(const std::vector<Platform_StudioDeviceP>& iPorts);

  /// \name For the worker
  /// @{
  /// Takes over what the file holds, with all that waits to be written made again on top. The first time it
  /// drops provisional identities.
  /// \returns whether it was the first time: identities are to be settled again
  bool Replace(Platform_StudioContents iContents);
  /// Queues everything that is known, for a new file.
  void QueueAll();
  /// Up to iMost changes from the front that make one transaction; they stay queued. A change that a person
  /// made is a transaction of its own.
  [[nodiscard]] std::vector<Platform_StudioChange> FrontChanges(std::size_t iMost);
  /// Takes that many from the front: they are written.
  void PopChanges(std::size_t iCount);
  [[nodiscard]] bool HasChanges() const;
  [[nodiscard]] std::deque<Platform_StudioNews> TakeNews();
  /// Waits for a change, for Wake or for the time.
  void WaitForWork(std::chrono::milliseconds iTime, bool iAlsoForChanges);
  void Wake();
  /// @}

  /// Waits until nothing waits to be written; false after the time.
  bool WaitUntilWritten(std::chrono::milliseconds iTime);
  /// The number of the last news made.
  [[nodiscard]] std::uint64_t LastNews() const;

 private:
  void Queue(Platform_StudioChange iChange);
  void Become(Platform_StudioState iState);
  void MakeUnderMutex(Platform_StudioChange iChange);

  mutable std::mutex mMutex;
  std::condition_variable mWork;
  std::condition_variable mWritten;
  StateP mState;
  Platform_StudioNumbers mNumbers;
  std::vector<Platform_IdentityRow> mIdentities;
  bool mHasFile = false;  ///< the file has been read
  std::deque<Platform_StudioChange> mChanges;
  std::size_t mInHand = 0;  ///< how many at the front the worker is writing just now
  std::deque<Platform_StudioNews> mNews;
  std::uint64_t mNewsNumber = 0;
  bool mIsWoken = false;
};
