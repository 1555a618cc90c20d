// SPDX-License-Identifier: MIT
/// \file
/// What a check says.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// How a thing stands.
enum class FindingState : std::uint8_t {
  kOk,
  kNote,   ///< worth knowing; nothing fails because of it
  kWrong,  ///< something that this machine could do fails because of it
};

/// One answer of a check.
struct Finding {
  std::string mName;  ///< which check, one word
  FindingState mState = FindingState::kOk;
  std::string mSeen;  ///< what was seen, one line
  /// What mends it, to be pasted into a shell, a line each; never empty where something is wrong. A line that
  /// begins with "#" tells what to do by hand.
  std::vector<std::string> mMend;
};

inline Finding Ok(std::string iName, std::string iSeen) {
  return {std::move(iName), FindingState::kOk, std::move(iSeen), {}};
}

inline Finding Note(std::string iName, std::string iSeen, std::vector<std::string> iMend = {}) {
  return {std::move(iName), FindingState::kNote, std::move(iSeen), std::move(iMend)};
}

inline Finding Wrong(std::string iName, std::string iSeen, std::vector<std::string> iMend) {
  return {std::move(iName), FindingState::kWrong, std::move(iSeen), std::move(iMend)};
}

}  // namespace tool
