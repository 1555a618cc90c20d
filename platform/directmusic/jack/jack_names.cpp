// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_names.h"

#include <cctype>

namespace {

bool IsDigit(char iCharacter) { return std::isdigit(static_cast<unsigned char>(iCharacter)) != 0; }

// Whether a digit follows the mark anywhere in the text.
bool HasNumberAfter(const std::string& iText, const std::string& iMark) {
  for (std::size_t at = iText.find(iMark); at != std::string::npos; at = iText.find(iMark, at + 1)) {
    const std::size_t behind = at + iMark.size();
    if (behind < iText.size() && IsDigit(iText[behind])) {
      return true;
    }
  }
  return false;
}

std::string WithoutNumberInBrackets(const std::string& iText) {
  if (!iText.ends_with(']')) {
    return iText;
  }
  const std::size_t open = iText.rfind('[');
  if (open == std::string::npos || open + 2 >= iText.size()) {
    return iText;
  }
  for (std::size_t i = open + 1; i + 1 < iText.size(); ++i) {
    if (!IsDigit(iText[i])) {
      return iText;
    }
  }
  std::size_t end = open;
  while (end > 0 && iText[end - 1] == ' ') {
    --end;
  }
  return end > 0 ? iText.substr(0, end) : iText;
}

}  // namespace

bool Platform_IsDurableAlias(const std::string& iAlias) {
  if (iAlias.empty() || iAlias.starts_with("system:")) {
    return false;
  }
  for (const char* const mark : {"hw:", "hw-", "client_", "card", "["}) {
    if (HasNumberAfter(iAlias, mark)) {
      return false;
    }
  }
  return true;
}

std::string Platform_JackAddress(const std::string& iName, const std::vector<std::string>& iAliases) {
  for (const std::string& alias : iAliases) {
    std::string address = WithoutNumberInBrackets(alias);
    if (Platform_IsDurableAlias(address)) {
      return address;
    }
  }
  return WithoutNumberInBrackets(iName);
}

std::vector<int> Platform_JackNumbers::Assign(
    const std::vector<std::pair<std::string, std::string>>& iKeysAndAddresses) {
  std::map<std::string, std::pair<std::string, int>> numbers;
  std::map<std::string, std::set<int>> taken;
  for (const auto& [key, address] : iKeysAndAddresses) {
    const auto known = mNumbers.find(key);
    if (known != mNumbers.end() && known->second.first == address) {
      numbers[key] = known->second;
      taken[address].insert(known->second.second);
    }
  }
  std::vector<int> result;
  for (const auto& [key, address] : iKeysAndAddresses) {
    if (numbers.count(key) == 0) {
      std::set<int>& used = taken[address];
      int number = 1;
      while (used.count(number) != 0) {
        ++number;
      }
      used.insert(number);
      numbers[key] = {address, number};
    }
    result.push_back(numbers[key].second);
  }
  mNumbers.swap(numbers);
  return result;
}
