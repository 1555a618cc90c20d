// SPDX-License-Identifier: MIT
// How fast name documents become a name model: the whole way from the file, beside Expat alone with empty
// handlers on the same files (which is the limit), and for orientation libxml2's SAX reader and pugixml's
// tree.
//
// Rows. "instrument": a generated document of 400 kB, one instrument with 44 banks of 128 patches, note names
// and controllers. "folder": all documents of --corpus=FOLDER, one after the other. Megabytes of document a
// second, the best round of a run, since everything that disturbs makes it slower. "memory": what a model
// takes besides its text, for each patch of the instrument. "count": one whole CountPatches of the
// instrument, in milliseconds, best of a run.
#include <expat.h>
#include <fcntl.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "bench/support/bench_report.h"
#include "cmn/sys_filelocposix.h"
#include "midixml/midinamedocumentparser.h"
#include "midixml/mlox_namesreader.h"

namespace {

namespace fs = std::filesystem;

constexpr int kBanks = 44;
constexpr int kPatchesInBank = 128;
constexpr double kSecondsARun = 0.5;

using Files = std::vector<std::string>;

// ---- the document ----

std::string PatchName(unsigned iNumber) {
  static const char* const kFirst[] = {"Grand", "Electric", "Bright", "Warm",
                                       "Dark",  "Glass",    "Poly",   "Slap"};
  static const char* const kSecond[] = {"Piano", "Pad",  "String Ensemble", "Brass",
                                        "Lead",  "Bass", "Choir",           "Organ"};
  return std::string(kFirst[iNumber * 7 % 8]) + " " + kSecond[iNumber * 5 / 3 % 8] + " " +
         std::to_string(iNumber % 10);
}

std::string Instrument() {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MIDINameDocument>\n  <Author>bench</Author>\n  "
      "<MasterDeviceNames>\n"
      "    <Manufacturer>Acme</Manufacturer>\n    <Model>Bench</Model>\n    <CustomDeviceMode "
      "Name=\"Multi\">\n"
      "      <ChannelNameSetAssignments>\n";
  for (int channel = 1; channel <= 16; ++channel) {
    text +=
        "        <ChannelNameSetAssign Channel=\"" + std::to_string(channel) + "\" NameSet=\"Voices\"/>\n";
  }
  text +=
      "      </ChannelNameSetAssignments>\n    </CustomDeviceMode>\n    <ChannelNameSet Name=\"Voices\">\n";
  for (int bank = 0; bank < kBanks; ++bank) {
    const std::string number = std::to_string(bank);
    text += "      <PatchBank Name=\"Bank " + number + "\">\n        <MIDICommands>\n" +
            "          <ControlChange Control=\"0\" Value=\"" + number + "\"/>\n" +
            "          <ControlChange Control=\"32\" Value=\"0\"/>\n        </MIDICommands>\n" +
            "        <UsesPatchNameList Name=\"List " + number + "\"/>\n      </PatchBank>\n";
  }
  text += "    </ChannelNameSet>\n";
  for (int bank = 0; bank < kBanks; ++bank) {
    text += "    <PatchNameList Name=\"List " + std::to_string(bank) + "\">\n";
    for (int patch = 0; patch < kPatchesInBank; ++patch) {
      text += "      <Patch Number=\"" + std::to_string(patch + 1) + "\" Name=\"" +
              PatchName(static_cast<unsigned>(bank * kPatchesInBank + patch)) + "\" ProgramChange=\"" +
              std::to_string(patch) + "\"/>\n";
    }
    text += "    </PatchNameList>\n";
  }
  text += "    <ControlNameList Name=\"Controls\">\n";
  for (int control = 0; control < 100; ++control) {
    text += "      <Control Type=\"7bit\" Number=\"" + std::to_string(control) + "\" Name=\"Control " +
            std::to_string(control) + "\">\n        <Values Min=\"0\" Max=\"127\"/>\n      </Control>\n";
  }
  return text + "    </ControlNameList>\n  </MasterDeviceNames>\n</MIDINameDocument>\n";
}

// A file that goes with the program.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& iText) : mPath("/tmp/names_bench.XXXXXX") {
    const int descriptor = mkstemp(mPath.data());
    if (descriptor < 0 ||
        write(descriptor, iText.data(), iText.size()) != static_cast<ssize_t>(iText.size())) {
      std::fprintf(stderr, "names_bench: can't write %s\n", mPath.c_str());
      std::exit(1);
    }
    close(descriptor);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { unlink(mPath.c_str()); }
  const std::string& Path() const { return mPath; }

