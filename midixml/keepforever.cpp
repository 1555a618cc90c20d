// SPDX-License-Identifier: MIT
#include "midixml/keepforever.h"

#include <mutex>
#include <vector>

namespace midixml {

namespace {

struct Kept {
  std::mutex mMutex;
  std::vector<const void*> mObjects;
};

// Never destroyed: documents may be read until the very end of the process.
Kept& TheKept() {
  static auto* const sKeptP = new Kept;
  return *sKeptP;
}

}  // namespace

void KeepForEver(const void* iObjectP) {
  Kept& kept = TheKept();
  const std::lock_guard lock(kept.mMutex);
  kept.mObjects.push_back(iObjectP);
}

}  // namespace midixml
