// SPDX-License-Identifier: MIT
/// \file
/// Addresses of JACK ports that last from one run of a server to the next.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

/// Whether an alias says the same in every run: neither empty nor made of numbers that a kernel or a server
/// gives in order of appearance (cards, clients, the server's own "system:").
bool Platform_IsDurableAlias(const std::string& iAlias);

/// The address of a port: its first durable alias, else its name. A number in brackets at the end, which
/// tells equal names apart, is left out.
/// \param iAliases both of libjack's buffers, whatever count it told: PipeWire fills the second and tells 1.
std::string Platform_JackAddress(const std::string& iName, const std::vector<std::string>& iAliases);

/// Numbers for ports of one address and direction that are there at once, which are those of equal
/// applications: 1 for the first, then the lowest that is free. A port keeps its number while it is there.
/// Not for two threads at once.
class Platform_JackNumbers {
 public:
  /// Takes the list of ports that are there now, each once, as key (name and direction, unique) and address.
  /// \returns their numbers, in the same order.
  std::vector<int> Assign(const std::vector<std::pair<std::string, std::string>>& iKeysAndAddresses);

 private:
  std::map<std::string, std::pair<std::string, int>> mNumbers;
};
