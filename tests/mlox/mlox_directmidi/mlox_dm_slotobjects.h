// SPDX-License-Identifier: MIT
/// \file
/// Objects for the test of slot orders, known by their addresses alone. It includes nothing of the library,
/// as does the test that uses it.
#pragma once

#include <cstdint>
#include <string>

/// A service with one node of each kind. Each pointer is the address of that interface within its object.
class Test_DM_SlotObjects {
 public:
  Test_DM_SlotObjects();
  ~Test_DM_SlotObjects();
  Test_DM_SlotObjects(const Test_DM_SlotObjects&) = delete;
  Test_DM_SlotObjects& operator=(const Test_DM_SlotObjects&) = delete;

  void* mFactoryP;           ///< IDirectMIDI3
  void* mClientOutputP;      ///< IDirectMIDIClientOutput4
  void* mDeviceNodeP;        ///< the part of the device that is common to devices and inputs
  void* mDeliverySetupP;     ///< IDirectMIDIOutputDeliverySetup
  void* mClientInputP;       ///< IDirectMIDIClientInput
  void* mReceiveP;           ///< IDirectMIDIInputReceiveMIDI
  void* mGlobalOutputP;      ///< IDirectMIDIGlobalOutput
  void* mBasicOutputP;       ///< the global output as an output
  const void* mDescriptorP;  ///< a tagged descriptor {words 1, 2, 3, 4; 5}, plug-in id 6, name "Tagged"

  // What the library's own view of the objects is.
  int CountOutputs() const;
  int CountInputs() const;
  std::string LastOutputName() const;
  uint64_t LastOutputTrack() const;
  std::string LastInputName() const;
  uint64_t LastInputTrack() const;
  std::string OutputName() const;
  bool OutputHasChannel(int iChannel) const;
  bool OutputReceivesMBC() const;
  bool OutputHasTag() const;
  void SetOutputLive(bool iIsLive);
  std::string InputName() const;
  bool InputHasChannel(int iChannel) const;
  bool InputHasTag() const;
  void SetSources(void* iClickP, void* iBeatClockP, void* iMTCP);
  static void ReleaseNode(void* iInterfaceP);

 private:
  struct Impl;
  Impl* mImplP;
};
