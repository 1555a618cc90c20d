// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_service.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "mlox/mlox_directmidi/mlox_datasource.h"
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_genericdevdescriptor.h"
#include "mlox/mlox_outputcontext.h"
#include "mlox/mlox_outputdescriptor.h"
#include "tests/mlox/mlox_directmidi/call_on_report.h"
#include "tests/mlox/mlox_directmidi/trace_site.h"
#include "tests/support/assert_mode.h"
#include "tests/support/delayed_deletions.h"
#include "tests/support/dm_fixture.h"
#include "tests/support/fake_service.h"

/// Reaches a list that only the service itself fills.
struct Test_DM_ServiceAccess {
  static Mlox_InputList& Inputs(Mlox_DM_Service& ioService) { return ioService.mInputs; }
  static Mlox_Output* FindOutputInDevice(Mlox_Device* iDeviceP, const Mlox_OutputDescriptor* iDescriptorP) {
    return Mlox_DM_Service::FindOutputInDevice(iDeviceP, iDescriptorP);
  }
};

namespace {

using DescriptorP = std::shared_ptr<const Mlox_DeviceDescriptor>;
using OutputDescriptorRef = Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor>;

OutputDescriptorRef NewOutputDescriptor(const DescriptorP& iDescriptorP, short iChannel) {
  return new Mlox_OutputDescriptor(iDescriptorP, iChannel);
}

/// An input that isn't a plug-in's.
class ForeignInput : public Mlox_Input {
 public:
  Mlox_InputID GetInputID() const override { return Mlox_InputID(1, 1); }
  DescriptorP GetDeviceDescriptor() const override { return nullptr; }
  std::string GetName() const override { return "Foreign"; }
  bool IsMidiChannelAvailable(short) const override { return true; }
  bool IsPhysical() const override { return true; }
  bool IsVirtual() const override { return false; }
  bool IsSyncSource() const override { return false; }
  uint64_t GetTrackPtr() const override { return 0; }
};

class Mlox_DM_ServiceTest : public Test_DM_Fixture {
 protected:
  bool TakeOutputsChanged() {
    const int before = mListener.mOutputsChanged;
    Manager().CheckStudioSetup();
    return mListener.mOutputsChanged != before && mListener.mLastFlag;
  }
  bool TakeInputsChanged() {
    const int before = mListener.mInputsChanged;
    Manager().CheckStudioSetup();
    return mListener.mInputsChanged != before;
  }
};

// ---- the single instance ----

TEST_F(Mlox_DM_ServiceTest, SingletonNullAfterConstructionReturnsTheInstance) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(Mlox_DM_Service::Singleton(nullptr), mServiceP);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_ServiceTest, SingletonOtherReplacesTheInstance) {
  Mlox_DM_Service other(nullptr, &Allocator(), nullptr);
  EXPECT_EQ(Mlox_DM_Service::Singleton(nullptr), &other) << "construction stores the instance";
  EXPECT_EQ(Mlox_DM_Service::Singleton(mServiceP), mServiceP);
  EXPECT_EQ(Mlox_DM_Service::Singleton(nullptr), mServiceP);
}

TEST_F(Mlox_DM_ServiceTest, TheDestructorClearsTheSingletonOnlyIfItIsThisOne) {
  {
    Mlox_DM_Service other(nullptr, &Allocator(), nullptr);
    Mlox_DM_Service::Singleton(mServiceP);
  }
  EXPECT_EQ(Mlox_DM_Service::Singleton(nullptr), mServiceP);
}

TEST_F(Mlox_DM_ServiceTest, SingletonWithoutAnInstanceReportsAndReturnsNull) {
  Manager().RemoveAllServices();
  Test_AssertRecorder recorder;
  EXPECT_EQ(Mlox_DM_Service::Singleton(nullptr), nullptr);
  ASSERT_EQ(recorder.Texts(), std::vector<std::string>{"sSingletonP != nullptr"});
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_service");
}

// ---- indices and allocator ----

TEST_F(Mlox_DM_ServiceTest, SetServiceIndexIsGivenByTheManagerAndMinusOneBefore) {
  EXPECT_EQ(mServiceP->GetServiceIndex(), 1);
  Mlox_DM_Service other(nullptr, &Allocator(), nullptr);
  EXPECT_EQ(other.GetServiceIndex(), -1);
}

TEST_F(Mlox_DM_ServiceTest, GetBufferedDeliveryAllocatorIsTheOneGiven) {
  EXPECT_EQ(mServiceP->GetBufferedDeliveryAllocator(), &Allocator());
}

TEST_F(Mlox_DM_ServiceTest, TheAppCallbackGivenIsKeptAndReachesDevicesTheirOutputsAndGlobalOutputs) {
  Test_FakeAppCallback appCallback;
  Mlox_DM_Service service(nullptr, &Allocator(), &appCallback);
  EXPECT_EQ(Test_AppCallbackOf<Mlox_Service>(service), &appCallback);

  IDirectMIDIClientOutput* const nodes[] = {service.CreateClientOutput("First"),
                                            service.CreateClientOutputEx("Second", 2)};
  for (int i = 0; i < 2; ++i) {
    Mlox_Device* deviceP = service.GetOutputDevice(i);
    EXPECT_EQ(Test_AppCallbackOf<Mlox_Device>(*deviceP), &appCallback);
    EXPECT_EQ(Test_AppCallbackOf<Mlox_BasicOutput>(*deviceP->GetCommonOutput()), &appCallback);
    EXPECT_EQ(Test_AppCallbackOf<Mlox_BasicOutput>(*deviceP->GetOutputForChannel(0)), &appCallback);
  }
  IDirectMIDIGlobalOutput* globalP = service.CreateGlobalOutput();
  EXPECT_EQ(Test_AppCallbackOf<Mlox_BasicOutput>(*static_cast<Mlox_DM_GlobalOutput*>(globalP)), &appCallback);

  globalP->Release();
  for (IDirectMIDIClientOutput* nodeP : nodes) nodeP->Release();
}

// ---- making nodes ----

