// SPDX-License-Identifier: MIT
/// \file
/// The rules by which a port's name hides it. They touch no port and no database: plain texts go in, UTF-8,
/// compared byte by byte.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

/// When a listed name prohibits a port. Every rule first requires that the description begins with the name.
enum class EProhibitedByNameEmulatedState : std::uint32_t {
  kProhibitedNever = 0,
  kProhibitedWhenEmulated = 1,     ///< when the description also ends with the emulated suffix
  kProhibitedWhenNotEmulated = 2,  ///< when it doesn't end with the suffix
  kProhibitedAlways = 3            ///< the beginning alone decides
};

/// A listed name and its rule, in bytewise order.
using PortNameTable = std::map<std::string, EProhibitedByNameEmulatedState>;

/// The names that are always listed.
PortNameTable PortName_BuiltInTable();

/// Adds names as kProhibitedAlways, in sorted order. A name that is listed already keeps its rule.
void PortName_AddExcluded(const std::set<std::string>& iNames, PortNameTable& ioTable);

/// Whether one listed name prohibits a description.
/// \param iEmulatedSuffix  what marks emulated ports on this machine; empty: no port is emulated
bool PortName_IsProhibitedBy(const std::string& iDescription, const std::string& iListedName,
                             EProhibitedByNameEmulatedState iState, const std::string& iEmulatedSuffix);

/// Whether any name of the table prohibits a description. An empty description is never prohibited.
bool PortName_IsProhibited(const std::string& iDescription, const PortNameTable& iTable,
                           const std::string& iEmulatedSuffix);

/// The suffix in brackets or parentheses that ends a description, its leading blank included; empty when
/// there is none, and when nothing stands in front of it.
std::string PortName_SuffixOf(const std::string& iDescription);

/// Reads listed names, one a line, byte by byte, into a set. Each line is taken as it stands: no trimming, no
/// comments, no case folding; empty lines are ignored and the last needs no end. Ends where the file is no
/// longer there or open, at its end, and where a read fails.
/// \param ioFile  an open file; anything with the operations of Sys_File
template <class File>
void PortName_ReadExcluded(File& ioFile, std::set<std::string>& ioNames) {
  std::string line;
  while (ioFile.IsOnline() && ioFile.IsOpen() && ioFile.GetPosition() != ioFile.GetEOF()) {
    char byte = 0;
    if (ioFile.Read(&byte, 1) != 1) break;
    if (byte == '\n' || byte == '\r') {
      if (!line.empty()) ioNames.insert(line);
      line.clear();
      continue;
    }
    line += byte;
    if (ioFile.GetPosition() == ioFile.GetEOF()) ioNames.insert(line);
  }
}
