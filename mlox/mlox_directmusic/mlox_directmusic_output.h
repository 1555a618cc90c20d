// SPDX-License-Identifier: MIT
/// \file
/// One channel of a hardware port, or the output common to all channels.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "mlox/mlox_output.h"
#include "platform/directmusic/directmusic.h"

class Mem2_MasterAllocator;
class Mlox_DirectMusic_Device;
class Mlox_NamesReader;

/// Turns events into DirectMusic buffers and plays them on a port. The port schedules the bytes: there is no
/// queue and no thread here, and all work is done on the writer's thread. It also offers the instrument names
/// of the device's name documents for its channel.
///
/// Writers run on any thread but an audio thread, one at a time for one output: DirectMusic's calls block,
/// and a long system exclusive message keeps its writer for as long as it is ahead of its time and for the
/// duration of its bytes. The device may change the port meanwhile.
///
/// An output without a port stays valid and writes vanish; one that its device has let go answers as for
/// "nothing there".
class MLOX_EXPORT Mlox_DirectMusic_Output : public Mlox_Output {
 public:
  /// The longest body of a limited system exclusive message, without its first and last byte.
  static constexpr int cMaxLimitedSysexLength = 253;

  /// [any but real-time, with the subsystem's lock held]
  /// \param iDeviceP       not owned; outlives this or lets it go first
  /// \param iChannel       0 to 15, or -1 for the common output
  /// \param iPortP         a reference is taken; may be null
  /// \param iChannelGroup  the port's channel group
  /// \param iAllocatorP    for what a raw write needs; not owned; may be null
  Mlox_DirectMusic_Output(Mdi_AppCallback* iAppCallbackP, Mlox_DirectMusic_Device* iDeviceP, short iChannel,
                          IDirectMusicPort* iPortP, DWORD iChannelGroup, Mem2_MasterAllocator* iAllocatorP);

  // ---- Mlox_BasicOutput ----

  /// The device's own measure of how early a write must be, and 50 ms at least while a port is set. [any but
  /// real-time]
  int GetTimestampedPreSendSamples(double iSampleRate) override;
  /// The service's delay, 0 without a service. The rate isn't used. [any]
  Time_SampleLength GetZeroJitterDelay(double iSampleRate) override;
  /// Whether a port is set: it then plays at the stamps. [any]
  bool IsTimestamped() override;

  // ---- Mlox_Output ----

  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> GetDescriptor() const override;
  /// The device, null once it has let this go. [main]
  Mlox_Device* GetDevice() override;
  /// Reads the name documents anew and counts; 0 on the common output and where a setting of the device can't
  /// be read. Below 0: -1 no record in the document fits the device, -2 the document is offline, -5 it has
  /// nothing for this channel, -6 there is no document, -8 a fault in it. [main]
  int GetNumberOfPatches() override;
  /// Answers from the last count; false before one. [main]
  bool GetPatchName(std::string* oNameP, const Mdie_ProgramEvent& iProgramEvent) override;
  /// Answers from the last count; null before one. [main]
  Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> GetPatchInfo(int iIndex) override;
  /// Counts the device's channel name sets, with the results of GetNumberOfPatches; 0 once let go. [main]
  int GetNumberOfAvailableModes() override;
  /// Answers from the last count of modes; empty before one. [main]
  std::string GetAvailableModeName(const int& iIndex) override;
  /// The mode that the studio keeps for the channel. [main]
  std::string GetCurrentMode() override;
  /// Stores the mode in the studio. [main]
  void SetCurrentMode(const std::string& iModeName) override;
  /// Nothing. [any]
  void AddThruCount() override;
  /// Nothing. [any]
  void RemoveThruCount() override;

  // ---- Mlox_AWrite ----

  /// Plays the event's messages with the channel of this output, at the stamp or as soon as the port can. On
  /// the common output channel messages go out as 0xFF: they belong on the channels' outputs. Every event
  /// takes back a stop of before. Nothing happens while the service is suspended or missing. [writer]
  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                  Mlox_OutputContextRef iContext) override;
  /// Plays 0xF0, the bytes and 0xF7 as soon as the port can. More than cMaxLimitedSysexLength are reported
  /// and not sent. [writer]
  void WriteLimitedSysex(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override;
  /// Plays messages as soon as the port can, with the channel of this output, or one whole system exclusive
  /// message. A piece of a longer one isn't sent; neither is anything if some message is malformed. [writer]
  void WriteRawMIDI(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override;

  // ---- Mlox_DirectMusic_Device ----

  /// The port with a reference added, or null. \param oChannelGroupP  may be null. [any but real-time]
  IDirectMusicPort* GetPort(DWORD* oChannelGroupP);
  /// Plays on this port from now on; null for none. [any but real-time, with the subsystem's lock held]
  void SetPort(IDirectMusicPort* iPortP, DWORD iChannelGroup);
  /// Takes the identity of the device anew. [any but real-time, with the subsystem's lock held]
  void RefreshDescriptor();

 protected:
  ~Mlox_DirectMusic_Output() override;

 private:
  friend class Mlox_DirectMusic_Device;       // sets mReleased
  friend class Test_DirectMusicOutputAccess;  // SendBytes, mPatchNamesP
  class Sender;

  bool CanWrite() const;
  HRESULT SendBytes(bool iImmediate, std::int64_t iTime, const unsigned char* iDataP, int iLength);
  static HRESULT ConvertTime(std::int64_t iTime, HRESULT iBefore, REFERENCE_TIME* oTimeP);
  Mlox_DirectMusic_Device* FindDevice();
  template <class Count>
  int CountNames(Count iCount);

  Mlox_DirectMusic_Device* const mDeviceP;
  const short mChannel;
  Mem2_MasterAllocator* const mAllocatorP;
  std::atomic<bool> mReleased{false};
  // Guards the descriptor, the buffer, the port and its group: the device changes them while others write.
  // Held for the calls of one send, never over a sleep; below it lie the locks of DirectMusic.
  mutable std::mutex mMutex;
  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> mDescriptorP;
  std::unique_ptr<Mlox_NamesReader> mPatchNamesP;
  IDirectMusicBuffer* mBuffer = nullptr;
  IDirectMusicPort* mPort = nullptr;
  DWORD mChannelGroup = 0xFFFFFFFF;
  std::atomic<bool> mIsTimestamped{true};
};
