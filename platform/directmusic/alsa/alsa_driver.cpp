// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_driver.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <utility>

#include "platform/directmusic/alsa/alsa_card.h"
#include "platform/directmusic/alsa/alsa_dataclient.h"

namespace {

// Clients below belong to the kernel itself; those of cards begin here, four a card.
constexpr int kFirstCardClient = 16;
constexpr int kClientsPerCard = 4;
constexpr int kFirstApplication = 128;

// A card's client has 32 ports for each of its devices.
constexpr int kPortsPerDevice = 32;

constexpr unsigned kReadable = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned kWritable = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;

bool IsChangeOfPorts(const snd_seq_event_t& iEvent) {
  return iEvent.type >= SND_SEQ_EVENT_CLIENT_START && iEvent.type <= SND_SEQ_EVENT_PORT_CHANGE;
}

// Kernels that don't tell the card of a client give its number away.
int CardOf(snd_seq_client_info_t* iInfoP, int iClient) {
  const int card = snd_seq_client_info_get_card(iInfoP);
  if (card >= 0 || iClient < kFirstCardClient || iClient >= kFirstApplication) {
    return card;
  }
  return (iClient - kFirstCardClient) / kClientsPerCard;
}

std::string HandleText(const Platform_AlsaAddress& iAddress, std::uint64_t iGeneration) {
  return std::to_string(iAddress.mClient) + ":" + std::to_string(iAddress.mPort) + ":" +
         std::to_string(iGeneration);
}

bool ParseHandle(const std::string& iText, Platform_AlsaAddress& oAddress, std::uint64_t& oGeneration) {
  unsigned long long generation = 0;
  int end = 0;
  const int count =
      std::sscanf(iText.c_str(), "%3d:%3d:%llu%n", &oAddress.mClient, &oAddress.mPort, &generation, &end);
  oGeneration = generation;
  return count == 3 && static_cast<std::size_t>(end) == iText.size() && oAddress.mClient >= 0 &&
         oAddress.mPort >= 0 && oAddress.mClient <= 255 && oAddress.mPort <= 255;
}

}  // namespace

// One client of the scan.
struct Platform_AlsaDriver::Client {
  int mNumber = 0;
  int mCard = -1;
  bool mIsApplication = false;
  std::string mName;
};

Platform_AlsaDriver::Platform_AlsaDriver(std::string iSysfs) : mSysfs(std::move(iSysfs)) {}

Platform_AlsaDriver::~Platform_AlsaDriver() { Stop(); }

// ---- life ----

bool Platform_AlsaDriver::Start(Platform_DriverHost* iHostP, std::string& oReason) {
  if (mThread.joinable()) {
    return true;
  }
  mHostP = iHostP;
  mStopDescriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (mStopDescriptor < 0) {
    oReason = "no descriptor is left";
    return false;
  }
  if (!OpenHandles(oReason)) {
    Stop();
    return false;
  }
  mThread = std::thread([this] { Run(); });
  return true;
}

bool Platform_AlsaDriver::OpenHandles(std::string& oReason) {
  const std::lock_guard lock(mMutex);
  mAnnouncementsP = Platform_AlsaHandle::Open(oReason);
  if (mAnnouncementsP == nullptr) {
    return false;
  }
  const Platform_AlsaAddress own{mAnnouncementsP->Client(),
                                 mAnnouncementsP->MakePort("announcements", SND_SEQ_PORT_CAP_WRITE)};
  const Platform_AlsaAddress announce{SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE};
  if (own.mPort < 0 || !mAnnouncementsP->Subscribe(announce, own)) {
    oReason = "the ALSA sequencer announces nothing";
    return false;
  }
  mDataP = Platform_AlsaDataClient::Open([this] { mHostP->PortsMayHaveChanged(); }, oReason);
  return mDataP != nullptr;
}

