// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_session.h"

#include <errno.h>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "cmn/sys_clock.h"
#include "cmn/sys_utils.h"
#include "platform/directmusic/jack/jack_patience.h"
#include "platform/directmusic/jack/jack_undisturbed.h"

namespace {

using Clock = std::chrono::steady_clock;

// How long others wait for our thread. The root asks with its lock held, and applications wait behind that.
constexpr std::chrono::milliseconds kPatience{2000};
constexpr std::chrono::milliseconds kEndPatience{10000};
// How long the thread itself waits for a connection: to be promised, to be made, to hold. Together less than
// kPatience; a server that stands still must not keep us.
constexpr std::chrono::milliseconds kConnectPatience{600};
constexpr std::chrono::microseconds kConnectStep{2000};
constexpr std::chrono::milliseconds kDisconnectPatience{1000};
// When whoever could not be connected to a port that is there may try again.
constexpr std::chrono::milliseconds kTellAfter{3000};
// A server that is back must play its first note within two seconds. Others in the process use as much time
// to close their clients of a server that died: the next client that is opened takes those away from them.
constexpr std::chrono::milliseconds kJoinEvery{300};
// jackd tells of the end of a client's ports before it takes them away.
constexpr std::chrono::milliseconds kLookAgainAfter{200};
// jackd reads CLOCK_MONOTONIC_RAW, which went 100 microseconds a second away from ours where it was tried.
// What is a fifth of that stays below a frame.
constexpr std::chrono::milliseconds kMeasureEvery{200};

// Marks our ports for the drivers of other processes, to which they are plumbing and no devices. A port has
// its flags from the moment it is there; jackd2 keeps those that it doesn't know, and PipeWire hands them on.
// No header knows one above 0x10, so that nobody sets just these.
constexpr unsigned long kDriversPort = 0x4D4C0000;
constexpr unsigned long kMarks = 0x7FFF0000;

// libjack's messages are the process's, not a client's. While we knock at a closed door again and again, they
// say nothing new.
std::atomic<bool> sIsQuiet{false};

void Report(const char* iMessage) {
  if (!sIsQuiet.load()) {
    Platform_JackUndisturbed([&] { Sys_Utils::DebugString(std::string("mlox: JACK: ") + iMessage); });
  }
}

// Whether libjack itself takes away the clients of a dead server, of whomever in this process, when the next
// one is opened. jackd2's does, and whoever closes his client later closes what has been freed. PipeWire's
// doesn't.
bool TakesDeadClientsAway() {
  return std::string(jack_get_version_string()).find("PipeWire") == std::string::npos;
}

// What the server knows us by: the application's name.
std::string ApplicationName() {
  const std::string name = program_invocation_short_name;
  const std::size_t most = static_cast<std::size_t>(std::max(jack_client_name_size() - 8, 8));
  return name.empty() ? "mlox" : name.substr(0, most);
}

bool IsSamePort(const Platform_PortInfo& iLeft, const Platform_PortInfo& iRight) {
  return iLeft.mHandle == iRight.mHandle && iLeft.mIsInput == iRight.mIsInput &&
         iLeft.mPath == iRight.mPath && iLeft.mName == iRight.mName && iLeft.mIsVirtual == iRight.mIsVirtual;
}

// What dead servers leave behind in the process, beyond the sessions that had joined them.
struct Legacy {
  std::mutex mMutex;
  // Others have had their time to close their clients then.
  Clock::time_point mNextOpening;
  // Ended, and yet libjack's threads may hold them as long as their clients are there.
  std::vector<std::shared_ptr<Platform_JackSession>> mSessions;
};

// Never destroyed: libjack's threads outlast everything that ends with the process.
Legacy& TheLegacy() {
  static Legacy* const sLegacyP = new Legacy;
  return *sLegacyP;
}

// A server has died just now. \returns when a client may be opened again.
Clock::time_point NoteDeath() {
  Legacy& legacy = TheLegacy();
  const std::lock_guard lock(legacy.mMutex);
  legacy.mNextOpening = Clock::now() + kJoinEvery;
  return legacy.mNextOpening;
}

Clock::time_point NextOpening() {
  Legacy& legacy = TheLegacy();
  const std::lock_guard lock(legacy.mMutex);
  return legacy.mNextOpening;
}

void Keep(std::shared_ptr<Platform_JackSession> iSessionP) {
  Legacy& legacy = TheLegacy();
  const std::lock_guard lock(legacy.mMutex);
  legacy.mSessions.push_back(std::move(iSessionP));
}

std::vector<std::shared_ptr<Platform_JackSession>> TakeKept() {
  Legacy& legacy = TheLegacy();
  const std::lock_guard lock(legacy.mMutex);
  return std::exchange(legacy.mSessions, {});
}

std::string NameOfHandle(const std::string& iHandle) { return iHandle.substr(0, iHandle.find('\n')); }

// Both buffers zeroed and both read, whatever count comes back: PipeWire fills the second and tells 1.
std::vector<std::string> AliasesOf(const jack_port_t* iPortP) {
  const std::size_t size = static_cast<std::size_t>(std::max(jack_port_name_size(), 1)) + 1;
  std::string first(size, '\0');
  std::string second(size, '\0');
  char* const buffers[2] = {first.data(), second.data()};
  jack_port_get_aliases(iPortP, buffers);
  return {first.c_str(), second.c_str()};
}

}  // namespace

