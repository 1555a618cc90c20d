// SPDX-License-Identifier: MIT
#include "tools/mlox/render/render_command.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <utility>

#include "tools/mlox/interrupt.h"
#include "tools/mlox/outputfile.h"
#include "tools/mlox/progressbar.h"
#include "tools/mlox/render/bufferedway.h"
#include "tools/mlox/render/directway.h"
#include "tools/mlox/render/noneway.h"
#include "tools/mlox/render/renderer.h"
#include "tools/mlox/render/synthesizer.h"
#include "tools/mlox/render/timeline.h"
#include "tools/mlox/render/wavfile.h"
#include "tools/mlox/song/songreader.h"
#include "tools/mlox/standardstreams.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

constexpr std::int64_t kMaxBlock = 65536;

constexpr const char* kFooter = R"(
The song goes the way that a note takes from a workstation to a plug-in: writers on threads of their own write
time-stamped events to a plug-in's node, and the audio thread takes them out block by block and plays them.

  --through buffered   the plug-in pulls its messages once a block
  --through direct     the plug-in is called for each message on the writer's thread
  --through none       the messages go round the library, for comparison

Whatever the way, the block and the number of writers, the WAV is the same to the last bit.

Examples:
  mlox render song.mid song.wav
  mlox render song.mid song.wav --seconds 20 --block 256 --through direct
  mlox render song.mid song.wav --json --events fed.txt

Exit status: 0 done, 1 bad input, 2 bad usage. On an error no output is left behind.)";

std::unique_ptr<Way> MakeWay(const RenderRequest& iRequest) {
  const auto advance = static_cast<std::int32_t>(Schedule::RunAheadFor(iRequest.mBlock));
  if (iRequest.mThrough == "buffered") {
    return std::make_unique<BufferedWay>(iRequest.mSampleRate, advance);
  }
  if (iRequest.mThrough == "direct") {
    return std::make_unique<DirectWay>(iRequest.mSampleRate, advance);
  }
  return std::make_unique<NoneWay>();
}

/// Paths that can't be followed to their end are different: whoever opens them tells what is wrong.
bool IsSameFile(const std::string& iA, const std::string& iB) {
  std::error_code errorA;
  std::error_code errorB;
  const auto a = std::filesystem::weakly_canonical(iA, errorA);
  const auto b = std::filesystem::weakly_canonical(iB, errorB);
  const bool isOnePath = !errorA && !errorB && a == b;
  return isOnePath || std::filesystem::equivalent(iA, iB, errorA);
}

/// Rendering replaces what it writes, so no two of the files may be one.
void CheckFilesDiffer(const RenderRequest& iRequest) {
  struct Use {
    std::string mPath;
    const char* mName;
    bool mIsWritten;
  };
  const Use uses[] = {{iRequest.mSong, "the song", false},
                      {iRequest.mSoundFont, "the sound font", false},
                      {iRequest.mOutput, "the output", true},
                      {iRequest.mEvents.value_or(""), "the list of events", true}};
  for (const Use& written : uses) {
    for (const Use& other : uses) {
      const bool isPair = written.mIsWritten && &written > &other && !written.mPath.empty();
      if (isPair && IsSameFile(written.mPath, other.mPath)) {
        throw UsageError(fmt::format("{}: {} is {} too", written.mPath, other.mName, written.mName));
      }
    }
  }
}

std::optional<std::int64_t> FramesAskedFor(const RenderRequest& iRequest) {
  if (!iRequest.mSeconds) {
    return std::nullopt;
  }
  const double frames = std::round(*iRequest.mSeconds * iRequest.mSampleRate);
  if (!(frames >= 1 && frames <= static_cast<double>(Timeline::kMaxFrames))) {
    throw UsageError(fmt::format("--seconds: {} is not in range {} to {} at {} Hz", *iRequest.mSeconds,
                                 1.0 / iRequest.mSampleRate, Timeline::kMaxFrames / iRequest.mSampleRate,
                                 iRequest.mSampleRate));
  }
  return static_cast<std::int64_t>(frames);
}

Timeline TimelineOf(Song iSong, const RenderRequest& iRequest, std::optional<std::int64_t> iFrames) {
  try {
    return Timeline(std::move(iSong), iRequest.mSampleRate, iFrames);
  } catch (const ToolError& error) {
    throw ToolError(fmt::format("{}: {}", iRequest.mSong, error.what()));
  }
}

