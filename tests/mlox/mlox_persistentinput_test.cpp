// SPDX-License-Identifier: MIT
#include "mlox/mlox_persistentinput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "tests/support/assert_recorder.h"
#include "tests/support/fake_service.h"
#include "tests/support/manager_fixture.h"

namespace {

using ::testing::ElementsAre;

class Mlox_PersistentInputTest : public Test_ManagerFixture {
 protected:
  Mlox_PersistentInputTest() : mServiceP(new Test_FakeService("a", nullptr)) {
    Manager().AddService(mServiceP, 16);
  }

  // Tells the manager and lets it tell the listeners.
  void ReportChange() {
    Manager().ServiceInputListChanged(mServiceP);
    Manager().CheckStudioSetup();
  }

  Test_FakeService* mServiceP;
};

TEST_F(Mlox_PersistentInputTest, DefaultIsNullNotMarkedAndListens) {
  const Mlox_PersistentInput reference;
  EXPECT_TRUE(reference.IsNull());
  EXPECT_FALSE(reference.IsNotNull());
  EXPECT_FALSE(reference.InputNeedsReResolving());
  EXPECT_FALSE(reference.IsOnline());
  EXPECT_EQ(reference.GetName(), "");
  EXPECT_EQ(reference.GetDescriptor(), nullptr);
  EXPECT_FALSE(reference.GetInput());
  EXPECT_NE(reference.GetListPtr(), nullptr);
}

TEST_F(Mlox_PersistentInputTest, FromADescriptorIsMarkedListensAndResolvesAtTheFirstQuery) {
  const auto input = mServiceP->AddInput("Keys", 1);
  const Mlox_PersistentInput reference(Test_MakeDescriptor("Keys", 1));
  EXPECT_TRUE(reference.IsNotNull());
  EXPECT_TRUE(reference.InputNeedsReResolving());
  EXPECT_NE(reference.GetListPtr(), nullptr);
  EXPECT_EQ(reference.GetInput().get(), input.get());
  EXPECT_FALSE(reference.InputNeedsReResolving());
}

TEST_F(Mlox_PersistentInputTest, FromANullDescriptorReportsAndIsNullAndMarked) {
  const Test_AssertRecorder recorder;
  const Mlox_PersistentInput reference{std::shared_ptr<const Mlox_DeviceDescriptor>()};
  EXPECT_THAT(recorder.Texts(), ElementsAre("iDescriptorRCP.get() != nullptr"));
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  EXPECT_TRUE(reference.IsNull());
  EXPECT_TRUE(reference.InputNeedsReResolving());
  EXPECT_NE(reference.GetListPtr(), nullptr);
  // The search has nothing to search for: no further report, and the mark clears.
  EXPECT_FALSE(reference.IsOnline());
  EXPECT_FALSE(reference.InputNeedsReResolving());
  EXPECT_EQ(recorder.Count(), 1);
}

TEST_F(Mlox_PersistentInputTest, FromANullInputIsNullAndOffline) {
  const Mlox_PersistentInput reference{Mlox_InputRef()};
  EXPECT_TRUE(reference.IsNull());
  EXPECT_FALSE(reference.IsOnline());
}

TEST_F(Mlox_PersistentInputTest, FromANullInputListensToNobodyAndIsNeverMarked) {
  const Mlox_PersistentInput reference{Mlox_InputRef()};
  EXPECT_EQ(reference.GetListPtr(), nullptr);
  EXPECT_FALSE(reference.InputNeedsReResolving());
  ReportChange();
  EXPECT_FALSE(reference.InputNeedsReResolving());
}

// Deliberate: of all constructors this one alone doesn't listen.
TEST_F(Mlox_PersistentInputTest, FromAnInputKeepsItAndIsNeverMarkedThroughAllListChanges) {
  const auto input = mServiceP->AddInput("Keys", 1);
  const Mlox_PersistentInput reference{Mlox_InputRef(input)};
  EXPECT_EQ(reference.GetListPtr(), nullptr);
  EXPECT_FALSE(reference.InputNeedsReResolving());
  EXPECT_EQ(reference.GetDescriptor(), input->mDescriptorP);
  mServiceP->mInputs.clear();
  ReportChange();
  EXPECT_FALSE(reference.InputNeedsReResolving());
  EXPECT_EQ(reference.GetInput().get(), input.get());
  mServiceP->AddInput("Keys", 1);
  ReportChange();
  EXPECT_FALSE(reference.InputNeedsReResolving());
  EXPECT_EQ(reference.GetInput().get(), input.get());
  EXPECT_TRUE(reference.IsOnline());
}

TEST_F(Mlox_PersistentInputTest, ACopyListensAlsoThatOfAReferenceThatDoesnt) {
  const auto input = mServiceP->AddInput("Keys", 1);
  const Mlox_PersistentInput original{Mlox_InputRef(input)};
  const Mlox_PersistentInput copy(original);
  EXPECT_EQ(copy.GetInput().get(), input.get());
  EXPECT_EQ(copy.GetDescriptor(), original.GetDescriptor());
  EXPECT_NE(copy.GetListPtr(), nullptr);
  ReportChange();
  EXPECT_TRUE(copy.InputNeedsReResolving());
  EXPECT_FALSE(original.InputNeedsReResolving());
}

TEST_F(Mlox_PersistentInputTest, ACopyOfAMarkedReferenceIsMarked) {
  const Mlox_PersistentInput original(Test_MakeDescriptor("Keys", 1));
  const Mlox_PersistentInput copy(original);
  EXPECT_TRUE(copy.InputNeedsReResolving());
}

TEST_F(Mlox_PersistentInputTest, AssigningCopiesAllThreeFieldsAndLeavesTheLink) {
  const auto input = mServiceP->AddInput("Keys", 1);
  const Mlox_PersistentInput listening(Test_MakeDescriptor("Keys", 1));
  Mlox_PersistentInput deaf{Mlox_InputRef(input)};
  deaf = listening;
  EXPECT_EQ(deaf.GetListPtr(), nullptr);
  EXPECT_TRUE(deaf.InputNeedsReResolving());
  Mlox_PersistentInput target;
  const Mlox_PersistentInput source{Mlox_InputRef(input)};
  target = source;
  EXPECT_NE(target.GetListPtr(), nullptr);
  EXPECT_EQ(target.GetInput().get(), input.get());
  EXPECT_EQ(target.GetDescriptor(), input->mDescriptorP);
}

TEST_F(Mlox_PersistentInputTest, AssigningAnUnmarkedReferenceToAMarkedOneTakesTheMarkAway) {
  const auto input = mServiceP->AddInput("Keys", 1);
  mServiceP->AddInput("Pads", 2);
  const Mlox_PersistentInput source{Mlox_InputRef(input)};
  Mlox_PersistentInput target(Test_MakeDescriptor("Pads", 2));
  target = source;
  EXPECT_FALSE(target.InputNeedsReResolving());
  EXPECT_EQ(target.GetInput().get(), input.get());
}

TEST_F(Mlox_PersistentInputTest, DestructionLeavesTheListenersAndReleasesTheDescriptor) {
  const auto descriptor = Test_MakeDescriptor("Keys", 1);
  auto reference = std::make_unique<Mlox_PersistentInput>(descriptor);
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  const Mlox_Manager_Listener* const addressP = reference.get();
  EXPECT_EQ(listener.GetPreviousInList(), addressP);
  EXPECT_EQ(descriptor.use_count(), 2);
  reference.reset();
  EXPECT_NE(listener.GetPreviousInList(), addressP);
  EXPECT_EQ(descriptor.use_count(), 1);
}

TEST_F(Mlox_PersistentInputTest, DestructionReleasesTheInput) {
  auto* inputP = new Test_FakeInput("Keys", 1);
  const auto descriptor = inputP->mDescriptorP;
  auto reference = std::make_unique<Mlox_PersistentInput>(Mlox_InputRef(inputP));
  EXPECT_EQ(descriptor.use_count(), 3) << "the test, the input, the reference";
  reference.reset();
  EXPECT_EQ(descriptor.use_count(), 1);
}

TEST_F(Mlox_PersistentInputTest, AChangeMarksAndTheNextQueryResolves) {
  const auto input = mServiceP->AddInput("Keys", 1);
  const Mlox_PersistentInput reference(Test_MakeDescriptor("Keys", 1));
  EXPECT_TRUE(reference.IsOnline());
  mServiceP->mInputs.clear();
  ReportChange();
  EXPECT_TRUE(reference.InputNeedsReResolving());
  // The name asks for no search.
  EXPECT_EQ(reference.GetName(), "Keys");
  EXPECT_TRUE(reference.InputNeedsReResolving());
  EXPECT_FALSE(reference.GetInput());
  EXPECT_FALSE(reference.InputNeedsReResolving());
}

TEST_F(Mlox_PersistentInputTest, AGoneDeviceTurnsItOfflineAndTheOldDescriptorFindsItAgain) {
  mServiceP->AddInput("Keys", 1);
  const Mlox_PersistentInput reference(Test_MakeDescriptor("Keys", 1));
  EXPECT_TRUE(reference.IsOnline());
  mServiceP->mInputs.clear();
  ReportChange();
  EXPECT_TRUE(reference.InputNeedsReResolving());
  EXPECT_FALSE(reference.IsOnline());
  EXPECT_FALSE(reference.InputNeedsReResolving());
  EXPECT_EQ(reference.GetName(), "Keys");
  EXPECT_TRUE(reference.IsNotNull());
  const auto back = mServiceP->AddInput("Keys", 1);
  ReportChange();
  EXPECT_TRUE(reference.IsOnline());
  EXPECT_EQ(reference.GetInput().get(), back.get());
}

TEST_F(Mlox_PersistentInputTest, GetDescriptorResolvesAndAdoptsTheIdentityOfWhatWasFound) {
  const auto renamed = mServiceP->AddInput("New Keys", 1);
  const Mlox_PersistentInput reference(Test_MakeDescriptor("Keys", 1));
  EXPECT_EQ(reference.GetDescriptor(), renamed->mDescriptorP);
  EXPECT_EQ(reference.GetName(), "New Keys");
}

// There is nothing to search for, so the input stays, and lends its identity as soon as it has one.
TEST_F(Mlox_PersistentInputTest, ASearchWithoutADescriptorKeepsTheInputAndTakesItsDescriptor) {
  const auto input = mServiceP->AddInput("Keys", 1);
  const auto descriptor = std::exchange(input->mDescriptorP, nullptr);
  const Mlox_PersistentInput original{Mlox_InputRef(input)};
  const Mlox_PersistentInput copy(original);
  ReportChange();
  EXPECT_TRUE(copy.IsOnline());
  EXPECT_TRUE(copy.IsNull());
  input->mDescriptorP = descriptor;
  ReportChange();
  EXPECT_EQ(copy.GetDescriptor(), descriptor);
  EXPECT_EQ(copy.GetInput().get(), input.get());
}

TEST_F(Mlox_PersistentInputTest, EqualsSearchesNothing) {
  mServiceP->AddInput("New Keys", 1);
  const Mlox_PersistentInput keys1(Test_MakeDescriptor("Keys", 1)), keys2(Test_MakeDescriptor("Keys", 1));
  EXPECT_TRUE(keys1.Equals(keys2));
  EXPECT_TRUE(keys1.InputNeedsReResolving());
  EXPECT_TRUE(keys2.InputNeedsReResolving());
  EXPECT_EQ(keys1.GetDescriptor()->GetName(), "New Keys");
  EXPECT_FALSE(keys1.Equals(keys2)) << "one has adopted the new identity, the other hasn't searched yet";
}

TEST_F(Mlox_PersistentInputTest, EqualsComparesDescriptorsAndTwoNullReferencesAreEqual) {
  const Mlox_PersistentInput null1, null2;
  const Mlox_PersistentInput keys1(Test_MakeDescriptor("Keys", 1)), keys2(Test_MakeDescriptor("Keys", 1));
  const Mlox_PersistentInput pads(Test_MakeDescriptor("Pads", 1));
  EXPECT_TRUE(null1.Equals(null2));
  EXPECT_FALSE(null1.Equals(keys1));
  EXPECT_FALSE(keys1.Equals(null1));
  EXPECT_TRUE(keys1.Equals(keys2));
  EXPECT_FALSE(keys1.Equals(pads));
}

TEST_F(Mlox_PersistentInputTest, AChangeOfAnythingButTheInputsMarksNothing) {
  const Mlox_PersistentInput reference;
  Manager().ServiceOutputListChanged(mServiceP, true);
  Manager().Service_OutputPreSendChanged();
  Manager().CheckStudioSetup();
  Manager().BroadcastPlugInNodeRegistered(nullptr);
  EXPECT_FALSE(reference.InputNeedsReResolving());
}

TEST_F(Mlox_PersistentInputTest, OutlivesTheServices) {
  mServiceP->AddInput("Keys", 1);
  const Mlox_PersistentInput reference(Test_MakeDescriptor("Keys", 1));
  EXPECT_TRUE(reference.IsOnline());
  Manager().RemoveAllServices();
  EXPECT_FALSE(reference.IsOnline());
  EXPECT_EQ(reference.GetName(), "Keys");
}

}  // namespace
