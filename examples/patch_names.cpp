// SPDX-License-Identifier: MIT
// Prints the patches of a channel: what they are called, and how to select them.
//
// The document is written first, so that the program needs no file of yours. Build against the installed
// package with c++ -std=c++20 patch_names.cpp $(pkg-config --cflags --libs mlox)
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "cmn/sys_filelocposix.h"
#include "mdid/mdie_programevent.h"
#include "midixml/mlox_namesreader.h"

static const char kDocument[] = R"(<MIDINameDocument>
  <MasterDeviceNames>
    <Manufacturer>Acme</Manufacturer><Model>Example One</Model>
    <CustomDeviceMode Name="Voices">
      <ChannelNameSetAssignments><ChannelNameSetAssign Channel="1" NameSet="Set"/></ChannelNameSetAssignments>
    </CustomDeviceMode>
    <ChannelNameSet Name="Set">
      <PatchBank Name="Keys">
        <MIDICommands><ControlChange Control="0" Value="1"/><ControlChange Control="32" Value="4"/></MIDICommands>
        <UsesPatchNameList Name="Keys"/>
      </PatchBank>
    </ChannelNameSet>
    <PatchNameList Name="Keys">
      <Patch Number="A1" Name="Grand" ProgramChange="0"/><Patch Number="A2" Name="Harpsichord" ProgramChange="6"/>
    </PatchNameList>
  </MasterDeviceNames>
</MIDINameDocument>)";

int main() {
  const std::string path = "patch_names_example.midnam";
  std::ofstream(path) << kDocument;

  //! [count]
  // The names of channel 1 of the device, in its first mode. Letter case of maker and model doesn't count.
  const Sys_FileLoc file(std::make_shared<Sys_FileLocPosix>(path));
  const Cmn_PolyVector<Mlox_PatchNameBankInfo*> noOverrides;
  Mlox_NamesReader reader;
  const int count = reader.CountPatches(file, noOverrides, "", "", 0, "acme", "example one");
  //! [count]
  std::remove(path.c_str());
  if (count < 0) return 1;
  std::printf("%d patches in \"%s\"\n", count, reader.GetChannelNameSetName().c_str());

  //! [names]
  // The bank of the first patch says what to send before a program change.
  const Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> info = reader.GetPatchInfo(0);
  std::printf("bank MSB %d, LSB %d\n", info->GetMSBBank(), info->GetLSBBank());
  for (int program = 0; program < 128; ++program) {
    Mdie_ProgramEvent event(static_cast<unsigned char>(program),
                            0);  // no flag set: program and bank are sent
    event.SetMSBBank(static_cast<signed char>(info->GetMSBBank()));
    event.SetLSBBank(static_cast<signed char>(info->GetLSBBank()));
    std::string name;
    if (reader.GetPatchName(event, &name)) std::printf("program %d: %s\n", program, name.c_str());
  }
  //! [names]
}
