// SPDX-License-Identifier: MIT
/// \file
/// Reads MIDI name documents.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>

#include "cmn/cmn_export.h"
#include "midixml/channelnamesetassign.h"
#include "midixml/countedptr.h"
#include "midixml/mididevicenames.h"
#include "midixml/midinamedocument.h"
#include "midixml/midixmlparser.h"

namespace midixml {

/// Reads a MIDI name document, extension ".midnam", and hands over each device that it describes.
///
/// Each of the elements MasterDeviceNames, ExtendingDeviceNames and StandardDeviceMode makes one record,
/// whose references are resolved at its end before HandleDeviceNames gets it. Which record is wanted is for a
/// subclass to say. The parser never reads a document's version. A fault leaves as a thrown int; a record
/// that was not handed over by then is lost. One thread at a time.
class MLOX_EXPORT MIDINameDocumentParser : public MIDIXMLParser {
 public:
  /// As MIDIXMLParser.
  MIDINameDocumentParser(const char* iRootNameP, const std::string& iFileName, int iDebugLevel);
  MIDINameDocumentParser(const MIDINameDocumentParser&) = delete;
  MIDINameDocumentParser& operator=(const MIDINameDocumentParser&) = delete;
  /// Frees what the base owns and a record not handed over. The document and its note groups stay allocated,
  /// reachable from a list of the process: whoever looked at them through a subclass may go on doing so.
  ~MIDINameDocumentParser() override;

 protected:
  using MIDIXMLParser::EndElement;
  using MIDIXMLParser::StartElement;

  void StartElement(int iId, int iParentId, XMLAttributeList& ioAttributes) override;
  void EndElement(XMLElement& ioElement) override;
  void HandleContent(XMLElement& ioElement, const char* iDataP, int iLength) override;
  /// A device is complete. True takes the record over; on false the parser destroys it. False here.
  virtual bool HandleDeviceNames(MIDIDeviceNames* iDeviceNamesP);

  /// The document being read, or the last one; null before any.
  const MIDINameDocument* GetDocument() const { return mDocument; }

 private:
  void StartDocumentLevel(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartModeLevel(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartSetLevel(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartListLevel(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartCommandLevel(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartChannelMessage(int iId, XMLAttributeList& ioAttributes);

  void StartDocument();
  void StartDeviceNames();
  void StartDevice(XMLAttributeList& ioAttributes);
  void StartMode(XMLAttributeList& ioAttributes, bool iStandard);
  void StartModeSwitch(int iId, int iParentId);
  void StartAssignments(int iId, int iParentId);
  void StartAssign(XMLAttributeList& ioAttributes);
  void StartChannelNameSet(XMLAttributeList& ioAttributes);
  void StartAvailableChannel(XMLAttributeList& ioAttributes);
  void StartPatchBank(XMLAttributeList& ioAttributes);
  void StartUsesNoteNameList(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartUsesControlNameList(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartPatchNameList(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartNoteNameList(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartControlNameList(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StartValueNameList(int iId, int iParentId, XMLAttributeList& ioAttributes);
  void StoreInlineValueNameList(ValueNameList* iListP);
  void StartPatch(XMLAttributeList& ioAttributes);
  void StartNoteGroup(XMLAttributeList& ioAttributes);
  void StartNote(int iParentId, XMLAttributeList& ioAttributes);
  void StartControl(XMLAttributeList& ioAttributes);
  void StartValues(XMLAttributeList& ioAttributes);
  void StartValue(XMLAttributeList& ioAttributes);
  void StartMIDICommands(int iId, int iParentId);
  void StartPitchBend(XMLAttributeList& ioAttributes);
  void StartLocalControl(XMLAttributeList& ioAttributes);

  void RequireParent(int iId, int iParentId, std::initializer_list<int> iAllowed);
  int8_t ControlType(XMLAttributeList& ioAttributes);
  int Channel(XMLAttributeList& ioAttributes);
  uint8_t ByteAttribute(XMLAttributeList& ioAttributes, const char* iNameP, bool iRequired);
  void AppendCommand(std::initializer_list<uint8_t> iBytes);
  void FinishDeviceNames();

  // Where the parser is. None is cleared when its element ends; an element can only be reached inside those
  // whose fields it uses. Pointers into a vector are refreshed when the next element of the kind begins.
  MIDINameDocument* mDocument = nullptr;
  MIDIDeviceNames* mDeviceNames = nullptr;
  // A standard device mode goes on with the last mode made, also one of a record that is gone: hence the
  // reference.
  CountedPtr<Mode> mMode;
  ChannelNameSetAssign* mChannelAssigns = nullptr;
  ChannelNameSet* mChannelNameSet = nullptr;
  PatchBank* mPatchBank = nullptr;
  // The lists are those that stand open in a record. One that a fault refuses never gets here: what a next
  // document holds for the open list around it finds that one.
  PatchNameList* mPatchNameList = nullptr;
  MIDIMessage* mCommands = nullptr;
  Patch* mPatch = nullptr;
  NoteNameList* mNoteNameList = nullptr;
  NoteGroup* mNoteGroup = nullptr;
  ControlNameList* mControlNameList = nullptr;
  Control* mControl = nullptr;
  ValueNameList* mValueNameList = nullptr;
  bool* mAvailableChannels = nullptr;
  // The name of the patch name list most recently begun, also of one that was refused; none before the first.
  // Note name lists look at it long after that list and its record ended.
  std::optional<SharedString> mLastPatchListName;
  // Stays 0.
  int mDocumentKind = 0;
  // True from the start of a device's element until its record is handed over.
  bool mOwnsDeviceNames = false;
};

}  // namespace midixml
