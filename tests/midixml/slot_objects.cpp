// SPDX-License-Identifier: MIT
#include "tests/midixml/slot_objects.h"

#include <array>
#include <utility>

#include "midixml/midinamedocumentparser.h"
#include "midixml/mlox_devicetypesparser.h"
#include "midixml/mlox_namesreaderpatchinfo.h"
#include "midixml/xmlattributelist.h"

using midixml::XMLAttributeList;
using midixml::XMLElement;
using midixml::XMLElementType;

namespace {

std::vector<std::string> sLog;

const XMLElementType kTable[] = {{0, "root", 0}, {-1, "", 0}};
const XMLElementType kRow = {6, "row", 1};

void Note(std::string iText) { sLog.push_back(std::move(iText)); }

std::string Of(const XMLElement& iElement) {
  return std::to_string(iElement.type->id) + " " + iElement.content;
}

// All operations that the three parsers have in common.
template <class Base>
class Noting : public Base {
 public:
  using Base::Base;
  ~Noting() override { Note("destructor"); }

  void StartElement(const char* iNameP, XMLAttributeList& ioAttributes) override {
    Note("StartElement " + std::string(iNameP) + " of " + ioAttributes.GetElementName());
  }
  void EndElement(const char* iNameP) override { Note("EndElement " + std::string(iNameP)); }
  void CharDataHandler(const char* iDataP, int iLength) override {
    Note("CharDataHandler " + std::string(iDataP, static_cast<size_t>(iLength)));
  }

 protected:
  void StartElement(int iId, int iParentId, XMLAttributeList& ioAttributes) override {
    Note("StartElement " + std::to_string(iId) + " in " + std::to_string(iParentId) + " of " +
         ioAttributes.GetElementName());
  }
  void EndElement(XMLElement& ioElement) override { Note("EndElement " + Of(ioElement)); }
  void HandleContent(XMLElement& ioElement, const char* iDataP, int iLength) override {
    Note("HandleContent " + Of(ioElement) + " " + std::string(iDataP, static_cast<size_t>(iLength)));
  }
};

class NameParser final : public Noting<midixml::MIDINameDocumentParser> {
 public:
  using Noting::Noting;

 protected:
  bool HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) override {
    Note(iDeviceNamesP ? "HandleDeviceNames" : "HandleDeviceNames of none");
    return true;
  }
};

class DeviceTypesParser final : public Noting<Mlox_DeviceTypesParser> {
 public:
  using Noting::Noting;

 protected:
  bool HandleDeviceTypes(MIDIDeviceTypesObj* iDeviceTypesP) override {
    Note(iDeviceTypesP ? "HandleDeviceTypes" : "HandleDeviceTypes of none");
    return true;
  }
};

class Tokeniser final : public midixml::XMLParserImpl {
 public:
  Tokeniser() : XMLParserImpl(nullptr, "", 0) {}
  ~Tokeniser() override { Note("destructor"); }

  void Parse(const char* iTextP) override { Note("Parse " + std::string(iTextP)); }
  void Parse() override { Note("Parse"); }
  void Reset(const std::string& iFileName) override { Note("Reset " + iFileName); }
  unsigned long GetCurrentLine() override {
    Note("GetCurrentLine");
    return 42;
  }
};

class Shared final : public midixml::SharedObject {
 public:
  ~Shared() override { Note("destructor"); }
};

}  // namespace

std::vector<std::string> Test_TakeSlotLog() { return std::exchange(sLog, {}); }

void* Test_MakeSlotXmlParser() {
  return static_cast<midixml::MIDIXMLParser*>(new Noting<midixml::MIDIXMLParser>("root", "", 0, kTable));
}

void* Test_MakeSlotNameParser() { return static_cast<midixml::MIDIXMLParser*>(new NameParser("", "", 0)); }

void* Test_MakeSlotDeviceTypesParser() {
  return static_cast<midixml::MIDIXMLParser*>(new DeviceTypesParser("", "", 0));
}

void* Test_MakeSlotTokeniser() { return static_cast<midixml::XMLParserImpl*>(new Tokeniser); }

void* Test_MakeSlotSharedObject() { return static_cast<midixml::SharedObject*>(new Shared); }

void* Test_SlotAttributes() {
  static XMLAttributeList sAttributes(nullptr, "tag", nullptr, 0, nullptr);
  return &sAttributes;
}

void* Test_SlotElement() {
  static XMLElement sElement{&kRow, "open"};
  return &sElement;
}

void* Test_MakeSlotPatchInfo() {
  static constexpr std::array<unsigned char, 6> kSelect = {0xB0, 0, 5, 0xB0, 32, 7};
  midixml::PatchBank bank;
  bank.mName = "B";
  bank.mCommands.Set(static_cast<int>(kSelect.size()), kSelect.data());
  return static_cast<Mlox_PatchInfo*>(new Mlox_NamesReaderPatchInfo(bank));
}
