// SPDX-License-Identifier: MIT
/// \file
/// Objects of the receive side for the test of slot orders, known by their addresses alone. It includes
/// nothing of the library, as does the test that uses it.
#pragma once

#include <string>

/// One object of each kind. A place of a shared pointer is what a call by value takes and a pointer to one
/// is.
class Test_ReceiveSlotObjects {
 public:
  Test_ReceiveSlotObjects();
  ~Test_ReceiveSlotObjects();
  Test_ReceiveSlotObjects(const Test_ReceiveSlotObjects&) = delete;
  Test_ReceiveSlotObjects& operator=(const Test_ReceiveSlotObjects&) = delete;

  void* mReceiverP;          ///< IDirectMusicMIDIReceiver, empty
  void* mCallbackP;          ///< IDirectMusicMIDIReceiveCallback without a raw receiver
  void* mRawReceiverP;       ///< a Mlox_RawMidiReceiver that counts its calls
  void* mRecordP;            ///< a Mlox_MidiData of one byte
  void* mOtherCallbackSPP;   ///< the place of a shared pointer to a callback of the same raw receiver
  void* mSourceSPP;          ///< the place of a shared pointer to the identifiers of input {3, 7}
  void* mResultCallbackSPP;  ///< the place of an empty shared pointer to a callback
  void* mResultSourceSPP;    ///< the place of an empty shared pointer to identifiers
  void* mTaskP;              ///< DirectMusicReceiveTask, empty

  int RawCalls() const;
  long SourceUses() const;
  bool ResultCallbackIsTheOther() const;
  bool ResultSourceIsTheSource() const;
  bool TaskHasEnded() const;
  unsigned TaskKillTimeout() const;
  /// The receiver, the callback and the task were destroyed through their tables: no longer ours.
  void ForgetDestroyed();

 private:
  struct Impl;
  Impl* mImplP;
};
