// SPDX-License-Identifier: MIT
/// \file
/// A queue of timed messages from one thread to one other, without a bound.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace tool {

/// A linked list with one dummy in front. The writer owns mTail, the reader mHead; they meet in the link of
/// the last node: its release by Push lets the reader that acquires it in Front see the message. Neither ever
/// waits for the other. Without a bound because the writers' lead is bounded in samples and not in messages:
/// a full queue would have to make the writer wait, and a writer that waits can hold back the block that
/// would empty the queue.
class HandoverQueue {
 public:
  struct Message {
    std::int64_t mSample = 0;
    std::vector<std::uint8_t> mBytes;
  };

  HandoverQueue() : mHead(new Node), mTail(mHead) {}
  HandoverQueue(const HandoverQueue&) = delete;
  HandoverQueue& operator=(const HandoverQueue&) = delete;
  ~HandoverQueue() {
    while (mHead != nullptr) {
      delete std::exchange(mHead, mHead->mNextP.load(std::memory_order_relaxed));
    }
  }

  /// [writer] Adds a message behind all others.
  void Push(std::int64_t iSample, std::span<const std::uint8_t> iBytes) {
    auto node = std::make_unique<Node>();
    node->mMessage.mSample = iSample;
    node->mMessage.mBytes.assign(iBytes.begin(), iBytes.end());
    Node* const last = mTail;
    mTail = node.release();
    last->mNextP.store(mTail, std::memory_order_release);
  }

  /// [audio] The first message, or null when there is none. It lives until PopFront.
  const Message* Front() const {
    const Node* const first = mHead->mNextP.load(std::memory_order_acquire);
    return first == nullptr ? nullptr : &first->mMessage;
  }

  /// [audio] Takes the first message off. There must be one.
  void PopFront() { delete std::exchange(mHead, mHead->mNextP.load(std::memory_order_acquire)); }

 private:
  struct Node {
    std::atomic<Node*> mNextP{nullptr};
    Message mMessage;
  };

  alignas(64) Node* mHead;  // the dummy; its successor is the first message
  alignas(64) Node* mTail;
};

}  // namespace tool
