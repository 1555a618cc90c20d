// SPDX-License-Identifier: MIT
// A name document of any bytes is read twice by one parser, which keeps its records or refuses them; the
// second time it may be the document's tail alone, which goes on where a fault ended the first. It is also
// read through a names reader, which is then asked everything. The last byte of the input chooses. What comes
// of it: a code or a result, and answers that agree with each other.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cmn/sys_filelocposix.h"
#include "fuzz/documentgrammars.h"
#include "fuzz/fuzz_document.h"
#include "mdid/mdie_programevent.h"
#include "midixml/midinamedocumentparser.h"
#include "midixml/mlox_namesreader.h"

namespace {

constexpr int kMostAsked = 300;

class Parser : public midixml::MIDINameDocumentParser {
 public:
  Parser(const std::string& iFile, bool iKeep) : MIDINameDocumentParser("", iFile, 0), mKeep(iKeep) {}

 protected:
  bool HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) override {
    if (mKeep) mDevices.emplace_back(iDeviceNamesP);
    return mKeep;
  }

 private:
  bool mKeep;
  std::vector<std::unique_ptr<midixml::MIDIDeviceNames>> mDevices;
};

int CodeOf(midixml::MIDIXMLParser& ioParser) {
  try {
    ioParser.Parse();
  } catch (int code) {
    Fuzz_Require(code >= 2 && ioParser.GetFault().code == code, "a thrown code is noted with its meaning");
    return code;
  }
  return 0;
}

void AskReader(const std::string& iPath, int iChannel) {
  const Sys_FileLoc file(std::make_shared<Sys_FileLocPosix>(iPath));
  // An override of its own document, so that lists are exchanged.
  Mlox_PatchNameBankInfo override{"B", file, "L"};
  Cmn_PolyVector<Mlox_PatchNameBankInfo*> banks;
  banks.PushBack(&override);
  banks.PushBack(&override);
  Mlox_NamesReader reader;
  try {
    const int sets = reader.ReadBankNames(file, banks, "", "S", iChannel, "", "");
    const int count = reader.CountPatches(file, banks, "", "", iChannel, "", "");
    Fuzz_Require((sets < 0) == (count < 0), "both loads give a code or neither");
    for (int index = 0; index < std::min(count, kMostAsked); ++index) {
      Fuzz_Require(static_cast<bool>(reader.GetPatchInfo(index)), "each counted patch has a bank");
    }
    Fuzz_Require(!reader.GetPatchInfo(std::max(count, 0)), "nothing stands past the end");
  } catch (int) {
    Fuzz_Require(!reader.GetPatchInfo(0), "nothing is left of a load that threw");
  }
  Mdie_ProgramEvent event(5, 0);
  std::string name;
  reader.GetPatchName(event, &name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iDataP, std::size_t iSize) {
  if (iSize == 0) return 0;
  const std::uint8_t choice = iDataP[iSize - 1];
  const Fuzz_Document document(iDataP, iSize - 1);
  Parser parser(document.Path(), (choice & 1) != 0);
  const int first = CodeOf(parser);
  const std::string_view tail = Fuzz_TailOfDocument(iDataP, iSize - 1, choice >> 6);
  const Fuzz_Document end(reinterpret_cast<const std::uint8_t*>(tail.data()), tail.size());
  parser.Reset(tail.empty() ? "" : end.Path());
  const int second = CodeOf(parser);
  Fuzz_Require(first != 0 || second == 0 || !tail.empty(), "a good document is good twice");
  if ((choice & 2) != 0) AskReader(document.Path(), (choice >> 2) % 16);
  return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* ioDataP, std::size_t iSize, std::size_t iMaxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* ioDataP, std::size_t iSize, std::size_t iMaxSize,
                                               unsigned int iSeed) {
  return Fuzz_MutateDocument(Fuzz_NamesGrammar(), ioDataP, iSize, iMaxSize, iSeed, LLVMFuzzerMutate);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* iFirstP, std::size_t iFirstSize,
                                                 const std::uint8_t* iSecondP, std::size_t iSecondSize,
                                                 std::uint8_t* oDataP, std::size_t iMaxSize,
                                                 unsigned int iSeed) {
  return Fuzz_CrossDocuments(Fuzz_NamesGrammar(), {reinterpret_cast<const char*>(iFirstP), iFirstSize},
                             {reinterpret_cast<const char*>(iSecondP), iSecondSize}, oDataP, iMaxSize, iSeed);
}
