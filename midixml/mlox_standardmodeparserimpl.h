// SPDX-License-Identifier: MIT
/// \file
/// Reads every name document there is, for the standard modes.
#pragma once

#include <vector>

#include "midixml/midinamedocumentparser.h"

/// Keeps every device record of every name document under the base folder. Nothing else reads the records.
class Mlox_StandardModeParserImpl : public midixml::MIDINameDocumentParser {
 public:
  /// The one parser of the process, which lives until its end. Used on one thread at a time.
  static Mlox_StandardModeParserImpl& Instance();

  /// Reads all documents that the scan of the base folder gives, once: after a success it does nothing any
  /// more. A fault ends it silently; what was read stays, and the next call begins again.
  void LoadDocuments();

  /// True after a load without a fault.
  bool IsLoaded() const { return mLoaded; }
  /// The records read, also by loads that ended in a fault.
  const std::vector<midixml::MIDIDeviceNames*>& GetStandardDevices() const { return mStandardDevices; }

 protected:
  bool HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) override;

 private:
  Mlox_StandardModeParserImpl();

  // Not freed, with the parser itself.
  std::vector<midixml::MIDIDeviceNames*> mStandardDevices;
  bool mLoaded = false;
};
