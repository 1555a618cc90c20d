// SPDX-License-Identifier: MIT
/// \file
/// The raw object of a device.
#pragma once

#include <memory>

#include "platform/studio/studioproperties.h"

/// One row as a device. [any thread]
class Platform_StudioRawDevice final : public Platform_StudioPropertiesOf<IDeviceProperties> {
 public:
  using Platform_StudioPropertiesOf::Platform_StudioPropertiesOf;

  /// Success and 0 for a device without banks.
  HRESULT GetPatchBankCount(int* oCount) override;
  HRESULT GetPatchBank(int iIndex, std::shared_ptr<IStudioPatchBank>* oBank) override;
  /// Always 1.
  HRESULT GetEntityCount(int* oCount) override;
  HRESULT GetEntity(int iIndex, std::shared_ptr<IEntityProperties>* oEntity) override;
};
