// SPDX-License-Identifier: MIT
/// \file
/// The command `mlox`. A subcommand is a file of its room with one registering function, and one line in
/// RegisterAll.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_version.h"
#include "tools/mlox/assertions/assertiontable.h"
#include "tools/mlox/commandline.h"
#include "tools/mlox/doctor/doctor_command.h"
#include "tools/mlox/names/names_command.h"
#include "tools/mlox/ports/ports_command.h"
#include "tools/mlox/ports/studio_command.h"
#include "tools/mlox/reference/helpformatter.h"
#include "tools/mlox/reference/reference_command.h"
#include "tools/mlox/render/render_command.h"
#include "tools/mlox/standardstreams.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

namespace {

constexpr int kBadInput = 1;
constexpr int kBadUsage = 2;

const std::string kVersion =
    fmt::format("mlox {}.{}.{}", CMN_VERSION_MAJOR, CMN_VERSION_MINOR, CMN_VERSION_PATCH);

void RegisterAll(CLI::App& iApp) {
  tool::RegisterRender(iApp);
  tool::RegisterPorts(iApp);
  tool::RegisterStudio(iApp);
  tool::RegisterNames(iApp);
  tool::RegisterOutputPatches(iApp);
  tool::RegisterDeviceTypes(iApp);
  tool::RegisterDoctor(iApp);
  tool::RegisterReference(iApp, kVersion);
}

/// One line on standard error, whatever line breaks and commands to a terminal the text has: it may name what
/// a file holds.
int Fail(int iStatus, const std::string& iText) {
  // What was printed before comes before it, also where both streams go into one pipe.
  static_cast<void>(std::fflush(stdout));
  tool::PrintError(fmt::format("mlox: {}\n", tool::ForTerminal(iText)));
  return iStatus;
}

/// Help and version are "errors" to the parser, and so are real ones.
int EndParsing(const CLI::App& iApp, const CLI::ParseError& iError) {
  if (iError.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
    return iApp.exit(iError);
  }
  return Fail(kBadUsage, std::string(iError.what()) + " (mlox --help tells more)");
}

/// oWantsAssertions is set as soon as it is known, so that it holds however the subcommand ends.
int Run(int iCount, char** iArguments, bool& oWantsAssertions) {
  CLI::App app("MIDI between workstations, plug-ins and the machine's ports.", "mlox");
  app.formatter(std::make_shared<tool::HelpFormatter>());
  app.set_version_flag("--version", kVersion);
  app.add_flag("--assertions", oWantsAssertions,
               "At exit, print the library's checks that failed to standard error: site, text, count");
  app.require_subcommand(1);
  app.footer("\nmlox SUBCOMMAND --help tells about each.");
  RegisterAll(app);
  try {
    std::vector<std::string> words = tool::WordsOf(iCount, iArguments);
    std::reverse(words.begin(), words.end());
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return EndParsing(app, error);
  }
  return 0;
}

int RunGuarded(int iCount, char** iArguments, bool& oWantsAssertions) {
  try {
    const int status = Run(iCount, iArguments, oWantsAssertions);
    tool::CheckStandardOutput();
    return status;
  } catch (const tool::UsageError& error) {
    return Fail(kBadUsage, error.what());
  } catch (const std::exception& error) {
    return Fail(kBadInput, error.what());
  }
}

/// What real-time threads have left is printed first, as it would be at exit.
void PrintAssertions() {
  Cmn_Assert::Drain();
  tool::PrintError(tool::AssertionTableOfThisRun());
}

}  // namespace

int main(int iCount, char** iArguments) {
  tool::FillStandardStreams();
  bool wantsAssertions = false;
  const int status = RunGuarded(iCount, iArguments, wantsAssertions);
  if (wantsAssertions) PrintAssertions();
  return status;
}
