// SPDX-License-Identifier: MIT
#include "cmn/cqcfunknown.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/assert_recorder.h"

namespace {

constexpr _qcfUID kOtherID = {0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};

class Component : public CQCFUnknown {
 public:
  explicit Component(std::vector<std::string>* iLogP, IQCFUnknown* iOuterP = nullptr)
      : CQCFUnknown(iOuterP), mLogP(iLogP) {}
  ~Component() override { mLogP->push_back("destructor"); }
  void InternalLastRelease() override { mLogP->push_back("last release"); }
  void ReclaimMemory() override {
    mLogP->push_back("reclaim");
    CQCFUnknown::ReclaimMemory();
  }

 private:
  std::vector<std::string>* mLogP;
};

class Outer : public IQCFUnknown {
 public:
  std::int32_t QueryInterface(const _qcfUID&, void** oResultPP) override {
    *oResultPP = nullptr;
    return kQCF_NoInterface;
  }
  std::uint32_t AddRef() override { return 77; }
  std::uint32_t Release() override { return 76; }
};

class CQCFUnknownTest : public testing::Test {
 protected:
  std::vector<std::string> mLog;
  Component* mComponentP = new Component(&mLog);
  IQCFUnknown* mUnknownP = mComponentP->GetPrivateUnknown();
};

TEST_F(CQCFUnknownTest, CountStartsAtZeroAndTheOperationsReturnTheNewCount) {
  EXPECT_EQ(mComponentP->GetInterfaceRefCount(), 0u);
  EXPECT_EQ(mUnknownP->AddRef(), 1u);
  EXPECT_EQ(mUnknownP->AddRef(), 2u);
  EXPECT_EQ(mUnknownP->Release(), 1u);
  EXPECT_EQ(mUnknownP->Release(), 0u);
}

TEST_F(CQCFUnknownTest, LastReleaseCallsTheHookThenReclaimsThenDestroys) {
  mUnknownP->AddRef();
  EXPECT_TRUE(mLog.empty());
  mUnknownP->Release();
  EXPECT_EQ(mLog, (std::vector<std::string>{"last release", "reclaim", "destructor"}));
}

// Whoever isn't deleted by its last release can meet one too many.
TEST_F(CQCFUnknownTest, AReleaseBelowZeroReclaimsNothingAgain) {
  class Lasting : public Component {
   public:
    using Component::Component;
    void ReclaimMemory() override { ++mReclaims; }
    int mReclaims = 0;
  };
  std::vector<std::string> log;
  Lasting lasting(&log);
  lasting.InternalAddRef();
  EXPECT_EQ(lasting.InternalRelease(), 0u);
  EXPECT_EQ(lasting.InternalRelease(), 0xFFFFFFFFu);
  EXPECT_EQ(lasting.mReclaims, 1);
  EXPECT_EQ(log, (std::vector<std::string>{"last release"}));
  mUnknownP->AddRef();
  mUnknownP->Release();
}

TEST_F(CQCFUnknownTest, QueryForTheRootGivesThePrivateUnknownWithAReference) {
  void* resultP = nullptr;
  EXPECT_EQ(mComponentP->InternalQueryInterface(IQCFUnknown::kUID, &resultP), 0);
  EXPECT_EQ(resultP, static_cast<void*>(mUnknownP));
  EXPECT_EQ(mUnknownP->Release(), 0u);
}

TEST_F(CQCFUnknownTest, QueryForAnotherIdStoresNullAndReturns0x80000004) {
  void* resultP = &mLog;
  EXPECT_EQ(static_cast<std::uint32_t>(mComponentP->InternalQueryInterface(kOtherID, &resultP)), 0x80000004u);
  EXPECT_EQ(resultP, nullptr);
  mUnknownP->AddRef();
  mUnknownP->Release();
}

TEST_F(CQCFUnknownTest, IdsAreComparedWhole) {
  _qcfUID almost = IQCFUnknown::kUID;
  almost.mData4[7] = 0x47;
  void* resultP = nullptr;
  EXPECT_EQ(static_cast<std::uint32_t>(mUnknownP->QueryInterface(almost, &resultP)), 0x80000004u);
  mUnknownP->AddRef();
  mUnknownP->Release();
}

TEST_F(CQCFUnknownTest, QueryWithoutAPlaceForTheResultIsReported) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(static_cast<std::uint32_t>(mUnknownP->QueryInterface(IQCFUnknown::kUID, nullptr)), 0x80000004u);
  EXPECT_EQ(recorder.Count("oResultPP"), 1);
  mUnknownP->AddRef();
  mUnknownP->Release();
}

TEST_F(CQCFUnknownTest, WithoutAnOuterThePrivateUnknownControls) {
  EXPECT_EQ(mComponentP->GetControllingUnknown(), mUnknownP);
  mUnknownP->AddRef();
  mUnknownP->Release();
}

TEST_F(CQCFUnknownTest, AGivenOuterControlsAndThePrivateUnknownStillCountsTheObject) {
  Outer outer;
  std::vector<std::string> log;
  auto* innerP = new Component(&log, &outer);
  EXPECT_EQ(innerP->GetControllingUnknown(), &outer);
  EXPECT_EQ(innerP->GetControllingUnknown()->AddRef(), 77u);
  EXPECT_EQ(innerP->GetPrivateUnknown()->AddRef(), 1u);
  innerP->GetPrivateUnknown()->Release();
  EXPECT_EQ(log.back(), "destructor");
  mUnknownP->AddRef();
  mUnknownP->Release();
}

TEST_F(CQCFUnknownTest, LiveCountFollowsConstructorsAndDestructors) {
  const std::int32_t before = CQCFUnknown::LiveCount();
  std::vector<std::string> log;
  auto* secondP = new Component(&log);
  EXPECT_EQ(CQCFUnknown::LiveCount(), before + 1);
  secondP->GetPrivateUnknown()->AddRef();
  secondP->GetPrivateUnknown()->Release();
  EXPECT_EQ(CQCFUnknown::LiveCount(), before);
  mUnknownP->AddRef();
  mUnknownP->Release();
}

TEST_F(CQCFUnknownTest, TheOtherHookReturnsZero) {
  EXPECT_EQ(mComponentP->InternalHook(), 0);
  mUnknownP->AddRef();
  mUnknownP->Release();
}

}  // namespace
