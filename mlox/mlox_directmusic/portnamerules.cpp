// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/portnamerules.h"

#include <algorithm>

namespace {

using State = EProhibitedByNameEmulatedState;

// Where the blank and the opening bracket of a suffix stand, searched backwards from the byte before the
// last.
std::size_t FindOpening(const std::string& iDescription, const char* iOpeningP) {
  return iDescription.rfind(iOpeningP, iDescription.size() - 2);
}

}  // namespace

PortNameTable PortName_BuiltInTable() {
  return {
      {"Microsoft GS Wavetable SW Synth", State::kProhibitedWhenEmulated},
      {"Microsoft GS Wavetable Synth", State::kProhibitedWhenEmulated},
      {"Quil 002 Control Port", State::kProhibitedWhenEmulated},
      {"Quil 003 Control Port", State::kProhibitedWhenEmulated},
      {"MIDIIN2 (Fishman TriplePlay)", State::kProhibitedAlways},
      {"MIDIOUT2 (Fishman TriplePlay)", State::kProhibitedAlways},
  };
}

void PortName_AddExcluded(const std::set<std::string>& iNames, PortNameTable& ioTable) {
  for (const std::string& name : iNames) ioTable.emplace(name, State::kProhibitedAlways);
}

bool PortName_IsProhibitedBy(const std::string& iDescription, const std::string& iListedName, State iState,
                             const std::string& iEmulatedSuffix) {
  if (iState == State::kProhibitedNever) return false;
  if (!iDescription.starts_with(iListedName)) return false;
  if (iState == State::kProhibitedAlways) return true;
  const bool isEmulated = !iEmulatedSuffix.empty() && iDescription.ends_with(iEmulatedSuffix);
  return isEmulated == (iState == State::kProhibitedWhenEmulated);
}

bool PortName_IsProhibited(const std::string& iDescription, const PortNameTable& iTable,
                           const std::string& iEmulatedSuffix) {
  if (iDescription.empty()) return false;
  return std::any_of(iTable.begin(), iTable.end(), [&](const auto& iRow) {
    return PortName_IsProhibitedBy(iDescription, iRow.first, iRow.second, iEmulatedSuffix);
  });
}

std::string PortName_SuffixOf(const std::string& iDescription) {
  if (iDescription.size() < 2) return {};
  std::size_t at = std::string::npos;
  if (iDescription.back() == ']') at = FindOpening(iDescription, " [");
  if (iDescription.back() == ')') at = FindOpening(iDescription, " (");
  // At the very beginning it is the whole name, not a mark behind one.
  return at == std::string::npos || at == 0 ? std::string() : iDescription.substr(at);
}
