// SPDX-License-Identifier: MIT
/// \file
/// One MIDI destination as the user sees it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "cmn/cmn_export.h"

class Mdi_AppCallback;
class Mlox_DeviceDescriptor;
class Mlox_Output;
class Sys_FileLoc;

/// One MIDI destination as the user sees it: a port or a plug-in instance. The service owns it; it is not
/// counted. All operations belong to the main thread. Channels run from 0 to 15.
class MLOX_EXPORT Mlox_Device {
 public:
  virtual ~Mlox_Device() = default;

  /// [main] The name, UTF-8.
  virtual std::string GetName() = 0;

  /// [main] The output for the device as a whole; null if it has none. The device keeps its reference.
  virtual Mlox_Output* GetCommonOutput() = 0;

  /// [main] The output for one channel; may be null. The device keeps its reference.
  /// \param iMidiChannel  0 to 15
  virtual Mlox_Output* GetOutputForChannel(short iMidiChannel) = 0;

  /// [main] Whether the device listens on a channel.
  /// \param iMidiChannel  0 to 15
  virtual bool IsMidiChannelAvailable(short iMidiChannel) const = 0;

  /// [main] The identity of this device, for keeping.
  virtual std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() = 0;

  /// [main] Where the device's factory patch file is.
  /// \param oFileLocP     takes the place if there is one, and is left alone if not
  /// \param oIsDefaultP   takes whether this is the default choice; true when there is no file at all; null
  /// is
  ///                     ignored
  /// \return whether there is a file
  virtual bool GetFactoryPatchFileName(Sys_FileLoc* oFileLocP, bool* oIsDefaultP);

  /// [main] Whether the user has defined this device.
  virtual bool IsUserDefined() const;

  /// [main] Whether the device receives MIDI beat clock.
  virtual bool GetReceivesMBC() const;

  /// [main] The beat clock offset in samples; 0 for a device that receives no beat clock.
  virtual int GetBeatClockOffsetSamples() const;

  /// [main] Stores the beat clock offset, in samples, and hands it to the common output. A device that
  /// receives no beat clock stores 0 and touches no output.
  virtual void SetBeatClockOffsetSamples(int iSamples);

  /// [any] The opaque value that ties the device to the application's track.
  std::uint64_t GetTrackPtr() const { return mTrackPtr; }

 protected:
  Mlox_Device(Mdi_AppCallback* iAppCallbackP, std::uint64_t iTrackPtr);
  Mlox_Device(const Mlox_Device&) = default;
  Mlox_Device& operator=(const Mlox_Device&) = default;

  /// Not owned.
  Mdi_AppCallback* GetAppCallback() const { return mAppCallbackP; }

 private:
  Mdi_AppCallback* mAppCallbackP;
  std::uint64_t mTrackPtr;
  std::int32_t mBeatClockOffsetSamples = 0;
};
