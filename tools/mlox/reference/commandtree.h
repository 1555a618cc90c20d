// SPDX-License-Identifier: MIT
/// \file
/// What the tool understands, as data: for manual pages and completions.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace tool {

/// One option of a command, or one of its positional arguments.
struct CommandOption {
  std::vector<std::string> mNames;  ///< "--json", "-h"; of a positional argument its one name, such as "SONG"
  std::string mValue;               ///< what kind of value it takes, as help prints it; empty for a flag
  std::string mDescription;
  std::vector<std::string> mChoices;  ///< the only values that it takes; empty where others are taken too
  bool mIsPositional = false;
  bool mIsRequired = false;
  bool mIsRepeated = false;  ///< takes any number of values
};

/// One command.
struct Command {
  std::string mPath;  ///< all words that lead to it, the program's name first
  std::string mDescription;
  std::string
      mFooter;  ///< what its help prints at the end; empty where it only repeats that of the command above
  std::vector<CommandOption> mOptions;    ///< positional arguments too, in the order of help
  std::vector<std::string> mSubcommands;  ///< their own names, one word each
};

/// The program and all its commands, each behind the one that it belongs to. The program itself is the first.
std::vector<Command> CommandsOf(const CLI::App& iProgram);

/// One command. \param iPath  all words that lead to it
Command CommandOf(const CLI::App& iApp, const std::string& iPath);

/// "mlox play [OPTIONS] --to TEXT SONG": how a command is called, with all that it can't do without. What may
/// be left out stands in brackets, and what may be repeated has three dots.
std::string UsageOf(const Command& iCommand);

}  // namespace tool
