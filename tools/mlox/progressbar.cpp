// SPDX-License-Identifier: MIT
#include "tools/mlox/progressbar.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "tools/mlox/standardstreams.h"

namespace tool {

ProgressBar::ProgressBar(std::FILE* iStreamP)
    : mStreamP(::isatty(::fileno(iStreamP)) != 0 ? iStreamP : nullptr) {}

ProgressBar::~ProgressBar() {
  if (mShownPercent >= 0) {
    PrintAnyway(mStreamP, "\r\x1b[K");
  }
}

void ProgressBar::Show(double iFraction) {
  const int percent = static_cast<int>(std::clamp(iFraction, 0.0, 1.0) * 100);
  if (mStreamP == nullptr || percent == mShownPercent) {
    return;
  }
  mShownPercent = percent;
  constexpr int kWidth = 40;
  const int filled = percent * kWidth / 100;
  PrintAnyway(mStreamP, fmt::format("\r[{:#<{}}{:.<{}}] {:3} %", "", filled, "", kWidth - filled, percent));
}

}  // namespace tool
