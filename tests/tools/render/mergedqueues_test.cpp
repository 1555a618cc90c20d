// SPDX-License-Identifier: MIT
#include "tools/mlox/render/mergedqueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tools/mlox/render/handoverqueue.h"

namespace {

using tool::BlockMessages;
using tool::HandoverQueue;
using tool::MergedQueues;
using Bytes = std::vector<std::uint8_t>;

/// What a read gave: "sample:first byte" for each message.
std::string TextOf(const BlockMessages& iMessages) {
  std::string text;
  for (const BlockMessages::Item& item : iMessages.Items()) {
    text += std::to_string(item.mSample) + ":" + std::to_string(iMessages.BytesOf(item)[0]) + " ";
  }
  return text;
}

TEST(HandoverQueue, GivesWhatWasPushedInOrder) {
  HandoverQueue queue;
  EXPECT_EQ(queue.Front(), nullptr);
  queue.Push(5, Bytes{1, 2, 3});
  queue.Push(4, Bytes{});
  ASSERT_NE(queue.Front(), nullptr);
  EXPECT_EQ(queue.Front()->mSample, 5);
  EXPECT_EQ(queue.Front()->mBytes, (Bytes{1, 2, 3}));
  queue.PopFront();
  ASSERT_NE(queue.Front(), nullptr);
  EXPECT_EQ(queue.Front()->mSample, 4);
  EXPECT_TRUE(queue.Front()->mBytes.empty());
  queue.PopFront();
  EXPECT_EQ(queue.Front(), nullptr);
}

TEST(HandoverQueue, GoesAwayWithWhatIsInIt) {
  HandoverQueue queue;
  queue.Push(1, Bytes(1000, 1));
  queue.Push(2, Bytes(1000, 2));
  EXPECT_NE(queue.Front(), nullptr);  // the leak checker watches the rest
}

TEST(HandoverQueue, LosesAndReordersNothingBetweenTwoThreads) {
  constexpr int kMessages = 100'000;
  HandoverQueue queue;
  std::thread writer([&queue] {
    for (int i = 0; i < kMessages; ++i) {
      const auto low = static_cast<std::uint8_t>(i & 0xFF);
      queue.Push(i, Bytes{low, static_cast<std::uint8_t>(low ^ 0x5A)});
    }
  });
  int wrong = 0;
  for (int i = 0; i < kMessages;) {
    const HandoverQueue::Message* const message = queue.Front();
    if (message == nullptr) {
      std::this_thread::yield();
      continue;
    }
    const auto low = static_cast<std::uint8_t>(i & 0xFF);
    const bool isRight =
        message->mSample == i && message->mBytes == Bytes{low, static_cast<std::uint8_t>(low ^ 0x5A)};
    wrong += isRight ? 0 : 1;
    queue.PopFront();
    ++i;
  }
  writer.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(queue.Front(), nullptr);
}

TEST(MergedQueues, MergeBySampleAndAtEqualSamplesByWriter) {
  MergedQueues queues;
  queues.Push(2, 10, Bytes{20});
  queues.Push(2, 11, Bytes{21});
  queues.Push(0, 10, Bytes{1});
  queues.Push(0, 10, Bytes{2});
  queues.Push(1, 9, Bytes{10});
  queues.Push(1, 11, Bytes{11});
  BlockMessages messages;
  queues.TakeUntil(11, messages);
  EXPECT_EQ(TextOf(messages), "9:10 10:1 10:2 10:20 11:11 11:21 ");
  EXPECT_EQ(queues.Taken(), 6u);
}

TEST(MergedQueues, LeaveWhatIsNotDue) {
  MergedQueues queues;
  queues.Push(0, 63, Bytes{1});
  queues.Push(0, 64, Bytes{2});
  BlockMessages messages;
  queues.TakeUntil(63, messages);
  EXPECT_EQ(TextOf(messages), "63:1 ");
  messages.Clear();
  queues.TakeUntil(127, messages);
  EXPECT_EQ(TextOf(messages), "64:2 ");
}

TEST(MergedQueues, AMessageThatIsNotDueHidesNothingBehindOtherWriters) {
  MergedQueues queues;
  queues.Push(0, 100, Bytes{1});
  queues.Push(1, 5, Bytes{2});
  BlockMessages messages;
  queues.TakeUntil(63, messages);
  EXPECT_EQ(TextOf(messages), "5:2 ");
}

}  // namespace