std::vector<std::string> NotesOn(const Song& iSong) {
  if (iSong.mUnfinishedSysexes == 0) {
    return {};
  }
  return {fmt::format("{} system exclusive messages without an end were left out", iSong.mUnfinishedSysexes)};
}

void RunCommand(const RenderRequest& iRequest) {
  const Interrupt interrupt;
  std::optional<ProgressBar> bar(stderr);
  const auto lookOn = [&bar](double iDone) {
    Interrupt::Check();
    bar->Show(iDone);
  };
  // Whoever reads the figures finds the files. Figures that can't be written are an error like any other.
  const auto tell = [&](const RenderOutcome& iOutcome) {
    bar.reset();
    for (const std::string& note : iOutcome.mNotes) {
      PrintError(fmt::format("mlox: note: {}: {}\n", iRequest.mSong, note));
    }
    PrintWhole(iRequest.mIsJson ? ToJson(iOutcome.mFigures) : ToText(iOutcome.mFigures));
  };
  Render(iRequest, lookOn, tell);
}

}  // namespace

RenderOutcome Render(const RenderRequest& iRequest, const std::function<void(double)>& iLookOn,
                     const std::function<void(const RenderOutcome&)>& iTell) {
  CheckFilesDiffer(iRequest);
  const auto frames = FramesAskedFor(iRequest);
  Song song = ReadSongFile(iRequest.mSong);
  RenderOutcome outcome;
  outcome.mNotes = NotesOn(song);
  const Timeline timeline = TimelineOf(std::move(song), iRequest, frames);
  // The outputs are made before the work, so that a name that can't be written to is told at once.
  WavFile wav(iRequest.mOutput, iRequest.mSampleRate);
  std::optional<OutputFile> events;
  if (iRequest.mEvents) {
    events.emplace(*iRequest.mEvents);
  }
  Synthesizer synthesizer(iRequest.mSoundFont, iRequest.mSampleRate);
  const std::unique_ptr<Way> way = MakeWay(iRequest);
  Renderer renderer({timeline, *way, synthesizer, wav}, iRequest.mBlock, iRequest.mWriters);
  outcome.mFigures = renderer.Run(iLookOn);
  outcome.mDelivered = renderer.Delivered();
  for (const std::string& text : synthesizer.Log().Texts()) {
    outcome.mNotes.push_back("FluidSynth: " + text);
  }
  if (events) {
    events->WriteAll(outcome.mDelivered.ToText());
  }
  wav.TakeName();
  if (events) {
    events->TakeName();
  }
  iTell(outcome);
  wav.Keep();
  if (events) {
    events->Keep();
  }
  return outcome;
}

void RegisterRender(CLI::App& iApp) {
  auto request = std::make_shared<RenderRequest>();
  CLI::App* const command =
      iApp.add_subcommand("render", "Play a song through a plug-in's node into a WAV file");
  command->footer(kFooter);
  command->add_option("SONG", request->mSong, "A Standard MIDI File of format 0 or 1")->required();
  command->add_option("OUT", request->mOutput, "The WAV file to write, two channels of 32-bit floats")
      ->required();
  command->add_option("--soundfont", request->mSoundFont, "The sound font to play with")
      ->type_name("FILE")
      ->capture_default_str();
  command->add_option("--sample-rate", request->mSampleRate, "Samples a second")
      ->type_name("HZ")
      ->check(CLI::Range(Synthesizer::kMinSampleRate, Synthesizer::kMaxSampleRate))
      ->capture_default_str();
  command->add_option("--block", request->mBlock, "Frames that the plug-in renders at a time")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, kMaxBlock))
      ->capture_default_str();
  command->add_option("--writers", request->mWriters, "Threads that write, each with channels of its own")
      ->type_name("N")
      ->check(CLI::Range(1, kMaxWriters))
      ->capture_default_str();
  command->add_option("--through", request->mThrough, "The way from writers to the plug-in")
      ->type_name("WAY")
      ->check(CLI::IsMember({"buffered", "direct", "none"}))
      ->capture_default_str();
  command->add_option("--seconds", request->mSeconds, "How much to render [the last message and 2 seconds]")
      ->type_name("S");
  command
      ->add_option("--events", request->mEvents,
                   "Write each message as it was fed: sample and bytes, a line each")
      ->type_name("FILE");
  command->add_flag("--json", request->mIsJson, "Print the figures as one JSON object");
  command->callback([request] { RunCommand(*request); });
}

}  // namespace tool
