// SPDX-License-Identifier: MIT
/// \file
/// An intrusive list: the element carries its link, the link's destructor unlinks it, and a walk survives
/// that.
///
/// Nothing here allocates. A list, its elements and the walks over it belong to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "cmn/cmn_export.h"

class Cmn_DoublyLinkedListBase;

/// The untyped part of a link: two neighbours and the list. All three are null while the link is in no list.
class MLOX_EXPORT Cmn_DoublyLinkedList_LinkBase {
 public:
  constexpr Cmn_DoublyLinkedList_LinkBase() = default;
  /// A place in a list isn't part of an element's value: the copy is in no list.
  Cmn_DoublyLinkedList_LinkBase(const Cmn_DoublyLinkedList_LinkBase&) {}
  /// The link stays where it is, for the same reason.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is copied
  Cmn_DoublyLinkedList_LinkBase& operator=(const Cmn_DoublyLinkedList_LinkBase&) { return *this; }

  /// Takes the element out of its list. Does nothing if it is in none. Reports "this->mPrevP != 0" for a
  /// broken link, which then only becomes free.
  void RemoveFromList();

  /// The list that this link is in, or null.
  [[nodiscard]] Cmn_DoublyLinkedListBase* GetListPtr() const { return mListP; }
  /// Writes the list pointer alone.
  void SetListPtr(Cmn_DoublyLinkedListBase* iListP) { mListP = iListP; }

 protected:
  ~Cmn_DoublyLinkedList_LinkBase() { RemoveFromList(); }

  [[nodiscard]] const Cmn_DoublyLinkedList_LinkBase* NextElementLink() const;
  [[nodiscard]] const Cmn_DoublyLinkedList_LinkBase* PreviousElementLink() const;

  /// The link behind this one; the list's tail behind the last element.
  Cmn_DoublyLinkedList_LinkBase* mNextP = nullptr;
  /// The link before this one; the list's head before the first element.
  Cmn_DoublyLinkedList_LinkBase* mPrevP = nullptr;
  /// The list.
  Cmn_DoublyLinkedListBase* mListP = nullptr;

 private:
  friend class Cmn_DoublyLinkedListBase;
  friend class Cmn_DoublyLinkedList_CursorBase;
};

/// The untyped part of a walk that survives changes of the list: see `Cmn_DoublyLinkedList::Cursor`.
class MLOX_EXPORT Cmn_DoublyLinkedList_CursorBase {
 public:
  Cmn_DoublyLinkedList_CursorBase(const Cmn_DoublyLinkedList_CursorBase&) = delete;
  Cmn_DoublyLinkedList_CursorBase& operator=(const Cmn_DoublyLinkedList_CursorBase&) = delete;

 protected:
  explicit Cmn_DoublyLinkedList_CursorBase(Cmn_DoublyLinkedListBase& ioList);
  ~Cmn_DoublyLinkedList_CursorBase();
  /// Steps to the next element's link, or returns null at the end of the list, and after the list's
  /// destruction.
  Cmn_DoublyLinkedList_LinkBase* NextLink();

 private:
  friend class Cmn_DoublyLinkedListBase;

  Cmn_DoublyLinkedListBase* mListP;                // null once the list is gone
  Cmn_DoublyLinkedList_LinkBase* mPositionP;       // the link visited last, at first the list's head
  Cmn_DoublyLinkedList_CursorBase* mOuterCursorP;  // walks nest: a listener may start a broadcast
};

/// The untyped part of a list: a head link, a tail link and a count.
class MLOX_EXPORT Cmn_DoublyLinkedListBase {
 public:
  Cmn_DoublyLinkedListBase(const Cmn_DoublyLinkedListBase&) = delete;
  Cmn_DoublyLinkedListBase& operator=(const Cmn_DoublyLinkedListBase&) = delete;

  /// How many elements there are.
  [[nodiscard]] std::int32_t GetCount() const { return mCount; }
  /// Whether there is no element.
  [[nodiscard]] bool IsEmpty() const { return mHead.mNextP == &mTail; }
  /// Makes every link free, and the list empty. Deletes no element.
  void RemoveAll();

 protected:
  // Constant-initialised, so that a list of static storage can be used by the static initialisation of other
  // files.
  constexpr Cmn_DoublyLinkedListBase() {
    mHead.mNextP = &mTail;
    mTail.mPrevP = &mHead;
  }
  ~Cmn_DoublyLinkedListBase();

