// SPDX-License-Identifier: MIT
/// \file
/// What an output asks about its patches, answered from name documents.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "cmn/cmn_polyvector.h"
#include "cmn/sys_fileloc.h"
#include "mdid/mlox_patchinfo.h"
#include "midixml/channelnameset.h"
#include "midixml/mididevicenames.h"
#include "midixml/mlox_patchnamebankinfo.h"

class Mdie_ProgramEvent;
class Mlox_NamesParserImpl;

/// Reads the names of one channel out of a device's document and answers questions about them.
///
/// ReadBankNames and CountPatches read all files anew each time, so that a changed file is seen; the other
/// operations answer from what the last of those two left. Results below 0: -1 no device record in the file
/// fits; -2 the file is offline; -4 no such channel; -5 no mode, or no channel name set for the channel; -6
/// the location of the file is none. A fault in a document leaves both as a thrown int. [main] One thread at
/// a time.
class MLOX_EXPORT Mlox_NamesReader {
 public:
  Mlox_NamesReader();
  Mlox_NamesReader(const Mlox_NamesReader&) = delete;
  Mlox_NamesReader& operator=(const Mlox_NamesReader&) = delete;
  ~Mlox_NamesReader();

  /// Reads the names of the device's channel name sets, which are what a user chooses a bank from. Gives how
  /// many, or a code below 0. iFile         the device's name document. iBanks        overrides of banks; not
  /// owned here. iModeName     the device's mode; empty for the first one. iNameSetName  a channel name set
  /// to use in place of the mode's; empty for that one. iChannel      0 to 15. iManufacturer, iModel  the
  /// device, without regard to letter case; empty fits any.
  int ReadBankNames(const Sys_FileLoc& iFile, const Cmn_PolyVector<Mlox_PatchNameBankInfo*>& iBanks,
                    const std::string& iModeName, const std::string& iNameSetName, int iChannel,
                    const std::string& iManufacturer, const std::string& iModel);

  /// Counts the patches of the channel, in banks that nothing, one controller or two controllers select.
  /// Gives the number, or a code below 0. Parameters as for ReadBankNames.
  int CountPatches(const Sys_FileLoc& iFile, const Cmn_PolyVector<Mlox_PatchNameBankInfo*>& iBanks,
                   const std::string& iModeName, const std::string& iNameSetName, int iChannel,
                   const std::string& iManufacturer, const std::string& iModel);

  /// The name of a channel name set by its index, from 0; empty out of range.
  std::string GetBankName(int iIndex) const;
  /// The name of the channel name set in use; empty without one.
  std::string GetChannelNameSetName() const;
  /// The channel name set in use, or null; it lives until the next load.
  const midixml::ChannelNameSet* GetChannelNameSet() const;
  /// How to select the bank of a patch. iIndex: from 0, in the order in which CountPatches counts; anything
  /// below counts as 0. Null past the end, and without a channel name set.
  Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> GetPatchInfo(const int& iIndex) const;
  /// The name of the patch that an event selects: in the first bank that fits the event's bank numbers and
  /// has a patch that a bare program change with the event's program selects. *oNameP stays as it is if there
  /// is none.
  bool GetPatchName(const Mdie_ProgramEvent& iEvent, std::string* oNameP) const;

 private:
  struct Request;
  // The end of a counted bank in the row of all patches, and the bank.
  struct CountedBank {
    long long mEnd;
    const midixml::PatchBank* mBankP;
  };

  int Load(const Request& iRequest);
  int LoadChannelNameSet(const Request& iRequest, midixml::ChannelNameSet*& oSetP);
  void OverrideBanks(const Request& iRequest, midixml::ChannelNameSet& ioSet);
  void ChooseNameSet(const std::string& iNameSetName);
  void CountBanks();

  Cmn_PolyVector<std::string> mBankNames;
  std::unique_ptr<Mlox_NamesParserImpl> mParser;
  std::vector<CountedBank> mCountedBanks;
};