std::mutex& Platform_JackOpenMutex() {
  static std::mutex* const sMutex = new std::mutex;
  return *sMutex;
}

Platform_JackSession::Platform_JackSession() : mWake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Platform_JackSession::~Platform_JackSession() {
  if (mWake >= 0) {
    ::close(mWake);
  }
}

// ---- the driver ----

Platform_JackBegin Platform_JackSession::Begin(Platform_DriverHost* iHostP) {
  {
    const std::lock_guard lock(mHostMutex);
    mHostP = iHostP;
  }
  jack_set_error_function(Report);
  jack_set_info_function(Report);
  mHasEnded = false;
  mThread = std::thread([self = shared_from_this()] { self->Run(); });
  const auto joined = std::make_shared<std::atomic<bool>>(false);
  const auto task = std::make_shared<Task>();
  // Soon after a server's death, before others have closed their clients, it goes on as one whose server has
  // died while it ran: without ports, and its thread joins when that may be.
  task->mBody = [this, joined] {
    mNextJoin = NextOpening();
    joined->store(Clock::now() < mNextJoin || JoinServer());
  };
  mFirstJoin = task;
  Post(task);
  if (!WaitFor(task, kPatience)) {
    return Platform_JackBegin::kSilent;
  }
  return joined->load() ? Platform_JackBegin::kDone : Platform_JackBegin::kNoServer;
}

void Platform_JackSession::End() {
  {
    const std::lock_guard lock(mHostMutex);
    mHostP = nullptr;
  }
  mStop.store(true);
  Wake();
  bool hasEnded = false;
  {
    std::unique_lock lock(mTaskMutex);
    // A server that has never answered has been waited for already.
    const auto patience = mFirstJoin->mIsDone ? kEndPatience : std::chrono::milliseconds(0);
    hasEnded = mTaskDone.wait_for(lock, patience, [this] { return mHasEnded; });
  }
  if (hasEnded) {
    mThread.join();
  } else {
    // It hangs in libjack. It keeps the session, and ends on its own or with the process.
    mThread.detach();
  }
}

std::shared_ptr<Platform_JackWay> Platform_JackSession::Open(const std::string& iHandle, bool iIsInput) {
  const auto opened = std::make_shared<std::shared_ptr<Platform_JackWay>>();
  const auto task = std::make_shared<Task>();
  task->mBody = [this, opened, iHandle, iIsInput] { *opened = OpenHere(iHandle, iIsInput); };
  task->mUndo = [this, opened] {
    if (*opened != nullptr) {
      CloseHere(*opened);
    }
  };
  Post(task);
  return WaitFor(task, kPatience) ? *opened : nullptr;
}

