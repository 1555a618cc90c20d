// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/doctor_command.h"

#include <fmt/format.h>

#include <memory>
#include <vector>

#include "tools/mlox/doctor/examination.h"
#include "tools/mlox/doctor/machinelook.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

constexpr const char* kFooter = R"(
Drivers, permissions, real-time limits, the studio's database, folders of documents, tracing and the
environment, a line each: ok, note (worth knowing) or wrong, and under it the line that mends it. Nothing on
the machine is changed. Limits, groups and the environment are those of the shell that asks; an application
that was started from a menu may have others, and reads ExcludedMIDIPorts.txt and mlox.ini in its own folder.

Exit status: 0 nothing is wrong, 1 something is, 2 bad usage.)";

void Doctor(bool iJson) {
  const std::vector<Finding> findings = Examine(LookAtMachine());
  const std::size_t wrong = CountWrong(findings);
  if (iJson) {
    fmt::print("{}\n", FindingsJson(findings));
  } else {
    fmt::print("{}", FindingsText(findings, TerminalColumns()));
  }
  if (wrong != 0) throw ToolError(fmt::format("{} of {} findings are wrong", wrong, findings.size()));
}

}  // namespace

void RegisterDoctor(CLI::App& iApp) {
  auto isJson = std::make_shared<bool>(false);
  CLI::App* doctorP =
      iApp.add_subcommand("doctor", "What this machine offers, what is wrong and the line that mends it");
  doctorP->add_flag("--json", *isJson, "One line of JSON: findings (mend, name, seen, state), wrong");
  doctorP->footer(kFooter);
  doctorP->callback([isJson] { Doctor(*isJson); });
}

}  // namespace tool