void Platform_AlsaDriver::Stop() {
  if (mThread.joinable()) {
    const std::uint64_t one = 1;
    while (::write(mStopDescriptor, &one, sizeof(one)) < 0 && errno == EINTR) {
    }
    mThread.join();
  }
  if (mStopDescriptor >= 0) {
    ::close(mStopDescriptor);
    mStopDescriptor = -1;
  }
  const std::lock_guard lock(mMutex);
  if (mDataP != nullptr) {
    mDataP->Silence();
    mDataP.reset();
  }
  mAnnouncementsP.reset();
}

// ---- what comes and goes ----

void Platform_AlsaDriver::Run() {
  pollfd polls[] = {{mStopDescriptor, POLLIN, 0}, {-1, POLLIN, 0}};
  {
    const std::lock_guard lock(mMutex);
    polls[1].fd = mAnnouncementsP->Descriptor();
  }
  for (;;) {
    if (::poll(polls, 2, -1) < 0 && errno != EINTR) {
      return;
    }
    if (polls[0].revents != 0) {
      return;
    }
    if (ReadAnnouncements()) {
      mHostP->PortsMayHaveChanged();
    }
  }
}

// \returns whether the list may have changed.
bool Platform_AlsaDriver::ReadAnnouncements() {
  const std::lock_guard lock(mMutex);
  bool isChanged = false;
  for (;;) {
    snd_seq_event_t* event = nullptr;
    const int result = snd_seq_event_input(mAnnouncementsP->Get(), &event);
    if (result == -ENOSPC) {
      // All that waited is thrown away: nobody knows what it told, so everything is looked at again.
      mLostAnnouncements.fetch_add(1);
      isChanged = true;
      continue;
    }
    if (result < 0 || event == nullptr) {
      break;
    }
    const int client = event->data.addr.client;
    isChanged = isChanged || (IsChangeOfPorts(*event) && client != mDataP->Client() &&
                              client != mAnnouncementsP->Client());
  }
  if (isChanged) {
    mDataP->CheckConnections();
  }
  return isChanged;
}

// ---- the list ----

std::vector<Platform_PortInfo> Platform_AlsaDriver::Ports() {
  const std::lock_guard lock(mMutex);
  std::vector<Platform_PortInfo> ports;
  if (mAnnouncementsP == nullptr || mDataP == nullptr) {
    return ports;
  }
  // Before the list, so that a peer that went and came back has a handle that tells it.
  mDataP->CheckConnections();
  const std::vector<Client> clients = Clients();
  std::map<int, std::string> applications;
  for (const Client& client : clients) {
    if (client.mIsApplication) {
      applications[client.mNumber] = client.mName;
    }
  }
  mApplications.Settle(applications);
  for (const Client& client : clients) {
    AddPorts(client, ports);
  }
  return ports;
}

std::vector<Platform_AlsaDriver::Client> Platform_AlsaDriver::Clients() {
  std::vector<Client> clients;
  snd_seq_client_info_t* info = nullptr;
  snd_seq_client_info_alloca(&info);
  snd_seq_client_info_set_client(info, -1);
  while (snd_seq_query_next_client(mAnnouncementsP->Get(), info) >= 0) {
    Client client;
    client.mNumber = snd_seq_client_info_get_client(info);
    if (client.mNumber == SND_SEQ_CLIENT_SYSTEM || client.mNumber == mDataP->Client() ||
        client.mNumber == mAnnouncementsP->Client()) {
      continue;
    }
    client.mIsApplication = snd_seq_client_info_get_type(info) == SND_SEQ_USER_CLIENT;
    client.mCard = client.mIsApplication ? -1 : CardOf(info, client.mNumber);
    client.mName = snd_seq_client_info_get_name(info);
    clients.push_back(std::move(client));
  }
  return clients;
}

