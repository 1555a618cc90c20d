// SPDX-License-Identifier: MIT
/// \file
/// Runs of the trace probe: what a process sees of a tracing library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

/// What a run of the probe has written, and how it ended.
struct Test_ProbeRun {
  std::vector<std::string> mLines;  ///< Of standard output and standard error.
  int mStatus = -1;
};

/// Runs a program, which is the probe or has its arguments behind it, with a folder on its loader's path, and
/// with assignments of its own in the environment.
inline Test_ProbeRun Test_RunProgram(const std::string& iProgram, const std::string& iFolder,
                                     const std::string& iEnvironment = "") {
  const std::string command =
      "env -u MLOX_ASSERT -u MLOX_TRACE -u MLOX_TRACE_FILE -u MLOX_TRACE_FILE_SIZE -u MLOX_TRACE_FILES "
      "LD_LIBRARY_PATH='" +
      iFolder + "' " + iEnvironment + " " + iProgram + " 2>&1";
  Test_ProbeRun run;
  std::FILE* outputP = popen(command.c_str(), "r");
  if (outputP == nullptr) return run;
  char line[4096];
  while (std::fgets(line, sizeof(line), outputP) != nullptr) {
    run.mLines.emplace_back(line);
    if (run.mLines.back().ends_with('\n')) run.mLines.back().pop_back();
  }
  run.mStatus = pclose(outputP);
  return run;
}

/// Runs the probe.
inline Test_ProbeRun Test_RunProbe(const std::string& iFolder, const std::string& iEnvironment = "") {
  return Test_RunProgram("'" MLOX_TEST_TRACE_PROBE "'", iFolder, iEnvironment);
}

/// How many of the lines hold a text.
inline std::ptrdiff_t Test_CountContaining(const std::vector<std::string>& iLines, const std::string& iText) {
  return std::count_if(iLines.begin(), iLines.end(),
                       [&](const std::string& iLine) { return iLine.find(iText) != std::string::npos; });
}
