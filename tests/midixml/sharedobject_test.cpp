// SPDX-License-Identifier: MIT
#include "midixml/sharedobject.h"

#include <gtest/gtest.h>

namespace {

class Watched : public midixml::SharedObject {
 public:
  explicit Watched(int& ioDeleted) : mDeleted(ioDeleted) {}
  ~Watched() override { ++mDeleted; }

 private:
  int& mDeleted;
};

TEST(SharedObject, CountStartsAtOneAndTheLastReleaseDeletes) {
  int deleted = 0;
  auto* objectP = new Watched(deleted);
  EXPECT_EQ(objectP->GetReferenceCount(), 1);
  objectP->AddReference();
  EXPECT_EQ(objectP->GetReferenceCount(), 2);
  objectP->RemoveReference();
  EXPECT_EQ(deleted, 0);
  objectP->RemoveReference();
  EXPECT_EQ(deleted, 1);
}

TEST(SharedObject, ReleaseThroughTheBaseRunsTheDerivedDestructor) {
  int deleted = 0;
  const midixml::SharedObject* objectP = new Watched(deleted);
  objectP->RemoveReference();
  EXPECT_EQ(deleted, 1);
}

}  // namespace