  void AddLinkToTail(Cmn_DoublyLinkedList_LinkBase* newLinkP);
  [[nodiscard]] Cmn_DoublyLinkedList_LinkBase* FirstLink() const;
  [[nodiscard]] Cmn_DoublyLinkedList_LinkBase* LastLink() const;

 private:
  friend class Cmn_DoublyLinkedList_LinkBase;
  friend class Cmn_DoublyLinkedList_CursorBase;

  void MoveCursorsOff(Cmn_DoublyLinkedList_LinkBase* iLinkP);

  Cmn_DoublyLinkedList_LinkBase mHead;
  Cmn_DoublyLinkedList_LinkBase mTail;
  std::int32_t mCount = 0;
  Cmn_DoublyLinkedList_CursorBase* mInnermostCursorP = nullptr;
};

/// The order that a list's elements would be sorted by. It is a part of the list's type; no list here is kept
/// sorted.
template <class T>
struct DefaultSortPredicate {
  /// Whether the first element comes before the second.
  bool operator()(const T& iLeft, const T& iRight) const { return iLeft < iRight; }
};

/// The link of an element: `class T : public Cmn_DoublyLinkedList_Link<T>`. An element that stands in two
/// lists at once derives from two links with different numbers.
template <class T, int kList = 1, class SortPredicate = DefaultSortPredicate<T>>
class Cmn_DoublyLinkedList_Link : public Cmn_DoublyLinkedList_LinkBase {
 public:
  /// The element behind this one, or null for the last one and for a free link.
  [[nodiscard]] T* GetNextInList() const { return LinkToObj(NextElementLink()); }
  /// The element before this one, or null for the first one and for a free link.
  [[nodiscard]] T* GetPreviousInList() const { return LinkToObj(PreviousElementLink()); }

  /// The link of an element; null for null.
  static Cmn_DoublyLinkedList_LinkBase* ObjToLink(T* iObjectP) {
    return static_cast<Cmn_DoublyLinkedList_Link*>(iObjectP);
  }
  /// The element of a link; null for null.
  static T* LinkToObj(const Cmn_DoublyLinkedList_LinkBase* iLinkP) {
    auto* linkP = const_cast<Cmn_DoublyLinkedList_LinkBase*>(iLinkP);
    return static_cast<T*>(static_cast<Cmn_DoublyLinkedList_Link*>(linkP));
  }
  /// How many bytes behind the beginning of its element a link lies.
  static std::ptrdiff_t Offset(const T& iObject) {
    const Cmn_DoublyLinkedList_LinkBase* linkP = ObjToLink(const_cast<T*>(&iObject));
    return reinterpret_cast<const char*>(linkP) - reinterpret_cast<const char*>(&iObject);
  }

 protected:
  constexpr Cmn_DoublyLinkedList_Link() = default;
  Cmn_DoublyLinkedList_Link(const Cmn_DoublyLinkedList_Link&) = default;
  Cmn_DoublyLinkedList_Link& operator=(const Cmn_DoublyLinkedList_Link&) = default;
  ~Cmn_DoublyLinkedList_Link() = default;
};

/// A list of elements that it doesn't own.
template <class T, int kList = 1, class SortPredicate = DefaultSortPredicate<T>>
class Cmn_DoublyLinkedList : public Cmn_DoublyLinkedListBase {
  using Link = Cmn_DoublyLinkedList_Link<T, kList, SortPredicate>;

 public:
  /// A walk from head to tail that may change the list under its feet: elements that unlink or delete
  /// themselves or others are stepped over, and those added behind the present one are reached. The next link
  /// is read when `Next` is called, that is after the visited element has done its work. A walk may run
  /// inside another.
  class Cursor : private Cmn_DoublyLinkedList_CursorBase {
   public:
    /// Stands before the first element.
    explicit Cursor(Cmn_DoublyLinkedList& ioList) : Cmn_DoublyLinkedList_CursorBase(ioList) {}
    /// The next element, or null when there is none (yet).
    T* Next() { return Link::LinkToObj(NextLink()); }
  };

  constexpr Cmn_DoublyLinkedList() = default;

  /// Appends an element. One that stands in a list already is reported with "newLinkP->mNextP == 0 &&
  /// newLinkP->mPrevP == 0 && posLinkP->mPrevP != 0", taken out of that list, and appended all the same.
  void AddToTail(T* iObjectP) { AddLinkToTail(Link::ObjToLink(iObjectP)); }
  /// The first element, or null.
  [[nodiscard]] T* GetFirst() const { return Link::LinkToObj(FirstLink()); }
  /// The last element, or null.
  [[nodiscard]] T* GetLast() const { return Link::LinkToObj(LastLink()); }
};
