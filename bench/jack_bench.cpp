// SPDX-License-Identifier: MIT
// What the JACK driver costs on a server of its own (jackd with its dummy backend; PipeWire when run through
// pw-jack).
//
// Rows. "callback to reader": from the process callback of a client to a thread that sleeps on a descriptor:
// ours lays a note into an input's lane, wakes, and the reader has the note in hand; "eventfd" is one wake
// through a bare eventfd and its reading, in the same callback of the same client, cycle about. 400 cycles of
// 256 frames each. "write": a note from a thread to the process callback: ours through an output of the
// driver, connected to a bare client that counts; "jack_ringbuffer" as bare clients do it, time, length and
// bytes through libjack's own ring. "event": the same note from WriteEvent of an output of the service to the
// return of PlayBuffer; beside it "PlayBuffer" alone, the call that an application makes itself which uses
// the port without the service: its buffer is packed once, with a time that has passed, so that nothing but
// the driver's work is in it; and "jack_ringbuffer" once more, which is what it takes to leave the library
// out altogether. 200 writes, each timed by itself, then a pause for their playing, 60 times. Microseconds of
// wall time, with about 0.05 for the two readings of the clock in "write" and "event".
#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/ringbuffer.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/bench_report.h"
#include "bench/support/port_way.h"
#include "platform/directmusic/jack/jack_driver.h"
#include "platform/directmusic/jack/jack_inputlane.h"
#include "tests/platform/directmusic/jack/jack_test_server.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCycles = 400;
constexpr std::size_t kWritesARound = 200;
constexpr int kRounds = 60;
constexpr std::uint8_t kNote[] = {0x92, 60, 100};

double MicrosecondsSince(Clock::time_point iBegin) {
  return std::chrono::duration<double, std::micro>(Clock::now() - iBegin).count();
}

