// SPDX-License-Identifier: MIT
/// \file
/// The messages that one pull brought, copied out so that the synthesizer can be fed outside the timed pull.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tool {

/// A list of messages with their bytes in one pool. Clearing keeps the memory, so that a pull rarely
/// allocates.
class BlockMessages {
 public:
  struct Item {
    std::int64_t mSample;
    std::size_t mOffset;
    std::size_t mLength;
  };

  BlockMessages() {
    mItems.reserve(1024);
    mBytes.reserve(65536);
  }

  void Clear() {
    mItems.clear();
    mBytes.clear();
  }

  /// Adds a message of `iLength` bytes and returns where its bytes go. The place holds until the next call.
  std::uint8_t* Add(std::int64_t iSample, std::size_t iLength) {
    mItems.push_back({iSample, mBytes.size(), iLength});
    mBytes.resize(mBytes.size() + iLength);
    return mBytes.data() + mItems.back().mOffset;
  }

  const std::vector<Item>& Items() const { return mItems; }
  std::span<const std::uint8_t> BytesOf(const Item& iItem) const {
    return std::span(mBytes).subspan(iItem.mOffset, iItem.mLength);
  }

 private:
  std::vector<Item> mItems;
  std::vector<std::uint8_t> mBytes;
};

}  // namespace tool
