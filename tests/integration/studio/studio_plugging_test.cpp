// SPDX-License-Identifier: MIT
// The real studio over the real root and the loopback driver: random plugging, wiring, renaming and removing,
// compared after each step with a fresh studio that reads the same file.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/directmusic/loopback/loopback_driver.h"
#include "tests/support/studio_fixture.h"
#include "tests/support/test_environment.h"

namespace {

using Result = Platform_StudioResult;

class StudioPluggingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8,
                               reinterpret_cast<void**>(&mRootP)),
              S_OK);
    mLive = OpenOne();
  }
  void TearDown() override {
    mLive = {};
    for (const std::string& name : mPlugged) Platform_LoopbackPorts::Unplug(name);
  }

  Platform_StudioFaces OpenOne() const {
    Platform_StudioFaces faces = Platform_OpenStudio(mRootP, mPath);
    EXPECT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
    return faces;
  }

  // The names of the user-defined devices and of the pairs, as the model has them.
  std::string Any(const std::set<std::string>& iNames) {
    if (iNames.empty()) return "";
    auto name = iNames.begin();
    std::advance(name, mRandom() % iNames.size());
    return *name;
  }

  std::string PortGuid(const std::string& iPair) {
    const bool isSource = mRandom() % 2 == 0;
    for (const Platform_StudioEntry& entry : mLive.mManagement->Entries())
      if (!entry.mIsUserDefined && entry.mName == iPair && entry.mIsSource == isSource) return entry.mGuid;
    return "";
  }

  void Step() {
    Platform_StudioManagement& management = *mLive.mManagement;
    const std::string pair = "pair " + std::to_string(mRandom() % 4);
    const std::string user = Any(mUsers);
    std::string guid;
    switch (mRandom() % 9) {
      case 0:
      case 1:
        mPlugged.insert(pair);
        Platform_LoopbackPorts::Plug(pair);
        break;
      case 2:
        mPlugged.erase(pair);
        Platform_LoopbackPorts::Unplug(pair);
        break;
      case 3:
        if (mUsers.size() < 6 && management.Add(pair, "Maker", "Model", guid) == Result::kDone)
          mUsers.insert(guid);
        break;
      case 4:
      case 5:
        management.Wire(user, PortGuid(pair));
        break;
      case 6:
        management.Unwire(user, PortGuid(pair));
        break;
      case 7:
        management.Rename(user, "renamed " + std::to_string(mRandom() % 100));
        break;
      default:
        if (management.Remove(user) == Result::kDone) mUsers.erase(user);
        break;
    }
  }

  std::map<std::string, std::string> Listed();

  // How many ports the model has plugged in, both directions of each pair.
  bool SeesWhatIsPlugged() {
    std::set<std::string> seen;
    for (const Platform_StudioEntry& entry : mLive.mManagement->Entries())
      if (!entry.mIsUserDefined && entry.mIsOnline && entry.mName.starts_with("pair "))
        seen.insert(entry.mName + (entry.mIsSource ? " in" : " out"));
    std::set<std::string> plugged;
    for (const std::string& name : mPlugged) {
      plugged.insert(name + " in");
      plugged.insert(name + " out");
    }
    return seen == plugged;
  }

  const Test_Environment mDrivers{"MLOX_MIDI_DRIVERS", "loopback"};
  const Test_TempFolder mFolder;
  const std::string mPath = mFolder / "studio.db";
  IDirectMusic8* mRootP = nullptr;
  Platform_StudioFaces mLive;
  std::mt19937 mRandom{4711};
  std::set<std::string> mPlugged;
  std::set<std::string> mUsers;
};

TEST_F(StudioPluggingTest, AfterEachRandomStepAFreshStudioListsTheSame) {
  int shown = 0;
  for (int step = 0; step < 150; ++step) {
    SCOPED_TRACE(step);
    Step();
    ASSERT_TRUE(Test_Eventually([&] { return SeesWhatIsPlugged(); }));
    ASSERT_TRUE(mLive.mManagement->Flush(Test_kPatience));
    const Platform_StudioFaces fresh = OpenOne();
    const std::string live = Test_DescribeStudio(*mLive.mStudio);
    ASSERT_EQ(Test_DescribeStudio(*fresh.mStudio), live);
    shown += live.find("wired to [") != std::string::npos ? 1 : 0;
  }
  // Wires were in play, or the comparison said little.
  EXPECT_GT(shown, 20);
}

// A subscriber that keeps a list of live endpoints by what it is told must end with what a count gives.
class Mirror final : public IDirectMusicNotificationCallback {
 public:
  explicit Mirror(IDirectMusicStudio& iStudio) : mStudio(iStudio) {}

