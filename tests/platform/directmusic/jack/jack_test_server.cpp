// SPDX-License-Identifier: MIT
#include "tests/platform/directmusic/jack/jack_test_server.h"

#include <fcntl.h>
#include <jack/jack.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/directmusic/jack/jack_session.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{60};
constexpr int kNames = 4;
constexpr char kLog[] = "/server.log";

void Discard(const char* /*iMessage*/) {}

// Starts a program that dies with this thread's process, its output in a file.
pid_t Run(const std::vector<std::string>& iArguments, const std::string& iOutputFile) {
  std::vector<char*> arguments;
  for (const std::string& argument : iArguments) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  const pid_t parent = ::getpid();
  const pid_t child = ::fork();
  if (child != 0) {
    return child;
  }
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) {
    ::_exit(1);
  }
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  const int input = ::open("/dev/null", O_RDONLY);
  const int output = ::open(iOutputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  ::dup2(input, 0);
  ::dup2(output, 1);
  ::dup2(output, 2);
  ::execvp(arguments[0], arguments.data());
  ::_exit(127);
}

std::string ReadFile(const std::string& iPath) {
  std::ifstream file(iPath);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void End(pid_t& ioProcess, int iSignal) {
  if (ioProcess <= 0) {
    return;
  }
  ::kill(ioProcess, iSignal);
  const auto end = steady_clock::now() + std::chrono::seconds(10);
  while (::waitpid(ioProcess, nullptr, WNOHANG) == 0) {
    if (steady_clock::now() > end) {
      ::kill(ioProcess, SIGKILL);
      ::waitpid(ioProcess, nullptr, 0);
      break;
    }
    std::this_thread::sleep_for(milliseconds(2));
  }
  ioProcess = -1;
}

// Whether a client can join now. Found out in this process, where no other client opens meanwhile: libjack
// 1.9.21 doesn't hear of a client that goes while it joins, and then takes the next one for that.
bool Knock() {
  const std::lock_guard lock(Platform_JackOpenMutex());
  jack_status_t status{};
  jack_client_t* const client = jack_client_open("knock", JackNoStartServer, &status);
  if (client == nullptr) {
    return false;
  }
  jack_client_close(client);
  return true;
}

}  // namespace

bool Test_IsPipeWire() {
  return std::string(jack_get_version_string()).find("PipeWire") != std::string::npos;
}

std::string Test_WrongLibjack() {
  const char* const wanted = std::getenv("MLOX_TEST_SERVER");
  if (wanted == nullptr || Test_IsPipeWire() == (std::string(wanted) == "pipewire")) {
    return "";
  }
  return std::string("this libjack says ") + jack_get_version_string() + ", and the run is for " + wanted;
}

bool Test_LookForServerInVain() { return !Knock(); }

Test_JackServer::Test_JackServer() {
  char folder[] = "/tmp/mlox-jack-XXXXXX";
  mFolder = ::mkdtemp(folder) != nullptr ? folder : "";
  TakeLock();
  TakeNextName();
  jack_set_error_function(Discard);
  jack_set_info_function(Discard);
}

// One server at a time on a machine, whoever runs the tests: a client of libjack listens under a name made of
// its own and the user's alone, so that two clients of one name on two servers take each other's calls. The
// lock goes with the process that holds it.
void Test_JackServer::TakeLock() {
  mLock = ::open("/tmp/mlox-test-jack.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  const auto end = steady_clock::now() + kPatience;
  while (mLock >= 0 && ::flock(mLock, LOCK_EX | LOCK_NB) != 0) {
    if (steady_clock::now() > end) {
      GiveLockBack();
      return;
    }
    std::this_thread::sleep_for(milliseconds(20));
  }
}

void Test_JackServer::GiveLockBack() {
  if (mLock >= 0) {
    ::close(mLock);
    mLock = -1;
  }
}

// jackd keeps a list of 8 servers at most, and one that was killed stays in it until another of its name
// starts. So tests share a few names.
void Test_JackServer::TakeNextName() {
  mName = std::string("mlox-test-").append(std::to_string(mNextName++ % kNames));
  ClearLeftovers();
}

// What another test's server of this name has left, and its clients. Not between two servers of one test:
// libjack holds on to its semaphores as long as the process has any client, and waits for ever on those that
// are not the next server's.
void Test_JackServer::ClearLeftovers() const {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/shm", ignored)) {
    const std::string file = entry.path().filename().string();
    if (file.starts_with("jack") && file.find(mName + "_") != std::string::npos) {
      std::filesystem::remove(entry.path(), ignored);
    }
  }
}

