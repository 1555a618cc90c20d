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

// Whether a client can join now.
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

}  // namespace

bool Test_IsPipeWire() {
  return std::string(jack_get_version_string()).find("PipeWire") != std::string::npos;
}

Test_JackServer::Test_JackServer() {
  char folder[] = "/tmp/mlox-jack-XXXXXX";
  mFolder = ::mkdtemp(folder) != nullptr ? folder : "";
  TakeName();
  jack_set_error_function(Discard);
  jack_set_info_function(Discard);
}

// jackd keeps a list of 8 servers at most, and one that was killed stays in it until another of its name
// starts. So tests share a few names, a lock file for each; the lock goes with the process that holds it.
void Test_JackServer::TakeName() {
  const auto end = steady_clock::now() + std::chrono::seconds(120);
  while (mLock < 0 && steady_clock::now() < end) {
    for (int i = 0; i < 4 && mLock < 0; ++i) {
      mName = "mlox-test-" + std::to_string(i);
      mLock = ::open(("/tmp/" + mName + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
      if (mLock >= 0 && ::flock(mLock, LOCK_EX | LOCK_NB) != 0) {
        ::close(mLock);
        mLock = -1;
      }
    }
    if (mLock < 0) {
      std::this_thread::sleep_for(milliseconds(20));
    }
  }
}

Test_JackServer::~Test_JackServer() {
  Stop();
  if (mLock >= 0) {
    ::close(mLock);
  }
  std::error_code ignored;
  std::filesystem::remove_all(mFolder, ignored);
}

std::string Test_JackServer::Missing() const {
  if (mFolder.empty()) {
    return "no folder can be made under /tmp";
  }
  if (mLock < 0) {
    return "all names of test servers are taken";
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
  const std::string log = mFolder + "/server.log";
  // Synchronous: on a busy machine an asynchronous server goes on without the clients that are late, and what
  // they send is lost or heard twice.
  if (Test_IsPipeWire()) {
    mProcess = Run({"pipewire"}, log);
  } else {
    mProcess = Run({"jackd", "-n", mName, "-r", "-S", "-t", "1000", "-d", "dummy", "-r", "48000", "-p",
                    std::to_string(mPeriod)},
                   log);
  }
}

std::string Test_JackServer::Start() {
  const std::string missing = Missing();
  if (!missing.empty()) {
    return missing;
  }
  Spawn();
  const std::string name = Test_IsPipeWire() ? "pipewire" : "jackd";
  const auto end = steady_clock::now() + std::chrono::seconds(30);
  while (!Knock()) {
    if (::waitpid(mProcess, nullptr, WNOHANG) == mProcess) {
      mProcess = -1;
      return name + " ended at once: " + ReadFile(mFolder + "/server.log");
    }
    if (steady_clock::now() > end) {
      return name + " takes no clients: " + ReadFile(mFolder + "/server.log");
    }
    std::this_thread::sleep_for(milliseconds(20));
  }
  return "";
}

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

// They sleep until an event comes, and look at signals only then.
void Test_Program::Stop() { End(mProcess, SIGKILL); }