void Platform_JackSession::Close(const std::shared_ptr<Platform_JackWay>& iWayP) {
  const auto task = std::make_shared<Task>();
  task->mBody = [this, iWayP] { CloseHere(iWayP); };
  Post(task);
}

std::vector<Platform_PortInfo> Platform_JackSession::Ports() {
  const std::lock_guard lock(mListMutex);
  return mPorts;
}

// ---- between threads ----

void Platform_JackSession::Wake() {
  const std::uint64_t one = 1;
  while (::write(mWake, &one, sizeof(one)) < 0 && errno == EINTR) {
  }
}

void Platform_JackSession::Post(const std::shared_ptr<Task>& iTaskP) {
  {
    const std::lock_guard lock(mTaskMutex);
    mTasks.push_back(iTaskP);
  }
  Wake();
}

bool Platform_JackSession::WaitFor(const std::shared_ptr<Task>& iTaskP, std::chrono::milliseconds iPatience) {
  std::unique_lock lock(mTaskMutex);
  mTaskDone.wait_for(lock, iPatience, [&] { return iTaskP->mIsDone || mHasEnded; });
  iTaskP->mIsAbandoned = !iTaskP->mIsDone;
  return iTaskP->mIsDone;
}

void Platform_JackSession::TellHost() {
  const std::lock_guard lock(mHostMutex);
  if (mHostP != nullptr) {
    mHostP->PortsMayHaveChanged();
  }
}

// ---- libjack's callbacks: they note and wake, as signal handlers would ----

void Platform_JackSession::OnShutdown(void* iSessionP) {
  auto* const session = static_cast<Platform_JackSession*>(iSessionP);
  Platform_JackUndisturbed([&] {
    session->mIsShutDown.store(true);
    session->Wake();
  });
}

void Platform_JackSession::OnInfoShutdown(jack_status_t /*iCode*/, const char* /*iReason*/, void* iSessionP) {
  OnShutdown(iSessionP);
}

void Platform_JackSession::OnRegistration(jack_port_id_t /*iPort*/, int /*iIsThere*/, void* iSessionP) {
  auto* const session = static_cast<Platform_JackSession*>(iSessionP);
  Platform_JackUndisturbed([&] {
    session->mPortsChanged.store(true);
    session->Wake();
  });
}

void Platform_JackSession::OnClient(const char* /*iName*/, int iIsThere, void* iSessionP) {
  OnRegistration(0, iIsThere, iSessionP);
}

void Platform_JackSession::OnRename(jack_port_id_t iPort, const char* /*iOld*/, const char* /*iNew*/,
                                    void* iSessionP) {
  OnRegistration(iPort, 1, iSessionP);
}

void Platform_JackSession::OnFreewheel(int iRuns, void* iSessionP) {
  auto* const session = static_cast<Platform_JackSession*>(iSessionP);
  Platform_JackUndisturbed([&] { session->mEngine.SetFreewheel(iRuns != 0); });
}

int Platform_JackSession::OnSampleRate(jack_nframes_t iRate, void* iSessionP) {
  auto* const session = static_cast<Platform_JackSession*>(iSessionP);
  Platform_JackUndisturbed([&] { session->mEngine.SetRate(iRate); });
  return 0;
}

int Platform_JackSession::OnProcess(jack_nframes_t iFrames, void* iSessionP) {
  auto* const session = static_cast<Platform_JackSession*>(iSessionP);
  Platform_JackUndisturbed([&] { session->mEngine.Process(session->mCallingClientP.load(), iFrames); });
  return 0;
}

// ---- the thread ----

void Platform_JackSession::Run() {
  while (!mStop.load()) {
    Round();
    pollfd poll{mWake, POLLIN, 0};
    ::poll(&poll, 1, SleepMilliseconds());
    std::uint64_t count = 0;
    while (::read(mWake, &count, sizeof(count)) < 0 && errno == EINTR) {
    }
  }
  RunTasks();
  LeaveServer();
  // Not an opening now, which would end the client: others may be about to close theirs of the same server.
  if (mHasLeftClient) {
    Keep(shared_from_this());
  }
  const std::lock_guard lock(mTaskMutex);
  mHasEnded = true;
  mTaskDone.notify_all();
}

