// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/studio_command.h"

#include <functional>
#include <memory>
#include <string>

#include "tools/mlox/ports/studioedits.h"

namespace tool {

namespace {

constexpr const char* kStudioFooter = R"(
An external device is an instrument that is wired to a port of this machine. Wired, it appears under its own
name in place of the port. The database is one file, MLOX_STUDIO_DB or else mlox/studio.db in the user's state
folder; running applications see a change within a second.

Example:
  mlox studio add "Strings" --manufacturer Acme --model S1
  mlox studio wire Strings "USB MIDI 1"
  mlox studio set Strings --receive 1-4 --master names/Acme_S1.midnam

Exit status: 0 done, 1 it couldn't be done, 2 bad usage.)";

void RegisterAdd(CLI::App& iStudio) {
  auto request = std::make_shared<StudioAddRequest>();
  CLI::App* addP = iStudio.add_subcommand("add", "A new external device; prints its GUID");
  addP->add_option("NAME", request->mName, "What it is called")->required();
  addP->add_option("--manufacturer", request->mManufacturer, "Its maker: finds its name document");
  addP->add_option("--model", request->mModel, "Its model: finds its name document");
  addP->callback([request] { StudioAdd(*request); });
}

void RegisterOne(CLI::App& iStudio, const char* iName, const char* iHelp,
                 const std::function<void(const std::string&)>& iDo) {
  auto device = std::make_shared<std::string>();
  CLI::App* oneP = iStudio.add_subcommand(iName, iHelp);
  oneP->add_option("DEVICE", *device, "The external device")->required();
  oneP->callback([device, iDo] { iDo(*device); });
}

void RegisterTwo(CLI::App& iStudio, const char* iName, const char* iHelp, const char* iSecond,
                 const char* iSecondHelp,
                 const std::function<void(const std::string&, const std::string&)>& iDo) {
  auto device = std::make_shared<std::string>();
  auto second = std::make_shared<std::string>();
  CLI::App* twoP = iStudio.add_subcommand(iName, iHelp);
  twoP->add_option("DEVICE", *device, "The external device")->required();
  twoP->add_option(iSecond, *second, iSecondHelp)->required();
  twoP->callback([device, second, iDo] { iDo(*device, *second); });
}

void RegisterSet(CLI::App& iStudio) {
  auto request = std::make_shared<StudioSetRequest>();
  CLI::App* setP = iStudio.add_subcommand("set", "Channels, name document, modes and banks");
  setP->add_option("DEVICE", request->mDevice, "An external device or a port")->required();
  setP->add_option("--receive", request->mReceive, "The channels that it listens on: 1-4,10 or all or none");
  setP->add_option("--transmit", request->mTransmit, "The channels that it sends on");
  setP->add_option("--master", request->mMaster, "Its name document; an empty text takes it away");
  setP->add_option("--mode", request->mModes, "The mode of a channel, 1 to 16")->type_name("CHANNEL=MODE");
  setP->add_option("--bank", request->mBanks, "A bank's name, a document and a patch name list in it")
      ->type_size(3)
      ->expected(-1)
      ->type_name("NAME FILE LIST");
  setP->callback([request] { StudioSet(*request); });
}

void RegisterShow(CLI::App& iStudio) {
  auto isJson = std::make_shared<bool>(false);
  CLI::App* showP = iStudio.add_subcommand("show", "All that the database knows");
  showP->add_flag("--json", *isJson, "One line of JSON in place of an outline");
  showP->callback([isJson] { StudioShow(*isJson); });
}

}  // namespace

void RegisterStudio(CLI::App& iApp) {
  CLI::App* studioP = iApp.add_subcommand("studio", "External instruments and what they are wired to");
  studioP->require_subcommand(1);
  studioP->footer(kStudioFooter);
  RegisterAdd(*studioP);
  RegisterOne(*studioP, "remove", "Take an external device out", &StudioRemove);
  RegisterTwo(*studioP, "wire", "Put an external device on a port", "PORT",
              "The port: both halves of it where one name has them", &StudioWire);
  RegisterTwo(*studioP, "unwire", "Take an external device off a port", "PORT",
              "The port: both halves of it where one name has them", &StudioUnwire);
  RegisterTwo(*studioP, "rename", "Call an external device something else", "NAME", "The new name",
              &StudioRename);
  RegisterSet(*studioP);
  RegisterShow(*studioP);
}

}  // namespace tool
