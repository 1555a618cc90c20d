// SPDX-License-Identifier: MIT
/// \file
/// One row of the manager's service table.
#pragma once

#include <cstdint>

class Mlox_Service;

/// One row of the manager's service table.
struct Mlox_Manager_ServiceEntry {
  /// The installed service; the table owns it.
  Mlox_Service* mServiceP = nullptr;
  /// The global index of this service's output device 0.
  std::int32_t mFirstOutputIndex = 0;
  /// The global index of this service's input 0.
  std::int32_t mFirstInputIndex = 0;
  /// The value the service was added with; Suspend and Resume test its bits.
  std::int32_t mServiceMask = 0;
};
