// SPDX-License-Identifier: MIT
#include "platform/directmusic/drivers.h"

#if !defined(_WIN32)

#include <cstdlib>
#include <sstream>

#include "cmn/sys_utils.h"
#include "platform/directmusic/loopback/loopback_driver.h"
#if defined(MLOX_HAVE_ALSA)
#include "platform/directmusic/alsa/alsa_driver.h"
#endif
#if defined(MLOX_HAVE_JACK)
#include "platform/directmusic/jack/jack_driver.h"
#endif

namespace {

template <class Driver>
std::unique_ptr<Platform_Driver> Make() {
  return std::make_unique<Driver>();
}

struct Row {
  const char* mName;
  std::unique_ptr<Platform_Driver> (*mMake)();
};

constexpr Row kRows[] = {
#if defined(MLOX_HAVE_ALSA)
    {"alsa", Make<Platform_AlsaDriver>},
#endif
#if defined(MLOX_HAVE_JACK)
    {"jack", Make<Platform_JackDriver>},
#endif
    {"loopback", Make<Platform_LoopbackDriver>},
};

std::vector<std::string> SplitNames(const std::string& iText) {
  std::vector<std::string> names;
  std::istringstream text(iText);
  for (std::string name; std::getline(text, name, ',');) {
    if (!name.empty()) {
      names.push_back(name);
    }
  }
  return names;
}

std::unique_ptr<Platform_Driver> Started(const std::string& iName, Platform_DriverHost* iHostP,
                                         const Platform_DriverMaker& iMake) {
  std::unique_ptr<Platform_Driver> driver = iMake(iName);
  if (driver == nullptr) {
    Sys_Utils::DebugString("mlox: MIDI driver " + iName + " is not used: this build does not have it");
    return nullptr;
  }
  std::string reason;
  if (driver->Start(iHostP, reason)) {
    if (!reason.empty()) {
      Sys_Utils::DebugString("mlox: MIDI driver " + iName + " has no ports yet: " + reason);
    }
    return driver;
  }
  Sys_Utils::DebugString("mlox: MIDI driver " + iName + " is not used: " + reason);
  return nullptr;
}

// Who only counts ports need not hear that they have changed.
class DeafHost final : public Platform_DriverHost {
 public:
  void PortsMayHaveChanged() override {}
};

}  // namespace

std::vector<std::string> Platform_DriverNames() {
  std::vector<std::string> names;
  for (const Row& row : kRows) {
    names.emplace_back(row.mName);
  }
  return names;
}

std::unique_ptr<Platform_Driver> Platform_MakeDriver(const std::string& iName) {
  for (const Row& row : kRows) {
    if (iName == row.mName) {
      return row.mMake();
    }
  }
  return nullptr;
}

std::vector<std::unique_ptr<Platform_Driver>> Platform_StartDrivers(Platform_DriverHost* iHostP,
                                                                    const Platform_DriverMaker& iMake) {
  const char* const chosen = std::getenv("MLOX_MIDI_DRIVERS");
  const bool isChosen = chosen != nullptr && *chosen != '\0';
  std::vector<std::unique_ptr<Platform_Driver>> drivers;
  for (const std::string& name : isChosen ? SplitNames(chosen) : Platform_DriverNames()) {
    if (std::unique_ptr<Platform_Driver> driver = Started(name, iHostP, iMake)) {
      drivers.push_back(std::move(driver));
      if (!isChosen) {
        break;
      }
    }
  }
  return drivers;
}

Platform_DriverTrial Platform_TryDriver(const std::string& iName, const Platform_DriverMaker& iMake) {
  DeafHost host;
  Platform_DriverTrial trial;
  const std::unique_ptr<Platform_Driver> driver = iMake(iName);
  trial.mIsBuilt = driver != nullptr;
  if (!trial.mIsBuilt) {
    return trial;
  }
  trial.mStarts = driver->Start(&host, trial.mReason);
  for (const Platform_PortInfo& port : driver->Ports()) {
    ++(port.mIsInput ? trial.mInputs : trial.mOutputs);
  }
  driver->Stop();
  return trial;
}

Platform_DriverTrial Platform_TryDriver(const std::string& iName) {
  return Platform_TryDriver(iName, &Platform_MakeDriver);
}

#endif
