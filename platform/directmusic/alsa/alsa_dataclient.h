// SPDX-License-Identifier: MIT
/// \file
/// The client that music goes through: one handle, one lock, one queue for all connections of a driver.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/directmusic/alsa/alsa_handle.h"
#include "platform/directmusic/alsa/alsa_pace.h"
#include "platform/directmusic/alsa/alsa_queuetime.h"
#include "platform/directmusic/driver.h"
#include "platform/directmusic/eventsource.h"
#include "platform/directmusic/midisplitter.h"
#include "platform/directmusic/timedmessage.h"

/// What a port of a peer is like, as far as sending to it goes.
enum class Platform_AlsaReceiver {
  kHardware,  ///< a buffer of 4 kB in front of a wire
  kSoftware,  ///< a client with a pool of its own
};

/// The connections of a driver. Inputs share the handle: whoever waits or reads takes all that is there and
/// puts what is others' into their lists, whose events it signals. [any thread] Lives as long as a
/// connection.
class Platform_AlsaDataClient : public std::enable_shared_from_this<Platform_AlsaDataClient> {
 public:
  /// \param iLost is called, with the lock held, when events were lost on the way in. It only posts.
  static std::shared_ptr<Platform_AlsaDataClient> Open(std::function<void()> iLost, std::string& oReason);
  ~Platform_AlsaDataClient();

  int Client() const { return mHandleP->Client(); }

  /// Which use of an address this is. An address is used anew when another card or client gets its numbers;
  /// a connection that was made to it before is dead.
  std::uint64_t Generation(const Platform_AlsaAddress& iPeer);
  /// Looks which connections the kernel has cut: their peers are gone, or were and are back.
  void CheckConnections();
  /// Posts nothing any more: the driver is stopped.
  void Silence();

  std::unique_ptr<Platform_DriverInput> OpenInput(const Platform_AlsaAddress& iPeer,
                                                  std::uint64_t iGeneration);
  std::unique_ptr<Platform_DriverOutput> OpenOutput(const Platform_AlsaAddress& iPeer,
                                                    std::uint64_t iGeneration,
                                                    Platform_AlsaReceiver iReceiver);

 private:
  struct Connection {
    Platform_AlsaAddress mPeer;
    int mPort = -1;
    bool mIsInput = false;
    bool mIsGone = false;
  };
  struct Input;
  struct Output;
  class InputConnection;
  class OutputConnection;
  // One look at what the kernel has: by a reader who wants a piece at once, or by a wait for several.
  struct Fetching {
    Input* mReaderP = nullptr;
    Platform_Piece* mPieceP = nullptr;
    Platform_EventSource::Waited mWaited;
    bool mIsFilled = false;
  };

  Platform_AlsaDataClient(std::unique_ptr<Platform_AlsaHandle> iHandleP, std::function<void()> iLost);

  // ---- under mMutex ----
  bool Connect(Connection& ioConnection, std::uint64_t iGeneration);
  void Disconnect(const Connection& iConnection);
  std::uint64_t GenerationOf(const Platform_AlsaAddress& iPeer) const;
  void Fetch(Fetching& ioFetching);
  void Distribute(const snd_seq_event_t& iEvent, Fetching& ioFetching);
  static void Announce(Input& ioInput, const Fetching& iFetching);
  void CountLoss();
  void StartQueue();
  void StopQueue();
  void MeasureOffset(std::int64_t iNow);
  Platform_SendResult Send(Output& ioOutput, std::int64_t iNow, std::int64_t iTime,
                           const std::uint8_t* iBytes, std::size_t iLength);
  bool IsQueueNeeded(const Output& iOutput, std::int64_t iTime, std::int64_t iNow) const;
  void Drop(Output& ioOutput);

  // ---- of connections ----
  bool Read(Input& ioInput, Platform_Piece& oPiece);
  void Collect(Platform_EventSource::Waited iWaited);
  void Close(Input& ioInput);
  void Close(Output& ioOutput);

  std::mutex mMutex;
  const std::unique_ptr<Platform_AlsaHandle> mHandleP;
  std::function<void()> mLost;
  std::map<int, Input*> mInputs;
  std::vector<Connection*> mConnections;
  std::map<Platform_AlsaAddress, std::uint64_t> mGenerations;
  int mQueue = -1;
  int mOutputs = 0;
  std::int64_t mOffset = 0;
  std::int64_t mMeasuredAt = 0;
};
