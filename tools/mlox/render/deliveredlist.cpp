// SPDX-License-Identifier: MIT
#include "tools/mlox/render/deliveredlist.h"

#include <fmt/format.h>

#include <iterator>
#include <map>
#include <string_view>
#include <utility>

namespace tool {

namespace {

std::string_view AsText(std::span<const std::uint8_t> iBytes) {
  return {reinterpret_cast<const char*>(iBytes.data()), iBytes.size()};
}

void AppendLine(std::string& ioText, std::int64_t iSample, std::span<const std::uint8_t> iBytes) {
  fmt::format_to(std::back_inserter(ioText), "{}", iSample);
  for (const std::uint8_t byte : iBytes) {
    fmt::format_to(std::back_inserter(ioText), " {:02x}", byte);
  }
  ioText.push_back('\n');
}

}  // namespace

void DeliveredList::Add(std::int64_t iSample, std::span<const std::uint8_t> iBytes) {
  mItems.push_back({iSample, mBytes.size(), iBytes.size()});
  mBytes.insert(mBytes.end(), iBytes.begin(), iBytes.end());
}

std::uint64_t DeliveredList::CountLate(const Timeline& iTimeline) const {
  std::map<std::pair<std::int64_t, std::string_view>, std::uint64_t> written;
  for (const TimedMessage& message : iTimeline.Messages()) {
    ++written[{message.mSample, AsText(iTimeline.BytesOf(message))}];
  }
  // Whatever isn't met by a written message of the same sample and bytes is late, whichever of the written
  // messages that are left it stands for.
  std::uint64_t late = 0;
  for (const Item& item : mItems) {
    const auto found = written.find({item.mSample, AsText(BytesOf(item))});
    if (found == written.end() || found->second == 0) {
      ++late;
    } else {
      --found->second;
    }
  }
  return late;
}

std::string DeliveredList::ToText() const {
  std::string text;
  for (const Item& item : mItems) {
    AppendLine(text, item.mSample, BytesOf(item));
  }
  return text;
}

std::string ToText(const Timeline& iTimeline) {
  std::string text;
  for (const TimedMessage& message : iTimeline.Messages()) {
    AppendLine(text, message.mSample, iTimeline.BytesOf(message));
  }
  return text;
}

}  // namespace tool
