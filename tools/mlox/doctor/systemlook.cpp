// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/systemlook.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <link.h>
#include <pwd.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "cmn/ps_util.h"
#include "cmn/sys_rawthread.h"
#include "diagnostics/quiltracenames.h"
#include "tools/mlox/doctor/filelook.h"

extern char** environ;

namespace tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* kGroup = "audio";

std::string ReadText(const std::string& iPath) { return LookAtText(iPath).mText; }

bool IsThere(const std::string& iPath) { return LookAtPath(iPath).mKind != PathKind::kNothing; }

std::string Variable(const std::map<std::string, std::string>& iEnvironment, const char* iName) {
  const auto found = iEnvironment.find(iName);
  return found != iEnvironment.end() ? found->second : std::string();
}

// ---- groups ----

std::vector<gid_t> GroupsOfLogin() {
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(::getgroups(0, nullptr), 0)));
  const int count = ::getgroups(static_cast<int>(groups.size()), groups.data());
  groups.resize(static_cast<std::size_t>(std::max(count, 0)));
  groups.push_back(::getegid());
  return groups;
}

std::vector<gid_t> GroupsOfSystem(const passwd& iUser) {
  int count = 64;
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  while (::getgrouplist(iUser.pw_name, iUser.pw_gid, groups.data(), &count) < 0 &&
         static_cast<std::size_t>(count) > groups.size()) {
    groups.resize(static_cast<std::size_t>(count));
  }
  groups.resize(static_cast<std::size_t>(std::max(count, 0)));
  return groups;
}

bool Contains(const std::vector<gid_t>& iGroups, gid_t iGroup) {
  return std::find(iGroups.begin(), iGroups.end(), iGroup) != iGroups.end();
}

// ---- modules ----

// Lists of modules name each by its path: "kernel/sound/core/seq/snd-seq.ko.xz: ...".
bool IsListed(const std::string& iList) {
  std::ifstream list(iList);
  for (std::string line; std::getline(list, line);) {
    const std::string path = line.substr(0, line.find(':'));
    if (path.find("/snd-seq.ko") != std::string::npos) return true;
  }
  return false;
}

// ---- libraries ----

// The real path of a library of this process.
std::string PathOfLoaded(void* iLibraryP) {
  const link_map* mapP = nullptr;
  if (iLibraryP == nullptr || ::dlinfo(iLibraryP, RTLD_DI_LINKMAP, &mapP) != 0 || mapP == nullptr) return "";
  std::error_code error;
  const fs::path real = fs::canonical(mapP->l_name, error);
  return error ? mapP->l_name : real.string();
}

bool IsInPath(const std::string& iRoot, const std::string& iSearchPath, const std::string& iProgram) {
  std::istringstream folders(iSearchPath);
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::string path = (fs::path(iRoot + folder) / iProgram).string();
    if (LookAtPath(path).mKind == PathKind::kFile && ::access(path.c_str(), X_OK) == 0) return true;
  }
  return false;
}

// ---- PipeWire's settings ----

std::vector<std::string> SettingsFolders(const std::string& iRoot,
                                         const std::map<std::string, std::string>& iEnvironment) {
  std::string own = Variable(iEnvironment, "XDG_CONFIG_HOME");
  const std::string home = Variable(iEnvironment, "HOME");
  if (own.empty() && !home.empty()) own = home + "/.config";
  std::vector<std::string> folders = {iRoot + "usr/share/pipewire", iRoot + "etc/pipewire"};
  if (!own.empty()) folders.push_back(iRoot + own + "/pipewire");
  return folders;
}

