// SPDX-License-Identifier: MIT
/// \file
/// A stream of the application's (click, MIDI beat clock, MIDI time code) that global outputs connect to.
#pragma once

#include "cmn/cmn_aliasedrefcountptr.h"

class Mlox_BasicOutput;

/// Implemented by the application, called by the library. The table has no destructor in front: connect is
/// its first slot and disconnect its second.
class Mlox_DataSource {
 public:
  /// Starts to write the stream to iOutputRCP. The source keeps the reference for as long as it writes.
  /// [main]
  virtual void Connect(const Cmn_AliasedRefCountPtr<Mlox_BasicOutput>& iOutputRCP) = 0;

  /// Ends writing to iOutputRCP and drops the reference that Connect gave. No write may follow. [main]
  virtual void Disconnect(const Cmn_AliasedRefCountPtr<Mlox_BasicOutput>& iOutputRCP) = 0;

 protected:
  ~Mlox_DataSource() = default;  // the library never deletes a source
};
