// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/portdirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "mlox/mlox_manager.h"
#include "platform/directmusic/loopback/loopbackports.h"
#include "tests/support/fake_service.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/ports/portsession.h"

namespace {

/// One loopback port, in a studio of the test's own.
class PortDirectoryTest : public testing::Test {
 protected:
  PortDirectoryTest() {
    for (const std::string& name : Platform_LoopbackPorts::Names()) Platform_LoopbackPorts::Unplug(name);
    Platform_LoopbackPorts::Plug("Red");
  }
  ~PortDirectoryTest() override { Platform_LoopbackPorts::Unplug("Red"); }

 private:
  Test_TempFolder mFolder;
  Test_Environment mDrivers{"MLOX_MIDI_DRIVERS", "loopback"};
  Test_Environment mDatabase{"MLOX_STUDIO_DB", mFolder / "studio.db"};
};

TEST_F(PortDirectoryTest, AnOutputIsVirtualIfItsEntrySaysSo) {
  const tool::PortSession session;
  // Counting gives every endpoint its number, which leads to its entry.
  session.Outputs();
  std::vector<Platform_StudioEntry> entries = session.Management().Entries();
  for (const bool isVirtual : {false, true}) {
    for (Platform_StudioEntry& entry : entries) entry.mIsVirtual = isVirtual;
    const std::vector<tool::PortRow> rows = ListedPorts(session, entries);
    const auto red = std::find_if(rows.begin(), rows.end(), [](const tool::PortRow& iRow) {
      return !iRow.mIsInput && iRow.mName == "Red";
    });
    ASSERT_NE(red, rows.end());
    EXPECT_EQ(red->mIsVirtual, isVirtual);
  }
}

TEST_F(PortDirectoryTest, AnOutputWithoutChannelsHasOneInteger) {
  // Deleted by the session, with the service.
  auto* const serviceP = new Test_FakeService;
  for (const char* const name : {"One", "None", "Last"}) serviceP->AddDevice(name);
  serviceP->mDevices[0]->mChannelMask = 0b100;
  serviceP->mDevices[1]->mChannelMask = 0;
  serviceP->mDevices[2]->mChannelMask = 0b11;
  Mlox_Manager::Singleton()->AddService(serviceP, 2);
  const tool::PortSession session;
  const std::vector<tool::PortRow> rows = ListedPorts(session, {});
  ASSERT_EQ(rows.size(), 5u);  // behind these come Red's output and Red's input
  using Numbers = std::vector<int>;
  EXPECT_EQ(rows[0].mIntegerIds, Numbers{1});
  EXPECT_EQ(rows[0].mChannels, Numbers{3});
  EXPECT_EQ(rows[1].mName, "None");
  EXPECT_EQ(rows[1].mIntegerIds, Numbers{2});
  EXPECT_EQ(rows[1].mChannels, Numbers());
  EXPECT_EQ(rows[2].mIntegerIds, (Numbers{3, 4}));
}

}  // namespace
