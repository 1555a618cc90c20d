// SPDX-License-Identifier: MIT
/// \file
/// What --help prints.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace tool {

/// The parser's own layout with the line of usage that the manual page has. Commands added to a program take
/// over its formatter: it is given to the program before they are.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* iAppP, std::string iPath) const override;
};

}  // namespace tool