TEST_F(Mlox_DM_ServiceTest, CreateClientOutputAppendsADeviceWithOneReferenceAndTellsIt) {
  IDirectMIDIClientOutput* firstP = mServiceP->CreateClientOutput("First");
  EXPECT_TRUE(TakeOutputsChanged());
  EXPECT_FALSE(TakeInputsChanged());
  IDirectMIDIClientOutput* secondP = mServiceP->CreateClientOutput("Second");
  ASSERT_EQ(mServiceP->GetNumberOfOutputDevices(), 2);
  EXPECT_EQ(mServiceP->GetOutputDevice(0)->GetName(), "First");
  EXPECT_EQ(mServiceP->GetOutputDevice(1)->GetName(), "Second");
  EXPECT_EQ(mServiceP->GetOutputDevice(0)->GetTrackPtr(), 0u);
  EXPECT_EQ(firstP->Release(), 0u);
  EXPECT_EQ(secondP->Release(), 0u);
}

TEST_F(Mlox_DM_ServiceTest, CreateClientOutputExKeepsTheId) {
  NewOutput("First", 77);
  EXPECT_EQ(mServiceP->GetOutputDevice(0)->GetTrackPtr(), 77u);
}

TEST_F(Mlox_DM_ServiceTest, CreateClientInputAppendsAnInputWithOneReferenceAndTellsIt) {
  IDirectMIDIClientInput* firstP = mServiceP->CreateClientInput("First");
  EXPECT_TRUE(TakeInputsChanged());
  EXPECT_FALSE(TakeOutputsChanged());
  IDirectMIDIClientInput* secondP = mServiceP->CreateClientInput("Second");
  ASSERT_EQ(mServiceP->GetNumberOfInputs(), 2);
  EXPECT_EQ(mServiceP->GetInput(0)->GetName(), "First");
  EXPECT_EQ(mServiceP->GetInput(1)->GetName(), "Second");
  EXPECT_EQ(mServiceP->GetInput(0)->GetTrackPtr(), 0u);
  EXPECT_EQ(firstP->Release(), 0u);
  EXPECT_EQ(secondP->Release(), 0u);
}

TEST_F(Mlox_DM_ServiceTest, CreateClientInputExKeepsTheId) {
  NewClientInput("First", 78);
  EXPECT_EQ(mServiceP->GetInput(0)->GetTrackPtr(), 78u);
}

TEST_F(Mlox_DM_ServiceTest, NullNamesAreEmpty) {
  NewOutput(nullptr);
  NewClientInput(nullptr);
  EXPECT_EQ(mServiceP->GetOutputDevice(0)->GetName(), "");
  EXPECT_EQ(mServiceP->GetInput(0)->GetName(), "");
}

TEST_F(Mlox_DM_ServiceTest, CreateGlobalOutputTellsOfNoChangeSinceItIsNoDevice) {
  IDirectMIDIGlobalOutput* outputP = mServiceP->CreateGlobalOutput();
  EXPECT_FALSE(TakeOutputsChanged());
  EXPECT_FALSE(TakeInputsChanged());
  EXPECT_EQ(mServiceP->GetNumberOfOutputDevices(), 0);
  EXPECT_EQ(outputP->Release(), 0u);
}

// ---- nodes that go ----

TEST_F(Mlox_DM_ServiceTest, DeviceBeingReleasedTakesTheDeviceOffAndTellsIt) {
  IDirectMIDIClientOutput* firstP = mServiceP->CreateClientOutput("First");
  NewOutput("Second");
  TakeOutputsChanged();
  firstP->Release();
  ASSERT_EQ(mServiceP->GetNumberOfOutputDevices(), 1);
  EXPECT_EQ(mServiceP->GetOutputDevice(0)->GetName(), "Second");
  EXPECT_TRUE(TakeOutputsChanged());
}

TEST_F(Mlox_DM_ServiceTest, DeviceBeingReleasedOfAnUnknownDeviceDoesNothing) {
  NewOutput("First");
  TakeOutputsChanged();
  Mlox_DM_Device stranger("Stranger", nullptr, nullptr, 0);
  mServiceP->DeviceBeingReleased(&stranger);
  EXPECT_EQ(mServiceP->GetNumberOfOutputDevices(), 1);
  EXPECT_FALSE(TakeOutputsChanged());
}

TEST_F(Mlox_DM_ServiceTest, InputBeingReleasedDropsTheServicesReferenceAndTellsIt) {
  IDirectMIDIClientInput* nodeP = mServiceP->CreateClientInput("First");
  TakeInputsChanged();
  nodeP->Release();
  EXPECT_EQ(mServiceP->GetNumberOfInputs(), 0);
  EXPECT_TRUE(TakeInputsChanged());
}

TEST_F(Mlox_DM_ServiceTest, InputBeingReleasedOfAnUnknownInputDoesNothing) {
  Mlox_DM_Input* inputP = NewInput("First");
  Mlox_DM_Service other(nullptr, &Allocator(), nullptr);
  TakeInputsChanged();
  other.InputBeingReleased(inputP);
  EXPECT_EQ(mServiceP->GetNumberOfInputs(), 1);
  EXPECT_FALSE(TakeInputsChanged());
}

TEST_F(Mlox_DM_ServiceTest, RemoveGlobalOutputOfAnUnknownOutputDoesNothing) {
  Mlox_DM_Service other(nullptr, &Allocator(), nullptr);
  auto* outputP = static_cast<Mlox_DM_GlobalOutput*>(NewGlobalOutput());
  other.RemoveGlobalOutput(outputP);
  IDirectMIDIBufferedDelivery* deliveryP = outputP->SetBufferedDelivery();
  WriteImmediateNote(*outputP, 60);
  mServiceP->StopPlayback();
  EXPECT_TRUE(Test_DM_Pull(deliveryP, 0, 63).empty()) << "it still stands on the list of its own service";
  deliveryP->Release();
}

TEST_F(Mlox_DM_ServiceTest,
       DestroyingTheServiceBeforeItsDevicesLeavesTheDevicesWorkingAndReportsSetBufferedDelivery) {
  Mlox_DM_Device* deviceP = NewDevice("First");
  Test_DM_Client client;
  deviceP->SetDirectDelivery(&client);
  Test_AssertRecorder recorder;
  Manager().RemoveAllServices();
  EXPECT_EQ(deviceP->GetServiceP(), nullptr);
  WriteImmediateNote(*deviceP->GetOutputForChannel(1), 60);
  EXPECT_EQ(client.mMessages, (std::vector<Test_DM_Message>{{-1, {0x91, 60, 100}}}));
  deviceP->SetName("Renamed");
  deviceP->SetChannelMask(1);
  EXPECT_EQ(deviceP->GetName(), "Renamed");
  EXPECT_EQ(recorder.Count(), 0);
  EXPECT_EQ(deviceP->SetBufferedDelivery(), nullptr) << "there is no allocator any more";
  EXPECT_EQ(recorder.Count(), 1);
  // The fixture releases it after the service: that must not touch the service.
}

