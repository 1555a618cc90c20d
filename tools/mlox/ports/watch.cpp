// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/watch.h"

#include <fmt/format.h>

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
#include "tools/mlox/ports/checkedoutput.h"
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

/// Prints changes, a line each.
class ChangePrinter {
 public:
  void Print(const char* iWhat, const char* iKind, const std::string& iName, const std::string& iId) {
    mOutput.PrintLine(fmt::format("{:>12.6f}  {:<8} {:<7} {}{}{}",
                                  static_cast<double>(Sys_Clock::Microseconds()) / 1e6, iWhat, iKind,
                                  ForTerminal(iName), iId.empty() ? "" : "  ", iId));
  }

  void PrintAll(const PortMap& iBefore, const PortMap& iNow, const char* iKind) {
    for (const auto& [id, name] : iBefore) {
      if (!iNow.contains(id)) Print("gone", iKind, name, id);
    }
    for (const auto& [id, name] : iNow) {
      const auto before = iBefore.find(id);
      if (before == iBefore.end()) {
        Print("came", iKind, name, id);
      } else if (before->second != name) {
        Print("renamed", iKind, name, id);
      }
    }
  }

  const CheckedOutput& Output() const { return mOutput; }

 private:
  CheckedOutput mOutput;
};

/// A reference as saved work keeps it.
class Followed {
 public:
  /// The text names an output or, if it names none, an input. Throws ToolError.
  Followed(const PortSession& iSession, const std::string& iText) {
    const OutputOrInput found = FindOutputOrInput(iSession, iText);
    if (found.mOutputP != nullptr) {
      mName = found.mOutputP->GetName();
      mOutput.emplace(found.mOutputP->GetCommonOutput());
    } else {
      mName = found.mInput->GetName();
      mInput.emplace(found.mInput->GetDeviceDescriptor());
    }
  }

  /// Searches, and tells when the answer is another than before.
  void Check(ChangePrinter& ioPrinter) {
    const bool isOnline = mOutput ? mOutput->IsOnline() : mInput->IsOnline();
    if (mWasOnline == isOnline) return;
    ioPrinter.Print(isOnline ? "found" : "lost", mOutput ? "output" : "input", mName, {});
    mWasOnline = isOnline;
  }

 private:
  std::string mName;  // as it was when it began
  std::optional<Mlox_PersistentOutput> mOutput;
  std::optional<Mlox_PersistentInput> mInput;
  std::optional<bool> mWasOnline;
};

class Watcher final : public Mlox_Manager_Listener {
 public:
  Watcher(const PortSession& iSession, const std::vector<std::string>& iFollow) : mSession(iSession) {
    for (const std::string& name : iFollow) mFollowed.push_back(std::make_unique<Followed>(iSession, name));
    Mlox_Manager_OutputsChanged(true);
    Mlox_Manager_InputsChanged();
    Mlox_Manager::Singleton()->AddListener(this);
  }

  void Mlox_Manager_OutputsChanged(bool) override {
    PortMap now = OutputsOf(mSession);
    mPrinter.PrintAll(mOutputs, now, "output");
    mOutputs = std::move(now);
  }
  void Mlox_Manager_InputsChanged() override {
    PortMap now = InputsOf(mSession);
    mPrinter.PrintAll(mInputs, now, "input");
    mInputs = std::move(now);
  }

  void CheckFollowed() {
    for (const auto& followed : mFollowed) followed->Check(mPrinter);
  }

  const CheckedOutput& Output() const { return mPrinter.Output(); }

 private:
  const PortSession& mSession;
  ChangePrinter mPrinter;
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
    return Interrupt::HasHappened() || watcher.Output().HasFailed();
  };
  session.IdleUntil(isDone, iRequest.mSeconds > 0 ? iRequest.mSeconds : std::numeric_limits<double>::max());
  watcher.Output().Check();
}

}  // namespace tool
