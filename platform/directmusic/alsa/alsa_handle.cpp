// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_handle.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr char kDevice[] = "/dev/snd/seq";

// The largest event is as long as an input pool: 2,000 cells of 28 bytes. An input buffer that is smaller
// than the event at its head can never be read again.
constexpr std::size_t kInputBuffer = std::size_t{128} * 1024;

const char* ApplicationName() {
  const char* const name = program_invocation_short_name;
  return name != nullptr && *name != '\0' ? name : "mlox";
}

// Asked before opening, since opening shows to every other client, and ALSA's own complaint is no help.
std::string WhyClosed() {
  if (::faccessat(AT_FDCWD, kDevice, R_OK | W_OK, AT_EACCESS) == 0) {
    return "";
  }
  if (errno == EACCES || errno == EPERM) {
    return std::string("no permission for ") + kDevice +
           ": add the user to the `audio` group and log in again";
  }
  return std::string(kDevice) + ": " + std::strerror(errno);
}

class Subscription {
 public:
  Subscription(const Platform_AlsaAddress& iFrom, const Platform_AlsaAddress& iTo) {
    snd_seq_port_subscribe_malloc(&mSubscriptionP);
    const snd_seq_addr_t from = ToAlsa(iFrom);
    const snd_seq_addr_t to = ToAlsa(iTo);
    snd_seq_port_subscribe_set_sender(mSubscriptionP, &from);
    snd_seq_port_subscribe_set_dest(mSubscriptionP, &to);
  }
  ~Subscription() { snd_seq_port_subscribe_free(mSubscriptionP); }
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  snd_seq_port_subscribe_t* Get() const { return mSubscriptionP; }

 private:
  static snd_seq_addr_t ToAlsa(const Platform_AlsaAddress& iAddress) {
    return {static_cast<unsigned char>(iAddress.mClient), static_cast<unsigned char>(iAddress.mPort)};
  }
  snd_seq_port_subscribe_t* mSubscriptionP = nullptr;
};

}  // namespace

std::unique_ptr<Platform_AlsaHandle> Platform_AlsaHandle::Open(std::string& oReason) {
  oReason = WhyClosed();
  if (!oReason.empty()) {
    return nullptr;
  }
  snd_seq_t* handle = nullptr;
  const int result = snd_seq_open(&handle, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK);
  if (result < 0) {
    oReason = std::string("the ALSA sequencer does not open: ") + snd_strerror(result);
    return nullptr;
  }
  snd_seq_set_client_name(handle, ApplicationName());
  snd_seq_set_client_pool_output(handle, kPool);
  snd_seq_set_client_pool_input(handle, kPool);
  snd_seq_set_input_buffer_size(handle, kInputBuffer);
  return std::unique_ptr<Platform_AlsaHandle>(new Platform_AlsaHandle(handle));
}

Platform_AlsaHandle::Platform_AlsaHandle(snd_seq_t* iHandleP)
    : mHandleP(iHandleP), mClient(snd_seq_client_id(iHandleP)) {}

Platform_AlsaHandle::~Platform_AlsaHandle() { snd_seq_close(mHandleP); }

int Platform_AlsaHandle::Descriptor() const {
  pollfd poll{-1, 0, 0};
  return snd_seq_poll_descriptors(mHandleP, &poll, 1, POLLIN) == 1 ? poll.fd : -1;
}

int Platform_AlsaHandle::MakePort(const char* iName, unsigned iCapabilities) const {
  return snd_seq_create_simple_port(mHandleP, iName, iCapabilities | SND_SEQ_PORT_CAP_NO_EXPORT,
                                    SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
}

void Platform_AlsaHandle::DeletePort(int iPort) const { snd_seq_delete_simple_port(mHandleP, iPort); }

bool Platform_AlsaHandle::Subscribe(const Platform_AlsaAddress& iFrom,
                                    const Platform_AlsaAddress& iTo) const {
  const Subscription subscription(iFrom, iTo);
  return snd_seq_subscribe_port(mHandleP, subscription.Get()) >= 0;
}

bool Platform_AlsaHandle::IsSubscribed(const Platform_AlsaAddress& iFrom,
                                       const Platform_AlsaAddress& iTo) const {
  const Subscription subscription(iFrom, iTo);
  return snd_seq_get_port_subscription(mHandleP, subscription.Get()) >= 0;
}
