// SPDX-License-Identifier: MIT
// An application with a JACK client of its own, whose server dies: libjack frees the clients of the whole
// process when the next one is opened, so ours must leave it the time to close its own. Each test is a
// program of its own, which ends well or crashes.
#include <gtest/gtest.h>
#include <jack/jack.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <system_error>

#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/jack/jack_driver.h"
#include "platform/directmusic/jack/jack_session.h"
#include "platform/directmusic/windows_com.h"
#include "tests/integration/jack/dumped_messages.h"
#include "tests/platform/directmusic/conformance/driver_test_support.h"
#include "tests/platform/directmusic/jack/jack_test_server.h"
#include "tests/support/sanitizers.h"

namespace {

using Clock = std::chrono::steady_clock;

// How long the driver leaves others after a server's death.
constexpr std::chrono::milliseconds kTimeToClose{300};
// What a program ends with that did not come to close its client in that time.
constexpr int kLate = 77;

#if defined(__SANITIZE_THREAD__) || TEST_HAS_FEATURE(thread_sanitizer)
constexpr bool kHasThreadChecker = true;
#else
constexpr bool kHasThreadChecker = false;
#endif

// Ends this program where it is not as it must be.
void Require(bool iHolds, const std::string& iWhat) {
  if (!iHolds) {
    std::fprintf(stderr, "not so: %s\n", iWhat.c_str());
    std::_Exit(1);
  }
}

// The application's own client, with one port.
class OwnClient {
 public:
  void Open() {
    const std::lock_guard lock(Platform_JackOpenMutex());
    jack_status_t status{};
    mClientP = jack_client_open("host", JackNoStartServer, &status);
    Require(mClientP != nullptr, "the application joins the server");
    jack_on_shutdown(
        mClientP, [](void* iOwnP) { static_cast<OwnClient*>(iOwnP)->mIsShutDown.store(true); }, this);
    Require(jack_activate(mClientP) == 0, "the application's client runs");
    Require(jack_port_register(mClientP, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0) != nullptr,
            "the application has a port");
  }
  bool IsShutDown() const { return mIsShutDown.load(); }
  // Whether the driver has a port on the server.
  bool SeesDriver() const {
    const char** const names = jack_get_ports(mClientP, "out [0-9]+$", JACK_DEFAULT_MIDI_TYPE, 0);
    jack_free(names);
    return names != nullptr;
  }
  // Nobody opens a client while we look at the clock and close ours. False when it is too late.
  bool CloseInTime(Clock::time_point iDeath) {
    const std::lock_guard lock(Platform_JackOpenMutex());
    if (!Test_IsPipeWire() && Clock::now() >= iDeath + kTimeToClose) {
      return false;
    }
    jack_client_close(mClientP);
    mClientP = nullptr;
    return true;
  }

 private:
  jack_client_t* mClientP = nullptr;
  std::atomic<bool> mIsShutDown{false};
};

Platform_PortInfo Find(Platform_JackDriver& ioDriver, const std::string& iName) {
  Platform_PortInfo found;
  const auto isThere = [&] {
    for (const Platform_PortInfo& port : ioDriver.Ports()) {
      if (port.mName == iName && !port.mIsInput) {
        found = port;
        return true;
      }
    }
    return false;
  };
  Require(Test_WaitFor(isThere), iName + " is listed");
  return found;
}

std::unique_ptr<Platform_DriverOutput> Open(Platform_JackDriver& ioDriver, const std::string& iName) {
  std::unique_ptr<Platform_DriverOutput> output;
  // Found anew each time: a port that is just being made may come twice.
  Require(Test_WaitFor([&] {
            output = ioDriver.OpenOutput(Find(ioDriver, iName));
            return output != nullptr;
          }),
          iName + " can be opened");
  return output;
}

bool Starts(Platform_JackDriver& ioDriver, Test_DriverHost& ioHost) {
  std::string reason;
  return ioDriver.Start(&ioHost, reason);
}

// A server, the application's client and the driver on it, an output to it open.
struct Scene {
  Scene() {
    const std::string missing = mServer.Start();
    Require(missing.empty(), missing);
    mOwn.Open();
    Require(Starts(mDriver, mHost), "the driver starts");
    mOutputP = ::Open(mDriver, "host:in");
  }
  // The server dies, and all have heard of it. \returns a time before that.
  Clock::time_point Kill() {
    const auto before = Clock::now();
    mServer.Kill();
    Require(Test_WaitFor([&] { return mOwn.IsShutDown() && mDriver.Ports().empty(); }), "the death is seen");
    return before;
  }
  void StopDriver() {
    mOutputP.reset();
    mDriver.Stop();
  }
  // A program on the next server hears a note of ours.
  void ExpectThatANoteFlows() {
    Test_Program dump({"jack_midi_dump", "-a", "dump"});
    mOutputP = ::Open(mDriver, "dump:input");
    const std::uint8_t note[] = {0x91, 60, 100};
    Require(mOutputP->Send(kPlatform_AtOnce, note, 3) == Platform_SendResult::kTaken, "a note is taken");
    Require(Test_WaitFor([&] { return !Test_DumpedMessages(dump.Output()).empty(); }), "a note is heard");
    Require(Test_DumpedMessages(dump.Output()).front().mBytes == Test_MidiBytes{0x91, 60, 100},
            "it is the note that was played");
    StopDriver();
    mServer.Stop();
  }

