// SPDX-License-Identifier: MIT
#include "midixml/patchchannelnamesets.h"

#include <algorithm>
#include <utility>

#include "midixml/channelnamesetassign.h"

namespace midixml {

PatchChannelNameSets::PatchChannelNameSets(const PatchChannelNameSets& iOther) {
  if (iOther.mAssignsP) std::copy_n(iOther.mAssignsP, kChannelCount, Make());
}

PatchChannelNameSets::PatchChannelNameSets(PatchChannelNameSets&& iOther) noexcept
    : mAssignsP(std::exchange(iOther.mAssignsP, nullptr)) {}

PatchChannelNameSets::~PatchChannelNameSets() { delete[] mAssignsP; }

PatchChannelNameSets& PatchChannelNameSets::operator=(const PatchChannelNameSets& iOther) {
  PatchChannelNameSets copy(iOther);
  *this = std::move(copy);
  return *this;
}

PatchChannelNameSets& PatchChannelNameSets::operator=(PatchChannelNameSets&& iOther) noexcept {
  std::swap(mAssignsP, iOther.mAssignsP);
  return *this;
}

ChannelNameSetAssign* PatchChannelNameSets::Make() {
  if (!mAssignsP) mAssignsP = new ChannelNameSetAssign[kChannelCount];
  return mAssignsP;
}

const ChannelNameSetAssign& PatchChannelNameSets::operator[](int iChannel) const {
  static const ChannelNameSetAssign sNone;
  return mAssignsP ? mAssignsP[iChannel] : sNone;
}

}  // namespace midixml
