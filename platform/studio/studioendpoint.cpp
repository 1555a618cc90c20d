// SPDX-License-Identifier: MIT
#include "platform/studio/studioendpoint.h"

HRESULT Platform_StudioEndpoint::GetNumConnections(int* oCount) {
  if (oCount == nullptr) {
    return E_POINTER;
  }
  *oCount = static_cast<int>(mCore->State()->LiveWiredTo(mPlace.mGuid, mPlace.mIsSource).size());
  return S_OK;
}

HRESULT Platform_StudioEndpoint::GetConnection(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs) {
  if (oIDs == nullptr) {
    return E_POINTER;
  }
  oIDs->reset();
  const std::vector<std::string> ends = mCore->State()->LiveWiredTo(mPlace.mGuid, mPlace.mIsSource);
  if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= ends.size()) {
    return E_INVALIDARG;
  }
  *oIDs = std::make_shared<Platform_StudioIDs>(
      mCore,
      Platform_StudioPlace{ends[static_cast<std::size_t>(iIndex)], kStudio_EndpointLevel, mPlace.mIsSource});
  return S_OK;
}
