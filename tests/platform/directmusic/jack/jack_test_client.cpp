// SPDX-License-Identifier: MIT
#include "tests/platform/directmusic/jack/jack_test_client.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>

#include "cmn/sys_clock.h"
#include "platform/directmusic/jack/jack_session.h"

namespace {

// Well below what any server delivers in one cycle.
constexpr std::size_t kMostEvents = 256;
constexpr std::size_t kMostBytes = 4096;
// Microseconds that the server's frames may be apart from its clock.
constexpr std::int64_t kMostAstray = 1'000;

// This client stands for another process. Between processes the server keeps order, which ThreadSanitizer
// can't see, so our side of a port's buffer is touched where it does not look; the driver's side stays in its
// sight.
__attribute__((no_sanitize("thread"))) void CopyUnseen(volatile std::uint8_t* oTo,
                                                       const volatile std::uint8_t* iFrom,
                                                       std::size_t iLength) {
  for (std::size_t i = 0; i < iLength; ++i) {
    oTo[i] = iFrom[i];
  }
}

// How far our clock is ahead of the server's, told apart to the time of the quickest of some readings.
std::int64_t ClockOffset() {
  std::int64_t narrowest = INT64_MAX;
  std::int64_t offset = 0;
  for (int i = 0; i < 5; ++i) {
    const std::int64_t before = Sys_Clock::Microseconds();
    const auto theirs = static_cast<std::int64_t>(jack_get_time());
    const std::int64_t after = Sys_Clock::Microseconds();
    if (after - before < narrowest) {
      narrowest = after - before;
      offset = before + (after - before) / 2 - theirs;
    }
  }
  return offset;
}

}  // namespace

Test_JackClient::~Test_JackClient() { Close(); }

std::string Test_JackClient::Open(const std::string& iName) {
  const std::lock_guard lock(Platform_JackOpenMutex());
  jack_status_t status{};
  mClientP = jack_client_open(iName.c_str(), JackNoStartServer, &status);
  if (mClientP == nullptr) {
    return "a bare client finds no server";
  }
  jack_set_process_callback(mClientP, OnProcess, this);
  jack_set_xrun_callback(mClientP, OnLate, this);
  return jack_activate(mClientP) == 0 ? "" : "a bare client can't be activated";
}

void Test_JackClient::Close() {
  if (mClientP != nullptr) {
    const std::lock_guard lock(Platform_JackOpenMutex());
    jack_client_close(mClientP);
    mClientP = nullptr;
  }
}

std::string Test_JackClient::Name() const { return jack_get_client_name(mClientP); }

Test_JackClient::Way* Test_JackClient::Find(const std::string& iName) {
  for (auto& [name, way] : mWays) {
    if (name == iName) {
      return way.get();
    }
  }
  return nullptr;
}

jack_port_t* Test_JackClient::Port(const std::string& iName) {
  const std::lock_guard lock(mMutex);
  Way* const way = Find(iName);
  return way != nullptr ? way->mPortP : nullptr;
}

bool Test_JackClient::Add(const std::string& iName, bool iIsSource, unsigned long iFlags) {
  const unsigned long direction = iIsSource ? JackPortIsOutput : JackPortIsInput;
  jack_port_t* const port =
      jack_port_register(mClientP, iName.c_str(), JACK_DEFAULT_MIDI_TYPE, direction | iFlags, 0);
  const std::lock_guard lock(mMutex);
  if (Find(iName) == nullptr) {
    mWays.emplace_back(iName, std::make_unique<Way>());
  }
  Find(iName)->mPortP = port;
  Find(iName)->mIsSource = iIsSource;
  return port != nullptr;
}

bool Test_JackClient::AddSource(const std::string& iName, unsigned long iFlags) {
  return Add(iName, true, iFlags);
}

bool Test_JackClient::AddSink(const std::string& iName, unsigned long iFlags) {
  return Add(iName, false, iFlags);
}

void Test_JackClient::Remove(const std::string& iName) {
  jack_port_t* port = nullptr;
  {
    const std::lock_guard lock(mMutex);
    if (Way* const way = Find(iName)) {
      std::swap(port, way->mPortP);
      way->mWaiting.clear();
    }
  }
  if (port != nullptr) {
    jack_port_unregister(mClientP, port);
  }
}

