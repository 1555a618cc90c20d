// SPDX-License-Identifier: MIT
/// \file
/// The channel name set that a channel is given.
#pragma once

#include "midixml/channelnameset.h"
#include "midixml/namedref.h"

namespace midixml {

/// A reference to a channel name set; its name is the text of the attribute "NameSet".
class ChannelNameSetAssign : public NamedRef<ChannelNameSet> {
 public:
  using NamedRef<ChannelNameSet>::NamedRef;
};

}  // namespace midixml
