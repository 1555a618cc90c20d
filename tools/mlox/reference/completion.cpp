// SPDX-License-Identifier: MIT
#include "tools/mlox/reference/completion.h"

#include <fmt/format.h>

#include <algorithm>

namespace tool {

namespace {

constexpr char kBashChoices[] = "COMPREPLY=($(compgen -W '{}' -- \"$cur\"))";
constexpr char kZshChoices[] = "compadd -- {}";
constexpr char kHead[] = "# Made from the program's own tables of options.\n";

// One word for a shell, whatever is in it.
std::string Quoted(const std::string& iText) {
  std::string quoted = "'";
  for (const char character : iText) {
    if (character == '\'') {
      quoted += "'\\''";
    } else {
      quoted += character;
    }
  }
  return quoted + "'";
}

std::string Joined(const std::vector<std::string>& iWords) {
  std::string text;
  for (const std::string& word : iWords) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::vector<std::string> OptionNames(const Command& iCommand) {
  std::vector<std::string> names;
  for (const CommandOption& option : iCommand.mOptions) {
    if (!option.mIsPositional) names.insert(names.end(), option.mNames.begin(), option.mNames.end());
  }
  return names;
}

// The arms that lead from a command and a word of the line to the command below, or tell that the next word
// is an option's value; all other words that are no options are positional arguments, and counted.
std::string Steps(const std::vector<Command>& iCommands) {
  std::string arms;
  for (const Command& command : iCommands) {
    for (const std::string& name : command.mSubcommands) {
      const std::string below = command.mPath + " " + name;
      arms += fmt::format("      {}) place={} ;;\n", Quoted(below), Quoted(below));
    }
    for (const CommandOption& option : command.mOptions) {
      if (option.mIsPositional || option.mValue.empty()) continue;
      for (const std::string& name : option.mNames) {
        arms += fmt::format("      {}) skip=1 ;;\n", Quoted(command.mPath + " " + name));
      }
    }
  }
  return arms + "      *) [[ $word == -* ]] || at=$((at + 1)) ;;\n";
}

// What answers with the choices that an argument has.
std::string Answer(const char* iChoicesFormat, const CommandOption& iOption) {
  return fmt::format(fmt::runtime(iChoicesFormat), Joined(iOption.mChoices));
}

// The arms for the positional arguments that have choices, by how many stand in front of them.
std::string Positionals(const std::vector<Command>& iCommands, const char* iChoicesFormat) {
  std::string arms;
  for (const Command& command : iCommands) {
    int at = 0;
    for (const CommandOption& option : command.mOptions) {
      if (!option.mIsPositional) continue;
      if (!option.mChoices.empty()) {
        arms += fmt::format("    {}) {}; return ;;\n", Quoted(fmt::format("{} {}", command.mPath, at)),
                            Answer(iChoicesFormat, option));
      }
      ++at;
    }
  }
  return arms;
}

// The arms for what stands behind an option that takes a value: its choices, or, by iOther, anything.
std::string Values(const std::vector<Command>& iCommands, const char* iChoicesFormat, const char* iOther) {
  std::string arms;
  for (const Command& command : iCommands) {
    for (const CommandOption& option : command.mOptions) {
      if (option.mIsPositional || option.mValue.empty()) continue;
      const std::string what = option.mChoices.empty() ? iOther : Answer(iChoicesFormat, option);
      for (const std::string& name : option.mNames) {
        arms += fmt::format("    {}) {}; return ;;\n", Quoted(command.mPath + " " + name), what);
      }
    }
  }
  return arms;
}

const std::string& DescriptionOf(const std::vector<Command>& iCommands, const std::string& iPath) {
  return std::find_if(iCommands.begin(), iCommands.end(),
                      [&](const Command& iCommand) { return iCommand.mPath == iPath; })
      ->mDescription;
}

// zsh takes "word:description".
std::string ZshEntries(const std::vector<Command>& iCommands, const Command& iCommand, bool iIsOfOptions) {
  std::string entries;
  if (!iIsOfOptions) {
    for (const std::string& name : iCommand.mSubcommands) {
      entries += " " + Quoted(name + ":" + DescriptionOf(iCommands, iCommand.mPath + " " + name));
    }
    return entries;
  }
  for (const CommandOption& option : iCommand.mOptions) {
    if (option.mIsPositional) continue;
    for (const std::string& name : option.mNames) entries += " " + Quoted(name + ":" + option.mDescription);
  }
  return entries;
}

}  // namespace

std::string BashCompletion(const std::vector<Command>& iCommands) {
  const std::string program = iCommands.front().mPath;
  std::string script = fmt::format("# bash completion of {}\n{}", program, kHead);
  script += fmt::format(
      "_{0}() {{\n"
      "  local cur=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD-1]}}\n"
      "  local place={0} at=0 skip= options= commands= word\n"
      "  for word in \"${{COMP_WORDS[@]:1:COMP_CWORD-1}}\"; do\n"
      "    if [[ $word == '=' ]]; then skip=1; continue; fi\n"
      "    if [[ -n $skip ]]; then skip=; continue; fi\n"
      "    case \"$place $word\" in\n{1}    esac\n  done\n"
      "  COMPREPLY=()\n"
      "  if [[ $cur == '=' ]]; then cur=\n"
      "  elif [[ $before == '=' ]]; then before=${{COMP_WORDS[COMP_CWORD-2]}}\n  fi\n"
      "  case \"$place $before\" in\n{2}  esac\n"
      "  [[ $cur == -* ]] || case \"$place $at\" in\n{3}  esac\n"
      "  case \"$place\" in\n",
      program, Steps(iCommands), Values(iCommands, kBashChoices, ":"), Positionals(iCommands, kBashChoices));
  for (const Command& command : iCommands) {
    script += fmt::format("    {}) options={} commands={} ;;\n", Quoted(command.mPath),
                          Quoted(Joined(OptionNames(command))), Quoted(Joined(command.mSubcommands)));
  }
  script += fmt::format(
      "  esac\n"
      "  if [[ $cur == -* ]]; then commands=$options; fi\n"
      "  COMPREPLY=($(compgen -W \"$commands\" -- \"$cur\"))\n"
      "}}\n"
      "complete -o default -F _{0} {0}\n",
      program);
  return script;
}

std::string ZshCompletion(const std::vector<Command>& iCommands) {
  const std::string program = iCommands.front().mPath;
  std::string script = fmt::format("#compdef {}\n{}", program, kHead);
  script += fmt::format(
      "_{0}() {{\n"
      "  local before=${{words[CURRENT-1]}} place={0} at=0 skip= word\n"
      "  local -a options commands\n"
      "  for word in \"${{(@)words[2,CURRENT-1]}}\"; do\n"
      "    if [[ -n $skip ]]; then skip=; continue; fi\n"
      "    case \"$place $word\" in\n{1}    esac\n  done\n"
      "  if [[ $PREFIX == --*=* ]]; then\n"
      "    before=${{PREFIX%%=*}}\n"
      "    compset -P \"$before=\"\n  fi\n"
      "  case \"$place $before\" in\n{2}  esac\n"
      "  [[ $PREFIX == -* ]] || case \"$place $at\" in\n{3}  esac\n"
      "  case \"$place\" in\n",
      program, Steps(iCommands), Values(iCommands, kZshChoices, "_files"),
      Positionals(iCommands, kZshChoices));
  for (const Command& command : iCommands) {
    script += fmt::format("    {})\n      options=({} )\n      commands=({} ) ;;\n", Quoted(command.mPath),
                          ZshEntries(iCommands, command, true), ZshEntries(iCommands, command, false));
  }
  script += fmt::format(
      "  esac\n"
      "  if [[ $PREFIX == -* ]]; then _describe option options\n"
      "  elif (( $#commands )); then _describe command commands\n"
      "  else _files\n  fi\n"
      "}}\n"
      "_{0} \"$@\"\n",
      program);
  return script;
}

}  // namespace tool
