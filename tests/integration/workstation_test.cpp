// SPDX-License-Identifier: MIT
#include "tools/mlox/render/workstation.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>

#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "mlox/mlox_directmidi/idirectmidimessage.h"
#include "mlox/mlox_persistentoutput.h"
#include "tools/mlox/render/pluginnode.h"

namespace {

using tool::PlugInNode;
using tool::TimedMessage;
using tool::Workstation;

constexpr std::uint64_t kNodeID = 1;

/// A workstation and a plug-in with one node at a time, always of the same name and id.
class WorkstationTest : public testing::Test {
 protected:
  ~WorkstationTest() override { LoseNode(); }

  void MakeNode() {
    mNode.emplace(mWorkstation.PlugInInterface(), kNodeID);
    mNode->Setup().SetAdvanceScheduleRequirement(1024);
    mDeliveryP = mNode->Setup().SetBufferedDelivery();
  }

  void LoseNode() {
    if (mDeliveryP != nullptr) mDeliveryP->Release();
    mDeliveryP = nullptr;
    mNode.reset();
  }

  /// A note-on of this channel, 0 to 15, or -1 and a system exclusive message.
  void Write(int iChannel) {
    TimedMessage message{};
    message.mSample = 10;
    message.mChannel = static_cast<std::int8_t>(iChannel);
    if (iChannel < 0) {
      message.mKind = tool::SongMessageKind::kSysex;
      mWorkstation.Write(0, message, std::array<std::uint8_t, 3>{0xF0, 0x7D, 0xF7});
      return;
    }
    message.mKind = tool::SongMessageKind::kChannel;
    const auto status = static_cast<std::uint8_t>(0x90 | iChannel);
    mWorkstation.Write(0, message, std::array<std::uint8_t, 3>{status, 60, 100});
  }

  /// How many messages have come to the node.
  int Arrived() {
    int count = 0;
    while (IDirectMIDIMessage* const messageP = mDeliveryP->GetNextMessageInSampleRange(0, 100)) {
      ++count;
      messageP->Release();
    }
    return count;
  }

  Workstation mWorkstation{48000};

 private:
  std::optional<PlugInNode> mNode;
  IDirectMIDIBufferedDelivery* mDeliveryP = nullptr;
};

TEST_F(WorkstationTest, WritesToEveryChannelAndToTheNodeAsAWhole) {
  MakeNode();
  mWorkstation.ConnectTo(kNodeID);
  for (int channel = -1; channel < 16; ++channel) {
    Write(channel);
    EXPECT_EQ(Arrived(), 1) << channel;
  }
}

TEST_F(WorkstationTest, GoesOnWritingToTheNodeThatHasComeInThePlaceOfTheOneThatHasGone) {
  MakeNode();
  mWorkstation.ConnectTo(kNodeID);
  LoseNode();
  MakeNode();
  mWorkstation.Idle();
  // A question to any reference lets all of them search.
  static_cast<void>(Mlox_PersistentOutput().IsOnline());
  for (int channel = -1; channel < 16; ++channel) {
    Write(channel);
    EXPECT_EQ(Arrived(), 1) << channel;
  }
}

}  // namespace
