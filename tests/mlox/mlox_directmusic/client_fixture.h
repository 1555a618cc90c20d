// SPDX-License-Identifier: MIT
/// \file
/// What tests of the port client and of what stands on it alone begin with.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "tests/support/fake_directmusic.h"
#include "tests/support/fake_studio.h"
#include "tests/support/fake_time.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

/// Reaches the client's statics, which otherwise live as long as the process.
struct Test_DirectMusicClientAccess {
  static void Forget() {
    DirectMusicClient::ReleaseDirectMusicPtr();
    DirectMusicClient::ProhibitedNames().clear();
    DirectMusicClient::ExcludedPortNames().clear();
    DirectMusicClient::EmulatedString().clear();
  }
  static std::vector<std::string> CachedGuids() {
    std::vector<std::string> guids;
    for (const auto& element : DirectMusicClient::PortList()) guids.push_back(element.mPortGuid);
    return guids;
  }
  static bool IsPortProhibitedByName(const DMUS_PORTCAPS& iCaps) {
    return DirectMusicClient::IsPortProhibitedByName(iCaps);
  }
  static bool IsSpecificProhibitedPort(const std::string& iPort, const std::string& iListed,
                                       EProhibitedByNameEmulatedState iState) {
    return DirectMusicClient::IsSpecificProhibitedPort(iPort, iListed, iState);
  }
  static PortNameTable ProhibitedNames() { return DirectMusicClient::ProhibitedNames(); }
  static const std::string& KnownEmulatedString() { return DirectMusicClient::EmulatedString(); }
};

/// A fake DirectMusic with its root made, a fake studio whose objects can be asked for, an empty application
/// folder, and nothing learned yet.
class Test_ClientFixture : public ::testing::Test {
 protected:
  Test_ClientFixture() : mAppFolder("MLOX_APP_DIR", mFolder.Path()) {
    Test_DirectMusicClientAccess::Forget();
    ClearRegisteredIDs();
    SetDirectMusicServiceIndex(3);
  }
  ~Test_ClientFixture() override {
    Test_DirectMusicClientAccess::Forget();
    ClearRegisteredIDs();
    SetDirectMusicServiceIndex(-1);
    mStudio.reset();
    Test_FakeStudio::Uninstall();
  }

  /// Makes the root and forgets the calls that this took.
  void MakeRoot() {
    IDirectMusic8* const rootP = DirectMusicClient::GetDirectMusicPtr(true);
    ASSERT_EQ(rootP, &mRoot);
    rootP->Release();
    Calls().Clear();
  }
  Test_FakeCalls& Calls() { return mRoot.Calls(); }
  void WriteExclusions(const std::string& iContent) { mFolder.MakeFile("ExcludedMIDIPorts.txt", iContent); }
  static std::vector<std::string> CachedGuids() { return Test_DirectMusicClientAccess::CachedGuids(); }
  static std::string Guid(DWORD iNumber) { return Test_FakeDirectMusic::GuidTextOf(iNumber); }
  /// Identifiers of a device whose unique id is this text.
  std::shared_ptr<IEndpointIDs> IDsOf(const std::string& iUniqueID) {
    return mStudio->IDsOf(mStudio->AddPort(iUniqueID, "Name", false));
  }

  Test_TempFolder mFolder;
  Test_Environment mAppFolder;
  Test_FakeTime mTime;
  Test_FakeDirectMusic mRoot;
  std::shared_ptr<Test_FakeStudio> mStudio = Test_FakeStudio::Install();
};
