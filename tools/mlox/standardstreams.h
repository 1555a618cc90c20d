// SPDX-License-Identifier: MIT
/// \file
/// The three streams that every program is given, also by those who close them.
#pragma once

#include <cstdio>
#include <string_view>

namespace tool {

/// Puts something in the place of each standard stream that is closed, so that no file of this process gets
/// its number: what is printed would end up in that file. Such a stream goes on failing, both ways. To be
/// called first of all.
void FillStandardStreams() noexcept;

/// Prints as far as that can be done. Where nobody can be told, the exit status still tells.
void PrintAnyway(std::FILE* iStreamP, std::string_view iText) noexcept;

/// The same to standard error.
void PrintError(std::string_view iText) noexcept;

/// Throws ToolError with the reason when something that was printed to standard output couldn't be written.
void CheckStandardOutput();

/// Prints to standard output and throws ToolError when that can't be done. Nobody at the other end of a pipe
/// is such a fault here, and doesn't end the process: something is left to be put in order.
void PrintWhole(std::string_view iText);

}  // namespace tool
