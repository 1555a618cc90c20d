// SPDX-License-Identifier: MIT
#include "tools/mlox/render/fluidlog.h"

#include <fluidsynth.h>
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using tool::FluidLog;

TEST(FluidLog, KeepsEachTextOnce) {
  FluidLog log;
  log.Add("one");
  log.Add("two");
  log.Add("one");
  EXPECT_THAT(log.Texts(), ElementsAre("one", "two"));
}

TEST(FluidLog, KeepsNoMoreThanAHundred) {
  FluidLog log;
  for (int i = 0; i < 200; ++i) {
    log.Add(std::to_string(i).c_str());
  }
  EXPECT_THAT(log.Texts(), SizeIs(100));
  EXPECT_EQ(log.Texts().back(), "99");
}

/// While it lives, it has the handlers of GLib and FluidSynth.
class Listener {
 public:
  Listener() {
    sHeard.clear();
    mGLib = g_log_set_default_handler(
        [](const gchar*, GLogLevelFlags, const gchar* iText, gpointer) { sHeard.emplace_back(iText); },
        nullptr);
    for (std::size_t level = 0; level < mFluid.size(); ++level) {
      mFluid[level] = fluid_set_log_function(
          static_cast<int>(level), [](int, const char* iText, void*) { sHeard.emplace_back(iText); },
          nullptr);
    }
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener() {
    g_log_set_default_handler(mGLib, nullptr);
    for (std::size_t level = 0; level < mFluid.size(); ++level) {
      fluid_set_log_function(static_cast<int>(level), mFluid[level], nullptr);
    }
  }

  const std::vector<std::string>& Heard() const { return sHeard; }

 private:
  // The handlers given back may have lost their data.
  static inline std::vector<std::string> sHeard;

  GLogFunc mGLib = nullptr;
  std::array<fluid_log_function_t, LAST_LOG_LEVEL> mFluid{};
};

/// Says something at each level that doesn't end the process.
void SpeakAtEachLevel() {
  g_critical("GLib's critical");
  g_warning("GLib's warning");
  g_message("GLib's message");
  fluid_log(FLUID_PANIC, "panic");
  fluid_log(FLUID_ERR, "error");
  fluid_log(FLUID_WARN, "warning");
  fluid_log(FLUID_INFO, "information");
  fluid_log(FLUID_DBG, "debugging");
}

TEST(FluidLog, CollectsFaultsAndDropsChatterWhileItLives) {
  const Listener former;
  const FluidLog log;
  SpeakAtEachLevel();
  EXPECT_THAT(log.Texts(), ElementsAre("GLib's critical", "GLib's warning", "panic", "error", "warning"));
  EXPECT_THAT(former.Heard(), IsEmpty());
}

TEST(FluidLog, GivesTheFormerHandlersBack) {
  const Listener former;
  { const FluidLog log; }
  SpeakAtEachLevel();
  EXPECT_THAT(former.Heard(), ElementsAre("GLib's critical", "GLib's warning", "GLib's message", "panic",
                                          "error", "warning", "information", "debugging"));
}

}  // namespace