void Platform_AlsaDriver::AddPorts(const Client& iClient, std::vector<Platform_PortInfo>& ioPorts) {
  snd_seq_port_info_t* info = nullptr;
  snd_seq_port_info_alloca(&info);
  snd_seq_port_info_set_client(info, iClient.mNumber);
  snd_seq_port_info_set_port(info, -1);
  Platform_PortInfo common;
  common.mDriver = Name();
  bool isDescribed = false;
  std::map<std::string, int> names;
  while (snd_seq_query_next_port(mAnnouncementsP->Get(), info) >= 0) {
    const unsigned capabilities = snd_seq_port_info_get_capability(info);
    if ((capabilities & SND_SEQ_PORT_CAP_NO_EXPORT) != 0) {
      continue;
    }
    if (!isDescribed && !Describe(iClient, common)) {
      return;
    }
    isDescribed = true;
    const Platform_AlsaAddress address{iClient.mNumber, snd_seq_port_info_get_port(info)};
    const std::string name = snd_seq_port_info_get_name(info);
    Platform_PortInfo port = common;
    port.mName = Platform_AlsaPortName(iClient.mName, name);
    port.mHandle = HandleText(address, mDataP->Generation(address));
    port.mIsVirtual =
        common.mIsVirtual || (snd_seq_port_info_get_type(info) & SND_SEQ_PORT_TYPE_SOFTWARE) != 0;
    if (iClient.mIsApplication) {
      // Port numbers of applications follow the order of their making; names are what lasts.
      const std::string lasting = Platform_AlsaLastingName(name);
      const int number = ++names[lasting];
      port.mPlace = number == 1 ? lasting : lasting + "#" + std::to_string(number);
    } else {
      const int index = iClient.mNumber - kFirstCardClient - kClientsPerCard * iClient.mCard;
      port.mPlace = (iClient.mCard >= 0 ? std::to_string(index) + "." : "") +
                    std::to_string(address.mPort / kPortsPerDevice) + "." +
                    std::to_string(address.mPort % kPortsPerDevice);
    }
    for (const bool isInput : {false, true}) {
      const unsigned needed = isInput ? kReadable : kWritable;
      if ((capabilities & needed) == needed) {
        port.mIsInput = isInput;
        ioPorts.push_back(port);
      }
    }
  }
}

// What all ports of a client share. False for the client of a card that is just being taken away: another
// announcement follows.
bool Platform_AlsaDriver::Describe(const Client& iClient, Platform_PortInfo& ioPort) const {
  if (iClient.mIsApplication) {
    ioPort.mPath = "application " + mApplications.Address(iClient.mNumber);
    ioPort.mIsVirtual = true;
    return true;
  }
  if (iClient.mCard < 0) {
    // Midi Through and its like have fixed numbers.
    ioPort.mPath = "kernel " + std::to_string(iClient.mNumber);
    ioPort.mIsVirtual = true;
    return true;
  }
  const std::optional<Platform_AlsaCard> card = Platform_AlsaCard::Read(mSysfs, iClient.mCard);
  if (!card.has_value()) {
    // Without sysfs at all the number of the card is all there is; the port is usable, its identity is not
    // durable.
    std::error_code error;
    ioPort.mPath = "card " + std::to_string(iClient.mCard);
    return !std::filesystem::exists(mSysfs + "/class/sound", error);
  }
  ioPort.mProduct = card->mProduct;
  ioPort.mSerial = card->mSerial;
  ioPort.mPath = card->mPath;
  ioPort.mManufacturer = card->mManufacturer;
  ioPort.mModel = card->mModel;
  ioPort.mIsVirtual = card->mIsVirtual;
  return true;
}

// ---- connections ----

std::unique_ptr<Platform_DriverInput> Platform_AlsaDriver::OpenInput(const Platform_PortInfo& iPort) {
  Platform_AlsaAddress address;
  std::uint64_t generation = 0;
  const bool isKnown = mDataP != nullptr && ParseHandle(iPort.mHandle, address, generation);
  return isKnown ? mDataP->OpenInput(address, generation) : nullptr;
}

std::unique_ptr<Platform_DriverOutput> Platform_AlsaDriver::OpenOutput(const Platform_PortInfo& iPort) {
  Platform_AlsaAddress address;
  std::uint64_t generation = 0;
  const bool isKnown = mDataP != nullptr && ParseHandle(iPort.mHandle, address, generation);
  const Platform_AlsaReceiver receiver =
      iPort.mIsVirtual ? Platform_AlsaReceiver::kSoftware : Platform_AlsaReceiver::kHardware;
  return isKnown ? mDataP->OpenOutput(address, generation, receiver) : nullptr;
}
