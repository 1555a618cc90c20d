// SPDX-License-Identifier: MIT
/// \file
/// A plug-in's client of direct delivery for tests.
#pragma once

#include <functional>
#include <vector>

#include "mlox/mlox_directmidi/idirectmidioutput_directdeliveryclient.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"

/// Reads each message, does what the test wants inside the call, and releases.
class Test_DirectClient final : public IDirectMIDIOutput_DirectDeliveryClient {
 public:
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
    if (mOnCall) mOnCall(iMessageP);
    if (mKeepsWhatItReads) mPulled.push_back(Test_Read(*iMessageP));
    for (int i = 0; i < mReleases; ++i) iMessageP->Release();
  }

  std::function<void(IDirectMIDIMessage*)> mOnCall;
  std::vector<Test_Pulled> mPulled;
  bool mKeepsWhatItReads = true;  ///< False for calls on several threads at once.
  int mReleases = 1;              ///< What a client owes is one.
};
