// SPDX-License-Identifier: MIT
/// \file
/// What an endpoint is wired to, as inputs and devices ask for it.
#pragma once

#include <memory>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_inputid.h"

/// How many endpoints one is wired to; 0 without an endpoint and when that can't be read. [any but real-time]
int CountConnections(const std::shared_ptr<IEndpointProperties>& iEndpoint);

/// Whether an endpoint is wired to the one of an identity that has been handed out. Connections that can't be
/// read are passed over, up to 4,096 in a row: a studio that fails so often has lost its count. [any but
/// real-time]
bool IsWiredTo(const std::shared_ptr<IEndpointProperties>& iEndpoint, const Mlox_InputID& iID);
