// SPDX-License-Identifier: MIT
#include "midixml/midixmlparser.h"

#include <array>
#include <charconv>
#include <cstring>

#include "cmn/i18n_utils.h"
#include "midixml/expatparser.h"
#include "midixml/reporterror.h"
#include "midixml/scannumber.h"

namespace midixml {

namespace {

constexpr int kNoParent = -1;

// The required trim. With k leading white space characters it takes those away; then it walks back from k + 1
// characters before the new end (from the last one, where k is greater than what is left), and where it
// stops it cuts, in front of a character that is no space. Documents are read and shown this way everywhere,
// so the characters that it loses stay lost.
void Trim(std::string& ioText) {
  size_t leading = 0;
  while (leading < ioText.size() && I18N_Utils::IsSpace(ioText[leading])) ++leading;
  ioText.erase(0, leading);

  const size_t length = ioText.size();
  const size_t skipped = leading <= length ? leading + 1 : 1;
  if (length <= skipped) return;
  const size_t from = length - skipped;
  size_t stop = from;
  while (stop > 0 && I18N_Utils::IsSpace(ioText[stop])) --stop;
  if (stop < from) ioText.resize(stop);
}

const char* EndOf(const char* iTextP) { return iTextP + std::strlen(iTextP); }

}  // namespace

// ---- lifetime ----

MIDIXMLParser::MIDIXMLParser(const char*, const std::string& iFileName, int iDebugLevel,
                             const XMLElementType* iElementTypesP)
    : mElementTypes(iElementTypesP),
      mImpl(new ExpatParser(this, iFileName, iDebugLevel)),
      mIndex(iElementTypesP) {}

MIDIXMLParser::MIDIXMLParser(const MIDIXMLParser&) = default;

MIDIXMLParser& MIDIXMLParser::operator=(const MIDIXMLParser&) = default;

MIDIXMLParser::~MIDIXMLParser() { delete mImpl; }

// ---- what the tokeniser calls ----

void MIDIXMLParser::StartElement(const char* iNameP, XMLAttributeList& ioAttributes) {
  if (mSkipDepth > 0) {
    ++mSkipDepth;
    return;
  }
  const XMLElementType* typeP = FindElement(iNameP);
  if (!typeP) {
    ReportError(mImpl, 1, "ignoring unknown element: %s", iNameP);
    ++mSkipDepth;
    return;
  }
  const int parentId = mElementStack.empty() ? kNoParent : mElementStack.back().type->id;
  StartElement(typeP->id, parentId, ioAttributes);
  mElementStack.push_back({typeP, std::string()});
  for (int index = 0; index < ioAttributes.GetCount(); ++index) {
    if (ioAttributes.IsUsed(index)) continue;
    ReportError(mImpl, 1, "<%s> '%s' attribute was ignored", iNameP, ioAttributes.GetName(index));
  }
}

void MIDIXMLParser::EndElement(const char*) {
  if (mSkipDepth > 0) {
    --mSkipDepth;
    return;
  }
  if (mElementStack.empty()) return;
  EndElement(mElementStack.back());
  mElementStack.pop_back();
}

void MIDIXMLParser::CharDataHandler(const char* iDataP, int iLength) {
  // Text inside an unknown root has no element to go to.
  if (mElementStack.empty()) return;
  XMLElement& element = mElementStack.back();
  switch (element.type->contentType) {
    case kDropped:
      return;
    case kHandled:
      HandleContent(element, iDataP, iLength);
      return;
    default:
      element.content.append(iDataP, static_cast<size_t>(iLength));
  }
}

void MIDIXMLParser::HandleContent(XMLElement&, const char*, int) {}

// ---- text ----

std::string& MIDIXMLParser::ContentString(std::string& ioText) {
  Trim(ioText);
  return ioText;
}

bool MIDIXMLParser::EmptyContent(std::string& ioText) {
  Trim(ioText);
  return ioText.empty();
}

int MIDIXMLParser::ContentInt(std::string& ioText) {
  Trim(ioText);
  int value = 0;
  const char* textP = ioText.c_str();
  if (!ScanInt(textP, EndOf(textP), value)) ReportError(mImpl, 103, "invalid integer '%s'", textP);
  return value;
}

bool MIDIXMLParser::ContentBool(std::string& ioText) {
  Trim(ioText);
  return ParseBoolean(ioText.c_str());
}

bool MIDIXMLParser::ParseBoolean(const char* iTextP) {
  if (std::strcmp(iTextP, "false") == 0) return false;
  if (std::strcmp(iTextP, "true") != 0) ReportError(mImpl, 105, "invalid boolean '%s'", iTextP);
  return true;
}

int MIDIXMLParser::ParseHexBytes(const char* iTextP, MIDIMessage& oMessage) {
  std::vector<uint8_t> bytes;
  CollectHexBytes(iTextP, EndOf(iTextP), bytes);
  oMessage.Set(static_cast<int32_t>(bytes.size()), bytes.data());
  return oMessage.GetLength();
}

void MIDIXMLParser::CollectHexBytes(const char* iBeginP, const char* iEndP, std::vector<uint8_t>& oBytes) {
  const char* atP = iBeginP;
  while (atP != iEndP) {
    uint32_t value = 0;
    atP = ScanHex(atP, iEndP, value);
    if (!atP) return;
    if (value > 0xFF) {
      std::array<char, 16> digits = {};
      const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16);
      ReportError(mImpl, 106, "invalid hex byte: %x", std::string_view(digits.data(), written.ptr));
    }
    oBytes.push_back(static_cast<uint8_t>(value));
    while (atP != iEndP && !I18N_Utils::IsSpace(*atP)) ++atP;
  }
}