TEST_F(Mlox_DM_ServiceTest, TheDestructorLeavesDevicesThatBelongToAnotherServiceAlone) {
  Mlox_DM_Device* deviceP = NewDevice("First");
  Mem2_MasterAllocator allocator;
  Mlox_DM_Service other(nullptr, &allocator, nullptr);
  deviceP->SetServiceP(&other);
  Manager().RemoveAllServices();
  EXPECT_EQ(deviceP->GetServiceP(), &other);
  IDirectMIDIBufferedDelivery* const deliveryP = deviceP->SetBufferedDelivery();
  WriteImmediateNote(*deviceP->GetOutputForChannel(0), 60);
  EXPECT_EQ(allocator.GetCounters().mBlocksInUse, 1u) << "its deliveries stand on the other's allocator";
  deliveryP->Release();
  deviceP->SetServiceP(nullptr);
}

// ---- lists ----

TEST_F(Mlox_DM_ServiceTest, GetOutputDeviceOutOfRangeReportsAndReturnsNull) {
  NewOutput("First");
  Test_AssertRecorder recorder;
  EXPECT_EQ(mServiceP->GetOutputDevice(-1), nullptr);
  EXPECT_EQ(mServiceP->GetOutputDevice(1), nullptr);
  EXPECT_EQ(recorder.Texts(),
            (std::vector<std::string>{"iOutputIndex >= 0", "iOutputIndex < mOutputs.size()"}));
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST_F(Mlox_DM_ServiceTest, GetInputOutOfRangeReportsAndReturnsNull) {
  NewClientInput("First");
  Test_AssertRecorder recorder;
  EXPECT_FALSE(mServiceP->GetInput(-1));
  EXPECT_FALSE(mServiceP->GetInput(1));
  EXPECT_EQ(recorder.Texts(), (std::vector<std::string>{"iInputIndex >= 0", "iInputIndex < mInputs.size()"}));
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST_F(Mlox_DM_ServiceTest, AddInputsToListWithoutAListDoesNothing) {
  NewClientInput("First");
  mServiceP->AddInputsToList(nullptr, kMlox_VirtualInputs, kMlox_NonSyncInputs);
  EXPECT_EQ(mServiceP->GetNumberOfInputs(), 1);
}

TEST_F(Mlox_DM_ServiceTest, AddInputsToListAddsAllForVirtualOneOrTwoAndSyncZeroOrTwoAndNoneOtherwise) {
  NewClientInput("First");
  NewClientInput("Second");
  for (const int virtualSelection : {-1, 0, 1, 2, 3}) {
    for (const int syncSelection : {-1, 0, 1, 2, 3}) {
      Mlox_InputList list{Mlox_InputRef(new ForeignInput)};
      mServiceP->AddInputsToList(&list, static_cast<Mlox_EInputVirtualSelection>(virtualSelection),
                                 static_cast<Mlox_EInputSyncSelection>(syncSelection));
      const bool expectAll =
          (virtualSelection == 1 || virtualSelection == 2) && (syncSelection == 0 || syncSelection == 2);
      ASSERT_EQ(list.size(), expectAll ? 3u : 1u) << virtualSelection << " " << syncSelection;
      EXPECT_EQ(list[0]->GetName(), "Foreign");
      if (expectAll) {
        EXPECT_EQ(list[1]->GetName(), "First");
        EXPECT_EQ(list[2]->GetName(), "Second");
      }
    }
  }
}

TEST_F(Mlox_DM_ServiceTest, WithoutInputsAddInputsToListLeavesTheListAsItIsWhateverTheFilters) {
  const Mlox_InputRef other(new ForeignInput);
  for (int filters = 0; filters < 9; ++filters) {
    Mlox_InputList list = {other};
    mServiceP->AddInputsToList(&list, static_cast<Mlox_EInputVirtualSelection>(filters / 3),
                               static_cast<Mlox_EInputSyncSelection>(filters % 3));
    ASSERT_EQ(list.size(), 1u) << filters;
    EXPECT_EQ(list[0].get(), other.get());
  }
}

TEST_F(Mlox_DM_ServiceTest, CreateOutputContextDoesNothing) {
  Mlox_OutputContext context;
  mServiceP->CreateOutputContext(&context);
  mServiceP->CreateOutputContext(nullptr);
  EXPECT_FALSE(context.IsAccumulatingForBatchDelivery());
}

TEST_F(Mlox_DM_ServiceTest, InputPortBlockInputDoesNothing) {
  Mlox_DM_Input* inputP = NewInput("First");
  Test_DM_RawReceiver raw;
  inputP->Connect(&raw);
  mServiceP->InputPortBlockInput(*inputP, true, nullptr);
  const unsigned char note[] = {0x90, 60, 1};
  EXPECT_TRUE(inputP->ReceiveMIDI(note, 3, 0));
}

TEST_F(Mlox_DM_ServiceTest, KeepsTheEmptySetZeroJitterDelayOfAnyService) {
  Mlox_DM_Device* deviceP = NewDevice("First");
  mServiceP->SetZeroJitterDelay(100);
  EXPECT_EQ(deviceP->Mlox_DM_DeliveryBase::GetZeroJitterDelay(), 0);
}

// ---- matching ----

TEST_F(Mlox_DM_ServiceTest, FindOutputDeviceExactlyMatchingDescriptorReturnsTheFirstThatMatches) {
  NewOutput("Other");
  NewOutput("Synth");
  NewOutput("Synth");
  const DescriptorP byNameP = Mlox_DM_DeviceDescriptor::NewOutput("Synth", 0);
  EXPECT_EQ(mServiceP->FindOutputDeviceExactlyMatchingDescriptor(byNameP.get()),
            mServiceP->GetOutputDevice(1));
  const DescriptorP thirdP = mServiceP->GetOutputDevice(2)->GetDeviceDescriptor();
  EXPECT_EQ(mServiceP->FindOutputDeviceExactlyMatchingDescriptor(thirdP.get()),
            mServiceP->GetOutputDevice(2));
  EXPECT_EQ(mServiceP->FindOutputDeviceExactlyMatchingDescriptor(
                Mlox_DM_DeviceDescriptor::NewOutput("Nobody", 0).get()),
            nullptr);
}

TEST_F(Mlox_DM_ServiceTest, FindOutputDeviceMatchingDescriptorExceptForNameGoesByTheRest) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const DescriptorP oldP = deviceP->GetDeviceDescriptor();
  deviceP->SetName("Renamed");
  EXPECT_EQ(mServiceP->FindOutputDeviceExactlyMatchingDescriptor(oldP.get()), nullptr);
  EXPECT_EQ(mServiceP->FindOutputDeviceMatchingDescriptorExceptForName(oldP.get()), deviceP);
}

TEST_F(Mlox_DM_ServiceTest, FindOutputDeviceWithADescriptorOfAnotherServiceReturnsNull) {
  NewOutput("Synth");
  const DescriptorP foreignP = Mlox_GenericDevDescriptor::New("Synth");
  EXPECT_EQ(mServiceP->FindOutputDeviceExactlyMatchingDescriptor(foreignP.get()), nullptr);
  EXPECT_EQ(mServiceP->FindOutputDeviceMatchingDescriptorExceptForName(foreignP.get()), nullptr);
  EXPECT_EQ(mServiceP->FindOutputDeviceExactlyMatchingDescriptor(nullptr), nullptr);
  EXPECT_EQ(mServiceP->FindOutputDeviceMatchingDescriptorExceptForName(nullptr), nullptr);
}

TEST_F(Mlox_DM_ServiceTest, FindOutputExactlyMatchingDescriptorForAChannelThatTheMaskLacksReturnsNull) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetChannelMask(0xFFF7);
  const DescriptorP descriptorP = deviceP->GetDeviceDescriptor();
  EXPECT_EQ(mServiceP->FindOutputExactlyMatchingDescriptor(NewOutputDescriptor(descriptorP, 3).get()),
            nullptr);
  EXPECT_EQ(mServiceP->FindOutputExactlyMatchingDescriptor(NewOutputDescriptor(descriptorP, 4).get()),
            deviceP->GetOutputForChannel(4));
}

