// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_deliverystate.h"

#include <gtest/gtest.h>

#include <new>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"
#include "tests/mlox/mlox_directmidi/failing_heap.h"

namespace {

class Mlox_DM_DeliveryStateTest : public ::testing::Test {
 protected:
  Mlox_DM_BufferedDelivery* NewUnlistedDelivery() {
    auto* const deliveryP = new Mlox_DM_BufferedDelivery(&mAllocator, mState.get(), {}, mState);
    deliveryP->AddRef();
    return deliveryP;
  }

  Mlox_DM_BufferedDelivery* NewDelivery() {
    auto* const deliveryP = NewUnlistedDelivery();
    mState->AddBufferedDelivery(deliveryP);
    mState->SetCurrentDelivery(deliveryP);
    return deliveryP;
  }

  bool IsListedWithoutTheHeap(Mlox_DM_BufferedDelivery* iDeliveryP) {
    const Test_FailingHeap heap;
    try {
      mState->AddBufferedDelivery(iDeliveryP);
    } catch (const std::bad_alloc&) {
      return false;
    }
    return true;
  }

  Mem2_MasterAllocator mAllocator;
  Cmn_AliasedRefCountPtr<Mlox_DM_DeliveryState> mState{new Mlox_DM_DeliveryState};
};

TEST_F(Mlox_DM_DeliveryStateTest, AtFirstThereIsNoDeliveryAndNobodyInside) {
  EXPECT_EQ(mState->GetBufferedDelivery(), nullptr);
  EXPECT_EQ(mState->GetCurrentDelivery(), nullptr);
  EXPECT_FALSE(mState->IsAnyoneInside());
}

TEST_F(Mlox_DM_DeliveryStateTest, SomebodyIsInsideUntilTheLastHasLeft) {
  mState->Enter();
  mState->Enter();
  mState->Leave();
  EXPECT_TRUE(mState->IsAnyoneInside());
  mState->Leave();
  EXPECT_FALSE(mState->IsAnyoneInside());
}

TEST_F(Mlox_DM_DeliveryStateTest, TheMostRecentBufferedDeliveryIsKeptApartFromTheCurrentOne) {
  Mlox_DM_BufferedDelivery* const deliveryP = NewDelivery();
  EXPECT_EQ(mState->GetBufferedDelivery(), deliveryP);
  EXPECT_EQ(mState->GetCurrentDelivery(), static_cast<Mlox_DM_GeneralDelivery*>(deliveryP));
  mState->SetCurrentDelivery(nullptr);
  EXPECT_EQ(mState->GetBufferedDelivery(), deliveryP);
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryStateTest, BufferedDeliveryReleasedForgetsTheMostRecentAndTheCurrentOne) {
  Mlox_DM_BufferedDelivery* const deliveryP = NewDelivery();
  mState->BufferedDeliveryReleased();
  EXPECT_EQ(mState->GetBufferedDelivery(), nullptr);
  EXPECT_EQ(mState->GetCurrentDelivery(), nullptr);
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryStateTest, AReleaseOfAnEarlierDeliveryForgetsTheMostRecentAndTheCurrentOne) {
  Mlox_DM_BufferedDelivery* const firstP = NewDelivery();
  Mlox_DM_BufferedDelivery* const secondP = NewDelivery();
  EXPECT_EQ(mState->GetBufferedDelivery(), secondP);
  firstP->Release();
  EXPECT_EQ(mState->GetBufferedDelivery(), nullptr);
  EXPECT_EQ(mState->GetCurrentDelivery(), nullptr);
  EXPECT_TRUE(secondP->HasOwner()) << "it is still known, to be told when the node dies";
  secondP->Release();
}

TEST_F(Mlox_DM_DeliveryStateTest, ClearOwnersReachesEveryLivingDeliveryAndNoneThatIsGone) {
  Mlox_DM_BufferedDelivery* const firstP = NewDelivery();
  Mlox_DM_BufferedDelivery* const secondP = NewDelivery();
  firstP->Release();
  Mlox_DM_BufferedDelivery* const thirdP = NewDelivery();  // in the place of the first
  Mlox_DM_BufferedDelivery* const fourthP = NewDelivery();
  mState->ClearOwners();
  EXPECT_FALSE(secondP->HasOwner());
  EXPECT_FALSE(thirdP->HasOwner());
  EXPECT_FALSE(fourthP->HasOwner());
  EXPECT_FALSE(mState->IsAnyoneInside());
  secondP->Release();
  thirdP->Release();
  EXPECT_EQ(mState->GetCurrentDelivery(), static_cast<Mlox_DM_GeneralDelivery*>(fourthP))
      << "without an owner a release tells nobody";
  fourthP->Release();
}

TEST_F(Mlox_DM_DeliveryStateTest, ThePlacesOfDeliveriesThatAreGoneAreUsedAgainBeforeNewOnesAreMade) {
  Mlox_DM_BufferedDelivery* firstP = NewDelivery();
  Mlox_DM_BufferedDelivery* secondP = NewDelivery();
  for (int round = 0; round < 3; ++round) {
    firstP->Release();
    secondP->Release();
    firstP = NewUnlistedDelivery();
    EXPECT_TRUE(IsListedWithoutTheHeap(firstP)) << round;
    secondP = NewUnlistedDelivery();
    EXPECT_TRUE(IsListedWithoutTheHeap(secondP)) << round;
  }
  Mlox_DM_BufferedDelivery* const thirdP = NewUnlistedDelivery();
  EXPECT_FALSE(IsListedWithoutTheHeap(thirdP)) << "both places are taken";
  mState->AddBufferedDelivery(thirdP);
  mState->ClearOwners();
  EXPECT_FALSE(firstP->HasOwner());
  EXPECT_FALSE(secondP->HasOwner());
  EXPECT_FALSE(thirdP->HasOwner());
  firstP->Release();
  secondP->Release();
  thirdP->Release();
}

}  // namespace
