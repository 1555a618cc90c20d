// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/portnames.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>

#include "mlox/midiinputidmapper.h"
#include "mlox/midioutputidmapper.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

using Indices = std::vector<std::size_t>;

Indices Matching(const std::vector<NamedPort>& iPorts,
                 const std::function<bool(const NamedPort&)>& iIsMatch) {
  Indices found;
  for (std::size_t i = 0; i < iPorts.size(); ++i) {
    if (iIsMatch(iPorts[i])) found.push_back(i);
  }
  return found;
}

/// \param iKind  "output " or "input " before each, where both are listed
std::string Candidates(const std::vector<NamedPort>& iPorts, const Indices& iIndices,
                       const char* iKind = "") {
  std::string text;
  for (const std::size_t index : iIndices) {
    if (!text.empty()) text += ", ";
    text += fmt::format("{}\"{}\" ({})", iKind, ForTerminal(iPorts[index].mName), iPorts[index].mId);
  }
  return text;
}

Indices All(const std::vector<NamedPort>& iPorts) {
  return Matching(iPorts, [](const NamedPort&) { return true; });
}

// An exact name wins over an id, an id over the beginning of a name.
std::array<std::function<bool(const NamedPort&)>, 3> TestsOf(const std::string& iText) {
  return {[&iText](const NamedPort& iPort) { return iPort.mName == iText; },
          [&iText](const NamedPort& iPort) { return iPort.mId == iText; },
          [&iText](const NamedPort& iPort) { return !iText.empty() && iPort.mName.starts_with(iText); }};
}

std::string CandidatesOfBoth(const std::vector<NamedPort>& iOutputs, const Indices& iFoundOutputs,
                             const std::vector<NamedPort>& iInputs, const Indices& iFoundInputs) {
  const std::string outputs = Candidates(iOutputs, iFoundOutputs, "output ");
  const std::string inputs = Candidates(iInputs, iFoundInputs, "input ");
  return outputs + (outputs.empty() || inputs.empty() ? "" : ", ") + inputs;
}

std::vector<NamedPort> NamesOf(const std::vector<Mlox_Device*>& iDevices) {
  std::vector<NamedPort> ports;
  ports.reserve(iDevices.size());
  for (Mlox_Device* const deviceP : iDevices) ports.push_back({deviceP->GetName(), IdText(IdOf(*deviceP))});
  return ports;
}

std::vector<NamedPort> NamesOf(const Mlox_InputList& iInputs) {
  std::vector<NamedPort> ports;
  ports.reserve(iInputs.size());
  for (const Mlox_InputRef& input : iInputs) ports.push_back({input->GetName(), IdText(input->GetInputID())});
  return ports;
}

// An exact name wins over an integer id, as it does over any other.
bool IsName(const std::vector<NamedPort>& iPorts, const std::string& iText) {
  return std::any_of(iPorts.begin(), iPorts.end(),
                     [&](const NamedPort& iPort) { return iPort.mName == iText; });
}

void CheckIntegerId(int iID, int iMaxID, const std::string& iText, const char* iKind) {
  if (iID >= 1 && iID <= iMaxID) return;
  if (iMaxID == 0) throw ToolError(fmt::format("{}: there is no {}", iText, iKind));
  throw ToolError(
      fmt::format("{}: no {} has this id; ids go from 1 to {} now, see mlox list", iText, iKind, iMaxID));
}

// Each look-up picks up what has changed, so the list may be another one than that which the id was checked
// against.
[[noreturn]] void FailAsGone(const std::string& iText, const char* iKind) {
  throw ToolError(fmt::format("{}: the {} of this id has gone, see mlox list", iText, iKind));
}

[[noreturn]] void FailToFind(const std::vector<NamedPort>& iPorts, const std::string& iText,
                             const char* iKind) {
  if (iPorts.empty()) throw ToolError(fmt::format("{}: there is no {}", ForTerminal(iText), iKind));
  throw ToolError(fmt::format("{}: no {} has this name or id; there are {}", ForTerminal(iText), iKind,
                              Candidates(iPorts, All(iPorts))));
}

