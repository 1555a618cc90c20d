// SPDX-License-Identifier: MIT
#include "cmn/cmn_doublylinkedlist.h"

#include "cmn/cmn_assert.h"

namespace {
constexpr char kAssertSource[] = "cmn/cmn_doublylinkedlist";
}  // namespace

// ---- link ----

void Cmn_DoublyLinkedList_LinkBase::RemoveFromList() {
  if (mNextP == nullptr) return;
  if (CMN_ASSERT_FROM(kAssertSource, mPrevP != nullptr, "this->mPrevP != 0")) {
    if (mListP != nullptr) mListP->MoveCursorsOff(this);
    mPrevP->mNextP = mNextP;
    mNextP->mPrevP = mPrevP;
    if (mListP != nullptr) --mListP->mCount;
  }
  mNextP = nullptr;
  mPrevP = nullptr;
  mListP = nullptr;
}

// The head has no previous link and the tail no next one: that is how an element knows that its neighbour is
// an end.
const Cmn_DoublyLinkedList_LinkBase* Cmn_DoublyLinkedList_LinkBase::NextElementLink() const {
  return mNextP != nullptr && mNextP->mNextP != nullptr ? mNextP : nullptr;
}

const Cmn_DoublyLinkedList_LinkBase* Cmn_DoublyLinkedList_LinkBase::PreviousElementLink() const {
  return mPrevP != nullptr && mPrevP->mPrevP != nullptr ? mPrevP : nullptr;
}

// ---- list ----

Cmn_DoublyLinkedListBase::~Cmn_DoublyLinkedListBase() {
  RemoveAll();
  for (auto* cursorP = mInnermostCursorP; cursorP != nullptr; cursorP = cursorP->mOuterCursorP)
    cursorP->mListP = nullptr;
  // The ends are links too, whose destructors must find them free.
  mHead.mNextP = nullptr;
  mTail.mPrevP = nullptr;
}

void Cmn_DoublyLinkedListBase::RemoveAll() {
  for (auto* cursorP = mInnermostCursorP; cursorP != nullptr; cursorP = cursorP->mOuterCursorP)
    cursorP->mPositionP = &mHead;
  Cmn_DoublyLinkedList_LinkBase* scanP = mHead.mNextP;
  CMN_ASSERT_FROM(kAssertSource, scanP != nullptr, "scanP != 0");
  while (scanP != nullptr && scanP != &mTail) {
    Cmn_DoublyLinkedList_LinkBase* nextP = scanP->mNextP;
    CMN_ASSERT_FROM(kAssertSource, nextP != nullptr, "nextP != 0");
    scanP->mNextP = nullptr;
    scanP->mPrevP = nullptr;
    // With the list pointer left in place, an element that outlives the list would count down in freed
    // memory.
    scanP->mListP = nullptr;
    scanP = nextP;
  }
  mHead.mNextP = &mTail;
  mTail.mPrevP = &mHead;
  mCount = 0;
}

void Cmn_DoublyLinkedListBase::AddLinkToTail(Cmn_DoublyLinkedList_LinkBase* newLinkP) {
  Cmn_DoublyLinkedList_LinkBase* posLinkP = &mTail;
  CMN_ASSERT_FROM(kAssertSource,
                  newLinkP->mNextP == nullptr && newLinkP->mPrevP == nullptr && posLinkP->mPrevP != nullptr,
                  "newLinkP->mNextP == 0 && newLinkP->mPrevP == 0 && posLinkP->mPrevP != 0");
  newLinkP->RemoveFromList();
  // A tail without a previous link has lost its list: what is added is its first element again.
  if (posLinkP->mPrevP == nullptr) RemoveAll();
  newLinkP->mPrevP = posLinkP->mPrevP;
  newLinkP->mNextP = posLinkP;
  newLinkP->mListP = this;
  posLinkP->mPrevP->mNextP = newLinkP;
  posLinkP->mPrevP = newLinkP;
  ++mCount;
}

Cmn_DoublyLinkedList_LinkBase* Cmn_DoublyLinkedListBase::FirstLink() const {
  return IsEmpty() ? nullptr : mHead.mNextP;
}

Cmn_DoublyLinkedList_LinkBase* Cmn_DoublyLinkedListBase::LastLink() const {
  return IsEmpty() ? nullptr : mTail.mPrevP;
}

// Stepping back, and not forward, keeps what the walk is told: the next link is read after the visited
// element has returned, so that elements which it adds are still met when it was the last one and took itself
// out.
void Cmn_DoublyLinkedListBase::MoveCursorsOff(Cmn_DoublyLinkedList_LinkBase* iLinkP) {
  for (auto* cursorP = mInnermostCursorP; cursorP != nullptr; cursorP = cursorP->mOuterCursorP)
    if (cursorP->mPositionP == iLinkP) cursorP->mPositionP = iLinkP->mPrevP;
}

// ---- cursor ----

Cmn_DoublyLinkedList_CursorBase::Cmn_DoublyLinkedList_CursorBase(Cmn_DoublyLinkedListBase& ioList)
    : mListP(&ioList), mPositionP(&ioList.mHead), mOuterCursorP(ioList.mInnermostCursorP) {
  ioList.mInnermostCursorP = this;
}

// Cursors live on the stack of the walking function, so the one that ends is mostly the innermost one; the
// search makes it hold for any order.
Cmn_DoublyLinkedList_CursorBase::~Cmn_DoublyLinkedList_CursorBase() {
  if (mListP == nullptr) return;
  Cmn_DoublyLinkedList_CursorBase** cursorPP = &mListP->mInnermostCursorP;
  while (*cursorPP != this) cursorPP = &(*cursorPP)->mOuterCursorP;
  *cursorPP = mOuterCursorP;
}

Cmn_DoublyLinkedList_LinkBase* Cmn_DoublyLinkedList_CursorBase::NextLink() {
  if (mListP == nullptr || mPositionP->mNextP == &mListP->mTail) return nullptr;
  mPositionP = mPositionP->mNextP;
  return mPositionP;
}
