// SPDX-License-Identifier: MIT
/// \file
/// Which inputs are wanted on a port.
#pragma once

#include <memory>
#include <vector>

#include "mlox/mlox_inputid.h"

/// First the id of the port itself, then the ids of the inputs wanted on it. A group without an input is
/// removed.
using PortInputGroup = std::vector<Mlox_InputID>;

/// Groups with their owner.
using PortInputGroupList = std::vector<std::unique_ptr<PortInputGroup>>;
