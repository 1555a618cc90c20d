// SPDX-License-Identifier: MIT
#include "midixml/mlox_namesparserimpl.h"

#include <algorithm>
#include <utility>

#include "midixml/asciicase.h"

using midixml::EqualsIgnoringCase;

Mlox_NamesParserImpl::Mlox_NamesParserImpl() : MIDINameDocumentParser("", "", 0) {}

Mlox_NamesParserImpl::~Mlox_NamesParserImpl() = default;

void Mlox_NamesParserImpl::SetWanted(int iChannel, const std::string& iManufacturer,
                                     const std::string& iModel) {
  mChannel = static_cast<signed char>(iChannel);
  mManufacturer = iManufacturer;
  mModel = iModel;
}

void Mlox_NamesParserImpl::ParseFile(const std::string& iPath) {
  Clear();
  Reset(iPath);
  Parse();
}

void Mlox_NamesParserImpl::SetFound(std::unique_ptr<midixml::MIDIDeviceNames> iDeviceNames,
                                    midixml::ChannelNameSet* iSetP) {
  mFoundDeviceNames = std::move(iDeviceNames);
  mFoundChannelNameSet = iSetP;
}

void Mlox_NamesParserImpl::Clear() { SetFound(nullptr, nullptr); }

bool Mlox_NamesParserImpl::HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) {
  if (!iDeviceNamesP || mFoundDeviceNames) return false;
  if (!FitsManufacturer(*iDeviceNamesP) || !FitsModel(*iDeviceNamesP)) return false;
  mFoundDeviceNames.reset(iDeviceNamesP);
  return true;
}

bool Mlox_NamesParserImpl::FitsManufacturer(const midixml::MIDIDeviceNames& iDeviceNames) const {
  if (mManufacturer.empty()) return true;
  return EqualsIgnoringCase(iDeviceNames.mManufacturer.View(), mManufacturer);
}

// Without a wanted model any will do, but there must be one.
bool Mlox_NamesParserImpl::FitsModel(const midixml::MIDIDeviceNames& iDeviceNames) const {
  const auto& models = iDeviceNames.mModels;
  if (mModel.empty()) return !models.empty();
  return std::any_of(models.begin(), models.end(), [this](const midixml::SharedString& iName) {
    return EqualsIgnoringCase(iName.View(), mModel);
  });
}