int Platform_JackSession::SleepMilliseconds() const {
  auto next = mNextJoin;
  if (mClientP.load() != nullptr) {
    next = std::min(mNextLook, mNextTell);
    next = mWays.empty() ? next : std::min(next, mNextMeasurement);
  }
  if (next == Clock::time_point::max()) {
    return -1;
  }
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left + 1, 0, 1000));
}

void Platform_JackSession::Round() {
  LeaveDeadServer();
  RunTasks();
  LeaveDeadServer();
  if (mClientP.load() == nullptr) {
    if (Clock::now() >= mNextJoin && JoinServer()) {
      Sys_Utils::DebugString("mlox: a JACK server is there again");
    }
    return;
  }
  if (mPortsChanged.exchange(false)) {
    Rescan();
    mNextLook = Clock::now() + kLookAgainAfter;
  } else if (Clock::now() >= mNextLook) {
    Rescan();
    mNextLook = mIsConnectionOwed ? Clock::now() + kLookAgainAfter : Clock::time_point::max();
  }
  if (Clock::now() >= mNextTell) {
    mNextTell = Clock::time_point::max();
    TellHost();
  }
  if (!mWays.empty() && Clock::now() >= mNextMeasurement) {
    MeasureClock();
  }
}

// First of all: the client of a dead server may be taken away at any moment.
void Platform_JackSession::LeaveDeadServer() {
  if (mClientP.load() != nullptr && mIsShutDown.load()) {
    Sys_Utils::DebugString("mlox: the JACK server has gone; looking for it again");
    LeaveServer();
    TellHost();
  }
}

void Platform_JackSession::RunTasks() {
  for (;;) {
    std::shared_ptr<Task> task;
    {
      const std::lock_guard lock(mTaskMutex);
      if (mTasks.empty()) {
        return;
      }
      task = mTasks.front();
      mTasks.pop_front();
    }
    task->mBody();
    bool isAbandoned = false;
    {
      const std::lock_guard lock(mTaskMutex);
      task->mIsDone = true;
      isAbandoned = task->mIsAbandoned;
    }
    mTaskDone.notify_all();
    if (isAbandoned && task->mUndo) {
      task->mUndo();
      mNextTell = Clock::now() + kTellAfter;
    }
  }
}

// ---- the server ----

// With or without success, it takes away what a dead server has left.
jack_client_t* Platform_JackSession::OpenClient() {
  jack_status_t status{};
  const std::lock_guard lock(Platform_JackOpenMutex());
  // Taken before and freed after: one that ends meanwhile is the next opening's.
  const std::vector<std::shared_ptr<Platform_JackSession>> ended = TakeKept();
  jack_client_t* const client = jack_client_open(ApplicationName().c_str(), JackNoStartServer, &status);
  if (mHasLeftClient) {
    mHasLeftClient = false;
    mEngine.Clear();
    mRetired.clear();
  }
  return client;
}

// False when the server did not answer.
bool Platform_JackSession::CloseClient(jack_client_t* iClientP) {
  const std::lock_guard lock(Platform_JackOpenMutex());
  return jack_client_close(iClientP) == 0;
}

bool Platform_JackSession::JoinServer() {
  if (mClientP.load() != nullptr) {
    return true;
  }
  mNextJoin = Clock::now() + kJoinEvery;
  jack_client_t* const client = OpenClient();
  if (client == nullptr) {
    sIsQuiet.store(true);
    return false;
  }
  sIsQuiet.store(false);
  mIsShutDown.store(false);
  mEngine.Reset(jack_get_sample_rate(client), jack_get_buffer_size(client));
  MeasureClock();
  SetCallbacks(client);
  mCallingClientP.store(client);
  mClientP.store(client);
  if (jack_activate(client) != 0) {
    LeaveServer();
    return false;
  }
  mPortsChanged.store(false);
  Rescan();
  return true;
}

