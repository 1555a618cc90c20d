// SPDX-License-Identifier: MIT
// The JACK driver against bare clients on a server of the test's own. Built once, run twice: on jackd, and
// with PipeWire's libjack on PipeWire.
#include "platform/directmusic/jack/jack_driver.h"
#include "tests/platform/directmusic/conformance/driver_conformance.h"
#include "tests/platform/directmusic/jack/jack_test_client.h"
#include "tests/platform/directmusic/jack/jack_test_server.h"

namespace {

#if defined(MLOX_TEST_PIPEWIRE)
constexpr bool kWantsPipeWire = true;
#else
constexpr bool kWantsPipeWire = false;
#endif

class JackPeer final : public Test_DriverPeer {
 public:
  std::string Start() override {
    if (Test_IsPipeWire() != kWantsPipeWire) {
      return kWantsPipeWire ? "this run needs PipeWire's libjack: start it through pw-jack"
                            : "this run needs jackd's libjack, not PipeWire's";
    }
    std::string reason = mServer.Start();
    reason = reason.empty() ? mSender.Open("conformance sender") : reason;
    reason = reason.empty() ? mRecorder.Open("conformance recorder") : reason;
    if (reason.empty()) {
      Plug();
    }
    return reason;
  }
  std::unique_ptr<Platform_Driver> NewDriver() override { return std::make_unique<Platform_JackDriver>(); }
  bool IsSource(const Platform_PortInfo& iPort) const override {
    return iPort.mName == "conformance sender:source";
  }
  bool IsSink(const Platform_PortInfo& iPort) const override {
    return iPort.mName == "conformance recorder:sink";
  }
  bool Send(const Test_MidiBytes& iBytes) override { return mSender.Send("source", iBytes); }
  std::size_t MaxPiece() const override { return 1024; }
  std::vector<Test_Heard> Heard() override { return mRecorder.Heard("sink"); }
  // Two frames of 48,000 a second, and what the two clocks go apart between two measurements.
  std::int64_t Blur() const override { return 100; }

  bool CanUnplug() const override { return true; }
  void Unplug() override {
    mSender.Remove("source");
    mRecorder.Remove("sink");
  }
  void Plug() override {
    mSender.AddSource("source");
    mRecorder.AddSink("sink");
  }

 private:
  Test_JackServer mServer;
  Test_JackClient mSender;
  Test_JackClient mRecorder;
};

// The two runs go under names of their own.
#if defined(MLOX_TEST_PIPEWIRE)
INSTANTIATE_TYPED_TEST_SUITE_P(JackPipeWire, DriverConformance, JackPeer);
#else
INSTANTIATE_TYPED_TEST_SUITE_P(JackServer, DriverConformance, JackPeer);
#endif

}  // namespace