bool Test_JackClient::Send(const std::string& iSource, const Test_MidiBytes& iBytes) {
  const std::lock_guard lock(mMutex);
  Way* const way = Find(iSource);
  if (way == nullptr || way->mPortP == nullptr) {
    return false;
  }
  way->mWaiting.push_back(iBytes);
  return true;
}

std::size_t Test_JackClient::Waiting(const std::string& iSource) {
  const std::lock_guard lock(mMutex);
  Way* const way = Find(iSource);
  return way != nullptr ? way->mWaiting.size() : 0;
}

std::vector<Test_Heard> Test_JackClient::Heard(const std::string& iSink) {
  const std::lock_guard lock(mMutex);
  Way* const way = Find(iSink);
  return way != nullptr ? way->mHeard : std::vector<Test_Heard>();
}

int Test_JackClient::OnProcess(jack_nframes_t iFrames, void* iClientP) {
  static_cast<Test_JackClient*>(iClientP)->Process(iFrames);
  return 0;
}

void Test_JackClient::Process(jack_nframes_t iFrames) {
  LookForGap(iFrames);
  const std::lock_guard lock(mMutex);
  for (auto& [name, way] : mWays) {
    void* const buffer = way->mPortP != nullptr ? jack_port_get_buffer(way->mPortP, iFrames) : nullptr;
    if (buffer != nullptr && way->mIsSource) {
      Play(*way, buffer);
    } else if (buffer != nullptr) {
      Record(*way, buffer, iFrames);
    }
  }
}

int Test_JackClient::OnLate(void* iClientP) {
  static_cast<Test_JackClient*>(iClientP)->mTroubles.fetch_add(1);
  return 0;
}

void Test_JackClient::LookForGap(jack_nframes_t iFrames) {
  jack_nframes_t frames = 0;
  jack_time_t start = 0;
  jack_time_t next = 0;
  float period = 0;
  jack_get_cycle_times(mClientP, &frames, &start, &next, &period);
  const auto time = static_cast<std::int64_t>(start);
  const std::int64_t byFrames =
      std::int64_t{1'000'000} * (frames - mFirstFrame) / jack_get_sample_rate(mClientP);
  const std::int64_t astray = time - mFirstStart - byFrames;
  if (mFirstStart != 0 && frames == mNextFrame && astray > -kMostAstray && astray < kMostAstray) {
    mNextFrame = frames + iFrames;
    return;
  }
  mTroubles.fetch_add(mFirstStart != 0 ? 1 : 0);
  mFirstStart = time;
  mFirstFrame = frames;
  mNextFrame = frames + iFrames;
}

void Test_JackClient::Play(Way& ioWay, void* iBufferP) {
  jack_midi_clear_buffer(iBufferP);
  std::size_t events = 0;
  std::size_t bytes = 0;
  while (!ioWay.mWaiting.empty() && events < kMostEvents) {
    const Test_MidiBytes& next = ioWay.mWaiting.front();
    bytes += next.size();
    jack_midi_data_t* const room =
        bytes <= kMostBytes ? jack_midi_event_reserve(iBufferP, 0, next.size()) : nullptr;
    if (room == nullptr) {
      return;
    }
    CopyUnseen(room, next.data(), next.size());
    ioWay.mWaiting.pop_front();
    ++events;
  }
}

void Test_JackClient::Record(Way& ioWay, void* iBufferP, jack_nframes_t iFrames) {
  jack_nframes_t frames = 0;
  jack_time_t start = 0;
  jack_time_t next = 0;
  float period = 0;
  jack_get_cycle_times(mClientP, &frames, &start, &next, &period);
  const std::int64_t offset = ClockOffset();
  const std::uint32_t count = jack_midi_get_event_count(iBufferP);
  mMostInACycle.store(std::max<std::size_t>(mMostInACycle.load(), count));
  for (std::uint32_t i = 0; i < count; ++i) {
    jack_midi_event_t event{};
    if (jack_midi_event_get(&event, iBufferP, i) == 0) {
      const jack_time_t time = start + (next - start) * event.time / iFrames;
      Test_MidiBytes bytes(event.size);
      CopyUnseen(bytes.data(), event.buffer, event.size);
      ioWay.mHeard.push_back({static_cast<std::int64_t>(time) + offset, std::move(bytes)});
    }
  }
}
