// SPDX-License-Identifier: MIT
// A device type document of any bytes is read twice by one parser, which keeps its roots or refuses them; the
// second time it may be the document's tail alone, which goes on where a fault ended the first. The last byte
// of the input chooses.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/documentgrammars.h"
#include "fuzz/fuzz_document.h"
#include "midixml/mlox_devicetypesparser.h"

namespace {

class Parser : public Mlox_DeviceTypesParser {
 public:
  Parser(const std::string& iFile, bool iKeep) : Mlox_DeviceTypesParser("", iFile.c_str(), 0), mKeep(iKeep) {}

  int mHanded = 0;

 protected:
  bool HandleDeviceTypes(MIDIDeviceTypesObj* iRootP) override {
    ++mHanded;
    if (mKeep) mRoots.emplace_back(iRootP);
    return mKeep;
  }

 private:
  bool mKeep;
  std::vector<std::unique_ptr<MIDIDeviceTypesObj>> mRoots;
};

bool Reads(Parser& ioParser) {
  try {
    ioParser.Parse();
  } catch (int) {
    return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iDataP, std::size_t iSize) {
  if (iSize == 0) return 0;
  const Fuzz_Document document(iDataP, iSize - 1);
  Parser parser(document.Path(), (iDataP[iSize - 1] & 1) != 0);
  const bool isGood = Reads(parser);
  Fuzz_Require(parser.mHanded <= 1, "a document has one root");
  const int handed = parser.mHanded;
  const std::string_view tail = Fuzz_TailOfDocument(iDataP, iSize - 1, iDataP[iSize - 1] >> 6);
  const Fuzz_Document end(reinterpret_cast<const std::uint8_t*>(tail.data()), tail.size());
  parser.Reset(tail.empty() ? "" : end.Path());
  const bool isGoodAgain = Reads(parser);
  Fuzz_Require(!isGood || !tail.empty() || (isGoodAgain && parser.mHanded == 2 * handed),
               "a good document is good twice");
  return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* ioDataP, std::size_t iSize, std::size_t iMaxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* ioDataP, std::size_t iSize, std::size_t iMaxSize,
                                               unsigned int iSeed) {
  return Fuzz_MutateDocument(Fuzz_DeviceTypesGrammar(), ioDataP, iSize, iMaxSize, iSeed, LLVMFuzzerMutate);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* iFirstP, std::size_t iFirstSize,
                                                 const std::uint8_t* iSecondP, std::size_t iSecondSize,
                                                 std::uint8_t* oDataP, std::size_t iMaxSize,
                                                 unsigned int iSeed) {
  return Fuzz_CrossDocuments(Fuzz_DeviceTypesGrammar(), {reinterpret_cast<const char*>(iFirstP), iFirstSize},
                             {reinterpret_cast<const char*>(iSecondP), iSecondSize}, oDataP, iMaxSize, iSeed);
}
