// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/portdirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/directmusic/loopback/loopbackports.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/ports/portsession.h"

namespace {

/// A loopback port, in a studio of the test's own.
class PortDirectoryTest : public testing::Test {
 protected:
  PortDirectoryTest() { Platform_LoopbackPorts::Plug("Red"); }
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

}  // namespace
