// SPDX-License-Identifier: MIT
/// \file
/// The hardware service with ports of a fake DirectMusic behind the endpoints of its studio.
#pragma once

#include <string>

#include "tests/mlox/mlox_directmusic/client_fixture.h"
#include "tests/mlox/mlox_directmusic/service_fixture.h"

/// Ports by number, which the studio knows under their GUIDs.
class Test_PortsFixture : public Test_DirectMusic_ServiceFixture {
 protected:
  Test_PortsFixture() { Test_DirectMusicClientAccess::Forget(); }
  ~Test_PortsFixture() override {
    Manager().RemoveAllServices();
    Test_DirectMusicClientAccess::Forget();
  }

  /// \param iNumber  0 for the one that the port's caps give
  Test_FakePort& PlugInput(DWORD iPort, const std::string& iName, int iNumber) {
    Test_FakePort& port = mRoot.AddInput(iPort, iName);
    Test_ModelDevice device = Input(Test_FakeDirectMusic::GuidTextOf(iPort), iName);
    // As the hash of the port's caps gives it: the receive code finds the input by that.
    device.mMloxIDs[{0, 1}] = iNumber != 0 ? iNumber : GetMloxIDFromPortCaps(port.Caps()).mInputNumber;
    mStudio->PlugIn(device);
    return port;
  }
  Test_FakePort& PlugOutput(DWORD iPort, const std::string& iName, int iNumber) {
    Test_FakePort& port = mRoot.AddOutput(iPort, iName);
    Test_ModelDevice device = Output(Test_FakeDirectMusic::GuidTextOf(iPort), iName);
    if (iNumber != 0) device.mMloxIDs[{0, 0}] = iNumber;
    mStudio->PlugIn(device);
    return port;
  }
};