TEST_F(Mlox_DM_ServiceTest,
       FindOutputExactlyMatchingDescriptorForMinusOneReturnsTheCommonOutputWhateverTheMask) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetChannelMask(0);
  EXPECT_EQ(mServiceP->FindOutputExactlyMatchingDescriptor(
                NewOutputDescriptor(deviceP->GetDeviceDescriptor(), -1).get()),
            deviceP->GetCommonOutput());
}

TEST_F(Mlox_DM_ServiceTest, FindOutputMatchingDescriptorExceptForNameFindsARenamedNode) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const auto descriptor = NewOutputDescriptor(deviceP->GetDeviceDescriptor(), 2);
  deviceP->SetName("Renamed");
  EXPECT_EQ(mServiceP->FindOutputExactlyMatchingDescriptor(descriptor.get()), nullptr);
  EXPECT_EQ(mServiceP->FindOutputMatchingDescriptorExceptForName(descriptor.get()),
            deviceP->GetOutputForChannel(2));
}

TEST_F(Mlox_DM_ServiceTest, FindOutputWithoutADeviceOrADescriptorReturnsNull) {
  NewOutput("Synth");
  const auto nobody = NewOutputDescriptor(Mlox_DM_DeviceDescriptor::NewOutput("Nobody", 0), 0);
  EXPECT_EQ(mServiceP->FindOutputExactlyMatchingDescriptor(nobody.get()), nullptr);
  EXPECT_EQ(mServiceP->FindOutputMatchingDescriptorExceptForName(nobody.get()), nullptr);
  EXPECT_EQ(mServiceP->FindOutputExactlyMatchingDescriptor(nullptr), nullptr);
  EXPECT_EQ(mServiceP->FindOutputMatchingDescriptorExceptForName(nullptr), nullptr);
}

/// Answers each search for a device with a device of the test's.
class AnsweringService : public Mlox_DM_Service {
 public:
  AnsweringService() : Mlox_DM_Service(nullptr, nullptr, nullptr) {}
  Mlox_Device* FindOutputDeviceExactlyMatchingDescriptor(const Mlox_DeviceDescriptor*) override {
    return mExactP;
  }
  Mlox_Device* FindOutputDeviceMatchingDescriptorExceptForName(const Mlox_DeviceDescriptor*) override {
    return mExceptForNameP;
  }
  Mlox_Device* mExactP = nullptr;
  Mlox_Device* mExceptForNameP = nullptr;
};

TEST_F(Mlox_DM_ServiceTest, FindOutputAsksTheSearchForADeviceThatADerivedServiceMayReplace) {
  AnsweringService service;
  Mlox_DM_Device* exactP = NewDevice("Exact");
  Mlox_DM_Device* exceptForNameP = NewDevice("ExceptForName");
  service.mExactP = exactP;
  service.mExceptForNameP = exceptForNameP;
  const auto nobody = NewOutputDescriptor(Mlox_DM_DeviceDescriptor::NewOutput("Nobody", 0), 2);
  EXPECT_EQ(service.FindOutputExactlyMatchingDescriptor(nobody.get()), exactP->GetOutputForChannel(2));
  EXPECT_EQ(service.FindOutputMatchingDescriptorExceptForName(nobody.get()),
            exceptForNameP->GetOutputForChannel(2));
}

TEST_F(Mlox_DM_ServiceTest, TheChannelOfAnOutputDescriptorIsTakenAsASignedByte) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  const DescriptorP descriptorP = deviceP->GetDeviceDescriptor();
  EXPECT_EQ(Test_DM_ServiceAccess::FindOutputInDevice(deviceP, NewOutputDescriptor(descriptorP, 255).get()),
            deviceP->GetCommonOutput());
  EXPECT_EQ(Test_DM_ServiceAccess::FindOutputInDevice(deviceP, NewOutputDescriptor(descriptorP, 16).get()),
            nullptr);
  EXPECT_EQ(Test_DM_ServiceAccess::FindOutputInDevice(deviceP, NewOutputDescriptor(descriptorP, -2).get()),
            nullptr);
}

TEST_F(Mlox_DM_ServiceTest, FindInputExactlyMatchingDescriptorReturnsTheFirstThatMatches) {
  NewClientInput("Other");
  Mlox_DM_Input* inputP = NewInput("Keys");
  NewClientInput("Keys");
  EXPECT_EQ(mServiceP->FindInputExactlyMatchingDescriptor(Mlox_DM_DeviceDescriptor::NewInput("Keys", 0)),
            inputP);
  EXPECT_FALSE(
      mServiceP->FindInputExactlyMatchingDescriptor(Mlox_DM_DeviceDescriptor::NewInput("Nobody", 0)));
}

