// SPDX-License-Identifier: MIT
#include "cmn/ps_util.h"

#include <sys/mman.h>
#include <unistd.h>

#include <limits>

namespace {

// A block is a mapping of its own, behind one page that holds its length: so its end is on a page of its own
// too, and locking it locks nobody else's bytes.
std::size_t PageSize() {
  static const auto sPageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return sPageSize;
}

}  // namespace

void* PSUtil_PageAlignedAlloc(std::size_t iSize) {
  const std::size_t page = PageSize();
  if (iSize == 0 || iSize > std::numeric_limits<std::size_t>::max() / 2) return nullptr;
  const std::size_t length = page + (iSize + page - 1) / page * page;
  void* mappedP = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mappedP == MAP_FAILED) return nullptr;
  *static_cast<std::size_t*>(mappedP) = length;
  return static_cast<std::byte*>(mappedP) + page;
}

void PSUtil_PageAlignedFree(void* iBlockP) {
  if (iBlockP == nullptr) return;
  std::byte* mappedP = static_cast<std::byte*>(iBlockP) - PageSize();
  munmap(mappedP, *reinterpret_cast<std::size_t*>(mappedP));
}

bool PSUtil_VMLock(void* iBlockP, std::size_t iSize) { return mlock(iBlockP, iSize) == 0; }

bool PSUtil_VMUnlock(void* iBlockP, std::size_t iSize) { return munlock(iBlockP, iSize) == 0; }

std::size_t PSUtil_MemoryOfMachine() {
  return static_cast<std::size_t>(sysconf(_SC_PHYS_PAGES)) * PageSize();
}
