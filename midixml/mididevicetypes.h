// SPDX-License-Identifier: MIT
/// \file
/// What a device type document says.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"

/// A MIDI input and a MIDI output that belong together. Nothing fills the fields.
struct MIDIPortPair {
  std::string mInName;
  int32_t mWord = 0;
  std::string mOutName;
};

/// A group of ports.
class MLOX_EXPORT MIDIPortGroupObj {
 public:
  MIDIPortGroupObj() = default;
  MIDIPortGroupObj(const MIDIPortGroupObj&) = delete;
  MIDIPortGroupObj& operator=(const MIDIPortGroupObj&) = delete;
  virtual ~MIDIPortGroupObj();

  /// Nothing fills it.
  std::string mName;
  /// Owned.
  std::vector<MIDIPortPair*> mPorts;
};

/// Answers to a device inquiry. Nothing fills it.
struct MIDIInquiryResponse {
  std::array<uint8_t, 7> mBytes = {};
};

/// An id of a device. Nothing fills it.
struct MIDIDeviceID {
  std::array<uint64_t, 2> mWords = {};
};

/// What a device receives. Keeps these values.
struct MIDIReceives {
  int32_t mCount = 16;
  std::array<bool, 6> mFlags = {true, true, true, true, true, true};
  bool mLastFlag = false;
};

/// What a device transmits. Keeps these values.
struct MIDITransmits {
  int32_t mCount = 16;
  std::array<bool, 6> mFlags = {true, true, true, true, true, true};
};

/// One kind of device.
class MLOX_EXPORT MIDIDeviceTypeObj {
 public:
  MIDIDeviceTypeObj() = default;
  MIDIDeviceTypeObj(const MIDIDeviceTypeObj&) = delete;
  MIDIDeviceTypeObj& operator=(const MIDIDeviceTypeObj&) = delete;
  virtual ~MIDIDeviceTypeObj();

  std::string mManufacturer;
  std::string mModel;
  /// The name of a picture.
  std::string mImage;
  bool mSupportsGeneralMIDI = true;
  bool mSupportsMMC = true;
  bool mCanRoute = true;
  bool mIsSampler = true;
  bool mIsDrumMachine = true;
  bool mIsMixer = true;
  bool mIsEffectUnit = true;
  // The vectors own what they point to.
  std::vector<MIDIInquiryResponse*> mInquiryResponses;
  std::vector<MIDIDeviceID*> mDeviceIDs;
  std::vector<MIDIPortGroupObj*> mPortGroups;
  std::vector<MIDIReceives*> mReceives;
  std::vector<MIDITransmits*> mTransmits;
};

/// The root: the kinds of devices of one document.
class MLOX_EXPORT MIDIDeviceTypesObj {
 public:
  MIDIDeviceTypesObj() = default;
  MIDIDeviceTypesObj(const MIDIDeviceTypesObj&) = delete;
  MIDIDeviceTypesObj& operator=(const MIDIDeviceTypesObj&) = delete;
  virtual ~MIDIDeviceTypesObj();

  std::string mAuthor;
  /// Owned.
  std::vector<MIDIDeviceTypeObj*> mDeviceTypes;
};
