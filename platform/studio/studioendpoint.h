// SPDX-License-Identifier: MIT
/// \file
/// The raw object of an endpoint.
#pragma once

#include <memory>

#include "platform/studio/studioproperties.h"

/// One endpoint of a row. Wires are seen from both ends, and only those whose other end is live. [any thread]
class Platform_StudioEndpoint final : public IEndpointProperties, public Platform_StudioRaw {
 public:
  using Platform_StudioRaw::Platform_StudioRaw;

  HRESULT GetNumConnections(int* oCount) override;
  HRESULT GetConnection(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs) override;
  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) override { return IDs(oIDs); }
  HRESULT CompareRaw(std::shared_ptr<IEndpointProperties> iOther) override { return Compare(iOther); }
};
