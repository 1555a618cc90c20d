// SPDX-License-Identifier: MIT
#include "tools/mlox/reference/reference_command.h"

#include <fmt/format.h>

#include <memory>

#include "tools/mlox/reference/commandtree.h"
#include "tools/mlox/reference/completion.h"
#include "tools/mlox/reference/manpage.h"

namespace tool {

void RegisterReference(CLI::App& ioApp, const std::string& iVersion) {
  auto kind = std::make_shared<std::string>();
  CLI::App* referenceP =
      ioApp.add_subcommand("reference", "Print the manual page or a shell's completion script");
  referenceP->add_option("KIND", *kind, "man, bash or zsh")
      ->required()
      ->check(CLI::IsMember({"man", "bash", "zsh"}));
  referenceP->footer("\nExample:\n  mlox reference bash >~/.local/share/bash-completion/completions/mlox");
  referenceP->callback([&ioApp, iVersion, kind] {
    const std::vector<Command> commands = CommandsOf(ioApp);
    fmt::print("{}", *kind == "man"    ? ManualPage(commands, iVersion)
                     : *kind == "bash" ? BashCompletion(commands)
                                       : ZshCompletion(commands));
  });
}

}  // namespace tool
