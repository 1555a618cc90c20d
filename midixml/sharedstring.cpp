// SPDX-License-Identifier: MIT
#include "midixml/sharedstring.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace midixml {

namespace {

// Name texts are small, many and never freed, so they are cut from blocks. Each thread cuts from a block of
// its own, and every block hangs in one list of the process: what is kept for ever stays reachable.
struct Block {
  Block* mNextP;
};

constexpr size_t kFirstBlockSize = 4 * 1024;
constexpr size_t kLargestBlockSize = 256 * 1024;

constinit std::atomic<Block*> sBlocksP{nullptr};

struct Cutter {
  char* mFreeP;
  size_t mFreeSize;
  size_t mNextBlockSize;
};

constinit thread_local Cutter sCutter{nullptr, 0, kFirstBlockSize};

char* NewBlock(size_t iSize) {
  void* memoryP = std::malloc(sizeof(Block) + iSize);
  if (!memoryP) throw std::bad_alloc();
  Block* blockP = new (memoryP) Block{sBlocksP.load(std::memory_order_relaxed)};
  // Nobody walks the list; it only has to hold every block.
  while (!sBlocksP.compare_exchange_weak(blockP->mNextP, blockP, std::memory_order_relaxed)) {
  }
  return reinterpret_cast<char*>(blockP + 1);
}

void* AllocateForEver(size_t iSize) {
  const size_t size = (iSize + alignof(SharedStringImpl) - 1) & ~(alignof(SharedStringImpl) - 1);
  Cutter& cutter = sCutter;
  if (size > cutter.mFreeSize) {
    // A large text gets a block of its own, so that the rest of the current one isn't lost.
    if (size > cutter.mNextBlockSize / 4) return NewBlock(size);
    cutter.mFreeP = NewBlock(cutter.mNextBlockSize);
    cutter.mFreeSize = cutter.mNextBlockSize;
    cutter.mNextBlockSize = std::min(cutter.mNextBlockSize * 2, kLargestBlockSize);
  }
  char* resultP = cutter.mFreeP;
  cutter.mFreeP += size;
  cutter.mFreeSize -= size;
  return resultP;
}

}  // namespace

SharedStringImpl::SharedStringImpl(std::string_view iText) : mLength(static_cast<uint32_t>(iText.size())) {
  char* textP = reinterpret_cast<char*>(this + 1);
  std::memcpy(textP, iText.data(), iText.size());
  textP[iText.size()] = '\0';
}

SharedStringImpl* SharedStringImpl::Make(std::string_view iText) {
  // Expat counts in int, so no text is longer than this.
  const std::string_view text = iText.substr(0, UINT32_MAX - 1);
  return ::new (AllocateForEver(sizeof(SharedStringImpl) + text.size() + 1)) SharedStringImpl(text);
}

}  // namespace midixml
