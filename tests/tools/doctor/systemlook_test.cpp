// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/systemlook.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>

#include "tests/support/sanitizers.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/doctor/childlook.h"

namespace {

using Variables = std::map<std::string, std::string>;

class SystemLook : public testing::Test {
 protected:
  std::string Root() const { return mFolder.Path() + "/"; }
  tool::SequencerFacts Sequencer() const { return tool::LookAtSequencer(Root(), "6.1"); }

  const Test_TempFolder mFolder;
};

TEST_F(SystemLook, TheEnvironmentIsReadWhole) {
  const Test_Environment odd("MLOX_TEST_OF_DOCTOR", "a=b");
  const Test_Environment empty("MLOX_TEST_OF_DOCTOR_2", "");
  const Variables variables = tool::LookAtEnvironment();
  EXPECT_EQ(variables.at("MLOX_TEST_OF_DOCTOR"), "a=b");
  EXPECT_EQ(variables.at("MLOX_TEST_OF_DOCTOR_2"), "");
}

TEST_F(SystemLook, TheKernelHasARelease) { EXPECT_NE(tool::LookAtKernel(), ""); }

TEST_F(SystemLook, AContainerShowsByItsMarks) {
  EXPECT_FALSE(tool::LookAtContainer(Root()));
  for (const char* const mark : {".dockerenv", "run/.containerenv", "run/systemd/container"}) {
    mFolder.MakeFile(mark);
    EXPECT_TRUE(tool::LookAtContainer(Root())) << mark;
    ASSERT_EQ(::unlink((mFolder / mark).c_str()), 0);
  }
}

// The words that a program of the system's prints.
std::vector<std::string> WordsOf(const char* iCommand) {
  std::FILE* const outputP = ::popen(iCommand, "r");
  EXPECT_NE(outputP, nullptr);
  std::string text;
  char piece[256];
  while (outputP != nullptr && std::fgets(piece, sizeof(piece), outputP) != nullptr) text += piece;
  if (outputP != nullptr) ::pclose(outputP);
  std::istringstream words(text);
  return {std::istream_iterator<std::string>(words), {}};
}

TEST_F(SystemLook, TheUserIsWhomTheSystemTakesUsFor) {
  const auto isAmong = [](const std::vector<std::string>& iWords) {
    return std::find(iWords.begin(), iWords.end(), "audio") != iWords.end();
  };
  const tool::UserFacts user = tool::LookAtUser();
  const std::vector<std::string> name = WordsOf("id -un");
  ASSERT_EQ(name.size(), 1u);
  EXPECT_EQ(user.mName, name.front());
  EXPECT_EQ(user.mIsRoot, ::geteuid() == 0);
  EXPECT_EQ(user.mHasAudioGroup, !WordsOf("getent group audio").empty());
  EXPECT_EQ(user.mIsMemberNow, isAmong(WordsOf("id -nG")));
  EXPECT_EQ(user.mIsMember, isAmong(WordsOf("id -nG $(id -un)")));
}

// ---- the sequencer ----

TEST_F(SystemLook, AMachineWithoutSoundHasNoSequencer) {
  const tool::SequencerFacts facts = Sequencer();
  EXPECT_EQ(facts.mAccess, ENOENT);
  EXPECT_FALSE(facts.mIsLoaded);
  EXPECT_FALSE(facts.mIsInstalled);
  EXPECT_FALSE(facts.mHasConfiguration);
}

TEST_F(SystemLook, TheDeviceFileTellsWhoMayUseIt) {
  const std::string device = mFolder.MakeFile("dev/snd/seq");
  ASSERT_EQ(::chmod(device.c_str(), 0660), 0);
  EXPECT_EQ(Sequencer().mAccess, 0);
  EXPECT_TRUE(Sequencer().mGroupMayUse);
  EXPECT_NE(Sequencer().mGroup, "");
  ASSERT_EQ(::chmod(device.c_str(), 0640), 0);
  EXPECT_FALSE(Sequencer().mGroupMayUse);
  const bool isRoot = ::geteuid() == 0;
  ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
  const int access = Sequencer().mAccess;
  ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
  EXPECT_EQ(access, isRoot ? EACCES : 0);
}

TEST_F(SystemLook, AModuleIsLoadedOrLiesAmongThoseOfTheKernel) {
  mFolder.MakeFile("lib/modules/6.1/modules.dep",
                   "kernel/sound/core/snd.ko.xz:\nkernel/a.ko: kernel/sound/core/seq/snd-seq.ko\n");
  EXPECT_FALSE(Sequencer().mIsInstalled);
  mFolder.MakeFile("lib/modules/6.1/modules.dep",
                   "kernel/sound/core/seq/snd-seq.ko.xz: kernel/sound/core/snd.ko.xz\n");
  EXPECT_TRUE(Sequencer().mIsInstalled);
  EXPECT_FALSE(tool::LookAtSequencer(Root(), "6.2").mIsInstalled);
  mFolder.MakeFile("lib/modules/6.2/modules.builtin", "kernel/sound/core/seq/snd-seq.ko\n");
  EXPECT_TRUE(tool::LookAtSequencer(Root(), "6.2").mIsInstalled);
  EXPECT_FALSE(Sequencer().mIsLoaded);
  mFolder.MakeFolder("proc/asound/seq");
  EXPECT_TRUE(Sequencer().mIsLoaded);
}

TEST_F(SystemLook, ALoadedModuleShowsInSysfsToo) {
  mFolder.MakeFolder("sys/module/snd_seq");
  mFolder.MakeFile("usr/share/alsa/alsa.conf");
  EXPECT_TRUE(Sequencer().mIsLoaded);
  EXPECT_TRUE(Sequencer().mHasConfiguration);
}

// ---- JACK ----

TEST_F(SystemLook, ProgramsAreFoundByThePathAndOnlyWhenTheyRun) {
  const Variables variables = {{"PATH", "/bin:/opt/bin"}};
  const std::string jackd = mFolder.MakeFile("bin/jackd");
  const std::string pwJack = mFolder.MakeFile("opt/bin/pw-jack");
  ASSERT_EQ(::chmod(jackd.c_str(), 0644), 0);
  ASSERT_EQ(::chmod(pwJack.c_str(), 0755), 0);
  EXPECT_FALSE(tool::LookAtJack(Root(), variables).mHasJackd);
  EXPECT_TRUE(tool::LookAtJack(Root(), variables).mHasPwJack);
  ASSERT_EQ(::chmod(jackd.c_str(), 0755), 0);
  EXPECT_TRUE(tool::LookAtJack(Root(), variables).mHasJackd);
  EXPECT_FALSE(tool::LookAtJack(Root(), {}).mHasPwJack);
}

TEST_F(SystemLook, APipeWireOfThisUserShowsByItsSocket) {
  mFolder.MakeFile("run/user/7/pipewire-0");
  EXPECT_TRUE(tool::LookAtJack(Root(), {{"XDG_RUNTIME_DIR", "/run/user/7"}}).mHasPipeWire);
  EXPECT_FALSE(tool::LookAtJack(Root(), {{"XDG_RUNTIME_DIR", "/run/user/8"}}).mHasPipeWire);
  EXPECT_FALSE(tool::LookAtJack(Root(), {}).mHasPipeWire);
}

TEST_F(SystemLook, TheLibjackOfThisProcessIsFound) {
  const tool::JackFacts facts = tool::LookAtJack(Root(), {});
#if defined(MLOX_HAVE_JACK)
  EXPECT_THAT(facts.mLibrary, testing::MatchesRegex("/.*/libjack\\.so\\.0.*"));
  const bool isInFolder = facts.mLibrary.find("/pipewire-0.3/") != std::string::npos;
  EXPECT_EQ(facts.mIsPipeWire, isInFolder);
#else
  EXPECT_EQ(facts.mLibrary, "");
#endif
}

TEST_F(SystemLook, PipeWiresSettingsAreReadInTheirOwnForm) {
  EXPECT_EQ(tool::FixMidiEventsIn(""), std::nullopt);
  EXPECT_EQ(tool::FixMidiEventsIn("     #jack.fix-midi-events   = true\n"), std::nullopt);
  EXPECT_EQ(tool::FixMidiEventsIn("jack.fix-midi-events = true"), true);
  EXPECT_EQ(tool::FixMidiEventsIn("jack.properties = { jack.fix-midi-events = false }\n"), false);
  EXPECT_EQ(tool::FixMidiEventsIn("{ \"jack.fix-midi-events\": false, \"other\": true }"), false);
  EXPECT_EQ(tool::FixMidiEventsIn("jack.fix-midi-events = true # false\n"), true);
  EXPECT_EQ(tool::FixMidiEventsIn("jack.fix-midi-events = true\njack.fix-midi-events = false"), false);
  EXPECT_EQ(tool::FixMidiEventsIn("jack.fix-midi-events"), std::nullopt);
  EXPECT_EQ(tool::FixMidiEventsIn("jack.fix-midi-events = perhaps"), std::nullopt);
}

TEST_F(SystemLook, TheUsersSettingsStandAboveTheMachines) {
  const Variables variables = {{"HOME", "/home/ann"}};
  const auto fixes = [&] { return tool::LookAtJack(Root(), variables).mFixes; };
  EXPECT_EQ(fixes(), std::nullopt);
  mFolder.MakeFile("usr/share/pipewire/jack.conf", "jack.fix-midi-events = true\n");
  EXPECT_EQ(fixes(), true);
  mFolder.MakeFile("etc/pipewire/jack.conf.d/10.conf", "jack.fix-midi-events = false\n");
  EXPECT_EQ(fixes(), false);
  mFolder.MakeFile("home/ann/.config/pipewire/jack.conf.d/a.conf", "jack.fix-midi-events = true\n");
  mFolder.MakeFile("home/ann/.config/pipewire/jack.conf.d/b.conf.off", "jack.fix-midi-events = false\n");
  EXPECT_EQ(fixes(), true);
  mFolder.MakeFile("home/ann/.config/pipewire/jack.conf.d/b.conf", "jack.fix-midi-events = false\n");
  EXPECT_EQ(fixes(), false);
}

TEST_F(SystemLook, OneMainFileOfPipeWireCounts) {
  const Variables variables = {{"XDG_CONFIG_HOME", "/cfg"}, {"HOME", "/home/ann"}};
  mFolder.MakeFile("usr/share/pipewire/jack.conf", "jack.fix-midi-events = false\n");
  mFolder.MakeFile("cfg/pipewire/jack.conf", "# nothing\n");
  mFolder.MakeFile("home/ann/.config/pipewire/jack.conf", "jack.fix-midi-events = false\n");
  EXPECT_EQ(tool::LookAtJack(Root(), variables).mFixes, std::nullopt);
}

// ---- limits ----

// In a process of its own, whose limits are these.
tool::RealtimeFacts WithLimits(rlim_t iPriority, rlim_t iMemory, bool iIsNobody) {
  tool::RealtimeFacts facts;
  const auto look = [&] {
    const rlimit priority{iPriority, iPriority};
    const rlimit memory{iMemory, iMemory};
    ::setrlimit(RLIMIT_RTPRIO, &priority);
    ::setrlimit(RLIMIT_MEMLOCK, &memory);
    const rlimit nice{0, 0};
    ::setrlimit(RLIMIT_NICE, &nice);
    if (iIsNobody && ::geteuid() == 0 && ::setuid(65534) != 0) ::_exit(2);
    return tool::LookAtRealtime();
  };
  EXPECT_EQ(tool::LookInChild<tool::RealtimeFacts>(std::chrono::minutes(1), look, facts),
            tool::LookEnd::kDone);
  return facts;
}

TEST_F(SystemLook, LimitsAreToldWithWhatTheyRefuse) {
  const tool::RealtimeFacts facts = WithLimits(0, 65536, true);
  EXPECT_EQ(facts.mPriority.mSoft, 0u);
  EXPECT_FALSE(facts.mIsGranted);
  EXPECT_EQ(facts.mMemory.mSoft, 65536u);
  EXPECT_GT(facts.mPoolBytes, 1'000'000);
  // Sanitizers leave pinning undone and say that it is done.
  EXPECT_EQ(facts.mIsPinned, Test_kPinningIsFaked);
}

TEST_F(SystemLook, MemoryThatFitsIntoTheLimitIsPinned) {
  const tool::RealtimeFacts roomy = WithLimits(0, 8 * 1024 * 1024, true);
  EXPECT_TRUE(roomy.mIsPinned);
  // Room for one of both pools is too little.
  const auto almost = static_cast<rlim_t>(roomy.mPoolBytes - 300'000);
  EXPECT_EQ(WithLimits(0, almost, true).mIsPinned, Test_kPinningIsFaked);
}

TEST_F(SystemLook, TheNiceValueOfThreadsThatReceiveIsTried) {
  const tool::RealtimeFacts refused = WithLimits(0, 65536, true);
  EXPECT_FALSE(refused.mTakesNice);
  EXPECT_EQ(refused.mNice.mHard, 0u);
  // As whoever runs the tests, what the command of that name gets.
  tool::RealtimeFacts own;
  ASSERT_EQ(tool::LookInChild<tool::RealtimeFacts>(std::chrono::minutes(1), &tool::LookAtRealtime, own),
            tool::LookEnd::kDone);
  EXPECT_EQ(own.mTakesNice,
            std::system("test \"$(nice -n -$((10 + $(nice))) nice 2>/dev/null)\" -le -10") == 0);
}

// ---- tracing ----

TEST_F(SystemLook, WithoutATracingLibraryNothingIsLacking) {
  const tool::TracingFacts facts = tool::LookAtTracing();
  EXPECT_EQ(facts.mLibrary, "");
  EXPECT_TRUE(facts.mLacking.empty());
}

}  // namespace
