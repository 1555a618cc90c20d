// SPDX-License-Identifier: MIT
/// \file
/// The words of the command line.
#pragma once

#include <string>
#include <vector>

namespace tool {

/// The arguments behind the program's name, for a parser that takes the word behind "--name=" as its value
/// where nothing stands behind the sign: such an option becomes two words, the second of them empty. Words
/// behind "--" stay as they are.
std::vector<std::string> WordsOf(int iCount, const char* const* iArguments);

}  // namespace tool
