// SPDX-License-Identifier: MIT
#include "tools/mlox/reference/commandtree.h"

#include <algorithm>
#include <memory>
#include <sstream>

namespace tool {

namespace {

// What help prints of a value, without the list of choices, which stands by itself.
std::string ValueText(const CLI::App& iApp, const CLI::Option& iOption) {
  const auto formatter = std::dynamic_pointer_cast<const CLI::Formatter>(iApp.get_formatter());
  std::string text = formatter != nullptr ? formatter->make_option_opts(&iOption) : iOption.get_type_name();
  const std::string kRequired = " REQUIRED";
  if (text.ends_with(kRequired)) text.erase(text.size() - kRequired.size());
  text.erase(0, text.find_first_not_of(' '));
  return text;
}

// A check for membership tells its set in braces: "WAY:{buffered,direct,none}".
std::vector<std::string> Choices(const CLI::Option& iOption) {
  const std::string type = iOption.get_type_name();
  const std::size_t begin = type.find('{');
  const std::size_t end = type.find('}');
  std::vector<std::string> choices;
  if (begin == std::string::npos || end == std::string::npos || end < begin) return choices;
  std::istringstream set(type.substr(begin + 1, end - begin - 1));
  for (std::string choice; std::getline(set, choice, ',');) choices.push_back(choice);
  return choices;
}

CommandOption OptionOf(const CLI::App& iApp, const CLI::Option& iOption) {
  CommandOption option;
  option.mIsPositional = iOption.get_positional();
  option.mIsRequired = iOption.get_required();
  option.mIsRepeated = iOption.get_expected_max() > 1;
  option.mDescription = iOption.get_description();
  option.mChoices = Choices(iOption);
  if (option.mIsPositional) {
    option.mNames.push_back(iOption.get_name(true));
    return option;
  }
  for (const std::string& name : iOption.get_snames()) option.mNames.push_back("-" + name);
  for (const std::string& name : iOption.get_lnames()) option.mNames.push_back("--" + name);
  const bool isFlag = iOption.get_type_size_max() == 0;
  if (!isFlag) option.mValue = ValueText(iApp, iOption);
  return option;
}

void Add(const CLI::App& iApp, const std::string& iPathAbove, const std::string& iFooterAbove,
         std::vector<Command>& ioCommands) {
  const std::string path = iPathAbove.empty() ? iApp.get_name() : iPathAbove + " " + iApp.get_name();
  ioCommands.push_back(CommandOf(iApp, path));
  if (iApp.get_footer() == iFooterAbove) ioCommands.back().mFooter.clear();
  for (const CLI::App* subcommandP : iApp.get_subcommands({})) {
    if (!subcommandP->get_group().empty()) Add(*subcommandP, path, iApp.get_footer(), ioCommands);
  }
}

// Such as "--to TEXT" and "[INPUT...]".
std::string UsageOf(const CommandOption& iOption) {
  std::string usage = iOption.mNames.back();
  if (!iOption.mIsPositional) return iOption.mValue.empty() ? usage : usage + " " + iOption.mValue;
  if (iOption.mIsRepeated) usage += "...";
  return iOption.mIsRequired ? usage : "[" + usage + "]";
}

}  // namespace

std::vector<Command> CommandsOf(const CLI::App& iProgram) {
  std::vector<Command> commands;
  Add(iProgram, {}, {}, commands);
  return commands;
}

Command CommandOf(const CLI::App& iApp, const std::string& iPath) {
  Command command;
  command.mPath = iPath;
  command.mDescription = iApp.get_description();
  command.mFooter = iApp.get_footer();
  for (const CLI::Option* optionP : iApp.get_options({}))
    command.mOptions.push_back(OptionOf(iApp, *optionP));
  for (const CLI::App* subcommandP : iApp.get_subcommands({})) {
    if (!subcommandP->get_group().empty()) command.mSubcommands.push_back(subcommandP->get_name());
  }
  return command;
}

std::string UsageOf(const Command& iCommand) {
  std::string usage = iCommand.mPath + " [OPTIONS]";
  for (const CommandOption& option : iCommand.mOptions) {
    if (option.mIsRequired && !option.mIsPositional) usage += " " + UsageOf(option);
  }
  for (const CommandOption& option : iCommand.mOptions) {
    if (option.mIsPositional) usage += " " + UsageOf(option);
  }
  if (!iCommand.mSubcommands.empty()) usage += " SUBCOMMAND";
  return usage;
}

}  // namespace tool