bool Sleep(int iDescriptor) {
  pollfd poll{iDescriptor, POLLIN, 0};
  return ::poll(&poll, 1, 10'000) == 1;
}

// ---- from the callback to the reader ----

// Our way in: an input's lane.
class OurWake {
 public:
  void Raise() {
    mLane.Arrive(kNote, sizeof(kNote));
    mLane.Wake();
  }
  bool Receive() { return Sleep(mLane.Descriptor()) && mLane.Read(mPiece); }

 private:
  Platform_JackInputLane mLane;
  Platform_Piece mPiece;
};

// One wake and nothing else.
class BareWake {
 public:
  ~BareWake() { ::close(mDescriptor); }
  void Raise() const {
    const std::uint64_t one = 1;
    if (::write(mDescriptor, &one, sizeof(one)) < 0) std::abort();
  }
  bool Receive() const {
    std::uint64_t count = 0;
    return Sleep(mDescriptor) && ::read(mDescriptor, &count, sizeof(count)) == sizeof(count);
  }

 private:
  const int mDescriptor = ::eventfd(0, EFD_NONBLOCK);
};

// A client whose callback raises once a cycle when it is asked to.
template <class Wake>
struct Waker {
  static int OnProcess(jack_nframes_t /*iFrames*/, void* iWakerP) {
    auto* const waker = static_cast<Waker*>(iWakerP);
    if (waker->mIsWanted.exchange(false)) {
      waker->mRaised = Clock::now();
      waker->mWake.Raise();
    }
    return 0;
  }
  Wake mWake;
  std::atomic<bool> mIsWanted{false};
  Clock::time_point mRaised;
};

template <class Wake>
void MeasureWakes(benchmark::State& ioState) {
  Waker<Wake> waker;
  jack_status_t status{};
  jack_client_t* const client = jack_client_open("bench", JackNoStartServer, &status);
  if (client == nullptr) return ioState.SkipWithError("no server");
  jack_set_process_callback(client, Waker<Wake>::OnProcess, &waker);
  jack_activate(client);
  std::vector<double> times;
  times.reserve(kCycles);
  bool isLost = false;
  for (int i = 0; i < kCycles && !isLost; ++i) {
    waker.mIsWanted.store(true);
    isLost = !waker.mWake.Receive();
    times.push_back(MicrosecondsSince(waker.mRaised));
  }
  jack_client_close(client);
  if (isLost) return ioState.SkipWithError("a wake was lost");
  ioState.counters["p50"] = Bench_Quantile(times, 0.5);
  ioState.counters["p99"] = Bench_Quantile(times, 0.99);
}

// ---- writing ----

// A bare client that counts the events that it hears, and plays what comes through libjack's ring.
class BareClient {
 public:
  BareClient() {
    jack_status_t status{};
    mClientP = jack_client_open("far end", JackNoStartServer, &status);
    if (mClientP == nullptr) return;
    mSinkP = jack_port_register(mClientP, "sink", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    mSourceP = jack_port_register(mClientP, "source", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    jack_set_process_callback(mClientP, OnProcess, this);
    jack_activate(mClientP);
  }
  ~BareClient() {
    if (mClientP != nullptr) jack_client_close(mClientP);
    jack_ringbuffer_free(mRingP);
  }
  bool IsReady() const { return mClientP != nullptr; }
  void Write() {
    Header header{0, sizeof(kNote)};
    jack_ringbuffer_write(mRingP, reinterpret_cast<const char*>(&header), sizeof(header));
    jack_ringbuffer_write(mRingP, reinterpret_cast<const char*>(kNote), sizeof(kNote));
  }
  std::size_t Heard() const { return mHeard.load(); }
  std::size_t Played() const { return mPlayed.load(); }

 private:
  struct Header {
    std::int64_t mTime;
    std::size_t mLength;
  };
  static int OnProcess(jack_nframes_t iFrames, void* iClientP) {
    auto* const self = static_cast<BareClient*>(iClientP);
    self->mHeard.fetch_add(jack_midi_get_event_count(jack_port_get_buffer(self->mSinkP, iFrames)));
    void* const buffer = jack_port_get_buffer(self->mSourceP, iFrames);
    jack_midi_clear_buffer(buffer);
    Header header{};
    char bytes[sizeof(kNote)];
    while (jack_ringbuffer_read_space(self->mRingP) >= sizeof(header) + sizeof(kNote)) {
      jack_ringbuffer_read(self->mRingP, reinterpret_cast<char*>(&header), sizeof(header));
      jack_ringbuffer_read(self->mRingP, bytes, sizeof(bytes));
      jack_midi_event_write(buffer, 0, reinterpret_cast<const jack_midi_data_t*>(bytes), sizeof(bytes));
      self->mPlayed.fetch_add(1);
    }
    return 0;
  }

  jack_client_t* mClientP = nullptr;
  jack_port_t* mSinkP = nullptr;
  jack_port_t* mSourceP = nullptr;
  jack_ringbuffer_t* mRingP = jack_ringbuffer_create(1 << 16);
  std::atomic<std::size_t> mHeard{0};
  std::atomic<std::size_t> mPlayed{0};
};

class Host : public Platform_DriverHost {
 public:
  void PortsMayHaveChanged() override {}
};

template <class Write, class Count>
void MeasureWrites(benchmark::State& ioState, Write iWrite, Count iCount) {
  std::vector<double> times;
  times.reserve(kWritesARound * kRounds);
  for (std::size_t round = 1; round <= kRounds; ++round) {
    for (std::size_t i = 0; i < kWritesARound; ++i) {
      const Clock::time_point begin = Clock::now();
      iWrite();
      times.push_back(MicrosecondsSince(begin));
    }
    const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
    while (iCount() < round * kWritesARound) {
      if (Clock::now() > end) return ioState.SkipWithError("notes were lost");
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  ioState.counters["p50"] = Bench_Quantile(times, 0.5);
  ioState.counters["p99"] = Bench_Quantile(times, 0.99);
}

void MeasureOurWrites(benchmark::State& ioState) {
  BareClient farEnd;
  Host host;
  Platform_JackDriver driver;
  std::string reason;
  if (!farEnd.IsReady() || !driver.Start(&host, reason)) return ioState.SkipWithError("no server");
  std::unique_ptr<Platform_DriverOutput> output;
  for (const Platform_PortInfo& port : driver.Ports()) {
    if (port.mName == "far end:sink") output = driver.OpenOutput(port);
  }
  if (output == nullptr) return ioState.SkipWithError("no port");
  MeasureWrites(
      ioState, [&] { output->Send(kPlatform_AtOnce, kNote, sizeof(kNote)); }, [&] { return farEnd.Heard(); });
}

void MeasureBareWrites(benchmark::State& ioState) {
  BareClient client;
  if (!client.IsReady()) return ioState.SkipWithError("no server");
  MeasureWrites(
      ioState, [&] { client.Write(); }, [&] { return client.Played(); });
}

// An output of the service on a port of the server, whose far end counts.
template <class Write>
void MeasureService(benchmark::State& ioState, Write iWrite) {
  BareClient farEnd;
  if (!farEnd.IsReady()) return ioState.SkipWithError("no server");
  Bench_OutputWay way("jack", "far end:sink");
  if (!way.IsReady()) return ioState.SkipWithError("no port");
  MeasureWrites(
      ioState, [&] { iWrite(way); }, [&] { return farEnd.Heard(); });
}

void MeasureEvents(benchmark::State& ioState) {
  MeasureService(ioState, [](Bench_OutputWay& ioWay) { ioWay.Write(); });
}

void MeasurePlayBuffer(benchmark::State& ioState) {
  constexpr DWORD kWord = kNote[0] | kNote[1] << 8 | kNote[2] << 16;
  IDirectMusicBuffer* bufferP = nullptr;
  MeasureService(ioState, [&](Bench_OutputWay& ioWay) {
    if (bufferP == nullptr) {
      if (FAILED(DirectMusicClient::CreateMusicBuffer(sizeof(kWord), &bufferP))) std::abort();
      bufferP->SetStartTime(0);
      bufferP->PackStructured(0, 1, kWord);
    }
    ioWay.Port()->PlayBuffer(bufferP);
  });
  if (bufferP != nullptr) bufferP->Release();
}

}  // namespace

int main(int iArgumentCount, char** iArgumentsPP) {
  Test_JackServer server;
  const std::string reason = server.Start();
  if (!reason.empty()) {
    std::fprintf(stderr, "no JACK server: %s\n", reason.c_str());
    return 1;
  }
  Bench_Add("callback to reader", kBenchOurs, MeasureWakes<OurWake>);
  Bench_Add("callback to reader", "eventfd", MeasureWakes<BareWake>);
  Bench_Add("write", kBenchOurs, MeasureOurWrites);
  Bench_Add("write", "jack_ringbuffer", MeasureBareWrites);
  Bench_Add("event", kBenchOurs, MeasureEvents);
  Bench_Add("event", "PlayBuffer", MeasurePlayBuffer);
  Bench_Add("event", "jack_ringbuffer", MeasureBareWrites);
  Bench_Report report;
  report.mProgram = "jack_bench";
  report.mMetrics = {{"p50", "us", false}, {"p99", "us", false}};
  report.mGoals = {{"callback to reader", "p50", "eventfd", 1.3},
                   {"write", "p50", "jack_ringbuffer", 1.5},
                   {"event", "p50", "PlayBuffer", 1.5}};
  report.mHead = {std::string("libjack ") + jack_get_version_string()};
  return Bench_Main(iArgumentCount, iArgumentsPP, report);
}
