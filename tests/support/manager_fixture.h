// SPDX-License-Identifier: MIT
/// \file
/// The one manager of the process, as a test wants to find and leave it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <vector>

#include "mlox/mlox_manager.h"
#include "tests/support/fake_service.h"

/// Reaches the members of the manager that only later parts of an application's start set, and those that no
/// operation shows.
struct Test_ManagerAccess {
  static void SetAppCallback(Mdi_AppCallback* iAppCallbackP) {
    Mlox_Manager::Singleton()->mAppCallbackP = iAppCallbackP;
  }
  static void SetOSService(Mlox_Service* iServiceP) { Mlox_Manager::Singleton()->mOSServiceP = iServiceP; }
  static void SetIACSources(const std::set<Mlox_InputID>& iSources) {
    Mlox_Manager::Singleton()->mIACSourcesP = std::make_unique<std::set<Mlox_InputID>>(iSources);
  }
  static void ClearIACSources() { Mlox_Manager::Singleton()->mIACSourcesP.reset(); }
  static void UpdateIACSources() { Mlox_Manager::Singleton()->UpdateIACSources(); }
  static const std::vector<Mlox_OutputContext*>& OutputContexts() {
    return *Mlox_Manager::Singleton()->mOutputContextsP;
  }
};

/// Takes every service away and every pending broadcast down, before the test and after it. Contexts stay:
/// they live for ever.
class Test_ManagerFixture : public ::testing::Test {
 protected:
  Test_ManagerFixture() { Reset(); }
  ~Test_ManagerFixture() override { Reset(); }

  static Mlox_Manager& Manager() { return *Mlox_Manager::Singleton(); }

  // Services of the test die after the test's body, so what they write into on dying lives here.
  Test_CallLog mLog;
  int mDeletions = 0;

 private:
  static void Reset() {
    Test_ManagerAccess::SetAppCallback(nullptr);
    Test_ManagerAccess::SetOSService(nullptr);
    Test_ManagerAccess::ClearIACSources();
    Manager().RemoveAllServices();
    Manager().CheckStudioSetup();
    Manager().GetNumberOfOutputDevices();
    Manager().GetNumberOfInputs();
  }
};
