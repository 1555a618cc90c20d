// SPDX-License-Identifier: MIT
/// \file
/// The owning pointer to reference-counted objects of both families.
#pragma once

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <utility>

/// How `Cmn_AliasedRefCountPtr` reaches the count of its pointee.
///
/// The two operations are called through this class, so that a header can declare a function that returns a
/// pointer to a class which is only declared there; whoever needs it for a class that stays incomplete gives
/// another one.
template <class T>
struct Cmn_AliasedRefCountPtrDefaultForwardDeclarationHack {
  /// Adds a reference to an object, which may be const.
  static void AddReference(const T* iObjectP) { iObjectP->AddReference(); }
  /// Drops a reference to an object, which may be const.
  static void RemoveReference(const T* iObjectP) { iObjectP->RemoveReference(); }
};

/// Reads and replaces the stored pointer, for a plain one and for an atomic one.
template <class StoredPointer>
struct Cmn_AliasedRefCountPtrStorage {
  /// The pointer that is stored.
  static StoredPointer Load(const StoredPointer& iStored) { return iStored; }
  /// Stores a pointer and returns the one before it.
  static StoredPointer Exchange(StoredPointer& ioStored, StoredPointer iNew) {
    return std::exchange(ioStored, iNew);
  }
};

/// The same for an atomic stored pointer.
///
/// Both operations are sequentially consistent: a reader announces itself (enters an epoch) before it loads,
/// a replacing thread exchanges before it looks for announced readers, and weaker orders would let each miss
/// the other.
template <class Pointer>
struct Cmn_AliasedRefCountPtrStorage<std::atomic<Pointer>> {
  /// The pointer that is stored.
  static Pointer Load(const std::atomic<Pointer>& iStored) { return iStored.load(std::memory_order_seq_cst); }
  /// Stores a pointer and returns the one before it, in one step.
  static Pointer Exchange(std::atomic<Pointer>& ioStored, Pointer iNew) {
    return ioStored.exchange(iNew, std::memory_order_seq_cst);
  }
};

/// Holds one reference on an object of `Cmn_RefCountObject` or `Sys_ThreadSafeRefCountObject`, const or not.
///
/// `StoredPointer` is `T*`, or `std::atomic<T*>` where other threads read the pointer with `get()` while one
/// thread assigns: assignment then finds its new value first and exchanges once, so no reader falls into a
/// gap. It doesn't keep the old object alive for such a reader; delayed deletion does. Assignments themselves
/// are made by one thread at a time, and only that thread copies from an atomic one.
template <class T, class StoredPointer = T*,
          class ForwardDeclarationHack = Cmn_AliasedRefCountPtrDefaultForwardDeclarationHack<T>>
class Cmn_AliasedRefCountPtr {
  using Storage = Cmn_AliasedRefCountPtrStorage<StoredPointer>;

 public:
  /// The class pointed to.
  using element_type = T;

  /// Holds nothing.
  constexpr Cmn_AliasedRefCountPtr() noexcept : mStoredP(nullptr) {}
  /// Holds nothing.
  constexpr Cmn_AliasedRefCountPtr(std::nullptr_t) noexcept : mStoredP(nullptr) {}
  /// Takes a reference on an object, which may be null.
  Cmn_AliasedRefCountPtr(T* iObjectP) : mStoredP(Taken(iObjectP)) {}
  /// Takes a reference of its own on the other's object.
  Cmn_AliasedRefCountPtr(const Cmn_AliasedRefCountPtr& iOther) : mStoredP(Taken(iOther.get())) {}
  /// Takes over the other's reference and leaves it null.
  Cmn_AliasedRefCountPtr(Cmn_AliasedRefCountPtr&& ioOther) noexcept : mStoredP(ioOther.Detach()) {}
  /// Takes a reference of its own on the object of a pointer of another kind: to non-const, to a derived
  /// class, or with another stored pointer type.
  template <class U, class UStored, class UHack>
  requires std::is_convertible_v<U*, T*> Cmn_AliasedRefCountPtr(
      const Cmn_AliasedRefCountPtr<U, UStored, UHack>& iOther)
      : mStoredP(Taken(iOther.get())) {}

  ~Cmn_AliasedRefCountPtr() { Drop(Storage::Load(mStoredP)); }

  /// Holds the other's object from now on; nothing happens if it does so already.
  Cmn_AliasedRefCountPtr& operator=(const Cmn_AliasedRefCountPtr& iOther) { return Assign(iOther.get()); }
  /// Takes over the other's reference and leaves it null.
  Cmn_AliasedRefCountPtr& operator=(Cmn_AliasedRefCountPtr&& ioOther) noexcept {
    if (this != &ioOther) Drop(Storage::Exchange(mStoredP, ioOther.Detach()));
    return *this;
  }
  /// Holds the object of a pointer of another kind from now on.
  template <class U, class UStored, class UHack>
  requires std::is_convertible_v<U*, T*> Cmn_AliasedRefCountPtr& operator=(
      const Cmn_AliasedRefCountPtr<U, UStored, UHack>& iOther) {
    return Assign(iOther.get());
  }
  /// Holds another object, which may be null, from now on; nothing happens if it does so already.
  Cmn_AliasedRefCountPtr& operator=(T* iObjectP) { return Assign(iObjectP); }
  /// Drops what is held.
  Cmn_AliasedRefCountPtr& operator=(std::nullptr_t) { return Assign(nullptr); }

  /// The raw pointer, null when nothing is held. It lives as long as some reference does.
  [[nodiscard]] T* get() const noexcept { return Storage::Load(mStoredP); }
  /// The object held. There must be one.
  T& operator*() const noexcept { return *get(); }
  /// The object held. There must be one.
  T* operator->() const noexcept { return get(); }
  /// Whether an object is held.
  explicit operator bool() const noexcept { return get() != nullptr; }

 private:
  template <class, class, class>
  friend class Cmn_AliasedRefCountPtr;

  static T* Taken(T* iObjectP) {
    if (iObjectP != nullptr) ForwardDeclarationHack::AddReference(iObjectP);
    return iObjectP;
  }
  static void Drop(T* iObjectP) {
    if (iObjectP != nullptr) ForwardDeclarationHack::RemoveReference(iObjectP);
  }
  // The old object is dropped last: its destructor may reach, or even own, the object that holds this
  // pointer.
  Cmn_AliasedRefCountPtr& Assign(T* iObjectP) {
    if (get() == iObjectP) return *this;
    Drop(Storage::Exchange(mStoredP, Taken(iObjectP)));
    return *this;
  }
  T* Detach() noexcept { return Storage::Exchange(mStoredP, nullptr); }

  StoredPointer mStoredP;
};

/// Two pointers are equal when they hold the same object, or nothing both.
template <class T, class TStored, class THack, class U, class UStored, class UHack>
bool operator==(const Cmn_AliasedRefCountPtr<T, TStored, THack>& iLeft,
                const Cmn_AliasedRefCountPtr<U, UStored, UHack>& iRight) noexcept {
  return iLeft.get() == iRight.get();
}
/// Whether exactly this object is held.
template <class T, class TStored, class THack, class U>
requires std::is_convertible_v<U*, const T*> || std::is_convertible_v<const T*, U*>
bool operator==(const Cmn_AliasedRefCountPtr<T, TStored, THack>& iLeft, U* iRightP) noexcept {
  return iLeft.get() == iRightP;
}
/// Whether nothing is held.
template <class T, class TStored, class THack>
bool operator==(const Cmn_AliasedRefCountPtr<T, TStored, THack>& iLeft, std::nullptr_t) noexcept {
  return iLeft.get() == nullptr;
}
