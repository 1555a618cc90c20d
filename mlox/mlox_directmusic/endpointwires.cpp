// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/endpointwires.h"

#include "mlox/mlox_directmusic/endpointidentity.h"

namespace {

constexpr int kMostFailures = 4096;

}  // namespace

int CountConnections(const std::shared_ptr<IEndpointProperties>& iEndpoint) {
  int count = 0;
  if (iEndpoint == nullptr || iEndpoint->GetNumConnections(&count) != S_OK) return 0;
  return count > 0 ? count : 0;
}

bool IsWiredTo(const std::shared_ptr<IEndpointProperties>& iEndpoint, const Mlox_InputID& iID) {
  std::shared_ptr<IEndpointIDs> wanted;
  if (!FindRegisteredIDs(iID, &wanted)) return false;
  const int count = CountConnections(iEndpoint);
  int failures = 0;
  for (int index = 0; index < count && failures < kMostFailures; ++index) {
    std::shared_ptr<IEndpointIDs> ids;
    const bool isThere = iEndpoint->GetConnection(index, &ids) == S_OK && ids != nullptr;
    if (isThere && wanted->CompareIDs(ids) == 0) return true;
    failures = isThere ? 0 : failures + 1;
  }
  return false;
}