  Test_JackServer mServer;
  OwnClient mOwn;
  Test_DriverHost mHost;
  Platform_JackDriver mDriver;
  std::unique_ptr<Platform_DriverOutput> mOutputP;
};

// ---- the programs ----

int CloseAndLook(OwnClient& ioOwn, Clock::time_point iDeath) {
  if (!ioOwn.CloseInTime(iDeath)) {
    return kLate;
  }
  Require(Test_LookForServerInVain(), "there is no server");
  return 0;
}

int StopsTheDriverFirst() {
  Scene scene;
  const auto death = scene.Kill();
  scene.StopDriver();
  return CloseAndLook(scene.mOwn, death);
}

// The driver ends before it has heard of the death, most likely, and begins when the application has.
int StopsTheDriverAtOnce() {
  Scene scene;
  scene.mOutputP.reset();
  Require(Test_WaitFor([&] { return !scene.mOwn.SeesDriver(); }), "the driver closes its port");
  const auto death = Clock::now();
  ::kill(scene.mServer.ProcessId(), SIGKILL);
  scene.mDriver.Stop();
  Require(Test_WaitFor([&] { return scene.mOwn.IsShutDown(); }), "the application hears of the death");
  Starts(scene.mDriver, scene.mHost);
  scene.mDriver.Stop();
  return CloseAndLook(scene.mOwn, death);
}

int BeginsAnewBeforeItCloses() {
  Scene scene;
  const auto death = scene.Kill();
  scene.StopDriver();
  const bool isBegun = Starts(scene.mDriver, scene.mHost);
  const bool hasPorts = !scene.mDriver.Ports().empty();
  if (!scene.mOwn.CloseInTime(death)) {
    return kLate;
  }
  // PipeWire's libjack frees nobody's client, so there the driver looks at once.
  Require(isBegun != Test_IsPipeWire(), "the driver begins and looks for a server");
  Require(!hasPorts, "no server, no port");
  Require(scene.mServer.Start().empty(), "a server comes");
  Require(isBegun || Starts(scene.mDriver, scene.mHost), "the driver begins with the server there");
  scene.ExpectThatANoteFlows();
  return 0;
}

int BeginsAnewOnANewServer() {
  Scene scene;
  const auto death = scene.Kill();
  scene.StopDriver();
  if (!scene.mOwn.CloseInTime(death)) {
    return kLate;
  }
  Require(scene.mServer.Start().empty(), "a server comes");
  Require(Starts(scene.mDriver, scene.mHost), "the driver begins");
  scene.ExpectThatANoteFlows();
  return 0;
}

int StopsAndBeginsOverAndOver() {
  Scene scene;
  const auto death = scene.Kill();
  for (int i = 0; i < 5; ++i) {
    scene.StopDriver();
    Starts(scene.mDriver, scene.mHost);
  }
  scene.StopDriver();
  return CloseAndLook(scene.mOwn, death);
}

// Event descriptors of this process. Each session of the driver has one.
int EventDescriptors() {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code hasGone;
    const std::string what = std::filesystem::read_symlink(entry.path(), hasGone).string();
    count += what.find("[eventfd]") != std::string::npos ? 1 : 0;
  }
  return count;
}

// A session that has ended is there as long as libjack's threads may touch it, and no longer.
int StopsTheDriverAndLooksWhatItKeeps() {
  Scene scene;
  const int running = EventDescriptors();
  const auto death = scene.Kill();
  scene.StopDriver();
  const int stopped = EventDescriptors();
  if (!scene.mOwn.CloseInTime(death)) {
    return kLate;
  }
  Require(Test_IsPipeWire() || stopped == running, "the session is kept");
  // As soon as the driver may open a client, it finds no server.
  Require(Test_WaitFor([&] {
            const bool isBegun = Starts(scene.mDriver, scene.mHost);
            scene.mDriver.Stop();
            return !isBegun;
          }),
          "there is no server");
  Require(Test_IsPipeWire() || EventDescriptors() == running - 1, "the session is freed");
  return 0;
}

// ---- the same under the root ----

DMUS_PORTCAPS Listed(IDirectMusic8& ioRoot, const std::u16string& iName) {
  for (DWORD i = 0;; ++i) {
    DMUS_PORTCAPS caps{};
    caps.dwSize = sizeof(caps);
    if (ioRoot.EnumPort(i, &caps) != S_OK) {
      return {};
    }
    if (caps.dwClass == DMUS_PC_OUTPUTCLASS && iName == caps.wszDescription) {
      return caps;
    }
  }
}

bool IsListed(IDirectMusic8& ioRoot) { return Listed(ioRoot, u"host:in").dwSize != 0; }

