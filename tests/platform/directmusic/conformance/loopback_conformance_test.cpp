// SPDX-License-Identifier: MIT
// The loopback driver against a second instance of itself on the other end of each pair.
#include <mutex>
#include <thread>

#include "platform/directmusic/loopback/loopback_driver.h"
#include "tests/platform/directmusic/conformance/driver_conformance.h"

namespace {

constexpr char kSourcePair[] = "conformance source";
constexpr char kSinkPair[] = "conformance sink";

class LoopbackPeer final : public Test_DriverPeer {
 public:
  ~LoopbackPeer() override {
    StopRecording();
    mFarSide.Stop();
    Platform_LoopbackPorts::Unplug(kSourcePair);
    Platform_LoopbackPorts::Unplug(kSinkPair);
  }

  std::string Start() override {
    std::string reason;
    if (!mFarSide.Start(&mHost, reason)) {
      return reason;
    }
    Plug();
    return "";
  }
  std::unique_ptr<Platform_Driver> NewDriver() override {
    return std::make_unique<Platform_LoopbackDriver>();
  }
  bool IsSource(const Platform_PortInfo& iPort) const override { return iPort.mName == kSourcePair; }
  bool IsSink(const Platform_PortInfo& iPort) const override { return iPort.mName == kSinkPair; }

  bool Send(const Test_MidiBytes& iBytes) override {
    return mOutputP->Send(kPlatform_AtOnce, iBytes.data(), iBytes.size()) == Platform_SendResult::kTaken;
  }
  std::size_t MaxPiece() const override { return kPlatform_MaxPiece; }
  std::vector<Test_Heard> Heard() override {
    const std::lock_guard lock(mMutex);
    return mHeard;
  }
  std::int64_t Blur() const override { return 0; }

  bool CanUnplug() const override { return true; }
  void Unplug() override {
    StopRecording();
    Platform_LoopbackPorts::Unplug(kSourcePair);
    Platform_LoopbackPorts::Unplug(kSinkPair);
  }
  void Plug() override {
    Platform_LoopbackPorts::Plug(kSourcePair);
    Platform_LoopbackPorts::Plug(kSinkPair);
    for (const Platform_PortInfo& port : mFarSide.Ports()) {
      if (!port.mIsInput && port.mName == kSourcePair) {
        mOutputP = mFarSide.OpenOutput(port);
      }
      if (port.mIsInput && port.mName == kSinkPair) {
        mInputP = mFarSide.OpenInput(port);
      }
    }
    mStop.store(false);
    mRecorder = std::thread([this] { Record(); });
  }

 private:
  void Record() {
    while (!mStop.load()) {
      if (!mInputP->Read(mPiece)) {
        pollfd poll{mInputP->Descriptor(), POLLIN, 0};
        ::poll(&poll, 1, 5);
        continue;
      }
      const std::lock_guard lock(mMutex);
      mHeard.push_back(
          {Sys_Clock::Microseconds(), Test_MidiBytes(mPiece.mBytes, mPiece.mBytes + mPiece.mLength)});
    }
  }
  void StopRecording() {
    mStop.store(true);
    if (mRecorder.joinable()) {
      mRecorder.join();
    }
    mInputP.reset();
    mOutputP.reset();
  }

  Test_DriverHost mHost;
  Platform_LoopbackDriver mFarSide;
  std::unique_ptr<Platform_DriverOutput> mOutputP;
  std::unique_ptr<Platform_DriverInput> mInputP;
  Platform_Piece mPiece;
  std::mutex mMutex;
  std::vector<Test_Heard> mHeard;
  std::atomic<bool> mStop{false};
  std::thread mRecorder;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Loopback, DriverConformance, LoopbackPeer);

}  // namespace
