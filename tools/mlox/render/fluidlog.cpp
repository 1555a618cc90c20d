// SPDX-License-Identifier: MIT
#include "tools/mlox/render/fluidlog.h"

#include <fluidsynth.h>
#include <glib.h>

#include <algorithm>

namespace tool {

namespace {

void CollectFromGLib(const gchar*, GLogLevelFlags iLevel, const gchar* iText, gpointer iLogP) {
  constexpr int kFaults = G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING;
  if ((iLevel & kFaults) != 0) {
    static_cast<FluidLog*>(iLogP)->Add(iText);
  }
}

}  // namespace

FluidLog::FluidLog() {
  mFormerGLib = reinterpret_cast<GLibFunction>(g_log_set_default_handler(&CollectFromGLib, this));
  for (int level = 0; level < kLevels; ++level) {
    mFormer[static_cast<std::size_t>(level)] = fluid_set_log_function(level, &FluidLog::Collect, this);
  }
}

FluidLog::~FluidLog() {
  // Neither tells the data of a former function; their own ones take none.
  g_log_set_default_handler(reinterpret_cast<GLogFunc>(mFormerGLib), nullptr);
  for (int level = 0; level < kLevels; ++level) {
    fluid_set_log_function(level, mFormer[static_cast<std::size_t>(level)], nullptr);
  }
}

std::vector<std::string> FluidLog::Texts() const {
  const std::lock_guard lock(mMutex);
  return mTexts;
}

void FluidLog::Collect(int iLevel, const char* iText, void* iLogP) {
  if (iLevel <= FLUID_WARN) {
    static_cast<FluidLog*>(iLogP)->Add(iText);
  }
}

void FluidLog::Add(const char* iText) {
  const std::lock_guard lock(mMutex);
  const bool isKnown = std::find(mTexts.begin(), mTexts.end(), iText) != mTexts.end();
  if (!isKnown && mTexts.size() < kMaxTexts) {
    mTexts.emplace_back(iText);
  }
}

}  // namespace tool
