// SPDX-License-Identifier: MIT
// What the JACK driver costs on a server of its own (jackd with its dummy backend; PipeWire when run through
// pw-jack).
//
// Rows. "callback to receiver": from the beginning of the driver's own process callback in the cycle that has
// a note to the application's Mlox_RawMidiReceiver, through lane, port, wait and receive task; the receive
// thread takes its nice value of -10 where it may. "callback to lane": from a bare client's callback to a
// thread that sleeps on the descriptor of an input's lane, which is what the driver alone takes of that way.
// "eventfd" beside both is one wake through a bare eventfd and its reading, from a bare client's callback to
// a thread as it comes; "bare client" the same in the driver's place, behind the client that plays, to a
// thread of our nice value. 400 cycles of 256 frames each. "write": a note from a thread to the process
// callback: ours through an output of the driver, connected to a bare client that counts; "jack_ringbuffer"
// as bare clients do it, time, length and bytes through libjack's own ring. "event": the same note from
// WriteEvent of an output of the service to the return of PlayBuffer; beside it "PlayBuffer" alone, the call
// that an application makes itself which uses the port without the service: its buffer is packed once, with a
// time that has passed, so that nothing but the driver's work is in it; and "jack_ringbuffer" once more,
// which is what it takes to leave the library out altogether. 200 writes, each timed by itself, then a pause
// for their playing, 60 times. Microseconds of wall time, with about 0.05 for the two readings of the clock
// in "write" and "event".
#include <dlfcn.h>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/ringbuffer.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/bench_report.h"
#include "bench/support/port_way.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "platform/directmusic/jack/jack_driver.h"
#include "platform/directmusic/jack/jack_inputlane.h"
#include "tests/platform/directmusic/jack/jack_test_server.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCycles = 400;
constexpr int kOurNice = -10;
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

// ---- from the driver's callback to the receiver ----

constexpr char kSource[] = "bench source";

// Stands around the process callback of the driver's client and notes when it begins in the cycle that has a
// note for it.
struct TimedCallback {
  static int OnProcess(jack_nframes_t iFrames, void* iThisP) {
    auto* const self = static_cast<TimedCallback*>(iThisP);
    if (sIsOnItsWay.exchange(false)) sBegan = Clock::now();
    return self->mCallback(iFrames, self->mArgumentP);
  }
  JackProcessCallback mCallback;
  void* mArgumentP;

  // Between callbacks of one cycle, and from the callback to the receiver, the server and the driver order
  // what happens; the flag orders it all the same.
  static inline std::atomic<bool> sIsOnItsWay{false};
  static inline std::atomic<Clock::time_point> sBegan{};
  // Clients that are made meanwhile are the driver's.
  static inline std::atomic<bool> sWraps{false};
};

