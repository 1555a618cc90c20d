// SPDX-License-Identifier: MIT
/// \file
/// Names of other applications' clients, as far as they last.
#pragma once

#include <map>
#include <string>

/// Tells equal applications that run at once apart. Each has a number among those of its name, the lowest
/// that was free when it came; it keeps it while it runs.
class Platform_AlsaApplications {
 public:
  /// Takes what runs now: client numbers and names.
  void Settle(const std::map<int, std::string>& iRunning);
  /// "NAME" for the first of a name, "NAME#2" for the second and so on; empty for a client that Settle did
  /// not tell of.
  std::string Address(int iClient) const;

 private:
  struct Running {
    std::string mName;
    int mNumber;
  };
  int LowestFree(const std::string& iName) const;

  std::map<int, Running> mRunning;
};

/// A name without a bracket at its end that holds only digits and colons: programs put their process number
/// there, or their client's. "Synth (4711)" gives "Synth".
std::string Platform_AlsaLastingName(const std::string& iName);

/// What people read for a port: its own name when that begins with its client's, else both.
std::string Platform_AlsaPortName(const std::string& iClient, const std::string& iPort);