[[noreturn]] void FailAsAmbiguous(const std::vector<NamedPort>& iPorts, const Indices& iFound,
                                  const std::string& iText, const char* iKind) {
  throw ToolError(fmt::format("{}: several {}s fit, name one by its id: {}", ForTerminal(iText), iKind,
                              Candidates(iPorts, iFound)));
}

[[noreturn]] void FailAsAmbiguous(const std::string& iText, const std::string& iCandidates) {
  throw ToolError(
      fmt::format("{}: several ports fit, name one by its id: {}", ForTerminal(iText), iCandidates));
}

/// The output or the input of an integer id, or neither. Outputs and inputs are numbered each from 1, so both
/// may have it: the output wins, as it does by name, if they have one name.
OutputOrInput FindByIntegerId(int iID, const std::string& iText) {
  const int maxOutput = MidiOutputIDMapper::GetMaxID();
  const int maxInput = MidiInputIDMapper::GetMaxID();
  if (maxOutput == 0 && maxInput == 0) {
    throw ToolError(fmt::format("{}: there is no output or input", iText));
  }
  if (iID < 1 || iID > std::max(maxOutput, maxInput)) {
    throw ToolError(
        fmt::format("{}: no output or input has this id; outputs' go up to {} now and inputs' up to {}, see "
                    "mlox list",
                    iText, maxOutput, maxInput));
  }
  Mlox_Device* const deviceP = iID <= maxOutput ? MidiOutputIDMapper::IDToDevice(iID) : nullptr;
  const Mlox_InputRef input = iID <= maxInput ? MidiInputIDMapper::IDToInput(iID) : Mlox_InputRef();
  if (deviceP == nullptr && !input) FailAsGone(iText, "port");
  if (deviceP == nullptr) return {nullptr, input};
  if (input && input->GetName() != deviceP->GetName()) {
    FailAsAmbiguous(iText, CandidatesOfBoth(NamesOf({deviceP}), {0}, NamesOf(Mlox_InputList{input}), {0}));
  }
  return {deviceP, {}};
}

Indices Fitting(const std::vector<NamedPort>& iPorts, const std::string& iText) {
  for (const auto& test : TestsOf(iText)) {
    Indices found = Matching(iPorts, test);
    if (!found.empty()) return found;
  }
  return {};
}

}  // namespace

std::string IdText(const Mlox_InputID& iID) {
  return fmt::format("{}:{:08x}", iID.mServiceIndex, static_cast<std::uint32_t>(iID.mInputNumber));
}

Mlox_InputID IdOf(Mlox_Device& ioDevice) {
  auto* const hardwareP = dynamic_cast<Mlox_DirectMusic_Device*>(&ioDevice);
  return hardwareP != nullptr ? hardwareP->GetInputID() : Mlox_InputID(-1, -1);
}

std::size_t FindPort(const std::vector<NamedPort>& iPorts, const std::string& iText, const char* iKind) {
  const Indices found = Fitting(iPorts, iText);
  if (found.empty()) FailToFind(iPorts, iText, iKind);
  if (found.size() > 1) FailAsAmbiguous(iPorts, found, iText, iKind);
  return found.front();
}

std::vector<std::string> FindSocket(const std::vector<NamedPort>& iOutputs,
                                    const std::vector<NamedPort>& iInputs, const std::string& iText) {
  std::vector<NamedPort> ports = iOutputs;
  ports.insert(ports.end(), iInputs.begin(), iInputs.end());
  const Indices found = Fitting(ports, iText);
  if (found.empty()) FailToFind(ports, iText, "port");
  const bool isPair = found.size() == 2 && found[0] < iOutputs.size() && found[1] >= iOutputs.size() &&
                      ports[found[0]].mName == ports[found[1]].mName;
  if (found.size() > 1 && !isPair) FailAsAmbiguous(ports, found, iText, "port");
  std::vector<std::string> ids;
  for (const std::size_t index : found) ids.push_back(ports[index].mId);
  return ids;
}