TEST_F(Mlox_DM_ServiceTest, FindInputMatchingDescriptorExceptForNameGoesByTheRest) {
  Mlox_DM_Input* inputP = NewInput("Keys");
  const DescriptorP oldP = inputP->GetDeviceDescriptor();
  inputP->SetName("Renamed");
  EXPECT_FALSE(mServiceP->FindInputExactlyMatchingDescriptor(oldP));
  EXPECT_EQ(mServiceP->FindInputMatchingDescriptorExceptForName(oldP), inputP);
}

TEST_F(Mlox_DM_ServiceTest, FindInputWithADescriptorOfAnotherServiceReturnsNull) {
  NewClientInput("Keys");
  EXPECT_FALSE(mServiceP->FindInputExactlyMatchingDescriptor(Mlox_GenericDevDescriptor::New("Keys")));
  EXPECT_FALSE(mServiceP->FindInputMatchingDescriptorExceptForName(Mlox_GenericDevDescriptor::New("Keys")));
  EXPECT_FALSE(mServiceP->FindInputExactlyMatchingDescriptor(nullptr));
  EXPECT_FALSE(mServiceP->FindInputMatchingDescriptorExceptForName(nullptr));
}

TEST_F(Mlox_DM_ServiceTest, AnInputThatIsNoPlugInsIsReportedInTheTracingFormAndPassedOver) {
  Mlox_DM_Input* inputP = NewInput("Keys");
  Mlox_InputList& inputs = Test_DM_ServiceAccess::Inputs(*mServiceP);
  inputs.insert(inputs.begin(), Mlox_InputRef(new ForeignInput));
  const Test_AssertMode mode(Cmn_Assert::kReport);
  Test_AssertRecorder recorder;
  EXPECT_EQ(mServiceP->FindInputExactlyMatchingDescriptor(inputP->GetDeviceDescriptor()), inputP);
  EXPECT_EQ(mServiceP->FindInputMatchingDescriptorExceptForName(inputP->GetDeviceDescriptor()), inputP);
  EXPECT_TRUE(mServiceP->IsPlugInSource(inputP->GetInputID()));
  EXPECT_EQ(recorder.Count("currentInput"), 3);
  for (const auto& report : recorder.Reports()) {
    EXPECT_EQ(report.mSource, "mlox/mlox_directmidi/mlox_dm_service");
    EXPECT_TRUE(report.mThrowing);
    EXPECT_TRUE(report.mFlag);
  }
  inputs.erase(inputs.begin());
}

TEST_F(Mlox_DM_ServiceTest, AnInputThatIsNoPlugInsThrowsItsReportWhereTheModeAsksForIt) {
  Mlox_DM_Input* inputP = NewInput("Keys");
  Mlox_InputList& inputs = Test_DM_ServiceAccess::Inputs(*mServiceP);
  inputs.insert(inputs.begin(), Mlox_InputRef(new ForeignInput));
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  Test_AssertRecorder recorder;
  EXPECT_THROW(mServiceP->FindInputExactlyMatchingDescriptor(inputP->GetDeviceDescriptor()),
               Cmn_AssertException);
  EXPECT_THROW(mServiceP->IsPlugInSource(inputP->GetInputID()), Cmn_AssertException);
  EXPECT_EQ(recorder.Count("currentInput"), 2);
  inputs.erase(inputs.begin());
}

TEST_F(Mlox_DM_ServiceTest, IsPlugInSourceComparesBothNumbers) {
  NewClientInput("First");
  const Mlox_InputID id = NewInput("Second")->GetInputID();
  EXPECT_TRUE(mServiceP->IsPlugInSource(id));
  EXPECT_FALSE(mServiceP->IsPlugInSource(Mlox_InputID(id.mServiceIndex + 1, id.mInputNumber)));
  EXPECT_FALSE(mServiceP->IsPlugInSource(Mlox_InputID(id.mServiceIndex, id.mInputNumber + 1)));
  EXPECT_TRUE(Manager().IsPlugInSource(id));
}

// ---- data sources ----

/// Writes down what the service asks of it.
class LoggingSource : public Mlox_DataSource {
 public:
  LoggingSource(std::string iName, std::vector<std::string>& ioLog) : mName(std::move(iName)), mLog(ioLog) {}
  virtual ~LoggingSource() = default;
  void Connect(const Cmn_AliasedRefCountPtr<Mlox_BasicOutput>& iOutput) override {
    mLog.push_back(mName + (iOutput ? " connect" : " connect null"));
  }
  void Disconnect(const Cmn_AliasedRefCountPtr<Mlox_BasicOutput>& iOutput) override {
    mLog.push_back(mName + (iOutput ? " disconnect" : " disconnect null"));
  }

 private:
  std::string mName;
  std::vector<std::string>& mLog;
};

TEST_F(Mlox_DM_ServiceTest, EachConnectionGoesToItsSource) {
  std::vector<std::string> log;
  LoggingSource click("click", log), clock("clock", log), mtc("mtc", log);
  mServiceP->SetClickSource(&click);
  mServiceP->SetMidiBeatClockSource(&clock);
  mServiceP->SetMTCSource(&mtc);
  Mlox_BasicOutput* outputP = static_cast<Mlox_DM_GlobalOutput*>(NewGlobalOutput());
  mServiceP->ConnectToClick(outputP);
  mServiceP->ConnectToMidiBeatClock(outputP);
  mServiceP->ConnectToMTC(outputP);
  mServiceP->DisconnectFromClick(outputP);
  mServiceP->DisconnectFromMidiBeatClock(outputP);
  mServiceP->DisconnectFromMTC(outputP);
  EXPECT_EQ(log, (std::vector<std::string>{"click connect", "clock connect", "mtc connect",
                                           "click disconnect", "clock disconnect", "mtc disconnect"}));
}

TEST_F(Mlox_DM_ServiceTest, WithoutASourceConnectionsDoNothing) {
  std::vector<std::string> log;
  LoggingSource click("click", log);
  mServiceP->SetClickSource(&click);
  mServiceP->SetClickSource(nullptr);
  Mlox_BasicOutput* outputP = static_cast<Mlox_DM_GlobalOutput*>(NewGlobalOutput());
  mServiceP->ConnectToClick(outputP);
  mServiceP->ConnectToMidiBeatClock(outputP);
  mServiceP->ConnectToMTC(outputP);
  mServiceP->DisconnectFromClick(outputP);
  mServiceP->DisconnectFromMidiBeatClock(outputP);
  mServiceP->DisconnectFromMTC(outputP);
  EXPECT_TRUE(log.empty());
}

