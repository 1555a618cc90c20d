// SPDX-License-Identifier: MIT
/// \file
/// The work of the one receive thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "cmn/sys_rawthreadtask.h"
#include "mlox/mlox_directmusic/portinputgroup.h"
#include "mlox/mlox_mididata.h"
#include "platform/directmusic/directmusic.h"

class Sys_RawThread;

/// Sleeps on one event for each port, reads what the port has, stamps each piece with the host's clock, and
/// hands it to every receiver that wants it. A task runs once: a new set of ports is a new task.
class DirectMusicReceiveTask : public Sys_RawThreadTask {
 public:
  /// Bytes of a piece that are kept; the rest of a longer one is lost.
  static constexpr DWORD kPieceSize = 4096;
  /// Records of a batch, of which the last is never filled.
  static constexpr int kBatchSize = 40;
  /// A batch ends with so many.
  static constexpr int kBatchLimit = kBatchSize - 1;

  /// iEvents: one for each port, then the one that ends the thread; iGroups and iPorts in the same order.
  /// Lists that don't fit each other make an empty task, whose thread ends at once. The task owns events and
  /// groups. It takes over the ports' references and never gives them back: a port that was opened stays
  /// open, so that it is found again when its hardware returns.
  DirectMusicReceiveTask(const std::vector<HANDLE>& iEvents, PortInputGroupList iGroups,
                         const std::vector<IDirectMusicPort*>& iPorts);
  ~DirectMusicReceiveTask() override;

  /// Gives the thread new groups: after its next batch, each takes the place of the one with the same port.
  /// [any]
  void PublishGroups(PortInputGroupList iGroups);

  /// Returns when the batch that is being read or delivered is done; at once if there is none. [any but the
  /// receive thread]
  void WaitForDelivery();

  /// Whether the body has come to its end. [any]
  bool HasEnded() const { return mHasEnded.load(); }

  /// Whether the calling thread is the receive thread. [any]
  static bool IsReceiveThread();
  /// Whether it is and has been asked to stop. [any]
  static bool IsStopRequestedOnThisThread();

 protected:
  void DoTask() override;
  bool RequestStop() override;

 private:
  friend struct Test_ReceiveTaskAccess;

  // One piece and where its bytes are. After two quarter frames in one microsecond two records share an area.
  struct Piece {
    Mlox_MidiData mRecord;
    std::uint8_t* mAreaP = nullptr;
  };

  // What is read at once. It lives on the thread's stack: reading allocates nothing.
  struct Batch {
    Piece mPieces[kBatchSize];
    std::uint8_t mAreas[kBatchSize][kPieceSize];
    int mCount = 0;
    bool mHasQuarterFrame = false;
    std::int64_t mQuarterFrameTime = 0;
    int mQuarterFrameIndex = 0;

    Batch();
    void Clear();
    bool IsFull() const { return mCount == kBatchLimit; }
    void Append(const BYTE* iDataP, DWORD iLength);
  };

  bool IsRunnable() const;
  void ReceiveUntilStopped(Batch& ioBatch);
  void ReceiveFrom(std::size_t iPort, Batch& ioBatch);
  void ReadBatch(IDirectMusicPort& iPort, Batch& ioBatch) const;
  bool ReadEvents(Batch& ioBatch) const;
  static void DeliverBatch(Batch& ioBatch, const PortInputGroup& iGroup);
  static void DeliverTo(const Mlox_InputID& iID, Mlox_MidiData& ioRecord);
  static void RequireReceiveThread();
  void ApplyPendingGroups();
  void BeginDelivery();
  void EndDelivery();
  void Leave();

  std::vector<HANDLE> mEvents;
  PortInputGroupList mGroups;  // the thread's alone
  std::vector<IDirectMusicPort*> mPorts;
  std::atomic<PortInputGroupList*> mPendingGroups{nullptr};  // exchanged; the loser deletes
  IDirectMusicBuffer* mBuffer = nullptr;

  std::atomic<bool> mIsStopRequested{false};
  std::atomic<bool> mHasEnded{false};
  std::mutex mStopMutex;  // a stop against the thread's leaving: who comes second finds nothing left to do

  // Counts the beginnings and the ends of batches: odd while one is under way. Who waits for the end of one
  // writes it too, unchanged: a batch that begins behind that sees what the waiter did before.
  std::atomic<std::uint32_t> mDeliverySteps{0};
};

/// The task and the thread that runs it; null when there is none. Changed by ReceivePortSet alone.
extern std::atomic<DirectMusicReceiveTask*> sReceiveTask;
extern std::atomic<Sys_RawThread*> sReceiveThread;