 private:
  std::string mPath;
};

double Megabytes(const Files& iFiles) {
  double bytes = 0;
  for (const std::string& file : iFiles) bytes += static_cast<double>(fs::file_size(file));
  return bytes / 1e6;
}

Files DocumentsIn(const std::string& iFolder) {
  Files files;
  for (const auto& entry : fs::recursive_directory_iterator(iFolder)) {
    if (entry.path().extension() == ".midnam") files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// ---- contenders: each reads one file ----

class KeepingParser : public midixml::MIDINameDocumentParser {
 public:
  explicit KeepingParser(const std::string& iFile) : MIDINameDocumentParser("", iFile, 0) {}
  std::vector<std::unique_ptr<midixml::MIDIDeviceNames>> mDevices;

 protected:
  bool HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) override {
    mDevices.emplace_back(iDeviceNamesP);
    return true;
  }
};

void ReadWithMlox(const std::string& iFile) {
  KeepingParser parser(iFile);
  try {
    parser.Parse();
  } catch (int) {
    // Some documents of a collection have faults; what was read until then counts for all contenders alike.
  }
  benchmark::DoNotOptimize(parser.mDevices.data());
}

void ReadWithExpat(const std::string& iFile) {
  XML_Parser expat = XML_ParserCreate(nullptr);
  XML_SetElementHandler(
      expat, [](void*, const char*, const char**) {}, [](void*, const char*) {});
  XML_SetCharacterDataHandler(expat, [](void*, const char*, int) {});
  std::FILE* fileP = std::fopen(iFile.c_str(), "rb");
  size_t count = 1;
  while (count != 0) {
    count = std::fread(XML_GetBuffer(expat, 16384), 1, 16384, fileP);
    if (XML_ParseBuffer(expat, static_cast<int>(count), count == 0) == XML_STATUS_ERROR) break;
  }
  std::fclose(fileP);
  XML_ParserFree(expat);
}

void ReadWithLibxml2(const std::string& iFile) {
  xmlSAXHandler handler = {};
  handler.initialized = XML_SAX2_MAGIC;
  handler.startElementNs = [](void*, const xmlChar*, const xmlChar*, const xmlChar*, int, const xmlChar**,
                              int, int, const xmlChar**) {};
  handler.endElementNs = [](void*, const xmlChar*, const xmlChar*, const xmlChar*) {};
  handler.characters = [](void*, const xmlChar*, int) {};
  int something = 0;
  xmlSAXUserParseFile(&handler, &something, iFile.c_str());
}

void ReadWithPugixml(const std::string& iFile) {
  pugi::xml_document document;
  benchmark::DoNotOptimize(document.load_file(iFile.c_str()));
}

// ---- workloads ----

double Seconds(std::chrono::steady_clock::duration iTime) {
  return std::chrono::duration<double>(iTime).count();
}

// The shortest of many rounds.
double BestSeconds(const std::function<void()>& iRound) {
  double best = 1e9;
  double total = 0;
  while (total < kSecondsARun) {
    const auto begin = std::chrono::steady_clock::now();
    iRound();
    const double seconds = Seconds(std::chrono::steady_clock::now() - begin);
    best = std::min(best, seconds);
    total += seconds;
  }
  return best;
}

void AddReading(const std::string& iRow, const Files& iFiles) {
  const double megabytes = Megabytes(iFiles);
  const auto add = [&](const std::string& iContender, void (*iRead)(const std::string&)) {
    Bench_Add(iRow, iContender, [=](benchmark::State& ioState) {
      const double seconds = BestSeconds([&] {
        for (const std::string& file : iFiles) iRead(file);
      });
      ioState.counters["megabytes_per_second"] = megabytes / seconds;
    });
  };
  add(kBenchOurs, ReadWithMlox);
  add("expat", ReadWithExpat);
  add("libxml2 SAX", ReadWithLibxml2);
  add("pugixml tree", ReadWithPugixml);
}

double AllocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

// Everything that is there while a parsed instrument is: the record, the parser, the tokeniser.
void MeasureMemory(benchmark::State& ioState, const std::string& iFile) {
  const double before = AllocatedBytes();
  KeepingParser parser(iFile);
  parser.Parse();
  const double allocated = AllocatedBytes() - before;
  double text = 0;
  double patches = 0;
  for (const auto& list : parser.mDevices.at(0)->mPatchNameLists) {
    for (const midixml::Patch& patch : *list.GetObject()) {
      text += static_cast<double>(patch.mNumber.View().size() + patch.mName.View().size());
      ++patches;
    }
  }
  ioState.counters["bytes_per_patch"] = (allocated - text) / patches;
}

void MeasureCount(benchmark::State& ioState, const std::string& iFile) {
  const Sys_FileLoc file(std::make_shared<Sys_FileLocPosix>(iFile));
  const Cmn_PolyVector<Mlox_PatchNameBankInfo*> banks;
  Mlox_NamesReader reader;
  const double seconds = BestSeconds([&] {
    if (reader.CountPatches(file, banks, "Multi", "", 0, "acme", "bench") != kBanks * kPatchesInBank) {
      ioState.SkipWithError("wrong count");
    }
  });
  ioState.counters["milliseconds"] = seconds * 1e3;
}

// Takes --corpus=FOLDER off the arguments.
std::string CutCorpus(int& ioCount, char** ioArgumentsPP) {
  constexpr std::string_view kOption = "--corpus=";
  std::string folder;
  int kept = 0;
  for (int i = 0; i < ioCount; ++i) {
    const std::string_view argument = ioArgumentsPP[i];
    if (argument.starts_with(kOption)) {
      folder = argument.substr(kOption.size());
    } else {
      ioArgumentsPP[kept++] = ioArgumentsPP[i];
    }
  }
  ioCount = kept;
  return folder;
}

}  // namespace

