// SPDX-License-Identifier: MIT
/// \file
/// Hears for the mapper of integer ids of inputs that they have changed.
#pragma once

#include "mlox/mlox_manager_listener.h"

/// Hears for `MidiInputIDMapper` that inputs have changed. The mapper makes one and keeps it for ever.
class MidiInputIDMapper_MloxManagerListener : public Mlox_Manager_Listener {
 public:
  /// [main] Empties the mapper's list and tells the mapper's listeners.
  void Mlox_Manager_InputsChanged() override;
};
