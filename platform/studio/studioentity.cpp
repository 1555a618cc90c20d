// SPDX-License-Identifier: MIT
#include "platform/studio/studioentity.h"

#include "platform/studio/studioendpoint.h"

HRESULT Platform_StudioEntity::GetEndpointCount(VARIANT_BOOL iIsSource, int* oCount) {
  if (oCount == nullptr) {
    return E_POINTER;
  }
  *oCount = Row()->HasEndpoint(iIsSource != VARIANT_FALSE) ? 1 : 0;
  return S_OK;
}

HRESULT Platform_StudioEntity::GetEndpoint(VARIANT_BOOL iIsSource, int iIndex,
                                           std::shared_ptr<IEndpointProperties>* oEndpoint) {
  if (oEndpoint == nullptr) {
    return E_POINTER;
  }
  oEndpoint->reset();
  const Platform_StudioDeviceP row = Row();
  const bool isSource = iIsSource != VARIANT_FALSE;
  if (iIndex != 0 || !row->HasEndpoint(isSource)) {
    return E_INVALIDARG;
  }
  *oEndpoint = std::make_shared<Platform_StudioEndpoint>(
      mCore, row, Platform_StudioPlace{mPlace.mGuid, kStudio_EndpointLevel, isSource});
  return S_OK;
}
