// SPDX-License-Identifier: MIT
#include "midixml/mlox_namesreader.h"

#include <algorithm>
#include <utility>

#include "cmn/sys_file.h"
#include "cmn/sys_filelocutils.h"
#include "mdid/mdie_programevent.h"
#include "midixml/mlox_namesparserimpl.h"
#include "midixml/mlox_namesreaderpatchinfo.h"
#include "midixml/mlox_standardmodeparserimpl.h"
#include "midixml/nameindex.h"

using midixml::ChannelNameSet;
using midixml::MIDIDeviceNames;
using midixml::MIDIMessage;
using midixml::Mode;
using midixml::NamedRef;
using midixml::Patch;
using midixml::PatchBank;
using midixml::PatchNameList;

namespace {

constexpr int kOk = 0;
constexpr int kNoDeviceRecord = -1;
constexpr int kFileOffline = -2;
constexpr int kNoSuchChannel = -4;
constexpr int kNoChannelNameSet = -5;
constexpr int kNoFile = -6;

bool IsChannel(int iChannel) { return iChannel >= 0 && iChannel < midixml::kChannelCount; }

// The banks that count: those that nothing, one controller or two controllers select.
bool IsCounted(const PatchBank& iBank) {
  const int length = iBank.mCommands.GetLength();
  return length == 0 || length == 3 || length == 6;
}

// Whether a bank's commands select what the event's bank numbers say.
bool Fits(const MIDIMessage& iCommands, const Mdie_ProgramEvent& iEvent) {
  const bool hasMSB = iEvent.IsMSBBankEnabled();
  const bool hasLSB = iEvent.IsLSBBankEnabled();
  const auto msb = static_cast<unsigned char>(iEvent.GetMSBBank());
  const auto lsb = static_cast<unsigned char>(iEvent.GetLSBBank());
  const unsigned char* bytesP = iCommands.GetData();
  switch (iCommands.GetLength()) {
    case 0:
      return true;
    case 3:
      if (hasMSB == hasLSB) return false;
      return bytesP[2] == (hasMSB ? msb : lsb);
    case 6:
      return hasMSB && hasLSB && msb == bytesP[2] && lsb == bytesP[5];
    default:
      return false;
  }
}

// The first patch of a list that a bare program change with this program selects, or null.
const Patch* FindByProgram(const PatchNameList& iList, int iProgram) {
  const auto selected = [iProgram](const Patch& iPatch) {
    return iPatch.mCommands.GetLength() == 2 && iPatch.mCommands.GetData()[1] == iProgram;
  };
  const auto found = std::find_if(iList.begin(), iList.end(), selected);
  return found == iList.end() ? nullptr : &*found;
}

// A mode of this name that leaves the channel to the standard documents makes those be read.
void LoadStandardModes(const MIDIDeviceNames& iDeviceNames, const std::string& iModeName, size_t iChannel) {
  for (const NamedRef<Mode>& element : iDeviceNames.mModes) {
    const Mode& mode = *element.GetObject();
    if (mode.mName.View() != iModeName || !mode.mSupportsStandardDeviceMode) continue;
    if (!mode.mChannelNameSets[iChannel].mName.IsEmpty()) continue;
    Mlox_StandardModeParserImpl::Instance().LoadDocuments();
    return;
  }
}

// The mode of this name; the first for no name; the only one whatever the name. Null if there is none.
const Mode* ChooseMode(const MIDIDeviceNames& iDeviceNames, const std::string& iModeName) {
  const auto& modes = iDeviceNames.mModes;
  if (modes.empty()) return nullptr;
  if (iModeName.empty() || modes.size() == 1) return modes.front().GetObject();
  const auto named = [&](const NamedRef<Mode>& iElement) {
    return iElement.GetObject()->mName.View() == iModeName;
  };
  const auto found = std::find_if(modes.begin(), modes.end(), named);
  return found == modes.end() ? nullptr : found->GetObject();
}

}  // namespace

