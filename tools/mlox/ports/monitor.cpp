// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/monitor.h"

#include <fmt/format.h>

#include <chrono>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_manager_listener.h"
#include "mlox/mlox_persistentinput.h"
#include "tools/mlox/interrupt.h"
#include "tools/mlox/ports/checkedoutput.h"
#include "tools/mlox/ports/messagetext.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/ports/receivedqueue.h"
#include "tools/mlox/standardstreams.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

/// The names of inputs by their ids: written when ports are connected, read by the printing thread.
class InputNames {
 public:
  void Set(const Mlox_InputID& iID, const std::string& iName) {
    const std::lock_guard lock(mMutex);
    mNames[iID] = iName;
  }
  std::string Get(const Mlox_InputID& iID) const {
    const std::lock_guard lock(mMutex);
    const auto found = mNames.find(iID);
    return found != mNames.end() ? found->second : IdText(iID);
  }

 private:
  mutable std::mutex mMutex;
  std::map<Mlox_InputID, std::string> mNames;
};

std::string LineOf(const ReceivedMessage& iMessage, const std::string& iInput) {
  return fmt::format("{:>12.6f}  {}  {}", static_cast<double>(iMessage.mTime) / 1e6,
                     FitColumns(ForTerminal(iInput), 24), MessageText(iMessage.mBytes));
}

std::string JsonOf(const ReceivedMessage& iMessage, const std::string& iInput) {
  JsonWriter json;
  json.BeginObject();
  json.Key("bytes");
  json.BeginList();
  for (const std::uint8_t byte : iMessage.mBytes) json.Number(byte);
  json.EndList();
  json.Key("input");
  json.Text(iInput);
  json.Key("sysex_state");
  json.Number(iMessage.mSysexState);
  json.Key("time_us");
  json.Number(iMessage.mTime);
  json.EndObject();
  return json.GetText();
}

/// Prints on a thread of its own, so that a slow terminal holds up nobody.
class Printer {
 public:
  Printer(ReceivedQueue& ioQueue, const InputNames& iNames, bool iJson)
      : mQueue(ioQueue), mNames(iNames), mThread([this, iJson] { Run(iJson); }) {}
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;
  ~Printer() { End(); }

  /// Whether nobody takes what is printed.
  bool HasFailed() const { return mOutput.HasFailed(); }

  /// Prints what has come. Throws ToolError when it couldn't print everything.
  void Finish() {
    End();
    mOutput.Check();
  }

 private:
  void End() {
    mQueue.End();
    if (mThread.joinable()) mThread.join();
  }

  void Run(bool iJson) {
    ReceivedMessage message;
    while (!HasFailed() && (mQueue.Take(message, std::chrono::hours(1)) || !mQueue.HasEnded())) {
      if (message.mBytes.empty()) continue;
      const std::string input = mNames.Get(message.mInput);
      mOutput.PrintLine(iJson ? JsonOf(message, input) : LineOf(message, input));
      message.mBytes.clear();
      if (!HasFailed()) TellDropped();
    }
  }

  // Behind the message that came before them.
  void TellDropped() {
    const std::size_t dropped = mQueue.TakeDropped();
    if (dropped == 0) return;
    PrintError(fmt::format("mlox: {} messages dropped here: nobody read what came before them\n", dropped));
  }

  ReceivedQueue& mQueue;
  const InputNames& mNames;
  CheckedOutput mOutput;
  std::thread mThread;
};

/// Keeps a port connected to what was asked for, as inputs come and go.
class Follower final : public Mlox_Manager_Listener {
 public:
  Follower(const PortSession& iSession, const std::vector<std::string>& iInputs, Mlox_InputPort& ioPort,
           InputNames& ioNames)
      : mSession(iSession), mPort(ioPort), mNames(ioNames) {
    for (const std::string& input : iInputs) {
      mWanted.push_back(
          std::make_unique<Mlox_PersistentInput>(FindInput(iSession, input)->GetDeviceDescriptor()));
    }
    Connect();
    Mlox_Manager::Singleton()->AddListener(this);
  }

  void Mlox_Manager_InputsChanged() override { Connect(); }

 private:
  void Connect() {
    const Mlox_InputList inputs = Wanted();
    for (const Mlox_InputRef& input : inputs) mNames.Set(input->GetInputID(), input->GetName());
    mPort.ConnectToInputs(inputs);
  }

  Mlox_InputList Wanted() const {
    Mlox_InputList all = mSession.Inputs();
    if (mWanted.empty()) return all;
    Mlox_InputList wanted;
    for (const auto& reference : mWanted) {
      if (const Mlox_InputRef input = reference->GetInput()) wanted.push_back(input);
    }
    return wanted;
  }

  const PortSession& mSession;
  Mlox_InputPort& mPort;
  InputNames& mNames;
  std::vector<std::unique_ptr<Mlox_PersistentInput>> mWanted;
};

}  // namespace

void Monitor(const MonitorRequest& iRequest) {
  const Interrupt interrupt;
  ReceivedQueue queue(iRequest.mMostWaiting);
  InputNames names;
  const PortSession session;
  Printer printer(queue, names, iRequest.mJson);
  {
    const PortSession::Port port = PortSession::MakePort(&queue);
    const Follower follower(session, iRequest.mInputs, *port, names);
    const double seconds = iRequest.mSeconds > 0 ? iRequest.mSeconds : std::numeric_limits<double>::max();
    session.IdleUntil([&] { return Interrupt::HasHappened() || printer.HasFailed(); }, seconds);
  }
  printer.Finish();
}

}  // namespace tool
