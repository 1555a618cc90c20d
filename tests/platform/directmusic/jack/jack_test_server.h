// SPDX-License-Identifier: MIT
/// \file
/// A JACK server of a test's own: jackd with its dummy backend, or PipeWire, whichever libjack this program
/// runs with.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <vector>

/// Whether this program runs with PipeWire's libjack (through pw-jack, or its folder in LD_LIBRARY_PATH).
bool Test_IsPipeWire();

/// Whether that is the libjack this run is for, told by MLOX_TEST_SERVER. \returns what is wrong; empty when
/// it is, and when nothing is asked for.
std::string Test_WrongLibjack();

/// Looks for a server, in vain: with that jackd's libjack takes away what dead servers have left in this
/// process, clients of whomever and their threads. So none may be in use, and no server may run.
/// \returns false when one runs.
bool Test_LookForServerInVain();

/// A server that no other program finds. Ends with this object, and with the test when that is killed. One at
/// a time: clients find it through the environment, and another process's waits until this object is gone.
class Test_JackServer {
 public:
  Test_JackServer();
  ~Test_JackServer();
  Test_JackServer(const Test_JackServer&) = delete;
  Test_JackServer& operator=(const Test_JackServer&) = delete;

  /// Starts it and waits until it takes clients. No client of this process may be left from a server before
  /// it. \returns why that can't be had; empty when it runs.
  std::string Start();
  /// Ends it in good order.
  void Stop();
  /// Ends it as a crash would.
  void Kill();
  pid_t ProcessId() const { return mProcess; }
  /// Frames in a period: of jackd from the next start on.
  void SetPeriod(int iFrames) { mPeriod = iFrames; }

 private:
  std::string Missing() const;
  void TakeLock();
  void GiveLockBack();
  void TakeNextName();
  void ClearLeftovers() const;
  void Spawn();
  bool IsUp();
  bool IsNameTaken() const;
  std::string Log() const;
  std::string Program() const;

  std::string mFolder;
  std::string mName;
  int mLock = -1;
  int mNextName = 0;
  int mPeriod = 256;
  pid_t mProcess = -1;
};

/// A program of the system's, run until Stop; its standard output is kept.
class Test_Program {
 public:
  /// \param iArguments the program, found by the path, and what it is given
  explicit Test_Program(const std::vector<std::string>& iArguments);
  ~Test_Program();
  Test_Program(const Test_Program&) = delete;
  Test_Program& operator=(const Test_Program&) = delete;

  /// What it has written so far.
  std::string Output();
  /// Ends it. Some sleep until an event comes, and look at a milder signal only then.
  void Stop(int iSignal = SIGKILL);

 private:
  std::string mOutputFile;
  pid_t mProcess = -1;
};
