// SPDX-License-Identifier: MIT
/// \file
/// What jack_midi_dump -a prints.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/platform/directmusic/conformance/driver_peer.h"

/// One message that it heard. mTime counts frames since it was started: of the cycles that it got, which is
/// no clock where the server stumbled.
inline bool Test_ParseDumpLine(const std::string& iLine, Test_Heard& oHeard) {
  // Frames, a colon, bytes in hexadecimal, then words.
  std::istringstream line(iLine);
  char colon = 0;
  if (!(line >> oHeard.mTime >> colon) || colon != ':') {
    return false;
  }
  oHeard.mBytes.clear();
  for (std::string word; line >> word && word.size() == 2;) {
    oHeard.mBytes.push_back(static_cast<std::uint8_t>(std::strtoul(word.c_str(), nullptr, 16)));
  }
  return !oHeard.mBytes.empty();
}

/// All whole lines of its output so far.
inline std::vector<Test_Heard> Test_DumpedMessages(const std::string& iOutput) {
  std::vector<Test_Heard> messages;
  std::istringstream output(iOutput);
  Test_Heard heard;
  for (std::string line; std::getline(output, line) && !output.eof();) {
    if (Test_ParseDumpLine(line, heard)) {
      messages.push_back(heard);
    }
  }
  return messages;
}
