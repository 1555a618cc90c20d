// SPDX-License-Identifier: MIT
/// \file
/// One MIDI source as the application sees it.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "cmn/cmn_refcountobject.h"
#include "mlox/mlox_inputid.h"

class Mlox_DeviceDescriptor;

/// One MIDI source as the application sees it. It belongs to its service; an application's reference keeps it
/// readable after the service has dropped it, but it delivers nothing then; a hardware connection made before
/// lasts until the port is connected anew or closed. References are to const, so all inquiries are const.
class MLOX_EXPORT Mlox_Input : public Cmn_RefCountObject {
 public:
  /// [any but real-time] The numeric identity, the same for as long as the input exists. That of a plug-in's
  /// node is for every thread.
  virtual Mlox_InputID GetInputID() const = 0;

  /// [main] The identity of this input, for keeping.
  virtual std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() const = 0;

  /// [main] The name, UTF-8.
  virtual std::string GetName() const = 0;

  /// [main] Whether the source sends on a channel.
  /// \param iMidiChannel  0 to 15
  virtual bool IsMidiChannelAvailable(short iMidiChannel) const = 0;

  /// [main] Whether a piece of hardware stands behind it.
  virtual bool IsPhysical() const = 0;

  /// [main] Whether a program stands behind it.
  virtual bool IsVirtual() const = 0;

  /// [main] Whether it sends synchronisation only. No input of this library does.
  virtual bool IsSyncSource() const = 0;

  /// [main] Whether the user has defined it.
  virtual bool IsUserDefined() const;

  /// [main] Whether it is a node of a hosted plug-in.
  virtual bool IsPlugIn() const;

  /// [any] The opaque value that ties it to the application's track; 0 without one.
  virtual std::uint64_t GetTrackPtr() const = 0;

  /// [any] Whether this is the name of a control port of one keyboard controller family: membership of the
  /// whole string, case-sensitive. Applications use it to tell controller ports from ordinary ones.
  static bool IsNIDawControlInputDevice(const std::string& iName);

 protected:
  Mlox_Input() = default;
  Mlox_Input(const Mlox_Input&) = default;
  Mlox_Input& operator=(const Mlox_Input&) = default;
  ~Mlox_Input() override;

 private:
  static const std::set<std::string> kNIDawControlInputDeviceNames;
};

/// A counted reference to an input, null for none.
using Mlox_InputRef = Cmn_AliasedRefCountPtr<const Mlox_Input>;

/// What lists of inputs are made of.
using Mlox_InputList = std::vector<Mlox_InputRef>;