void Platform_JackSession::SetCallbacks(jack_client_t* iClientP) {
  jack_set_process_callback(iClientP, OnProcess, this);
  jack_set_port_registration_callback(iClientP, OnRegistration, this);
  jack_set_client_registration_callback(iClientP, OnClient, this);
  jack_set_port_rename_callback(iClientP, OnRename, this);
  jack_set_freewheel_callback(iClientP, OnFreewheel, this);
  jack_set_sample_rate_callback(iClientP, OnSampleRate, this);
  // Servers call one or the other.
  jack_on_shutdown(iClientP, OnShutdown, this);
  jack_on_info_shutdown(iClientP, OnInfoShutdown, this);
}

// The client of a dead server is left to libjack where that takes it away: to close it too would free it
// twice. Its callback is silenced first, and what it may still hold is kept until it has gone.
void Platform_JackSession::LeaveServer() {
  jack_client_t* const client = mClientP.load();
  if (client == nullptr) {
    return;
  }
  EndWays(mWays);
  if (mIsShutDown.load() && TakesDeadClientsAway()) {
    mRetired.insert(mRetired.end(), mWays.begin(), mWays.end());
    mHasLeftClient = true;
    mNextJoin = NoteDeath();
  } else {
    // A server that has died and has not been seen to yet.
    if ((!CloseClient(client) || mIsShutDown.load()) && TakesDeadClientsAway()) {
      NoteDeath();
    }
    mEngine.Clear();
    mRetired.clear();
  }
  mClientP.store(nullptr);
  std::uint64_t lost = 0;
  for (const std::shared_ptr<Platform_JackWay>& way : mWays) {
    lost += way->Lost();
  }
  if (lost != 0) {
    Sys_Utils::DebugString("mlox: JACK: " + std::to_string(lost) +
                           " messages were handed over and fell into the gap");
  }
  mWays.clear();
  mAppearances.clear();
  const std::lock_guard lock(mListMutex);
  mPorts.clear();
}

// The reading between the two closest readings of ours. Where both clocks are one, as they are with PipeWire,
// the difference is nothing but the time that reading takes.
void Platform_JackSession::MeasureClock() {
  mNextMeasurement = Clock::now() + kMeasureEvery;
  std::int64_t narrowest = INT64_MAX;
  std::int64_t offset = 0;
  for (int i = 0; i < 5; ++i) {
    const std::int64_t before = Sys_Clock::Microseconds();
    const auto theirs = static_cast<std::int64_t>(jack_get_time());
    const std::int64_t after = Sys_Clock::Microseconds();
    if (after - before < narrowest) {
      narrowest = after - before;
      const bool isOneClock = theirs >= before && theirs <= after;
      offset = isOneClock ? 0 : before + (after - before) / 2 - theirs;
    }
  }
  mEngine.SetClockOffset(offset);
}

// ---- ports ----

void Platform_JackSession::Rescan() {
  std::vector<Platform_PortInfo> ports = ReadPorts();
  FollowPorts(ports);
  Publish(std::move(ports));
}

std::vector<Platform_PortInfo> Platform_JackSession::ReadPorts() {
  std::vector<Platform_PortInfo> ports;
  const char** const names = jack_get_ports(mClientP.load(), nullptr, JACK_DEFAULT_MIDI_TYPE, 0);
  for (const char** name = names; name != nullptr && *name != nullptr; ++name) {
    AddPort(*name, ports);
  }
  if (names != nullptr) {
    jack_free(names);
  }
  Number(ports);
  return ports;
}

void Platform_JackSession::AddPort(const std::string& iName, std::vector<Platform_PortInfo>& ioPorts) {
  jack_client_t* const client = mClientP.load();
  jack_port_t* const port = jack_port_by_name(client, iName.c_str());
  if (port == nullptr || jack_port_is_mine(client, port) != 0) {
    return;
  }
  const int flags = jack_port_flags(port);
  if ((static_cast<unsigned long>(flags) & kMarks) == kDriversPort) {
    return;
  }
  Platform_PortInfo info;
  info.mDriver = "jack";
  info.mIsInput = (flags & JackPortIsOutput) != 0;
  info.mIsVirtual = (flags & JackPortIsPhysical) == 0;
  info.mPath = Platform_JackAddress(iName, AliasesOf(port));
  info.mName = info.mPath;
  info.mHandle = iName;
  ioPorts.push_back(std::move(info));
}

