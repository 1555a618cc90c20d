// SPDX-License-Identifier: MIT
// The ALSA driver beside bare clients of the sequencer and beside RtMidi, in one run on one machine. Meant
// for the guest with virtual time (bench/alsa_guest.sh), where a nanosecond is half an instruction and
// figures repeat.
//
//   arrival   from another client's write to the reader's hands, 2,000 messages one at a time
//   write     the call that plays one short message at once
//   ahead     how late messages sound that were written 100 ms ahead
#include <RtMidi.h>
#include <alsa/asoundlib.h>
#include <fmt/format.h>
#include <poll.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/windows_com.h"
#include "platform/directmusic/windows_events.h"

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

std::string Text(const WCHAR* iText) {
  std::string text;
  for (; *iText != 0; ++iText) {
    text.push_back(static_cast<char>(*iText));
  }
  return text;
}

IDirectMusic8* Root() {
  static IDirectMusic8* const sRoot = [] {
    void* root = nullptr;
    if (CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8, &root) !=
        S_OK) {
      Fail("no root");
    }
    return static_cast<IDirectMusic8*>(root);
  }();
  return sRoot;
}

IDirectMusicPort* OpenPort(const std::string& iName, DWORD iClass) {
  for (DWORD i = 0;; ++i) {
    DMUS_PORTCAPS caps{};
    caps.dwSize = sizeof(caps);
    if (Root()->EnumPort(i, &caps) != S_OK) {
      Fail("no port " + iName);
    }
    if (caps.dwClass != iClass || Text(caps.wszDescription) != iName) {
      continue;
    }
    DMUS_PORTPARAMS8 params{};
    params.dwSize = sizeof(params);
    IDirectMusicPort* port = nullptr;
    if (Root()->CreatePort(caps.guidPort, &params, &port, nullptr) != S_OK || port->Activate(TRUE) != S_OK) {
      Fail("the port does not open: " + iName);
    }
    return port;
  }
}

void ClosePort(IDirectMusicPort* iPortP) {
  iPortP->Activate(FALSE);
  iPortP->Release();
}

IDirectMusicBuffer* NewBuffer() {
  DMUS_BUFFERDESC desc{};
  desc.dwSize = sizeof(desc);
  desc.cbBuffer = 4'128;
  IDirectMusicBuffer* buffer = nullptr;
  if (Root()->CreateMusicBuffer(&desc, &buffer, nullptr) != S_OK) {
    Fail("no buffer");
  }
  return buffer;
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
  Arrivals arrivals("RtMidi " RTMIDI_VERSION);
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

// One reader as the receive thread is one: it waits on events, reads until nothing is left.
void ArrivalOfOurs(std::size_t iPorts) {
  Arrivals arrivals(iPorts == 1 ? "mlox, one port" : fmt::format("mlox, {} ports", iPorts).c_str());
  std::vector<std::unique_ptr<Client>> idle;
  std::vector<IDirectMusicPort*> ports = {OpenPort("bench source", DMUS_PC_INPUTCLASS)};
  while (ports.size() < iPorts) {
    const std::string name = fmt::format("bench idle {}", ports.size());
    idle.push_back(std::make_unique<Client>(name.c_str(), 0));
    Sleep(50'000);
    ports.push_back(OpenPort(name, DMUS_PC_INPUTCLASS));
  }
  std::vector<HANDLE> events;
  for (IDirectMusicPort* const port : ports) {
    events.push_back(CreateEventW(nullptr, FALSE, FALSE, u"bench"));
    port->SetReadNotificationHandle(events.back());
  }
  IDirectMusicBuffer* const buffer = NewBuffer();
  std::thread thread([&] {
    while (!arrivals.IsOver()) {
      const DWORD served =
          MsgWaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE, 1'000, 0);
      if (served >= events.size()) {
        continue;
      }
      while (ports[served]->Read(buffer) == S_OK) {
        REFERENCE_TIME time = 0;
        DWORD group = 0;
        DWORD length = 0;
        BYTE* data = nullptr;
        buffer->ResetReadPtr();
        while (buffer->GetNextEvent(&time, &group, &length, &data) == S_OK) {
          arrivals.Arrived();
        }
      }
    }
  });
  arrivals.Run();
  thread.join();
  for (std::size_t i = 0; i < ports.size(); ++i) {
    ports[i]->SetReadNotificationHandle(nullptr);
    ClosePort(ports[i]);
    CloseHandle(events[i]);
  }
  buffer->Release();
}

// ---- write, ahead ----

// Records when program changes arrive.
class Sink {
 public:
  Sink() : mClient("bench sink", SND_SEQ_NONBLOCK) {
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

void WriteAndAheadOfBareClient() {
  Sink sink;
  Client writer("bench writer", SND_SEQ_NONBLOCK);
  snd_seq_connect_to(writer.Handle(), writer.Port(), sink.Get().Id(), sink.Get().Port());
  Write("bare driver call", [&](int iValue) {
    snd_seq_event_t event = writer.Program(iValue % 128);
    snd_seq_event_output_direct(writer.Handle(), &event);
  });
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

void WriteAndAheadOfOurs() {
  Sink sink;
  Sleep(100'000);
  IDirectMusicPort* const port = OpenPort("bench sink", DMUS_PC_OUTPUTCLASS);
  IDirectMusicBuffer* const buffer = NewBuffer();
  const auto play = [&](REFERENCE_TIME iTime, int iValue) {
    buffer->Flush();
    buffer->SetStartTime(iTime);
    buffer->PackStructured(iTime, 1, static_cast<DWORD>(0xC0 | ((iValue % 128) << 8)));
    port->PlayBuffer(buffer);
  };
  Write("mlox, PlayBuffer", [&](int iValue) { play(INT64_MIN, iValue); });
  Ahead("mlox", sink, [&](std::int64_t iTime, int iValue) { play(iTime / 100, iValue); });
  buffer->Release();
  ClosePort(port);
}

}  // namespace

int main() {
  setenv("MLOX_MIDI_DRIVERS", "alsa", 1);
  fmt::print("{:<10}{:<34}{:>9}{:>9}{:>9}{:>9}{:>8}\n", "case", "microseconds", "min", "p50", "p99", "max",
             "n");
  ArrivalOfBareClient(false);
  ArrivalOfBareClient(true);
  ArrivalOfRtMidi();
  ArrivalOfOurs(1);
  ArrivalOfOurs(8);
  WriteAndAheadOfBareClient();
  WriteAndAheadOfOurs();
  return 0;
}