IDirectMusic8& Root() {
  ::setenv("MLOX_MIDI_DRIVERS", "jack", 1);
  IDirectMusic8* root = nullptr;
  Require(CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8,
                           reinterpret_cast<void**>(&root)) == S_OK,
          "there is a root");
  return *root;
}

IDirectMusicPort* OpenPort(IDirectMusic8& ioRoot) {
  Require(Test_WaitFor([&] { return IsListed(ioRoot); }), "the root lists host:in");
  IDirectMusicPort* port = nullptr;
  DMUS_PORTPARAMS8 params{};
  params.dwSize = sizeof(params);
  Require(ioRoot.CreatePort(Listed(ioRoot, u"host:in").guidPort, &params, &port, nullptr) == S_OK,
          "the root makes a port");
  Require(Test_WaitFor([&] { return port->Activate(TRUE) == S_OK; }), "the port is connected");
  return port;
}

int ListsPortsBeforeItCloses() {
  Test_JackServer server;
  OwnClient own;
  Require(server.Start().empty(), "a server comes");
  own.Open();
  IDirectMusic8& root = Root();
  IDirectMusicPort* const port = OpenPort(root);
  const auto death = Clock::now();
  server.Kill();
  Require(Test_WaitFor([&] { return own.IsShutDown() && !IsListed(root); }), "the death is seen");
  // With its last port the driver stops; each list is another short run of it.
  port->Activate(FALSE);
  port->Release();
  bool isListed = false;
  for (int i = 0; i < 2; ++i) {
    isListed = IsListed(root) || isListed;
  }
  const int code = CloseAndLook(own, death);
  Require(code != 0 || !isListed, "no server, no port");
  return code;
}

// The application closes its client after the driver has been stopped by the end of the process. \param
// iLooks whether it goes on to look for a server, or the driver's client is there to the last
int EndsWithTheDriverRunning(bool iAtOnce, bool iLooks) {
  static OwnClient* const sOwnP = new OwnClient;
  static Clock::time_point sDeath;
  static bool sLooks = false;
  sLooks = iLooks;
  Test_JackServer server;
  Require(server.Start().empty(), "a server comes");
  sOwnP->Open();
  std::atexit([] {
    if (!sOwnP->CloseInTime(sDeath)) {
      std::_Exit(kLate);
    }
    if (sLooks) {
      Require(Test_LookForServerInVain(), "there is no server");
    }
  });
  IDirectMusic8& root = Root();
  OpenPort(root);
  sDeath = Clock::now();
  server.Kill();
  Require(iAtOnce || Test_WaitFor([&] { return sOwnP->IsShutDown() && !IsListed(root); }),
          "the death is seen");
  return 0;
}

int EndsAtOnce() { return EndsWithTheDriverRunning(true, true); }
// ThreadSanitizer lets no thread end unjoined, not even libjack's of the client that nobody may close.
int EndsUponTheDeath() { return EndsWithTheDriverRunning(false, kHasThreadChecker); }

struct Program {
  const char* mName;
  int (*mRun)();
};

void PrintTo(const Program& iProgram, std::ostream* oStreamP) { *oStreamP << iProgram.mName; }

constexpr Program kPrograms[] = {
    {"ThatStopsTheDriverFirst", StopsTheDriverFirst},
    {"ThatStopsTheDriverAtOnce", StopsTheDriverAtOnce},
    {"ThatBeginsAnewBefore", BeginsAnewBeforeItCloses},
    {"ThatBeginsAnewOnANewServer", BeginsAnewOnANewServer},
    {"ThatStopsAndBeginsOverAndOver", StopsAndBeginsOverAndOver},
    {"ThatStopsTheDriverAndLooksWhatItKeeps", StopsTheDriverAndLooksWhatItKeeps},
    {"ThatListsPortsBefore", ListsPortsBeforeItCloses},
    {"ThatEndsAtOnce", EndsAtOnce},
    {"ThatEndsUponTheDeath", EndsUponTheDeath},
};

[[noreturn]] void EndWith(const Program& iProgram) {
  const int code = iProgram.mRun();
  if (code == kLate) {
    std::_Exit(code);
  }
  std::exit(code);
}

class JackHost : public ::testing::TestWithParam<Program> {
 protected:
  void SetUp() override {
    ASSERT_EQ(Test_WrongLibjack(), "");
    GTEST_FLAG_SET(death_test_style, "threadsafe");
  }
};

TEST_P(JackHost, MayCloseItsClientOfADeadServerAndEndsWell) {
  constexpr int kTries = 5;
  for (int i = 0; i < kTries; ++i) {
    int code = -1;
    const auto isGoodEnd = [&](int iStatus) {
      code = WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
      return code == 0 || code == kLate;
    };
    EXPECT_EXIT(EndWith(GetParam()), isGoodEnd, "");
    if (code == 0 || HasFailure()) {
      return;
    }
    std::printf("the machine was overloaded: the application came too late; once more\n");
  }
  ADD_FAILURE() << "the application never came in time";
}

INSTANTIATE_TEST_SUITE_P(Programs, JackHost, ::testing::ValuesIn(kPrograms),
                         [](const auto& iInfo) { return iInfo.param.mName; });

}  // namespace
