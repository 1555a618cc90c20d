// SPDX-License-Identifier: MIT
/// \file
/// Our way from an output to a plug-in's pull, as the benchmarks drive it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "mlox/mlox_directmidi/idirectmidiclientoutput.h"
#include "mlox/mlox_directmidi/idirectmidimessage.h"
#include "mlox/mlox_directmidi/idirectmidioutputdeliverysetup.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"

/// Each has an output context of its own.
inline constexpr std::size_t kBench_Writers = 3;
/// Samples.
inline constexpr int64_t kBench_BlockSamples = 64;

/// What the reader made of the notes: every contender must come to the same.
struct Bench_Read {
  uint64_t mCount = 0;
  uint64_t mSum = 0;
  int64_t mLastTime = 0;
  bool mIsInOrder = true;  // of time

  void Add(int64_t iTime, const signed char* iBytes) { Add(iTime, static_cast<unsigned char>(iBytes[1])); }
  void Add(int64_t iTime, unsigned char iPitch) {
    ++mCount;
    mSum += static_cast<uint64_t>(iTime) * 31 + iPitch;
    mIsInOrder = mIsInOrder && iTime >= mLastTime;
    mLastTime = iTime;
  }
  /// Whether the same notes were read as those that iWritten counts, in order of time.
  bool IsAllOf(const Bench_Read& iWritten) const {
    return mCount == iWritten.mCount && mSum == iWritten.mSum && mIsInOrder;
  }
};

/// The service outlives the benchmarks: plug-in nodes come and go.
inline Mlox_DM_Service& Bench_Service() {
  static Mem2_MasterAllocator sAllocator;
  static Mlox_DM_Service* const sServiceP = [] {
    auto* const serviceP = new Mlox_DM_Service(nullptr, &sAllocator, nullptr);
    Mlox_Manager::Singleton()->AddService(serviceP, 1);
    return serviceP;
  }();
  return *sServiceP;
}

/// One plug-in node with a buffered delivery. Write: one thread a writer; PullBlock: one thread.
class Bench_MloxWay {
 public:
  Bench_MloxWay() {
    Mlox_DM_Service& service = Bench_Service();
    mNodeP = service.CreateClientOutput("Synth");
    void* setupP = nullptr;
    mNodeP->QueryInterface(IDirectMIDIOutputDeliverySetup::kUID, &setupP);
    mDeliveryP = static_cast<IDirectMIDIOutputDeliverySetup*>(setupP)->SetBufferedDelivery();
    static_cast<IDirectMIDIOutputDeliverySetup*>(setupP)->Release();
    mOutputP = service.GetOutputDevice(service.GetNumberOfOutputDevices() - 1)->GetOutputForChannel(0);
    const Mlox_Manager* const managerP = Mlox_Manager::Singleton();
    mContexts = {managerP->GetImmediateOutputContext(), managerP->GetPatchThruContext(),
                 managerP->GetSlightlyEarlyPlayerContext()};
  }
  ~Bench_MloxWay() {
    mDeliveryP->Release();
    mNodeP->Release();
  }
  void Write(std::size_t iWriter, int64_t iTime, int iPitch) {
    mOutputP->WriteEvent(Mdie_Timestamp(Time_Sample(iTime)),
                         Mdie_NoteOnEvent(static_cast<signed char>(iPitch), 100), mContexts[iWriter]);
  }
  void PullBlock(int64_t iStart, Bench_Read& ioRead) {
    std::array<signed char, 3> bytes{};
    while (IDirectMIDIMessage* const messageP =
               mDeliveryP->GetNextMessageInSampleRange(iStart, iStart + kBench_BlockSamples - 1)) {
      if (messageP->GetMessageLength() == 3) messageP->GetMessageData(bytes.data());
      ioRead.Add(messageP->GetSampleTime(), bytes.data());
      messageP->Release();
    }
  }

 private:
  IDirectMIDIClientOutput* mNodeP = nullptr;
  IDirectMIDIBufferedDelivery* mDeliveryP = nullptr;
  Mlox_Output* mOutputP = nullptr;
  std::array<Mlox_OutputContextRef, kBench_Writers> mContexts;
};
