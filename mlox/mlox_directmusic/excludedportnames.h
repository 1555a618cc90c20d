// SPDX-License-Identifier: MIT
/// \file
/// The user's list of ports that are not to be shown.
#pragma once

#include <functional>
#include <set>
#include <string>

/// The file in the application folder that holds the list: one literal beginning of a port's description on
/// each line.
inline constexpr char kExcludedPortNamesFile[] = "ExcludedMIDIPorts.txt";

/// Reads the file into a set; a file that isn't there leaves the set as it is, without a word.
void ReadExcludedPortNamesFile(std::set<std::string>& ioNames);

/// Runs a reader. An exception of any kind is caught and traced; what was read up to it stays in the set.
void LoadExcludedPortNames(const std::function<void(std::set<std::string>&)>& iReader,
                           std::set<std::string>& ioNames);
