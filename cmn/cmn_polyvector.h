// SPDX-License-Identifier: MIT
/// \file
/// A vector whose code exists once, whatever it holds.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "cmn/cmn_export.h"

/// How a `Cmn_PolyVectorImpl` handles its elements, which it knows only by address. Elements must not throw
/// when moved.
class MLOX_EXPORT Cmn_PolyVectorTraitsBase {
 public:
  virtual ~Cmn_PolyVectorTraitsBase();
  /// Makes a copy of the element at `iSourceP` in the raw memory at `oPlaceP`.
  virtual void CopyConstruct(void* oPlaceP, const void* iSourceP) const = 0;
  /// Moves the element at `ioSourceP` to the raw memory at `oPlaceP`; the source is destroyed, its memory raw
  /// again.
  virtual void Relocate(void* oPlaceP, void* ioSourceP) const = 0;
  /// Destroys the element; its memory is raw again.
  virtual void Destroy(void* ioElementP) const = 0;
  /// The alignment of an element, in bytes.
  [[nodiscard]] virtual std::size_t Alignment() const = 0;
};

/// The traits of elements of type `T`.
template <class T>
class Cmn_PolyVectorTraits : public Cmn_PolyVectorTraitsBase {
 public:
  void CopyConstruct(void* oPlaceP, const void* iSourceP) const override {
    ::new (oPlaceP) T(*static_cast<const T*>(iSourceP));
  }
  void Relocate(void* oPlaceP, void* ioSourceP) const override {
    T* sourceP = static_cast<T*>(ioSourceP);
    ::new (oPlaceP) T(std::move(*sourceP));
    sourceP->~T();
  }
  void Destroy(void* ioElementP) const override { static_cast<T*>(ioElementP)->~T(); }
  [[nodiscard]] std::size_t Alignment() const override { return alignof(T); }

  /// The one object of this class.
  static const Cmn_PolyVectorTraits& Singleton() {
    static const Cmn_PolyVectorTraits sTraits;
    return sTraits;
  }
};

/// The vector's code. Positions and elements are raw addresses; a position stays valid until the next change.
/// Like the standard vector: if copying an element throws, `Assign` and `Insert` leave the vector as it was.
class MLOX_EXPORT Cmn_PolyVectorImpl {
 public:
  /// An empty vector. The traits must outlive it. `iElementSize` in bytes.
  Cmn_PolyVectorImpl(const Cmn_PolyVectorTraitsBase& iTraits, std::size_t iElementSize);
  Cmn_PolyVectorImpl(const Cmn_PolyVectorImpl&) = delete;
  Cmn_PolyVectorImpl& operator=(const Cmn_PolyVectorImpl&) = delete;
  ~Cmn_PolyVectorImpl() { Destruct(); }

  /// Fills a vector that is empty and owns nothing with copies of the other's elements.
  void Init(const Cmn_PolyVectorImpl& iOther);
  /// Replaces the elements by copies of the other's. Assigning a vector to itself does nothing.
  void Assign(const Cmn_PolyVectorImpl& iOther);
  /// Exchanges elements and storage with a vector of the same element type.
  void Swap(Cmn_PolyVectorImpl& ioOther) noexcept;
  /// Destroys all elements and gives the storage back. The vector is empty then and can be used again.
  void Destruct();

  /// The address of the first element.
  [[nodiscard]] void* Begin() const { return mBeginP; }
  /// The address behind the last element.
  [[nodiscard]] void* End() const { return At(mSize); }
  /// The number of elements.
  [[nodiscard]] std::size_t Size() const { return mSize; }
  /// The address of the element with this index, from 0.
  [[nodiscard]] void* At(std::size_t iIndex) const { return mBeginP + iIndex * mElementSize; }

  /// Puts a copy of the value, which may be an element of this vector, in front of a position. Returns its
  /// position.
  void* Insert(void* iPositionP, const void* iValueP);
  /// Destroys the elements from `iFirstP` up to and without `iLastP`. Returns the position behind them.
  void* Erase(void* iFirstP, void* iLastP);

