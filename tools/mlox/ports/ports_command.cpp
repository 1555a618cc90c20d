// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/ports_command.h"

#include <fmt/format.h>

#include <cmath>
#include <memory>
#include <string>

#include "tools/mlox/ports/latency.h"
#include "tools/mlox/ports/list.h"
#include "tools/mlox/ports/monitor.h"
#include "tools/mlox/ports/outputpatches.h"
#include "tools/mlox/ports/play.h"
#include "tools/mlox/ports/send.h"
#include "tools/mlox/ports/watch.h"

namespace tool {

namespace {

constexpr const char* kNaming = R"(
An OUTPUT or INPUT is named by its exact name, by the beginning of its name if no other begins so, by its id as
`mlox list` shows it, or as id:N by one of its integers there, which hold until something changes: a port comes
or goes, or channels are set; outputs and inputs are numbered each from 1.
MLOX_MIDI_DRIVERS (alsa, jack, loopback; comma between) chooses where ports come from.)";

// Not a number, or without an end, is no time either.
const CLI::Validator kSeconds(
    [](const std::string& iText) -> std::string {
      double seconds = 0;
      const bool isTime = CLI::detail::lexical_cast(iText, seconds) && std::isfinite(seconds) && seconds > 0;
      return isTime ? std::string() : fmt::format("'{}' is no number of seconds above 0", iText);
    },
    "POSITIVE");

void RegisterList(CLI::App& iApp) {
  auto request = std::make_shared<ListRequest>();
  CLI::App* listP = iApp.add_subcommand("list", "The outputs and inputs that there are");
  listP->add_flag("--all", request->mAll, "Also what the studio's database knows and isn't there now");
  listP->add_flag("--json", request->mJson, "One line of JSON in place of a table");
  listP->footer("\nExit status: 0 done, 1 no MIDI service, 2 bad usage.");
  listP->callback([request] { List(*request); });
}

void RegisterMonitor(CLI::App& iApp) {
  auto request = std::make_shared<MonitorRequest>();
  CLI::App* monitorP = iApp.add_subcommand("monitor", "Print what arrives");
  monitorP->add_option("INPUT", request->mInputs,
                       "Inputs; all, also those that come later, if none is named");
  monitorP->add_option("--for", request->mSeconds, "End after so many seconds")->check(kSeconds);
  monitorP->add_flag("--json", request->mJson,
                     "One line of JSON a message: bytes, input, sysex_state, time_us");
  monitorP->footer(kNaming);
  monitorP->callback([request] { Monitor(*request); });
}

void RegisterSend(CLI::App& iApp) {
  auto request = std::make_shared<SendRequest>();
  CLI::App* sendP = iApp.add_subcommand("send", "Send messages, now");
  sendP->add_option("OUTPUT", request->mOutput, "Where to")->required();
  sendP->add_option("BYTES", request->mBytes, "Whole messages in hexadecimal: 90 3c 64 80 3c 00");
  sendP->add_option("--sysex", request->mSysexFile, "A file of system exclusive messages");
  sendP->footer(
      std::string(
          "\nA message of more than 256 bytes goes out at the wire's pace, 3,125 bytes a second; Ctrl-C\n"
          "cuts it.\n\n"
          "Exit status: 0 everything went out, 1 it didn't (interrupted, or the port went meanwhile) or "
          "there\n"
          "was nothing to send to, 2 bad usage.\n") +
      kNaming);
  sendP->callback([request] { Send(*request); });
}

void RegisterPlay(CLI::App& iApp) {
  auto request = std::make_shared<PlayRequest>();
  CLI::App* playP = iApp.add_subcommand("play", "Play a song, in time");
  playP->add_option("SONG", request->mSong, "A Standard MIDI File")->required();
  playP->add_option("--to", request->mOutput, "The output")->required();
  playP->add_option("--seconds", request->mSeconds, "Only the beginning")->check(kSeconds);
  playP->add_option("--back", request->mBack,
                    "An input that is wired to the output: check that every byte comes back");
  playP->footer(std::string("\nCtrl-C stops it: what was written goes out, then every note is turned off. "
                            "Where --seconds cuts the\n"
                            "song, what sounds is turned off. When the port goes and comes back, the song "
                            "goes on where it is by\n"
                            "then, and the messages that fell into the gap are counted at the end. Messages "
                            "on channels that the\n"
                            "output doesn't listen on are left out and counted; the exit status is 0 all the "
                            "same.\n\n"
                            "Exit status: 0 everything else went out, 1 it didn't (interrupted, or a gap of "
                            "the port) or didn't\n"
                            "come back, 2 bad usage.\n") +
                kNaming);
  playP->callback([request] { Play(*request); });
}

void RegisterWatch(CLI::App& iApp) {
  auto request = std::make_shared<WatchRequest>();
  CLI::App* watchP = iApp.add_subcommand("watch", "Print every change of the lists as it happens");
  watchP->add_option("--follow", request->mFollow,
                     "Tell when a saved reference to an output, or else an input, is lost and found again");
  watchP->add_option("--for", request->mSeconds, "End after so many seconds")->check(kSeconds);
  watchP->footer(
      std::string("\n--follow takes the output where an output and an input have the name, or have "
                  "the integer and one name.\n"
                  "An integer of an output and an input of two names is an error.\n") +
      kNaming);
  watchP->callback([request] { Watch(*request); });
}

void RegisterLatency(CLI::App& iApp) {
  auto request = std::make_shared<LatencyRequest>();
  CLI::App* latencyP =
      iApp.add_subcommand("latency", "How long a message takes from an output to an input wired to it");
  latencyP->add_option("--out", request->mOutput, "The output")->required();
  latencyP->add_option("--in", request->mInput, "The input")->required();
  latencyP->add_option("--count", request->mCount, "How many messages (1000)")
      ->check(CLI::Range(1, 10000000));
  latencyP->add_option("--svg", request->mSvg, "A file for a picture of the spread");
  latencyP->footer(kNaming);
  latencyP->callback([request] { Latency(*request); });
}

}  // namespace

void RegisterPorts(CLI::App& iApp) {
  RegisterList(iApp);
  RegisterMonitor(iApp);
  RegisterSend(iApp);
  RegisterPlay(iApp);
  RegisterWatch(iApp);
  RegisterLatency(iApp);
}

void RegisterOutputPatches(CLI::App& iApp) {
  auto request = std::make_shared<OutputPatchesRequest>();
  CLI::App* patchesP = iApp.get_subcommand("names")->add_subcommand(
      "patches", "What an output calls its patches, by its device's own document");
  patchesP->add_option("OUTPUT", request->mOutput, "The output")->required();
  patchesP->add_option("--channel", request->mChannel, "Only this channel, 1 to 16")
      ->check(CLI::Range(1, 16));
  patchesP->add_flag("--json", request->mJson,
                     "One line of JSON: for each channel, its banks, their selects and programs");
  patchesP->footer(kNaming);
  patchesP->callback([request] { ShowOutputPatches(*request); });
}

}  // namespace tool
