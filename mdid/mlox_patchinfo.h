// SPDX-License-Identifier: MIT
/// \file
/// How a patch's bank is selected.
#pragma once

#include <string>

#include "cmn/cmn_export.h"
#include "cmn/cmn_refcountobject.h"

/// The answer about a patch's bank. Handed out as a counted reference to const, on the main thread.
///
/// It stands here, below both, because the document reader makes it and the outputs hand it on.
class MLOX_EXPORT Mlox_PatchInfo : public Cmn_RefCountObject {
 public:
  /// [main] Whether the bank has to be selected by MIDI.
  virtual bool HasBankSelect() const = 0;

  /// [main] The value of controller 0 that selects the bank, 0 to 127; 128 for none.
  virtual unsigned char GetMSBBank() const = 0;

  /// [main] The value of controller 32 that selects the bank, 0 to 127; 128 for none.
  virtual unsigned char GetLSBBank() const = 0;

  /// [main] The bank's name, UTF-8.
  virtual std::string GetBankName() const = 0;

 protected:
  Mlox_PatchInfo() = default;
  Mlox_PatchInfo(const Mlox_PatchInfo&) = default;
  Mlox_PatchInfo& operator=(const Mlox_PatchInfo&) = default;
  ~Mlox_PatchInfo() override = default;
};