// Tells ports of equal address apart, and gives each appearance of a name a handle of its own.
void Platform_JackSession::Number(std::vector<Platform_PortInfo>& ioPorts) {
  std::vector<std::pair<std::string, std::string>> keys;
  for (const Platform_PortInfo& port : ioPorts) {
    const std::string direction = port.mIsInput ? "in " : "out ";
    keys.emplace_back(direction + port.mHandle, direction + port.mPath);
  }
  const std::vector<int> numbers = mNumbers.Assign(keys);
  std::map<std::string, unsigned> appearances;
  for (std::size_t i = 0; i < ioPorts.size(); ++i) {
    if (numbers[i] > 1) {
      ioPorts[i].mPath.append(" #").append(std::to_string(numbers[i]));
      ioPorts[i].mName = ioPorts[i].mPath;
    }
    const auto known = mAppearances.find(keys[i].first);
    const unsigned appearance = known != mAppearances.end() ? known->second : ++mNextAppearance;
    appearances[keys[i].first] = appearance;
    ioPorts[i].mHandle.append("\n").append(std::to_string(appearance));
  }
  mAppearances.swap(appearances);
}

// A way whose port has gone ends. One whose port went and came back between two looks is connected again.
void Platform_JackSession::FollowPorts(const std::vector<Platform_PortInfo>& iPorts) {
  std::vector<std::shared_ptr<Platform_JackWay>> gone;
  mIsConnectionOwed = false;
  for (const std::shared_ptr<Platform_JackWay>& way : mWays) {
    const bool isThere = std::any_of(iPorts.begin(), iPorts.end(), [&](const Platform_PortInfo& iPort) {
      return iPort.mHandle == way->mHandle && iPort.mIsInput == way->IsInput();
    });
    if (!isThere) {
      gone.push_back(way);
    } else if (!IsConnected(*way)) {
      ConnectAgain(*way);
    }
  }
  EndWays(gone);
}

void Platform_JackSession::ConnectAgain(Platform_JackWay& ioWay) {
  if (Connect(ioWay)) {
    ioWay.WasConnected();
  } else {
    mIsConnectionOwed = true;
  }
}

void Platform_JackSession::EndWays(const std::vector<std::shared_ptr<Platform_JackWay>>& iWays) {
  for (const std::shared_ptr<Platform_JackWay>& way : iWays) {
    way->mIsSilent.store(true);
  }
  mEngine.WaitForEnd();
  for (const std::shared_ptr<Platform_JackWay>& way : iWays) {
    way->mIsGone.store(true, std::memory_order_release);
  }
}

void Platform_JackSession::Publish(std::vector<Platform_PortInfo> iPorts) {
  {
    const std::lock_guard lock(mListMutex);
    const bool isSame = std::equal(iPorts.begin(), iPorts.end(), mPorts.begin(), mPorts.end(), IsSamePort);
    mPorts.swap(iPorts);
    if (isSame) {
      return;
    }
  }
  TellHost();
}

// ---- ways ----

std::string Platform_JackSession::FreeName(bool iIsInput) const {
  const std::string prefix = iIsInput ? "in " : "out ";
  for (int number = 1;; ++number) {
    std::string name = prefix + std::to_string(number);
    const auto isTaken = [&](const std::shared_ptr<Platform_JackWay>& iWay) {
      return iWay->mOurName == name;
    };
    if (std::none_of(mWays.begin(), mWays.end(), isTaken)) {
      return name;
    }
  }
}

bool Platform_JackSession::Connect(const Platform_JackWay& iWay) {
  const char* const ours = jack_port_name(iWay.mPortP);
  const int result = iWay.IsInput() ? jack_connect(mClientP.load(), iWay.mTarget.c_str(), ours)
                                    : jack_connect(mClientP.load(), ours, iWay.mTarget.c_str());
  return result == 0 || result == EEXIST;
}

