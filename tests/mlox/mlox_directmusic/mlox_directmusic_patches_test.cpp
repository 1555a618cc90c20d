// SPDX-License-Identifier: MIT
// The name document, the banks and the modes that a device keeps in the studio, and what its outputs make of
// them.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cmn/cmn_polyvector.h"
#include "cmn/sys_filelocposix.h"
#include "mdid/mdie_programevent.h"
#include "tests/midixml/name_documents.h"
#include "tests/mlox/mlox_directmusic/device_fixture.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

namespace {

using Lines = std::vector<std::string>;
using Banks = Cmn_PolyVector<Mlox_PatchNameBankInfo*>;

// A channel name set with one bank of so many patches, "<set>0" and on, assigned to a channel by one mode.
std::string Set(const std::string& iName, int iPatches) {
  std::string text = "<ChannelNameSet Name='" + iName + "'><PatchBank Name='Bank of " + iName +
                     "'><MIDICommands><ControlChange Control='0' Value='9'/></MIDICommands>"
                     "<UsesPatchNameList Name='List of " +
                     iName + "'/></PatchBank></ChannelNameSet><PatchNameList Name='List of " + iName + "'>";
  for (int program = 0; program < iPatches; ++program) {
    text += "<Patch Number='" + std::to_string(program) + "' Name='" + iName + std::to_string(program) +
            "' ProgramChange='" + std::to_string(program) + "'/>";
  }
  return text + "</PatchNameList>";
}

// The document of one device: sets "Pianos" (3 patches) and "Drums" (2); its mode gives channel 3 the pianos.
std::string DeviceDocument(const std::string& iMaker = "Maker", const std::string& iModel = "Model") {
  return Test_Document(
      "<MasterDeviceNames><Manufacturer>" + iMaker + "</Manufacturer><Model>" + iModel +
      "</Model><CustomDeviceMode Name='Multi'><ChannelNameSetAssignments><ChannelNameSetAssign Channel='4' "
      "NameSet='Pianos'/></ChannelNameSetAssignments></CustomDeviceMode>" +
      Set("Pianos", 3) + Set("Drums", 2) + "</MasterDeviceNames>");
}

class Mlox_DirectMusic_PatchesTest : public Test_DeviceFixture {
 protected:
  /// Stores a document as the device's.
  void StoreMaster(const std::string& iPath) {
    StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceMasterNamesFileLoc()) = iPath;
  }
  bool HasMaster() const {
    return mDevice.mStrings.count(Test_KeyText(getter_wrapper::Get_PROPID_DeviceMasterNamesFileLoc())) > 0;
  }
  std::string Master() { return StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceMasterNamesFileLoc()); }
  std::vector<std::string>& Modes() {
    return mDevice.mArrays[Test_KeyText(getter_wrapper::Get_PROPID_DeviceChannelModes())];
  }

  Test_TempFolder mFolder;
  Test_Environment mBase{"MLOX_PATCH_NAMES_DIR", mFolder.Path()};
};

// ---- the name document ----

class Mlox_DirectMusic_NameDocumentTest : public Mlox_DirectMusic_PatchesTest {
 protected:
  // Asks a new device.
  bool Ask() { return NewDevice(mEndpoint)->GetFactoryPatchFileName(&mFile, &mIsDefault); }

  Sys_FileLoc mFile;
  bool mIsDefault = false;
};

