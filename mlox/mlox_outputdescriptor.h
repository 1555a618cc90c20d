// SPDX-License-Identifier: MIT
/// \file
/// The identity of one output.
#pragma once

#include <memory>

#include "cmn/cmn_export.h"
#include "cmn/cmn_refcountobject.h"
#include "mlox/mlox_devicedescriptor.h"

/// The identity of one output, for keeping: its device and the channel. Counted.
class MLOX_EXPORT Mlox_OutputDescriptor : public Cmn_RefCountObject {
 public:
  /// [main]
  /// \param iDeviceDescriptorP  the device
  /// \param iChannel            0 to 15, or -1 for the common output
  Mlox_OutputDescriptor(std::shared_ptr<const Mlox_DeviceDescriptor> iDeviceDescriptorP, short iChannel);

  /// [any] The device.
  const std::shared_ptr<const Mlox_DeviceDescriptor>& GetDeviceDescriptor() const {
    return mDeviceDescriptorP;
  }

  /// [any] The channel: 0 to 15, or -1 for the common output.
  short GetChannel() const { return mChannel; }

 protected:
  ~Mlox_OutputDescriptor() override;

 private:
  std::shared_ptr<const Mlox_DeviceDescriptor> mDeviceDescriptorP;
  short mChannel;
};
