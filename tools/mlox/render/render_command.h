// SPDX-License-Identifier: MIT
/// \file
/// `mlox render`: a song through a plug-in's node to a WAV file.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/mlox/render/deliveredlist.h"
#include "tools/mlox/render/renderfigures.h"
#include "tools/mlox/render/way.h"

namespace tool {

/// What `mlox render` was asked for.
struct RenderRequest {
  std::string mSong;
  std::string mOutput;
  std::string mSoundFont = "/usr/share/sounds/sf2/TimGM6mb.sf2";
  std::uint32_t mSampleRate = 48000;
  std::int64_t mBlock = 64;
  int mWriters = 3;
  std::string mThrough = "buffered";
  std::optional<double> mSeconds;      ///< Above 0; without it, the last message and two seconds.
  std::optional<std::string> mEvents;  ///< Without: no list of events.
  bool mIsJson = false;
};

/// What came of it.
struct RenderOutcome {
  RenderFigures mFigures;
  DeliveredList mDelivered;
  std::vector<std::string> mNotes;  ///< What the user should hear of, a line each.
};

/// Renders and writes the files. `iLookOn` is called now and then with the part that is done, and `iTell`
/// once all is done and the files have their names. Throws ToolError, and UsageError for a request that makes
/// no sense, and what the two functions throw; then no file was made or changed.
RenderOutcome Render(
    const RenderRequest& iRequest, const std::function<void(double)>& iLookOn,
    const std::function<void(const RenderOutcome&)>& iTell = [](const RenderOutcome&) {});

/// Adds `render` to the tool.
void RegisterRender(CLI::App& iApp);

}  // namespace tool
