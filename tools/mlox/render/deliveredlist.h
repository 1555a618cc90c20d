// SPDX-License-Identifier: MIT
/// \file
/// What reached the synthesizer, and how it compares with what was written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/mlox/render/timeline.h"

namespace tool {

/// Every message as it was fed: the frame before which it came, and its bytes.
class DeliveredList {
 public:
  struct Item {
    std::int64_t mSample;
    std::size_t mOffset;
    std::size_t mLength;
  };

  void Add(std::int64_t iSample, std::span<const std::uint8_t> iBytes);

  const std::vector<Item>& Items() const { return mItems; }
  std::span<const std::uint8_t> BytesOf(const Item& iItem) const {
    return std::span(mBytes).subspan(iItem.mOffset, iItem.mLength);
  }

  /// How many messages came at another sample than they were written for. Each is matched with one written
  /// message of the same bytes: first with one of the same sample, then, in order, with those that are left.
  /// Messages that nobody wrote count as late too: they have no sample of their own.
  std::uint64_t CountLate(const Timeline& iTimeline) const;

  /// The list as text, a line each: the sample, then the bytes in hexadecimal, as in "48000 90 3c 64".
  std::string ToText() const;

 private:
  std::vector<Item> mItems;
  std::vector<std::uint8_t> mBytes;
};

/// The same text for the messages of a timeline: what should be delivered.
std::string ToText(const Timeline& iTimeline);

}  // namespace tool
