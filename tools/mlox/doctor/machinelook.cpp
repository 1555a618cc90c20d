// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/machinelook.h"

#include <stdlib.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "cmn/sys_filelocutils.h"
#include "mlox/mlox_directmusic/excludedportnames.h"
#include "platform/studio/studiofile.h"
#include "tools/mlox/doctor/childlook.h"
#include "tools/mlox/doctor/filelook.h"
#include "tools/mlox/doctor/systemlook.h"

namespace tool {

namespace {

constexpr std::chrono::seconds kPatience{kLookSeconds};

// Facts that know how the look at them ended.
template <class Facts>
Facts Patiently(const std::function<Facts()>& iLook, const Facts& iFallback = {}) {
  Facts facts = iFallback;
  const LookOutcome end = LookInChild<Facts>(kPatience, iLook, facts);
  facts.mEnd = end;
  return facts;
}

// Threads that a driver may run, its library's included, with some to spare: those that have just ended may
// still count.
constexpr std::size_t kThreadsOfDriver = 6;

// Throws std::system_error where so many threads can't be had at a time. A driver that gets none can't be
// told from one that doesn't answer.
void NeedThreads(std::size_t iCount) {
  std::promise<void> end;
  const std::shared_future<void> hasEnded(end.get_future());
  std::vector<std::thread> threads;
  std::exception_ptr fault;
  try {
    while (threads.size() < iCount) threads.emplace_back([hasEnded] { hasEnded.wait(); });
  } catch (const std::system_error&) {
    fault = std::current_exception();
  }
  end.set_value();
  for (std::thread& thread : threads) thread.join();
  if (fault) std::rethrow_exception(fault);
}

DriverFacts LookAtDriver(const std::string& iName, bool iMayBeTried) {
  const std::vector<std::string> built = Platform_DriverNames();
  DriverFacts facts;
  facts.mTrial.mIsBuilt = std::find(built.begin(), built.end(), iName) != built.end();
  if (!facts.mTrial.mIsBuilt || !iMayBeTried) return facts;
  facts.mIsTried = true;
  const auto tryIt = [&] {
    // The log is the application's; a look must not begin one.
    ::unsetenv("MLOX_DEBUG_LOG");
    NeedThreads(kThreadsOfDriver);
    return Platform_TryDriver(iName);
  };
  facts.mEnd = LookInChild<Platform_DriverTrial>(kPatience, tryIt, facts.mTrial);
  return facts;
}

StudioFacts LookAtStudioOf() {
  const std::string path = Platform_StudioDefaultPath();
  StudioFacts unknown;
  unknown.mLook.mPath = path;
  return Patiently<StudioFacts>([&] { return LookAtStudio(path); }, unknown);
}

DocumentFacts LookAtDocumentsOf(bool iOfDeviceTypes) {
  DocumentFacts unknown;
  unknown.mFolder.mPath =
      Sys_FileLocUtils::StripSlash((iOfDeviceTypes ? Sys_FileLocUtils::GetMIDIDeviceTypesBaseDir()
                                                   : Sys_FileLocUtils::GetMIDIPatchFileBaseDir())
                                       .GetFullPath());
  return Patiently<DocumentFacts>([=] { return LookAtDocuments(iOfDeviceTypes); }, unknown);
}

TextFacts LookAtTextOf(const std::string& iPath) {
  TextFacts unknown;
  unknown.mFile.mPath = iPath;
  return Patiently<TextFacts>([&] { return LookAtText(iPath); }, unknown);
}

std::string OwnDocuments(const Machine& iMachine) {
  const std::string data = iMachine.Variable("XDG_DATA_HOME");
  if (!data.empty() && data.front() == '/') return data + "/mlox";
  const std::string home = iMachine.Variable("HOME");
  return home.empty() ? "" : home + "/.local/share/mlox";
}

void LookAtFiles(Machine& ioMachine) {
  ioMachine.mStudio = LookAtStudioOf();
  ioMachine.mPatchNames = LookAtDocumentsOf(false);
  ioMachine.mDeviceTypes = LookAtDocumentsOf(true);
  ioMachine.mOwnDocuments = OwnDocuments(ioMachine);
  const std::string folder =
      Sys_FileLocUtils::StripSlash(Sys_FileLocUtils::GetApplicationFolderLoc().GetFullPath());
  ioMachine.mApplicationFolder = Patiently<FolderFacts>([&] { return FolderFacts{LookAtPath(folder), {}}; });
  ioMachine.mExcludedPorts = LookAtTextOf(folder + "/" + kExcludedPortNamesFile);
  ioMachine.mSettings = LookAtTextOf(folder + "/mlox.ini");
  const auto look = [](const std::string& iPath) {
    return Patiently<LogFacts>([&] { return LookAtLog(iPath); });
  };
  const std::string log = ioMachine.Variable("MLOX_DEBUG_LOG");
  ioMachine.mDebugLog = look(log == "-" ? "" : log);
  ioMachine.mTraceFile = look(ioMachine.Variable("MLOX_TRACE_FILE"));
}

void LookAtDrivers(Machine& ioMachine) {
  ioMachine.mSequencer = LookAtSequencer("/", ioMachine.mKernel);
  const bool opensWithoutLoading = ioMachine.mSequencer.mAccess == 0 && ioMachine.mSequencer.mIsLoaded;
  ioMachine.mAlsa = LookAtDriver("alsa", opensWithoutLoading);
  ioMachine.mJack = LookAtDriver("jack", true);
  ioMachine.mLoopback = LookAtDriver("loopback", true);
  ioMachine.mJackServer = LookAtJack("/", ioMachine.mEnvironment);
}

}  // namespace

Machine LookAtMachine() {
  Machine machine;
  machine.mEnvironment = LookAtEnvironment();
  machine.mKernel = LookAtKernel();
  machine.mIsContainer = LookAtContainer("/");
  machine.mUser = LookAtUser();
  LookAtDrivers(machine);
  machine.mProcesses = LookAtLimit(RLIMIT_NPROC);
  machine.mOpenFiles = LookAtLimit(RLIMIT_NOFILE);
  machine.mRealtime = Patiently<RealtimeFacts>(&LookAtRealtime);
  LookAtFiles(machine);
  machine.mTracing = LookAtTracing();
  return machine;
}

}  // namespace tool