// ---- stopping ----

TEST_F(Mlox_DM_ServiceTest, StopPlaybackClearsTheQueuesAndLeavesOneAllNotesOffForEachChannelOfTheMask) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetChannelMask(0x0003);
  IDirectMIDIBufferedDelivery* deliveryP = deviceP->SetBufferedDelivery();
  WriteImmediateNote(*deviceP->GetCommonOutput(), 60);
  WriteNote(*deviceP->GetOutputForChannel(7), 10, 61);
  mServiceP->StopPlayback();
  EXPECT_EQ(Test_DM_Pull(deliveryP, 0, 63),
            (std::vector<Test_DM_Message>{{10, {0xB0, 123, 0}}, {10, {0xB1, 123, 0}}}))
      << "immediate messages take the time of the last one that left the queue, here the drained note's";
  deliveryP->Release();
}

TEST_F(Mlox_DM_ServiceTest, StopPlaybackLeavesAllNotesOffForTheSixteenChannelsInOrder) {
  IDirectMIDIBufferedDelivery* deliveryP = NewDevice("Synth")->SetBufferedDelivery();
  mServiceP->StopPlayback();
  std::vector<Test_DM_Message> expected;
  for (int channel = 0; channel < 16; ++channel) {
    expected.push_back({0, {static_cast<uint8_t>(0xB0 | channel), 123, 0}});
  }
  EXPECT_EQ(Test_DM_Pull(deliveryP, 0, 63), expected);
  deliveryP->Release();
}

TEST_F(Mlox_DM_ServiceTest, StopPlaybackReachesEveryBufferedDeviceAndEveryGlobalOutput) {
  NewDevice("None");
  Test_DM_Client client;
  NewDevice("Direct")->SetDirectDelivery(&client);
  std::vector<IDirectMIDIBufferedDelivery*> ofDevices;
  for (const char* nameP : {"First buffered", "Second buffered"}) {
    Mlox_DM_Device* deviceP = NewDevice(nameP);
    deviceP->SetChannelMask(0x0004);
    ofDevices.push_back(deviceP->SetBufferedDelivery());
    WriteImmediateNote(*deviceP->GetCommonOutput(), 60);
  }
  std::vector<IDirectMIDIBufferedDelivery*> ofGlobalOutputs;
  for (int i = 0; i < 2; ++i) {
    auto* outputP = static_cast<Mlox_DM_GlobalOutput*>(NewGlobalOutput());
    ofGlobalOutputs.push_back(outputP->SetBufferedDelivery());
    WriteImmediateNote(*outputP, 60);
  }
  mServiceP->StopPlayback();
  for (IDirectMIDIBufferedDelivery* deliveryP : ofDevices) {
    EXPECT_EQ(Test_DM_Pull(deliveryP, 0, 63), (std::vector<Test_DM_Message>{{0, {0xB2, 123, 0}}}));
    deliveryP->Release();
  }
  for (IDirectMIDIBufferedDelivery* deliveryP : ofGlobalOutputs) {
    EXPECT_TRUE(Test_DM_Pull(deliveryP, 0, 63).empty());
    deliveryP->Release();
  }
  EXPECT_TRUE(client.mMessages.empty());
}

/// One event waits in each of some deliveries. The trace line of its block's end tells when a delivery is
/// cleared, and those of allocations when it gets its notes off.
class Mlox_DM_ServiceStopOrderTest : public Mlox_DM_ServiceTest {
 protected:
  ~Mlox_DM_ServiceStopOrderTest() override {
    for (IDirectMIDIBufferedDelivery* deliveryP : mDeliveries) deliveryP->Release();
  }

  /// Makes a node's delivery, writes an event to it and notes the block that this took.
  void Fill(Mlox_DM_DeliveryBase& ioNode, Mlox_AWrite& ioOutput) {
    mDeliveries.push_back(ioNode.SetBufferedDelivery());
    const Test_TraceSite trace(0x2000F27);
    WriteImmediateNote(ioOutput, 60);
    ASSERT_EQ(Test_TraceSite::sLines.size(), 1u);
    const std::string& line = Test_TraceSite::sLines[0];
    const std::string begin = "Mlox_DM_BufferedDelivery alloc ";
    ASSERT_EQ(line.substr(0, begin.size()), begin);
    mBlocks[&ioNode] = line.substr(begin.size(), line.find(' ', begin.size()) - begin.size());
  }
  Mlox_DM_GlobalOutput* FillGlobalOutput() {
    auto* outputP = static_cast<Mlox_DM_GlobalOutput*>(NewGlobalOutput());
    Fill(*outputP, *outputP);
    return outputP;
  }
  Mlox_DM_Device* FillDevice(const char* iNameP) {
    Mlox_DM_Device* deviceP = NewDevice(iNameP);
    deviceP->SetChannelMask(1);
    Fill(*deviceP, *deviceP->GetCommonOutput());
    return deviceP;
  }

  std::string Cleared(const Mlox_DM_DeliveryBase* iNodeP) {
    return "Mlox_DM_BufferedDelivery free " + mBlocks.at(iNodeP);
  }

  /// What a stop writes to the trace; which blocks the notes off take is nobody's business.
  std::vector<std::string> LinesOfAStop() {
    const Test_TraceSite trace(0x2000F27);
    mServiceP->StopPlayback();
    std::vector<std::string> lines = Test_TraceSite::sLines;
    for (std::string& line : lines) {
      if (line.find(" alloc ") != std::string::npos) line = kNotesOff;
    }
    return lines;
  }

  static inline const std::string kNotesOff = "notes off";

 private:
  std::vector<IDirectMIDIBufferedDelivery*> mDeliveries;
  std::map<const Mlox_DM_DeliveryBase*, std::string> mBlocks;
};

TEST_F(Mlox_DM_ServiceStopOrderTest,
       StopPlaybackTakesTheGlobalOutputsInSetOrderAndThenTheDevicesInListOrder) {
  FillDevice("First");
  std::set<Mlox_DM_GlobalOutput*> globalOutputs;
  for (int i = 0; i < 3; ++i) globalOutputs.insert(FillGlobalOutput());
  FillDevice("Second");
  FillDevice("Third");
  std::vector<std::string> expected;
  for (const Mlox_DM_GlobalOutput* outputP : globalOutputs) expected.push_back(Cleared(outputP));
  int index = 0;
  for (const char* const name : {"First", "Second", "Third"}) {
    const auto* deviceP = static_cast<Mlox_DM_Device*>(mServiceP->GetOutputDevice(index++));
    EXPECT_EQ(deviceP->GetName(), name);
    expected.push_back(Cleared(deviceP));
    expected.push_back(kNotesOff);
  }
  EXPECT_EQ(LinesOfAStop(), expected);
}

