// SPDX-License-Identifier: MIT
#include "cmn/cmn_doublylinkedlist.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/assert_recorder.h"

namespace {

constexpr char kAddText[] = "newLinkP->mNextP == 0 && newLinkP->mPrevP == 0 && posLinkP->mPrevP != 0";

// The link doesn't lie at the element's beginning, so that conversions that forget the offset show.
struct Padding {
  virtual ~Padding() = default;
  int mPadding = 0;
};
class Element : public Padding, public Cmn_DoublyLinkedList_Link<Element> {
 public:
  explicit Element(int iNumber) : mNumber(iNumber) {}
  int mNumber;

  // What only a broken link can hold.
  void BreakPreviousLink() { mPrevP = nullptr; }
  void BreakNextLink() { mNextP = nullptr; }
  void Detach() { mNextP = nullptr, mPrevP = nullptr, mListP = nullptr; }
  [[nodiscard]] bool IsFree() const { return mNextP == nullptr && mPrevP == nullptr && mListP == nullptr; }
  [[nodiscard]] Cmn_DoublyLinkedList_LinkBase* NextLink() const { return mNextP; }
  [[nodiscard]] Cmn_DoublyLinkedList_LinkBase* PreviousLink() const { return mPrevP; }
};

// Breaks any link, also a list's ends.
class LinkBreaker : public Element {
 public:
  static void ClearNext(Cmn_DoublyLinkedList_LinkBase* ioLinkP) {
    ioLinkP->*(&LinkBreaker::mNextP) = nullptr;
  }
  static void ClearPrevious(Cmn_DoublyLinkedList_LinkBase* ioLinkP) {
    ioLinkP->*(&LinkBreaker::mPrevP) = nullptr;
  }
};
using List = Cmn_DoublyLinkedList<Element>;

// Stands in for an element of a list that was made during static initialisation.
constinit List sStaticList;

std::vector<int> Forwards(const List& iList) {
  std::vector<int> numbers;
  for (const Element* elementP = iList.GetFirst(); elementP != nullptr; elementP = elementP->GetNextInList())
    numbers.push_back(elementP->mNumber);
  return numbers;
}

std::vector<int> Backwards(const List& iList) {
  std::vector<int> numbers;
  for (const Element* elementP = iList.GetLast(); elementP != nullptr;
       elementP = elementP->GetPreviousInList())
    numbers.push_back(elementP->mNumber);
  return numbers;
}

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Cmn_DoublyLinkedList, EmptyListHasNoElements) {
  const List list;
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_EQ(list.GetCount(), 0);
  EXPECT_EQ(list.GetFirst(), nullptr);
  EXPECT_EQ(list.GetLast(), nullptr);
}

TEST(Cmn_DoublyLinkedList, KeepsOrderOfAddingInBothDirections) {
  List list;
  Element one(1), two(2), three(3);
  list.AddToTail(&one);
  list.AddToTail(&two);
  list.AddToTail(&three);
  EXPECT_THAT(Forwards(list), ElementsAre(1, 2, 3));
  EXPECT_THAT(Backwards(list), ElementsAre(3, 2, 1));
  EXPECT_EQ(list.GetCount(), 3);
}

TEST(Cmn_DoublyLinkedList, NeighboursAreNullAtTheEndsAndForAFreeLink) {
  List list;
  Element one(1), two(2);
  const Element freeElement(3);
  list.AddToTail(&one);
  list.AddToTail(&two);
  EXPECT_EQ(one.GetPreviousInList(), nullptr);
  EXPECT_EQ(one.GetNextInList(), &two);
  EXPECT_EQ(two.GetPreviousInList(), &one);
  EXPECT_EQ(two.GetNextInList(), nullptr);
  EXPECT_EQ(freeElement.GetNextInList(), nullptr);
  EXPECT_EQ(freeElement.GetPreviousInList(), nullptr);
}

TEST(Cmn_DoublyLinkedList, ListPointerIsReadAndWritten) {
  List list;
  List other;
  Element one(1);
  EXPECT_EQ(one.GetListPtr(), nullptr);
  list.AddToTail(&one);
  EXPECT_EQ(one.GetListPtr(), &list);
  one.SetListPtr(&other);
  EXPECT_EQ(one.GetListPtr(), &other);
  one.SetListPtr(&list);
}

TEST(Cmn_DoublyLinkedList, ConvertsBetweenElementAndLink) {
  Element one(1);
  Cmn_DoublyLinkedList_LinkBase* linkP = Element::ObjToLink(&one);
  EXPECT_EQ(Element::LinkToObj(linkP), &one);
  EXPECT_EQ(reinterpret_cast<char*>(linkP) - reinterpret_cast<char*>(&one), Element::Offset(one));
  EXPECT_GE(Element::Offset(one), static_cast<std::ptrdiff_t>(sizeof(void*))) << "the padding lies in front";
  EXPECT_EQ(Element::ObjToLink(nullptr), nullptr);
  EXPECT_EQ(Element::LinkToObj(nullptr), nullptr);
}

