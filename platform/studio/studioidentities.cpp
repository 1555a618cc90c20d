// SPDX-License-Identifier: MIT
#include "platform/studio/studioidentities.h"

#include <utility>

Platform_StudioIdentities& Platform_StudioIdentities::Singleton() {
  static Platform_StudioIdentities* const sIdentities = new Platform_StudioIdentities;
  return *sIdentities;
}

void Platform_StudioIdentities::Attach(const std::shared_ptr<Platform_StudioCore>& iCore) {
  const std::lock_guard lock(mMutex);
  mCores.push_back(iCore);
}

void Platform_StudioIdentities::Detach(const std::shared_ptr<Platform_StudioCore>& iCore) {
  const std::lock_guard lock(mMutex);
  if (mCores.size() == 1 && mCores.front() == iCore) {
    mLast = iCore->Identities();
  }
  std::erase(mCores, iCore);
}

Platform_StudioIdentityRows Platform_StudioIdentities::Known() const {
  for (const std::shared_ptr<Platform_StudioCore>& core : mCores) {
    Platform_StudioIdentityRows rows = core->Identities();
    if (rows.mHasFile) {
      return rows;
    }
  }
  return mCores.empty() ? mLast : mCores.front()->Identities();
}

std::vector<Platform_IdentityRow> Platform_StudioIdentities::Rows() {
  const std::lock_guard lock(mMutex);
  Platform_StudioIdentityRows known = Known();
  mAnswerHadFile = known.mHasFile;
  return std::move(known.mRows);
}

void Platform_StudioIdentities::Put(const Platform_IdentityRow& iRow) {
  const std::lock_guard lock(mMutex);
  for (const std::shared_ptr<Platform_StudioCore>& core : mCores) {
    core->PutIdentity(iRow, mAnswerHadFile);
  }
}
