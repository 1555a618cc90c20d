// SPDX-License-Identifier: MIT
#include "tools/mlox/names/names_command.h"

#include <memory>
#include <string>
#include <vector>

#include "tools/mlox/names/devtypes.h"
#include "tools/mlox/names/namescheck.h"
#include "tools/mlox/names/namescount.h"
#include "tools/mlox/names/namesdump.h"
#include "tools/mlox/names/namesscan.h"
#include "tools/mlox/names/namesshow.h"

namespace tool {

namespace {

constexpr const char* kNamesFooter = R"(
A MIDI name document (.midnam) tells what the patches, notes and controllers of an instrument are called.

Examples:
  mlox names check ~/names                    which documents work, and what to change in the others
  mlox names show Synth.midnam --channel 10   the patches and notes of a channel
  mlox names count Synth.midnam --manufacturer Acme --model "Synth 1" --mode Multi --channel 1

Exit status: 0 done, 1 a document has a fault or lacks what was asked for, 2 bad usage.)";

constexpr const char* kJson = "One line of JSON in place of an outline";

void RegisterDump(CLI::App& iNames) {
  struct Request {
    std::string mFile;
    bool mJson = false;
  };
  auto request = std::make_shared<Request>();
  CLI::App* dumpP = iNames.add_subcommand("dump", "All that a document says, as the library holds it");
  dumpP->add_option("FILE", request->mFile, "The document")->required();
  dumpP->add_flag("--json", request->mJson, kJson);
  dumpP->callback([request] { DumpNames(request->mFile, request->mJson); });
}

void RegisterCount(CLI::App& iNames) {
  auto request = std::make_shared<CountRequest>();
  CLI::App* countP = iNames.add_subcommand("count", "What an output tells about the patches of a channel");
  countP->add_option("FILE", request->mFile, "The device's document")->required();
  countP->add_option("--manufacturer", request->mManufacturer, "The device's maker; empty for any")
      ->required();
  countP->add_option("--model", request->mModel, "The device's model; empty for any")->required();
  countP->add_option("--mode", request->mMode, "The device's mode; empty for the first")->required();
  countP->add_option("--channel", request->mChannel, "The channel, 1 to 16")->required();
  countP->add_option("--nameset", request->mNameSet, "A channel name set in place of the mode's");
  countP
      ->add_option("--bank", request->mBanks,
                   "A bank's name, a document and a list in it to use for the bank")
      ->type_name("NAME FILE LIST");
  countP->add_flag("--json", request->mJson, kJson);
  countP->callback([request] { CountNames(*request); });
}

void RegisterScan(CLI::App& iNames) {
  auto request = std::make_shared<ScanRequest>();
  CLI::App* scanP = iNames.add_subcommand("scan", "The documents that the library finds");
  scanP->add_option("BASE", request->mBase, "The folder to look in; without it, the library's own");
  scanP->add_option("--folder", request->mFolder, "A sub-folder to look in first");
  scanP->add_flag("--devtypes", request->mDeviceTypes,
                  "Device type documents (.middev) in place of name documents");
  scanP->add_flag("--json", request->mJson, kJson);
  scanP->callback([request] { ScanNames(*request); });
}

void RegisterShow(CLI::App& iNames) {
  auto request = std::make_shared<ShowRequest>();
  CLI::App* showP = iNames.add_subcommand("show", "Banks, patches, notes and controllers as tables");
  showP->add_option("FILE", request->mFile, "The document")->required();
  showP->add_option("--mode", request->mMode, "Only this mode");
  showP->add_option("--channel", request->mChannel, "Only this channel, 1 to 16")->check(CLI::Range(1, 16));
  showP->callback([request] { ShowNames(*request); });
}

void RegisterCheck(CLI::App& iNames) {
  auto request = std::make_shared<CheckRequest>();
  CLI::App* checkP = iNames.add_subcommand("check", "What is wrong with documents, and what to change");
  checkP->add_option("PATH", request->mPaths, "Documents, and folders of them")->required();
  checkP->add_flag("--json", request->mJson, "One line of JSON in place of a line a document");
  checkP->callback([request] { CheckNames(*request); });
}

}  // namespace

void RegisterNames(CLI::App& iApp) {
  CLI::App* namesP = iApp.add_subcommand("names", "Read, check and show MIDI name documents");
  namesP->require_subcommand(1);
  namesP->footer(kNamesFooter);
  RegisterDump(*namesP);
  RegisterCount(*namesP);
  RegisterScan(*namesP);
  RegisterShow(*namesP);
  RegisterCheck(*namesP);
}

void RegisterDeviceTypes(CLI::App& iApp) {
  struct Request {
    std::string mFile;
    bool mJson = false;
  };
  auto request = std::make_shared<Request>();
  CLI::App* typesP = iApp.add_subcommand("devtypes", "All that a device type document (.middev) says");
  typesP->add_option("FILE", request->mFile, "The document")->required();
  typesP->add_flag("--json", request->mJson, kJson);
  typesP->footer("\nExit status: 0 done, 1 the document has a fault, 2 bad usage.");
  typesP->callback([request] { DumpDeviceTypes(request->mFile, request->mJson); });
}

}  // namespace tool
