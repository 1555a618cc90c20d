// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/latency.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <vector>

#include "cmn/sys_clock.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_inputport.h"
#include "tools/mlox/interrupt.h"
#include "tools/mlox/outputfile.h"
#include "tools/mlox/ports/histogram.h"
#include "tools/mlox/ports/outputwriter.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/ports/receivedqueue.h"
#include "tools/mlox/progressbar.h"
#include "tools/mlox/standardstreams.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

// A port needs this long to be wired before the first message.
constexpr double kSettleSeconds = 0.2;
constexpr std::chrono::seconds kPatience{2};

// An interrupt is looked for this often.
constexpr std::chrono::milliseconds kStep{50};

using ProbeBytes = std::array<std::uint8_t, 3>;

/// Controller 3 means nothing to any instrument.
ProbeBytes Probe(int iChannel, int iNumber) {
  return {static_cast<std::uint8_t>(0xB0 | iChannel), 3, static_cast<std::uint8_t>(iNumber % 128)};
}

/// The first channel that the output listens on. Throws ToolError when there is none.
int ChannelOf(const OutputWriter& iWriter, const std::string& iName) {
  for (int channel = 0; channel < 16; ++channel) {
    if (iWriter.HasChannel(channel)) return channel;
  }
  throw ToolError(fmt::format("{}: listens on no channel", ForTerminal(iName)));
}

/// The time until the probe came, in microseconds; none if it didn't, whatever else came meanwhile.
std::optional<double> RoundTrip(OutputWriter& ioWriter, ReceivedQueue& ioQueue, const ProbeBytes& iProbe) {
  using Clock = std::chrono::steady_clock;
  const std::int64_t start = Sys_Clock::Microseconds();
  const Clock::time_point end = Clock::now() + kPatience;
  ioWriter.Write(Mdie_Timestamp(), SongMessageKind::kChannel, iProbe);
  ReceivedMessage message;
  for (;;) {
    Interrupt::Check();
    const Clock::duration left = end - Clock::now();
    if (left <= Clock::duration::zero()) return std::nullopt;
    if (!ioQueue.Take(message,
                      std::chrono::ceil<std::chrono::microseconds>(std::min<Clock::duration>(left, kStep)))) {
      continue;
    }
    const bool isProbe =
        std::equal(message.mBytes.begin(), message.mBytes.end(), iProbe.begin(), iProbe.end());
    if (isProbe) return static_cast<double>(message.mTime - start);
  }
}

std::vector<double> Measure(const LatencyRequest& iRequest) {
  const Interrupt interrupt;
  ReceivedQueue queue;
  const PortSession session;
  OutputWriter writer(FindOutput(session, iRequest.mOutput));
  const PortSession::Port port = PortSession::MakePort(&queue);
  port->ConnectToInputs({FindInput(session, iRequest.mInput)});
  session.IdleUntil([] { return Interrupt::HasHappened(); }, kSettleSeconds);
  const int channel = ChannelOf(writer, iRequest.mOutput);
  std::vector<double> times;
  ProgressBar progress(stderr);
  for (int i = 0; i < iRequest.mCount; ++i) {
    Interrupt::Check();
    const std::optional<double> time = RoundTrip(writer, queue, Probe(channel, i));
    if (!time && !writer.FindAgain()) {
      throw ToolError(fmt::format("{}: has gone", ForTerminal(iRequest.mOutput)));
    }
    if (!time) {
      throw ToolError(fmt::format("message {} of {} didn't come back within {} seconds; is {} wired to {}?",
                                  i + 1, iRequest.mCount, kPatience.count(), ForTerminal(iRequest.mOutput),
                                  ForTerminal(iRequest.mInput)));
    }
    times.push_back(*time);
    progress.Show(static_cast<double>(i + 1) / iRequest.mCount);
  }
  return times;
}

}  // namespace

void Latency(const LatencyRequest& iRequest) {
  std::optional<OutputFile> picture;
  if (!iRequest.mSvg.empty()) picture.emplace(iRequest.mSvg);
  const Histogram histogram(Measure(iRequest));
  PrintWhole(fmt::format("{}{} messages: p50 {:.0f} us, p99 {:.0f} us, longest {:.0f} us\n",
                         histogram.Text(TerminalColumns()), iRequest.mCount, histogram.Quantile(0.5),
                         histogram.Quantile(0.99), histogram.Longest()));
  if (!picture) return;
  picture->WriteAll(histogram.Svg(
      fmt::format("{} to {}, {} messages", iRequest.mOutput, iRequest.mInput, iRequest.mCount)));
  picture->TakeName();
  picture->Keep();
}

}  // namespace tool
