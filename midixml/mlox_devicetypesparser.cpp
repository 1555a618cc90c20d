// SPDX-License-Identifier: MIT
#include "midixml/mlox_devicetypesparser.h"

#include <memory>
#include <string>
#include <utility>

#include "midixml/asciicase.h"
#include "midixml/keepforever.h"
#include "midixml/reporterror.h"

using midixml::XMLAttributeList;
using midixml::XMLElement;
using midixml::XMLElementType;

namespace {

constexpr int kNoParent = -1;

enum EElement : int {
  kMIDIDeviceTypes = 0,
  kAuthor,
  kMIDIDeviceType,
  kInquiryResponse,
  kDeviceID,
  kMIDIPortGroup,
  kMIDIIn,
  kMIDIOut,
  kReceives,
  kTransmits,
  kElementCount
};

constinit const XMLElementType kElements[kElementCount + 1] = {
    {kMIDIDeviceTypes, "MIDIDeviceTypes", midixml::kDropped},
    {kAuthor, "Author", midixml::kCollected},
    {kMIDIDeviceType, "MIDIDeviceType", midixml::kDropped},
    {kInquiryResponse, "InquiryResponse", midixml::kDropped},
    {kDeviceID, "DeviceID", midixml::kDropped},
    {kMIDIPortGroup, "MIDIPortGroup", midixml::kDropped},
    {kMIDIIn, "MIDIIn", midixml::kDropped},
    {kMIDIOut, "MIDIOut", midixml::kDropped},
    {kReceives, "Receives", midixml::kDropped},
    {kTransmits, "Transmits", midixml::kDropped},
    {-1, "", midixml::kDropped},
};

int RequiredParent(int iId) {
  switch (iId) {
    case kMIDIDeviceTypes:
      return kNoParent;
    case kAuthor:
    case kMIDIDeviceType:
      return kMIDIDeviceTypes;
    case kMIDIIn:
    case kMIDIOut:
      return kMIDIPortGroup;
    default:
      return kMIDIDeviceType;
  }
}

void ReadText(XMLAttributeList& ioAttributes, const char* iNameP, std::string& oText) {
  if (const char* textP = ioAttributes.Find(iNameP, false)) oText = textP;
}

// In any letter case, and any other text leaves the flag as it is. That differs from other documents, and is
// settled.
void ReadFlag(XMLAttributeList& ioAttributes, const char* iNameP, bool& ioFlag) {
  const char* textP = ioAttributes.Find(iNameP, false);
  if (!textP) return;
  if (midixml::EqualsIgnoringCase(textP, "true")) ioFlag = true;
  if (midixml::EqualsIgnoringCase(textP, "false")) ioFlag = false;
}

// Replaces an object that may be there by a new one.
template <class T>
void Renew(T*& ioObjectP) {
  delete std::exchange(ioObjectP, nullptr);
  ioObjectP = new T;
}

template <class T>
void AppendNew(std::vector<T*>& ioObjects) {
  auto object = std::make_unique<T>();
  ioObjects.push_back(object.get());
  static_cast<void>(object.release());
}

}  // namespace

Mlox_DeviceTypesParser::Mlox_DeviceTypesParser(const char* iRootNameP, const char* iFileNameP,
                                               int iDebugLevel)
    : MIDIXMLParser(iRootNameP, std::string(iFileNameP), iDebugLevel, kElements) {}

Mlox_DeviceTypesParser::Mlox_DeviceTypesParser(const Mlox_DeviceTypesParser&) = default;

Mlox_DeviceTypesParser& Mlox_DeviceTypesParser::operator=(const Mlox_DeviceTypesParser&) = default;

Mlox_DeviceTypesParser::~Mlox_DeviceTypesParser() {
  // A copy may have these in use, so they stay; reachable, since nobody can free them any more.
  for (const void* leftoverP :
       {static_cast<const void*>(mDeviceTypes), static_cast<const void*>(mDeviceType),
        static_cast<const void*>(mPortGroup), static_cast<const void*>(mPendingPort)}) {
    if (leftoverP) midixml::KeepForEver(leftoverP);
  }
}

bool Mlox_DeviceTypesParser::HandleDeviceTypes(MIDIDeviceTypesObj*) { return false; }

void Mlox_DeviceTypesParser::HandleContent(XMLElement&, const char*, int) {}

// ---- start of elements ----

