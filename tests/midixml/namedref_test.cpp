// SPDX-License-Identifier: MIT
#include "midixml/namedref.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "midixml/countedptr.h"
#include "midixml/midinameobj.h"

using midixml::CountedPtr;
using midixml::MIDINameObj;
using Ref = midixml::NamedRef<MIDINameObj>;

namespace {

CountedPtr<MIDINameObj> Named(const char* iNameP) {
  auto object = CountedPtr<MIDINameObj>::Make();
  object->mName = iNameP;
  return object;
}

Ref Asking(const char* iNameP) {
  Ref reference;
  reference.mName = iNameP;
  return reference;
}

TEST(NamedRef, ResolveTakesTheFirstOfANameAndAddsOne) {
  const auto first = Named("drums");
  const auto second = Named("drums");
  const std::vector<Ref> list = {Ref(Named("other").get()), Ref(first.get()), Ref(second.get())};
  Ref reference = Asking("drums");
  reference.Resolve(list.begin(), list.end());
  EXPECT_EQ(reference.GetObject(), first.get());
  EXPECT_EQ(first->GetReferenceCount(), 3);
}

TEST(NamedRef, NoMatchStaysNullAndRaisesNoFault) {
  const std::vector<Ref> list = {Ref(Named("a").get())};
  Ref reference = Asking("b");
  reference.Resolve(list.begin(), list.end());
  EXPECT_EQ(reference.GetObject(), nullptr);
}

TEST(NamedRef, AnEmptyNameIsSkippedEvenWithListsPresent) {
  const std::vector<Ref> list = {Ref(Named("").get())};
  Ref nullName;
  nullName.Resolve(list.begin(), list.end());
  EXPECT_EQ(nullName.GetObject(), nullptr);
  Ref emptyName = Asking("");
  emptyName.Resolve(list.begin(), list.end());
  EXPECT_EQ(emptyName.GetObject(), nullptr);
}

TEST(NamedRef, ASetObjectStopsTheResolve) {
  const auto held = Named("x");
  const std::vector<Ref> list = {Ref(Named("y").get())};
  Ref reference = Asking("y");
  reference.SetObject(held.get());
  reference.Resolve(list.begin(), list.end());
  EXPECT_EQ(reference.GetObject(), held.get());
}

TEST(NamedRef, NamesAreComparedByteByByte) {
  const std::vector<Ref> list = {Ref(Named("Drums").get())};
  Ref reference = Asking("drums");
  reference.Resolve(list.begin(), list.end());
  EXPECT_EQ(reference.GetObject(), nullptr);
}

TEST(NamedRef, CopyAddsOneToBothAndMoveToNone) {
  const auto object = Named("x");
  Ref reference = Asking("x");
  reference.SetObject(object.get());
  Ref copy(reference);
  EXPECT_EQ(object->GetReferenceCount(), 3);
  EXPECT_EQ(copy.mName.GetImpl(), reference.mName.GetImpl());
  const Ref moved(std::move(copy));
  EXPECT_EQ(object->GetReferenceCount(), 3);
  EXPECT_EQ(moved.GetObject(), object.get());
}

TEST(NamedRef, AssignmentAndDestructionRelease) {
  const auto object = Named("x");
  {
    Ref reference(object.get());
    Ref other(Named("y").get());
    other = reference;
    EXPECT_EQ(object->GetReferenceCount(), 3);
    other.SetObject(nullptr);
    EXPECT_EQ(object->GetReferenceCount(), 2);
  }
  EXPECT_EQ(object->GetReferenceCount(), 1);
}

TEST(NamedRef, IsTwoWords) { EXPECT_EQ(sizeof(Ref), 2 * sizeof(void*)); }

}  // namespace
