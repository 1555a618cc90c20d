// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/watch.h"

#include <fmt/format.h>

#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <optional>

#include "cmn/sys_clock.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_manager_listener.h"
#include "mlox/mlox_outputdescriptor.h"
#include "mlox/mlox_persistentinput.h"
#include "mlox/mlox_persistentoutput.h"
#include "tools/mlox/interrupt.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

/// Ids with their names.
using PortMap = std::map<std::string, std::string>;

PortMap OutputsOf(const PortSession& iSession) {
  PortMap ports;
  for (Mlox_Device* const deviceP : iSession.Outputs()) ports[IdText(IdOf(*deviceP))] = deviceP->GetName();
  return ports;
}

PortMap InputsOf(const PortSession& iSession) {
  PortMap ports;
  for (const Mlox_InputRef& input : iSession.Inputs()) ports[IdText(input->GetInputID())] = input->GetName();
  return ports;
}

void PrintChange(const char* iWhat, const char* iKind, const std::string& iName, const std::string& iId) {
  fmt::print("{:>12.6f}  {:<8} {:<7} {}{}{}\n", static_cast<double>(Sys_Clock::Microseconds()) / 1e6, iWhat,
             iKind, ForTerminal(iName), iId.empty() ? "" : "  ", iId);
  std::fflush(stdout);
}

void PrintChanges(const PortMap& iBefore, const PortMap& iNow, const char* iKind) {
  for (const auto& [id, name] : iBefore) {
    if (!iNow.contains(id)) PrintChange("gone", iKind, name, id);
  }
  for (const auto& [id, name] : iNow) {
    const auto before = iBefore.find(id);
    if (before == iBefore.end()) {
      PrintChange("came", iKind, name, id);
    } else if (before->second != name) {
      PrintChange("renamed", iKind, name, id);
    }
  }
}

/// A reference as saved work keeps it.
class Followed {
 public:
  /// The name is that of an output or, if no output has it, of an input. Throws ToolError.
  Followed(const PortSession& iSession, const std::string& iName) : mName(iName) {
    try {
      mOutput.emplace(FindOutput(iSession, iName).GetCommonOutput());
    } catch (const ToolError&) {
      mInput.emplace(FindInput(iSession, iName)->GetDeviceDescriptor());
    }
  }

  /// Searches, and tells when the answer is another than before.
  void Check() {
    const bool isOnline = mOutput ? mOutput->IsOnline() : mInput->IsOnline();
    if (mWasOnline == isOnline) return;
    PrintChange(isOnline ? "found" : "lost", mOutput ? "output" : "input", mName, {});
    mWasOnline = isOnline;
  }

 private:
  const std::string mName;
  std::optional<Mlox_PersistentOutput> mOutput;
  std::optional<Mlox_PersistentInput> mInput;
  std::optional<bool> mWasOnline;
};

class Watcher final : public Mlox_Manager_Listener {
 public:
  Watcher(const PortSession& iSession, const std::vector<std::string>& iFollow) : mSession(iSession) {
    Mlox_Manager_OutputsChanged(true);
    Mlox_Manager_InputsChanged();
    for (const std::string& name : iFollow) mFollowed.push_back(std::make_unique<Followed>(iSession, name));
    Mlox_Manager::Singleton()->AddListener(this);
  }

  void Mlox_Manager_OutputsChanged(bool) override {
    PortMap now = OutputsOf(mSession);
    PrintChanges(mOutputs, now, "output");
    mOutputs = std::move(now);
  }
  void Mlox_Manager_InputsChanged() override {
    PortMap now = InputsOf(mSession);
    PrintChanges(mInputs, now, "input");
    mInputs = std::move(now);
  }

  void CheckFollowed() {
    for (const auto& followed : mFollowed) followed->Check();
  }

 private:
  const PortSession& mSession;
  PortMap mOutputs;
  PortMap mInputs;
  std::vector<std::unique_ptr<Followed>> mFollowed;
};

}  // namespace

void Watch(const WatchRequest& iRequest) {
  const Interrupt interrupt;
  const PortSession session;
  Watcher watcher(session, iRequest.mFollow);
  const auto isDone = [&] {
    watcher.CheckFollowed();
    return Interrupt::HasHappened();
  };
  session.IdleUntil(isDone, iRequest.mSeconds > 0 ? iRequest.mSeconds : std::numeric_limits<double>::max());
}

}  // namespace tool
