// SPDX-License-Identifier: MIT
/// \file
/// Reads device type documents.
#pragma once

#include <vector>

#include "cmn/cmn_export.h"
#include "midixml/mididevicetypes.h"
#include "midixml/midixmlparser.h"

/// Reads a device type document, extension ".middev", and hands over its root.
///
/// The application derives from it and overrides HandleDeviceTypes; without that nothing comes of a document.
/// A fault leaves as a thrown int. What was being built then stays with the parser, and the next element of
/// the kind deletes it. One thread at a time.
class MLOX_EXPORT Mlox_DeviceTypesParser : public midixml::MIDIXMLParser {
 public:
  /// As midixml::MIDIXMLParser.
  Mlox_DeviceTypesParser(const char* iRootNameP, const char* iFileNameP, int iDebugLevel);
  /// Copies share the tokeniser and the records, so at most one of them may be used and destroyed.
  Mlox_DeviceTypesParser(const Mlox_DeviceTypesParser&);
  /// As the copy constructor.
  Mlox_DeviceTypesParser& operator=(const Mlox_DeviceTypesParser&);
  /// What is being built at this time stays allocated.
  ~Mlox_DeviceTypesParser() override;

 protected:
  using MIDIXMLParser::EndElement;
  using MIDIXMLParser::StartElement;

  void StartElement(int iId, int iParentId, midixml::XMLAttributeList& ioAttributes) override;
  void EndElement(midixml::XMLElement& ioElement) override;
  void HandleContent(midixml::XMLElement& ioElement, const char* iDataP, int iLength) override;
  /// The document is complete. True takes the root over; on false the parser deletes it. False here.
  virtual bool HandleDeviceTypes(MIDIDeviceTypesObj* iDeviceTypesP);

 private:
  void StartDeviceType(midixml::XMLAttributeList& ioAttributes);
  void StartPort(bool& ioHaveThis, bool& ioHaveOther);
  void EndRoot(int iParentId);
  void EndDeviceType(int iParentId);
  void EndPortGroup(int iParentId);

  MIDIDeviceTypesObj* mDeviceTypes = nullptr;
  MIDIDeviceTypeObj* mDeviceType = nullptr;
  MIDIPortGroupObj* mPortGroup = nullptr;
  // One half was met and waits for the other, also beyond the end of its group.
  MIDIPortPair* mPendingPort = nullptr;
  bool mHaveIn = false;
  bool mHaveOut = false;
  // One entry for each open known element.
  std::vector<int> mParentIds;
};