 private:
  [[nodiscard]] std::size_t IndexOf(const void* iPositionP) const;
  char* Allocate(std::size_t iCapacity) const;
  void Deallocate(char* iBlockP) const;
  void RelocateRange(char* oPlaceP, char* ioSourceP, std::size_t iCount) const;
  void InsertGrowing(std::size_t iIndex, const void* iValueP);
  void InsertInPlace(std::size_t iIndex, const void* iValueP);

  const Cmn_PolyVectorTraitsBase* mTraitsP;
  std::size_t mElementSize;
  char* mBeginP = nullptr;
  std::size_t mSize = 0;
  std::size_t mCapacity = 0;
};

/// A vector of `T` with the semantics of the standard one.
template <class T>
class Cmn_PolyVector {
 public:
  /// A position, valid until the next change.
  using iterator = T*;
  /// A position that can't be written through.
  using const_iterator = const T*;
  /// The type of the elements.
  using value_type = T;

  /// An empty vector.
  // NOLINTNEXTLINE(bugprone-sizeof-expression): elements may be pointers, and then their size is meant
  Cmn_PolyVector() : mImpl(Cmn_PolyVectorTraits<T>::Singleton(), sizeof(T)) {}
  /// A copy of the other's elements.
  Cmn_PolyVector(const Cmn_PolyVector& iOther) : Cmn_PolyVector() { mImpl.Init(iOther.mImpl); }
  /// Takes the other's elements and leaves it empty.
  Cmn_PolyVector(Cmn_PolyVector&& ioOther) noexcept : Cmn_PolyVector() { mImpl.Swap(ioOther.mImpl); }
  ~Cmn_PolyVector() = default;

  /// Replaces the elements by copies of the other's.
  Cmn_PolyVector& operator=(const Cmn_PolyVector& iOther) {
    mImpl.Assign(iOther.mImpl);
    return *this;
  }
  /// Exchanges the elements with the other's.
  Cmn_PolyVector& operator=(Cmn_PolyVector&& ioOther) noexcept {
    mImpl.Swap(ioOther.mImpl);
    return *this;
  }

  /// The first position.
  [[nodiscard]] T* Begin() { return static_cast<T*>(mImpl.Begin()); }
  /// The first position.
  [[nodiscard]] const T* Begin() const { return static_cast<const T*>(mImpl.Begin()); }
  /// The position behind the last element.
  [[nodiscard]] T* End() { return static_cast<T*>(mImpl.End()); }
  /// The position behind the last element.
  [[nodiscard]] const T* End() const { return static_cast<const T*>(mImpl.End()); }
  /// The number of elements.
  [[nodiscard]] std::size_t Size() const { return mImpl.Size(); }
  /// The element with this index, 0 to `Size() - 1`.
  [[nodiscard]] T& operator[](std::size_t iIndex) { return *static_cast<T*>(mImpl.At(iIndex)); }
  /// The element with this index, 0 to `Size() - 1`.
  [[nodiscard]] const T& operator[](std::size_t iIndex) const {
    return *static_cast<const T*>(mImpl.At(iIndex));
  }

  /// Puts a copy of the value in front of a position. Returns the position of the copy.
  T* Insert(T* iPositionP, const T& iValue) { return static_cast<T*>(mImpl.Insert(iPositionP, &iValue)); }
  /// Removes the elements from `iFirstP` up to and without `iLastP`. Returns the position behind them.
  T* Erase(T* iFirstP, T* iLastP) { return static_cast<T*>(mImpl.Erase(iFirstP, iLastP)); }
  /// Appends a copy of the value.
  void PushBack(const T& iValue) { Insert(End(), iValue); }
  /// Removes all elements.
  void Clear() { mImpl.Destruct(); }

 private:
  Cmn_PolyVectorImpl mImpl;
};

/// The first position, for range loops.
template <class T>
T* begin(Cmn_PolyVector<T>& ioVector) {
  return ioVector.Begin();
}
/// The position behind the last element, for range loops.
template <class T>
T* end(Cmn_PolyVector<T>& ioVector) {
  return ioVector.End();
}
/// The first position, for range loops.
template <class T>
const T* begin(const Cmn_PolyVector<T>& iVector) {
  return iVector.Begin();
}
/// The position behind the last element, for range loops.
template <class T>
const T* end(const Cmn_PolyVector<T>& iVector) {
  return iVector.End();
}
