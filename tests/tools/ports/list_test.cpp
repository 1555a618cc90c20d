// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "mlox/mlox_manager.h"
#include "platform/directmusic/loopback/loopbackports.h"
#include "tests/support/fake_service.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::ElementsAre;
using Row = std::vector<std::string>;

enum class Kind { kPhysical, kVirtual, kExternal, kPlugIn };

class InputOfKind : public Test_FakeInput {
 public:
  InputOfKind(std::string iName, int iID, Kind iKind)
      : Test_FakeInput(std::move(iName), iID, iKind != Kind::kPhysical), mKind(iKind) {}
  bool IsUserDefined() const override { return mKind == Kind::kExternal; }
  bool IsPlugIn() const override { return mKind == Kind::kPlugIn; }

 private:
  const Kind mKind;
};

class OutputOfKind : public Test_FakeDevice {
 public:
  OutputOfKind(const std::string& iName, Kind iKind) : Test_FakeDevice(iName), mKind(iKind) {}
  bool IsUserDefined() const override { return mKind == Kind::kExternal; }

 private:
  const Kind mKind;
};

/// One loopback port, "Red", and behind it whatever a test adds to a second service.
class ListTest : public testing::Test {
 protected:
  ListTest() {
    for (const std::string& name : Platform_LoopbackPorts::Names()) Platform_LoopbackPorts::Unplug(name);
    Platform_LoopbackPorts::Plug("Red");
    Mlox_Manager::Singleton()->AddService(mServiceP, 2);
  }
  ~ListTest() override { Platform_LoopbackPorts::Unplug("Red"); }

  void AddInput(const std::string& iName, int iID, Kind iKind) {
    mServiceP->mInputs.emplace_back(new InputOfKind(iName, iID, iKind));
  }
  void AddOutput(const std::string& iName, Kind iKind) {
    mServiceP->mDevices.push_back(std::make_unique<OutputOfKind>(iName, iKind));
  }

  /// The cells of each line of the table, but for its head and ids.
  static std::vector<Row> Rows() {
    testing::internal::CaptureStdout();
    tool::List({});
    std::istringstream lines(testing::internal::GetCapturedStdout());
    std::string line;
    std::getline(lines, line);
    std::vector<Row> rows;
    while (std::getline(lines, line)) {
      std::istringstream words(line);
      Row row;
      for (std::string word; words >> word;) row.push_back(word);
      row.erase(row.begin() + 1, row.begin() + 3);
      rows.push_back(row);
    }
    return rows;
  }

 private:
  Test_TempFolder mFolder;
  Test_Environment mDrivers{"MLOX_MIDI_DRIVERS", "loopback"};
  Test_Environment mDatabase{"MLOX_STUDIO_DB", mFolder / "studio.db"};
  // Deleted by the session, with the service.
  Test_FakeService* const mServiceP = new Test_FakeService;
};

TEST_F(ListTest, ShowsTheServiceTheDriverAndTheKindOfEach) {
  AddOutput("Box", Kind::kPhysical);
  AddOutput("Piano", Kind::kExternal);
  AddInput("Keyboard", 5, Kind::kPhysical);
  AddInput("Network", 6, Kind::kVirtual);
  AddInput("Strings", 7, Kind::kExternal);
  AddInput("Synth", 8, Kind::kPlugIn);
  EXPECT_THAT(Rows(), testing::UnorderedElementsAre(
                          ElementsAre("output", "1-16", "hardware", "loopback", "virtual", "yes", "Red"),
                          ElementsAre("output", "1-16", "other", "-", "physical", "yes", "Box"),
                          ElementsAre("output", "1-16", "other", "-", "external", "yes", "Piano"),
                          ElementsAre("input", "1-16", "hardware", "loopback", "virtual", "yes", "Red"),
                          ElementsAre("input", "1-16", "other", "-", "physical", "yes", "Keyboard"),
                          ElementsAre("input", "1-16", "other", "-", "virtual", "yes", "Network"),
                          ElementsAre("input", "1-16", "other", "-", "external", "yes", "Strings"),
                          ElementsAre("input", "1-16", "other", "-", "plug-in", "yes", "Synth")));
}

}  // namespace