TEST_F(Mlox_DirectMusic_NameDocumentTest, AStoredOneIsGiven) {
  StoreMaster("/somewhere/names.midnam");
  mIsDefault = true;
  EXPECT_TRUE(Ask());
  EXPECT_EQ(mFile.GetFullPath(), "/somewhere/names.midnam");
  EXPECT_FALSE(mIsDefault);
  EXPECT_TRUE(NewDevice(mEndpoint)->GetFactoryPatchFileName(&mFile, nullptr)) << "the flag may be left out";
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, AStoredEmptyTextIsNoLocation) {
  StoreMaster("");
  mIsDefault = true;
  EXPECT_TRUE(Ask());
  EXPECT_FALSE(mFile);
  EXPECT_FALSE(mIsDefault);
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, NullOrNoRawDeviceGivesNothing) {
  EXPECT_FALSE(NewDevice(mEndpoint)->GetFactoryPatchFileName(nullptr, &mIsDefault));
  Mlox_DirectMusic_Device empty(nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_FALSE(empty.GetFactoryPatchFileName(&mFile, &mIsDefault));
  empty.SetFactoryPatchFileName(mFile);
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, OneThatCannotBeFoundIsFalseAndTheDefault) {
  mFile = Sys_FileLoc(std::make_shared<Sys_FileLocPosix>("/before"));
  EXPECT_FALSE(Ask());
  EXPECT_TRUE(mIsDefault);
  EXPECT_FALSE(mFile) << "no location";
  EXPECT_FALSE(HasMaster());
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, AFailureOfTheStudioIsFalseAndNotTheDefault) {
  mFolder.MakeFile("Maker Model.midnam");
  mStudio->Calls().Fail("GetStringProperty master", E_FAIL);
  mIsDefault = true;
  EXPECT_FALSE(Ask());
  EXPECT_FALSE(mIsDefault);
  EXPECT_FALSE(mFile);
  EXPECT_FALSE(HasMaster()) << "nothing is searched";
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, OneThatIsFoundByMakerAndModelIsStored) {
  mFolder.MakeFile("Maker Model.midnam");
  EXPECT_TRUE(Ask());
  EXPECT_EQ(mFile.GetFullPath(), mFolder / "Maker Model.midnam");
  EXPECT_FALSE(mIsDefault);
  EXPECT_EQ(mStudio->Calls().LinesBeginning("SetStringProperty"),
            (Lines{"SetStringProperty master " + (mFolder / "Maker Model.midnam") + " -1"}));
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, FromThenOnThePropertyIsUsedWithoutASearch) {
  mFolder.MakeFile("Maker Model.midnam");
  EXPECT_TRUE(Ask());
  mFolder.MakeFile("Maker/Maker Model.midnam");  // would come first in a search
  EXPECT_TRUE(Ask());
  EXPECT_EQ(mFile.GetFullPath(), mFolder / "Maker Model.midnam");
  EXPECT_EQ(mStudio->Calls().CountBeginning("SetStringProperty"), 1);
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, LetterCaseDoesNotCount) {
  mFolder.MakeFile("mAKER mODEL.midnam");
  EXPECT_TRUE(Ask());
  EXPECT_EQ(Master(), mFolder / "mAKER mODEL.midnam");
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, OneInsideFoldersIsFoundByItsLastName) {
  mFolder.MakeFile("Synths/Old/Maker Model.midnam");
  EXPECT_TRUE(Ask());
  EXPECT_EQ(mFile.GetFullPath(), mFolder / "Synths/Old/Maker Model.midnam");
  EXPECT_EQ(Master(), mFolder / "Synths/Old/Maker Model.midnam");
}

// The scan leaves out what stands before a "\\" in a file's name, and a ":" behind it stays.
TEST_F(Mlox_DirectMusic_NameDocumentTest, WithoutABackslashAColonSeparatesTheLastNameAndTheFolders) {
  mFolder.MakeFile("x\\Synths:Old:Maker Model.midnam");
  EXPECT_TRUE(Ask());
  EXPECT_EQ(mFile.GetFullPath(), mFolder / "Synths:Old:Maker Model.midnam");
  EXPECT_EQ(Master(), mFolder / "Synths/Old/Maker Model.midnam");
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, BehindABackslashAColonIsPartOfTheLastNameAndSeparatesFoldersYet) {
  mFolder.MakeFile("Aaa/x\\Old:Maker Model.midnam");
  EXPECT_FALSE(Ask()) << "another maker's";
  StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceManufacturerName()) = "Old:Maker";
  EXPECT_TRUE(Ask());
  EXPECT_EQ(Master(), mFolder / "Aaa/Old/Maker Model.midnam");
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, OfTwoFoldersThatHoldOneTheFirstInScanOrderWins) {
  mFolder.MakeFile("Aaa/Maker Model.midnam");
  mFolder.MakeFile("Bbb/Maker Model.midnam");
  EXPECT_TRUE(Ask());
  EXPECT_EQ(Master(), mFolder / "Aaa/Maker Model.midnam");
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, TheMakersFolderComesFirstThenThatOfTheApplication) {
  mFolder.MakeFile("Aaa/Maker Model.midnam");
  mFolder.MakeFile("Quilsonics/Maker Model.midnam");
  EXPECT_TRUE(Ask());
  EXPECT_EQ(Master(), mFolder / "Quilsonics/Maker Model.midnam");
  mDevice.mStrings.erase(Test_KeyText(getter_wrapper::Get_PROPID_DeviceMasterNamesFileLoc()));
  mFolder.MakeFile("Maker/Maker Model.midnam");
  EXPECT_TRUE(Ask());
  EXPECT_EQ(Master(), mFolder / "Maker/Maker Model.midnam");
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, OthersAndThoseOfAnotherModelDoNotFit) {
  mFolder.MakeFile("Maker Model 2.midnam");
  mFolder.MakeFile("Model.midnam");
  mFolder.MakeFile("Maker/Model.midnam");
  EXPECT_FALSE(Ask());
  EXPECT_TRUE(mIsDefault);
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, NothingIsSearchedWithoutMakerOrModel) {
  mFolder.MakeFile("Maker Model.midnam");
  StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceModelName()) = "";
  EXPECT_FALSE(Ask());
  StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceModelName()) = "Model";
  StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceManufacturerName()) = "";
  EXPECT_FALSE(Ask());
}

