// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_driver.h"

#include "cmn/sys_clock.h"
#include "platform/directmusic/jack/jack_session.h"

namespace {

class JackInput final : public Platform_DriverInput {
 public:
  JackInput(std::shared_ptr<Platform_JackSession> iSessionP, std::shared_ptr<Platform_JackInputWay> iWayP)
      : mSessionP(std::move(iSessionP)), mWayP(std::move(iWayP)) {}
  ~JackInput() override { mSessionP->Close(mWayP); }
  bool Read(Platform_Piece& oPiece) override { return mWayP->mLane.Read(oPiece); }
  int Descriptor() const override { return mWayP->mLane.Descriptor(); }
  bool HasBuffered() const override { return mWayP->mLane.HasBuffered(); }
  std::uint64_t LostPieces() const override { return mWayP->mLane.Lost(); }

 private:
  const std::shared_ptr<Platform_JackSession> mSessionP;
  const std::shared_ptr<Platform_JackInputWay> mWayP;
};

class JackOutput final : public Platform_DriverOutput {
 public:
  JackOutput(std::shared_ptr<Platform_JackSession> iSessionP, std::shared_ptr<Platform_JackOutputWay> iWayP)
      : mSessionP(std::move(iSessionP)), mWayP(std::move(iWayP)) {}
  ~JackOutput() override { mSessionP->Close(mWayP); }

  Platform_SendResult Send(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) override {
    return SendNow(Sys_Clock::Microseconds(), iTime, iBytes, iLength);
  }
  Platform_SendResult SendNow(std::int64_t iNow, std::int64_t iTime, const std::uint8_t* iBytes,
                              std::size_t iLength) override {
    if (mWayP->mIsGone.load(std::memory_order_acquire)) {
      return Platform_SendResult::kGone;
    }
    return mWayP->mLane.SendNow(iNow, iTime, iBytes, iLength) ? Platform_SendResult::kTaken
                                                              : Platform_SendResult::kFull;
  }
  std::size_t PieceSize() const override { return kPieceSize; }
  // What is sent now sounds in the cycle that begins within a period.
  std::int64_t LatencyMicroseconds() const override { return mSessionP->PeriodMicroseconds(); }
  void Drop() override { mWayP->mLane.Drop(); }
  std::uint64_t LostMessages() const override {
    return mWayP->mIsGone.load(std::memory_order_acquire) ? mWayP->Lost() : 0;
  }

 private:
  // What the servers' own bridges to hardware cut system exclusive into; any port's buffer holds it.
  static constexpr std::size_t kPieceSize = 256;

  const std::shared_ptr<Platform_JackSession> mSessionP;
  const std::shared_ptr<Platform_JackOutputWay> mWayP;
};

}  // namespace

Platform_JackDriver::Platform_JackDriver() = default;

Platform_JackDriver::~Platform_JackDriver() { Stop(); }

bool Platform_JackDriver::Start(Platform_DriverHost* iHostP, std::string& oReason) {
  Stop();
  mSessionP = std::make_shared<Platform_JackSession>();
  const Platform_JackBegin begin = mSessionP->Begin(iHostP);
  if (begin == Platform_JackBegin::kDone) {
    return true;
  }
  if (begin == Platform_JackBegin::kSilent) {
    oReason = "the JACK server does not answer";
    return true;
  }
  oReason = "no JACK server runs";
  Stop();
  return false;
}

void Platform_JackDriver::Stop() {
  if (mSessionP != nullptr) {
    mSessionP->End();
    mSessionP.reset();
  }
}

std::vector<Platform_PortInfo> Platform_JackDriver::Ports() {
  return mSessionP != nullptr ? mSessionP->Ports() : std::vector<Platform_PortInfo>();
}

std::unique_ptr<Platform_DriverInput> Platform_JackDriver::OpenInput(const Platform_PortInfo& iPort) {
  auto way = mSessionP != nullptr ? mSessionP->Open(iPort.mHandle, true) : nullptr;
  if (way == nullptr) {
    return nullptr;
  }
  return std::make_unique<JackInput>(mSessionP, std::static_pointer_cast<Platform_JackInputWay>(way));
}

std::unique_ptr<Platform_DriverOutput> Platform_JackDriver::OpenOutput(const Platform_PortInfo& iPort) {
  auto way = mSessionP != nullptr ? mSessionP->Open(iPort.mHandle, false) : nullptr;
  if (way == nullptr) {
    return nullptr;
  }
  return std::make_unique<JackOutput>(mSessionP, std::static_pointer_cast<Platform_JackOutputWay>(way));
}
