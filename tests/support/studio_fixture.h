// SPDX-License-Identifier: MIT
/// \file
/// A studio over a file of its own and a root whose ports a test plugs.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/presence.h"
#include "platform/directmusic/windows_com.h"
#include "platform/studio/studiokeys.h"
#include "platform/studio/studiomanagement.h"
#include "platform/studio/studioreport.h"
#include "platform/studio/studiotext.h"
#include "tests/support/test_temp_folder.h"

/// More than any machine under any checker needs.
inline constexpr std::chrono::seconds Test_kPatience{30};

/// Waits until something holds; false when it never does.
inline bool Test_Eventually(const std::function<bool()>& iHolds) {
  const auto end = std::chrono::steady_clock::now() + Test_kPatience;
  while (!iHolds()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

/// A port as a driver describes it.
inline Platform_PresentPort Test_Port(const std::string& iName, bool iIsInput) {
  Platform_PresentPort port;
  port.mInfo.mDriver = "fake";
  port.mInfo.mName = iName;
  port.mInfo.mManufacturer = "Maker";
  port.mInfo.mModel = "Box";
  port.mInfo.mIsInput = iIsInput;
  port.mGuid = Platform_GuidOfText(iName + (iIsInput ? "|in" : "|out"));
  return port;
}

/// The unique id of that port.
inline std::string Test_PortGuid(const std::string& iName, bool iIsInput) {
  return Platform_GuidToText(Test_Port(iName, iIsInput).mGuid);
}

/// An input of a card with a serial number; its GUID is the root's matter.
inline Platform_PresentPort Test_CardPort(const std::string& iPath, const std::string& iSerial = "S1") {
  Platform_PresentPort port = Test_Port("Keys", true);
  port.mInfo.mProduct = "1235:8010";
  port.mInfo.mSerial = iSerial;
  port.mInfo.mPath = iPath;
  port.mInfo.mPlace = "0.0";
  port.mGuid = {};
  return port;
}

/// A root that has ports and nothing else. Cards with serial numbers get their GUIDs as the real one gives
/// them; all else keeps the one that it was plugged with.
class Test_StudioRoot final : public IDirectMusic8, public IPlatformPresence {
 public:
  /// \param iTellsPresence whether it has the private interface
  explicit Test_StudioRoot(bool iTellsPresence = true) : mTellsPresence(iTellsPresence) {}

  void Plug(const Platform_PresentPort& iPort) {
    {
      const std::lock_guard lock(mMutex);
      mPorts.push_back(iPort);
    }
    Tell();
  }
  void Unplug(const GUID& iGuid) {
    {
      const std::lock_guard lock(mMutex);
      std::erase_if(mPorts, [&](const Platform_PresentPort& iPort) { return iPort.mGuid == iGuid; });
    }
    Tell();
  }
  void UnplugCard(const std::string& iPath) {
    {
      const std::lock_guard lock(mMutex);
      std::erase_if(mPorts, [&](const Platform_PresentPort& iPort) {
        return !iPort.mInfo.mSerial.empty() && iPort.mInfo.mPath == iPath;
      });
    }
    Tell();
  }
  /// How many calls of EnumPort fail before the first port is told.
  void FailFirst(int iCount) {
    const std::lock_guard lock(mMutex);
    mFailures = iCount;
  }
  [[nodiscard]] Platform_IdentityTable* Table() const {
    const std::lock_guard lock(mMutex);
    return mTableP;
  }
  /// The GUID's text of the card with that path; empty when none is there.
  [[nodiscard]] std::string GuidOfCard(const std::string& iPath) const {
    const std::lock_guard lock(mMutex);
    for (const Platform_PresentPort& port : mPorts) {
      if (!port.mInfo.mSerial.empty() && port.mInfo.mPath == iPath) return Platform_GuidToText(port.mGuid);
    }
    return "";
  }
  /// How often somebody had identities settled again.
  [[nodiscard]] int TimesSettled() const { return mTimesSettled.load(); }
  /// What the table held when somebody last began to watch.
  [[nodiscard]] const std::vector<Platform_IdentityRow>& RowsAtWatch() const { return mRowsAtWatch; }

  HRESULT QueryInterface(REFIID iID, void** oResult) override {
    *oResult =
        mTellsPresence && iID == IID_IPlatformPresence ? static_cast<IPlatformPresence*>(this) : nullptr;
    return *oResult != nullptr ? S_OK : E_NOINTERFACE;
  }
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }

  void SetIdentityTable(Platform_IdentityTable* iTableP) override {
    const std::lock_guard lock(mMutex);
    mTableP = iTableP;
  }
  /// The first enumeration: it needs the table.
  void Watch(Platform_PresenceWatcher* iWatcherP) override {
    ASSERT_NE(Table(), nullptr);
    mRowsAtWatch = Table()->Rows();
    {
      const std::lock_guard lock(mMutex);
      mWatchers.push_back(iWatcherP);
    }
    Tell();
  }
  void Unwatch(Platform_PresenceWatcher* iWatcherP) override {
    const std::lock_guard report(mReport);
    const std::lock_guard lock(mMutex);
    std::erase(mWatchers, iWatcherP);
  }
  /// At once, on the caller's thread: a stricter caller than a worker that gets round to it.
  void IdentitiesChanged() override {
    ++mTimesSettled;
    Tell();
  }

  HRESULT EnumPort(DWORD iIndex, DMUS_PORTCAPS* oCapsP) override {
    const std::lock_guard lock(mMutex);
    const DWORD failures = static_cast<DWORD>(mFailures);
    if (iIndex < failures) return E_FAIL;
    if (iIndex - failures >= mPorts.size()) return S_FALSE;
    const Platform_PresentPort& port = mPorts[iIndex - failures];
    oCapsP->guidPort = port.mGuid;
    oCapsP->dwClass = port.mInfo.mIsInput ? DMUS_PC_INPUTCLASS : DMUS_PC_OUTPUTCLASS;
    const BSTR name = Platform_StudioToBstr(port.mInfo.mName);
    std::copy_n(name, SysStringLen(name) + 1, oCapsP->wszDescription);
    SysFreeString(name);
    return S_OK;
  }
  HRESULT CreateMusicBuffer(DMUS_BUFFERDESC*, IDirectMusicBuffer**, IUnknown*) override { return E_NOTIMPL; }
  HRESULT CreatePort(REFCLSID, DMUS_PORTPARAMS8*, IDirectMusicPort**, IUnknown*) override {
    return E_NOTIMPL;
  }
  HRESULT EnumMasterClock(DWORD, DMUS_CLOCKINFO*) override { return E_NOTIMPL; }
  HRESULT GetMasterClock(GUID*, IReferenceClock**) override { return E_NOTIMPL; }
  HRESULT SetMasterClock(REFGUID) override { return E_NOTIMPL; }
  HRESULT Activate(BOOL) override { return E_NOTIMPL; }
  HRESULT GetDefaultPort(GUID*) override { return E_NOTIMPL; }
  HRESULT SetDirectSound(IDirectSound*, HWND) override { return E_NOTIMPL; }
  HRESULT SetExternalMasterClock(IReferenceClock*) override { return E_NOTIMPL; }

 private:
  void Tell() {
    const std::lock_guard report(mReport);
    std::vector<Platform_PresentPort> ports;
    std::vector<Platform_PresenceWatcher*> watchers;
    {
      const std::lock_guard lock(mMutex);
      IdentifyCards();
      ports = mPorts;
      watchers = mWatchers;
    }
    for (Platform_PresenceWatcher* const watcher : watchers) watcher->PresenceChanged(ports);
  }

  void IdentifyCards() {
    if (mTableP == nullptr) return;
    std::vector<Platform_PortInfo> infos;
    for (const Platform_PresentPort& port : mPorts) infos.push_back(port.mInfo);
    const std::vector<GUID> guids = Platform_IdentifyPorts(infos, mTableP);
    for (std::size_t i = 0; i < mPorts.size(); ++i) {
      if (!infos[i].mSerial.empty()) mPorts[i].mGuid = guids[i];
    }
  }

  const bool mTellsPresence;
  std::mutex mReport;
  mutable std::mutex mMutex;
  std::vector<Platform_PresentPort> mPorts;
  std::vector<Platform_PresenceWatcher*> mWatchers;
  Platform_IdentityTable* mTableP = nullptr;
  std::vector<Platform_IdentityRow> mRowsAtWatch;
  int mFailures = 0;
  std::atomic<int> mTimesSettled{0};
};

/// Writes down what it is told: "kind guid source" or "kind guid destination".
class Test_Subscriber final : public IDirectMusicNotificationCallback {
 public:
  explicit Test_Subscriber(std::string iID = "{test}") : mID(std::move(iID)) {}

  void Notify(std::shared_ptr<IDirectMusicNotificationList> iList) override {
    int count = 0;
    EXPECT_EQ(iList->GetCount(&count), S_OK);
    for (int i = 0; i < count; ++i) {
      std::shared_ptr<IEndpointIDs> ids;
      int kind = 0;
      EXPECT_EQ(iList->GetItem(i, &ids, &kind), S_OK);
      Write(kind, *ids);
    }
    if (mWhileTold) mWhileTold();
  }
  HRESULT GetID(BSTR* oID) override {
    if (oID == nullptr) return E_INVALIDARG;
    *oID = Platform_StudioToBstr(mID);
    return S_OK;
  }

  [[nodiscard]] std::vector<std::string> Lines() const {
    const std::lock_guard lock(mMutex);
    return mLines;
  }
  /// Waits for so many lines and gives all there are, leaving none.
  std::vector<std::string> Take(std::size_t iCount) {
    EXPECT_TRUE(Test_Eventually([&] { return Lines().size() >= iCount; }));
    const std::lock_guard lock(mMutex);
    return std::exchange(mLines, {});
  }

  std::function<void()> mWhileTold;

 private:
  void Write(int iKind, IEndpointIDs& iIDs) {
    LONG level = -1;
    LONG isSource = -1;
    EXPECT_EQ(iIDs.GetIntProperty(Key(kStudio_EndpointCollectionLevel).c_str(), nullptr, nullptr, &level), 0);
    EXPECT_EQ(level, 0);
    EXPECT_EQ(iIDs.GetIntProperty(Key(kStudio_EndpointIsSource).c_str(), nullptr, nullptr, &isSource), 0);
    BSTR text = nullptr;
    EXPECT_EQ(iIDs.GetStringProperty(Key(kStudio_DeviceUniqueID).c_str(), nullptr, nullptr, &text), 0);
    const std::lock_guard lock(mMutex);
    mLines.push_back(std::to_string(iKind) + " " + Platform_StudioToUtf8(text) +
                     (isSource != 0 ? " source" : " destination"));
    SysFreeString(text);
  }
  static std::u16string Key(std::string_view iKey) { return {iKey.begin(), iKey.end()}; }

  const std::string mID;
  mutable std::mutex mMutex;
  std::vector<std::string> mLines;
};

/// Collects the lines for people while it lives. One at a time.
class Test_StudioLines {
 public:
  Test_StudioLines() {
    Lines().clear();
    Platform_SetStudioReporter([](const std::string& iLine) {
      const std::lock_guard lock(Mutex());
      Lines().push_back(iLine);
    });
  }
  Test_StudioLines(const Test_StudioLines&) = delete;
  Test_StudioLines& operator=(const Test_StudioLines&) = delete;
  ~Test_StudioLines() { Platform_SetStudioReporter(nullptr); }

  static std::vector<std::string> All() {
    const std::lock_guard lock(Mutex());
    return Lines();
  }

 private:
  static std::mutex& Mutex() {
    static std::mutex sMutex;
    return sMutex;
  }
  static std::vector<std::string>& Lines() {
    static std::vector<std::string> sLines;
    return sLines;
  }
};

/// One line for each device that a studio lists, with all that the service reads: two studios that list the
/// same give the same text.
std::string Test_DescribeStudio(IDirectMusicStudio& iStudio);

/// A studio, its file and its root.
class Test_StudioFixture : public ::testing::Test {
 protected:
  Test_StudioFixture() { Open(); }

  void Open() {
    mFaces = Platform_OpenStudio(&mRoot, mPath);
    ASSERT_TRUE(Manage().WaitUntilRead(Test_kPatience)) << Manage().Trouble();
  }
  void Close() { mFaces = {}; }
  void Reopen() {
    ASSERT_TRUE(Manage().Flush(Test_kPatience));
    Close();
    Open();
  }

  IDirectMusicStudio& Studio() { return *mFaces.mStudio; }
  Platform_StudioManagement& Manage() { return *mFaces.mManagement; }

  std::string Add(const std::string& iName) {
    std::string guid;
    EXPECT_EQ(Manage().Add(iName, "Maker", "Model", guid), Platform_StudioResult::kDone);
    return guid;
  }
  std::string Plug(const std::string& iName, bool iIsInput) {
    mRoot.Plug(Test_Port(iName, iIsInput));
    return Test_PortGuid(iName, iIsInput);
  }
  void Unplug(const std::string& iName, bool iIsInput) { mRoot.Unplug(Test_Port(iName, iIsInput).mGuid); }

  /// The device of a group with that unique id; empty when it isn't in it.
  std::shared_ptr<IDeviceProperties> Find(const std::string& iGuid, VARIANT_BOOL iGroup = VARIANT_TRUE);
  std::shared_ptr<IEntityProperties> FindEntity(const std::string& iGuid, VARIANT_BOOL iGroup = VARIANT_TRUE);
  std::shared_ptr<IEndpointProperties> FindEndpoint(const std::string& iGuid, bool iIsSource,
                                                    VARIANT_BOOL iGroup = VARIANT_TRUE);

  std::shared_ptr<Test_Subscriber> Subscribe() {
    auto subscriber = std::make_shared<Test_Subscriber>();
    EXPECT_EQ(Studio().RegisterNotification(subscriber), S_OK);
    return subscriber;
  }

  const Test_TempFolder mFolder;
  const std::string mPath = mFolder / "studio.db";
  Test_StudioRoot mRoot;
  Platform_StudioFaces mFaces;
};

/// A key as the contract takes it.
inline std::u16string Test_Key(std::string_view iKey) { return {iKey.begin(), iKey.end()}; }

/// "result:value" of a reader of a text.
template <class Object>
std::string Test_TextOf(Object& iObject, std::string_view iKey) {
  BSTR value = nullptr;
  const HRESULT result = iObject.GetStringProperty(Test_Key(iKey).c_str(), nullptr, nullptr, &value);
  const std::string text = std::to_string(result) + ":" + Platform_StudioToUtf8(value);
  SysFreeString(value);
  return text;
}

/// "result:value" of a reader of a number.
template <class Object>
std::string Test_NumberOf(Object& iObject, std::string_view iKey) {
  LONG value = -99;
  const HRESULT result = iObject.GetIntProperty(Test_Key(iKey).c_str(), nullptr, nullptr, &value);
  return std::to_string(result) + ":" + std::to_string(value);
}

/// "result:1" for a flag that reads as 0xFFFF, "result:0" for one that reads as 0.
template <class Object>
std::string Test_FlagOf(Object& iObject, std::string_view iKey) {
  VARIANT_BOOL value = 7;
  const HRESULT result = iObject.GetFlagProperty(Test_Key(iKey).c_str(), nullptr, nullptr, &value);
  const unsigned flag = static_cast<std::uint16_t>(value);
  return std::to_string(result) + ":" + (flag == 0xFFFF ? "1" : flag == 0 ? "0" : "?");
}
