// SPDX-License-Identifier: MIT
// The ALSA driver beside bare clients of the sequencer and beside RtMidi, in one run on one machine. Meant
// for the guest with virtual time (bench/alsa_guest.sh), where a nanosecond is half an instruction and
// figures repeat.
//
//   arrival   from another client's write to the reader's hands, 2,000 messages one at a time; ours to the
//             Mlox_RawMidiReceiver of an application. Peers run as they come; our receive thread takes
//             its nice value of -10, which the guest's root may: it is run at once then, and not 3.3
//             microseconds later, when the sender has gone to sleep
//   write     the call that plays one short message at once; ours from WriteEvent of an output on
//   ahead     how late messages sound that were written 100 ms ahead
#include <RtMidi.h>
#include <alsa/asoundlib.h>
#include <fmt/format.h>
#include <poll.h>
#include <sched.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_init.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_rawmidireceiver.h"

namespace {

constexpr int kMessages = 2'000;

std::int64_t Nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void Sleep(int iMicroseconds) { std::this_thread::sleep_for(std::chrono::microseconds(iMicroseconds)); }

[[noreturn]] void Fail(const std::string& iWhat) {
  fmt::print(stderr, "alsa_guest_bench: {}\n", iWhat);
  std::exit(1);
}

// What was printed, by case and who, in microseconds.
struct Row {
  double mLeast = 0;
  double mMiddle = 0;
  double mMost = 0;
};
std::map<std::string, Row>& Rows() {
  static std::map<std::string, Row> sRows;
  return sRows;
}

void Print(const std::string& iCase, const std::string& iWho, std::vector<std::int64_t> ioTimes) {
  if (ioTimes.empty()) {
    Fail(iCase + ": nothing was measured for " + iWho);
  }
  std::sort(ioTimes.begin(), ioTimes.end());
  const auto at = [&](double iShare) {
    return static_cast<double>(
               ioTimes[static_cast<std::size_t>(iShare * static_cast<double>(ioTimes.size() - 1))]) /
           1000.0;
  };
  fmt::print("{:<10}{:<34}{:>9.2f}{:>9.2f}{:>9.2f}{:>9.2f}{:>8}\n", iCase, iWho, at(0), at(0.5), at(0.99),
             at(1), ioTimes.size());
  Rows()[iCase + ", " + iWho] = {at(0), at(0.5), at(1)};
}

// ---- goals ----

constexpr char kOurArrival[] = "mlox, one port";
constexpr char kRtMidi[] = "RtMidi " RTMIDI_VERSION;
constexpr char kOurWrite[] = "mlox, WriteEvent";
constexpr char kBareWrite[] = "bare driver call";
constexpr char kOurAhead[] = "mlox";

const Row& RowOf(const std::string& iCase, const std::string& iWho) {
  const auto found = Rows().find(iCase + ", " + iWho);
  if (found == Rows().end()) {
    Fail(iCase + ": no figures for " + iWho);
  }
  return found->second;
}

void PrintGoal(bool iIsReached, const std::string& iText) {
  fmt::print("goal {}: {}\n", iIsReached ? "reached" : "MISSED ", iText);
}

// As the other benchmarks print theirs; a miss doesn't fail the program.
void PrintGoals() {
  constexpr double kMostArrival = 15;
  constexpr double kMostWrite = 1.5;
  constexpr double kMostLate = 200;
  const double ours = RowOf("arrival", kOurArrival).mMiddle;
  const double rtMidi = RowOf("arrival", kRtMidi).mMiddle;
  const double write = RowOf("write", kOurWrite).mMiddle;
  const double bareWrite = RowOf("write", kBareWrite).mMiddle;
  const Row& ahead = RowOf("ahead", kOurAhead);
  fmt::print(
      "\narrival p50, ratio of mlox to the others: RtMidi {:.2f}, bare client {:.2f}, one that polls "
      "{:.2f}\n",
      ours / rtMidi, ours / RowOf("arrival", "bare client").mMiddle,
      ours / RowOf("arrival", "bare client that polls").mMiddle);
  fmt::print("write p50, ratio of mlox to the bare driver call: {:.2f}\n", write / bareWrite);
  PrintGoal(ours < kMostArrival, fmt::format("arrival p50 under {} us : {:.2f}", kMostArrival, ours));
  PrintGoal(ours < rtMidi, fmt::format("arrival p50 under RtMidi's {:.2f} us : {:.2f}", rtMidi, ours));
  const double eight = RowOf("arrival", "mlox, 8 ports").mMiddle;
  PrintGoal(eight < rtMidi,
            fmt::format("arrival p50 with 8 ports under RtMidi's {:.2f} us : {:.2f}", rtMidi, eight));
  PrintGoal(write <= kMostWrite * bareWrite,
            fmt::format("write p50 at most {:.2f} us ({} x bare driver call) : {:.2f}",
                        kMostWrite * bareWrite, kMostWrite, write));
  PrintGoal(ahead.mLeast >= 0, fmt::format("ahead never early : {:.2f} us at the least", ahead.mLeast));
  PrintGoal(ahead.mMost <= kMostLate,
            fmt::format("ahead at most {} us late : {:.2f} us at most", kMostLate, ahead.mMost));
}

// A client with one port that others may subscribe to in both directions.
class Client {
 public:
  Client(const char* iName, int iMode) {
    if (snd_seq_open(&mHandleP, "default", SND_SEQ_OPEN_DUPLEX, iMode) < 0) {
      Fail("the sequencer does not open");
    }
    snd_seq_set_client_name(mHandleP, iName);
    snd_seq_set_client_pool_input(mHandleP, 2'000);
    mPort = snd_seq_create_simple_port(mHandleP, iName,
                                       SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ |
                                           SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE,
                                       SND_SEQ_PORT_TYPE_APPLICATION | SND_SEQ_PORT_TYPE_MIDI_GENERIC);
  }
  ~Client() { snd_seq_close(mHandleP); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  snd_seq_t* Handle() const { return mHandleP; }
  int Id() const { return snd_seq_client_id(mHandleP); }
  int Port() const { return mPort; }
  snd_seq_event_t Program(int iValue) const {
    snd_seq_event_t event{};
    snd_seq_ev_set_pgmchange(&event, 0, iValue);
    snd_seq_ev_set_source(&event, static_cast<unsigned char>(mPort));
    snd_seq_ev_set_subs(&event);
    snd_seq_ev_set_direct(&event);
    return event;
  }

 private:
  snd_seq_t* mHandleP = nullptr;
  int mPort = -1;
};

// ---- our side ----

// A sample is a microsecond of the monotonic clock.
class AppCallback : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSample) override { return iSample.AsInt64(); }
  void StopPlayback() override {}
};

// The library with the hardware service active, from the first use on.
Mlox_Manager& Manager() {
  static Mlox_Manager* const sManagerP = [] {
    static auto* const sAllocatorP = new Mem2_MasterAllocator;
    static auto* const sCallbackP = new AppCallback;
    Mlox_Init::Init();
    Mlox_Manager::Init();
    Mlox_Manager* const manager = Mlox_Manager::Singleton();
    if (!manager->ActivateService(Mlox_Manager::kDirectMusicService, sAllocatorP, sCallbackP)) {
      Fail("there is no hardware service");
    }
    return manager;
  }();
  return *sManagerP;
}

// Idles as an application does until the lists have something of this name.
template <class Find>
auto WaitFor(const std::string& iName, const Find& iFind) {
  for (int patience = 0; patience < 1'000; ++patience) {
    Manager().CheckStudioSetup();
    if (auto found = iFind()) {
      return found;
    }
    Sleep(10'000);
  }
  Fail("no port " + iName);
}

Mlox_InputRef FindInput(const std::string& iName) {
  return WaitFor(iName, [&] {
    const int count = Manager().GetNumberOfInputs();
    for (int i = 0; i < count; ++i) {
      if (Mlox_InputRef input = Manager().GetInput(i); input && input->GetName() == iName) {
        return input;
      }
    }
    return Mlox_InputRef();
  });
}

Mlox_Device& FindOutput(const std::string& iName) {
  return *WaitFor(iName, [&]() -> Mlox_Device* {
    const int count = Manager().GetNumberOfOutputDevices();
    for (int i = 0; i < count; ++i) {
      Mlox_Device* const device = Manager().GetOutputDevice(i);
      if (device != nullptr && device->GetName() == iName) {
        return device;
      }
    }
    return nullptr;
  });
}

// ---- arrival ----

// Sends one at a time; whoever receives says when.
class Arrivals {
 public:
  explicit Arrivals(const char* iWho) : mWho(iWho), mSource("bench source", 0) {}

  Client& Source() { return mSource; }
  void Arrived() { mArrivedAt.store(Nanoseconds()); }
  bool IsOver() const { return mIsOver.load(); }

  void Run() {
    std::vector<std::int64_t> times;
    Sleep(100'000);
    for (int i = 0; i < kMessages; ++i) {
      mArrivedAt.store(0);
      snd_seq_event_t event = mSource.Program(i % 128);
      const std::int64_t start = Nanoseconds();
      snd_seq_event_output_direct(mSource.Handle(), &event);
      for (int patience = 0; mArrivedAt.load() == 0 && patience < 1'000; ++patience) {
        Sleep(1'000);
      }
      if (mArrivedAt.load() != 0) {
        times.push_back(mArrivedAt.load() - start);
      }
    }
    mIsOver.store(true);
    Print("arrival", mWho, times);
  }
  // Wakes a reader so that it sees the end.
  void Nudge() {
    snd_seq_event_t event = mSource.Program(0);
    snd_seq_event_output_direct(mSource.Handle(), &event);
  }

 private:
  const std::string mWho;
  Client mSource;
  std::atomic<std::int64_t> mArrivedAt{0};
  std::atomic<bool> mIsOver{false};
};

void ArrivalOfBareClient(bool iPolls) {
  Arrivals arrivals(iPolls ? "bare client that polls" : "bare client");
  Client reader("bench reader", iPolls ? SND_SEQ_NONBLOCK : 0);
  snd_seq_connect_from(reader.Handle(), reader.Port(), arrivals.Source().Id(), arrivals.Source().Port());
  std::thread thread([&] {
    pollfd poll{-1, 0, 0};
    snd_seq_poll_descriptors(reader.Handle(), &poll, 1, POLLIN);
    while (!arrivals.IsOver()) {
      if (iPolls) {
        ::poll(&poll, 1, -1);
      }
      snd_seq_event_t* event = nullptr;
      while (snd_seq_event_input(reader.Handle(), &event) >= 0) {
        if (event->type == SND_SEQ_EVENT_PGMCHANGE) {
          arrivals.Arrived();
        }
        if (!iPolls) {
          break;
        }
      }
    }
  });
  arrivals.Run();
  arrivals.Nudge();
  thread.join();
}

void ArrivalOfRtMidi() {
  Arrivals arrivals(kRtMidi);
  RtMidiIn input(RtMidi::LINUX_ALSA, "bench rtmidi", 1'024);
  unsigned port = 0;
  while (port < input.getPortCount() && input.getPortName(port).find("bench source") == std::string::npos) {
    ++port;
  }
  input.setCallback([](double, std::vector<unsigned char>*,
                       void* iArrivalsP) { static_cast<Arrivals*>(iArrivalsP)->Arrived(); },
                    &arrivals);
  input.openPort(port);
  arrivals.Run();
}

class Receiver : public Mlox_RawMidiReceiver {
 public:
  explicit Receiver(Arrivals& iArrivals) : mArrivals(iArrivals) {}
  int ReceiveRawMidi(Mlox_MidiData* /*iDataP*/) override {
    mArrivals.Arrived();
    return 0;
  }

 private:
  Arrivals& mArrivals;
};

void ArrivalOfOurs(std::size_t iPorts) {
  Arrivals arrivals(iPorts == 1 ? kOurArrival : fmt::format("mlox, {} ports", iPorts).c_str());
  Receiver receiver(arrivals);
  std::vector<std::unique_ptr<Client>> idle;
  Mlox_InputList inputs = {FindInput("bench source")};
  while (inputs.size() < iPorts) {
    const std::string name = fmt::format("bench idle {}", inputs.size());
    idle.push_back(std::make_unique<Client>(name.c_str(), 0));
    inputs.push_back(FindInput(name));
  }
  Mlox_InputPort* const port = Manager().CreateInputPort(&receiver);
  port->ConnectToInputs(inputs);
  arrivals.Run();
  port->CloseCurrentConnections();
  delete port;
}

// ---- write, ahead ----

// Records when program changes arrive.
class Sink {
 public:
  explicit Sink(bool iIsPatient) : mClient("bench sink", SND_SEQ_NONBLOCK), mIsPatient(iIsPatient) {
    mThread = std::thread([this] { Run(); });
  }
  ~Sink() {
    mStop.store(true);
    mThread.join();
  }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  Client& Get() { return mClient; }
  std::size_t Count() const { return mCount.load(); }
  std::int64_t At(std::size_t iIndex) const { return mTimes[iIndex]; }

 private:
  void Run() {
    // Never in the place of who writes: what is timed there would hold this thread's work now and then.
    const sched_param none{};
    if (mIsPatient && sched_setscheduler(0, SCHED_BATCH, &none) != 0) {
      Fail("no batch thread");
    }
    pollfd poll{-1, 0, 0};
    snd_seq_poll_descriptors(mClient.Handle(), &poll, 1, POLLIN);
    while (!mStop.load()) {
      ::poll(&poll, 1, 10);
      snd_seq_event_t* event = nullptr;
      while (snd_seq_event_input(mClient.Handle(), &event) >= 0) {
        if (event->type == SND_SEQ_EVENT_PGMCHANGE && mCount.load() < mTimes.size()) {
          mTimes[mCount.load()] = Nanoseconds();
          mCount.fetch_add(1);
        }
      }
    }
  }

  Client mClient;
  const bool mIsPatient;
  std::vector<std::int64_t> mTimes = std::vector<std::int64_t>(100'000);
  std::atomic<std::size_t> mCount{0};
  std::atomic<bool> mStop{false};
  std::thread mThread;
};

void Write(const std::string& iWho, const std::function<void(int)>& iCall) {
  std::vector<std::int64_t> times;
  for (int i = 0; i < kMessages; ++i) {
    const std::int64_t start = Nanoseconds();
    iCall(i);
    times.push_back(Nanoseconds() - start);
    Sleep(1'000);
  }
  Print("write", iWho, times);
}

void Ahead(const std::string& iWho, Sink& ioSink, const std::function<void(std::int64_t, int)>& iCall) {
  const std::size_t before = ioSink.Count();
  // Whole microseconds, as both sides count them.
  const std::int64_t start = Nanoseconds() / 1'000 * 1'000 + 100'000'000;
  constexpr int kAhead = 500;
  for (int i = 0; i < kAhead; ++i) {
    iCall(start + i * std::int64_t{977'000}, i);
  }
  for (int i = 0; i < 1'000 && ioSink.Count() < before + kAhead; ++i) {
    Sleep(10'000);
  }
  std::vector<std::int64_t> times;
  for (std::size_t i = before; i < ioSink.Count(); ++i) {
    times.push_back(ioSink.At(i) - (start + static_cast<std::int64_t>(i - before) * 977'000));
  }
  Print("ahead", iWho, times);
}

void WriteOfBareClient() {
  Sink sink(true);
  Client writer("bench writer", SND_SEQ_NONBLOCK);
  snd_seq_connect_to(writer.Handle(), writer.Port(), sink.Get().Id(), sink.Get().Port());
  Write(kBareWrite, [&](int iValue) {
    snd_seq_event_t event = writer.Program(iValue % 128);
    snd_seq_event_output_direct(writer.Handle(), &event);
  });
}

void AheadOfBareClient() {
  Sink sink(false);
  Client writer("bench writer", SND_SEQ_NONBLOCK);
  snd_seq_connect_to(writer.Handle(), writer.Port(), sink.Get().Id(), sink.Get().Port());
  const int queue = snd_seq_alloc_queue(writer.Handle());
  snd_seq_start_queue(writer.Handle(), queue, nullptr);
  snd_seq_drain_output(writer.Handle());
  snd_seq_queue_status_t* status = nullptr;
  snd_seq_queue_status_alloca(&status);
  snd_seq_get_queue_status(writer.Handle(), queue, status);
  const snd_seq_real_time_t* const queueTime = snd_seq_queue_status_get_real_time(status);
  const std::int64_t offset =
      std::int64_t{queueTime->tv_sec} * 1'000'000'000 + queueTime->tv_nsec - Nanoseconds();
  Ahead("bare client, queue as it comes", sink, [&](std::int64_t iTime, int iValue) {
    snd_seq_event_t event = writer.Program(iValue % 128);
    const std::int64_t at = iTime + offset;
    const snd_seq_real_time_t time = {static_cast<unsigned>(at / 1'000'000'000),
                                      static_cast<unsigned>(at % 1'000'000'000)};
    snd_seq_ev_schedule_real(&event, static_cast<unsigned char>(queue), 0, &time);
    while (snd_seq_event_output_direct(writer.Handle(), &event) == -EAGAIN) {
      Sleep(1'000);
    }
  });
}

void WriteOfOurs() {
  Sink sink(true);
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(FindOutput("bench sink").GetOutputForChannel(0));
  const Mlox_OutputContextRef context = Manager().GetDefaultOutputContext();
  Write(kOurWrite, [&](int iValue) {
    output->WriteEvent(Mdie_Timestamp(), Mdie_ProgramEvent(static_cast<unsigned char>(iValue % 128)),
                       context);
  });
}

void AheadOfOurs() {
  Sink sink(false);
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(FindOutput("bench sink").GetOutputForChannel(0));
  const Mlox_OutputContextRef context = Manager().GetDefaultOutputContext();
  // The clock's second reading, without which no time can be told.
  Sleep(150'000);
  Ahead(kOurAhead, sink, [&](std::int64_t iTime, int iValue) {
    output->WriteEvent(Mdie_Timestamp(Time_Sample(iTime / 1'000)),
                       Mdie_ProgramEvent(static_cast<unsigned char>(iValue % 128)), context);
  });
}

}  // namespace

int main() {
  setenv("MLOX_MIDI_DRIVERS", "alsa", 1);
  setenv("MLOX_STUDIO_DB", "/tmp/alsa_guest_bench.db", 1);
  fmt::print("{:<10}{:<34}{:>9}{:>9}{:>9}{:>9}{:>8}\n", "case", "microseconds", "min", "p50", "p99", "max",
             "n");
  ArrivalOfBareClient(false);
  ArrivalOfBareClient(true);
  ArrivalOfRtMidi();
  ArrivalOfOurs(1);
  ArrivalOfOurs(8);
  WriteOfBareClient();
  WriteOfOurs();
  AheadOfBareClient();
  AheadOfOurs();
  PrintGoals();
  Manager().RemoveAllServices();
  Mlox_Init::Free();
  return 0;
}