bool Platform_JackSession::IsConnected(const Platform_JackWay& iWay) const {
  return jack_port_connected_to(iWay.mPortP, iWay.mTarget.c_str()) != 0;
}

std::shared_ptr<Platform_JackWay> Platform_JackSession::OpenHere(const std::string& iHandle, bool iIsInput) {
  const std::vector<Platform_PortInfo> ports = Ports();
  const bool isThere = std::any_of(ports.begin(), ports.end(), [&](const Platform_PortInfo& iPort) {
    return iPort.mHandle == iHandle && iPort.mIsInput == iIsInput;
  });
  if (!isThere || mIsShutDown.load()) {
    return nullptr;
  }
  std::shared_ptr<Platform_JackWay> way;
  if (iIsInput) {
    way = std::make_shared<Platform_JackInputWay>();
  } else {
    way = std::make_shared<Platform_JackOutputWay>();
  }
  way->mHandle = iHandle;
  way->mTarget = NameOfHandle(iHandle);
  way->mOurName = FreeName(iIsInput);
  way->mPortP = jack_port_register(mClientP.load(), way->mOurName.c_str(), JACK_DEFAULT_MIDI_TYPE,
                                   (iIsInput ? JackPortIsInput : JackPortIsOutput) | kDriversPort, 0);
  if (way->mPortP == nullptr) {
    return nullptr;
  }
  MeasureClock();
  mWays.push_back(way);
  if (!mEngine.Add(way.get()) || !ConnectPatiently(*way)) {
    CloseHere(way);
    mNextTell = Clock::now() + kTellAfter;
    return nullptr;
  }
  return way;
}

// jackd lists the ports of a client that is about to run, and refuses to connect them until it does. PipeWire
// makes a connection some time after it has promised it. What is sent before it stands sounds nowhere.
bool Platform_JackSession::ConnectPatiently(Platform_JackWay& ioWay) {
  bool isPromised = false;
  const auto isDecided = [&] {
    isPromised = Connect(ioWay);
    return isPromised || mIsShutDown.load() ||
           jack_port_by_name(mClientP.load(), ioWay.mTarget.c_str()) == nullptr;
  };
  Platform_JackWaitFor(kConnectPatience, kConnectStep, isDecided);
  if (!isPromised) {
    return false;
  }
  const auto stands = [&] { return jack_port_connected(ioWay.mPortP) != 0 || mIsShutDown.load(); };
  mIsConnectionOwed = !Platform_JackWaitFor(kConnectPatience, kConnectStep, stands) || mIsConnectionOwed;
  ioWay.WasConnected();
  // It holds from the server's next cycle on: what others send from now on arrives.
  mEngine.WaitForCycles(2, kConnectPatience, mIsShutDown);
  if (mIsConnectionOwed) {
    mNextLook = Clock::now() + kLookAgainAfter;
  }
  return true;
}

// First nobody hears the port any more, then the callback lets go of it, then it ends: a port that is no
// longer served would sound its last buffer over and over.
void Platform_JackSession::CloseHere(const std::shared_ptr<Platform_JackWay>& iWayP) {
  const auto found = std::find(mWays.begin(), mWays.end(), iWayP);
  if (found == mWays.end()) {
    return;
  }
  EndWays({iWayP});
  mWays.erase(found);
  jack_client_t* const client = mClientP.load();
  if (!mIsShutDown.load()) {
    jack_port_disconnect(client, iWayP->mPortP);
    // The connection holds for the cycle that runs, and jackd may take one more to switch: served, and so
    // cleared, until then.
    mEngine.WaitForCycles(2, kDisconnectPatience, mIsShutDown);
  }
  if (mIsShutDown.load()) {
    mRetired.push_back(iWayP);
    return;
  }
  if (!mEngine.Remove(iWayP.get())) {
    mRetired.push_back(iWayP);
  }
  jack_port_unregister(client, iWayP->mPortP);
}
