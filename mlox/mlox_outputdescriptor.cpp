// SPDX-License-Identifier: MIT
#include "mlox/mlox_outputdescriptor.h"

#include <utility>

Mlox_OutputDescriptor::Mlox_OutputDescriptor(std::shared_ptr<const Mlox_DeviceDescriptor> iDeviceDescriptorP,
                                             short iChannel)
    : mDeviceDescriptorP(std::move(iDeviceDescriptorP)), mChannel(iChannel) {}

Mlox_OutputDescriptor::~Mlox_OutputDescriptor() = default;