Test_JackServer::~Test_JackServer() {
  Stop();
  GiveLockBack();
  std::error_code ignored;
  std::filesystem::remove_all(mFolder, ignored);
}

std::string Test_JackServer::Missing() const {
  if (mFolder.empty()) {
    return "no folder can be made under /tmp";
  }
  if (mLock < 0) {
    return "another run keeps its JACK server";
  }
  if (!Test_IsPipeWire() && ::access("/dev/shm", W_OK) != 0) {
    return "jackd needs a writable /dev/shm";
  }
  return "";
}

void Test_JackServer::Spawn() {
  ::setenv("JACK_NO_START_SERVER", "1", 1);
  ::setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
  ::setenv("JACK_DEFAULT_SERVER", mName.c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", mFolder.c_str(), 1);
  const std::string log = mFolder + kLog;
  // Synchronous: on a busy machine an asynchronous server goes on without the clients that are late, and what
  // they send is lost or heard twice.
  if (Test_IsPipeWire()) {
    mProcess = Run({"pipewire"}, log);
  } else {
    mProcess = Run({"jackd", "-n", mName, "-r", "-S", "-t", "10000", "-d", "dummy", "-r", "48000", "-p",
                    std::to_string(mPeriod)},
                   log);
  }
}

std::string Test_JackServer::Start() {
  const std::string missing = Missing();
  if (!missing.empty()) {
    return missing;
  }
  const auto end = steady_clock::now() + kPatience;
  while (!IsUp()) {
    if (mProcess <= 0) {
      if (!IsNameTaken()) {
        return Program() + " ended at once: " + Log();
      }
      TakeNextName();
    }
    if (steady_clock::now() > end) {
      return Program() + " takes no clients: " + Log();
    }
    std::this_thread::sleep_for(milliseconds(20));
  }
  return "";
}

// Spawns the server unless it runs, and knocks.
bool Test_JackServer::IsUp() {
  if (mProcess <= 0) {
    std::error_code ignored;
    std::filesystem::remove(mFolder + kLog, ignored);
    Spawn();
  }
  if (Knock()) {
    return true;
  }
  if (::waitpid(mProcess, nullptr, WNOHANG) == mProcess) {
    mProcess = -1;
  }
  return false;
}

// A test that crashed takes its server along, but as long as nobody has buried that process jackd believes
// that it lives.
bool Test_JackServer::IsNameTaken() const { return Log().find("already active") != std::string::npos; }

std::string Test_JackServer::Log() const { return ReadFile(mFolder + kLog); }

std::string Test_JackServer::Program() const { return Test_IsPipeWire() ? "pipewire" : "jackd"; }

void Test_JackServer::Stop() { End(mProcess, SIGTERM); }

void Test_JackServer::Kill() { End(mProcess, SIGKILL); }

Test_Program::Test_Program(const std::vector<std::string>& iArguments) {
  char file[] = "/tmp/mlox-program-XXXXXX";
  ::close(::mkstemp(file));
  mOutputFile = file;
  mProcess = Run(iArguments, mOutputFile);
}

Test_Program::~Test_Program() {
  Stop();
  ::unlink(mOutputFile.c_str());
}

std::string Test_Program::Output() { return ReadFile(mOutputFile); }

void Test_Program::Stop(int iSignal) { End(mProcess, iSignal); }
