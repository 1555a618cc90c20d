// SPDX-License-Identifier: MIT
#include "mlox/mlox_outputcontextref.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "mlox/mlox_outputcontext.h"
#include "tests/support/manager_fixture.h"

namespace {

template <class T>
concept HasNotEqual = requires(T iValue) {
  iValue != iValue;
};

class Mlox_OutputContextRefTest : public Test_ManagerFixture {
 protected:
  static std::vector<Mlox_OutputContextRef> BuiltIn() {
    return {Manager().GetDefaultOutputContext(), Manager().GetImmediateOutputContext(),
            Manager().GetPatchThruContext(), Manager().GetSlightlyEarlyPlayerContext()};
  }
};

TEST_F(Mlox_OutputContextRefTest, DefaultConvertsToFalseAndItsUIDIs0) {
  const Mlox_OutputContextRef reference;
  EXPECT_FALSE(static_cast<bool>(reference));
  EXPECT_EQ(reference.GetUID(), 0u);
  EXPECT_TRUE(reference == Mlox_OutputContextRef());
}

TEST_F(Mlox_OutputContextRefTest, TwoReferencesToOneContextAreEqual) {
  const Mlox_OutputContextRef first = Manager().GetDefaultOutputContext();
  const Mlox_OutputContextRef second = Manager().GetDefaultOutputContext();
  EXPECT_TRUE(first == second);
  EXPECT_EQ(first.GetUID(), second.GetUID());
  EXPECT_TRUE(static_cast<bool>(first));
}

TEST_F(Mlox_OutputContextRefTest, TheFourBuiltInContextsArePairwiseUnequal) {
  const auto references = BuiltIn();
  for (std::size_t i = 0; i < references.size(); ++i) {
    EXPECT_NE(references[i].GetUID(), 0u);
    for (std::size_t j = i + 1; j < references.size(); ++j) {
      EXPECT_FALSE(references[i] == references[j]) << i << " " << j;
      EXPECT_NE(references[i].GetUID(), references[j].GetUID()) << i << " " << j;
    }
  }
}

TEST_F(Mlox_OutputContextRefTest, CopyingAndAssigningCopyThePointer) {
  const Mlox_OutputContextRef original = Manager().CreateOutputContext();
  const Mlox_OutputContextRef copy(original);
  Mlox_OutputContextRef assigned;
  assigned = original;
  EXPECT_TRUE(copy == original);
  EXPECT_TRUE(assigned == original);
}

TEST_F(Mlox_OutputContextRefTest, HasNoOperatorNotEqual) {
  EXPECT_TRUE(HasNotEqual<int>);
  EXPECT_FALSE(HasNotEqual<Mlox_OutputContextRef>);
}

TEST_F(Mlox_OutputContextRefTest, UIDIsThePointersValue) {
  auto* serviceP = new Test_FakeService;
  Manager().AddService(serviceP, 16);
  const Mlox_OutputContextRef reference = Manager().CreateOutputContext();
  EXPECT_EQ(reference.GetUID(), reinterpret_cast<std::uintptr_t>(serviceP->mContexts.back()));
}

TEST_F(Mlox_OutputContextRefTest, OnlyTheManagerMakesReferencesToContexts) {
  EXPECT_FALSE((std::is_constructible_v<Mlox_OutputContextRef, Mlox_OutputContext*>));
}

TEST_F(Mlox_OutputContextRefTest, BatchOperationsReachTheContext) {
  auto* serviceP = new Test_FakeService;
  Manager().AddService(serviceP, 16);
  Mlox_OutputContextRef reference = Manager().CreateOutputContext();
  const Mlox_OutputContext& context = *serviceP->mContexts.back();
  reference.StartAccumulatingBatchDelivery();
  EXPECT_TRUE(context.IsAccumulatingForBatchDelivery());
  reference.FlushBatchDelivery();
  EXPECT_FALSE(context.IsAccumulatingForBatchDelivery());
}

// Decided: there is no test for null, so that a batch on no context doesn't go unnoticed.
TEST(Mlox_OutputContextRefDeathTest, BatchOperationsOnANullReferenceFaultAtOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Mlox_OutputContextRef reference;
  EXPECT_DEATH(reference.StartAccumulatingBatchDelivery(), "");
  EXPECT_DEATH(reference.FlushBatchDelivery(), "");
}

}  // namespace
