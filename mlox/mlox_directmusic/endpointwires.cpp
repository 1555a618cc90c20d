// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/endpointwires.h"

#include "mlox/mlox_directmusic/endpointidentity.h"

int CountConnections(const std::shared_ptr<IEndpointProperties>& iEndpoint) {
  int count = 0;
  if (iEndpoint == nullptr || iEndpoint->GetNumConnections(&count) != S_OK) return 0;
  return count > 0 ? count : 0;
}

bool IsWiredTo(const std::shared_ptr<IEndpointProperties>& iEndpoint, const Mlox_InputID& iID) {
  std::shared_ptr<IEndpointIDs> wanted;
  if (!FindRegisteredIDs(iID, &wanted)) return false;
  bool isWired = false;
  VisitConnections(iEndpoint, [&](const std::shared_ptr<IEndpointIDs>& iFarEnd) {
    isWired = wanted->CompareIDs(iFarEnd) == 0;
    return !isWired;
  });
  return isWired;
}