// ---- attributes ----

bool MIDIXMLParser::GetStringAttribute(XMLAttributeList& ioAttributes, const char* iNameP,
                                       SharedString& oValue, bool iRequired) {
  const char* textP = ioAttributes.Find(iNameP, iRequired);
  if (!textP) return false;
  oValue = textP;
  return true;
}

bool MIDIXMLParser::GetIntAttribute(XMLAttributeList& ioAttributes, const char* iNameP, int& oValue,
                                    bool iRequired) {
  const char* textP = ioAttributes.Find(iNameP, iRequired);
  if (!textP) return false;
  if (!ScanInt(textP, EndOf(textP), oValue)) {
    ReportError(mImpl, 103, "'%s' element contains invalid integer '%s' attribute '%s'",
                ioAttributes.GetElementName(), textP, iNameP);
  }
  return true;
}

bool MIDIXMLParser::GetFloatAttribute(XMLAttributeList& ioAttributes, const char* iNameP, float& oValue,
                                      bool iRequired) {
  const char* textP = ioAttributes.Find(iNameP, iRequired);
  if (!textP) return false;
  if (!ScanFloat(textP, oValue)) {
    // The text says integer here too.
    ReportError(mImpl, 104, "'%s' element contains invalid integer '%s' attribute '%s'",
                ioAttributes.GetElementName(), textP, iNameP);
  }
  return true;
}

bool MIDIXMLParser::GetBoolAttribute(XMLAttributeList& ioAttributes, const char* iNameP, bool& oValue,
                                     bool iRequired) {
  const char* textP = ioAttributes.Find(iNameP, iRequired);
  if (!textP) return false;
  oValue = ParseBoolean(textP);
  return true;
}

bool MIDIXMLParser::GetVersionAttribute(XMLAttributeList& ioAttributes, const char* iNameP, Version& oValue,
                                        bool iRequired) {
  const char* textP = ioAttributes.Find(iNameP, iRequired);
  if (!textP) return false;
  const char* endP = EndOf(textP);
  std::array<int, 3> parts = {};
  for (int& part : parts) {
    textP = ScanInt(textP, endP, part);
    if (!textP || textP == endP || *textP != '.') break;
    ++textP;
  }
  oValue.major = static_cast<uint8_t>(parts[0]);
  oValue.minor = static_cast<uint8_t>(parts[1]);
  oValue.bugfix = static_cast<uint8_t>(parts[2]);
  return true;
}

// ---- containment ----

void MIDIXMLParser::ContainmentError(int iId, int iParentId) {
  if (iParentId == kNoParent) {
    ReportError(mImpl, 100, "%s is not a valid top-level element", mElementTypes[iId].name);
  } else {
    ReportError(mImpl, 102, "<%s> not allowed within <%s>", mElementTypes[iId].name,
                mElementTypes[iParentId].name);
  }
}

}  // namespace midixml