PortPlace FindPortOfEither(const std::vector<NamedPort>& iOutputs, const std::vector<NamedPort>& iInputs,
                           const std::string& iText) {
  for (const auto& test : TestsOf(iText)) {
    const Indices outputs = Matching(iOutputs, test);
    const Indices inputs = Matching(iInputs, test);
    if (outputs.empty() && inputs.empty()) continue;
    const bool isOtherInput = std::any_of(inputs.begin(), inputs.end(), [&](std::size_t iIndex) {
      return !outputs.empty() && iInputs[iIndex].mName != iOutputs[outputs.front()].mName;
    });
    if (outputs.size() == 1 && !isOtherInput) return {false, outputs.front()};
    if (outputs.empty() && inputs.size() == 1) return {true, inputs.front()};
    FailAsAmbiguous(iText, CandidatesOfBoth(iOutputs, outputs, iInputs, inputs));
  }
  const std::string all = CandidatesOfBoth(iOutputs, All(iOutputs), iInputs, All(iInputs));
  if (all.empty()) throw ToolError(fmt::format("{}: there is no output or input", ForTerminal(iText)));
  throw ToolError(
      fmt::format("{}: no output or input has this name or id; there are {}", ForTerminal(iText), all));
}

std::optional<int> IntegerIdOf(const std::string& iText) {
  constexpr std::string_view kPrefix = "id:";
  if (!iText.starts_with(kPrefix)) return std::nullopt;
  const char* const beginP = iText.data() + kPrefix.size();
  const char* const endP = iText.data() + iText.size();
  int id = 0;
  const auto [stopP, error] = std::from_chars(beginP, endP, id);
  if (error != std::errc() || stopP != endP || id < 0) return std::nullopt;
  return id;
}

Mlox_Device& FindOutput(const PortSession& iSession, const std::string& iText) {
  const std::vector<Mlox_Device*> devices = iSession.Outputs();
  const std::vector<NamedPort> ports = NamesOf(devices);
  if (const std::optional<int> id = IntegerIdOf(iText); id && !IsName(ports, iText)) {
    CheckIntegerId(*id, MidiOutputIDMapper::GetMaxID(), iText, "output");
    if (Mlox_Device* const deviceP = MidiOutputIDMapper::IDToDevice(*id)) return *deviceP;
    FailAsGone(iText, "output");
  }
  return *devices[FindPort(ports, iText, "output")];
}

Mlox_InputRef FindInput(const PortSession& iSession, const std::string& iText) {
  const Mlox_InputList inputs = iSession.Inputs();
  const std::vector<NamedPort> ports = NamesOf(inputs);
  if (const std::optional<int> id = IntegerIdOf(iText); id && !IsName(ports, iText)) {
    CheckIntegerId(*id, MidiInputIDMapper::GetMaxID(), iText, "input");
    if (Mlox_InputRef input = MidiInputIDMapper::IDToInput(*id)) return input;
    FailAsGone(iText, "input");
  }
  return inputs[FindPort(ports, iText, "input")];
}

OutputOrInput FindOutputOrInput(const PortSession& iSession, const std::string& iText) {
  const std::vector<Mlox_Device*> devices = iSession.Outputs();
  const Mlox_InputList inputs = iSession.Inputs();
  const std::vector<NamedPort> outputNames = NamesOf(devices);
  const std::vector<NamedPort> inputNames = NamesOf(inputs);
  if (const std::optional<int> id = IntegerIdOf(iText);
      id && !IsName(outputNames, iText) && !IsName(inputNames, iText)) {
    return FindByIntegerId(*id, iText);
  }
  const PortPlace place = FindPortOfEither(outputNames, inputNames, iText);
  if (place.mIsInput) return {nullptr, inputs[place.mIndex]};
  return {devices[place.mIndex], {}};
}

}  // namespace tool
