// SPDX-License-Identifier: MIT
#include "mlox/mlox_output.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/fake_service.h"
#include "tests/support/static_user.h"

namespace {

bool IsAControlName() { return Mlox_Output::IsNIDawControlOutputDevice("Komplete Kontrol A DAW"); }

[[gnu::init_priority(200)]] Test_StaticUser<&IsAControlName> sStaticUser;

TEST(Mlox_Output, ControlNamesAreKnownDuringStaticInitialisation) { EXPECT_TRUE(sStaticUser.FirstAnswer()); }

TEST(Mlox_OutputExitTest, ControlNamesAreKnownWhileStaticObjectsGo) {
  EXPECT_EXIT(sStaticUser.ExitWithLastAnswer(), ::testing::ExitedWithCode(sStaticUser.kYes), "");
}

TEST(Mlox_Output, HasNoModesAndAnyModeNameIsEmpty) {
  const Cmn_AliasedRefCountPtr<Test_FakeOutput> output(
      new Test_FakeOutput(nullptr, Test_MakeDescriptor("Piano", 1), 0));
  EXPECT_EQ(output->GetNumberOfAvailableModes(), 0);
  for (const int index : {-1, 0, 1, 1000}) EXPECT_EQ(output->GetAvailableModeName(index), "") << index;
  output->SetCurrentMode("GM");
  EXPECT_EQ(output->GetCurrentMode(), "");
}

TEST(Mlox_Output, EachOfTheNineControlOutputNamesPasses) {
  const std::vector<std::string> names = {"Komplete Kontrol DAW - 1",
                                          "Komplete Kontrol A DAW",
                                          "Komplete Kontrol M DAW",
                                          "MIDIOUT2 (KONTROL S49 MK3) [Emulated]",
                                          "MIDIOUT2 (KONTROL S61 MK3) [Emulated]",
                                          "MIDIOUT2 (KONTROL S88 MK3) [Emulated]",
                                          "MIDIOUT2 (KONTROL S49 MK3)",
                                          "MIDIOUT2 (KONTROL S61 MK3)",
                                          "MIDIOUT2 (KONTROL S88 MK3)"};
  for (const std::string& name : names) EXPECT_TRUE(Mlox_Output::IsNIDawControlOutputDevice(name)) << name;
}

TEST(Mlox_Output, AControlInputsNameIsNoControlOutputs) {
  EXPECT_FALSE(Mlox_Output::IsNIDawControlOutputDevice("MIDIIN2 (KONTROL S49 MK3)"));
}

TEST(Mlox_Output, AnEmptyNameOrOneThatDiffersInCaseOrIsAPartPassesNot) {
  EXPECT_FALSE(Mlox_Output::IsNIDawControlOutputDevice(""));
  EXPECT_FALSE(Mlox_Output::IsNIDawControlOutputDevice("komplete kontrol daw - 1"));
  EXPECT_FALSE(Mlox_Output::IsNIDawControlOutputDevice("Komplete Kontrol"));
  EXPECT_FALSE(Mlox_Output::IsNIDawControlOutputDevice("Komplete Kontrol DAW - 1 "));
}

}  // namespace
