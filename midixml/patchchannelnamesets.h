// SPDX-License-Identifier: MIT
/// \file
/// The channel name sets of a patch.
#pragma once

#include "cmn/cmn_export.h"

namespace midixml {

/// How many MIDI channels there are.
inline constexpr int kChannelCount = 16;

class ChannelNameSetAssign;

/// The 16 channel name sets that a patch assigns, all empty at first.
///
/// Nearly no patch assigns any, and the 16 references would be most of what a patch takes in memory. So they
/// are made when a document first assigns one. That is decided: who reads by channel finds 16 references,
/// empty ones where nothing was assigned, as if they lay in the patch.
class MLOX_EXPORT PatchChannelNameSets {
 public:
  PatchChannelNameSets() = default;
  PatchChannelNameSets(const PatchChannelNameSets& iOther);
  PatchChannelNameSets(PatchChannelNameSets&& iOther) noexcept;
  ~PatchChannelNameSets();
  PatchChannelNameSets& operator=(const PatchChannelNameSets& iOther);
  PatchChannelNameSets& operator=(PatchChannelNameSets&& iOther) noexcept;

  /// The 16 references, made if they were not there. They stay where they are when the patch moves.
  ChannelNameSetAssign* Make();

  /// What channel iChannel, 0 to 15, is given; an empty reference if there is none.
  const ChannelNameSetAssign& operator[](int iChannel) const;

 private:
  ChannelNameSetAssign* mAssignsP = nullptr;
};

}  // namespace midixml
