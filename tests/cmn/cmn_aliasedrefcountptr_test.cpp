// SPDX-License-Identifier: MIT
#include "cmn/cmn_aliasedrefcountptr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "cmn/cmn_refcountobject.h"
#include "cmn/sys_threadsaferefcountobject.h"

namespace {

int sLiving = 0;

class PlainBase : public Cmn_RefCountObject {
 public:
  PlainBase() { ++sLiving; }
  ~PlainBase() override { --sLiving; }
  int mValue = 7;
};
class PlainDerived : public PlainBase {};

class SharedObject : public Sys_ThreadSafeRefCountObject {
 public:
  SharedObject() { ++sLiving; }
  ~SharedObject() override { --sLiving; }
  int mValue = 9;
};

// Counts what the pointer does instead of keeping a count.
struct Recording {
  void AddReference() const { ++mAdded; }
  void RemoveReference() const { ++mRemoved; }
  mutable int mAdded = 0;
  mutable int mRemoved = 0;
};
using RecordingPtr = Cmn_AliasedRefCountPtr<Recording>;

template <class T>
class Cmn_AliasedRefCountPtrOfBothFamilies : public testing::Test {};
using BothFamilies = testing::Types<PlainBase, SharedObject, const PlainBase, const SharedObject>;
TYPED_TEST_SUITE(Cmn_AliasedRefCountPtrOfBothFamilies, BothFamilies);

TYPED_TEST(Cmn_AliasedRefCountPtrOfBothFamilies, LastPointerDeletesTheObject) {
  sLiving = 0;
  {
    Cmn_AliasedRefCountPtr<TypeParam> pointer(new std::remove_const_t<TypeParam>);
    const Cmn_AliasedRefCountPtr<TypeParam> copy(pointer);
    pointer = nullptr;
    EXPECT_FALSE(pointer);
    EXPECT_TRUE(copy);
    EXPECT_EQ(sLiving, 1);
    EXPECT_GT(copy->mValue, 0);
    EXPECT_GT((*copy).mValue, 0);
  }
  EXPECT_EQ(sLiving, 0);
}

TEST(Cmn_AliasedRefCountPtr, ConstructionFromPointerAddsOneReferenceAndDestructionDropsIt) {
  Recording object;
  {
    const RecordingPtr pointer(&object);
    EXPECT_EQ(pointer.get(), &object);
    EXPECT_EQ(object.mAdded, 1);
    EXPECT_EQ(object.mRemoved, 0);
  }
  EXPECT_EQ(object.mAdded, 1);
  EXPECT_EQ(object.mRemoved, 1);
}

TEST(Cmn_AliasedRefCountPtr, CopyingAddsAReference) {
  Recording object;
  const RecordingPtr first(&object);
  const RecordingPtr second(first);
  EXPECT_EQ(object.mAdded, 2);
  EXPECT_EQ(object.mRemoved, 0);
}

TEST(Cmn_AliasedRefCountPtr, MovingTakesTheReferenceOver) {
  Recording object;
  RecordingPtr first(&object);
  RecordingPtr second(std::move(first));
  EXPECT_EQ(first.get(), nullptr);  // NOLINT(bugprone-use-after-move): the moved-from state is what is tested
  RecordingPtr third;
  third = std::move(second);
  EXPECT_EQ(third.get(), &object);
  EXPECT_EQ(object.mAdded, 1);
  EXPECT_EQ(object.mRemoved, 0);
}

TEST(Cmn_AliasedRefCountPtr, MovingOntoAnotherPointerToTheObjectDropsOneOfTheTwoReferences) {
  Recording object;
  RecordingPtr first(&object);
  RecordingPtr second(&object);
  first = std::move(second);
  EXPECT_EQ(second.get(),
            nullptr);  // NOLINT(bugprone-use-after-move): the moved-from state is what is tested
  EXPECT_EQ(first.get(), &object);
  EXPECT_EQ(object.mAdded, 2);
  EXPECT_EQ(object.mRemoved, 1);
}

TEST(Cmn_AliasedRefCountPtr, MovingOntoItselfKeepsTheReference) {
  Recording object;
  RecordingPtr pointer(&object);
  RecordingPtr& same = pointer;
  pointer = std::move(same);
  EXPECT_EQ(pointer.get(), &object);
  EXPECT_EQ(object.mRemoved, 0);
}

TEST(Cmn_AliasedRefCountPtr, ReassignmentDropsTheOldAndTakesTheNew) {
  Recording oldObject;
  Recording newObject;
  RecordingPtr pointer(&oldObject);
  pointer = &newObject;
  EXPECT_EQ(oldObject.mRemoved, 1);
  EXPECT_EQ(newObject.mAdded, 1);
  pointer = RecordingPtr();
  EXPECT_EQ(newObject.mRemoved, 1);
}

TEST(Cmn_AliasedRefCountPtr, AssignmentOfTheSamePointerDoesNothing) {
  Recording object;
  RecordingPtr pointer(&object);
  const RecordingPtr other(&object);
  pointer = &object;
  pointer = other;
  const RecordingPtr& self = pointer;
  pointer = self;
  EXPECT_EQ(object.mAdded, 2);
  EXPECT_EQ(object.mRemoved, 0);
}

TEST(Cmn_AliasedRefCountPtr, NullIsHeldWithoutAReference) {
  RecordingPtr fromNothing;
  RecordingPtr fromNull(nullptr);
  RecordingPtr fromNullPointer(static_cast<Recording*>(nullptr));
  fromNothing = fromNull;
  EXPECT_FALSE(fromNothing);
  EXPECT_FALSE(fromNull);
  EXPECT_EQ(fromNullPointer.get(), nullptr);
  EXPECT_TRUE(fromNullPointer == nullptr);
}

TEST(Cmn_AliasedRefCountPtr, ConvertsToPointersToConstAndToBases) {
  sLiving = 0;
  {
    const Cmn_AliasedRefCountPtr<PlainDerived> derived(new PlainDerived);
    const Cmn_AliasedRefCountPtr<const PlainBase> base(derived);
    Cmn_AliasedRefCountPtr<const PlainBase> assigned;
    assigned = derived;
    EXPECT_EQ(base, derived);
    EXPECT_EQ(assigned, base);
  }
  EXPECT_EQ(sLiving, 0);
  static_assert(
      !std::is_convertible_v<Cmn_AliasedRefCountPtr<const PlainBase>, Cmn_AliasedRefCountPtr<PlainBase>>);
  static_assert(
      !std::is_convertible_v<Cmn_AliasedRefCountPtr<PlainBase>, Cmn_AliasedRefCountPtr<PlainDerived>>);
}

TEST(Cmn_AliasedRefCountPtr, ComparesByObject) {
  Recording object;
  Recording other;
  const RecordingPtr pointer(&object);
  EXPECT_TRUE(pointer == RecordingPtr(&object));
  EXPECT_TRUE(pointer != RecordingPtr(&other));
  EXPECT_TRUE(pointer == &object);
  EXPECT_TRUE(&other != pointer);
  EXPECT_TRUE(pointer != nullptr);
}

TEST(Cmn_AliasedRefCountPtr, OldObjectMayOwnThePointerThatLetsItGo) {
  // The node's destructor runs inside the assignment and destroys the pointer that is assigned to.
  class Node : public Cmn_RefCountObject {
   public:
    explicit Node(bool* oGoneP) : mGoneP(oGoneP) {}
    ~Node() override { *mGoneP = true; }
    Cmn_AliasedRefCountPtr<Node> mNextRCP;

   private:
    bool* mGoneP;
  };
  bool firstGone = false;
  bool secondGone = false;
  Cmn_AliasedRefCountPtr<Node> head(new Node(&firstGone));
  head->mNextRCP = new Node(&secondGone);
  head = head->mNextRCP;
  EXPECT_TRUE(firstGone);
  EXPECT_FALSE(secondGone);
  head = nullptr;
  EXPECT_TRUE(secondGone);
}

// Stands in for a pointee that stays incomplete where pointers to it are copied.
class OnlyDeclared;
struct OnlyDeclaredHack {
  static inline int sReferences = 0;
  static void AddReference(const OnlyDeclared*) { ++sReferences; }
  static void RemoveReference(const OnlyDeclared*) { --sReferences; }
};

TEST(Cmn_AliasedRefCountPtr, ThirdParameterServesAPointeeThatIsOnlyDeclared) {
  int place = 0;
  {
    const Cmn_AliasedRefCountPtr<OnlyDeclared, OnlyDeclared*, OnlyDeclaredHack> pointer(
        reinterpret_cast<OnlyDeclared*>(&place));
    const auto copy = pointer;  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(OnlyDeclaredHack::sReferences, 2);
  }
  EXPECT_EQ(OnlyDeclaredHack::sReferences, 0);
}

using AtomicPtr = Cmn_AliasedRefCountPtr<Recording, std::atomic<Recording*>>;

TEST(Cmn_AliasedRefCountPtr, AtomicStoredPointerCountsLikeAPlainOne) {
  Recording first;
  Recording second;
  {
    AtomicPtr pointer(&first);
    pointer = &first;
    EXPECT_EQ(first.mAdded, 1);
    pointer = RecordingPtr(&second);
    EXPECT_EQ(first.mRemoved, 1);
    const AtomicPtr copy(pointer);
    EXPECT_EQ(copy.get(), &second);
  }
  EXPECT_EQ(second.mAdded, 3);
  EXPECT_EQ(second.mRemoved, 3);
}

TEST(Cmn_AliasedRefCountPtr, AtomicStoredPointerNeverShowsAGapToAReader) {
  Recording first;
  Recording second;
  AtomicPtr pointer(&first);
  std::atomic<bool> isDone{false};
  std::atomic<int> gaps{0};
  std::atomic<int> reads{0};
  std::thread reader([&] {
    while (!isDone) {
      if (!pointer) ++gaps;
      ++reads;
    }
  });
  while (reads == 0) std::this_thread::yield();
  for (int i = 0; i < 20000; ++i) {
    pointer = &second;
    pointer = &first;
  }
  isDone = true;
  reader.join();
  EXPECT_EQ(gaps, 0);
  EXPECT_EQ(second.mAdded, 20000);
  EXPECT_EQ(second.mRemoved, 20000);
}

}  // namespace
