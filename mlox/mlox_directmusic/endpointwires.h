// SPDX-License-Identifier: MIT
/// \file
/// What an endpoint is wired to, as inputs and devices ask for it.
#pragma once

#include <algorithm>
#include <memory>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_inputid.h"

/// How many endpoints one is wired to; 0 without an endpoint and when that can't be read. [any but real-time]
int CountConnections(const std::shared_ptr<IEndpointProperties>& iEndpoint);

/// Visits what an endpoint is wired to, in its order, until iVisit gives false. Connections that can't be
/// read are passed over, up to 4,096 in a row: a studio that fails so often has lost its count. So has one
/// that goes on beyond 65,536. [any but real-time]
template <class Visit>
void VisitConnections(const std::shared_ptr<IEndpointProperties>& iEndpoint, Visit iVisit) {
  constexpr int kMostFailures = 4096;
  constexpr int kMostConnections = 65536;
  const int count = std::min(CountConnections(iEndpoint), kMostConnections);
  int failures = 0;
  for (int index = 0; index < count && failures < kMostFailures; ++index) {
    std::shared_ptr<IEndpointIDs> ids;
    const bool isThere = iEndpoint->GetConnection(index, &ids) == S_OK && ids != nullptr;
    if (isThere && !iVisit(ids)) return;
    failures = isThere ? 0 : failures + 1;
  }
}

/// Whether an endpoint is wired to the one of an identity that has been handed out. [any but real-time]
bool IsWiredTo(const std::shared_ptr<IEndpointProperties>& iEndpoint, const Mlox_InputID& iID);
