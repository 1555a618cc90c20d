// SPDX-License-Identifier: MIT
/// \file
/// What the root is told of cards with serial numbers.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "platform/directmusic/durableguid.h"
#include "platform/studio/studiocore.h"

/// The process's one table of identities. Studios come and go, more than one at a time where one is opened to
/// look beside another; the root keeps one table, so that no card changes its name when a studio closes. With
/// no studio open it tells what the last one knew, and so also while none that is open has read its file. A
/// studio that has goes before one that hasn't. [any thread; one scan of a root at a time] Its lock comes
/// before a core's.
class Platform_StudioIdentities final : public Platform_IdentityTable {
 public:
  /// Never destroyed.
  static Platform_StudioIdentities& Singleton();

  void Attach(const std::shared_ptr<Platform_StudioCore>& iCore);
  void Detach(const std::shared_ptr<Platform_StudioCore>& iCore);

  std::vector<Platform_IdentityRow> Rows() override;
  /// Belongs to the last answer of Rows. Where a file has been read since, and the answer knew nothing of
  /// any, it does nothing there: the root settles all cards again.
  void Put(const Platform_IdentityRow& iRow) override;

 private:
  [[nodiscard]] Platform_StudioIdentityRows Known() const;

  std::mutex mMutex;
  std::vector<std::shared_ptr<Platform_StudioCore>> mCores;
  Platform_StudioIdentityRows mLast;
  bool mAnswerHadFile = false;
};
