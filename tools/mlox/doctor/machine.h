// SPDX-License-Identifier: MIT
/// \file
/// A machine as the checks see it: plain facts, so that a test can give them any machine.
#pragma once

#include <cerrno>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/directmusic/drivers.h"
#include "platform/studio/studiolook.h"

namespace tool {

/// How a look ended that another process took, so that nothing it met could stop or end this one.
enum class LookEnd : std::uint8_t {
  kDone,
  kTooLong,  ///< it had not ended when the patience was over
  kDied,     ///< the process did, without an answer
  kNotHad,   ///< there was no process for it, or nothing that it needed: nothing was looked at
};

/// How a look went.
struct LookOutcome {
  LookEnd mEnd = LookEnd::kDone;
  int mFault = 0;  ///< kNotHad: errno of what could not be had

  LookOutcome() = default;
  LookOutcome(LookEnd iEnd, int iFault = 0)
      : mEnd(iEnd), mFault(iFault) {}  // NOLINT(google-explicit-constructor)
  friend bool operator==(const LookOutcome& iLeft, LookEnd iEnd) { return iLeft.mEnd == iEnd; }
};

/// What lies at a path.
enum class PathKind : std::uint8_t { kNothing, kFile, kFolder, kOther };

/// A path, links followed. Rights are those of this process; root has them all.
struct PathFacts {
  std::string mPath;
  PathKind mKind = PathKind::kNothing;
  int mFault = 0;            ///< errno where it can't even be said what lies there
  bool mIsReadable = false;  ///< of a folder: its names can be read and its files reached
  bool mIsWritable = false;  ///< of a folder: files can be made in it
  bool mIsOurs = false;      ///< this user owns it
};

/// Who asks.
struct UserFacts {
  std::string mName;  ///< empty where the system has no name for this user
  bool mIsRoot = false;
  bool mHasAudioGroup = false;  ///< the system has a group `audio`
  bool mIsMember = false;       ///< the user is in it
  bool mIsMemberNow = false;    ///< this login is, too: groups are given at login
};

/// The kernel's sequencer.
struct SequencerFacts {
  int mAccess = ENOENT;            ///< errno of asking for reading and writing; 0 when both are granted
  std::string mGroup;              ///< the group of the device file
  bool mGroupMayUse = false;       ///< that group may read and write it
  bool mIsLoaded = false;          ///< its module runs, or is part of the kernel
  bool mIsInstalled = false;       ///< its module lies among those of the kernel that runs
  bool mHasConfiguration = false;  ///< the settings that ALSA's library opens anything by are there
};

/// A limit of this process; UINT64_MAX is none.
struct LimitFacts {
  std::uint64_t mSoft = 0;
  std::uint64_t mHard = 0;
};

/// A driver that was started for a moment.
struct DriverFacts {
  bool mIsTried = false;  ///< it wasn't where that would have loaded a module
  LookOutcome mEnd{};
  Platform_DriverTrial mTrial;
};

/// What stands around a JACK server.
struct JackFacts {
  std::string mLibrary;        ///< the libjack of this process, its real path; empty when there is none
  bool mIsPipeWire = false;    ///< it is PipeWire's
  bool mHasPipeWire = false;   ///< a PipeWire of this user listens
  bool mHasPwJack = false;     ///< `pw-jack` is installed
  bool mHasJackd = false;      ///< `jackd` is installed
  std::optional<bool> mFixes;  ///< what PipeWire's settings say of jack.fix-midi-events
};

/// What the kernel grants to threads that must not be late.
struct RealtimeFacts {
  LimitFacts mPriority;         ///< RLIMIT_RTPRIO
  bool mIsGranted = false;      ///< a thread that asked for real-time scheduling got it
  LimitFacts mNice;             ///< RLIMIT_NICE: 20 less the lowest nice value that may be taken
  bool mTakesNice = false;      ///< a thread took the nice value of Sys_RawThread::kNice
  LimitFacts mMemory;           ///< RLIMIT_MEMLOCK, bytes
  std::int64_t mPoolBytes = 0;  ///< what the library pins in an application, to begin with
  bool mIsPinned = false;       ///< all of that could be
  LookOutcome mEnd{};
};

/// The studio's file and what stands around it.
struct StudioFacts {
  LookOutcome mEnd{};
  Platform_StudioLook mLook;
  PathFacts mFile;
  PathFacts mFolder;            ///< the one that the file lies in, or the nearest one above that is there
  bool mIsFolderThere = false;  ///< it is the one that the file lies in
  bool mIsOfKernel = false;     ///< of the folder: the kernel shows itself in it, and takes no files
  bool mIsDiskReadOnly = false;
  std::int64_t mFreeBytes = 0;        ///< for this user
  std::string mHolder;                ///< the program that holds the file, where that is known
  std::vector<std::string> mDamaged;  ///< files beside it that were set aside
};

/// A folder of documents.
struct DocumentFacts {
  LookOutcome mEnd{};
  PathFacts mFolder;
  std::int64_t mCount = 0;  ///< documents that the library finds in it
};

/// A small file of settings.
struct TextFacts {
  LookOutcome mEnd{};
  PathFacts mFile;
  std::string mText;  ///< its beginning
};

/// A file that lines are appended to.
struct LogFacts {
  PathFacts mFile;
  PathFacts mFolder;         ///< the one that it lies in
  PathFacts mNearest;        ///< the same, or the nearest one above that is there
  bool mIsOfKernel = false;  ///< of the nearest: the kernel shows itself in it, and takes no files
  LookOutcome mEnd{};
};

/// A folder.
struct FolderFacts {
  PathFacts mFolder;
  LookOutcome mEnd{};
};

/// The library that writes trace lines.
struct TracingFacts {
  std::string mLibrary;               ///< its real path; empty when none was found
  std::vector<std::string> mLacking;  ///< entry points that it doesn't have
};

/// The whole of it. Without more, a machine that has nothing.
struct Machine {
  std::map<std::string, std::string> mEnvironment;  ///< variables that are set, also those that are empty
  std::string mKernel;                              ///< the release that runs
  bool mIsContainer = false;
  UserFacts mUser;
  SequencerFacts mSequencer;
  DriverFacts mAlsa;
  DriverFacts mJack;
  DriverFacts mLoopback;
  JackFacts mJackServer;
  LimitFacts mProcesses;  ///< RLIMIT_NPROC: processes and threads of this user
  LimitFacts mOpenFiles;  ///< RLIMIT_NOFILE
  RealtimeFacts mRealtime;
  StudioFacts mStudio;
  DocumentFacts mPatchNames;
  DocumentFacts mDeviceTypes;
  std::string mOwnDocuments;  ///< where the user's own documents go when nothing says otherwise; may be empty
  TextFacts mExcludedPorts;
  TextFacts mSettings;
  FolderFacts mApplicationFolder;
  LogFacts mDebugLog;
  LogFacts mTraceFile;
  TracingFacts mTracing;

  /// A variable of the environment; empty when it isn't set.
  [[nodiscard]] std::string Variable(const std::string& iName) const {
    const auto found = mEnvironment.find(iName);
    return found != mEnvironment.end() ? found->second : std::string();
  }
};

/// How long a look may take. What answers at all answers in a hundredth of it.
inline constexpr int kLookSeconds = 5;

}  // namespace tool
