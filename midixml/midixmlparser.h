// SPDX-License-Identifier: MIT
/// \file
/// The table-driven reader that both kinds of document are built on.
#pragma once

#include <string>
#include <vector>

#include "cmn/cmn_export.h"
#include "midixml/elementindex.h"
#include "midixml/midimessage.h"
#include "midixml/sharedstring.h"
#include "midixml/version.h"
#include "midixml/xmlattributelist.h"
#include "midixml/xmlelement.h"
#include "midixml/xmlparserimpl.h"

namespace midixml {

/// Reads a document by a table of the elements that a subclass knows.
///
/// Keeps the open elements on a stack, turns tags into numbers, skips what it doesn't know, collects text,
/// and looks up attributes. A fault leaves as a thrown int; what had been built until then stays with the
/// subclass. A parser that threw may be destroyed or given another document by Reset, but its open elements
/// stay open, so that the root of that document finds a parent.
///
/// No lock: one thread at a time. [any, one at a time]
class MLOX_EXPORT MIDIXMLParser {
 public:
  /// iRootNameP     not used: the subclass decides which element may be the root.
  /// iFileName      path of the document, UTF-8.
  /// iDebugLevel    2 and more: Debugging() is true.
  /// iElementTypesP the table, which must outlive the parser.
  /// Throws 3 if no tokeniser can be made.
  MIDIXMLParser(const char* iRootNameP, const std::string& iFileName, int iDebugLevel,
                const XMLElementType* iElementTypesP);
  /// Copies share one tokeniser, so at most one of them may be destroyed.
  MIDIXMLParser(const MIDIXMLParser&);
  /// As the copy constructor.
  MIDIXMLParser& operator=(const MIDIXMLParser&);

  // The order of the virtual operations is part of the binary interface.
  virtual ~MIDIXMLParser();

 protected:
  /// A known element begins. iParentId is -1 without a parent. Comes before the element is pushed.
  virtual void StartElement(int iId, int iParentId, XMLAttributeList& ioAttributes) = 0;

 public:
  /// A tag begins.
  virtual void StartElement(const char* iNameP, XMLAttributeList& ioAttributes);

 protected:
  /// A known element ends; it is still the last of the open ones.
  virtual void EndElement(XMLElement& ioElement) = 0;

 public:
  /// A tag ends.
  virtual void EndElement(const char* iNameP);
  /// iLength bytes of character data; one run of text may come in several pieces.
  virtual void CharDataHandler(const char* iDataP, int iLength);

 protected:
  /// Character data of an element whose table row asks for it piece by piece. Does nothing here.
  virtual void HandleContent(XMLElement& ioElement, const char* iDataP, int iLength);

 public:
  /// Reads the file. Throws the code of a fault.
  void Parse() { mImpl->Parse(); }
  /// Does nothing: there is no parsing from memory.
  void Parse(const char* iTextP) { mImpl->Parse(iTextP); }
  /// Makes ready for another document; an empty name keeps the file's. Open elements stay as they are.
  void Reset(const std::string& iFileName) { mImpl->Reset(iFileName); }
  /// True at debug level 2 and above.
  bool Debugging() const { return mImpl->GetDebugLevel() >= 2; }
  /// The fault that ended the last parse: its line and meaning, for those who must explain it to a person.
  const XMLFault& GetFault() const { return mImpl->GetFault(); }

 protected:
  /// Trims in place and gives the same string. The trim cuts a character more than white space from text with
  /// white space behind it: "abc " becomes "ab". That is settled and must stay.
  static std::string& ContentString(std::string& ioText);
  /// Trims, and tells whether nothing is left.
  static bool EmptyContent(std::string& ioText);
  /// Trims and reads a decimal integer; throws 103.
  int ContentInt(std::string& ioText);
  /// Trims and reads "true" or "false"; throws 105.
  bool ContentBool(std::string& ioText);
  /// Exactly "true" or "false"; throws 105 for anything else.
  bool ParseBoolean(const char* iTextP);
  /// Sets a message to the bytes written in hexadecimal, up to the first thing that is none; throws 106 for a
  /// value above 255. Gives the number of bytes.
  int ParseHexBytes(const char* iTextP, MIDIMessage& oMessage);

  // Each gives true if the attribute was there and was stored. A missing one leaves the value as it is, or
  // throws 8 if it is required.
  bool GetStringAttribute(XMLAttributeList& ioAttributes, const char* iNameP, SharedString& oValue,
                          bool iRequired);
  /// Throws 103. Text behind the number is allowed.
  bool GetIntAttribute(XMLAttributeList& ioAttributes, const char* iNameP, int& oValue, bool iRequired);
  /// Throws 104. Text behind the number is allowed.
  bool GetFloatAttribute(XMLAttributeList& ioAttributes, const char* iNameP, float& oValue, bool iRequired);
  /// Throws 105.
  bool GetBoolAttribute(XMLAttributeList& ioAttributes, const char* iNameP, bool& oValue, bool iRequired);
  /// Never faults on the text; parts that it lacks are 0.
  bool GetVersionAttribute(XMLAttributeList& ioAttributes, const char* iNameP, Version& oValue,
                           bool iRequired);

  /// An element stands where it may not: throws 100 at the top of the document, 102 within another element.
  void ContainmentError(int iId, int iParentId);

  /// Appends to oBytes the bytes written in hexadecimal between two places, up to the first thing that is
  /// none; throws 106 for a value above 255.
  void CollectHexBytes(const char* iBeginP, const char* iEndP, std::vector<uint8_t>& oBytes);

  XMLParserImpl* GetImpl() const { return mImpl; }

 private:
  const XMLElementType* FindElement(const char* iNameP) const { return mIndex.Find(iNameP); }

  const XMLElementType* mElementTypes;
  std::vector<XMLElement> mElementStack;
  // How many unknown elements are open.
  int mSkipDepth = 0;
  // Owned.
  XMLParserImpl* mImpl;
  ElementIndex mIndex;
};

}  // namespace midixml
