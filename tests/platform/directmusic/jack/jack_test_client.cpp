// SPDX-License-Identifier: MIT
#include "tests/platform/directmusic/jack/jack_test_client.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "cmn/sys_clock.h"
#include "platform/directmusic/jack/jack_session.h"
#include "platform/directmusic/jack/jack_undisturbed.h"
#include "tests/platform/directmusic/jack/jack_test_server.h"

namespace {

// Well below what any server delivers in one cycle.
constexpr std::size_t kMostEvents = 256;
constexpr std::size_t kMostBytes = 4096;
// What one port can record or send in a test.
constexpr std::size_t kMostOnTape = 50'000;
constexpr std::size_t kMostTapeBytes = 1'000'000;
// Microseconds that the server's frames may be apart from its clock.
constexpr std::int64_t kMostAstray = 1'000;
// A minute and a half of cycles of 256 frames.
constexpr std::size_t kMostCycles = 16'384;

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

Test_JackClient::Tape::Tape() : mEvents(kMostOnTape), mBytes(kMostTapeBytes) {}

bool Test_JackClient::Tape::Append(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) {
  const std::size_t count = mCount.load(std::memory_order_relaxed);
  if (count == mEvents.size() || mBytes.size() - mUsed < iLength) {
    return false;
  }
  mEvents[count] = {iTime, mUsed, iLength};
  CopyUnseen(mBytes.data() + mUsed, iBytes, iLength);
  mUsed += iLength;
  mCount.store(count + 1, std::memory_order_release);
  return true;
}

Test_Heard Test_JackClient::Tape::At(std::size_t iIndex) const {
  const Event& event = mEvents[iIndex];
  const auto begin = mBytes.begin() + static_cast<std::ptrdiff_t>(event.mPlace);
  return {event.mTime, Test_MidiBytes(begin, begin + static_cast<std::ptrdiff_t>(event.mLength))};
}

Test_JackClient::Test_JackClient() : mCycles(kMostCycles) {}

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

Test_JackClient::Way* Test_JackClient::Find(const std::string& iName) const {
  for (std::size_t i = 0; i < mWayCount.load(); ++i) {
    if (mWays[i]->mName == iName) {
      return mWays[i].get();
    }
  }
  return nullptr;
}

bool Test_JackClient::Add(const std::string& iName, bool iIsSource, unsigned long iFlags) {
  const unsigned long direction = iIsSource ? JackPortIsOutput : JackPortIsInput;
  Way* way = Find(iName);
  if (way == nullptr) {
    const std::size_t count = mWayCount.load();
    mWays.at(count) = std::make_unique<Way>();
    way = mWays[count].get();
    way->mName = iName;
    way->mIsSource = iIsSource;
    mWayCount.store(count + 1);
  }
  jack_port_t* const port =
      jack_port_register(mClientP, iName.c_str(), JACK_DEFAULT_MIDI_TYPE, direction | iFlags, 0);
  way->mPortP.store(port);
  return port != nullptr;
}

bool Test_JackClient::AddSource(const std::string& iName, unsigned long iFlags) {
  return Add(iName, true, iFlags);
}

bool Test_JackClient::AddSink(const std::string& iName, unsigned long iFlags) {
  return Add(iName, false, iFlags);
}

void Test_JackClient::Remove(const std::string& iName) {
  Way* const way = Find(iName);
  jack_port_t* const port = way != nullptr ? way->mPortP.exchange(nullptr) : nullptr;
  if (port != nullptr) {
    WaitForCallback();
    way->mSent.store(way->mTape.Count());
    jack_port_unregister(mClientP, port);
  }
}

bool Test_JackClient::CanConnectTo(const std::string& iPort) {
  const jack_port_t* const other = jack_port_by_name(mClientP, iPort.c_str());
  if (other == nullptr || Test_IsPipeWire()) {
    return other != nullptr;  // PipeWire connects what is there
  }
  // A server that is asked over and over while the other client joins it has been seen to stand still for
  // good.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const bool isSource = (jack_port_flags(other) & JackPortIsOutput) != 0;
  jack_port_t* const probe = jack_port_register(mClientP, "probe", JACK_DEFAULT_MIDI_TYPE,
                                                isSource ? JackPortIsInput : JackPortIsOutput, 0);
  const char* const ours = jack_port_name(probe);
  const int result =
      isSource ? jack_connect(mClientP, iPort.c_str(), ours) : jack_connect(mClientP, ours, iPort.c_str());
  jack_port_unregister(mClientP, probe);
  return result == 0;
}

// Until the callback that runs now, if one does, has ended; a server that hangs has none that ends.
void Test_JackClient::WaitForCallback() const {
  const std::uint64_t callback = mCallbacks.load();
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (callback % 2 == 1 && mCallbacks.load() == callback && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

bool Test_JackClient::Send(const std::string& iSource, const Test_MidiBytes& iBytes) {
  Way* const way = Find(iSource);
  if (way == nullptr || way->mPortP.load() == nullptr) {
    return false;
  }
  const std::lock_guard lock(way->mSendMutex);
  return way->mTape.Append(0, iBytes.data(), iBytes.size());
}

std::size_t Test_JackClient::Waiting(const std::string& iSource) const {
  const Way* const way = Find(iSource);
  return way != nullptr ? way->mTape.Count() - way->mSent.load() : 0;
}

std::size_t Test_JackClient::HeardCount(const std::string& iSink) const {
  const Way* const way = Find(iSink);
  return way != nullptr ? way->mTape.Count() : 0;
}

std::vector<Test_Heard> Test_JackClient::Heard(const std::string& iSink) const {
  std::vector<Test_Heard> heard;
  const std::size_t count = HeardCount(iSink);
  for (std::size_t i = 0; i < count; ++i) {
    heard.push_back(Find(iSink)->mTape.At(i));
  }
  return heard;
}

int Test_JackClient::OnProcess(jack_nframes_t iFrames, void* iClientP) {
  Platform_JackUndisturbed([&] { static_cast<Test_JackClient*>(iClientP)->Process(iFrames); });
  return 0;
}

void Test_JackClient::Process(jack_nframes_t iFrames) {
  mCallbacks.fetch_add(1);
  LookForGap(iFrames);
  for (std::size_t i = 0; i < mWayCount.load(); ++i) {
    Way& way = *mWays[i];
    jack_port_t* const port = way.mPortP.load();
    void* const buffer = port != nullptr ? jack_port_get_buffer(port, iFrames) : nullptr;
    if (buffer != nullptr && way.mIsSource) {
      Play(way, buffer);
    } else if (buffer != nullptr) {
      Record(way, buffer, iFrames);
    }
  }
  mCallbacks.fetch_add(1);
}

int Test_JackClient::OnLate(void* iClientP) {
  static_cast<Test_JackClient*>(iClientP)->mTroubles.fetch_add(1);
  static_cast<Test_JackClient*>(iClientP)->mXruns.fetch_add(1);
  return 0;
}

void Test_JackClient::LookForGap(jack_nframes_t iFrames) {
  jack_nframes_t frames = 0;
  jack_time_t start = 0;
  jack_time_t next = 0;
  float period = 0;
  jack_get_cycle_times(mClientP, &frames, &start, &next, &period);
  const auto time = static_cast<std::int64_t>(start);
  KeepCycle(time, static_cast<std::int64_t>(next), iFrames);
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

void Test_JackClient::KeepCycle(std::int64_t iStart, std::int64_t iNext, jack_nframes_t iFrames) {
  const std::size_t count = mCycleCount.load(std::memory_order_relaxed);
  if (mKeepsCycles.load(std::memory_order_acquire) && count < mCycles.size()) {
    const std::int64_t offset = ClockOffset();
    mCycles[count] = {mFramesSoFar, iFrames, iStart + offset, iNext + offset};
    mCycleCount.store(count + 1, std::memory_order_release);
  }
  mFramesSoFar += iFrames;
}

void Test_JackClient::KeepCycles() {
  mKeepsCycles.store(false);
  WaitForCallback();
  mCycleCount.store(0);
  mKeepsCycles.store(true, std::memory_order_release);
}

std::vector<Test_JackCycle> Test_JackClient::Cycles() const {
  const auto count = static_cast<std::ptrdiff_t>(mCycleCount.load(std::memory_order_acquire));
  return {mCycles.begin(), mCycles.begin() + count};
}

void Test_JackClient::Play(Way& ioWay, void* iBufferP) {
  jack_midi_clear_buffer(iBufferP);
  std::size_t sent = ioWay.mSent.load();
  const std::size_t count = ioWay.mTape.Count();
  std::size_t bytes = 0;
  for (std::size_t events = 0; sent != count && events < kMostEvents; ++events) {
    const std::size_t length = ioWay.mTape.LengthAt(sent);
    bytes += length;
    jack_midi_data_t* const room =
        bytes <= kMostBytes ? jack_midi_event_reserve(iBufferP, 0, length) : nullptr;
    if (room == nullptr) {
      break;
    }
    CopyUnseen(room, ioWay.mTape.BytesAt(sent), length);
    ++sent;
  }
  ioWay.mSent.store(sent);
}

void Test_JackClient::Record(Way& ioWay, void* iBufferP, jack_nframes_t iFrames) {
  const std::uint32_t count = jack_midi_get_event_count(iBufferP);
  if (count == 0) {
    return;
  }
  jack_nframes_t frames = 0;
  jack_time_t start = 0;
  jack_time_t next = 0;
  float period = 0;
  jack_get_cycle_times(mClientP, &frames, &start, &next, &period);
  const std::int64_t offset = ClockOffset();
  mMostInACycle.store(std::max<std::size_t>(mMostInACycle.load(), count));
  for (std::uint32_t i = 0; i < count; ++i) {
    jack_midi_event_t event{};
    if (jack_midi_event_get(&event, iBufferP, i) == 0) {
      const jack_time_t time = start + (next - start) * event.time / iFrames;
      ioWay.mTape.Append(static_cast<std::int64_t>(time) + offset, event.buffer, event.size);
    }
  }
}
