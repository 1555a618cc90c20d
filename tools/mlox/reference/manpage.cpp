// SPDX-License-Identifier: MIT
#include "tools/mlox/reference/manpage.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace tool {

namespace {

// A text of ours as roff prints it: no character commands, and hyphens that can be copied into a shell.
std::string Escaped(const std::string& iText) {
  std::string text;
  for (const char character : iText) {
    if (character == '\\') {
      text += "\\e";
    } else if (character == '-') {
      text += "\\-";
    } else {
      text += character;
    }
  }
  return text;
}

// A line of its own, which mustn't begin with what begins a request.
std::string Line(const std::string& iText) {
  const bool isRequest = iText.starts_with('.') || iText.starts_with('\'');
  return (isRequest ? "\\&" : "") + Escaped(iText) + "\n";
}

std::string Upper(std::string iText) {
  std::transform(iText.begin(), iText.end(), iText.begin(),
                 [](unsigned char iCharacter) { return static_cast<char>(std::toupper(iCharacter)); });
  return iText;
}

// Help texts are laid out by hand, with examples: they stay as they are.
std::string AsItStands(const std::string& iText) {
  std::istringstream lines(iText);
  std::string page;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() && page.empty()) continue;
    page += line.empty() ? "\n" : Line(line);
  }
  return page.empty() ? page : ".PP\n.nf\n" + page + ".fi\n";
}

std::string OptionEntry(const CommandOption& iOption) {
  std::string names;
  for (const std::string& name : iOption.mNames) names += (names.empty() ? "" : ", ") + Escaped(name);
  const std::string value = iOption.mValue.empty() ? "" : " " + Escaped(iOption.mValue);
  const std::string dots = iOption.mIsPositional && iOption.mIsRepeated ? "..." : "";
  const std::string mark = iOption.mIsRequired ? " (required)" : "";
  return ".TP\n\\fB" + names + "\\fR" + dots + value + mark + "\n" + Line(iOption.mDescription);
}

std::string CommandSection(const Command& iCommand) {
  std::string page = ".SS \"" + Escaped(UsageOf(iCommand)) + "\"\n" + Line(iCommand.mDescription);
  for (const CommandOption& option : iCommand.mOptions) {
    const bool isHelp =
        std::find(option.mNames.begin(), option.mNames.end(), "--help") != option.mNames.end();
    if (!isHelp) page += OptionEntry(option);
  }
  return page + AsItStands(iCommand.mFooter);
}

}  // namespace

std::string ManualPage(const std::vector<Command>& iCommands, const std::string& iVersion) {
  const Command& program = iCommands.front();
  std::string page = ".\\\" Made from the program's own tables of options.\n";
  page += ".TH " + Upper(program.mPath) + " 1 \"\" \"" + Escaped(iVersion) + "\" \"User Commands\"\n";
  page += ".SH NAME\n" + Escaped(program.mPath) + " \\- " + Escaped(program.mDescription) + "\n";
  page += ".SH SYNOPSIS\n" + Line(UsageOf(program)) + ".SH OPTIONS\n";
  for (const CommandOption& option : program.mOptions) page += OptionEntry(option);
  page += ".SH COMMANDS\n";
  for (std::size_t i = 1; i < iCommands.size(); ++i) page += CommandSection(iCommands[i]);
  return page;
}

}  // namespace tool
