// SPDX-License-Identifier: MIT
/// \file
/// A hardware device and one of its outputs for the test of slot orders, known by their addresses alone. It
/// includes nothing of the library, as does the test that uses it.
#pragma once

#include <memory>
#include <string>
#include <vector>

/// The device "Keys" of "Maker", with channels 0 to 3, one name document, and a port that keeps what it
/// plays. Each pointer is the address of that interface within its object.
class Test_HardwareSlotObjects {
 public:
  Test_HardwareSlotObjects();
  ~Test_HardwareSlotObjects();
  Test_HardwareSlotObjects(const Test_HardwareSlotObjects&) = delete;
  Test_HardwareSlotObjects& operator=(const Test_HardwareSlotObjects&) = delete;

  void* mDeviceP;                         ///< the device as Mlox_Device
  void* mOutputP;                         ///< its output of channel 3 as Mlox_Output
  void* mWriteP;                          ///< the same output as Mlox_AWrite
  void* mCommonOutputP;                   ///< its common output as Mlox_Output
  const void* mStampP;                    ///< a time stamp: as soon as possible
  const void* mNoteP;                     ///< an event: note on, pitch 60, velocity 100
  const void* mProgramP;                  ///< an event that selects the document's one patch
  static constexpr int kNumber = 987654;  ///< the number of the endpoint

  /// A device of its own, for deleting through its table; how many have ended so.
  void* NewDevice();
  int EndedDevices() const;
  /// What the port has played since the last call, a line of hexadecimal bytes each.
  std::vector<std::string> TakePlayed();
  /// Gives back the reference that came with a descriptor or a patch info.
  static void DropReference(const void* iCountedP);
  static int ChannelOf(const void* iOutputDescriptorP);
  static std::string BankOf(const void* iPatchInfoP);
  static int NumberOf(const void* iDeviceDescriptorP);
  /// An empty location, and the path in it.
  void* Location();
  std::string PathOfLocation() const;
  std::string DocumentPath() const;
  /// The mode that the studio has for channel 3.
  std::string StoredMode() const;
  int OffsetOfCommonOutput() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> mImplP;
};
