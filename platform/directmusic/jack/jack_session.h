// SPDX-License-Identifier: MIT
/// \file
/// One client of a JACK server, through all the servers that come and go.
#pragma once

#include <jack/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/directmusic/driver.h"
#include "platform/directmusic/jack/jack_engine.h"
#include "platform/directmusic/jack/jack_names.h"
#include "platform/directmusic/jack/jack_way.h"

/// Held while a client is opened or closed. After a server's end jackd2's libjack frees all clients that are
/// left when the next one is opened, so that nobody may be closing one just then. Tests hold it too; of an
/// application's own clients we know nothing.
std::mutex& Platform_JackOpenMutex();

/// What has come of beginning.
enum class Platform_JackBegin {
  kDone,      ///< a server is joined, or will be when that may be
  kSilent,    ///< one stands still: it is joined when it goes on
  kNoServer,  ///< none runs
};

/// The client, and the one thread that calls libjack for it (the callbacks excepted): a call into libjack may
/// hang with its server, and then nobody else does. Who asks that thread for something waits 2 seconds at
/// most. Made by Begin, ended by End; shared with the thread.
class Platform_JackSession : public std::enable_shared_from_this<Platform_JackSession> {
 public:
  Platform_JackSession();
  ~Platform_JackSession();
  Platform_JackSession(const Platform_JackSession&) = delete;
  Platform_JackSession& operator=(const Platform_JackSession&) = delete;

  /// \name The driver, one call at a time
  /// @{
  /// Starts the thread and joins the server, for which it waits two seconds. End is due whatever comes of it.
  /// While others have their time to close their clients of a server that has died, done without a port: it
  /// joins after that.
  Platform_JackBegin Begin(Platform_DriverHost* iHostP);
  /// Leaves the server. The host is not called any more.
  void End();
  /// Connects to a port by its handle; null when it is not there.
  std::shared_ptr<Platform_JackWay> Open(const std::string& iHandle, bool iIsInput);
  /// @}

  /// \name Any thread
  /// @{
  std::vector<Platform_PortInfo> Ports();
  /// Lets a connection go; does not wait.
  void Close(const std::shared_ptr<Platform_JackWay>& iWayP);
  std::int64_t PeriodMicroseconds() const { return mEngine.PeriodMicroseconds(); }
  /// @}

 private:
  // What the thread is asked for. Whoever asked may have stopped waiting; then mUndo takes it back.
  struct Task {
    std::function<void()> mBody;
    std::function<void()> mUndo;
    bool mIsDone = false;
    bool mIsAbandoned = false;
  };

  static void OnShutdown(void* iSessionP);
  static void OnInfoShutdown(jack_status_t iCode, const char* iReason, void* iSessionP);
  static void OnRegistration(jack_port_id_t iPort, int iIsThere, void* iSessionP);
  static void OnClient(const char* iName, int iIsThere, void* iSessionP);
  static void OnRename(jack_port_id_t iPort, const char* iOld, const char* iNew, void* iSessionP);
  static void OnFreewheel(int iRuns, void* iSessionP);
  static int OnSampleRate(jack_nframes_t iRate, void* iSessionP);
  static int OnProcess(jack_nframes_t iFrames, void* iSessionP);

  void Wake();
  void Post(const std::shared_ptr<Task>& iTaskP);
  bool WaitFor(const std::shared_ptr<Task>& iTaskP, std::chrono::milliseconds iPatience);
  void TellHost();

  // All below: the thread's.
  void Run();
  void Round();
  int SleepMilliseconds() const;
  void LeaveDeadServer();
  void RunTasks();
  jack_client_t* OpenClient();
  static bool CloseClient(jack_client_t* iClientP);
  bool JoinServer();
  void SetCallbacks(jack_client_t* iClientP);
  void LeaveServer();
  void MeasureClock();
  void Rescan();
  std::vector<Platform_PortInfo> ReadPorts();
  void AddPort(const std::string& iName, std::vector<Platform_PortInfo>& ioPorts);
  void Number(std::vector<Platform_PortInfo>& ioPorts);
  void FollowPorts(const std::vector<Platform_PortInfo>& iPorts);
  void Publish(std::vector<Platform_PortInfo> iPorts);
  std::shared_ptr<Platform_JackWay> OpenHere(const std::string& iHandle, bool iIsInput);
  void EndWays(const std::vector<std::shared_ptr<Platform_JackWay>>& iWays);
  void CloseHere(const std::shared_ptr<Platform_JackWay>& iWayP);
  bool Connect(const Platform_JackWay& iWay);
  bool ConnectPatiently(Platform_JackWay& ioWay);
  void ConnectAgain(Platform_JackWay& ioWay);
  bool IsConnected(const Platform_JackWay& iWay) const;
  std::string FreeName(bool iIsInput) const;

  const int mWake;
  std::atomic<bool> mStop{false};
  std::atomic<bool> mIsShutDown{false};
  std::atomic<bool> mPortsChanged{false};
  Platform_JackEngine mEngine;
  std::atomic<jack_client_t*> mClientP{nullptr};
  // The process callback's: the same, and yet the old one after its server's death. Written while none comes.
  std::atomic<jack_client_t*> mCallingClientP{nullptr};

  std::mutex mTaskMutex;
  std::condition_variable mTaskDone;
  std::deque<std::shared_ptr<Task>> mTasks;
  std::shared_ptr<Task> mFirstJoin;
  bool mHasEnded = true;

  std::thread mThread;

  std::mutex mHostMutex;
  Platform_DriverHost* mHostP = nullptr;

  std::mutex mListMutex;
  std::vector<Platform_PortInfo> mPorts;

  // The thread's.
  std::vector<std::shared_ptr<Platform_JackWay>> mWays;
  // Ways that a callback which does not end may still hold; freed with the client.
  std::vector<std::shared_ptr<Platform_JackWay>> mRetired;
  // A client of a server that died is left to libjack, with its threads: the next one that is opened ends it.
  // A session that ends before that is kept until then.
  bool mHasLeftClient = false;
  Platform_JackNumbers mNumbers;
  // Which appearance of a name this is: a port that went and came back is another one to who had opened it.
  std::map<std::string, unsigned> mAppearances;
  unsigned mNextAppearance = 0;
  // A way's port is there and was not to be connected yet: tried again with the next look.
  bool mIsConnectionOwed = false;
  std::chrono::steady_clock::time_point mNextJoin = std::chrono::steady_clock::time_point::max();
  std::chrono::steady_clock::time_point mNextLook = std::chrono::steady_clock::time_point::max();
  std::chrono::steady_clock::time_point mNextTell = std::chrono::steady_clock::time_point::max();
  std::chrono::steady_clock::time_point mNextMeasurement;
};