TEST_F(Mlox_DM_ServiceTest, StopPlaybackOnADeviceWithoutChannelsLeavesNothing) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetChannelMask(0);
  IDirectMIDIBufferedDelivery* deliveryP = deviceP->SetBufferedDelivery();
  WriteImmediateNote(*deviceP->GetCommonOutput(), 60);
  mServiceP->StopPlayback();
  EXPECT_TRUE(Test_DM_Pull(deliveryP, 0, 63).empty());
  deliveryP->Release();
}

TEST_F(Mlox_DM_ServiceTest, StopPlaybackOnADeviceWithDirectDeliveryWritesNothing) {
  Test_DM_Client client;
  NewDevice("Synth")->SetDirectDelivery(&client);
  mServiceP->StopPlayback();
  EXPECT_TRUE(client.mMessages.empty());
}

TEST_F(Mlox_DM_ServiceTest, StopPlaybackOnADeviceWithoutDeliveryDoesNothing) {
  Test_AssertRecorder recorder;
  NewDevice("Synth");
  NewGlobalOutput();
  mServiceP->StopPlayback();
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_ServiceTest, StopPlaybackClearsGlobalOutputsAndGivesThemNoAllNotesOff) {
  auto* outputP = static_cast<Mlox_DM_GlobalOutput*>(NewGlobalOutput());
  IDirectMIDIBufferedDelivery* deliveryP = outputP->SetBufferedDelivery();
  WriteImmediateNote(*outputP, 60);
  mServiceP->StopPlayback();
  EXPECT_TRUE(Test_DM_Pull(deliveryP, 0, 63).empty());
  deliveryP->Release();
}

TEST_F(Mlox_DM_ServiceTest, StopPlaybackTakesTheCurrentDeliveryAlone) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetChannelMask(1);
  IDirectMIDIBufferedDelivery* oldP = deviceP->SetBufferedDelivery();
  WriteImmediateNote(*deviceP->GetCommonOutput(), 60);
  IDirectMIDIBufferedDelivery* newP = deviceP->SetBufferedDelivery();
  mServiceP->StopPlayback();
  EXPECT_EQ(Test_DM_Pull(oldP, 0, 63).size(), 1u);
  EXPECT_EQ(Test_DM_Pull(newP, 0, 63), (std::vector<Test_DM_Message>{{0, {0xB0, 123, 0}}}));
  oldP->Release();
  newP->Release();
}

/// Stops playback while a delivery has one event, and lets the delivery go when the stop frees that: the
/// trace line of it is written in the middle of the clear, and so stands for another thread there.
class Mlox_DM_ServiceStopTest : public Mlox_DM_ServiceTest {
 protected:
  Mlox_DM_ServiceStopTest() { Test_RunDelayedDeletions(); }

  void StopAndLetGoInTheMiddle(IDirectMIDIBufferedDelivery* iDeliveryP) {
    const Test_FakeTime time(Sys_Clock::Microseconds());
    mBlocksBefore = Allocator().GetCounters().mBlocksInUse - 1;
    mComponentsBefore = CQCFUnknown::LiveCount();
    {
      const Test_TraceSite trace(0x2000F27);
      Test_TraceSite::sOnLine = [&] {
        if (Test_TraceSite::sLines.size() > 1) return;
        EXPECT_NE(Test_TraceSite::sLines[0].find(" free "), std::string::npos);
        iDeliveryP->Release();
        Test_PendingAfterManyPasses();
        mWasLetGo = true;
        EXPECT_EQ(CQCFUnknown::LiveCount(), mComponentsBefore) << "the stop goes on with what is gone";
      };
      mServiceP->StopPlayback();
    }
    mPending = Test_PendingAfterManyPasses();
  }

  void ExpectOneDeliveryToHaveOutlivedTheStopAlone() {
    EXPECT_TRUE(mWasLetGo);
    EXPECT_EQ(mPending, 0u);
    EXPECT_EQ(CQCFUnknown::LiveCount(), mComponentsBefore - 2) << "the delivery and its message";
    EXPECT_EQ(Allocator().GetCounters().mBlocksInUse, mBlocksBefore);
  }

  uint64_t mBlocksBefore = 0;
  int32_t mComponentsBefore = 0;
  bool mWasLetGo = false;
  std::size_t mPending = 0;
};

TEST_F(Mlox_DM_ServiceStopTest, ADeliveryOfADeviceThatIsLetGoInTheMiddleOfAStopOutlivesTheStop) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  IDirectMIDIBufferedDelivery* deliveryP = deviceP->SetBufferedDelivery();
  WriteImmediateNote(*deviceP->GetCommonOutput(), 60);
  StopAndLetGoInTheMiddle(deliveryP);
  ExpectOneDeliveryToHaveOutlivedTheStopAlone();
  EXPECT_EQ(deviceP->GetCurrentDelivery(), nullptr);
}

TEST_F(Mlox_DM_ServiceStopTest, ADeliveryOfAGlobalOutputThatIsLetGoInTheMiddleOfAStopOutlivesTheStop) {
  auto* outputP = static_cast<Mlox_DM_GlobalOutput*>(NewGlobalOutput());
  IDirectMIDIBufferedDelivery* deliveryP = outputP->SetBufferedDelivery();
  WriteImmediateNote(*outputP, 60);
  StopAndLetGoInTheMiddle(deliveryP);
  ExpectOneDeliveryToHaveOutlivedTheStopAlone();
  EXPECT_EQ(outputP->GetCurrentDelivery(), nullptr);
}

// ---- the unknown ----

/// An outer object that asks back for what it doesn't know.
class Outer : public IQCFUnknown {
 public:
  int32_t QueryInterface(const _qcfUID& iUID, void** oResultP) override {
    ++mQueries;
    if (iUID == IDirectMIDIMessage::kUID) {
      *oResultP = this;
      return 0;
    }
    return mAskBack(iUID, oResultP);
  }
  uint32_t AddRef() override { return ++mCount; }
  uint32_t Release() override { return --mCount; }
  virtual ~Outer() = default;

