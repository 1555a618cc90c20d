// SPDX-License-Identifier: MIT
#include "tests/integration/alsa/bare_client.h"

#include <poll.h>

#include <cerrno>

#include "cmn/sys_clock.h"

namespace {

constexpr std::size_t kPool = 2'000;
constexpr std::size_t kBuffer = 65'536;

}  // namespace

Test_BareClient::Test_BareClient(const std::string& iName, EDirection iDirection) {
  if (snd_seq_open(&mHandleP, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK) < 0) {
    mHandleP = nullptr;
    return;
  }
  snd_seq_set_client_name(mHandleP, iName.c_str());
  snd_seq_set_client_pool_input(mHandleP, kPool);
  snd_seq_set_client_pool_output(mHandleP, kPool);
  snd_seq_set_input_buffer_size(mHandleP, kBuffer);
  const unsigned capabilities = iDirection == kSends ? SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ
                                                     : SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
  mPort = snd_seq_create_simple_port(mHandleP, iName.c_str(), capabilities,
                                     SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
  mClient = snd_seq_client_id(mHandleP);
  mBuffer.resize(kBuffer);
  snd_midi_event_new(kBuffer, &mConverterP);
  snd_midi_event_no_status(mConverterP, 1);
}

Test_BareClient::~Test_BareClient() {
  mStop.store(true);
  if (mThread.joinable()) {
    mThread.join();
  }
  if (mHandleP != nullptr) {
    snd_midi_event_free(mConverterP);
    snd_seq_close(mHandleP);
  }
}

bool Test_BareClient::ConnectTo(int iClient, int iPort) const {
  return snd_seq_connect_to(mHandleP, mPort, iClient, iPort) >= 0;
}

bool Test_BareClient::ConnectFrom(int iClient, int iPort) const {
  return snd_seq_connect_from(mHandleP, mPort, iClient, iPort) >= 0;
}

bool Test_BareClient::Send(const Test_MidiBytes& iBytes) {
  snd_seq_event_t event{};
  if (iBytes[0] < 0x80 || iBytes[0] == 0xF0 || iBytes[0] == 0xF7) {
    snd_seq_ev_set_sysex(&event, static_cast<unsigned>(iBytes.size()),
                         const_cast<std::uint8_t*>(iBytes.data()));
  } else {
    snd_midi_event_reset_encode(mConverterP);
    snd_midi_event_encode(mConverterP, iBytes.data(), static_cast<long>(iBytes.size()), &event);
    if (event.type == SND_SEQ_EVENT_NONE) {
      return false;
    }
  }
  snd_seq_ev_set_source(&event, static_cast<unsigned char>(mPort));
  snd_seq_ev_set_subs(&event);
  snd_seq_ev_set_direct(&event);
  return snd_seq_event_output_direct(mHandleP, &event) >= 0;
}

void Test_BareClient::Record() {
  mThread = std::thread([this] { Run(); });
}

void Test_BareClient::Run() {
  pollfd poll{-1, 0, 0};
  snd_seq_poll_descriptors(mHandleP, &poll, 1, POLLIN);
  while (!mStop.load()) {
    snd_seq_event_t* event = nullptr;
    const int result = snd_seq_event_input(mHandleP, &event);
    if (result == -ENOSPC) {
      mOverruns.fetch_add(1);
    } else if (result < 0 || event == nullptr) {
      ::poll(&poll, 1, 100);
    } else {
      Keep(*event);
    }
  }
}

void Test_BareClient::Keep(const snd_seq_event_t& iEvent) {
  const std::int64_t now = Sys_Clock::Microseconds();
  const long length = snd_midi_event_decode(mConverterP, mBuffer.data(), static_cast<long>(kBuffer), &iEvent);
  if (length > 0) {
    const std::lock_guard lock(mMutex);
    mHeard.push_back({now, Test_MidiBytes(mBuffer.begin(), mBuffer.begin() + length)});
  }
}

std::vector<Test_Heard> Test_BareClient::Heard() {
  const std::lock_guard lock(mMutex);
  return mHeard;
}

std::size_t Test_BareClient::Count() {
  const std::lock_guard lock(mMutex);
  return mHeard.size();
}