TEST(Cmn_DoublyLinkedList, RemovingUnlinksClearsAndCountsDown) {
  List list;
  Element one(1), two(2), three(3);
  list.AddToTail(&one);
  list.AddToTail(&two);
  list.AddToTail(&three);
  two.RemoveFromList();
  EXPECT_THAT(Forwards(list), ElementsAre(1, 3));
  EXPECT_THAT(Backwards(list), ElementsAre(3, 1));
  EXPECT_EQ(list.GetCount(), 2);
  EXPECT_TRUE(two.IsFree());
}

TEST(Cmn_DoublyLinkedList, RemovingAFreeLinkDoesNothing) {
  Test_AssertRecorder recorder;
  Element one(1);
  one.RemoveFromList();
  EXPECT_TRUE(one.IsFree());
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Cmn_DoublyLinkedList, RemovingALinkWithoutAPreviousOneReportsAndOnlyFreesIt) {
  Test_AssertRecorder recorder;
  {
    List list;
    Element one(1);
    list.AddToTail(&one);
    one.BreakPreviousLink();
    one.RemoveFromList();
    EXPECT_EQ(recorder.Count("this->mPrevP != 0"), 1);
    EXPECT_TRUE(one.IsFree());
    // The list still believes in the link, and finds out at its end.
    list.RemoveAll();
    EXPECT_EQ(recorder.Count("nextP != 0"), 1);
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_TRUE(list.IsEmpty());
  }
}

TEST(Cmn_DoublyLinkedList, LinkDestructorUnlinks) {
  List list;
  Element one(1);
  list.AddToTail(&one);
  {
    Element two(2);
    list.AddToTail(&two);
  }
  EXPECT_THAT(Forwards(list), ElementsAre(1));
  EXPECT_EQ(list.GetCount(), 1);
}

TEST(Cmn_DoublyLinkedList, CopyingALinkYieldsAFreeLink) {
  List list;
  Element one(1);
  list.AddToTail(&one);
  const Element copy(one);
  EXPECT_TRUE(copy.IsFree());
  EXPECT_EQ(copy.mNumber, 1);
  EXPECT_EQ(list.GetCount(), 1);
}

TEST(Cmn_DoublyLinkedList, AssigningToALinkLeavesItWhereItIs) {
  List list;
  Element one(1), two(2);
  const Element freeElement(9);
  list.AddToTail(&one);
  list.AddToTail(&two);
  one = freeElement;
  EXPECT_THAT(Forwards(list), ElementsAre(9, 2));
  Element outside(5);
  outside = two;
  EXPECT_TRUE(outside.IsFree());
  EXPECT_EQ(list.GetCount(), 2);
}

TEST(Cmn_DoublyLinkedList, AddingALinkedElementReportsUnlinksAndThenLinks) {
  List first;
  List second;
  Element one(1), two(2);
  first.AddToTail(&one);
  first.AddToTail(&two);
  Test_AssertRecorder recorder;
  second.AddToTail(&one);
  EXPECT_EQ(recorder.Count(kAddText), 1);
  EXPECT_THAT(Forwards(first), ElementsAre(2));
  EXPECT_EQ(first.GetCount(), 1);
  EXPECT_THAT(Forwards(second), ElementsAre(1));
  EXPECT_EQ(second.GetCount(), 1);
  first.AddToTail(&two);
  EXPECT_EQ(recorder.Count(kAddText), 2) << "the same list is no exception";
  EXPECT_THAT(Forwards(first), ElementsAre(2));
  EXPECT_EQ(first.GetCount(), 1);
}

TEST(Cmn_DoublyLinkedList, AddingBehindATailWithoutPreviousLinkReportsAndLinksAllTheSame) {
  List list;
  Element one(1), two(2);
  list.AddToTail(&one);
  LinkBreaker::ClearPrevious(one.NextLink());
  Test_AssertRecorder recorder;
  list.AddToTail(&two);
  EXPECT_EQ(recorder.Count(kAddText), 1);
  EXPECT_THAT(Forwards(list), ElementsAre(2));
  EXPECT_EQ(list.GetCount(), 1);
}

TEST(Cmn_DoublyLinkedList, DestructorFreesEveryLinkAndDeletesNoElement) {
  Element one(1), two(2);
  {
    List list;
    list.AddToTail(&one);
    list.AddToTail(&two);
  }
  EXPECT_TRUE(one.IsFree()) << "the list pointer is cleared as well";
  EXPECT_TRUE(two.IsFree());
  EXPECT_EQ(two.mNumber, 2);
}

TEST(Cmn_DoublyLinkedList, DestructorReportsABrokenLinkAndStops) {
  Element one(1), two(2);
  Test_AssertRecorder recorder;
  {
    List list;
    list.AddToTail(&one);
    list.AddToTail(&two);
    one.BreakNextLink();
  }
  EXPECT_EQ(recorder.Count("nextP != 0"), 1);
  EXPECT_TRUE(one.IsFree());
  // What lies behind the break can't be reached from the head, and still points at the list that is gone.
  two.Detach();
}

