// SPDX-License-Identifier: MIT
/// \file
/// One plain integer for an input and a channel, for menus and saved numbers.
#pragma once

#include <cstdint>
#include <vector>

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"
#include "mlox/midiinputidmapper_listener.h"
#include "mlox/mlox_input.h"

class MidiInputIDMapper_MloxManagerListener;

/// What an id of an input stands for.
struct MidiInputIDMapper_Entry {
  std::int32_t mIndex = -1;    ///< The global input index of the manager; -1 in the none entry.
  std::int16_t mChannel = -1;  ///< 0 to 15, or -1 for the input as a whole.
};

/// Numbers the inputs and their channels. An id is a position in one flat list: 0 is the none entry, then
/// comes for each input the input as a whole, followed by each of its available channels.
///
/// Ids are valid until the inputs change, of which listeners are told. Every look-up begins with
/// `Mlox_Manager::CheckStudioSetup`, so all listeners of the manager, and those here, may be called from
/// inside it.
///
/// It has no instances and no lock: all of it belongs to the main thread.
class MLOX_EXPORT MidiInputIDMapper {
 public:
  MidiInputIDMapper() = delete;

  /// [main] Appends a listener; its destructor takes it out again. It hears of changes from the first look-up
  /// on. \param iListenerP  not owned; null changes nothing
  static void AddListener(MidiInputIDMapper_Listener* iListenerP);

  /// [main] The highest id there is; 0 without inputs.
  static int GetMaxID();

  /// [main] The channel of an id, 0 to 15; -1 for an input as a whole and for the none entry.
  /// \param iID  0 to GetMaxID(). A higher one is reported and counts as the none entry; so does a negative
  /// one,
  ///             without a report.
  static short IDToChannel(int iID);

  /// [main] The input of an id; null for the none entry.
  /// \param iID  as for IDToChannel
  static Mlox_InputRef IDToInput(int iID);

  /// [main] The id of an input's channel; 0 if there is no such input or it has no such channel. Linear in
  /// the number of inputs. \param iInputRCP  may be null: 0 \param iChannel   0 to 15, or -1 for the input as
  /// a whole
  static int InputAssignmentToID(Mlox_InputRef iInputRCP, short iChannel);

 private:
  friend class MidiInputIDMapper_MloxManagerListener;
  friend struct Test_MidiInputIDMapperAccess;

  static void AddDeviceCommonEntryToInputList(int iInputIndex);
  static void AddDeviceEntriesToInputList(int iInputIndex);
  static void AddSpecialNoneEntryToInputList();
  static void BroadcastChange();
  static const MidiInputIDMapper_Entry* IDToEntry(int iID);
  static void InstallMloxManagerListener();
  static bool IsInputListValid();
  static void RebuildInputList();
  static void ValidateInputList();

  static std::vector<MidiInputIDMapper_Entry> sMidiInputIDList;  // empty while not valid
  static Cmn_DoublyLinkedList<MidiInputIDMapper_Listener> sListeners;
  static MidiInputIDMapper_MloxManagerListener* sMloxManagerListenerP;  // made once, never removed
};
