// SPDX-License-Identifier: MIT
#include "cmn/cmn_polyvector.h"

#include <new>
#include <utility>

Cmn_PolyVectorTraitsBase::~Cmn_PolyVectorTraitsBase() = default;

Cmn_PolyVectorImpl::Cmn_PolyVectorImpl(const Cmn_PolyVectorTraitsBase& iTraits, std::size_t iElementSize)
    : mTraitsP(&iTraits), mElementSize(iElementSize) {}

void Cmn_PolyVectorImpl::Init(const Cmn_PolyVectorImpl& iOther) {
  if (iOther.mSize == 0) return;
  mBeginP = Allocate(iOther.mSize);
  mCapacity = iOther.mSize;
  try {
    for (; mSize < iOther.mSize; ++mSize) mTraitsP->CopyConstruct(At(mSize), iOther.At(mSize));
  } catch (...) {
    Destruct();
    throw;
  }
}

// By way of a copy, so that a throwing element leaves this vector untouched.
void Cmn_PolyVectorImpl::Assign(const Cmn_PolyVectorImpl& iOther) {
  if (this == &iOther) return;
  Cmn_PolyVectorImpl copy(*mTraitsP, mElementSize);
  copy.Init(iOther);
  Swap(copy);
}

void Cmn_PolyVectorImpl::Swap(Cmn_PolyVectorImpl& ioOther) noexcept {
  std::swap(mBeginP, ioOther.mBeginP);
  std::swap(mSize, ioOther.mSize);
  std::swap(mCapacity, ioOther.mCapacity);
}

void Cmn_PolyVectorImpl::Destruct() {
  while (mSize > 0) mTraitsP->Destroy(At(--mSize));
  Deallocate(mBeginP);
  mBeginP = nullptr;
  mCapacity = 0;
}

void* Cmn_PolyVectorImpl::Insert(void* iPositionP, const void* iValueP) {
  const std::size_t index = IndexOf(iPositionP);
  if (mSize == mCapacity)
    InsertGrowing(index, iValueP);
  else
    InsertInPlace(index, iValueP);
  ++mSize;
  return At(index);
}

// The copy is made first: it may throw, and the value may be an element of the block that is given up.
void Cmn_PolyVectorImpl::InsertGrowing(std::size_t iIndex, const void* iValueP) {
  const std::size_t capacity = mCapacity == 0 ? 4 : 2 * mCapacity;
  char* blockP = Allocate(capacity);
  try {
    mTraitsP->CopyConstruct(blockP + iIndex * mElementSize, iValueP);
  } catch (...) {
    Deallocate(blockP);
    throw;
  }
  RelocateRange(blockP, mBeginP, iIndex);
  RelocateRange(blockP + (iIndex + 1) * mElementSize, mBeginP + iIndex * mElementSize, mSize - iIndex);
  Deallocate(mBeginP);
  mBeginP = blockP;
  mCapacity = capacity;
}

// The copy is made aside first: it may throw, and the value may be one of the elements that move up.
void Cmn_PolyVectorImpl::InsertInPlace(std::size_t iIndex, const void* iValueP) {
  char* spareP = Allocate(1);
  try {
    mTraitsP->CopyConstruct(spareP, iValueP);
  } catch (...) {
    Deallocate(spareP);
    throw;
  }
  for (std::size_t i = mSize; i > iIndex; --i) mTraitsP->Relocate(At(i), At(i - 1));
  mTraitsP->Relocate(At(iIndex), spareP);
  Deallocate(spareP);
}

void* Cmn_PolyVectorImpl::Erase(void* iFirstP, void* iLastP) {
  const std::size_t first = IndexOf(iFirstP);
  const std::size_t last = IndexOf(iLastP);
  for (std::size_t i = first; i < last; ++i) mTraitsP->Destroy(At(i));
  if (first != last)
    RelocateRange(mBeginP + first * mElementSize, mBeginP + last * mElementSize, mSize - last);
  mSize -= last - first;
  return At(first);
}

std::size_t Cmn_PolyVectorImpl::IndexOf(const void* iPositionP) const {
  if (mBeginP == nullptr) return 0;
  return static_cast<std::size_t>(static_cast<const char*>(iPositionP) - mBeginP) / mElementSize;
}

char* Cmn_PolyVectorImpl::Allocate(std::size_t iCapacity) const {
  return static_cast<char*>(
      ::operator new (iCapacity* mElementSize, std::align_val_t{mTraitsP->Alignment()}));
}

void Cmn_PolyVectorImpl::Deallocate(char* iBlockP) const {
  ::operator delete (iBlockP, std::align_val_t{mTraitsP->Alignment()});
}

// From the front to the back: the places lie before the sources, or in another block.
void Cmn_PolyVectorImpl::RelocateRange(char* oPlaceP, char* ioSourceP, std::size_t iCount) const {
  for (std::size_t i = 0; i < iCount; ++i)
    mTraitsP->Relocate(oPlaceP + i * mElementSize, ioSourceP + i * mElementSize);
}
