// SPDX-License-Identifier: MIT
#include "mlox/mlox_output.h"

// Made before all other static objects and gone after them: those of the library and of the program may ask
// for names while they are made, and while they go.
[[gnu::init_priority(101)]] const std::set<std::string> Mlox_Output::kNIDawControlOutputDeviceNames = {
    "Komplete Kontrol DAW - 1",
    "Komplete Kontrol A DAW",
    "Komplete Kontrol M DAW",
    "MIDIOUT2 (KONTROL S49 MK3) [Emulated]",
    "MIDIOUT2 (KONTROL S61 MK3) [Emulated]",
    "MIDIOUT2 (KONTROL S88 MK3) [Emulated]",
    "MIDIOUT2 (KONTROL S49 MK3)",
    "MIDIOUT2 (KONTROL S61 MK3)",
    "MIDIOUT2 (KONTROL S88 MK3)",
};

Mlox_Output::Mlox_Output(Mdi_AppCallback* iAppCallbackP) : Mlox_BasicOutput(iAppCallbackP) {}

Mlox_Output::~Mlox_Output() = default;

int Mlox_Output::GetNumberOfAvailableModes() { return 0; }

std::string Mlox_Output::GetAvailableModeName(const int&) { return {}; }

std::string Mlox_Output::GetCurrentMode() { return {}; }

void Mlox_Output::SetCurrentMode(const std::string&) {}

bool Mlox_Output::IsNIDawControlOutputDevice(const std::string& iName) {
  return kNIDawControlOutputDeviceNames.contains(iName);
}
