// SPDX-License-Identifier: MIT
/// \file
/// One plain integer for an output, for menus and saved numbers.
#pragma once

#include <cstdint>
#include <vector>

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"
#include "mlox/midioutputidmapper_listener.h"

class MidiOutputIDMapper_MloxManagerListener;
class Mlox_Device;
class Mlox_Output;

/// What an id of an output stands for.
struct MidiOutputIDMapper_Entry {
  std::int32_t mIndex = -1;    ///< The global output device index of the manager; -1 in the none entry.
  std::int16_t mChannel = -1;  ///< 0 to 15, or -1 for the common output.
};

/// Numbers the outputs of all devices. An id is a position in one flat list: 0 is the none entry, then comes
/// for each device each of its available channels. Only a device without any channel has an id for its common
/// output: a device with channels can't be named as a whole.
///
/// Ids are valid until the output devices change, of which listeners are told. Every look-up begins with
/// `Mlox_Manager::CheckStudioSetup`, so all listeners of the manager, and those here, may be called from
/// inside it.
///
/// It has no instances and no lock: all of it belongs to the main thread.
class MLOX_EXPORT MidiOutputIDMapper {
 public:
  MidiOutputIDMapper() = delete;

  /// [main] Appends a listener; its destructor takes it out again. It hears of changes from the first look-up
  /// on. \param iListenerP  not owned; null changes nothing
  static void AddListener(MidiOutputIDMapper_Listener* iListenerP);

  /// [main] The highest id there is; 0 without devices.
  static int GetMaxID();

  /// [main] The channel of an id, 0 to 15; -1 for a common output and for the none entry.
  /// \param iID  0 to GetMaxID(). Any other is reported and counts as the none entry.
  static short IDToChannel(int iID);

  /// [main] The device of an id; null for the none entry.
  /// \param iID  as for IDToChannel
  static Mlox_Device* IDToDevice(int iID);

  /// [main] The output of an id; null for the none entry and where the device has none. The device keeps its
  /// reference.
  /// \param iID  as for IDToChannel
  static Mlox_Output* IDToOutput(int iID);

  /// [main] The id of an output; 0 if no device has it, and for the common output of a device with channels.
  /// Linear in the number of devices. \param iOutputP  may be null: 0
  static int OutputToID(Mlox_Output* iOutputP);

  /// [main] The output with the next id, for stepping through all of them: null after the last, then the
  /// first again. \param iOutputP  null, or one without an id, gives the output of id 1
  static Mlox_Output* FindNextOutput(Mlox_Output* iOutputP);

 private:
  friend class MidiOutputIDMapper_MloxManagerListener;
  friend struct Test_MidiOutputIDMapperAccess;

  static void AddDeviceCommonEntryToOutputList(int iDeviceIndex);
  static void AddDeviceEntriesToOutputList(int iDeviceIndex);
  static void AddSpecialNoneEntryToOutputList();
  static void BroadcastChange();
  static const MidiOutputIDMapper_Entry* IDToEntry(int iID);
  static void InstallMloxManagerListener();
  static bool IsOutputListValid();
  static void RebuildOutputList();
  static void ValidateOutputList();

  static std::vector<MidiOutputIDMapper_Entry> sMidiOutputIDList;  // empty while not valid
  static Cmn_DoublyLinkedList<MidiOutputIDMapper_Listener> sListeners;
  static MidiOutputIDMapper_MloxManagerListener* sMloxManagerListenerP;  // made once, never removed
};
