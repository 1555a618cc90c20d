// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/machinelook.h"

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
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
  const LookEnd end = LookInChild<Facts>(kPatience, iLook, facts);
  facts.mEnd = end;
  return facts;
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
  LookInChild<PathFacts>(
      kPatience, [&] { return LookAtPath(folder); }, ioMachine.mApplicationFolder);
  ioMachine.mExcludedPorts = LookAtTextOf(folder + "/" + kExcludedPortNamesFile);
  ioMachine.mSettings = LookAtTextOf(folder + "/mlox.ini");
  const auto look = [&](const char* iVariable, LogFacts& oFacts) {
    LookInChild<LogFacts>(
        kPatience, [&] { return LookAtLog(ioMachine.Variable(iVariable)); }, oFacts);
  };
  look("MLOX_DEBUG_LOG", ioMachine.mDebugLog);
  look("MLOX_TRACE_FILE", ioMachine.mTraceFile);
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
  LookInChild<RealtimeFacts>(kPatience, &LookAtRealtime, machine.mRealtime);
  LookAtFiles(machine);
  machine.mTracing = LookAtTracing();
  return machine;
}

}  // namespace tool
