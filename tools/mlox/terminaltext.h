// SPDX-License-Identifier: MIT
/// \file
/// Text of documents on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// The text with each control character as a blank, so that a document can't command the terminal.
std::string ForTerminal(std::string_view iText);

/// How many columns a text takes: one for each character.
size_t ColumnsOf(std::string_view iText);

/// The text cut to so many columns, with an ellipsis where it was cut, and filled up with blanks.
std::string FitColumns(std::string_view iText, size_t iColumns);

/// The text in lines of at most so many columns, broken at blanks. A word that is longer stands on a line of
/// its own; a text without words is one empty line.
std::vector<std::string> WrapColumns(std::string_view iText, size_t iColumns);

/// Channels in order, with runs drawn together: "1-9, 11".
std::string ChannelsText(const std::vector<int>& iChannels);

/// COLUMNS from the environment, for those who want another width than the terminal's; without it the width
/// of the terminal on standard output, and 80 where there is none.
size_t TerminalColumns();

}  // namespace tool
