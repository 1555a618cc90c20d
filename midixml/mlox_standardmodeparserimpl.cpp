// SPDX-License-Identifier: MIT
#include "midixml/mlox_standardmodeparserimpl.h"

#include <string>

#include "cmn/sys_fileloc.h"
#include "cmn/sys_filelocutils.h"
#include "midixml/scanfolder.h"

Mlox_StandardModeParserImpl::Mlox_StandardModeParserImpl() : MIDINameDocumentParser("", "", 0) {}

// Never destroyed, so that a load at the end of the process finds it.
Mlox_StandardModeParserImpl& Mlox_StandardModeParserImpl::Instance() {
  static auto* const sInstanceP = new Mlox_StandardModeParserImpl;
  return *sInstanceP;
}

bool Mlox_StandardModeParserImpl::HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) {
  mStandardDevices.push_back(iDeviceNamesP);
  return true;
}

void Mlox_StandardModeParserImpl::LoadDocuments() {
  if (mLoaded) return;
  const Sys_FileLoc folder = Sys_FileLocUtils::GetMIDIPatchFileBaseDir();
  std::vector<std::string> names;
  midixml::ScanFolder(&names, folder, true);
  try {
    for (const std::string& name : names) {
      if (name.empty()) continue;
      const Sys_FileLoc file(folder, name + ".midnam", Sys_FileType::cUnknown);
      Reset(file.GetFullPath());
      Parse();
    }
    mLoaded = true;
  } catch (...) {
    // Standard modes are a help that a device can do without; whatever is wrong shows when that document is
    // asked for itself. After a fault inside a document the parser has open elements and every later load
    // ends here as well.
  }
}
