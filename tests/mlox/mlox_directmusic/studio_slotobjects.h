// SPDX-License-Identifier: MIT
/// \file
/// The studio and its objects for the test of slot orders, known by their addresses alone. It includes
/// nothing of the library, as does the test that uses it.
#pragma once

#include <memory>
#include <string>
#include <vector>

/// One object of each kind, all of one wired destination. A place of a shared pointer is what a call by value
/// takes and a pointer to one is.
class Test_StudioSlotObjects {
 public:
  Test_StudioSlotObjects();
  ~Test_StudioSlotObjects();
  Test_StudioSlotObjects(const Test_StudioSlotObjects&) = delete;
  Test_StudioSlotObjects& operator=(const Test_StudioSlotObjects&) = delete;

  void* mStudioP;               ///< IDirectMusicStudio
  void* mDeviceP;               ///< IDeviceProperties
  void* mEntityP;               ///< IEntityProperties
  void* mEndpointP;             ///< IEndpointProperties
  void* mIDsP;                  ///< IEndpointIDs
  void* mBankP;                 ///< IStudioPatchBank: "Bank", "/file", "List"
  void* mDeviceSPP;             ///< the places of shared pointers to those
  void* mEntitySPP;             //
  void* mEndpointSPP;           //
  void* mIDsSPP;                //
  void* mCallbackSPP;           ///< that of one to an IDirectMusicNotificationCallback with the id "{id}"
  void* mResultDeviceSPP;       ///< the places of empty shared pointers
  void* mResultEntitySPP;       //
  void* mResultEndpointSPP;     //
  void* mResultIDsSPP;          //
  void* mResultBankSPP;         //
  const char16_t* mModesKeyP;   ///< the key of the list of modes, which has the row "Row"
  const char16_t* mNameKeyP;    ///< the key of the name, "Keys"
  const char16_t* mMloxKeyP;    ///< the key of the stable number
  const char16_t* mFlagKeyP;    ///< the key of the flag that tells a user-defined device, which isn't set
  const char16_t* mDoubleKeyP;  ///< the key of the time ahead, 123.5

  /// The calls on all of them since the last time.
  std::vector<std::string> TakeCalls();
  /// A text that was given out; frees it.
  static std::string TakeText(char16_t* iTextP);

 private:
  struct Impl;
  std::unique_ptr<Impl> mImplP;
};