void Mlox_DeviceTypesParser::StartElement(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  // Pushed also for an element that fails now.
  mParentIds.push_back(iParentId);
  if (iParentId != RequiredParent(iId)) ContainmentError(iId, iParentId);
  switch (iId) {
    case kMIDIDeviceTypes:
      Renew(mDeviceTypes);
      break;
    case kAuthor:
      break;
    case kMIDIDeviceType:
      StartDeviceType(ioAttributes);
      break;
    case kMIDIPortGroup:
      Renew(mPortGroup);
      break;
    case kMIDIIn:
      StartPort(mHaveIn, mHaveOut);
      break;
    case kMIDIOut:
      StartPort(mHaveOut, mHaveIn);
      break;
    case kInquiryResponse:
      AppendNew(mDeviceType->mInquiryResponses);
      break;
    case kDeviceID:
      AppendNew(mDeviceType->mDeviceIDs);
      break;
    case kReceives:
      AppendNew(mDeviceType->mReceives);
      break;
    case kTransmits:
      AppendNew(mDeviceType->mTransmits);
      break;
    default:
      midixml::ReportError(GetImpl(), 1, "unknown element: %s", ioAttributes.GetElementName());
  }
}

void Mlox_DeviceTypesParser::StartDeviceType(XMLAttributeList& ioAttributes) {
  Renew(mDeviceType);
  ReadText(ioAttributes, "Manufacturer", mDeviceType->mManufacturer);
  ReadText(ioAttributes, "Model", mDeviceType->mModel);
  ReadText(ioAttributes, "Image", mDeviceType->mImage);
  ReadFlag(ioAttributes, "CanRoute", mDeviceType->mCanRoute);
  ReadFlag(ioAttributes, "IsDrumMachine", mDeviceType->mIsDrumMachine);
  ReadFlag(ioAttributes, "IsEffectUnit", mDeviceType->mIsEffectUnit);
  ReadFlag(ioAttributes, "IsMixer", mDeviceType->mIsMixer);
  ReadFlag(ioAttributes, "IsSampler", mDeviceType->mIsSampler);
  ReadFlag(ioAttributes, "SupportsGeneralMIDI", mDeviceType->mSupportsGeneralMIDI);
  ReadFlag(ioAttributes, "SupportsMMC", mDeviceType->mSupportsMMC);
}

// An input and an output that follow each other in either order make a pair. A second one of the same kind
// begins anew; a half that is alone at the end of its group waits for the other half in the next group.
void Mlox_DeviceTypesParser::StartPort(bool& ioHaveThis, bool& ioHaveOther) {
  if (!ioHaveOther) {
    Renew(mPendingPort);
    ioHaveThis = true;
    return;
  }
  mPortGroup->mPorts.push_back(mPendingPort);
  mPendingPort = nullptr;
  ioHaveThis = false;
  ioHaveOther = false;
}

// ---- end of elements ----

void Mlox_DeviceTypesParser::EndElement(XMLElement& ioElement) {
  if (mParentIds.empty()) return;
  const int parentId = mParentIds.back();
  mParentIds.pop_back();
  switch (ioElement.type->id) {
    case kMIDIDeviceTypes:
      EndRoot(parentId);
      break;
    case kAuthor:
      if (parentId == kMIDIDeviceTypes && mDeviceTypes)
        mDeviceTypes->mAuthor = ContentString(ioElement.content);
      break;
    case kMIDIDeviceType:
      EndDeviceType(parentId);
      break;
    case kMIDIPortGroup:
      EndPortGroup(parentId);
      break;
    default:
      break;
  }
}

void Mlox_DeviceTypesParser::EndRoot(int iParentId) {
  if (iParentId != kNoParent || !mDeviceTypes) return;
  if (!HandleDeviceTypes(mDeviceTypes)) delete mDeviceTypes;
  mDeviceTypes = nullptr;
}

void Mlox_DeviceTypesParser::EndDeviceType(int iParentId) {
  if (!mDeviceType) return;
  if (iParentId == kMIDIDeviceTypes && mDeviceTypes) mDeviceTypes->mDeviceTypes.push_back(mDeviceType);
  mDeviceType = nullptr;
}

void Mlox_DeviceTypesParser::EndPortGroup(int iParentId) {
  if (!mPortGroup) return;
  if (iParentId == kMIDIDeviceType && mDeviceType) mDeviceType->mPortGroups.push_back(mPortGroup);
  mPortGroup = nullptr;
}
