// SPDX-License-Identifier: MIT
/// \file
/// The subscription record of the receive code.
#pragma once

#include <memory>
#include <vector>

#include "mlox/mlox_directmusic/idirectmusicmidireceiver.h"

/// The one implementation of IDirectMusicMIDIReceiver. It is no parser: pieces pass as DirectMusic cuts them.
class CGenericMIDIReceiver : public IDirectMusicMIDIReceiver {
 public:
  CGenericMIDIReceiver() = default;
  CGenericMIDIReceiver(const CGenericMIDIReceiver&) = delete;
  CGenericMIDIReceiver& operator=(const CGenericMIDIReceiver&) = delete;
  ~CGenericMIDIReceiver() override;

  HRESULT GetSourceCount(int* count) override;
  HRESULT GetSource(int index, std::shared_ptr<IEndpointIDs>* source) override;
  HRESULT GetCallback(std::shared_ptr<IDirectMusicMIDIReceiveCallback>* callback) override;
  HRESULT IsListeningToID(const Mlox_InputID& id) override;
  HRESULT IsListeningTo(std::shared_ptr<IEndpointIDs> source) override;
  HRESULT IsSelective() override;
  HRESULT SetCallback(std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback) override;
  HRESULT AddSource(std::shared_ptr<IEndpointIDs> source) override;
  HRESULT SetReceiveAll() override;
  HRESULT Clear() override;

 private:
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> mCallback;
  std::vector<std::shared_ptr<IEndpointIDs>> mSources;
  std::vector<Mlox_InputID> mSourceIDs;  // in step with mSources: the path of a message asks no database
  bool mReceiveAll = false;
};
