// SPDX-License-Identifier: MIT
/// \file
/// Picks the record of one device out of name documents.
#pragma once

#include <memory>
#include <string>

#include "cmn/cmn_export.h"
#include "midixml/channelnameset.h"
#include "midixml/midinamedocumentparser.h"

/// Keeps the first record that fits a manufacturer and a model; the others of the document are destroyed.
class MLOX_EXPORT Mlox_NamesParserImpl : public midixml::MIDINameDocumentParser {
 public:
  Mlox_NamesParserImpl();
  ~Mlox_NamesParserImpl() override;

  /// Says what is looked for. An empty manufacturer fits every record; an empty model fits every record that
  /// has a model. Letter case doesn't count. iChannel: 0 to 15.
  void SetWanted(int iChannel, const std::string& iManufacturer, const std::string& iModel);

  /// Forgets what was found and parses a file. Throws the code of a fault. An empty name parses the last file
  /// again.
  void ParseFile(const std::string& iPath);

  /// The accepted record, or null.
  midixml::MIDIDeviceNames* GetFoundDeviceNames() const { return mFoundDeviceNames.get(); }
  /// Takes the accepted record away from the parser.
  std::unique_ptr<midixml::MIDIDeviceNames> TakeFoundDeviceNames() { return std::move(mFoundDeviceNames); }
  /// Stores the answer: a record and a set that lives as long as the record does.
  void SetFound(std::unique_ptr<midixml::MIDIDeviceNames> iDeviceNames, midixml::ChannelNameSet* iSetP);
  /// Puts another set of the same record in the answer's place.
  void SetFoundChannelNameSet(midixml::ChannelNameSet* iSetP) { mFoundChannelNameSet = iSetP; }
  /// The answer, or null. Lives as long as the record.
  midixml::ChannelNameSet* GetFoundChannelNameSet() const { return mFoundChannelNameSet; }
  /// Forgets record and answer.
  void Clear();

 protected:
  bool HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) override;

 private:
  bool FitsManufacturer(const midixml::MIDIDeviceNames& iDeviceNames) const;
  bool FitsModel(const midixml::MIDIDeviceNames& iDeviceNames) const;

  std::unique_ptr<midixml::MIDIDeviceNames> mFoundDeviceNames;
  midixml::ChannelNameSet* mFoundChannelNameSet = nullptr;
  std::string mManufacturer;
  std::string mModel;
  signed char mChannel = -1;
};
