// SPDX-License-Identifier: MIT
#include "midixml/midinamedocumentparser.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "midixml/keepforever.h"
#include "midixml/midinameelements.h"
#include "midixml/reporterror.h"

namespace midixml {

namespace {

// Stands for a channel that was not given: none.
constexpr int kNoChannel = 0;

constexpr const char* kEmptySetName = "channel name set string is empty";
constexpr const char* kEmptyPatchListName = "patch name list string is empty";
constexpr const char* kEmptyControlListName = "control name list string is empty";
constexpr const char* kEmptyValueListName = "value name list string is empty";

bool IsDeviceElement(int iId) {
  return iId == kMasterDeviceNames || iId == kExtendingDeviceNames || iId == kStandardDeviceMode;
}

// Fixed channel mode messages: the controller number of each of them, whose value is 0.
int ModeMessageController(int iId) {
  switch (iId) {
    case kAllSoundOff:
      return 0x78;
    case kResetAllControllers:
      return 0x79;
    case kAllNotesOff:
      return 0x7B;
    case kOmniOff:
      return 0x7C;
    case kOmniOn:
      return 0x7D;
    case kMonoMode:
      return 0x7E;
    case kPolyMode:
      return 0x7F;
    default:
      return -1;
  }
}

}  // namespace

// ---- lifetime ----

MIDINameDocumentParser::MIDINameDocumentParser(const char* iRootNameP, const std::string& iFileName,
                                               int iDebugLevel)
    : MIDIXMLParser(iRootNameP, iFileName, iDebugLevel, kMIDINameElements) {}

MIDINameDocumentParser::~MIDINameDocumentParser() {
  if (mOwnsDeviceNames) delete mDeviceNames;
}

bool MIDINameDocumentParser::HandleDeviceNames(MIDIDeviceNames*) { return false; }

// ---- start of elements ----

void MIDINameDocumentParser::StartElement(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  // Patches and notes first: they are nearly all of a document.
  if (iId == kPatch) {
    RequireParent(iId, iParentId, {kPatchNameList});
    StartPatch(ioAttributes);
  } else if (iId >= kMIDICommands) {
    StartCommandLevel(iId, iParentId, ioAttributes);
  } else if (iId >= kUsesPatchNameList) {
    StartListLevel(iId, iParentId, ioAttributes);
  } else if (iId >= kChannelNameSet) {
    StartSetLevel(iId, iParentId, ioAttributes);
  } else if (iId >= kStandardDeviceMode || iId == kSupportsStandardDeviceMode) {
    StartModeLevel(iId, iParentId, ioAttributes);
  } else {
    StartDocumentLevel(iId, iParentId, ioAttributes);
  }
}

void MIDINameDocumentParser::StartDocumentLevel(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  switch (iId) {
    case kMIDINameDocument:
      RequireParent(iId, iParentId, {-1});
      StartDocument();
      break;
    case kAuthor:
      RequireParent(iId, iParentId, {kMIDINameDocument});
      break;
    case kMasterDeviceNames:
      if (mDocumentKind >= 2) ContainmentError(iId, iParentId);
      RequireParent(iId, iParentId, {kMIDINameDocument});
      StartDeviceNames();
      break;
    case kExtendingDeviceNames:
      if (mDocumentKind != 0 && mDocumentKind != 2) ContainmentError(iId, iParentId);
      RequireParent(iId, iParentId, {kMIDINameDocument});
      StartDeviceNames();
      break;
    case kManufacturer:
    case kModel:
      RequireParent(iId, iParentId, {kMasterDeviceNames, kExtendingDeviceNames});
      break;
    case kDevice:
      RequireParent(iId, iParentId, {kMasterDeviceNames, kExtendingDeviceNames});
      StartDevice(ioAttributes);
      break;
    default:
      ReportError(GetImpl(), 1, "unknown element: %s", ioAttributes.GetElementName());
  }
}

void MIDINameDocumentParser::StartModeLevel(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  switch (iId) {
    case kStandardDeviceMode:
      // Makes a device record and no mode, whatever its name says.
      if (mDocumentKind != 0 && mDocumentKind != 3) ContainmentError(iId, iParentId);
      RequireParent(iId, iParentId, {kMIDINameDocument});
      StartDeviceNames();
      break;
    case kSupportsStandardDeviceMode:
    case kCustomDeviceMode:
      RequireParent(iId, iParentId, {kMasterDeviceNames});
      StartMode(ioAttributes, iId == kSupportsStandardDeviceMode);
      break;
    case kDeviceModeEnable:
    case kDeviceModeDisable:
      StartModeSwitch(iId, iParentId);
      break;
    case kChannelNameSetAssignments:
      StartAssignments(iId, iParentId);
      break;
    case kChannelNameSetAssign:
      RequireParent(iId, iParentId, {kChannelNameSetAssignments});
      StartAssign(ioAttributes);
      break;
    default:
      ReportError(GetImpl(), 1, "unknown element: %s", ioAttributes.GetElementName());
  }
}

void MIDINameDocumentParser::StartSetLevel(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  switch (iId) {
    case kChannelNameSet:
      RequireParent(iId, iParentId, {kMasterDeviceNames, kStandardDeviceMode});
      StartChannelNameSet(ioAttributes);
      break;
    case kAvailableForChannels:
      RequireParent(iId, iParentId, {kChannelNameSet});
      mAvailableChannels = mChannelNameSet->mAvailableForChannels.data();
      break;
    case kAvailableChannel:
      RequireParent(iId, iParentId, {kAvailableForChannels});
      StartAvailableChannel(ioAttributes);
      break;
    case kPatchBank:
      RequireParent(iId, iParentId, {kChannelNameSet});
      StartPatchBank(ioAttributes);
      break;
    default:
      ReportError(GetImpl(), 1, "unknown element: %s", ioAttributes.GetElementName());
  }
}

void MIDINameDocumentParser::StartListLevel(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  switch (iId) {
    case kUsesPatchNameList:
      RequireParent(iId, iParentId, {kPatchBank});
      GetStringAttribute(ioAttributes, "Name", mPatchBank->mPatchNameList.mName, true);
      break;
    case kPatchNameList:
      StartPatchNameList(iId, iParentId, ioAttributes);
      break;
    case kUsesNoteNameList:
      StartUsesNoteNameList(iId, iParentId, ioAttributes);
      break;
    case kNoteNameList:
      StartNoteNameList(iId, iParentId, ioAttributes);
      break;
    case kNoteGroup:
      RequireParent(iId, iParentId, {kNoteNameList});
      StartNoteGroup(ioAttributes);
      break;
    case kNote:
      RequireParent(iId, iParentId, {kNoteNameList, kNoteGroup});
      StartNote(iParentId, ioAttributes);
      break;
    case kUsesControlNameList:
      StartUsesControlNameList(iId, iParentId, ioAttributes);
      break;
    case kControlNameList:
      StartControlNameList(iId, iParentId, ioAttributes);
      break;
    case kControl:
      RequireParent(iId, iParentId, {kControlNameList});
      StartControl(ioAttributes);
      break;
    case kValues:
      RequireParent(iId, iParentId, {kControl});
      StartValues(ioAttributes);
      break;
    case kUsesValueNameList:
      RequireParent(iId, iParentId, {kValues});
      GetStringAttribute(ioAttributes, "Name", mControl->mValueNameList.mName, true);
      break;
    case kValueNameList:
      StartValueNameList(iId, iParentId, ioAttributes);
      break;
    case kValue:
      RequireParent(iId, iParentId, {kValueNameList});
      StartValue(ioAttributes);
      break;
    default:
      ReportError(GetImpl(), 1, "unknown element: %s", ioAttributes.GetElementName());
  }
}

void MIDINameDocumentParser::StartCommandLevel(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  switch (iId) {
    case kMIDICommands:
      StartMIDICommands(iId, iParentId);
      break;
    case kPatchMIDICommands:
      RequireParent(iId, iParentId, {kPatch});
      mCommands = &mPatch->mCommands;
      break;
    case kSysEx:
      RequireParent(iId, iParentId, {kMIDICommands});
      break;
    case kSysExDeviceID:
    case kSysExChannel: {
      RequireParent(iId, iParentId, {kSysEx});
      const uint8_t multiplier = ByteAttribute(ioAttributes, "Multiplier", false);
      const uint8_t offset = ByteAttribute(ioAttributes, "Offset", false);
      const uint8_t record = iId == kSysExDeviceID ? 0x01 : 0x02;
      AppendCommand({0xFF, record, multiplier, offset});
      break;
    }
    default:
      RequireParent(iId, iParentId, {kMIDICommands, kPatchMIDICommands});
      StartChannelMessage(iId, ioAttributes);
  }
}

// ---- document and device ----

void MIDINameDocumentParser::StartDocument() {
  mDocument = new MIDINameDocument;
  KeepForEver(mDocument);
}

void MIDINameDocumentParser::StartDeviceNames() {
  if (mOwnsDeviceNames) delete mDeviceNames;
  mOwnsDeviceNames = false;
  mDeviceNames = new MIDIDeviceNames;
  mOwnsDeviceNames = true;
}

void MIDINameDocumentParser::StartDevice(XMLAttributeList& ioAttributes) {
  GetStringAttribute(ioAttributes, "Name", mDeviceNames->mDeviceName, false);
  GetIntAttribute(ioAttributes, "UniqueID", mDeviceNames->mUniqueID, false);
}

void MIDINameDocumentParser::StartMode(XMLAttributeList& ioAttributes, bool iStandard) {
  mMode = CountedPtr<Mode>::Make();
  mDeviceNames->mModes.emplace_back(mMode.get());
  GetStringAttribute(ioAttributes, "Name", mMode->mName, true);
  mMode->mSupportsStandardDeviceMode = iStandard;
}

void MIDINameDocumentParser::StartModeSwitch(int iId, int iParentId) {
  RequireParent(iId, iParentId, {kStandardDeviceMode, kCustomDeviceMode});
  // A standard device mode makes no mode of its own, and there may be no earlier one.
  if (!mMode) ContainmentError(iId, iParentId);
  mCommands = iId == kDeviceModeEnable ? &mMode->mDeviceModeEnable : &mMode->mDeviceModeDisable;
}

void MIDINameDocumentParser::StartAssignments(int iId, int iParentId) {
  RequireParent(iId, iParentId, {kStandardDeviceMode, kCustomDeviceMode, kPatch});
  if (iParentId == kPatch) {
    mChannelAssigns = mPatch->mChannelNameSets.Make();
    return;
  }
  if (!mMode) ContainmentError(iId, iParentId);
  mChannelAssigns = mMode->mChannelNameSets.data();
}

void MIDINameDocumentParser::StartAssign(XMLAttributeList& ioAttributes) {
  const int channel = Channel(ioAttributes);
  SharedString name;
  GetStringAttribute(ioAttributes, "NameSet", name, true);
  if (channel != kNoChannel) mChannelAssigns[channel - 1].mName = std::move(name);
}

// ---- channel name sets ----

void MIDINameDocumentParser::StartChannelNameSet(XMLAttributeList& ioAttributes) {
  const auto set = CountedPtr<ChannelNameSet>::Make();
  mChannelNameSet = set.get();
  mDeviceNames->mChannelNameSets.emplace_back(mChannelNameSet);
  GetStringAttribute(ioAttributes, "Name", mChannelNameSet->mName, true);
  if (mChannelNameSet->mName.IsEmpty()) ReportError(GetImpl(), 206, kEmptySetName);
}

void MIDINameDocumentParser::StartAvailableChannel(XMLAttributeList& ioAttributes) {
  const int channel = Channel(ioAttributes);
  bool available = true;
  GetBoolAttribute(ioAttributes, "Available", available, false);
  if (channel != kNoChannel) mAvailableChannels[channel - 1] = available;
}

void MIDINameDocumentParser::StartPatchBank(XMLAttributeList& ioAttributes) {
  mPatchBank = &mChannelNameSet->mPatchBanks.emplace_back();
  GetStringAttribute(ioAttributes, "Name", mPatchBank->mName, true);
  GetBoolAttribute(ioAttributes, "ROM", mPatchBank->mROM, false);
}

// The attribute comes before the parent here: without a name the code is 8 wherever the element stands.
void MIDINameDocumentParser::StartUsesNoteNameList(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  SharedString name;
  GetStringAttribute(ioAttributes, "Name", name, true);
  RequireParent(iId, iParentId, {kChannelNameSet, kPatch});
  auto& reference = iParentId == kPatch ? mPatch->mNoteNameList : mChannelNameSet->mNoteNameList;
  reference.mName = std::move(name);
}

void MIDINameDocumentParser::StartUsesControlNameList(int iId, int iParentId,
                                                      XMLAttributeList& ioAttributes) {
  SharedString name;
  GetStringAttribute(ioAttributes, "Name", name, true);
  RequireParent(iId, iParentId, {kChannelNameSet, kPatch});
  auto& reference = iParentId == kPatch ? mPatch->mControlNameList : mChannelNameSet->mControlNameList;
  reference.mName = std::move(name);
}

// ---- lists: each is made and named before its parent is tested ----

void MIDINameDocumentParser::StartPatchNameList(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  const auto list = CountedPtr<PatchNameList>::Make();
  mLastPatchListName.emplace();
  if (GetStringAttribute(ioAttributes, "Name", list->mName, iParentId != kPatchBank)) {
    mLastPatchListName = list->mName;
    if (list->mName.IsEmpty()) ReportError(GetImpl(), 206, kEmptyPatchListName);
  }
  if (iParentId == kPatchBank) {
    const bool hadOne = mPatchBank->mPatchNameList.GetObject() != nullptr;
    mPatchBank->mPatchNameList.SetObject(list.get());
    if (hadOne) ReportError(GetImpl(), 201, "<patchBank> may only contain one <patchNameList>");
  } else if (iParentId == kCustomDeviceMode) {
    mMode->mPatchNameLists.emplace_back(list.get());
  } else if (IsDeviceElement(iParentId)) {
    mDeviceNames->mPatchNameLists.emplace_back(list.get());
  } else {
    ContainmentError(iId, iParentId);
  }
  mPatchNameList = list.get();
}

void MIDINameDocumentParser::StartNoteNameList(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  const auto list = CountedPtr<NoteNameList>::Make();
  // What is tested is the name of the patch name list most recently begun, and not that of this list. That is
  // settled: a named note name list behind a patch name list without a name, as a bank may hold it, is
  // refused.
  if (GetStringAttribute(ioAttributes, "Name", list->mName, false) && mLastPatchListName &&
      mLastPatchListName->IsEmpty()) {
    ReportError(GetImpl(), 206, kEmptyPatchListName);
  }
  if (iParentId == kPatch) {
    const bool hadOne = mPatch->mNoteNameList.GetObject() != nullptr;
    mPatch->mNoteNameList.SetObject(list.get());
    if (hadOne) ReportError(GetImpl(), 204, "<patch> may only contain one <noteNameList>");
  } else if (iParentId == kCustomDeviceMode) {
    mMode->mNoteNameLists.emplace_back(list.get());
  } else if (IsDeviceElement(iParentId)) {
    mDeviceNames->mNoteNameLists.emplace_back(list.get());
  } else {
    ContainmentError(iId, iParentId);
  }
  mNoteNameList = list.get();
}

void MIDINameDocumentParser::StartControlNameList(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  const auto list = CountedPtr<ControlNameList>::Make();
  if (GetStringAttribute(ioAttributes, "Name", list->mName, false) && list->mName.IsEmpty()) {
    ReportError(GetImpl(), 206, kEmptyControlListName);
  }
  if (iParentId == kPatch) {
    const bool hadOne = mPatch->mControlNameList.GetObject() != nullptr;
    mPatch->mControlNameList.SetObject(list.get());
    if (hadOne) ReportError(GetImpl(), 205, "<patch> may only contain one <controlNameList>");
  } else if (iParentId == kCustomDeviceMode) {
    mMode->mControlNameLists.emplace_back(list.get());
  } else if (IsDeviceElement(iParentId)) {
    mDeviceNames->mControlNameLists.emplace_back(list.get());
  } else {
    ContainmentError(iId, iParentId);
  }
  mControlNameList = list.get();
}

void MIDINameDocumentParser::StartValueNameList(int iId, int iParentId, XMLAttributeList& ioAttributes) {
  const auto list = CountedPtr<ValueNameList>::Make();
  if (GetStringAttribute(ioAttributes, "Name", list->mName, false) && list->mName.IsEmpty()) {
    ReportError(GetImpl(), 206, kEmptyValueListName);
  }
  if (iParentId == kCustomDeviceMode) {
    mMode->mValueNameLists.emplace_back(list.get());
  } else if (IsDeviceElement(iParentId)) {
    mDeviceNames->mValueNameLists.emplace_back(list.get());
  } else {
    if (iParentId == kValues) StoreInlineValueNameList(list.get());
    ContainmentError(iId, iParentId);
  }
  mValueNameList = list.get();
}

// Stored, and refused all the same by who calls. That is settled: value names are given at device or mode
// level and used from there.
void MIDINameDocumentParser::StoreInlineValueNameList(ValueNameList* iListP) {
  const bool hadOne = mControl->mValueNameList.GetObject() != nullptr;
  mControl->mValueNameList.SetObject(iListP);
  if (hadOne) ReportError(GetImpl(), 207, "<control> may only contain one <valueNameList>");
}

// ---- what lists hold ----

void MIDINameDocumentParser::StartPatch(XMLAttributeList& ioAttributes) {
  mPatch = &mPatchNameList->emplace_back();
  GetStringAttribute(ioAttributes, "Number", mPatch->mNumber, true);
  GetStringAttribute(ioAttributes, "Name", mPatch->mName, true);
  int program = 0;
  if (!GetIntAttribute(ioAttributes, "ProgramChange", program, false)) return;
  const uint8_t select[] = {0xC0, static_cast<uint8_t>(program)};
  mPatch->mCommands.Append(2, select);
}

void MIDINameDocumentParser::StartNoteGroup(XMLAttributeList& ioAttributes) {
  mNoteGroup = new NoteGroup;
  KeepForEver(mNoteGroup);
  GetStringAttribute(ioAttributes, "Name", mNoteGroup->mName, false);
  // The list gets a copy, now, while the group is empty. So a list shows its groups by name and without
  // notes: the notes go to the object at hand. That is the required result.
  mNoteNameList->mGroups.push_back(*mNoteGroup);
}

void MIDINameDocumentParser::StartNote(int iParentId, XMLAttributeList& ioAttributes) {
  std::vector<Note>& notes = iParentId == kNoteGroup ? *mNoteGroup : mNoteNameList->mNotes;
  Note& note = notes.emplace_back();
  note.mNumber = ByteAttribute(ioAttributes, "Number", true);
  GetStringAttribute(ioAttributes, "Name", note.mName, true);
}

void MIDINameDocumentParser::StartControl(XMLAttributeList& ioAttributes) {
  mControl = &mControlNameList->emplace_back();
  mControl->mType = ControlType(ioAttributes);
  int number = 0;
  GetIntAttribute(ioAttributes, "Number", number, true);
  mControl->mNumber = static_cast<uint16_t>(number);
  GetStringAttribute(ioAttributes, "Name", mControl->mName, true);
}

int8_t MIDINameDocumentParser::ControlType(XMLAttributeList& ioAttributes) {
  const char* textP = ioAttributes.Find("Type", false);
  if (!textP) return Control::k7Bit;
  const std::string_view type(textP);
  if (type == "14bit") return Control::k14Bit;
  if (type == "RPN") return Control::kRPN;
  if (type == "NRPN") return Control::kNRPN;
  if (type != "7bit") ReportError(GetImpl(), 208, "unknown control type: %s", type);
  return Control::k7Bit;
}

void MIDINameDocumentParser::StartValues(XMLAttributeList& ioAttributes) {
  GetFloatAttribute(ioAttributes, "Min", mControl->mMin, true);
  GetFloatAttribute(ioAttributes, "Max", mControl->mMax, true);
  GetFloatAttribute(ioAttributes, "Default", mControl->mDefault, false);
}

void MIDINameDocumentParser::StartValue(XMLAttributeList& ioAttributes) {
  ControlValue& value = mValueNameList->emplace_back();
  int number = 0;
  GetIntAttribute(ioAttributes, "Number", number, true);
  value.mNumber = static_cast<uint16_t>(number);
  GetStringAttribute(ioAttributes, "Name", value.mName, true);
}

// ---- MIDI commands ----

void MIDINameDocumentParser::StartMIDICommands(int iId, int iParentId) {
  RequireParent(iId, iParentId, {kDeviceModeEnable, kDeviceModeDisable, kPatchBank});
  if (iParentId == kPatchBank) {
    mCommands = &mPatchBank->mCommands;
  } else {
    mCommands = iParentId == kDeviceModeEnable ? &mMode->mDeviceModeEnable : &mMode->mDeviceModeDisable;
  }
}

// Values go into one byte each as they are, without a mask; the channel bits stay 0.
void MIDINameDocumentParser::StartChannelMessage(int iId, XMLAttributeList& ioAttributes) {
  const auto byte = [&](const char* iNameP) { return ByteAttribute(ioAttributes, iNameP, true); };
  const auto appendPair = [&](uint8_t iStatus, const char* iFirstP, const char* iSecondP) {
    const uint8_t first = byte(iFirstP);
    const uint8_t second = byte(iSecondP);
    AppendCommand({iStatus, first, second});
  };
  switch (iId) {
    case kMIDIDelay:
      AppendCommand({0xFF, 0x00, byte("Milliseconds")});
      return;
    case kNoteOn:
      appendPair(0x90, "Note", "Velocity");
      return;
    case kNoteOff:
      appendPair(0x80, "Note", "Velocity");
      return;
    case kPolyKeyPressure:
      appendPair(0xA0, "Note", "Pressure");
      return;
    case kControlChange:
      appendPair(0xB0, "Control", "Value");
      return;
    case kProgramChange:
      AppendCommand({0xC0, byte("Number")});
      return;
    case kChannelKeyPressure:
      AppendCommand({0xD0, byte("Pressure")});
      return;
    case kPitchBendChange:
      StartPitchBend(ioAttributes);
      return;
    case kLocalControl:
      StartLocalControl(ioAttributes);
      return;
    default:
      break;
  }
  const int controller = ModeMessageController(iId);
  if (controller >= 0) AppendCommand({0xB0, static_cast<uint8_t>(controller), 0x00});
}

void MIDINameDocumentParser::StartPitchBend(XMLAttributeList& ioAttributes) {
  int value = 0;
  GetIntAttribute(ioAttributes, "Value", value, true);
  AppendCommand({0xE0, static_cast<uint8_t>(value & 0x7F), static_cast<uint8_t>((value >> 7) & 0x7F)});
}

void MIDINameDocumentParser::StartLocalControl(XMLAttributeList& ioAttributes) {
  const std::string_view value = ioAttributes.Find("Value", true);
  if (value == "off") AppendCommand({0xB0, 0x7A, 0x00});
  if (value == "on") AppendCommand({0xB0, 0x7A, 0x7F});
}

void MIDINameDocumentParser::HandleContent(XMLElement& ioElement, const char* iDataP, int iLength) {
  if (ioElement.type->id != kSysEx) return;
  // Each piece is handled by itself, as the tokeniser delivers it.
  std::vector<uint8_t> bytes;
  CollectHexBytes(iDataP, iDataP + iLength, bytes);
  mCommands->Append(static_cast<int32_t>(bytes.size()), bytes.data());
}

// ---- end of elements ----

void MIDINameDocumentParser::EndElement(XMLElement& ioElement) {
  switch (ioElement.type->id) {
    case kAuthor:
      mDocument->mAuthor.Assign(ContentString(ioElement.content));
      break;
    case kManufacturer:
      mDeviceNames->mManufacturer.Assign(ContentString(ioElement.content));
      break;
    case kModel:
      mDeviceNames->mModels.emplace_back(ContentString(ioElement.content));
      break;
    case kMasterDeviceNames:
    case kExtendingDeviceNames:
    case kStandardDeviceMode:
      FinishDeviceNames();
      break;
    default:
      break;
  }
}

void MIDINameDocumentParser::FinishDeviceNames() {
  mDeviceNames->ResolveReferences(false);
  const bool taken = HandleDeviceNames(mDeviceNames);
  mOwnsDeviceNames = false;
  if (!taken) delete mDeviceNames;
}

// ---- helpers ----

void MIDINameDocumentParser::RequireParent(int iId, int iParentId, std::initializer_list<int> iAllowed) {
  if (std::find(iAllowed.begin(), iAllowed.end(), iParentId) == iAllowed.end())
    ContainmentError(iId, iParentId);
}

// The channel that an element names, 1 to 16; none for any other number, and without the attribute.
int MIDINameDocumentParser::Channel(XMLAttributeList& ioAttributes) {
  int channel = kNoChannel;
  GetIntAttribute(ioAttributes, "Channel", channel, false);
  return channel >= 1 && channel <= kChannelCount ? channel : kNoChannel;
}

// The low eight bits of an integer; 0 without the attribute.
uint8_t MIDINameDocumentParser::ByteAttribute(XMLAttributeList& ioAttributes, const char* iNameP,
                                              bool iRequired) {
  int value = 0;
  GetIntAttribute(ioAttributes, iNameP, value, iRequired);
  return static_cast<uint8_t>(value);
}

void MIDINameDocumentParser::AppendCommand(std::initializer_list<uint8_t> iBytes) {
  mCommands->Append(static_cast<int32_t>(iBytes.size()), iBytes.begin());
}

}  // namespace midixml
