// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_applications.h"

#include <algorithm>

namespace {

std::string Trimmed(std::string iText) {
  while (!iText.empty() && iText.back() == ' ') {
    iText.pop_back();
  }
  return iText;
}

}  // namespace

void Platform_AlsaApplications::Settle(const std::map<int, std::string>& iRunning) {
  std::erase_if(mRunning, [&](const auto& iEntry) {
    const auto found = iRunning.find(iEntry.first);
    return found == iRunning.end() || found->second != iEntry.second.mName;
  });
  for (const auto& [client, name] : iRunning) {
    if (mRunning.count(client) == 0) {
      const int number = LowestFree(name);
      mRunning[client] = {name, number};
    }
  }
}

int Platform_AlsaApplications::LowestFree(const std::string& iName) const {
  const std::string lasting = Platform_AlsaLastingName(iName);
  for (int number = 1;; ++number) {
    const bool isTaken = std::any_of(mRunning.begin(), mRunning.end(), [&](const auto& iEntry) {
      return iEntry.second.mNumber == number && Platform_AlsaLastingName(iEntry.second.mName) == lasting;
    });
    if (!isTaken) {
      return number;
    }
  }
}

std::string Platform_AlsaApplications::Address(int iClient) const {
  const auto found = mRunning.find(iClient);
  if (found == mRunning.end()) {
    return "";
  }
  const std::string name = Platform_AlsaLastingName(found->second.mName);
  return found->second.mNumber == 1 ? name : name + "#" + std::to_string(found->second.mNumber);
}

std::string Platform_AlsaLastingName(const std::string& iName) {
  std::string name = Trimmed(iName);
  const std::size_t open = name.rfind('(');
  if (open == std::string::npos || open == 0 || name.back() != ')' || open + 2 == name.size()) {
    return name;
  }
  const bool isNumber =
      std::all_of(name.begin() + static_cast<std::ptrdiff_t>(open) + 1, name.end() - 1,
                  [](char iByte) { return (iByte >= '0' && iByte <= '9') || iByte == ':'; });
  return isNumber ? Trimmed(name.substr(0, open)) : name;
}

std::string Platform_AlsaPortName(const std::string& iClient, const std::string& iPort) {
  std::string client = Trimmed(iClient);
  const std::string port = Trimmed(iPort);
  if (port.empty()) {
    return client;
  }
  return port.rfind(client, 0) == 0 ? port : client + " " + port;
}