  void Notify(std::shared_ptr<IDirectMusicNotificationList> iList) override {
    int count = 0;
    EXPECT_EQ(iList->GetCount(&count), S_OK);
    for (int i = 0; i < count; ++i) {
      std::shared_ptr<IEndpointIDs> ids;
      int kind = 0;
      EXPECT_EQ(iList->GetItem(i, &ids, &kind), S_OK);
      std::shared_ptr<IDeviceProperties> device;
      std::shared_ptr<IEntityProperties> entity;
      std::shared_ptr<IEndpointProperties> endpoint;
      const bool isThere = mStudio.FindRawProperties(ids, &device, &entity, &endpoint) == S_OK;
      const std::string key =
          Test_TextOf(*ids, kStudio_DeviceUniqueID) + Test_NumberOf(*ids, kStudio_EndpointIsSource);
      const std::lock_guard lock(mMutex);
      mSeen.erase(key);
      int wires = 0;
      if (isThere && endpoint->GetNumConnections(&wires) == S_OK)
        mSeen[key] = Test_TextOf(*entity, kStudio_EntityUserName) + " " + std::to_string(wires);
      ++mItems;
    }
  }
  HRESULT GetID(BSTR* oID) override {
    *oID = Platform_StudioToBstr("{mirror}");
    return S_OK;
  }
  std::map<std::string, std::string> Seen() {
    const std::lock_guard lock(mMutex);
    return mSeen;
  }
  int Items() {
    const std::lock_guard lock(mMutex);
    return mItems;
  }

 private:
  IDirectMusicStudio& mStudio;
  std::mutex mMutex;
  std::map<std::string, std::string> mSeen;
  int mItems = 0;
};

// Every endpoint that the studio lists, as Mirror writes it down.
std::map<std::string, std::string> StudioPluggingTest::Listed() {
  std::map<std::string, std::string> listed;
  for (const VARIANT_BOOL group : {VARIANT_TRUE, VARIANT_FALSE}) {
    int count = 0;
    EXPECT_EQ(mLive.mStudio->GetDeviceCount(group, &count), S_OK);
    for (int i = 0; i < 2 * count; ++i) {
      const VARIANT_BOOL isSource = i % 2 == 0 ? VARIANT_TRUE : VARIANT_FALSE;
      std::shared_ptr<IDeviceProperties> device;
      std::shared_ptr<IEntityProperties> entity;
      std::shared_ptr<IEndpointProperties> endpoint;
      int wires = 0;
      EXPECT_EQ(mLive.mStudio->GetDevice(group, i / 2, &device), S_OK);
      EXPECT_EQ(device->GetEntity(0, &entity), S_OK);
      if (entity->GetEndpoint(isSource, 0, &endpoint) != S_OK) continue;
      EXPECT_EQ(endpoint->GetNumConnections(&wires), S_OK);
      listed[Test_TextOf(*device, kStudio_DeviceUniqueID) + (i % 2 == 0 ? "0:1" : "0:0")] =
          Test_TextOf(*entity, kStudio_EntityUserName) + " " + std::to_string(wires);
    }
  }
  return listed;
}

TEST_F(StudioPluggingTest, WhatIsToldLeadsToWhatIsThere) {
  const auto mirror = std::make_shared<Mirror>(*mLive.mStudio);
  ASSERT_EQ(mLive.mStudio->RegisterNotification(mirror), S_OK);
  for (int step = 0; step < 400; ++step) Step();
  ASSERT_TRUE(Test_Eventually([&] { return SeesWhatIsPlugged(); }));
  // News come in order: once the last is told, all are.
  std::string last;
  ASSERT_EQ(mLive.mManagement->Add("last", "", "", last), Result::kDone);
  ASSERT_EQ(mLive.mManagement->Rename(last, "told"), Result::kDone);
  ASSERT_TRUE(Test_Eventually([&] { return mirror->Seen().count("0:" + last + "0:1") != 0; }));
  const std::map<std::string, std::string> seen = mirror->Seen();
  const std::map<std::string, std::string> listed = Listed();
  for (const auto& [key, text] : seen) {
    ASSERT_EQ(listed.count(key), 1u) << key;
    EXPECT_EQ(text, listed.at(key)) << key;
  }
  // A device that was never wired nor renamed was never told; all else was.
  for (const auto& [key, text] : listed) EXPECT_TRUE(seen.count(key) != 0 || text == "1: 0") << key << text;
  EXPECT_GT(mirror->Items(), 100);
  EXPECT_EQ(mLive.mStudio->UnregisterNotification(u"{mirror}"), S_OK);
}

}  // namespace
