// SPDX-License-Identifier: MIT
/// \file
/// One writable address on a device.
#pragma once

#include <set>
#include <string>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "mdid/mlox_patchinfo.h"
#include "mlox/mlox_basicoutput.h"
#include "mlox/mlox_outputdescriptor.h"

class Mdie_ProgramEvent;
class Mlox_Device;

/// One writable address on a device: the common output, or one MIDI channel. A service makes it with a
/// reference and releases it when it leaves the list; who holds a reference then writes to a dead output.
class MLOX_EXPORT Mlox_Output : public Mlox_BasicOutput {
 public:
  ~Mlox_Output() override;

  /// [main] The identity of this output, for keeping.
  virtual Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> GetDescriptor() const = 0;

  /// [main] The device, or null once the output has left it.
  virtual Mlox_Device* GetDevice() = 0;

  /// [main] The number of patches that have names.
  virtual int GetNumberOfPatches() = 0;

  /// [main] The name of the patch that an event selects.
  /// \param oNameP  takes the name, UTF-8, if there is one
  /// \return whether there is a name
  virtual bool GetPatchName(std::string* oNameP, const Mdie_ProgramEvent& iProgramEvent) = 0;

  /// [main] How to select the bank of a patch; a null reference if that isn't known.
  virtual Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> GetPatchInfo(int iIndex) = 0;

  /// [main] The number of named operating modes: none, unless the output says otherwise.
  virtual int GetNumberOfAvailableModes();

  /// [main] The name of a mode; empty if there is no such mode.
  virtual std::string GetAvailableModeName(const int& iIndex);

  /// [main] The name of the current mode; empty without modes.
  virtual std::string GetCurrentMode();

  /// [main] Chooses a mode by its name; nothing happens without modes.
  virtual void SetCurrentMode(const std::string& iModeName);

  /// [main] One more patch-through user of this output.
  virtual void AddThruCount() = 0;

  /// [main] One patch-through user less.
  virtual void RemoveThruCount() = 0;

  /// [any] Whether this is the name of a control port of one keyboard controller family: membership of the
  /// whole string, case-sensitive. Applications use it to tell controller ports from ordinary ones.
  static bool IsNIDawControlOutputDevice(const std::string& iName);

 protected:
  explicit Mlox_Output(Mdi_AppCallback* iAppCallbackP);

 private:
  static const std::set<std::string> kNIDawControlOutputDeviceNames;
};
