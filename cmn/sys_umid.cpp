// SPDX-License-Identifier: MIT
#include "cmn/sys_umid.h"

#include <fmt/format.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <random>

namespace {

// What is left when the system gives no random numbers: process, time and count still differ from all others
// on this machine.
std::array<std::uint32_t, 4> WordsWithoutChance() {
  static std::atomic<std::uint32_t> sCount{0};
  const auto now = static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
  return {static_cast<std::uint32_t>(getpid()), static_cast<std::uint32_t>(now >> 32U),
          static_cast<std::uint32_t>(now), ++sCount};
}

}  // namespace

Sys_Umid Sys_Umid::Create() {
  Sys_Umid umid;
  try {
    // The system's own source, asked anew each time: a seed kept here would be copied by a fork.
    std::random_device device;
    for (std::uint32_t& word : umid.mWords) word = device();
  } catch (const std::exception&) {
    umid.mWords = WordsWithoutChance();
  }
  return umid;
}

std::string Sys_Umid::AsString() const {
  return fmt::format("{:08X}{:08X}{:08X}{:08X}", mWords[0], mWords[1], mWords[2], mWords[3]);
}
