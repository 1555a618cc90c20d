// SPDX-License-Identifier: MIT
#include "mlox/mlox_inputport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "tests/support/assert_recorder.h"
#include "tests/support/fake_service.h"
#include "tests/support/manager_fixture.h"

namespace {

using ::testing::ElementsAre;

constexpr char kIndexText[] = "iServiceIndex >= 1 && iServiceIndex < Mlox_cMaxInstalledServices";

class Mlox_InputPortTest : public Test_ManagerFixture {};

TEST_F(Mlox_InputPortTest, HasItsReceiverAndNoEntries) {
  Test_RecordingReceiver receiver;
  const Mlox_InputPort port(&receiver);
  EXPECT_EQ(port.GetRawMidiReceiver(), &receiver);
  for (int index = 1; index < 4; ++index) EXPECT_EQ(port.GetServiceEntry(index), nullptr) << index;
}

TEST_F(Mlox_InputPortTest, KeepsAnEntryForEachOfTheIndices1To3) {
  int records[4] = {};
  Mlox_InputPort port(nullptr);
  for (int index = 1; index < 4; ++index) port.SetServiceEntry(index, &records[index]);
  for (int index = 1; index < 4; ++index) EXPECT_EQ(port.GetServiceEntry(index), &records[index]) << index;
}

TEST_F(Mlox_InputPortTest, IndicesOutside1To3AreReportedAndHaveNoEntry) {
  int record = 0;
  Mlox_InputPort port(nullptr);
  for (const int index : {-1, 0, 4, 5}) {
    const Test_AssertRecorder recorder;
    port.SetServiceEntry(index, &record);
    EXPECT_EQ(port.GetServiceEntry(index), nullptr) << index;
    EXPECT_EQ(recorder.Count(kIndexText), 2) << index;
  }
  for (int index = 1; index < 4; ++index) EXPECT_EQ(port.GetServiceEntry(index), nullptr) << index;
}

TEST_F(Mlox_InputPortTest, ConnectAndCloseGoDownToAllServicesInTableOrder) {
  auto* firstP = new Test_FakeService("first", &mLog);
  auto* secondP = new Test_FakeService("second", &mLog);
  Manager().AddService(firstP, 16);
  Manager().AddService(secondP, 32);
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  const Mlox_InputList inputs = {firstP->AddInput("Keys")};
  mLog.clear();

  port->ConnectToInputs(inputs);
  EXPECT_THAT(mLog, ElementsAre("first ConnectInputsToInputPort", "second ConnectInputsToInputPort"));
  EXPECT_EQ(secondP->mLastPortP, port.get());
  ASSERT_EQ(secondP->mConnectedInputs.size(), 1u);
  EXPECT_EQ(secondP->mConnectedInputs[0].get(), inputs[0].get());
  mLog.clear();

  port->CloseCurrentConnections();
  EXPECT_THAT(mLog, ElementsAre("first InputPortCloseConnections", "second InputPortCloseConnections"));
}

// What an empty list means is each service's own matter.
TEST_F(Mlox_InputPortTest, ConnectingToNothingIsHandedToTheServicesToo) {
  auto* serviceP = new Test_FakeService("service", &mLog);
  Manager().AddService(serviceP, 16);
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  port->ConnectToInputs({serviceP->AddInput("Keys")});
  mLog.clear();
  port->ConnectToInputs({});
  EXPECT_THAT(mLog, ElementsAre("service ConnectInputsToInputPort"));
  EXPECT_TRUE(serviceP->mConnectedInputs.empty());
}

TEST_F(Mlox_InputPortTest, ConnectAndCloseWithoutServicesDoNothing) {
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  const Test_AssertRecorder recorder;
  port->ConnectToInputs({});
  port->CloseCurrentConnections();
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_InputPortTest, ClosingClearsNoEntry) {
  int record = 0;
  Manager().AddService(new Test_FakeService, 16);
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  port->SetServiceEntry(1, &record);
  port->CloseCurrentConnections();
  EXPECT_EQ(port->GetServiceEntry(1), &record);
}

TEST_F(Mlox_InputPortTest, DestructionLeavesTheManagersListAndClosesNothing) {
  auto* serviceP = new Test_FakeService("service", &mLog);
  Manager().AddService(serviceP, 16);
  std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  EXPECT_NE(port->GetListPtr(), nullptr);
  mLog.clear();
  port.reset();
  EXPECT_TRUE(mLog.empty());
  // Nor is it visited any more.
  const Mlox_InputRef input(new Test_FakeInput("Keys"));
  Manager().BlockInput(*input, true);
  EXPECT_TRUE(mLog.empty());
}

TEST_F(Mlox_InputPortTest, ACopyIsInNoListAndHasReceiverAndEntries) {
  int record = 0;
  Test_RecordingReceiver receiver;
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(&receiver));
  port->SetServiceEntry(2, &record);
  const Mlox_InputPort copy(*port);
  EXPECT_EQ(copy.GetListPtr(), nullptr);
  EXPECT_EQ(copy.GetRawMidiReceiver(), &receiver);
  EXPECT_EQ(copy.GetServiceEntry(2), &record);
}

TEST_F(Mlox_InputPortTest, AssigningCopiesReceiverAndEntriesAndLeavesTheLink) {
  int record = 0;
  Test_RecordingReceiver receiver;
  Mlox_InputPort source(&receiver);
  source.SetServiceEntry(3, &record);
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  auto* listP = port->GetListPtr();
  *port = source;
  EXPECT_EQ(port->GetListPtr(), listP);
  EXPECT_EQ(port->GetRawMidiReceiver(), &receiver);
  EXPECT_EQ(port->GetServiceEntry(3), &record);
}

}  // namespace