// Plays a note at the beginning of a cycle when it is asked to.
class Source {
 public:
  Source() {
    jack_status_t status{};
    mClientP = jack_client_open(kSource, JackNoStartServer, &status);
    if (mClientP == nullptr) return;
    mPortP = jack_port_register(mClientP, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    jack_set_process_callback(mClientP, OnProcess, this);
    jack_activate(mClientP);
  }
  ~Source() {
    if (mClientP != nullptr) jack_client_close(mClientP);
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  bool IsReady() const { return mClientP != nullptr; }
  void Play() { mIsWanted.store(true); }

 private:
  static int OnProcess(jack_nframes_t iFrames, void* iThisP) {
    auto* const self = static_cast<Source*>(iThisP);
    void* const bufferP = jack_port_get_buffer(self->mPortP, iFrames);
    jack_midi_clear_buffer(bufferP);
    if (self->mIsWanted.exchange(false)) {
      jack_midi_event_write(bufferP, 0, kNote, sizeof(kNote));
      TimedCallback::sIsOnItsWay.store(true);
    }
    return 0;
  }

  jack_client_t* mClientP = nullptr;
  jack_port_t* mPortP = nullptr;
  std::atomic<bool> mIsWanted{false};
};

// An application's.
class Receiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* /*iDataP*/) override {
    mTime = std::chrono::duration<double, std::micro>(Clock::now() - TimedCallback::sBegan.load()).count();
    mCount.fetch_add(1);
    return 0;
  }
  // Waits without being woken, which would be the receive thread's work: false after ten seconds.
  bool WaitFor(int iCount) const {
    const Clock::time_point end = Clock::now() + std::chrono::seconds(10);
    while (mCount.load() < iCount) {
      if (Clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }
  double Time() const { return mTime; }

 private:
  double mTime = 0;  // of the last one; read when it has been counted
  std::atomic<int> mCount{0};
};

// The hardware service over this server, with a port of the application on the source.
class InputWay {
 public:
  explicit InputWay(Receiver& ioReceiver) {
    setenv("MLOX_MIDI_DRIVERS", "jack", 1);
    Platform_SetDirectMusicFactory(nullptr);
    TimedCallback::sWraps.store(true);
    const bool isActive =
        Manager().ActivateService(Mlox_Manager::kDirectMusicService, &mAllocator, &mAppCallback);
    Mlox_InputRef input;
    for (int patience = 0; isActive && !input && patience < 1'000; ++patience) {
      Manager().CheckStudioSetup();
      input = Find();
      if (!input) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (!input) return;
    mPort.reset(Manager().CreateInputPort(&ioReceiver));
    mPort->ConnectToInputs({input});
    // The server takes a moment to wire it.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
  ~InputWay() {
    if (mPort != nullptr) mPort->CloseCurrentConnections();
    mPort.reset();
    Manager().RemoveAllServices();
    TimedCallback::sWraps.store(false);
    Platform_SetDirectMusicFactory([](REFIID, void**) -> HRESULT { return E_FAIL; });
  }
  InputWay(const InputWay&) = delete;
  InputWay& operator=(const InputWay&) = delete;
  bool IsReady() const { return mPort != nullptr; }

 private:
  class AppCallback : public Mdi_AppCallback {
   public:
    std::int64_t SampleToMicroseconds(Time_Sample) override { return 0; }
    void StopPlayback() override {}
  };

  static Mlox_Manager& Manager() { return *Mlox_Manager::Singleton(); }
  static Mlox_InputRef Find() {
    const int count = Manager().GetNumberOfInputs();
    for (int i = 0; i < count; ++i) {
      Mlox_InputRef input = Manager().GetInput(i);
      if (input && input->GetName() == std::string(kSource) + ":out") return input;
    }
    return nullptr;
  }

  Mem2_MasterAllocator mAllocator;
  AppCallback mAppCallback;
  std::unique_ptr<Mlox_InputPort> mPort;
};

void MeasureReceiver(benchmark::State& ioState) {
  Source source;
  if (!source.IsReady()) return ioState.SkipWithError("no server");
  Receiver receiver;
  const InputWay way(receiver);
  if (!way.IsReady()) return ioState.SkipWithError("no port");
  std::vector<double> times;
  for (int i = 1; i <= kCycles; ++i) {
    source.Play();
    if (!receiver.WaitFor(i)) return ioState.SkipWithError("a note was lost");
    times.push_back(receiver.Time());
  }
  ioState.counters["p50"] = Bench_Quantile(times, 0.5);
  ioState.counters["p99"] = Bench_Quantile(times, 0.99);
}

// ---- from a callback to a reader of our lane, or of an eventfd ----

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

void MeasureBareWakes(benchmark::State& ioState) { MeasureWakes<BareWake>(ioState); }
void MeasureLaneWakes(benchmark::State& ioState) { MeasureWakes<OurWake>(ioState); }

// A bare client in the driver's place: behind the source, it writes to an eventfd when a note comes.
class BareReceiver {
 public:
  BareReceiver() {
    jack_status_t status{};
    mClientP = jack_client_open("bench", JackNoStartServer, &status);
    if (mClientP == nullptr) return;
    mPortP = jack_port_register(mClientP, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(mClientP, OnProcess, this);
    jack_activate(mClientP);
    const std::string from = std::string(kSource) + ":out";
    mIsConnected = jack_connect(mClientP, from.c_str(), jack_port_name(mPortP)) == 0;
  }
  ~BareReceiver() {
    if (mClientP != nullptr) jack_client_close(mClientP);
  }
  BareReceiver(const BareReceiver&) = delete;
  BareReceiver& operator=(const BareReceiver&) = delete;
  bool IsReady() const { return mIsConnected; }
  bool Receive() const { return mWake.Receive(); }
  Clock::time_point Began() const { return mBegan; }

 private:
  static int OnProcess(jack_nframes_t iFrames, void* iThisP) {
    auto* const self = static_cast<BareReceiver*>(iThisP);
    const Clock::time_point now = Clock::now();
    if (jack_midi_get_event_count(jack_port_get_buffer(self->mPortP, iFrames)) == 0) return 0;
    self->mBegan = now;
    self->mWake.Raise();
    return 0;
  }

  jack_client_t* mClientP = nullptr;
  jack_port_t* mPortP = nullptr;
  bool mIsConnected = false;
  Clock::time_point mBegan;
  BareWake mWake;
};

void MeasureBareReceiver(benchmark::State& ioState) {
  Source source;
  BareReceiver receiver;
  if (!source.IsReady() || !receiver.IsReady()) return ioState.SkipWithError("no server");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  std::vector<double> times;
  times.reserve(kCycles);
  bool isLost = false;
  std::thread reader([&] {
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kOurNice);
    for (int i = 0; i < kCycles && !isLost; ++i) {
      source.Play();
      isLost = !receiver.Receive();
      times.push_back(MicrosecondsSince(receiver.Began()));
    }
  });
  reader.join();
  if (isLost) return ioState.SkipWithError("a note was lost");
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

// In front of libjack's own.
int jack_set_process_callback(jack_client_t* iClientP, JackProcessCallback iCallback, void* iArgumentP) {
  using Setter = int (*)(jack_client_t*, JackProcessCallback, void*);
  static const auto sSetter = reinterpret_cast<Setter>(::dlsym(RTLD_NEXT, "jack_set_process_callback"));
  if (sSetter == nullptr) std::abort();
  if (!TimedCallback::sWraps.load()) return sSetter(iClientP, iCallback, iArgumentP);
  // Never deleted: a client may call it to its end.
  return sSetter(iClientP, TimedCallback::OnProcess, new TimedCallback{iCallback, iArgumentP});
}

int main(int iArgumentCount, char** iArgumentsPP) {
  Test_JackServer server;
  const std::string reason = server.Start();
  if (!reason.empty()) {
    std::fprintf(stderr, "no JACK server: %s\n", reason.c_str());
    return 1;
  }
  Bench_Add("callback to receiver", kBenchOurs, MeasureReceiver);
  Bench_Add("callback to receiver", "eventfd", MeasureBareWakes);
  Bench_Add("callback to receiver", "bare client", MeasureBareReceiver);
  Bench_Add("callback to lane", kBenchOurs, MeasureLaneWakes);
  Bench_Add("callback to lane", "eventfd", MeasureBareWakes);
  Bench_Add("write", kBenchOurs, MeasureOurWrites);
  Bench_Add("write", "jack_ringbuffer", MeasureBareWrites);
  Bench_Add("event", kBenchOurs, MeasureEvents);
  Bench_Add("event", "PlayBuffer", MeasurePlayBuffer);
  Bench_Add("event", "jack_ringbuffer", MeasureBareWrites);
  Bench_Report report;
  report.mProgram = "jack_bench";
  report.mMetrics = {{"p50", "us", false}, {"p99", "us", false}};
  report.mGoals = {{"callback to receiver", "p50", "eventfd", 1.3},
                   {"callback to receiver", "p50", "bare client", 1.3},
                   {"callback to lane", "p50", "eventfd", 1.3},
                   {"write", "p50", "jack_ringbuffer", 1.5},
                   {"event", "p50", "PlayBuffer", 1.5}};
  report.mHead = {std::string("libjack ") + jack_get_version_string()};
  return Bench_Main(iArgumentCount, iArgumentsPP, report);
}
