// SPDX-License-Identifier: MIT
/// \file
/// The workstation's half: manager, service, and the outputs that its writers write to.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_outputcontextref.h"
#include "mlox/mlox_persistentoutput.h"
#include "tools/mlox/render/timeline.h"

class IDirectMIDI3;

namespace tool {

/// An application with the plug-in service installed. The manager is one for the process, so one at a time.
class Workstation {
 public:
  /// [main] Makes the manager if need be, and installs the service.
  explicit Workstation(std::uint32_t iSampleRate);
  Workstation(const Workstation&) = delete;
  Workstation& operator=(const Workstation&) = delete;
  /// [main] Lets go of the outputs and removes the service. Nodes must be released already.
  ~Workstation();

  /// [main] What a plug-in gets to make its nodes with.
  IDirectMIDI3& PlugInInterface() { return *mDirectMidiP; }

  /// [main] Finds the device of the node that was made with `iNodeID`, and from now on writes to it. Throws
  /// ToolError when there is none.
  void ConnectTo(std::uint64_t iNodeID);

  /// [writer] Writes a message to the output of its channel, or to the common output for a message without
  /// one, on the context that belongs to the writer.
  void Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes);

  /// [main] Regular housekeeping.
  void Idle();

 private:
  /// Maps samples to time as if playback had begun at microsecond 0.
  class Callback : public Mdi_AppCallback {
   public:
    explicit Callback(std::uint32_t iSampleRate) : mSampleRate(iSampleRate) {}
    std::int64_t SampleToMicroseconds(Time_Sample iSample) override {
      return iSample.AsInt64() * 1'000'000 / mSampleRate;
    }
    void StopPlayback() override {}

   private:
    std::int64_t mSampleRate;
  };

  Mem2_MasterAllocator mAllocator;
  Callback mCallback;
  IDirectMIDI3* mDirectMidiP = nullptr;  // the service, which the manager owns
  /// The contexts that a plug-in's queue has a stream for, in the order of the streams.
  std::array<Mlox_OutputContextRef, kMaxWriters> mContexts;
  /// The common output, then channels 0 to 15.
  std::vector<std::unique_ptr<Mlox_PersistentOutput>> mOutputs;
};

}  // namespace tool
