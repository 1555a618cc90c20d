// SPDX-License-Identifier: MIT
/// \file
/// What the hardware service keeps for each input port.
#pragma once

#include <cstdint>

class Mlox_RawMidiReceiver;

/// A plain record in a port's array of services. The service owns it.
struct DirectMusicInputPortState {
  std::int32_t mServiceIndex = -1;               ///< The first number of every input of this service.
  Mlox_RawMidiReceiver* mRawReceiver = nullptr;  ///< Not owned.
};
