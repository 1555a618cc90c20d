// SPDX-License-Identifier: MIT
/// \file
/// A subscription to incoming MIDI.
#pragma once

#include <memory>

#include "mlox/mlox_directmusic/idirectmusicmidireceivecallback.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_inputid.h"

/// Who wants incoming MIDI, and from which sources. It is filled first and then handed over; after that
/// nothing changes it, so the receive thread reads it without a lock.
///
/// Table: the destructor, GetSourceCount, GetSource, GetCallback, IsListeningToID, IsListeningTo,
/// IsSelective, SetCallback, AddSource, SetReceiveAll, Clear. Results: 0 yes or success, 1 no, E_INVALIDARG
/// for a null argument.
class IDirectMusicMIDIReceiver {
 public:
  virtual ~IDirectMusicMIDIReceiver() = default;

  // ---- questions; [any] ----

  virtual HRESULT GetSourceCount(int* count) = 0;
  /// E_INVALIDARG, with the value untouched, for an index outside the sources.
  virtual HRESULT GetSource(int index, std::shared_ptr<IEndpointIDs>* source) = 0;
  virtual HRESULT GetCallback(std::shared_ptr<IDirectMusicMIDIReceiveCallback>* callback) = 0;
  /// Allocates nothing: asked for every message and input.
  virtual HRESULT IsListeningToID(const Mlox_InputID& id) = 0;
  /// [any but the receive thread]
  virtual HRESULT IsListeningTo(std::shared_ptr<IEndpointIDs> source) = 0;
  /// 1 for a receiver of listed sources, 0 for one of everything: test for 0 to find a receive-all receiver.
  virtual HRESULT IsSelective() = 0;

  // ---- before it is handed over; [main] ----

  virtual HRESULT SetCallback(std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback) = 0;
  /// A source that is there already changes nothing.
  virtual HRESULT AddSource(std::shared_ptr<IEndpointIDs> source) = 0;
  /// From now on every source is wanted; the list is kept and doesn't count.
  virtual HRESULT SetReceiveAll() = 0;
  /// No source, and selective again. The callback stays.
  virtual HRESULT Clear() = 0;
};