TEST_F(Mlox_DirectMusic_NameDocumentTest, AChosenOneIsStoredAndNoneAsTheEmptyText) {
  const auto device = NewDevice(mEndpoint);
  device->SetFactoryPatchFileName(Sys_FileLoc(std::make_shared<Sys_FileLocPosix>("/a/b.midnam")));
  EXPECT_EQ(Master(), "/a/b.midnam");
  device->SetFactoryPatchFileName(Sys_FileLoc());
  EXPECT_EQ(Master(), "");
  mStudio->Calls().Fail("SetStringProperty", E_FAIL);
  device->SetFactoryPatchFileName(Sys_FileLoc());
}

// ---- banks ----

struct OwnedBanks {
  OwnedBanks() = default;
  OwnedBanks(const OwnedBanks&) = delete;
  OwnedBanks& operator=(const OwnedBanks&) = delete;
  ~OwnedBanks() {
    for (Mlox_PatchNameBankInfo* bankP : mBanks) delete bankP;
  }
  Banks mBanks;
};

using Mlox_DirectMusic_BanksTest = Mlox_DirectMusic_PatchesTest;

TEST_F(Mlox_DirectMusic_BanksTest, EachOfTheStudiosBanksIsGiven) {
  mDevice.mBanks = {{"One", "/a/one.midnam", "List one"}, {"Two", "", ""}};
  OwnedBanks owned;
  bool isDefault = true;
  EXPECT_TRUE(NewDevice(mEndpoint)->GetBankPatchInfo(&owned.mBanks, &isDefault));
  EXPECT_FALSE(isDefault);
  ASSERT_EQ(owned.mBanks.Size(), 2u);
  EXPECT_EQ(owned.mBanks[0]->mBankName, "One");
  EXPECT_EQ(owned.mBanks[0]->mFile.GetFullPath(), "/a/one.midnam");
  EXPECT_EQ(owned.mBanks[0]->mPatchNameListName, "List one");
  EXPECT_EQ(owned.mBanks[1]->mBankName, "Two");
  EXPECT_FALSE(owned.mBanks[1]->mFile);
  EXPECT_EQ(owned.mBanks[1]->mPatchNameListName, "");
}

TEST_F(Mlox_DirectMusic_BanksTest, NoBanksAreTrueAndTheDefaultAndWhatTheVectorOwnedIsDeleted) {
  OwnedBanks owned;
  owned.mBanks.PushBack(new Mlox_PatchNameBankInfo);
  bool isDefault = false;
  const auto device = NewDevice(mEndpoint);
  EXPECT_TRUE(device->GetBankPatchInfo(&owned.mBanks, &isDefault));
  EXPECT_TRUE(isDefault);
  EXPECT_EQ(owned.mBanks.Size(), 0u);
  EXPECT_TRUE(device->GetBankPatchInfo(&owned.mBanks, nullptr));
}

