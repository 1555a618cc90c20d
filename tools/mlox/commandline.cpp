// SPDX-License-Identifier: MIT
#include "tools/mlox/commandline.h"

#include <string_view>

namespace tool {

namespace {

bool HasEmptyValue(std::string_view iWord) {
  return iWord.size() > 3 && iWord.starts_with("--") && iWord.find('=') == iWord.size() - 1;
}

}  // namespace

std::vector<std::string> WordsOf(int iCount, const char* const* iArguments) {
  std::vector<std::string> words;
  bool mayBeOptions = true;
  for (int index = 1; index < iCount; ++index) {
    const std::string word = iArguments[index];
    mayBeOptions = mayBeOptions && word != "--";
    if (mayBeOptions && HasEmptyValue(word)) {
      words.push_back(word.substr(0, word.size() - 1));
      words.emplace_back();
    } else {
      words.push_back(word);
    }
  }
  return words;
}

}  // namespace tool