int main(int iArgumentCount, char** iArgumentsPP) {
  const std::string corpus = CutCorpus(iArgumentCount, iArgumentsPP);
  const TemporaryFile instrument(Instrument());
  AddReading("instrument", {instrument.Path()});
  if (!corpus.empty()) AddReading("folder", DocumentsIn(corpus));
  Bench_Add("memory", kBenchOurs,
            [&](benchmark::State& ioState) { MeasureMemory(ioState, instrument.Path()); });
  Bench_Add("count", kBenchOurs,
            [&](benchmark::State& ioState) { MeasureCount(ioState, instrument.Path()); });

  Bench_Report report;
  report.mProgram = "names_bench";
  report.mMetrics = {
      {"megabytes_per_second", "MB/s", true}, {"bytes_per_patch", "B", false}, {"milliseconds", "ms", false}};
  report.mGoals = {{"", "megabytes_per_second", "expat", 0.6},
                   {"memory", "bytes_per_patch", "", 160},
                   {"count", "milliseconds", "", 8}};
  const XML_Expat_Version expat = XML_ExpatVersionInfo();
  report.mHead = {"instrument: " + std::to_string(fs::file_size(instrument.Path()) / 1000) + " kB, " +
                      std::to_string(kBanks * kPatchesInBank) + " patches",
                  "peers: Expat " + std::to_string(expat.major) + "." + std::to_string(expat.minor) + "." +
                      std::to_string(expat.micro) +
                      " with empty handlers, libxml2 " LIBXML_DOTTED_VERSION
                      " SAX with empty handlers, pugixml " MLOX_BENCH_PUGIXML " tree"};
  return Bench_Main(iArgumentCount, iArgumentsPP, report);
}
