// SPDX-License-Identifier: MIT
#include "mlox/mlox_input.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mlox/mlox_output.h"
#include "tests/support/fake_service.h"
#include "tests/support/static_user.h"

namespace {

bool IsAControlName() { return Mlox_Input::IsNIDawControlInputDevice("Komplete Kontrol A DAW"); }

[[gnu::init_priority(200)]] Test_StaticUser<&IsAControlName> sStaticUser;

TEST(Mlox_Input, ControlNamesAreKnownDuringStaticInitialisation) { EXPECT_TRUE(sStaticUser.FirstAnswer()); }

TEST(Mlox_InputExitTest, ControlNamesAreKnownWhileStaticObjectsGo) {
  EXPECT_EXIT(sStaticUser.ExitWithLastAnswer(), ::testing::ExitedWithCode(sStaticUser.kYes), "");
}

TEST(Mlox_Input, IsUserDefinedAndNoPlugInUnlessASubclassSaysOtherwise) {
  const Mlox_InputRef input(new Test_FakeInput("Keys"));
  EXPECT_TRUE(input->IsUserDefined());
  EXPECT_FALSE(input->IsPlugIn());
}

TEST(Mlox_Input, EachOfTheNineControlInputNamesPasses) {
  const std::vector<std::string> names = {"Komplete Kontrol DAW - 1",
                                          "Komplete Kontrol A DAW",
                                          "Komplete Kontrol M DAW",
                                          "MIDIIN2 (KONTROL S49 MK3) [Emulated]",
                                          "MIDIIN2 (KONTROL S61 MK3) [Emulated]",
                                          "MIDIIN2 (KONTROL S88 MK3) [Emulated]",
                                          "MIDIIN2 (KONTROL S49 MK3)",
                                          "MIDIIN2 (KONTROL S61 MK3)",
                                          "MIDIIN2 (KONTROL S88 MK3)"};
  for (const std::string& name : names) EXPECT_TRUE(Mlox_Input::IsNIDawControlInputDevice(name)) << name;
}

TEST(Mlox_Input, ControlNamesOfOneDirectionFailTheOther) {
  EXPECT_TRUE(Mlox_Output::IsNIDawControlOutputDevice("MIDIOUT2 (KONTROL S49 MK3)"));
  EXPECT_FALSE(Mlox_Input::IsNIDawControlInputDevice("MIDIOUT2 (KONTROL S49 MK3)"));
  EXPECT_TRUE(Mlox_Input::IsNIDawControlInputDevice("MIDIIN2 (KONTROL S49 MK3)"));
  EXPECT_FALSE(Mlox_Output::IsNIDawControlOutputDevice("MIDIIN2 (KONTROL S49 MK3)"));
}

TEST(Mlox_Input, KompleteKontrolDaw1PassesBoth) {
  EXPECT_TRUE(Mlox_Input::IsNIDawControlInputDevice("Komplete Kontrol DAW - 1"));
  EXPECT_TRUE(Mlox_Output::IsNIDawControlOutputDevice("Komplete Kontrol DAW - 1"));
}

TEST(Mlox_Input, AnEmptyNameOrOneThatDiffersInCasePassesNot) {
  EXPECT_FALSE(Mlox_Input::IsNIDawControlInputDevice(""));
  EXPECT_FALSE(Mlox_Input::IsNIDawControlInputDevice("komplete kontrol daw - 1"));
  EXPECT_FALSE(Mlox_Input::IsNIDawControlInputDevice("MIDIIN2"));
}

TEST(Mlox_Input, ANameThatHoldsAControlNameAndMorePassesNot) {
  EXPECT_FALSE(Mlox_Input::IsNIDawControlInputDevice("Komplete Kontrol DAW - 1 "));
  EXPECT_FALSE(Mlox_Input::IsNIDawControlInputDevice(" Komplete Kontrol DAW - 1"));
  EXPECT_FALSE(Mlox_Input::IsNIDawControlInputDevice("MIDIIN2 (KONTROL S49 MK3) 2"));
}

// The lists are what they are: nine names each.
TEST(Mlox_Input, OtherNamesOfTheFamilyPassNeither) {
  for (const std::string name : {"Komplete Kontrol S DAW", "Komplete Kontrol DAW - 2", "Komplete Kontrol DAW",
                                 "MIDIIN2 (KONTROL S25 MK3)", "MIDIOUT2 (KONTROL S25 MK3)",
                                 "MIDIIN2 (KONTROL S49 MK2)", "KONTROL S49 MK3"}) {
    EXPECT_FALSE(Mlox_Input::IsNIDawControlInputDevice(name)) << name;
    EXPECT_FALSE(Mlox_Output::IsNIDawControlOutputDevice(name)) << name;
  }
}

}  // namespace
