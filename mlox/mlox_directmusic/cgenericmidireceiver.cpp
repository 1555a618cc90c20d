// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/cgenericmidireceiver.h"

#include <algorithm>
#include <utility>

#include "mlox/mlox_directmusic/endpointidentity.h"

namespace {
constexpr HRESULT kYes = S_OK;
constexpr HRESULT kNo = S_FALSE;
}  // namespace

CGenericMIDIReceiver::~CGenericMIDIReceiver() = default;

HRESULT CGenericMIDIReceiver::GetSourceCount(int* count) {
  if (count == nullptr) return E_INVALIDARG;
  *count = static_cast<int>(mSources.size());
  return S_OK;
}

HRESULT CGenericMIDIReceiver::GetSource(int index, std::shared_ptr<IEndpointIDs>* source) {
  if (index < 0 || index >= static_cast<int>(mSources.size()) || source == nullptr) return E_INVALIDARG;
  *source = mSources[static_cast<std::size_t>(index)];
  return S_OK;
}

HRESULT CGenericMIDIReceiver::GetCallback(std::shared_ptr<IDirectMusicMIDIReceiveCallback>* callback) {
  if (callback == nullptr) return E_INVALIDARG;
  *callback = mCallback;
  return S_OK;
}

HRESULT CGenericMIDIReceiver::IsListeningToID(const Mlox_InputID& id) {
  if (mReceiveAll) return kYes;
  return std::find(mSourceIDs.begin(), mSourceIDs.end(), id) != mSourceIDs.end() ? kYes : kNo;
}

HRESULT CGenericMIDIReceiver::IsListeningTo(std::shared_ptr<IEndpointIDs> source) {
  if (mReceiveAll) return kYes;
  if (source == nullptr) return E_INVALIDARG;
  return IsListeningToID(GetMloxIDFromIDs(std::move(source)));
}

HRESULT CGenericMIDIReceiver::IsSelective() { return mReceiveAll ? kYes : kNo; }

HRESULT CGenericMIDIReceiver::SetCallback(std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback) {
  mCallback = std::move(callback);
  return S_OK;
}

HRESULT CGenericMIDIReceiver::AddSource(std::shared_ptr<IEndpointIDs> source) {
  if (source == nullptr) return E_INVALIDARG;
  for (const std::shared_ptr<IEndpointIDs>& known : mSources) {
    if (source->CompareIDs(known) == S_OK) return S_OK;
  }
  mSources.push_back(source);
  mSourceIDs.push_back(GetMloxIDFromIDs(std::move(source)));
  return S_OK;
}

HRESULT CGenericMIDIReceiver::SetReceiveAll() {
  mReceiveAll = true;
  return S_OK;
}

HRESULT CGenericMIDIReceiver::Clear() {
  mSources.clear();
  mSourceIDs.clear();
  mReceiveAll = false;
  return S_OK;
}
