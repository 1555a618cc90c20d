// SPDX-License-Identifier: MIT
// The hardware service over the real studio database, under random plugging, wiring, renaming and removing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "cmn/mem2_masterallocator.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_devicedescriptor.h"
#include "tests/mlox/mlox_directmusic/service_fixture.h"
#include "tests/support/studio_fixture.h"

namespace {

using Names = std::vector<std::string>;

std::shared_ptr<IDirectMusicStudio>& StudioToGive() {
  static std::shared_ptr<IDirectMusicStudio> sStudio;
  return sStudio;
}

// The names of a side that the database, as it stands, says are to be seen.
Names Expected(const std::vector<Platform_StudioEntry>& iEntries, bool iIsSource) {
  std::map<std::string, const Platform_StudioEntry*> byGuid;
  for (const Platform_StudioEntry& entry : iEntries) byGuid[entry.mGuid] = &entry;
  // Whether a wire leads to a port of this side that is there.
  const auto isLive = [&](const Platform_StudioEntry& iPort) {
    return !iPort.mIsUserDefined && iPort.mIsOnline && iPort.mIsSource == iIsSource;
  };
  Names names;
  for (const Platform_StudioEntry& entry : iEntries) {
    const auto isWiredLive = [&](const std::string& iFarEnd) {
      const Platform_StudioEntry& farEnd = *byGuid.at(iFarEnd);
      return entry.mIsUserDefined ? isLive(farEnd) : farEnd.mIsUserDefined;
    };
    const bool isWired = std::any_of(entry.mWires.begin(), entry.mWires.end(), isWiredLive);
    if (entry.mIsUserDefined ? isWired : isLive(entry) && !isWired) names.push_back(entry.mName);
  }
  std::sort(names.begin(), names.end());
  return names;
}

class ServiceOnRealStudioTest : public Test_StudioFixture {
 protected:
  ServiceOnRealStudioTest() {
    Platform_SetDirectMusicFactory([](REFIID, void**) -> HRESULT { return E_FAIL; });
    StudioToGive() = mFaces.mStudio;
    IDirectMusicStudio::SetFactory([](IDirectMusic8*) { return StudioToGive(); });
    EXPECT_TRUE(Manager().ActivateService(Mlox_Manager::kDirectMusicService, &mAllocator, &mAppCallback));
  }
  ~ServiceOnRealStudioTest() override {
    Manager().RemoveAllServices();
    Manager().CheckStudioSetup();
    IDirectMusicStudio::SetFactory(nullptr);
    Platform_SetDirectMusicFactory(nullptr);
    StudioToGive().reset();
    SetDirectMusicServiceIndex(-1);
  }

  static Mlox_Manager& Manager() { return *Mlox_Manager::Singleton(); }
  static Mlox_DirectMusic_Service& Service() {
    return *Mlox_DirectMusic_ServiceHandle::Singleton().GetService();
  }
  // What the service lists, under its lock: no notification comes between.
  static Names Listed(bool iIsSource) {
    const DirectMusicSubsystemLock lock;
    Names names;
    const int count = iIsSource ? Service().GetNumberOfInputs() : Service().GetNumberOfOutputDevices();
    for (int i = 0; i < count; ++i) {
      names.push_back(iIsSource ? Service().GetInput(i)->GetName() : Service().GetOutputDevice(i)->GetName());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  bool IsListedAsTheDatabaseSays() {
    const auto entries = Manage().Entries();
    return Listed(false) == Expected(entries, false) && Listed(true) == Expected(entries, true);
  }

  void Change(std::mt19937& ioRandom) {
    const std::string name = "port " + std::to_string(ioRandom() % 4);
    const bool isInput = ioRandom() % 2 == 0;
    const auto pick = static_cast<std::size_t>(ioRandom());
    switch (ioRandom() % 8) {
      case 0:
      case 1:
        return PlugOrUnplug(name, isInput);
      case 2:
        mUsers.push_back(Add("user " + std::to_string(mNextUser++)));
        return;
      case 3:
        if (mUsers.size() < 2) return;
        Manage().Remove(mUsers[pick % mUsers.size()]);
        mUsers.erase(mUsers.begin() + static_cast<std::ptrdiff_t>(pick % mUsers.size()));
        return;
      case 4:
        if (!mUsers.empty())
          Manage().Rename(mUsers[pick % mUsers.size()], "renamed " + std::to_string(mNextUser++));
        return;
      default:
        if (!mUsers.empty()) WireOrUnwire(mUsers[pick % mUsers.size()], Test_PortGuid(name, isInput));
    }
  }
  void PlugOrUnplug(const std::string& iName, bool iIsInput) {
    const std::string key = iName + (iIsInput ? " in" : " out");
    if (mPlugged.insert(key).second) {
      Plug(iName, iIsInput);
    } else {
      mPlugged.erase(key);
      Unplug(iName, iIsInput);
    }
  }
  void WireOrUnwire(const std::string& iUser, const std::string& iPort) {
    if (Manage().Wire(iUser, iPort) == Platform_StudioResult::kAlready) Manage().Unwire(iUser, iPort);
  }

  Mem2_MasterAllocator mAllocator;
  Test_FakeAppCallback mAppCallback;
  std::vector<std::string> mUsers;
  std::set<std::string> mPlugged;
  int mNextUser = 0;
};

TEST_F(ServiceOnRealStudioTest, AfterEachChangeTheListsEqualThoseOfTheDatabaseAndOfAFreshRebuild) {
  std::mt19937 random(4711);
  std::size_t longest = 0;
  Listed(false);
  for (int step = 0; step < 300; ++step) {
    SCOPED_TRACE(step);
    Change(random);
    ASSERT_TRUE(Test_Eventually([&] { return IsListedAsTheDatabaseSays(); }));
    const DirectMusicSubsystemLock lock;
    const Names devices = Listed(false);
    const Names inputs = Listed(true);
    Test_DirectMusic_ServiceAccess::Rebuild(Service());
    ASSERT_EQ(Listed(false), devices);
    ASSERT_EQ(Listed(true), inputs);
    longest = std::max(longest, devices.size() + inputs.size());
  }
  EXPECT_GE(longest, 4u) << "the lists weren't empty all the time";
}

TEST_F(ServiceOnRealStudioTest, ADeviceKeepsItsNumberOverAReplug) {
  Plug("port", false);
  ASSERT_TRUE(Test_Eventually([] { return Listed(false).size() == 1; }));
  const int number = Service().GetOutputDevice(0)->GetDeviceDescriptor()->GetHashValue();
  Unplug("port", false);
  ASSERT_TRUE(Test_Eventually([] { return Listed(false).empty(); }));
  Plug("port", false);
  ASSERT_TRUE(Test_Eventually([] { return Listed(false).size() == 1; }));
  EXPECT_EQ(Service().GetOutputDevice(0)->GetDeviceDescriptor()->GetHashValue(), number);
}

}  // namespace
