// SPDX-License-Identifier: MIT
#include "platform/studio/studioendpoint.h"

#include <string>
#include <vector>

#include "platform/studio/studiowalk.h"

namespace {

using EndsWalk = Platform_StudioWalk<std::vector<std::string>>;

EndsWalk& WalkOverEnds() {
  static thread_local EndsWalk sWalk;
  return sWalk;
}

std::string KeyOf(const Platform_StudioPlace& iPlace) {
  return iPlace.mGuid + (iPlace.mIsSource ? "<" : ">");
}

}  // namespace

HRESULT Platform_StudioEndpoint::GetNumConnections(int* oCount) {
  if (oCount == nullptr) {
    return E_POINTER;
  }
  std::vector<std::string> ends = mCore->State()->LiveWiredTo(mPlace.mGuid, mPlace.mIsSource);
  *oCount = static_cast<int>(ends.size());
  WalkOverEnds().Begin(mCore, KeyOf(mPlace), std::move(ends));
  return S_OK;
}

HRESULT Platform_StudioEndpoint::GetConnection(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs) {
  if (oIDs == nullptr) {
    return E_POINTER;
  }
  oIDs->reset();
  const std::vector<std::string>* const counted = WalkOverEnds().Find(mCore, KeyOf(mPlace));
  const std::vector<std::string> ends =
      counted != nullptr ? *counted : mCore->State()->LiveWiredTo(mPlace.mGuid, mPlace.mIsSource);
  if (static_cast<std::size_t>(iIndex) + 1 >= ends.size()) {
    WalkOverEnds().End();
  }
  if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= ends.size()) {
    return E_INVALIDARG;
  }
  *oIDs = std::make_shared<Platform_StudioIDs>(
      mCore,
      Platform_StudioPlace{ends[static_cast<std::size_t>(iIndex)], kStudio_EndpointLevel, mPlace.mIsSource});
  return S_OK;
}