TEST_F(Mlox_DirectMusic_BanksTest, ABankThatCannotBeHadIsSkipped) {
  mDevice.mBanks = {{"One", "", ""}, {"Two", "", ""}, {"Three", "", ""}};
  mStudio->Calls().Fail("GetPatchBank 0", E_FAIL);
  mStudio->Calls().Fail("GetPatchBank 1", S_OK);  // a success without a bank
  OwnedBanks owned;
  EXPECT_TRUE(NewDevice(mEndpoint)->GetBankPatchInfo(&owned.mBanks, nullptr));
  ASSERT_EQ(owned.mBanks.Size(), 1u);
  EXPECT_EQ(owned.mBanks[0]->mBankName, "Three");
}

// A bank of which only the name of the list can be read.
class HalfReadableBank final : public IStudioPatchBank {
 public:
  HRESULT GetName(BSTR*) override { return E_FAIL; }
  HRESULT GetFile(BSTR*) override { return S_FALSE; }
  HRESULT GetPatchNameList(BSTR* oName) override {
    *oName = SysAllocString(u"List");
    return S_OK;
  }
};

// A device whose studio counts more banks than anyone can read, all but one missing.
class EndlessDevice final : public IDeviceProperties {
 public:
  HRESULT GetPatchBankCount(int* oCount) override {
    *oCount = mCount;
    return S_OK;
  }
  HRESULT GetPatchBank(int iIndex, std::shared_ptr<IStudioPatchBank>* oBank) override {
    ++mAsked;
    if (iIndex != 0) return E_FAIL;
    *oBank = std::make_shared<HalfReadableBank>();
    return S_OK;
  }
  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>*) override { return E_FAIL; }
  HRESULT CompareRaw(std::shared_ptr<IDeviceProperties>) override { return E_FAIL; }
  HRESULT GetFlagProperty(const OLECHAR*, BSTR*, DWORD*, VARIANT_BOOL*) override { return E_FAIL; }
  HRESULT GetIntProperty(const OLECHAR*, BSTR*, DWORD*, LONG*) override { return E_FAIL; }
  HRESULT GetStringProperty(const OLECHAR*, BSTR*, DWORD*, BSTR*) override { return E_FAIL; }
  HRESULT SetStringProperty(const OLECHAR*, const OLECHAR*, const OLECHAR*, LONG) override { return E_FAIL; }
  HRESULT GetDoubleProperty(const OLECHAR*, BSTR*, DWORD*, double*) override { return E_FAIL; }
  HRESULT GetArrayCount(const OLECHAR*, int*) override { return E_FAIL; }
  HRESULT GetArrayItem(const OLECHAR*, int, BSTR*) override { return E_FAIL; }
  HRESULT AppendArrayItem(const OLECHAR*, const OLECHAR*, LONG, const OLECHAR*) override { return E_FAIL; }
  HRESULT SetArrayItem(const OLECHAR*, int, const OLECHAR*) override { return E_FAIL; }
  HRESULT GetEntityCount(int*) override { return E_FAIL; }
  HRESULT GetEntity(int, std::shared_ptr<IEntityProperties>*) override { return E_FAIL; }

  int mCount = 1;
  int mAsked = 0;
};

TEST_F(Mlox_DirectMusic_BanksTest, AGetterThatFailsLeavesItsFieldEmpty) {
  Mlox_DirectMusic_Device device(nullptr, std::make_shared<EndlessDevice>(), nullptr, nullptr, nullptr);
  OwnedBanks owned;
  EXPECT_TRUE(device.GetBankPatchInfo(&owned.mBanks, nullptr));
  ASSERT_EQ(owned.mBanks.Size(), 1u);
  EXPECT_EQ(owned.mBanks[0]->mBankName, "");
  EXPECT_FALSE(owned.mBanks[0]->mFile);
  EXPECT_EQ(owned.mBanks[0]->mPatchNameListName, "List");
}

