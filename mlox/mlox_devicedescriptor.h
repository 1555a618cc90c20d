// SPDX-License-Identifier: MIT
/// \file
/// The identity of a device or an input, apart from the object itself.
#pragma once

#include <memory>
#include <string>

#include "cmn/cmn_export.h"

/// The identity of a device or an input. It outlives what it names: an application keeps it with its saved
/// state and asks the manager later for whatever fits it then. Immutable once published: factories hand out
/// shared pointers to const, which any thread may read.
class MLOX_EXPORT Mlox_DeviceDescriptor {
 public:
  enum DeviceType : int {
    kOutput = 0,  ///< an output device
    kInput = 1    ///< an input
  };

  /// What a search for an output may do when nothing matches exactly.
  enum MatchType : int {
    kMatchAllowFallback = 0,  ///< try the name, then everything but the name
    kMatchExactOnly = 1       ///< only an exact match counts
  };

  Mlox_DeviceDescriptor(const Mlox_DeviceDescriptor&) = default;
  Mlox_DeviceDescriptor(Mlox_DeviceDescriptor&&) = default;
  Mlox_DeviceDescriptor& operator=(const Mlox_DeviceDescriptor&) = default;
  Mlox_DeviceDescriptor& operator=(Mlox_DeviceDescriptor&&) = default;

  virtual ~Mlox_DeviceDescriptor() = default;

  /// [any] Whether the other is of the same class and names the same thing. The device type takes no part.
  /// \param iOtherP  may be null: false
  virtual bool Equals(const Mlox_DeviceDescriptor* iOtherP) const = 0;

  /// [any] A copy of the name, UTF-8.
  virtual std::string GetName() const = 0;

  /// [any] A number that is equal for equal descriptors.
  virtual int GetHashValue() const = 0;

  /// [any] How the search for an output treats this descriptor. Searches for inputs don't ask.
  virtual MatchType GetMatchType() const { return kMatchAllowFallback; }

  /// [any] Whether this names a connection between applications.
  virtual bool IsIACDevice() const { return false; }

  /// [any] Whether this names a node of a hosted plug-in.
  virtual bool IsPlugIn() const { return false; }

  /// [any]
  bool IsOutput() const { return mDeviceType == kOutput; }

  /// [any]
  bool IsInput() const { return mDeviceType == kInput; }

 protected:
  Mlox_DeviceDescriptor() = default;
  explicit Mlox_DeviceDescriptor(DeviceType iDeviceType) : mDeviceType(iDeviceType) {}

 private:
  DeviceType mDeviceType = kOutput;
};