std::vector<std::string> FragmentsIn(const std::string& iFolder) {
  std::vector<std::string> files;
  std::error_code error;
  fs::directory_iterator entry(iFolder, error);
  for (const fs::directory_iterator end; !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() == ".conf") files.push_back(entry->path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// One main file counts, the user's before the machine's; of the fragments all do, the later over the earlier.
std::optional<bool> FixMidiEvents(const std::vector<std::string>& iFolders) {
  std::optional<bool> fixes;
  const auto read = [&](const std::string& iFile) {
    if (const auto here = FixMidiEventsIn(ReadText(iFile))) fixes = here;
  };
  const auto main = std::find_if(iFolders.rbegin(), iFolders.rend(),
                                 [](const std::string& iFolder) { return IsThere(iFolder + "/jack.conf"); });
  if (main != iFolders.rend()) read(*main + "/jack.conf");
  for (const std::string& folder : iFolders) {
    for (const std::string& file : FragmentsIn(folder + "/jack.conf.d")) read(file);
  }
  return fixes;
}

}  // namespace

std::map<std::string, std::string> LookAtEnvironment() {
  std::map<std::string, std::string> variables;
  for (char** entryP = environ; entryP != nullptr && *entryP != nullptr; ++entryP) {
    const std::string_view entry = *entryP;
    const std::size_t equals = entry.find('=');
    if (equals == std::string_view::npos) continue;
    variables.emplace(entry.substr(0, equals), entry.substr(equals + 1));
  }
  return variables;
}

std::string LookAtKernel() {
  utsname name{};
  return ::uname(&name) == 0 ? name.release : "";
}

bool LookAtContainer(const std::string& iRoot) {
  return IsThere(iRoot + ".dockerenv") || IsThere(iRoot + "run/.containerenv") ||
         IsThere(iRoot + "run/systemd/container");
}

UserFacts LookAtUser() {
  UserFacts facts;
  facts.mIsRoot = ::geteuid() == 0;
  const passwd* const userP = ::getpwuid(::geteuid());
  std::vector<gid_t> ofSystem;
  if (userP != nullptr) {
    facts.mName = userP->pw_name;
    ofSystem = GroupsOfSystem(*userP);
  }
  if (const group* const groupP = ::getgrnam(kGroup)) {
    facts.mHasAudioGroup = true;
    facts.mIsMember = Contains(ofSystem, groupP->gr_gid);
    facts.mIsMemberNow = Contains(GroupsOfLogin(), groupP->gr_gid);
  }
  return facts;
}

SequencerFacts LookAtSequencer(const std::string& iRoot, const std::string& iKernel) {
  SequencerFacts facts;
  const std::string device = iRoot + "dev/snd/seq";
  facts.mAccess = ::faccessat(AT_FDCWD, device.c_str(), R_OK | W_OK, AT_EACCESS) == 0 ? 0 : errno;
  struct stat status {};
  if (::stat(device.c_str(), &status) == 0) {
    facts.mGroupMayUse = (status.st_mode & (S_IRGRP | S_IWGRP)) == (S_IRGRP | S_IWGRP);
    const group* const groupP = ::getgrgid(status.st_gid);
    facts.mGroup = groupP != nullptr ? groupP->gr_name : "";
  }
  facts.mIsLoaded = IsThere(iRoot + "proc/asound/seq") || IsThere(iRoot + "sys/module/snd_seq");
  const std::string modules = iRoot + "lib/modules/" + iKernel;
  facts.mIsInstalled = IsListed(modules + "/modules.dep") || IsListed(modules + "/modules.builtin");
  facts.mHasConfiguration = IsThere(iRoot + "usr/share/alsa/alsa.conf");
  return facts;
}

std::optional<bool> FixMidiEventsIn(const std::string& iText) {
  constexpr std::string_view kKey = "jack.fix-midi-events";
  std::optional<bool> fixes;
  std::istringstream lines(iText);
  for (std::string line; std::getline(lines, line);) {
    line.erase(std::min(line.find('#'), line.size()));
    const std::size_t at = line.find(kKey);
    if (at == std::string::npos) continue;
    std::string value = line.substr(at + kKey.size());
    value.erase(0, std::min(value.find_first_not_of("\" \t=:"), value.size()));
    if (value.starts_with("true")) fixes = true;
    if (value.starts_with("false")) fixes = false;
  }
  return fixes;
}

JackFacts LookAtJack(const std::string& iRoot, const std::map<std::string, std::string>& iEnvironment) {
  JackFacts facts;
  void* const libraryP = ::dlopen("libjack.so.0", RTLD_LAZY | RTLD_NOLOAD);
  facts.mLibrary = PathOfLoaded(libraryP);
  if (libraryP != nullptr) ::dlclose(libraryP);
  facts.mIsPipeWire = facts.mLibrary.find("/pipewire") != std::string::npos;
  const std::string runtime = Variable(iEnvironment, "XDG_RUNTIME_DIR");
  facts.mHasPipeWire = !runtime.empty() && IsThere(iRoot + runtime + "/pipewire-0");
  const std::string searchPath = Variable(iEnvironment, "PATH");
  facts.mHasPwJack = IsInPath(iRoot, searchPath, "pw-jack");
  facts.mHasJackd = IsInPath(iRoot, searchPath, "jackd");
  facts.mFixes = FixMidiEvents(SettingsFolders(iRoot, iEnvironment));
  return facts;
}

LimitFacts LookAtLimit(int iResource) {
  rlimit limit{};
  LimitFacts facts;
  if (::getrlimit(static_cast<__rlimit_resource_t>(iResource), &limit) != 0) return facts;
  const auto value = [](rlim_t iLimit) {
    return iLimit == RLIM_INFINITY ? UINT64_MAX : static_cast<std::uint64_t>(iLimit);
  };
  facts.mSoft = value(limit.rlim_cur);
  facts.mHard = value(limit.rlim_max);
  return facts;
}

RealtimeFacts LookAtRealtime() {
  RealtimeFacts facts;
  facts.mPriority = LookAtLimit(RLIMIT_RTPRIO);
  facts.mNice = LookAtLimit(RLIMIT_NICE);
  facts.mMemory = LookAtLimit(RLIMIT_MEMLOCK);
  // What an application has: the pool that the library makes when it is loaded, and one of its own. A child
  // inherits the first without its pins, so as much is pinned here again.
  const Mem2_MasterAllocator::Counters shared = Mem2_MasterAllocator::Shared().GetCounters();
  void* const blockP = PSUtil_PageAlignedAlloc(shared.mBytes);
  const bool isSharedPinned = PSUtil_VMLock(blockP, shared.mBytes);
  const Mem2_MasterAllocator::Counters own = Mem2_MasterAllocator().GetCounters();
  PSUtil_PageAlignedFree(blockP);
  facts.mPoolBytes = static_cast<std::int64_t>(shared.mBytes + own.mBytes);
  facts.mIsPinned = isSharedPinned && own.mLockFailures == 0;
  facts.mTakesNice = ::getpriority(PRIO_PROCESS, 0) <= Sys_RawThread::kNice ||
                     ::setpriority(PRIO_PROCESS, 0, Sys_RawThread::kNice) == 0;
  sched_param lowest{};
  lowest.sched_priority = 1;
  facts.mIsGranted = ::sched_setscheduler(0, SCHED_FIFO, &lowest) == 0;
  return facts;
}

TracingFacts LookAtTracing() {
  TracingFacts facts;
  // The library has looked for it when it was loaded; what it found is there.
  void* const libraryP = ::dlopen("libQuilTrace.so", RTLD_LAZY | RTLD_NOLOAD);
  facts.mLibrary = PathOfLoaded(libraryP);
  if (libraryP == nullptr) return facts;
  for (const char* const nameP : kQuilTrace_EntryPoints) {
    if (::dlsym(libraryP, nameP) == nullptr) facts.mLacking.emplace_back(nameP);
  }
  ::dlclose(libraryP);
  return facts;
}

}  // namespace tool