TEST_F(Mlox_DirectMusic_BanksTest, BanksOfWhichNoneCanBeHadAreTheDefault) {
  mDevice.mBanks = {{"One", "", ""}};
  mStudio->Calls().Fail("GetPatchBank 0", E_FAIL);
  OwnedBanks owned;
  bool isDefault = false;
  EXPECT_TRUE(NewDevice(mEndpoint)->GetBankPatchInfo(&owned.mBanks, &isDefault));
  EXPECT_TRUE(isDefault);
}

TEST_F(Mlox_DirectMusic_BanksTest, ACountOutOfAllMeasureKeepsNobodyForEver) {
  const auto raw = std::make_shared<EndlessDevice>();
  raw->mCount = 2000000000;
  Mlox_DirectMusic_Device device(nullptr, raw, nullptr, nullptr, nullptr);
  OwnedBanks owned;
  EXPECT_TRUE(device.GetBankPatchInfo(&owned.mBanks, nullptr));
  EXPECT_EQ(owned.mBanks.Size(), 1u);
  EXPECT_EQ(raw->mAsked, 1 + 4096);
}

TEST_F(Mlox_DirectMusic_BanksTest, WithoutACountAVectorOrARawDeviceThereIsNoAnswer) {
  const auto device = NewDevice(mEndpoint);
  mStudio->Calls().Fail("GetPatchBankCount", E_FAIL);
  OwnedBanks owned;
  bool isDefault = false;
  EXPECT_FALSE(device->GetBankPatchInfo(&owned.mBanks, &isDefault));
  EXPECT_TRUE(isDefault);
  EXPECT_FALSE(device->GetBankPatchInfo(nullptr, &isDefault));
  Mlox_DirectMusic_Device empty(nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_FALSE(empty.GetBankPatchInfo(&owned.mBanks, &isDefault));
}

// ---- modes ----

class Mlox_DirectMusic_ModesTest : public Mlox_DirectMusic_PatchesTest {
 protected:
  bool Ask(int iChannel) { return NewDevice(mEndpoint)->GetPatchNameMode(iChannel, &mMode, &mIsDefault); }

  std::string mMode = "before";
  bool mIsDefault = false;
};

TEST_F(Mlox_DirectMusic_ModesTest, Channel15OfAListOf17RowsIsRow16) {
  Modes().assign(17, "");
  Modes()[16] = "Drums";
  mIsDefault = true;
  EXPECT_TRUE(Ask(15));
  EXPECT_EQ(mMode, "Drums");
  EXPECT_FALSE(mIsDefault);
}

TEST_F(Mlox_DirectMusic_ModesTest, Channel15OfAListOf16RowsFindsNothingAndIsTheDefault) {
  Modes().assign(16, "Drums");
  EXPECT_FALSE(Ask(15));
  EXPECT_EQ(mMode, "before");
  EXPECT_TRUE(mIsDefault);
}

TEST_F(Mlox_DirectMusic_ModesTest, Channel0IsRow1) {
  Modes() = {"the device's", "first", "second"};
  EXPECT_TRUE(Ask(0));
  EXPECT_EQ(mMode, "first");
}

TEST_F(Mlox_DirectMusic_ModesTest, AnEmptyRowIsFoundAndNoDefault) {
  Modes().assign(17, "");
  EXPECT_TRUE(Ask(3));
  EXPECT_EQ(mMode, "");
  EXPECT_FALSE(mIsDefault);
}

TEST_F(Mlox_DirectMusic_ModesTest, AnAbsentListIsTrueAndTheDefault) {
  EXPECT_TRUE(Ask(3));
  EXPECT_EQ(mMode, "before");
  EXPECT_TRUE(mIsDefault);
}

TEST_F(Mlox_DirectMusic_ModesTest, AnAbsentRowIsTrueAndAFailedOneIsFalse) {
  Modes().assign(17, "x");
  mStudio->Calls().Fail("GetArrayItem", S_FALSE);
  EXPECT_TRUE(Ask(3));
  EXPECT_TRUE(mIsDefault);
  mStudio->Calls().Fail("GetArrayItem", E_FAIL);
  mIsDefault = false;
  EXPECT_FALSE(Ask(3));
  EXPECT_TRUE(mIsDefault);
  mStudio->Calls().Fail("GetArrayCount", E_FAIL);
  mIsDefault = false;
  EXPECT_FALSE(Ask(3));
  EXPECT_TRUE(mIsDefault);
  EXPECT_EQ(mMode, "before");
}

TEST_F(Mlox_DirectMusic_ModesTest, OtherChannelsNullAndNoRawDeviceHaveNoAnswer) {
  Modes().assign(30, "x");
  mIsDefault = false;
  EXPECT_FALSE(Ask(16));
  EXPECT_FALSE(Ask(-1));
  EXPECT_FALSE(NewDevice(mEndpoint)->GetPatchNameMode(0, nullptr, &mIsDefault));
  Mlox_DirectMusic_Device empty(nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_FALSE(empty.GetPatchNameMode(0, &mMode, &mIsDefault));
  empty.SetPatchNameMode(0, "x");
  EXPECT_FALSE(mIsDefault) << "not touched";
  EXPECT_TRUE(NewDevice(mEndpoint)->GetPatchNameMode(0, &mMode, nullptr)) << "the flag may be left out";
}

TEST_F(Mlox_DirectMusic_ModesTest, SettingOneWithoutAListMakes17EmptyRowsAndSetsOne) {
  mStudio->Calls().Clear();
  NewDevice(mEndpoint)->SetPatchNameMode(2, "Drums");
  std::vector<std::string> wanted(17, "");
  wanted[3] = "Drums";
  EXPECT_EQ(Modes(), wanted);
  EXPECT_EQ(mStudio->Calls().Count("AppendArrayItem currentModes -1 "), 17);
  EXPECT_EQ(mStudio->Calls().Count("SetArrayItem currentModes 3 Drums"), 1);
}

TEST_F(Mlox_DirectMusic_ModesTest, SettingOneInAListThatIsTooShortOrUnreadableDoesNothing) {
  const auto device = NewDevice(mEndpoint);
  Modes().assign(3, "x");
  device->SetPatchNameMode(2, "Drums");
  EXPECT_EQ(Modes(), (std::vector<std::string>{"x", "x", "x"}));
  device->SetPatchNameMode(1, "Drums");
  EXPECT_EQ(Modes()[2], "Drums");
  mStudio->Calls().Fail("GetArrayCount", E_FAIL);
  device->SetPatchNameMode(1, "Other");
  EXPECT_EQ(Modes()[2], "Drums");
  EXPECT_EQ(mStudio->Calls().CountBeginning("AppendArrayItem"), 0);
}

TEST_F(Mlox_DirectMusic_ModesTest, SettingOneOfAnotherChannelDoesNothing) {
  const auto device = NewDevice(mEndpoint);
  device->SetPatchNameMode(16, "x");
  device->SetPatchNameMode(-1, "x");
  EXPECT_EQ(mStudio->Calls().CountBeginning("GetArrayCount"), 0);
}

// ---- what an output makes of them ----

class Mlox_DirectMusic_OutputPatchesTest : public Mlox_DirectMusic_PatchesTest {
 protected:
  Mlox_DirectMusic_OutputPatchesTest() {
    mFolder.MakeFile("Maker Model.midnam", DeviceDocument());
    mOwnDevice = NewDevice(mEndpoint);
    mOutputP = mOwnDevice->GetOutputForChannel(3);
  }

  static Mdie_ProgramEvent Program(int iProgram) {
    Mdie_ProgramEvent event;
    event.SetProgramEnable(true);
    event.SetProgram(static_cast<signed char>(iProgram));
    event.SetMSBBankEnable(true);
    event.SetMSBBank(9);
    return event;
  }
  std::string NameOf(int iProgram) {
    std::string name = "unchanged";
    return mOutputP->GetPatchName(&name, Program(iProgram)) ? name : "(" + name + ")";
  }

  std::unique_ptr<Mlox_DirectMusic_Device> mOwnDevice;
  Mlox_Output* mOutputP = nullptr;
};

TEST_F(Mlox_DirectMusic_OutputPatchesTest, CountsNamesAndDescribesThePatchesOfItsChannel) {
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 3);
  EXPECT_EQ(NameOf(2), "Pianos2");
  EXPECT_EQ(NameOf(3), "(unchanged)");
  const auto info = mOutputP->GetPatchInfo(0);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->GetMSBBank(), 9);
  EXPECT_EQ(info->GetBankName(), "Bank of Pianos###pnlName###");
  EXPECT_FALSE(mOutputP->GetPatchInfo(3));
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, NothingIsKnownBeforeTheCountWasAskedFor) {
  EXPECT_EQ(NameOf(2), "(unchanged)");
  EXPECT_FALSE(mOutputP->GetPatchInfo(0));
  EXPECT_EQ(mOutputP->GetAvailableModeName(0), "");
  EXPECT_EQ(mStudio->Calls().Count("GetStringProperty master"), 0);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, TheModesAreTheNamesOfTheChannelNameSets) {
  EXPECT_EQ(mOutputP->GetNumberOfAvailableModes(), 2);
  EXPECT_EQ(mOutputP->GetAvailableModeName(0), "Pianos");
  EXPECT_EQ(mOutputP->GetAvailableModeName(1), "Drums");
  EXPECT_EQ(mOutputP->GetAvailableModeName(2), "");
  EXPECT_EQ(mOutputP->GetAvailableModeName(-1), "");
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, TheCurrentModeChoosesTheChannelNameSet) {
  EXPECT_EQ(mOutputP->GetCurrentMode(), "");
  mOutputP->SetCurrentMode("Drums");
  EXPECT_EQ(mOutputP->GetCurrentMode(), "Drums");
  EXPECT_EQ(Modes()[4], "Drums");
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 2);
  EXPECT_EQ(NameOf(1), "Drums1");
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, AModeOfTheDocumentIsNotNamed) {
  mOutputP->SetCurrentMode("Multi");  // a mode's name, not a set's: the mode's own set stays
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 3);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, TheCommonOutputHasNoPatchesAndNoModes) {
  Mlox_Output* commonP = mOwnDevice->GetCommonOutput();
  EXPECT_EQ(commonP->GetNumberOfPatches(), 0);
  EXPECT_EQ(commonP->GetNumberOfAvailableModes(), 0);
  EXPECT_EQ(commonP->GetCurrentMode(), "");
  commonP->SetCurrentMode("Drums");
  EXPECT_EQ(mStudio->Calls().CountBeginning("AppendArrayItem"), 0);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, ASettingThatCannotBeReadGivesNone) {
  const char* const settings[] = {"GetStringProperty master", "GetPatchBankCount", "GetArrayCount"};
  for (const char* setting : settings) {
    SCOPED_TRACE(setting);
    mStudio->Calls().Fail(setting, E_FAIL);
    EXPECT_EQ(mOutputP->GetNumberOfPatches(), 0);
    EXPECT_EQ(mOutputP->GetNumberOfAvailableModes(), 0);
    mStudio->Calls().Mend(setting);
  }
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 3);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, ASettingIsAskedForInOrderUntilOneFails) {
  mStudio->Calls().Clear();
  mOutputP->GetNumberOfPatches();
  Lines asked;
  for (const std::string& line : mStudio->Calls().Lines()) {
    if (line == "GetStringProperty master" || line == "GetPatchBankCount" ||
        line == "GetArrayCount currentModes")
      asked.push_back(line);
  }
  EXPECT_EQ(asked, (Lines{"GetStringProperty master", "GetPatchBankCount", "GetArrayCount currentModes"}));
  mStudio->Calls().Fail("GetPatchBankCount", E_FAIL);
  mStudio->Calls().Clear();
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 0);
  EXPECT_EQ(mStudio->Calls().CountBeginning("GetArrayCount"), 0);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, ADocumentThatCannotBeFoundGivesNone) {
  const Test_Environment elsewhere("MLOX_PATCH_NAMES_DIR", mFolder / "nothing");
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 0);
  EXPECT_EQ(mOutputP->GetNumberOfAvailableModes(), 0);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, CodesBelowZeroReachTheCaller) {
  StoreMaster("");
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), -6);
  EXPECT_EQ(mOutputP->GetNumberOfAvailableModes(), -6);
  StoreMaster(mFolder / "missing.midnam");
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), -2);
  EXPECT_EQ(mOutputP->GetNumberOfAvailableModes(), -2);
  StoreMaster(mFolder.MakeFile("other.midnam", DeviceDocument("Nobody", "Nothing")));
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), -1);
  EXPECT_EQ(mOutputP->GetNumberOfAvailableModes(), -1);
  StoreMaster(mFolder / "Maker Model.midnam");
  Mlox_Output* otherP = mOwnDevice->GetOutputForChannel(4);  // the document has nothing for it
  EXPECT_EQ(otherP->GetNumberOfPatches(), -5);
  EXPECT_EQ(otherP->GetNumberOfAvailableModes(), -5);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, AnyFaultOfADocumentGivesMinus8) {
  StoreMaster(mFolder.MakeFile("broken.midnam", "<MIDINameDocument><oops"));
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), -8);
  EXPECT_EQ(mOutputP->GetNumberOfAvailableModes(), -8);
  EXPECT_EQ(NameOf(0), "(unchanged)");
  EXPECT_FALSE(mOutputP->GetPatchInfo(0));
  StoreMaster(mFolder / "Maker Model.midnam");
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 3) << "the next count begins anew";
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, AFaultOfABanksDocumentGivesMinus8) {
  mDevice.mBanks = {{"Bank of Pianos", mFolder.MakeFile("broken.midnam", "<"), "x"}};
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), -8);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, TheBanksOfTheDeviceReachTheReader) {
  // The second entry's bank and list, out of the first one's document.
  mDevice.mBanks = {
      {"x",
       mFolder.MakeFile("more.midnam", Test_Document("<MasterDeviceNames><Manufacturer>Maker"
                                                     "</Manufacturer><Model>Model</Model>" +
                                                     Set("Organs", 7) + "</MasterDeviceNames>")),
       "x"},
      {"Bank of Pianos", mFolder / "more.midnam", "List of Organs"}};
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 7);
  EXPECT_EQ(NameOf(6), "Organs6");
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, AChangedDocumentIsSeenAtTheNextCount) {
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 3);
  mFolder.MakeFile("Maker Model.midnam", DeviceDocument("Nobody", "Nothing"));
  EXPECT_EQ(NameOf(2), "Pianos2");
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), -1);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, AReleasedOutputHasNoPatchesNoModesAndNoNames) {
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(mOutputP);
  EXPECT_EQ(output->GetNumberOfPatches(), 3);
  EXPECT_EQ(output->GetNumberOfAvailableModes(), 2);
  mOwnDevice->ReleaseOutList();
  EXPECT_EQ(output->GetNumberOfPatches(), 0);
  EXPECT_EQ(output->GetNumberOfAvailableModes(), 0);
  EXPECT_EQ(NameOf(2), "(unchanged)");
  EXPECT_FALSE(output->GetPatchInfo(0));
  EXPECT_EQ(output->GetAvailableModeName(0), "");
  EXPECT_EQ(output->GetCurrentMode(), "");
  output->SetCurrentMode("Drums");
  EXPECT_EQ(mStudio->Calls().CountBeginning("AppendArrayItem"), 0);
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, ANameNeedsAPlaceToGo) {
  EXPECT_EQ(mOutputP->GetNumberOfPatches(), 3);
  EXPECT_FALSE(mOutputP->GetPatchName(nullptr, Program(0)));
}

TEST_F(Mlox_DirectMusic_OutputPatchesTest, AModeThatCannotBeReadIsEmpty) {
  mOutputP->SetCurrentMode("Drums");
  mStudio->Calls().Fail("GetArrayItem", E_FAIL);
  EXPECT_EQ(mOutputP->GetCurrentMode(), "");
}

}  // namespace
