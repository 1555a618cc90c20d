// SPDX-License-Identifier: MIT
#include "tools/mlox/reference/helpformatter.h"

#include "tools/mlox/reference/commandtree.h"

namespace tool {

std::string HelpFormatter::make_usage(const CLI::App* iAppP, std::string iPath) const {
  return get_label("Usage") + ": " + UsageOf(CommandOf(*iAppP, iPath)) + "\n";
}

}  // namespace tool