struct Mlox_NamesReader::Request {
  const Sys_FileLoc& mFile;
  const Cmn_PolyVector<Mlox_PatchNameBankInfo*>& mBanks;
  const std::string& mModeName;
  const std::string& mNameSetName;
  int mChannel;
  const std::string& mManufacturer;
  const std::string& mModel;
};

Mlox_NamesReader::Mlox_NamesReader() = default;

Mlox_NamesReader::~Mlox_NamesReader() = default;

// ---- loading ----

int Mlox_NamesReader::ReadBankNames(const Sys_FileLoc& iFile,
                                    const Cmn_PolyVector<Mlox_PatchNameBankInfo*>& iBanks,
                                    const std::string& iModeName, const std::string& iNameSetName,
                                    int iChannel, const std::string& iManufacturer,
                                    const std::string& iModel) {
  const int result = Load({iFile, iBanks, iModeName, iNameSetName, iChannel, iManufacturer, iModel});
  if (result != kOk) return result;
  mBankNames.Clear();
  for (const auto& set : mParser->GetFoundDeviceNames()->mChannelNameSets) {
    mBankNames.PushBack(set.GetObject()->mName.AsString());
  }
  return static_cast<int>(mBankNames.Size());
}

int Mlox_NamesReader::CountPatches(const Sys_FileLoc& iFile,
                                   const Cmn_PolyVector<Mlox_PatchNameBankInfo*>& iBanks,
                                   const std::string& iModeName, const std::string& iNameSetName,
                                   int iChannel, const std::string& iManufacturer,
                                   const std::string& iModel) {
  const int result = Load({iFile, iBanks, iModeName, iNameSetName, iChannel, iManufacturer, iModel});
  if (result != kOk) return result;
  return mCountedBanks.empty() ? 0 : static_cast<int>(mCountedBanks.back().mEnd);
}

// The common start: a new parser for every load, since one that a fault left in the middle of a document
// can't read another.
int Mlox_NamesReader::Load(const Request& iRequest) {
  if (!IsChannel(iRequest.mChannel)) return kNoSuchChannel;
  if (!iRequest.mFile) return kNoFile;
  mCountedBanks.clear();
  mParser.reset();
  mParser = std::make_unique<Mlox_NamesParserImpl>();
  ChannelNameSet* setP = nullptr;
  const int result = LoadChannelNameSet(iRequest, setP);
  if (result != kOk) return result;
  if (!setP) return kNoChannelNameSet;
  CountBanks();
  return kOk;
}

int Mlox_NamesReader::LoadChannelNameSet(const Request& iRequest, ChannelNameSet*& oSetP) {
  if (!iRequest.mFile) return kNoFile;
  if (!Sys_File(iRequest.mFile).IsOnline()) return kFileOffline;
  if (!IsChannel(iRequest.mChannel)) return kNoSuchChannel;

  mParser->SetWanted(iRequest.mChannel, iRequest.mManufacturer, iRequest.mModel);
  mParser->ParseFile(Sys_FileLocUtils::StripSlash(iRequest.mFile.GetFullPath()));
  // The banks' documents come through the same parser, so the record is held here meanwhile.
  std::unique_ptr<MIDIDeviceNames> record = mParser->TakeFoundDeviceNames();
  if (!record) return kNoDeviceRecord;

  const auto channel = static_cast<size_t>(iRequest.mChannel);
  LoadStandardModes(*record, iRequest.mModeName, channel);
  const Mode* modeP = ChooseMode(*record, iRequest.mModeName);
  ChannelNameSet* setP = modeP ? modeP->mChannelNameSets[channel].GetObject() : nullptr;
  if (!setP) {
    mParser->Clear();
    return kNoChannelNameSet;
  }
  OverrideBanks(iRequest, *setP);
  mParser->SetFound(std::move(record), setP);
  if (!iRequest.mNameSetName.empty()) ChooseNameSet(iRequest.mNameSetName);
  oSetP = mParser->GetFoundChannelNameSet();
  return kOk;
}

