// SPDX-License-Identifier: MIT
#include "cmn/sys_filelocutils.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

namespace {

class Sys_FileLocUtilsFolders : public testing::Test {
 protected:
  Test_TempFolder mFolder;
  Test_Environment mPatchNames{"MLOX_PATCH_NAMES_DIR", std::nullopt};
  Test_Environment mDeviceTypes{"MLOX_DEVICE_TYPES_DIR", std::nullopt};
  Test_Environment mDataHome{"XDG_DATA_HOME", std::nullopt};
  Test_Environment mHome{"HOME", std::nullopt};
};

std::string PatchNames() { return Sys_FileLocUtils::GetMIDIPatchFileBaseDir().GetStdFullPath(); }
std::string DeviceTypes() { return Sys_FileLocUtils::GetMIDIDeviceTypesBaseDir().GetStdFullPath(); }

TEST_F(Sys_FileLocUtilsFolders, EnvironmentComesFirstWhetherTheFolderExistsOrNot) {
  mFolder.MakeFolder("data/mlox/patchnames");
  const Test_Environment dataHome("XDG_DATA_HOME", mFolder / "data");
  const Test_Environment patchNames("MLOX_PATCH_NAMES_DIR", "/nowhere/names");
  const Test_Environment deviceTypes("MLOX_DEVICE_TYPES_DIR", "/nowhere/types/");
  EXPECT_EQ(PatchNames(), "/nowhere/names/");
  EXPECT_EQ(DeviceTypes(), "/nowhere/types/");
}

TEST_F(Sys_FileLocUtilsFolders, UserDataFolderComesSecond) {
  mFolder.MakeFolder("data/mlox/patchnames");
  mFolder.MakeFolder("data/mlox/devicetypes");
  const Test_Environment dataHome("XDG_DATA_HOME", mFolder / "data");
  EXPECT_EQ(PatchNames(), mFolder / "data/mlox/patchnames/");
  EXPECT_EQ(DeviceTypes(), mFolder / "data/mlox/devicetypes/");
}

TEST_F(Sys_FileLocUtilsFolders, UserDataFolderIsInHomeByDefault) {
  mFolder.MakeFolder(".local/share/mlox/patchnames");
  const Test_Environment home("HOME", mFolder.Path());
  EXPECT_EQ(PatchNames(), mFolder / ".local/share/mlox/patchnames/");
  const Test_Environment relative("XDG_DATA_HOME", "relative/is/ignored");
  EXPECT_EQ(PatchNames(), mFolder / ".local/share/mlox/patchnames/");
}

TEST_F(Sys_FileLocUtilsFolders, InstalledFolderIsWhatIsLeft) {
  const Test_Environment home("HOME", mFolder.Path());
  EXPECT_TRUE(PatchNames().ends_with("/mlox/patchnames/")) << PatchNames();
  EXPECT_FALSE(PatchNames().starts_with(mFolder.Path()));
  EXPECT_TRUE(DeviceTypes().ends_with("/mlox/devicetypes/")) << DeviceTypes();
}

TEST_F(Sys_FileLocUtilsFolders, EmptyVariableCountsAsNotSet) {
  mFolder.MakeFolder("mlox/patchnames");
  const Test_Environment dataHome("XDG_DATA_HOME", mFolder.Path());
  const Test_Environment patchNames("MLOX_PATCH_NAMES_DIR", "");
  EXPECT_EQ(PatchNames(), mFolder / "mlox/patchnames/");
}

TEST_F(Sys_FileLocUtilsFolders, ChangedEnvironmentIsFollowed) {
  {
    const Test_Environment patchNames("MLOX_PATCH_NAMES_DIR", "/first");
    EXPECT_EQ(PatchNames(), "/first/");
  }
  const Test_Environment patchNames("MLOX_PATCH_NAMES_DIR", "/second");
  EXPECT_EQ(PatchNames(), "/second/");
}

TEST_F(Sys_FileLocUtilsFolders, FolderWithABackslashInItsNameIsTakenAsItIs) {
  const Test_Environment patchNames("MLOX_PATCH_NAMES_DIR", "/odd\\name");
  EXPECT_EQ(PatchNames(), "/odd\\name/");
}

TEST(Sys_FileLocUtils, ApplicationFolderIsTheExecutablesUnlessChosen) {
  for (const std::optional<std::string>& notSet :
       {std::optional<std::string>(), std::optional<std::string>("")}) {
    const Test_Environment unset("MLOX_APP_DIR", notSet);
    EXPECT_TRUE(
        std::filesystem::exists(Sys_FileLocUtils::GetApplicationFolderLoc().GetStdFullPath() + "test_cmn"));
  }
  const Test_Environment chosen("MLOX_APP_DIR", "/opt/daw");
  EXPECT_EQ(Sys_FileLocUtils::GetApplicationFolderLoc().GetStdFullPath(), "/opt/daw/");
}

TEST(Sys_FileLocUtils, StripSlashTakesOneFinalSeparatorAway) {
  EXPECT_EQ(Sys_FileLocUtils::StripSlash("/a/b/"), "/a/b");
  EXPECT_EQ(Sys_FileLocUtils::StripSlash("C:\\a\\"), "C:\\a");
  EXPECT_EQ(Sys_FileLocUtils::StripSlash("/a/b"), "/a/b");
  EXPECT_EQ(Sys_FileLocUtils::StripSlash("/a//"), "/a/");
  EXPECT_EQ(Sys_FileLocUtils::StripSlash("/"), "");
  EXPECT_EQ(Sys_FileLocUtils::StripSlash(""), "");
}

}  // namespace
