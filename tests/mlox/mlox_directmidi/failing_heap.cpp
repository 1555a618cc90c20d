// SPDX-License-Identifier: MIT
#include "tests/mlox/mlox_directmidi/failing_heap.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr int kNever = -1;
thread_local int sAllocationsUntilFailure = kNever;

// Whether this allocation is the one that fails, and all behind it.
bool Fails() {
  if (sAllocationsUntilFailure == kNever) return false;
  if (sAllocationsUntilFailure == 0) return true;
  --sAllocationsUntilFailure;
  return false;
}

void* Take(std::size_t iSize, std::size_t iAlignment) noexcept {
  if (Fails()) return nullptr;
  if (iAlignment <= alignof(std::max_align_t)) return std::malloc(iSize == 0 ? 1 : iSize);
  return std::aligned_alloc(iAlignment, (iSize + iAlignment - 1) / iAlignment * iAlignment);
}

void* TakeOrThrow(std::size_t iSize, std::size_t iAlignment) {
  if (void* const blockP = Take(iSize, iAlignment)) return blockP;
  throw std::bad_alloc();
}

}  // namespace

// Not inlined: g++ would see malloc's block reach operator delete, and warn of a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t iSize) { return TakeOrThrow(iSize, 1); }
[[gnu::noinline]] void* operator new[](std::size_t iSize) { return TakeOrThrow(iSize, 1); }
[[gnu::noinline]] void* operator new(std::size_t iSize, const std::nothrow_t&) noexcept {
  return Take(iSize, 1);
}
[[gnu::noinline]] void* operator new[](std::size_t iSize, const std::nothrow_t&) noexcept {
  return Take(iSize, 1);
}
[[gnu::noinline]] void* operator new(std::size_t iSize, std::align_val_t iAlignment) {
  return TakeOrThrow(iSize, static_cast<std::size_t>(iAlignment));
}
[[gnu::noinline]] void* operator new(std::size_t iSize, std::align_val_t iAlignment,
                                     const std::nothrow_t&) noexcept {
  return Take(iSize, static_cast<std::size_t>(iAlignment));
}
[[gnu::noinline]] void operator delete(void* iBlockP) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete[](void* iBlockP) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete(void* iBlockP, std::size_t) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete[](void* iBlockP, std::size_t) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete(void* iBlockP, const std::nothrow_t&) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete[](void* iBlockP, const std::nothrow_t&) noexcept {
  std::free(iBlockP);
}
[[gnu::noinline]] void operator delete(void* iBlockP, std::align_val_t) noexcept { std::free(iBlockP); }
[[gnu::noinline]] void operator delete(void* iBlockP, std::size_t, std::align_val_t) noexcept {
  std::free(iBlockP);
}
[[gnu::noinline]] void operator delete(void* iBlockP, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(iBlockP);
}

Test_FailingHeap::Test_FailingHeap(int iAllocations) { sAllocationsUntilFailure = iAllocations; }

Test_FailingHeap::~Test_FailingHeap() { sAllocationsUntilFailure = kNever; }