// Each override's file is parsed, and then the bank and the list of the override behind it are used. That
// order of events is settled: a single override changes nothing, and the file of the last one is parsed for
// nothing.
void Mlox_NamesReader::OverrideBanks(const Request& iRequest, ChannelNameSet& ioSet) {
  for (size_t index = 0; index < iRequest.mBanks.Size(); ++index) {
    mParser->ParseFile(Sys_FileLocUtils::StripSlash(iRequest.mBanks[index]->mFile.GetFullPath()));
    const std::unique_ptr<MIDIDeviceNames> extension = mParser->TakeFoundDeviceNames();
    if (!extension || index + 1 == iRequest.mBanks.Size()) continue;
    const Mlox_PatchNameBankInfo& next = *iRequest.mBanks[index + 1];
    for (PatchBank& bank : ioSet.mPatchBanks) {
      if (bank.mName.View() != next.mBankName) continue;
      MIDIDeviceNames::SetBankPatchNameList(bank, next.mPatchNameListName.c_str(),
                                            extension->mPatchNameLists);
    }
  }
}

// A set chosen by name may be one that no mode assigns, and whose banks no one has resolved.
void Mlox_NamesReader::ChooseNameSet(const std::string& iNameSetName) {
  const MIDIDeviceNames& record = *mParser->GetFoundDeviceNames();
  ChannelNameSet* chosenP = mParser->GetFoundChannelNameSet();
  for (const auto& set : record.mChannelNameSets) {
    if (set.GetObject()->mName.View() != iNameSetName) continue;
    chosenP = set.GetObject();
    break;
  }
  mParser->SetFoundChannelNameSet(chosenP);
  midixml::NameIndex<PatchNameList> lists(record.mPatchNameLists);
  for (PatchBank& bank : chosenP->mPatchBanks) lists.Resolve(bank.mPatchNameList);
}

void Mlox_NamesReader::CountBanks() {
  long long end = 0;
  for (const PatchBank& bank : mParser->GetFoundChannelNameSet()->mPatchBanks) {
    const PatchNameList* listP = bank.mPatchNameList.GetObject();
    if (!listP || !IsCounted(bank)) continue;
    end += static_cast<long long>(listP->size());
    mCountedBanks.push_back({end, &bank});
  }
}

// ---- answers ----

std::string Mlox_NamesReader::GetBankName(int iIndex) const {
  if (iIndex < 0 || static_cast<size_t>(iIndex) >= mBankNames.Size()) return {};
  return mBankNames[static_cast<size_t>(iIndex)];
}

const ChannelNameSet* Mlox_NamesReader::GetChannelNameSet() const {
  return mParser ? mParser->GetFoundChannelNameSet() : nullptr;
}

std::string Mlox_NamesReader::GetChannelNameSetName() const {
  const ChannelNameSet* setP = GetChannelNameSet();
  return setP ? setP->mName.AsString() : std::string();
}

Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> Mlox_NamesReader::GetPatchInfo(const int& iIndex) const {
  const auto reaches = [](long long iAt, const CountedBank& iBank) { return iAt < iBank.mEnd; };
  const auto bank = std::upper_bound(mCountedBanks.begin(), mCountedBanks.end(), iIndex, reaches);
  if (bank == mCountedBanks.end()) return nullptr;
  return Cmn_AliasedRefCountPtr<const Mlox_PatchInfo>(new Mlox_NamesReaderPatchInfo(*bank->mBankP));
}

bool Mlox_NamesReader::GetPatchName(const Mdie_ProgramEvent& iEvent, std::string* oNameP) const {
  if (!iEvent.IsProgramEnabled() || !oNameP) return false;
  const ChannelNameSet* setP = GetChannelNameSet();
  if (!setP) return false;
  for (const PatchBank& bank : setP->mPatchBanks) {
    const PatchNameList* listP = bank.mPatchNameList.GetObject();
    if (!listP || !Fits(bank.mCommands, iEvent)) continue;
    if (const Patch* patchP = FindByProgram(*listP, iEvent.GetProgram())) {
      *oNameP = patchP->mName.AsString();
      return true;
    }
  }
  return false;
}
