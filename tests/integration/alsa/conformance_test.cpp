// SPDX-License-Identifier: MIT
// The driver against another program on the sequencer, and against an emulated USB interface.
#include <memory>
#include <string>

#include "platform/directmusic/alsa/alsa_driver.h"
#include "tests/integration/alsa/bare_client.h"
#include "tests/integration/alsa/usb_gadget.h"
#include "tests/platform/directmusic/conformance/driver_conformance.h"

namespace {

constexpr char kSource[] = "conformance source";
constexpr char kSink[] = "conformance sink";

// A receiver's pool holds 2,000 cells of 28 bytes; a sender that does not wait for its reader now and then
// runs it over.
class Breath {
 public:
  void Take(std::size_t iBytes) {
    mCells += 1 + (iBytes > 12 ? iBytes / 28 + 1 : 0);
    if (mCells > 500) {
      mCells = 0;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

 private:
  std::size_t mCells = 0;
};

class ApplicationPeer final : public Test_DriverPeer {
 public:
  std::string Start() override {
    Plug();
    return mSourceP->IsOpen() && mSinkP->IsOpen() ? "" : "this kernel has no sequencer";
  }
  std::unique_ptr<Platform_Driver> NewDriver() override { return std::make_unique<Platform_AlsaDriver>(); }
  bool IsSource(const Platform_PortInfo& iPort) const override { return iPort.mName == kSource; }
  bool IsSink(const Platform_PortInfo& iPort) const override { return iPort.mName == kSink; }
  bool Send(const Test_MidiBytes& iBytes) override {
    mBreath.Take(iBytes.size());
    return mSourceP->Send(iBytes);
  }
  std::size_t MaxPiece() const override { return 4'096; }
  std::vector<Test_Heard> Heard() override {
    std::vector<Test_Heard> heard = mHeardBefore;
    if (mSinkP != nullptr) {
      const std::vector<Test_Heard> now = mSinkP->Heard();
      heard.insert(heard.end(), now.begin(), now.end());
    }
    return heard;
  }
  std::int64_t Blur() const override { return 0; }
  bool CanUnplug() const override { return true; }
  void Unplug() override {
    mHeardBefore = Heard();
    mSourceP.reset();
    mSinkP.reset();
  }
  void Plug() override {
    mSourceP = std::make_unique<Test_BareClient>(kSource, Test_BareClient::kSends);
    mSinkP = std::make_unique<Test_BareClient>(kSink, Test_BareClient::kRecords);
    if (mSinkP->IsOpen()) {
      mSinkP->Record();
    }
  }

 private:
  std::unique_ptr<Test_BareClient> mSourceP;
  std::unique_ptr<Test_BareClient> mSinkP;
  std::vector<Test_Heard> mHeardBefore;
  Breath mBreath;
};

// What is sent at the far side of the interface comes in at the near side, and the other way round.
class UsbPeer final : public Test_DriverPeer {
 public:
  std::string Start() override {
    Plug();
    return mError;
  }
  std::unique_ptr<Platform_Driver> NewDriver() override { return std::make_unique<Platform_AlsaDriver>(); }
  bool IsSource(const Platform_PortInfo& iPort) const override { return IsNearSide(iPort); }
  bool IsSink(const Platform_PortInfo& iPort) const override { return IsNearSide(iPort); }
  bool Send(const Test_MidiBytes& iBytes) override {
    // The wire's speed: behind the far side is a buffer of 4 kB and nobody who says that it is full.
    mBytesSent += iBytes.size();
    if (mBytesSent > 256) {
      mBytesSent = 0;
      std::this_thread::sleep_for(std::chrono::milliseconds(80));
    }
    return mSenderP->Send(iBytes);
  }
  std::size_t MaxPiece() const override { return 256; }
  std::vector<Test_Heard> Heard() override {
    std::vector<Test_Heard> heard = mHeardBefore;
    if (mRecorderP != nullptr) {
      const std::vector<Test_Heard> now = mRecorderP->Heard();
      heard.insert(heard.end(), now.begin(), now.end());
    }
    return heard;
  }
  std::int64_t Blur() const override { return 0; }
  bool CanUnplug() const override { return true; }
  void Unplug() override {
    mHeardBefore = Heard();
    mSenderP.reset();
    mRecorderP.reset();
    if (!mGadget.Unplug()) {
      mError = "the interface does not go";
    }
  }
  void Plug() override {
    if (!mGadget.Plug()) {
      mError = "the interface does not come";
      return;
    }
    mSenderP = std::make_unique<Test_BareClient>("far sender", Test_BareClient::kSends);
    mRecorderP = std::make_unique<Test_BareClient>("far recorder", Test_BareClient::kRecords);
    if (!mSenderP->ConnectTo(mGadget.FarClient(), 0) || !mRecorderP->ConnectFrom(mGadget.FarClient(), 0)) {
      mError = "the far side can't be opened";
    }
    mRecorderP->Record();
  }

 private:
  static bool IsNearSide(const Platform_PortInfo& iPort) {
    return iPort.mPath.find("dummy_hcd.0") != std::string::npos;
  }

  Test_UsbGadget mGadget{0, "Conformance", "0001"};
  std::unique_ptr<Test_BareClient> mSenderP;
  std::unique_ptr<Test_BareClient> mRecorderP;
  std::vector<Test_Heard> mHeardBefore;
  std::string mError;
  std::size_t mBytesSent = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Alsa, DriverConformance, ApplicationPeer);
INSTANTIATE_TYPED_TEST_SUITE_P(AlsaUsb, DriverConformance, UsbPeer);

}  // namespace
