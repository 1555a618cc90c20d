// SPDX-License-Identifier: MIT
#include "platform/studio/studioidentities.h"

#include <algorithm>
#include <utility>

namespace {

void AddUnknown(const std::vector<Platform_IdentityRow>& iRows, std::vector<Platform_IdentityRow>& ioKnown) {
  for (const Platform_IdentityRow& row : iRows) {
    const bool isKnown = std::any_of(ioKnown.begin(), ioKnown.end(), [&](const Platform_IdentityRow& iKnown) {
      return iKnown.mGuid == row.mGuid;
    });
    if (!isKnown) {
      ioKnown.push_back(row);
    }
  }
}

}  // namespace

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
  Platform_StudioIdentityRows rows = iCore->Identities();
  // What a file knew is worth more than what was made up beside it.
  if (rows.mHasFile || !mLast.mHasFile) {
    mLast = std::move(rows);
  }
  std::erase(mCores, iCore);
}

Platform_StudioIdentityRows Platform_StudioIdentities::Known() const {
  // What is put upon this answer must not go into a file that is read meanwhile.
  Platform_StudioIdentityRows known{mLast.mRows, false};
  for (const std::shared_ptr<Platform_StudioCore>& core : mCores) {
    Platform_StudioIdentityRows rows = core->Identities();
    if (rows.mHasFile) {
      return rows;
    }
    AddUnknown(rows.mRows, known.mRows);
  }
  return known;
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
