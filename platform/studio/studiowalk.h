// SPDX-License-Identifier: MIT
/// \file
/// Lists that are asked for by count and index stay as they were counted while a thread walks over them.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/studio/studiocore.h"

/// What one thread counted last and walks over now. Something may come or go between two calls; with indices
/// that shift, a walk would skip what has not changed, and nobody would ever tell of that again. [one thread]
template <class Items>
class Platform_StudioWalk {
 public:
  /// \param iKey which list of the studio it is
  void Begin(const std::shared_ptr<Platform_StudioCore>& iCore, std::string iKey, Items iItems) {
    mCore = iCore;
    mKey = std::move(iKey);
    mItems = std::move(iItems);
  }
  /// The list as it was counted; null when this thread counted another one last, or is through with it.
  const Items* Find(const std::shared_ptr<Platform_StudioCore>& iCore, const std::string& iKey) const {
    return mCore.lock() == iCore && mKey == iKey ? &mItems : nullptr;
  }
  /// Lets go of it.
  void End() {
    mCore.reset();
    mItems = {};
  }

 private:
  std::weak_ptr<Platform_StudioCore> mCore;
  std::string mKey;
  Items mItems{};
};
