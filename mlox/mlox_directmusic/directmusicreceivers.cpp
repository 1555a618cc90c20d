// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/directmusicreceivers.h"

#include <mutex>
#include <utility>

namespace {

struct Receivers {
  std::mutex mMutex;
  std::shared_ptr<const DirectMusicReceiverList> mList = std::make_shared<const DirectMusicReceiverList>();
};

// Never destroyed: the receive thread may run until the process is gone.
Receivers& Statics() {
  static Receivers& sReceivers = *new Receivers;
  return sReceivers;
}

}  // namespace

std::shared_ptr<const DirectMusicReceiverList> GetDirectMusicReceivers() {
  Receivers& receivers = Statics();
  const std::lock_guard lock(receivers.mMutex);
  return receivers.mList;
}

void SetDirectMusicReceivers(DirectMusicReceiverList iReceivers) {
  std::shared_ptr<const DirectMusicReceiverList> list =
      std::make_shared<const DirectMusicReceiverList>(std::move(iReceivers));
  Receivers& receivers = Statics();
  const std::lock_guard lock(receivers.mMutex);
  receivers.mList.swap(list);
}
