// SPDX-License-Identifier: MIT
/// \file
/// Name documents for tests, and what comes of them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "midixml/midinamedocumentparser.h"
#include "tests/midixml/memory_file.h"
#include "tests/support/test_temp_folder.h"

/// What a parse of one document gave.
struct Test_ParsedNames {
  /// What was thrown, or 0.
  int mCode = 0;
  midixml::XMLFault mFault;
  std::string mAuthor;
  std::vector<std::unique_ptr<midixml::MIDIDeviceNames>> mDevices;

  const midixml::MIDIDeviceNames& Device(size_t iIndex = 0) const { return *mDevices.at(iIndex); }
  const midixml::Mode& Mode(size_t iIndex = 0) const { return *Device().mModes.at(iIndex).GetObject(); }
  const midixml::ChannelNameSet& Set(size_t iIndex = 0) const {
    return *Device().mChannelNameSets.at(iIndex).GetObject();
  }
  const midixml::PatchBank& Bank(size_t iIndex = 0) const { return Set().mPatchBanks.at(iIndex); }
  const midixml::PatchNameList& Patches(size_t iIndex = 0) const {
    return *Device().mPatchNameLists.at(iIndex).GetObject();
  }
  const midixml::NoteNameList& Notes(size_t iIndex = 0) const {
    return *Device().mNoteNameLists.at(iIndex).GetObject();
  }
  const midixml::ControlNameList& Controls(size_t iIndex = 0) const {
    return *Device().mControlNameLists.at(iIndex).GetObject();
  }
  const midixml::ValueNameList& Values(size_t iIndex = 0) const {
    return *Device().mValueNameLists.at(iIndex).GetObject();
  }
};

/// Keeps every record, or refuses every one.
class Test_NamesParser : public midixml::MIDINameDocumentParser {
 public:
  explicit Test_NamesParser(const std::string& iFile, bool iKeep = true)
      : MIDINameDocumentParser("MIDINameDocument", iFile, 0), mKeep(iKeep) {}

  std::string Author() const { return GetDocument() ? GetDocument()->mAuthor.AsString() : std::string(); }

  std::vector<std::unique_ptr<midixml::MIDIDeviceNames>> mDevices;
  int mHanded = 0;

 protected:
  bool HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) override {
    ++mHanded;
    if (mKeep) mDevices.emplace_back(iDeviceNamesP);
    return mKeep;
  }

 private:
  bool mKeep;
};

/// Parses a file.
inline Test_ParsedNames Test_ParseNamesFile(const std::string& iFile) {
  Test_NamesParser parser(iFile);
  Test_ParsedNames result;
  try {
    parser.Parse();
  } catch (int code) {
    result.mCode = code;
  }
  result.mFault = parser.GetFault();
  result.mAuthor = parser.Author();
  result.mDevices = std::move(parser.mDevices);
  return result;
}

/// Parses a text, through a file.
inline Test_ParsedNames Test_ParseNames(const std::string& iDocument) {
  return Test_ParseNamesFile(Test_MemoryFile(iDocument).Path());
}

/// The content of a document.
inline std::string Test_Document(const std::string& iContent) {
  return "<MIDINameDocument>" + iContent + "</MIDINameDocument>";
}

/// A document with one device.
inline std::string Test_Master(const std::string& iContent) {
  return Test_Document("<MasterDeviceNames>" + iContent + "</MasterDeviceNames>");
}

/// The bytes of a message.
inline std::vector<int> Test_Bytes(const midixml::MIDIMessage& iMessage) {
  return std::vector<int>(iMessage.GetData(), iMessage.GetData() + iMessage.GetLength());
}