TEST(Cmn_DoublyLinkedList, DestructorReportsAHeadWithoutNextLink) {
  Element one(1);
  Test_AssertRecorder recorder;
  {
    List list;
    list.AddToTail(&one);
    LinkBreaker::ClearNext(one.PreviousLink());
    one.Detach();
  }
  EXPECT_EQ(recorder.Count("scanP != 0"), 1);
}

TEST(Cmn_DoublyLinkedList, StaticListWorksBeforeItsFileIsInitialised) {
  Element one(1);
  sStaticList.AddToTail(&one);
  EXPECT_THAT(Forwards(sStaticList), ElementsAre(1));
}

// ---- walks ----

class Cmn_DoublyLinkedListCursor : public testing::Test {
 protected:
  Cmn_DoublyLinkedListCursor() {
    for (int number = 1; number <= 4; ++number) {
      mElements.push_back(std::make_unique<Element>(number));
      mList.AddToTail(mElements.back().get());
    }
  }

  // Walks, lets `iAct` work at each element, and returns the numbers visited.
  std::vector<int> Walk(const std::function<void(int)>& iAct) {
    std::vector<int> visited;
    List::Cursor cursor(mList);
    while (const Element* elementP = cursor.Next()) {
      visited.push_back(elementP->mNumber);
      iAct(visited.back());
    }
    return visited;
  }
  void Delete(int iNumber) { mElements[static_cast<std::size_t>(iNumber - 1)].reset(); }
  void Add(int iNumber) {
    mElements.push_back(std::make_unique<Element>(iNumber));
    mList.AddToTail(mElements.back().get());
  }

  List mList;
  std::vector<std::unique_ptr<Element>> mElements;
};

TEST_F(Cmn_DoublyLinkedListCursor, VisitsAllFromHeadToTail) {
  EXPECT_THAT(Walk([](int) {}), ElementsAre(1, 2, 3, 4));
}

TEST_F(Cmn_DoublyLinkedListCursor, ElementMayDeleteItself) {
  EXPECT_THAT(Walk([this](int iNumber) { Delete(iNumber); }), ElementsAre(1, 2, 3, 4));
  EXPECT_TRUE(mList.IsEmpty());
}

TEST_F(Cmn_DoublyLinkedListCursor, ElementMayRemoveTheNextOne) {
  EXPECT_THAT(Walk([this](int iNumber) {
                if (iNumber == 2) Delete(3);
              }),
              ElementsAre(1, 2, 4));
}

TEST_F(Cmn_DoublyLinkedListCursor, ElementMayRemoveItselfAndBothNeighbours) {
  EXPECT_THAT(Walk([this](int iNumber) {
                if (iNumber != 2) return;
                Delete(2);
                Delete(1);
                Delete(3);
              }),
              ElementsAre(1, 2, 4));
  EXPECT_EQ(mList.GetCount(), 1);
}

TEST_F(Cmn_DoublyLinkedListCursor, LateJoinerIsVisitedInTheSameWalk) {
  EXPECT_THAT(Walk([this](int iNumber) {
                if (iNumber == 1) Add(5);
              }),
              ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(Cmn_DoublyLinkedListCursor, LastElementMayAddAnotherAndDeleteItself) {
  EXPECT_THAT(Walk([this](int iNumber) {
                if (iNumber != 4) return;
                Delete(4);
                Add(5);
              }),
              ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(Cmn_DoublyLinkedListCursor, WalksNest) {
  std::vector<int> inner;
  EXPECT_THAT(Walk([&](int iNumber) {
                if (iNumber != 2) return;
                // The inner walk deletes the element at which the outer one stands.
                inner = Walk([this](int iInner) {
                  if (iInner == 2) Delete(2);
                });
              }),
              ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(inner, ElementsAre(1, 2, 3, 4));
}

TEST_F(Cmn_DoublyLinkedListCursor, WalkEndsWhenTheListIsEmptied) {
  EXPECT_THAT(Walk([this](int iNumber) {
                if (iNumber == 2) mList.RemoveAll();
              }),
              ElementsAre(1, 2));
}

TEST_F(Cmn_DoublyLinkedListCursor, WalksMayEndInAnyOrder) {
  auto earlierP = std::make_unique<List::Cursor>(mList);
  List::Cursor later(mList);
  EXPECT_EQ(later.Next()->mNumber, 1);
  EXPECT_EQ(later.Next()->mNumber, 2);
  earlierP.reset();
  mElements[1]->RemoveFromList();
  const Element* nextP = later.Next();
  ASSERT_NE(nextP, nullptr) << "it still follows the list";
  EXPECT_EQ(nextP->mNumber, 3);
}

TEST(Cmn_DoublyLinkedListCursorLife, OutlivesItsList) {
  Element one(1);
  auto listP = std::make_unique<List>();
  listP->AddToTail(&one);
  List::Cursor cursor(*listP);
  EXPECT_EQ(cursor.Next(), &one);
  listP.reset();
  EXPECT_EQ(cursor.Next(), nullptr);
}

}  // namespace