  std::function<int32_t(const _qcfUID&, void**)> mAskBack;
  int mQueries = 0;
  uint32_t mCount = 0;
};

TEST_F(Mlox_DM_ServiceTest, InternalQueryInterfacePassesEveryQueryToTheOuterUnknown) {
  Outer outer;
  Mlox_DM_Service service(&outer, &Allocator(), nullptr);
  void* resultP = nullptr;
  EXPECT_EQ(service.InternalQueryInterface(IDirectMIDIMessage::kUID, &resultP), 0);
  EXPECT_EQ(resultP, &outer);
  IDirectMIDI3* interfaceP = &service;
  resultP = nullptr;
  EXPECT_EQ(interfaceP->QueryInterface(IDirectMIDIMessage::kUID, &resultP), 0);
  EXPECT_EQ(resultP, &outer);
  EXPECT_EQ(outer.mQueries, 2);
}

TEST_F(Mlox_DM_ServiceTest, AQueryThatComesBackFromTheOuterGetsNoInterface) {
  Outer outer;
  Mlox_DM_Service service(&outer, &Allocator(), nullptr);
  IDirectMIDI3* interfaceP = &service;
  using AskBack = std::function<int32_t(const _qcfUID&, void**)>;
  const AskBack ways[] = {
      [&](const _qcfUID& iUID, void** oResultP) { return service.InternalQueryInterface(iUID, oResultP); },
      [&](const _qcfUID& iUID, void** oResultP) { return interfaceP->QueryInterface(iUID, oResultP); },
      [&](const _qcfUID& iUID, void** oResultP) {
        return service.GetPrivateUnknown()->QueryInterface(iUID, oResultP);
      }};
  for (const AskBack& way : ways) {
    outer.mAskBack = way;
    outer.mQueries = 0;
    void* resultP = &outer;
    EXPECT_EQ(static_cast<uint32_t>(interfaceP->QueryInterface(IQCFUnknown::kUID, &resultP)), 0x80000004u);
    EXPECT_EQ(resultP, nullptr);
    EXPECT_EQ(outer.mQueries, 1);
  }
}

TEST_F(Mlox_DM_ServiceTest, AnotherQuestionInsideAQueryStillReachesTheOuter) {
  Outer outer;
  Mlox_DM_Service service(&outer, &Allocator(), nullptr);
  outer.mAskBack = [&](const _qcfUID&, void** oResultP) {
    return service.InternalQueryInterface(IDirectMIDIMessage::kUID, oResultP);
  };
  void* resultP = nullptr;
  EXPECT_EQ(service.InternalQueryInterface(IDirectMIDIClientInput::kUID, &resultP), 0);
  EXPECT_EQ(resultP, &outer);
}

TEST_F(Mlox_DM_ServiceTest, AnotherServiceThatIsAskedTheSameInsideAQueryStillReachesItsOwnOuter) {
  Outer outer, otherOuter;
  Mlox_DM_Service service(&outer, &Allocator(), nullptr);
  Mlox_DM_Service otherService(&otherOuter, &Allocator(), nullptr);
  outer.mAskBack = [&](const _qcfUID& iUID, void** oResultP) {
    return otherService.InternalQueryInterface(iUID, oResultP);
  };
  otherOuter.mAskBack = [&](const _qcfUID&, void** oResultP) {
    *oResultP = &otherOuter;
    return 0;
  };
  void* resultP = nullptr;
  EXPECT_EQ(service.InternalQueryInterface(IQCFUnknown::kUID, &resultP), 0);
  EXPECT_EQ(resultP, &otherOuter);
  EXPECT_EQ(outer.mQueries, 1);
  EXPECT_EQ(otherOuter.mQueries, 1);
}

TEST_F(Mlox_DM_ServiceTest, AQueryThatComesBackThroughAnotherServiceGetsNoInterface) {
  Outer outer, otherOuter;
  Mlox_DM_Service service(&outer, &Allocator(), nullptr);
  Mlox_DM_Service otherService(&otherOuter, &Allocator(), nullptr);
  outer.mAskBack = [&](const _qcfUID& iUID, void** oResultP) {
    return otherService.InternalQueryInterface(iUID, oResultP);
  };
  otherOuter.mAskBack = [&](const _qcfUID& iUID, void** oResultP) {
    // Rather a wrong answer than two services that ask each other for ever.
    if (otherOuter.mQueries > 1) return 0;
    return service.InternalQueryInterface(iUID, oResultP);
  };
  void* resultP = &outer;
  EXPECT_EQ(static_cast<uint32_t>(service.InternalQueryInterface(IQCFUnknown::kUID, &resultP)), 0x80000004u);
  EXPECT_EQ(resultP, nullptr);
  EXPECT_EQ(outer.mQueries, 1);
  EXPECT_EQ(otherOuter.mQueries, 1);
}

TEST_F(Mlox_DM_ServiceTest, TheOuterUnknownCountsTheReferences) {
  Outer outer;
  Mlox_DM_Service service(&outer, &Allocator(), nullptr);
  IDirectMIDI3* interfaceP = &service;
  EXPECT_EQ(interfaceP->AddRef(), 1u);
  EXPECT_EQ(outer.mCount, 1u);
  EXPECT_EQ(interfaceP->Release(), 0u);
}

TEST_F(Mlox_DM_ServiceTest, WithoutAnOuterUnknownTheBaseAnswers) {
  IDirectMIDI3* interfaceP = mServiceP;
  void* resultP = nullptr;
  EXPECT_EQ(interfaceP->QueryInterface(IQCFUnknown::kUID, &resultP), 0);
  EXPECT_EQ(resultP, mServiceP->GetPrivateUnknown());
  EXPECT_EQ(interfaceP->Release(), 0u);
  EXPECT_EQ(static_cast<uint32_t>(interfaceP->QueryInterface(IDirectMIDIClientOutput::kUID, &resultP)),
            0x80000004u);
  EXPECT_EQ(resultP, nullptr);
}

TEST_F(Mlox_DM_ServiceTest, ReclaimMemoryDoesNothingAtACountOfZero) {
  IDirectMIDI3* interfaceP = mServiceP;
  EXPECT_EQ(interfaceP->AddRef(), 1u);
  EXPECT_EQ(interfaceP->Release(), 0u);
  EXPECT_EQ(mServiceP->GetServiceIndex(), 1);
  EXPECT_EQ(interfaceP->AddRef(), 1u);
  EXPECT_EQ(interfaceP->Release(), 0u);
}

}  // namespace
