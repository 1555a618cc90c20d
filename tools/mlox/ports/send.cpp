// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/send.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cmn/sys_clock.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "tools/mlox/interrupt.h"
#include "tools/mlox/ports/hexbytes.h"
#include "tools/mlox/ports/outputwriter.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/progressbar.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

// No more is read of a file: the wire would take six hours for it.
constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

std::vector<std::uint8_t> ReadFile(const std::string& iPath) {
  const auto fail = [&] {
    throw ToolError(fmt::format("{}: cannot read: {}", ForTerminal(iPath), std::strerror(errno)));
  };
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(iPath.c_str(), "rbe"), &std::fclose);
  if (file == nullptr) fail();
  std::vector<std::uint8_t> bytes;
  constexpr std::size_t kBlock = 65536;
  for (std::size_t count = kBlock; count == kBlock;) {
    const std::size_t before = bytes.size();
    bytes.resize(before + kBlock);
    count = std::fread(bytes.data() + before, 1, kBlock, file.get());
    if (std::ferror(file.get()) != 0) fail();
    bytes.resize(before + count);
    if (bytes.size() > kMaxFileBytes) {
      throw ToolError(fmt::format("{}: larger than {} bytes", ForTerminal(iPath), kMaxFileBytes));
    }
  }
  if (bytes.empty()) throw ToolError(fmt::format("{}: is empty", ForTerminal(iPath)));
  return bytes;
}

std::vector<std::vector<std::uint8_t>> MessagesOf(const SendRequest& iRequest) {
  if (iRequest.mSysexFile.empty() == iRequest.mBytes.empty()) {
    throw UsageError("either BYTES or --sysex FILE says what to send");
  }
  if (!iRequest.mBytes.empty()) return SplitMessages(ParseHexBytes(iRequest.mBytes));
  const std::vector<std::uint8_t> bytes = ReadFile(iRequest.mSysexFile);
  std::vector<std::vector<std::uint8_t>> messages;
  try {
    messages = SplitMessages(bytes);
  } catch (const UsageError& error) {
    throw ToolError(fmt::format("{}: {}", ForTerminal(iRequest.mSysexFile), error.what()));
  }
  for (const auto& message : messages) {
    if (message[0] != 0xF0) {
      throw ToolError(fmt::format("{}: holds something else than system exclusive messages: {}",
                                  ForTerminal(iRequest.mSysexFile), HexText(message)));
    }
  }
  return messages;
}

void CheckChannels(const OutputWriter& iWriter, const std::vector<std::vector<std::uint8_t>>& iMessages,
                   const std::string& iName) {
  for (const auto& message : iMessages) {
    if (KindOf(message) == SongMessageKind::kChannel && !iWriter.HasChannel(message[0] & 0x0F)) {
      throw ToolError(
          fmt::format("{}: does not listen on channel {}", ForTerminal(iName), (message[0] & 0x0F) + 1));
    }
  }
}

/// A bar on a terminal for messages that are on their way for long.
class WireProgress {
 public:
  /// \param iEnd  when everything will have left, a time of Sys_Clock in microseconds
  void Expect(std::int64_t iEnd) {
    mEnd = iEnd;
    mWhole = std::max(mWhole, Left());
    Show();
  }

  void Show() {
    if (mWhole >= kShortest) mBar.Show(1 - static_cast<double>(Left()) / static_cast<double>(mWhole));
  }

 private:
  // Nobody wonders before.
  static constexpr std::int64_t kShortest = 1'000'000;

  std::int64_t Left() const { return mEnd - Sys_Clock::Microseconds(); }

  ProgressBar mBar{stderr};
  std::int64_t mEnd = 0;
  std::int64_t mWhole = 0;
};

}  // namespace

void Send(const SendRequest& iRequest) {
  const auto messages = MessagesOf(iRequest);
  if (messages.empty()) throw UsageError("there is nothing to send");
  const Interrupt interrupt;
  const PortSession session;
  OutputWriter writer(FindOutput(session, iRequest.mOutput));
  CheckChannels(writer, messages, iRequest.mOutput);
  std::size_t unwritten = 0;
  for (const auto& message : messages) unwritten += message.size();
  WireProgress progress;
  for (const auto& message : messages) {
    progress.Expect(writer.DrainedWith(unwritten));
    writer.WriteIdling(session, Mdie_Timestamp(), KindOf(message), message, [&] { progress.Show(); });
    Interrupt::Check();
    unwritten -= message.size();
  }
  progress.Expect(writer.DrainedAt());
  session.IdleUntilTime(writer.DrainedAt(), [&] {
    progress.Show();
    writer.FindAgain();
    return Interrupt::HasHappened();
  });
  progress.Show();
  Interrupt::Check();
  if (writer.Lost() > 0) {
    throw ToolError(
        fmt::format("{} of {} messages fell into a gap of the port", writer.Lost(), messages.size()));
  }
}

}  // namespace tool
