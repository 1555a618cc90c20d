// SPDX-License-Identifier: MIT
/// \file
/// The raw object of an entity.
#pragma once

#include <memory>

#include "platform/studio/studioproperties.h"

/// The one entity of a row: hardware has one endpoint in it, a user-defined device one of each direction.
/// [any thread]
class Platform_StudioEntity final : public Platform_StudioPropertiesOf<IEntityProperties> {
 public:
  using Platform_StudioPropertiesOf::Platform_StudioPropertiesOf;

  HRESULT GetEndpointCount(VARIANT_BOOL iIsSource, int* oCount) override;
  HRESULT GetEndpoint(VARIANT_BOOL iIsSource, int iIndex,
                      std::shared_ptr<IEndpointProperties>* oEndpoint) override;
};
