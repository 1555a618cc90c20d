// SPDX-License-Identifier: MIT
#include "tools/mlox/assertions/assertiontable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <tuple>

#include "tools/mlox/terminaltext.h"

namespace tool {

namespace {

// The texts are those of sources, but an application's own checks are reported too.
std::string SiteText(const Cmn_AssertSite& iSite) {
  return ForTerminal(fmt::format("{}:{}", iSite.mSource.empty() ? "?" : iSite.mSource, iSite.mLine));
}

std::size_t Widest(const std::vector<Cmn_AssertSite>& iSites, const char* iHead,
                   std::string (*iTextOf)(const Cmn_AssertSite&)) {
  std::size_t width = ColumnsOf(iHead);
  for (const Cmn_AssertSite& site : iSites) width = std::max(width, ColumnsOf(iTextOf(site)));
  return width;
}

}  // namespace

std::string AssertionTable(std::vector<Cmn_AssertSite> iSites, std::uint64_t iUnlisted) {
  if (iSites.empty() && iUnlisted == 0) return "no check failed\n";
  std::sort(iSites.begin(), iSites.end(), [](const Cmn_AssertSite& iA, const Cmn_AssertSite& iB) {
    return std::tie(iA.mSource, iA.mLine, iA.mText) < std::tie(iB.mSource, iB.mLine, iB.mText);
  });
  const auto textOf = [](const Cmn_AssertSite& iSite) { return ForTerminal(iSite.mText); };
  const std::size_t sites = Widest(iSites, "site", &SiteText);
  const std::size_t texts = Widest(iSites, "text", textOf);
  const auto row = [&](const std::string& iSite, const std::string& iText, const std::string& iCount) {
    return fmt::format("{}  {}  {:>10}\n", FitColumns(iSite, sites), FitColumns(iText, texts), iCount);
  };
  std::string table = row("site", "text", "count");
  for (const Cmn_AssertSite& site : iSites)
    table += row(SiteText(site), textOf(site), fmt::format("{}", site.mCount));
  if (iUnlisted != 0) table += fmt::format("and {} of sites beyond what the list has room for\n", iUnlisted);
  return table;
}

std::string AssertionTableOfThisRun() {
  return AssertionTable(Cmn_Assert::Sites(), Cmn_Assert::UnlistedReports());
}

}  // namespace tool
